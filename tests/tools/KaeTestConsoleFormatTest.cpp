#include <gtest/gtest.h>
#include <json/json.h>

#include <memory>
#include <string>
#include <vector>

#include "ConsoleFormat.h"
#include "ConsoleOptions.h"
#include "StatusFormat.h"

namespace {

const char kWhiteList[] =
    "{\"WhiteList\":[\"sensord\",\"apps/org.tizen.kiv-app/bin/KivApp.dll\","
    "\"apps/com.norvale.tv.KAEDemoViewer/bin/KAEDemoViewer.dll\",\"kae-test-console\"]}";

const char kOneTrack[] =
    "{\"result\":[{\"segments\":[{\"num_of_segment\":6,\"segment\":\"0,1,0,0,0,0\"}],"
    "\"tracks\":[{\"angle\":-12.5,\"id\":1.0,\"range\":1.75,\"velocity\":0.25}]}],"
    "\"status\":\"success\"}";

// Parses one printed line strictly; fails the test when it is not one JSON
// object alone on its line.
Json::Value ParseLine(const std::string& line) {
    EXPECT_EQ(line.find('\n'), std::string::npos) << line;
    Json::CharReaderBuilder builder;
    builder["failIfExtra"] = true;
    std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    Json::Value value;
    std::string errors;
    EXPECT_TRUE(reader->parse(line.data(), line.data() + line.size(), &value, &errors))
        << line << ": " << errors;
    EXPECT_TRUE(value.isObject()) << line;
    return value;
}

bool Parse(const std::vector<std::string>& args, ConsoleOptions* options, std::string* error) {
    return ParseConsoleOptions(args, options, error);
}

}  // namespace

TEST(KaeTestConsoleOptions, ParsesCommandsWithOptionsOnEitherSide) {
    ConsoleOptions options;
    std::string error;
    ASSERT_TRUE(Parse({"read", "presence"}, &options, &error)) << error;
    EXPECT_EQ(options.command, ConsoleCommand::READ_PRESENCE);
    EXPECT_FALSE(options.json);
    EXPECT_EQ(options.count, 0);
    EXPECT_EQ(options.everyMs, 0);
    EXPECT_EQ(options.timeoutMs, kConsoleDefaultTimeoutMs);

    ASSERT_TRUE(Parse({"--json", "read", "distance", "--timeout", "250"}, &options, &error));
    EXPECT_EQ(options.command, ConsoleCommand::READ_DISTANCE);
    EXPECT_TRUE(options.json);
    EXPECT_EQ(options.timeoutMs, 250);

    ASSERT_TRUE(Parse({"watch", "--count", "3"}, &options, &error)) << error;
    EXPECT_EQ(options.command, ConsoleCommand::WATCH);
    EXPECT_EQ(options.count, 3);

    ASSERT_TRUE(Parse({"--count=2", "--timeout=100", "subscribe", "--json"}, &options, &error));
    EXPECT_EQ(options.command, ConsoleCommand::SUBSCRIBE);
    EXPECT_EQ(options.count, 2);
    EXPECT_EQ(options.timeoutMs, 100);
    EXPECT_TRUE(options.json);

    ASSERT_TRUE(Parse({"status", "-f", "--count", "2", "--json"}, &options, &error)) << error;
    EXPECT_EQ(options.command, ConsoleCommand::STATUS);
    EXPECT_TRUE(options.follow);
    EXPECT_EQ(options.count, 2);

    ASSERT_TRUE(Parse({"--", "enable"}, &options, &error)) << error;
    EXPECT_EQ(options.command, ConsoleCommand::ENABLE);
    EXPECT_FALSE(options.help);
}

