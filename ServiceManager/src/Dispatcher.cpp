#include "Dispatcher.h"

#include <stdlib.h>
#include <string.h>

#include <algorithm>
#include <new>

#include "ActivitySegment.h"
#include "ContextAutoLock.h"
#include "ContextClock.h"
#include "ContextLog.h"
#include "ContextString.h"
#include "IServer.h"
#include "IStatusListener.h"
#include "Requester.h"

namespace {

const char kEmptyBody[] = "{}";

// Refused request types and duplicate subscriptions.
const int kResultRefused = -3;
// Unsubscribe of a subscription that does not exist.
const int kResultNoSubscription = -5;

// Event ids from 10 up carry the pipeline's published results.
const int kFirstPublishEvent = 10;

// What a "Response" signal costs in the bus daemon's queue beyond its two
// texts: the header (path, interface, member, sender, destination) and the
// body's framing, rounded up.
const size_t kSignalOverheadBytes = 192;

const char* PrintableWord(const char* word) {
    return word != nullptr ? word : "(null)";
}

}  // namespace

GMutex CDispatcher::s_subscribeMutex;

CDispatcher::CDispatcher()
    : m_pActivitySegment(nullptr),
      m_pServer(nullptr),
      m_busNameWatch(_OnClientVanished, this),
      m_deliveryProbe(_OnDeliveryProbed, this),
      m_probesRefused(false),
      m_pStatusListener(nullptr) {
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
    m_deliveryProbe.Stop();
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
    // No client departure or probe answer may reach the list while it is
    // torn down; what is still queued goes out unpaced.
    m_busNameWatch.Stop();
    m_deliveryProbe.Stop();
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
    if (__RefuseOversized(sender, "RequestSync", subject, strlen(input), invocation)) {
        return;
    }
    KAE_LOGE("sender %s, pid: %d, type: %s, reqId: %d, subject: %s",
             sender != nullptr ? sender : "(null)", pid, __CommandWord(type), reqId,
             ContextString::ForLog(subject).c_str());

    if (invocation != nullptr) {
        // Calls come over the service's own connection: watch it, once for
        // every client, for clients that leave without unsubscribing, and
        // listen on it for the answers of the clients that results go to.
        GDBusConnection* connection = g_dbus_method_invocation_get_connection(invocation);
        m_busNameWatch.Watch(connection);
        m_deliveryProbe.Attach(connection);
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
        if (__RefuseOversized(sender, "Write", subject, 0, invocation)) {
            return;
        }
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

bool CDispatcher::__RefuseOversized(const char* sender, const char* method, const char* subject,
                                    size_t inputBytes, GDBusMethodInvocation* invocation) {
    const size_t subjectBytes = strlen(subject);
    if (subjectBytes <= kMaxArgumentBytes && inputBytes <= kMaxArgumentBytes) {
        return false;
    }
    KAE_LOGE("%s of %s refused: subject of %zu bytes, input of %zu bytes (at most %zu each)",
             method, sender != nullptr ? sender : "(null)", subjectBytes, inputBytes,
             kMaxArgumentBytes);
    if (invocation != nullptr) {
        g_dbus_method_invocation_return_error(invocation, G_DBUS_ERROR, G_DBUS_ERROR_INVALID_ARGS,
                                              "subject and input hold at most %zu bytes each",
                                              kMaxArgumentBytes);
    }
    return true;
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
    // Pacing needs the clients' answers, which come over the bus connection
    // that their calls came in on; a dispatcher driven without one sends
    // every result.
    const bool paced = m_deliveryProbe.IsAttached();
    const int64_t nowUs = ContextClock::RealMonotonicUs();
    const size_t bytes = (data != nullptr ? strlen(data) : 0) +
                         (subject != nullptr ? strlen(subject) : 0) + kSignalOverheadBytes;
    std::vector<std::string> toProbe;
    bool dropped = false;
    {
        ContextAutoLock lock(&s_subscribeMutex);
        const size_t before = m_listSubscribe.size();
        std::vector<std::pair<std::string, int64_t>> stuck;
        auto it = m_listSubscribe.begin();
        while (it != m_listSubscribe.end()) {
            CRequester* requester = *it;
            if (subject == nullptr || requester->GetSubject() != subject) {
                ++it;
                continue;
            }
            const std::string& sender = requester->GetSender();
            if (paced) {
                int64_t waitedUs = 0;
                CDeliveryControl::VERDICT_TYPE verdict =
                    m_delivery.Admit(sender, bytes, nowUs, &waitedUs);
                if (verdict == CDeliveryControl::VERDICT_STUCK) {
                    stuck.emplace_back(sender, waitedUs);
                    ++it;
                    continue;
                }
                // A client held back is asked again if its last probe could
                // not be sent.
                toProbe.push_back(sender);
                if (verdict == CDeliveryControl::VERDICT_SKIP) {
                    // The newest result reaches it once it has read the ones
                    // on their way.
                    ++it;
                    continue;
                }
            }
            GVariant* parameters =
                g_variant_new("(iss)", result, subject, data != nullptr ? data : "");
            if (m_pServer->OnPublish(sender.c_str(), parameters)) {
                if (paced) {
                    m_delivery.OnSent(sender, bytes);
                }
                ++it;
            } else {
                KAE_LOGE("no response %d", requester->GetPid());
                delete requester;
                it = m_listSubscribe.erase(it);
            }
        }
        for (const auto& client : stuck) {
            int removed = __DropClient(client.first);
            if (removed > 0) {
                KAE_LOGE("client %s read nothing for %lld ms, %d subscription(s) dropped",
                         client.first.c_str(), static_cast<long long>(client.second / 1000),
                         removed);
            }
        }
        dropped = m_listSubscribe.size() != before;
    }
    if (dropped) {
        __NotifyStatus();
    }
    __ProbeClients(toProbe, nowUs);
    free(const_cast<char*>(data));
    return true;
}

void CDispatcher::__ProbeClients(const std::vector<std::string>& clients, int64_t nowUs) {
    for (const std::string& client : clients) {
        uint64_t id = m_delivery.BeginProbe(client, nowUs);
        if (id != 0 && !m_deliveryProbe.Ping(client.c_str(), id)) {
            m_delivery.OnProbeLost(client, id);
        }
    }
}

void CDispatcher::OnDeliveryProbed(const char* client, uint64_t id, int outcome) {
    if (client == nullptr) {
        return;
    }
    switch (outcome) {
        case CDeliveryProbe::PROBE_ANSWERED:
            m_delivery.OnProbeAnswered(client, id);
            break;
        case CDeliveryProbe::PROBE_REFUSED:
            // A bus whose policy lacks the service's probe: nothing can be
            // learnt, so nobody is held back or dropped for it.
            if (!m_probesRefused.exchange(true)) {
                KAE_LOGE("the bus refuses probes of clients: results go out unpaced");
            }
            m_delivery.OnProbeAnswered(client, id);
            break;
        default:
            m_delivery.OnProbeLost(client, id);
            break;
    }
}

void CDispatcher::_OnDeliveryProbed(const char* client, uint64_t id, int outcome, void* user) {
    static_cast<CDispatcher*>(user)->OnDeliveryProbed(client, id, outcome);
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
    const std::string sender = requester->GetSender();
    {
        ContextAutoLock lock(&s_subscribeMutex);
        std::string why;
        if (!__SubscriptionAllowed(requester, &why)) {
            KAE_LOGE("subscribe of %s refused: %s", sender.c_str(), why.c_str());
            requester->ReplyError(G_DBUS_ERROR_LIMITS_EXCEEDED, why.c_str());
            delete requester;
            return;
        }
        m_listSubscribe.push_back(requester);
        if (requester->GetSubject() == KAE_SUBJECT_TRACK_SEGMENT) {
            __SetTrackSegmentSubscribe(true);
        }
        requester->Reply(0, kEmptyBody);
    }
    __NotifyStatus();
    // A client already gone when its call is handled announces nothing any
    // more; the bus is asked, and the subscription dropped as if it had left
    // later.
    m_busNameWatch.CheckPresent(sender.c_str());
}

bool CDispatcher::__SubscriptionAllowed(const CRequester* requester, std::string* why) const {
    if (m_listSubscribe.size() >= static_cast<size_t>(kMaxSubscriptions)) {
        *why = "the service holds at most " + std::to_string(kMaxSubscriptions) + " subscriptions";
        return false;
    }
    const auto own = std::count_if(
        m_listSubscribe.begin(), m_listSubscribe.end(),
        [&](const CRequester* entry) { return entry->GetSender() == requester->GetSender(); });
    if (own >= kMaxSubscriptionsPerClient) {
        *why = "a client holds at most " + std::to_string(kMaxSubscriptionsPerClient) +
               " subscriptions";
        return false;
    }
    return true;
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
    if (result == 0) {
        __NotifyStatus();
    }
}

void CDispatcher::__RemoveAllSubscribe() {
    {
        ContextAutoLock lock(&s_subscribeMutex);
        for (CRequester* requester : m_listSubscribe) {
            delete requester;
        }
        KAE_LOGE("RemoveAllSubscribe : m_listSubscribe objects delete Complete ..");
        m_listSubscribe.clear();
        __SetTrackSegmentSubscribe(false);
    }
    __NotifyStatus();
}

void CDispatcher::OnClientVanished(const char* sender) {
    if (sender == nullptr) {
        return;
    }
    ContextAutoLock lock(&s_subscribeMutex);
    int removed = __DropClient(sender);
    // Under the lock, so that no result goes to it after this.
    m_delivery.Forget(sender);
    if (removed > 0) {
        KAE_LOGE("client %s left the bus, %d subscription(s) dropped", sender, removed);
        __NotifyStatus();
    }
}

int CDispatcher::__DropClient(const std::string& sender) {
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
    return removed;
}

void CDispatcher::_OnClientVanished(const char* sender, void* user) {
    static_cast<CDispatcher*>(user)->OnClientVanished(sender);
}

int CDispatcher::GetSubscribeCount() {
    ContextAutoLock lock(&s_subscribeMutex);
    return static_cast<int>(m_listSubscribe.size());
}

size_t CDispatcher::GetBytesInFlight() {
    return m_delivery.BytesInFlight();
}

void CDispatcher::__NotifyStatus() {
    IStatusListener* listener = m_pStatusListener.load();
    if (listener != nullptr) {
        listener->OnStatusChanged();
    }
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
