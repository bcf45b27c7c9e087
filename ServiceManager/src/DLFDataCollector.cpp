#include "DLFDataCollector.h"

#include <DSF.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <system_settings.h>

#include "ContextAutoLock.h"
#include "ContextData.h"
#include "ContextLog.h"

const std::vector<std::string> g_vSubject = {
    "P/App/Change",
    "P/Source/Status",
    "P/Source/Hdmi/PortStatus",
    "P/Broadcast/Program/Change",
    "P/Broadcast/Status/Changed",
    "P/Broadcast/Source/Changed",
    "P/Time/Valid",
    "P/Policy/ViewingPolicy",
};

namespace {

const char kReadyKey[] = "memory/data-service/ready";
const char kLastServiceKey[] = "memory/brix/last_service";
const char kTvViewer[] = "org.tizen.tv-viewer";

const char kAppCurrent[] = "R/App/Current";
const char kSourceStatus[] = "R/Source/Status";
const char kBroadcastCurrent[] = "R/Broadcast/Program/Current";
const char kBroadcastStatusCurrent[] = "R/Broadcast/Status/Current";
const char kHdmiPortStatus[] = "R/Source/Hdmi/PortStatus";
const char kTimeValid[] = "R/Time/Valid";
const char kTimeCurrent[] = "R/Time/Current";
const char kTimeSaved[] = "R/Time/Saved";
const char kViewingPolicy[] = "R/Policy/ViewingPolicy";
const char kVoicePolicy[] = "R/Policy/VoicePolicy";
const char kPowerReset[] = "R/Power/Reset";

const int kHdmiPortCount = 6;
const int kResultNotReady = -5;

// What the source-type setting says when it cannot be read: the fallback
// word and the reason, run together.
const char kUnknownSourceText[] = "Unknownsystem_settings sourcetype is invalid";
// "SOURCE_TYPE_" in front of every source-type value.
const size_t kSourceTypePrefixLength = 12;

bool IsSubject(const char* subject, const char* a, const char* b = nullptr) {
    return strcmp(subject, a) == 0 || (b != nullptr && strcmp(subject, b) == 0);
}

const char* Printable(const char* text) {
    return text != nullptr ? text : "(null)";
}

}  // namespace

DLFDataCollector::DLFDataCollector()
    : m_bStarted(false), m_bTimeValid(false), m_bViewingPolicy(false) {
    g_mutex_init(&m_mutex);
}

DLFDataCollector::~DLFDataCollector() {
    // A readiness watch left behind would call into a freed collector.
    vconf_ignore_key_changed(kReadyKey, _OnVconfChangeCb);
    {
        ContextAutoLock lock(&m_mutex);
        m_listAppSessionCB.clear();
        m_curSession = AppSessionInfo();
    }
    g_mutex_clear(&m_mutex);
}

int DLFDataCollector::Start() {
    int ready = -1;
    if (vconf_get_int(kReadyKey, &ready) != VCONF_OK) {
        KAE_LOGE("vconf_get_int(VCONF_KEY_DLF_SERVICE_READY) fail .. ");
        return kResultNotReady;
    }
    if (ready != 1) {
        KAE_LOGE("DLF Service is not ready .. need to check this vconf key changed");
        vconf_notify_key_changed(kReadyKey, _OnVconfChangeCb, this);
        return 0;
    }
    KAE_LOGI("DLF Service is ready .. Start DLFDataCollector ");
    _InitializeCollector();
    return 0;
}

void DLFDataCollector::Stop() {
    m_bStarted = false;
    // A collector that was still waiting must not come back to life when the
    // data service turns ready after all.
    vconf_ignore_key_changed(kReadyKey, _OnVconfChangeCb);
    _UnsubscribeSubjects();
}

void DLFDataCollector::RegisterAppSessionCB(AppSessionCB callback, void* user) {
    ContextAutoLock lock(&m_mutex);
    for (const CallbackEntry& entry : m_listAppSessionCB) {
        if (entry.callback == callback && entry.user == user) {
            KAE_LOGI("Already registered");
            return;
        }
    }
    m_listAppSessionCB.push_back({callback, user});
}

void DLFDataCollector::UnregisterAppSessionCB(AppSessionCB callback, void* user) {
    ContextAutoLock lock(&m_mutex);
    for (auto it = m_listAppSessionCB.begin(); it != m_listAppSessionCB.end(); ++it) {
        if (it->callback == callback && it->user == user) {
            m_listAppSessionCB.erase(it);
            return;
        }
    }
}

AppSessionInfo DLFDataCollector::GetAppSessionInfo() {
    ContextAutoLock lock(&m_mutex);
    return m_curSession;
}

