// What the status object shows at one moment: the service's shape, its
// mode and why, the radar, the sensor claim, the subscribers and whether
// usage statistics are collected. Plain values, copied freely.
#ifndef TESSIVO_SERVICEMANAGER_STATUSSNAPSHOT_H
#define TESSIVO_SERVICEMANAGER_STATUSSNAPSHOT_H

#include <stdint.h>

#include <string>

// Which shape of the service runs, and why.
enum SHAPE_TYPE {
    // A Tavlo TV whose radar module passes its check: sensing and modes.
    SHAPE_FULL = 0,
    // The D-Bus front alone: not a Tavlo TV (or the feature is unreadable).
    SHAPE_NOT_TAVLO_TV = 1,
    // The D-Bus front alone: the older module generation fails the check.
    SHAPE_OLDER_MODULE = 2,
};

struct StatusSnapshot {
    std::string shape;       // "full" or "dbus-only"
    std::string mode;        // "presence", "segment", or "none" without sensing
    std::string reason;      // a short stable word: why this mode (or shape)
    std::string reasonText;  // the same for people, one sentence
    bool streaming = false;
    bool sensorClaimed = false;
    uint32_t subscribers = 0;
    bool usageStatistics = false;
    std::string country;
    bool countryListed = false;
    bool statisticsAgreed = false;
};

#endif
