// Base of a worker that takes messages from a priority-sorted queue and hands
// each to OnEvent() on its own GLib thread. Smaller priority values are served
// first, equal priorities in push order. Stop() appends its request behind
// everything already queued, so waiting events are drained before the thread
// ends.
#ifndef TESSIVO_UTIL_CONTEXTEVENTTHREAD_H
#define TESSIVO_UTIL_CONTEXTEVENTTHREAD_H

#include <glib.h>
#include <stdint.h>

#include <atomic>
#include <string>

#include "IContextEventSink.h"

// One queued event.
struct TEventMessage {
    int32_t id;        // chosen by the owner class; -1 for the stop request
    void* data;        // payload; ownership passes to the handler
    bool stop;         // true only for the stop request
    bool isStatic;     // owned by the caller: the queue never frees it
    int32_t priority;  // smaller is handled first
};

class ContextEventThread : public IContextEventSink {
public:
    ContextEventThread();
    // Does not stop the thread (owners call Stop() first) and does not free
    // messages that are still queued.
    virtual ~ContextEventThread();

    ContextEventThread(const ContextEventThread&) = delete;
    ContextEventThread& operator=(const ContextEventThread&) = delete;

    // Starts the dispatch loop on a new unnamed thread; a non-null name
    // becomes the owner name of the log lines. \context Owner thread.
    bool Start(const char* name);
    // Queues the stop request behind every waiting event and joins the loop.
    // \context Owner thread, never the loop itself.
    bool Stop();
    // \context Thread-safe.
    bool IsRunning() const { return m_bRunning.load(); }

    // Queues an event. Before Start() at most 16 are accepted; a refused
    // payload stays the caller's. \context Thread-safe.
    bool PushEvent(int id, void* data, int priority) override;
    // Queues a message that the caller owns and keeps alive until handled;
    // only while the loop runs. \context Thread-safe.
    bool PushStaticEvent(TEventMessage* msg);
    // Number of waiting messages. \context Thread-safe.
    int GetQueueLength();

    // Queue order of two messages: 1 when a is served after b (or either is
    // missing), 0 when equal, -1 when a is served first. \context Thread-safe.
    static gint _ComparePriority(gconstpointer a, gconstpointer b, gpointer user);

protected:
    // Handles one event on the loop's thread.
    virtual void OnEvent(int id, void* data) = 0;

    // Takes one leftover message out of the queue of a stopped thread so that
    // an owner that knows its payloads can release them (usually from its
    // destructor). Static messages are dropped without being freed. Returns
    // false when the queue is empty. \context Owner thread, loop not running.
    bool _TakeLeftover(int* id, void** data);

private:
    static gpointer _ThreadMain(gpointer self);
    void _Run();
    void _QueuePush(TEventMessage* msg, bool sorted);
    TEventMessage* _QueuePop(bool wait);

    GThread* m_pThread;
    std::atomic<bool> m_bRunning;
    GMutex m_queueMutex;
    GAsyncQueue* m_pQueue;
    std::string m_strOwner;
    uint32_t m_nPreStartCount;  // guarded by m_queueMutex
};

#endif
