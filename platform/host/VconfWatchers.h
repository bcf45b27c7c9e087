// The vconf change notifications registered in this process. Sets of any
// process reach them through the "vconf" change journal, which this process
// follows from its first registration on; each registration hears of the
// sets made after it, one callback per set, in the order of the sets, on the
// default GLib main context.
//
// Callbacks run without any lock held: they may register, unregister
// (themselves or others) and set keys. A registration removed before a
// change reaches it is not called for that change.
#ifndef TESSIVO_PLATFORM_HOST_VCONFWATCHERS_H
#define TESSIVO_PLATFORM_HOST_VCONFWATCHERS_H

#include <stdint.h>
#include <vconf.h>

#include <list>
#include <mutex>
#include <string>

#include "JournalTail.h"

class VconfWatchers {
public:
    // The process's registrations (created on first use, never destroyed:
    // other threads may still use them while the process exits).
    // \context Thread-safe.
    static VconfWatchers& Get();

    // A second registration of the same key and callback only replaces its
    // user data. 0 or -errno (the journal could not be followed).
    // \context Thread-safe.
    int Add(const std::string& key, vconf_callback_fn callback, void* user);
    // 0, or -ENOENT when there is no such registration.
    // \context Thread-safe.
    int Remove(const std::string& key, vconf_callback_fn callback);

private:
    struct Registration {
        uint64_t id;
        std::string key;
        vconf_callback_fn callback;
        void* user;
        JournalTail::Position from;
    };

    VconfWatchers();
    void _Deliver(const JournalTail::Record& record);
    bool _Current(uint64_t id, vconf_callback_fn* callback, void** user);

    std::mutex m_mutex;  // guards m_registrations and m_nextId; taken before the tail's
    std::list<Registration> m_registrations;
    uint64_t m_nextId = 1;
    JournalTail m_tail;
};

#endif
