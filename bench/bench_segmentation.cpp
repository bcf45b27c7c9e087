// Speed of the segmentation engine: frames per second of the whole Process
// and of each stage, on frames of a shipped scene (three people, furniture),
// scaled as the pipeline scales them. The engine must keep well ahead of
// the module's 10 frames per second on one core; the target is 2000.
#include <benchmark/benchmark.h>

#include <memory>
#include <string>
#include <vector>

#include "RadarFrameFormat.h"
#include "Scene.h"
#include "SceneLibrary.h"
#include "SceneSynthesizer.h"
#include "SegmentationChain.h"

namespace {

using radar_sdk::MatrixView;
using radar_sdk::SegmentationChain;

constexpr int kFrames = 64;
constexpr int kChirps = radar::kChirpsPerFrame;
constexpr int kSamples = radar::kSamplesPerChirp;

radar_sdk::SegmentationSettings Settings() {
    radar_sdk::SegmentationSettings settings;
    settings.segmentWidthsDeg.assign(6, 20.0f);
    return settings;
}

// kFrames frames of three-people, each rx0 then rx1, values / 4095.
const std::vector<std::vector<float>>& Frames() {
    static const std::vector<std::vector<float>> frames = [] {
        std::vector<std::vector<float>> out;
        std::string path, error;
        radar::Scene scene;
        if (!radar::ResolveScenePath("three-people", &path, &error) ||
            !radar::LoadScene(path, &scene, &error)) {
            return out;
        }
        radar::SceneSynthesizer synthesizer(scene, scene.seed);
        std::vector<uint16_t> samples(radar::kFrameSamples);
        for (int f = 0; f < kFrames; ++f) {
            // From 3 s on: everybody is in.
            synthesizer.SynthesizeFrame(30 + f, samples.data());
            std::vector<float> frame(radar::kFrameSamples);
            for (int i = 0; i < kChirps * kSamples; ++i) {
                frame[i] = samples[2 * i] / 4095.0f;
                frame[kChirps * kSamples + i] = samples[2 * i + 1] / 4095.0f;
            }
            out.push_back(std::move(frame));
        }
        return out;
    }();
    return frames;
}

MatrixView View(const std::vector<float>& frame, int rx) {
    return MatrixView{frame.data() + rx * kChirps * kSamples, kChirps, kSamples, kSamples};
}

std::unique_ptr<SegmentationChain> WarmChain(benchmark::State& state) {
    std::string error;
    auto chain = SegmentationChain::Create(Settings(), &error);
    if (!chain || Frames().empty()) {
        state.SkipWithError(error.empty() ? "no frames" : error.c_str());
        return nullptr;
    }
    float segments[6], tracks[40];
    for (const auto& frame : Frames()) {
        chain->Process(View(frame, 0), View(frame, 1), segments, tracks, 4);
    }
    return chain;
}

void BM_SegmentationProcess(benchmark::State& state) {
    auto chain = WarmChain(state);
    if (!chain) {
        return;
    }
    float segments[6], tracks[40];
    size_t i = 0;
    for (auto _ : state) {
        const auto& frame = Frames()[i++ % Frames().size()];
        benchmark::DoNotOptimize(
            chain->Process(View(frame, 0), View(frame, 1), segments, tracks, 4));
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_SegmentationProcess);

void BM_SegmentationRangeFft(benchmark::State& state) {
    auto chain = WarmChain(state);
    if (!chain) {
        return;
    }
    const radar_sdk::ChainGeometry& g = chain->Geometry();
    std::string error;
    auto range =
        radar_sdk::RangeFft::Create(g.samples, g.chirps, g.rangeFftSize, g.rangeBins, &error);
    size_t i = 0;
    for (auto _ : state) {
        const auto& frame = Frames()[i++ % Frames().size()];
        benchmark::DoNotOptimize(range->Execute(View(frame, 0), View(frame, 1)));
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_SegmentationRangeFft);

void BM_SegmentationDopplerFft(benchmark::State& state) {
    auto chain = WarmChain(state);
    if (!chain) {
        return;
    }
    const radar_sdk::ChainGeometry& g = chain->Geometry();
    std::string error;
    auto doppler = radar_sdk::DopplerFft::Create(g.chirps, g.rangeBins, &error);
    for (auto _ : state) {
        doppler->Execute(chain->Range());
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_SegmentationDopplerFft);

void BM_SegmentationNoiseFloor(benchmark::State& state) {
    auto chain = WarmChain(state);
    if (!chain) {
        return;
    }
    const radar_sdk::ChainGeometry& g = chain->Geometry();
    std::string error;
    auto noise = radar_sdk::NoiseFloor::Create(g.rangeBins, g.chirps, g.firstBin, &error);
    for (auto _ : state) {
        noise->Execute(chain->Doppler().Power());
        benchmark::DoNotOptimize(noise->CellNoise());
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_SegmentationNoiseFloor);

void BM_SegmentationCfar(benchmark::State& state) {
    auto chain = WarmChain(state);
    if (!chain) {
        return;
    }
    const radar_sdk::ChainGeometry& g = chain->Geometry();
    std::string error;
    const radar_sdk::ChainTuning tuning = SegmentationChain::TuningFor(Settings(), g);
    auto cfar = radar_sdk::CfarDetector::Create(g.rangeBins, g.chirps, tuning.cfar, &error);
    for (auto _ : state) {
        benchmark::DoNotOptimize(cfar->Execute(chain->Doppler().Power(), g.firstBin, g.lastBin,
                                               chain->Doppler().ZeroColumn()));
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_SegmentationCfar);

void BM_SegmentationSlowTime(benchmark::State& state) {
    auto chain = WarmChain(state);
    if (!chain) {
        return;
    }
    const radar_sdk::ChainGeometry& g = chain->Geometry();
    std::string error;
    const radar_sdk::ChainTuning tuning = SegmentationChain::TuningFor(Settings(), g);
    auto slow = radar_sdk::SlowTimeDetector::Create(g.rangeBins, g.firstBin, g.lastBin, tuning.slow,
                                                    &error);
    for (auto _ : state) {
        benchmark::DoNotOptimize(slow->Execute(chain->Doppler().ZeroDoppler(0),
                                               chain->Doppler().ZeroDoppler(1), 1e-12f));
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_SegmentationSlowTime);

void BM_SegmentationTracker(benchmark::State& state) {
    auto chain = WarmChain(state);
    if (!chain) {
        return;
    }
    const radar_sdk::ChainGeometry& g = chain->Geometry();
    std::string error;
    const radar_sdk::ChainTuning tuning = SegmentationChain::TuningFor(Settings(), g);
    auto tracker = radar_sdk::Tracker::Create(tuning.tracker, 256, &error);
    radar_sdk::TrackReport reports[radar_sdk::kMaxReportedTracks];
    // The last frame's points over and over: the people stand, their
    // tracks stay.
    for (auto _ : state) {
        tracker->Execute(chain->Points().Points(), chain->Points().Count(), g.framePeriodS);
        benchmark::DoNotOptimize(tracker->Report(reports, radar_sdk::kMaxReportedTracks));
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_SegmentationTracker);

}  // namespace
