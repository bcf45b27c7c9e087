// The TV that `tessivo-platform init` seeds: a Tavlo TV set up in the US
// whose user agreed to presence statistics, in landscape, sensor not
// claimed, data service ready and showing the TV viewer on HDMI1 (a game
// console; a set-top box on HDMI2), a radar module that passes its check and
// sees people walking.
#ifndef TESSIVO_TOOLS_DEFAULTTV_H
#define TESSIVO_TOOLS_DEFAULTTV_H

#include <string>
#include <vector>

#include "PlatformStore.h"

struct SeedValue {
    const char* area;
    std::string key;
    PlatformStore::Value value;
};

const std::vector<SeedValue>& DefaultTvValues();

// Areas of the store that init resets before seeding.
const std::vector<std::string>& PlatformAreas();

#endif
