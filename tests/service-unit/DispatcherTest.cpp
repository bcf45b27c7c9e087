// The dispatcher without a bus: requests come in as the D-Bus server hands
// them over (with no invocation, so nothing is answered), published results
// go to a fake server that records each signal and can refuse one client.
#include <gtest/gtest.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <set>
#include <string>
#include <vector>

#include "ActivitySegment.h"
#include "Dispatcher.h"
#include "IServer.h"

namespace {

const char kTrack[] = KAE_SUBJECT_TRACK_SEGMENT;

struct Signal {
    std::string destination;
    int result;
    std::string subject;
    std::string output;
};

class FakeServer : public IServer {
public:
    bool Start() override { return true; }
    bool Stop() override { return true; }
    bool OnPublish(const char* destination, GVariant* parameters) override {
        GVariant* owned = g_variant_ref_sink(parameters);
        Signal signal;
        signal.destination = destination != nullptr ? destination : "";
        const gchar* subject = nullptr;
        const gchar* output = nullptr;
        g_variant_get(owned, "(i&s&s)", &signal.result, &subject, &output);
        signal.subject = subject;
        signal.output = output;
        g_variant_unref(owned);
        signals.push_back(signal);
        // Marks the signal's place among the dispatcher's own log lines.
        fprintf(stderr, "fake signal to %s\n", signal.destination.c_str());
        return gone.count(signal.destination) == 0;
    }
    std::vector<std::string> Destinations() const {
        std::vector<std::string> names;
        for (const Signal& signal : signals) {
            names.push_back(signal.destination);
        }
        return names;
    }

    std::vector<Signal> signals;
    std::set<std::string> gone;  // clients whose signal fails
};

GVariant* Request(int type, const char* subject, int pid = 100) {
    return g_variant_new("(iiiss)", pid, type, 7, subject, "input");
}

class DispatcherTest : public ::testing::Test {
protected:
    void Call(const char* sender, int type, const char* subject) {
        GVariant* parameters = g_variant_ref_sink(Request(type, subject));
        m_dispatcher.OnMethodCallSync(sender, parameters, nullptr);
        g_variant_unref(parameters);
    }
    void Subscribe(const char* sender, const char* subject) { Call(sender, 3, subject); }
    void Unsubscribe(const char* sender, const char* subject) { Call(sender, 4, subject); }
    void Publish(const char* json) { m_dispatcher.OnPublish(kTrack, 10, strdup(json)); }
    // Published results travel through the queue and thread; Stop drains it.
    void RunQueued() {
        ASSERT_TRUE(m_dispatcher.Start(&m_server));
        ASSERT_TRUE(m_dispatcher.Stop());
    }

