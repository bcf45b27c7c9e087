// Random rooms: the same seed gives the same room, and every room keeps the
// promises of radar.md's living room (people in view and apart, the module's
// flaws in their ranges), seen through the synthesizer's own ground truth.
#include <gtest/gtest.h>

#include <cmath>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "RandomRoom.h"
#include "Scene.h"
#include "SceneSynthesizer.h"

using namespace radar;

namespace {

constexpr int kRooms = 200;

// How long a plan keeps the person busy, walking at its speed.
double PlanSeconds(const ScenePerson& person) {
    double seconds = 0.0;
    ScenePoint at = person.path[0];
    for (const PlanStep& step : person.plan) {
        if (step.kind != ActivityKind::kWalk) {
            seconds += step.durationS;
            continue;
        }
        for (const ScenePoint& to : step.to) {
            const double speed = step.speedMps > 0 ? step.speedMps : person.speedMps;
            seconds += std::hypot(to.x - at.x, to.y - at.y) / speed;
            at = to;
        }
    }
    return seconds;
}

double Range(const ScenePoint& p) {
    return std::hypot(p.x, p.y);
}

}  // namespace

TEST(RandomRoom, TheSameSeedGivesTheSameRoomAndOthersDiffer) {
    std::set<std::string> rooms;
    for (uint64_t seed : {0ull, 1ull, 2ull, 3ull, 18446744073709551615ull}) {
        const std::string room = SceneToJson(RandomRoom(seed));
        EXPECT_EQ(SceneToJson(RandomRoom(seed)), room);
        EXPECT_EQ(RandomRoom(seed).name, "random-" + std::to_string(seed));
        rooms.insert(room);
    }
    EXPECT_EQ(rooms.size(), 5u);
}

