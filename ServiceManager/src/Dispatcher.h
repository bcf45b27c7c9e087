// Turns client method calls into work and answers: subscriptions are answered
// at once, reads are queued to the dispatcher's own thread, and every result
// the pipeline publishes is sent to each subscriber of its subject.
#ifndef TESSIVO_SERVICEMANAGER_DISPATCHER_H
#define TESSIVO_SERVICEMANAGER_DISPATCHER_H

#include <gio/gio.h>

#include <atomic>
#include <map>
#include <string>
#include <vector>

#include "BusNameWatch.h"
#include "ContextEventThread.h"
#include "DeliveryControl.h"
#include "DeliveryProbe.h"
#include "IDispatcher.h"
#include "KaeInterface.h"

class ActivitySegment;
class CRequester;
class IStatusListener;

// The subject under which the pipeline's activity results are published.

class CDispatcher : public ContextEventThread, public IDispatcher {
public:
    // Request types of "RequestSync" and "Write".
    enum {
        REQUEST_READ = 1,
        REQUEST_WRITE = 2,
        REQUEST_SUBSCRIBE = 3,
        REQUEST_UNSUBSCRIBE = 4,
        REQUEST_REQUEST = 5,
    };
    // Event id of a queued read.
    static const int kEventRead = 1;
    // Queue priority of reads: ahead of published results (10).
    static const int kReadPriority = 5;
    // Limits at the bus boundary: longer subjects and inputs are refused
    // with org.freedesktop.DBus.Error.InvalidArgs, subscriptions beyond
    // these counts with org.freedesktop.DBus.Error.LimitsExceeded. They keep
    // what one client can make the service hold small and bounded.
    static constexpr size_t kMaxArgumentBytes = 4096;
    static constexpr int kMaxSubscriptionsPerClient = 8;
    static constexpr int kMaxSubscriptions = 64;

    CDispatcher();
    // Does not stop the thread and does not delete the subscribers (Stop()
    // does both); releases work left in the queue of a thread that is not
    // running.
    ~CDispatcher() override;

    // \context Main thread.
    bool Start(IServer* server) override;
    // Drains the queue, ends the thread, then drops every subscription.
    // \context Main thread.
    bool Stop() override;
    // "RequestSync". \context Main loop thread.
    void OnMethodCallSync(const char* sender, GVariant* parameters,
                          GDBusMethodInvocation* invocation) override;
    // "Write": logged, never answered. \context Main loop thread.
    void OnMethodWriteAsync(const char* sender, GVariant* parameters,
                            GDBusMethodInvocation* invocation) override;
    // Sends data to every subscriber of subject and takes data over (freed
    // with free); without a server data stays with the caller. A subscriber
    // that has not read what it was sent before gets this result only when
    // little enough is on its way to it (and to all); one that has read
    // nothing for seconds is dropped. \context Dispatcher thread (any thread is safe).
    void OnPublish(const char* subject, int result, const char* data) override;
    // Completion of an asynchronous request; deletes requester.
    // \context Any thread.
    void OnResponse(const char* subject, int result, const char* output, void* requester) override;
    // \context Any thread.
    void OnResponse(const char* subject, int result, void* variant, void* requester) override;

    // Null detaches the pipeline: reads are then refused. Waits for a read
    // in progress, so the pipeline may be deleted afterwards.
    // \context Main thread.
    void SetActivitySegment(ActivitySegment* activitySegment);
    // Null detaches the server: published results are then dropped. Waits
    // for a send in progress, so the server may be deleted afterwards.
    // \context Main thread.
    void SetServer(IServer* server);
    // Drops every subscription of a client that left the bus, as a failed
    // signal would. \context Main loop thread.
    void OnClientVanished(const char* sender);
    // A client answered (or could not be asked) whether it read what it
    // was sent; outcome is a CDeliveryProbe::PROBE_OUTCOME.
    // \context Any thread (GDBus's worker thread).
    void OnDeliveryProbed(const char* client, uint64_t id, int outcome);
    // Told whenever the number of subscriptions changes; null stops
    // telling. \context Main thread, before Start() or after Stop().
    void SetStatusListener(IStatusListener* listener) { m_pStatusListener = listener; }
    // Number of subscriptions held. \context Thread-safe.
    int GetSubscribeCount();
    // Bytes of results handed to the bus and not yet confirmed read by
    // their clients. \context Thread-safe.
    size_t GetBytesInFlight();

protected:
    void OnEvent(int id, void* data) override;

private:
    // Word of a request type for log lines; an unknown type gets an empty
    // entry and prints as "(null)".
    const char* __CommandWord(int type) const;
    // Refuses (with a D-Bus error) and logs a request whose subject or input
    // is too long; false when it is within the limits.
    bool __RefuseOversized(const char* sender, const char* method, const char* subject,
                           size_t inputBytes, GDBusMethodInvocation* invocation);
    // Whether client may hold one more subscription; under s_subscribeMutex.
    bool __SubscriptionAllowed(const CRequester* requester, std::string* why) const;
    // Removes every subscription of sender and clears the pipeline's flag
    // when no track subscriber is left; returns how many went. Under
    // s_subscribeMutex.
    int __DropClient(const std::string& sender);
    // Probes, after a fan-out, each client that has something on its way
    // and no probe out.
    void __ProbeClients(const std::vector<std::string>& clients, int64_t nowUs);
    void __ClientEventHandling(int id, CRequester* requester);
    void __InsertSubscribe(CRequester* requester);
    CRequester* __FindSubscribe(CRequester* requester);
    void __DeleteSubscribe(CRequester* requester);
    void __RemoveAllSubscribe();
    void __SetTrackSegmentSubscribe(bool subscribed);
    bool __HasServer();
    void __NotifyStatus();
    // OnPublish; false (data untouched) when there is no server.
    bool __Publish(const char* subject, int result, const char* data);
    static void _OnClientVanished(const char* sender, void* user);
    static void _OnDeliveryProbed(const char* client, uint64_t id, int outcome, void* user);

    std::vector<CRequester*> m_listSubscribe;
    std::map<int, const char*> m_mapCommand;
    // Lock order: m_serverMutex, s_subscribeMutex, m_segmentMutex.
    GMutex m_segmentMutex;
    ActivitySegment* m_pActivitySegment;  // guarded by m_segmentMutex
    GMutex m_serverMutex;
    IServer* m_pServer;  // guarded by m_serverMutex
    CBusNameWatch m_busNameWatch;
    CDeliveryControl m_delivery;
    CDeliveryProbe m_deliveryProbe;
    std::atomic<bool> m_probesRefused;
    std::atomic<IStatusListener*> m_pStatusListener;

    static GMutex s_subscribeMutex;
};

#endif
