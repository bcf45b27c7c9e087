#include "ContextEventThread.h"

#include <new>

#include "ContextAutoLock.h"
#include "ContextLog.h"
#include "ContextThread.h"

namespace {

// Events accepted while the loop does not run; more would pile up unbounded
// in front of a thread that may never start.
const uint32_t kMaxPreStartEvents = 16;
// The backlog is looked at after this many messages taken.
const int kBacklogCheckEvery = 100;
// More waiting messages than this are reported.
const int kBacklogWarnLength = 100;

}  // namespace

ContextEventThread::ContextEventThread()
    : m_pThread(nullptr), m_bRunning(false), m_pQueue(nullptr), m_nPreStartCount(0) {
    g_mutex_init(&m_queueMutex);
    m_pQueue = g_async_queue_new();
}

ContextEventThread::~ContextEventThread() {
    if (m_pQueue != nullptr) {
        g_async_queue_unref(m_pQueue);
        m_pQueue = nullptr;
    }
    g_mutex_clear(&m_queueMutex);
}

bool ContextEventThread::Start(const char* name) {
    if (m_bRunning.load()) {
        KAE_LOGE("Already Started");
        return false;
    }
    if (name != nullptr) {
        // Producers read the name under the mutex for their overflow line.
        ContextAutoLock lock(&m_queueMutex);
        m_strOwner = name;
    }
    m_bRunning.store(true);
    m_pThread = ContextThreadCreate(_ThreadMain, this);
    if (m_pThread == nullptr) {
        m_bRunning.store(false);
        return false;
    }
    return true;
}

bool ContextEventThread::Stop() {
    if (!m_bRunning.load()) {
        KAE_LOGE("Already Stopped");
        return false;
    }
    TEventMessage* msg = new (std::nothrow) TEventMessage{-1, nullptr, true, false, 0};
    if (msg == nullptr) {
        KAE_LOGE("Memory Allocation Fail");
        return false;
    }
    // Unsorted: the request becomes the newest entry and is taken after
    // everything queued so far.
    _QueuePush(msg, false);
    g_thread_join(m_pThread);
    m_pThread = nullptr;
    return true;
}

bool ContextEventThread::PushEvent(int id, void* data, int priority) {
    ContextAutoLock lock(&m_queueMutex);
    const bool running = m_bRunning.load();
    if (!running && m_nPreStartCount > kMaxPreStartEvents - 1) {
        KAE_LOGE("[%s] The Event Queue is overflow!!", m_strOwner.c_str());
        return false;
    }
    TEventMessage* msg = new (std::nothrow) TEventMessage{id, data, false, false, priority};
    if (msg == nullptr) {
        KAE_LOGE("Memory Allocation Fail");
        return false;
    }
    if (!running) {
        ++m_nPreStartCount;
    }
    _QueuePush(msg, true);
    return true;
}

bool ContextEventThread::PushStaticEvent(TEventMessage* msg) {
    if (msg == nullptr) {
        KAE_LOGE("invalid message");
        return false;
    }
    ContextAutoLock lock(&m_queueMutex);
    if (!m_bRunning.load()) {
        KAE_LOGE("Not Started!");
        return false;
    }
    msg->isStatic = true;
    _QueuePush(msg, true);
    return true;
}

int ContextEventThread::GetQueueLength() {
    if (m_pQueue == nullptr) {
        return 0;
    }
    g_async_queue_lock(m_pQueue);
    // GLib counts a consumer blocked on an empty queue as -1.
    gint length = g_async_queue_length_unlocked(m_pQueue);
    g_async_queue_unlock(m_pQueue);
    return length > 0 ? length : 0;
}

gint ContextEventThread::_ComparePriority(gconstpointer a, gconstpointer b, gpointer user) {
    const TEventMessage* first = static_cast<const TEventMessage*>(a);
    const TEventMessage* second = static_cast<const TEventMessage*>(b);
    if (first == nullptr || second == nullptr) {
        return 1;
    }
    if (first->priority > second->priority) {
        return 1;
    }
    if (first->priority == second->priority) {
        return 0;
    }
    return -1;
}

bool ContextEventThread::_TakeLeftover(int* id, void** data) {
    if (m_pQueue == nullptr || m_bRunning.load()) {
        return false;
    }
    for (;;) {
        TEventMessage* msg = _QueuePop(false);
        if (msg == nullptr) {
            return false;
        }
        if (msg->isStatic) {
            continue;
        }
        if (id != nullptr) {
            *id = msg->id;
        }
        if (data != nullptr) {
            *data = msg->data;
        }
        delete msg;
        return true;
    }
}

// The queue is used through its own lock and the unlocked calls, which is what
// g_async_queue_push_sorted() and g_async_queue_pop() do inside; holding the
// lock here lets the hand-over be marked for ThreadSanitizer (see
// ContextAutoLock.h), including the priority reads of the sorted insert.
void ContextEventThread::_QueuePush(TEventMessage* msg, bool sorted) {
    g_async_queue_lock(m_pQueue);
    CONTEXT_SYNC_ACQUIRE(m_pQueue);
    if (sorted) {
        g_async_queue_push_sorted_unlocked(m_pQueue, msg, _ComparePriority, nullptr);
    } else {
        g_async_queue_push_unlocked(m_pQueue, msg);
    }
    CONTEXT_SYNC_RELEASE(m_pQueue);
    g_async_queue_unlock(m_pQueue);
}

TEventMessage* ContextEventThread::_QueuePop(bool wait) {
    g_async_queue_lock(m_pQueue);
    void* msg =
        wait ? g_async_queue_pop_unlocked(m_pQueue) : g_async_queue_try_pop_unlocked(m_pQueue);
    CONTEXT_SYNC_ACQUIRE(m_pQueue);
    CONTEXT_SYNC_RELEASE(m_pQueue);
    g_async_queue_unlock(m_pQueue);
    return static_cast<TEventMessage*>(msg);
}

gpointer ContextEventThread::_ThreadMain(gpointer self) {
    static_cast<ContextEventThread*>(self)->_Run();
    return nullptr;
}

void ContextEventThread::_Run() {
    {
        ContextAutoLock lock(&m_queueMutex);
        m_nPreStartCount = 0;
    }
    if (!m_bRunning.load()) {
        return;
    }
    int taken = 0;
    for (;;) {
        TEventMessage* msg = _QueuePop(true);
        if (++taken > kBacklogCheckEvery) {
            taken = 0;
            int length = GetQueueLength();
            if (length > kBacklogWarnLength) {
                KAE_LOGE("Owner %s --> length %d", m_strOwner.c_str(), length);
            }
        }
        // Copied before the handler runs: once handled, a static message
        // belongs to its owner again and may already be queued anew.
        const int id = msg->id;
        void* const data = msg->data;
        const bool isStatic = msg->isStatic;
        if (msg->stop) {
            m_bRunning.store(false);
            if (!isStatic) {
                delete msg;
            }
            return;
        }
        OnEvent(id, data);
        if (!isStatic) {
            delete msg;
        }
        if (!m_bRunning.load()) {
            return;
        }
    }
}
