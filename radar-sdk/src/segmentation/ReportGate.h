// The last gate before the track matrix: what the tracker reports reaches
// the service only as numbers a client can use, a person in front of the
// module within the field of view and the range asked for.
#ifndef TESSIVO_RADARSDK_REPORTGATE_H
#define TESSIVO_RADARSDK_REPORTGATE_H

#include "Tracker.h"

namespace radar_sdk {

// False when the report must not be shown: a value that is not a finite
// number, a range not in (0, maxRangeM + a margin], an angle more than a
// margin beyond the field of view. Otherwise *visible is the report with its
// angle clamped to the field of view and its speed to +-maxSpeedMps (the
// unambiguous speed: a filter that overshoots it measures nothing).
// \context Thread-safe.
bool GateReport(const TrackReport& report, float maxRangeM, float maxSpeedMps,
                TrackReport* visible);

}  // namespace radar_sdk

#endif
