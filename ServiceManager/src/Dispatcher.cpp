#include "Dispatcher.h"

#include <stdlib.h>
#include <string.h>

#include <algorithm>
#include <new>

#include "ActivitySegment.h"
#include "ContextAutoLock.h"
#include "ContextLog.h"
#include "ContextString.h"
#include "IServer.h"
#include "Requester.h"

namespace {

const char kEmptyBody[] = "{}";

// Refused request types and duplicate subscriptions.
const int kResultRefused = -3;
// Unsubscribe of a subscription that does not exist.
const int kResultNoSubscription = -5;

// Event ids from 10 up carry the pipeline's published results.
const int kFirstPublishEvent = 10;

const char* PrintableWord(const char* word) {
    return word != nullptr ? word : "(null)";
}

}  // namespace

GMutex CDispatcher::s_subscribeMutex;

CDispatcher::CDispatcher()
    : m_pActivitySegment(nullptr), m_pServer(nullptr), m_busNameWatch(_OnClientVanished, this) {
    g_mutex_init(&m_segmentMutex);
    g_mutex_init(&m_serverMutex);
    m_mapCommand[REQUEST_READ] = "read";
    m_mapCommand[REQUEST_WRITE] = "write";
    m_mapCommand[REQUEST_SUBSCRIBE] = "subscribe";
    m_mapCommand[REQUEST_UNSUBSCRIBE] = "unsubscribe";
    m_mapCommand[REQUEST_REQUEST] = "request";
    KAE_LOGI("Dispatcher Create");
}

CDispatcher::~CDispatcher() {
    KAE_LOGI("~~Dispatcher Close ..");
    m_busNameWatch.Stop();
    m_pServer = nullptr;
    m_mapCommand.clear();
    // Work still queued when the thread never ran (or was not stopped) is
    // ours to release: reads go unanswered, results are dropped.
    int id = 0;
    void* data = nullptr;
    while (_TakeLeftover(&id, &data)) {
        if (id < kFirstPublishEvent) {
            delete static_cast<CRequester*>(data);
        } else {
            free(data);
        }
    }
    // The requesters themselves belong to Stop(); only the storage goes.
    std::vector<CRequester*>().swap(m_listSubscribe);
    g_mutex_clear(&m_serverMutex);
    g_mutex_clear(&m_segmentMutex);
}

bool CDispatcher::Start(IServer* server) {
    KAE_LOGI("CDispatcher Start");
    SetServer(server);
    return ContextEventThread::Start("Dispatcher");
}

bool CDispatcher::Stop() {
    // No client departure may reach the list while it is torn down.
    m_busNameWatch.Stop();
    bool stopped = ContextEventThread::Stop();
    __RemoveAllSubscribe();
    return stopped;
}

void CDispatcher::SetActivitySegment(ActivitySegment* activitySegment) {
    ContextAutoLock lock(&m_segmentMutex);
    m_pActivitySegment = activitySegment;
}

void CDispatcher::SetServer(IServer* server) {
    ContextAutoLock lock(&m_serverMutex);
    m_pServer = server;
}

const char* CDispatcher::__CommandWord(int type) const {
    // Looked up, never inserted (const: the compiler holds to it): a client
    // sending every possible type must not grow the table. An unknown type
    // prints as "(null)" either way.
    const auto it = m_mapCommand.find(type);
    return PrintableWord(it != m_mapCommand.end() ? it->second : nullptr);
}

void CDispatcher::OnMethodCallSync(const char* sender, GVariant* parameters,
                                   GDBusMethodInvocation* invocation) {
    if (parameters == nullptr || !g_variant_is_of_type(parameters, G_VARIANT_TYPE("(iiiss)"))) {
        KAE_LOGE("invalid parameters");
        if (invocation != nullptr) {
            g_dbus_method_invocation_return_error_literal(
                invocation, G_DBUS_ERROR, G_DBUS_ERROR_INVALID_ARGS, "expected (iiiss)");
        }
        return;
    }
    gint32 pid = 0;
    gint32 type = 0;
    gint32 reqId = 0;
    const gchar* subject = nullptr;
    const gchar* input = nullptr;
    g_variant_get(parameters, "(iii&s&s)", &pid, &type, &reqId, &subject, &input);
    KAE_LOGE("sender %s, pid: %d, type: %s, reqId: %d, subject: %s",
             sender != nullptr ? sender : "(null)", pid, __CommandWord(type), reqId,
             ContextString::ForLog(subject).c_str());

    if (invocation != nullptr) {
        // Calls come over the service's own connection: watch it, once for
        // every client, for clients that leave without unsubscribing.
        m_busNameWatch.Watch(g_dbus_method_invocation_get_connection(invocation));
    }

    CRequester* requester =
        new (std::nothrow) CRequester(sender, type, reqId, subject, input, pid, invocation);
    if (requester == nullptr) {
        KAE_LOGE("Memory Allocation Failed");
        if (invocation != nullptr) {
            g_object_unref(invocation);
        }
        return;
    }

    switch (type) {
        case REQUEST_SUBSCRIBE:
            __InsertSubscribe(requester);
            break;
        case REQUEST_UNSUBSCRIBE:
            __DeleteSubscribe(requester);
            break;
        case REQUEST_READ:
            if (!PushEvent(kEventRead, requester, kReadPriority)) {
                // Only a queue that is full before the thread runs refuses;
                // the caller learns it instead of waiting for its time-out.
                KAE_LOGE("read of %s not queued", ContextString::ForLog(subject).c_str());
                requester->Reply(kResultRefused, kEmptyBody);
                delete requester;
            }
            break;
        default:
            requester->Reply(kResultRefused, kEmptyBody);
            delete requester;
            break;
    }
}

