#include "ContextThread.h"

#include "ContextLog.h"

ContextThread::ContextThread() : m_pThread(nullptr), m_bRunning(false) {}

ContextThread::~ContextThread() {}

bool ContextThread::Start() {
    if (m_bRunning.load()) {
        KAE_LOGE("Already Started");
        return false;
    }
    m_bRunning.store(true);
    // The try variant reports a failed thread creation instead of aborting.
    GError* error = nullptr;
    m_pThread = g_thread_try_new(nullptr, _ThreadMain, this, &error);
    if (m_pThread == nullptr) {
        KAE_LOGE("g_thread_try_new failed: %s", error != nullptr ? error->message : "");
        g_clear_error(&error);
        m_bRunning.store(false);
        return false;
    }
    return true;
}

bool ContextThread::Stop() {
    if (!m_bRunning.load()) {
        KAE_LOGE("Already Stopped");
        return false;
    }
    m_bRunning.store(false);
    g_thread_join(m_pThread);
    m_pThread = nullptr;
    return true;
}

gpointer ContextThread::_ThreadMain(gpointer self) {
    static_cast<ContextThread*>(self)->OnThread();
    return nullptr;
}