TEST(RandomRoom, EveryRoomIsValidWithPeopleInViewApartAndBusy) {
    std::map<size_t, int> peopleCounts;
    std::map<std::string, int> behaviours;
    std::set<MoverKind> moverKinds;
    for (int seed = 1; seed <= kRooms; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        const Scene scene = RandomRoom(seed);
        std::string error;
        ASSERT_TRUE(ValidateScene(scene, &error)) << error;
        ASSERT_LE(scene.people.size(), 5u);
        EXPECT_GE(scene.clutter.size(), 2u);
        EXPECT_LE(scene.clutter.size(), 5u);
        EXPECT_LE(scene.movers.size(), 2u);
        EXPECT_GE(scene.noiseRms, 3.0);
        EXPECT_LE(scene.noiseRms, 12.0);
        const SceneModule& module = scene.module;
        EXPECT_GE(module.leakageAmplitude, 200.0);
        EXPECT_LE(module.leakageAmplitude, 600.0);
        EXPECT_GE(module.leakageRangeM, 0.02);
        EXPECT_LE(module.leakageRangeM, 0.06);
        EXPECT_GE(module.highPassHz, 20000.0);
        EXPECT_LE(module.highPassHz, 40000.0);
        EXPECT_GE(module.patternExponent, 1.0);
        EXPECT_LE(module.patternExponent, 2.0);
        EXPECT_LE(std::fabs(module.rxGainDb), 1.5);
        EXPECT_LE(std::fabs(module.adcOffsets[0]), 40.0);
        EXPECT_LE(std::fabs(module.adcOffsets[1]), 40.0);
        for (const SceneWall& wall : scene.walls) {
            EXPECT_GE(wall.reflectivity, 0.3);
            EXPECT_LE(wall.reflectivity, 0.6);
        }
        ++peopleCounts[scene.people.size()];
        for (const SceneMover& mover : scene.movers) {
            moverKinds.insert(mover.kind);
        }
        std::map<std::string, std::vector<const ScenePerson*>> byLabel;
        for (const ScenePerson& person : scene.people) {
            ++behaviours[person.label];
            byLabel[person.label].push_back(&person);
            EXPECT_GE(person.rcsM2, 0.2);
            EXPECT_LE(person.rcsM2, 1.2);
            EXPECT_GE(person.size, 0.7);
            EXPECT_LE(person.size, 1.1);
            EXPECT_GE(person.breathingDepthM, 0.002);
            EXPECT_LE(person.breathingDepthM, 0.005);
            EXPECT_GE(person.breathingRateHz, 0.15);
            EXPECT_LE(person.breathingRateHz, 0.5);
            if (person.seated) {
                continue;
            }
            EXPECT_GE(person.speedMps, 0.3);
            EXPECT_LE(person.speedMps, 1.5);
            EXPECT_TRUE(person.loop || PlanSeconds(person) >= 120.0) << person.label;
        }
        // Seats side by side, and the pairs as radar.md has them.
        for (const ScenePerson& a : scene.people) {
            for (const ScenePerson& b : scene.people) {
                if (&a < &b && a.seated && b.seated) {
                    EXPECT_GE(std::hypot(a.path[0].x - b.path[0].x, a.path[0].y - b.path[0].y),
                              0.5);
                }
            }
        }
        const auto& sofa = byLabel["sofa pair"];
        if (!sofa.empty()) {
            ASSERT_EQ(sofa.size(), 2u);
            const double apart = std::hypot(sofa[0]->path[0].x - sofa[1]->path[0].x,
                                            sofa[0]->path[0].y - sofa[1]->path[0].y);
            EXPECT_GE(apart, 0.5);
            EXPECT_LE(apart, 0.72);
            EXPECT_LE(std::fabs(Range(sofa[0]->path[0]) - Range(sofa[1]->path[0])), 0.15);
        }
        const auto& crossing = byLabel["crossing pair"];
        if (!crossing.empty()) {
            ASSERT_EQ(crossing.size(), 2u);
            const ScenePerson& near = *crossing[0];
            const ScenePerson& far = *crossing[1];
            EXPECT_EQ(near.speedMps, far.speedMps);
            const double depth = far.path[0].y - near.path[0].y;
            EXPECT_GE(depth, 0.3);
            EXPECT_LE(depth, 0.6);
            // Opposite directions, across the room at one depth.
            ASSERT_FALSE(near.plan.empty());
            ASSERT_FALSE(far.plan.empty());
            EXPECT_EQ(near.plan[0].to.back().y, near.path[0].y);
            EXPECT_LT((near.plan[0].to.back().x - near.path[0].x) *
                          (far.plan[0].to.back().x - far.path[0].x),
                      0.0);
        }
        // Two minutes of the synthesizer's truth: everybody present, within
        // 0.8-4.8 m and 50 degrees, and no two bodies closer than the
        // crossing pair's 0.3 m.
        SceneSynthesizer synthesizer(scene, scene.seed);
        for (int tenth = 0; tenth <= 1300; tenth += 5) {
            const std::vector<TruthTarget> truth = synthesizer.TruthAt(tenth / 10.0);
            ASSERT_EQ(truth.size(), scene.people.size()) << "at " << tenth / 10.0 << " s";
            for (size_t i = 0; i < truth.size(); ++i) {
                EXPECT_GE(truth[i].range, 0.8);
                EXPECT_LE(truth[i].range, 4.8);
                EXPECT_LE(std::fabs(truth[i].angle), 50.0);
                for (size_t j = i + 1; j < truth.size(); ++j) {
                    EXPECT_GE(std::hypot(truth[i].x - truth[j].x, truth[i].y - truth[j].y), 0.3)
                        << "ids " << truth[i].id << " and " << truth[j].id << " at " << tenth / 10.0
                        << " s";
                }
            }
        }
    }
    // Nobody now and then, mostly one to three, four or five sometimes; every
    // behaviour and kind of mover turns up.
    EXPECT_GT(peopleCounts[0], 0);
    EXPECT_LT(peopleCounts[0], kRooms / 10);
    EXPECT_GT(peopleCounts[1] + peopleCounts[2] + peopleCounts[3], kRooms * 6 / 10);
    EXPECT_GT(peopleCounts[4] + peopleCounts[5], kRooms / 20);
    for (const char* label :
         {"walker", "seated", "stands, walks, sits", "crossing pair", "sofa pair"}) {
        EXPECT_GT(behaviours[label], 0) << label;
    }
    EXPECT_EQ(moverKinds.size(), 5u);
}
