#include "ReportGate.h"

#include <algorithm>
#include <cmath>

namespace radar_sdk {

namespace {

constexpr float kFieldOfViewDeg = 60.0f;
// A track this far beyond the field of view is the weakened echo of a person
// at the side, whom the module does not report.
constexpr float kReportMarginDeg = 3.0f;
// Tracks a little beyond maxRangeM are still reported: a person standing at
// the limit must not blink in and out.
constexpr float kReportRangeMarginM = 0.3f;

float Clamp(float value, float limit) {
    return std::max(-limit, std::min(limit, value));
}

}  // namespace

bool GateReport(const TrackReport& report, float maxRangeM, float maxSpeedMps,
                TrackReport* visible) {
    // Comparisons with NaN are false: each test is written so that NaN fails.
    const bool finite = std::isfinite(report.rangeM) && std::isfinite(report.angleDeg) &&
                        std::isfinite(report.velocityMps);
    if (!finite || !(report.rangeM > 0.0f) || !(report.rangeM <= maxRangeM + kReportRangeMarginM) ||
        !(std::fabs(report.angleDeg) <= kFieldOfViewDeg + kReportMarginDeg) || report.id <= 0) {
        return false;
    }
    *visible = report;
    visible->angleDeg = Clamp(report.angleDeg, kFieldOfViewDeg);
    visible->velocityMps = Clamp(report.velocityMps, maxSpeedMps);
    return true;
}

}  // namespace radar_sdk
