#include "SimulatedTv.h"

#include <dirent.h>
#include <errno.h>
#include <string.h>

#include <algorithm>
#include <cctype>
#include <sstream>

#include "DsfStore.h"
#include "KpiEventLog.h"
#include "KpiReport.h"
#include "PlatformStore.h"
#include "RadarConfig.h"
#include "RadarSource.h"
#include "VconfStore.h"

namespace {

using Type = PlatformStore::Type;

const char kRotationKey[] = "db/sysman/rotation_state";
const char kSensorKey[] = "memory/motion-sensor-service/motion_sensor_state";
const char kCountryKey[] = "db/comss/countrycode";
const char kAgreementKey[] = "db/homedatacontrol/disclaimeragrees";
const char kCurrentApp[] = "R/App/Current";
const char kAppChange[] = "P/App/Change";

// A choice on the page and what it stands for in the TV's stores.
struct Choice {
    const char* name;
    const char* stored;
};

// The apps in front that change what the service does: the TV viewer lets
// it sense, a streaming app (Netflix) and the KIV app make it keep to
// presence mode.
const Choice kApps[] = {{"tv-viewer", "org.tizen.tv-viewer"},
                        {"netflix", "org.tizen.netflix-app"},
                        {"kiv", "org.tizen.kiv-app"}};
const Choice kRotations[] = {{"landscape", "1"}, {"portrait", "0"}};
// The sensor's claim as other programs of the TV write it.
const Choice kSensor[] = {{"free", "0"}, {"claimed", "2"}};
const Choice kAgreements[] = {{"agreed", "{\"presence\":\"true\"}"},
                              {"refused", "{\"presence\":\"false\"}"}};
const Choice kFaults[] = {{"init", RadarConfig::kFaultInit},
                          {"presence", RadarConfig::kFaultPresence},
                          {"no-stream", RadarConfig::kFaultNoStream}};

template <size_t N>
const Choice* Find(const Choice (&choices)[N], const std::string& name) {
    for (const Choice& choice : choices) {
        if (name == choice.name) {
            return &choice;
        }
    }
    return nullptr;
}

template <size_t N>
Json::Value NameOf(const Choice (&choices)[N], const std::string& stored) {
    for (const Choice& choice : choices) {
        if (stored == choice.stored) {
            return choice.name;
        }
    }
    return stored;  // a value set by other means is shown as it is
}

template <size_t N>
std::string Names(const Choice (&choices)[N]) {
    std::string names;
    for (const Choice& choice : choices) {
        names += (names.empty() ? "" : ", ") + std::string(choice.name);
    }
    return names;
}

Json::Value Stored(const std::string& area, const std::string& key) {
    PlatformStore::Value value;
    if (PlatformStore::Read(area, key, &value) != 0) {
        return Json::Value();
    }
    return value.text;
}

bool Written(int ret, const std::string& what, std::string* error) {
    if (ret != 0) {
        *error = "cannot write " + what + ": " + strerror(-ret);
    }
    return ret == 0;
}

std::string Basename(const std::string& path) {
    size_t slash = path.rfind('/');
    std::string name = slash == std::string::npos ? path : path.substr(slash + 1);
    if (name.size() > 5 && name.compare(name.size() - 5, 5, ".json") == 0) {
        name.resize(name.size() - 5);
    }
    return name;
}

bool SetApp(const std::string& value, std::string* error) {
    const Choice* app = Find(kApps, value);
    if (app == nullptr) {
        *error = "app \"" + value + "\" is not one of " + Names(kApps);
        return false;
    }
    const std::string id = app->stored;
    // What a new reader of the data service finds, then the event that the
    // service's context collector hears.
    return Written(DsfStore::SetAnswer(kCurrentApp, nullptr, "{\"AppId\":\"" + id + "\"}"),
                   kCurrentApp, error) &&
           Written(
               DsfStore::Publish(kAppChange, "{\"EventType\":\"Launch\",\"AppId\":\"" + id + "\"}"),
               kAppChange, error);
}

template <size_t N>
bool SetVconfChoice(const Choice (&choices)[N], const char* control, const char* key, Type type,
                    const std::string& value, std::string* error) {
    const Choice* choice = Find(choices, value);
    if (choice == nullptr) {
        *error = std::string(control) + " \"" + value + "\" is not one of " + Names(choices);
        return false;
    }
    return Written(VconfStore::Set(key, {type, choice->stored}), key, error);
}

bool SetCountry(const std::string& value, std::string* error) {
    if (value.size() != 2 || !isupper(static_cast<unsigned char>(value[0])) ||
        !isupper(static_cast<unsigned char>(value[1]))) {
        *error = "country \"" + value + "\" is not two capital letters (US, DE, JP, ...)";
        return false;
    }
    return Written(VconfStore::Set(kCountryKey, {Type::String, value}), kCountryKey, error);
}

bool SetScene(const std::string& value, std::string* error) {
    const std::vector<std::string> scenes = CSimulatedTv::Scenes();
    if (std::find(scenes.begin(), scenes.end(), value) == scenes.end()) {
        *error = "no shipped scene \"" + value + "\"";
        return false;
    }
    const std::string path = std::string(TESSIVO_SCENE_DIR) + "/" + value + ".json";
    return Written(
               PlatformStore::Write(RadarConfig::kArea, RadarConfig::kScene, {Type::String, path}),
               "radar/scene", error) &&
           Written(PlatformStore::Write(RadarConfig::kArea, RadarConfig::kSource,
                                        {Type::String, RadarConfig::kSourceScene}),
                   "radar/source", error);
}

bool SetRecording(const std::string& value, std::string* error) {
    if (value.empty() || value[0] != '/') {
        *error = "a recording is given by its absolute path";
        return false;
    }
    RadarSourceSettings settings;
    settings.kind = RadarSourceSettings::Kind::Recording;
    settings.path = value;
    settings.loop = true;
    std::string problem;
    if (!RadarSource::Load(settings, false, &problem, nullptr)) {
        *error = "cannot replay " + value + ": " + problem;
        return false;
    }
    return Written(PlatformStore::Write(RadarConfig::kArea, RadarConfig::kRecording,
                                        {Type::String, value}),
                   "radar/recording", error) &&
           Written(
               PlatformStore::Write(RadarConfig::kArea, RadarConfig::kLoop, {Type::Bool, "true"}),
               "radar/loop", error) &&
           Written(PlatformStore::Write(RadarConfig::kArea, RadarConfig::kSource,
                                        {Type::String, RadarConfig::kSourceRecording}),
                   "radar/source", error);
}

bool SetFault(const std::string& value, std::string* error) {
    if (value == "clear") {
        for (const Choice& fault : kFaults) {
            if (!Written(
                    PlatformStore::Write(RadarConfig::kArea, fault.stored, {Type::Bool, "false"}),
                    fault.stored, error)) {
                return false;
            }
        }
        return true;
    }
    size_t blank = value.find(' ');
    const Choice* fault = Find(kFaults, value.substr(0, blank));
    const std::string state = blank == std::string::npos ? "" : value.substr(blank + 1);
    if (fault == nullptr || (state != "on" && state != "off")) {
        *error = "fault \"" + value +
                 "\" is not \"NAME on\", \"NAME off\" (NAME: " + Names(kFaults) + ") or \"clear\"";
        return false;
    }
    return Written(PlatformStore::Write(RadarConfig::kArea, fault->stored,
                                        {Type::Bool, state == "on" ? "true" : "false"}),
                   std::string("radar/") + fault->stored, error);
}

}  // namespace

