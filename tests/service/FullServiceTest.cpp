// The full service on the default TV (a Tavlo TV with a good radar module,
// people walking in front of it) on a private system bus, with the monotonic
// clock a hundred times as fast: the 300 s boot period takes 3 s, a presence
// period 1.2 s and a segment period 0.6 s, while the radar still delivers ten
// frames a second. The TV is changed from outside with tessivo-platform, as
// the TV's own programs would change it.
#include <signal.h>
#include <sys/wait.h>

#include <functional>
#include <memory>

#include "KaeBusClient.h"
#include "ServiceTest.h"

namespace {

const char kTrackSegment[] = "KAE/SUBSCRIBE/TRACK_SEGMENT/";
const char kToSegment[] = "Mode Changed! Presence->Segment";
const char kToPresence[] = "Mode Changed! Segment->Presence";
const char kSensorStarted[] = "sensor started!!";
const char kSensorStopped[] = "sensor stopped!!";
const char kSensorKey[] = "memory/motion-sensor-service/motion_sensor_state";

class FullServiceTest : public ServiceTest {
protected:
    void SetUp() override {
        ServiceTest::SetUp();
        m_env["TESSIVO_TIME_SCALE"] = "100";
    }

    Subprocess& StartFullService() {
        Subprocess& service = StartService();
        EXPECT_TRUE(WaitUntilServing(service)) << service.Stderr();
        return service;
    }
    // A client holding the track-segment subscription on its own connection.
    std::unique_ptr<KaeBusClient> Subscribe() {
        std::unique_ptr<KaeBusClient> client(new KaeBusClient(m_bus.Address()));
        EXPECT_TRUE(client->Ok()) << client->Error();
        EXPECT_EQ(client->RequestSync(3, kTrackSegment).first, 0);
        return client;
    }
    bool WaitForCount(Subprocess& service, const std::string& text, int count) {
        return service.WaitForStderrCount("> " + text, count, kWaitMs);
    }
    int Count(Subprocess& service, const std::string& text) {
        return CountOccurrences(service.Stderr(), "> " + text);
    }
    // Holds for holdMs unless text shows up again.
    bool StaysAt(Subprocess& service, const std::string& text, int holdMs) {
        return !service.WaitForStderrCount("> " + text, Count(service, text) + 1, holdMs);
    }
    static std::string AppEvent(const std::string& appId, const char* type = "Launch") {
        return std::string("{\"EventType\":\"") + type + "\",\"AppId\":\"" + appId + "\"}";
    }
};

}  // namespace

TEST_F(FullServiceTest, TheBootPeriodHoldsPresenceModeThenASubscriptionStartsTheRadar) {
    Subprocess& service = StartFullService();
    std::unique_ptr<KaeBusClient> viewer = Subscribe();

    // Presence mode answers at once: two people walk within reach.
    EXPECT_TRUE(PollUntil(kWaitMs, [&] {
        return viewer->RequestSync(1, "KAE/GET/PRESENCE/") == std::make_pair(0, std::string("1"));
    }));
    ASSERT_TRUE(WaitForCount(service, kToSegment, 1)) << service.Stderr();
    ASSERT_TRUE(viewer->WaitForResults(10, kWaitMs));
    // Segment mode counts the tracks: the two people, where presence mode
    // only said that somebody is there.
    EXPECT_TRUE(PollUntil(kWaitMs, [&] {
        return viewer->RequestSync(1, "KAE/GET/PRESENCE/") == std::make_pair(0, std::string("2"));
    }));

    std::string log = service.Stderr();
    EXPECT_TRUE(LogInOrder(
        log, {"Tavlo TV!!", "22Y MODULE", "Initialize", "DBusServer Init",
              "vconf_get_int(VCONF_KEY_ROTATION_STATE) succeeded : 1",
              "vconf_get_str(VCONF_KEY_COUNTRY) succeeded : US",
              "vconf_get_str(VCONF_KEY_DISCLAIM_AGREES) succeeded : {\"presence\":\"true\"}",
              "DLF Service is ready .. Start DLFDataCollector ",
              "vconf_get_int(VCONF_KEY_MOTION_SENSOR_ACCESSIBLE) succeeded : 0", "OnNameAcquired",
              "boot period over", kToSegment, kSensorStarted}))
        << log;
    // Subscribed from the start, yet the radar waited for the boot period.
    EXPECT_LT(log.find("> boot period over"), log.find(std::string("> ") + kSensorStarted));
    EXPECT_EQ(log.find("OnlyDbusCreate"), std::string::npos);
}

TEST_F(FullServiceTest, WithoutSubscriptionTheModesAlternateByTheirTimers) {
    Subprocess& service = StartFullService();
    ASSERT_TRUE(WaitForCount(service, kToPresence, 1)) << service.Stderr();
    ASSERT_TRUE(WaitForCount(service, kToSegment, 2)) << service.Stderr();
    EXPECT_TRUE(LogInOrder(service.Stderr(), {"boot period over", kToSegment, kSensorStarted,
                                              kToPresence, kSensorStopped, kToSegment}));
}

