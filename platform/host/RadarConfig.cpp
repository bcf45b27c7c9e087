#include "RadarConfig.h"

#include <errno.h>

#include <climits>
#include <map>
#include <mutex>

#include "MotionSensorLog.h"
#include "PlatformStore.h"

namespace {

std::mutex g_problemsMutex;
// Last problem logged per key, so that a value read several times a second
// does not flood the log.
std::map<std::string, std::string> g_problems;

// Reads a key expecting `type`. Returns 0 with the text, -ENOENT, or another
// negative value with a description of what is wrong in *problem.
int ReadTyped(const char* key, PlatformStore::Type type, std::string* text, std::string* problem) {
    PlatformStore::Value value;
    int ret = PlatformStore::Read(RadarConfig::kArea, key, &value);
    if (ret == -ENOENT) {
        return ret;
    }
    if (ret != 0) {
        *problem = ret == -EINVAL ? "malformed value" : "cannot be read";
        return ret;
    }
    if (value.type != type) {
        *problem = std::string("holds a value of type ") + PlatformStore::TypeName(value.type) +
                   ", not " + PlatformStore::TypeName(type);
        return -EINVAL;
    }
    *text = value.text;
    return 0;
}

}  // namespace

void RadarConfig::_Problem(const char* key, const std::string& problem) {
    std::lock_guard<std::mutex> lock(g_problemsMutex);
    auto it = g_problems.find(key);
    if (it != g_problems.end() && it->second == problem) {
        return;
    }
    g_problems[key] = problem;
    MOTION_LOGE("configuration radar/%s: %s", key, problem.c_str());
}

void RadarConfig::_Fine(const char* key) {
    std::lock_guard<std::mutex> lock(g_problemsMutex);
    g_problems.erase(key);
}

void RadarConfig::_UseFallback(const char* key, int ret, const std::string& problem, bool required,
                               const std::string& fallbackText) {
    if (ret == -ENOENT && !required) {
        _Fine(key);
        return;
    }
    _Problem(key, (ret == -ENOENT ? std::string("not set") : problem) + ", using " + fallbackText);
}

bool RadarConfig::_ReadBool(const char* key, bool fallback, bool required) {
    std::string text;
    std::string problem;
    int ret = ReadTyped(key, PlatformStore::Type::Bool, &text, &problem);
    bool value = fallback;
    if (ret == 0 && PlatformStore::ParseBool(text, &value)) {
        _Fine(key);
        return value;
    }
    _UseFallback(key, ret, problem, required, fallback ? "true" : "false");
    return fallback;
}

int RadarConfig::_ReadInt(const char* key, int fallback, int minimum, int maximum, bool required,
                          bool* found) {
    std::string text;
    std::string problem;
    int ret = ReadTyped(key, PlatformStore::Type::Int, &text, &problem);
    int value = fallback;
    if (found != nullptr) {
        *found = false;
    }
    if (ret == 0 && PlatformStore::ParseInt(text, &value)) {
        if (value >= minimum && value <= maximum) {
            _Fine(key);
            if (found != nullptr) {
                *found = true;
            }
            return value;
        }
        ret = -EINVAL;
        problem = text + " is outside " + std::to_string(minimum) + ".." + std::to_string(maximum);
    }
    _UseFallback(key, ret, problem, required, std::to_string(fallback));
    return fallback;
}

double RadarConfig::_ReadDouble(const char* key, double fallback, bool required) {
    std::string text;
    std::string problem;
    int ret = ReadTyped(key, PlatformStore::Type::Double, &text, &problem);
    double value = fallback;
    if (ret == 0 && PlatformStore::ParseDouble(text, &value)) {
        _Fine(key);
        return value;
    }
    _UseFallback(key, ret, problem, required, std::to_string(fallback));
    return fallback;
}

std::string RadarConfig::_ReadString(const char* key, const std::string& fallback, bool required) {
    std::string text;
    std::string problem;
    int ret = ReadTyped(key, PlatformStore::Type::String, &text, &problem);
    if (ret == 0) {
        _Fine(key);
        return text;
    }
    _UseFallback(key, ret, problem, required, "\"" + fallback + "\"");
    return fallback;
}

RadarSourceSettings RadarConfig::ReadSourceSettings() {
    RadarSourceSettings settings;
    std::string source;
    std::string problem;
    int ret = ReadTyped(kSource, PlatformStore::Type::String, &source, &problem);
    if (ret == 0 && source == kSourceRecording) {
        settings.kind = RadarSourceSettings::Kind::Recording;
        _Fine(kSource);
    } else if (ret == 0 && source == kSourceScene) {
        _Fine(kSource);
    } else {
        _Problem(kSource, (ret == -ENOENT ? std::string("not set")
                           : ret == 0     ? "\"" + source + "\" is neither scene nor recording"
                                          : problem) +
                              ", using scene");
    }
    if (settings.kind == RadarSourceSettings::Kind::Recording) {
        settings.path = _ReadString(kRecording, "", true);
        settings.loop = _ReadBool(kLoop, false, false);
    } else {
        settings.path = _ReadString(kScene, "", true);
    }
    settings.seed = _ReadInt(kSeed, 0, INT_MIN, INT_MAX, false, &settings.hasSeed);
    return settings;
}

RadarStreamFaults RadarConfig::ReadStreamFaults() {
    RadarStreamFaults faults;
    faults.noStream = _ReadBool(kFaultNoStream, false, false);
    faults.nullSliceEvery = _ReadInt(kFaultNullSliceEvery, 0, 0, INT_MAX, false);
    faults.dropSliceEvery = _ReadInt(kFaultDropSliceEvery, 0, 0, INT_MAX, false);
    return faults;
}

std::string RadarConfig::ReadRecordPath() {
    return _ReadString(kRecord, "", false);
}

bool RadarConfig::ReadSpiPasses() {
    return _ReadBool(kSpi, true, true);
}

int RadarConfig::ReadSensitivity() {
    return _ReadInt(kSensitivity, kDefaultSensitivity, 1, 3, true);
}

double RadarConfig::ReadFirmware() {
    return _ReadDouble(kFirmware, kDefaultFirmware, true);
}

bool RadarConfig::ReadFault(const char* key) {
    return _ReadBool(key, false, false);
}
