// The command line of radar-sim, parsed apart from the work so that it can be
// checked alone.
#ifndef TESSIVO_TOOLS_RADARSIM_RADARSIMOPTIONS_H
#define TESSIVO_TOOLS_RADARSIM_RADARSIMOPTIONS_H

#include <stdint.h>

#include <string>
#include <vector>

// Exit codes of the tool.
constexpr int kRadarSimExitOk = 0;
constexpr int kRadarSimExitFailure = 1;  // bad scene, cannot write the recording
constexpr int kRadarSimExitUsage = 2;

constexpr int64_t kRadarSimDefaultFrames = 300;   // 30 s
constexpr int64_t kRadarSimMaxFrames = 10000000;  // about 11.5 days, 245 GB

struct RadarSimOptions {
    bool help = false;
    std::string scene;        // a path or the name of a shipped scene
    bool random = false;      // a random room instead of a scene
    uint64_t randomSeed = 0;  // the room's seed
    std::string output;       // the recording; the sidecar goes beside it; empty: none
    std::string sceneOut;     // where to write the scene as a file; empty: nowhere
    int64_t frames = kRadarSimDefaultFrames;
    bool hasSeed = false;  // otherwise the scene's own seed
    uint64_t seed = 0;
};

// Parses the arguments after the program name: one SCENE or "--random
// SEED", "-o PATH" (or "--output PATH"), "--scene-out PATH", "--frames N",
// "--seed S"; "--name=value" forms work too. At least one of -o and
// --scene-out is needed. False with a one-line reason on a bad command line;
// "--help" anywhere wins.
bool ParseRadarSimOptions(const std::vector<std::string>& args, RadarSimOptions* options,
                          std::string* error);

std::string RadarSimUsage(const char* program);
std::string RadarSimShortUsage(const char* program);

#endif
