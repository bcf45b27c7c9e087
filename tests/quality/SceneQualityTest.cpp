// Every clean shipped scene (no walls, movers or module flaws) through the
// real tools: radar-sim makes a minute of it (the scene's own fixed seed),
// radar-segment runs the segmentation pipeline over it and scores the output
// against the truth, and the figures are held against the quality targets
// that the scene is about.
#include <gtest/gtest.h>
#include <json/json.h>

#include <iostream>
#include <set>
#include <string>
#include <vector>

#include "SceneLibrary.h"
#include "ToolRunner.h"

namespace {

// The quality targets, written out here rather than taken from the scorer,
// so that a change of the scorer's constants cannot loosen this test.
const double kWalkingDetection = 0.95;
const double kSeatedDetection = 0.90;
const double kRangeRmsM = 0.15;
const double kAngleRmsDeg = 5.0;
const double kFalseTracksPer100Frames = 1.0;
const int kIdChangesOfOneWalker = 0;
const double kSwapsPerCrossing = 1.0;
const double kSegmentAgreement = 0.95;

const int kFrames = 600;

// What each shipped scene must give the targets to work on, so that a scene
// cannot drift out of its targets unnoticed.
struct SceneExpectation {
    const char* scene;
    bool walkers;
    bool seated;
    bool empty;
    bool crossings;
};
const SceneExpectation kExpectations[] = {
    {"one-walker", true, false, false, false},   {"two-crossing", true, false, false, true},
    {"seated", false, true, false, false},       {"empty-room", false, false, true, false},
    {"edge-of-view", true, false, false, false}, {"three-people", true, true, false, true},
};

// Realistic rooms (walls, movers, module flaws) that have no targets yet:
// radar-eval measures them (RadarEvalToolTest checks what they hold).
const char* const kRealisticScenes[] = {
    "crossing-same-distance", "curtain-empty-room",     "fan-and-seated", "sofa-pair",
    "stand-walk-sit",         "two-seated-two-walking", "wall-walker",
};

std::vector<std::string> TargetSceneNames() {
    std::vector<std::string> names;
    for (const SceneExpectation& expectation : kExpectations) {
        names.push_back(expectation.scene);
    }
    return names;
}

const SceneExpectation* ExpectationFor(const std::string& scene) {
    for (const SceneExpectation& expectation : kExpectations) {
        if (scene == expectation.scene) {
            return &expectation;
        }
    }
    return nullptr;
}

std::string TestName(const testing::TestParamInfo<std::string>& info) {
    std::string name;
    for (char c : info.param) {
        name += isalnum(static_cast<unsigned char>(c)) ? c : '_';
    }
    return name;
}

class SceneQuality : public testing::TestWithParam<std::string> {};

}  // namespace

TEST_P(SceneQuality, MeetsTheTargetsThatApply) {
    const std::string scene = GetParam();
    quality::TempDir dir;
    ASSERT_TRUE(dir.Valid());
    const std::string recording = dir.File(scene + ".raw");
    const quality::RunResult made = quality::Run(
        dir, RADAR_SIM_BIN, {scene, "-o", recording, "--frames", std::to_string(kFrames)});
    ASSERT_EQ(made.status, 0) << made.err;
    const quality::RunResult run =
        quality::Run(dir, RADAR_SEGMENT_BIN, {recording, "--score", "--json", "--quiet"});
    ASSERT_EQ(run.status, 0) << run.err;
    Json::Value summary;
    std::string error;
    ASSERT_TRUE(quality::ParseJson(run.out, &summary, &error)) << error << ": " << run.out;
    ASSERT_EQ(summary["frames"].asInt(), kFrames);
    ASSERT_EQ(summary["failedFrames"].asInt(), 0);
    const Json::Value& score = summary["score"];
    ASSERT_TRUE(score.isObject()) << run.out;
    // The figures, for whoever reads the test log.
    RecordProperty("score", run.out);
    std::cout << scene << ": " << run.err << scene << ": " << run.out;

    const int64_t walking = score["walkingPersonFrames"].asInt64();
    const int64_t seated = score["seatedPersonFrames"].asInt64();
    const int people = score["peopleSeen"].asInt();
    const SceneExpectation* expected = ExpectationFor(scene);
    ASSERT_NE(expected, nullptr);
    EXPECT_EQ(walking > 0, expected->walkers) << walking << " walking person-frames";
    EXPECT_EQ(seated > 0, expected->seated) << seated << " seated person-frames";
    EXPECT_EQ(people == 0, expected->empty) << people << " people";
    if (expected->crossings) {
        EXPECT_GT(score["crossings"].asInt64(), 0);
    }

    if (walking > 0) {
        EXPECT_GE(score["walkingDetection"].asDouble(), kWalkingDetection)
            << score["walkingDetected"].asInt64() << " of " << walking;
    }
    if (seated > 0) {
        EXPECT_GE(score["seatedDetection"].asDouble(), kSeatedDetection)
            << score["seatedDetected"].asInt64() << " of " << seated;
    }
    if (people > 0) {
        ASSERT_GT(score["matchedPersonFrames"].asInt64(), 0);
        EXPECT_LE(score["rangeRmsM"].asDouble(), kRangeRmsM);
        EXPECT_LE(score["angleRmsDeg"].asDouble(), kAngleRmsDeg);
        ASSERT_GT(score["segmentFrames"].asInt64(), 0);
        EXPECT_GE(score["segmentAgreement"].asDouble(), kSegmentAgreement)
            << score["segmentAgreements"].asInt64() << " of " << score["segmentFrames"].asInt64();
    } else {
        EXPECT_LE(score["falseTracksPer100Frames"].asDouble(), kFalseTracksPer100Frames)
            << score["falseTracks"].asInt64() << " false tracks in "
            << score["scoredFrames"].asInt64() << " frames";
    }
    if (people == 1 && walking > 0) {
        EXPECT_LE(score["idChanges"].asInt64(), kIdChangesOfOneWalker);
    }
    if (people >= 2) {
        EXPECT_LE(static_cast<double>(score["idSwaps"].asInt64()),
                  kSwapsPerCrossing * static_cast<double>(score["crossings"].asInt64()))
            << score["crossings"].asInt64() << " crossings";
    }
    // The tool's own verdict agrees with the checks above.
    bool allMet = true;
    for (const Json::Value& check : score["checks"]) {
        if (check["applies"].asBool() && !check["passed"].asBool()) {
            allMet = false;
        }
    }
    EXPECT_EQ(score["passed"].asBool(), allMet);
}

// Every shipped scene is either held to the targets above or listed as a
// realistic room, never both, so that no scene is added unnoticed.
TEST(SceneQualityCoverage, EveryShippedSceneHasItsExpectations) {
    const std::vector<std::string> scenes = radar::ShippedSceneNames();
    const std::vector<std::string> targeted = TargetSceneNames();
    std::set<std::string> known(targeted.begin(), targeted.end());
    for (const char* scene : kRealisticScenes) {
        EXPECT_TRUE(known.insert(scene).second) << scene << " is listed twice";
    }
    EXPECT_EQ(std::set<std::string>(scenes.begin(), scenes.end()), known);
}

INSTANTIATE_TEST_SUITE_P(ShippedScenes, SceneQuality, testing::ValuesIn(TargetSceneNames()),
                         TestName);
