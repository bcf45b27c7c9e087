#include "DefaultTv.h"

const std::vector<SeedValue>& DefaultTvValues() {
    using T = PlatformStore::Type;
    static const std::vector<SeedValue> kValues = {
        {"features", "com.norvale/featureconf/tavlo_tv", {T::Bool, "true"}},
        {"vconf", "memory/motion-sensor-service/motion_sensor_state", {T::Int, "0"}},
        {"vconf", "db/sysman/rotation_state", {T::Int, "1"}},
        {"vconf", "db/homedatacontrol/disclaimeragrees", {T::String, "{\"presence\":\"true\"}"}},
        {"vconf", "db/comss/countrycode", {T::String, "US"}},
        {"vconf", "memory/data-service/ready", {T::Int, "1"}},
    };
    return kValues;
}

const std::vector<std::string>& PlatformAreas() {
    static const std::vector<std::string> kAreas = {"features", "vconf"};
    return kAreas;
}
