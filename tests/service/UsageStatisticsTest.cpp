// Usage statistics end to end: the full service on the default TV (two
// people walking 2 to 4 m in front of the set, between 45 degrees left and
// right) with the clock a hundred times as fast, a track subscription, a few
// mode periods, then application changes. Reports land in the simulated TV's
// KPI log, read back with `tessivo-platform kpi list --json`.
#include <json/json.h>

#include <memory>
#include <regex>
#include <sstream>

#include "KaeBusClient.h"
#include "ServiceTest.h"

namespace {

const char kTrackSegment[] = "KAE/SUBSCRIBE/TRACK_SEGMENT/";

struct Report {
    Json::Value event;
    std::map<std::string, std::string> fields;
    std::vector<int> presence, segment, objects;
};

std::vector<int> List(const std::string& text) {
    std::vector<int> values;
    if (text.size() < 2 || text.front() != '[' || text.back() != ']') {
        return values;
    }
    std::stringstream in(text.substr(1, text.size() - 2));
    std::string item;
    while (std::getline(in, item, ',')) {
        values.push_back(std::stoi(item));
    }
    return values;
}

// "{key=value;key=value}" into its fields.
bool ParseReport(const Json::Value& event, Report* report) {
    report->event = event;
    std::string text = event["description"].asString();
    if (text.size() < 2 || text.front() != '{' || text.back() != '}') {
        return false;
    }
    std::stringstream in(text.substr(1, text.size() - 2));
    std::string pair;
    while (std::getline(in, pair, ';')) {
        size_t eq = pair.find('=');
        if (eq == std::string::npos) {
            return false;
        }
        report->fields[pair.substr(0, eq)] = pair.substr(eq + 1);
    }
    report->presence = List(report->fields["presence"]);
    report->segment = List(report->fields["segment"]);
    report->objects = List(report->fields["object_cnt"]);
    return report->fields.size() == 8 && report->presence.size() == 7 &&
           report->segment.size() == 42 && report->objects.size() == 6;
}

int Sum(const std::vector<int>& values, size_t from = 0, size_t to = SIZE_MAX) {
    int sum = 0;
    for (size_t i = from; i < values.size() && i < to; ++i) {
        sum += values[i];
    }
    return sum;
}

class UsageStatisticsTest : public ServiceTest {
protected:
    void SetUp() override {
        ServiceTest::SetUp();
        m_env["TESSIVO_TIME_SCALE"] = "100";
    }
    std::vector<Json::Value> Events() {
        CommandResult list = Platform({"kpi", "list", "--json"});
        EXPECT_EQ(list.exitCode, 0) << list.err;
        std::vector<Json::Value> events = JsonLines(list.out);
        EXPECT_EQ(events.size(), static_cast<size_t>(CountOccurrences(list.out, "\n")))
            << "every line is one JSON event:\n"
            << list.out;
        return events;
    }
};

}  // namespace

TEST_F(UsageStatisticsTest, AnAppChangeReportsWhereThePeopleWereAndThePeriodReportsAgain) {
    Subprocess& service = StartService();
    ASSERT_TRUE(WaitUntilServing(service)) << service.Stderr();
    KaeBusClient viewer(m_bus.Address());
    ASSERT_TRUE(viewer.Ok()) << viewer.Error();
    ASSERT_EQ(viewer.RequestSync(3, kTrackSegment).first, 0);

    // The reporting period (600 s) starts with the first session; the boot
    // period (300 s) and two segment periods (60 s each) stay inside it.
    ASSERT_TRUE(service.WaitForStderr("> [Init Started]", kWaitMs)) << service.Stderr();
    ASSERT_TRUE(
        service.WaitForStderrCount("> Time Up(Mode Unchanged)! Segment->Segment", 2, kWaitMs))
        << service.Stderr();
    EXPECT_TRUE(Events().empty()) << "nothing is sent before the session ends";

    Publish("P/App/Change", "{\"EventType\":\"Launch\",\"AppId\":\"org.tizen.browser\"}");
    ASSERT_TRUE(PollUntil(kWaitMs, [&] { return !Events().empty(); }));
    std::vector<Json::Value> events = Events();
    ASSERT_EQ(events.size(), 1u);
    EXPECT_EQ(events[0]["category"].asString(), "22_useractivity");
    EXPECT_EQ(events[0]["module"].asString(), "SEGMENTATION");
    EXPECT_EQ(events[0]["event"].asString(), "EV001");
    Report first;
    ASSERT_TRUE(ParseReport(events[0], &first)) << events[0]["description"].asString();
    EXPECT_EQ(first.fields["appsrc_name"], "org.tizen.tv-viewer:HDMI1");
    EXPECT_EQ(first.fields["dev_name"], "Game Console");
    EXPECT_TRUE(std::regex_match(first.fields["session_st"],
                                 std::regex("\\d{4}-\\d\\d-\\d\\dT\\d\\d:\\d\\d:\\d\\d[+-]\\d{4}")))
        << first.fields["session_st"];

    // Presence mode measured the nearest person at 2 to 3 m. Three full
    // presence periods and the empty one the app change closed are averaged,
    // so about three quarters of the samples show up.
    EXPECT_GE(Sum(first.presence), 50) << first.fields["presence"];
    EXPECT_LE(Sum(first.presence), 100);
    EXPECT_GE(Sum(first.presence, 2, 4) * 10, Sum(first.presence) * 9) << first.fields["presence"];
    // Segment mode placed the tracks in the 2 and 3 m bands, on both sides.
    EXPECT_GE(Sum(first.segment), 50) << first.fields["segment"];
    EXPECT_LE(Sum(first.segment), 100);
    EXPECT_GE(Sum(first.segment, 12, 24) * 10, Sum(first.segment) * 8) << first.fields["segment"];
    EXPECT_GT(Sum(first.segment, 12, 15) + Sum(first.segment, 18, 21), 0) << "left of the set";
    EXPECT_GT(Sum(first.segment, 15, 18) + Sum(first.segment, 21, 24), 0) << "right of the set";
    // Mostly two people per result.
    EXPECT_GE(first.objects[2], first.objects[1]) << first.fields["object_cnt"];
    EXPECT_EQ(first.objects[4] + first.objects[5], 0);

    // 600 s after the app change a mode period ends and the period reports.
    ASSERT_TRUE(PollUntil(kWaitMs, [&] { return Events().size() >= 2; })) << service.Stderr();
    Report second;
    ASSERT_TRUE(ParseReport(Events()[1], &second));
    EXPECT_EQ(second.fields["appsrc_name"], "org.tizen.browser");
    EXPECT_EQ(second.fields["dev_name"], "");
    EXPECT_NE(second.fields["sid"], first.fields["sid"]);
    EXPECT_GE(Sum(second.segment, 12, 24) * 10, Sum(second.segment) * 8)
        << second.fields["segment"];
}

