// Cost of the service's dispatch path, end to end on a real bus: the
// dispatcher, the D-Bus server and the segmentation pipeline assembled as the
// service assembles them, on a private system bus, with clients of our own.
//
// BM_FrameToLastSignal/N: one radar frame from the slice callback to the
// "Response" signal of the last of N subscribers. The frame's two slices go
// through RadarFetch::FetchRadarSliceCB on this thread (standing in for the
// sensor library's callback thread), which runs the segmentation and hands
// the result document to the dispatcher's thread, which emits one signal per
// subscriber. "The last signal written" is measured as the last signal
// received by its subscriber, through the bus daemon: the stricter end, since
// it also includes the daemon's routing and the client's read. The subscriber
// connections live in this process and share GDBus's one worker thread with
// the service's own connection, so with 50 subscribers the sending and the
// receiving side compete for that thread; separate client processes would
// spread the receiving side out. Between frames the benchmark waits, untimed,
// until every subscriber has confirmed reading what it was sent: the
// service holds results back from a subscriber that has not, and the
// radar's frames, ten a second, leave it that time.
//
// BM_PresenceReadRoundTrip: one synchronous "KAE/GET/PRESENCE/" read by a
// client: daemon, the service's main loop, the dispatcher's queue and thread,
// the reply, and back.
//
// The bus, the service and the clients are set up once, on the first of
// these benchmarks to run, and are torn down at exit; other benchmarks in
// the same executable never start them.
#include <benchmark/benchmark.h>
#include <gio/gio.h>
#include <stdlib.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstring>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "ActivitySegment.h"
#include "DBusServer.h"
#include "Dispatcher.h"
#include "KaeBusClient.h"
#include "RadarFetch.h"
#include "RadarFrameFormat.h"
#include "Scene.h"
#include "SceneLibrary.h"
#include "SceneSynthesizer.h"
#include "TestBus.h"

namespace {

using Clock = std::chrono::steady_clock;

static_assert(radar::kFrameBytes == 2 * RadarFetch::kSliceBytes,
              "a packed frame is the module's two slices");

const char kScene[] = "three-people";
const int64_t kFrames = 300;  // 30 s of the scene, replayed in a loop
const int kSignalTimeoutMs = 5000;
const int kSetupTimeoutMs = 10000;

// Every "Response" signal with a track result that reaches any subscriber
// connection, counted on GDBus's worker thread; withTracks when the document
// reports at least one tracked person.
class SignalCounter {
public:
    void Add(bool withTracks) {
        Clock::time_point now = Clock::now();
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            ++m_count;
            m_withTracks += withTracks ? 1 : 0;
            m_last = now;
        }
        m_changed.notify_all();
    }
    int64_t Count() {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_count;
    }
    int64_t WithTracks() {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_withTracks;
    }
    // Waits until the count reaches target; *at is when it did.
    bool WaitFor(int64_t target, int timeoutMs, Clock::time_point* at) {
        std::unique_lock<std::mutex> lock(m_mutex);
        if (!m_changed.wait_for(lock, std::chrono::milliseconds(timeoutMs),
                                [&] { return m_count >= target; })) {
            return false;
        }
        *at = m_last;
        return true;
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_changed;
    int64_t m_count = 0;
    int64_t m_withTracks = 0;
    Clock::time_point m_last;
};

// Runs work on the thread of the default main context's loop and waits for
// it: the server's calls belong to that thread.
class LoopCall {
public:
    template <typename F>
    static void Run(F&& work) {
        LoopCall call{std::function<void()>(std::forward<F>(work))};
        GSource* source = g_idle_source_new();
        g_source_set_callback(source, Invoke, &call, nullptr);
        g_source_attach(source, nullptr);
        g_source_unref(source);
        std::unique_lock<std::mutex> lock(call.m_mutex);
        call.m_doneCond.wait(lock, [&] { return call.m_done; });
    }

private:
    explicit LoopCall(std::function<void()> work) : m_work(std::move(work)) {}
    static gboolean Invoke(gpointer data) {
        auto* call = static_cast<LoopCall*>(data);
        call->m_work();
        {
            std::lock_guard<std::mutex> lock(call->m_mutex);
            call->m_done = true;
        }
        call->m_doneCond.notify_all();
        return G_SOURCE_REMOVE;
    }

