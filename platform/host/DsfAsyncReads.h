// Answers of DSF_Read_Async: the read is made at once, its answer is
// delivered later, on the default GLib main context, in the order the reads
// were made.
#ifndef TESSIVO_PLATFORM_HOST_DSFASYNCREADS_H
#define TESSIVO_PLATFORM_HOST_DSFASYNCREADS_H

#include <DSF.h>
#include <glib.h>

#include <deque>
#include <mutex>
#include <string>

class DsfAsyncReads {
public:
    // Created on first use, never destroyed.
    // \context Thread-safe.
    static DsfAsyncReads& Get();

    // Reads subject (argument may be null) and queues the answer for
    // callback. DSF_OK or DSF_ERROR_INVALID_PARAMETER.
    // \context Thread-safe.
    int Queue(const char* subject, const char* argument, DSF_Callback callback, void* user);

private:
    struct Answer {
        int result;
        std::string subject;
        std::string json;
        DSF_Callback callback;
        void* user;
    };

    DsfAsyncReads() = default;
    static gboolean _OnIdle(gpointer self);
    void _DeliverQueued();

    std::mutex m_mutex;  // guards m_answers and m_scheduled
    std::deque<Answer> m_answers;
    bool m_scheduled = false;
};

#endif
