#include "DBusServer.h"

#include "ContextData.h"
#include "ContextLog.h"
#include "IDispatcher.h"
#include "ServiceStatus.h"

namespace {

const char kIntrospectionXml[] =
    "<node>"
    "  <interface name='com.norvale.tv.tessivo.interface'>"
    "    <method name='RequestSync'>"
    "      <arg type='i' name='pid' direction='in'/>"
    "      <arg type='i' name='type' direction='in'/>"
    "      <arg type='i' name='reqId' direction='in'/>"
    "      <arg type='s' name='subject' direction='in'/>"
    "      <arg type='s' name='input' direction='in'/>"
    "      <arg type='i' name='result' direction='out'/>"
    "      <arg type='s' name='output' direction='out'/>"
    "    </method>"
    "    <method name='RequestAsync'>"
    "      <arg type='i' name='pid' direction='in'/>"
    "      <arg type='i' name='type' direction='in'/>"
    "      <arg type='i' name='reqId' direction='in'/>"
    "      <arg type='s' name='subject' direction='in'/>"
    "      <arg type='s' name='input' direction='in'/>"
    "      <arg type='i' name='result' direction='out'/>"
    "      <arg type='s' name='subject' direction='out'/>"
    "      <arg type='s' name='output' direction='out'/>"
    "    </method>"
    "    <method name='Write'>"
    "      <arg type='i' name='pid' direction='in'/>"
    "      <arg type='i' name='type' direction='in'/>"
    "      <arg type='i' name='reqId' direction='in'/>"
    "      <arg type='s' name='subject' direction='in'/>"
    "      <arg type='i' name='output' direction='in'/>"
    "    </method>"
    "    <method name='ServiceEnable'>"
    "      <arg type='b' name='result' direction='out'/>"
    "      <arg type='s' name='data' direction='out'/>"
    "    </method>"
    "    <signal name='Response'>"
    "      <arg type='i' name='result' direction='out'/>"
    "      <arg type='s' name='subject' direction='out'/>"
    "      <arg type='s' name='output' direction='out'/>"
    "    </signal>"
    "  </interface>"
    "</node>";

const GDBusInterfaceVTable kInterfaceVTable = {CDBusServer::OnMethodCall, nullptr, nullptr, {}};

// Without a dispatcher nobody would ever answer; a client must not hang.
void ReplyNotAvailable(GDBusMethodInvocation* invocation, const char* method) {
    KAE_LOGE("%s refused: sensing is not available on this TV", method);
    g_dbus_method_invocation_return_dbus_error(invocation, KAE_DBUS_ERROR_NOT_AVAILABLE,
                                               "Sensing is not available on this TV");
}

}  // namespace

std::atomic<CDBusServer*> CDBusServer::m_pInstance{nullptr};

CDBusServer::CDBusServer(IDispatcher* dispatcher)
    : m_pDispatcher(dispatcher), m_registrationId(0), m_pNodeInfo(nullptr), m_connection(nullptr) {
    m_pInstance = this;
    KAE_LOGI("DBusServer Create");
}

CDBusServer::~CDBusServer() {
    m_pInstance = nullptr;
    KAE_LOGI("~~DBusServer Close ..");
}

CDBusServer* CDBusServer::GetInstance() {
    return m_pInstance;
}

bool CDBusServer::Start() {
    KAE_LOGI("DBusServer Start!!");
    m_pNodeInfo = g_dbus_node_info_new_for_xml(kIntrospectionXml, nullptr);
    if (m_pNodeInfo == nullptr) {
        KAE_LOGE("get node failed");
        return false;
    }
    m_ownerId = g_bus_own_name(G_BUS_TYPE_SYSTEM, KAE_DBUS_NAME, G_BUS_NAME_OWNER_FLAGS_NONE,
                               OnBusAcquired, OnNameAcquired, OnNameLost, this, nullptr);
    if (m_ownerId == 0) {
        KAE_LOGE("bus own name failed");
        g_dbus_node_info_unref(m_pNodeInfo);
        m_pNodeInfo = nullptr;
        return false;
    }
    return true;
}

bool CDBusServer::Stop() {
    KAE_LOGI("DBusServer Stop!!");
    if (m_pServiceStatus != nullptr) {
        m_pServiceStatus->Detach();
    }
    GDBusConnection* connection = m_connection.load();
    if (connection != nullptr && m_registrationId != 0) {
        g_dbus_connection_unregister_object(connection, m_registrationId);
        m_connection = nullptr;
    }
    if (m_ownerId != 0) {
        g_bus_unown_name(m_ownerId);
        m_ownerId = 0;
    }
    if (m_pNodeInfo != nullptr) {
        g_dbus_node_info_unref(m_pNodeInfo);
        m_pNodeInfo = nullptr;
    }
    return true;
}

