// Cost of the radar scene synthesis: one frame of a shipped scene (the
// simulated module makes ten a second, radar-sim as many as it can), one
// frame of a random room (walls, movers and the module's flaws: what an
// evaluation over a hundred rooms pays per frame), the packing of a frame
// into its slices, and the ground truth of a frame.
#include <benchmark/benchmark.h>

#include <string>
#include <vector>

#include "RadarFrameFormat.h"
#include "RandomRoom.h"
#include "Scene.h"
#include "SceneLibrary.h"
#include "SceneSynthesizer.h"

namespace {

const char* const kScenes[] = {"one-walker", "three-people", "empty-room", "seated"};

bool LoadShipped(const char* name, radar::Scene* scene, std::string* error) {
    std::string path;
    return radar::ResolveScenePath(name, &path, error) && radar::LoadScene(path, scene, error);
}

void BM_SynthesizeFrame(benchmark::State& state) {
    const char* name = kScenes[state.range(0)];
    radar::Scene scene;
    std::string error;
    if (!LoadShipped(name, &scene, &error)) {
        state.SkipWithError(error.c_str());
        return;
    }
    state.SetLabel(name);
    radar::SceneSynthesizer synthesizer(scene, scene.seed);
    std::vector<uint16_t> samples(radar::kFrameSamples);
    int64_t frame = 0;
    for (auto _ : state) {
        synthesizer.SynthesizeFrame(frame++, samples.data());
        benchmark::DoNotOptimize(samples.data());
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_SynthesizeFrame)->DenseRange(0, 3)->Unit(benchmark::kMicrosecond);

// One frame of each of the rooms of seeds 1..20 in turn.
void BM_SynthesizeRandomRoomFrame(benchmark::State& state) {
    constexpr int kRooms = 20;
    std::vector<radar::SceneSynthesizer> rooms;
    for (int seed = 1; seed <= kRooms; ++seed) {
        const radar::Scene scene = radar::RandomRoom(static_cast<uint64_t>(seed));
        rooms.emplace_back(scene, scene.seed);
    }
    std::vector<uint16_t> samples(radar::kFrameSamples);
    int64_t frame = 0;
    for (auto _ : state) {
        rooms[static_cast<size_t>(frame % kRooms)].SynthesizeFrame(frame / kRooms, samples.data());
        benchmark::DoNotOptimize(samples.data());
        ++frame;
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_SynthesizeRandomRoomFrame)->Unit(benchmark::kMicrosecond);

void BM_PackFrame(benchmark::State& state) {
    std::vector<uint16_t> samples(radar::kFrameSamples);
    for (size_t i = 0; i < samples.size(); ++i) {
        samples[i] = static_cast<uint16_t>((i * 37) & 0xFFF);
    }
    std::vector<uint8_t> packed(radar::kFrameBytes);
    for (auto _ : state) {
        radar::PackFrame(samples.data(), packed.data());
        benchmark::DoNotOptimize(packed.data());
    }
    state.SetBytesProcessed(state.iterations() * radar::kFrameBytes);
}
BENCHMARK(BM_PackFrame)->Unit(benchmark::kMicrosecond);

void BM_TruthOfAFrame(benchmark::State& state) {
    radar::Scene scene;
    std::string error;
    if (!LoadShipped("three-people", &scene, &error)) {
        state.SkipWithError(error.c_str());
        return;
    }
    radar::SceneSynthesizer synthesizer(scene, scene.seed);
    int64_t frame = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(synthesizer.TruthAt(radar::FrameTimeS(frame++ % 6000)));
    }
}
BENCHMARK(BM_TruthOfAFrame);

}  // namespace
