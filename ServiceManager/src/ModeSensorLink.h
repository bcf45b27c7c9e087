// A mode's hold on the radar pipeline. The mode thread calls the pipeline
// through it while the main thread may detach the pipeline on shutdown; once
// Set(nullptr) has returned no call is in progress any more, so the pipeline
// can be deleted. Without a pipeline every call is a harmless no-op.
#ifndef TESSIVO_SERVICEMANAGER_MODESENSORLINK_H
#define TESSIVO_SERVICEMANAGER_MODESENSORLINK_H

#include <glib.h>

class ActivitySegment;

class ModeSensorLink {
public:
    ModeSensorLink();
    ~ModeSensorLink();

    ModeSensorLink(const ModeSensorLink&) = delete;
    ModeSensorLink& operator=(const ModeSensorLink&) = delete;

    // Waits for a call in progress to end. \context Thread-safe.
    void Set(ActivitySegment* activitySegment);
    // \context Thread-safe.
    bool IsSet();

    // \context Thread-safe.
    void StartSensor();
    // \context Thread-safe.
    void StopSensor();
    // True with presence and distance set; false when the read fails or
    // there is no pipeline. \context Thread-safe.
    bool ReadPresence(int* presence, double* distance);
    // \context Thread-safe.
    void SetPresenceResult(int detection, double distance);
    // Non-zero while a client holds the track-segment subscription.
    // \context Thread-safe.
    int GetDemoViewerSubscribe();
    // False without a pipeline. \context Thread-safe.
    bool IsStreaming();
    // Wall time (microseconds) of the last presence reading; 0 without a
    // pipeline. \context Thread-safe.
    int64_t GetLastPresenceTimeUs();

private:
    GMutex m_mutex;
    ActivitySegment* m_pActivitySegment;  // guarded by m_mutex
};

#endif
