// A small client of the tessivo service over one system-bus connection:
// method calls with a time-out, the "Response" signal and the presence of the
// service's name on the bus. Everything runs on the thread of the default
// GLib main context.
#ifndef TESSIVO_TOOLS_CLIENT_TESSIVOCLIENT_H
#define TESSIVO_TOOLS_CLIENT_TESSIVOCLIENT_H

#include <gio/gio.h>
#include <json/json.h>

#include <functional>
#include <string>

#include "KaeInterface.h"

// Request types of "RequestSync".
constexpr int kConsoleRequestRead = 1;
constexpr int kConsoleRequestSubscribe = 3;
constexpr int kConsoleRequestUnsubscribe = 4;

// Why a call did not give an answer.
struct TessivoError {
    enum class Kind { NONE, NO_BUS, NOT_RUNNING, TIMEOUT, REMOTE, BAD_REPLY, CLOSED };
    Kind kind = Kind::NONE;
    std::string name;     // D-Bus error name, when the bus or the service gave one
    std::string message;  // text for a person
};

class CTessivoClient {
public:
    using ResponseHandler =
        std::function<void(int result, const std::string& subject, const std::string& output)>;
    // owner is the unique bus name of the service, empty when it has none.
    using OwnerHandler = std::function<void(const std::string& owner)>;
    using ClosedHandler = std::function<void()>;
    // The properties of the status object that changed, by name.
    using StatusHandler = std::function<void(const Json::Value& changed)>;
    // The end of an asynchronous "RequestSync": ok with the answer, or not ok
    // with the reason in error.
    using RequestHandler = std::function<void(bool ok, int result, const std::string& output,
                                              const TessivoError& error)>;

    CTessivoClient();
    ~CTessivoClient();
    CTessivoClient(const CTessivoClient&) = delete;
    CTessivoClient& operator=(const CTessivoClient&) = delete;

    // Connects to the system bus ($DBUS_SYSTEM_BUS_ADDRESS when set).
    // \context Main thread only.
    bool Connect(TessivoError* error);

    // "ServiceEnable": whether the service is enabled, and its white-list text.
    // \context Main thread only.
    bool ServiceEnable(int timeoutMs, bool* enabled, std::string* data, TessivoError* error);

    // "RequestSync" with this process's pid and the next request id.
    // \context Main thread only.
    bool RequestSync(int type, const std::string& subject, const std::string& input, int timeoutMs,
                     int* result, std::string* output, TessivoError* error);

    // "RequestSync" without blocking the main loop: the handler runs from the
    // loop once the answer, an error or the time-out has come. One call at a
    // time: false when one is still in flight or there is no connection.
    // \context Main thread only.
    bool RequestAsync(int type, const std::string& subject, const std::string& input, int timeoutMs,
                      RequestHandler handler);
    // Whether an asynchronous call is still in flight. \context Main thread only.
    bool RequestPending() const { return m_pRequestCancel != nullptr; }
    // Cancels the asynchronous call in flight, if any, and returns once it has
    // ended; its handler is not called. \context Main thread only.
    void CancelRequest();

    // Delivers every "Response" signal of the service's interface and object,
    // broadcast or addressed to this client, that comes from the current
    // owner of the service's name; anything else is a forgery and is only
    // noted on standard error. The owner is asked once and then followed
    // from the bus's announcements, which reach this client before anything
    // a new owner sends, so the "HELLO" of a service that has just taken its
    // name is heard. \context Main thread only.
    bool SubscribeResponse(ResponseHandler handler);

    // Every property of the service's status object, by name.
    // \context Main thread only.
    bool GetStatus(int timeoutMs, Json::Value* properties, TessivoError* error);
    // Delivers each PropertiesChanged of the status object. Only the owner of
    // the service's name can send one: the bus matches the sender, and its
    // policy keeps everybody else's signals off the object.
    // \context Main thread only.
    bool SubscribeStatus(StatusHandler handler);

    // A D-Bus value as JSON: strings, booleans and numbers as such, anything
    // else as its GVariant text. \context Thread-safe.
    static Json::Value ToJson(GVariant* value);
    // An a{sv} dictionary as a JSON object. \context Thread-safe.
    static Json::Value DictToJson(GVariant* dictionary);

    // Reports the owner of the service's name once when known, then at every
    // change; not when the bus connection itself closes.
    // \context Main thread only.
    bool WatchService(OwnerHandler handler);

    // Called once when the bus connection closes. \context Main thread only.
    void SetClosedHandler(ClosedHandler handler);

    // One line for a person.
    // \context Thread-safe.
    static std::string Describe(const TessivoError& error);

private:
    bool __Call(const char* method, GVariant* parameters, const char* replyType, int timeoutMs,
                GVariant** reply, TessivoError* error);
    bool __CallOn(const char* path, const char* interface, const char* method, GVariant* parameters,
                  const char* replyType, int timeoutMs, GVariant** reply, TessivoError* error);

    static void _OnRequestDone(GObject* source, GAsyncResult* result, gpointer user);
    static void _OnResponse(GDBusConnection* connection, const gchar* sender, const gchar* path,
                            const gchar* interface, const gchar* signal, GVariant* parameters,
                            gpointer user);
    static void _OnStatusChanged(GDBusConnection* connection, const gchar* sender,
                                 const gchar* path, const gchar* interface, const gchar* signal,
                                 GVariant* parameters, gpointer user);
    static void _OnOwnerChanged(GDBusConnection* connection, const gchar* sender, const gchar* path,
                                const gchar* interface, const gchar* signal, GVariant* parameters,
                                gpointer user);
    static void _OnNameAppeared(GDBusConnection* connection, const gchar* name, const gchar* owner,
                                gpointer user);
    static void _OnNameVanished(GDBusConnection* connection, const gchar* name, gpointer user);
    static void _OnClosed(GDBusConnection* connection, gboolean remotePeerVanished, GError* error,
                          gpointer user);

    GDBusConnection* m_connection = nullptr;
    guint m_signalId = 0;
    guint m_ownerSignalId = 0;
    guint m_statusSignalId = 0;
    // The unique name that "Response" is accepted from; empty when nobody
    // owns the service's name.
    std::string m_responseOwner;
    guint m_watchId = 0;
    gulong m_closedId = 0;
    int m_nextReqId = 1;
    GCancellable* m_pRequestCancel = nullptr;  // set while an asynchronous call is in flight
    int m_requestTimeoutMs = 0;
    RequestHandler m_requestHandler;
    ResponseHandler m_responseHandler;
    OwnerHandler m_ownerHandler;
    ClosedHandler m_closedHandler;
    StatusHandler m_statusHandler;
};

#endif
