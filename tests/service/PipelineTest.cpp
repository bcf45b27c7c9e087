// Reads and subscriptions end to end: the dispatcher, the D-Bus server and
// the pipeline assembled (tests/pipeline-service) with the simulated module
// streaming the default TV's scene of two people walking, on a private
// system bus, driven by gdbus, kae-test-console and KaeBusClient, which keeps
// one connection across calls.
#include <json/json.h>
#include <signal.h>
#include <sys/wait.h>

#include <chrono>
#include <regex>
#include <sstream>

#include "KaeBusClient.h"
#include "ServiceTest.h"

namespace {

const char kTrackSegment[] = "KAE/SUBSCRIBE/TRACK_SEGMENT/";

bool ParseJson(const std::string& text, Json::Value* value) {
    Json::CharReaderBuilder builder;
    std::string errors;
    std::istringstream in(text);
    return Json::parseFromStream(builder, in, value, &errors);
}

class PipelineTest : public ServiceTest {
protected:
    Subprocess& StartPipeline() {
        Subprocess& service = StartClient({Bin("pipeline_service")});
        EXPECT_TRUE(WaitUntilServing(service)) << service.Stderr();
        return service;
    }
};

}  // namespace

TEST_F(PipelineTest, PresenceReadsAnswerTheLatestPresenceResult) {
    Subprocess& service = StartPipeline();
    CommandResult before = CallService("RequestSync", {"1", "1", "7", "KAE/GET/PRESENCE/", ""});
    EXPECT_EQ(before.out, "(0, '-1')\n") << before.err;

    ASSERT_TRUE(service.Signal(SIGUSR1));
    ASSERT_TRUE(service.WaitForStderr("presence reading published", kWaitMs));
    CommandResult after = CallService("RequestSync", {"1", "1", "8", "KAE/GET/PRESENCE/", ""});
    EXPECT_EQ(after.out, "(0, '1')\n") << "two people walk within reach: " << after.err;

    CommandResult distance =
        CallService("RequestSync", {"1", "1", "9", "KAE/GET/PRESENCE_DISTANCE/", ""});
    std::smatch match;
    ASSERT_TRUE(std::regex_search(
        distance.out, match,
        std::regex("^\\(0, '(\\{\"detection\":1,\"distance\":\"(\\d+\\.\\d\\d)\"\\})'\\)")))
        << distance.out << distance.err;
    double metres = std::stod(match[2]);
    EXPECT_GT(metres, 1.0);
    EXPECT_LT(metres, 4.0);

    CommandResult console = Run({Bin("kae-test-console"), "--json", "read", "distance"});
    ASSERT_EQ(console.exitCode, 0) << console.err;
    Json::Value answer;
    ASSERT_TRUE(ParseJson(console.out, &answer)) << console.out;
    EXPECT_EQ(answer["result"].asInt(), 0);
    EXPECT_EQ(answer["output"]["detection"].asInt(), 1);
    EXPECT_EQ(answer["output"]["distance"].asString(), match[2].str());

    CommandResult unknown = CallService("RequestSync", {"1", "1", "10", "KAE/GET/NOTHING/", ""});
    EXPECT_EQ(unknown.out, "(-1, '{}')\n") << unknown.err;
    CommandResult refused = CallService("RequestSync", {"1", "2", "11", "KAE/GET/PRESENCE/", ""});
    EXPECT_EQ(refused.out, "(-3, '{}')\n") << refused.err;

    // A subject that would write a forged line into the log, and clear the
    // screen of whoever reads it, is logged escaped.
    KaeBusClient client(m_bus.Address());
    EXPECT_EQ(client.RequestSync(1, "KAE/GET/NOTHING/\n01-01 00:00:00.000 E/KAE(1): BYE\x1b[2J"),
              std::make_pair(-1, std::string("{}")));
    ASSERT_TRUE(
        service.WaitForStderr("NOTHING/\\n01-01 00:00:00.000 E/KAE(1): BYE\\x1b[2J", kWaitMs))
        << service.Stderr();
    EXPECT_EQ(service.Stderr().find("\n01-01 00:00:00.000 E/KAE(1)"), std::string::npos);
    EXPECT_EQ(service.Stderr().find("\x1b[2J"), std::string::npos);
}

