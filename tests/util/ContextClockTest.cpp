#include <gtest/gtest.h>

#include <stdlib.h>
#include <time.h>

#include <atomic>
#include <thread>

#include "ContextClock.h"
#include "ContextManualClock.h"

namespace {

class ManualClockScope {
public:
    explicit ManualClockScope(ContextManualClock* clock) { ContextClock::SetSource(clock); }
    ~ManualClockScope() { ContextClock::SetSource(nullptr); }
};

}  // namespace

TEST(ContextClock, ParseTimeScaleAcceptsOnlyPositiveFiniteNumbers) {
    double scale = 0;
    EXPECT_TRUE(ContextClock::ParseTimeScale("100", &scale));
    EXPECT_DOUBLE_EQ(scale, 100.0);
    EXPECT_TRUE(ContextClock::ParseTimeScale("0.5", &scale));
    EXPECT_DOUBLE_EQ(scale, 0.5);
    for (const char* bad : {"", "0", "-3", "abc", "10x", "nan", "inf", " 5"}) {
        scale = 7;
        EXPECT_FALSE(ContextClock::ParseTimeScale(bad, &scale)) << bad;
        EXPECT_DOUBLE_EQ(scale, 7) << bad;
    }
    EXPECT_FALSE(ContextClock::ParseTimeScale(nullptr, &scale));
}

TEST(ContextClock, SystemClockRunsAtTheConfiguredScaleWhileSleepsStayReal) {
    // Run once as it is and once (by CTest) with TESSIVO_TIME_SCALE=50.
    double expected = 1.0;
    if (const char* env = getenv("TESSIVO_TIME_SCALE")) {
        ASSERT_TRUE(ContextClock::ParseTimeScale(env, &expected));
    }
    EXPECT_DOUBLE_EQ(ContextClock::TimeScale(), expected);
    struct timespec before, after;
    clock_gettime(CLOCK_MONOTONIC, &before);
    int64_t a = ContextClock::MonotonicUs();
    int64_t realA = ContextClock::RealMonotonicUs();
    ContextClock::SleepUs(20000);
    int64_t realB = ContextClock::RealMonotonicUs();
    int64_t b = ContextClock::MonotonicUs();
    clock_gettime(CLOCK_MONOTONIC, &after);
    double realUs = (after.tv_sec - before.tv_sec) * 1e6 + (after.tv_nsec - before.tv_nsec) / 1e3;
    EXPECT_GE(realUs, 20000);  // the sleep itself is not scaled
    EXPECT_GE(b - a, 20000 * expected * 0.99);
    EXPECT_LE(b - a, realUs * expected * 1.01 + 1);
    // The real monotonic time ignores the scale.
    EXPECT_GE(realB - realA, 20000);
    EXPECT_LE(realB - realA, realUs + 1);
    EXPECT_NEAR(static_cast<double>(ContextClock::WallTime()), static_cast<double>(time(nullptr)),
                1.0);
}

TEST(ContextManualClock, AdvanceMovesBothClocksAndJumpOnlyTheWall) {
    ContextManualClock clock(1000);
    ManualClockScope scope(&clock);
    int64_t mono = ContextClock::MonotonicUs();
    EXPECT_EQ(ContextClock::WallTime(), 1000);
    clock.Advance(1500000);
    EXPECT_EQ(ContextClock::MonotonicUs() - mono, 1500000);
    EXPECT_EQ(ContextClock::WallTime(), 1001);
    clock.JumpWall(60);
    EXPECT_EQ(ContextClock::WallTime(), 1061);
    EXPECT_EQ(ContextClock::MonotonicUs() - mono, 1500000);
}

TEST(ContextManualClock, SleeperWakesOnlyWhenItsDeadlinePassesOrOnRelease) {
    ContextManualClock clock;
    ManualClockScope scope(&clock);
    std::atomic<bool> woke{false};
    std::thread sleeper([&] {
        ContextClock::SleepUs(250000);
        woke = true;
    });
    ASSERT_TRUE(clock.WaitForSleepers(1));
    EXPECT_EQ(clock.SleepsBegun(), 1);
    clock.Advance(249999);
    EXPECT_EQ(clock.SleeperCount(), 1);
    EXPECT_FALSE(woke);
    clock.Advance(1);
    sleeper.join();
    EXPECT_TRUE(woke);
    EXPECT_EQ(clock.SleeperCount(), 0);

    std::thread a([] { ContextClock::SleepUs(3600LL * 1000000); });
    std::thread b([] { ContextClock::SleepUs(3600LL * 1000000); });
    ASSERT_TRUE(clock.WaitForSleepers(2));
    clock.Release();
    a.join();
    b.join();
    ContextClock::SleepUs(3600LL * 1000000);  // returns at once once released
    EXPECT_EQ(clock.SleeperCount(), 0);
}
