// The usage statistics against the simulated TV: samples and results through
// the public entries, mode-period ends and app changes on a manual clock, and
// the report read back from the platform's KPI log.
#include <gtest/gtest.h>

#include <DSF.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>
#include <vconf.h>

#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "ContextClock.h"
#include "ContextManualClock.h"
#include "DLFDataCollector.h"
#include "DsfStore.h"
#include "KPIManager.h"
#include "KpiEventLog.h"
#include "MainContextWait.h"
#include "SettingsStore.h"

namespace {

// 2024-03-05T21:14:07+0900.
const time_t kSessionStart = 1709640847;
const int64_t kSessionStartNs = 482913557;

struct Track {
    double id;
    double range;
    double angle;
};

// A result document as the pipeline publishes it, in malloc'd text.
void* Result(const std::vector<Track>& tracks) {
    std::string text =
        "{\"result\":[{\"segments\":[{\"num_of_segment\":6,\"segment\":\"0,0,0,0,0,0\"}]";
    if (!tracks.empty()) {
        text += ",\"tracks\":[";
        for (size_t i = 0; i < tracks.size(); ++i) {
            char item[160];
            snprintf(item, sizeof(item),
                     "%s{\"angle\":%.17g,\"id\":%.1f,\"range\":%.17g,\"velocity\":0.0}",
                     i > 0 ? "," : "", tracks[i].angle, tracks[i].id, tracks[i].range);
            text += item;
        }
        text += "]";
    }
    text += "}],\"status\":\"success\"}";
    return strdup(text.c_str());
}

int Count(const std::string& text, const std::string& part) {
    int n = 0;
    for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) {
        ++n;
    }
    return n;
}

// The value of KEY in a report "{k=v;...}".
std::string Field(const std::string& report, const std::string& key) {
    size_t at = report.find(key + "=");
    if (at == std::string::npos) {
        return "(none)";
    }
    at += key.size() + 1;
    return report.substr(at, report.find_first_of(";}", at) - at);
}

class KPIManagerTest : public ::testing::Test {
protected:
    void SetUp() override {
        char templ[] = "/tmp/tessivo-kpi-XXXXXX";
        ASSERT_NE(mkdtemp(templ), nullptr);
        m_dir = templ;
        setenv("TESSIVO_PLATFORM_DIR", m_dir.c_str(), 1);
        setenv("TZ", "Asia/Seoul", 1);
        tzset();
        m_clock.JumpWallNs(kSessionStartNs);
        ContextClock::SetSource(&m_clock);
        m_collector.reset(new DLFDataCollector());
        m_manager.reset(new KPIManager());
        m_manager->InitDLFDataCollector(m_collector.get());
    }
    void TearDown() override {
        m_collector->Stop();
        EXPECT_TRUE(maincontext::DrainDataService());
        m_manager.reset();
        m_collector.reset();
        ContextClock::SetSource(nullptr);
        unsetenv("TZ");
        tzset();
        unsetenv("TESSIVO_PLATFORM_DIR");
        ASSERT_EQ(system(("rm -rf '" + m_dir + "'").c_str()), 0);
    }

    // The descriptions sent so far, after checking the event's fixed fields.
    std::vector<std::string> Reports() {
        std::vector<KpiEventLog::Line> lines;
        EXPECT_EQ(KpiEventLog::ReadAll(&lines), 0);
        std::vector<std::string> reports;
        for (const KpiEventLog::Line& line : lines) {
            EXPECT_TRUE(line.valid) << line.text;
            EXPECT_EQ(line.event.category, "22_useractivity");
            EXPECT_EQ(line.event.module, "SEGMENTATION");
            EXPECT_EQ(line.event.event, "EV001");
            reports.push_back(line.event.description);
        }
        return reports;
    }
    void ChangeApp(const char* from, const char* to) {
        AppSessionInfo previous;
        previous.sessionName = from;
        AppSessionInfo current;
        current.sessionName = to;
        m_manager->AppSessionChangeCB(&current, &previous);
    }
    // A one-track result; the cell it lands in, or -1.
    int PlacedCell(double range, double angle) {
        KPIManager manager;
        manager.UpdateStat(Result({{1, range, angle}}));
        KPIManager::Stats stats = manager.GetStats();
        int cell = -1;
        for (int i = 0; i < KPIManager::kXYBins; ++i) {
            EXPECT_LE(stats.tempXYMap[i], 1);
            if (stats.tempXYMap[i] == 1) {
                EXPECT_EQ(cell, -1) << "two cells";
                cell = i;
            }
        }
        EXPECT_EQ(stats.tempTrackMap[cell >= 0 ? 1 : 0], 1);
        EXPECT_EQ(stats.validTrackCnt, 1);
        return cell;
    }

