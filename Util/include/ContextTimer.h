// Repeating timers with whole-second periods. The event side owns the timer
// list and runs every change of it and every callback on its one thread, so
// the list needs no lock; the ticker side only wakes it four times a second.
#ifndef TESSIVO_UTIL_CONTEXTTIMER_H
#define TESSIVO_UTIL_CONTEXTTIMER_H

#include <stdint.h>
#include <time.h>

#include <atomic>
#include <list>

#include "ContextEventThread.h"
#include "ContextThread.h"

typedef void (*ContextTimerCallback)(int id, void* user);

// One timer.
struct CTimerData {
    int32_t id;
    uint32_t interval;              // period in seconds
    time_t due;                     // next due time, seconds of the wall clock
    ContextTimerCallback callback;  // may be null
    void* user;
};

class ContextTimer : public ContextThread, public ContextEventThread {
public:
    ContextTimer();
    // Frees the timers still in the list and those still waiting to be
    // inserted. Owners call Stop() first.
    ~ContextTimer() override;

    // Adds a timer that fires every interval seconds and returns its id at
    // once, before the timer is in the list. Returns 0 when the insertion
    // could not be queued. \context Thread-safe.
    int SetTimer(unsigned interval, ContextTimerCallback callback, void* user);
    // Removes the timer with this id; false for id 0 or when the removal could
    // not be queued. \context Thread-safe.
    bool KillTimer(int id);

    // Starts the event side ("ContextTimer"), then the ticker.
    // \context Owner thread.
    bool Start();
    // Stops the ticker, then the event side (which drains its queue first).
    // \context Owner thread.
    bool Stop();

    // Places a timer in the list, due one interval after the last check.
    // \context Event thread only.
    void InsertTimer_(CTimerData* timerData);
    // Removes and frees every timer with this id. \context Event thread only.
    void RemoveTimer_(int id);
    // Runs the timers that are due and moves every due time along when the
    // wall clock jumped. \context Event thread only.
    void CheckTimer_();
    // Number of timers in the list. \context Event thread only.
    int GetTimerCount_() const { return m_nTimerCount; }

    // Sets the id that the next SetTimer() hands out. \context Tests only.
    static void SetNextTimerId_(int32_t id);

private:
    enum { EVENT_INSERT = 0, EVENT_REMOVE = 1, EVENT_CHECK = 2 };

    void OnThread() override;
    void OnEvent(int id, void* data) override;

    static CTimerData* CreateTimer_(unsigned interval, ContextTimerCallback callback, void* user);

    std::list<CTimerData*> m_listTimer;  // ordered by due time
    int m_nTimerCount;
    std::atomic<time_t> m_lastCheck;  // 0 until Start()
    // The ticker's check request; it is never in the queue twice.
    TEventMessage m_checkMsg;
    std::atomic<bool> m_bCheckQueued;
};

#endif
