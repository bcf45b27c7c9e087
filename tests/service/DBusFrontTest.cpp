// The D-Bus front of kae-service on a private system bus, driven by clients
// that are not ours: gdbus, dbus-send and dbus-monitor. Unless a test says
// otherwise the TV is not a Tavlo TV, so the front runs alone.
#include <json/json.h>
#include <signal.h>
#include <sys/wait.h>

#include <string.h>

#include <regex>

#include "KaeBusClient.h"
#include "ServiceTest.h"

namespace {

const std::vector<std::string> kWhiteList = {
    "sensord", "apps/org.tizen.kiv-app/bin/KivApp.dll",
    "apps/com.norvale.tv.KAEDemoViewer/bin/KAEDemoViewer.dll", "kae-test-console"};

// The string argument of gdbus's "(true, '...')" output.
std::string QuotedPart(const std::string& out) {
    size_t open = out.find('\'');
    size_t close = out.rfind('\'');
    return open == std::string::npos || close <= open ? "" : out.substr(open + 1, close - open - 1);
}

std::vector<std::string> WhiteListOf(const std::string& json) {
    Json::Value root;
    Json::CharReaderBuilder builder;
    std::string errors;
    std::istringstream in(json);
    std::vector<std::string> names;
    if (!Json::parseFromStream(builder, in, &root, &errors) || !root.isObject() ||
        !root["WhiteList"].isArray()) {
        return names;
    }
    for (const Json::Value& entry : root["WhiteList"]) {
        names.push_back(entry.asString());
    }
    return names;
}

class DBusFrontTest : public ServiceTest {
protected:
    void SetUp() override {
        ServiceTest::SetUp();
        SetTavloTv(false);
    }
    void SetTavloTv(bool tavlo) {
        ASSERT_EQ(Platform({"feature", "set", "com.norvale/featureconf/tavlo_tv",
                            tavlo ? "true" : "false"})
                      .exitCode,
                  0);
    }
};

}  // namespace

TEST_F(DBusFrontTest, IntrospectionShowsThePublishedInterface) {
    Subprocess& service = StartService();
    ASSERT_TRUE(WaitUntilServing(service));
    CommandResult result =
        Run({"gdbus", "introspect", "--system", "--dest", "com.norvale.tv.tessivo", "--object-path",
             "/com/norvale/tv/tessivo"});
    ASSERT_EQ(result.exitCode, 0) << result.err;
    const std::string& out = result.out;
    size_t start = out.find("interface com.norvale.tv.tessivo.interface {");
    ASSERT_NE(start, std::string::npos) << out;
    std::string iface = out.substr(start);
    std::string squashed = std::regex_replace(iface, std::regex("\\s+"), " ");
    EXPECT_TRUE(InOrder(
        squashed,
        {"methods:",
         "RequestSync(in i pid, in i type, in i reqId, in s subject, in s input, out i result, "
         "out s output);",
         "RequestAsync(in i pid, in i type, in i reqId, in s subject, in s input, out i result, "
         "out s subject, out s output);",
         "Write(in i pid, in i type, in i reqId, in s subject, in i output);",
         "ServiceEnable(out b result, out s data);",
         "signals:", "Response(i result, s subject, s output);", "properties: };"}))
        << iface;
}

