// Presence mode: polls the radar four times a second for whether somebody is
// in front of the set and how far away, and publishes the reading to
// clients. The radar does not stream in this mode.
#ifndef TESSIVO_SERVICEMANAGER_PRESENCEMODE_H
#define TESSIVO_SERVICEMANAGER_PRESENCEMODE_H

#include <stdint.h>

#include "IMode.h"
#include "ModeSensorLink.h"

class ActivitySegment;
class ModeTimer;
class StateManager;

class PresenceMode : public IMode {
public:
    // Every operation but SetActivitySegment runs on the mode thread.
    explicit PresenceMode(StateManager* stateManager);
    ~PresenceMode() override;

    // \context Thread-safe; waits for a radar call in progress.
    void SetActivitySegment(ActivitySegment* activitySegment);

    void Init() override {}
    // Sleeps 250 ms, then reads presence unless reading has been given up.
    void Run() override;
    IMode* GetNextMode() override;
    void UpdateStat() override;
    void Resume() override {}
    void Pause() override {}

    void CheckTimeUp();
    // True while something holds the service in presence mode.
    bool IsKeepPresenceMode();
    bool IsChangeToSegmentMode();

    // The last reading: -4 and -4.0 after a failed read.
    int32_t GetDetection() const { return m_nDetection; }
    double GetDistance() const { return m_dDistance; }

private:
    // Reads that fail for this long give the statistics up for good.
    static constexpr int32_t kReadFailureLimitSec = 239;
    static constexpr int32_t kTimeUpSec = 120;

    // Raises the time-up notice when a time-up keeps the mode.
    IMode* _StayInPresenceMode();

    StateManager* m_pStateManager;
    ModeSensorLink m_activitySegment;
    ModeTimer* m_pReadFailureTimer;  // null while reads succeed
    int32_t m_nDetection;
    double m_dDistance;
    bool m_bChangePending;
    bool m_bTimeUp;
};

#endif
