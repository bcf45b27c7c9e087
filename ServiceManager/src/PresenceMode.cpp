#include "PresenceMode.h"

#include "ContextClock.h"
#include "ContextLog.h"
#include "ModeTimer.h"
#include "SegmentMode.h"
#include "StateManager.h"

PresenceMode::PresenceMode(StateManager* stateManager)
    : m_pStateManager(stateManager),
      m_pReadFailureTimer(nullptr),
      m_nDetection(0),
      m_dDistance(0.0),
      m_bChangePending(false),
      m_bTimeUp(false) {}

PresenceMode::~PresenceMode() {
    delete m_pReadFailureTimer;
}

void PresenceMode::SetActivitySegment(ActivitySegment* activitySegment) {
    m_activitySegment.Set(activitySegment);
}

void PresenceMode::Run() {
    ContextClock::SleepUs(250000);
    if (m_pStateManager->isPresenceReadFailure()) {
        return;
    }
    int detection = 0;
    double distance = 0.0;
    if (m_activitySegment.ReadPresence(&detection, &distance)) {
        m_nDetection = detection;
        m_dDistance = distance;
        delete m_pReadFailureTimer;
        m_pReadFailureTimer = nullptr;
        m_activitySegment.SetPresenceResult(m_nDetection, m_dDistance);
        return;
    }

    KAE_LOGE("ReadPresence failed");
    m_nDetection = -4;
    m_dDistance = -4.0;
    m_activitySegment.SetPresenceResult(m_nDetection, m_dDistance);
    if (m_pReadFailureTimer == nullptr) {
        m_pReadFailureTimer = new ModeTimer();
    } else if (m_pReadFailureTimer->GetElapsedTime().sec > kReadFailureLimitSec) {
        if (m_pStateManager->deleteKPIManager()) {
            KAE_LOGE("presence reading given up after %d s of failed reads",
                     m_pReadFailureTimer->GetElapsedTime().sec);
            m_pStateManager->setPresenceReadFailure(true);
            delete m_pReadFailureTimer;
            m_pReadFailureTimer = nullptr;
        }
    }
}

void PresenceMode::UpdateStat() {
    m_pStateManager->UpdateStat(m_nDetection, m_dDistance);
}

void PresenceMode::CheckTimeUp() {
    // A time-up re-arms the shared mode timer and asks for a change.
    m_bTimeUp = m_pStateManager->GetModeChangeTimerInstance()->ReArmAfter(kTimeUpSec);
    if (m_bTimeUp) {
        m_bChangePending = true;
    }
}

bool PresenceMode::IsKeepPresenceMode() {
    StateManager* sm = m_pStateManager;
    return !sm->isKPITargetCountry() || sm->isPresenceModeForcedOnBoot() || sm->isKivMode() ||
           sm->isNetflix() || !sm->isKPIAgreed() || sm->isPresenceReadFailure() ||
           !sm->isLandscapeMode();
}

bool PresenceMode::IsChangeToSegmentMode() {
    return m_bChangePending || m_activitySegment.GetDemoViewerSubscribe() != 0;
}

IMode* PresenceMode::_StayInPresenceMode() {
    if (m_bTimeUp && m_pStateManager->HasKPIManager()) {
        KAE_LOGI("Time Up(Mode Unchanged)! Presence->Presence");
        m_pStateManager->NotifyModeChange(PRESENCE_TO_PRESENCE);
    }
    return this;
}

IMode* PresenceMode::GetNextMode() {
    CheckTimeUp();
    // A pending change stays set while something holds presence mode, so
    // the switch happens on the first pass after it lets go.
    if (IsKeepPresenceMode() || !IsChangeToSegmentMode()) {
        return _StayInPresenceMode();
    }
    KAE_LOGI("Mode Changed! Presence->Segment");
    m_bChangePending = false;
    m_activitySegment.StartSensor();
    m_pStateManager->GetModeChangeTimerInstance()->RecordTime();
    if (m_pStateManager->HasKPIManager()) {
        m_pStateManager->NotifyModeChange(PRESENCE_TO_SEGMENT);
    }
    return m_pStateManager->GetSegmentModeInstance();
}
