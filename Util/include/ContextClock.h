// One clock for the whole service: monotonic time for timers and mode
// periods, wall time for calendar stamps, and sleeps. Tests replace the source
// with a ContextManualClock; on a host TESSIVO_TIME_SCALE speeds up the
// monotonic time that timers read while sleeps stay real.
#ifndef TESSIVO_UTIL_CONTEXTCLOCK_H
#define TESSIVO_UTIL_CONTEXTCLOCK_H

#include <stdint.h>
#include <time.h>

class IClockSource {
public:
    virtual ~IClockSource() = default;
    virtual int64_t MonotonicUs() = 0;
    // Monotonic time at its real pace: what TESSIVO_TIME_SCALE speeds up
    // does not apply. A source without a scale gives its one monotonic time.
    virtual int64_t RealMonotonicUs() { return MonotonicUs(); }
    virtual int64_t WallTimeUs() = 0;
    // Wall time to the nanosecond where the source has it.
    virtual int64_t WallTimeNs() { return WallTimeUs() * 1000; }
    virtual void SleepUs(int64_t us) = 0;
};

class ContextClock {
public:
    // \context Thread-safe.
    static int64_t MonotonicUs();
    // \context Thread-safe.
    static int64_t MonotonicMs() { return MonotonicUs() / 1000; }
    // Monotonic time never sped up, for deadlines that other processes must
    // meet (how soon a client reads what it was sent). \context Thread-safe.
    static int64_t RealMonotonicUs();
    // Seconds since the epoch, as time() gives them. \context Thread-safe.
    static time_t WallTime();
    // \context Thread-safe.
    static int64_t WallTimeUs();
    // The wall time as clock_gettime(CLOCK_REALTIME) gives it.
    // \context Thread-safe.
    static timespec WallTimeSpec();
    // \context Thread-safe.
    static void SleepUs(int64_t us);

    // Replaces the clock of the process; null restores the system clock.
    // Set it before any thread that reads the clock starts.
    static void SetSource(IClockSource* source);

    // The factor applied to the system's monotonic time (1 unless
    // TESSIVO_TIME_SCALE says otherwise). \context Thread-safe.
    static double TimeScale();

    // Parses a time-scale text: a finite number greater than zero. Returns
    // false for anything else.
    static bool ParseTimeScale(const char* text, double* scale);
};

#endif
