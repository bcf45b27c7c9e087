#include "ServiceStatus.h"

#include "ActivitySegment.h"
#include "ContextAutoLock.h"
#include "Dispatcher.h"
#include "StateManager.h"
#include "StatusReason.h"

namespace {

// A country code is whatever the TV's configuration holds; D-Bus strings
// must be UTF-8, and a code is two letters, so a longer text is cut.
constexpr size_t kMaxCountryBytes = 16;

std::string ValidCountry(const std::string& code) {
    gchar* valid = g_utf8_make_valid(code.substr(0, kMaxCountryBytes).c_str(), -1);
    std::string text = valid;
    g_free(valid);
    return text;
}

}  // namespace

CServiceStatus::CServiceStatus()
    : m_shape(SHAPE_NOT_TAVLO_TV),
      m_pStateManager(nullptr),
      m_pDispatcher(nullptr),
      m_object(this),
      m_nUpdateSource(0) {
    g_mutex_init(&m_mutex);
}

CServiceStatus::~CServiceStatus() {
    m_object.Unregister();
    {
        ContextAutoLock lock(&m_mutex);
        if (m_nUpdateSource != 0) {
            g_source_remove(m_nUpdateSource);
            m_nUpdateSource = 0;
        }
    }
    g_mutex_clear(&m_mutex);
}

void CServiceStatus::SetShape(SHAPE_TYPE shape) {
    m_shape = shape;
    OnStatusChanged();
}

void CServiceStatus::SetSources(StateManager* stateManager, CDispatcher* dispatcher) {
    m_pStateManager = stateManager;
    m_pDispatcher = dispatcher;
    OnStatusChanged();
}

bool CServiceStatus::Attach(GDBusConnection* connection) {
    return m_object.Register(connection, Collect());
}

void CServiceStatus::Detach() {
    m_object.Unregister();
}

void CServiceStatus::OnStatusChanged() {
    ContextAutoLock lock(&m_mutex);
    if (m_nUpdateSource == 0) {
        // At default priority: an update is news, not background work.
        m_nUpdateSource = g_idle_add_full(G_PRIORITY_DEFAULT, _Update, this, nullptr);
    }
}

gboolean CServiceStatus::_Update(gpointer self) {
    auto* status = static_cast<CServiceStatus*>(self);
    {
        // Cleared before collecting: a change told from now on is collected
        // by a later update.
        ContextAutoLock lock(&status->m_mutex);
        status->m_nUpdateSource = 0;
    }
    status->m_object.Update(status->Collect());
    return G_SOURCE_REMOVE;
}

StatusSnapshot CServiceStatus::Collect() {
    StatusSnapshot snapshot;
    ModeConditions conditions;
    StateManager* sm = m_shape == SHAPE_FULL ? m_pStateManager : nullptr;
    if (sm != nullptr) {
        conditions.segment = sm->IsSegmentMode();
        conditions.claimed = sm->GetMotionSensorState() == StateManager::kSensorClaimed;
        conditions.countryListed = sm->isKPITargetCountry();
        conditions.country = ValidCountry(sm->GetCountryCode());
        conditions.boot = sm->isPresenceModeForcedOnBoot();
        conditions.kivApp = sm->isKivMode();
        conditions.netflix = sm->isNetflix();
        conditions.agreed = sm->isKPIAgreed();
        conditions.presenceFailed = sm->isPresenceReadFailure();
        conditions.landscape = sm->isLandscapeMode();
        conditions.subscribed = sm->HasSegmentSubscription();

        snapshot.streaming = sm->IsStreaming();
        snapshot.sensorClaimed = conditions.claimed;
        snapshot.usageStatistics = sm->HasKPIManager();
        snapshot.country = conditions.country;
        snapshot.countryListed = conditions.countryListed;
        snapshot.statisticsAgreed = conditions.agreed;
    }
    if (m_shape == SHAPE_FULL && m_pDispatcher != nullptr) {
        snapshot.subscribers = static_cast<uint32_t>(m_pDispatcher->GetSubscribeCount());
    }
    StatusReason::Describe(m_shape, conditions, &snapshot);
    return snapshot;
}

int64_t CServiceStatus::GetLastPresenceTimeUs() {
    return m_pStateManager != nullptr ? m_pStateManager->GetLastPresenceTimeUs() : 0;
}

int64_t CServiceStatus::GetLastResultTimeUs() {
    return m_pStateManager != nullptr ? ActivitySegment::GetLastResultTimeUs() : 0;
}