bool CSimulatedTv::Present() {
    PlatformStore::Value value;
    return PlatformStore::Read(RadarConfig::kArea, RadarConfig::kSource, &value) == 0;
}

std::string CSimulatedTv::Dir() {
    return PlatformStore::RootDir();
}

std::vector<std::string> CSimulatedTv::Scenes() {
    std::vector<std::string> names;
    DIR* dir = opendir(TESSIVO_SCENE_DIR);
    if (dir == nullptr) {
        return names;
    }
    while (struct dirent* entry = readdir(dir)) {
        std::string name = entry->d_name;
        if (name.size() > 5 && name.compare(name.size() - 5, 5, ".json") == 0) {
            names.push_back(name.substr(0, name.size() - 5));
        }
    }
    closedir(dir);
    std::sort(names.begin(), names.end());
    return names;
}

Json::Value CSimulatedTv::State() {
    Json::Value state(Json::objectValue);
    std::string answer;
    state["app"] = Json::Value();
    if (DsfStore::ReadAnswer(kCurrentApp, nullptr, &answer) == 0) {
        Json::CharReaderBuilder builder;
        Json::Value parsed;
        std::string errors;
        std::istringstream in(answer);
        if (Json::parseFromStream(builder, in, &parsed, &errors) && parsed.isObject() &&
            parsed["AppId"].isString()) {
            state["app"] = NameOf(kApps, parsed["AppId"].asString());
        }
    }
    const Json::Value rotation = Stored(VconfStore::kArea, kRotationKey);
    state["rotation"] = rotation.isNull() ? rotation : NameOf(kRotations, rotation.asString());
    const Json::Value sensor = Stored(VconfStore::kArea, kSensorKey);
    state["sensor"] = sensor.isNull() ? sensor : NameOf(kSensor, sensor.asString());
    state["country"] = Stored(VconfStore::kArea, kCountryKey);
    const Json::Value agreement = Stored(VconfStore::kArea, kAgreementKey);
    state["agreement"] = agreement.isNull() ? agreement : NameOf(kAgreements, agreement.asString());
    state["source"] = Stored(RadarConfig::kArea, RadarConfig::kSource);
    const Json::Value scene = Stored(RadarConfig::kArea, RadarConfig::kScene);
    state["scene"] = scene.isNull() ? scene : Json::Value(Basename(scene.asString()));
    state["recording"] = Stored(RadarConfig::kArea, RadarConfig::kRecording);
    Json::Value faults(Json::objectValue);
    for (const Choice& fault : kFaults) {
        faults[fault.name] = Stored(RadarConfig::kArea, fault.stored) == "true";
    }
    state["faults"] = faults;
    Json::Value scenes(Json::arrayValue);
    for (const std::string& name : Scenes()) {
        scenes.append(name);
    }
    state["scenes"] = scenes;
    Json::Value apps(Json::arrayValue);
    for (const Choice& app : kApps) {
        apps.append(app.name);
    }
    state["apps"] = apps;
    return state;
}