TEST(KaeTestConsoleOptions, EveryAppliesToReadsAndCountThenCountsTheReads) {
    ConsoleOptions options;
    std::string error;
    ASSERT_TRUE(Parse({"read", "presence", "--every", "500"}, &options, &error)) << error;
    EXPECT_EQ(options.command, ConsoleCommand::READ_PRESENCE);
    EXPECT_EQ(options.everyMs, 500);
    EXPECT_EQ(options.count, 0);

    ASSERT_TRUE(
        Parse({"--every=500", "--json", "read", "distance", "--count", "3"}, &options, &error))
        << error;
    EXPECT_EQ(options.command, ConsoleCommand::READ_DISTANCE);
    EXPECT_EQ(options.everyMs, 500);
    EXPECT_EQ(options.count, 3);
    EXPECT_TRUE(options.json);

    ASSERT_TRUE(Parse({"read", "distance", "--every", "1", "--timeout=20"}, &options, &error))
        << error;
    EXPECT_EQ(options.everyMs, 1);
    EXPECT_EQ(options.timeoutMs, 20);

    // The reason names the option that does not fit the command.
    EXPECT_FALSE(Parse({"watch", "--every", "500"}, &options, &error));
    EXPECT_NE(error.find("--every"), std::string::npos) << error;
    EXPECT_FALSE(Parse({"read", "presence", "--every", "0"}, &options, &error));
    EXPECT_NE(error.find("--every"), std::string::npos) << error;
    EXPECT_FALSE(Parse({"read", "presence", "--count", "3"}, &options, &error));
    EXPECT_NE(error.find("--count"), std::string::npos) << error;
}

TEST(KaeTestConsoleOptions, HelpWinsOverEverythingElse) {
    ConsoleOptions options;
    std::string error;
    ASSERT_TRUE(Parse({"--bogus", "nonsense", "--help"}, &options, &error));
    EXPECT_TRUE(options.help);
    ASSERT_TRUE(Parse({"-h"}, &options, &error));
    EXPECT_TRUE(options.help);
    // After "--" it is a word, and not a known command.
    EXPECT_FALSE(Parse({"--", "--help"}, &options, &error));
}

TEST(KaeTestConsoleOptions, RejectsBadCommandLinesWithAReason) {
    const std::vector<std::vector<std::string>> bad = {
        {},
        {"bogus"},
        {"read"},
        {"read", "temperature"},
        {"enable", "extra"},
        {"read", "presence", "extra"},
        {"watch", "--count"},
        {"watch", "--count", "0"},
        {"watch", "--count", "-1"},
        {"watch", "--count", "3x"},
        {"watch", "--count", " 3"},
        {"watch", "--count", "99999999999"},
        {"watch", "--count="},
        {"--timeout", "abc", "enable"},
        {"--timeout", "0", "enable"},
        {"--count", "2", "enable"},
        {"read", "presence", "--count", "2"},
        {"read", "presence", "--every"},
        {"read", "presence", "--every", "0"},
        {"read", "presence", "--every", "-100"},
        {"read", "presence", "--every", "1.5"},
        {"read", "presence", "--every", "500ms"},
        {"read", "presence", "--every="},
        {"read", "distance", "--every=2147483648"},
        {"watch", "--every", "500"},
        {"--every=500", "subscribe"},
        {"enable", "--every", "500"},
        {"--every", "500"},
        {"--jsonx", "enable"},
        {"-x", "enable"},
        {"--json"},
        // --follow is for status, and a count counts the followed changes.
        {"watch", "--follow"},
        {"status", "--count", "2"},
        {"status", "--every", "500"},
        {"status", "extra"},
    };
    for (const auto& args : bad) {
        ConsoleOptions options;
        options.timeoutMs = 1234;
        std::string error;
        std::string joined;
        for (const auto& arg : args) {
            joined += "[" + arg + "]";
        }
        EXPECT_FALSE(Parse(args, &options, &error)) << joined;
        EXPECT_FALSE(error.empty()) << joined;
        EXPECT_EQ(options.timeoutMs, 1234) << "options changed by a failed parse: " << joined;
        EXPECT_EQ(options.command, ConsoleCommand::NONE) << joined;
    }
}