    // The data service in front of the collector, driven as in its own tests.
    void StartCollector() {
        ASSERT_EQ(vconf_set_int("memory/data-service/ready", 1), VCONF_OK);
        ASSERT_EQ(m_collector->Start(), 0);
        ASSERT_TRUE(maincontext::DrainDataService());
    }
    void Feed(const char* subject, std::string json) {
        m_collector->SubscribeCb(0, subject, &json[0], nullptr);
    }
    std::string m_dir;
    ContextManualClock m_clock{kSessionStart};
    std::unique_ptr<DLFDataCollector> m_collector;
    std::unique_ptr<KPIManager> m_manager;
};

// One segment period whose shares are 10/30/20 % (band 1, sectors 1..3),
// 20/10/5 % (band 2, sectors 2..4) and 5/60/15 % results with 0/1/2 tracks:
// 190 tracks in 164 results over a denominator of 200 (one result with three
// and one with four tracks add 0.5 % each, truncated away).
void FeedSegmentPeriod(KPIManager* manager) {
    const struct {
        double range, angle;
        int count;
    } cells[] = {{1.5, -30, 20}, {1.5, -10, 60}, {1.5, 10, 40},
                 {2.5, -10, 40}, {2.5, 10, 20},  {2.5, 30, 10}};
    std::vector<Track> all;
    for (const auto& cell : cells) {
        all.insert(all.end(), cell.count, Track{0, cell.range, cell.angle});
    }
    std::vector<int> sizes(121, 1);
    sizes.insert(sizes.end(), 31, 2);
    sizes.push_back(3);
    sizes.push_back(4);
    size_t next = 0;
    for (int size : sizes) {
        std::vector<Track> tracks(all.begin() + next, all.begin() + next + size);
        for (int i = 0; i < size; ++i) {
            tracks[i].id = i + 1;
        }
        next += size;
        manager->UpdateStat(Result(tracks));
    }
    ASSERT_EQ(next, all.size());
    for (int i = 0; i < 10; ++i) {
        manager->UpdateStat(Result({}));
    }
}

}  // namespace

TEST_F(KPIManagerTest, ReportOfAnEndedSessionMatchesTheWorkedExample) {
    // The TV viewer is in front when the service starts: the first session.
    // A source type with nothing after its prefix is an empty source, so the
    // session is named by the app alone, and the status document's device
    // under the empty name is LiveTV.
    ASSERT_EQ(SettingsStore::Write(SettingsStore::kSourceType, "SOURCE_TYPE_"), 0);
    ASSERT_EQ(DsfStore::SetAnswer("R/Source/Status", nullptr, R"({"":[{"DeviceName":"LiveTV"}]})"),
              0);
    ASSERT_EQ(DsfStore::SetAnswer("R/App/Current", nullptr, R"({"AppId":"org.tizen.tv-viewer"})"),
              0);
    StartCollector();
    ASSERT_EQ(m_manager->GetStats().isFirstSession, 0);

    // Presence period 1: 80 % at 1 m, 20 % at 2 m.
    for (int i = 0; i < 10; ++i) {
        m_manager->UpdateStat(1, i < 8 ? 1.5 : 2.2);
    }
    m_manager->NotifyModeChange(PRESENCE_TO_SEGMENT);
    FeedSegmentPeriod(m_manager.get());
    m_manager->NotifyModeChange(SEGMENT_TO_PRESENCE);
    // The app change finalises every map at once, so the last period holds
    // both kinds: 50/30/10 % at 1/2/3 m with one absent read, and the
    // segment period again.
    const double distances[] = {1.1, 1.2, 1.3, 1.4, 1.5, 2.0, 2.5, 2.9, 3.0};
    for (double distance : distances) {
        m_manager->UpdateStat(1, distance);
    }
    m_manager->UpdateStat(0, 0.0);
    FeedSegmentPeriod(m_manager.get());
    EXPECT_TRUE(Reports().empty());

    m_clock.AdvanceSeconds(602);  // 21:24:09
    testing::internal::CaptureStderr();
    Feed("P/App/Change", R"({"EventType":"Launch","AppId":"org.tizen.netflix-app"})");
    std::string log = testing::internal::GetCapturedStderr();

    const std::string expected =
        "{presence=[0,65,25,5,0,0,0];segment=[0,0,0,0,0,0,0,10,30,20,0,0,0,0,20,10,5,0,0,0,0,0,0,0,"
        "0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0];object_cnt=[5,60,15,0,0,0];appsrc_name=org.tizen.tv-"
        "viewer;session_st=2024-03-05T21:14:07+0900;send_time=2024-03-05T21:24:09+0900;dev_"
        "name=LiveTV;sid=482913557}";
    EXPECT_EQ(Reports(), std::vector<std::string>{expected});
    EXPECT_NE(log.find("[App Changed] org.tizen.tv-viewer(LiveTV) -> org.tizen.netflix-app()"),
              std::string::npos)
        << log;
    EXPECT_NE(log.find("EV001(SEGMENTATION)[" + expected + "]"), std::string::npos);
    EXPECT_EQ(log.find("over 100"), std::string::npos);
    KPIManager::Stats stats = m_manager->GetStats();
    EXPECT_EQ(stats.finalYCnt + stats.finalXYCnt + stats.tempYCnt + stats.sendYMap[1], 0);
    EXPECT_EQ(stats.sessionStartTime.tv_sec, kSessionStart + 602);
    EXPECT_EQ(stats.prevSessionStartTime.tv_sec, kSessionStart);
}

