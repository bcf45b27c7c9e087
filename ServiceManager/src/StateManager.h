// Mode control: owns presence mode and segment mode and runs them, one at a
// time, on a thread of its own. It watches the TV's configuration (sensor
// claims, screen rotation, the user's data-use agreement, the country) and
// the application in front, which decide whether the service may leave
// presence mode.
#ifndef TESSIVO_SERVICEMANAGER_STATEMANAGER_H
#define TESSIVO_SERVICEMANAGER_STATEMANAGER_H

#include <glib.h>
#include <vconf.h>

#include <atomic>
#include <string>
#include <vector>

#include "AppSessionInfo.h"
#include "IContextEventSink.h"
#include "ModeChangeType.h"
#include "ModeSensorLink.h"

class ActivitySegment;
class DLFDataCollector;
class IMode;
class IStatusListener;
class KPIManager;
class ModeTimer;
class PresenceMode;
class SegmentMode;

class StateManager : public IContextEventSink {
public:
    // Values of the motion sensor key: another party writes kSensorClaimed
    // to take the radar and kSensorNormal to give it back; the service
    // answers a claim with kSensorClaimAnswered.
    static constexpr int kSensorNormal = 0;
    static constexpr int kSensorClaimAnswered = 1;
    static constexpr int kSensorClaimed = 2;
    // The boot period holds presence mode this long after construction.
    static constexpr int32_t kBootPeriodSec = 300;

    // Reads and watches the configuration keys and starts following the
    // application in front. \context Main thread (its vconf notifications
    // and data-service callbacks come on the main loop).
    StateManager();
    // Call Stop() first. \context Main thread.
    ~StateManager() override;

    StateManager(const StateManager&) = delete;
    StateManager& operator=(const StateManager&) = delete;

    // Starts the mode thread; the name is accepted and not used.
    // \context Main thread.
    bool Start(const char* name);
    // Ends the mode loop after the current pass, pauses the current mode and
    // stops watching the sensor, rotation and agreement keys.
    // \context Main thread.
    bool Stop();
    // \context Thread-safe.
    bool IsRunning() const { return m_bRunning.load(); }

    static gpointer Thread(gpointer self);
    // The mode loop. \context Mode thread.
    void Run();

    // Hands a result document to segment mode's queue. \context Thread-safe.
    bool PushEvent(int id, void* data, int priority) override;

    // Statistics entry points of the modes; without statistics a sample is
    // dropped and a record freed. \context Mode thread.
    int UpdateStat(int item, double value);
    void UpdateStat(void* record);
    // The end of a mode period, for the statistics. \context Mode thread.
    void NotifyModeChange(MODE_CHANGE_TYPE type);
    // Whether usage statistics are collected now. \context Thread-safe.
    bool HasKPIManager();
    // Gives the statistics up; always true. The manager itself is deleted
    // on the main thread, where its callbacks run. \context Any thread.
    bool deleteKPIManager();

    // True only for a JSON object whose string "presence" is "true".
    // \context Thread-safe.
    static bool CheckKPIAgreement(const char* json);

    // Gives the pipeline to the state manager and both modes; null detaches
    // it and waits until no mode uses it any more. \context Main thread.
    void SetActivitySegment(ActivitySegment* activitySegment);

    // Flags that decide the mode. \context Thread-safe.
    bool isKPIAgreed() const { return m_bKPIAgreed.load(); }
    bool isPresenceModeForcedOnBoot() const { return m_bPresenceModeForcedOnBoot.load(); }
    bool isKivMode();
    bool isNetflix();
    bool isKPITargetCountry() const { return m_bKPITargetCountry.load(); }
    bool isPresenceReadFailure() const { return m_bPresenceReadFailure.load(); }
    void setPresenceReadFailure(bool failure) { m_bPresenceReadFailure = failure; }
    bool isLandscapeMode() const { return m_nRotationState.load() == 1; }
    // The stored motion sensor state (0 or 2). \context Thread-safe.
    int GetMotionSensorState() const { return m_nMotionSensorState.load(); }

