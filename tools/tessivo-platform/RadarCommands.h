// `tessivo-platform radar ...`: what the simulated radar module looks at and
// how it misbehaves (keys: platform/host/RadarConfig.h).
#ifndef TESSIVO_TOOLS_RADARCOMMANDS_H
#define TESSIVO_TOOLS_RADARCOMMANDS_H

#include <string>
#include <vector>

// Usage lines of the radar commands, for the tool's usage text.
extern const char kRadarUsage[];

// Runs `radar ARGS...` (args without "radar"). usage prints a problem with
// the usage text and returns the usage exit status.
int RadarCommand(const std::vector<std::string>& args, int (*usage)(const char* problem));

// The scene the default TV shows: people walking.
std::string DefaultRadarScene();

#endif
