// radar-sim as a user runs it: its command line, exit codes, and recordings
// that hold exactly the frames the synthesizer makes, bit for bit.
#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <sstream>
#include <string>
#include <vector>

#include "RadarFrameFormat.h"
#include "RandomRoom.h"
#include "Recording.h"
#include "SceneLibrary.h"
#include "SceneSynthesizer.h"
#include "SimTestSupport.h"

using namespace radar;
using namespace simtest;

namespace {

struct RunResult {
    int status = -1;  // exit code, or -1 when it did not exit normally
    std::string out;
    std::string err;
};

// Runs radar-sim with the arguments (each quoted for the shell) and waits.
RunResult RunRadarSim(const TempDir& dir, const std::vector<std::string>& args) {
    std::string command = std::string("'") + RADAR_SIM_BIN + "'";
    for (const std::string& arg : args) {
        command += " '" + arg + "'";
    }
    command += " >'" + dir.File("stdout.txt") + "' 2>'" + dir.File("stderr.txt") + "'";
    const int status = system(command.c_str());
    RunResult result;
    result.status = status != -1 && WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    result.out = ReadText(dir.File("stdout.txt"));
    result.err = ReadText(dir.File("stderr.txt"));
    return result;
}

// Reads the recording back and compares every frame and truth line with a
// synthesizer of the same scene and seed.
void ExpectRecordingOf(const std::string& path, const Scene& scene, uint64_t seed, int64_t frames) {
    RecordingReader reader;
    std::string error;
    ASSERT_TRUE(reader.Open(path, &error)) << error;
    ASSERT_EQ(reader.FrameCount(), frames);
    SceneSynthesizer synthesizer(scene, seed);
    std::vector<uint8_t> expected(kFrameBytes), actual(kFrameBytes);
    std::istringstream truth(ReadText(TruthPathFor(path)));
    for (int64_t f = 0; f < frames; ++f) {
        const std::vector<uint16_t> samples = Synthesize(synthesizer, f);
        PackFrame(samples.data(), expected.data());
        ASSERT_TRUE(reader.ReadFrame(f, actual.data()));
        ASSERT_EQ(actual, expected) << "frame " << f;
        std::string line;
        ASSERT_TRUE(static_cast<bool>(std::getline(truth, line))) << "truth of frame " << f;
        EXPECT_EQ(line, TruthLine(f, synthesizer.TruthAt(FrameTimeS(f))));
    }
    std::string extra;
    EXPECT_FALSE(static_cast<bool>(std::getline(truth, extra))) << extra;
}

}  // namespace

TEST(RadarSimTool, WritesTheSynthesizersFramesBitForBit) {
    TempDir dir;
    const std::string path = dir.File("crossing.raw");
    const RunResult run =
        RunRadarSim(dir, {"two-crossing", "-o", path, "--frames", "25", "--seed", "9"});
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_NE(run.out.find("25 frames"), std::string::npos) << run.out;
    ExpectRecordingOf(path, ShippedScene("two-crossing"), 9, 25);
}

TEST(RadarSimTool, UsesTheScenesSeedAndThreeHundredFramesByDefault) {
    TempDir dir;
    const std::string path = dir.File("walker");
    const std::string scenePath = SceneDirectory() + "/one-walker.json";
    const RunResult run = RunRadarSim(dir, {"--output=" + path, scenePath});
    ASSERT_EQ(run.status, 0) << run.err;
    const Scene scene = ShippedScene("one-walker");
    ExpectRecordingOf(path, scene, scene.seed, 300);
    EXPECT_TRUE(Exists(dir.File("walker.truth.jsonl")));
}