TEST_F(DBusFrontTest, TheMainObjectKeepsItsIntrospectionAndGainsOnlyTheStatusNode) {
    Subprocess& service = StartService();
    ASSERT_TRUE(WaitUntilServing(service));
    CommandResult result =
        Run({"busctl", "--system", "--json=short", "call", "com.norvale.tv.tessivo",
             "/com/norvale/tv/tessivo", "org.freedesktop.DBus.Introspectable", "Introspect"});
    ASSERT_EQ(result.exitCode, 0) << result.err;
    std::vector<Json::Value> reply = JsonLines(result.out);
    ASSERT_EQ(reply.size(), 1u) << result.out;
    const std::string xml = reply[0]["data"][0].asString();

    // The interface exactly as GDBus has always written it for this service.
    const std::string arg = "      </arg>\n";
    auto args = [&](std::initializer_list<const char*> list) {
        std::string text;
        for (const char* item : list) {
            text += std::string("      <arg ") + item + ">\n" + arg;
        }
        return text;
    };
    const char* const request[] = {"type=\"i\" name=\"pid\" direction=\"in\"",
                                   "type=\"i\" name=\"type\" direction=\"in\"",
                                   "type=\"i\" name=\"reqId\" direction=\"in\"",
                                   "type=\"s\" name=\"subject\" direction=\"in\""};
    const std::string requestArgs = args({request[0], request[1], request[2], request[3]});
    const std::string expected =
        "  <interface name=\"com.norvale.tv.tessivo.interface\">\n"
        "    <method name=\"RequestSync\">\n" +
        requestArgs +
        args({"type=\"s\" name=\"input\" direction=\"in\"",
              "type=\"i\" name=\"result\" direction=\"out\"",
              "type=\"s\" name=\"output\" direction=\"out\""}) +
        "    </method>\n"
        "    <method name=\"RequestAsync\">\n" +
        requestArgs +
        args({"type=\"s\" name=\"input\" direction=\"in\"",
              "type=\"i\" name=\"result\" direction=\"out\"",
              "type=\"s\" name=\"subject\" direction=\"out\"",
              "type=\"s\" name=\"output\" direction=\"out\""}) +
        "    </method>\n"
        "    <method name=\"Write\">\n" +
        requestArgs + args({"type=\"i\" name=\"output\" direction=\"in\""}) +
        "    </method>\n"
        "    <method name=\"ServiceEnable\">\n" +
        args({"type=\"b\" name=\"result\" direction=\"out\"",
              "type=\"s\" name=\"data\" direction=\"out\""}) +
        "    </method>\n"
        "    <signal name=\"Response\">\n" +
        args({"type=\"i\" name=\"result\"", "type=\"s\" name=\"subject\"",
              "type=\"s\" name=\"output\""}) +
        "    </signal>\n"
        "  </interface>\n";
    const size_t start = xml.find("  <interface name=\"com.norvale.tv.tessivo.interface\">");
    ASSERT_NE(start, std::string::npos) << xml;
    const size_t end = xml.find("  </interface>\n", start);
    ASSERT_NE(end, std::string::npos) << xml;
    EXPECT_EQ(xml.substr(start, end + strlen("  </interface>\n") - start), expected);

    // Besides it only GDBus's standard interfaces, and the status object
    // below, as a child node.
    std::vector<std::string> children;
    const std::regex child("\n  <(interface|node) name=\"([^\"]+)\"");
    for (auto it = std::sregex_iterator(xml.begin(), xml.end(), child);
         it != std::sregex_iterator(); ++it) {
        children.push_back((*it)[1].str() + " " + (*it)[2].str());
    }
    EXPECT_EQ(children, (std::vector<std::string>{"interface org.freedesktop.DBus.Properties",
                                                  "interface org.freedesktop.DBus.Introspectable",
                                                  "interface org.freedesktop.DBus.Peer",
                                                  "interface com.norvale.tv.tessivo.interface",
                                                  "node Status"}))
        << xml;
}

TEST_F(DBusFrontTest, ServiceEnableAnswersTrueWithTheWhiteListInOrder) {
    Subprocess& service = StartService();
    ASSERT_TRUE(WaitUntilServing(service));
    CommandResult result = CallService("ServiceEnable");
    ASSERT_EQ(result.exitCode, 0) << result.err;
    EXPECT_EQ(result.out.rfind("(true, '", 0), 0u) << result.out;
    EXPECT_EQ(WhiteListOf(QuotedPart(result.out)), kWhiteList) << result.out;
}

TEST_F(DBusFrontTest, HelloIsBroadcastWithTheWhiteListWhenTheServiceStarts) {
    Subprocess& monitor = StartMonitor();
    Subprocess& service = StartService();
    ASSERT_TRUE(WaitUntilServing(service));
    ASSERT_TRUE(monitor.WaitForStdout("string \"HELLO\"", kWaitMs)) << monitor.Stdout();
    std::string out = monitor.Stdout();
    std::smatch match;
    ASSERT_TRUE(std::regex_search(
        out, match,
        std::regex("destination=\\(null destination\\)[^\\n]*member=Response\\n\\s*int32 0\\n\\s*"
                   "string \"HELLO\"\\n\\s*string \"(.*)\"\\n")))
        << out;
    EXPECT_EQ(WhiteListOf(match[1]), kWhiteList);
}

