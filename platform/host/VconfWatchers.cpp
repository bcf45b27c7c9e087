#include "VconfWatchers.h"

#include <errno.h>

#include <vector>

#include "VconfKeynode.h"
#include "VconfStore.h"

VconfWatchers& VconfWatchers::Get() {
    static VconfWatchers* watchers = new VconfWatchers();
    return *watchers;
}

VconfWatchers::VconfWatchers()
    : m_tail(VconfStore::kArea, [this](const JournalTail::Record& record) { _Deliver(record); }) {}

int VconfWatchers::Add(const std::string& key, vconf_callback_fn callback, void* user) {
    std::lock_guard<std::mutex> lock(m_mutex);
    for (Registration& registration : m_registrations) {
        if (registration.key == key && registration.callback == callback) {
            registration.user = user;
            return 0;
        }
    }
    JournalTail::Position from;
    int ret = m_tail.Follow(&from);
    if (ret != 0) {
        if (m_registrations.empty()) {
            m_tail.Stop();
        }
        return ret;
    }
    m_registrations.push_back(Registration{m_nextId++, key, callback, user, from});
    return 0;
}

int VconfWatchers::Remove(const std::string& key, vconf_callback_fn callback) {
    std::lock_guard<std::mutex> lock(m_mutex);
    for (auto it = m_registrations.begin(); it != m_registrations.end(); ++it) {
        if (it->key == key && it->callback == callback) {
            m_registrations.erase(it);
            if (m_registrations.empty()) {
                // Nobody listens: the next registration starts at the end of
                // the journal of its own time (and platform directory).
                m_tail.Stop();
            }
            return 0;
        }
    }
    return -ENOENT;
}

bool VconfWatchers::_Current(uint64_t id, vconf_callback_fn* callback, void** user) {
    std::lock_guard<std::mutex> lock(m_mutex);
    for (const Registration& registration : m_registrations) {
        if (registration.id == id) {
            *callback = registration.callback;
            *user = registration.user;
            return true;
        }
    }
    return false;
}

void VconfWatchers::_Deliver(const JournalTail::Record& record) {
    std::string key;
    PlatformStore::Value value;
    if (!VconfStore::ParseChange(record.fields, &key, &value)) {
        return;
    }
    std::vector<uint64_t> ids;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        for (const Registration& registration : m_registrations) {
            if (registration.key == key && JournalTail::IsAtOrAfter(record.at, registration.from)) {
                ids.push_back(registration.id);
            }
        }
    }
    for (uint64_t id : ids) {
        vconf_callback_fn callback;
        void* user;
        // An earlier callback of this change may have removed this one.
        if (!_Current(id, &callback, &user)) {
            continue;
        }
        _keynode_t node = _keynode_t::FromValue(key, value);
        callback(&node, user);
    }
}
