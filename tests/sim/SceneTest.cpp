// Scene files: what a hand-written scene means, and that every mistake in
// one is reported with the field that holds it, never a crash.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

#include "RadarFrameFormat.h"
#include "Scene.h"
#include "SceneLibrary.h"
#include "SceneSynthesizer.h"
#include "SimTestSupport.h"

using namespace radar;

using namespace simtest;

namespace {

// The message of a parse that must fail; the scene it was given stays as it
// was.
std::string ParseError(const std::string& json) {
    Scene scene;
    scene.name = "before";
    std::string error;
    EXPECT_FALSE(ParseScene(json, &scene, &error)) << json;
    EXPECT_EQ(scene.name, "before") << json;
    return error;
}

}  // namespace

TEST(SceneParse, ReadsEveryFieldOfAHandWrittenScene) {
    const std::string json = R"({
        // Comments are allowed: scenes are written by hand.
        "name": "living room",
        "description": "anything",
        "seed": 18446744073709551615,
        "noise": 3.5,
        "adcOffset": -12,
        "gain": 0.8,
        "people": [
            {"id": 4, "label": "walker", "path": [[-1, 2], [1.5, 2.5], [0, 4]], "speed": 0.7,
             "loop": true, "start": 1.5, "end": 30, "rcs": 1.2, "scatterers": 6, "sway": 0.001},
            {"id": 2, "at": [0.5, 3], "seated": true, "breathing": {"depth": 0.003, "rate": 0.2}}
        ],
        "clutter": [{"at": [0, 4.5], "rcs": 12, "label": "wall"}, {"at": [-2, 3]}]
    })";
    Scene scene;
    std::string error;
    ASSERT_TRUE(ParseScene(json, &scene, &error)) << error;
    EXPECT_EQ(scene.name, "living room");
    EXPECT_EQ(scene.seed, 18446744073709551615ull);
    EXPECT_DOUBLE_EQ(scene.noiseRms, 3.5);
    EXPECT_DOUBLE_EQ(scene.adcOffset, -12.0);
    EXPECT_DOUBLE_EQ(scene.gain, 0.8);
    ASSERT_EQ(scene.people.size(), 2u);
    const ScenePerson& walker = scene.people[0];
    EXPECT_EQ(walker.id, 4);
    ASSERT_EQ(walker.path.size(), 3u);
    EXPECT_DOUBLE_EQ(walker.path[1].x, 1.5);
    EXPECT_DOUBLE_EQ(walker.path[1].y, 2.5);
    EXPECT_DOUBLE_EQ(walker.speedMps, 0.7);
    EXPECT_TRUE(walker.loop);
    EXPECT_DOUBLE_EQ(walker.startS, 1.5);
    EXPECT_DOUBLE_EQ(walker.endS, 30.0);
    EXPECT_DOUBLE_EQ(walker.rcsM2, 1.2);
    EXPECT_EQ(walker.scatterers, 6);
    EXPECT_DOUBLE_EQ(walker.swayM, 0.001);
    EXPECT_FALSE(walker.seated);
    const ScenePerson& sitter = scene.people[1];
    ASSERT_EQ(sitter.path.size(), 1u);
    EXPECT_DOUBLE_EQ(sitter.path[0].x, 0.5);
    EXPECT_TRUE(sitter.seated);
    EXPECT_DOUBLE_EQ(sitter.breathingDepthM, 0.003);
    EXPECT_DOUBLE_EQ(sitter.breathingRateHz, 0.2);
    ASSERT_EQ(scene.clutter.size(), 2u);
    EXPECT_DOUBLE_EQ(scene.clutter[0].rcsM2, 12.0);
    EXPECT_DOUBLE_EQ(scene.clutter[1].at.x, -2.0);
    EXPECT_DOUBLE_EQ(scene.clutter[1].rcsM2, SceneClutter().rcsM2);
}

