#include "StateManager.h"

#include <stdlib.h>
#include <string.h>

#include "ContextAutoLock.h"
#include "ContextData.h"
#include "ContextLog.h"
#include "ContextThread.h"
#include "DLFDataCollector.h"
#include "IStatusListener.h"
#include "KPIManager.h"
#include "ModeTimer.h"
#include "PresenceMode.h"
#include "SegmentMode.h"

namespace {

const char kKeyMotionSensor[] = "memory/motion-sensor-service/motion_sensor_state";
const char kKeyRotation[] = "db/sysman/rotation_state";
const char kKeyDisclaimAgrees[] = "db/homedatacontrol/disclaimeragrees";
const char kKeyCountry[] = "db/comss/countrycode";

const char kKivApp[] = "org.tizen.kiv-app";
const char kNetflixApp[] = "org.tizen.netflix-app";

// Countries whose usage statistics are collected, by the first two characters
// of the country code. "AA" is no country; it stays on the list on purpose.
const char* const kKPICountries[] = {"KR", "US", "GB", "FR", "DE", "IT", "ES", "AA"};

void _OnSensorVconfChangeCb(keynode_t* node, void* user) {
    static_cast<StateManager*>(user)->OnVconfChangeCb(node);
}

void _OnRotationStateVconfChangeCb(keynode_t* node, void* user) {
    static_cast<StateManager*>(user)->OnVconfChangeCb(node);
}

void _OnDisclaimAgreesVconfChangeCb(keynode_t* node, void* user) {
    static_cast<StateManager*>(user)->OnVconfChangeCb(node);
}

void _OnCountryVconfChangeCb(keynode_t* node, void* user) {
    static_cast<StateManager*>(user)->OnVconfChangeCb(node);
}

void _StateManagerAppSessionChangeCB(AppSessionInfo* current, AppSessionInfo* previous,
                                     void* user) {
    static_cast<StateManager*>(user)->StateManagerAppSessionChangeCB(current, previous);
}

}  // namespace

StateManager::StateManager()
    : m_pThread(nullptr),
      m_bRunning(false),
      m_nMotionSensorState(kSensorNormal),
      m_nRotationState(1),
      m_bKPIAgreed(false),
      m_bPresenceModeForcedOnBoot(false),
      m_bKivMode(false),
      m_bNetflix(false),
      m_bKPITargetCountry(false),
      m_bPresenceReadFailure(false),
      m_pPresenceMode(nullptr),
      m_pSegmentMode(nullptr),
      m_pCurrentMode(nullptr),
      m_bSegmentMode(false),
      m_nPassState(-1),
      m_pStatusListener(nullptr),
      m_pModeChangeTimer(nullptr),
      m_pBootTimer(nullptr),
      m_pDLFDataCollector(nullptr),
      m_pKPIManager(nullptr),
      m_nDeleteSource(0) {
    g_mutex_init(&m_appLock);
    g_mutex_init(&m_kpiLock);
    g_mutex_init(&m_countryLock);
    m_pPresenceMode = new PresenceMode(this);
    m_pSegmentMode = new SegmentMode(this);

    int rotation = 0;
    if (vconf_get_int(kKeyRotation, &rotation) != VCONF_OK) {
        KAE_LOGE("vconf_get_int(VCONF_KEY_ROTATION_STATE) fail .. ");
        rotation = 1;
    } else {
        KAE_LOGI("vconf_get_int(VCONF_KEY_ROTATION_STATE) succeeded : %d", rotation);
    }
    m_nRotationState = rotation;
    vconf_notify_key_changed(kKeyRotation, _OnRotationStateVconfChangeCb, this);

    m_bKPITargetCountry = false;
    m_bPresenceReadFailure = false;
    if (char* country = vconf_get_str(kKeyCountry)) {
        KAE_LOGI("vconf_get_str(VCONF_KEY_COUNTRY) succeeded : %s", country);
        m_bKPITargetCountry = _IsKPITargetCountry(country);
        _SetCountryCode(country);
        free(country);
    } else {
        KAE_LOGE("vconf_get_str(VCONF_KEY_COUNTRY) fail .. ");
    }
    vconf_notify_key_changed(kKeyCountry, _OnCountryVconfChangeCb, this);

    if (char* agrees = vconf_get_str(kKeyDisclaimAgrees)) {
        KAE_LOGI("vconf_get_str(VCONF_KEY_DISCLAIM_AGREES) succeeded : %s", agrees);
        m_bKPIAgreed = CheckKPIAgreement(agrees);
        free(agrees);
    } else {
        KAE_LOGE("vconf_get_str(VCONF_KEY_DISCLAIM_AGREES) fail .. ");
        m_bKPIAgreed = false;
    }
    vconf_notify_key_changed(kKeyDisclaimAgrees, _OnDisclaimAgreesVconfChangeCb, this);

    m_pCurrentMode = m_pPresenceMode;
    m_pModeChangeTimer = new ModeTimer();
    m_bPresenceModeForcedOnBoot = true;
    m_pBootTimer = new ModeTimer();
    {
        ContextAutoLock lock(&m_appLock);
        m_bKivMode = false;
    }

    m_pDLFDataCollector = new DLFDataCollector();
    m_pDLFDataCollector->RegisterAppSessionCB(_StateManagerAppSessionChangeCB, this);
    m_pDLFDataCollector->Start();

    if (m_bKPITargetCountry && m_bKPIAgreed) {
        _CreateKPIManager();
    }

    int state = kSensorNormal;
    if (vconf_get_int(kKeyMotionSensor, &state) == VCONF_OK) {
        KAE_LOGI("vconf_get_int(VCONF_KEY_MOTION_SENSOR_ACCESSIBLE) succeeded : %d", state);
    } else {
        KAE_LOGE("vconf_get_int(VCONF_KEY_MOTION_SENSOR_ACCESSIBLE) fail .. ");
        state = kSensorNormal;
    }
    m_nMotionSensorState = state;
    vconf_notify_key_changed(kKeyMotionSensor, _OnSensorVconfChangeCb, this);
}