    std::function<void()> m_work;
    std::mutex m_mutex;
    std::condition_variable m_doneCond;
    bool m_done = false;
};

// The bus, the service's front and the clients, once per process.
class DispatchFixture {
public:
    // The fixture, set up on the first call; null with *error when it could
    // not be set up (then for good).
    static DispatchFixture* Get(std::string* error) {
        static std::unique_ptr<DispatchFixture> s_fixture;
        static std::string s_error;
        static bool s_tried = false;
        if (!s_tried) {
            s_tried = true;
            s_fixture.reset(new DispatchFixture());
            if (!s_fixture->_SetUp(&s_error)) {
                s_fixture.reset();
            }
        }
        *error = s_error;
        return s_fixture.get();
    }

    ~DispatchFixture() { _TearDown(); }

    const uint8_t* Frame(int64_t i) const {
        return m_frames.data() + static_cast<size_t>(i % kFrames) * radar::kFrameBytes;
    }
    SignalCounter& Counter() { return m_counter; }
    // Waits until the subscribers have confirmed every result sent.
    bool WaitUntilConfirmed(int timeoutMs) {
        Clock::time_point deadline = Clock::now() + std::chrono::milliseconds(timeoutMs);
        while (m_dispatcher->GetBytesInFlight() != 0) {
            if (Clock::now() > deadline) {
                return false;
            }
            std::this_thread::sleep_for(std::chrono::microseconds(50));
        }
        return true;
    }
    ActivitySegment* Pipeline() { return m_pipeline; }
    KaeBusClient& Reader() { return *m_reader; }

    // Exactly n subscriber connections, each subscribed to the tracks on its
    // own connection.
    bool SetSubscribers(size_t n, std::string* error) {
        while (m_subscribers.size() > n) {
            std::pair<int, std::string> answer = m_subscribers.back()->RequestSync(
                CDispatcher::REQUEST_UNSUBSCRIBE, KAE_SUBJECT_TRACK_SEGMENT);
            if (answer.first != 0) {
                *error = "unsubscribe failed: " + answer.second;
                return false;
            }
            m_subscribers.pop_back();
        }
        while (m_subscribers.size() < n) {
            auto client =
                std::make_unique<KaeBusClient>(m_bus.Address(), [this](const char* document) {
                    m_counter.Add(strstr(document, "\"tracks\"") != nullptr);
                });
            if (!client->Ok()) {
                *error = client->Error();
                return false;
            }
            std::pair<int, std::string> answer =
                client->RequestSync(CDispatcher::REQUEST_SUBSCRIBE, KAE_SUBJECT_TRACK_SEGMENT);
            if (answer.first != 0) {
                *error = "subscribe failed: " + answer.second;
                return false;
            }
            m_subscribers.push_back(std::move(client));
        }
        if (m_dispatcher->GetSubscribeCount() != static_cast<int>(n)) {
            *error = "the dispatcher holds " + std::to_string(m_dispatcher->GetSubscribeCount()) +
                     " subscriptions, expected " + std::to_string(n);
            return false;
        }
        return true;
    }

private:
    DispatchFixture() = default;

    bool _SynthesizeFrames(std::string* error) {
        std::string path;
        radar::Scene scene;
        if (!radar::ResolveScenePath(kScene, &path, error) ||
            !radar::LoadScene(path, &scene, error)) {
            return false;
        }
        radar::SceneSynthesizer synthesizer(scene, scene.seed);
        std::vector<uint16_t> samples(radar::kFrameSamples);
        m_frames.resize(static_cast<size_t>(kFrames) * radar::kFrameBytes);
        for (int64_t frame = 0; frame < kFrames; ++frame) {
            synthesizer.SynthesizeFrame(frame, samples.data());
            radar::PackFrame(samples.data(),
                             m_frames.data() + static_cast<size_t>(frame) * radar::kFrameBytes);
        }
        return true;
    }

