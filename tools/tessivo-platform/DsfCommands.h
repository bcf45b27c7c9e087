// `tessivo-platform dsf ...`: the answers of the simulated TV's data service
// and the events it publishes (store layout: platform/host/DsfStore.h).
#ifndef TESSIVO_TOOLS_DSFCOMMANDS_H
#define TESSIVO_TOOLS_DSFCOMMANDS_H

#include <string>
#include <vector>

// Usage lines of the dsf commands, for the tool's usage text.
extern const char kDsfUsage[];

// Runs `dsf ARGS...` (args without "dsf"). usage prints a problem with the
// usage text and returns the usage exit status.
int DsfCommand(const std::vector<std::string>& args, int (*usage)(const char* problem));

#endif
