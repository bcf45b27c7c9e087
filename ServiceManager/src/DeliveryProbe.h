// Asks a client whether it has read what it was sent: an
// org.freedesktop.DBus.Peer.Ping, which every D-Bus library answers by
// itself as soon as it reads it. The bus delivers a client's messages in
// order, so the answer says that everything sent before the probe has left
// the bus daemon. The answers are caught by a filter on the service's
// connection, so no main loop is needed and the probes cost GDBus no pending
// call of its own.
#ifndef TESSIVO_SERVICEMANAGER_DELIVERYPROBE_H
#define TESSIVO_SERVICEMANAGER_DELIVERYPROBE_H

#include <gio/gio.h>
#include <stdint.h>

#include <map>
#include <string>

class CDeliveryProbe {
public:
    enum PROBE_OUTCOME {
        // The client answered (a return, or an error of its own): it has
        // read everything sent before the probe.
        PROBE_ANSWERED = 0,
        // The bus policy does not let the service probe clients: nothing can
        // be learnt about this client's reading.
        PROBE_REFUSED = 1,
        // The bus gave up on it (the client left, its queue is full, or no
        // answer came in time).
        PROBE_LOST = 2,
    };
    // Called on GDBus's worker thread with the client's unique name and the
    // id given to Ping. It must not call back into the probe.
    typedef void (*AnswerCb)(const char* client, uint64_t id, int outcome, void* user);

    // At most this many probes wait for an answer; more are not sent. The
    // bus lets a connection wait for 128 answers at a time (by default), and
    // the service's own questions need some of them.
    static constexpr size_t kMaxPending = 96;

    CDeliveryProbe(AnswerCb callback, void* user);
    // Stops.
    ~CDeliveryProbe();
    CDeliveryProbe(const CDeliveryProbe&) = delete;
    CDeliveryProbe& operator=(const CDeliveryProbe&) = delete;

    // Listens for answers on connection, once: later calls keep the first
    // connection. False for a null connection. \context Thread-safe.
    bool Attach(GDBusConnection* connection);
    // Sends a probe to client (a unique bus name) under id; false when it was
    // not sent (not attached, too many waiting, or the connection refused),
    // and then no answer will come. \context Thread-safe.
    bool Ping(const char* client, uint64_t id);
    // Detaches; no callback reaches the owner once it returns.
    // \context Thread-safe.
    void Stop();
    // \context Thread-safe.
    bool IsAttached();

private:
    struct Pending {
        std::string client;
        uint64_t id;
    };
    // Shared with GDBus's filter, which may run once more after it has been
    // removed; GDBus frees it when it no longer can.
    struct Link {
        explicit Link(CDeliveryProbe* probe);
        ~Link();
        GMutex mutex;
        CDeliveryProbe* owner;               // null once stopped
        std::map<guint32, Pending> pending;  // by the probe's serial
    };

    static GDBusMessage* _Filter(GDBusConnection* connection, GDBusMessage* message,
                                 gboolean incoming, gpointer user);
    static void _FreeLink(gpointer user);
    static int _OutcomeOf(GDBusMessage* reply, const std::string& client);

    AnswerCb m_callback;
    void* m_user;
    GMutex m_mutex;                 // guards the three below; taken before a link's
    GDBusConnection* m_connection;  // referenced while attached
    guint m_filterId;
    Link* m_pLink;
};

#endif
