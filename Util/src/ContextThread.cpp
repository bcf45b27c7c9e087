#include "ContextThread.h"

#include "ContextLog.h"

ContextThread::ContextThread() : m_pThread(nullptr), m_bRunning(false) {}

ContextThread::~ContextThread() {}

GThread* ContextThreadCreate(GThreadFunc func, gpointer data) {
    GError* error = nullptr;
    GThread* thread = g_thread_try_new(nullptr, func, data, &error);
    if (thread == nullptr) {
        KAE_LOGE("g_thread_try_new failed: %s", error != nullptr ? error->message : "");
        g_clear_error(&error);
    }
    return thread;
}

bool ContextThread::Start() {
    if (m_bRunning.load()) {
        KAE_LOGE("Already Started");
        return false;
    }
    m_bRunning.store(true);
    m_pThread = ContextThreadCreate(_ThreadMain, this);
    if (m_pThread == nullptr) {
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
