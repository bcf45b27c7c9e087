// What radar-eval prints: the table per scenario class with the targets
// beside the figures, the worst rooms with the commands that reproduce them,
// and the same as one JSON document.
#ifndef TESSIVO_TOOLS_RADAREVAL_EVALREPORT_H
#define TESSIVO_TOOLS_RADAREVAL_EVALREPORT_H

#include <json/json.h>
#include <stdint.h>

#include <string>
#include <vector>

#include "EvalRoom.h"
#include "EvalSummary.h"

// How the evaluation ran.
struct EvalRun {
    int64_t frames = 0;  // of each room
    int jobs = 1;
    size_t worst = 10;
    double wallSeconds = 0.0;
};

// The command line that makes the room's recording and scores it.
// \context Thread-safe.
std::string ReproduceCommand(const EvalRoom& room, int64_t frames);

// \context Thread-safe.
std::string ReportText(const EvalRun& run, const std::vector<EvalRoom>& rooms,
                       const std::vector<EvalRoomResult>& results);

// \context Thread-safe.
Json::Value ReportJson(const EvalRun& run, const std::vector<EvalRoom>& rooms,
                       const std::vector<EvalRoomResult>& results);

#endif
