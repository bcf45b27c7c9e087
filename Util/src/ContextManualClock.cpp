#include "ContextManualClock.h"

#include <chrono>

ContextManualClock::ContextManualClock(time_t wallSeconds)
    : m_monotonicUs(1000000000), m_wallNs(static_cast<int64_t>(wallSeconds) * 1000000000) {}

ContextManualClock::~ContextManualClock() {
    Release();
}

int64_t ContextManualClock::MonotonicUs() {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_monotonicUs;
}

int64_t ContextManualClock::WallTimeUs() {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_wallNs / 1000;
}

int64_t ContextManualClock::WallTimeNs() {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_wallNs;
}

void ContextManualClock::SleepUs(int64_t us) {
    std::unique_lock<std::mutex> lock(m_mutex);
    const int64_t deadline = m_monotonicUs + (us > 0 ? us : 0);
    ++m_sleepers;
    ++m_sleepsBegun;
    m_changed.notify_all();
    m_changed.wait(lock, [&] { return m_released || m_monotonicUs >= deadline; });
    --m_sleepers;
    m_changed.notify_all();
}

void ContextManualClock::Advance(int64_t us) {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_monotonicUs += us;
    m_wallNs += us * 1000;
    m_changed.notify_all();
}

void ContextManualClock::JumpWall(int64_t seconds) {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_wallNs += seconds * 1000000000;
}

void ContextManualClock::JumpWallNs(int64_t ns) {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_wallNs += ns;
}

void ContextManualClock::Release() {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_released = true;
    m_changed.notify_all();
}

int ContextManualClock::SleeperCount() {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_sleepers;
}

bool ContextManualClock::WaitForSleepers(int n, int timeoutMs) {
    std::unique_lock<std::mutex> lock(m_mutex);
    return m_changed.wait_for(lock, std::chrono::milliseconds(timeoutMs),
                              [&] { return m_sleepers >= n; });
}

int64_t ContextManualClock::SleepsBegun() {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_sleepsBegun;
}

bool ContextManualClock::WaitForSleepsBegun(int64_t n, int timeoutMs) {
    std::unique_lock<std::mutex> lock(m_mutex);
    return m_changed.wait_for(lock, std::chrono::milliseconds(timeoutMs),
                              [&] { return m_sleepsBegun >= n; });
}
