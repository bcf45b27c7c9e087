// The elapsed-time measure of the operating modes: one recorded instant of
// the monotonic clock, read back as whole seconds and nanoseconds since then.
#ifndef TESSIVO_SERVICEMANAGER_MODETIMER_H
#define TESSIVO_SERVICEMANAGER_MODETIMER_H

#include <glib.h>
#include <stdint.h>

struct ModeElapsed {
    int32_t sec;
    int32_t nsec;
};

class ModeTimer {
public:
    // Records the current instant. \context Any thread.
    ModeTimer();
    ~ModeTimer();

    ModeTimer(const ModeTimer&) = delete;
    ModeTimer& operator=(const ModeTimer&) = delete;

    // Re-arms the timer at the current instant. \context Thread-safe.
    void RecordTime();
    // Now minus the recorded instant, field by field, borrowing one second
    // when the nanoseconds would go negative. \context Thread-safe.
    ModeElapsed GetElapsedTime();
    // True, with the timer re-armed, once at least seconds whole seconds
    // have passed; false otherwise. \context Thread-safe.
    bool ReArmAfter(int32_t seconds);

private:
    static void _Now(int32_t* sec, int32_t* nsec);

    // The mode thread re-arms and reads the timer while the statistics may
    // read it from the main thread.
    GMutex m_mutex;
    int32_t m_sec;   // guarded by m_mutex
    int32_t m_nsec;  // guarded by m_mutex
};

#endif