TEST_F(KPIManagerTest, PresenceSamplesCountAllReadsButBinOnlyPresentDistances) {
    const struct {
        int presence;
        double distance;
    } samples[] = {{0, 2.0}, {1, 6.99}, {1, 7.0}, {1, -0.5}, {1, 0.0}, {2, 3.0}};
    for (const auto& s : samples) {
        m_manager->UpdateStat(s.presence, s.distance);
    }
    KPIManager::Stats stats = m_manager->GetStats();
    EXPECT_EQ(stats.tempYCnt, 6);
    EXPECT_EQ(std::vector<int>(stats.tempYMap, stats.tempYMap + 7),
              (std::vector<int>{1, 0, 0, 0, 0, 0, 1}));
}

TEST_F(KPIManagerTest, TracksLandInTheirBandAndSector) {
    EXPECT_EQ(PlacedCell(0.5, -60.0), 0);
    EXPECT_EQ(PlacedCell(0.5, -60.5), -1);
    EXPECT_EQ(PlacedCell(0.5, -41.0), 0);
    EXPECT_EQ(PlacedCell(0.5, -40.5), 0);  // floor -41
    EXPECT_EQ(PlacedCell(0.5, -40.0), 1);
    EXPECT_EQ(PlacedCell(0.5, -20.5), 1);
    EXPECT_EQ(PlacedCell(0.5, -20.0), 2);
    EXPECT_EQ(PlacedCell(2.0, 19.9), 12 + 3);
    EXPECT_EQ(PlacedCell(2.0, 20.0), 12 + 4);
    EXPECT_EQ(PlacedCell(1.0, -0.5), 6 + 2);
    EXPECT_EQ(PlacedCell(1.0, 0.0), 6 + 3);
    EXPECT_EQ(PlacedCell(3.2, 39.9), 18 + 4);
    EXPECT_EQ(PlacedCell(3.2, 40.0), 18 + 5);
    EXPECT_EQ(PlacedCell(6.99, 60.9), 36 + 5);
    EXPECT_EQ(PlacedCell(6.99, 61.0), -1);
    EXPECT_EQ(PlacedCell(7.5, 0.0), -1);  // valid, so it counts in the denominator
}

TEST_F(KPIManagerTest, InvalidTracksAndResultsAreLoggedAndLeftOut) {
    testing::internal::CaptureStderr();
    // id 0 and a negative range are logged in both passes; the valid track
    // at 7.5 m is not placed but weighs in the denominator.
    m_manager->UpdateStat(Result({{0, 1.5, 0}, {2, -0.5, 0}, {3, 2.5, 0}, {4, 7.5, 0}}));
    // Six valid tracks: the whole result is dropped.
    std::vector<Track> six;
    for (int i = 1; i <= 6; ++i) {
        six.push_back({double(i), 1.5, 0});
    }
    m_manager->UpdateStat(Result(six));
    m_manager->UpdateStat(strdup("{\"status\":\"success\"}"));  // no tracks
    m_manager->UpdateStat(strdup("not json"));
    m_manager->UpdateStat(static_cast<void*>(nullptr));
    std::string log = testing::internal::GetCapturedStderr();

    EXPECT_EQ(Count(log, "Track id or range is wrong. Do not increase validTrackCnt.)"), 2);
    EXPECT_EQ(Count(log, "Do not use this track(id : 0, range :  1.50)."), 1);
    EXPECT_EQ(Count(log, "Do not use this track(id : 2, range : -0.50)."), 1);
    EXPECT_EQ(Count(log, "Tracks size is wrong. Do not use all tracks(size : 6)."), 1);
    EXPECT_EQ(Count(log, "ret : false"), 1);
    EXPECT_EQ(Count(log, "Data is null"), 1);

    KPIManager::Stats stats = m_manager->GetStats();
    EXPECT_EQ(stats.tempSegmentCnt, 4);
    EXPECT_EQ(stats.tempResultCnt, 4);
    EXPECT_EQ(stats.tempXYMap[2 * 6 + 3], 1);
    EXPECT_EQ(std::vector<int>(stats.tempTrackMap, stats.tempTrackMap + 6),
              (std::vector<int>{2, 1, 0, 0, 0, 0}));
    // Two valid tracks in the first result, one each for the two empty ones.
    EXPECT_EQ(stats.validTrackCnt, 4);
    EXPECT_EQ(stats.tempTrackCnt, 4);
}

