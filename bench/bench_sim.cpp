// Cost of the radar scene synthesis: one frame of a shipped scene (the
// simulated module makes ten a second, radar-sim as many as it can), the
// packing of a frame into its slices, and the ground truth of a frame.
#include <benchmark/benchmark.h>

#include <string>
#include <vector>

#include "RadarFrameFormat.h"
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
