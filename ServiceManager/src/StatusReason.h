// Why the service is in the mode it is in, in the order in which the mode
// loop itself decides: a sensor claim first, then the conditions that keep
// presence mode (the country, the boot period, the application in front,
// the agreement, given-up presence reading, portrait), else the timers or
// a track subscription. Each reason is a short stable word for scripts and
// a sentence for people.
#ifndef TESSIVO_SERVICEMANAGER_STATUSREASON_H
#define TESSIVO_SERVICEMANAGER_STATUSREASON_H

#include <string>

#include "StatusSnapshot.h"

// What the mode loop looks at, read from the state manager.
struct ModeConditions {
    bool segment = false;  // segment mode is current
    bool claimed = false;  // another program holds the sensor
    bool countryListed = false;
    std::string country;
    bool boot = false;  // the boot period still runs
    bool kivApp = false;
    bool netflix = false;
    bool agreed = false;
    bool presenceFailed = false;  // presence reading was given up
    bool landscape = true;
    bool subscribed = false;  // a client holds the track subscription
};

namespace StatusReason {

// Fills the snapshot's shape, mode, reason and reasonText for a service
// of the given shape; conditions count in the full shape only.
void Describe(SHAPE_TYPE shape, const ModeConditions& conditions, StatusSnapshot* snapshot);

}  // namespace StatusReason

#endif
