// Follows what the TV is showing through the TV's data service: the
// application in front and, while the TV viewer is in front, its input source
// and the device on it. Keeps the current session and tells every registered
// callback when it changes, with the new and the old record.
//
// Collection starts once the data service says it is ready
// ("memory/data-service/ready" is 1); until then the collector watches that
// key. Data-service answers and events, and the readiness notification,
// arrive on the GLib main context, one at a time.
#ifndef TESSIVO_SERVICEMANAGER_DLFDATACOLLECTOR_H
#define TESSIVO_SERVICEMANAGER_DLFDATACOLLECTOR_H

#include <glib.h>
#include <vconf.h>

#include <atomic>
#include <string>
#include <vector>

#include "AppSessionInfo.h"

class ContextData;

// The data-service subjects the collector subscribes to, in order.
extern const std::vector<std::string> g_vSubject;

class DLFDataCollector {
public:
    // Not started, an empty session, no callbacks.
    DLFDataCollector();
    // Drops the callbacks and the session and ends a pending readiness
    // watch; does not unsubscribe (Stop does). \context Main thread.
    ~DLFDataCollector();

    DLFDataCollector(const DLFDataCollector&) = delete;
    DLFDataCollector& operator=(const DLFDataCollector&) = delete;

    // Starts collecting when the data service is ready, else waits for it.
    // 0, or -5 when the readiness key cannot be read. \context Main thread.
    int Start();
    // Drops later answers and events, unsubscribes and ends a pending
    // readiness watch. \context Main thread.
    void Stop();
    // Appends (callback, user) unless that pair is registered already. A
    // callback runs on the main thread, with no lock of the collector held.
    // \context Thread-safe.
    void RegisterAppSessionCB(AppSessionCB callback, void* user);
    // Removes the pair. A call already under way on the main thread may still
    // finish after this returns, so owners unregister on the main thread.
    // \context Thread-safe.
    void UnregisterAppSessionCB(AppSessionCB callback, void* user);
    // A copy of the current session. \context Thread-safe.
    AppSessionInfo GetAppSessionInfo();

    // An answer or event of the data service; data is JSON text owned by the
    // caller. \context Main thread.
    void SubscribeCb(int result, const char* subject, char* data, void* user);
    // A change of the readiness key. \context Main thread.
    void OnVconfChangeCb(keynode_t* node);

private:
    struct CallbackEntry {
        AppSessionCB callback;
        void* user;
    };

    static void _SubscribeCb(int result, const char* subject, char* data, void* user);
    static void _OnVconfChangeCb(keynode_t* node, void* user);

    void _InitializeCollector();
    void _SubscribeSubjects();
    void _UnsubscribeSubjects();
    void _RequestInitialData();

    void _OnAppChange(ContextData& json);
    void _OnSourceChange(ContextData& json);
    // Announces newSession unless it equals the current one, then makes it
    // current.
    void _ChangeSession(AppSessionInfo* newSession);

    std::string _GetTVViewerSource();
    std::string _GetDeviceName(const std::string& appId, const std::string& source);
    static void _UpdateAppSessionInfo(AppSessionInfo* session);

    std::atomic<bool> m_bStarted;
    // Guarded by m_mutex.
    AppSessionInfo m_curSession;
    // Guarded by m_mutex; in registration order.
    std::vector<CallbackEntry> m_listAppSessionCB;
    // The TV's clock is valid, as the data service last said.
    std::atomic<bool> m_bTimeValid;
    // The viewing policy is on, as the data service last said.
    std::atomic<bool> m_bViewingPolicy;
    GMutex m_mutex;
};

#endif
