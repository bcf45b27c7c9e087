#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "ContextClock.h"
#include "ContextManualClock.h"
#include "ContextTimer.h"

namespace {

const time_t kT0 = 1700000000;
const int64_t kTickUs = 250000;
const auto kSafety = std::chrono::seconds(5);

// Every callback as (timer id, wall second), plus an optional gate that holds
// the event thread inside a callback.
class FireLog {
public:
    static void Record(int id, void* user) { static_cast<FireLog*>(user)->Add(id); }

    void Add(int id) {
        std::unique_lock<std::mutex> lock(m_mutex);
        m_fired.emplace_back(id, ContextClock::WallTime());
        m_changed.notify_all();
        if (m_holdGate) {
            m_gateEntered = true;
            m_changed.notify_all();
            m_changed.wait(lock, [&] { return !m_holdGate; });
        }
    }
    std::vector<std::pair<int, time_t>> Fired() {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_fired;
    }
    size_t CountOf(int id) {
        std::lock_guard<std::mutex> lock(m_mutex);
        return std::count_if(m_fired.begin(), m_fired.end(),
                             [id](const auto& fire) { return fire.first == id; });
    }
    // Waits a little (real time) for a change; the caller loops.
    void WaitBriefly(const std::function<bool()>& done) {
        std::unique_lock<std::mutex> lock(m_mutex);
        m_changed.wait_for(lock, std::chrono::milliseconds(2), [&] {
            lock.unlock();
            bool result = done();
            lock.lock();
            return result;
        });
    }
    void HoldGate() {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_holdGate = true;
    }
    bool WaitGateEntered() {
        std::unique_lock<std::mutex> lock(m_mutex);
        return m_changed.wait_for(lock, kSafety, [&] { return m_gateEntered; });
    }
    void OpenGate() {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_holdGate = false;
        m_changed.notify_all();
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::vector<std::pair<int, time_t>> m_fired;
    bool m_holdGate = false;
    bool m_gateEntered = false;
};

using Fires = std::vector<std::pair<int, time_t>>;

// Runs body with standard error (the host log) captured; returns the log.
template <typename Body>
std::string StderrOf(Body&& body) {
    testing::internal::CaptureStderr();
    body();
    return testing::internal::GetCapturedStderr();
}

// The list logic driven by hand on the test thread: nothing is started, the
// test plays the event thread.
class ContextTimerList : public testing::Test {
protected:
    ContextTimerList() : m_clock(kT0) { ContextClock::SetSource(&m_clock); }
    ~ContextTimerList() override { ContextClock::SetSource(nullptr); }

    void SetUp() override {
        // The first check finds the list empty and only takes the time.
        StderrOf([&] { m_timer.CheckTimer_(); });
    }
    void Insert(int id, unsigned interval) {
        m_timer.InsertTimer_(new CTimerData{id, interval, 0, FireLog::Record, &m_log});
    }
    // One check per wall second up to `seconds` from now.
    void RunSeconds(int seconds) {
        for (int i = 0; i < seconds; ++i) {
            m_clock.AdvanceSeconds(1);
            m_timer.CheckTimer_();
        }
    }
    std::string CheckCapturingLog() {
        return StderrOf([&] { m_timer.CheckTimer_(); });
    }

    ContextManualClock m_clock;
    ContextTimer m_timer;
    FireLog m_log;
};

// The real ticker and event thread on the manual clock.
class ContextTimerThreads : public testing::Test {
protected:
    ContextTimerThreads() : m_clock(kT0) { ContextClock::SetSource(&m_clock); }
    ~ContextTimerThreads() override {
        // Let a parked ticker run out so that the threads can be joined.
        m_clock.Release();
        if (m_timer.ContextThread::IsRunning() || m_timer.ContextEventThread::IsRunning()) {
            m_timer.Stop();
        }
        ContextClock::SetSource(nullptr);
    }

    // Moves the clock on tick by tick, each time the ticker is parked, until
    // done() holds; false after the safety time.
    bool AdvanceUntil(const std::function<bool()>& done) {
        const auto deadline = std::chrono::steady_clock::now() + kSafety;
        while (!done()) {
            if (std::chrono::steady_clock::now() > deadline) {
                return false;
            }
            if (m_clock.WaitForSleepers(1, 50)) {
                m_clock.Advance(kTickUs);
            }
            m_log.WaitBriefly(done);
        }
        return true;
    }

