// Cost of handing work to a ContextEventThread: the time from PushEvent() to
// the start of OnEvent() for one event at a time, and the rate at which a
// burst of events is pushed and handled.
#include <benchmark/benchmark.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>

#include "ContextEventThread.h"

namespace {

using SteadyClock = std::chrono::steady_clock;

// Notes when each event reaches the handler and counts handled events.
class BenchThread : public ContextEventThread {
public:
    void Expect(int64_t count) {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_target = count;
        m_handled = 0;
    }
    // Waits until the expected number of events was handled.
    void Wait() {
        std::unique_lock<std::mutex> lock(m_mutex);
        m_done.wait(lock, [&] { return m_handled >= m_target; });
    }
    SteadyClock::time_point LastArrival() {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_arrival;
    }

protected:
    void OnEvent(int id, void* data) override {
        SteadyClock::time_point now = SteadyClock::now();
        std::lock_guard<std::mutex> lock(m_mutex);
        m_arrival = now;
        if (++m_handled >= m_target) {
            m_done.notify_one();
        }
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_done;
    int64_t m_target = 0;
    int64_t m_handled = 0;
    SteadyClock::time_point m_arrival;
};

// One event in flight at a time; the reported time per iteration is the
// push-to-handler latency alone (manual time), not the wake-up of the
// benchmark thread afterwards.
void BM_PushToHandleLatency(benchmark::State& state) {
    BenchThread thread;
    if (!thread.Start("bench")) {
        state.SkipWithError("Start failed");
        return;
    }
    for (auto _ : state) {
        thread.Expect(1);
        SteadyClock::time_point pushed = SteadyClock::now();
        if (!thread.PushEvent(1, nullptr, 10)) {
            state.SkipWithError("PushEvent failed");
            break;
        }
        thread.Wait();
        std::chrono::duration<double> latency = thread.LastArrival() - pushed;
        state.SetIterationTime(latency.count());
    }
    thread.Stop();
}
BENCHMARK(BM_PushToHandleLatency)->UseManualTime()->Unit(benchmark::kMicrosecond);

// A burst of N events from one producer, timed until the last one is handled.
void BM_Throughput(benchmark::State& state) {
    const int64_t count = state.range(0);
    BenchThread thread;
    if (!thread.Start("bench")) {
        state.SkipWithError("Start failed");
        return;
    }
    for (auto _ : state) {
        thread.Expect(count);
        for (int64_t i = 0; i < count; ++i) {
            if (!thread.PushEvent(static_cast<int>(i), nullptr, 10)) {
                state.SkipWithError("PushEvent failed");
                break;
            }
        }
        thread.Wait();
    }
    thread.Stop();
    state.SetItemsProcessed(state.iterations() * count);
}
BENCHMARK(BM_Throughput)
    ->Arg(1000)
    ->Arg(10000)
    ->Arg(100000)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

// The same burst with mixed priorities, which makes the sorted insert walk the
// queue.
void BM_ThroughputMixedPriorities(benchmark::State& state) {
    const int64_t count = state.range(0);
    BenchThread thread;
    if (!thread.Start("bench")) {
        state.SkipWithError("Start failed");
        return;
    }
    for (auto _ : state) {
        thread.Expect(count);
        for (int64_t i = 0; i < count; ++i) {
            int priority = (i % 10 == 0) ? 5 : 10;
            if (!thread.PushEvent(static_cast<int>(i), nullptr, priority)) {
                state.SkipWithError("PushEvent failed");
                break;
            }
        }
        thread.Wait();
    }
    thread.Stop();
    state.SetItemsProcessed(state.iterations() * count);
}
BENCHMARK(BM_ThroughputMixedPriorities)
    ->Arg(1000)
    ->Arg(10000)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

}  // namespace
