#include "BusNameWatch.h"

#include <new>

#include "ContextLog.h"

CBusNameWatch::CBusNameWatch(VanishedCb callback, void* user)
    : m_callback(callback),
      m_user(user),
      m_connection(nullptr),
      m_subscriptionId(0),
      m_pLink(nullptr) {}

CBusNameWatch::~CBusNameWatch() {
    Stop();
}

bool CBusNameWatch::Watch(GDBusConnection* connection) {
    if (m_subscriptionId != 0) {
        return true;
    }
    if (connection == nullptr) {
        return false;
    }
    Link* link = new (std::nothrow) Link;
    if (link == nullptr) {
        KAE_LOGE("Memory Allocation Failed");
        return false;
    }
    g_mutex_init(&link->mutex);
    link->owner = this;
    m_subscriptionId = g_dbus_connection_signal_subscribe(
        connection, "org.freedesktop.DBus", "org.freedesktop.DBus", "NameOwnerChanged",
        "/org/freedesktop/DBus", nullptr, G_DBUS_SIGNAL_FLAGS_NONE, _OnNameOwnerChanged, link,
        _FreeLink);
    m_connection = static_cast<GDBusConnection*>(g_object_ref(connection));
    m_pLink = link;
    KAE_LOGI("watching clients on the bus, subscription %u", m_subscriptionId);
    return true;
}

void CBusNameWatch::Stop() {
    if (m_subscriptionId == 0) {
        return;
    }
    // A notification already queued on the main context may still run after
    // the unsubscription; it finds no owner.
    g_mutex_lock(&m_pLink->mutex);
    m_pLink->owner = nullptr;
    g_mutex_unlock(&m_pLink->mutex);
    g_dbus_connection_signal_unsubscribe(m_connection, m_subscriptionId);
    g_object_unref(m_connection);
    m_connection = nullptr;
    m_subscriptionId = 0;
    m_pLink = nullptr;  // GDBus frees it through _FreeLink
}

void CBusNameWatch::_OnNameOwnerChanged(GDBusConnection* connection, const gchar* sender,
                                        const gchar* objectPath, const gchar* interfaceName,
                                        const gchar* signalName, GVariant* parameters,
                                        gpointer user) {
    if (parameters == nullptr || !g_variant_is_of_type(parameters, G_VARIANT_TYPE("(sss)"))) {
        return;
    }
    const gchar* name = nullptr;
    const gchar* oldOwner = nullptr;
    const gchar* newOwner = nullptr;
    g_variant_get(parameters, "(&s&s&s)", &name, &oldOwner, &newOwner);
    // Only unique names that disappear: well-known names change hands, and a
    // unique name never comes back once gone.
    if (name[0] != ':' || newOwner[0] != '\0') {
        return;
    }
    auto* link = static_cast<Link*>(user);
    g_mutex_lock(&link->mutex);
    CBusNameWatch* self = link->owner;
    if (self != nullptr && self->m_callback != nullptr) {
        self->m_callback(name, self->m_user);
    }
    g_mutex_unlock(&link->mutex);
}

void CBusNameWatch::_FreeLink(gpointer user) {
    auto* link = static_cast<Link*>(user);
    g_mutex_clear(&link->mutex);
    delete link;
}
