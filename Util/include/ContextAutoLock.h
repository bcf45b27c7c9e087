// Scoped guard for a GLib mutex: locks on construction, unlocks when the scope
// ends, so no early return can leave the mutex held.
#ifndef TESSIVO_UTIL_CONTEXTAUTOLOCK_H
#define TESSIVO_UTIL_CONTEXTAUTOLOCK_H

#include <glib.h>

// GLib's mutexes, conditions and asynchronous queues synchronise through
// atomics and futexes inside the (uninstrumented) GLib library, which
// ThreadSanitizer cannot see. Code that hands data over through them marks the
// hand-over: RELEASE on the sending side before the GLib call, ACQUIRE on the
// receiving side after it, both on the same address. Free in other builds.
#if defined(__SANITIZE_THREAD__)
#define CONTEXT_TSAN_ENABLED 1
#elif defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define CONTEXT_TSAN_ENABLED 1
#endif
#endif

#ifdef CONTEXT_TSAN_ENABLED
extern "C" void __tsan_acquire(void* addr);
extern "C" void __tsan_release(void* addr);
#define CONTEXT_SYNC_ACQUIRE(addr) __tsan_acquire(static_cast<void*>(addr))
#define CONTEXT_SYNC_RELEASE(addr) __tsan_release(static_cast<void*>(addr))
#else
#define CONTEXT_SYNC_ACQUIRE(addr) static_cast<void>(addr)
#define CONTEXT_SYNC_RELEASE(addr) static_cast<void>(addr)
#endif

class ContextAutoLock {
public:
    // Blocks until the mutex is held. \context Any thread.
    explicit ContextAutoLock(GMutex* mutex) : m_pMutex(mutex) {
        g_mutex_lock(m_pMutex);
        CONTEXT_SYNC_ACQUIRE(m_pMutex);
    }
    ~ContextAutoLock() {
        CONTEXT_SYNC_RELEASE(m_pMutex);
        g_mutex_unlock(m_pMutex);
    }

    ContextAutoLock(const ContextAutoLock&) = delete;
    ContextAutoLock& operator=(const ContextAutoLock&) = delete;

private:
    GMutex* m_pMutex;
};

#endif
