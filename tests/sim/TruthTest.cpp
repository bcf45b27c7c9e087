// Ground truth: where a scene puts its people at any time, in the contract's
// geometry, and which of them the truth lists.
#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "RadarFrameFormat.h"
#include "SceneSynthesizer.h"
#include "SimTestSupport.h"

using namespace radar;
using namespace simtest;

namespace {

constexpr double kPi = 3.141592653589793;

Scene WithPeople(std::vector<ScenePerson> people) {
    Scene scene = QuietScene();
    scene.people = std::move(people);
    return scene;
}

}  // namespace

TEST(SceneTruth, WalkerMovesAlongThePathAtItsSpeed) {
    // Across the room at y = 2, then away to y = 4: 2 m + 2 m at 0.5 m/s.
    ScenePerson walker = PointPerson(1, {{-1.0, 2.0}, {1.0, 2.0}, {1.0, 4.0}}, 0.5);
    SceneSynthesizer synthesizer(WithPeople({walker}), 1);

    std::vector<TruthTarget> at = synthesizer.TruthAt(0.0);
    ASSERT_EQ(at.size(), 1u);
    EXPECT_EQ(at[0].id, 1);
    EXPECT_NEAR(at[0].x, -1.0, 1e-9);
    EXPECT_NEAR(at[0].y, 2.0, 1e-9);
    EXPECT_NEAR(at[0].range, std::sqrt(5.0), 1e-9);
    EXPECT_NEAR(at[0].angle, std::atan2(-1.0, 2.0) * 180.0 / kPi, 1e-9);
    EXPECT_LT(at[0].angle, 0.0);  // left of the axis, away from rx 1
    // Walking towards +x across y = 2 from x = -1: getting closer.
    EXPECT_NEAR(at[0].velocity, 0.5 * -1.0 / std::sqrt(5.0), 1e-9);

    at = synthesizer.TruthAt(3.0);  // 1.5 m along: x = 0.5
    ASSERT_EQ(at.size(), 1u);
    EXPECT_NEAR(at[0].x, 0.5, 1e-9);
    EXPECT_NEAR(at[0].y, 2.0, 1e-9);
    EXPECT_NEAR(at[0].velocity, 0.5 * 0.5 / std::hypot(0.5, 2.0), 1e-9);  // now moving away

    at = synthesizer.TruthAt(6.0);  // 3 m along: on the second leg
    ASSERT_EQ(at.size(), 1u);
    EXPECT_NEAR(at[0].x, 1.0, 1e-9);
    EXPECT_NEAR(at[0].y, 3.0, 1e-9);
    EXPECT_NEAR(at[0].velocity, 0.5 * 3.0 / std::hypot(1.0, 3.0), 1e-9);
    EXPECT_NEAR(at[0].x, at[0].range * std::sin(at[0].angle * kPi / 180.0), 1e-9);
    EXPECT_NEAR(at[0].y, at[0].range * std::cos(at[0].angle * kPi / 180.0), 1e-9);

    at = synthesizer.TruthAt(20.0);  // without a loop it stays at the end
    ASSERT_EQ(at.size(), 1u);
    EXPECT_NEAR(at[0].x, 1.0, 1e-9);
    EXPECT_NEAR(at[0].y, 4.0, 1e-9);
    EXPECT_EQ(at[0].velocity, 0.0);
}

TEST(SceneTruth, LoopingWalkerComesBackToTheStart) {
    // A square of 4 m sides: the loop closes itself from the last point.
    ScenePerson walker = PointPerson(1, {{-2.0, 2.0}, {2.0, 2.0}, {2.0, 6.0}, {-2.0, 6.0}}, 1.0);
    walker.loop = true;
    SceneSynthesizer synthesizer(WithPeople({walker}), 1);
    std::vector<TruthTarget> at = synthesizer.TruthAt(14.0);  // on the way back down
    ASSERT_EQ(at.size(), 1u);
    EXPECT_NEAR(at[0].x, -2.0, 1e-9);
    EXPECT_NEAR(at[0].y, 4.0, 1e-9);
    at = synthesizer.TruthAt(16.0 + 1.0);
    ASSERT_EQ(at.size(), 1u);
    EXPECT_NEAR(at[0].x, -1.0, 1e-9);
    EXPECT_NEAR(at[0].y, 2.0, 1e-9);
}

TEST(SceneTruth, PeopleArePresentBetweenStartAndEnd) {
    ScenePerson late = PointPerson(2, {{0.0, 2.0}, {0.0, 4.0}}, 1.0);
    late.startS = 5.0;
    late.endS = 7.0;
    SceneSynthesizer synthesizer(WithPeople({late}), 1);
    EXPECT_TRUE(synthesizer.TruthAt(4.99).empty());
    std::vector<TruthTarget> at = synthesizer.TruthAt(5.0);
    ASSERT_EQ(at.size(), 1u);
    EXPECT_NEAR(at[0].y, 2.0, 1e-9);  // starts walking when it enters
    at = synthesizer.TruthAt(6.5);
    ASSERT_EQ(at.size(), 1u);
    EXPECT_NEAR(at[0].y, 3.5, 1e-9);
    EXPECT_TRUE(synthesizer.TruthAt(7.0).empty());

    // Nobody there: nothing of them in the signal either.
    std::vector<uint16_t> frame(kFrameSamples);
    synthesizer.SynthesizeFrame(80, frame.data());
    for (uint16_t sample : frame) {
        ASSERT_EQ(sample, kAdcZero);
    }
    synthesizer.SynthesizeFrame(60, frame.data());
    int moved = 0;
    for (uint16_t sample : frame) {
        moved += sample != kAdcZero;
    }
    EXPECT_GT(moved, kFrameSamples / 2);
}

