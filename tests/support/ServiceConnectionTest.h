// Base fixture of the tests that give a piece of the service a bus
// connection of its own: a private bus, the "service" connection, and
// helpers for client connections that come and go.
#ifndef TESSIVO_TESTS_SERVICECONNECTIONTEST_H
#define TESSIVO_TESTS_SERVICECONNECTIONTEST_H

#include <gio/gio.h>
#include <gtest/gtest.h>

#include <string>

#include "TestBus.h"

class ServiceConnectionTest : public ::testing::Test {
protected:
    void SetUp() override {
        std::string error;
        ASSERT_TRUE(m_bus.Start(&error)) << error;
        m_service = Connect();
        ASSERT_NE(m_service, nullptr);
    }
    void TearDown() override {
        if (m_service != nullptr) {
            Close(m_service);
        }
    }
    GDBusConnection* Connect() {
        return g_dbus_connection_new_for_address_sync(
            m_bus.Address().c_str(),
            static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                              G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
            nullptr, nullptr, nullptr);
    }
    // A round trip to the daemon: every message it sent the service before
    // has arrived.
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
    // The unique name of a connection that has left the bus.
    std::string GoneName() {
        GDBusConnection* client = Connect();
        std::string name = client != nullptr ? g_dbus_connection_get_unique_name(client) : "";
        if (client != nullptr) {
            Close(client);
        }
        return name;
    }

    TestBus m_bus;
    GDBusConnection* m_service = nullptr;
};

#endif
