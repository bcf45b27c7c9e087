// The delivery probe on a private bus: a client that reads answers, one that
// has left is reported lost, and after Stop nothing reaches the owner.
#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>
#include <vector>

#include "DeliveryProbe.h"
#include "ServiceConnectionTest.h"

namespace {

struct Answer {
    std::string client;
    uint64_t id;
    int outcome;
};

// What reached the owner, from GDBus's worker thread.
class Answers {
public:
    static void Record(const char* client, uint64_t id, int outcome, void* user) {
        auto* self = static_cast<Answers*>(user);
        {
            std::lock_guard<std::mutex> lock(self->m_mutex);
            self->m_answers.push_back(Answer{client, id, outcome});
        }
        self->m_changed.notify_all();
    }
    bool WaitFor(size_t count) {
        std::unique_lock<std::mutex> lock(m_mutex);
        return m_changed.wait_for(lock, std::chrono::seconds(10),
                                  [&] { return m_answers.size() >= count; });
    }
    std::vector<Answer> Get() {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_answers;
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::vector<Answer> m_answers;
};

class DeliveryProbeTest : public ServiceConnectionTest {
protected:
    Answers m_answers;
};

}  // namespace

TEST_F(DeliveryProbeTest, AReadingClientAnswersAGoneOneIsLost) {
    GDBusConnection* reader = Connect();
    ASSERT_NE(reader, nullptr);
    const std::string readerName = g_dbus_connection_get_unique_name(reader);
    const std::string goneName = GoneName();

    CDeliveryProbe probe(Answers::Record, &m_answers);
    EXPECT_FALSE(probe.Ping(readerName.c_str(), 1));  // not attached yet
    EXPECT_FALSE(probe.Attach(nullptr));
    ASSERT_TRUE(probe.Attach(m_service));
    EXPECT_TRUE(probe.IsAttached());
    // Only unique names are probed.
    EXPECT_FALSE(probe.Ping("com.norvale.tv.tessivo", 2));

    struct Row {
        std::string client;
        uint64_t id;
        int outcome;
    };
    const std::vector<Row> rows = {{readerName, 7, CDeliveryProbe::PROBE_ANSWERED},
                                   {goneName, 8, CDeliveryProbe::PROBE_LOST},
                                   {readerName, 9, CDeliveryProbe::PROBE_ANSWERED}};
    for (const Row& row : rows) {
        ASSERT_TRUE(probe.Ping(row.client.c_str(), row.id)) << row.client;
    }
    ASSERT_TRUE(m_answers.WaitFor(rows.size()));
    std::vector<Answer> answers = m_answers.Get();
    ASSERT_EQ(answers.size(), rows.size());
    for (const Row& row : rows) {
        bool found = false;
        for (const Answer& answer : answers) {
            if (answer.id == row.id) {
                found = true;
                EXPECT_EQ(answer.client, row.client);
                EXPECT_EQ(answer.outcome, row.outcome) << row.client;
            }
        }
        EXPECT_TRUE(found) << "no answer for probe " << row.id;
    }
    Close(reader);
}

TEST_F(DeliveryProbeTest, NothingReachesTheOwnerAfterStop) {
    GDBusConnection* reader = Connect();
    ASSERT_NE(reader, nullptr);
    CDeliveryProbe probe(Answers::Record, &m_answers);
    ASSERT_TRUE(probe.Attach(m_service));
    // Some answers may come before Stop, the others must find nobody.
    for (uint64_t id = 1; id <= 20; ++id) {
        ASSERT_TRUE(probe.Ping(g_dbus_connection_get_unique_name(reader), id));
    }
    probe.Stop();
    const size_t answeredBeforeStop = m_answers.Get().size();
    EXPECT_FALSE(probe.IsAttached());
    EXPECT_FALSE(probe.Ping(g_dbus_connection_get_unique_name(reader), 21));
    // A call of our own through the reader: the reader answered the probes
    // before it, so those answers have come by now.
    GVariant* reply = g_dbus_connection_call_sync(
        m_service, g_dbus_connection_get_unique_name(reader), "/", "org.freedesktop.DBus.Peer",
        "Ping", nullptr, nullptr, G_DBUS_CALL_FLAGS_NONE, 5000, nullptr, nullptr);
    ASSERT_NE(reply, nullptr);
    g_variant_unref(reply);
    EXPECT_EQ(m_answers.Get().size(), answeredBeforeStop);
    Close(reader);
}
