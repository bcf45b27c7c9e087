// The viewer's pure parts: reading the service's result documents and the
// KPI reports, the live score's matching and window (a hand-driven clock),
// the command line, and the simulated module's truth file format.
#include <gtest/gtest.h>

#include "KpiReport.h"
#include "LiveScore.h"
#include "RadarTruthFile.h"
#include "ResultFrame.h"
#include "ViewerOptions.h"

TEST(ResultFrame, ReadsTheServicesDocumentAndRefusesAnythingElse) {
    ResultFrame frame;
    std::string problem;
    ASSERT_TRUE(ResultFrame::Parse(
        R"({"result":[{"segments":[{"num_of_segment":6,"segment":"0,1,0,0,0,-1"}],)"
        R"("tracks":[{"angle":-12.5,"id":1.0,"range":1.75,"velocity":0.25}]}],"status":"success"})",
        &frame, &problem))
        << problem;
    EXPECT_EQ(frame.segments[1], 1);
    EXPECT_EQ(frame.segments[5], -1);
    ASSERT_EQ(frame.tracks.size(), 1u);
    EXPECT_DOUBLE_EQ(frame.tracks[0].range, 1.75);

    const char* bad[] = {
        "",
        "[]",
        R"({"result":[]})",
        R"({"result":[{"segments":[{"segment":"0,1,0,0,0"}]}]})",
        R"({"result":[{"segments":[{"segment":"0,1,0,0,0,0,7"}]}]})",
        R"({"result":[{"segments":[{"segment":"0,1,x,0,0,0"}]}]})",
        R"({"result":[{"segments":[{"segment":"0,0,0,0,0,0"}],"tracks":[{"id":0,"range":1,"angle":0,"velocity":0}]}]})",
        R"({"result":[{"segments":[{"segment":"0,0,0,0,0,0"}],"tracks":[{"id":1,"range":"far","angle":0,"velocity":0}]}]})",
        R"({"result":[{"segments":[{"segment":"0,0,0,0,0,0"}],"tracks":{}}]})",
    };
    for (const char* text : bad) {
        problem.clear();
        EXPECT_FALSE(ResultFrame::Parse(text, &frame, &problem)) << text;
        EXPECT_FALSE(problem.empty()) << text;
    }
}

TEST(LiveScore, CountsDetectedMissedAndFalseOverTheLastMinute) {
    CLiveScore score;
    radar::TruthTarget near;  // straight ahead, 2 m
    near.id = 1;
    near.range = 2.0;
    near.y = 2.0;
    radar::TruthTarget outOfScope;  // 7 m away: neither detected nor missed
    outOfScope.id = 2;
    outOfScope.range = 7.0;
    outOfScope.y = 7.0;
    radar::OutputTrack onNear{1, 2.1, 0.0, 0.0};
    radar::OutputTrack onOutOfScope{2, 7.0, 0.0, 0.0};
    radar::OutputTrack ghost{3, 3.0, 40.0, 0.0};

    struct Frame {
        int64_t atMs;
        std::vector<radar::OutputTrack> tracks;
        int detected, missed, falseTracks;
    };
    const std::vector<Frame> frames = {
        {0, {onNear, onOutOfScope}, 1, 0, 0},
        {100, {}, 0, 1, 0},
        {200, {ghost}, 0, 1, 1},
        // Two tracks on one person: one matches, the other is false.
        {300, {onNear, radar::OutputTrack{4, 2.0, 0.0, 0.0}}, 1, 0, 1},
    };
    for (const Frame& f : frames) {
        CLiveScore::FrameCounts counts = score.Add(f.atMs, {near, outOfScope}, f.tracks);
        EXPECT_EQ(counts.detected, f.detected) << f.atMs;
        EXPECT_EQ(counts.missed, f.missed) << f.atMs;
        EXPECT_EQ(counts.falseTracks, f.falseTracks) << f.atMs;
    }
    Json::Value summary = score.Summary(300);
    EXPECT_EQ(summary["frames"], 4);
    EXPECT_EQ(summary["detected"], 2);
    EXPECT_EQ(summary["missed"], 2);
    EXPECT_EQ(summary["falseTracks"], 2);
    EXPECT_DOUBLE_EQ(summary["detection"].asDouble(), 0.5);
    // A minute after the first frame it has left the window.
    summary = score.Summary(60000);
    EXPECT_EQ(summary["frames"], 3);
    EXPECT_EQ(summary["detected"], 1);
    EXPECT_TRUE(score.Summary(60301)["detection"].isNull());
}

