#include "ContextClock.h"

#include <ctype.h>
#include <math.h>
#include <stdlib.h>
#include <unistd.h>

#include <atomic>

#include "ContextLog.h"

namespace {

int64_t ReadUs(clockid_t id) {
    struct timespec ts;
    clock_gettime(id, &ts);
    return static_cast<int64_t>(ts.tv_sec) * 1000000 + ts.tv_nsec / 1000;
}

double ReadTimeScale() {
    const char* env = getenv("TESSIVO_TIME_SCALE");
    if (env == nullptr) {
        return 1.0;
    }
    double scale = 1.0;
    if (!ContextClock::ParseTimeScale(env, &scale)) {
        KAE_LOGE("TESSIVO_TIME_SCALE \"%s\" is not a number above 0; ignored", env);
        return 1.0;
    }
    return scale;
}

// The system clock. The scaled monotonic time starts at the real one when the
// process first asks, and then runs TimeScale() times as fast.
class SystemClock : public IClockSource {
public:
    SystemClock() : m_scale(ReadTimeScale()), m_originUs(ReadUs(CLOCK_MONOTONIC)) {}

    int64_t MonotonicUs() override {
        int64_t now = ReadUs(CLOCK_MONOTONIC);
        if (m_scale == 1.0) {
            return now;
        }
        return m_originUs + static_cast<int64_t>(static_cast<double>(now - m_originUs) * m_scale);
    }
    int64_t RealMonotonicUs() override { return ReadUs(CLOCK_MONOTONIC); }
    int64_t WallTimeUs() override { return ReadUs(CLOCK_REALTIME); }
    int64_t WallTimeNs() override {
        timespec ts = {0, 0};
        clock_gettime(CLOCK_REALTIME, &ts);
        return static_cast<int64_t>(ts.tv_sec) * 1000000000 + ts.tv_nsec;
    }
    void SleepUs(int64_t us) override {
        if (us <= 0) {
            return;
        }
        struct timespec ts = {static_cast<time_t>(us / 1000000),
                              static_cast<long>((us % 1000000) * 1000)};
        while (nanosleep(&ts, &ts) != 0) {
        }
    }
    double Scale() const { return m_scale; }

private:
    const double m_scale;
    const int64_t m_originUs;
};

SystemClock& System() {
    static SystemClock clock;
    return clock;
}

std::atomic<IClockSource*> s_source{nullptr};

IClockSource& Source() {
    IClockSource* source = s_source.load(std::memory_order_acquire);
    return source != nullptr ? *source : System();
}

}  // namespace

int64_t ContextClock::MonotonicUs() {
    return Source().MonotonicUs();
}

int64_t ContextClock::RealMonotonicUs() {
    return Source().RealMonotonicUs();
}

time_t ContextClock::WallTime() {
    return static_cast<time_t>(Source().WallTimeUs() / 1000000);
}

int64_t ContextClock::WallTimeUs() {
    return Source().WallTimeUs();
}

timespec ContextClock::WallTimeSpec() {
    const int64_t ns = Source().WallTimeNs();
    timespec ts;
    ts.tv_sec = static_cast<time_t>(ns / 1000000000);
    ts.tv_nsec = static_cast<long>(ns % 1000000000);
    return ts;
}

void ContextClock::SleepUs(int64_t us) {
    Source().SleepUs(us);
}

void ContextClock::SetSource(IClockSource* source) {
    s_source.store(source, std::memory_order_release);
}

double ContextClock::TimeScale() {
    return System().Scale();
}

bool ContextClock::ParseTimeScale(const char* text, double* scale) {
    if (text == nullptr || text[0] == '\0' || isspace(static_cast<unsigned char>(text[0]))) {
        return false;
    }
    char* end = nullptr;
    double value = strtod(text, &end);
    if (end == text || *end != '\0' || !isfinite(value) || value <= 0.0) {
        return false;
    }
    *scale = value;
    return true;
}
