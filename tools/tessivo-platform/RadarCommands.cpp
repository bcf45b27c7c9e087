#include "RadarCommands.h"

#include <errno.h>
#include <inttypes.h>
#include <limits.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>

#include "PlatformStore.h"
#include "RadarConfig.h"
#include "RadarSource.h"

const char kRadarUsage[] =
    "  radar status                show the whole radar configuration\n"
    "  radar scene NAME|PATH       synthesise a scene: a file, or a shipped scene by name\n"
    "                              (two-crossing, one-walker, seated, ...)\n"
    "  radar replay PATH [--loop]  replay a recording, once or over and over\n"
    "  radar record PATH|off       append what the module delivers to a recording\n"
    "  radar seed N|off            noise seed of the synthesis (off: the scene's own)\n"
    "  radar spi pass|fail         answer of the module's SPI check\n"
    "  radar sensitivity 1|2|3     detection sensitivity: high, medium, low\n"
    "  radar firmware VERSION      firmware version the module reports\n"
    "  radar fault init|presence|no-stream on|off\n"
    "                              init() fails, presence reads fail, frames never come\n"
    "  radar fault null-slices|drop-slices N\n"
    "                              every Nth slice is null or missing (0: never)\n"
    "  radar fault clear           switch every fault off\n";

namespace {

using Type = PlatformStore::Type;

struct FaultSwitch {
    const char* name;
    const char* key;
};

const FaultSwitch kFaultSwitches[] = {
    {"init", RadarConfig::kFaultInit},
    {"presence", RadarConfig::kFaultPresence},
    {"no-stream", RadarConfig::kFaultNoStream},
};

const FaultSwitch kFaultCounts[] = {
    {"null-slices", RadarConfig::kFaultNullSliceEvery},
    {"drop-slices", RadarConfig::kFaultDropSliceEvery},
};

// Every key, in the order status prints them.
const char* const kStatusKeys[] = {
    RadarConfig::kSource,
    RadarConfig::kScene,
    RadarConfig::kRecording,
    RadarConfig::kLoop,
    RadarConfig::kSeed,
    RadarConfig::kRecord,
    RadarConfig::kSpi,
    RadarConfig::kSensitivity,
    RadarConfig::kFirmware,
    RadarConfig::kFaultInit,
    RadarConfig::kFaultPresence,
    RadarConfig::kFaultNoStream,
    RadarConfig::kFaultNullSliceEvery,
    RadarConfig::kFaultDropSliceEvery,
};

bool IsRegularFile(const std::string& path) {
    struct stat st;
    return stat(path.c_str(), &st) == 0 && S_ISREG(st.st_mode);
}

std::string Absolute(const std::string& path) {
    char resolved[PATH_MAX];
    return realpath(path.c_str(), resolved) != nullptr ? std::string(resolved) : std::string();
}

bool EndsWith(const std::string& text, const std::string& tail) {
    return text.size() >= tail.size() &&
           text.compare(text.size() - tail.size(), tail.size(), tail) == 0;
}

int Fail(const std::string& message) {
    fprintf(stderr, "tessivo-platform: %s\n", message.c_str());
    return 1;
}

// Writes values in order; reports the first failure.
int WriteAll(const std::vector<std::pair<const char*, PlatformStore::Value>>& values) {
    for (const auto& entry : values) {
        int ret = PlatformStore::Write(RadarConfig::kArea, entry.first, entry.second);
        if (ret != 0) {
            return Fail(std::string("cannot write radar/") + entry.first + ": " + strerror(-ret));
        }
    }
    return 0;
}

int RemoveKey(const char* key) {
    int ret = PlatformStore::Remove(RadarConfig::kArea, key);
    if (ret != 0 && ret != -ENOENT) {
        return Fail(std::string("cannot remove radar/") + key + ": " + strerror(-ret));
    }
    return 0;
}

// A scene given as a file, or by name from the shipped scenes.
std::string ResolveScene(const std::string& arg) {
    if (IsRegularFile(arg)) {
        return Absolute(arg);
    }
    if (arg.find('/') != std::string::npos) {
        return std::string();
    }
    std::string shipped = std::string(TESSIVO_SCENE_DIR) + "/" + arg;
    if (!EndsWith(arg, ".json")) {
        shipped += ".json";
    }
    return IsRegularFile(shipped) ? Absolute(shipped) : std::string();
}

int SetScene(const std::string& arg) {
    std::string path = ResolveScene(arg);
    if (path.empty()) {
        return Fail("no scene \"" + arg + "\": neither a file nor a scene in " + TESSIVO_SCENE_DIR);
    }
    RadarSourceSettings settings;
    settings.path = path;
    std::string error;
    if (!RadarSource::Load(settings, true, &error, nullptr)) {
        return Fail(error);
    }
    int ret = WriteAll({{RadarConfig::kScene, {Type::String, path}},
                        {RadarConfig::kSource, {Type::String, RadarConfig::kSourceScene}}});
    if (ret == 0) {
        printf("radar shows scene %s\n", path.c_str());
    }
    return ret;
}

int SetReplay(const std::string& arg, bool loop) {
    std::string path = IsRegularFile(arg) ? Absolute(arg) : std::string();
    if (path.empty()) {
        return Fail("no recording \"" + arg + "\"");
    }
    RadarSourceSettings settings;
    settings.kind = RadarSourceSettings::Kind::Recording;
    settings.path = path;
    settings.loop = loop;
    std::string error;
    std::shared_ptr<const RadarSource> source = RadarSource::Load(settings, true, &error, nullptr);
    if (!source) {
        return Fail(error);
    }
    int ret = WriteAll({{RadarConfig::kRecording, {Type::String, path}},
                        {RadarConfig::kLoop, {Type::Bool, loop ? "true" : "false"}},
                        {RadarConfig::kSource, {Type::String, RadarConfig::kSourceRecording}}});
    if (ret == 0) {
        printf("radar replays %s: %" PRId64 " frames%s%s\n", path.c_str(), source->FrameCount(),
               source->HasTruth() ? " with truth" : "", loop ? ", looping" : "");
    }
    return ret;
}

int SetRecord(const std::string& arg) {
    if (arg == "off") {
        int ret = RemoveKey(RadarConfig::kRecord);
        if (ret == 0) {
            printf("radar records nothing\n");
        }
        return ret;
    }
    size_t slash = arg.rfind('/');
    std::string dir = slash == std::string::npos ? "." : slash == 0 ? "/" : arg.substr(0, slash);
    std::string name = slash == std::string::npos ? arg : arg.substr(slash + 1);
    std::string absoluteDir = Absolute(dir);
    if (name.empty() || name == "." || name == ".." || absoluteDir.empty()) {
        return Fail("cannot record to \"" + arg + "\": no such directory or no file name");
    }
    std::string path = absoluteDir == "/" ? "/" + name : absoluteDir + "/" + name;
    struct stat st;
    if (stat(path.c_str(), &st) == 0 && !S_ISREG(st.st_mode)) {
        return Fail("cannot record to \"" + path + "\": not a regular file");
    }
    PlatformStore::Value replayed;
    PlatformStore::Value source;
    if (PlatformStore::Read(RadarConfig::kArea, RadarConfig::kSource, &source) == 0 &&
        source.text == RadarConfig::kSourceRecording &&
        PlatformStore::Read(RadarConfig::kArea, RadarConfig::kRecording, &replayed) == 0 &&
        Absolute(replayed.text) == path) {
        return Fail("cannot record to \"" + path + "\": it is the recording being replayed");
    }
    int ret = WriteAll({{RadarConfig::kRecord, {Type::String, path}}});
    if (ret == 0) {
        printf("radar records what it delivers to %s from its next start\n", path.c_str());
    }
    return ret;
}

int SetSeed(const std::string& arg, int (*usage)(const char*)) {
    if (arg == "off") {
        return RemoveKey(RadarConfig::kSeed);
    }
    int seed = 0;
    if (!PlatformStore::ParseInt(arg, &seed)) {
        return usage(("seed \"" + arg + "\" is not a whole number").c_str());
    }
    return WriteAll({{RadarConfig::kSeed, {Type::Int, arg}}});
}

int SetFault(const std::vector<std::string>& args, int (*usage)(const char*)) {
    if (args.size() == 2 && args[1] == "clear") {
        std::vector<std::pair<const char*, PlatformStore::Value>> values;
        for (const FaultSwitch& fault : kFaultSwitches) {
            values.push_back({fault.key, {Type::Bool, "false"}});
        }
        for (const FaultSwitch& fault : kFaultCounts) {
            values.push_back({fault.key, {Type::Int, "0"}});
        }
        return WriteAll(values);
    }
    if (args.size() != 3) {
        return usage("radar fault: name a fault and its setting");
    }
    for (const FaultSwitch& fault : kFaultSwitches) {
        if (args[1] == fault.name) {
            if (args[2] != "on" && args[2] != "off") {
                return usage(
                    ("radar fault " + args[1] + ": on or off, not \"" + args[2] + "\"").c_str());
            }
            return WriteAll({{fault.key, {Type::Bool, args[2] == "on" ? "true" : "false"}}});
        }
    }
    for (const FaultSwitch& fault : kFaultCounts) {
        if (args[1] == fault.name) {
            int every = 0;
            if (!PlatformStore::ParseInt(args[2], &every) || every < 0) {
                return usage(
                    ("radar fault " + args[1] + ": a count of 0 or more, not \"" + args[2] + "\"")
                        .c_str());
            }
            return WriteAll({{fault.key, {Type::Int, args[2]}}});
        }
    }
    return usage(("no radar fault \"" + args[1] + "\"").c_str());
}

int Status() {
    for (const char* key : kStatusKeys) {
        PlatformStore::Value value;
        int ret = PlatformStore::Read(RadarConfig::kArea, key, &value);
        std::string shown = ret == 0         ? value.text
                            : ret == -ENOENT ? "(not set)"
                            : ret == -EINVAL ? "(malformed)"
                                             : std::string("(") + strerror(-ret) + ")";
        printf("%s: %s\n", key, shown.c_str());
    }
    return 0;
}

}  // namespace