TEST(KaeTestConsoleFormat, ActivityResultBecomesOneCompactLine) {
    EXPECT_EQ(
        ConsoleFormat::ActivityHuman(kOneTrack),
        "segments 0,1,0,0,0,0 | 1 track: id 1 range 1.75 m angle -12.50 deg velocity 0.25 m/s");

    // Float values widened to double, as the service writes them.
    const std::string twoTracks =
        "{\"result\":[{\"segments\":[{\"num_of_segment\":6,\"segment\":\"1,1,0,0,0,2\"}],"
        "\"tracks\":[{\"angle\":-12.5,\"id\":1.0,\"range\":1.2000000476837158,\"velocity\":0.25},"
        "{\"angle\":20.0,\"id\":7.0,\"range\":3.0999999046325684,\"velocity\":-0.4000000059604645}"
        "]}],\"status\":\"success\"}";
    EXPECT_EQ(
        ConsoleFormat::ActivityHuman(twoTracks),
        "segments 1,1,0,0,0,2 | 2 tracks: id 1 range 1.20 m angle -12.50 deg velocity 0.25 m/s; "
        "id 7 range 3.10 m angle 20.00 deg velocity -0.40 m/s");

    const std::string noTracks =
        "{\"result\":[{\"segments\":[{\"num_of_segment\":6,\"segment\":\"0,0,0,0,0,0\"}]}],"
        "\"status\":\"success\"}";
    EXPECT_EQ(ConsoleFormat::ActivityHuman(noTracks), "segments 0,0,0,0,0,0 | no tracks");

    const std::string failed =
        "{\"result\":[{\"segments\":[{\"num_of_segment\":6,\"segment\":\"0,0,0,0,0,0\"}]}],"
        "\"status\":\"failure\"}";
    EXPECT_EQ(ConsoleFormat::ActivityHuman(failed),
              "status failure, segments 0,0,0,0,0,0 | no tracks");

    EXPECT_EQ(
        ConsoleFormat::SignalHuman(kConsolePublishedResult, KAE_SUBJECT_TRACK_SEGMENT, kOneTrack),
        "TRACK_SEGMENT segments 0,1,0,0,0,0 | 1 track: id 1 range 1.75 m angle -12.50 deg "
        "velocity 0.25 m/s");
}

TEST(KaeTestConsoleFormat, UnexpectedActivityDocumentsFallBackToTheRawText) {
    const std::vector<std::string> unexpected = {
        "",
        "not json",
        "[]",
        "{}",
        "{\"result\":[]}",
        "{\"result\":[{\"segments\":[]}]}",
        "{\"result\":[{\"segments\":[{\"segment\":6}]}]}",
        "{\"result\":[{\"segments\":[{\"segment\":\"0,0,0,0,0,0\"}],\"tracks\":{}}]}",
        "{\"result\":[{\"segments\":[{\"segment\":\"0,0,0,0,0,0\"}],\"tracks\":[1]}]}",
        "{\"result\":[{\"segments\":[{\"segment\":\"0,0,0,0,0,0\"}],"
        "\"tracks\":[{\"id\":1,\"range\":\"far\",\"angle\":0,\"velocity\":0}]}]}",
        "{\"result\":[{\"segments\":[{\"segment\":\"0,0,0,0,0,0\"}],"
        "\"tracks\":[{\"id\":1,\"range\":1,\"angle\":0}]}]}",
    };
    for (const auto& text : unexpected) {
        EXPECT_EQ(ConsoleFormat::ActivityHuman(text), "") << text;
        EXPECT_EQ(
            ConsoleFormat::SignalHuman(kConsolePublishedResult, KAE_SUBJECT_TRACK_SEGMENT, text),
            "TRACK_SEGMENT unrecognised result: " + text);
    }
}

TEST(KaeTestConsoleFormat, SignalsForAPersonStayOnOneLine) {
    EXPECT_EQ(ConsoleFormat::SignalHuman(0, KAE_SUBJECT_HELLO, kWhiteList),
              "HELLO service started; white list: sensord, apps/org.tizen.kiv-app/bin/KivApp.dll, "
              "apps/com.norvale.tv.KAEDemoViewer/bin/KAEDemoViewer.dll, kae-test-console");
    EXPECT_EQ(ConsoleFormat::SignalHuman(0, KAE_SUBJECT_HELLO, "odd\ntext"),
              "HELLO service started; odd\\ntext");
    EXPECT_EQ(ConsoleFormat::SignalHuman(0, KAE_SUBJECT_BYE, "{}"), "BYE service stopping");
    // A result that is not the usual one for the subject is shown.
    EXPECT_EQ(ConsoleFormat::SignalHuman(-3, KAE_SUBJECT_BYE, "{}"),
              "BYE service stopping (result -3 (refused or duplicate))");
    EXPECT_EQ(ConsoleFormat::SignalHuman(0, KAE_SUBJECT_TRACK_SEGMENT, kOneTrack),
              "TRACK_SEGMENT segments 0,1,0,0,0,0 | 1 track: id 1 range 1.75 m angle -12.50 deg "
              "velocity 0.25 m/s (result 0 (done))");
    EXPECT_EQ(ConsoleFormat::SignalHuman(7, "OTHER\t1", "a\r\nb\x01"),
              "Response OTHER\\t1 result 7: a\\r\\nb\\x01");
}

