// A usage-statistics report as the page charts it, read from the text the
// service sends to the KPI log: "{presence=[..7..];segment=[..42..];
// object_cnt=[..6..];appsrc_name=...;session_st=...;send_time=...;dev_name=...;
// sid=...}", with "&" and "^" escaped as %26 and %5E.
#ifndef TESSIVO_TOOLS_VIEWER_KPIREPORT_H
#define TESSIVO_TOOLS_VIEWER_KPIREPORT_H

#include <json/json.h>

#include <string>

namespace KpiReport {

constexpr int kPresenceBands = 7;
constexpr int kSegmentCells = 42;  // 7 range bands x 6 angle sectors, row-major
constexpr int kTrackCounts = 6;    // results with 0..5 tracks

// {"presence":[7],"segment":[42],"objectCount":[6],"app":..,"device":..,
//  "sessionStart":..,"sendTime":..}; false with *problem when the text is not
// such a report.
bool Parse(const std::string& description, Json::Value* report, std::string* problem);

}  // namespace KpiReport

#endif