void DLFDataCollector::SubscribeCb(int result, const char* subject, char* data, void* user) {
    (void)user;
    if (!m_bStarted) {
        KAE_LOGE("DLFDataCollector is Stopped!!!! (%s)", Printable(subject));
        return;
    }
    if (subject == nullptr || data == nullptr) {
        KAE_LOGE("Invalid subject(%s) or data(%s)", Printable(subject), Printable(data));
        return;
    }
    KAE_LOGI("Result(%d)/Subject(%s)", result, subject);
    KAE_LOGI("Data = %s", data);
    if (result != 0) {
        KAE_LOGE("Error occured, cannot publish[%s]error_code[%d]", subject, result);
        return;
    }
    ContextData json;
    if (!json.MakeData(data)) {
        KAE_LOGE("Json Parsing Failed");
        return;
    }

    if (IsSubject(subject, kAppCurrent, "P/App/Change")) {
        _OnAppChange(json);
    } else if (IsSubject(subject, kBroadcastCurrent, "P/Broadcast/Program/Change") ||
               IsSubject(subject, "P/Broadcast/Status/Changed", "P/Broadcast/Source/Changed")) {
        _OnSourceChange(json);
    } else if (IsSubject(subject, kSourceStatus, "P/Source/Status")) {
        // Read on demand when a device name is needed.
    } else if (IsSubject(subject, kTimeValid, "P/Time/Valid")) {
        m_bTimeValid = json.GetValueInt("valid") == 1;
    } else if (IsSubject(subject, kViewingPolicy, "P/Policy/ViewingPolicy")) {
        m_bViewingPolicy = json.GetValueInt("state") == 1;
    }
}

void DLFDataCollector::OnVconfChangeCb(keynode_t* node) {
    const char* name = vconf_keynode_get_name(node);
    if (name == nullptr) {
        KAE_LOGE("vconf_keynode_get_name is NULL");
        return;
    }
    if (strcmp(name, kReadyKey) != 0 || vconf_keynode_get_int(node) != 1 || m_bStarted) {
        return;
    }
    KAE_LOGE("vconf key is changed, DLF service start ..");
    _InitializeCollector();
    vconf_ignore_key_changed(kReadyKey, _OnVconfChangeCb);
}

void DLFDataCollector::_SubscribeCb(int result, const char* subject, char* data, void* user) {
    static_cast<DLFDataCollector*>(user)->SubscribeCb(result, subject, data, user);
}

void DLFDataCollector::_OnVconfChangeCb(keynode_t* node, void* user) {
    static_cast<DLFDataCollector*>(user)->OnVconfChangeCb(node);
}

void DLFDataCollector::_InitializeCollector() {
    m_bStarted = true;
    _SubscribeSubjects();
    _RequestInitialData();
}

void DLFDataCollector::_SubscribeSubjects() {
    for (const std::string& subject : g_vSubject) {
        int ret = DSF_Subscribe(subject.c_str(), _SubscribeCb, this);
        if (ret == 0) {
            KAE_LOGI("Subscribe Success[%s]", subject.c_str());
        } else {
            KAE_LOGI("Subscribe Error[%s] Result = %d", subject.c_str(), ret);
        }
    }
}

void DLFDataCollector::_UnsubscribeSubjects() {
    for (const std::string& subject : g_vSubject) {
        int ret = DSF_UnSubscribe(subject.c_str());
        if (ret == 0) {
            KAE_LOGI("Unsubscribe Success[%s]", subject.c_str());
        } else {
            KAE_LOGI("Unsubscribe Error[%s] Result = %d", subject.c_str(), ret);
        }
    }
}

void DLFDataCollector::_RequestInitialData() {
    int ret = DSF_Read_Async(kAppCurrent, nullptr, _SubscribeCb, this);
    KAE_LOGD("DLF_SUBJECT_APP_CURRENT_R ret = %d", ret);
    ret = DSF_Read_Async(kSourceStatus, nullptr, _SubscribeCb, this);
    KAE_LOGD("DLF_SUBJECT_SOURCE_STATUS_R ret = %d", ret);
    ret = DSF_Read_Async(kBroadcastCurrent, nullptr, _SubscribeCb, this);
    KAE_LOGD("DLF_SUBJECT_BROADCAST_CURRENT_R ret = %d", ret);
    ret = DSF_Read_Async(kBroadcastStatusCurrent, nullptr, _SubscribeCb, this);
    KAE_LOGD("DLF_SUBJECT_BROADCAST_STATUS_CURRENT_R ret = %d", ret);
    for (int port = 1; port <= kHdmiPortCount; ++port) {
        char flagKey[64];
        snprintf(flagKey, sizeof(flagKey), "db/device-detector-service/port%d_change_flag", port);
        ret = DSF_Read_Async(kHdmiPortStatus, flagKey, _SubscribeCb, this);
        KAE_LOGI("DLF_SUBJECT_SOURCE_HDMI_PORTSTATUS_R(HDMI%d) ret = %d", port, ret);
    }
    ret = DSF_Read_Async(kTimeValid, nullptr, _SubscribeCb, this);
    KAE_LOGI("DLF_SUBJECT_TIME_VALID_R ret = %d", ret);
    ret = DSF_Read_Async(kTimeCurrent, nullptr, _SubscribeCb, this);
    KAE_LOGI("DLF_SUBJECT_TIME_CURRENT_R ret = %d", ret);
    ret = DSF_Read_Async(kTimeSaved, nullptr, _SubscribeCb, this);
    KAE_LOGI("DLF_SUBJECT_TIME_SAVED_R ret = %d", ret);
    ret = DSF_Read_Async(kViewingPolicy, nullptr, _SubscribeCb, this);
    KAE_LOGI("DLF_SUBJECT_POLICY_VIEWING_R ret = %d", ret);
    ret = DSF_Read_Async(kVoicePolicy, nullptr, _SubscribeCb, this);
    KAE_LOGI("DLF_SUBJECT_POLICY_VOICE_R ret = %d", ret);
    ret = DSF_Read_Async(kPowerReset, nullptr, _SubscribeCb, this);
    KAE_LOGI("DLF_SUBJECT_POWER_RESET_R ret = %d", ret);
}