void CDispatcher::OnMethodWriteAsync(const char* sender, GVariant* parameters,
                                     GDBusMethodInvocation* invocation) {
    if (parameters != nullptr && g_variant_is_of_type(parameters, G_VARIANT_TYPE("(iiisi)"))) {
        gint32 pid = 0;
        gint32 type = 0;
        gint32 reqId = 0;
        const gchar* subject = nullptr;
        gint32 input = 0;
        g_variant_get(parameters, "(iii&si)", &pid, &type, &reqId, &subject, &input);
        KAE_LOGE("pid: %d, type: %s, reqId: %d, subject: %s, input: %d", pid, __CommandWord(type),
                 reqId, ContextString::ForLog(subject).c_str(), input);
    } else {
        KAE_LOGE("invalid parameters");
    }
    // Writing does nothing in this version and is never answered; the call's
    // reference still has to go.
    if (invocation != nullptr) {
        g_object_unref(invocation);
    }
}

void CDispatcher::OnEvent(int id, void* data) {
    if (data == nullptr) {
        KAE_LOGE("data is null");
        return;
    }
    if (id < kFirstPublishEvent) {
        __ClientEventHandling(id, static_cast<CRequester*>(data));
    } else {
        if (!__Publish(KAE_SUBJECT_TRACK_SEGMENT, id, static_cast<const char*>(data))) {
            // The server is gone (shutdown): nobody will take the result.
            free(data);
        }
    }
}

void CDispatcher::__ClientEventHandling(int id, CRequester* requester) {
    if (id == kEventRead) {
        const char* subject = requester->GetSubject().c_str();
        KAE_LOGE("\t\tProcess Read %s", ContextString::ForLog(subject).c_str());
        ContextAutoLock lock(&m_segmentMutex);
        if (m_pActivitySegment == nullptr) {
            // Only a dispatcher built without the pipeline gets here.
            KAE_LOGE("activity segment is null");
            requester->Reply(kResultRefused, kEmptyBody);
        } else {
            char* out = nullptr;
            int result = m_pActivitySegment->Read(subject, nullptr, &out);
            KAE_LOGE(
                "\t\tProcess Read[%s] Data[%s] ret[%d]:", ContextString::ForLog(subject).c_str(),
                out != nullptr ? out : "(null)", result);
            if (out != nullptr) {
                requester->Reply(result, out);
                free(out);
            } else {
                requester->Reply(result, kEmptyBody);
            }
        }
    }
    delete requester;
}

void CDispatcher::OnPublish(const char* subject, int result, const char* data) {
    __Publish(subject, result, data);
}

bool CDispatcher::__Publish(const char* subject, int result, const char* data) {
    ContextAutoLock serverLock(&m_serverMutex);
    if (m_pServer == nullptr) {
        KAE_LOGE("server function is null");
        return false;
    }
    {
        ContextAutoLock lock(&s_subscribeMutex);
        auto it = m_listSubscribe.begin();
        while (it != m_listSubscribe.end()) {
            CRequester* requester = *it;
            if (subject == nullptr || requester->GetSubject() != subject) {
                ++it;
                continue;
            }
            GVariant* parameters =
                g_variant_new("(iss)", result, subject, data != nullptr ? data : "");
            if (m_pServer->OnPublish(requester->GetSender().c_str(), parameters)) {
                ++it;
            } else {
                KAE_LOGE("no response %d", requester->GetPid());
                delete requester;
                it = m_listSubscribe.erase(it);
            }
        }
    }
    free(const_cast<char*>(data));
    return true;
}

void CDispatcher::OnResponse(const char* subject, int result, const char* output, void* requester) {
    if (!__HasServer()) {
        KAE_LOGE("server function is null");
    } else if (requester == nullptr) {
        KAE_LOGE("pUserData is null");
    } else {
        KAE_LOGE("request --> %p , pData %s", requester, output != nullptr ? output : "(null)");
        auto* request = static_cast<CRequester*>(requester);
        request->Reply(result, subject, output);
        delete request;
    }
}

