#include "DefaultTv.h"

#include "RadarCommands.h"
#include "RadarConfig.h"

const std::vector<SeedValue>& DefaultTvValues() {
    using T = PlatformStore::Type;
    static const std::vector<SeedValue> kValues = {
        {"features", "com.norvale/featureconf/tavlo_tv", {T::Bool, "true"}},
        {"vconf", "memory/motion-sensor-service/motion_sensor_state", {T::Int, "0"}},
        {"vconf", "db/sysman/rotation_state", {T::Int, "1"}},
        {"vconf", "db/homedatacontrol/disclaimeragrees", {T::String, "{\"presence\":\"true\"}"}},
        {"vconf", "db/comss/countrycode", {T::String, "US"}},
        {"vconf", "memory/data-service/ready", {T::Int, "1"}},
        // A radar module that passes its check and sees people walking.
        {RadarConfig::kArea, RadarConfig::kSource, {T::String, RadarConfig::kSourceScene}},
        {RadarConfig::kArea, RadarConfig::kScene, {T::String, DefaultRadarScene()}},
        {RadarConfig::kArea, RadarConfig::kSpi, {T::Bool, "true"}},
        {RadarConfig::kArea, RadarConfig::kSensitivity, {T::Int, "2"}},
        {RadarConfig::kArea, RadarConfig::kFirmware, {T::Double, "1.0"}},
        {RadarConfig::kArea, RadarConfig::kFaultInit, {T::Bool, "false"}},
        {RadarConfig::kArea, RadarConfig::kFaultPresence, {T::Bool, "false"}},
        {RadarConfig::kArea, RadarConfig::kFaultNoStream, {T::Bool, "false"}},
        {RadarConfig::kArea, RadarConfig::kFaultNullSliceEvery, {T::Int, "0"}},
        {RadarConfig::kArea, RadarConfig::kFaultDropSliceEvery, {T::Int, "0"}},
    };
    return kValues;
}

const std::vector<std::string>& PlatformAreas() {
    static const std::vector<std::string> kAreas = {"features", "vconf", RadarConfig::kArea};
    return kAreas;
}
