// The engine as a whole: its settings are checked, bad frames are refused
// without harm, Reset forgets everything (the same frames then give the same
// output), noise alone gives no track, and a frame allocates nothing.
#include <gtest/gtest.h>

#include <atomic>
#include <cmath>
#include <cstdlib>
#include <memory>
#include <new>
#include <random>
#include <string>
#include <vector>

#include "EngineRunSupport.h"
#include "RadarFrameFormat.h"
#include "Scene.h"
#include "SceneLibrary.h"
#include "SceneSynthesizer.h"
#include "segmentation/SegmentationEngine.h"

// Every allocation of this test program is counted, so that a test can see
// that the engine's per-frame path makes none. The sanitizers bring their own
// operator new, which must not be replaced: there the count is not kept.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define ENGINE_TEST_COUNTS_ALLOCATIONS 0
#else
#define ENGINE_TEST_COUNTS_ALLOCATIONS 1
#endif

namespace {
std::atomic<long> g_allocations{0};
}  // namespace

#if ENGINE_TEST_COUNTS_ALLOCATIONS
// Kept out of line: inlined into this file's callers, the compiler would
// pair malloc with the deletes below and warn about a mismatch.
__attribute__((noinline)) void* operator new(size_t size) {
    g_allocations.fetch_add(1, std::memory_order_relaxed);
    if (void* p = std::malloc(size == 0 ? 1 : size)) {
        return p;
    }
    throw std::bad_alloc();
}
__attribute__((noinline)) void operator delete(void* p) noexcept {
    std::free(p);
}
__attribute__((noinline)) void operator delete(void* p, size_t) noexcept {
    std::free(p);
}
#endif