TEST_F(DBusFrontTest, RequestAsyncIsNeverAnswered) {
    Subprocess& service = StartService();
    ASSERT_TRUE(WaitUntilServing(service));
    CommandResult result =
        CallService("RequestAsync", {"1", "1", "7", "KAE/GET/PRESENCE/", ""}, "", 2);
    EXPECT_NE(result.exitCode, 0);
    EXPECT_NE(result.err.find("Timeout was reached"), std::string::npos) << result.err;
    // The service is still there and still answers.
    EXPECT_EQ(CallService("ServiceEnable").exitCode, 0);
}

TEST_F(DBusFrontTest, RequestsWithoutSensingGetAnErrorNotSilence) {
    Subprocess& service = StartService();
    ASSERT_TRUE(WaitUntilServing(service));
    CommandResult sync = CallService("RequestSync", {"1", "1", "1", "KAE/GET/PRESENCE/", ""});
    EXPECT_NE(sync.exitCode, 0);
    EXPECT_NE(sync.err.find("com.norvale.tv.tessivo.Error.NotAvailable"), std::string::npos)
        << sync.err;
    CommandResult write = CallService("Write", {"1", "2", "1", "KAE/GET/PRESENCE/", "5"});
    EXPECT_NE(write.exitCode, 0);
    EXPECT_NE(write.err.find("com.norvale.tv.tessivo.Error.NotAvailable"), std::string::npos)
        << write.err;
    // Arguments of the wrong types are refused by the bus binding itself.
    CommandResult bad = CallService("RequestSync", {"'x'", "1", "1", "s", "i"});
    EXPECT_NE(bad.exitCode, 0);
    EXPECT_TRUE(service.IsRunning());
    EXPECT_EQ(CallService("ServiceEnable").exitCode, 0);
}

TEST_F(DBusFrontTest, NotATavloTvRunsTheDBusOnlyShapeWithoutTouchingTheRadar) {
    Subprocess& service = StartService();
    ASSERT_TRUE(WaitUntilServing(service));
    std::string log = service.Stderr();
    EXPECT_TRUE(LogInOrder(
        log, {"&&&&&&&&&&&&&&&&&&&&&&&&&&", "Service Start....",
              "Current priority : ", "Change priority : 19", "Not Tavlo TV!!", "DBusServer Create",
              "DBusServer Start!!", "OnlyDbusCreate init success", "OnBusAcquired",
              "__SendStartSignalToClient", "OnNameAcquired, m_connection 0x"}))
        << log;
    EXPECT_EQ(log.find("MODULE"), std::string::npos);
    EXPECT_EQ(log.find("SPI"), std::string::npos);
    EXPECT_EQ(log.find("> Tavlo TV!!"), std::string::npos);
}

TEST_F(DBusFrontTest, ATavloTvWhoseModuleFailsItsCheckRunsDBusOnly) {
    SetTavloTv(true);
    ASSERT_EQ(Platform({"radar", "spi", "fail"}).exitCode, 0);
    Subprocess& service = StartService();
    ASSERT_TRUE(WaitUntilServing(service));
    std::string log = service.Stderr();
    EXPECT_TRUE(LogInOrder(log, {"Tavlo TV!!", "SPI Validation Check : 0", "21Y MODULE",
                                 "DBusServer Create", "OnlyDbusCreate init success"}))
        << log;
    EXPECT_EQ(log.find("22Y MODULE"), std::string::npos);
    EXPECT_EQ(CallService("ServiceEnable").exitCode, 0);
    CommandResult read = CallService("RequestSync", {"1", "1", "1", "KAE/GET/PRESENCE/", ""});
    EXPECT_NE(read.err.find("com.norvale.tv.tessivo.Error.NotAvailable"), std::string::npos);
}