TEST(SceneTruth, ListsOnlyPeopleInTheFieldOfViewInIdOrder) {
    const double a65 = 65.0 * kPi / 180.0;
    const double a59 = 59.0 * kPi / 180.0;
    std::vector<ScenePerson> people = {
        PointPerson(9, {{0.0, 3.0}}, 1.0),
        PointPerson(4, {{3.0 * std::sin(a65), 3.0 * std::cos(a65)}}, 1.0),   // outside
        PointPerson(7, {{-3.0 * std::sin(a59), 3.0 * std::cos(a59)}}, 1.0),  // inside
        PointPerson(5, {{0.5, -2.0}}, 1.0),                                  // behind
        PointPerson(6, {{0.0, 25.0}}, 1.0),                                  // too far
        PointPerson(2, {{1.0, 1.0}}, 1.0),
    };
    SceneSynthesizer synthesizer(WithPeople(people), 1);
    const std::vector<TruthTarget> at = synthesizer.TruthAt(1.0);
    ASSERT_EQ(at.size(), 3u);
    EXPECT_EQ(at[0].id, 2);
    EXPECT_EQ(at[1].id, 7);
    EXPECT_NEAR(at[1].angle, -59.0, 1e-9);
    EXPECT_EQ(at[2].id, 9);
    for (const TruthTarget& target : at) {
        EXPECT_EQ(target.velocity, 0.0);
    }
}

TEST(SceneTruth, SeatedPersonStaysPutWhileBreathing) {
    ScenePerson sitter;
    sitter.id = 3;
    sitter.path = {{0.4, 2.5}};
    sitter.seated = true;
    SceneSynthesizer synthesizer(WithPeople({sitter}), 1);
    for (double t : {0.0, 1.3, 100.0}) {
        const std::vector<TruthTarget> at = synthesizer.TruthAt(t);
        ASSERT_EQ(at.size(), 1u);
        EXPECT_EQ(at[0].x, 0.4);
        EXPECT_EQ(at[0].y, 2.5);
        EXPECT_EQ(at[0].velocity, 0.0);
    }
}

TEST(SceneTruth, WalkersSignalIsWhereTheTruthSaysItIs) {
    // The whole body of a walker (limbs, sway) in a room with furniture:
    // after removing what stands still, the strongest echo is within a bin of
    // the truth's range, at about the truth's angle.
    ScenePerson walker;
    walker.id = 1;
    walker.path = {{-1.5, 1.5}, {1.5, 1.5}, {1.5, 3.8}, {-1.5, 3.8}};
    walker.loop = true;
    walker.speedMps = 1.0;
    Scene scene = WithPeople({walker});
    scene.noiseRms = 2.0;
    SceneClutter sofa;
    sofa.at = {0.0, 4.4};
    sofa.rcsM2 = 8.0;
    scene.clutter.push_back(sofa);
    SceneSynthesizer synthesizer(scene, 5);
    std::vector<uint16_t> frame(kFrameSamples);
    int angleHits = 0;
    const int frames = 40;
    for (int f = 0; f < frames * 3; f += 3) {
        synthesizer.SynthesizeFrame(f, frame.data());
        const std::vector<TruthTarget> truth = synthesizer.TruthAt(FrameTimeS(f));
        ASSERT_EQ(truth.size(), 1u);
        // Moving-target indication: subtract the mean chirp, keep the rest.
        std::vector<Complex> mean0(kSamplesPerChirp / 2), mean1(kSamplesPerChirp / 2);
        std::vector<std::vector<Complex>> rx0, rx1;
        for (int k = 0; k < kChirpsPerFrame; ++k) {
            rx0.push_back(RangeSpectrum(frame.data(), 0, k));
            rx1.push_back(RangeSpectrum(frame.data(), 1, k));
            for (int b = 0; b < kSamplesPerChirp / 2; ++b) {
                mean0[b] += rx0.back()[b] / static_cast<double>(kChirpsPerFrame);
                mean1[b] += rx1.back()[b] / static_cast<double>(kChirpsPerFrame);
            }
        }
        std::vector<double> power(kSamplesPerChirp / 2, 0.0);
        std::vector<Complex> cross(kSamplesPerChirp / 2);
        for (int k = 0; k < kChirpsPerFrame; ++k) {
            for (int b = 1; b < kSamplesPerChirp / 2; ++b) {
                const Complex a = rx0[k][b] - mean0[b];
                const Complex c = rx1[k][b] - mean1[b];
                power[b] += std::norm(a);
                cross[b] += c * std::conj(a);
            }
        }
        int peak = 1;
        for (int b = 1; b < kSamplesPerChirp / 2; ++b) {
            if (power[b] > power[peak]) {
                peak = b;
            }
        }
        EXPECT_NEAR(peak, truth[0].range / kRangeBinM, 1.5) << "frame " << f;
        const double angle = std::asin(std::arg(cross[peak]) / kPi) * 180.0 / kPi;
        angleHits += std::fabs(angle - truth[0].angle) < 10.0;
    }
    // Limbs and torso share range bins, so a few frames may be off.
    EXPECT_GE(angleHits, frames * 8 / 10);
}
