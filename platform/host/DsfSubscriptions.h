// The data-service subscriptions of this process: one per subject. Events
// published by any process reach them through the "dsf" event journal,
// which this process follows from its first subscription on; a subscription
// receives the events published after it, each once, in order, on the
// default GLib main context.
//
// Callbacks run without any lock held: they may subscribe, unsubscribe and
// publish. An event not yet delivered when its subscription goes is dropped.
#ifndef TESSIVO_PLATFORM_HOST_DSFSUBSCRIPTIONS_H
#define TESSIVO_PLATFORM_HOST_DSFSUBSCRIPTIONS_H

#include <DSF.h>
#include <stdint.h>

#include <map>
#include <mutex>
#include <string>

#include "JournalTail.h"

class DsfSubscriptions {
public:
    // Created on first use, never destroyed.
    // \context Thread-safe.
    static DsfSubscriptions& Get();

    // Subscribing again replaces the callback and its user data. 0 or
    // -errno (the journal could not be followed).
    // \context Thread-safe.
    int Add(const std::string& subject, DSF_Callback callback, void* user);
    // 0, or -ENOENT when the subject has no subscription.
    // \context Thread-safe.
    int Remove(const std::string& subject);

private:
    struct Subscription {
        uint64_t id;
        DSF_Callback callback;
        void* user;
        JournalTail::Position from;
    };

    DsfSubscriptions();
    void _Deliver(const JournalTail::Record& record);

    std::mutex m_mutex;  // guards m_subscriptions and m_nextId; taken before the tail's
    std::map<std::string, Subscription> m_subscriptions;
    uint64_t m_nextId = 1;
    JournalTail m_tail;
};

#endif
