// Tells its owner when a client's unique bus name leaves the bus. One match
// rule on the bus daemon's NameOwnerChanged serves every client: the daemon
// allows a connection only a few hundred rules, so there is no rule per
// client, and the owner looks the name up in its own table.
#ifndef TESSIVO_SERVICEMANAGER_BUSNAMEWATCH_H
#define TESSIVO_SERVICEMANAGER_BUSNAMEWATCH_H

#include <gio/gio.h>

class CBusNameWatch {
public:
    // Called on the main loop with the unique name (":1.42") that vanished.
    typedef void (*VanishedCb)(const char* uniqueName, void* user);

    CBusNameWatch(VanishedCb callback, void* user);
    // Stops watching.
    ~CBusNameWatch();

    CBusNameWatch(const CBusNameWatch&) = delete;
    CBusNameWatch& operator=(const CBusNameWatch&) = delete;

    // Subscribes to NameOwnerChanged on connection, once: later calls (with
    // any connection) keep the first subscription. Notifications run in the
    // thread-default main context of the caller. False for a null
    // connection. \context Main loop thread.
    bool Watch(GDBusConnection* connection);
    // Ends the subscription; no callback reaches the owner once it returns,
    // even one the bus had already queued. \context Main thread.
    void Stop();
    // \context Main thread.
    bool IsWatching() const { return m_subscriptionId != 0; }

private:
    // Shared with GDBus for the lifetime of the subscription, which can
    // outlive the watch by a main-loop turn.
    struct Link {
        GMutex mutex;
        CBusNameWatch* owner;  // null once the watch stopped
    };

    static void _OnNameOwnerChanged(GDBusConnection* connection, const gchar* sender,
                                    const gchar* objectPath, const gchar* interfaceName,
                                    const gchar* signalName, GVariant* parameters, gpointer user);
    static void _FreeLink(gpointer user);

    VanishedCb m_callback;
    void* m_user;
    GDBusConnection* m_connection;  // referenced while watching
    guint m_subscriptionId;
    Link* m_pLink;
};

#endif
