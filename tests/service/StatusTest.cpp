// The status object of kae-service on a private system bus: the simulated TV
// is driven through every reason the service gives for its mode, and the
// status is read with clients that are not ours (busctl, gdbus monitor and
// gdbus call) and with kae-test-console. The monotonic clock runs fifty
// times as fast: the boot period takes 6 s, a presence period 2.4 s and a
// segment period 1.2 s.
#include <json/json.h>
#include <signal.h>

#include <functional>
#include <map>
#include <memory>

#include "KaeBusClient.h"
#include "KaeInterface.h"
#include "ServiceTest.h"

namespace {

const char kTrackSegment[] = "KAE/SUBSCRIBE/TRACK_SEGMENT/";
const char kSensorKey[] = "memory/motion-sensor-service/motion_sensor_state";

class StatusTest : public ServiceTest {
protected:
    void SetUp() override {
        ServiceTest::SetUp();
        m_env["TESSIVO_TIME_SCALE"] = "50";
    }
    // Waits until the status shows this mode for this reason.
    ::testing::AssertionResult WaitForMode(const std::string& mode, const std::string& reason) {
        Json::Value status;
        if (PollUntil(kWaitMs, [&] {
                status = StatusProperties();
                return status["Mode"] == mode && status["Reason"] == reason;
            })) {
            return ::testing::AssertionSuccess();
        }
        return ::testing::AssertionFailure() << "waiting for " << mode << " (" << reason
                                             << "), the status stayed " << status.toStyledString();
    }
    void LaunchApp(const std::string& appId) {
        Publish("P/App/Change", "{\"EventType\":\"Launch\",\"AppId\":\"" + appId + "\"}");
    }
    // gdbus monitor's line of a signalled value: 'Reason': <'app'>.
    static std::string Signalled(const std::string& name, const std::string& gvariant) {
        return "'" + name + "': <" + gvariant + ">";
    }
};

}  // namespace

