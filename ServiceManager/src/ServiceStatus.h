// The model behind the status object: what the service does and why,
// collected from the state manager and the dispatcher. Threads that change
// that state only say so (OnStatusChanged); the values are collected and
// published on the main loop, so a burst of changes makes one update and
// the bus object is touched by one thread alone.
#ifndef TESSIVO_SERVICEMANAGER_SERVICESTATUS_H
#define TESSIVO_SERVICEMANAGER_SERVICESTATUS_H

#include <gio/gio.h>
#include <stdint.h>

#include "IStatusListener.h"
#include "StatusObject.h"
#include "StatusSnapshot.h"

class CDispatcher;
class StateManager;

class CServiceStatus : public IStatusListener {
public:
    CServiceStatus();
    // Every thread that tells it of changes must have stopped or let go of
    // it. \context Main thread.
    ~CServiceStatus() override;

    CServiceStatus(const CServiceStatus&) = delete;
    CServiceStatus& operator=(const CServiceStatus&) = delete;

    // \context Main thread.
    void SetShape(SHAPE_TYPE shape);
    // Where the full shape's state is read; null detaches (before they go).
    // \context Main thread.
    void SetSources(StateManager* stateManager, CDispatcher* dispatcher);

    // Exports the status object on the service's connection, and takes it
    // off again. \context Main thread.
    bool Attach(GDBusConnection* connection);
    void Detach();

    // Schedules one update on the main loop. \context Thread-safe.
    void OnStatusChanged() override;

    // The values now. \context Main thread.
    StatusSnapshot Collect();
    // Wall times in microseconds since the epoch, 0 for never.
    // \context Main thread.
    int64_t GetLastPresenceTimeUs();
    int64_t GetLastResultTimeUs();

private:
    static gboolean _Update(gpointer self);

    SHAPE_TYPE m_shape;
    StateManager* m_pStateManager;  // main thread only
    CDispatcher* m_pDispatcher;     // main thread only
    CStatusObject m_object;         // main thread only
    GMutex m_mutex;
    guint m_nUpdateSource;  // guarded by m_mutex; 0 when no update is due
};

#endif