TEST_F(PipelineTest, TwoConsoleSubscribersBothReceiveTracksOfThePeople) {
    StartPipeline();
    Subprocess& first =
        StartClient({Bin("kae-test-console"), "subscribe", "--json", "--count", "30"});
    Subprocess& second =
        StartClient({Bin("kae-test-console"), "subscribe", "--json", "--count", "30"});
    auto start = std::chrono::steady_clock::now();
    for (Subprocess* client : {&first, &second}) {
        int status = -1;
        ASSERT_TRUE(client->WaitExit(kWaitMs * 2, &status)) << client->Stderr();
        EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << client->Stderr();
    }
    // Thirty results cannot come in much under three seconds at ten a second.
    EXPECT_GT(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(2500));

    for (Subprocess* client : {&first, &second}) {
        std::istringstream lines(client->Stdout());
        std::string line;
        int documents = 0, withPeople = 0;
        while (std::getline(lines, line)) {
            Json::Value signal;
            ASSERT_TRUE(ParseJson(line, &signal)) << line;
            EXPECT_EQ(signal["result"].asInt(), 10);
            EXPECT_EQ(signal["subject"].asString(), kTrackSegment);
            const Json::Value& result = signal["output"]["result"][0];
            EXPECT_EQ(result["segments"][0]["num_of_segment"].asInt(), 6);
            ++documents;
            bool sensible = result["tracks"].size() >= 1 && result["tracks"].size() <= 3;
            for (const Json::Value& track : result["tracks"]) {
                double range = track["range"].asDouble();
                sensible = sensible && range > 1.0 && range < 4.5 &&
                           std::abs(track["angle"].asDouble()) < 60.0;
            }
            withPeople += sensible ? 1 : 0;
        }
        EXPECT_EQ(documents, 30);
        // The first second belongs to the tracker's warm-up.
        EXPECT_GE(withPeople, 15) << client->Stdout();
    }
}

TEST_F(PipelineTest, SubscriptionRulesOfOneConnection) {
    StartPipeline();
    KaeBusClient client(m_bus.Address());
    EXPECT_EQ(client.RequestSync(3, kTrackSegment), std::make_pair(0, std::string("{}")));
    EXPECT_EQ(client.RequestSync(3, kTrackSegment), std::make_pair(-3, std::string("{}")));
    EXPECT_TRUE(client.WaitForResults(3, kWaitMs));
    EXPECT_EQ(client.RequestSync(4, kTrackSegment), std::make_pair(0, std::string("{}")));
    EXPECT_EQ(client.RequestSync(4, kTrackSegment), std::make_pair(-5, std::string("{}")));
    EXPECT_EQ(client.RequestSync(5, kTrackSegment), std::make_pair(-3, std::string("{}")));
}

TEST_F(PipelineTest, OneClientUnsubscribingStopsPublicationForBoth) {
    StartPipeline();
    KaeBusClient a(m_bus.Address());
    KaeBusClient b(m_bus.Address());
    ASSERT_EQ(a.RequestSync(3, kTrackSegment).first, 0);
    ASSERT_EQ(b.RequestSync(3, kTrackSegment).first, 0);
    ASSERT_TRUE(a.WaitForResults(3, kWaitMs));
    ASSERT_TRUE(b.WaitForResults(3, kWaitMs));
    ASSERT_EQ(a.RequestSync(4, kTrackSegment).first, 0);
    PollUntil(500, [] { return false; });  // what was already on its way
    int before = b.Results();
    EXPECT_FALSE(b.WaitForResults(before + 1, 1500)) << "publication goes on after an unsubscribe";
    // A new subscription switches it on again for everybody subscribed.
    ASSERT_EQ(a.RequestSync(3, kTrackSegment).first, 0);
    EXPECT_TRUE(b.WaitForResults(before + 3, kWaitMs));
}

