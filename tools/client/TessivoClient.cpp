#include "TessivoClient.h"

#include <unistd.h>

#include <cstdio>

namespace {

// Whose client speaks in a note on standard error: the program's name when
// it set one (kae-test-console, tessivo-viewer).
const char* ProgramName() {
    const char* name = g_get_prgname();
    return name != nullptr ? name : "tessivo client";
}

// Answers of the bus itself that mean nobody owns the service's name.
bool MeansNotRunning(const std::string& name) {
    return name == "org.freedesktop.DBus.Error.ServiceUnknown" ||
           name == "org.freedesktop.DBus.Error.NameHasNoOwner";
}

void Fill(TessivoError* error, TessivoError::Kind kind, const std::string& name,
          const std::string& message) {
    if (error != nullptr) {
        error->kind = kind;
        error->name = name;
        error->message = message;
    }
}

// Turns the end of a method call into its reply of the expected type or the
// reason it has none; takes over answer and gerror.
bool FinishCall(const char* method, GVariant* answer, GError* gerror, const char* replyType,
                int timeoutMs, GVariant** reply, TessivoError* error) {
    if (answer == nullptr) {
        std::string name;
        if (g_dbus_error_is_remote_error(gerror)) {
            gchar* remote = g_dbus_error_get_remote_error(gerror);
            name = remote != nullptr ? remote : "";
            g_free(remote);
            g_dbus_error_strip_remote_error(gerror);
        }
        if (g_error_matches(gerror, G_IO_ERROR, G_IO_ERROR_TIMED_OUT)) {
            Fill(error, TessivoError::Kind::TIMEOUT, name,
                 std::string("no answer to ") + method + " from the tessivo service within " +
                     std::to_string(timeoutMs) + " ms");
        } else if (MeansNotRunning(name)) {
            Fill(error, TessivoError::Kind::NOT_RUNNING, name,
                 "tessivo service is not running on the system bus (nobody owns " +
                     std::string(KAE_DBUS_NAME) + ")");
        } else if (g_error_matches(gerror, G_IO_ERROR, G_IO_ERROR_CLOSED)) {
            Fill(error, TessivoError::Kind::CLOSED, name, "the system bus connection is closed");
        } else {
            Fill(error, TessivoError::Kind::REMOTE, name, gerror->message);
        }
        g_error_free(gerror);
        return false;
    }
    if (!g_variant_is_of_type(answer, G_VARIANT_TYPE(replyType))) {
        Fill(error, TessivoError::Kind::BAD_REPLY, "",
             std::string("the tessivo service answered ") + method + " with type " +
                 g_variant_get_type_string(answer) + " instead of " + replyType);
        g_variant_unref(answer);
        return false;
    }
    *reply = answer;
    return true;
}

// The (is) answer of "RequestSync"; releases reply.
void TakeRequestReply(GVariant* reply, int* result, std::string* output) {
    gint32 code = 0;
    const gchar* text = nullptr;
    g_variant_get(reply, "(i&s)", &code, &text);
    *result = code;
    *output = text;
    g_variant_unref(reply);
}

}  // namespace

CTessivoClient::CTessivoClient() = default;

CTessivoClient::~CTessivoClient() {
    if (m_connection == nullptr) {
        return;
    }
    if (m_signalId != 0) {
        g_dbus_connection_signal_unsubscribe(m_connection, m_signalId);
    }
    if (m_ownerSignalId != 0) {
        g_dbus_connection_signal_unsubscribe(m_connection, m_ownerSignalId);
    }
    if (m_statusSignalId != 0) {
        g_dbus_connection_signal_unsubscribe(m_connection, m_statusSignalId);
    }
    if (m_watchId != 0) {
        g_bus_unwatch_name(m_watchId);
    }
    if (m_closedId != 0) {
        g_signal_handler_disconnect(m_connection, m_closedId);
    }
    CancelRequest();
    // Let queued messages (an unsubscribe sent last) leave before the end.
    g_dbus_connection_flush_sync(m_connection, nullptr, nullptr);
    g_object_unref(m_connection);
}

bool CTessivoClient::Connect(TessivoError* error) {
    if (m_connection != nullptr) {
        return true;
    }
    GError* gerror = nullptr;
    m_connection = g_bus_get_sync(G_BUS_TYPE_SYSTEM, nullptr, &gerror);
    if (m_connection == nullptr) {
        Fill(error, TessivoError::Kind::NO_BUS, "",
             std::string("cannot connect to the system bus: ") +
                 (gerror != nullptr ? gerror->message : "unknown error"));
        g_clear_error(&gerror);
        return false;
    }
    // A closed bus is reported to the caller instead of ending the process.
    g_dbus_connection_set_exit_on_close(m_connection, FALSE);
    m_closedId = g_signal_connect(m_connection, "closed", G_CALLBACK(_OnClosed), this);
    return true;
}