bool CSimulatedTv::Apply(const std::string& control, const std::string& value, std::string* error) {
    if (control == "app") {
        return SetApp(value, error);
    }
    if (control == "rotation") {
        return SetVconfChoice(kRotations, "rotation", kRotationKey, Type::Int, value, error);
    }
    if (control == "sensor") {
        return SetVconfChoice(kSensor, "sensor", kSensorKey, Type::Int, value, error);
    }
    if (control == "agreement") {
        return SetVconfChoice(kAgreements, "agreement", kAgreementKey, Type::String, value, error);
    }
    if (control == "country") {
        return SetCountry(value, error);
    }
    if (control == "scene") {
        return SetScene(value, error);
    }
    if (control == "recording") {
        return SetRecording(value, error);
    }
    if (control == "fault") {
        return SetFault(value, error);
    }
    *error = "unknown control \"" + control +
             "\" (app, rotation, sensor, country, agreement, scene, recording, fault)";
    return false;
}

bool CSimulatedTv::Truth(RadarTruthFrame* frame, std::string* problem) {
    int ret = RadarTruthFile::Read(frame, problem);
    if (ret == -ENOENT) {
        *problem = "no frame delivered yet";
    } else if (ret == -EIO) {
        *problem = "cannot read " + RadarTruthFile::PathOf();
    }
    return ret == 0;
}

Json::Value CSimulatedTv::KpiReports(size_t count) {
    Json::Value reports(Json::arrayValue);
    std::vector<KpiEventLog::Line> lines;
    if (KpiEventLog::ReadAll(&lines) != 0) {
        return reports;
    }
    std::vector<Json::Value> parsed;
    for (const KpiEventLog::Line& line : lines) {
        Json::Value report;
        std::string problem;
        if (line.valid && KpiReport::Parse(line.event.description, &report, &problem)) {
            report["time"] = static_cast<Json::Int64>(line.event.time);
            parsed.push_back(report);
        }
    }
    size_t first = parsed.size() > count ? parsed.size() - count : 0;
    for (size_t i = first; i < parsed.size(); ++i) {
        reports.append(parsed[i]);
    }
    return reports;
}