TEST(KpiReport, ReadsTheReportTextAndRefusesBrokenLists) {
    const std::string zeros42 =
        "[0,0,0,0,0,0,0,10,30,20,0,0,0,0,20,10,5,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,"
        "0]";
    Json::Value report;
    std::string problem;
    ASSERT_TRUE(KpiReport::Parse("{presence=[0,65,25,5,0,0,0];segment=" + zeros42 +
                                     ";object_cnt=[5,60,15,0,0,0];appsrc_name=A%26B;"
                                     "session_st=x;send_time=y;dev_name=LiveTV;sid=1}",
                                 &report, &problem))
        << problem;
    EXPECT_EQ(report["presence"][1], 65);
    EXPECT_EQ(report["segment"][8], 30);
    EXPECT_EQ(report["objectCount"].size(), 6u);
    EXPECT_EQ(report["app"], "A&B");
    const std::string bad[] = {
        "",
        "presence=[1]",
        "{presence=[0,65,25,5,0,0];segment=" + zeros42 + ";object_cnt=[0,0,0,0,0,0]}",
        "{presence=[0,65,25,5,0,0,x];segment=" + zeros42 + ";object_cnt=[0,0,0,0,0,0]}",
        "{presence=[0,0,0,0,0,0,0];segment=[1,2];object_cnt=[0,0,0,0,0,0]}",
        "{noequals}"};
    for (const std::string& text : bad) {
        EXPECT_FALSE(KpiReport::Parse(text, &report, &problem)) << text;
    }
}

TEST(ViewerOptions, ListenAddressesAndBadCommandLines) {
    struct Case {
        std::vector<std::string> args;
        bool ok;
        std::string address;
        int port;
    };
    const std::vector<Case> cases = {
        {{}, true, "127.0.0.1", 8090},
        {{"--listen", "0.0.0.0:0"}, true, "0.0.0.0", 0},
        {{"--listen=[::1]:9000"}, true, "::1", 9000},
        {{"--listen", "localhost:80"}, false, "", 0},
        {{"--listen", "127.0.0.1:65536"}, false, "", 0},
        {{"--listen", "127.0.0.1:-1"}, false, "", 0},
        {{"--listen", "127.0.0.1"}, false, "", 0},
        {{"--listen"}, false, "", 0},
        {{"--bogus"}, false, "", 0},
    };
    for (const Case& c : cases) {
        ViewerOptions options;
        std::string error;
        EXPECT_EQ(ParseViewerOptions(c.args, &options, &error), c.ok)
            << (c.args.empty() ? "" : c.args.back());
        if (c.ok) {
            EXPECT_EQ(options.address, c.address);
            EXPECT_EQ(options.port, c.port);
        } else {
            EXPECT_FALSE(error.empty());
        }
    }
}

TEST(RadarTruthFile, AFrameReadsBackAndMalformedFilesAreRefused) {
    RadarTruthFrame frame;
    frame.frame = 42;
    frame.hasTruth = true;
    radar::TruthTarget person;
    person.id = 3;
    person.range = 2.5;
    person.angle = -10.25;
    person.x = -0.445;
    person.y = 2.46;
    frame.people.push_back(person);
    RadarTruthFrame back;
    std::string problem;
    ASSERT_TRUE(RadarTruthFile::Parse(RadarTruthFile::Format(frame), &back, &problem)) << problem;
    EXPECT_EQ(back.frame, 42);
    ASSERT_EQ(back.people.size(), 1u);
    EXPECT_EQ(back.people[0].id, 3);
    EXPECT_DOUBLE_EQ(back.people[0].angle, -10.25);
    for (const char* text : {"", "{}", R"({"frame":"1","truth":true,"people":[]})",
                             R"({"frame":1,"truth":true,"people":[{"id":1}]})"}) {
        EXPECT_FALSE(RadarTruthFile::Parse(text, &back, &problem)) << text;
    }
}