    // Told of every change of what the status object shows: the mode, the
    // radar, the flags above; null stops telling. \context Main thread,
    // before Start() or after Stop().
    void SetStatusListener(IStatusListener* listener) { m_pStatusListener = listener; }
    // What the mode loop does now. \context Thread-safe.
    bool IsSegmentMode() const { return m_bSegmentMode.load(); }
    bool IsStreaming() { return m_activitySegment.IsStreaming(); }
    bool HasSegmentSubscription() { return m_activitySegment.GetDemoViewerSubscribe() != 0; }
    // Wall time (microseconds) of the last presence reading, 0 for none.
    // \context Thread-safe.
    int64_t GetLastPresenceTimeUs() { return m_activitySegment.GetLastPresenceTimeUs(); }
    // The country code as the TV last gave it ("" when unreadable).
    // \context Thread-safe.
    std::string GetCountryCode();

    // \context Mode thread (the objects live as long as the state manager).
    ModeTimer* GetModeChangeTimerInstance() { return m_pModeChangeTimer; }
    SegmentMode* GetSegmentModeInstance() { return m_pSegmentMode; }
    PresenceMode* GetPresenceModeInstance() { return m_pPresenceMode; }

    // The application in front changed. \context Main thread.
    void StateManagerAppSessionChangeCB(AppSessionInfo* current, AppSessionInfo* previous);
    // One of the four watched keys changed. \context Main thread.
    void OnVconfChangeCb(keynode_t* node);

private:
    static bool _IsKPITargetCountry(const char* code);
    void _OnMotionSensorChanged(int value);
    void _OnAgreementChanged(const char* text);
    void _OnCountryChanged(const char* code);
    // Creates the statistics when none exist. \context Main thread.
    void _CreateKPIManager();
    static gboolean _DeleteDetachedKPIManager(gpointer self);
    // \context Main thread, m_kpiLock held.
    void _DeleteDetachedLocked();
    // One pass of the mode loop; claimed is the loop's claim marker.
    void _RunPass(bool* claimed);
    // After a pass: tells the status listener when the mode, the radar or
    // the mode thread's own flags changed in it. \context Mode thread.
    void _NotifyPassChanges();
    void _NotifyStatus();
    void _SetCountryCode(const char* code);

    GThread* m_pThread;
    GMutex m_appLock;
    std::atomic<bool> m_bRunning;
    std::atomic<int> m_nMotionSensorState;
    std::atomic<int> m_nRotationState;
    std::atomic<bool> m_bKPIAgreed;
    std::atomic<bool> m_bPresenceModeForcedOnBoot;
    bool m_bKivMode;  // guarded by m_appLock
    bool m_bNetflix;  // guarded by m_appLock
    std::atomic<bool> m_bKPITargetCountry;
    std::atomic<bool> m_bPresenceReadFailure;
    ModeSensorLink m_activitySegment;
    PresenceMode* m_pPresenceMode;
    SegmentMode* m_pSegmentMode;
    IMode* m_pCurrentMode;  // mode thread only (and Stop, after the join)
    // Whether m_pCurrentMode is segment mode, for other threads.
    std::atomic<bool> m_bSegmentMode;
    int m_nPassState;  // mode thread only: what the last pass left, see _NotifyPassChanges
    std::atomic<IStatusListener*> m_pStatusListener;
    GMutex m_countryLock;
    std::string m_countryCode;  // guarded by m_countryLock
    ModeTimer* m_pModeChangeTimer;
    ModeTimer* m_pBootTimer;  // mode thread only once started
    DLFDataCollector* m_pDLFDataCollector;
    // The mode thread feeds the statistics while notifications on the main
    // thread create and delete them.
    GMutex m_kpiLock;
    KPIManager* m_pKPIManager;  // guarded by m_kpiLock
    // Given up off the main thread, waiting to be deleted on it.
    std::vector<KPIManager*> m_detachedKPIManagers;  // guarded by m_kpiLock
    guint m_nDeleteSource;                           // guarded by m_kpiLock
};

#endif
