// radar-segment as a user runs it: command line, exit codes, bad input, and
// one activity result document per frame.
#include <gtest/gtest.h>
#include <json/json.h>

#include <string>
#include <vector>

#include "RadarFrameFormat.h"
#include "Recording.h"
#include "ToolRunner.h"

using quality::RunResult;

namespace {

class RadarSegmentTool : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(m_dir.Valid()); }

    RunResult Segment(const std::vector<std::string>& args) {
        return quality::Run(m_dir, RADAR_SEGMENT_BIN, args);
    }
    // A recording of a shipped scene, with its sidecar.
    std::string Record(const std::string& scene, int frames) {
        const std::string path = m_dir.File(scene + ".raw");
        const RunResult made = quality::Run(
            m_dir, RADAR_SIM_BIN, {scene, "-o", path, "--frames", std::to_string(frames)});
        EXPECT_EQ(made.status, 0) << made.err;
        return path;
    }
    // Expects the run to fail with exit code 1, naming the reason, and
    // print nothing on standard output.
    void ExpectFailure(const std::vector<std::string>& args, const std::string& reason) {
        const RunResult result = Segment(args);
        EXPECT_EQ(result.status, 1) << testing::PrintToString(args);
        EXPECT_NE(result.err.find(reason), std::string::npos) << reason << ": " << result.err;
        EXPECT_EQ(result.out, "") << testing::PrintToString(args);
    }
    static Json::Value Parse(const std::string& text) {
        Json::Value value;
        std::string error;
        EXPECT_TRUE(quality::ParseJson(text, &value, &error)) << error << ": " << text;
        return value;
    }

    quality::TempDir m_dir;
};

}  // namespace

TEST_F(RadarSegmentTool, BadCommandLinesExitTwoWithUsage) {
    const std::vector<std::vector<std::string>> bad = {
        {},
        {"--json"},
        {"a.raw", "b.raw"},
        {"a.raw", "--frobnicate"},
        {"a.raw", "--truth"},
        {"a.raw", "--truth="},
        {"a.raw", "--truth", "t.jsonl", "--score"},
        {"a.raw", "--truth", "t.jsonl", "--truth", "u.jsonl"},
    };
    for (const auto& args : bad) {
        const RunResult result = Segment(args);
        EXPECT_EQ(result.status, 2) << testing::PrintToString(args);
        EXPECT_NE(result.err.find("Usage: radar-segment"), std::string::npos) << result.err;
        EXPECT_EQ(result.out, "");
    }
    const RunResult help = Segment({"a.raw", "--help"});
    EXPECT_EQ(help.status, 0);
    EXPECT_NE(help.out.find("--truth TRUTH"), std::string::npos) << help.out;
}

TEST_F(RadarSegmentTool, BadInputExitsOneWithAReason) {
    ExpectFailure({m_dir.File("none.raw")}, "none.raw");
    // Not a whole number of frames.
    ASSERT_TRUE(quality::WriteText(m_dir.File("short.raw"), std::string(1000, '\x80')));
    ExpectFailure({m_dir.File("short.raw")}, "short.raw");

    const std::string recording = Record("seated", 3);
    const std::string good = quality::ReadText(radar::TruthPathFor(recording));
    const std::vector<std::string> lines = quality::Lines(good);
    ASSERT_EQ(lines.size(), 3u);
    struct Case {
        const char* name;
        std::string text;
        const char* reason;
    } cases[] = {
        {"garbled.jsonl", lines[0] + "\n{oops\n" + lines[2] + "\n", ":2: "},
        {"few.jsonl", lines[0] + "\n" + lines[1] + "\n", "ground truth for 2 frames"},
        {"order.jsonl", lines[1] + "\n" + lines[0] + "\n" + lines[2] + "\n", "was expected"},
        {"twice.jsonl",
         "{\"frame\":0,\"targets\":[{\"id\":1,\"range\":1,\"angle\":0,\"velocity\":0,\"x\":0,"
         "\"y\":1},{\"id\":1,\"range\":2,\"angle\":0,\"velocity\":0,\"x\":0,\"y\":2}]}\n" +
             lines[1] + "\n" + lines[2] + "\n",
         "id 1 twice"},
    };
    for (const Case& bad : cases) {
        ASSERT_TRUE(quality::WriteText(m_dir.File(bad.name), bad.text));
        ExpectFailure({recording, "--truth", m_dir.File(bad.name)}, bad.reason);
    }
    ExpectFailure({recording, "--truth", m_dir.File("absent.jsonl")}, "absent.jsonl");
    // --score wants the sidecar, which a bare copy of the recording lacks.
    ASSERT_TRUE(quality::WriteText(m_dir.File("copy.raw"), quality::ReadText(recording)));
    ExpectFailure({m_dir.File("copy.raw"), "--score"}, "copy.raw.truth.jsonl");
}