bool CTessivoClient::__Call(const char* method, GVariant* parameters, const char* replyType,
                            int timeoutMs, GVariant** reply, TessivoError* error) {
    return __CallOn(KAE_DBUS_PATH, KAE_DBUS_INTERFACE, method, parameters, replyType, timeoutMs,
                    reply, error);
}

bool CTessivoClient::__CallOn(const char* path, const char* interface, const char* method,
                              GVariant* parameters, const char* replyType, int timeoutMs,
                              GVariant** reply, TessivoError* error) {
    if (m_connection == nullptr) {
        if (parameters != nullptr) {
            g_variant_unref(g_variant_ref_sink(parameters));
        }
        Fill(error, TessivoError::Kind::NO_BUS, "", "not connected to the system bus");
        return false;
    }
    GError* gerror = nullptr;
    GVariant* answer = g_dbus_connection_call_sync(
        m_connection, KAE_DBUS_NAME, path, interface, method, parameters, nullptr,
        G_DBUS_CALL_FLAGS_NONE, timeoutMs, nullptr, &gerror);
    return FinishCall(method, answer, gerror, replyType, timeoutMs, reply, error);
}

bool CTessivoClient::ServiceEnable(int timeoutMs, bool* enabled, std::string* data,
                                   TessivoError* error) {
    GVariant* reply = nullptr;
    if (!__Call("ServiceEnable", nullptr, "(bs)", timeoutMs, &reply, error)) {
        return false;
    }
    gboolean value = FALSE;
    const gchar* text = nullptr;
    g_variant_get(reply, "(b&s)", &value, &text);
    *enabled = value != FALSE;
    *data = text;
    g_variant_unref(reply);
    return true;
}

bool CTessivoClient::RequestSync(int type, const std::string& subject, const std::string& input,
                                 int timeoutMs, int* result, std::string* output,
                                 TessivoError* error) {
    GVariant* parameters = g_variant_new("(iiiss)", static_cast<gint32>(getpid()), type,
                                         m_nextReqId++, subject.c_str(), input.c_str());
    GVariant* reply = nullptr;
    if (!__Call("RequestSync", parameters, "(is)", timeoutMs, &reply, error)) {
        return false;
    }
    TakeRequestReply(reply, result, output);
    return true;
}

bool CTessivoClient::RequestAsync(int type, const std::string& subject, const std::string& input,
                                  int timeoutMs, RequestHandler handler) {
    if (m_connection == nullptr || m_pRequestCancel != nullptr) {
        return false;
    }
    m_pRequestCancel = g_cancellable_new();
    m_requestTimeoutMs = timeoutMs;
    m_requestHandler = std::move(handler);
    GVariant* parameters = g_variant_new("(iiiss)", static_cast<gint32>(getpid()), type,
                                         m_nextReqId++, subject.c_str(), input.c_str());
    g_dbus_connection_call(m_connection, KAE_DBUS_NAME, KAE_DBUS_PATH, KAE_DBUS_INTERFACE,
                           "RequestSync", parameters, nullptr, G_DBUS_CALL_FLAGS_NONE, timeoutMs,
                           m_pRequestCancel, _OnRequestDone, this);
    return true;
}

void CTessivoClient::CancelRequest() {
    if (m_pRequestCancel == nullptr) {
        return;
    }
    m_requestHandler = nullptr;
    g_cancellable_cancel(m_pRequestCancel);
    // The call ends with its callback from the main context, which holds this
    // client; it must have run before the client may go.
    while (m_pRequestCancel != nullptr) {
        g_main_context_iteration(nullptr, TRUE);
    }
}

void CTessivoClient::_OnRequestDone(GObject* source, GAsyncResult* asyncResult, gpointer user) {
    auto* self = static_cast<CTessivoClient*>(user);
    GError* gerror = nullptr;
    GVariant* answer =
        g_dbus_connection_call_finish(G_DBUS_CONNECTION(source), asyncResult, &gerror);
    g_clear_object(&self->m_pRequestCancel);
    RequestHandler handler = std::move(self->m_requestHandler);
    self->m_requestHandler = nullptr;

    GVariant* reply = nullptr;
    TessivoError error;
    bool ok =
        FinishCall("RequestSync", answer, gerror, "(is)", self->m_requestTimeoutMs, &reply, &error);
    int result = 0;
    std::string output;
    if (ok) {
        TakeRequestReply(reply, &result, &output);
    }
    // A cancelled call has no handler any more.
    if (handler) {
        handler(ok, result, output, error);
    }
}

