// tessivo-platform's commands for the TV's data (system settings, data
// service, vconf) and the default TV that init seeds; system settings as
// the service reads them.
#include <DSF.h>
#include <json/json.h>
#include <stdlib.h>
#include <system_settings.h>
#include <vconf.h>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "MainContextSupport.h"
#include "PlatformStore.h"
#include "SettingsStore.h"

using maincontext::PlatformDirTest;
using maincontext::RunTool;

namespace {

class TvDataToolTest : public PlatformDirTest {};

// The answer to a read as a JSON object; null when it is missing or not one.
Json::Value ReadObject(const char* subject, const char* argument = nullptr) {
    char* out = nullptr;
    if (DSF_Read_Sync(subject, argument, &out) != DSF_OK) {
        return Json::Value();
    }
    Json::CharReaderBuilder builder;
    std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    Json::Value root;
    std::string errors;
    bool parsed = reader->parse(out, out + strlen(out), &root, &errors);
    free(out);
    return parsed && root.isObject() ? root : Json::Value();
}

std::string SourceType() {
    char* value = nullptr;
    if (system_settings_get_value_string(SYSTEM_SETTINGS_KEY_SOURCE_TYPE, &value) !=
        SYSTEM_SETTINGS_ERROR_NONE) {
        return "(error)";
    }
    std::string text = value;
    free(value);
    return text;
}

}  // namespace

TEST_F(TvDataToolTest, InitSeedsTheTvViewerOnHdmi1WithItsDevicesAndAnswers) {
    ASSERT_EQ(RunTool({"init"}).exitCode, 0);
    EXPECT_EQ(SourceType(), "SOURCE_TYPE_HDMI1");
    for (int port = 1; port <= 6; ++port) {
        std::string key = "db/device-detector-service/port" + std::to_string(port) + "_change_flag";
        int flag = -1;
        EXPECT_EQ(vconf_get_int(key.c_str(), &flag), VCONF_OK) << key;
        EXPECT_EQ(flag, 0) << key;
        EXPECT_TRUE(ReadObject("R/Source/Hdmi/PortStatus", key.c_str()).isObject()) << key;
    }
    EXPECT_EQ(vconf_get_str("memory/brix/last_service"), nullptr);

    EXPECT_EQ(ReadObject("R/App/Current")["AppId"].asString(), "org.tizen.tv-viewer");
    Json::Value status = ReadObject("R/Source/Status");
    ASSERT_TRUE(status["HDMI1"].isArray());
    ASSERT_TRUE(status["HDMI2"].isArray());
    EXPECT_FALSE(status["HDMI1"][0]["DeviceName"].asString().empty());
    EXPECT_NE(status["HDMI1"][0]["DeviceName"], status["HDMI2"][0]["DeviceName"]);
    EXPECT_EQ(ReadObject("R/Time/Valid")["valid"].asInt(), 1);
    EXPECT_EQ(ReadObject("R/Policy/ViewingPolicy")["state"].asInt(), 1);
    for (const char* subject :
         {"R/Broadcast/Program/Current", "R/Broadcast/Status/Current", "R/Source/Hdmi/PortStatus",
          "R/Time/Current", "R/Time/Saved", "R/Policy/VoicePolicy", "R/Power/Reset"}) {
        EXPECT_TRUE(ReadObject(subject).isObject()) << subject;
    }

    // A second init takes back what was changed and added since.
    ASSERT_EQ(RunTool({"setting", "set", "source-type", "SOURCE_TYPE_TV"}).exitCode, 0);
    ASSERT_EQ(RunTool({"dsf", "set", "R/Extra", "{}"}).exitCode, 0);
    ASSERT_EQ(RunTool({"init"}).exitCode, 0);
    EXPECT_EQ(SourceType(), "SOURCE_TYPE_HDMI1");
    EXPECT_EQ(RunTool({"dsf", "get", "R/Extra"}).exitCode, 1);
}

