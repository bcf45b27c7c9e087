// radar-eval, the real binary, on every shipped scene and the first random
// rooms, kept short: every room runs every frame, the realistic scenes fall
// in the classes their content gives, every figure is a number, and the same
// rooms run again on two threads give the same figures.
#include <gtest/gtest.h>
#include <json/json.h>
#include <math.h>

#include <iostream>
#include <set>
#include <string>
#include <vector>

#include "SceneLibrary.h"
#include "ToolRunner.h"

using quality::RunResult;

namespace {

// Past the warm-up and the crossing in crossing-same-distance (1.3 s in);
// short enough for the sanitizer builds (about 20 s under the thread
// sanitizer for both runs).
const int kSeconds = 10;
const int kRandomRooms = 3;

// What each realistic scene holds, as radar-eval must classify it.
struct SceneClasses {
    const char* scene;
    std::set<std::string> in;
    std::set<std::string> notIn;
};
const SceneClasses kSceneClasses[] = {
    {"fan-and-seated", {"withMovers", "stillPeople"}, {"empty"}},
    {"sofa-pair", {"sideBySide", "stillPeople"}, {"empty", "crossing"}},
    {"crossing-same-distance", {"crossing"}, {"empty"}},
    {"wall-walker", {"withEchoes"}, {"empty"}},
    {"curtain-empty-room", {"empty", "withMovers"}, {"withEchoes", "stillPeople", "crossing"}},
};

Json::Value ParseFile(const std::string& path) {
    Json::Value value;
    std::string error;
    EXPECT_TRUE(quality::ParseJson(quality::ReadText(path), &value, &error))
        << path << ": " << error;
    return value;
}

// What depends on the machine's speed goes.
void DropSpeed(Json::Value* value) {
    if (value->isObject()) {
        value->removeMember("speed");
        value->removeMember("framesPerSecond");
        for (const std::string& name : value->getMemberNames()) {
            DropSpeed(&(*value)[name]);
        }
    } else if (value->isArray()) {
        for (Json::Value& item : *value) {
            DropSpeed(&item);
        }
    }
}

// The path of the first number that is not finite, or "".
std::string FirstNonFinite(const Json::Value& value, const std::string& path) {
    if (value.isDouble() && !isfinite(value.asDouble())) {
        return path;
    }
    if (value.isObject()) {
        for (const std::string& name : value.getMemberNames()) {
            const std::string bad = FirstNonFinite(value[name], path + "." + name);
            if (!bad.empty()) {
                return bad;
            }
        }
    } else if (value.isArray()) {
        for (Json::ArrayIndex i = 0; i < value.size(); ++i) {
            const std::string bad = FirstNonFinite(value[i], path + "[" + std::to_string(i) + "]");
            if (!bad.empty()) {
                return bad;
            }
        }
    }
    return "";
}

std::set<std::string> Strings(const Json::Value& array) {
    std::set<std::string> strings;
    for (const Json::Value& item : array) {
        strings.insert(item.asString());
    }
    return strings;
}

}  // namespace

