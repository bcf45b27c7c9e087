// kae-test-console against the real service on a private system bus.
#include <json/json.h>
#include <signal.h>
#include <sys/wait.h>

#include <chrono>
#include <sstream>

#include "ServiceTest.h"

namespace {

class ConsoleTest : public ServiceTest {
protected:
    CommandResult Console(const std::vector<std::string>& args) {
        std::vector<std::string> argv = {Bin("kae-test-console")};
        argv.insert(argv.end(), args.begin(), args.end());
        return Run(argv);
    }

    // The sensing front alone, which answers reads without waiting for the
    // modes; SIGUSR1 makes it publish one presence reading.
    Subprocess& StartPipeline() {
        Subprocess& service = StartClient({Bin("pipeline_service")});
        EXPECT_TRUE(WaitUntilServing(service)) << service.Stderr();
        return service;
    }
};

}  // namespace

TEST_F(ConsoleTest, EnablePrintsTheWhiteListForPeopleAndForScripts) {
    Subprocess& service = StartService();
    ASSERT_TRUE(WaitUntilServing(service));
    CommandResult human = Console({"enable"});
    ASSERT_EQ(human.exitCode, 0) << human.err;
    EXPECT_NE(human.out.find("enabled"), std::string::npos) << human.out;
    EXPECT_NE(human.out.find("apps/com.norvale.tv.KAEDemoViewer/bin/KAEDemoViewer.dll"),
              std::string::npos);

    CommandResult json = Console({"enable", "--json"});
    ASSERT_EQ(json.exitCode, 0) << json.err;
    std::vector<Json::Value> lines = JsonLines(json.out);
    ASSERT_EQ(lines.size(), 1u) << json.out;
    EXPECT_TRUE(lines[0]["result"].asBool());
    const Json::Value& list = lines[0]["output"]["WhiteList"];
    ASSERT_EQ(list.size(), 4u);
    EXPECT_EQ(list[0].asString(), "sensord");
    EXPECT_EQ(list[3].asString(), "kae-test-console");
}

TEST_F(ConsoleTest, WatchSeesHelloOfAServiceThatStartsLaterAndItsBye) {
    Subprocess& watch = StartClient({Bin("kae-test-console"), "watch", "--json", "--count", "2"});
    ASSERT_TRUE(watch.WaitForStderr("not on the system bus", kWaitMs)) << watch.Stderr();
    Subprocess& service = StartService();
    ASSERT_TRUE(WaitUntilServing(service));
    ASSERT_TRUE(watch.WaitForStdout("HELLO", kWaitMs)) << watch.Stderr();
    ASSERT_TRUE(service.Signal(SIGTERM));
    int status = -1;
    ASSERT_TRUE(watch.WaitExit(kWaitMs, &status)) << "watch did not stop after two signals";
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
    std::vector<Json::Value> lines = JsonLines(watch.Stdout());
    ASSERT_EQ(lines.size(), 2u) << watch.Stdout();
    EXPECT_EQ(lines[0]["subject"].asString(), "HELLO");
    EXPECT_EQ(lines[0]["output"]["WhiteList"].size(), 4u);
    EXPECT_EQ(lines[1]["subject"].asString(), "BYE");
    EXPECT_EQ(lines[1]["result"].asInt(), 0);
}

TEST_F(ConsoleTest, WatchPrintsOnlyWhatTheCurrentOwnerOfTheNameSends) {
    Subprocess& first = StartService();
    ASSERT_TRUE(WaitUntilServing(first));
    Subprocess& watch = StartClient({Bin("kae-test-console"), "watch", "--json"});
    ASSERT_TRUE(watch.WaitForStderr("is on the system bus", kWaitMs)) << watch.Stderr();
    // Another program of root's (the bus lets root send on the interface)
    // forges the service's farewell.
    auto forge = [&] {
        return Run({"dbus-send", "--system", "--type=signal", "/com/norvale/tv/tessivo",
                    "com.norvale.tv.tessivo.interface.Response", "int32:0", "string:BYE",
                    "string:{\"forged\":1}"});
    };
    const char kIgnored[] = "ignored a Response signal from";
    ASSERT_EQ(forge().exitCode, 0);
    ASSERT_TRUE(watch.WaitForStderr(kIgnored, kWaitMs)) << watch.Stderr();

    // The name changes hands: the old owner's BYE and the new one's HELLO
    // are heard, a forgery after the change is not.
    ASSERT_TRUE(first.Signal(SIGTERM));
    ASSERT_TRUE(first.WaitExit(kWaitMs));
    Subprocess& second = StartService();
    ASSERT_TRUE(WaitUntilServing(second));
    ASSERT_TRUE(watch.WaitForStdout("HELLO", kWaitMs)) << watch.Stderr();
    ASSERT_EQ(forge().exitCode, 0);
    EXPECT_TRUE(PollUntil(kWaitMs, [&] { return CountOccurrences(watch.Stderr(), kIgnored) == 2; }))
        << watch.Stderr();
    std::vector<Json::Value> lines = JsonLines(watch.Stdout());
    ASSERT_EQ(lines.size(), 2u) << watch.Stdout();
    EXPECT_EQ(lines[0]["subject"].asString(), "BYE");
    EXPECT_FALSE(lines[0]["output"].isMember("forged")) << watch.Stdout();
    EXPECT_EQ(lines[1]["subject"].asString(), "HELLO");
}

