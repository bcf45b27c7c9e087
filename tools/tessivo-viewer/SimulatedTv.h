// The simulated TV seen from the viewer: whether there is one, what it is
// set to, the ground truth of its radar's frame, its KPI reports, and the
// controls the page offers. Controls write the same stores as
// tessivo-platform, so the service hears of them exactly as of the tool's.
#ifndef TESSIVO_TOOLS_VIEWER_SIMULATEDTV_H
#define TESSIVO_TOOLS_VIEWER_SIMULATEDTV_H

#include <json/json.h>

#include <string>
#include <vector>

#include "RadarTruthFile.h"

class CSimulatedTv {
public:
    // Whether the platform directory holds a simulated TV (one seeded by
    // `tessivo-platform init`). \context Thread-safe.
    static bool Present();
    // The platform directory. \context Thread-safe.
    static std::string Dir();

    // {"app":"tv-viewer","rotation":"landscape","sensor":"free","country":"US",
    //  "agreement":"agreed","source":"scene","scene":"two-crossing",
    //  "recording":"","faults":{"init":false,...},"scenes":[...],
    //  "apps":[...]}; values that cannot be read are null.
    // \context Thread-safe.
    static Json::Value State();

    // Applies one control: control is "app", "rotation", "sensor", "country",
    // "agreement", "scene", "recording" or "fault"; value is the choice
    // (for "fault": "init|presence|no-stream on|off" or "clear"). False
    // with a reason for a person on a bad control or value or a failed write.
    // \context Thread-safe.
    static bool Apply(const std::string& control, const std::string& value, std::string* error);

    // The ground truth of the frame being delivered; false when none is
    // written yet or it is malformed (*problem says which).
    // \context Thread-safe.
    static bool Truth(RadarTruthFrame* frame, std::string* problem);

    // The last `count` KPI reports, oldest first, parsed for charts
    // (KpiReport.h) with their time; lines that are not reports are skipped.
    // \context Thread-safe.
    static Json::Value KpiReports(size_t count);

    // The shipped scenes by name.
    // \context Thread-safe.
    static std::vector<std::string> Scenes();
};

#endif
