// The departure watch on a private bus: a client connection that closes is
// reported once by its unique name, one that was gone before the watch began
// when the bus is asked about it; after Stop nothing is reported.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "BusNameWatch.h"
#include "MainContextWait.h"
#include "ServiceConnectionTest.h"

namespace {

void Record(const char* name, void* user) {
    static_cast<std::vector<std::string>*>(user)->push_back(name);
}

class BusNameWatchTest : public ServiceConnectionTest {
protected:
    std::vector<std::string> m_gone;
};

}  // namespace

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

TEST_F(BusNameWatchTest, AClientGoneBeforeTheWatchIsFoundByAskingTheBus) {
    const std::string earlyName = GoneName();
    GDBusConnection* present = Connect();
    ASSERT_NE(present, nullptr);
    std::string presentName = g_dbus_connection_get_unique_name(present);

    CBusNameWatch watch(Record, &m_gone);
    EXPECT_FALSE(watch.CheckPresent(earlyName.c_str()));  // not watching: nobody to tell
    ASSERT_TRUE(watch.Watch(m_service));
    ASSERT_TRUE(watch.CheckPresent(presentName.c_str()));
    ASSERT_TRUE(watch.CheckPresent(earlyName.c_str()));
    ASSERT_TRUE(maincontext::RunUntil([&] { return !m_gone.empty(); }));
    Sync();
    maincontext::RunPending();
    EXPECT_EQ(m_gone, std::vector<std::string>{earlyName});
    Close(present);
}

TEST_F(BusNameWatchTest, NothingReachesTheOwnerAfterStop) {
    const std::string goneName = GoneName();
    CBusNameWatch watch(Record, &m_gone);
    ASSERT_TRUE(watch.Watch(m_service));
    Sync();
    GDBusConnection* client = Connect();
    ASSERT_NE(client, nullptr);
    // A question still on its way when the watch stops.
    ASSERT_TRUE(watch.CheckPresent(goneName.c_str()));
    watch.Stop();
    EXPECT_FALSE(watch.IsWatching());
    Close(client);
    Sync();
    // Whatever the bus had queued is dispatched now and must find no owner.
    maincontext::RunPending();
    EXPECT_TRUE(m_gone.empty());
}