TEST_F(StatusTest, TheStatusFollowsTheTvThroughEveryReasonForTheMode) {
    Subprocess& service = StartService();
    ASSERT_TRUE(WaitUntilServing(service)) << service.Stderr();
    Subprocess& monitor = StartClient({"gdbus", "monitor", "--system", "--dest", KAE_DBUS_NAME,
                                       "--object-path", KAE_DBUS_STATUS_PATH});
    ASSERT_TRUE(monitor.WaitForStdout("is owned by", kWaitMs)) << monitor.Stderr();
    Subprocess& follow = StartClient({Bin("kae-test-console"), "status", "--follow", "--json"});
    ASSERT_TRUE(follow.WaitForStdout("\n", kWaitMs)) << follow.Stderr();

    // The boot period holds presence mode; read at once, it has 6 s to run.
    const Json::Value boot = StatusProperties();
    EXPECT_EQ(boot["Shape"], "full");
    EXPECT_EQ(boot["Mode"], "presence");
    EXPECT_EQ(boot["Reason"], "boot") << boot.toStyledString();
    EXPECT_EQ(boot["Streaming"], false);
    EXPECT_EQ(boot["SensorClaimed"], false);
    EXPECT_EQ(boot["Subscribers"], 0);
    EXPECT_EQ(boot["UsageStatistics"], true);
    EXPECT_EQ(boot["Country"], "US");
    EXPECT_EQ(boot["CountryListed"], true);
    EXPECT_EQ(boot["StatisticsAgreed"], true);
    EXPECT_EQ(boot["LastResultTimestamp"], 0) << "no result before segment mode";
    EXPECT_EQ(GdbusStatusProperty("Shape"), "(<'full'>,)\n");

    // A subscription is counted at once and holds segment mode once the boot
    // period is over.
    KaeBusClient viewer(m_bus.Address());
    ASSERT_TRUE(viewer.Ok()) << viewer.Error();
    ASSERT_EQ(viewer.RequestSync(3, kTrackSegment).first, 0);
    EXPECT_TRUE(monitor.WaitForStdout(Signalled("Subscribers", "uint32 1"), kWaitMs));
    ASSERT_TRUE(WaitForMode("segment", "subscription"));
    ASSERT_TRUE(viewer.WaitForResults(3, kWaitMs));
    const Json::Value held = StatusProperties();
    EXPECT_EQ(held["Streaming"], true);
    EXPECT_EQ(held["Subscribers"], 1);
    EXPECT_GT(held["LastResultTimestamp"].asUInt64(), 0u);
    EXPECT_GT(held["LastPresenceTimestamp"].asUInt64(), 0u);
    CommandResult human = Run({Bin("kae-test-console"), "status"});
    ASSERT_EQ(human.exitCode, 0) << human.err;
    EXPECT_TRUE(InOrder(human.out, {"Shape: full", "Mode: segment (subscription)",
                                    "holds segment mode", "Radar: streaming", "Subscribers: 1",
                                    "Statistics: collected (country US, listed; agreed)"}))
        << human.out;

    // Each condition of the TV takes segment mode back to presence mode, says
    // so once, and lets go again.
    struct Condition {
        std::string reason;
        std::function<void()> apply;
        std::function<void()> restore;
        std::map<std::string, Json::Value> meanwhile;  // further properties while it holds
    };
    const std::vector<Condition> conditions = {
        {"app",
         [&] { LaunchApp("org.tizen.netflix-app"); },
         [&] { LaunchApp("org.tizen.tv-viewer"); },
         {}},
        {"portrait",
         [&] { SetVconf("db/sysman/rotation_state", "int", "0"); },
         [&] { SetVconf("db/sysman/rotation_state", "int", "1"); },
         {}},
        {"country",
         [&] { SetVconf("db/comss/countrycode", "string", "JP"); },
         [&] { SetVconf("db/comss/countrycode", "string", "US"); },
         {{"Country", "JP"}, {"CountryListed", false}, {"UsageStatistics", false}}},
        // A code that is no text still reads as text.
        {"country",
         [&] { SetVconf("db/comss/countrycode", "string", "\xff\xfeJP"); },
         [&] { SetVconf("db/comss/countrycode", "string", "US"); },
         {{"Country", "\xef\xbf\xbd\xef\xbf\xbdJP"}, {"CountryListed", false}}},
        {"agreement",
         [&] {
             SetVconf("db/homedatacontrol/disclaimeragrees", "string", "{\"presence\":\"false\"}");
         },
         [&] {
             SetVconf("db/homedatacontrol/disclaimeragrees", "string", "{\"presence\":\"true\"}");
         },
         {{"StatisticsAgreed", false}, {"UsageStatistics", false}}},
        {"claimed",
         [&] { SetVconf(kSensorKey, "int", "2"); },
         [&] { SetVconf(kSensorKey, "int", "0"); },
         {{"SensorClaimed", true}}},
    };
    for (const Condition& condition : conditions) {
        SCOPED_TRACE(condition.reason);
        const std::string signal = Signalled("Reason", "'" + condition.reason + "'");
        const int signalled = CountOccurrences(monitor.Stdout(), signal);
        condition.apply();
        ASSERT_TRUE(WaitForMode("presence", condition.reason));
        const Json::Value status = StatusProperties();
        EXPECT_EQ(status["Streaming"], false);
        EXPECT_EQ(status["Subscribers"], 1);
        for (const auto& property : condition.meanwhile) {
            EXPECT_EQ(status[property.first], property.second) << property.first;
        }
        EXPECT_EQ(GdbusStatusProperty("Reason"), "(<'" + condition.reason + "'>,)\n");
        EXPECT_TRUE(PollUntil(kWaitMs, [&] {
            return CountOccurrences(monitor.Stdout(), signal) == signalled + 1;
        })) << monitor.Stdout();

        condition.restore();
        ASSERT_TRUE(WaitForMode("segment", "subscription"));
        const Json::Value back = StatusProperties();
        for (const auto& property : condition.meanwhile) {
            EXPECT_EQ(back[property.first], held[property.first]) << property.first;
        }
    }
    // The service's answer to the claim (1) changed nothing it shows: the
    // claim was signalled once, and so was its release.
    EXPECT_EQ(CountOccurrences(monitor.Stdout(), Signalled("SensorClaimed", "true")), 1);
    EXPECT_EQ(CountOccurrences(monitor.Stdout(), Signalled("SensorClaimed", "false")), 1);

    // Without the subscription the timers take over again.
    ASSERT_EQ(viewer.RequestSync(4, kTrackSegment).first, 0);
    EXPECT_TRUE(monitor.WaitForStdout(Signalled("Subscribers", "uint32 0"), kWaitMs));
    ASSERT_TRUE(WaitForMode("presence", "timer"));

    // The timestamps are read when asked, never signalled with every frame.
    EXPECT_EQ(monitor.Stdout().find("Timestamp"), std::string::npos) << monitor.Stdout();

    // The console followed it all: the whole status first, then each change.
    ASSERT_TRUE(follow.Signal(SIGINT));
    ASSERT_TRUE(follow.WaitExit(kWaitMs));
    std::vector<Json::Value> lines = JsonLines(follow.Stdout());
    ASSERT_GE(lines.size(), 2u) << follow.Stdout();
    EXPECT_EQ(lines[0]["Reason"], "boot") << follow.Stdout();
    std::string reasons;
    for (size_t i = 1; i < lines.size(); ++i) {
        EXPECT_TRUE(lines[i]["timestamp"].isIntegral());
        if (lines[i]["changed"].isMember("Reason")) {
            reasons += lines[i]["changed"]["Reason"].asString() + " ";
        }
    }
    EXPECT_TRUE(InOrder(
        reasons, {"subscription", "app", "subscription", "portrait", "subscription", "country",
                  "subscription", "agreement", "subscription", "claimed", "subscription", "timer"}))
        << reasons;
}

