/*
 * The platform's KPI log: usage events handed to the TV's statistics
 * collection, with the API shape of the platform's KPI log library (only the
 * part the service uses).
 */
#ifndef TESSIVO_PLATFORM_KPILOGFRAMEWORK_H
#define TESSIVO_PLATFORM_KPILOGFRAMEWORK_H

#include <string>

namespace KPILogFramework {

class CLogger {
public:
    // The process-wide logger; never null. \context Thread-safe.
    static CLogger* GetInstance();

    // Logs one event and returns when it is stored: 1 on success, any other
    // value on failure. \context Thread-safe.
    int AddEventLogSync(std::string category, std::string module, std::string eventId,
                        std::string description);

    CLogger(const CLogger&) = delete;
    CLogger& operator=(const CLogger&) = delete;

private:
    CLogger() = default;
    ~CLogger() = default;
};

}  // namespace KPILogFramework

#endif