TEST_F(DBusFrontTest, TimeScaleIsAnnouncedAndABadOneReportedOnceAndIgnored) {
    m_env["TESSIVO_TIME_SCALE"] = "100";
    Subprocess& fast = StartService();
    ASSERT_TRUE(WaitUntilServing(fast));
    EXPECT_NE(fast.Stderr().find("monotonic clock runs 100 times as fast"), std::string::npos);
    ASSERT_TRUE(fast.Signal(SIGTERM));
    ASSERT_TRUE(fast.WaitExit(kWaitMs));

    m_env["TESSIVO_TIME_SCALE"] = "fast";
    Subprocess& bad = StartService();
    ASSERT_TRUE(WaitUntilServing(bad));
    EXPECT_EQ(CountOccurrences(bad.Stderr(), "TESSIVO_TIME_SCALE \"fast\" is not a number"), 1)
        << bad.Stderr();
    EXPECT_EQ(bad.Stderr().find("times as fast"), std::string::npos);
}

TEST_F(DBusFrontTest, AnUnreadableFeatureCountsAsNotATavloTv) {
    ASSERT_EQ(Run({"rm", "-rf", m_platformDir + "/features"}).exitCode, 0);
    Subprocess& service = StartService();
    ASSERT_TRUE(WaitUntilServing(service));
    EXPECT_TRUE(LogInOrder(service.Stderr(),
                           {"system_info_get_custom_bool() fail", "OnlyDbusCreate init success"}));
    EXPECT_EQ(service.Stderr().find("Tavlo TV!!"), std::string::npos);
}

// Asking for the usage, with the bus up and watched, prints it and exits:
// no name taken, no HELLO, no service log. A bad argument is refused the
// same way.
TEST_F(DBusFrontTest, HelpAndBadArgumentsTouchNeitherTheBusNorTheRadar) {
    Subprocess& monitor = StartMonitor();
    const CommandResult help = Run({Bin("kae-service"), "--help"});
    ASSERT_TRUE(help.finished);
    EXPECT_EQ(help.exitCode, 0);
    EXPECT_NE(help.out.find("Usage: kae-service"), std::string::npos) << help.out;
    EXPECT_EQ(help.err, "");
    const CommandResult bad = Run({Bin("kae-service"), "--verbose"});
    ASSERT_TRUE(bad.finished);
    EXPECT_EQ(bad.exitCode, 2);
    EXPECT_NE(bad.err.find("--verbose"), std::string::npos) << bad.err;
    EXPECT_EQ(bad.err.find("Service Start"), std::string::npos) << bad.err;
    EXPECT_TRUE(NameOwner().empty());
    EXPECT_EQ(monitor.Stdout().find("HELLO"), std::string::npos) << monitor.Stdout();
}

TEST_F(DBusFrontTest, SigtermSaysByeReleasesTheNameAndExitsCleanly) {
    Subprocess& monitor = StartMonitor();
    Subprocess& service = StartService();
    ASSERT_TRUE(WaitUntilServing(service));
    ASSERT_FALSE(NameOwner().empty());

    ASSERT_TRUE(service.Signal(SIGTERM));
    int status = -1;
    ASSERT_TRUE(service.WaitExit(kWaitMs, &status)) << "kae-service did not end on SIGTERM";
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 0);

    std::string log = service.Stderr();
    EXPECT_TRUE(
        LogInOrder(log, {"signum : 15", "Finalize", "DBus Stop...", "SendStopSignalToClient",
                         "DBusServer Stop!!", "~~DBusServer Close ..", "Finalize", "Stop..."}))
        << log;
    EXPECT_EQ(CountOccurrences(log, "> Finalize"), 2);
    EXPECT_EQ(CountOccurrences(log, "> DBus Stop..."), 1);

    ASSERT_TRUE(monitor.WaitForStdout("string \"BYE\"", kWaitMs)) << monitor.Stdout();
    EXPECT_TRUE(std::regex_search(
        monitor.Stdout(),
        std::regex("member=Response\\n\\s*int32 0\\n\\s*string \"BYE\"\\n\\s*string \"\\{\\}\"")))
        << monitor.Stdout();
    EXPECT_TRUE(NameOwner().empty());
}

