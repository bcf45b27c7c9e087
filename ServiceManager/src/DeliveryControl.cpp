#include "DeliveryControl.h"

#include "ContextAutoLock.h"

CDeliveryControl::Limits CDeliveryControl::DefaultLimits() {
    Limits limits;
    limits.framesPerClient = 4;
    limits.bytesInTotal = 256 * 1024;
    limits.stuckUs = 5 * 1000000;
    return limits;
}

CDeliveryControl::CDeliveryControl(const Limits& limits)
    : m_limits(limits), m_bytesInFlight(0), m_lastProbeId(0) {
    g_mutex_init(&m_mutex);
}

CDeliveryControl::~CDeliveryControl() {
    g_mutex_clear(&m_mutex);
}

CDeliveryControl::VERDICT_TYPE CDeliveryControl::Admit(const std::string& client, size_t bytes,
                                                       int64_t nowUs, int64_t* waitedUs) {
    ContextAutoLock lock(&m_mutex);
    auto it = m_windows.find(client);
    if (it == m_windows.end()) {
        return VERDICT_SEND;
    }
    const Window& window = it->second;
    const int64_t waited = window.probeId != 0 ? nowUs - window.probeSentUs : 0;
    if (window.probeId != 0 && waited >= m_limits.stuckUs) {
        if (waitedUs != nullptr) {
            *waitedUs = waited;
        }
        return VERDICT_STUCK;
    }
    if (window.frames >= m_limits.framesPerClient ||
        m_bytesInFlight + bytes > m_limits.bytesInTotal) {
        return VERDICT_SKIP;
    }
    return VERDICT_SEND;
}

void CDeliveryControl::OnSent(const std::string& client, size_t bytes) {
    ContextAutoLock lock(&m_mutex);
    Window& window = m_windows[client];
    window.frames += 1;
    window.bytes += bytes;
    m_bytesInFlight += bytes;
}

uint64_t CDeliveryControl::BeginProbe(const std::string& client, int64_t nowUs) {
    ContextAutoLock lock(&m_mutex);
    auto it = m_windows.find(client);
    if (it == m_windows.end() || it->second.probeId != 0) {
        return 0;
    }
    Window& window = it->second;
    window.probeId = ++m_lastProbeId;
    window.probeSentUs = nowUs;
    window.probeFrames = window.frames;
    window.probeBytes = window.bytes;
    return window.probeId;
}

void CDeliveryControl::OnProbeAnswered(const std::string& client, uint64_t id) {
    ContextAutoLock lock(&m_mutex);
    auto it = m_windows.find(client);
    if (it == m_windows.end() || id == 0 || it->second.probeId != id) {
        return;
    }
    Window& window = it->second;
    window.frames -= window.probeFrames;
    window.bytes -= window.probeBytes;
    m_bytesInFlight -= window.probeBytes;
    window.probeId = 0;
    window.probeFrames = 0;
    window.probeBytes = 0;
    __EraseIfIdle(it);
}

void CDeliveryControl::OnProbeLost(const std::string& client, uint64_t id) {
    ContextAutoLock lock(&m_mutex);
    auto it = m_windows.find(client);
    if (it == m_windows.end() || id == 0 || it->second.probeId != id) {
        return;
    }
    it->second.probeId = 0;
    it->second.probeFrames = 0;
    it->second.probeBytes = 0;
}

void CDeliveryControl::Forget(const std::string& client) {
    ContextAutoLock lock(&m_mutex);
    auto it = m_windows.find(client);
    if (it != m_windows.end()) {
        m_bytesInFlight -= it->second.bytes;
        m_windows.erase(it);
    }
}

size_t CDeliveryControl::BytesInFlight() {
    ContextAutoLock lock(&m_mutex);
    return m_bytesInFlight;
}

int CDeliveryControl::FramesInFlight(const std::string& client) {
    ContextAutoLock lock(&m_mutex);
    auto it = m_windows.find(client);
    return it != m_windows.end() ? it->second.frames : 0;
}

int CDeliveryControl::ClientCount() {
    ContextAutoLock lock(&m_mutex);
    return static_cast<int>(m_windows.size());
}

void CDeliveryControl::__EraseIfIdle(std::map<std::string, Window>::iterator it) {
    if (it->second.frames == 0 && it->second.probeId == 0) {
        m_windows.erase(it);
    }
}