TEST(RadarSimTool, BadCommandLinesExitTwoWithUsage) {
    TempDir dir;
    const std::string out = dir.File("x.raw");
    const std::vector<std::vector<std::string>> bad = {
        {},
        {"one-walker"},
        {"-o", out},
        {"one-walker", "-o"},
        {"one-walker", "seated", "-o", out},
        {"one-walker", "-o", out, "--frames", "0"},
        {"one-walker", "-o", out, "--frames", "ten"},
        {"one-walker", "-o", out, "--frames", "-5"},
        {"one-walker", "-o", out, "--frames=99999999999"},
        {"one-walker", "-o", out, "--seed", "-1"},
        {"one-walker", "-o", out, "--seed", "1x"},
        {"one-walker", "-o", out, "--fast"},
        {"--random", "7"},
        {"--random", "seven", "-o", out},
        {"--random", "7", "one-walker", "-o", out},
        {"--random", "7", "--scene-out"},
        {"--random", "7", "--scene-out=", "-o", out},
    };
    for (const std::vector<std::string>& args : bad) {
        const RunResult run = RunRadarSim(dir, args);
        std::string joined;
        for (const std::string& arg : args) {
            joined += arg + " ";
        }
        EXPECT_EQ(run.status, 2) << joined;
        EXPECT_NE(run.err.find("radar-sim: "), std::string::npos) << joined << run.err;
        EXPECT_NE(run.err.find("Usage: radar-sim SCENE -o RECORDING"), std::string::npos)
            << run.err;
        EXPECT_FALSE(Exists(out)) << joined;
    }
    const RunResult help = RunRadarSim(dir, {"one-walker", "--help"});
    EXPECT_EQ(help.status, 0);
    EXPECT_NE(help.out.find("--frames N"), std::string::npos) << help.out;
}

TEST(RadarSimTool, RandomRoomsAreWrittenAsScenesThatReplayTheSameBytes) {
    TempDir dir;
    const std::string path = dir.File("room.raw");
    const std::string scenePath = dir.File("room.json");
    RunResult run = RunRadarSim(dir, {"--random", "42", "-o", path, "--scene-out", scenePath,
                                      "--frames", "12", "--seed", "5"});
    ASSERT_EQ(run.status, 0) << run.err;
    Scene room = RandomRoom(42);
    room.seed = 5;
    EXPECT_EQ(ReadText(scenePath), SceneToJson(room));
    ExpectRecordingOf(path, room, 5, 12);

    const std::string replay = dir.File("replay.raw");
    run = RunRadarSim(dir, {scenePath, "-o", replay, "--frames", "12"});
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(ReadText(replay), ReadText(path));
    EXPECT_EQ(ReadText(TruthPathFor(replay)), ReadText(TruthPathFor(path)));

    // The scene alone: no recording.
    const std::string only = dir.File("only.json");
    run = RunRadarSim(dir, {"seated", "--scene-out=" + only});
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(ReadText(only), SceneToJson(ShippedScene("seated")));
    EXPECT_EQ(run.out.find("frames"), std::string::npos) << run.out;

    run = RunRadarSim(dir, {"--random", "1", "-o", dir.File("x.raw"), "--scene-out",
                            dir.File("missing/room.json")});
    EXPECT_EQ(run.status, 1);
    EXPECT_NE(run.err.find("cannot create"), std::string::npos) << run.err;
    EXPECT_FALSE(Exists(dir.File("x.raw")));
}

TEST(RadarSimTool, BadScenesAndPlacesExitOneAndLeaveNothing) {
    TempDir dir;
    const std::string out = dir.File("x.raw");
    RunResult run = RunRadarSim(dir, {"no-such-scene", "-o", out});
    EXPECT_EQ(run.status, 1);
    EXPECT_NE(run.err.find("no-such-scene"), std::string::npos) << run.err;
    EXPECT_NE(run.err.find("three-people"), std::string::npos) << run.err;

    const std::string bad =
        dir.Write("bad.json", R"({"people": [{"id": 1, "at": [0, 2], "speed": -1}]})");
    run = RunRadarSim(dir, {bad, "-o", out});
    EXPECT_EQ(run.status, 1);
    EXPECT_NE(run.err.find("bad.json: people[0].speed"), std::string::npos) << run.err;

    run = RunRadarSim(dir, {"seated", "-o", dir.File("missing/x.raw")});
    EXPECT_EQ(run.status, 1);
    EXPECT_NE(run.err.find("cannot create"), std::string::npos) << run.err;
    EXPECT_FALSE(Exists(out));
    EXPECT_FALSE(Exists(TruthPathFor(out)));

    if (access("/dev/full", W_OK) == 0) {
        // The disk fills up half way: no recording that looks whole is left.
        const std::string full = dir.File("full.raw");
        ASSERT_EQ(symlink("/dev/full", full.c_str()), 0);
        run = RunRadarSim(dir, {"seated", "-o", full, "--frames", "3"});
        EXPECT_EQ(run.status, 1);
        EXPECT_NE(run.err.find("cannot write"), std::string::npos) << run.err;
        EXPECT_FALSE(Exists(TruthPathFor(full)));
    }
}