TEST(RadarEvalTool, MeasuresEveryRoomFullyAndTheSameOnTwoThreads) {
    quality::TempDir dir;
    ASSERT_TRUE(dir.Valid());
    const std::vector<std::string> rooms = {"--rooms", std::to_string(kRandomRooms), "--seconds",
                                            std::to_string(kSeconds)};
    std::vector<std::string> once = rooms;
    once.insert(once.end(), {"--json", dir.File("once.json")});
    std::vector<std::string> twice = rooms;
    twice.insert(twice.end(), {"--jobs", "2", "--json", dir.File("twice.json")});
    const RunResult first = quality::Run(dir, RADAR_EVAL_BIN, once);
    ASSERT_EQ(first.status, 0) << first.err;
    const RunResult second = quality::Run(dir, RADAR_EVAL_BIN, twice);
    ASSERT_EQ(second.status, 0) << second.err;
    std::cout << first.out;
    EXPECT_NE(first.out.find("\noverall: "), std::string::npos) << first.out;

    Json::Value report = ParseFile(dir.File("once.json"));
    const std::vector<std::string> shipped = radar::ShippedSceneNames();
    ASSERT_EQ(report["rooms"].size(), shipped.size() + kRandomRooms);
    EXPECT_EQ(report["roomsRan"].asUInt(), report["rooms"].size());
    std::set<std::string> scenes;
    std::set<uint64_t> seeds;
    for (const Json::Value& room : report["rooms"]) {
        const std::string name = room["name"].asString();
        if (room.isMember("scene")) {
            scenes.insert(room["scene"].asString());
        } else {
            seeds.insert(room["seed"].asUInt64());
        }
        EXPECT_FALSE(room.isMember("error")) << name << ": " << room["error"];
        EXPECT_EQ(room["frames"].asInt(), kSeconds * 10) << name;
        EXPECT_EQ(room["failedFrames"].asInt(), 0) << name;
        const Json::Value& score = room["score"];
        EXPECT_EQ(score["frames"].asInt(), kSeconds * 10) << name;
        // Every false track has exactly one cause.
        int64_t caused = 0;
        for (const Json::Value& cause : room["causes"]) {
            caused += cause["tracks"].asInt64();
        }
        EXPECT_EQ(caused, score["falseTracks"].asInt64()) << name;
        // These apply to every room that ran.
        EXPECT_TRUE(room["figures"]["falseTracksPer100Frames"].isDouble()) << name;
        EXPECT_GT(room["figures"]["framesPerSecond"].asDouble(), 0.0) << name;
    }
    EXPECT_EQ(scenes, std::set<std::string>(shipped.begin(), shipped.end()));
    EXPECT_EQ(seeds, (std::set<uint64_t>{1, 2, 3}));

    for (const SceneClasses& expected : kSceneClasses) {
        const Json::Value* room = nullptr;
        for (const Json::Value& candidate : report["rooms"]) {
            if (candidate["scene"].asString() == expected.scene) {
                room = &candidate;
            }
        }
        ASSERT_NE(room, nullptr) << expected.scene << " is not shipped";
        const std::set<std::string> classes = Strings((*room)["classes"]);
        for (const std::string& in : expected.in) {
            EXPECT_EQ(classes.count(in), 1u) << expected.scene << " is not " << in;
        }
        for (const std::string& out : expected.notIn) {
            EXPECT_EQ(classes.count(out), 0u) << expected.scene << " is " << out;
        }
    }
    EXPECT_EQ(report["classes"]["overall"]["rooms"].asUInt(), report["rooms"].size());
    EXPECT_EQ(FirstNonFinite(report, "report"), "");

    Json::Value again = ParseFile(dir.File("twice.json"));
    DropSpeed(&report);
    DropSpeed(&again);
    EXPECT_EQ(report, again);
}

TEST(RadarEvalTool, BadCommandLinesExitTwoAndBadScenesOne) {
    quality::TempDir dir;
    ASSERT_TRUE(dir.Valid());
    const std::vector<std::vector<std::string>> usage = {
        {"--rooms"},
        {"--rooms", "-1"},
        {"--seconds", "0"},
        {"--seconds", "1e9"},
        {"--jobs", "0"},
        {"--no-scenes", "--scene", "seated"},
        {"--first-seed", "18446744073709551615", "--rooms", "2"},
        {"seated"},
        {"--frobnicate"},
    };
    for (const std::vector<std::string>& args : usage) {
        const RunResult result = quality::Run(dir, RADAR_EVAL_BIN, args);
        EXPECT_EQ(result.status, 2) << testing::PrintToString(args);
        EXPECT_NE(result.err.find("Usage: radar-eval"), std::string::npos) << result.err;
        EXPECT_EQ(result.out, "") << testing::PrintToString(args);
    }
    ASSERT_TRUE(quality::WriteText(dir.File("broken.json"), "{\"people\": ["));
    const struct {
        std::vector<std::string> args;
        const char* reason;
    } failures[] = {
        {{"--scene", "no-such-scene"}, "no-such-scene"},
        {{"--scene", dir.File("broken.json")}, "broken.json"},
        {{"--scene", "seated", "--seconds", "0.2", "--json", dir.File("absent/r.json")},
         "absent/r.json"},
    };
    for (const auto& failure : failures) {
        const RunResult result = quality::Run(dir, RADAR_EVAL_BIN, failure.args);
        EXPECT_EQ(result.status, 1) << testing::PrintToString(failure.args);
        EXPECT_NE(result.err.find(failure.reason), std::string::npos) << result.err;
    }
}