TEST_F(FullServiceTest, EachConditionOfTheTvCallsSegmentModeBackAndStopsTheRadar) {
    Subprocess& service = StartFullService();
    std::unique_ptr<KaeBusClient> viewer = Subscribe();
    ASSERT_TRUE(WaitForCount(service, kToSegment, 1)) << service.Stderr();

    struct Condition {
        const char* what;
        std::function<void()> apply;
        std::function<void()> restore;
    };
    const std::string viewerApp = AppEvent("org.tizen.tv-viewer");
    const std::vector<Condition> conditions = {
        {"Netflix in front", [&] { Publish("P/App/Change", AppEvent("org.tizen.netflix-app")); },
         [&] { Publish("P/App/Change", viewerApp); }},
        {"the KIV app in front", [&] { Publish("P/App/Change", AppEvent("org.tizen.kiv-app")); },
         [&] { Publish("P/App/Change", viewerApp); }},
        {"portrait", [&] { SetVconf("db/sysman/rotation_state", "int", "0"); },
         [&] { SetVconf("db/sysman/rotation_state", "int", "1"); }},
        {"a country outside the list", [&] { SetVconf("db/comss/countrycode", "string", "JP"); },
         [&] { SetVconf("db/comss/countrycode", "string", "DE"); }},
        {"a withdrawn agreement",
         [&] {
             SetVconf("db/homedatacontrol/disclaimeragrees", "string", "{\"presence\":\"false\"}");
         },
         [&] {
             SetVconf("db/homedatacontrol/disclaimeragrees", "string", "{\"presence\":\"true\"}");
         }},
    };
    int round = 1;
    for (const Condition& condition : conditions) {
        SCOPED_TRACE(condition.what);
        const int stopped = Count(service, kSensorStopped);
        condition.apply();
        ASSERT_TRUE(WaitForCount(service, kToPresence, round)) << service.Stderr();
        EXPECT_TRUE(WaitForCount(service, kSensorStopped, stopped + 1));
        // The subscription cannot pull the service back while it holds.
        EXPECT_TRUE(StaysAt(service, kToSegment, 500));
        condition.restore();
        ASSERT_TRUE(WaitForCount(service, kToSegment, round + 1)) << service.Stderr();
        ++round;
    }
    EXPECT_TRUE(LogInOrder(
        service.Stderr(),
        {"StateManagerAppSessionChangeCB(Netlfix) : 1",
         "StateManagerAppSessionChangeCB(Kivapp) : 1", "VCONF_KEY_ROTATION_STATE changed : 1 -> 0",
         "VCONF_KEY_COUNTRY changed: JP", "VCONF_KEY_DISCLAIM_AGREES changed: "}));
}

TEST_F(FullServiceTest, ClaimingTheSensorPausesSegmentModeUntilItIsReleased) {
    Subprocess& service = StartFullService();
    std::unique_ptr<KaeBusClient> viewer = Subscribe();
    ASSERT_TRUE(WaitForCount(service, kToSegment, 1)) << service.Stderr();
    const int stopped = Count(service, kSensorStopped);

    SetVconf(kSensorKey, "int", "2");
    ASSERT_TRUE(WaitForCount(service, "vconf changed : 2, current state : 0", 1));
    // The service answers 1; its own answer leaves the claim stored.
    EXPECT_TRUE(PollUntil(kWaitMs, [&] {
        return Platform({"vconf", "get", kSensorKey}).out == "1\n";
    }));
    ASSERT_TRUE(WaitForCount(service, "vconf changed : 1, current state : 2", 1));
    EXPECT_TRUE(WaitForCount(service, kSensorStopped, stopped + 1));
    // Claimed, the subscription does not take the service back to segment
    // mode, not even after a presence period's time-up (1.2 s).
    EXPECT_TRUE(StaysAt(service, kToSegment, 1600));
    EXPECT_EQ(Count(service, kToPresence), 0) << "a claim is no mode change";

    SetVconf(kSensorKey, "int", "5");
    ASSERT_TRUE(WaitForCount(service, "vconf changed : 5, current state : 2", 1));
    EXPECT_TRUE(WaitForCount(service, "invalid vconf value", 1));

    SetVconf(kSensorKey, "int", "0");
    ASSERT_TRUE(WaitForCount(service, "vconf changed : 0, current state : 2", 1));
    ASSERT_TRUE(WaitForCount(service, kToSegment, 2)) << service.Stderr();
    EXPECT_TRUE(viewer->WaitForResults(viewer->Results() + 5, kWaitMs));
    EXPECT_EQ(Platform({"vconf", "get", kSensorKey}).out, "0\n") << "a release is not answered";
}

