// Plans, walls, movers and the module in scene files: what they mean, every
// mistake named by its field, and SceneToJson writing any scene so that it
// reads back exactly.
#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <string>
#include <vector>

#include "RandomRoom.h"
#include "Scene.h"

using namespace radar;

namespace {

// Field by field, doubles to the last bit: a written scene must replay the
// same bytes.
void ExpectSameScene(const Scene& a, const Scene& b) {
    EXPECT_EQ(a.name, b.name);
    EXPECT_EQ(a.description, b.description);
    EXPECT_EQ(a.seed, b.seed);
    EXPECT_EQ(a.noiseRms, b.noiseRms);
    EXPECT_EQ(a.adcOffset, b.adcOffset);
    EXPECT_EQ(a.gain, b.gain);
    const auto samePoints = [](const std::vector<ScenePoint>& p, const std::vector<ScenePoint>& q) {
        bool same = p.size() == q.size();
        for (size_t i = 0; same && i < p.size(); ++i) {
            same = p[i].x == q[i].x && p[i].y == q[i].y;
        }
        return same;
    };
    ASSERT_EQ(a.people.size(), b.people.size());
    for (size_t i = 0; i < a.people.size(); ++i) {
        SCOPED_TRACE("people[" + std::to_string(i) + "]");
        const ScenePerson& p = a.people[i];
        const ScenePerson& q = b.people[i];
        EXPECT_EQ(p.id, q.id);
        EXPECT_EQ(p.label, q.label);
        EXPECT_TRUE(samePoints(p.path, q.path));
        EXPECT_EQ(p.speedMps, q.speedMps);
        EXPECT_EQ(p.loop, q.loop);
        EXPECT_EQ(p.startS, q.startS);
        EXPECT_EQ(p.endS, q.endS);
        EXPECT_EQ(p.seated, q.seated);
        EXPECT_EQ(p.breathingDepthM, q.breathingDepthM);
        EXPECT_EQ(p.breathingRateHz, q.breathingRateHz);
        EXPECT_EQ(p.rcsM2, q.rcsM2);
        EXPECT_EQ(p.size, q.size);
        EXPECT_EQ(p.scatterers, q.scatterers);
        EXPECT_EQ(p.swayM, q.swayM);
        ASSERT_EQ(p.plan.size(), q.plan.size());
        for (size_t k = 0; k < p.plan.size(); ++k) {
            EXPECT_EQ(p.plan[k].kind, q.plan[k].kind) << "plan[" << k << "]";
            EXPECT_TRUE(samePoints(p.plan[k].to, q.plan[k].to)) << "plan[" << k << "]";
            EXPECT_EQ(p.plan[k].speedMps, q.plan[k].speedMps) << "plan[" << k << "]";
            EXPECT_EQ(p.plan[k].durationS, q.plan[k].durationS) << "plan[" << k << "]";
        }
    }
    ASSERT_EQ(a.clutter.size(), b.clutter.size());
    for (size_t i = 0; i < a.clutter.size(); ++i) {
        EXPECT_TRUE(samePoints({a.clutter[i].at}, {b.clutter[i].at})) << "clutter " << i;
        EXPECT_EQ(a.clutter[i].rcsM2, b.clutter[i].rcsM2) << "clutter " << i;
        EXPECT_EQ(a.clutter[i].label, b.clutter[i].label) << "clutter " << i;
    }
    ASSERT_EQ(a.walls.size(), b.walls.size());
    for (size_t i = 0; i < a.walls.size(); ++i) {
        EXPECT_EQ(a.walls[i].axis, b.walls[i].axis) << "wall " << i;
        EXPECT_EQ(a.walls[i].positionM, b.walls[i].positionM) << "wall " << i;
        EXPECT_EQ(a.walls[i].reflectivity, b.walls[i].reflectivity) << "wall " << i;
        EXPECT_EQ(a.walls[i].label, b.walls[i].label) << "wall " << i;
    }
    ASSERT_EQ(a.movers.size(), b.movers.size());
    for (size_t i = 0; i < a.movers.size(); ++i) {
        SCOPED_TRACE("movers[" + std::to_string(i) + "]");
        const SceneMover& m = a.movers[i];
        const SceneMover& n = b.movers[i];
        EXPECT_EQ(m.kind, n.kind);
        EXPECT_TRUE(samePoints({m.at}, {n.at}));
        EXPECT_EQ(m.rcsM2, n.rcsM2);
        EXPECT_EQ(m.rateHz, n.rateHz);
        EXPECT_EQ(m.radiusM, n.radiusM);
        EXPECT_EQ(m.blades, n.blades);
        EXPECT_EQ(m.points, n.points);
        EXPECT_EQ(m.facingDeg, n.facingDeg);
        EXPECT_EQ(m.housingRcsM2, n.housingRcsM2);
        EXPECT_EQ(m.oscillationDeg, n.oscillationDeg);
        EXPECT_EQ(m.oscillationPeriodS, n.oscillationPeriodS);
        EXPECT_EQ(m.widthM, n.widthM);
        EXPECT_EQ(m.swayM, n.swayM);
        EXPECT_EQ(m.label, n.label);
    }
    EXPECT_EQ(a.module.leakageAmplitude, b.module.leakageAmplitude);
    EXPECT_EQ(a.module.leakageRangeM, b.module.leakageRangeM);
    EXPECT_EQ(a.module.highPassHz, b.module.highPassHz);
    EXPECT_EQ(a.module.patternExponent, b.module.patternExponent);
    EXPECT_EQ(a.module.rxGainDb, b.module.rxGainDb);
    EXPECT_EQ(a.module.adcOffsets[0], b.module.adcOffsets[0]);
    EXPECT_EQ(a.module.adcOffsets[1], b.module.adcOffsets[1]);
}

PlanStep Step(ActivityKind kind, double duration) {
    PlanStep step;
    step.kind = kind;
    step.durationS = duration;
    return step;
}

// Every field away from its default, in numbers that need all 17 digits.
Scene EveryField() {
    Scene scene;
    scene.name = "every \"field\"\n";
    scene.description = "tab\there, ünïcode";
    scene.seed = 18446744073709551615ull;
    scene.noiseRms = 1.0 / 3.0;
    scene.adcOffset = -2047.9999999999998;
    scene.gain = 0.1 + 0.2;
    ScenePerson walker;
    walker.id = 9;
    walker.label = "walker";
    walker.path = {{-1.0 / 7.0, 2.0 / 3.0}, {1e-9, 99.99999999999999}};
    walker.speedMps = 0.7000000000000001;
    walker.loop = true;
    walker.startS = 1.5;
    walker.endS = 123.456789012345678;
    walker.breathingDepthM = 0.0049999999999999992;
    walker.breathingRateHz = 1.9999999999999998;
    walker.rcsM2 = 1e-300;
    walker.size = 0.30000000000000004;
    walker.scatterers = 6;
    walker.swayM = 0.0;
    ScenePerson sitter;
    sitter.id = 2;
    sitter.path = {{0.5, 3.0}};
    sitter.seated = true;
    ScenePerson planner;
    planner.id = 3;
    planner.path = {{-1.5, 1.2}};
    planner.size = 2.0;
    PlanStep walk;
    walk.to = {{0.4, 2.4}, {0.6, 3.2}};
    PlanStep fastWalk;
    fastWalk.to = {{-1.5, 1.2}};
    fastWalk.speedMps = 1.1;
    planner.plan = {Step(ActivityKind::kStand, 4), walk, Step(ActivityKind::kSit, 1e6), fastWalk,
                    Step(ActivityKind::kStand, 0.1)};
    scene.people = {walker, sitter, planner};
    SceneClutter sofa;
    sofa.at = {0.1, 4.4};
    sofa.label = "sofa";
    scene.clutter = {sofa, SceneClutter()};
    SceneWall side;
    side.positionM = -2.6;
    side.reflectivity = 1.0;
    side.label = "glass";
    SceneWall back;
    back.axis = WallAxis::kY;
    back.positionM = 5.4;
    back.reflectivity = 0.0;
    scene.walls = {side, back};
    SceneMover fan;
    fan.at = {1.1, 0.6};
    fan.rcsM2 = 0.03;
    fan.rateHz = 15.5;
    fan.radiusM = 0.2;
    fan.blades = 8;
    fan.facingDeg = -180.0;
    fan.housingRcsM2 = 0.0;
    fan.oscillationDeg = 40;
    fan.oscillationPeriodS = 16;
    fan.label = "fan";
    SceneMover turntable;
    turntable.kind = MoverKind::kTurntable;
    turntable.radiusM = 0.3;
    turntable.points = 16;
    SceneMover pendulum;  // everything left to the kind
    pendulum.kind = MoverKind::kPendulum;
    SceneMover curtain;
    curtain.kind = MoverKind::kCurtain;
    curtain.at = {0.0, 5.3};
    curtain.widthM = 1.4;
    curtain.swayM = 0.0;
    curtain.points = 1;
    SceneMover plant;
    plant.kind = MoverKind::kPlant;
    plant.rateHz = 0.0;
    plant.widthM = 5.0;
    scene.movers = {fan, turntable, pendulum, curtain, plant};
    scene.module.leakageAmplitude = 2000;
    scene.module.leakageRangeM = 0.005;
    scene.module.highPassHz = 200000;
    scene.module.patternExponent = 4;
    scene.module.rxGainDb = -6;
    scene.module.adcOffsets[0] = 25.25;
    scene.module.adcOffsets[1] = -2048;
    return scene;
}

std::string ParseError(const std::string& json) {
    Scene scene;
    std::string error;
    EXPECT_FALSE(ParseScene(json, &scene, &error)) << json;
    return error;
}

// Texts that only JSON escapes carry (a NUL, control characters, bytes that
// are not UTF-8) and a coordinate of negative zero.
Scene EdgeTexts() {
    Scene scene;
    scene.name = std::string("nul\0inside", 10);
    scene.description = "\xff\xfe not UTF-8";
    SceneClutter clutter;
    clutter.at = {-0.0, 1.0};
    clutter.label = "\x01\x1f\x7f";
    scene.clutter.push_back(clutter);
    return scene;
}

}  // namespace