TEST_F(KPIManagerTest, SessionsSendOneReportEachAndAveragePeriods) {
    ChangeApp("", "org.tizen.tv-viewer:HDMI1");
    EXPECT_TRUE(Reports().empty()) << "the first session only starts";

    // Presence periods of 80 % at 2 m and 100 % at 3 m; the app change adds
    // a third, empty one: thirds, truncated.
    for (int i = 0; i < 5; ++i) {
        m_manager->UpdateStat(i < 4 ? 1 : 0, 2.5);
    }
    m_manager->NotifyModeChange(PRESENCE_TO_PRESENCE);
    m_manager->UpdateStat(1, 3.5);
    m_manager->NotifyModeChange(PRESENCE_TO_SEGMENT);
    // Segment data, but no segment period ends before the app changes.
    m_manager->UpdateStat(Result({{1, 1.5, 0}}));
    m_clock.AdvanceSeconds(3);
    testing::internal::CaptureStderr();
    ChangeApp("org.tizen.tv-viewer:HDMI1", "org.tizen.netflix-app");
    std::string log = testing::internal::GetCapturedStderr();
    EXPECT_EQ(Count(log, "App Changed Before Entering Segment Mode."), 2);

    std::vector<std::string> reports = Reports();
    ASSERT_EQ(reports.size(), 1u);
    EXPECT_EQ(Field(reports[0], "presence"), "[0,0,26,33,0,0,0]");
    EXPECT_EQ(Field(reports[0], "segment"),
              KPIManager::ToString1D(std::vector<int>(42).data(), 42));
    EXPECT_EQ(Field(reports[0], "object_cnt"), "[0,0,0,0,0,0]");

    // Two periods, 80 % and 0 %, give 40 % when reported at a time-up.
    for (int i = 0; i < 5; ++i) {
        m_manager->UpdateStat(i < 4 ? 1 : 0, 2.5);
    }
    m_manager->NotifyModeChange(PRESENCE_TO_PRESENCE);
    m_clock.AdvanceSeconds(600);
    m_manager->NotifyModeChange(PRESENCE_TO_PRESENCE);
    ASSERT_EQ(Reports().size(), 2u);
    EXPECT_EQ(Field(Reports()[1], "presence"), "[0,0,40,0,0,0,0]");

    m_clock.AdvanceSeconds(2);
    ChangeApp("org.tizen.netflix-app", "org.tizen.kiv-app");
    ASSERT_EQ(Reports().size(), 3u);
    EXPECT_EQ(Field(Reports()[2], "presence"), "[0,0,0,0,0,0,0]");
}

TEST_F(KPIManagerTest, AManagerGivenUpSendsNothingAndLeavesTheCollectorAtOnce) {
    ChangeApp("", "org.tizen.tv-viewer:HDMI1");
    m_manager->UpdateStat(1, 2.5);
    m_clock.AdvanceSeconds(600);
    // Given up from another thread, as the mode thread does after failed
    // presence reads; deleted only later, on the main thread.
    std::thread([this] { m_manager->Detach(); }).join();
    m_manager->NotifyModeChange(PRESENCE_TO_PRESENCE);
    ChangeApp("org.tizen.tv-viewer:HDMI1", "org.tizen.netflix-app");
    // An application change through the collector reaches it no more.
    StartCollector();
    Feed("P/App/Change", "{\"EventType\":\"Launch\",\"AppId\":\"org.tizen.netflix-app\"}");
    EXPECT_TRUE(Reports().empty());
}