TEST_F(UsageStatisticsTest, WithdrawingTheAgreementInSegmentModeDropsTheStatistics) {
    const std::string agreement = "db/homedatacontrol/disclaimeragrees";
    Subprocess& service = StartService();
    ASSERT_TRUE(WaitUntilServing(service)) << service.Stderr();
    KaeBusClient viewer(m_bus.Address());
    ASSERT_EQ(viewer.RequestSync(3, kTrackSegment).first, 0);
    ASSERT_TRUE(service.WaitForStderr("> Mode Changed! Presence->Segment", kWaitMs))
        << service.Stderr();

    ASSERT_EQ(Platform({"vconf", "set", agreement, "string", "{\"presence\":\"false\"}"}).exitCode,
              0);
    ASSERT_TRUE(service.WaitForStderr("> Mode Changed! Segment->Presence", kWaitMs));
    // Nobody collects now: an app change reaches the state manager only.
    Publish("P/App/Change", "{\"EventType\":\"Launch\",\"AppId\":\"org.tizen.browser\"}");
    ASSERT_TRUE(service.WaitForStderrCount("> NotifyAppSessionInfo", 2, kWaitMs));

    EXPECT_TRUE(Events().empty());

    // Agreed again: new statistics. Before their first session starts, the
    // first mode-period end already counts as the end of a reporting period
    // (none has begun), and it reports what it has with no session yet.
    ASSERT_EQ(Platform({"vconf", "set", agreement, "string", "{\"presence\":\"true\"}"}).exitCode,
              0);
    ASSERT_TRUE(service.WaitForStderrCount("> Mode Changed! Presence->Segment", 2, kWaitMs));
    ASSERT_TRUE(PollUntil(kWaitMs, [&] { return Events().size() == 1; }));
    Report early;
    ASSERT_TRUE(ParseReport(Events()[0], &early));
    EXPECT_EQ(early.fields["sid"], "0");
    EXPECT_EQ(early.fields["appsrc_name"], "org.tizen.browser");

    // The next change starts their first session, the one after it reports.
    Publish("P/App/Change", "{\"EventType\":\"Launch\",\"AppId\":\"org.tizen.tv-viewer\"}");
    ASSERT_TRUE(service.WaitForStderrCount("> [Init Started]", 2, kWaitMs)) << service.Stderr();
    Publish("P/App/Change", "{\"EventType\":\"Launch\",\"AppId\":\"org.tizen.browser\"}");
    ASSERT_TRUE(PollUntil(kWaitMs, [&] { return Events().size() >= 2; }));
    std::vector<Json::Value> events = Events();
    ASSERT_EQ(events.size(), 2u);
    Report report;
    ASSERT_TRUE(ParseReport(events[1], &report));
    EXPECT_EQ(report.fields["appsrc_name"], "org.tizen.tv-viewer:HDMI1");
    EXPECT_NE(report.fields["sid"], "0");
    EXPECT_EQ(CountOccurrences(service.Stderr(), "> [App Changed]"), 1);
}
