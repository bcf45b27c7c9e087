#include "BusNameWatch.h"

#include <new>
#include <string>

#include "ContextLog.h"

// One presence question on its way.
struct CBusNameWatch::Question {
    Link* link;  // holds a reference
    std::string name;
};

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
    g_atomic_ref_count_init(&link->refs);  // the subscription's
    m_subscriptionId = g_dbus_connection_signal_subscribe(
        connection, "org.freedesktop.DBus", "org.freedesktop.DBus", "NameOwnerChanged",
        "/org/freedesktop/DBus", nullptr, G_DBUS_SIGNAL_FLAGS_NONE, _OnNameOwnerChanged, link,
        _FreeLink);
    m_connection = static_cast<GDBusConnection*>(g_object_ref(connection));
    m_pLink = link;
    KAE_LOGI("watching clients on the bus, subscription %u", m_subscriptionId);
    return true;
}

bool CBusNameWatch::CheckPresent(const char* uniqueName) {
    if (m_subscriptionId == 0 || uniqueName == nullptr || uniqueName[0] != ':') {
        return false;
    }
    Question* question = new (std::nothrow) Question{m_pLink, uniqueName};
    if (question == nullptr) {
        KAE_LOGE("Memory Allocation Failed");
        return false;
    }
    g_atomic_ref_count_inc(&m_pLink->refs);
    // Sent after the rule of Watch on the same connection, so the bus has
    // the rule in place when it answers.
    g_dbus_connection_call(m_connection, "org.freedesktop.DBus", "/org/freedesktop/DBus",
                           "org.freedesktop.DBus", "NameHasOwner", g_variant_new("(s)", uniqueName),
                           G_VARIANT_TYPE("(b)"), G_DBUS_CALL_FLAGS_NONE, -1, nullptr,
                           _OnPresenceAnswer, question);
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

void CBusNameWatch::_OnPresenceAnswer(GObject* source, GAsyncResult* result, gpointer user) {
    auto* question = static_cast<Question*>(user);
    GError* error = nullptr;
    GVariant* reply = g_dbus_connection_call_finish(G_DBUS_CONNECTION(source), result, &error);
    if (reply == nullptr) {
        // Nothing learnt; a later departure is still announced.
        KAE_LOGE("presence of %s unknown: %s", question->name.c_str(),
                 error != nullptr ? error->message : "");
        g_clear_error(&error);
    } else {
        gboolean present = TRUE;
        g_variant_get(reply, "(b)", &present);
        g_variant_unref(reply);
        if (!present) {
            Link* link = question->link;
            g_mutex_lock(&link->mutex);
            CBusNameWatch* self = link->owner;
            if (self != nullptr && self->m_callback != nullptr) {
                self->m_callback(question->name.c_str(), self->m_user);
            }
            g_mutex_unlock(&link->mutex);
        }
    }
    _FreeLink(question->link);
    delete question;
}

void CBusNameWatch::_FreeLink(gpointer user) {
    auto* link = static_cast<Link*>(user);
    if (!g_atomic_ref_count_dec(&link->refs)) {
        return;
    }
    g_mutex_clear(&link->mutex);
    delete link;
}
