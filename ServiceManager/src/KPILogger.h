// Hands one usage report to the platform's KPI log as a segmentation event.
#ifndef TESSIVO_SERVICEMANAGER_KPILOGGER_H
#define TESSIVO_SERVICEMANAGER_KPILOGGER_H

#include <string>

enum KPI_EVENT_TYPE {
    KPI_EVENT_SEGMENTATION = 0,
};

class KPILogger {
public:
    // Escapes sDesc for the KPI log and sends it synchronously as event
    // "EV001" of module "SEGMENTATION"; a failure is logged, never
    // returned, and the report is not kept. The type is not looked at: there
    // is only one kind of event. \context Thread-safe (no state).
    void KPILogAdd(KPI_EVENT_TYPE type, std::string sDesc);
};

#endif