bool CDBusServer::OnPublish(const char* destination, GVariant* parameters) {
    CDBusServer* instance = m_pInstance;
    GDBusConnection* connection = instance != nullptr ? instance->m_connection.load() : nullptr;
    if (connection == nullptr) {
        KAE_LOGE("Error: %s", "");
        if (parameters != nullptr) {
            g_variant_unref(g_variant_ref_sink(parameters));
        }
        return false;
    }
    GError* error = nullptr;
    gboolean sent =
        g_dbus_connection_emit_signal(connection, destination, KAE_DBUS_PATH, KAE_DBUS_INTERFACE,
                                      KAE_DBUS_SIGNAL, parameters, &error);
    if (!sent) {
        KAE_LOGE("Error: %s", error != nullptr ? error->message : "");
        g_clear_error(&error);
        return false;
    }
    return true;
}

void CDBusServer::OnSend(void* invocation, GVariant* parameters) {
    KAE_LOGI("OnSend");
    if (invocation == nullptr) {
        if (parameters != nullptr) {
            g_variant_unref(g_variant_ref_sink(parameters));
        }
        return;
    }
    g_dbus_method_invocation_return_value(static_cast<GDBusMethodInvocation*>(invocation),
                                          parameters);
}

void CDBusServer::SendStopSignalToClient() {
    KAE_LOGI("SendStopSignalToClient");
    OnPublish(nullptr, g_variant_new("(iss)", 0, KAE_SUBJECT_BYE, "{}"));
    GDBusConnection* connection = m_connection.load();
    if (connection != nullptr) {
        g_dbus_connection_flush_sync(connection, nullptr, nullptr);
    }
}

void CDBusServer::__SendStartSignalToClient() {
    ContextData whiteList;
    __GetWhitelistApps(whiteList);
    KAE_LOGI("__SendStartSignalToClient");
    OnPublish(nullptr, g_variant_new("(iss)", 0, KAE_SUBJECT_HELLO, whiteList.MakeStr()));
}

void CDBusServer::__GetWhitelistApps(ContextData& data) {
    data.SetValueInArray("WhiteList", "sensord");
    data.SetValueInArray("WhiteList", "apps/org.tizen.kiv-app/bin/KivApp.dll");
    data.SetValueInArray("WhiteList", "apps/com.norvale.tv.KAEDemoViewer/bin/KAEDemoViewer.dll");
    data.SetValueInArray("WhiteList", "kae-test-console");
}

void CDBusServer::OnBusAcquired(GDBusConnection* connection, const gchar* name, gpointer user) {
    KAE_LOGE("OnBusAcquired");
}

void CDBusServer::OnNameAcquired(GDBusConnection* connection, const gchar* name, gpointer user) {
    auto* self = static_cast<CDBusServer*>(user);
    GError* error = nullptr;
    guint id = g_dbus_connection_register_object(connection, KAE_DBUS_PATH,
                                                 self->m_pNodeInfo->interfaces[0],
                                                 &kInterfaceVTable, self, nullptr, &error);
    if (id != 0) {
        self->m_connection = connection;
        self->m_registrationId = id;
        // Before "HELLO": a client that hears it may ask for the status.
        if (self->m_pServiceStatus != nullptr) {
            self->m_pServiceStatus->Attach(connection);
        }
        self->__SendStartSignalToClient();
    } else {
        KAE_LOGE("register object failed");
        g_clear_error(&error);
    }
    KAE_LOGI("OnNameAcquired, m_connection %p", static_cast<void*>(self->m_connection.load()));
}

void CDBusServer::OnNameLost(GDBusConnection* connection, const gchar* name, gpointer user) {
    KAE_LOGE("OnNameLost");
}

void CDBusServer::OnMethodCall(GDBusConnection* connection, const gchar* sender,
                               const gchar* objectPath, const gchar* interfaceName,
                               const gchar* methodName, GVariant* parameters,
                               GDBusMethodInvocation* invocation, gpointer user) {
    auto* self = static_cast<CDBusServer*>(user);
    if (g_strcmp0(methodName, "RequestSync") == 0) {
        if (self->m_pDispatcher == nullptr) {
            ReplyNotAvailable(invocation, methodName);
            return;
        }
        self->m_pDispatcher->OnMethodCallSync(sender, parameters, invocation);
    } else if (g_strcmp0(methodName, "RequestAsync") == 0) {
        // Accepted and never answered: this version has no asynchronous
        // path, and callers rely on their own time-out. Dropping the
        // invocation sends nothing back.
        g_object_unref(invocation);
    } else if (g_strcmp0(methodName, "Write") == 0) {
        if (self->m_pDispatcher == nullptr) {
            ReplyNotAvailable(invocation, methodName);
            return;
        }
        self->m_pDispatcher->OnMethodWriteAsync(sender, parameters, invocation);
    } else if (g_strcmp0(methodName, "ServiceEnable") == 0) {
        ContextData whiteList;
        self->__GetWhitelistApps(whiteList);
        g_dbus_method_invocation_return_value(
            invocation,
            g_variant_new("(bs)", self->m_connection.load() != nullptr, whiteList.MakeStr()));
    }
}
