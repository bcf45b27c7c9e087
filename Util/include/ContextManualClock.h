// A clock that moves only when told to. Sleepers block until the monotonic
// time has been advanced past their deadline (or the clock is released), so
// tests decide exactly when a worker thread wakes.
#ifndef TESSIVO_UTIL_CONTEXTMANUALCLOCK_H
#define TESSIVO_UTIL_CONTEXTMANUALCLOCK_H

#include <condition_variable>
#include <mutex>

#include "ContextClock.h"

class ContextManualClock : public IClockSource {
public:
    // Starts at the given wall time (seconds since the epoch); the monotonic
    // time starts at an arbitrary non-zero value.
    explicit ContextManualClock(time_t wallSeconds = 1700000000);
    ~ContextManualClock() override;

    int64_t MonotonicUs() override;
    int64_t WallTimeUs() override;
    int64_t WallTimeNs() override;
    void SleepUs(int64_t us) override;

    // Moves monotonic and wall time forward together and wakes the sleepers
    // that are due. \context Thread-safe.
    void Advance(int64_t us);
    void AdvanceSeconds(int64_t seconds) { Advance(seconds * 1000000); }
    // Moves the wall time alone, as when the user or the network sets the
    // TV's clock. \context Thread-safe.
    void JumpWall(int64_t seconds);
    // The same to the nanosecond. \context Thread-safe.
    void JumpWallNs(int64_t ns);
    // From now on every sleep returns at once; used to let workers end.
    // \context Thread-safe.
    void Release();
    // How many threads are blocked in SleepUs right now. \context Thread-safe.
    int SleeperCount();
    // Blocks (real time, at most timeoutMs) until at least n threads sleep.
    bool WaitForSleepers(int n, int timeoutMs = 5000);
    // How many sleeps have begun since construction: a worker that was woken
    // has run its loop once when the count has grown. \context Thread-safe.
    int64_t SleepsBegun();
    // Blocks (real time, at most timeoutMs) until at least n sleeps have begun.
    bool WaitForSleepsBegun(int64_t n, int timeoutMs = 5000);

private:
    std::mutex m_mutex;
    std::condition_variable m_changed;
    int64_t m_monotonicUs;
    int64_t m_wallNs;
    int m_sleepers = 0;
    int64_t m_sleepsBegun = 0;
    bool m_released = false;
};

#endif