TEST_F(RadarSegmentTool, PrintsOneResultDocumentPerFrame) {
    const std::string recording = Record("one-walker", 40);
    const RunResult result = Segment({recording});
    ASSERT_EQ(result.status, 0) << result.err;
    const std::vector<std::string> lines = quality::Lines(result.out);
    ASSERT_EQ(lines.size(), 40u);
    int withTracks = 0;
    for (const std::string& line : lines) {
        const Json::Value document = Parse(line);
        ASSERT_EQ(document["status"].asString(), "success") << line;
        ASSERT_EQ(document["result"].size(), 1u) << line;
        const Json::Value& result0 = document["result"][0];
        ASSERT_EQ(result0["segments"].size(), 1u) << line;
        EXPECT_EQ(result0["segments"][0]["num_of_segment"].asInt(), 6);
        EXPECT_TRUE(result0["segments"][0]["segment"].isString());
        if (result0.isMember("tracks")) {
            ++withTracks;
            for (const Json::Value& track : result0["tracks"]) {
                EXPECT_NE(track["id"].asDouble(), 0.0) << line;
                EXPECT_TRUE(track["range"].isDouble()) << line;
            }
        }
    }
    // The walker is in view all along: most frames carry a track.
    EXPECT_GT(withTracks, 20);
    EXPECT_NE(result.err.find("frames per second"), std::string::npos) << result.err;

    // The same recording gives the same documents on every run.
    const RunResult again = Segment({recording});
    EXPECT_EQ(again.out, result.out);
}

TEST_F(RadarSegmentTool, JsonSummaryComesLastAndQuietDropsTheDocuments) {
    // Long enough for the seated person to be found well within the
    // detection target: a passing verdict exits 0.
    const std::string recording = Record("seated", 60);
    const RunResult plain = Segment({recording});
    const RunResult json = Segment({recording, "--json"});
    ASSERT_EQ(json.status, 0) << json.err;
    std::vector<std::string> lines = quality::Lines(json.out);
    ASSERT_EQ(lines.size(), 61u);
    EXPECT_EQ(json.out.substr(0, plain.out.size()), plain.out);
    const Json::Value summary = Parse(lines.back());
    EXPECT_EQ(summary["frames"].asInt(), 60);
    EXPECT_EQ(summary["failedFrames"].asInt(), 0);
    EXPECT_GT(summary["framesPerSecond"].asDouble(), 0.0);
    EXPECT_FALSE(summary.isMember("score"));

    const RunResult quiet = Segment({recording, "--quiet", "--score", "--json"});
    ASSERT_EQ(quiet.status, 0) << quiet.err;
    lines = quality::Lines(quiet.out);
    ASSERT_EQ(lines.size(), 1u) << quiet.out;
    const Json::Value scored = Parse(lines[0]);
    EXPECT_EQ(scored["score"]["frames"].asInt(), 60);
    EXPECT_EQ(scored["score"]["scoredFrames"].asInt(), 50);
    EXPECT_TRUE(scored["score"]["passed"].asBool());
    EXPECT_TRUE(scored["score"]["checks"].isArray());

    // --score reads the sidecar: the same figures as naming it.
    const RunResult named =
        Segment({recording, "-q", "--json", "--truth", radar::TruthPathFor(recording)});
    ASSERT_EQ(named.status, 0) << named.err;
    EXPECT_EQ(Parse(named.out)["score"], scored["score"]);

    // Without --json the figures and the verdict go to standard error.
    const RunResult report = Segment({recording, "--quiet", "--score"});
    ASSERT_EQ(report.status, 0) << report.err;
    EXPECT_EQ(report.out, "");
    EXPECT_NE(report.err.find("seated detection"), std::string::npos) << report.err;
    EXPECT_NE(report.err.find("verdict: "), std::string::npos) << report.err;

    // Scored against a truth with a walker the recording does not hold: the
    // figures still come, and the exit status tells the missed target.
    const std::string empty = Record("empty-room", 25);
    const std::string walker = Record("one-walker", 25);
    const RunResult missed =
        Segment({empty, "--quiet", "--json", "--truth", radar::TruthPathFor(walker)});
    EXPECT_EQ(missed.status, 3) << missed.err;
    EXPECT_FALSE(Parse(missed.out)["score"]["passed"].asBool()) << missed.out;
    EXPECT_NE(missed.err.find("verdict fail"), std::string::npos) << missed.err;
}