TEST_F(DBusFrontTest, EveryHandledSignalEndsTheServiceLikeSigterm) {
    // Sent from outside, even the fault signals end the service in order.
    for (int signum : {SIGINT, SIGHUP, SIGQUIT, SIGABRT, SIGSEGV}) {
        Subprocess& service = StartService();
        ASSERT_TRUE(WaitUntilServing(service));
        ASSERT_TRUE(service.Signal(signum));
        int status = -1;
        ASSERT_TRUE(service.WaitExit(kWaitMs, &status)) << "signal " << signum;
        EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "signal " << signum;
        EXPECT_TRUE(LogInOrder(service.Stderr(),
                               {"signum : " + std::to_string(signum), "DBus Stop...", "Stop..."}));
        EXPECT_TRUE(PollUntil(kWaitMs, [&] { return NameOwner().empty(); }));
    }
}

TEST_F(DBusFrontTest, TwoSignalsInARowStopOnce) {
    Subprocess& service = StartService();
    ASSERT_TRUE(WaitUntilServing(service));
    ASSERT_TRUE(service.Signal(SIGTERM));
    service.Signal(SIGINT);  // may already be gone
    int status = -1;
    ASSERT_TRUE(service.WaitExit(kWaitMs, &status));
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
    std::string log = service.Stderr();
    EXPECT_EQ(CountOccurrences(log, "> DBus Stop..."), 1) << log;
    EXPECT_EQ(CountOccurrences(log, "> SendStopSignalToClient"), 1) << log;
}

TEST_F(DBusFrontTest, ASecondInstanceCannotTakeTheName) {
    Subprocess& first = StartService();
    ASSERT_TRUE(WaitUntilServing(first));
    std::string owner = NameOwner();
    ASSERT_FALSE(owner.empty());

    Subprocess& second = StartService();
    ASSERT_TRUE(second.WaitForStderr("OnNameLost", kWaitMs)) << second.Stderr();
    EXPECT_EQ(second.Stderr().find("OnNameAcquired"), std::string::npos);
    EXPECT_EQ(NameOwner(), owner);

    // The loser ends cleanly and sends no "BYE" in the winner's name.
    ASSERT_TRUE(second.Signal(SIGTERM));
    int status = -1;
    ASSERT_TRUE(second.WaitExit(kWaitMs, &status));
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
    EXPECT_EQ(NameOwner(), owner);
    EXPECT_EQ(CallService("ServiceEnable").exitCode, 0);
}

TEST_F(DBusFrontTest, PolicyRefusesTheNameToAnUnprivilegedUser) {
    if (!IsRoot()) {
        GTEST_SKIP() << "needs root to run the service as another user";
    }
    Subprocess& service = StartService("nobody");
    ASSERT_TRUE(service.WaitForStderr("OnNameLost", kWaitMs)) << service.Stderr();
    EXPECT_TRUE(NameOwner().empty());

    CommandResult claim =
        Run({"dbus-send", "--system", "--print-reply", "--dest=org.freedesktop.DBus",
             "/org/freedesktop/DBus", "org.freedesktop.DBus.RequestName",
             "string:com.norvale.tv.tessivo", "uint32:0"},
            "nobody");
    EXPECT_NE(claim.exitCode, 0);
    EXPECT_NE(claim.err.find("AccessDenied"), std::string::npos) << claim.err;
}

TEST_F(DBusFrontTest, PolicyLetsAnyUserCallTheServiceButNotOwnOtherwise) {
    if (!IsRoot()) {
        GTEST_SKIP() << "needs root to run a client as another user";
    }
    Subprocess& service = StartService();
    ASSERT_TRUE(WaitUntilServing(service));
    CommandResult enable = CallService("ServiceEnable", {}, "nobody");
    EXPECT_EQ(enable.exitCode, 0) << enable.err;
    EXPECT_EQ(WhiteListOf(QuotedPart(enable.out)), kWhiteList);
    CommandResult introspect =
        Run({"gdbus", "introspect", "--system", "--dest", "com.norvale.tv.tessivo", "--object-path",
             "/com/norvale/tv/tessivo"},
            "nobody");
    EXPECT_EQ(introspect.exitCode, 0) << introspect.err;
    CommandResult ping =
        Run({"dbus-send", "--system", "--print-reply", "--dest=com.norvale.tv.tessivo",
             "/com/norvale/tv/tessivo", "org.freedesktop.DBus.Peer.Ping"},
            "nobody");
    EXPECT_EQ(ping.exitCode, 0) << ping.err;
    // Only the three interfaces are open: anything else stays closed.
    CommandResult props =
        Run({"dbus-send", "--system", "--print-reply", "--dest=com.norvale.tv.tessivo",
             "/com/norvale/tv/tessivo", "org.freedesktop.DBus.Properties.GetAll",
             "string:com.norvale.tv.tessivo.interface"},
            "nobody");
    EXPECT_NE(props.exitCode, 0);
    EXPECT_NE(props.err.find("AccessDenied"), std::string::npos) << props.err;
}