namespace {

using radar_sdk::MatrixView;
using radar_sdk::SegmentationEngine;
using radar_sdk::SegmentationSettings;

constexpr int kChirps = radar::kChirpsPerFrame;
constexpr int kSamples = radar::kSamplesPerChirp;

std::unique_ptr<SegmentationEngine> Make(const SegmentationSettings& settings, std::string* error) {
    return SegmentationEngine::Create(settings, error);
}

TEST(SegmentationEngine, RefusesSettingsThatCannotWorkAndNamesThem) {
    struct Case {
        const char* field;
        void (*spoil)(SegmentationSettings*);
    };
    const Case cases[] = {
        {"samplesPerChirp", [](SegmentationSettings* s) { s->samplesPerChirp = 0; }},
        {"chirpsPerFrame", [](SegmentationSettings* s) { s->chirpsPerFrame = -4; }},
        {"bandwidthHz", [](SegmentationSettings* s) { s->bandwidthHz = 0.0f; }},
        {"chirpRepetitionTimeS", [](SegmentationSettings* s) { s->chirpRepetitionTimeS = NAN; }},
        {"centreFrequencyHz", [](SegmentationSettings* s) { s->centreFrequencyHz = -1.0f; }},
        {"maxRangeM", [](SegmentationSettings* s) { s->maxRangeM = 0.0f; }},
        {"framePeriodS", [](SegmentationSettings* s) { s->framePeriodS = 0.0f; }},
        {"segmentWidthsDeg", [](SegmentationSettings* s) { s->segmentWidthsDeg.clear(); }},
        {"segmentWidthsDeg", [](SegmentationSettings* s) { s->segmentWidthsDeg.push_back(5.0f); }},
        {"segmentWidthsDeg[2]", [](SegmentationSettings* s) { s->segmentWidthsDeg[2] = 0.0f; }},
        {"sensitivity", [](SegmentationSettings* s) { s->sensitivity = 4; }},
        {"staticRemoval", [](SegmentationSettings* s) { s->staticRemoval = 0; }},
        {"maxTracks", [](SegmentationSettings* s) { s->maxTracks = 0; }},
        {"maxTracks", [](SegmentationSettings* s) { s->maxTracks = 1000; }},
        {"orientation", [](SegmentationSettings* s) { s->orientation = 2; }},
    };
    for (const Case& c : cases) {
        SegmentationSettings settings = engine_support::DefaultSettings();
        c.spoil(&settings);
        std::string error;
        EXPECT_FALSE(Make(settings, &error)) << c.field;
        EXPECT_EQ(error.rfind(c.field, 0), 0u) << "for " << c.field << ": " << error;
    }
    std::string error;
    EXPECT_TRUE(Make(engine_support::DefaultSettings(), &error)) << error;
    // Every level is accepted.
    for (int level = 1; level <= 3; ++level) {
        SegmentationSettings settings = engine_support::DefaultSettings();
        settings.sensitivity = level;
        settings.staticRemoval = 4 - level;
        settings.hysteresis = level == 2;
        EXPECT_TRUE(Make(settings, &error)) << error;
    }
}

// A few frames of a shipped scene, scaled as the pipeline does.
std::vector<std::vector<float>> SceneFrames(const std::string& name, int frames) {
    std::string path, error;
    radar::Scene scene;
    EXPECT_TRUE(radar::ResolveScenePath(name, &path, &error) &&
                radar::LoadScene(path, &scene, &error))
        << error;
    radar::SceneSynthesizer synthesizer(scene, scene.seed);
    std::vector<uint16_t> samples(radar::kFrameSamples);
    std::vector<std::vector<float>> out;
    for (int f = 0; f < frames; ++f) {
        synthesizer.SynthesizeFrame(f, samples.data());
        std::vector<float> rx0, rx1;
        engine_support::ScaleFrame(samples.data(), &rx0, &rx1);
        rx0.insert(rx0.end(), rx1.begin(), rx1.end());
        out.push_back(std::move(rx0));
    }
    return out;
}

struct Output {
    std::vector<float> segments = std::vector<float>(6, -1.0f);
    std::vector<float> tracks = std::vector<float>(10 * 5, -1.0f);  // stride 5
};

bool RunFrame(SegmentationEngine* engine, const std::vector<float>& frame, Output* out) {
    const MatrixView v0{frame.data(), kChirps, kSamples, kSamples};
    const MatrixView v1{frame.data() + kChirps * kSamples, kChirps, kSamples, kSamples};
    return engine->Process(v0, v1, out->segments.data(), out->tracks.data(), 5);
}

TEST(SegmentationEngine, RefusesBadFramesWithoutTouchingOutputsOrState) {
    std::string error;
    auto engine = Make(engine_support::DefaultSettings(), &error);
    ASSERT_TRUE(engine);
    const auto frames = SceneFrames("one-walker", 30);
    Output out;
    std::vector<float> bad = frames[0];
    const MatrixView v0{bad.data(), kChirps, kSamples, kSamples};
    MatrixView wrong = v0;
    wrong.rows = kChirps - 1;
    EXPECT_FALSE(engine->Process(wrong, v0, out.segments.data(), out.tracks.data(), 5));
    wrong = v0;
    wrong.stride = kSamples - 1;
    EXPECT_FALSE(engine->Process(v0, wrong, out.segments.data(), out.tracks.data(), 5));
    EXPECT_FALSE(engine->Process(v0, v0, nullptr, out.tracks.data(), 5));
    EXPECT_FALSE(engine->Process(v0, v0, out.segments.data(), out.tracks.data(), 3));
    bad[12345] = std::nanf("");
    EXPECT_FALSE(RunFrame(engine.get(), bad, &out));
    EXPECT_EQ(out.segments, std::vector<float>(6, -1.0f));
    EXPECT_EQ(out.tracks, std::vector<float>(50, -1.0f));

    // A refused frame in the middle of a run changes nothing that follows.
    auto reference = Make(engine_support::DefaultSettings(), &error);
    Output a, b;
    for (size_t f = 0; f < frames.size(); ++f) {
        if (f == 15) {
            EXPECT_FALSE(RunFrame(engine.get(), bad, &a));
        }
        ASSERT_TRUE(RunFrame(engine.get(), frames[f], &a));
        ASSERT_TRUE(RunFrame(reference.get(), frames[f], &b));
        EXPECT_EQ(a.tracks, b.tracks) << "frame " << f;
    }
}

TEST(SegmentationEngine, ResetThenTheSameFramesGiveTheSameOutput) {
    std::string error;
    auto engine = Make(engine_support::DefaultSettings(), &error);
    ASSERT_TRUE(engine);
    const auto frames = SceneFrames("two-crossing", 40);
    std::vector<Output> first(frames.size()), second(frames.size());
    for (size_t f = 0; f < frames.size(); ++f) {
        ASSERT_TRUE(RunFrame(engine.get(), frames[f], &first[f]));
    }
    engine->Reset();
    for (size_t f = 0; f < frames.size(); ++f) {
        ASSERT_TRUE(RunFrame(engine.get(), frames[f], &second[f]));
        EXPECT_EQ(first[f].tracks, second[f].tracks) << "frame " << f;
        EXPECT_EQ(first[f].segments, second[f].segments) << "frame " << f;
    }
    // Both people are tracked by the end, ids start at 1, the fifth column
    // of the stride is left alone and empty rows are zero.
    const Output& last = second.back();
    EXPECT_EQ(last.tracks[0], 1.0f);
    EXPECT_GT(last.tracks[5], 0.0f);
    for (int row = 0; row < 10; ++row) {
        EXPECT_EQ(last.tracks[row * 5 + 4], -1.0f);
        if (last.tracks[row * 5] == 0.0f) {
            EXPECT_EQ(last.tracks[row * 5 + 1], 0.0f);
            EXPECT_EQ(last.tracks[row * 5 + 3], 0.0f);
        }
    }
}

TEST(SegmentationEngine, NoiseAloneGivesNoTrackAndNoSegment) {
    std::string error;
    auto engine = Make(engine_support::DefaultSettings(), &error);
    ASSERT_TRUE(engine);
    std::mt19937 rng(11);
    std::normal_distribution<float> noise(2048.0f, 3.0f);
    std::vector<float> frame(2 * kChirps * kSamples);
    Output out;
    for (int f = 0; f < 200; ++f) {
        for (float& v : frame) {
            v = std::round(noise(rng)) / 4095.0f;
        }
        ASSERT_TRUE(RunFrame(engine.get(), frame, &out));
        for (int row = 0; row < 10; ++row) {
            ASSERT_EQ(out.tracks[row * 5], 0.0f) << "frame " << f;
        }
        ASSERT_EQ(out.segments, std::vector<float>(6, 0.0f)) << "frame " << f;
    }
}

TEST(SegmentationEngine, AFrameAllocatesNothing) {
    if (!ENGINE_TEST_COUNTS_ALLOCATIONS) {
        GTEST_SKIP() << "allocations are counted in the build without sanitizers";
    }
    std::string error;
    auto engine = Make(engine_support::DefaultSettings(), &error);
    ASSERT_TRUE(engine);
    const auto frames = SceneFrames("three-people", 60);
    Output out;
    for (size_t f = 0; f < 10; ++f) {
        ASSERT_TRUE(RunFrame(engine.get(), frames[f], &out));
    }
    const long before = g_allocations.load();
    for (size_t f = 10; f < frames.size(); ++f) {
        ASSERT_TRUE(RunFrame(engine.get(), frames[f], &out));
    }
    EXPECT_EQ(g_allocations.load() - before, 0);
    engine->Reset();
    const long afterReset = g_allocations.load();
    ASSERT_TRUE(RunFrame(engine.get(), frames[0], &out));
    EXPECT_EQ(g_allocations.load() - afterReset, 0);
}

}  // namespace
