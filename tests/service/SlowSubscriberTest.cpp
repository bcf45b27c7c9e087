// Subscribers that stop reading their sockets, against the sensing front
// (tests/pipeline-service) on a private bus whose per-connection limits are
// small: 64 KB queued for one connection or taken from one, where the system
// bus allows 127 MB. A service that let its results pile up for them would
// show it within half a minute: once a stuck client's socket buffer is full
// (about 200 KB, some 20 s of results) the daemon keeps the service's
// messages, and past 64 KB it stops reading the service at all.
#include <signal.h>
#include <stdlib.h>
#include <sys/types.h>

#include <chrono>
#include <fstream>
#include <sstream>
#include <thread>

#include "KaeBusClient.h"
#include "ServiceTest.h"

namespace {

const char kTrackSegment[] = "KAE/SUBSCRIBE/TRACK_SEGMENT/";
const int kStuckClients = 3;
// Eight windows of 4 s: past the moment the daemon would have stopped
// reading a service without back-pressure.
const int kWindows = 8;
const int kWindowSeconds = 4;
// What the service may add to its private memory meanwhile. It holds about
// 2 MB; once the daemon stopped reading it, it would queue its results,
// some 200 KB a second here, and passes this within 20 s (the rate shows a
// freeze first, though). Under the sanitizers the process's memory is
// mostly theirs (shadow, allocation stacks, quarantine), still warming up
// in the first half minute: the bound there only catches growth of the
// kind seen in the field, megabytes a second.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
const long kMemoryGrowthKb = 24 * 1024;
#else
const long kMemoryGrowthKb = 4 * 1024;
#endif

// Private (not shared) memory of a process, in kB.
long PrivateKb(pid_t pid) {
    std::ifstream in("/proc/" + std::to_string(pid) + "/smaps_rollup");
    std::string line;
    long total = 0;
    while (std::getline(in, line)) {
        std::istringstream fields(line);
        std::string key;
        long kb = 0;
        if (fields >> key >> kb && (key == "Private_Clean:" || key == "Private_Dirty:")) {
            total += kb;
        }
    }
    return total;
}

// Lets stopped clients go on when the test ends, however it ends, so that
// they can be stopped in turn.
class ResumeAtExit {
public:
    explicit ResumeAtExit(std::vector<Subprocess*>& clients) : m_clients(clients) {}
    ~ResumeAtExit() {
        for (Subprocess* client : m_clients) {
            client->Signal(SIGCONT);
        }
    }

private:
    std::vector<Subprocess*>& m_clients;
};

class SlowSubscriberTest : public ServiceTest {
protected:
    std::string ExtraBusConfig() const override {
        return "<limit name=\"max_incoming_bytes\">65536</limit>"
               "<limit name=\"max_outgoing_bytes\">65536</limit>";
    }
};

}  // namespace

TEST_F(SlowSubscriberTest, StuckSubscribersAreDroppedAndCostTheOthersNothing) {
#if defined(__SANITIZE_ADDRESS__)
    // AddressSanitizer keeps freed memory aside (256 MB) to catch its use:
    // the sanitizer's memory, not the service's. A small quarantine keeps
    // the figure the service's.
    const char* options = getenv("ASAN_OPTIONS");
    m_env["ASAN_OPTIONS"] =
        std::string(options != nullptr ? options : "") + ":quarantine_size_mb=1";
#endif
    Subprocess& service = StartClient({Bin("pipeline_service")});
    ASSERT_TRUE(WaitUntilServing(service)) << service.Stderr();
    KaeBusClient healthy(m_bus.Address());
    ASSERT_EQ(healthy.RequestSync(3, kTrackSegment).first, 0);

    std::vector<Subprocess*> stuck;
    ResumeAtExit resume(stuck);
    for (int i = 0; i < kStuckClients; ++i) {
        stuck.push_back(&StartClient({Bin("kae-test-console"), "subscribe", "--json"}));
    }
    for (Subprocess* client : stuck) {
        ASSERT_TRUE(client->WaitForStdout(kTrackSegment, kWaitMs)) << client->Stderr();
        ASSERT_TRUE(client->Signal(SIGSTOP));
    }
    const long memoryBefore = PrivateKb(service.Pid());

    using Clock = std::chrono::steady_clock;
    for (int window = 0; window < kWindows; ++window) {
        const int resultsBefore = healthy.Results();
        const Clock::time_point start = Clock::now();
        for (int second = 1; second <= kWindowSeconds; ++second) {
            std::pair<int, std::string> read = healthy.RequestSync(1, "KAE/GET/PRESENCE/", 2000);
            EXPECT_EQ(read.first, 0) << "window " << window << ": " << read.second;
            std::this_thread::sleep_until(start + std::chrono::seconds(second));
        }
        const double seconds = std::chrono::duration<double>(Clock::now() - start).count();
        const double rate = (healthy.Results() - resultsBefore) / seconds;
        EXPECT_GE(rate, 9.0) << "window " << window << " of " << kWindowSeconds << " s";
    }

    const long growthKb = PrivateKb(service.Pid()) - memoryBefore;
    EXPECT_LT(growthKb, kMemoryGrowthKb) << "from " << memoryBefore << " kB";
    // Each stuck client is given up once, a few seconds after it stopped;
    // the healthy one never.
    EXPECT_EQ(CountOccurrences(service.Stderr(), "read nothing for"), kStuckClients)
        << service.Stderr();
    RecordProperty("private_kb_growth", std::to_string(growthKb));
}