TEST(KaeTestConsoleFormat, JsonLinesKeepTheirKeysAndEscapeEverything) {
    Json::Value hello = ParseLine(ConsoleFormat::SignalJson(0, "HELLO", kWhiteList));
    EXPECT_EQ(ConsoleFormat::SignalJson(0, "HELLO", "{}"),
              "{\"signal\":\"Response\",\"result\":0,\"subject\":\"HELLO\",\"output\":{}}");
    EXPECT_EQ(hello["signal"].asString(), "Response");
    EXPECT_EQ(hello["result"].asInt(), 0);
    EXPECT_EQ(hello["subject"].asString(), "HELLO");
    ASSERT_TRUE(hello["output"]["WhiteList"].isArray());
    EXPECT_EQ(hello["output"]["WhiteList"].size(), 4u);
    EXPECT_EQ(hello["output"]["WhiteList"][3].asString(), "kae-test-console");

    // Awkward text survives a round trip as a string, on one line.
    const std::string subject = "quote\" back\\slash\nnew\ttab\x01 \xc3\xa9t\xc3\xa9";
    const std::string output = "not json: \"x\"\n{";
    Json::Value awkward = ParseLine(ConsoleFormat::SignalJson(-1, subject, output));
    EXPECT_EQ(awkward["subject"].asString(), subject);
    EXPECT_EQ(awkward["output"].asString(), output);
    EXPECT_EQ(awkward["result"].asInt(), -1);

    // A document spread over lines comes out compact, values intact.
    Json::Value pretty = ParseLine(
        ConsoleFormat::SignalJson(10, "S", "{\n  \"a\" : [ 1, 2.5 ],\n  \"b\" : \"x\"\n}"));
    EXPECT_EQ(pretty["output"]["a"][1].asDouble(), 2.5);
    EXPECT_EQ(pretty["output"]["b"].asString(), "x");
}

TEST(KaeTestConsoleFormat, OutputIsEmbeddedAsJsonOnlyWhenItIsOneWholeValue) {
    EXPECT_EQ(ConsoleFormat::JsonOutputValue("1"), "1");
    EXPECT_EQ(ConsoleFormat::JsonOutputValue("-4"), "-4");
    EXPECT_EQ(ConsoleFormat::JsonOutputValue(" {\"detection\":1,\"distance\":\"1.28\"} "),
              "{\"detection\":1,\"distance\":\"1.28\"}");
    EXPECT_EQ(ConsoleFormat::JsonOutputValue("1 2"), "\"1 2\"");
    EXPECT_EQ(ConsoleFormat::JsonOutputValue("{} x"), "\"{} x\"");
    EXPECT_EQ(ConsoleFormat::JsonOutputValue("/*c*/ {}"), "\"/*c*/ {}\"");
    EXPECT_EQ(ConsoleFormat::JsonOutputValue("NULL"), "\"NULL\"");
    EXPECT_EQ(ConsoleFormat::JsonOutputValue(""), "\"\"");
    EXPECT_EQ(ConsoleFormat::JsonOutputValue("{'a':1}"), "\"{'a':1}\"");
}

