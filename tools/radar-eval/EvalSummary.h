// The distributions of an evaluation: per scenario class, each figure's
// median and worst 10% over the rooms it applies to, the longest hold of a
// false track by cause, and the rooms that miss the most room targets.
#ifndef TESSIVO_TOOLS_RADAREVAL_EVALSUMMARY_H
#define TESSIVO_TOOLS_RADAREVAL_EVALSUMMARY_H

#include <stddef.h>

#include <vector>

#include "EvalRoom.h"
#include "RoomFigures.h"

struct FigureDistribution {
    int rooms = 0;  // rooms of the class the figure applies to
    double median = 0.0;
    double worst = 0.0;  // 10th percentile where higher is better, else 90th
};

struct ClassSummary {
    RoomClass roomClass = RoomClass::kOverall;
    int rooms = 0;
    FigureDistribution figures[kFigures];
    // Over every room of the class, by radar::FalseTrackCause.
    double longestHoldS[radar::kFalseTrackCauses] = {};
};

// The p-quantile (0..1) of values, linear between the nearest ranks (so the
// median of an even count is the mean of the middle two); 0 for none.
// \context Thread-safe.
double Quantile(std::vector<double> values, double p);

// One summary per class, in RoomClass order; rooms and results side by side.
// \context Thread-safe.
std::vector<ClassSummary> SummarizeClasses(const std::vector<EvalRoom>& rooms,
                                           const std::vector<EvalRoomResult>& results);

// The indices of the `count` worst rooms that ran and miss a room target:
// most targets missed first, then most false tracks per 100 frames, then in
// the order run.
// \context Thread-safe.
std::vector<size_t> WorstRooms(const std::vector<EvalRoom>& rooms,
                               const std::vector<EvalRoomResult>& results, size_t count);

#endif
