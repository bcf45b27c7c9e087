// The receiver's imperfections (noise, offset, rounding, clipping) and the
// promise that a seed and a frame number fix every byte.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <utility>
#include <vector>

#include "RadarFrameFormat.h"
#include "SceneLibrary.h"
#include "SceneSynthesizer.h"
#include "SimTestSupport.h"

using namespace radar;
using namespace simtest;

TEST(SynthesisDeterminism, SameSeedSameBytesInAnyOrder) {
    const Scene scene = ShippedScene("three-people");
    SceneSynthesizer forward(scene, 42);
    SceneSynthesizer backward(scene, 42);
    std::vector<std::vector<uint16_t>> frames;
    for (int64_t f = 0; f < 12; ++f) {
        frames.push_back(Synthesize(forward, f * 7));
    }
    for (int64_t f = 11; f >= 0; --f) {
        EXPECT_EQ(Synthesize(backward, f * 7), frames[f]) << "frame " << f * 7;
    }
    // Asking again for a frame already made gives it again.
    EXPECT_EQ(Synthesize(forward, 0), frames[0]);
}

TEST(SynthesisDeterminism, DifferentSeedOrFrameDiffers) {
    const Scene scene = ShippedScene("one-walker");
    SceneSynthesizer a(scene, 1);
    SceneSynthesizer b(scene, 2);
    EXPECT_NE(Synthesize(a, 5), Synthesize(b, 5));
    EXPECT_NE(Synthesize(a, 5), Synthesize(a, 6));
    // Without noise the seed still sets the scatterers' phases and motions.
    Scene quiet = scene;
    quiet.noiseRms = 0.0;
    SceneSynthesizer c(quiet, 1);
    SceneSynthesizer d(quiet, 2);
    EXPECT_NE(Synthesize(c, 5), Synthesize(d, 5));
    // A still room without noise is the same in every frame.
    Scene still = ShippedScene("empty-room");
    still.noiseRms = 0.0;
    SceneSynthesizer e(still, 9);
    EXPECT_EQ(Synthesize(e, 0), Synthesize(e, 100));
}

TEST(SynthesisReceiver, EmptySilentRoomSitsAtMidScalePlusOffset) {
    // The offset rounds to the nearest count.
    for (const auto& offset :
         {std::make_pair(0.0, 2048), std::make_pair(10.4, 2058), std::make_pair(-3.6, 2044)}) {
        Scene scene = QuietScene();
        scene.adcOffset = offset.first;
        SceneSynthesizer synthesizer(scene, 1);
        const std::vector<uint16_t> frame = Synthesize(synthesizer, 0);
        EXPECT_EQ(std::count(frame.begin(), frame.end(), offset.second), kFrameSamples)
            << offset.first;
    }
}

TEST(SynthesisReceiver, NoiseHasTheRequestedLevelAndNoBias) {
    Scene scene = QuietScene();
    scene.noiseRms = 6.0;
    scene.adcOffset = 5.0;
    SceneSynthesizer synthesizer(scene, 3);
    double sum = 0.0, squares = 0.0;
    const int frames = 4;
    for (int f = 0; f < frames; ++f) {
        for (uint16_t s : Synthesize(synthesizer, f)) {
            const double v = s - 2053.0;
            sum += v;
            squares += v * v;
        }
    }
    const double n = frames * kFrameSamples;
    const double mean = sum / n;
    // Rounding to whole counts adds 1/12 count^2 of variance.
    const double rms = std::sqrt(squares / n - mean * mean);
    EXPECT_NEAR(mean, 0.0, 0.1);
    EXPECT_NEAR(rms, std::sqrt(36.0 + 1.0 / 12.0), 0.1);
    // The two receivers' noise is independent.
    const std::vector<uint16_t> frame = Synthesize(synthesizer, 0);
    double cross = 0.0;
    for (int i = 0; i < kFrameSamples; i += 2) {
        cross += (frame[i] - 2053.0) * (frame[i + 1] - 2053.0);
    }
    EXPECT_NEAR(cross / (kFrameSamples / 2) / 36.0, 0.0, 0.05);
}

TEST(SynthesisReceiver, StrongEchoesClipAtTheEndsOfTheConverter) {
    Scene scene = QuietScene();
    SceneClutter mirror;
    mirror.at = {0.0, 0.6};
    mirror.rcsM2 = 100.0;  // 400 * 10 / 0.36 = 11000 counts: far beyond the range
    scene.clutter.push_back(mirror);
    SceneSynthesizer synthesizer(scene, 1);
    const std::vector<uint16_t> frame = Synthesize(synthesizer, 0);
    const int low = static_cast<int>(std::count(frame.begin(), frame.end(), 0));
    const int high = static_cast<int>(std::count(frame.begin(), frame.end(), 4095));
    EXPECT_GT(low, kFrameSamples / 4);
    EXPECT_GT(high, kFrameSamples / 4);
    EXPECT_TRUE(std::all_of(frame.begin(), frame.end(), [](uint16_t s) { return s <= 4095; }));

    // An offset that pushes the noise against the bottom clips it there.
    Scene floor = QuietScene();
    floor.adcOffset = -2048.0;
    floor.noiseRms = 10.0;
    SceneSynthesizer bottom(floor, 1);
    const std::vector<uint16_t> low2 = Synthesize(bottom, 0);
    const int zeros = static_cast<int>(std::count(low2.begin(), low2.end(), 0));
    EXPECT_GT(zeros, kFrameSamples * 4 / 10);
    EXPECT_LT(zeros, kFrameSamples * 6 / 10);
}

TEST(SynthesisReceiver, ShippedScenesStayWithinTheConverter) {
    // People at 1-5 m and the furniture come out clearly but never clipped.
    for (const std::string& name : ShippedSceneNames()) {
        SCOPED_TRACE(name);
        const Scene scene = ShippedScene(name);
        SceneSynthesizer synthesizer(scene, scene.seed);
        int largest = 0;
        for (int64_t f = 0; f < 300; f += 5) {
            for (uint16_t s : Synthesize(synthesizer, f)) {
                largest = std::max(largest, std::abs(static_cast<int>(s) - 2048));
            }
        }
        EXPECT_LT(largest, 2000);
        EXPECT_GT(largest, 100);
    }
}