TEST(SceneRoomParse, ReadsPlansWallsMoversAndTheModule) {
    Scene scene;
    std::string error;
    ASSERT_TRUE(ParseScene(R"({
        "people": [{"id": 4, "at": [-1.5, 1.2], "speed": 0.9, "size": 0.8,
                    "plan": [{"stand": 4}, {"walk": [[0.4, 2.4], [0.6, 3.2]]}, {"sit": 12},
                             {"walk": [[-1.5, 1.2]], "speed": 1.1}]}],
        "walls": [{"x": -2.6, "reflectivity": 0.45}, {"y": 5.4, "label": "back"}],
        "movers": [{"kind": "fan", "at": [1.1, 0.6], "oscillation": 40},
                   {"kind": "curtain", "at": [0.0, 5.3], "width": 1.4}],
        "module": {"leakage": {"amplitude": 400}, "highPass": 30000, "adcOffsets": [25, -18]}
    })",
                           &scene, &error))
        << error;
    ASSERT_EQ(scene.people.size(), 1u);
    const ScenePerson& person = scene.people[0];
    ASSERT_EQ(person.path.size(), 1u);
    EXPECT_EQ(person.path[0].x, -1.5);
    EXPECT_EQ(person.size, 0.8);
    ASSERT_EQ(person.plan.size(), 4u);
    EXPECT_EQ(person.plan[0].kind, ActivityKind::kStand);
    EXPECT_EQ(person.plan[0].durationS, 4.0);
    EXPECT_EQ(person.plan[1].kind, ActivityKind::kWalk);
    ASSERT_EQ(person.plan[1].to.size(), 2u);
    EXPECT_EQ(person.plan[1].to[1].y, 3.2);
    EXPECT_LT(person.plan[1].speedMps, 0.0);  // the person's own
    EXPECT_EQ(person.plan[2].kind, ActivityKind::kSit);
    EXPECT_EQ(person.plan[3].speedMps, 1.1);
    ASSERT_EQ(scene.walls.size(), 2u);
    EXPECT_EQ(scene.walls[0].axis, WallAxis::kX);
    EXPECT_EQ(scene.walls[0].reflectivity, 0.45);
    EXPECT_EQ(scene.walls[1].axis, WallAxis::kY);
    EXPECT_EQ(scene.walls[1].reflectivity, SceneWall().reflectivity);
    EXPECT_EQ(scene.walls[1].label, "back");
    ASSERT_EQ(scene.movers.size(), 2u);
    EXPECT_EQ(scene.movers[0].kind, MoverKind::kFan);
    EXPECT_EQ(scene.movers[0].oscillationDeg, 40.0);
    EXPECT_LT(scene.movers[0].rateHz, 0.0);  // left to the synthesis
    EXPECT_EQ(scene.movers[1].kind, MoverKind::kCurtain);
    EXPECT_EQ(scene.movers[1].widthM, 1.4);
    EXPECT_LT(scene.movers[1].swayM, 0.0);
    EXPECT_EQ(scene.module.leakageAmplitude, 400.0);
    EXPECT_EQ(scene.module.leakageRangeM, SceneModule().leakageRangeM);
    EXPECT_EQ(scene.module.highPassHz, 30000.0);
    EXPECT_EQ(scene.module.patternExponent, 0.0);
    EXPECT_EQ(scene.module.adcOffsets[1], -18.0);
}

