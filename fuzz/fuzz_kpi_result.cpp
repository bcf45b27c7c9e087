// The KPI result parse: activity result documents as the usage statistics
// count them and as segment mode reads the presence figures out of them,
// mixed with presence samples, mode-period ends, application changes and
// the passing of time, so that the counts reach the period shares and the
// reports. Every report the statistics send must read back from the KPI log,
// and a line of that log read by the platform tool must write out and read
// back the same.
#include <fuzzer/FuzzedDataProvider.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "ContextClock.h"
#include "ContextManualClock.h"
#include "FuzzSupport.h"
#include "KPIManager.h"
#include "KpiEventLog.h"
#include "SegmentMode.h"

using fuzzsupport::Check;

namespace {

const double kDistances[] = {0.0,
                             -0.0,
                             0.99,
                             6.5,
                             -1.0,
                             1e300,
                             std::numeric_limits<double>::infinity(),
                             -std::numeric_limits<double>::infinity(),
                             std::numeric_limits<double>::quiet_NaN()};
const int kMaxSteps = 24;
const size_t kMaxText = 4096;

ContextManualClock* s_clock = nullptr;

int Sum(const int* values, int count) {
    int sum = 0;
    for (int i = 0; i < count; ++i) {
        Check(values[i] >= 0 && values[i] <= 100, "a share is a percentage");
        sum += values[i];
    }
    return sum;
}

void CheckShares(const KPIManager& manager) {
    KPIManager::Stats stats = manager.GetStats();
    Check(Sum(stats.periodYMap, KPIManager::kYBins) <= 100,
          "presence shares add up to 100 at most");
    Check(Sum(stats.periodXYMap, KPIManager::kXYBins) <= 100,
          "segment shares add up to 100 at most");
    Check(Sum(stats.periodTrackMap, KPIManager::kTrackBins) <= 100,
          "object-count shares add up to 100 at most");
    Check(Sum(stats.sendYMap, KPIManager::kYBins) <= 100, "reported presence shares are shares");
    Check(Sum(stats.sendXYMap, KPIManager::kXYBins) <= 100, "reported segment shares are shares");
    Check(Sum(stats.sendTrackMap, KPIManager::kTrackBins) <= 100,
          "reported object-count shares are shares");
}

void Result(KPIManager& manager, FuzzedDataProvider& input) {
    const std::string text = input.ConsumeRandomLengthString(kMaxText);
    int detection = -1;
    double distance = 0.0;
    if (SegmentMode::ParseResult(text.c_str(), &detection, &distance)) {
        Check(detection >= 0, "a result has no negative number of tracks");
    }
    // The statistics take the text over and free it.
    manager.UpdateStat(static_cast<void*>(strdup(text.c_str())));
}

// A line of the KPI log as the platform tool lists it.
void LogLine(FuzzedDataProvider& input) {
    KpiEventLog::Event event;
    std::string problem;
    if (!KpiEventLog::ParseLine(input.ConsumeRandomLengthString(kMaxText), &event, &problem)) {
        return;
    }
    KpiEventLog::Event again;
    Check(KpiEventLog::ParseLine(KpiEventLog::FormatLine(event), &again, &problem),
          "an event written out reads back");
    // Bytes that are not UTF-8 are written as replacement characters.
    const bool text =
        fuzzsupport::IsBusString(event.category) && fuzzsupport::IsBusString(event.module) &&
        fuzzsupport::IsBusString(event.event) && fuzzsupport::IsBusString(event.description);
    Check(!text || (again.category == event.category && again.module == event.module &&
                    again.event == event.event && again.description == event.description &&
                    again.time == event.time),
          "an event written out reads back the same");
}

void CheckReports() {
    std::vector<KpiEventLog::Line> lines;
    Check(KpiEventLog::ReadAll(&lines) == 0, "the KPI log reads");
    for (const KpiEventLog::Line& line : lines) {
        Check(line.valid, "every report in the KPI log reads back as an event");
    }
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    // Reports go to the KPI log of the simulated TV.
    fuzzsupport::PrivatePlatform();
    s_clock = new ContextManualClock();
    ContextClock::SetSource(s_clock);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    unlink(KpiEventLog::PathOf().c_str());
    FuzzedDataProvider input(data, size);
    KPIManager manager;
    AppSessionInfo first;
    AppSessionInfo none;
    // The first session begins as the collector announces it.
    manager.AppSessionChangeCB(&first, &none);
    for (int i = 0; i < kMaxSteps && input.remaining_bytes() > 0; ++i) {
        switch (input.ConsumeIntegralInRange(0, 7)) {
            case 0:
            case 1:
            case 2:
                Result(manager, input);
                break;
            case 3:
                manager.UpdateStat(input.ConsumeIntegralInRange(-1, 2),
                                   input.ConsumeBool() ? input.PickValueInArray(kDistances)
                                                       : input.ConsumeFloatingPoint<double>());
                break;
            case 4:
                manager.NotifyModeChange(
                    static_cast<MODE_CHANGE_TYPE>(input.ConsumeIntegralInRange(0, 4)));
                break;
            case 5:
                s_clock->AdvanceSeconds(input.ConsumeIntegralInRange(0, 2 * 600));
                break;
            case 6: {
                AppSessionInfo next;
                next.appId = input.ConsumeRandomLengthString(64);
                manager.AppSessionChangeCB(&next, &first);
                break;
            }
            default:
                LogLine(input);
                break;
        }
        CheckShares(manager);
    }
    CheckReports();
    return 0;
}