TEST(SceneParse, LeftOutFieldsTakeTheirDefaults) {
    Scene scene;
    std::string error;
    ASSERT_TRUE(ParseScene(R"({"people": [{"id": 1, "at": [0, 2]}]})", &scene, &error)) << error;
    const Scene defaults;
    const ScenePerson person;
    EXPECT_EQ(scene.seed, defaults.seed);
    EXPECT_EQ(scene.noiseRms, defaults.noiseRms);
    EXPECT_EQ(scene.adcOffset, defaults.adcOffset);
    EXPECT_EQ(scene.gain, defaults.gain);
    ASSERT_EQ(scene.people.size(), 1u);
    EXPECT_EQ(scene.people[0].speedMps, person.speedMps);
    EXPECT_EQ(scene.people[0].endS, person.endS);
    EXPECT_EQ(scene.people[0].breathingDepthM, person.breathingDepthM);
    EXPECT_EQ(scene.people[0].scatterers, 0);  // the whole default body
    EXPECT_LT(scene.people[0].swayM, 0.0);
}

TEST(SceneParse, EveryMistakeNamesItsField) {
    struct Case {
        const char* json;
        const char* expected;  // part of the message
    };
    const Case cases[] = {
        {"", "not valid JSON"},
        {"{\"people\": [", "not valid JSON"},
        {"{\"seed\": 1} trailing", "not valid JSON"},
        {"{\"noise\": 1, \"noise\": 2}", "not valid JSON"},
        {"[1, 2]", "expected a JSON object"},
        {"{\"nosie\": 2}", "unknown field \"nosie\""},
        {"{\"seed\": -1}", "seed: expected a whole number"},
        {"{\"seed\": 1.5}", "seed: expected a whole number"},
        {"{\"seed\": \"7\"}", "seed: expected a whole number"},
        {"{\"noise\": -1}", "noise: must be"},
        {"{\"noise\": \"loud\"}", "noise: expected a number"},
        {"{\"name\": \"after\", \"gain\": 0}", "gain: must be greater than 0"},
        {"{\"gain\": 1e999}", "Line 1, Column 10: '1e999' is not a number"},
        {"{\"adcOffset\": 3000}", "adcOffset: must be"},
        {"{\"name\": 5}", "name: expected a string"},
        {"{\"people\": {}}", "people: expected a list"},
        {"{\"people\": [7]}", "people[0]: expected an object"},
        {"{\"people\": [{\"at\": [0, 2]}]}", "people[0].id: missing"},
        {"{\"people\": [{\"id\": 0, \"at\": [0, 2]}]}", "people[0].id: must be"},
        {"{\"people\": [{\"id\": 1.5, \"at\": [0, 2]}]}", "people[0].id: expected a whole number"},
        {"{\"people\": [{\"id\": 1, \"at\": [0, 2]}, {\"id\": 1, \"at\": [1, 2]}]}",
         "people[1].id: 1 is already the id of people[0]"},
        {"{\"people\": [{\"id\": 1}]}", "people[0]: give either \"path\""},
        {"{\"people\": [{\"id\": 1, \"at\": [0, 2], \"path\": [[0, 2]]}]}",
         "people[0]: give either"},
        {"{\"people\": [{\"id\": 1, \"path\": []}]}", "people[0].path: expected a list"},
        {"{\"people\": [{\"id\": 1, \"path\": [[0, 1], [2]]}]}",
         "people[0].path[1]: expected a point [x, y]"},
        {"{\"people\": [{\"id\": 1, \"path\": [[0, 1], [\"a\", 2]]}]}", "people[0].path[1]"},
        {"{\"people\": [{\"id\": 1, \"path\": [[0, 1], [500, 2]]}]}",
         "people[0].path[1]: coordinates"},
        {"{\"people\": [{\"id\": 1, \"at\": [0, 2, 3]}]}", "people[0].at: expected a point"},
        {"{\"people\": [{\"id\": 1, \"at\": [0, 2], \"speed\": 0}]}",
         "people[0].speed: must be greater than 0"},
        {"{\"people\": [{\"id\": 1, \"at\": [0, 2], \"speed\": 50}]}", "people[0].speed"},
        {"{\"people\": [{\"id\": 1, \"at\": [0, 2], \"loop\": 1}]}",
         "people[0].loop: expected true or false"},
        {"{\"people\": [{\"id\": 1, \"at\": [0, 2], \"start\": -1}]}", "people[0].start: must be"},
        {"{\"people\": [{\"id\": 1, \"at\": [0, 2], \"start\": 5, \"end\": 5}]}",
         "people[0].end: must be later than start"},
        {"{\"people\": [{\"id\": 1, \"at\": [0, 2], \"end\": -1}]}", "people[0].end"},
        {"{\"people\": [{\"id\": 1, \"path\": [[0, 2], [1, 2]], \"seated\": true}]}",
         "people[0].path: a seated person stays at one point"},
        {"{\"people\": [{\"id\": 1, \"at\": [0, 2], \"breathing\": 0.004}]}",
         "people[0].breathing: expected an object"},
        {"{\"people\": [{\"id\": 1, \"at\": [0, 2], \"breathing\": {\"depth\": 0.2}}]}",
         "people[0].breathing.depth: must be"},
        {"{\"people\": [{\"id\": 1, \"at\": [0, 2], \"breathing\": {\"rate\": -0.3}}]}",
         "people[0].breathing.rate: must be"},
        {"{\"people\": [{\"id\": 1, \"at\": [0, 2], \"breathing\": {\"deep\": 1}}]}",
         "people[0].breathing: unknown field \"deep\""},
        {"{\"people\": [{\"id\": 1, \"at\": [0, 2], \"rcs\": 0}]}", "people[0].rcs: must be"},
        {"{\"people\": [{\"id\": 1, \"at\": [0, 2], \"scatterers\": 0}]}",
         "people[0].scatterers: must be 1 to 6"},
        {"{\"people\": [{\"id\": 1, \"at\": [0, 2], \"scatterers\": 7}]}",
         "people[0].scatterers: must be 1 to 6"},
        {"{\"people\": [{\"id\": 1, \"at\": [0, 2], \"sway\": -0.1}]}", "people[0].sway"},
        {"{\"people\": [{\"id\": 1, \"at\": [0, 2], \"sway\": 1}]}", "people[0].sway"},
        {"{\"people\": [{\"id\": 1, \"at\": [0, 2], \"speeed\": 1}]}",
         "people[0]: unknown field \"speeed\""},
        {"{\"clutter\": [{\"rcs\": 3}]}", "clutter[0].at: missing"},
        {"{\"clutter\": [{\"at\": [1, 2], \"rcs\": -3}]}", "clutter[0].rcs: must be"},
        {"{\"clutter\": [{\"at\": [1, 2]}, {\"at\": [1, 2], \"size\": 3}]}",
         "clutter[1]: unknown field \"size\""},
        {"{\"clutter\": 3}", "clutter: expected a list"},
    };
    for (const Case& c : cases) {
        const std::string error = ParseError(c.json);
        EXPECT_NE(error.find(c.expected), std::string::npos)
            << "scene: " << c.json << "\nmessage: " << error << "\nexpected: " << c.expected;
        EXPECT_EQ(error.find('\n'), std::string::npos) << error;
    }
}

