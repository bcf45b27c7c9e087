// Cost of the segmentation pipeline's per-frame path, as the service runs it
// on the sensor's callback thread: unpacking both slices, scaling into the
// cube, ifx_segmentation_run and the activity result document. The whole
// path (the speed target: 2000 frames a second on one core) and each step
// alone, over a minute of a shipped scene synthesised into memory.
#include <benchmark/benchmark.h>

#include <string>
#include <vector>

#include "ActivityResult.h"
#include "RadarCube.h"
#include "RadarFetch.h"
#include "RadarFrameFormat.h"
#include "Scene.h"
#include "SceneLibrary.h"
#include "SceneSynthesizer.h"
#include "SegmentationConfig.h"

namespace {

const char* const kScenes[] = {"empty-room", "one-walker", "three-people"};
const int64_t kFrames = 600;

// A scene's frames, packed as the module delivers them.
struct PackedScene {
    std::vector<uint8_t> bytes;
    int64_t frames = 0;
    const uint8_t* Frame(int64_t i) const {
        return bytes.data() + static_cast<size_t>(i % frames) * radar::kFrameBytes;
    }
};

bool SynthesizeScene(const char* name, PackedScene* packed, std::string* error) {
    std::string path;
    radar::Scene scene;
    if (!radar::ResolveScenePath(name, &path, error) || !radar::LoadScene(path, &scene, error)) {
        return false;
    }
    radar::SceneSynthesizer synthesizer(scene, scene.seed);
    std::vector<uint16_t> samples(radar::kFrameSamples);
    packed->frames = kFrames;
    packed->bytes.resize(static_cast<size_t>(kFrames) * radar::kFrameBytes);
    for (int64_t frame = 0; frame < kFrames; ++frame) {
        synthesizer.SynthesizeFrame(frame, samples.data());
        radar::PackFrame(samples.data(),
                         packed->bytes.data() + static_cast<size_t>(frame) * radar::kFrameBytes);
    }
    return true;
}

// The pipeline's SDK objects, set up as the service sets them up.
class Pipeline {
public:
    Pipeline() : m_seg() { m_error = ConfigSegmentPipeline(&m_seg, &kDefaultDeviceConfig); }
    ~Pipeline() { CleanupSegmentPipeline(&m_seg); }
    bool Ok() const { return m_error == IFX_OK; }
    segmentation_t& Seg() { return m_seg; }

private:
    segmentation_t m_seg;
    ifx_Error_t m_error;
};

void UnpackFrame(const uint8_t* packed, unsigned short* raw) {
    unpack_raw12(packed, RadarFetch::kSliceBytes, raw);
    unpack_raw12(packed + RadarFetch::kSliceBytes, RadarFetch::kSliceBytes,
                 raw + RadarFetch::kFrameSamples / 2);
}

void ReportFrames(benchmark::State& state) {
    state.SetItemsProcessed(state.iterations());
    state.counters["frames_per_second"] =
        benchmark::Counter(static_cast<double>(state.iterations()), benchmark::Counter::kIsRate);
}

// Unpack, cube, segmentation and document: the whole per-frame path.
void BM_PipelineWholeFrame(benchmark::State& state) {
    const char* name = kScenes[state.range(0)];
    PackedScene scene;
    std::string error;
    if (!SynthesizeScene(name, &scene, &error)) {
        state.SkipWithError(error.c_str());
        return;
    }
    Pipeline pipeline;
    if (!pipeline.Ok()) {
        state.SkipWithError("cannot set up the segmentation");
        return;
    }
    state.SetLabel(name);
    segmentation_t& seg = pipeline.Seg();
    std::vector<unsigned short> raw(kRawFrameSamples);
    std::string document;
    int64_t frame = 0;
    for (auto _ : state) {
        UnpackFrame(scene.Frame(frame++), raw.data());
        RawFrameToCube(raw.data(), seg.cube);
        ifx_segmentation_run(seg.handle, seg.cube, seg.segments, seg.tracks);
        if (ifx_error_get() != IFX_OK) {
            state.SkipWithError("segmentation failed");
            break;
        }
        MakeActivityResultText(seg.segments, seg.tracks, &document);
        benchmark::DoNotOptimize(document.data());
    }
    ReportFrames(state);
}
BENCHMARK(BM_PipelineWholeFrame)->DenseRange(0, 2)->Unit(benchmark::kMicrosecond);

void BM_PipelineUnpack(benchmark::State& state) {
    PackedScene scene;
    std::string error;
    if (!SynthesizeScene("three-people", &scene, &error)) {
        state.SkipWithError(error.c_str());
        return;
    }
    std::vector<unsigned short> raw(kRawFrameSamples);
    int64_t frame = 0;
    for (auto _ : state) {
        UnpackFrame(scene.Frame(frame++), raw.data());
        benchmark::DoNotOptimize(raw.data());
    }
    ReportFrames(state);
}
BENCHMARK(BM_PipelineUnpack)->Unit(benchmark::kMicrosecond);

void BM_PipelineCubeFill(benchmark::State& state) {
    PackedScene scene;
    std::string error;
    if (!SynthesizeScene("three-people", &scene, &error)) {
        state.SkipWithError(error.c_str());
        return;
    }
    std::vector<std::vector<unsigned short>> raws(16,
                                                  std::vector<unsigned short>(kRawFrameSamples));
    for (size_t i = 0; i < raws.size(); ++i) {
        UnpackFrame(scene.Frame(static_cast<int64_t>(i)), raws[i].data());
    }
    ifx_Cube_R_t* cube = ifx_cube_create_r(kRawChirps, kRawSamples, kRawAntennas);
    size_t frame = 0;
    for (auto _ : state) {
        RawFrameToCube(raws[frame++ % raws.size()].data(), cube);
        benchmark::DoNotOptimize(cDat(cube));
        benchmark::ClobberMemory();
    }
    ifx_cube_destroy_r(cube);
    ReportFrames(state);
}
BENCHMARK(BM_PipelineCubeFill)->Unit(benchmark::kMicrosecond);

// ifx_segmentation_run alone, on cubes filled beforehand, frame after frame.
void BM_PipelineSegmentationRun(benchmark::State& state) {
    const char* name = kScenes[state.range(0)];
    PackedScene scene;
    std::string error;
    if (!SynthesizeScene(name, &scene, &error)) {
        state.SkipWithError(error.c_str());
        return;
    }
    Pipeline pipeline;
    if (!pipeline.Ok()) {
        state.SkipWithError("cannot set up the segmentation");
        return;
    }
    state.SetLabel(name);
    std::vector<unsigned short> raw(kRawFrameSamples);
    std::vector<ifx_Cube_R_t*> cubes;
    for (int64_t i = 0; i < scene.frames; ++i) {
        ifx_Cube_R_t* cube = ifx_cube_create_r(kRawChirps, kRawSamples, kRawAntennas);
        UnpackFrame(scene.Frame(i), raw.data());
        RawFrameToCube(raw.data(), cube);
        cubes.push_back(cube);
    }
    segmentation_t& seg = pipeline.Seg();
    size_t frame = 0;
    for (auto _ : state) {
        ifx_segmentation_run(seg.handle, cubes[frame++ % cubes.size()], seg.segments, seg.tracks);
        benchmark::DoNotOptimize(seg.tracks->d);
    }
    for (ifx_Cube_R_t* cube : cubes) {
        ifx_cube_destroy_r(cube);
    }
    ReportFrames(state);
}
BENCHMARK(BM_PipelineSegmentationRun)->DenseRange(0, 2)->Unit(benchmark::kMicrosecond);

// The document of real outputs: the results of a run over three people.
void BM_PipelineDocument(benchmark::State& state) {
    PackedScene scene;
    std::string error;
    if (!SynthesizeScene("three-people", &scene, &error)) {
        state.SkipWithError(error.c_str());
        return;
    }
    Pipeline pipeline;
    if (!pipeline.Ok()) {
        state.SkipWithError("cannot set up the segmentation");
        return;
    }
    segmentation_t& seg = pipeline.Seg();
    const size_t segmentCount = vLen(seg.segments);
    const size_t trackValues = mRows(seg.tracks) * mCols(seg.tracks);
    std::vector<float> segments;
    std::vector<float> tracks;
    std::vector<unsigned short> raw(kRawFrameSamples);
    int64_t trackRows = 0;
    for (int64_t i = 0; i < scene.frames; ++i) {
        UnpackFrame(scene.Frame(i), raw.data());
        RawFrameToCube(raw.data(), seg.cube);
        ifx_segmentation_run(seg.handle, seg.cube, seg.segments, seg.tracks);
        segments.insert(segments.end(), seg.segments->d, seg.segments->d + segmentCount);
        tracks.insert(tracks.end(), seg.tracks->d, seg.tracks->d + trackValues);
        for (uint32_t row = 0; row < mRows(seg.tracks); ++row) {
            trackRows += mAt(seg.tracks, row, 0) != 0.0f ? 1 : 0;
        }
    }
    state.SetLabel(std::to_string(static_cast<double>(trackRows) / scene.frames).substr(0, 4) +
                   " tracks a frame");
    std::string document;
    size_t frame = 0;
    for (auto _ : state) {
        const size_t i = frame++ % static_cast<size_t>(scene.frames);
        ifx_Vector_R_t segmentView;
        ifx_vec_rawview_r(&segmentView, &segments[i * segmentCount],
                          static_cast<uint32_t>(segmentCount), 1);
        ifx_Matrix_R_t trackView;
        ifx_mat_rawview_r(&trackView, &tracks[i * trackValues], mRows(seg.tracks),
                          mCols(seg.tracks), mCols(seg.tracks));
        MakeActivityResultText(&segmentView, &trackView, &document);
        benchmark::DoNotOptimize(document.data());
    }
    ReportFrames(state);
}
BENCHMARK(BM_PipelineDocument)->Unit(benchmark::kMicrosecond);

}  // namespace
