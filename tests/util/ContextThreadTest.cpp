#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>

#include "ContextAutoLock.h"
#include "ContextThread.h"

namespace {

const auto kSafety = std::chrono::seconds(5);

// A body that announces each start and keeps polling the running flag, as a
// real worker does.
class PollingThread : public ContextThread {
public:
    bool WaitEntered(int times) {
        std::unique_lock<std::mutex> lock(m_mutex);
        return m_changed.wait_for(lock, kSafety, [&] { return m_entered >= times; });
    }
    int Entered() {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_entered;
    }
    int Left() {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_left;
    }

protected:
    void OnThread() override {
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            ++m_entered;
        }
        m_changed.notify_all();
        while (IsRunning()) {
            std::this_thread::yield();
        }
        std::lock_guard<std::mutex> lock(m_mutex);
        ++m_left;
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_changed;
    int m_entered = 0;
    int m_left = 0;
};

// Runs body with standard error (the host log) captured; returns the log.
template <typename Body>
std::string StderrOf(Body&& body) {
    testing::internal::CaptureStderr();
    body();
    return testing::internal::GetCapturedStderr();
}

}  // namespace

TEST(ContextThread, RunsBodyUntilStopJoinsItAndCanStartAgain) {
    PollingThread thread;
    EXPECT_FALSE(thread.IsRunning());
    for (int round = 1; round <= 3; ++round) {
        SCOPED_TRACE(round);
        ASSERT_TRUE(thread.Start());
        EXPECT_TRUE(thread.IsRunning());
        ASSERT_TRUE(thread.WaitEntered(round));
        EXPECT_EQ(thread.Left(), round - 1);
        ASSERT_TRUE(thread.Stop());
        // Stop() joined the body: it has finished by the time Stop() returns.
        EXPECT_EQ(thread.Left(), round);
        EXPECT_FALSE(thread.IsRunning());
    }
}

TEST(ContextThread, StartAndStopTwiceAreRefusedAndLogged) {
    PollingThread thread;
    ASSERT_TRUE(thread.Start());
    ASSERT_TRUE(thread.WaitEntered(1));
    std::string log = StderrOf([&] { EXPECT_FALSE(thread.Start()); });
    EXPECT_NE(log.find("Already Started"), std::string::npos) << log;
    EXPECT_TRUE(thread.IsRunning());
    EXPECT_EQ(thread.Entered(), 1);  // no second body

    ASSERT_TRUE(thread.Stop());
    log = StderrOf([&] { EXPECT_FALSE(thread.Stop()); });
    EXPECT_NE(log.find("Already Stopped"), std::string::npos) << log;
    EXPECT_EQ(thread.Left(), 1);
}

TEST(ContextAutoLock, HoldsTheMutexExactlyForItsScope) {
    GMutex mutex;
    g_mutex_init(&mutex);
    auto lockedElsewhere = [&] {
        bool got = false;
        std::thread other([&] {
            got = g_mutex_trylock(&mutex);
            if (got) {
                g_mutex_unlock(&mutex);
            }
        });
        other.join();
        return !got;
    };
    {
        ContextAutoLock lock(&mutex);
        EXPECT_TRUE(lockedElsewhere());
    }
    EXPECT_FALSE(lockedElsewhere());
    g_mutex_clear(&mutex);
}