TEST(KaeTestConsoleFormat, MethodAnswers) {
    EXPECT_EQ(ConsoleFormat::RequestHuman(KAE_SUBJECT_PRESENCE, 0, "1"),
              "KAE/GET/PRESENCE/ result 0 (done): presence 1");
    EXPECT_EQ(ConsoleFormat::RequestHuman(KAE_SUBJECT_PRESENCE_DISTANCE, 0,
                                          "{\"detection\":1,\"distance\":\"1.28\"}"),
              "KAE/GET/PRESENCE_DISTANCE/ result 0 (done): detection 1, distance 1.28 m");
    // A failed read's mark is no distance in metres.
    EXPECT_EQ(ConsoleFormat::RequestHuman(KAE_SUBJECT_PRESENCE_DISTANCE, 0,
                                          "{\"detection\":-4,\"distance\":\"-4.00\"}"),
              "KAE/GET/PRESENCE_DISTANCE/ result 0 (done): detection -4, distance -4.00");
    EXPECT_EQ(ConsoleFormat::RequestHuman(KAE_SUBJECT_PRESENCE_DISTANCE, -4, "{}"),
              "KAE/GET/PRESENCE_DISTANCE/ result -4 (no presence data)");
    EXPECT_EQ(ConsoleFormat::RequestHuman(KAE_SUBJECT_PRESENCE_DISTANCE, 0, "{\"detection\":1}"),
              "KAE/GET/PRESENCE_DISTANCE/ result 0 (done): {\"detection\":1}");
    EXPECT_EQ(ConsoleFormat::RequestHuman(KAE_SUBJECT_PRESENCE, 0, ""),
              "KAE/GET/PRESENCE/ result 0 (done): ");
    EXPECT_EQ(ConsoleFormat::RequestHuman("X", 42, "{}"), "X result 42");

    EXPECT_EQ(ConsoleFormat::RequestJson(1, KAE_SUBJECT_PRESENCE, 0, "1"),
              "{\"method\":\"RequestSync\",\"type\":1,\"subject\":\"KAE/GET/PRESENCE/\","
              "\"result\":0,\"output\":1}");
    Json::Value distance = ParseLine(ConsoleFormat::RequestJson(
        1, KAE_SUBJECT_PRESENCE_DISTANCE, 0, "{\"detection\":1,\"distance\":\"1.28\"}"));
    EXPECT_EQ(distance["output"]["distance"].asString(), "1.28");

    EXPECT_EQ(ConsoleFormat::EnableHuman(true, kWhiteList),
              "tessivo service: enabled\nwhite list (4):\n  sensord\n"
              "  apps/org.tizen.kiv-app/bin/KivApp.dll\n"
              "  apps/com.norvale.tv.KAEDemoViewer/bin/KAEDemoViewer.dll\n  kae-test-console");
    EXPECT_EQ(ConsoleFormat::EnableHuman(false, "{\"WhiteList\":[1]}"),
              "tessivo service: not enabled\nwhite list: {\"WhiteList\":[1]}");
    Json::Value enable = ParseLine(ConsoleFormat::EnableJson(false, "broken"));
    EXPECT_EQ(enable["method"].asString(), "ServiceEnable");
    EXPECT_FALSE(enable["result"].asBool());
    EXPECT_EQ(enable["output"].asString(), "broken");
}

TEST(KaeTestConsoleFormat, StatusChangesForAPersonNameTheReasonTheyExplain) {
    Json::Value status;
    status["Mode"] = "presence";
    status["Reason"] = "timer";
    struct Case {
        const char* changed;
        const char* line;  // after the time of day
    };
    const Case cases[] = {
        {R"({"Streaming":false,"Reason":"app","ReasonText":"Netflix is in front.","Mode":"presence"})",
         "Mode presence, Reason app (Netflix is in front.), Streaming no"},
        // The sentence alone changed: the reason it explains is named.
        {R"({"ReasonText":"Nothing holds it."})", "Reason timer (Nothing holds it.)"},
        {R"({"Subscribers":2,"Future":"x\ny"})", "Subscribers 2, Future x\\ny"},
    };
    for (const Case& c : cases) {
        const Json::Value changed = ParseLine(c.changed);
        const std::string line = StatusFormat::ChangeHuman(changed, status, 1700000000000000);
        const size_t space = line.find(' ');
        ASSERT_NE(space, std::string::npos) << line;
        EXPECT_EQ(line.substr(space + 1), c.line) << c.changed;
    }
    EXPECT_EQ(StatusFormat::Timestamp(0, 1700000000000000), "never");
    const std::string ago = StatusFormat::Timestamp(1699999998500000, 1700000000000000);
    const std::string expected = ".500 (1.5 s ago)";
    ASSERT_GE(ago.size(), expected.size());
    EXPECT_EQ(ago.substr(ago.size() - expected.size()), expected) << ago;
}