TEST_F(StatusTest, EachShapeAndGivenUpPresenceReadingSayWhy) {
    struct Row {
        const char* what;
        std::vector<std::vector<std::string>> setup;
        std::vector<std::vector<std::string>> undo;
        const char* shape;
        const char* mode;
        const char* reason;
    };
    const std::vector<Row> rows = {
        {"presence reads failing for four minutes",
         {{"radar", "fault", "presence", "on"}},
         {{"radar", "fault", "clear"}},
         "full",
         "presence",
         "presence-failed"},
        {"not a Tavlo TV",
         {{"feature", "set", "com.norvale/featureconf/tavlo_tv", "false"}},
         {{"feature", "set", "com.norvale/featureconf/tavlo_tv", "true"}},
         "dbus-only",
         "none",
         "not-tavlo-tv"},
        {"the older module",
         {{"radar", "spi", "fail"}},
         {{"radar", "spi", "pass"}},
         "dbus-only",
         "none",
         "older-module"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.what);
        for (const auto& args : row.setup) {
            ASSERT_EQ(Platform(args).exitCode, 0);
        }
        Subprocess& service = StartService();
        ASSERT_TRUE(WaitUntilServing(service)) << service.Stderr();
        ASSERT_TRUE(WaitForMode(row.mode, row.reason));
        const Json::Value status = StatusProperties();
        EXPECT_EQ(status["Shape"], row.shape);
        EXPECT_EQ(status["Streaming"], false);
        EXPECT_EQ(status["UsageStatistics"], false) << "given up with presence reading";
        EXPECT_EQ(status["LastPresenceTimestamp"], 0) << "no reading succeeded";
        EXPECT_EQ(status["LastResultTimestamp"], 0);
        EXPECT_FALSE(status["ReasonText"].asString().empty());
        EXPECT_EQ(GdbusStatusProperty("Reason"), std::string("(<'") + row.reason + "'>,)\n");

        ASSERT_TRUE(service.Signal(SIGTERM));
        ASSERT_TRUE(service.WaitExit(kWaitMs));
        for (const auto& args : row.undo) {
            ASSERT_EQ(Platform(args).exitCode, 0);
        }
    }
}