StateManager::~StateManager() {
    {
        ContextAutoLock lock(&m_kpiLock);
        delete m_pKPIManager;
        m_pKPIManager = nullptr;
        _DeleteDetachedLocked();
        if (m_nDeleteSource != 0) {
            g_source_remove(m_nDeleteSource);
            m_nDeleteSource = 0;
        }
    }
    delete m_pModeChangeTimer;
    delete m_pSegmentMode;
    delete m_pPresenceMode;
    delete m_pBootTimer;
    if (m_pDLFDataCollector != nullptr) {
        m_pDLFDataCollector->Stop();
        delete m_pDLFDataCollector;
    }
    // Stop() leaves the country watched; a notification must not reach a
    // deleted object. Removing what Stop() already removed is harmless.
    vconf_ignore_key_changed(kKeyCountry, _OnCountryVconfChangeCb);
    vconf_ignore_key_changed(kKeyMotionSensor, _OnSensorVconfChangeCb);
    vconf_ignore_key_changed(kKeyRotation, _OnRotationStateVconfChangeCb);
    vconf_ignore_key_changed(kKeyDisclaimAgrees, _OnDisclaimAgreesVconfChangeCb);
    g_mutex_clear(&m_countryLock);
    g_mutex_clear(&m_kpiLock);
    g_mutex_clear(&m_appLock);
}

bool StateManager::Start(const char* name) {
    (void)name;
    if (m_bRunning) {
        KAE_LOGE("Already Started");
        return false;
    }
    m_bRunning = true;
    m_pThread = ContextThreadCreate(Thread, this);
    if (m_pThread == nullptr) {
        m_bRunning = false;
        return false;
    }
    return true;
}

bool StateManager::Stop() {
    if (!m_bRunning) {
        KAE_LOGE("Already Stopped");
        return false;
    }
    m_bRunning = false;
    g_thread_join(m_pThread);
    m_pThread = nullptr;
    m_pCurrentMode->Pause();
    vconf_ignore_key_changed(kKeyMotionSensor, _OnSensorVconfChangeCb);
    vconf_ignore_key_changed(kKeyRotation, _OnRotationStateVconfChangeCb);
    vconf_ignore_key_changed(kKeyDisclaimAgrees, _OnDisclaimAgreesVconfChangeCb);
    return true;
}

gpointer StateManager::Thread(gpointer self) {
    static_cast<StateManager*>(self)->Run();
    return nullptr;
}

void StateManager::Run() {
    m_pCurrentMode->Init();
    if (!m_bRunning) {
        return;
    }
    bool claimed = false;
    while (m_bRunning) {
        _RunPass(&claimed);
        _NotifyPassChanges();
    }
}

void StateManager::_NotifyPassChanges() {
    m_bSegmentMode = m_pCurrentMode == m_pSegmentMode;
    // What a pass can change by itself; everything else changes on the main
    // thread, which tells the listener there.
    const int state = (m_bSegmentMode ? 1 : 0) | (IsStreaming() ? 2 : 0) |
                      (m_bPresenceModeForcedOnBoot ? 4 : 0) | (m_bPresenceReadFailure ? 8 : 0);
    if (state != m_nPassState) {
        m_nPassState = state;
        _NotifyStatus();
    }
}

