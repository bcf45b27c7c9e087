#include "DefaultTv.h"

#include "DsfStore.h"
#include "KpiEventLog.h"
#include "RadarCommands.h"
#include "RadarConfig.h"
#include "SettingsStore.h"
#include "VconfStore.h"

namespace {

const char kPortFlagPrefix[] = "db/device-detector-service/port";
const char kPortFlagSuffix[] = "_change_flag";
constexpr int kHdmiPorts = 6;

std::string PortFlag(int port) {
    return kPortFlagPrefix + std::to_string(port) + kPortFlagSuffix;
}

// What the data service answers on the default TV: the TV viewer in front on
// HDMI1, broadcast not playing, a valid clock, viewing allowed.
struct DsfAnswer {
    const char* subject;
    const char* json;
};

const DsfAnswer kDsfAnswers[] = {
    {"R/App/Current", R"({"AppId":"org.tizen.tv-viewer"})"},
    {"R/Source/Status",
     R"({"HDMI1":[{"DeviceName":"Game Console","DeviceType":"GameConsole","Connected":1}],)"
     R"("HDMI2":[{"DeviceName":"Set-top Box","DeviceType":"STB","Connected":1}],)"
     R"("HDMI3":[{"DeviceName":"Blu-ray Player","DeviceType":"BDPlayer","Connected":1}],)"
     R"("TV":[{"DeviceName":"Antenna","DeviceType":"Tuner","Connected":1}]})"},
    {"R/Broadcast/Program/Current",
     R"({"TVSStatus":"Deactivate","Channel":"7-1","ProgramTitle":"Evening News",)"
     R"("Genre":"News"})"},
    {"R/Broadcast/Status/Current", R"({"TVSStatus":"Deactivate","Source":"TV"})"},
    {"R/Source/Hdmi/PortStatus",
     R"({"HDMI1":{"Connected":1},"HDMI2":{"Connected":1},"HDMI3":{"Connected":1},)"
     R"("HDMI4":{"Connected":0}})"},
    {"R/Time/Valid", R"({"valid":1})"},
    {"R/Time/Current", R"({"time":1717268400,"timezone":"America/New_York"})"},
    {"R/Time/Saved", R"({"time":1717264800,"timezone":"America/New_York"})"},
    {"R/Policy/ViewingPolicy", R"({"state":1})"},
    {"R/Policy/VoicePolicy", R"({"state":1})"},
    {"R/Power/Reset", R"({"reason":"PowerOn","count":0})"},
};

// The answer for one HDMI port, read with its change flag as the argument.
std::string PortStatus(int port) {
    bool connected = port <= 3;
    return "{\"Port\":\"HDMI" + std::to_string(port) +
           "\",\"Connected\":" + (connected ? "1" : "0") + ",\"Changed\":0}";
}

}  // namespace

const std::vector<SeedValue>& DefaultTvValues() {
    using T = PlatformStore::Type;
    static const std::vector<SeedValue> kValues = [] {
        std::vector<SeedValue> values = {
            {"features", "com.norvale/featureconf/tavlo_tv", {T::Bool, "true"}},
            {VconfStore::kArea, "memory/motion-sensor-service/motion_sensor_state", {T::Int, "0"}},
            {VconfStore::kArea, "db/sysman/rotation_state", {T::Int, "1"}},
            {VconfStore::kArea,
             "db/homedatacontrol/disclaimeragrees",
             {T::String, "{\"presence\":\"true\"}"}},
            {VconfStore::kArea, "db/comss/countrycode", {T::String, "US"}},
            {VconfStore::kArea, "memory/data-service/ready", {T::Int, "1"}},
            // "memory/brix/last_service" is absent on this TV.
            {SettingsStore::kArea,
             SettingsStore::KeyOf(SettingsStore::kSourceType),
             {T::String, "SOURCE_TYPE_HDMI1"}},
            // A radar module that passes its check and sees people walking.
            {RadarConfig::kArea, RadarConfig::kSource, {T::String, RadarConfig::kSourceScene}},
            {RadarConfig::kArea, RadarConfig::kScene, {T::String, DefaultRadarScene()}},
            {RadarConfig::kArea, RadarConfig::kSpi, {T::Bool, "true"}},
            {RadarConfig::kArea, RadarConfig::kSensitivity, {T::Int, "2"}},
            {RadarConfig::kArea, RadarConfig::kFirmware, {T::Double, "1.0"}},
            {RadarConfig::kArea, RadarConfig::kFaultInit, {T::Bool, "false"}},
            {RadarConfig::kArea, RadarConfig::kFaultPresence, {T::Bool, "false"}},
            {RadarConfig::kArea, RadarConfig::kFaultNoStream, {T::Bool, "false"}},
            {RadarConfig::kArea, RadarConfig::kFaultNullSliceEvery, {T::Int, "0"}},
            {RadarConfig::kArea, RadarConfig::kFaultDropSliceEvery, {T::Int, "0"}},
        };
        for (int port = 1; port <= kHdmiPorts; ++port) {
            values.push_back({VconfStore::kArea, PortFlag(port), {T::Int, "0"}});
        }
        for (const DsfAnswer& answer : kDsfAnswers) {
            values.push_back({DsfStore::kArea,
                              DsfStore::AnswerKey(answer.subject, nullptr),
                              {T::String, answer.json}});
        }
        for (int port = 1; port <= kHdmiPorts; ++port) {
            values.push_back(
                {DsfStore::kArea,
                 DsfStore::AnswerKey("R/Source/Hdmi/PortStatus", PortFlag(port).c_str()),
                 {T::String, PortStatus(port)}});
        }
        return values;
    }();
    return kValues;
}

const std::vector<std::string>& PlatformAreas() {
    static const std::vector<std::string> kAreas = {"features",           VconfStore::kArea,
                                                    SettingsStore::kArea, DsfStore::kArea,
                                                    RadarConfig::kArea,   KpiEventLog::kArea};
    return kAreas;
}