int RadarCommand(const std::vector<std::string>& args, int (*usage)(const char*)) {
    if (args.empty()) {
        return usage("radar: which setting?");
    }
    const std::string& what = args[0];
    if (what == "status" && args.size() == 1) {
        return Status();
    }
    if (what == "scene" && args.size() == 2) {
        return SetScene(args[1]);
    }
    if (what == "replay" && (args.size() == 2 || (args.size() == 3 && args[2] == "--loop"))) {
        return SetReplay(args[1], args.size() == 3);
    }
    if (what == "record" && args.size() == 2) {
        return SetRecord(args[1]);
    }
    if (what == "seed" && args.size() == 2) {
        return SetSeed(args[1], usage);
    }
    if (what == "spi" && args.size() == 2) {
        if (args[1] != "pass" && args[1] != "fail") {
            return usage(("radar spi: pass or fail, not \"" + args[1] + "\"").c_str());
        }
        return WriteAll({{RadarConfig::kSpi, {Type::Bool, args[1] == "pass" ? "true" : "false"}}});
    }
    if (what == "sensitivity" && args.size() == 2) {
        int sensitivity = 0;
        if (!PlatformStore::ParseInt(args[1], &sensitivity) || sensitivity < 1 || sensitivity > 3) {
            return usage(("radar sensitivity: 1, 2 or 3, not \"" + args[1] + "\"").c_str());
        }
        return WriteAll({{RadarConfig::kSensitivity, {Type::Int, args[1]}}});
    }
    if (what == "firmware" && args.size() == 2) {
        double version = 0.0;
        if (!PlatformStore::ParseDouble(args[1], &version) || version < 0.0) {
            return usage(("radar firmware: a version number, not \"" + args[1] + "\"").c_str());
        }
        return WriteAll({{RadarConfig::kFirmware, {Type::Double, args[1]}}});
    }
    if (what == "fault" && args.size() >= 2) {
        return SetFault(args, usage);
    }
    return usage(("bad arguments for \"radar " + what + "\"").c_str());
}

std::string DefaultRadarScene() {
    static const char* const kWalking[] = {"two-crossing.json", "one-walker.json"};
    for (const char* name : kWalking) {
        std::string path = std::string(TESSIVO_SCENE_DIR) + "/" + name;
        if (IsRegularFile(path)) {
            return path;
        }
    }
    return std::string(TESSIVO_SCENE_DIR) + "/" + kWalking[0];
}
