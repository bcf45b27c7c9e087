// tessivo-platform: the control tool of the simulated TV. It reads and writes
// the platform directory that the daemon reads.
#include <errno.h>
#include <ftw.h>
#include <stdio.h>
#include <string.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "ChangeJournal.h"
#include "DefaultTv.h"
#include "DsfCommands.h"
#include "DsfStore.h"
#include "KpiCommands.h"
#include "PlatformStore.h"
#include "RadarCommands.h"
#include "SettingsStore.h"
#include "VconfStore.h"

namespace {

const char kUsageHead[] =
    "usage: tessivo-platform COMMAND ...\n"
    "\n"
    "The simulated TV lives in $TESSIVO_PLATFORM_DIR (else $XDG_RUNTIME_DIR/tessivo-platform,\n"
    "else /tmp/tessivo-platform-UID).\n"
    "\n"
    "  init                        reset the TV to the default: a Tavlo TV in the US, presence\n"
    "                              statistics agreed, landscape, sensor free, data service\n"
    "                              ready, the TV viewer on HDMI1 (a game console), radar\n"
    "                              passing its check and showing people walking, no KPI\n"
    "                              events; processes watching vconf keys hear of the\n"
    "                              default values\n"
    "  dir                         print the platform directory\n"
    "  feature get KEY             print a feature flag (true or false)\n"
    "  feature set KEY true|false  set a feature flag\n"
    "  vconf get KEY               print a vconf value\n"
    "  vconf set KEY TYPE VALUE    set a vconf value; TYPE is int, bool, double or string;\n"
    "                              every process watching KEY is notified\n"
    "  setting get KEY             print a system setting; KEY is its number or name\n"
    "                              (source-type = 10136)\n"
    "  setting set KEY VALUE       set a system setting (source-type: SOURCE_TYPE_HDMI1,\n"
    "                              SOURCE_TYPE_TV, ...)\n";

const char kUsageTail[] =
    "\n"
    "Exit status: 0 done, 1 the value is missing or could not be read or written, 2 usage.\n";

void PrintUsage(FILE* out) {
    fputs(kUsageHead, out);
    fputs(kDsfUsage, out);
    fputs(kRadarUsage, out);
    fputs(kKpiUsage, out);
    fputs(kUsageTail, out);
}

// A bad command line: one line that names the problem and where the usage
// is, not three screens of usage to scroll back through.
int Usage(const char* problem) {
    fprintf(stderr, "tessivo-platform: %s (see tessivo-platform --help)\n", problem);
    return 2;
}

int Report(int ret, const std::string& area, const std::string& key) {
    if (ret == 0) {
        return 0;
    }
    if (ret == -ENOENT) {
        fprintf(stderr, "tessivo-platform: %s \"%s\" is not set\n", area.c_str(), key.c_str());
    } else if (ret == -EINVAL && !PlatformStore::IsValidKey(key)) {
        fprintf(stderr, "tessivo-platform: \"%s\" is not a valid key\n", key.c_str());
    } else {
        fprintf(stderr, "tessivo-platform: %s \"%s\": %s\n", area.c_str(), key.c_str(),
                ret == -EINVAL ? "malformed value" : strerror(-ret));
    }
    return 1;
}

// Empties an area but keeps its folder and change journal: processes
// watching the journal keep their watch, and the journal is reset instead.
int RemoveEntry(const char* path, const struct stat* st, int flag, struct FTW* ftw) {
    if (ftw->level == 0 ||
        (ftw->level == 1 && strcmp(path + ftw->base, ChangeJournal::kFileName) == 0)) {
        return 0;
    }
    return remove(path) == 0 || errno == ENOENT ? 0 : -1;
}

// Seeds go through the vconf set path so that watchers hear of them.
int Seed(const SeedValue& seed) {
    if (seed.area == std::string(VconfStore::kArea)) {
        return VconfStore::Set(seed.key, seed.value);
    }
    return PlatformStore::Write(seed.area, seed.key, seed.value);
}

int Init() {
    std::string root = PlatformStore::RootDir();
    for (const std::string& area : PlatformAreas()) {
        std::string dir = root + "/" + area;
        if (nftw(dir.c_str(), RemoveEntry, 16, FTW_DEPTH | FTW_PHYS) != 0 && errno != ENOENT) {
            fprintf(stderr, "tessivo-platform: cannot reset %s: %s\n", dir.c_str(),
                    strerror(errno));
            return 1;
        }
    }
    for (const char* area : {VconfStore::kArea, DsfStore::kArea}) {
        int ret = ChangeJournal::Reset(area);
        if (ret != 0) {
            fprintf(stderr, "tessivo-platform: cannot reset the journal of %s: %s\n", area,
                    strerror(-ret));
            return 1;
        }
    }
    for (const SeedValue& seed : DefaultTvValues()) {
        if (Report(Seed(seed), seed.area, seed.key) != 0) {
            return 1;
        }
    }
    std::string scene = DefaultRadarScene();
    if (access(scene.c_str(), R_OK) != 0) {
        fprintf(stderr, "tessivo-platform: warning: scene %s is missing: the radar shows nobody\n",
                scene.c_str());
    }
    printf("default TV seeded in %s\n", root.c_str());
    return 0;
}

int Get(const std::string& area, const std::string& key) {
    PlatformStore::Value value;
    int ret = PlatformStore::Read(area, key, &value);
    if (ret != 0) {
        return Report(ret, area, key);
    }
    printf("%s\n", value.text.c_str());
    return 0;
}

int Set(const std::string& area, const std::string& key, const std::string& type,
        const std::string& text) {
    PlatformStore::Value value;
    if (!PlatformStore::ParseType(type, &value.type)) {
        return Usage(("unknown type \"" + type + "\"").c_str());
    }
    value.text = text;
    int ret = area == VconfStore::kArea ? VconfStore::Set(key, value)
                                        : PlatformStore::Write(area, key, value);
    if (ret == -EINVAL && PlatformStore::IsValidKey(key)) {
        fprintf(stderr, "tessivo-platform: \"%s\" is not a %s value\n", text.c_str(), type.c_str());
        return 1;
    }
    return Report(ret, area, key);
}

int Setting(const std::vector<std::string>& args) {
    int key = 0;
    if (!SettingsStore::ParseKey(args[1], &key)) {
        fprintf(stderr, "tessivo-platform: \"%s\" is not a setting number or name\n",
                args[1].c_str());
        return 1;
    }
    std::string name = SettingsStore::KeyOf(key);
    if (args[0] == "set") {
        return Report(SettingsStore::Write(key, args[2]), SettingsStore::kArea, name);
    }
    std::string text;
    int ret = SettingsStore::Read(key, &text);
    if (ret != 0) {
        return Report(ret, SettingsStore::kArea, name);
    }
    printf("%s\n", text.c_str());
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    std::vector<std::string> args(argv + 1, argv + argc);
    if (args.empty()) {
        return Usage("a command is needed");
    }
    if (args[0] == "--help" || args[0] == "-h" || args[0] == "help") {
        PrintUsage(stdout);
        return 0;
    }
    const std::string& command = args[0];
    if (command == "init" && args.size() == 1) {
        return Init();
    }
    if (command == "dir" && args.size() == 1) {
        printf("%s\n", PlatformStore::RootDir().c_str());
        return 0;
    }
    if (command == "feature" || command == "vconf") {
        const std::string area = command == "feature" ? "features" : "vconf";
        if (args.size() == 3 && args[1] == "get") {
            return Get(area, args[2]);
        }
        if (command == "feature" && args.size() == 4 && args[1] == "set") {
            return Set(area, args[2], "bool", args[3]);
        }
        if (command == "vconf" && args.size() == 5 && args[1] == "set") {
            return Set(area, args[2], args[3], args[4]);
        }
        return Usage(("bad arguments for \"" + command + "\"").c_str());
    }
    if (command == "setting") {
        if ((args.size() == 3 && args[1] == "get") || (args.size() == 4 && args[1] == "set")) {
            return Setting(std::vector<std::string>(args.begin() + 1, args.end()));
        }
        return Usage("bad arguments for \"setting\"");
    }
    if (command == "dsf") {
        return DsfCommand(std::vector<std::string>(args.begin() + 1, args.end()), Usage);
    }
    if (command == "radar") {
        return RadarCommand(std::vector<std::string>(args.begin() + 1, args.end()), Usage);
    }
    if (command == "kpi") {
        return KpiCommand(std::vector<std::string>(args.begin() + 1, args.end()), Usage);
    }
    return Usage(("unknown command \"" + command + "\"").c_str());
}
