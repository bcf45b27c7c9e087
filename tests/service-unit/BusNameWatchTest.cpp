// The departure watch on a private bus: a client connection that closes is
// reported once by its unique name; after Stop nothing is reported.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "BusNameWatch.h"
#include "MainContextWait.h"
#include "TestBus.h"

namespace {

void Record(const char* name, void* user) {
    static_cast<std::vector<std::string>*>(user)->push_back(name);
}

class BusNameWatchTest : public ::testing::Test {
protected:
    void SetUp() override {
        std::string error;
        ASSERT_TRUE(m_bus.Start(&error)) << error;
        m_service = Connect();
        ASSERT_NE(m_service, nullptr);
    }
    void TearDown() override {
        if (m_service != nullptr) {
            g_dbus_connection_close_sync(m_service, nullptr, nullptr);
            g_object_unref(m_service);
        }
    }
    GDBusConnection* Connect() {
        return g_dbus_connection_new_for_address_sync(
            m_bus.Address().c_str(),
            static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                              G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
            nullptr, nullptr, nullptr);
    }
    // A round trip to the daemon: every signal it sent before is queued.
    void Sync() {
        GVariant* reply = g_dbus_connection_call_sync(
            m_service, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
            "GetId", nullptr, nullptr, G_DBUS_CALL_FLAGS_NONE, 5000, nullptr, nullptr);
        if (reply != nullptr) {
            g_variant_unref(reply);
        }
    }
    void Close(GDBusConnection* client) {
        g_dbus_connection_close_sync(client, nullptr, nullptr);
        g_object_unref(client);
    }

    TestBus m_bus;
    GDBusConnection* m_service = nullptr;
    std::vector<std::string> m_gone;
};

TEST_F(BusNameWatchTest, ReportsClientsThatLeaveWithOneSubscription) {
    CBusNameWatch watch(Record, &m_gone);
    EXPECT_FALSE(watch.Watch(nullptr));
    ASSERT_TRUE(watch.Watch(m_service));
    ASSERT_TRUE(watch.Watch(m_service));  // no second rule
    Sync();

    GDBusConnection* first = Connect();
    GDBusConnection* second = Connect();
    ASSERT_NE(first, nullptr);
    ASSERT_NE(second, nullptr);
    std::string firstName = g_dbus_connection_get_unique_name(first);
    std::string secondName = g_dbus_connection_get_unique_name(second);
    Close(second);
    Close(first);
    ASSERT_TRUE(maincontext::RunUntil([&] { return m_gone.size() >= 2; }));
    EXPECT_EQ(m_gone, (std::vector<std::string>{secondName, firstName}));
}

TEST_F(BusNameWatchTest, NothingReachesTheOwnerAfterStop) {
    CBusNameWatch watch(Record, &m_gone);
    ASSERT_TRUE(watch.Watch(m_service));
    Sync();
    GDBusConnection* client = Connect();
    ASSERT_NE(client, nullptr);
    watch.Stop();
    EXPECT_FALSE(watch.IsWatching());
    Close(client);
    Sync();
    // Whatever the bus had queued is dispatched now and must find no owner.
    maincontext::RunPending();
    EXPECT_TRUE(m_gone.empty());
}

}  // namespace
