// The command line of radar-eval, parsed apart from the work so that it can
// be checked alone.
#ifndef TESSIVO_TOOLS_RADAREVAL_RADAREVALOPTIONS_H
#define TESSIVO_TOOLS_RADAREVAL_RADAREVALOPTIONS_H

#include <stdint.h>

#include <string>
#include <vector>

// Exit codes of the tool. It measures and does not judge: figures that miss
// their targets still exit 0.
constexpr int kRadarEvalExitOk = 0;
// A scene that cannot be loaded, a room whose pipeline cannot be set up or
// whose frames the segmentation failed on, a summary that cannot be written.
constexpr int kRadarEvalExitFailure = 1;
constexpr int kRadarEvalExitUsage = 2;

constexpr int64_t kRadarEvalMaxRooms = 100000;
constexpr double kRadarEvalMaxSeconds = 86400.0;
constexpr int kRadarEvalMaxJobs = 256;

struct RadarEvalOptions {
    bool help = false;
    int64_t rooms = 100;  // random rooms, seeds firstSeed, firstSeed + 1, ...
    uint64_t firstSeed = 1;
    double seconds = 30.0;  // of each room
    bool shippedScenes = true;
    std::vector<std::string> scenes;  // --scene: only these (names or files)
    int jobs = 1;
    std::string jsonPath;  // empty: none; "-": standard output
    int64_t worst = 10;
};

// Parses the arguments after the program name: "--rooms N", "--first-seed S",
// "--seconds S", "--no-scenes", "--scene NAME" (repeatable), "--jobs J",
// "--json FILE", "--worst K"; "--name=value" forms work too. With --scene and
// without --rooms no random rooms run. False with a one-line reason on a bad
// command line; "--help" anywhere wins.
bool ParseRadarEvalOptions(const std::vector<std::string>& args, RadarEvalOptions* options,
                           std::string* error);

// Frames of each room: the seconds at the module's frame rate, at least one.
int64_t RadarEvalFrames(const RadarEvalOptions& options);

std::string RadarEvalUsage(const char* program);
std::string RadarEvalShortUsage(const char* program);

#endif