bool CTessivoClient::SubscribeResponse(ResponseHandler handler) {
    if (m_connection == nullptr || m_signalId != 0) {
        return false;
    }
    m_responseHandler = std::move(handler);
    // The rules first, then the question: an owner that changes in between
    // is announced after the answer, and the announcements are applied in
    // the order the bus sent them, before any later "Response".
    m_ownerSignalId = g_dbus_connection_signal_subscribe(
        m_connection, "org.freedesktop.DBus", "org.freedesktop.DBus", "NameOwnerChanged",
        "/org/freedesktop/DBus", KAE_DBUS_NAME, G_DBUS_SIGNAL_FLAGS_NONE, _OnOwnerChanged, this,
        nullptr);
    // From any sender: which one is the owner is decided here, the same way
    // whatever GLib (older ones pass a signal addressed to this client from
    // anybody, whatever sender the rule names).
    m_signalId = g_dbus_connection_signal_subscribe(
        m_connection, nullptr, KAE_DBUS_INTERFACE, KAE_DBUS_SIGNAL, KAE_DBUS_PATH, nullptr,
        G_DBUS_SIGNAL_FLAGS_NONE, _OnResponse, this, nullptr);
    GVariant* owner = g_dbus_connection_call_sync(
        m_connection, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
        "GetNameOwner", g_variant_new("(s)", KAE_DBUS_NAME), G_VARIANT_TYPE("(s)"),
        G_DBUS_CALL_FLAGS_NONE, -1, nullptr, nullptr);
    if (owner != nullptr) {
        const gchar* name = nullptr;
        g_variant_get(owner, "(&s)", &name);
        m_responseOwner = name;
        g_variant_unref(owner);
    }
    return m_signalId != 0 && m_ownerSignalId != 0;
}

bool CTessivoClient::GetStatus(int timeoutMs, Json::Value* properties, TessivoError* error) {
    GVariant* reply = nullptr;
    if (!__CallOn(KAE_DBUS_STATUS_PATH, "org.freedesktop.DBus.Properties", "GetAll",
                  g_variant_new("(s)", KAE_DBUS_STATUS_INTERFACE), "(a{sv})", timeoutMs, &reply,
                  error)) {
        return false;
    }
    GVariant* dictionary = g_variant_get_child_value(reply, 0);
    *properties = DictToJson(dictionary);
    g_variant_unref(dictionary);
    g_variant_unref(reply);
    return true;
}

bool CTessivoClient::SubscribeStatus(StatusHandler handler) {
    if (m_connection == nullptr || m_statusSignalId != 0) {
        return false;
    }
    m_statusHandler = std::move(handler);
    m_statusSignalId = g_dbus_connection_signal_subscribe(
        m_connection, KAE_DBUS_NAME, "org.freedesktop.DBus.Properties", "PropertiesChanged",
        KAE_DBUS_STATUS_PATH, KAE_DBUS_STATUS_INTERFACE, G_DBUS_SIGNAL_FLAGS_NONE, _OnStatusChanged,
        this, nullptr);
    return m_statusSignalId != 0;
}

void CTessivoClient::_OnStatusChanged(GDBusConnection* connection, const gchar* sender,
                                      const gchar* path, const gchar* interface,
                                      const gchar* signal, GVariant* parameters, gpointer user) {
    if (!g_variant_is_of_type(parameters, G_VARIANT_TYPE("(sa{sv}as)"))) {
        fprintf(stderr, "%s: ignored a PropertiesChanged signal of type %s\n", ProgramName(),
                g_variant_get_type_string(parameters));
        return;
    }
    auto* self = static_cast<CTessivoClient*>(user);
    GVariant* changed = g_variant_get_child_value(parameters, 1);
    Json::Value values = DictToJson(changed);
    g_variant_unref(changed);
    if (self->m_statusHandler) {
        self->m_statusHandler(values);
    }
}

Json::Value CTessivoClient::ToJson(GVariant* value) {
    if (g_variant_is_of_type(value, G_VARIANT_TYPE_STRING)) {
        return Json::Value(g_variant_get_string(value, nullptr));
    }
    if (g_variant_is_of_type(value, G_VARIANT_TYPE_BOOLEAN)) {
        return Json::Value(g_variant_get_boolean(value) != FALSE);
    }
    if (g_variant_is_of_type(value, G_VARIANT_TYPE_UINT32)) {
        return Json::Value(static_cast<Json::UInt>(g_variant_get_uint32(value)));
    }
    if (g_variant_is_of_type(value, G_VARIANT_TYPE_UINT64)) {
        return Json::Value(static_cast<Json::UInt64>(g_variant_get_uint64(value)));
    }
    if (g_variant_is_of_type(value, G_VARIANT_TYPE_INT32)) {
        return Json::Value(static_cast<Json::Int>(g_variant_get_int32(value)));
    }
    gchar* text = g_variant_print(value, TRUE);
    Json::Value printed(text);
    g_free(text);
    return printed;
}