TEST_F(ConsoleTest, WatchEndsCleanlyOnSigint) {
    Subprocess& service = StartService();
    ASSERT_TRUE(WaitUntilServing(service));
    Subprocess& watch = StartClient({Bin("kae-test-console"), "watch"});
    ASSERT_TRUE(watch.WaitForStderr("is on the system bus", kWaitMs)) << watch.Stderr();
    ASSERT_TRUE(watch.Signal(SIGINT));
    int status = -1;
    ASSERT_TRUE(watch.WaitExit(kWaitMs, &status));
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
}

TEST_F(ConsoleTest, ReadsAndSubscribeOnATvWithoutSensingFailClearly) {
    ASSERT_EQ(Platform({"feature", "set", "com.norvale/featureconf/tavlo_tv", "false"}).exitCode,
              0);
    Subprocess& service = StartService();
    ASSERT_TRUE(WaitUntilServing(service));
    for (const auto& args : std::vector<std::vector<std::string>>{
             {"read", "presence"}, {"read", "distance"}, {"subscribe", "--count", "1"}}) {
        CommandResult result = Console(args);
        EXPECT_EQ(result.exitCode, 1) << args[0];
        EXPECT_NE(result.err.find("com.norvale.tv.tessivo.Error.NotAvailable"), std::string::npos)
            << result.err;
    }
}

TEST_F(ConsoleTest, AnAbsentServiceIsReportedNotWaitedFor) {
    for (const auto& args : std::vector<std::vector<std::string>>{
             {"enable"}, {"read", "presence"}, {"read", "distance", "--every", "100"}}) {
        CommandResult result = Console(args);
        EXPECT_TRUE(result.finished);
        EXPECT_EQ(result.exitCode, 1);
        EXPECT_NE(result.err.find("not running"), std::string::npos) << result.err;
    }
}

TEST_F(ConsoleTest, BadCommandLinesAreUsageErrors) {
    const std::vector<std::vector<std::string>> bad = {
        {},
        {"frobnicate"},
        {"read"},
        {"read", "nothing"},
        {"watch", "--count", "x"},
        // --every is for reads, and a period of at least 1 ms.
        {"watch", "--every", "100"},
        {"read", "presence", "--every", "0"}};
    for (const auto& args : bad) {
        CommandResult result = Console(args);
        EXPECT_EQ(result.exitCode, 2) << (args.empty() ? "" : args[0]);
    }
}

TEST_F(ConsoleTest, ReadEveryPrintsOneLinePerReadUntilTheCount) {
    Subprocess& service = StartPipeline();
    ASSERT_TRUE(service.Signal(SIGUSR1));
    ASSERT_TRUE(service.WaitForStderr("presence reading published", kWaitMs));

    auto start = std::chrono::steady_clock::now();
    CommandResult reads = Console({"read", "distance", "--every", "100", "--count", "3", "--json"});
    auto elapsed = std::chrono::steady_clock::now() - start;
    ASSERT_TRUE(reads.finished);
    ASSERT_EQ(reads.exitCode, 0) << reads.err;
    std::vector<Json::Value> lines = JsonLines(reads.out);
    ASSERT_EQ(lines.size(), 3u) << reads.out;
    for (const Json::Value& line : lines) {
        EXPECT_EQ(line["method"].asString(), "RequestSync");
        EXPECT_EQ(line["subject"].asString(), "KAE/GET/PRESENCE_DISTANCE/");
        EXPECT_EQ(line["result"].asInt(), 0);
        EXPECT_EQ(line["output"]["detection"].asInt(), 1) << "two people walk within reach";
        EXPECT_EQ(line["output"]["distance"].asString(), lines[0]["output"]["distance"].asString())
            << "one published reading answers every read";
    }
    // The first read at once, the two others one and two periods later.
    EXPECT_GE(elapsed, std::chrono::milliseconds(200));
}

TEST_F(ConsoleTest, ReadEveryOutlivesAStalledServiceAndEndsWhenItLeaves) {
    Subprocess& service = StartPipeline();
    Subprocess& reads = StartClient(
        {Bin("kae-test-console"), "read", "presence", "--every", "50", "--timeout", "200"});
    ASSERT_TRUE(reads.WaitForStdout("presence -1", kWaitMs)) << reads.Stderr();

    // A service that does not answer costs reads, not the loop.
    ASSERT_TRUE(service.Signal(SIGSTOP));
    ASSERT_TRUE(reads.WaitForStderr("no answer to RequestSync", kWaitMs)) << reads.Stderr();
    ASSERT_TRUE(service.Signal(SIGCONT));
    int before = CountOccurrences(reads.Stdout(), "\n");
    EXPECT_TRUE(
        PollUntil(kWaitMs, [&]() { return CountOccurrences(reads.Stdout(), "\n") >= before + 2; }))
        << reads.Stdout() << reads.Stderr();
    EXPECT_TRUE(reads.IsRunning());

    ASSERT_TRUE(service.Signal(SIGTERM));
    int status = -1;
    ASSERT_TRUE(reads.WaitExit(kWaitMs, &status)) << "reads went on without a service";
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 1) << status;
    EXPECT_NE(reads.Stderr().find("left the system bus"), std::string::npos) << reads.Stderr();
}
