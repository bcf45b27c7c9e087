// Segment mode: the radar streams and the segmentation pipeline hands every
// result to this mode's queue; each pass takes one result, derives presence
// (the number of tracks) and distance (the nearest track) from it and
// publishes them to clients.
#ifndef TESSIVO_SERVICEMANAGER_SEGMENTMODE_H
#define TESSIVO_SERVICEMANAGER_SEGMENTMODE_H

#include <glib.h>

#include "IMode.h"
#include "ModeSensorLink.h"

class ActivitySegment;
class StateManager;

class SegmentMode : public IMode {
public:
    // Unless marked otherwise, operations run on the mode thread.
    explicit SegmentMode(StateManager* stateManager);
    // Frees the kept result and whatever is still queued.
    ~SegmentMode() override;

    // \context Thread-safe; waits for a radar call in progress.
    void SetActivitySegment(ActivitySegment* activitySegment);

    // Both start the radar.
    void Init() override;
    void Resume() override;
    // Stops the radar and drops the waiting results.
    void Pause() override;
    // Waits up to a second for one result and handles it.
    void Run() override;
    IMode* GetNextMode() override;
    void UpdateStat() override;

    // Queues a result text (malloc'ed; the mode frees it) sorted by
    // priority. False (the caller keeps data) only when no message could be
    // made. \context Thread-safe (the pipeline's callback thread).
    bool PushEvent(int id, void* data, int priority);
    // Appends a stop message behind everything queued. \context Thread-safe.
    bool StopEvent();
    // Takes every waiting message without blocking and frees its data.
    // \context Thread-safe.
    void CleanQueue();
    // \context Thread-safe.
    int GetQueueLength();

    static gint ComparePriority(gconstpointer a, gconstpointer b, gpointer user);

    // Handles one result text (id is not looked at).
    void OnEvent(int id, void* data);
    void CheckTimeUp();
    // True when something calls the service back to presence mode.
    bool IsChangeToPresenceMode();

    // Presence as segment mode derives it from an activity result document
    // ({"result":[{"tracks":[...]}]}): the number of tracks and the smallest
    // track range (at most 9.59 m, both 0 without tracks). False when the text is not a JSON
    // document. \context Thread-safe.
    static bool ParseResult(const char* text, int* detection, double* distance);

private:
    static constexpr int kTimeUpSec = 60;
    static constexpr gint64 kResultWaitUs = 1000000;

    StateManager* m_pStateManager;
    ModeSensorLink m_activitySegment;
    GMutex m_queueMutex;
    GAsyncQueue* m_pQueue;
    char* m_pKeptResult;  // the last result taken, kept for UpdateStat
    bool m_bChangePending;
    bool m_bTimeUp;
    bool m_bNoData;
};

#endif