TEST(SceneRoomParse, EveryMistakeNamesItsField) {
    struct Case {
        const char* json;
        const char* expected;  // part of the message
    };
    const Case cases[] = {
        {R"({"people": [{"id": 1, "path": [[0, 2], [1, 2]], "plan": [{"stand": 1}]}]})",
         "people[0]: a plan starts at \"at\""},
        {R"({"people": [{"id": 1, "plan": [{"stand": 1}]}]})", "people[0]: a plan starts at"},
        {R"({"people": [{"id": 1, "at": [0, 2], "seated": false, "plan": [{"sit": 1}]}]})",
         "people[0].seated: not with a plan"},
        {R"({"people": [{"id": 1, "at": [0, 2], "plan": []}]})",
         "people[0].plan: expected a list of steps"},
        {R"({"people": [{"id": 1, "at": [0, 2], "plan": [{"stand": 1, "sit": 2}]}]})",
         "people[0].plan[0]: give one of \"walk\", \"stand\" or \"sit\""},
        {R"({"people": [{"id": 1, "at": [0, 2], "plan": [{"run": [[1, 2]]}]}]})",
         "people[0].plan[0]: unknown field \"run\""},
        {R"({"people": [{"id": 1, "at": [0, 2], "plan": [{"stand": 1}, {"walk": [[1]]}]}]})",
         "people[0].plan[1].walk[0]: expected a point"},
        {R"({"people": [{"id": 1, "at": [0, 2], "plan": [{"walk": []}]}]})",
         "people[0].plan[0].walk: expected a list of [x, y] points"},
        {R"({"people": [{"id": 1, "at": [0, 2], "plan": [{"walk": [[1, 2]], "speed": -1}]}]})",
         "people[0].plan[0].speed: must be greater than 0"},
        {R"({"people": [{"id": 1, "at": [0, 2], "plan": [{"sit": 5, "speed": 1}]}]})",
         "people[0].plan[0].speed: only a walk step has a speed"},
        {R"({"people": [{"id": 1, "at": [0, 2], "plan": [{"sit": 0}]}]})",
         "people[0].plan[0].sit: must be greater than 0"},
        {R"({"people": [{"id": 1, "at": [0, 2], "plan": [{"stand": "long"}]}]})",
         "people[0].plan[0].stand: expected a number"},
        {R"({"people": [{"id": 1, "at": [0, 2], "size": 2.5}]})", "people[0].size: must be"},
        {R"({"walls": [{"x": 1, "y": 2}]})", "walls[0]: give either \"x\""},
        {R"({"walls": [{"y": -3}]})", "walls[0].y: must be greater than 0"},
        {R"({"walls": [{"x": 0}]})", "walls[0].x: must be other than 0"},
        {R"({"walls": [{"x": 2, "reflectivity": 1.5}]})", "walls[0].reflectivity: must be"},
        {R"({"walls": [{"x": 2, "rho": 0.5}]})", "walls[0]: unknown field \"rho\""},
        {R"({"walls": [{"x": 1}, {"x": 1}, {"x": 1}, {"x": 1}, {"x": 1}, {"x": 1}, {"x": 1},
                       {"x": 1}, {"x": 1}, {"x": 1}, {"x": 1}, {"x": 1}, {"x": 1}, {"x": 1},
                       {"x": 1}, {"x": 1}, {"x": 1}]})",
         "walls: at most 16"},
        {R"({"movers": [{"at": [1, 1]}]})", "movers[0].kind: missing"},
        {R"({"movers": [{"kind": "fen", "at": [1, 1]}]})",
         "movers[0].kind: expected one of \"fan\""},
        {R"({"movers": [{"kind": "fan"}]})", "movers[0].at: missing"},
        {R"({"movers": [{"kind": "fan", "at": [1, 1], "blades": 9}]})",
         "movers[0].blades: must be 2 to 8"},
        {R"({"movers": [{"kind": "curtain", "at": [1, 4], "blades": 3}]})",
         "movers[0].blades: not for a curtain (only fan)"},
        {R"({"movers": [{"kind": "fan", "at": [1, 1], "rate": -15}]})",
         "movers[0].rate: must be at least 0"},
        {R"({"movers": [{"kind": "fan", "at": [1, 1], "oscillationPeriod": 0}]})",
         "movers[0].oscillationPeriod: must be greater than 0"},
        {R"({"movers": [{"kind": "plant", "at": [1, 1], "points": 0}]})",
         "movers[0].points: must be 1 to 16"},
        {R"({"movers": [{"kind": "plant", "at": [1, 1], "speed": 1}]})",
         "movers[0]: unknown field \"speed\""},
        {R"({"module": {"highPass": 500}})", "module.highPass: must be 0 (none) or at least 1000"},
        {R"({"module": {"leakage": {"amplitude": 400, "range": 0.5}}})",
         "module.leakage.range: must be"},
        {R"({"module": {"leakage": 400}})", "module.leakage: expected an object"},
        {R"({"module": {"pattern": 5}})", "module.pattern: must be"},
        {R"({"module": {"rxGainDb": -7}})", "module.rxGainDb: must be"},
        {R"({"module": {"adcOffsets": [1]}})", "module.adcOffsets: expected [rx0, rx1]"},
        {R"({"module": {"adcOffsets": [1, 3000]}})", "module.adcOffsets[1]: must be"},
        {R"({"module": {"noise": 3}})", "module: unknown field \"noise\""},
    };
    for (const Case& c : cases) {
        const std::string error = ParseError(c.json);
        EXPECT_NE(error.find(c.expected), std::string::npos)
            << "scene: " << c.json << "\nmessage: " << error << "\nexpected: " << c.expected;
    }
}

