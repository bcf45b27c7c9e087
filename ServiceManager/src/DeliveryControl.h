// Back-pressure of the fan-out: per client, what has been handed to the bus
// and is not yet known to be read, and whether the next result goes out to
// that client now or is skipped.
//
// The bus daemon keeps what a client has not read, and counts it against
// the connection that sent it: once the service's messages waiting in the
// daemon pass its per-connection limit, the daemon stops reading the service
// at all, and every client starves. So what is on its way is bounded per
// client and in total, and a client that reads nothing for a few seconds is
// given up. Results are live data: a client that lags gets the newest result
// once it has read what it was sent, never a backlog of stale ones.
//
// A client proves that it has read by answering a probe sent after the
// results (the bus delivers in order); the dispatcher sends the probes, this
// class only keeps the books. A client is stuck when a probe has waited for
// its answer too long; a probe that could not be sent (the bus limits the
// calls a connection may have waiting) holds the client back but counts
// nothing against it. It reads no clock: every call is given the time.
#ifndef TESSIVO_SERVICEMANAGER_DELIVERYCONTROL_H
#define TESSIVO_SERVICEMANAGER_DELIVERYCONTROL_H

#include <gio/gio.h>
#include <stddef.h>
#include <stdint.h>

#include <map>
#include <string>

class CDeliveryControl {
public:
    enum VERDICT_TYPE {
        VERDICT_SEND,   // hand the result to the bus
        VERDICT_SKIP,   // too much on its way: this result is not sent to the client
        VERDICT_STUCK,  // the client has read nothing for too long: give it up
    };

    struct Limits {
        int framesPerClient;  // results on their way to one client
        size_t bytesInTotal;  // on their way to all clients together
        int64_t stuckUs;      // a probe unanswered for this long: stuck
    };
    // Four results (0.4 s of frames), 256 KB in all (far below the 127 MB a
    // daemon allows a connection by default), 5 s.
    static Limits DefaultLimits();

    explicit CDeliveryControl(const Limits& limits = DefaultLimits());
    ~CDeliveryControl();
    CDeliveryControl(const CDeliveryControl&) = delete;
    CDeliveryControl& operator=(const CDeliveryControl&) = delete;

    // Whether a result of bytes goes to client now. For VERDICT_STUCK,
    // *waitedUs (when given) tells how long its probe has waited. A client
    // with nothing on its way is always sent one result.
    // \context Thread-safe.
    VERDICT_TYPE Admit(const std::string& client, size_t bytes, int64_t nowUs,
                       int64_t* waitedUs = nullptr);
    // The result was handed to the bus. \context Thread-safe.
    void OnSent(const std::string& client, size_t bytes);
    // A probe for client is due when something is on its way and no probe
    // is out: returns its id (never 0), to be answered or lost; 0 when none
    // is due. \context Thread-safe.
    uint64_t BeginProbe(const std::string& client, int64_t nowUs);
    // The client answered probe id: it has read everything sent before it.
    // A late answer to an older probe counts for nothing. \context Thread-safe.
    void OnProbeAnswered(const std::string& client, uint64_t id);
    // Probe id will get no answer (it was not sent, or the bus refused it);
    // the next result sends another. \context Thread-safe.
    void OnProbeLost(const std::string& client, uint64_t id);
    // The client left the bus: nothing of it is held in the daemon any more.
    // \context Thread-safe.
    void Forget(const std::string& client);

    // \context Thread-safe.
    size_t BytesInFlight();
    // \context Thread-safe.
    int FramesInFlight(const std::string& client);
    // Clients with something on their way. \context Thread-safe.
    int ClientCount();

private:
    // A client's books; they exist only while something is on its way.
    struct Window {
        int frames = 0;
        size_t bytes = 0;
        uint64_t probeId = 0;  // 0: no probe out
        int64_t probeSentUs = 0;
        int probeFrames = 0;  // what the probe covers
        size_t probeBytes = 0;
    };

    void __EraseIfIdle(std::map<std::string, Window>::iterator it);

    const Limits m_limits;
    GMutex m_mutex;
    std::map<std::string, Window> m_windows;  // guarded by m_mutex
    size_t m_bytesInFlight;                   // guarded by m_mutex
    uint64_t m_lastProbeId;                   // guarded by m_mutex
};

#endif