    // Advances the clock and waits until the parked ticker has woken, run its
    // loop once and begun its next sleep; false after the safety time.
    bool Tick(int64_t us) {
        const int64_t begun = m_clock.SleepsBegun();
        m_clock.Advance(us);
        return m_clock.WaitForSleepsBegun(begun + 1);
    }

    ContextManualClock m_clock;
    ContextTimer m_timer;
    FireLog m_log;
};

}  // namespace

TEST_F(ContextTimerList, TimersDueInTheSameSecondFireInTheOrderTheyWereSet) {
    Insert(1, 5);
    Insert(2, 5);
    Insert(3, 2);  // due earlier, so placed ahead of both
    EXPECT_EQ(m_timer.GetTimerCount_(), 3);

    RunSeconds(10);
    Fires expected = {{3, kT0 + 2}, {3, kT0 + 4},  {1, kT0 + 5},  {2, kT0 + 5}, {3, kT0 + 6},
                      {3, kT0 + 8}, {3, kT0 + 10}, {1, kT0 + 10}, {2, kT0 + 10}};
    EXPECT_EQ(m_log.Fired(), expected);
}

TEST_F(ContextTimerList, DueTimeCountsFromTheLastCheckNotFromNow) {
    m_clock.AdvanceSeconds(3);  // no check in between
    Insert(1, 5);
    m_clock.AdvanceSeconds(2);
    m_timer.CheckTimer_();
    EXPECT_EQ(m_log.Fired(), (Fires{{1, kT0 + 5}}));
}

TEST_F(ContextTimerList, WallClockJumpMovesEveryTimerAndNoneFiresEarly) {
    Insert(1, 5);
    Insert(2, 8);
    RunSeconds(2);

    m_clock.JumpWall(60);
    std::string log = CheckCapturingLog();
    EXPECT_NE(log.find("add offset 60"), std::string::npos) << log;
    EXPECT_TRUE(m_log.Fired().empty());

    // Three and six seconds of the timers' periods were left at the jump.
    RunSeconds(8);
    Fires expected = {{1, kT0 + 65}, {2, kT0 + 68}, {1, kT0 + 70}};
    EXPECT_EQ(m_log.Fired(), expected);
}

TEST_F(ContextTimerList, GapOfSixSecondsCountsAsJumpButFiveDoesNot) {
    Insert(1, 10);
    m_clock.AdvanceSeconds(5);
    std::string log = CheckCapturingLog();
    EXPECT_EQ(log.find("add offset"), std::string::npos) << log;

    m_clock.AdvanceSeconds(6);
    log = CheckCapturingLog();
    EXPECT_NE(log.find("add offset 6"), std::string::npos) << log;
    // The stall moved the timer from T0+10 to T0+16.
    EXPECT_TRUE(m_log.Fired().empty());
    RunSeconds(5);
    EXPECT_EQ(m_log.Fired(), (Fires{{1, kT0 + 16}}));
}

TEST_F(ContextTimerList, RemoveTakesEveryTimerWithTheIdAndToleratesUnknownIds) {
    Insert(1, 1);
    Insert(2, 1);
    Insert(1, 2);
    m_timer.InsertTimer_(new CTimerData{4, 1, 0, nullptr, nullptr});  // no callback
    EXPECT_EQ(m_timer.GetTimerCount_(), 4);

    m_timer.RemoveTimer_(1);
    EXPECT_EQ(m_timer.GetTimerCount_(), 2);
    m_timer.RemoveTimer_(77);
    EXPECT_EQ(m_timer.GetTimerCount_(), 2);

    RunSeconds(2);
    EXPECT_EQ(m_log.Fired(), (Fires{{2, kT0 + 1}, {2, kT0 + 2}}));
    // Timer 4 (no callback) and timer 2 stay in the list; the destructor
    // frees them.
    EXPECT_EQ(m_timer.GetTimerCount_(), 2);
}

TEST(ContextTimer, RequestsBeforeStartAreQueuedLikeAnyEvent) {
    ContextTimer timer;
    std::string log = StderrOf([&] { EXPECT_FALSE(timer.KillTimer(0)); });
    EXPECT_NE(log.find("invalid timer id"), std::string::npos) << log;
    EXPECT_EQ(timer.GetQueueLength(), 0);
    EXPECT_TRUE(timer.KillTimer(5));
    EXPECT_EQ(timer.GetQueueLength(), 1);

    // Ids count up and wrap to 1 after the largest int.
    ContextTimer::SetNextTimerId_(2147483646);
    for (int expected : {2147483646, 2147483647, 1, 2}) {
        EXPECT_EQ(timer.SetTimer(1, nullptr, nullptr), expected);
    }
    // The 17th request is refused; the destructor releases what was queued.
    for (int i = timer.GetQueueLength(); i < 16; ++i) {
        ASSERT_NE(timer.SetTimer(1, nullptr, nullptr), 0) << i;
    }
    log = StderrOf([&] { EXPECT_EQ(timer.SetTimer(1, nullptr, nullptr), 0); });
    EXPECT_NE(log.find("The Event Queue is overflow!!"), std::string::npos) << log;
    EXPECT_EQ(timer.GetQueueLength(), 16);
}

TEST(ContextTimerDeathTest, UnknownInternalEventAborts) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_DEATH(
        {
            ContextTimer timer;
            timer.ContextEventThread::Start("death");
            timer.PushEvent(7, nullptr, 10);
            timer.ContextEventThread::Stop();  // joins the loop, which aborts first
        },
        "should not be reached");
}

