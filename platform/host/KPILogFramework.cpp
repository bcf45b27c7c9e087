// The KPI log of the simulated TV: events land in the platform directory
// (KpiEventLog), where tessivo-platform and the tests read them.
#include <KPILogFramework.h>

#include "KpiEventLog.h"

namespace KPILogFramework {

CLogger* CLogger::GetInstance() {
    static CLogger instance;
    return &instance;
}

int CLogger::AddEventLogSync(std::string category, std::string module, std::string eventId,
                             std::string description) {
    KpiEventLog::Event event;
    event.category = std::move(category);
    event.module = std::move(module);
    event.event = std::move(eventId);
    event.description = std::move(description);
    int ret = KpiEventLog::Append(event);
    // Success is 1 by the library's contract; a failure is its -errno.
    return ret == 0 ? 1 : ret;
}

}  // namespace KPILogFramework
