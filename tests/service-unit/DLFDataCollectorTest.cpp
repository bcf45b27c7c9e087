// The TV context collector against the simulated TV: session rules on crafted
// data-service events, the source fallbacks, readiness, and one run through
// the real data service.
#include <gtest/gtest.h>

#include <DSF.h>
#include <stdlib.h>
#include <vconf.h>

#include <atomic>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "DLFDataCollector.h"
#include "DsfStore.h"
#include "MainContextWait.h"
#include "PlatformStore.h"
#include "SettingsStore.h"

namespace {

const char kReady[] = "memory/data-service/ready";
const char kViewer[] = "org.tizen.tv-viewer";

struct Call {
    AppSessionInfo current;
    AppSessionInfo previous;
};

void Record(AppSessionInfo* current, AppSessionInfo* previous, void* user) {
    static_cast<std::vector<Call>*>(user)->push_back({*current, *previous});
}

void CountKey(keynode_t*, void* user) {
    ++*static_cast<int*>(user);
}

std::string AppEvent(const std::string& appId, const char* type = "Launch") {
    return std::string("{\"EventType\":\"") + type + "\",\"AppId\":\"" + appId + "\"}";
}

class DLFDataCollectorTest : public ::testing::Test {
protected:
    void SetUp() override {
        char templ[] = "/tmp/tessivo-collector-XXXXXX";
        ASSERT_NE(mkdtemp(templ), nullptr);
        m_dir = templ;
        setenv("TESSIVO_PLATFORM_DIR", m_dir.c_str(), 1);
        SetSourceType("SOURCE_TYPE_HDMI1");
        SetAnswer("R/Source/Status",
                  R"({"HDMI1":[{"DeviceName":"Console"}],"HDMI2":[{"DeviceName":"Player"}]})");
        m_collector.reset(new DLFDataCollector());
        m_collector->RegisterAppSessionCB(Record, &m_calls);
    }
    void TearDown() override {
        m_collector->Stop();
        // Answers still queued must not reach a deleted collector.
        EXPECT_TRUE(maincontext::DrainDataService());
        m_collector.reset();
        unsetenv("TESSIVO_PLATFORM_DIR");
        ASSERT_EQ(system(("rm -rf '" + m_dir + "'").c_str()), 0);
    }
    void SetSourceType(const char* type) {
        ASSERT_EQ(SettingsStore::Write(SettingsStore::kSourceType, type), 0);
    }
    void SetAnswer(const std::string& subject, const std::string& json) {
        ASSERT_EQ(DsfStore::SetAnswer(subject, nullptr, json), 0);
    }
    void StartReady() {
        ASSERT_EQ(vconf_set_int(kReady, 1), VCONF_OK);
        ASSERT_EQ(m_collector->Start(), 0);
        ASSERT_TRUE(maincontext::DrainDataService());
    }
    void Feed(const char* subject, std::string json, int result = 0) {
        m_collector->SubscribeCb(result, subject, &json[0], nullptr);
    }
    std::string m_dir;
    std::unique_ptr<DLFDataCollector> m_collector;
    std::vector<Call> m_calls;
};

TEST_F(DLFDataCollectorTest, ApplicationChangesNotifyWithTheNewAndTheOldSession) {
    StartReady();
    Feed("P/App/Change", AppEvent(kViewer));
    ASSERT_EQ(m_calls.size(), 1u);
    EXPECT_EQ(m_calls[0].current.sessionName, "org.tizen.tv-viewer:HDMI1");
    EXPECT_EQ(m_calls[0].current.sessionDevice, "Console");
    EXPECT_EQ(m_calls[0].previous.sessionName, "");

    Feed("P/App/Change", AppEvent("org.tizen.netflix-app", "Partial"));
    EXPECT_EQ(m_calls.size(), 1u);

    SetSourceType("SOURCE_TYPE_HDMI2");
    Feed("R/App/Current", AppEvent(kViewer));
    ASSERT_EQ(m_calls.size(), 2u);
    EXPECT_EQ(m_calls[1].current.sessionName, "org.tizen.tv-viewer:HDMI2");
    EXPECT_EQ(m_calls[1].current.sessionDevice, "Player");
    EXPECT_EQ(m_calls[1].previous.sessionName, "org.tizen.tv-viewer:HDMI1");
    EXPECT_EQ(m_calls[1].previous.sessionDevice, "Console");

    Feed("P/App/Change", AppEvent("org.tizen.netflix-app"));
    Feed("P/App/Change", AppEvent("org.tizen.kiv-app"));
    testing::internal::CaptureStderr();
    Feed("P/App/Change", AppEvent("org.tizen.kiv-app"));
    EXPECT_NE(testing::internal::GetCapturedStderr().find("> equal"), std::string::npos);
    ASSERT_EQ(m_calls.size(), 4u);
    EXPECT_EQ(m_calls[2].current.sessionName, "org.tizen.netflix-app");
    EXPECT_EQ(m_calls[2].current.sessionDevice, "");  // not the TV viewer: no device
    EXPECT_EQ(m_calls[3].previous.sessionName, "org.tizen.netflix-app");
    EXPECT_EQ(m_collector->GetAppSessionInfo().sessionName, "org.tizen.kiv-app");
}

TEST_F(DLFDataCollectorTest, SourceChangesCountOnlyWhileTheTvViewerIsInFront) {
    StartReady();
    Feed("P/App/Change", AppEvent(kViewer));
    testing::internal::CaptureStderr();
    Feed("P/Broadcast/Source/Changed", R"({"TVSStatus":"Activate"})");  // still HDMI1
    // Dropped before any comparison of sessions.
    EXPECT_EQ(testing::internal::GetCapturedStderr().find("> equal"), std::string::npos);
    SetSourceType("SOURCE_TYPE_HDMI2");
    Feed("P/Broadcast/Status/Changed", R"({"TVSStatus":"Deactivate"})");
    ASSERT_EQ(m_calls.size(), 1u);
    Feed("P/Broadcast/Program/Change", R"({"TVSStatus":"Activate"})");
    ASSERT_EQ(m_calls.size(), 2u);
    EXPECT_EQ(m_calls[1].current.sessionName, "org.tizen.tv-viewer:HDMI2");
    EXPECT_EQ(m_calls[1].previous.sessionName, "org.tizen.tv-viewer:HDMI1");

    Feed("P/App/Change", AppEvent("org.tizen.netflix-app"));
    SetSourceType("SOURCE_TYPE_HDMI1");
    Feed("P/Broadcast/Source/Changed", R"({"TVSStatus":"Activate"})");
    EXPECT_EQ(m_calls.size(), 3u);
}

TEST_F(DLFDataCollectorTest, SourceFallsBackWhenTheSettingSaysLittle) {
    ASSERT_EQ(PlatformStore::Remove(SettingsStore::kArea,
                                    SettingsStore::KeyOf(SettingsStore::kSourceType)),
              0);
    StartReady();
    Feed("P/App/Change", AppEvent(kViewer));
    ASSERT_EQ(m_calls.size(), 1u);
    EXPECT_EQ(m_calls[0].current.source, "Unknownsystem_settings sourcetype is invalid");

    struct {
        const char* type;
        const char* lastService;  // null: key absent
        const char* source;
    } cases[] = {{"SOURCE_TYPE_TV", nullptr, "TV"},
                 {"SOURCE_TYPE_TV", "vc-service", "TV+"},
                 {"SHORT", "vc-service", "Unknown"},
                 {"SOURCE_TYPE_TV", "tv-service", "LiveTV"}};
    for (const auto& c : cases) {
        SetSourceType(c.type);
        if (c.lastService != nullptr) {
            ASSERT_EQ(vconf_set_str("memory/brix/last_service", c.lastService), VCONF_OK);
        }
        Feed("P/Broadcast/Source/Changed", "{}");
        EXPECT_EQ(m_collector->GetAppSessionInfo().source, c.source) << c.type;
        EXPECT_EQ(m_collector->GetAppSessionInfo().deviceName, "");  // no such source
    }
    EXPECT_EQ(m_calls.size(), 5u);
}

TEST_F(DLFDataCollectorTest, CallbacksAreKeptOnceAndSeeTheOldSessionAsCurrent) {
    struct Peek {
        DLFDataCollector* collector;
        std::vector<std::string> seen;
    } peek{m_collector.get(), {}};
    AppSessionCB peekSession = [](AppSessionInfo*, AppSessionInfo*, void* user) {
        auto* p = static_cast<Peek*>(user);
        p->seen.push_back(p->collector->GetAppSessionInfo().appId);  // takes the lock
    };
    m_collector->RegisterAppSessionCB(Record, &m_calls);
    m_collector->RegisterAppSessionCB(peekSession, &peek);
    StartReady();
    Feed("P/App/Change", AppEvent("org.tizen.netflix-app"));
    m_collector->UnregisterAppSessionCB(Record, &m_calls);
    Feed("P/App/Change", AppEvent("org.tizen.kiv-app"));
    EXPECT_EQ(m_calls.size(), 1u);
    EXPECT_EQ(peek.seen, (std::vector<std::string>{"", "org.tizen.netflix-app"}));
}

TEST_F(DLFDataCollectorTest, ReadersOnOtherThreadsSeeWholeSessions) {
    StartReady();
    std::atomic<bool> done(false);
    int torn = 0;
    std::thread reader([&] {
        while (!done) {
            AppSessionInfo session = m_collector->GetAppSessionInfo();
            torn += session.sessionName != session.appId ? 1 : 0;
        }
    });
    for (int i = 0; i < 100; ++i) {
        Feed("P/App/Change", AppEvent(i % 2 == 0 ? "org.tizen.netflix-app" : "org.tizen.kiv-app"));
    }
    done = true;
    reader.join();
    EXPECT_EQ(torn, 0);
    EXPECT_EQ(m_calls.size(), 100u);
}

TEST_F(DLFDataCollectorTest, BadAnswersAndAStoppedCollectorChangeNothing) {
    EXPECT_EQ(m_collector->Start(), -5);  // no readiness key
    Feed("P/App/Change", AppEvent("org.tizen.netflix-app"));
    StartReady();
    testing::internal::CaptureStderr();
    Feed("P/App/Change", "{\"AppId\":");
    EXPECT_NE(testing::internal::GetCapturedStderr().find("Json Parsing Failed"),
              std::string::npos);
    Feed("P/App/Change", AppEvent("org.tizen.netflix-app"), DSF_ERROR_IO);
    m_collector->SubscribeCb(0, "P/App/Change", nullptr, nullptr);
    m_collector->SubscribeCb(0, nullptr, nullptr, nullptr);
    m_collector->Stop();
    Feed("P/App/Change", AppEvent("org.tizen.netflix-app"));
    EXPECT_TRUE(m_calls.empty());
}

TEST_F(DLFDataCollectorTest, LateReadinessStartsOnceAndStopCancelsTheWait) {
    int readyChanges = 0;
    ASSERT_EQ(vconf_notify_key_changed(kReady, CountKey, &readyChanges), VCONF_OK);
    SetAnswer("R/App/Current", AppEvent("org.tizen.netflix-app"));
    ASSERT_EQ(vconf_set_int(kReady, 0), VCONF_OK);
    ASSERT_EQ(m_collector->Start(), 0);
    ASSERT_TRUE(maincontext::DrainDataService());
    EXPECT_TRUE(m_calls.empty());  // nothing read yet

    ASSERT_EQ(vconf_set_int(kReady, 1), VCONF_OK);
    ASSERT_TRUE(maincontext::RunUntil([&] { return !m_calls.empty(); }));
    // A restart would read the application again and find this one.
    SetAnswer("R/App/Current", AppEvent("org.tizen.kiv-app"));
    ASSERT_EQ(vconf_set_int(kReady, 0), VCONF_OK);
    ASSERT_EQ(vconf_set_int(kReady, 1), VCONF_OK);
    ASSERT_TRUE(maincontext::RunUntil([&] { return readyChanges == 4; }));
    ASSERT_TRUE(maincontext::DrainDataService());
    ASSERT_EQ(m_calls.size(), 1u);
    EXPECT_EQ(m_calls[0].current.appId, "org.tizen.netflix-app");

    DLFDataCollector waiting;
    ASSERT_EQ(vconf_set_int(kReady, 0), VCONF_OK);
    ASSERT_EQ(waiting.Start(), 0);
    waiting.Stop();
    waiting.RegisterAppSessionCB(Record, &m_calls);
    ASSERT_EQ(vconf_set_int(kReady, 1), VCONF_OK);
    ASSERT_TRUE(maincontext::RunUntil([&] { return readyChanges == 6; }));
    ASSERT_TRUE(maincontext::DrainDataService());
    EXPECT_EQ(m_calls.size(), 1u);
    vconf_ignore_key_changed(kReady, CountKey);
}

TEST_F(DLFDataCollectorTest, FollowsTheDataServiceEndToEnd) {
    SetAnswer("R/App/Current", AppEvent(kViewer));
    ASSERT_EQ(vconf_set_int(kReady, 1), VCONF_OK);
    ASSERT_EQ(m_collector->Start(), 0);
    ASSERT_TRUE(maincontext::RunUntil([&] { return m_calls.size() == 1; }));
    EXPECT_EQ(m_calls[0].current.sessionName, "org.tizen.tv-viewer:HDMI1");
    EXPECT_EQ(m_calls[0].current.sessionDevice, "Console");

    ASSERT_EQ(DsfStore::Publish("P/App/Change", AppEvent("org.tizen.netflix-app")), 0);
    ASSERT_TRUE(maincontext::RunUntil([&] { return m_calls.size() == 2; }));
    EXPECT_EQ(m_calls[1].current.sessionName, "org.tizen.netflix-app");
    EXPECT_EQ(m_calls[1].previous.sessionName, "org.tizen.tv-viewer:HDMI1");
}

}  // namespace
