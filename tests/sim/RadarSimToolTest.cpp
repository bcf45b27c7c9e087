// radar-sim as a user runs it: its command line, exit codes, and recordings
// that hold exactly the frames the synthesizer makes, bit for bit.
#include <errno.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <spawn.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "RadarFrameFormat.h"
#include "Recording.h"
#include "SceneLibrary.h"
#include "SceneSynthesizer.h"

extern char** environ;

using namespace radar;

namespace {

class TempDir {
public:
    TempDir() {
        char pattern[] = "/tmp/radar-sim-test-XXXXXX";
        m_path = mkdtemp(pattern) != nullptr ? pattern : "";
    }
    ~TempDir() {
        if (!m_path.empty()) {
            const std::string command = "rm -rf '" + m_path + "'";
            if (system(command.c_str()) != 0) {
                ADD_FAILURE() << "cannot remove " << m_path;
            }
        }
    }
    std::string File(const std::string& name) const { return m_path + "/" + name; }

private:
    std::string m_path;
};

std::string ReadText(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

bool Exists(const std::string& path) {
    return access(path.c_str(), F_OK) == 0;
}

struct RunResult {
    int status = -1;  // exit code, or -1 when it did not exit normally
    std::string out;
    std::string err;
};

// Runs radar-sim with the arguments and waits for it.
RunResult RunRadarSim(const TempDir& dir, const std::vector<std::string>& args) {
    RunResult result;
    const std::string outPath = dir.File("stdout.txt");
    const std::string errPath = dir.File("stderr.txt");
    std::vector<std::string> words = {RADAR_SIM_BIN};
    words.insert(words.end(), args.begin(), args.end());
    std::vector<char*> argv;
    for (std::string& word : words) {
        argv.push_back(&word[0]);
    }
    argv.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 1, outPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC,
                                     0644);
    posix_spawn_file_actions_addopen(&actions, 2, errPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC,
                                     0644);
    pid_t pid = 0;
    const int spawned = posix_spawn(&pid, RADAR_SIM_BIN, &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    if (spawned != 0) {
        ADD_FAILURE() << "cannot start " << RADAR_SIM_BIN;
        return result;
    }
    int status = 0;
    while (waitpid(pid, &status, 0) < 0) {
        if (errno != EINTR) {
            ADD_FAILURE() << "waitpid failed";
            return result;
        }
    }
    result.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    result.out = ReadText(outPath);
    result.err = ReadText(errPath);
    return result;
}

Scene ShippedScene(const std::string& name) {
    Scene scene;
    std::string path, error;
    EXPECT_TRUE(ResolveScenePath(name, &path, &error)) << error;
    EXPECT_TRUE(LoadScene(path, &scene, &error)) << error;
    return scene;
}

// Reads the recording back and compares every frame and truth line with a
// synthesizer of the same scene and seed.
void ExpectRecordingOf(const std::string& path, const Scene& scene, uint64_t seed, int64_t frames) {
    RecordingReader reader;
    std::string error;
    ASSERT_TRUE(reader.Open(path, &error)) << error;
    ASSERT_EQ(reader.FrameCount(), frames);
    SceneSynthesizer synthesizer(scene, seed);
    std::vector<uint16_t> samples(kFrameSamples), replayed(kFrameSamples);
    std::vector<uint8_t> expected(kFrameBytes), actual(kFrameBytes);
    std::istringstream truth(ReadText(TruthPathFor(path)));
    for (int64_t f = 0; f < frames; ++f) {
        synthesizer.SynthesizeFrame(f, samples.data());
        PackFrame(samples.data(), expected.data());
        ASSERT_TRUE(reader.ReadFrame(f, actual.data()));
        ASSERT_EQ(actual, expected) << "frame " << f;
        UnpackFrame(actual.data(), replayed.data());
        ASSERT_EQ(replayed, samples) << "frame " << f;
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

TEST(RadarSimTool, BadScenesAndPlacesExitOneAndLeaveNothing) {
    TempDir dir;
    const std::string out = dir.File("x.raw");
    RunResult run = RunRadarSim(dir, {"no-such-scene", "-o", out});
    EXPECT_EQ(run.status, 1);
    EXPECT_NE(run.err.find("no-such-scene"), std::string::npos) << run.err;
    EXPECT_NE(run.err.find("three-people"), std::string::npos) << run.err;

    const std::string badScene = dir.File("bad.json");
    std::ofstream(badScene) << R"({"people": [{"id": 1, "at": [0, 2], "speed": -1}]})";
    run = RunRadarSim(dir, {badScene, "-o", out});
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
