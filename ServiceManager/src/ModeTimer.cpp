#include "ModeTimer.h"

#include "ContextAutoLock.h"
#include "ContextClock.h"

ModeTimer::ModeTimer() : m_sec(0), m_nsec(0) {
    g_mutex_init(&m_mutex);
    _Now(&m_sec, &m_nsec);
}

ModeTimer::~ModeTimer() {
    g_mutex_clear(&m_mutex);
}

void ModeTimer::_Now(int32_t* sec, int32_t* nsec) {
    const int64_t us = ContextClock::MonotonicUs();
    *sec = static_cast<int32_t>(us / 1000000);
    *nsec = static_cast<int32_t>((us % 1000000) * 1000);
}

void ModeTimer::RecordTime() {
    int32_t sec = 0;
    int32_t nsec = 0;
    _Now(&sec, &nsec);
    ContextAutoLock lock(&m_mutex);
    m_sec = sec;
    m_nsec = nsec;
}

ModeElapsed ModeTimer::GetElapsedTime() {
    int32_t sec = 0;
    int32_t nsec = 0;
    _Now(&sec, &nsec);
    ContextAutoLock lock(&m_mutex);
    ModeElapsed elapsed = {sec - m_sec, nsec - m_nsec};
    if (elapsed.nsec < 0) {
        elapsed.sec -= 1;
        elapsed.nsec += 1000000000;
    }
    return elapsed;
}

bool ModeTimer::ReArmAfter(int32_t seconds) {
    if (GetElapsedTime().sec < seconds) {
        return false;
    }
    RecordTime();
    return true;
}
