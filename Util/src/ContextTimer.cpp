#include "ContextTimer.h"

#include <stddef.h>

#include <new>

#include "ContextClock.h"
#include "ContextLog.h"

// Expands its argument before g_assert stringifies it, so an abort names the
// condition as the compiler saw it.
#define CONTEXT_TIMER_ASSERT(expr) g_assert(expr)

namespace {

const int kEventPriority = 10;
const int64_t kTickUs = 250000;
// A gap between two checks of this many seconds or more is a clock jump (or a
// stalled thread), and every timer moves with it.
const time_t kJumpSeconds = 6;
const int32_t kMaxTimerId = 2147483647;

std::atomic<int32_t> s_nextTimerId{1};

int32_t TakeTimerId() {
    int32_t id = s_nextTimerId.load();
    int32_t next;
    do {
        next = id >= kMaxTimerId ? 1 : id + 1;
    } while (!s_nextTimerId.compare_exchange_weak(id, next));
    return id;
}

}  // namespace

ContextTimer::ContextTimer()
    : m_nTimerCount(0),
      m_lastCheck(0),
      m_checkMsg{EVENT_CHECK, nullptr, false, true, kEventPriority},
      m_bCheckQueued(false) {}

ContextTimer::~ContextTimer() {
    for (CTimerData* timerData : m_listTimer) {
        delete timerData;
    }
    m_listTimer.clear();
    m_nTimerCount = 0;
    int id = 0;
    void* data = nullptr;
    while (_TakeLeftover(&id, &data)) {
        if (id == EVENT_INSERT) {
            delete static_cast<CTimerData*>(data);
        } else if (id == EVENT_REMOVE) {
            delete static_cast<int*>(data);
        }
    }
}

CTimerData* ContextTimer::CreateTimer_(unsigned interval, ContextTimerCallback callback,
                                       void* user) {
    CTimerData* timerData = new (std::nothrow) CTimerData{0, interval, 0, callback, user};
    CONTEXT_TIMER_ASSERT(timerData != NULL);
    timerData->id = TakeTimerId();
    return timerData;
}

void ContextTimer::SetNextTimerId_(int32_t id) {
    s_nextTimerId.store(id);
}

int ContextTimer::SetTimer(unsigned interval, ContextTimerCallback callback, void* user) {
    CTimerData* timerData = CreateTimer_(interval, callback, user);
    const int id = timerData->id;
    if (!PushEvent(EVENT_INSERT, timerData, kEventPriority)) {
        delete timerData;
        return 0;
    }
    return id;
}

bool ContextTimer::KillTimer(int id) {
    if (id == 0) {
        KAE_LOGI("invalid timer id");
        return false;
    }
    int* ptimerId = new (std::nothrow) int(id);
    CONTEXT_TIMER_ASSERT(ptimerId != NULL);
    if (!PushEvent(EVENT_REMOVE, ptimerId, kEventPriority)) {
        delete ptimerId;
        return false;
    }
    return true;
}

bool ContextTimer::Start() {
    m_lastCheck.store(ContextClock::WallTime());
    if (!ContextEventThread::Start("ContextTimer") || !ContextThread::Start()) {
        KAE_LOGE("Start Error");
        return false;
    }
    return true;
}

bool ContextTimer::Stop() {
    // Both sides are asked even when the first refuses, so a half-started
    // timer can still be brought down.
    const bool tickerStopped = ContextThread::Stop();
    const bool eventsStopped = ContextEventThread::Stop();
    if (!tickerStopped || !eventsStopped) {
        KAE_LOGE("Stop Error");
        return false;
    }
    return true;
}

void ContextTimer::OnThread() {
    while (ContextThread::IsRunning()) {
        // A check still waiting in the queue covers this tick as well.
        bool expected = false;
        if (m_bCheckQueued.compare_exchange_strong(expected, true)) {
            if (!PushStaticEvent(&m_checkMsg)) {
                m_bCheckQueued.store(false);
            }
        }
        ContextClock::SleepUs(kTickUs);
    }
}

void ContextTimer::OnEvent(int id, void* data) {
    switch (id) {
        case EVENT_INSERT:
            InsertTimer_(static_cast<CTimerData*>(data));
            break;
        case EVENT_REMOVE: {
            int* ptimerId = static_cast<int*>(data);
            RemoveTimer_(*ptimerId);
            delete ptimerId;
            break;
        }
        case EVENT_CHECK:
            // The message is out of the queue: the ticker may queue it again.
            m_bCheckQueued.store(false);
            CheckTimer_();
            break;
        default:
            g_assert_not_reached();
    }
}

void ContextTimer::InsertTimer_(CTimerData* timerData) {
    if (timerData == nullptr) {
        return;
    }
    timerData->due = static_cast<time_t>(timerData->interval) + m_lastCheck.load();
    // Before the first later timer: equal due times keep their insertion order.
    auto it = m_listTimer.begin();
    while (it != m_listTimer.end() && (*it)->due <= timerData->due) {
        ++it;
    }
    m_listTimer.insert(it, timerData);
    ++m_nTimerCount;
}

void ContextTimer::RemoveTimer_(int id) {
    for (auto it = m_listTimer.begin(); it != m_listTimer.end();) {
        if ((*it)->id == id) {
            delete *it;
            it = m_listTimer.erase(it);
            --m_nTimerCount;
        } else {
            ++it;
        }
    }
}

void ContextTimer::CheckTimer_() {
    const time_t now = ContextClock::WallTime();
    const time_t gap = now - m_lastCheck.load();
    if (gap >= kJumpSeconds) {
        KAE_LOGI("add offset %d", static_cast<int>(gap));
    }
    if (m_listTimer.empty()) {
        m_lastCheck.store(now);
        return;
    }
    // Callbacks may only queue changes (SetTimer/KillTimer), so the list
    // stays intact while it is walked.
    for (CTimerData* timerData : m_listTimer) {
        if (gap >= kJumpSeconds) {
            timerData->due += gap;
        }
        if (now >= timerData->due) {
            timerData->due = now + static_cast<time_t>(timerData->interval);
            if (timerData->callback != nullptr) {
                timerData->callback(timerData->id, timerData->user);
            }
        }
    }
    m_lastCheck.store(now);
}