TEST(SceneRoomParse, ValidateSceneHoldsScenesBuiltInCodeToTheSameLimits) {
    struct Case {
        std::function<void(Scene*)> spoil;
        const char* expected;
    };
    const Case cases[] = {
        {[](Scene* s) {
             s->people[2].path.push_back({1, 2});
         },
         "people[2].path: a plan starts"},
        {[](Scene* s) { s->people[2].seated = true; }, "people[2].seated: not with a plan"},
        {[](Scene* s) {
             s->people[2].plan[0].to = {{1, 2}};
         },
         "people[2].plan[0]: a stand step"},
        {[](Scene* s) { s->people[2].plan[1].speedMps = NAN; }, "people[2].plan[1].speed"},
        {[](Scene* s) { s->people[2].plan[1].durationS = 3; }, "people[2].plan[1]: a walk step"},
        {[](Scene* s) { s->people[2].plan[2].durationS = -1; }, "people[2].plan[2].sit: must be"},
        {[](Scene* s) { s->people[2].plan.resize(101, s->people[2].plan[0]); },
         "people[2].plan: at most 100 steps"},
        {[](Scene* s) { s->people[0].size = 0.2; }, "people[0].size"},
        {[](Scene* s) { s->walls[1].positionM = INFINITY; }, "walls[1].y"},
        {[](Scene* s) { s->movers[3].blades = 5; }, "movers[3].blades: not for a curtain"},
        {[](Scene* s) { s->movers[0].radiusM = 1.5; }, "movers[0].radius"},
        {[](Scene* s) { s->movers.resize(17); }, "movers: at most 16"},
        {[](Scene* s) { s->module.patternExponent = NAN; }, "module.pattern"},
        {[](Scene* s) { s->module.adcOffsets[0] = -3000; }, "module.adcOffsets[0]"},
    };
    std::string error;
    ASSERT_TRUE(ValidateScene(EveryField(), &error)) << error;
    for (const Case& c : cases) {
        Scene scene = EveryField();
        c.spoil(&scene);
        EXPECT_FALSE(ValidateScene(scene, &error)) << c.expected;
        EXPECT_NE(error.find(c.expected), std::string::npos)
            << "message: " << error << "\nexpected: " << c.expected;
    }
}

TEST(SceneToJson, ReadsBackAsTheSameScene) {
    const Scene scenes[] = {EveryField(), Scene(), RandomRoom(20240611), EdgeTexts()};
    for (const Scene& scene : scenes) {
        SCOPED_TRACE(scene.name);
        const std::string json = SceneToJson(scene);
        Scene back;
        std::string error;
        ASSERT_TRUE(ParseScene(json, &back, &error)) << error << "\n" << json;
        ExpectSameScene(scene, back);
        EXPECT_EQ(SceneToJson(back), json);
    }
}
