#include "RadarPresence.h"

#include <math.h>
#include <string.h>

#include "RadarFrameFormat.h"

double RadarPresence::ReachForSensitivity(int sensitivity) {
    switch (sensitivity) {
        case 1:
            return 6.0;
        case 3:
            return 4.0;
        default:
            return 5.0;
    }
}

void RadarPresence::Build(const std::vector<radar::TruthTarget>& now,
                          const std::vector<radar::TruthTarget>& other, double reachM,
                          uint8_t* report) {
    memset(report, 0, kReportSize);
    const radar::TruthTarget* nearest = nullptr;
    for (const radar::TruthTarget& target : now) {
        // Written as negations so that a NaN from a broken truth file is out of reach.
        if (!(target.range >= 0.0 && target.range <= reachM) ||
            !(fabs(target.angle) <= radar::kFieldOfViewDeg)) {
            continue;
        }
        if (nearest == nullptr || target.range < nearest->range) {
            nearest = &target;
        }
    }
    if (nearest == nullptr) {
        return;
    }

    double speed = fabs(nearest->velocity);
    for (const radar::TruthTarget& then : other) {
        if (then.id == nearest->id) {
            speed = hypot(nearest->x - then.x, nearest->y - then.y) / kSpeedWindowS;
            break;
        }
    }
    double steps = nearest->range / kDistanceStepM;
    report[kDetectionByte] = 1;
    report[kDistanceByte] = static_cast<uint8_t>(steps >= 255.0 ? 255 : lround(steps));
    report[kLevelByte] = speed < kStillBelowMps ? 1 : speed < kSlowBelowMps ? 2 : 3;
}
