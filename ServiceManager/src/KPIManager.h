// Usage statistics of the radar features: how far away people are while the
// service reads presence, where tracked people stand and how many there are
// while it segments. Samples collect per mode period; each finished period
// adds its percentages to running sums; a report (the averages, with the app
// session it belongs to) is sent when the app in front changes, or at the
// first mode-period end once ten minutes have passed since the last one.
//
// Every public entry takes the one lock for its whole run, the synchronous
// send of a report included; the private steps assume it is held.
#ifndef TESSIVO_SERVICEMANAGER_KPIMANAGER_H
#define TESSIVO_SERVICEMANAGER_KPIMANAGER_H

#include <glib.h>
#include <time.h>

#include <string>
#include <utility>
#include <vector>

#include "AppSessionInfo.h"
#include "ModeChangeType.h"

class DLFDataCollector;
class KPILogger;

// Why a mode period is finalised.
enum UPDATE_FINAL_TYPE {
    MODE_CHANGE = 0,
    APP_CHANGE = 1,
    TIMEOUT = 2,
};

class KPIManager {
public:
    // Presence distance bins (whole metres 0..6), segment grid (range band
    // 0..6 by angle sector 0..5, row-major) and object counts (0..5).
    static constexpr int kYBins = 7;
    static constexpr int kAngleSectors = 6;
    static constexpr int kXYBins = kYBins * kAngleSectors;
    static constexpr int kTrackBins = 6;
    // A report is due at the first mode-period end this long after the last.
    static constexpr time_t kReportPeriodSec = 600;

    // Everything the manager counts, copied at one instant: for diagnostics
    // and tests.
    struct Stats {
        int tempYCnt;
        int finalYCnt;
        int tempSegmentCnt;
        int finalXYCnt;
        int validTrackCnt;
        int tempResultCnt;
        int finalTrackCnt;
        int tempTrackCnt;
        int isFirstSession;
        timespec lastSendTime;
        timespec sessionStartTime;
        timespec prevSessionStartTime;
        int tempYMap[kYBins];
        int tempXYMap[kXYBins];
        int tempTrackMap[kTrackBins];
        int finalYMap[kYBins];
        int finalXYMap[kXYBins];
        int finalTrackMap[kTrackBins];
        int periodYMap[kYBins];
        int periodXYMap[kXYBins];
        int periodTrackMap[kTrackBins];
        int sendYMap[kYBins];
        int sendXYMap[kXYBins];
        int sendTrackMap[kTrackBins];
    };

    // Empty statistics; the first session starts with the collector's first
    // app-session notification. \context Any thread.
    KPIManager();
    // Unregisters from the collector; unsent statistics are dropped.
    // \context Main thread (where the collector's callbacks run).
    ~KPIManager();

    KPIManager(const KPIManager&) = delete;
    KPIManager& operator=(const KPIManager&) = delete;

    // Connects the collector that announces app sessions and names the
    // session in reports; it must outlive this object. Call once, before
    // any report can be due. \context Main thread.
    void InitDLFDataCollector(DLFDataCollector* collector);

    // Given up: from now on the manager sends nothing, and it is taken off
    // the collector's app-session callbacks at once (a callback already
    // under way finds it given up). It still has to be deleted on the main
    // thread. \context Any thread.
    void Detach();

    // One presence sample: the presence state and distance (metres) of the
    // last presence read. \context Thread-safe.
    void UpdateStat(int presence, double distance);
    // One segmentation result: NUL-terminated JSON text from malloc; this
    // object frees it. \context Thread-safe.
    void UpdateStat(void* data);
    // The end of a mode period; may send a report. \context Thread-safe.
    void NotifyModeChange(MODE_CHANGE_TYPE mode);
    // The app session changed (records as the collector gives them: the new
    // one first): sends the report of the session that ended, except for the
    // very first call, which starts the first session. \context Thread-safe.
    void AppSessionChangeCB(AppSessionInfo* first, AppSessionInfo* second);

    // A copy of the counters, maps and times, for diagnostics and tests.
    // \context Thread-safe.
    Stats GetStats() const;

    // Report pieces without state. \context Thread-safe.
    // "{k1=v1;k2=v2}" from the pairs in order; "}" for no pairs.
    static std::string MakeKPIFormat(std::vector<std::pair<std::string, std::string>>& list);
    // "[v0,v1,...]"; "[]" when count < 1.
    static std::string ToString1D(int* values, int count);
    // Local time of ts.tv_sec as 2024-03-05T21:14:07+0900 (0 s means now).
    static std::string GetTimeString(timespec ts);
    // Appends (key, value).
    static void InsertToVector(std::vector<std::pair<std::string, std::string>>& list,
                               std::string key, std::string value);

private:
    static void _AppSessionChangeCB(AppSessionInfo* first, AppSessionInfo* second, void* user);

    void UpdateTempY(int presence, double distance);
    void UpdateTempSegment(void* data);
    void UpdateFinalMaps(UPDATE_FINAL_TYPE type, MODE_CHANGE_TYPE mode);
    void UpdateFinalY();
    void UpdateFinalXY(int type);
    void UpdateFinalTrack(int type);
    void UpdateSendY();
    void UpdateSendXY();
    void UpdateSendTrack();
    void ResetTempMaps();
    void ResetAllMaps();
    bool IsTimeout();
    std::string MakeKPIString(int reason);
    void SendKPI(int reason);

    KPILogger* pLogger;
    mutable GMutex mutex;
    DLFDataCollector* pDLFDataCollector;
    timespec curTime;
    // Counters, times and maps, guarded by mutex.
    Stats m_stats;
    bool m_detached = false;  // under mutex
};

#endif