void StateManager::_NotifyStatus() {
    IStatusListener* listener = m_pStatusListener.load();
    if (listener != nullptr) {
        listener->OnStatusChanged();
    }
}

std::string StateManager::GetCountryCode() {
    ContextAutoLock lock(&m_countryLock);
    return m_countryCode;
}

void StateManager::_SetCountryCode(const char* code) {
    ContextAutoLock lock(&m_countryLock);
    m_countryCode = code != nullptr ? code : "";
}

void StateManager::_RunPass(bool* claimed) {
    if (m_bPresenceModeForcedOnBoot && m_pBootTimer->GetElapsedTime().sec >= kBootPeriodSec) {
        KAE_LOGI("boot period over: presence mode no longer forced");
        m_bPresenceModeForcedOnBoot = false;
        delete m_pBootTimer;
        m_pBootTimer = nullptr;
    }

    if (m_nMotionSensorState == kSensorNormal) {
        if (*claimed) {
            // The sensor has just been given back: normal switching resumes
            // with a full presence period.
            m_pModeChangeTimer->RecordTime();
            if (m_pCurrentMode == m_pSegmentMode) {
                KAE_LOGI("SegmentMode -> PresenceMode");
                NotifyModeChange(SEGMENT_TO_PRESENCE);
                m_activitySegment.StopSensor();
                m_pCurrentMode = m_pPresenceMode;
            } else if (m_pCurrentMode != m_pPresenceMode) {
                KAE_LOGE("unknown");
            }
            *claimed = false;
        }
        m_pCurrentMode->Run();
        m_pCurrentMode->UpdateStat();
        m_pCurrentMode = m_pCurrentMode->GetNextMode();
        return;
    }

    if (!*claimed) {
        // Pausing segment mode stops the radar already; the switch itself
        // sends no statistics notice, by design.
        m_pCurrentMode->Pause();
        if (m_pCurrentMode != m_pPresenceMode) {
            m_pCurrentMode = m_pPresenceMode;
        }
        if (vconf_set_int(kKeyMotionSensor, kSensorClaimAnswered) != VCONF_OK) {
            KAE_LOGE("vconf_get_int(VCONF_KEY_MOTION_SENSOR_ACCESSABLE) fail .. ");
        }
    }
    // While the sensor is claimed the service stays in presence mode.
    m_pCurrentMode->Run();
    m_pCurrentMode->UpdateStat();
    *claimed = true;
}

bool StateManager::PushEvent(int id, void* data, int priority) {
    return m_pSegmentMode->PushEvent(id, data, priority);
}

int StateManager::UpdateStat(int item, double value) {
    ContextAutoLock lock(&m_kpiLock);
    if (m_pKPIManager != nullptr) {
        m_pKPIManager->UpdateStat(item, value);
    }
    return 0;
}

void StateManager::UpdateStat(void* record) {
    ContextAutoLock lock(&m_kpiLock);
    if (m_pKPIManager != nullptr) {
        m_pKPIManager->UpdateStat(record);
    } else {
        free(record);
    }
}

void StateManager::NotifyModeChange(MODE_CHANGE_TYPE type) {
    ContextAutoLock lock(&m_kpiLock);
    if (m_pKPIManager != nullptr) {
        m_pKPIManager->NotifyModeChange(type);
    }
}

bool StateManager::HasKPIManager() {
    ContextAutoLock lock(&m_kpiLock);
    return m_pKPIManager != nullptr;
}

void StateManager::_CreateKPIManager() {
    ContextAutoLock lock(&m_kpiLock);
    if (m_pKPIManager == nullptr) {
        m_pKPIManager = new KPIManager();
        m_pKPIManager->InitDLFDataCollector(m_pDLFDataCollector);
    }
}

bool StateManager::deleteKPIManager() {
    ContextAutoLock lock(&m_kpiLock);
    if (m_pKPIManager == nullptr) {
        return true;
    }
    if (g_main_context_is_owner(nullptr)) {
        delete m_pKPIManager;
        m_pKPIManager = nullptr;
        return true;
    }
    // Its collector callback runs on the main thread, so that is where it
    // goes; until then nobody feeds it, and it sends nothing.
    m_pKPIManager->Detach();
    m_detachedKPIManagers.push_back(m_pKPIManager);
    m_pKPIManager = nullptr;
    if (m_nDeleteSource == 0) {
        m_nDeleteSource = g_idle_add(_DeleteDetachedKPIManager, this);
    }
    return true;
}