    FakeServer m_server;
    CDispatcher m_dispatcher;
};

TEST_F(DispatcherTest, CommandWordsInLogsUnknownTypesPrintAsNull) {
    testing::internal::CaptureStderr();
    Call(":1.1", 1, "KAE/GET/PRESENCE/");
    Call(":1.1", 2, "x");
    Call(":1.1", 5, "x");
    Call(":1.1", 42, "x");
    Call(":1.1", 42, "x");  // the empty entry made by the first look-up
    GVariant* write = g_variant_ref_sink(g_variant_new("(iiisi)", 100, 77, 1, "w", 5));
    m_dispatcher.OnMethodWriteAsync(":1.1", write, nullptr);
    g_variant_unref(write);
    std::string log = testing::internal::GetCapturedStderr();
    EXPECT_NE(log.find("type: read, reqId: 7, subject: KAE/GET/PRESENCE/"), std::string::npos);
    EXPECT_NE(log.find("type: write,"), std::string::npos);
    EXPECT_NE(log.find("type: request,"), std::string::npos);
    size_t first = log.find("type: (null), reqId: 7, subject: x");
    ASSERT_NE(first, std::string::npos);
    EXPECT_NE(log.find("type: (null), reqId: 7, subject: x", first + 1), std::string::npos);
    EXPECT_NE(log.find("pid: 100, type: (null), reqId: 1, subject: w, input: 5"),
              std::string::npos);
    // Refused types are never kept as subscriptions.
    EXPECT_EQ(m_dispatcher.GetSubscribeCount(), 0);
}

TEST_F(DispatcherTest, SubscribeOncePerClientAndSubjectAndUnsubscribe) {
    Subscribe(":1.1", kTrack);
    Subscribe(":1.1", kTrack);  // duplicate: refused, not kept
    Subscribe(":1.2", kTrack);
    Subscribe(":1.1", "OTHER/");
    EXPECT_EQ(m_dispatcher.GetSubscribeCount(), 3);

    Unsubscribe(":1.1", kTrack);
    Unsubscribe(":1.1", kTrack);  // nothing left to remove
    Unsubscribe(":1.3", "OTHER/");
    EXPECT_EQ(m_dispatcher.GetSubscribeCount(), 2);

    ASSERT_TRUE(m_dispatcher.Start(&m_server));
    Publish("{\"a\":1}");
    EXPECT_EQ(m_server.Destinations(), std::vector<std::string>{":1.2"});
    ASSERT_TRUE(m_dispatcher.Stop());
}

TEST_F(DispatcherTest, FanOutInArrivalOrderToThatSubjectOnly) {
    Subscribe(":1.5", kTrack);
    Subscribe(":1.2", "KAE/GET/PRESENCE/");
    Subscribe(":1.3", kTrack);
    Subscribe(":1.4", kTrack);
    ASSERT_TRUE(m_dispatcher.Start(&m_server));
    Publish("{\"segments\":[1]}");
    ASSERT_EQ(m_server.Destinations(), (std::vector<std::string>{":1.5", ":1.3", ":1.4"}));
    for (const Signal& signal : m_server.signals) {
        EXPECT_EQ(signal.result, 10);
        EXPECT_EQ(signal.subject, kTrack);
        EXPECT_EQ(signal.output, "{\"segments\":[1]}");
    }
    ASSERT_TRUE(m_dispatcher.Stop());
}

TEST_F(DispatcherTest, SubscriberWhoseSignalFailsIsDroppedOthersKeepOrder) {
    Subscribe(":1.1", kTrack);
    Subscribe(":1.2", kTrack);
    Subscribe(":1.3", kTrack);
    Subscribe(":1.2", "OTHER/");
    m_server.gone.insert(":1.2");
    ASSERT_TRUE(m_dispatcher.Start(&m_server));
    Publish("{}");
    EXPECT_EQ(m_dispatcher.GetSubscribeCount(), 3);  // its other subject is kept
    m_server.signals.clear();
    Publish("{}");
    EXPECT_EQ(m_server.Destinations(), (std::vector<std::string>{":1.1", ":1.3"}));
    ASSERT_TRUE(m_dispatcher.Stop());
}

TEST_F(DispatcherTest, QueuedEventsRouteByIdAndStopRemovesAll) {
    Subscribe(":1.1", kTrack);
    Subscribe(":1.2", "OTHER/");
    // Queued before the thread runs, handled once it starts.
    ASSERT_TRUE(m_dispatcher.PushEvent(10, strdup("{\"n\":1}"), 10));
    ASSERT_TRUE(m_dispatcher.PushEvent(10, nullptr, 10));  // "data is null"
    ASSERT_TRUE(m_dispatcher.PushEvent(12, strdup("{\"n\":2}"), 10));
    RunQueued();
    ASSERT_EQ(m_server.signals.size(), 2u);
    EXPECT_EQ(m_server.signals[0].result, 10);
    EXPECT_EQ(m_server.signals[0].output, "{\"n\":1}");
    // Every id from 10 up goes to the track-segment subject under its own id.
    EXPECT_EQ(m_server.signals[1].result, 12);
    EXPECT_EQ(m_server.signals[1].subject, kTrack);
    EXPECT_EQ(m_dispatcher.GetSubscribeCount(), 0);
}

TEST_F(DispatcherTest, NoServerNoSignalAndDataStaysWithCaller) {
    Subscribe(":1.1", kTrack);
    char* data = strdup("{}");
    m_dispatcher.OnPublish(kTrack, 10, data);
    EXPECT_STREQ(data, "{}");  // still ours (ASan would catch a free)
    free(data);
    EXPECT_TRUE(m_server.signals.empty());
    RunQueued();
}

TEST_F(DispatcherTest, ClientLeavingTheBusLosesEverySubscription) {
    Subscribe(":1.1", kTrack);
    Subscribe(":1.2", kTrack);
    Subscribe(":1.1", "OTHER/");
    m_dispatcher.OnClientVanished(":1.9");
    EXPECT_EQ(m_dispatcher.GetSubscribeCount(), 3);
    m_dispatcher.OnClientVanished(":1.1");
    EXPECT_EQ(m_dispatcher.GetSubscribeCount(), 1);
    ASSERT_TRUE(m_dispatcher.Start(&m_server));
    Publish("{}");
    EXPECT_EQ(m_server.Destinations(), std::vector<std::string>{":1.2"});
    ASSERT_TRUE(m_dispatcher.Stop());
}

TEST_F(DispatcherTest, RequestsBeyondTheLimitsAreRefusedAndNothingIsKept) {
    const size_t limit = CDispatcher::kMaxArgumentBytes;
    struct Row {
        std::string subject;
        size_t inputBytes;
        bool kept;
    };
    const std::vector<Row> rows = {{std::string(limit, 'a'), 0, true},
                                   {std::string(limit + 1, 'b'), 0, false},
                                   {"C/", limit, true},
                                   {"D/", limit + 1, false},
                                   {std::string(1 << 20, 'e'), 1 << 20, false}};
    testing::internal::CaptureStderr();
    int kept = 0;
    for (const Row& row : rows) {
        GVariant* parameters = g_variant_ref_sink(g_variant_new(
            "(iiiss)", 100, 3, 7, row.subject.c_str(), std::string(row.inputBytes, 'i').c_str()));
        m_dispatcher.OnMethodCallSync(":1.1", parameters, nullptr);
        g_variant_unref(parameters);
        kept += row.kept ? 1 : 0;
        EXPECT_EQ(m_dispatcher.GetSubscribeCount(), kept) << row.subject.size();
    }
    GVariant* write = g_variant_ref_sink(
        g_variant_new("(iiisi)", 100, 2, 1, std::string(limit + 1, 'w').c_str(), 5));
    m_dispatcher.OnMethodWriteAsync(":1.1", write, nullptr);
    g_variant_unref(write);
    std::string log = testing::internal::GetCapturedStderr();
    EXPECT_NE(log.find("RequestSync of :1.1 refused: subject of 4097 bytes, input of 0 bytes"),
              std::string::npos);
    EXPECT_NE(log.find("refused: subject of 2 bytes, input of 4097 bytes"), std::string::npos);
    EXPECT_NE(log.find("Write of :1.1 refused: subject of 4097 bytes"), std::string::npos);
    // A refused subject never reaches the log whole.
    EXPECT_EQ(log.find(std::string(limit + 1, 'b')), std::string::npos);

    // Subscriptions: a few per client, a bounded number in all.
    for (int i = 0; i <= CDispatcher::kMaxSubscriptionsPerClient; ++i) {
        Subscribe(":1.2", ("S" + std::to_string(i) + "/").c_str());
    }
    EXPECT_EQ(m_dispatcher.GetSubscribeCount(), kept + CDispatcher::kMaxSubscriptionsPerClient);
    for (int client = 3; m_dispatcher.GetSubscribeCount() < CDispatcher::kMaxSubscriptions;
         ++client) {
        Subscribe((":1." + std::to_string(client)).c_str(), kTrack);
    }
    Subscribe(":1.999", kTrack);
    EXPECT_EQ(m_dispatcher.GetSubscribeCount(), CDispatcher::kMaxSubscriptions);
    // Room again once somebody leaves.
    m_dispatcher.OnClientVanished(":1.2");
    Subscribe(":1.999", kTrack);
    EXPECT_EQ(m_dispatcher.GetSubscribeCount(),
              CDispatcher::kMaxSubscriptions - CDispatcher::kMaxSubscriptionsPerClient + 1);
    RunQueued();
}

// With the real pipeline (on the simulated radar module): its subscription
// flag and its reads.
class DispatcherPipelineTest : public DispatcherTest {
protected:
    void SetUp() override { m_dispatcher.SetActivitySegment(&m_pipeline); }
    ActivitySegment m_pipeline{&m_dispatcher};
};

TEST_F(DispatcherPipelineTest, OneUnsubscribeStopsPublicationForAll) {
    Subscribe(":1.1", "OTHER/");
    EXPECT_EQ(m_pipeline.GetDemoViewerSubscribe(), 0);
    Subscribe(":1.1", kTrack);
    Subscribe(":1.2", kTrack);
    EXPECT_NE(m_pipeline.GetDemoViewerSubscribe(), 0);
    Unsubscribe(":1.1", kTrack);
    EXPECT_EQ(m_pipeline.GetDemoViewerSubscribe(), 0);
    EXPECT_EQ(m_dispatcher.GetSubscribeCount(), 2);
    Subscribe(":1.3", kTrack);
    EXPECT_NE(m_pipeline.GetDemoViewerSubscribe(), 0);
    RunQueued();  // Stop drops everything and clears the flag
    EXPECT_EQ(m_pipeline.GetDemoViewerSubscribe(), 0);
}

TEST_F(DispatcherPipelineTest, DepartureClearsTheFlagOnlyWithTheLastSubscriber) {
    Subscribe(":1.1", kTrack);
    Subscribe(":1.2", kTrack);
    m_dispatcher.OnClientVanished(":1.1");
    EXPECT_NE(m_pipeline.GetDemoViewerSubscribe(), 0);
    m_dispatcher.OnClientVanished(":1.2");
    EXPECT_EQ(m_pipeline.GetDemoViewerSubscribe(), 0);
    RunQueued();
}

TEST_F(DispatcherPipelineTest, ReadsAreServedOnTheThreadAheadOfQueuedResults) {
    Subscribe(":1.1", kTrack);
    m_pipeline.SetPresenceResult(1, 1.5);
    ASSERT_TRUE(m_dispatcher.PushEvent(10, strdup("{}"), 10));
    testing::internal::CaptureStderr();
    Call(":1.4", 1, "KAE/GET/PRESENCE/");
    Call(":1.4", 1, "KAE/UNKNOWN/");
    RunQueued();
    std::string log = testing::internal::GetCapturedStderr();
    size_t presence = log.find("Process Read[KAE/GET/PRESENCE/] Data[1] ret[0]");
    size_t unknown = log.find("Process Read[KAE/UNKNOWN/] Data[(null)] ret[-1]");
    size_t signal = log.find("fake signal to :1.1");
    ASSERT_NE(presence, std::string::npos);
    ASSERT_NE(unknown, std::string::npos);
    ASSERT_NE(signal, std::string::npos);
    // Reads (priority 5) overtake the result queued before them (priority 10).
    EXPECT_LT(presence, signal);
    EXPECT_LT(unknown, signal);
}

}  // namespace