void CDispatcher::OnResponse(const char* subject, int result, void* variant, void* requester) {
    if (!__HasServer()) {
        KAE_LOGE("server function is null");
    } else if (requester == nullptr) {
        KAE_LOGE("pUserData is null");
    } else {
        KAE_LOGE("request --> %p , pData %p", requester, variant);
        auto* request = static_cast<CRequester*>(requester);
        request->ReplyResponse(result, subject, variant);
        delete request;
    }
}

void CDispatcher::__InsertSubscribe(CRequester* requester) {
    if (__FindSubscribe(requester) != nullptr) {
        KAE_LOGI("req != NULL");
        requester->Reply(kResultRefused, kEmptyBody);
        delete requester;
        return;
    }
    ContextAutoLock lock(&s_subscribeMutex);
    m_listSubscribe.push_back(requester);
    if (requester->GetSubject() == KAE_SUBJECT_TRACK_SEGMENT) {
        __SetTrackSegmentSubscribe(true);
    }
    requester->Reply(0, kEmptyBody);
}

CRequester* CDispatcher::__FindSubscribe(CRequester* requester) {
    ContextAutoLock lock(&s_subscribeMutex);
    for (CRequester* entry : m_listSubscribe) {
        if (*entry == *requester) {
            return entry;
        }
    }
    return nullptr;
}

void CDispatcher::__DeleteSubscribe(CRequester* requester) {
    if (requester == nullptr) {
        KAE_LOGE("request is null");
        return;
    }
    KAE_LOGE("MSGPORT: app %s, subject %s", requester->GetSender().c_str(),
             ContextString::ForLog(requester->GetSubject()).c_str());
    ContextAutoLock lock(&s_subscribeMutex);
    if (requester->GetSubject() == KAE_SUBJECT_TRACK_SEGMENT) {
        // One client's unsubscribe stops the publication for every client
        // until somebody subscribes again; kept on purpose.
        __SetTrackSegmentSubscribe(false);
    }
    int result = kResultNoSubscription;
    auto it = m_listSubscribe.begin();
    while (it != m_listSubscribe.end()) {
        if (**it == *requester) {
            delete *it;
            it = m_listSubscribe.erase(it);
            result = 0;
        } else {
            ++it;
        }
    }
    requester->Reply(result, kEmptyBody);
    delete requester;
}

void CDispatcher::__RemoveAllSubscribe() {
    ContextAutoLock lock(&s_subscribeMutex);
    for (CRequester* requester : m_listSubscribe) {
        delete requester;
    }
    KAE_LOGE("RemoveAllSubscribe : m_listSubscribe objects delete Complete ..");
    m_listSubscribe.clear();
    __SetTrackSegmentSubscribe(false);
}

void CDispatcher::OnClientVanished(const char* sender) {
    if (sender == nullptr) {
        return;
    }
    ContextAutoLock lock(&s_subscribeMutex);
    int removed = 0;
    bool trackSegmentRemoved = false;
    auto it = m_listSubscribe.begin();
    while (it != m_listSubscribe.end()) {
        CRequester* requester = *it;
        if (requester->GetSender() == sender) {
            trackSegmentRemoved |= requester->GetSubject() == KAE_SUBJECT_TRACK_SEGMENT;
            delete requester;
            it = m_listSubscribe.erase(it);
            ++removed;
        } else {
            ++it;
        }
    }
    if (removed == 0) {
        return;
    }
    KAE_LOGE("client %s left the bus, %d subscription(s) dropped", sender, removed);
    if (trackSegmentRemoved) {
        // Unlike an unsubscribe, a departure does not cut off the others:
        // publication stops only when nobody is left to receive it.
        bool othersRemain = std::any_of(
            m_listSubscribe.begin(), m_listSubscribe.end(), [](const CRequester* requester) {
                return requester->GetSubject() == KAE_SUBJECT_TRACK_SEGMENT;
            });
        if (!othersRemain) {
            __SetTrackSegmentSubscribe(false);
        }
    }
}

void CDispatcher::_OnClientVanished(const char* sender, void* user) {
    static_cast<CDispatcher*>(user)->OnClientVanished(sender);
}

int CDispatcher::GetSubscribeCount() {
    ContextAutoLock lock(&s_subscribeMutex);
    return static_cast<int>(m_listSubscribe.size());
}

bool CDispatcher::__HasServer() {
    ContextAutoLock lock(&m_serverMutex);
    return m_pServer != nullptr;
}

void CDispatcher::__SetTrackSegmentSubscribe(bool subscribed) {
    ContextAutoLock lock(&m_segmentMutex);
    if (m_pActivitySegment != nullptr) {
        m_pActivitySegment->SetDemoViewerSubscribe(subscribed ? 1 : 0);
    }
}