TEST_F(ContextTimerThreads, FiresOnItsThreadsAndStopsFiringOnceKilled) {
    ASSERT_TRUE(m_timer.Start());
    const int id = m_timer.SetTimer(1, FireLog::Record, &m_log);
    ASSERT_NE(id, 0);

    ASSERT_TRUE(AdvanceUntil([&] { return m_log.CountOf(id) >= 2; }));
    Fires fired = m_log.Fired();
    EXPECT_GE(fired[0].second, kT0 + 1);
    EXPECT_GE(fired[1].second, fired[0].second + 1);

    ASSERT_TRUE(m_timer.KillTimer(id));
    // Queued behind the removal, so once it fires the removal is done.
    const int marker = m_timer.SetTimer(1, FireLog::Record, &m_log);
    ASSERT_TRUE(AdvanceUntil([&] { return m_log.CountOf(marker) >= 1; }));
    const size_t killedCount = m_log.CountOf(id);
    ASSERT_TRUE(AdvanceUntil([&] { return m_log.CountOf(marker) >= 4; }));
    EXPECT_EQ(m_log.CountOf(id), killedCount);

    m_clock.Release();
    EXPECT_TRUE(m_timer.Stop());
}

TEST_F(ContextTimerThreads, TickerNeverQueuesTheCheckTwiceWhileTheEventThreadLags) {
    ASSERT_TRUE(m_timer.Start());
    m_log.HoldGate();
    const int id = m_timer.SetTimer(1, FireLog::Record, &m_log);
    ASSERT_TRUE(AdvanceUntil([&] { return m_log.CountOf(id) >= 1; }));
    ASSERT_TRUE(m_log.WaitGateEntered());

    // The event thread is stuck in the callback; the ticker keeps going round.
    ASSERT_TRUE(m_clock.WaitForSleepers(1));
    int longest = 0;
    for (int tick = 0; tick < 16; ++tick) {
        ASSERT_TRUE(Tick(kTickUs)) << tick;
        longest = std::max(longest, m_timer.GetQueueLength());
    }
    EXPECT_EQ(m_timer.GetQueueLength(), 1);
    EXPECT_LE(longest, 1);

    // The one waiting check is handled and the timer keeps going.
    m_log.OpenGate();
    ASSERT_TRUE(AdvanceUntil([&] { return m_log.CountOf(id) >= 3; }));
}

TEST_F(ContextTimerThreads, StartAndStopTwiceAreRefusedAndLogged) {
    ASSERT_TRUE(m_timer.Start());
    std::string log = StderrOf([&] { EXPECT_FALSE(m_timer.Start()); });
    EXPECT_NE(log.find("Already Started"), std::string::npos) << log;
    EXPECT_NE(log.find("Start Error"), std::string::npos) << log;

    m_clock.Release();
    ASSERT_TRUE(m_timer.Stop());
    EXPECT_FALSE(m_timer.ContextThread::IsRunning());
    EXPECT_FALSE(m_timer.ContextEventThread::IsRunning());
    log = StderrOf([&] { EXPECT_FALSE(m_timer.Stop()); });
    EXPECT_NE(log.find("Already Stopped"), std::string::npos) << log;
    EXPECT_NE(log.find("Stop Error"), std::string::npos) << log;
}
