// kae-test-console against the real service on a private system bus.
#include <json/json.h>
#include <signal.h>
#include <sys/wait.h>

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
};

std::vector<Json::Value> JsonLines(const std::string& text) {
    std::vector<Json::Value> values;
    std::istringstream lines(text);
    std::string line;
    Json::CharReaderBuilder builder;
    while (std::getline(lines, line)) {
        Json::Value value;
        std::string errors;
        std::istringstream in(line);
        if (!line.empty() && Json::parseFromStream(builder, in, &value, &errors)) {
            values.push_back(value);
        }
    }
    return values;
}

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
    for (const auto& args :
         std::vector<std::vector<std::string>>{{"enable"}, {"read", "presence"}}) {
        CommandResult result = Console(args);
        EXPECT_TRUE(result.finished);
        EXPECT_EQ(result.exitCode, 1);
        EXPECT_NE(result.err.find("not running"), std::string::npos) << result.err;
    }
}

TEST_F(ConsoleTest, BadCommandLinesAreUsageErrors) {
    for (const auto& args : std::vector<std::vector<std::string>>{
             {}, {"frobnicate"}, {"read"}, {"read", "nothing"}, {"watch", "--count", "x"}}) {
        CommandResult result = Console(args);
        EXPECT_EQ(result.exitCode, 2) << (args.empty() ? "" : args[0]);
    }
}
