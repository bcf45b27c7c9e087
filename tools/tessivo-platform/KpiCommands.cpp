#include "KpiCommands.h"

#include <stdio.h>
#include <string.h>
#include <time.h>

#include "KpiEventLog.h"

const char kKpiUsage[] =
    "  kpi list [--json]           print the KPI events sent, oldest first, one a line:\n"
    "                              local time, event id and description; with --json the\n"
    "                              stored JSON lines (category, module, event, description,\n"
    "                              time in seconds since the epoch); nothing when none\n";

namespace {

std::string LocalTime(int64_t seconds) {
    time_t when = static_cast<time_t>(seconds);
    struct tm local;
    char text[64];
    if (localtime_r(&when, &local) == nullptr ||
        strftime(text, sizeof(text), "%Y-%m-%dT%H:%M:%S%z", &local) == 0) {
        return std::to_string(seconds);
    }
    return text;
}

int List(bool json) {
    std::vector<KpiEventLog::Line> lines;
    int ret = KpiEventLog::ReadAll(&lines);
    if (ret != 0) {
        fprintf(stderr, "tessivo-platform: cannot read %s: %s\n", KpiEventLog::PathOf().c_str(),
                strerror(-ret));
        return 1;
    }
    int status = 0;
    size_t number = 0;
    for (const KpiEventLog::Line& line : lines) {
        ++number;
        if (!line.valid) {
            fprintf(stderr, "tessivo-platform: %s: entry %zu is not a KPI event (%s)\n",
                    KpiEventLog::PathOf().c_str(), number, line.problem.c_str());
            status = 1;
            continue;
        }
        if (json) {
            printf("%s\n", line.text.c_str());
        } else {
            printf("%s %s %s\n", LocalTime(line.event.time).c_str(), line.event.event.c_str(),
                   line.event.description.c_str());
        }
    }
    return status;
}

}  // namespace

int KpiCommand(const std::vector<std::string>& args, int (*usage)(const char* problem)) {
    if (!args.empty() && args[0] == "list") {
        if (args.size() == 1) {
            return List(false);
        }
        if (args.size() == 2 && args[1] == "--json") {
            return List(true);
        }
    }
    return usage("bad arguments for \"kpi\"");
}