TEST_F(TvDataToolTest, SettingsAndAnswersRoundTripThroughTheTool) {
    ASSERT_EQ(RunTool({"setting", "set", "10136", "SOURCE_TYPE_HDMI2"}).exitCode, 0);
    EXPECT_EQ(SourceType(), "SOURCE_TYPE_HDMI2");
    EXPECT_EQ(RunTool({"setting", "get", "source-type"}).out, "SOURCE_TYPE_HDMI2\n");

    const std::string port = "db/device-detector-service/port2_change_flag";
    ASSERT_EQ(RunTool({"dsf", "set", "R/Source/Hdmi/PortStatus", R"({"plain":1})"}).exitCode, 0);
    ASSERT_EQ(RunTool({"dsf", "set", "R/Source/Hdmi/PortStatus", R"({"port":2})", port}).exitCode,
              0);
    EXPECT_EQ(RunTool({"dsf", "get", "R/Source/Hdmi/PortStatus", port}).out, "{\"port\":2}\n");
    EXPECT_EQ(RunTool({"dsf", "get", "R/Source/Hdmi/PortStatus"}).out, "{\"plain\":1}\n");
    ASSERT_EQ(RunTool({"dsf", "unset", "R/Source/Hdmi/PortStatus", port}).exitCode, 0);
    EXPECT_EQ(RunTool({"dsf", "get", "R/Source/Hdmi/PortStatus", port}).out, "{\"plain\":1}\n");
}

TEST_F(TvDataToolTest, SystemSettingsRefuseUnknownKeysAndValuesThatAreNotText) {
    char* value = nullptr;
    EXPECT_EQ(system_settings_get_value_string(SYSTEM_SETTINGS_KEY_SOURCE_TYPE, &value),
              SYSTEM_SETTINGS_ERROR_NOT_SUPPORTED);
    ASSERT_EQ(PlatformStore::Write(SettingsStore::kArea, "10136", {PlatformStore::Type::Int, "4"}),
              0);
    EXPECT_EQ(system_settings_get_value_string(SYSTEM_SETTINGS_KEY_SOURCE_TYPE, &value),
              SYSTEM_SETTINGS_ERROR_INVALID_PARAMETER);
    EXPECT_EQ(system_settings_get_value_string(-1, &value),
              SYSTEM_SETTINGS_ERROR_INVALID_PARAMETER);
    EXPECT_EQ(system_settings_get_value_string(SYSTEM_SETTINGS_KEY_SOURCE_TYPE, nullptr),
              SYSTEM_SETTINGS_ERROR_INVALID_PARAMETER);
    EXPECT_EQ(value, nullptr);
}

TEST_F(TvDataToolTest, BadInputIsRefusedWithAClearMessageAndChangesNothing) {
    ASSERT_EQ(RunTool({"dsf", "set", "R/App/Current", R"({"AppId":"a"})"}).exitCode, 0);
    maincontext::ToolResult bad = RunTool({"dsf", "set", "R/App/Current", R"({"AppId":)"});
    EXPECT_EQ(bad.exitCode, 1);
    EXPECT_NE(bad.err.find("bad JSON"), std::string::npos) << bad.err;
    EXPECT_EQ(RunTool({"dsf", "set", "R/App/Current", "[1,2]"}).exitCode, 1);
    EXPECT_EQ(RunTool({"dsf", "get", "R/App/Current"}).out, "{\"AppId\":\"a\"}\n");
    EXPECT_EQ(RunTool({"dsf", "publish", "P/App/Change", "{} trailing"}).exitCode, 1);

    maincontext::ToolResult subject = RunTool({"dsf", "get", "../../etc"});
    EXPECT_EQ(subject.exitCode, 1);
    EXPECT_NE(subject.err.find("not a valid subject"), std::string::npos) << subject.err;
    maincontext::ToolResult none = RunTool({"dsf", "get", "R/Nothing"});
    EXPECT_EQ(none.exitCode, 1);
    EXPECT_NE(none.err.find("no data"), std::string::npos) << none.err;

    maincontext::ToolResult key = RunTool({"setting", "get", "source_type"});
    EXPECT_EQ(key.exitCode, 1);
    EXPECT_NE(key.err.find("not a setting"), std::string::npos) << key.err;
    EXPECT_EQ(RunTool({"setting", "get", "10136"}).exitCode, 1);

    maincontext::ToolResult type = RunTool({"vconf", "set", "db/x", "int", "1.5"});
    EXPECT_EQ(type.exitCode, 1);
    EXPECT_NE(type.err.find("not a int value"), std::string::npos) << type.err;
    // A bad command line: exit 2 and one line that says what and where the
    // usage is.
    const std::vector<std::vector<std::string>> badLines = {
        {"vconf", "set", "db/x", "long", "1"},
        {"dsf", "publish", "P/App/Change"},
        {"setting", "set", "10136"},
        {"set-app", "netflix"},
        {},
    };
    for (const std::vector<std::string>& line : badLines) {
        maincontext::ToolResult bad = RunTool(line);
        EXPECT_EQ(bad.exitCode, 2) << testing::PrintToString(line);
        EXPECT_EQ(std::count(bad.err.begin(), bad.err.end(), '\n'), 1) << bad.err;
        EXPECT_NE(bad.err.find("--help"), std::string::npos) << bad.err;
    }
}