TEST_F(KPIManagerTest, ReportingPeriodEndsAtTheFirstModeEndAfterSixHundredSeconds) {
    ChangeApp("", "org.tizen.tv-viewer:HDMI1");
    m_clock.AdvanceSeconds(599);
    m_manager->NotifyModeChange(SEGMENT_TO_SEGMENT);
    EXPECT_TRUE(Reports().empty());
    m_clock.AdvanceSeconds(1);
    m_manager->NotifyModeChange(SEGMENT_TO_SEGMENT);
    EXPECT_EQ(Reports().size(), 1u);
    // The check itself began the next period.
    m_clock.AdvanceSeconds(599);
    m_manager->NotifyModeChange(PRESENCE_TO_PRESENCE);
    EXPECT_EQ(Reports().size(), 1u);
    m_clock.AdvanceSeconds(1);
    m_manager->NotifyModeChange(PRESENCE_TO_PRESENCE);
    EXPECT_EQ(Reports().size(), 2u);
}

TEST_F(KPIManagerTest, ReportsOfOneSessionShareItsStartAndEscapeTheName) {
    StartCollector();
    Feed("P/App/Change", R"({"EventType":"Launch","AppId":"org.example.tom&jerry%20"})");
    m_clock.AdvanceSeconds(600);
    m_manager->NotifyModeChange(PRESENCE_TO_PRESENCE);
    m_clock.AdvanceSeconds(5);
    Feed("P/App/Change", R"({"EventType":"Launch","AppId":"org.tizen.netflix-app"})");

    std::vector<std::string> reports = Reports();
    ASSERT_EQ(reports.size(), 2u);
    for (const std::string& report : reports) {
        EXPECT_EQ(Field(report, "appsrc_name"), "org.example.tom%26jerry%20");
        EXPECT_EQ(Field(report, "dev_name"), "");
        EXPECT_EQ(Field(report, "session_st"), "2024-03-05T21:14:07+0900");
        EXPECT_EQ(Field(report, "sid"), "482913557");
    }
    EXPECT_EQ(Field(reports[0], "send_time"), "2024-03-05T21:24:07+0900");
    EXPECT_EQ(Field(reports[1], "send_time"), "2024-03-05T21:24:12+0900");
}

TEST_F(KPIManagerTest, FailedSendIsLoggedAndTheStatisticsStillCleared) {
    ChangeApp("", "a");
    // A file where the KPI log's folder belongs.
    ASSERT_EQ(system(("touch '" + m_dir + "/kpi'").c_str()), 0);
    m_manager->UpdateStat(1, 1.0);
    testing::internal::CaptureStderr();
    ChangeApp("a", "b");
    std::string log = testing::internal::GetCapturedStderr();
    EXPECT_NE(log.find("AddEventLogSync Fails : -20"), std::string::npos) << log;
    EXPECT_EQ(m_manager->GetStats().tempYCnt + m_manager->GetStats().finalYCnt, 0);
}

TEST_F(KPIManagerTest, FormatHelpersHandleEmptyInput) {
    std::vector<std::pair<std::string, std::string>> list;
    EXPECT_EQ(KPIManager::MakeKPIFormat(list), "}");
    KPIManager::InsertToVector(list, "a", "1");
    KPIManager::InsertToVector(list, "b", "");
    EXPECT_EQ(KPIManager::MakeKPIFormat(list), "{a=1;b=}");
    int values[] = {-1, 100};
    EXPECT_EQ(KPIManager::ToString1D(values, 0), "[]");
    EXPECT_EQ(KPIManager::ToString1D(values, 2), "[-1,100]");
    // A start of 0 s is printed as now.
    EXPECT_EQ(KPIManager::GetTimeString(timespec{0, 0}), "2024-03-05T21:14:07+0900");
}

TEST_F(KPIManagerTest, EntriesFromSeveralThreadsAreSerialised) {
    ChangeApp("", "a");
    std::thread presence([this] {
        for (int i = 0; i < 500; ++i) {
            m_manager->UpdateStat(1, 1.5);
        }
    });
    std::thread segment([this] {
        for (int i = 0; i < 500; ++i) {
            m_manager->UpdateStat(Result({{1, 1.5, 0}}));
        }
    });
    for (int i = 0; i < 20; ++i) {
        m_manager->GetStats();
    }
    presence.join();
    segment.join();
    KPIManager::Stats stats = m_manager->GetStats();
    EXPECT_EQ(stats.tempYCnt, 500);
    EXPECT_EQ(stats.tempYMap[1], 500);
    EXPECT_EQ(stats.tempXYMap[6 + 3], 500);
    EXPECT_EQ(stats.validTrackCnt, 500);
}