TEST_F(FullServiceTest, PresenceReadsFailingForFourMinutesStopPresenceReading) {
    ASSERT_EQ(Platform({"radar", "fault", "presence", "on"}).exitCode, 0);
    Subprocess& service = StartFullService();
    std::unique_ptr<KaeBusClient> viewer = Subscribe();
    ASSERT_TRUE(WaitForCount(service, "ReadPresence failed", 1));
    EXPECT_TRUE(PollUntil(kWaitMs, [&] {
        return viewer->RequestSync(1, "KAE/GET/PRESENCE/") == std::make_pair(-4, std::string("{}"));
    }));
    ASSERT_TRUE(WaitForCount(service, "presence reading given up", 1)) << service.Stderr();
    ASSERT_TRUE(WaitForCount(service, "boot period over", 1));
    // No more reads, and the failure holds presence mode despite the
    // subscription.
    EXPECT_TRUE(StaysAt(service, "ReadPresence failed", 1500));
    EXPECT_EQ(Count(service, kToSegment), 0);
    // Four minutes are 2.4 s here: at four reads a second, about ten reads.
    EXPECT_GE(Count(service, "ReadPresence failed"), 8);
}

TEST_F(FullServiceTest, StopSignalsStopTheRadarBeforeTheBusAndExitCleanly) {
    // SIGTERM; and a fault signal sent from outside, sent again while the
    // service stops (a second request, not a fault: it must not kill it).
    const struct {
        int signum;
        bool again;
    } kCases[] = {{SIGTERM, false}, {SIGSEGV, true}};
    for (const auto& c : kCases) {
        SCOPED_TRACE(c.signum);
        Subprocess& service = StartFullService();
        std::unique_ptr<KaeBusClient> viewer = Subscribe();
        ASSERT_TRUE(WaitForCount(service, kToSegment, 1)) << service.Stderr();
        ASSERT_TRUE(viewer->WaitForResults(5, kWaitMs));

        const std::string handled = "signum : " + std::to_string(c.signum);
        ASSERT_TRUE(service.Signal(c.signum));
        if (c.again) {
            // Segment mode's stop takes the mode thread's last wait (about
            // a second): the second one arrives while it runs.
            ASSERT_TRUE(service.WaitForStderr(handled, kWaitMs));
            ASSERT_TRUE(service.Signal(c.signum));
        }
        int status = -1;
        ASSERT_TRUE(service.WaitExit(kWaitMs, &status));
        ASSERT_TRUE(WIFEXITED(status)) << "status " << status;
        EXPECT_EQ(WEXITSTATUS(status), 0);
        std::string log = service.Stderr();
        EXPECT_TRUE(LogInOrder(log, {handled, "Finalize", "ActivitySegment Stop...", kSensorStopped,
                                     "DBus Stop...", "SendStopSignalToClient", "Dispatcher Stop...",
                                     "StateManager Stop...", "Finalize", "Stop..."}))
            << log;
        EXPECT_GE(CountOccurrences(log, "> Finalize"), 2);
        EXPECT_EQ(CountOccurrences(log, "> DBus Stop..."), 1);
        EXPECT_TRUE(NameOwner().empty());
    }
}

TEST_F(FullServiceTest, TheForegroundApplicationReachesTheCollectorOnce) {
    Subprocess& service = StartFullService();
    // The initial read: the TV viewer on HDMI1 replaces the empty session.
    ASSERT_TRUE(WaitForCount(service, "NotifyAppSessionInfo", 1)) << service.Stderr();

    // A partial event is not a change: the launch that follows is one.
    Publish("P/App/Change", AppEvent("org.tizen.netflix-app", "Partial"));
    Publish("P/App/Change", AppEvent("org.tizen.netflix-app"));
    ASSERT_TRUE(WaitForCount(service, "NotifyAppSessionInfo", 2)) << service.Stderr();
    ASSERT_TRUE(WaitForCount(service, "StateManagerAppSessionChangeCB(Netlfix) : 1", 1));

    Publish("P/App/Change", AppEvent("org.tizen.netflix-app"));
    ASSERT_TRUE(WaitForCount(service, "equal", 1)) << service.Stderr();

    Publish("P/App/Change", AppEvent("org.tizen.tv-viewer"));
    ASSERT_TRUE(WaitForCount(service, "NotifyAppSessionInfo", 3));
    ASSERT_EQ(Platform({"setting", "set", "10136", "SOURCE_TYPE_HDMI2"}).exitCode, 0);
    Publish("P/Broadcast/Source/Changed", "{\"TVSStatus\":\"Activate\"}");
    ASSERT_TRUE(WaitForCount(service, "NotifyAppSessionInfo", 4)) << service.Stderr();
    EXPECT_EQ(Count(service, "NotifyAppSessionInfo"), 4);
    EXPECT_EQ(Count(service, "equal"), 1);
}