TEST(SceneParse, ValidateSceneChecksScenesBuiltInCode) {
    Scene scene;
    std::string error;
    EXPECT_TRUE(ValidateScene(scene, &error)) << error;
    ScenePerson person;
    person.id = 3;
    scene.people.push_back(person);
    EXPECT_FALSE(ValidateScene(scene, &error));
    EXPECT_NE(error.find("people[0].path"), std::string::npos) << error;
    scene.people[0].path = {{0.0, 2.0}};
    EXPECT_TRUE(ValidateScene(scene, &error)) << error;
    scene.people[0].breathingRateHz = NAN;
    EXPECT_FALSE(ValidateScene(scene, &error));
    EXPECT_NE(error.find("people[0].breathing.rate"), std::string::npos) << error;
    scene.people[0].breathingRateHz = 0.3;
    scene.clutter.push_back(SceneClutter());
    scene.clutter[0].at = {INFINITY, 1.0};
    EXPECT_FALSE(ValidateScene(scene, &error));
    EXPECT_NE(error.find("clutter[0].at"), std::string::npos) << error;
}

TEST(SceneLoad, NamesTheFileInEveryMessageAndNameDefaultsToTheFileName) {
    TempDir dir;
    Scene scene;
    std::string error;
    EXPECT_FALSE(LoadScene(dir.File("missing.json"), &scene, &error));
    EXPECT_NE(error.find("missing.json: cannot open"), std::string::npos) << error;
    EXPECT_FALSE(LoadScene(dir.Path(), &scene, &error));
    EXPECT_NE(error.find("not a regular file"), std::string::npos) << error;
    EXPECT_FALSE(
        LoadScene(dir.Write("bad.json", R"({"people": [{"id": 1, "at": [0]}]})"), &scene, &error));
    EXPECT_NE(error.find("bad.json: people[0].at"), std::string::npos) << error;
    EXPECT_FALSE(
        LoadScene(dir.Write("binary.json", std::string("\x00\xff\x01{", 4)), &scene, &error));
    EXPECT_NE(error.find("not valid JSON"), std::string::npos) << error;

    ASSERT_TRUE(LoadScene(dir.Write("hall-way.json", "{}"), &scene, &error)) << error;
    EXPECT_EQ(scene.name, "hall-way");
    EXPECT_TRUE(scene.people.empty());
    ASSERT_TRUE(LoadScene(dir.Write("named.json", R"({"name": "own"})"), &scene, &error));
    EXPECT_EQ(scene.name, "own");
}

