#include "DeliveryProbe.h"

#include <new>

#include "ContextAutoLock.h"
#include "ContextLog.h"

namespace {

const char kBusName[] = "org.freedesktop.DBus";
const char kAccessDenied[] = "org.freedesktop.DBus.Error.AccessDenied";

}  // namespace

CDeliveryProbe::CDeliveryProbe(AnswerCb callback, void* user)
    : m_callback(callback), m_user(user), m_connection(nullptr), m_filterId(0), m_pLink(nullptr) {
    g_mutex_init(&m_mutex);
}

CDeliveryProbe::~CDeliveryProbe() {
    Stop();
    g_mutex_clear(&m_mutex);
}

CDeliveryProbe::Link::Link(CDeliveryProbe* probe) : owner(nullptr) {
    g_mutex_init(&mutex);
    // Published to GDBus's worker thread, which takes the same lock.
    ContextAutoLock lock(&mutex);
    owner = probe;
}

CDeliveryProbe::Link::~Link() {
    {
        // Nobody else can hold it now; taking it orders everything the
        // other threads did with the link before it goes.
        ContextAutoLock lock(&mutex);
    }
    g_mutex_clear(&mutex);
}

bool CDeliveryProbe::Attach(GDBusConnection* connection) {
    ContextAutoLock lock(&m_mutex);
    if (m_pLink != nullptr || connection == nullptr) {
        return m_pLink != nullptr;
    }
    Link* link = new (std::nothrow) Link(this);
    if (link == nullptr) {
        KAE_LOGE("Memory Allocation Failed");
        return false;
    }
    m_filterId = g_dbus_connection_add_filter(connection, _Filter, link, _FreeLink);
    m_connection = static_cast<GDBusConnection*>(g_object_ref(connection));
    m_pLink = link;
    return true;
}

bool CDeliveryProbe::Ping(const char* client, uint64_t id) {
    if (client == nullptr || client[0] != ':') {
        return false;
    }
    ContextAutoLock lock(&m_mutex);
    if (m_pLink == nullptr) {
        return false;
    }
    GDBusMessage* message =
        g_dbus_message_new_method_call(client, "/", "org.freedesktop.DBus.Peer", "Ping");
    // The answer may come back before the send returns: the serial is
    // recorded under the lock that the filter takes first.
    ContextAutoLock linkLock(&m_pLink->mutex);
    bool sent = false;
    if (m_pLink->pending.size() < kMaxPending) {
        guint32 serial = 0;
        GError* error = nullptr;
        sent = g_dbus_connection_send_message(m_connection, message, G_DBUS_SEND_MESSAGE_FLAGS_NONE,
                                              &serial, &error) != FALSE;
        if (sent) {
            m_pLink->pending[serial] = Pending{client, id};
        } else {
            KAE_LOGE("probe of %s not sent: %s", client, error != nullptr ? error->message : "");
            g_clear_error(&error);
        }
    }
    g_object_unref(message);
    return sent;
}

void CDeliveryProbe::Stop() {
    ContextAutoLock lock(&m_mutex);
    if (m_pLink == nullptr) {
        return;
    }
    // A filter run in progress ends before the owner goes; a later one finds
    // none and leaves the answer to GDBus, which drops it.
    {
        ContextAutoLock linkLock(&m_pLink->mutex);
        m_pLink->owner = nullptr;
    }
    g_dbus_connection_remove_filter(m_connection, m_filterId);
    g_object_unref(m_connection);
    m_connection = nullptr;
    m_filterId = 0;
    m_pLink = nullptr;  // GDBus frees it through _FreeLink
}

bool CDeliveryProbe::IsAttached() {
    ContextAutoLock lock(&m_mutex);
    return m_pLink != nullptr;
}

GDBusMessage* CDeliveryProbe::_Filter(GDBusConnection* connection, GDBusMessage* message,
                                      gboolean incoming, gpointer user) {
    if (!incoming) {
        return message;
    }
    GDBusMessageType type = g_dbus_message_get_message_type(message);
    if (type != G_DBUS_MESSAGE_TYPE_METHOD_RETURN && type != G_DBUS_MESSAGE_TYPE_ERROR) {
        return message;
    }
    auto* link = static_cast<Link*>(user);
    ContextAutoLock lock(&link->mutex);
    if (link->owner == nullptr) {
        return message;
    }
    auto it = link->pending.find(g_dbus_message_get_reply_serial(message));
    if (it == link->pending.end()) {
        return message;
    }
    const Pending pending = it->second;
    link->pending.erase(it);
    CDeliveryProbe* self = link->owner;
    if (self->m_callback != nullptr) {
        self->m_callback(pending.client.c_str(), pending.id, _OutcomeOf(message, pending.client),
                         self->m_user);
    }
    // Nobody else waits for this answer.
    g_object_unref(message);
    return nullptr;
}

int CDeliveryProbe::_OutcomeOf(GDBusMessage* reply, const std::string& client) {
    if (g_dbus_message_get_message_type(reply) == G_DBUS_MESSAGE_TYPE_METHOD_RETURN) {
        return PROBE_ANSWERED;
    }
    // An error of the client's own (a library without the Peer interface)
    // still says that it read everything before it. The bus's errors say
    // nothing of the kind.
    if (g_strcmp0(g_dbus_message_get_sender(reply), client.c_str()) == 0) {
        return PROBE_ANSWERED;
    }
    if (g_strcmp0(g_dbus_message_get_sender(reply), kBusName) == 0 &&
        g_strcmp0(g_dbus_message_get_error_name(reply), kAccessDenied) == 0) {
        return PROBE_REFUSED;
    }
    return PROBE_LOST;
}

void CDeliveryProbe::_FreeLink(gpointer user) {
    delete static_cast<Link*>(user);
}
