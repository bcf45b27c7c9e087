#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "ContextEventThread.h"

namespace {

const auto kSafety = std::chrono::seconds(5);

// Records every handled event as (id, data). The gate event blocks the loop
// until the test opens it, so that events can be made to wait in the queue.
class RecordingThread : public ContextEventThread {
public:
    static const int kGateId = 9999;

    std::vector<std::pair<int, void*>> Handled() {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_handled;
    }
    std::vector<int> HandledIds() {
        std::vector<int> ids;
        for (const auto& event : Handled()) {
            ids.push_back(event.first);
        }
        return ids;
    }
    bool WaitHandled(size_t count) {
        std::unique_lock<std::mutex> lock(m_mutex);
        return m_changed.wait_for(lock, kSafety, [&] { return m_handled.size() >= count; });
    }
    bool WaitGateEntered() {
        std::unique_lock<std::mutex> lock(m_mutex);
        return m_changed.wait_for(lock, kSafety, [&] { return m_gateEntered; });
    }
    void OpenGate() {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_gateOpen = true;
        m_changed.notify_all();
    }

protected:
    void OnEvent(int id, void* data) override {
        std::unique_lock<std::mutex> lock(m_mutex);
        if (id == kGateId) {
            m_gateEntered = true;
            m_changed.notify_all();
            m_changed.wait(lock, [&] { return m_gateOpen; });
            return;
        }
        m_handled.emplace_back(id, data);
        m_changed.notify_all();
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::vector<std::pair<int, void*>> m_handled;
    bool m_gateEntered = false;
    bool m_gateOpen = false;
};

// Waits (real time, bounded) until the queue holds the given number of
// messages; a condition on the queue itself, not a guess at a duration.
bool WaitQueueLength(ContextEventThread& thread, int length) {
    const auto deadline = std::chrono::steady_clock::now() + kSafety;
    while (thread.GetQueueLength() != length) {
        if (std::chrono::steady_clock::now() > deadline) {
            return false;
        }
        std::this_thread::yield();
    }
    return true;
}

size_t CountOf(const std::string& text, const std::string& what) {
    size_t count = 0;
    for (size_t pos = text.find(what); pos != std::string::npos;
         pos = text.find(what, pos + what.size())) {
        ++count;
    }
    return count;
}

// Runs body with standard error (the host log) captured; returns the log.
template <typename Body>
std::string StderrOf(Body&& body) {
    testing::internal::CaptureStderr();
    body();
    return testing::internal::GetCapturedStderr();
}

// Fills the queue of a thread that does not run with 16 events (ids from
// first on) and checks that a 17th is refused; returns the refusal's log.
std::string FillUntilRefused(RecordingThread& thread, int first) {
    for (int id = first; id < first + 16; ++id) {
        EXPECT_TRUE(thread.PushEvent(id, nullptr, 10)) << id;
    }
    std::string log = StderrOf([&] { EXPECT_FALSE(thread.PushEvent(first + 16, nullptr, 10)); });
    EXPECT_EQ(thread.GetQueueLength(), 16);
    return log;
}

}  // namespace

TEST(ContextEventThread, SmallerPriorityFirstAndEqualPrioritiesInPushOrder) {
    RecordingThread thread;
    int payload = 0;
    ASSERT_TRUE(thread.PushEvent(1, &payload, 10));
    ASSERT_TRUE(thread.PushEvent(2, nullptr, 5));
    ASSERT_TRUE(thread.PushEvent(3, nullptr, 10));
    ASSERT_TRUE(thread.Start("Order"));
    ASSERT_TRUE(thread.WaitHandled(3));
    ASSERT_TRUE(thread.Stop());
    EXPECT_EQ(thread.HandledIds(), (std::vector<int>{2, 1, 3}));
    EXPECT_EQ(thread.Handled()[1].second, &payload);  // the payload reaches the handler

    // The same for many events queued while the loop is busy.
    RecordingThread busy;
    ASSERT_TRUE(busy.Start("Stable"));
    ASSERT_TRUE(busy.PushEvent(RecordingThread::kGateId, nullptr, 10));
    ASSERT_TRUE(busy.WaitGateEntered());
    const int kCount = 300;
    auto priority = [](int id) { return (id * 7) % 5; };  // scrambled but fixed
    std::vector<int> expected(kCount);
    for (int id = 0; id < kCount; ++id) {
        ASSERT_TRUE(busy.PushEvent(id, nullptr, priority(id)));
        expected[id] = id;
    }
    std::stable_sort(expected.begin(), expected.end(),
                     [&](int a, int b) { return priority(a) < priority(b); });
    busy.OpenGate();
    ASSERT_TRUE(busy.WaitHandled(kCount));
    ASSERT_TRUE(busy.Stop());
    EXPECT_EQ(busy.HandledIds(), expected);
}

TEST(ContextEventThread, SeventeenthEventWhileNotRunningIsRefused) {
    RecordingThread thread;
    // No owner name before the first Start().
    std::string log = FillUntilRefused(thread, 0);
    EXPECT_NE(log.find("[] The Event Queue is overflow!!"), std::string::npos) << log;

    // Once running there is no limit at all.
    ASSERT_TRUE(thread.Start("Overflow"));
    const int kRunning = 5000;
    for (int id = 100; id < 100 + kRunning; ++id) {
        ASSERT_TRUE(thread.PushEvent(id, nullptr, 10)) << id;
    }
    ASSERT_TRUE(thread.WaitHandled(16 + kRunning));
    ASSERT_TRUE(thread.Stop());
    auto ids = thread.HandledIds();
    ASSERT_EQ(ids.size(), static_cast<size_t>(16 + kRunning));
    EXPECT_EQ(ids[15], 15);
    EXPECT_EQ(ids.back(), 100 + kRunning - 1);
    EXPECT_EQ(std::count(ids.begin(), ids.end(), 16), 0);  // the refused one never came

    // After a stop the limit applies again, with the owner's name; the count
    // restarts with every run of the loop.
    log = FillUntilRefused(thread, 200);
    EXPECT_NE(log.find("[Overflow] The Event Queue is overflow!!"), std::string::npos) << log;
    ASSERT_TRUE(thread.Start(nullptr));
    ASSERT_TRUE(thread.WaitHandled(32 + kRunning));
    ASSERT_TRUE(thread.Stop());
    FillUntilRefused(thread, 300);
    ASSERT_TRUE(thread.Start(nullptr));  // handles them, so that none is left
    ASSERT_TRUE(thread.WaitHandled(48 + kRunning));
    ASSERT_TRUE(thread.Stop());
}

TEST(ContextEventThread, StopDrainsTheEventsWaitingBeforeIt) {
    RecordingThread thread;
    ASSERT_TRUE(thread.Start("Drain"));
    ASSERT_TRUE(thread.PushEvent(RecordingThread::kGateId, nullptr, 10));
    ASSERT_TRUE(thread.WaitGateEntered());
    for (int id : {1, 2, 3}) {
        ASSERT_TRUE(thread.PushEvent(id, nullptr, 10));
    }
    // Open the gate only once the stop request waits behind the three.
    std::thread opener([&] {
        EXPECT_TRUE(WaitQueueLength(thread, 4));
        thread.OpenGate();
    });
    EXPECT_TRUE(thread.Stop());
    opener.join();
    EXPECT_FALSE(thread.IsRunning());
    EXPECT_EQ(thread.HandledIds(), (std::vector<int>{1, 2, 3}));
    EXPECT_EQ(thread.GetQueueLength(), 0);
}

TEST(ContextEventThread, EventPushedBehindTheStopRequestWaitsForTheNextStart) {
    RecordingThread thread;
    ASSERT_TRUE(thread.Start("Behind"));
    ASSERT_TRUE(thread.PushEvent(RecordingThread::kGateId, nullptr, 10));
    ASSERT_TRUE(thread.WaitGateEntered());

    std::thread stopper([&] { EXPECT_TRUE(thread.Stop()); });
    ASSERT_TRUE(WaitQueueLength(thread, 1));  // the stop request
    // Still running, so accepted; even the most urgent priority stays behind
    // the stop request.
    ASSERT_TRUE(thread.PushEvent(7, nullptr, 0));
    thread.OpenGate();
    stopper.join();
    EXPECT_TRUE(thread.HandledIds().empty());
    EXPECT_EQ(thread.GetQueueLength(), 1);

    ASSERT_TRUE(thread.Start(nullptr));
    ASSERT_TRUE(thread.WaitHandled(1));
    ASSERT_TRUE(thread.Stop());
    EXPECT_EQ(thread.HandledIds(), (std::vector<int>{7}));
}

TEST(ContextEventThread, StaticMessageIsNotFreedAndCanBePushedAgain) {
    RecordingThread thread;
    int payload = 0;
    TEventMessage message{42, &payload, false, false, 10};
    std::string log = StderrOf([&] { EXPECT_FALSE(thread.PushStaticEvent(&message)); });
    EXPECT_NE(log.find("Not Started!"), std::string::npos) << log;
    EXPECT_EQ(thread.GetQueueLength(), 0);

    ASSERT_TRUE(thread.Start("Static"));
    ASSERT_TRUE(thread.PushStaticEvent(&message));
    ASSERT_TRUE(thread.WaitHandled(1));
    // Freeing a stack object would be caught here (and by the sanitizers).
    EXPECT_TRUE(message.isStatic);
    EXPECT_EQ(message.id, 42);
    ASSERT_TRUE(thread.PushStaticEvent(&message));
    ASSERT_TRUE(thread.WaitHandled(2));
    ASSERT_TRUE(thread.Stop());
    const std::vector<std::pair<int, void*>> twice(2, {42, &payload});
    EXPECT_EQ(thread.Handled(), twice);
    EXPECT_FALSE(thread.PushStaticEvent(nullptr));
}

TEST(ContextEventThread, StartAndStopTwiceAreRefusedAndLogged) {
    RecordingThread thread;
    std::string log = StderrOf([&] { EXPECT_FALSE(thread.Stop()); });
    EXPECT_NE(log.find("Already Stopped"), std::string::npos) << log;
    ASSERT_TRUE(thread.Start("Twice"));
    log = StderrOf([&] { EXPECT_FALSE(thread.Start("Twice")); });
    EXPECT_NE(log.find("Already Started"), std::string::npos) << log;
    EXPECT_TRUE(thread.IsRunning());
    ASSERT_TRUE(thread.Stop());
    log = StderrOf([&] { EXPECT_FALSE(thread.Stop()); });
    EXPECT_NE(log.find("Already Stopped"), std::string::npos) << log;
}

TEST(ContextEventThread, BacklogOfMoreThanHundredIsReportedAndNothingDropped) {
    RecordingThread thread;
    ASSERT_TRUE(thread.Start("Backlog"));
    ASSERT_TRUE(thread.PushEvent(RecordingThread::kGateId, nullptr, 10));
    ASSERT_TRUE(thread.WaitGateEntered());
    const int kCount = 250;
    for (int id = 0; id < kCount; ++id) {
        ASSERT_TRUE(thread.PushEvent(id, nullptr, 10));
    }
    std::string log = StderrOf([&] {
        thread.OpenGate();
        ASSERT_TRUE(thread.WaitHandled(kCount));
    });
    ASSERT_TRUE(thread.Stop());

    // The 101st message taken (the gate was the first) leaves 150 waiting;
    // the next look, 101 messages later, finds fewer than 100.
    EXPECT_NE(log.find("Owner Backlog --> length 150"), std::string::npos) << log;
    EXPECT_EQ(CountOf(log, "Owner Backlog --> length"), 1u) << log;
    EXPECT_EQ(thread.Handled().size(), static_cast<size_t>(kCount));
}

TEST(ContextEventThread, ConcurrentProducersKeepTheirOwnOrder) {
    RecordingThread thread;
    ASSERT_TRUE(thread.Start("Producers"));
    const int kProducers = 4;
    const int kEach = 2000;
    std::vector<std::thread> producers;
    for (int p = 0; p < kProducers; ++p) {
        producers.emplace_back([&thread, p] {
            for (int i = 0; i < kEach; ++i) {
                EXPECT_TRUE(thread.PushEvent(p * kEach + i, nullptr, 10));
            }
        });
    }
    for (auto& producer : producers) {
        producer.join();
    }
    ASSERT_TRUE(thread.WaitHandled(kProducers * kEach));
    ASSERT_TRUE(thread.Stop());

    std::vector<int> last(kProducers, -1);
    for (int id : thread.HandledIds()) {
        EXPECT_GT(id, last[id / kEach]);
        last[id / kEach] = id;
    }
    for (int p = 0; p < kProducers; ++p) {
        EXPECT_EQ(last[p], p * kEach + kEach - 1);
    }
}