    bool _SetUp(std::string* error) {
        if (!_SynthesizeFrames(error)) {
            return false;
        }
        if (!m_bus.Start(error)) {
            return false;
        }
        setenv("DBUS_SYSTEM_BUS_ADDRESS", m_bus.Address().c_str(), 1);
        // A simulated TV of our own: its radar module is unconfigured and
        // never streams, the benchmark feeds the slices itself.
        char dir[] = "/tmp/tessivo-bench-platform-XXXXXX";
        if (mkdtemp(dir) == nullptr) {
            *error = "mkdtemp failed";
            return false;
        }
        m_platformDir = dir;
        setenv("TESSIVO_PLATFORM_DIR", dir, 1);

        // The service's connection is the process's system bus connection;
        // it must not take the process down when the daemon goes at exit.
        GError* gerror = nullptr;
        m_systemBus = g_bus_get_sync(G_BUS_TYPE_SYSTEM, nullptr, &gerror);
        if (m_systemBus == nullptr) {
            *error = std::string("cannot reach the private system bus: ") + gerror->message;
            g_clear_error(&gerror);
            return false;
        }
        g_dbus_connection_set_exit_on_close(m_systemBus, FALSE);

        m_loop = g_main_loop_new(nullptr, FALSE);
        m_loopThread = std::thread([loop = m_loop] { g_main_loop_run(loop); });

        m_dispatcher = new CDispatcher();
        m_server = new CDBusServer(m_dispatcher);
        m_pipeline = new ActivitySegment(m_dispatcher);
        m_dispatcher->SetActivitySegment(m_pipeline);
        if (!m_dispatcher->Start(m_server)) {
            *error = "the dispatcher did not start";
            return false;
        }
        bool serverStarted = false;
        LoopCall::Run([&] { serverStarted = m_server->Start(); });
        if (!serverStarted) {
            *error = "the D-Bus server did not start";
            return false;
        }
        m_pipeline->Start();

        m_reader = std::make_unique<KaeBusClient>(m_bus.Address());
        if (!m_reader->Ok()) {
            *error = m_reader->Error();
            return false;
        }
        // The name is owned a moment before the object is exported: wait
        // for the name, then for a read that gets an answer.
        Clock::time_point deadline = Clock::now() + std::chrono::milliseconds(kSetupTimeoutMs);
        while (!m_reader->NameHasOwner(KAE_DBUS_NAME)) {
            if (Clock::now() > deadline) {
                *error = "the service did not own " KAE_DBUS_NAME;
                return false;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
        for (;;) {
            std::pair<int, std::string> answer =
                m_reader->RequestSync(CDispatcher::REQUEST_READ, KAE_SUBJECT_PRESENCE);
            if (answer.first != 99) {
                break;
            }
            if (Clock::now() > deadline) {
                *error = "the service does not answer: " + answer.second;
                return false;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
        return true;
    }

    // The service's own order: pipeline, bus, dispatcher; then the clients,
    // the loop and the daemon.
    void _TearDown() {
        if (m_pipeline != nullptr) {
            m_pipeline->Stop();
            delete m_pipeline;
            m_pipeline = nullptr;
        }
        if (m_server != nullptr) {
            if (m_loop != nullptr) {
                LoopCall::Run([this] {
                    m_server->SendStopSignalToClient();
                    m_server->Stop();
                });
            }
            delete m_server;
            m_server = nullptr;
        }
        if (m_dispatcher != nullptr) {
            m_dispatcher->Stop();
            delete m_dispatcher;
            m_dispatcher = nullptr;
        }
        m_subscribers.clear();
        m_reader.reset();
        if (m_systemBus != nullptr) {
            g_dbus_connection_close_sync(m_systemBus, nullptr, nullptr);
            g_object_unref(m_systemBus);
            m_systemBus = nullptr;
        }
        if (m_loop != nullptr) {
            g_main_loop_quit(m_loop);
            m_loopThread.join();
            g_main_loop_unref(m_loop);
            m_loop = nullptr;
        }
        m_bus.Stop();
        if (!m_platformDir.empty()) {
            std::string cmd = "rm -rf '" + m_platformDir + "'";
            if (system(cmd.c_str()) != 0) {
                fprintf(stderr, "could not remove %s\n", m_platformDir.c_str());
            }
        }
    }

    std::vector<uint8_t> m_frames;
    TestBus m_bus;
    std::string m_platformDir;
    GDBusConnection* m_systemBus = nullptr;
    GMainLoop* m_loop = nullptr;
    std::thread m_loopThread;
    CDispatcher* m_dispatcher = nullptr;
    CDBusServer* m_server = nullptr;
    ActivitySegment* m_pipeline = nullptr;
    SignalCounter m_counter;
    std::unique_ptr<KaeBusClient> m_reader;
    std::vector<std::unique_ptr<KaeBusClient>> m_subscribers;
};

// One frame's two slices through the slice callback; true when all
// subscribers got its signal, with *latency from the first slice to the last
// signal.
bool RunFrame(DispatchFixture* fixture, int64_t frame, int subscribers, double* latency) {
    SignalCounter& counter = fixture->Counter();
    if (!fixture->WaitUntilConfirmed(kSignalTimeoutMs)) {
        return false;
    }
    int64_t target = counter.Count() + subscribers;
    // The callback's parameter is not const; it only reads the slice.
    auto* bytes = const_cast<uint8_t*>(fixture->Frame(frame));
    Clock::time_point start = Clock::now();
    RadarFetch::FetchRadarSliceCB(bytes);
    RadarFetch::FetchRadarSliceCB(bytes + RadarFetch::kSliceBytes);
    Clock::time_point last;
    if (!counter.WaitFor(target, kSignalTimeoutMs, &last)) {
        return false;
    }
    *latency = std::chrono::duration<double>(last - start).count();
    return true;
}

void BM_FrameToLastSignal(benchmark::State& state) {
    std::string error;
    DispatchFixture* fixture = DispatchFixture::Get(&error);
    if (fixture == nullptr) {
        state.SkipWithError(error.c_str());
        return;
    }
    const int subscribers = static_cast<int>(state.range(0));
    if (!fixture->SetSubscribers(static_cast<size_t>(subscribers), &error)) {
        state.SkipWithError(error.c_str());
        return;
    }
    static int64_t s_frame = 0;
    double latency = 0.0;
    // One frame untimed: the path works and nothing is left in flight.
    if (!RunFrame(fixture, s_frame++, subscribers, &latency)) {
        state.SkipWithError("no signal for the first frame");
        return;
    }
    std::vector<double> latencies;
    SignalCounter& counter = fixture->Counter();
    const int64_t signalsBefore = counter.Count();
    const int64_t withTracksBefore = counter.WithTracks();
    for (auto _ : state) {
        if (!RunFrame(fixture, s_frame++, subscribers, &latency)) {
            state.SkipWithError("a subscriber did not get its signal in time");
            break;
        }
        state.SetIterationTime(latency);
        latencies.push_back(latency);
    }
    if (latencies.empty()) {
        return;
    }
    double total = 0.0;
    for (double l : latencies) {
        total += l;
    }
    std::sort(latencies.begin(), latencies.end());
    // Frames are fed one at a time, each after the last signal of the one
    // before: the rate is the reciprocal of the mean latency.
    state.counters["frames_per_second"] = static_cast<double>(latencies.size()) / total;
    state.counters["mean_us"] = total / static_cast<double>(latencies.size()) * 1e6;
    state.counters["p50_us"] = latencies[latencies.size() / 2] * 1e6;
    state.counters["p99_us"] = latencies[latencies.size() * 99 / 100] * 1e6;
    state.counters["max_us"] = latencies.back() * 1e6;
    // Share of the signals whose document reports people: the frames are
    // meant to keep the tracker busy.
    const int64_t signals = counter.Count() - signalsBefore;
    if (signals > 0) {
        state.counters["with_tracks"] =
            static_cast<double>(counter.WithTracks() - withTracksBefore) /
            static_cast<double>(signals);
    }
}
BENCHMARK(BM_FrameToLastSignal)
    ->Arg(1)
    ->Arg(50)
    ->ArgName("subscribers")
    ->UseManualTime()
    ->Unit(benchmark::kMicrosecond);

void BM_PresenceReadRoundTrip(benchmark::State& state) {
    std::string error;
    DispatchFixture* fixture = DispatchFixture::Get(&error);
    if (fixture == nullptr) {
        state.SkipWithError(error.c_str());
        return;
    }
    fixture->Pipeline()->SetPresenceResult(1, 2.35);
    KaeBusClient& reader = fixture->Reader();
    Clock::time_point start = Clock::now();
    for (auto _ : state) {
        std::pair<int, std::string> answer =
            reader.RequestSync(CDispatcher::REQUEST_READ, KAE_SUBJECT_PRESENCE);
        if (answer.first != ActivitySegment::kReadDone || answer.second != "1") {
            state.SkipWithError(
                ("unexpected answer " + std::to_string(answer.first) + " '" + answer.second + "'")
                    .c_str());
            break;
        }
    }
    double seconds = std::chrono::duration<double>(Clock::now() - start).count();
    if (state.iterations() > 0 && seconds > 0.0) {
        state.counters["reads_per_second"] = static_cast<double>(state.iterations()) / seconds;
    }
}
BENCHMARK(BM_PresenceReadRoundTrip)->UseRealTime()->Unit(benchmark::kMicrosecond);

}  // namespace