TEST_F(PipelineTest, ASubscriberKilledWithSigkillIsDropped) {
    Subprocess& service = StartPipeline();
    Subprocess& client = StartClient({Bin("kae-test-console"), "subscribe"});
    ASSERT_TRUE(client.WaitForStdout("TRACK_SEGMENT", kWaitMs)) << client.Stderr();
    ASSERT_TRUE(client.Signal(SIGKILL));
    ASSERT_TRUE(client.WaitExit(kWaitMs));
    EXPECT_TRUE(service.WaitForStderr("left the bus", kWaitMs)) << service.Stderr();
    // Nobody is left, so nothing is sent any more: a monitor sees no result.
    Subprocess& monitor = StartMonitor();
    PollUntil(1500, [] { return false; });
    EXPECT_EQ(monitor.Stdout().find("member=Response"), std::string::npos) << monitor.Stdout();
}

TEST_F(PipelineTest, RequestsBeyondTheLimitsGetADBusErrorAndTheServiceGoesOn) {
    Subprocess& service = StartPipeline();
    KaeBusClient client(m_bus.Address());
    const std::string invalidArgs = "org.freedesktop.DBus.Error.InvalidArgs";
    struct Row {
        int type;
        std::string subject;
        std::string input;
        std::pair<int, std::string> answerOrError;  // result 99: an error naming that text
    };
    const std::vector<Row> rows = {
        {1, std::string(4096, 's'), "", {-1, "{}"}},
        {1, std::string(4097, 's'), "", {99, invalidArgs}},
        {3, kTrackSegment, std::string(4097, 'i'), {99, invalidArgs}},
        {3, std::string(1 << 20, 's'), std::string(1 << 20, 'i'), {99, invalidArgs}}};
    for (const Row& row : rows) {
        std::pair<int, std::string> answer =
            client.RequestSync(row.type, row.subject, 10000, row.input);
        EXPECT_EQ(answer.first, row.answerOrError.first) << answer.second;
        EXPECT_NE(answer.second.find(row.answerOrError.second), std::string::npos) << answer.second;
    }
    // "Write" is answered only to refuse a subject that is too long.
    CommandResult write = CallService("Write", {"1", "2", "1", std::string(5000, 'w'), "5"});
    EXPECT_NE(write.err.find(invalidArgs), std::string::npos) << write.err;

    // A client holds a few subscriptions, not any number.
    for (int i = 0; i < 8; ++i) {
        EXPECT_EQ(client.RequestSync(3, "S" + std::to_string(i) + "/").first, 0);
    }
    std::pair<int, std::string> ninth = client.RequestSync(3, kTrackSegment);
    EXPECT_EQ(ninth.first, 99);
    EXPECT_NE(ninth.second.find("org.freedesktop.DBus.Error.LimitsExceeded"), std::string::npos)
        << ninth.second;
    EXPECT_EQ(client.RequestSync(1, "KAE/GET/PRESENCE/"), std::make_pair(0, std::string("-1")));
    EXPECT_TRUE(service.IsRunning());
}

TEST_F(PipelineTest, ASubscriberGoneBeforeItsAnswerIsDroppedAsIfItLeftLater) {
    Subprocess& service = StartPipeline();
    // The service's first call, a subscription whose sender does not wait
    // for the answer and is gone before the service reads it.
    ASSERT_TRUE(service.Signal(SIGSTOP));
    CommandResult subscribe =
        Run({"dbus-send", "--system", "--type=method_call", "--dest=com.norvale.tv.tessivo",
             "/com/norvale/tv/tessivo", "com.norvale.tv.tessivo.interface.RequestSync", "int32:1",
             "int32:3", "int32:1", std::string("string:") + kTrackSegment, "string:"});
    ASSERT_TRUE(service.Signal(SIGCONT));
    ASSERT_EQ(subscribe.exitCode, 0) << subscribe.err;
    EXPECT_TRUE(service.WaitForStderr("left the bus, 1 subscription(s) dropped", kWaitMs))
        << service.Stderr();
    // Nobody is left, so nothing is sent any more.
    Subprocess& monitor = StartMonitor();
    PollUntil(1500, [] { return false; });
    EXPECT_EQ(monitor.Stdout().find("member=Response"), std::string::npos) << monitor.Stdout();
}
