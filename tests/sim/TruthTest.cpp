// Ground truth: where a scene puts its people at any time, in the contract's
// geometry, and which of them the truth lists.
#include <gtest/gtest.h>

#include <algorithm>
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

// The one target the truth lists at time t.
TruthTarget OnlyAt(SceneSynthesizer& synthesizer, double t) {
    const std::vector<TruthTarget> at = synthesizer.TruthAt(t);
    EXPECT_EQ(at.size(), 1u) << "at " << t << " s";
    return at.empty() ? TruthTarget() : at[0];
}

}  // namespace

TEST(SceneTruth, WalkerMovesAlongThePathAtItsSpeed) {
    // Across the room at y = 2, then away to y = 4: 2 m + 2 m at 0.5 m/s.
    ScenePerson walker = PointPerson(1, {{-1.0, 2.0}, {1.0, 2.0}, {1.0, 4.0}}, 0.5);
    SceneSynthesizer synthesizer(WithPeople({walker}), 1);
    struct Case {
        double t, x, y, velocity;  // radial: the walk's direction onto the line of sight
    };
    const Case cases[] = {
        {0.0, -1.0, 2.0, 0.5 * -1.0 / std::sqrt(5.0)},      // getting closer
        {3.0, 0.5, 2.0, 0.5 * 0.5 / std::hypot(0.5, 2.0)},  // 1.5 m along: moving away
        {6.0, 1.0, 3.0, 0.5 * 3.0 / std::hypot(1.0, 3.0)},  // on the second leg
        {20.0, 1.0, 4.0, 0.0},                              // without a loop it stays
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.t);
        const TruthTarget at = OnlyAt(synthesizer, c.t);
        EXPECT_EQ(at.id, 1);
        EXPECT_NEAR(at.x, c.x, 1e-9);
        EXPECT_NEAR(at.y, c.y, 1e-9);
        EXPECT_NEAR(at.velocity, c.velocity, 1e-9);
        // Angle from the axis, negative on the left, away from rx 1.
        EXPECT_NEAR(at.range, std::hypot(c.x, c.y), 1e-9);
        EXPECT_NEAR(at.angle, std::atan2(c.x, c.y) * 180.0 / kPi, 1e-9);
    }
}

TEST(SceneTruth, LoopingWalkerComesBackToTheStart) {
    // A square of 4 m sides: the loop closes itself from the last point.
    ScenePerson walker = PointPerson(1, {{-2.0, 2.0}, {2.0, 2.0}, {2.0, 6.0}, {-2.0, 6.0}}, 1.0);
    walker.loop = true;
    SceneSynthesizer synthesizer(WithPeople({walker}), 1);
    TruthTarget at = OnlyAt(synthesizer, 14.0);  // on the way back down
    EXPECT_NEAR(at.x, -2.0, 1e-9);
    EXPECT_NEAR(at.y, 4.0, 1e-9);
    at = OnlyAt(synthesizer, 16.0 + 1.0);
    EXPECT_NEAR(at.x, -1.0, 1e-9);
    EXPECT_NEAR(at.y, 2.0, 1e-9);
}

TEST(SceneTruth, PeopleArePresentBetweenStartAndEnd) {
    ScenePerson late = PointPerson(2, {{0.0, 2.0}, {0.0, 4.0}}, 1.0);
    late.startS = 5.0;
    late.endS = 7.0;
    SceneSynthesizer synthesizer(WithPeople({late}), 1);
    EXPECT_TRUE(synthesizer.TruthAt(4.99).empty());
    EXPECT_NEAR(OnlyAt(synthesizer, 5.0).y, 2.0, 1e-9);  // starts walking when it enters
    EXPECT_NEAR(OnlyAt(synthesizer, 6.5).y, 3.5, 1e-9);
    EXPECT_TRUE(synthesizer.TruthAt(7.0).empty());

    // Nobody there: nothing of them in the signal either.
    std::vector<uint16_t> frame = Synthesize(synthesizer, 80);
    EXPECT_EQ(std::count(frame.begin(), frame.end(), kAdcZero), kFrameSamples);
    frame = Synthesize(synthesizer, 60);
    EXPECT_LT(std::count(frame.begin(), frame.end(), kAdcZero), kFrameSamples / 2);
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
        const TruthTarget at = OnlyAt(synthesizer, t);
        EXPECT_EQ(at.x, 0.4);
        EXPECT_EQ(at.y, 2.5);
        EXPECT_EQ(at.velocity, 0.0);
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
    const int bins = kSamplesPerChirp / 2;
    int angleHits = 0;
    const int frames = 40;
    for (int f = 0; f < frames * 3; f += 3) {
        const std::vector<uint16_t> frame = Synthesize(synthesizer, f);
        const TruthTarget truth = OnlyAt(synthesizer, FrameTimeS(f));
        // Moving-target indication: subtract each receiver's mean chirp.
        std::vector<std::vector<Complex>> rx[2];
        std::vector<Complex> mean[2] = {std::vector<Complex>(bins), std::vector<Complex>(bins)};
        for (int r = 0; r < 2; ++r) {
            for (int k = 0; k < kChirpsPerFrame; ++k) {
                rx[r].push_back(RangeSpectrum(frame.data(), r, k));
                for (int b = 0; b < bins; ++b) {
                    mean[r][b] += rx[r][k][b] / static_cast<double>(kChirpsPerFrame);
                }
            }
        }
        std::vector<double> power(bins, 0.0);
        std::vector<Complex> cross(bins);
        int peak = 1;
        for (int b = 1; b < bins; ++b) {
            for (int k = 0; k < kChirpsPerFrame; ++k) {
                const Complex a = rx[0][k][b] - mean[0][b];
                power[b] += std::norm(a);
                cross[b] += (rx[1][k][b] - mean[1][b]) * std::conj(a);
            }
            peak = power[b] > power[peak] ? b : peak;
        }
        EXPECT_NEAR(peak, truth.range / kRangeBinM, 1.5) << "frame " << f;
        const double angle = std::asin(std::arg(cross[peak]) / kPi) * 180.0 / kPi;
        angleHits += std::fabs(angle - truth.angle) < 10.0;
    }
    // Limbs and torso share range bins, so a few frames may be off.
    EXPECT_GE(angleHits, frames * 8 / 10);
}
