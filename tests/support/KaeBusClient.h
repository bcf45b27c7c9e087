// A client of the tessivo service on one connection of its own: calls
// RequestSync and counts the track results ("Response" signals with result 10
// and the track subject) addressed to it. The results are counted on GDBus's
// worker thread, so no main loop is needed.
#ifndef TESSIVO_TESTS_KAEBUSCLIENT_H
#define TESSIVO_TESTS_KAEBUSCLIENT_H

#include <gio/gio.h>

#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <utility>

class KaeBusClient {
public:
    // Called on GDBus's worker thread with each track result's document.
    using ResultHook = std::function<void(const char* document)>;

    explicit KaeBusClient(const std::string& address, ResultHook hook = nullptr);
    ~KaeBusClient();
    KaeBusClient(const KaeBusClient&) = delete;
    KaeBusClient& operator=(const KaeBusClient&) = delete;

    bool Ok() const { return m_connection != nullptr; }
    const std::string& Error() const { return m_error; }
    // The connection's unique name on the bus (":1.42").
    std::string UniqueName() const;

    // (result, output) of RequestSync; result 99 with the error's text when
    // the call failed.
    std::pair<int, std::string> RequestSync(int type, const std::string& subject,
                                            int timeoutMs = 10000, const std::string& input = "");
    bool NameHasOwner(const char* name);
    // Asks the bus for every broadcast "Response" too, from any sender (by
    // default only those addressed to this client arrive).
    bool HearBroadcasts();

    // \context Thread-safe.
    int Results();
    // Waits (real time) until count results have arrived.
    bool WaitForResults(int count, int timeoutMs);

private:
    // What the filter touches. GDBus may still be running the filter after
    // it has been removed, so the filter holds a reference of its own that
    // GDBus releases once the filter can no longer run.
    struct Counter {
        ResultHook hook;
        std::mutex mutex;
        std::condition_variable changed;
        int results = 0;
    };

    static GDBusMessage* _Filter(GDBusConnection* connection, GDBusMessage* message,
                                 gboolean incoming, gpointer user);
    static void _ReleaseFilterReference(gpointer reference);

    GDBusConnection* m_connection = nullptr;
    guint m_filter = 0;
    guint m_broadcasts = 0;
    int m_reqId = 0;
    std::string m_error;
    std::shared_ptr<Counter> m_counter;
};

#endif