TEST_F(DBusFrontTest, PolicyLetsAnyUserReadTheStatusAndNobodySetIt) {
    if (!IsRoot()) {
        GTEST_SKIP() << "needs root to run a client as another user";
    }
    Subprocess& service = StartService();
    ASSERT_TRUE(WaitUntilServing(service));
    EXPECT_EQ(StatusProperties("nobody")["Reason"], "not-tavlo-tv");
    EXPECT_EQ(GdbusStatusProperty("Shape", "nobody"), "(<'dbus-only'>,)\n");
    for (const std::string user : {"nobody", "root"}) {
        SCOPED_TRACE(user);
        CommandResult set = Run({"busctl", "--system", "set-property", "com.norvale.tv.tessivo",
                                 "/com/norvale/tv/tessivo/Status", "com.norvale.tv.tessivo.Status",
                                 "Mode", "s", "segment"},
                                user);
        EXPECT_NE(set.exitCode, 0);
        EXPECT_NE(set.err.find("Access denied"), std::string::npos) << set.err;
    }
    EXPECT_EQ(StatusProperties()["Mode"], "none");
}

TEST_F(DBusFrontTest, PolicyLetsOnlyTheServicesUserSendSignalsOnItsInterface) {
    if (!IsRoot()) {
        GTEST_SKIP() << "needs root to send as another user";
    }
    KaeBusClient receiver(m_bus.Address());
    ASSERT_TRUE(receiver.HearBroadcasts());
    // A track result as the service sends it, broadcast or to the receiver.
    auto send = [&](const std::string& user, bool toReceiver) {
        std::vector<std::string> argv = {"dbus-send", "--system", "--type=signal"};
        if (toReceiver) {
            argv.push_back("--dest=" + receiver.UniqueName());
        }
        for (const char* arg :
             {"/com/norvale/tv/tessivo", "com.norvale.tv.tessivo.interface.Response", "int32:10",
              "string:KAE/SUBSCRIBE/TRACK_SEGMENT/", "string:{\"result\":[]}"}) {
            argv.push_back(arg);
        }
        return Run(argv, user);
    };
    struct Row {
        std::string user;
        bool toReceiver;
        bool delivered;
    };
    const std::vector<Row> rows = {{"root", false, true},
                                   {"root", true, true},
                                   {"nobody", false, false},
                                   {"nobody", true, false}};
    for (const Row& row : rows) {
        SCOPED_TRACE(row.user + (row.toReceiver ? " to the receiver" : " broadcast"));
        const int before = receiver.Results();
        CommandResult sent = send(row.user, row.toReceiver);
        // The sender of a signal is not told of a refusal.
        ASSERT_EQ(sent.exitCode, 0) << sent.err;
        // One that passes, sent after it: once it is in, the first would be.
        ASSERT_EQ(send("root", true).exitCode, 0);
        const int expected = before + 1 + (row.delivered ? 1 : 0);
        ASSERT_TRUE(receiver.WaitForResults(expected, kWaitMs));
        EXPECT_EQ(receiver.Results(), expected);
    }
    // The bus says so for the one addressed to a client.
    EXPECT_TRUE(PollUntil(kWaitMs, [&] {
        return std::regex_search(m_bus.Log(),
                                 std::regex("Rejected send message[^\\n]*uid=65534[^\\n]*"
                                            "member=\"Response\""));
    })) << m_bus.Log();
}
