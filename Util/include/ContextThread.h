// Base of a worker that runs one body on its own GLib thread. The body polls
// IsRunning() and ends soon after Stop() clears it; there is no other wake-up.
#ifndef TESSIVO_UTIL_CONTEXTTHREAD_H
#define TESSIVO_UTIL_CONTEXTTHREAD_H

#include <glib.h>

#include <atomic>

// Makes an unnamed GLib thread running func(data). Unlike g_thread_new it
// does not abort when no thread can be made: it logs why and returns null.
// \context Thread-safe.
GThread* ContextThreadCreate(GThreadFunc func, gpointer data);

class ContextThread {
public:
    ContextThread();
    // Does not stop the thread: owners call Stop() first.
    virtual ~ContextThread();

    ContextThread(const ContextThread&) = delete;
    ContextThread& operator=(const ContextThread&) = delete;

    // Starts the body on a new unnamed thread. False (and "Already Started")
    // when it runs already, false when no thread could be made.
    // \context Owner thread.
    bool Start();
    // Clears the running flag and joins the body. False (and "Already
    // Stopped") when it does not run. \context Owner thread, never the body.
    bool Stop();
    // \context Thread-safe.
    bool IsRunning() const { return m_bRunning.load(); }

protected:
    // The thread body; it should return soon after IsRunning() turns false.
    virtual void OnThread() = 0;

private:
    static gpointer _ThreadMain(gpointer self);

    GThread* m_pThread;
    std::atomic<bool> m_bRunning;
};

#endif
