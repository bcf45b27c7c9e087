// The service's door to its clients: owns the well-known name on the system
// bus, exports one object with one interface, hands request calls to the
// dispatcher and emits the "Response" signal for it.
#ifndef TESSIVO_SERVICEMANAGER_DBUSSERVER_H
#define TESSIVO_SERVICEMANAGER_DBUSSERVER_H

#include <gio/gio.h>

#include <atomic>

#include "IDBusServer.h"
#include "IServer.h"
#include "KaeInterface.h"

class CServiceStatus;
class ContextData;
class IDispatcher;

class CDBusServer : public IServer, public IDBusServer {
public:
    // dispatcher may be null: the D-Bus-only service answers no requests.
    explicit CDBusServer(IDispatcher* dispatcher);
    ~CDBusServer() override;

    // \context Any thread; the singleton is set and cleared on the main thread.
    static CDBusServer* GetInstance();

    // The status object to export beside the service's own object, once the
    // name is ours; it outlives the server. \context Main thread, before Start().
    void SetServiceStatus(CServiceStatus* status) { m_pServiceStatus = status; }

    // \context Main loop thread.
    bool Start() override;
    // \context Main loop thread.
    bool Stop() override;
    // \context Thread-safe.
    bool OnPublish(const char* destination, GVariant* parameters) override;
    // Completes a pending method call; null parameters give an empty reply.
    // \context Thread-safe.
    void OnSend(void* invocation, GVariant* parameters);
    // Broadcasts "BYE" and waits until it has left the process, so clients
    // hear it before the name goes away. \context Main loop thread.
    void SendStopSignalToClient();

    static void OnBusAcquired(GDBusConnection* connection, const gchar* name, gpointer user);
    static void OnNameAcquired(GDBusConnection* connection, const gchar* name, gpointer user);
    static void OnNameLost(GDBusConnection* connection, const gchar* name, gpointer user);
    static void OnMethodCall(GDBusConnection* connection, const gchar* sender,
                             const gchar* objectPath, const gchar* interfaceName,
                             const gchar* methodName, GVariant* parameters,
                             GDBusMethodInvocation* invocation, gpointer user);

private:
    void __SendStartSignalToClient();
    void __GetWhitelistApps(ContextData& data);

    IDispatcher* m_pDispatcher;
    guint m_ownerId = 0;
    guint m_registrationId;
    GDBusNodeInfo* m_pNodeInfo;
    // Written on the main thread, read by the dispatcher's thread when it
    // publishes.
    std::atomic<GDBusConnection*> m_connection;
    CServiceStatus* m_pServiceStatus = nullptr;

    static std::atomic<CDBusServer*> m_pInstance;
};

#endif