Json::Value CTessivoClient::DictToJson(GVariant* dictionary) {
    Json::Value object(Json::objectValue);
    if (!g_variant_is_of_type(dictionary, G_VARIANT_TYPE("a{sv}"))) {
        return object;
    }
    GVariantIter iter;
    const gchar* name = nullptr;
    GVariant* value = nullptr;
    g_variant_iter_init(&iter, dictionary);
    while (g_variant_iter_loop(&iter, "{&sv}", &name, &value)) {
        object[name] = ToJson(value);
    }
    return object;
}

bool CTessivoClient::WatchService(OwnerHandler handler) {
    if (m_connection == nullptr || m_watchId != 0) {
        return false;
    }
    m_ownerHandler = std::move(handler);
    m_watchId =
        g_bus_watch_name_on_connection(m_connection, KAE_DBUS_NAME, G_BUS_NAME_WATCHER_FLAGS_NONE,
                                       _OnNameAppeared, _OnNameVanished, this, nullptr);
    return m_watchId != 0;
}

void CTessivoClient::SetClosedHandler(ClosedHandler handler) {
    m_closedHandler = std::move(handler);
}

std::string CTessivoClient::Describe(const TessivoError& error) {
    switch (error.kind) {
        case TessivoError::Kind::NONE:
            return "no error";
        case TessivoError::Kind::REMOTE: {
            std::string text = "D-Bus error";
            if (!error.name.empty()) {
                text += " " + error.name;
            }
            return text + ": " + error.message;
        }
        default:
            return error.message;
    }
}

void CTessivoClient::_OnResponse(GDBusConnection* connection, const gchar* sender,
                                 const gchar* path, const gchar* interface, const gchar* signal,
                                 GVariant* parameters, gpointer user) {
    auto* self = static_cast<CTessivoClient*>(user);
    if (sender == nullptr || self->m_responseOwner != sender) {
        fprintf(stderr, "%s: ignored a Response signal from %s, which does not own %s\n",
                ProgramName(), sender != nullptr ? sender : "?", KAE_DBUS_NAME);
        return;
    }
    if (!g_variant_is_of_type(parameters, G_VARIANT_TYPE("(iss)"))) {
        fprintf(stderr, "%s: ignored a Response signal of type %s from %s\n", ProgramName(),
                g_variant_get_type_string(parameters), sender != nullptr ? sender : "?");
        return;
    }
    gint32 result = 0;
    const gchar* subject = nullptr;
    const gchar* output = nullptr;
    g_variant_get(parameters, "(i&s&s)", &result, &subject, &output);
    if (self->m_responseHandler) {
        self->m_responseHandler(result, subject, output);
    }
}

void CTessivoClient::_OnOwnerChanged(GDBusConnection* connection, const gchar* sender,
                                     const gchar* path, const gchar* interface, const gchar* signal,
                                     GVariant* parameters, gpointer user) {
    if (!g_variant_is_of_type(parameters, G_VARIANT_TYPE("(sss)"))) {
        return;
    }
    const gchar* name = nullptr;
    const gchar* oldOwner = nullptr;
    const gchar* newOwner = nullptr;
    g_variant_get(parameters, "(&s&s&s)", &name, &oldOwner, &newOwner);
    static_cast<CTessivoClient*>(user)->m_responseOwner = newOwner;
}

void CTessivoClient::_OnNameAppeared(GDBusConnection* connection, const gchar* name,
                                     const gchar* owner, gpointer user) {
    auto* self = static_cast<CTessivoClient*>(user);
    if (self->m_ownerHandler) {
        self->m_ownerHandler(owner != nullptr ? owner : "");
    }
}

void CTessivoClient::_OnNameVanished(GDBusConnection* connection, const gchar* name,
                                     gpointer user) {
    auto* self = static_cast<CTessivoClient*>(user);
    // A closed connection loses sight of every name; that is the closed
    // handler's news, not the service's departure.
    if (g_dbus_connection_is_closed(connection)) {
        return;
    }
    if (self->m_ownerHandler) {
        self->m_ownerHandler("");
    }
}

void CTessivoClient::_OnClosed(GDBusConnection* connection, gboolean remotePeerVanished,
                               GError* error, gpointer user) {
    auto* self = static_cast<CTessivoClient*>(user);
    if (self->m_closedHandler) {
        self->m_closedHandler();
    }
}
