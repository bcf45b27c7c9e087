#include "SegmentMode.h"

#include <stdlib.h>

#include <new>

#include "ContextAutoLock.h"
#include "ContextData.h"
#include "ContextEventThread.h"
#include "ContextLog.h"
#include "ModeTimer.h"
#include "PresenceMode.h"
#include "StateManager.h"

namespace {

// The ceiling of the nearest-track distance: the radar's reach, as the
// single-precision constant it has always been.
constexpr double kMaxDistance = static_cast<double>(9.59f);

}  // namespace

SegmentMode::SegmentMode(StateManager* stateManager)
    : m_pStateManager(stateManager),
      m_pQueue(g_async_queue_new()),
      m_pKeptResult(nullptr),
      m_bChangePending(false),
      m_bTimeUp(false),
      m_bNoData(false) {
    g_mutex_init(&m_queueMutex);
}

SegmentMode::~SegmentMode() {
    CleanQueue();
    free(m_pKeptResult);
    g_mutex_clear(&m_queueMutex);
    g_async_queue_unref(m_pQueue);
}

void SegmentMode::SetActivitySegment(ActivitySegment* activitySegment) {
    m_activitySegment.Set(activitySegment);
}

void SegmentMode::Init() {
    m_activitySegment.StartSensor();
}

void SegmentMode::Resume() {
    m_activitySegment.StartSensor();
}

void SegmentMode::Pause() {
    m_activitySegment.StopSensor();
    CleanQueue();
}

gint SegmentMode::ComparePriority(gconstpointer a, gconstpointer b, gpointer user) {
    return ContextEventThread::_ComparePriority(a, b, user);
}

bool SegmentMode::PushEvent(int id, void* data, int priority) {
    ContextAutoLock lock(&m_queueMutex);
    auto* msg = new (std::nothrow) TEventMessage{id, data, false, false, priority};
    if (msg == nullptr) {
        KAE_LOGE("Memory Allocation Fail");
        return false;
    }
    CONTEXT_SYNC_RELEASE(msg);
    g_async_queue_push_sorted(m_pQueue, msg, ComparePriority, nullptr);
    return true;
}

bool SegmentMode::StopEvent() {
    ContextAutoLock lock(&m_queueMutex);
    auto* msg = new (std::nothrow) TEventMessage{-1, nullptr, true, false, 0};
    if (msg == nullptr) {
        KAE_LOGE("Memory Allocation Fail");
        return false;
    }
    CONTEXT_SYNC_RELEASE(msg);
    g_async_queue_push(m_pQueue, msg);
    return true;
}

void SegmentMode::CleanQueue() {
    while (auto* msg = static_cast<TEventMessage*>(g_async_queue_try_pop(m_pQueue))) {
        CONTEXT_SYNC_ACQUIRE(msg);
        free(msg->data);
        if (!msg->isStatic) {
            delete msg;
        }
    }
}

int SegmentMode::GetQueueLength() {
    return g_async_queue_length(m_pQueue);
}

void SegmentMode::Run() {
    auto* msg = static_cast<TEventMessage*>(g_async_queue_timeout_pop(m_pQueue, kResultWaitUs));
    if (msg == nullptr) {
        KAE_LOGE("no data");
        m_bNoData = true;
        return;
    }
    CONTEXT_SYNC_ACQUIRE(msg);
    OnEvent(msg->id, msg->data);
    if (!msg->isStatic) {
        delete msg;
    }
}

bool SegmentMode::ParseResult(const char* text, int* detection, double* distance) {
    ContextData document;
    if (!document.MakeData(text)) {
        return false;
    }
    // "result" holds the one result object of the frame.
    ContextData result = document.GetValue("result", 0);
    const int count = result.GetSize("tracks");
    *detection = count;
    *distance = 0.0;
    if (count > 0) {
        double nearest = kMaxDistance;
        for (int i = 0; i < count; ++i) {
            double range = result.GetValue("tracks", i).GetValueDouble("range");
            if (range < nearest) {
                nearest = range;
            }
        }
        *distance = nearest;
    }
    return true;
}

void SegmentMode::OnEvent(int id, void* data) {
    (void)id;
    char* text = static_cast<char*>(data);
    if (text == nullptr) {
        KAE_LOGI("data is null");
    }
    int detection = 0;
    double distance = 0.0;
    if (!ParseResult(text, &detection, &distance)) {
        KAE_LOGI("ret : false");
        m_bNoData = true;
        free(text);
        return;
    }
    free(m_pKeptResult);
    m_pKeptResult = text;
    m_activitySegment.SetPresenceResult(detection, distance);
}

void SegmentMode::UpdateStat() {
    if (m_pKeptResult == nullptr) {
        return;
    }
    if (m_bNoData) {
        // The first result after a gap is deliberately left out of the
        // statistics.
        free(m_pKeptResult);
        m_pKeptResult = nullptr;
        m_bNoData = false;
        return;
    }
    m_pStateManager->UpdateStat(static_cast<void*>(m_pKeptResult));
    m_pKeptResult = nullptr;
}

void SegmentMode::CheckTimeUp() {
    // A time-up re-arms the shared mode timer and asks for a change.
    m_bTimeUp = m_pStateManager->GetModeChangeTimerInstance()->ReArmAfter(kTimeUpSec);
    if (m_bTimeUp) {
        m_bChangePending = true;
    }
}

bool SegmentMode::IsChangeToPresenceMode() {
    StateManager* sm = m_pStateManager;
    return !sm->isKPITargetCountry() ||
           (m_bChangePending && m_activitySegment.GetDemoViewerSubscribe() == 0) ||
           sm->isKivMode() || sm->isNetflix() || !sm->isKPIAgreed() || !sm->isLandscapeMode();
}

IMode* SegmentMode::GetNextMode() {
    CheckTimeUp();
    if (IsChangeToPresenceMode()) {
        KAE_LOGI("Mode Changed! Segment->Presence");
        m_bChangePending = false;
        m_pStateManager->GetModeChangeTimerInstance()->RecordTime();
        if (m_pStateManager->HasKPIManager()) {
            m_pStateManager->NotifyModeChange(SEGMENT_TO_PRESENCE);
        }
        m_activitySegment.StopSensor();
        CleanQueue();
        return m_pStateManager->GetPresenceModeInstance();
    }
    if (m_bTimeUp && m_pStateManager->HasKPIManager()) {
        KAE_LOGI("Time Up(Mode Unchanged)! Segment->Segment");
        m_pStateManager->NotifyModeChange(SEGMENT_TO_SEGMENT);
    }
    return this;
}
