#include "KaeBusClient.h"

#include <unistd.h>

#include <chrono>

#include "ContextAutoLock.h"
#include "KaeInterface.h"

namespace {

const int kTrackResult = 10;

}  // namespace

KaeBusClient::KaeBusClient(const std::string& address, ResultHook hook)
    : m_counter(std::make_shared<Counter>()) {
    m_counter->hook = std::move(hook);
    GError* error = nullptr;
    m_connection = g_dbus_connection_new_for_address_sync(
        address.c_str(),
        static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                          G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
        nullptr, nullptr, &error);
    if (m_connection == nullptr) {
        m_error = std::string("cannot connect to the bus: ") + error->message;
        g_clear_error(&error);
        return;
    }
    auto* reference = new std::shared_ptr<Counter>(m_counter);
    // GDBus hands the reference to its worker thread under its own lock,
    // which ThreadSanitizer cannot see.
    CONTEXT_SYNC_RELEASE(reference);
    m_filter =
        g_dbus_connection_add_filter(m_connection, _Filter, reference, _ReleaseFilterReference);
}

KaeBusClient::~KaeBusClient() {
    if (m_connection != nullptr) {
        if (m_broadcasts != 0) {
            g_dbus_connection_signal_unsubscribe(m_connection, m_broadcasts);
        }
        g_dbus_connection_remove_filter(m_connection, m_filter);
        g_dbus_connection_close_sync(m_connection, nullptr, nullptr);
        g_object_unref(m_connection);
    }
}

std::pair<int, std::string> KaeBusClient::RequestSync(int type, const std::string& subject,
                                                      int timeoutMs, const std::string& input) {
    if (m_connection == nullptr) {
        return {99, m_error};
    }
    GError* error = nullptr;
    GVariant* reply = g_dbus_connection_call_sync(
        m_connection, KAE_DBUS_NAME, KAE_DBUS_PATH, KAE_DBUS_INTERFACE, "RequestSync",
        g_variant_new("(iiiss)", static_cast<int>(getpid()), type, ++m_reqId, subject.c_str(),
                      input.c_str()),
        G_VARIANT_TYPE("(is)"), G_DBUS_CALL_FLAGS_NONE, timeoutMs, nullptr, &error);
    if (reply == nullptr) {
        std::string message = error->message;
        g_clear_error(&error);
        return {99, message};
    }
    gint32 result = 0;
    const gchar* output = nullptr;
    g_variant_get(reply, "(i&s)", &result, &output);
    std::pair<int, std::string> answer(result, output);
    g_variant_unref(reply);
    return answer;
}

bool KaeBusClient::NameHasOwner(const char* name) {
    if (m_connection == nullptr) {
        return false;
    }
    GVariant* reply = g_dbus_connection_call_sync(
        m_connection, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
        "NameHasOwner", g_variant_new("(s)", name), G_VARIANT_TYPE("(b)"), G_DBUS_CALL_FLAGS_NONE,
        5000, nullptr, nullptr);
    if (reply == nullptr) {
        return false;
    }
    gboolean owned = FALSE;
    g_variant_get(reply, "(b)", &owned);
    g_variant_unref(reply);
    return owned != FALSE;
}

std::string KaeBusClient::UniqueName() const {
    const gchar* name =
        m_connection != nullptr ? g_dbus_connection_get_unique_name(m_connection) : nullptr;
    return name != nullptr ? name : "";
}

bool KaeBusClient::HearBroadcasts() {
    if (m_connection == nullptr || m_broadcasts != 0) {
        return m_broadcasts != 0;
    }
    // The rule is what matters; the filter counts the results before any
    // subscriber would see them.
    m_broadcasts = g_dbus_connection_signal_subscribe(
        m_connection, nullptr, KAE_DBUS_INTERFACE, KAE_DBUS_SIGNAL, nullptr, nullptr,
        G_DBUS_SIGNAL_FLAGS_NONE,
        [](GDBusConnection*, const gchar*, const gchar*, const gchar*, const gchar*, GVariant*,
           gpointer) {},
        nullptr, nullptr);
    // A round trip: the rule is in place once the bus has answered.
    return m_broadcasts != 0 && NameHasOwner("org.freedesktop.DBus");
}

int KaeBusClient::Results() {
    std::lock_guard<std::mutex> lock(m_counter->mutex);
    return m_counter->results;
}

bool KaeBusClient::WaitForResults(int count, int timeoutMs) {
    std::unique_lock<std::mutex> lock(m_counter->mutex);
    return m_counter->changed.wait_for(lock, std::chrono::milliseconds(timeoutMs),
                                       [&] { return m_counter->results >= count; });
}

void KaeBusClient::_ReleaseFilterReference(gpointer reference) {
    // GDBus calls this once no filter run can use the reference any more,
    // ordered after the last run by its own lock.
    CONTEXT_SYNC_ACQUIRE(reference);
    delete static_cast<std::shared_ptr<Counter>*>(reference);
}

// Runs on GDBus's worker thread; takes the track results out of the stream
// (nobody else listens for them) and passes everything else on.
GDBusMessage* KaeBusClient::_Filter(GDBusConnection*, GDBusMessage* message, gboolean incoming,
                                    gpointer user) {
    if (!incoming || g_dbus_message_get_message_type(message) != G_DBUS_MESSAGE_TYPE_SIGNAL ||
        g_strcmp0(g_dbus_message_get_member(message), KAE_DBUS_SIGNAL) != 0 ||
        g_strcmp0(g_dbus_message_get_interface(message), KAE_DBUS_INTERFACE) != 0) {
        return message;
    }
    GVariant* body = g_dbus_message_get_body(message);
    if (body == nullptr || !g_variant_is_of_type(body, G_VARIANT_TYPE("(iss)"))) {
        return message;
    }
    gint32 result = 0;
    const gchar* subject = nullptr;
    const gchar* output = nullptr;
    g_variant_get(body, "(i&s&s)", &result, &subject, &output);
    if (result != kTrackResult || g_strcmp0(subject, KAE_SUBJECT_TRACK_SEGMENT) != 0) {
        return message;
    }
    CONTEXT_SYNC_ACQUIRE(user);
    Counter& counter = **static_cast<std::shared_ptr<Counter>*>(user);
    if (counter.hook) {
        counter.hook(output);
    }
    {
        std::lock_guard<std::mutex> lock(counter.mutex);
        ++counter.results;
    }
    counter.changed.notify_all();
    CONTEXT_SYNC_RELEASE(user);
    g_object_unref(message);
    return nullptr;
}