void DLFDataCollector::_OnAppChange(ContextData& json) {
    if (json.GetValueStr("EventType") == "Partial") {
        return;
    }
    AppSessionInfo session;
    session.appId = json.GetValueStr("AppId");
    session.source = _GetTVViewerSource();
    session.deviceName = _GetDeviceName(session.appId, session.source);
    _ChangeSession(&session);
}

void DLFDataCollector::_OnSourceChange(ContextData& json) {
    if (json.GetValueStr("TVSStatus") == "Deactivate") {
        return;
    }
    AppSessionInfo session;
    std::string currentSource;
    {
        ContextAutoLock lock(&m_mutex);
        session.appId = m_curSession.appId;
        currentSource = m_curSession.source;
    }
    session.source = _GetTVViewerSource();
    session.deviceName = _GetDeviceName(session.appId, session.source);
    if (session.source == currentSource) {
        return;
    }
    _ChangeSession(&session);
}

void DLFDataCollector::_ChangeSession(AppSessionInfo* newSession) {
    AppSessionInfo previous;
    std::vector<CallbackEntry> callbacks;
    {
        ContextAutoLock lock(&m_mutex);
        bool equal;
        if (newSession->appId != kTvViewer && m_curSession.appId != kTvViewer) {
            equal = newSession->appId == m_curSession.appId;
        } else {
            equal = newSession->appId == m_curSession.appId &&
                    newSession->source == m_curSession.source;
        }
        if (equal) {
            KAE_LOGE("equal");
            return;
        }
        previous = m_curSession;
        callbacks = m_listAppSessionCB;
    }

    _UpdateAppSessionInfo(newSession);
    KAE_LOGE("NotifyAppSessionInfo");
    // The callbacks run without the lock (they may ask for the session), on
    // copies, so the current session stays the old one until all have seen
    // the change.
    AppSessionInfo current = *newSession;
    for (const CallbackEntry& entry : callbacks) {
        entry.callback(&current, &previous, entry.user);
    }

    ContextAutoLock lock(&m_mutex);
    m_curSession.appId = newSession->appId;
    m_curSession.source = newSession->source;
    m_curSession.deviceName = newSession->deviceName;
    _UpdateAppSessionInfo(&m_curSession);
}

std::string DLFDataCollector::_GetTVViewerSource() {
    char* value = nullptr;
    int ret = system_settings_get_value_string(SYSTEM_SETTINGS_KEY_SOURCE_TYPE, &value);
    std::string sourceType;
    if (ret == SYSTEM_SETTINGS_ERROR_NONE && value != nullptr) {
        sourceType = value;
    }
    if (ret == SYSTEM_SETTINGS_ERROR_NONE) {
        free(value);
    }
    if (sourceType.empty()) {
        KAE_LOGE("");
        return kUnknownSourceText;
    }

    if (sourceType == "SOURCE_TYPE_TV") {
        char* lastService = vconf_get_str(kLastServiceKey);
        if (lastService != nullptr) {
            std::string service = lastService;
            free(lastService);
            return service == "vc-service" ? "TV+" : "LiveTV";
        }
    }
    if (sourceType.size() > kSourceTypePrefixLength - 1) {
        return sourceType.substr(kSourceTypePrefixLength);
    }
    return "Unknown";
}

std::string DLFDataCollector::_GetDeviceName(const std::string& appId, const std::string& source) {
    if (appId != kTvViewer) {
        return "";
    }
    char* answer = nullptr;
    int ret = DSF_Read_Sync(kSourceStatus, nullptr, &answer);
    std::string deviceName;
    if (ret == DSF_OK && answer != nullptr && strcmp(answer, "{}") != 0) {
        ContextData status;
        if (status.MakeData(answer) && status.IsValid(source.c_str())) {
            deviceName = status.GetValue(source.c_str(), 0).GetValueStr("DeviceName");
        }
    }
    free(answer);
    return deviceName;
}

void DLFDataCollector::_UpdateAppSessionInfo(AppSessionInfo* session) {
    if (!session->source.empty() && session->appId == kTvViewer) {
        session->sessionName = session->appId + ":" + session->source;
    } else {
        session->sessionName = session->appId;
    }
    session->sessionDevice = session->deviceName;
}