TEST(ShippedScenes, EveryOneParsesAndStaysInTheRoom) {
    const std::vector<std::string> names = ShippedSceneNames();
    for (const char* expected :
         {"one-walker", "two-crossing", "seated", "empty-room", "edge-of-view", "three-people",
          "fan-and-seated", "wall-walker", "two-seated-two-walking", "stand-walk-sit",
          "crossing-same-distance", "sofa-pair", "curtain-empty-room"}) {
        EXPECT_NE(std::find(names.begin(), names.end(), expected), names.end()) << expected;
    }
    for (const std::string& name : names) {
        SCOPED_TRACE(name);
        std::string path, error;
        ASSERT_TRUE(ResolveScenePath(name, &path, &error)) << error;
        Scene scene;
        ASSERT_TRUE(LoadScene(path, &scene, &error)) << error;
        EXPECT_EQ(scene.name, name);
        // A minute of the scene: everybody present stays between 0.5 and 5 m
        // and within +-55 degrees, except at the edge of the field of view.
        const bool edge = name == "edge-of-view";
        SceneSynthesizer synthesizer(scene, scene.seed);
        size_t seen = 0;
        for (int frame = 0; frame < 600; ++frame) {
            for (const TruthTarget& target : synthesizer.TruthAt(FrameTimeS(frame))) {
                ++seen;
                EXPECT_GE(target.range, 0.5);
                EXPECT_LE(target.range, 5.0);
                EXPECT_LE(std::fabs(target.angle), edge ? 60.0 : 55.0);
                if (edge) {
                    EXPECT_GE(std::fabs(target.angle), 54.0);
                }
            }
        }
        EXPECT_EQ(seen == 0, scene.people.empty());
    }
}

TEST(ShippedScenes, FoundByNameWithOrWithoutSuffixOrByPath) {
    std::string path, error;
    ASSERT_TRUE(ResolveScenePath("seated", &path, &error)) << error;
    EXPECT_EQ(path, SceneDirectory() + "/seated.json");
    ASSERT_TRUE(ResolveScenePath("seated.json", &path, &error)) << error;
    EXPECT_EQ(path, SceneDirectory() + "/seated.json");
    const std::string direct = SceneDirectory() + "/one-walker.json";
    ASSERT_TRUE(ResolveScenePath(direct, &path, &error)) << error;
    EXPECT_EQ(path, direct);
    EXPECT_FALSE(ResolveScenePath("no-such-scene", &path, &error));
    EXPECT_NE(error.find("no-such-scene"), std::string::npos) << error;
    EXPECT_NE(error.find("one-walker"), std::string::npos) << "lists the shipped scenes: " << error;
    EXPECT_FALSE(ResolveScenePath("", &path, &error));
}
