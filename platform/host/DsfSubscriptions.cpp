#include "DsfSubscriptions.h"

#include <errno.h>

#include "DsfStore.h"

DsfSubscriptions& DsfSubscriptions::Get() {
    static DsfSubscriptions* subscriptions = new DsfSubscriptions();
    return *subscriptions;
}

DsfSubscriptions::DsfSubscriptions()
    : m_tail(DsfStore::kArea, [this](const JournalTail::Record& record) { _Deliver(record); }) {}

int DsfSubscriptions::Add(const std::string& subject, DSF_Callback callback, void* user) {
    std::lock_guard<std::mutex> lock(m_mutex);
    auto it = m_subscriptions.find(subject);
    if (it != m_subscriptions.end()) {
        it->second.callback = callback;
        it->second.user = user;
        return 0;
    }
    JournalTail::Position from;
    int ret = m_tail.Follow(&from);
    if (ret != 0) {
        if (m_subscriptions.empty()) {
            m_tail.Stop();
        }
        return ret;
    }
    m_subscriptions.emplace(subject, Subscription{m_nextId++, callback, user, from});
    return 0;
}

int DsfSubscriptions::Remove(const std::string& subject) {
    std::lock_guard<std::mutex> lock(m_mutex);
    if (m_subscriptions.erase(subject) == 0) {
        return -ENOENT;
    }
    if (m_subscriptions.empty()) {
        m_tail.Stop();
    }
    return 0;
}

void DsfSubscriptions::_Deliver(const JournalTail::Record& record) {
    std::string subject;
    std::string json;
    if (!DsfStore::ParseEvent(record.fields, &subject, &json)) {
        return;
    }
    DSF_Callback callback;
    void* user;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        auto it = m_subscriptions.find(subject);
        if (it == m_subscriptions.end() || !JournalTail::IsAtOrAfter(record.at, it->second.from)) {
            return;
        }
        callback = it->second.callback;
        user = it->second.user;
    }
    // The text is ours until the callback returns; the callback may write
    // into it.
    callback(DSF_OK, subject.c_str(), &json[0], user);
}
