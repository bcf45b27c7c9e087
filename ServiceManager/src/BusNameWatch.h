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
    // Asks the bus whether uniqueName is still on it, and reports it as
    // vanished when it is not. A client may leave before the watch's rule
    // reached the bus (its first call, sent without waiting for the answer):
    // its departure is then never announced, and only this question sees it.
    // Asked after Watch, the answer covers every moment the rule does not.
    // False when not watching. \context Main loop thread.
    bool CheckPresent(const char* uniqueName);
    // Ends the subscription; no callback reaches the owner once it returns,
    // even one the bus had already queued or a question still on its way.
    // \context Main thread.
    void Stop();
    // \context Main thread.
    bool IsWatching() const { return m_subscriptionId != 0; }

private:
    // Shared with GDBus for the lifetime of the subscription, which can
    // outlive the watch by a main-loop turn, and with each question on its
    // way; the last of them frees it.
    struct Link {
        GMutex mutex;
        CBusNameWatch* owner;  // null once the watch stopped
        gatomicrefcount refs;
    };
    struct Question;

    static void _OnNameOwnerChanged(GDBusConnection* connection, const gchar* sender,
                                    const gchar* objectPath, const gchar* interfaceName,
                                    const gchar* signalName, GVariant* parameters, gpointer user);
    static void _OnPresenceAnswer(GObject* source, GAsyncResult* result, gpointer user);
    static void _FreeLink(gpointer user);

    VanishedCb m_callback;
    void* m_user;
    GDBusConnection* m_connection;  // referenced while watching
    guint m_subscriptionId;
    Link* m_pLink;
};

#endif
