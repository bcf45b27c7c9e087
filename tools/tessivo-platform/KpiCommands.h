// `tessivo-platform kpi ...`: the events the service sent to the simulated
// TV's KPI log (store layout: platform/host/KpiEventLog.h).
#ifndef TESSIVO_TOOLS_KPICOMMANDS_H
#define TESSIVO_TOOLS_KPICOMMANDS_H

#include <string>
#include <vector>

// Usage lines of the kpi commands, for the tool's usage text.
extern const char kKpiUsage[];

// Runs `kpi ARGS...` (args without "kpi"). usage prints a problem with the
// usage text and returns the usage exit status.
int KpiCommand(const std::vector<std::string>& args, int (*usage)(const char* problem));

#endif