void StateManager::_DeleteDetachedLocked() {
    for (KPIManager* manager : m_detachedKPIManagers) {
        delete manager;
    }
    m_detachedKPIManagers.clear();
}

gboolean StateManager::_DeleteDetachedKPIManager(gpointer self) {
    auto* manager = static_cast<StateManager*>(self);
    ContextAutoLock lock(&manager->m_kpiLock);
    manager->_DeleteDetachedLocked();
    manager->m_nDeleteSource = 0;
    return G_SOURCE_REMOVE;
}

bool StateManager::CheckKPIAgreement(const char* json) {
    if (json == nullptr) {
        return false;
    }
    ContextData agreement;
    if (!agreement.MakeData(json)) {
        return false;
    }
    return agreement.GetValueStr("presence") == "true";
}

void StateManager::SetActivitySegment(ActivitySegment* activitySegment) {
    m_activitySegment.Set(activitySegment);
    m_pPresenceMode->SetActivitySegment(activitySegment);
    m_pSegmentMode->SetActivitySegment(activitySegment);
}

bool StateManager::isKivMode() {
    ContextAutoLock lock(&m_appLock);
    return m_bKivMode;
}

bool StateManager::isNetflix() {
    ContextAutoLock lock(&m_appLock);
    return m_bNetflix;
}

void StateManager::StateManagerAppSessionChangeCB(AppSessionInfo* current,
                                                  AppSessionInfo* previous) {
    (void)previous;
    if (current == nullptr) {
        return;
    }
    {
        ContextAutoLock lock(&m_appLock);
        m_bKivMode = current->appId == kKivApp;
        KAE_LOGI("StateManagerAppSessionChangeCB(Kivapp) : %d", m_bKivMode);
        m_bNetflix = current->appId == kNetflixApp;
        KAE_LOGI("StateManagerAppSessionChangeCB(Netlfix) : %d", m_bNetflix);
    }
    _NotifyStatus();
}

bool StateManager::_IsKPITargetCountry(const char* code) {
    for (const char* country : kKPICountries) {
        if (strncmp(code, country, 2) == 0) {
            return true;
        }
    }
    return false;
}

void StateManager::OnVconfChangeCb(keynode_t* node) {
    const char* name = vconf_keynode_get_name(node);
    if (name == nullptr) {
        KAE_LOGE("vconf_keynode_get_name is NULL");
        return;
    }
    if (strcmp(name, kKeyMotionSensor) == 0) {
        _OnMotionSensorChanged(vconf_keynode_get_int(node));
    } else if (strcmp(name, kKeyRotation) == 0) {
        const int rotation = vconf_keynode_get_int(node);
        KAE_LOGI("VCONF_KEY_ROTATION_STATE changed : %d -> %d", m_nRotationState.load(), rotation);
        m_nRotationState = rotation;
    } else if (strcmp(name, kKeyDisclaimAgrees) == 0) {
        _OnAgreementChanged(vconf_keynode_get_str(node));
    } else if (strcmp(name, kKeyCountry) == 0) {
        _OnCountryChanged(vconf_keynode_get_str(node));
    } else {
        return;
    }
    _NotifyStatus();
}

void StateManager::_OnMotionSensorChanged(int value) {
    KAE_LOGI("vconf changed : %d, current state : %d", value, m_nMotionSensorState.load());
    if (value == kSensorNormal || value == kSensorClaimed) {
        m_nMotionSensorState = value;
    } else if (value != kSensorClaimAnswered) {
        // The service's own answer (1) is not news; anything else is wrong.
        KAE_LOGE("invalid vconf value");
    }
}

void StateManager::_OnAgreementChanged(const char* text) {
    KAE_LOGI("VCONF_KEY_DISCLAIM_AGREES changed: %s", text != nullptr ? text : "(null)");
    const bool agreed = CheckKPIAgreement(text);
    if (m_bKPIAgreed && !agreed) {
        deleteKPIManager();
    } else if (!m_bKPIAgreed && agreed && m_bKPITargetCountry) {
        _CreateKPIManager();
    }
    m_bKPIAgreed = agreed;
}

void StateManager::_OnCountryChanged(const char* code) {
    KAE_LOGI("VCONF_KEY_COUNTRY changed: %s", code != nullptr ? code : "(null)");
    _SetCountryCode(code);
    if (code != nullptr && _IsKPITargetCountry(code)) {
        if (!m_bKPITargetCountry) {
            m_bKPITargetCountry = true;
            if (m_bKPIAgreed) {
                _CreateKPIManager();
            }
        }
    } else {
        if (m_bKPITargetCountry) {
            deleteKPIManager();
        }
        m_bKPITargetCountry = false;
    }
}
