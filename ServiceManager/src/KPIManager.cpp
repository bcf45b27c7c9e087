#include "KPIManager.h"

#include <limits.h>
#include <math.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <new>

#include "ContextAutoLock.h"
#include "ContextClock.h"
#include "ContextData.h"
#include "ContextLog.h"
#include "ContextString.h"
#include "DLFDataCollector.h"
#include "KPILogger.h"

namespace {

// Floor of a measurement as a 32-bit integer. Values beyond the integer
// range saturate and NaN counts as the most negative value, so neither can
// land in a bin nor make the conversion undefined.
int FloorToInt(double value) {
    double f = floor(value);
    if (!(f >= static_cast<double>(INT_MIN))) {
        return INT_MIN;
    }
    if (f > static_cast<double>(INT_MAX)) {
        return INT_MAX;
    }
    return static_cast<int>(f);
}

// The angle sector of a whole-degree angle, -1 outside the grid. The
// outermost sector reaches one degree further (40..60) than the others.
int AngleSector(int degrees) {
    if (degrees < -60 || degrees > 60) {
        return -1;
    }
    if (degrees <= -41) {
        return 0;
    }
    if (degrees <= -21) {
        return 1;
    }
    if (degrees <= -1) {
        return 2;
    }
    if (degrees <= 19) {
        return 3;
    }
    if (degrees <= 39) {
        return 4;
    }
    return 5;
}

// Whole percent of count over denominator, truncated toward zero; 0 for an
// empty denominator. The product is formed wide so that no count can make
// it overflow.
int Percent(int count, int denominator) {
    if (denominator == 0) {
        return 0;
    }
    return static_cast<int>((static_cast<int64_t>(count) * 100) / denominator);
}

int Average(int sum, int periods) {
    return periods == 0 ? 0 : sum / periods;
}

int Sum(const int* values, int count) {
    int64_t sum = 0;
    for (int i = 0; i < count; ++i) {
        sum += values[i];
    }
    return sum > INT_MAX ? INT_MAX : static_cast<int>(sum);
}

timespec FromUs(int64_t us) {
    timespec ts;
    ts.tv_sec = static_cast<time_t>(us / 1000000);
    ts.tv_nsec = static_cast<long>((us % 1000000) * 1000);
    return ts;
}

timespec MonotonicNow() {
    return FromUs(ContextClock::MonotonicUs());
}

timespec WallNow() {
    return ContextClock::WallTimeSpec();
}

const char* TextOf(const AppSessionInfo* record, bool device) {
    if (record == nullptr) {
        return "";
    }
    return device ? record->sessionDevice.c_str() : record->sessionName.c_str();
}

}  // namespace

KPIManager::KPIManager() : pLogger(nullptr), pDLFDataCollector(nullptr), curTime{0, 0}, m_stats() {
    // Everything starts at zero (the session times too, for a report that
    // comes before the first session) until the first session begins.
    m_stats.isFirstSession = 1;
    g_mutex_init(&mutex);
    ResetAllMaps();
    pLogger = new (std::nothrow) KPILogger();
    if (pLogger == nullptr) {
        KAE_LOGE("Memory Allocation Failed");
    }
}

KPIManager::~KPIManager() {
    if (pDLFDataCollector != nullptr) {
        pDLFDataCollector->UnregisterAppSessionCB(_AppSessionChangeCB, this);
    }
    g_mutex_clear(&mutex);
    delete pLogger;
}

void KPIManager::InitDLFDataCollector(DLFDataCollector* collector) {
    pDLFDataCollector = collector;
    if (collector != nullptr) {
        collector->RegisterAppSessionCB(_AppSessionChangeCB, this);
    }
}

void KPIManager::Detach() {
    {
        ContextAutoLock lock(&mutex);
        m_detached = true;
    }
    // The pointer itself stays: the main thread may be reading the session
    // through it, and unregistering twice (again in the destructor) is
    // harmless.
    if (pDLFDataCollector != nullptr) {
        pDLFDataCollector->UnregisterAppSessionCB(_AppSessionChangeCB, this);
    }
}

void KPIManager::_AppSessionChangeCB(AppSessionInfo* first, AppSessionInfo* second, void* user) {
    static_cast<KPIManager*>(user)->AppSessionChangeCB(first, second);
}

void KPIManager::UpdateStat(int presence, double distance) {
    ContextAutoLock lock(&mutex);
    UpdateTempY(presence, distance);
}

void KPIManager::UpdateStat(void* data) {
    {
        ContextAutoLock lock(&mutex);
        UpdateTempSegment(data);
    }
    free(data);
}

void KPIManager::NotifyModeChange(MODE_CHANGE_TYPE mode) {
    ContextAutoLock lock(&mutex);
    if (m_detached) {
        return;
    }
    if (IsTimeout()) {
        UpdateFinalMaps(TIMEOUT, mode);
        ResetTempMaps();
        SendKPI(1);
        ResetAllMaps();
    } else {
        UpdateFinalMaps(MODE_CHANGE, mode);
        ResetTempMaps();
    }
}

void KPIManager::AppSessionChangeCB(AppSessionInfo* first, AppSessionInfo* second) {
    ContextAutoLock lock(&mutex);
    if (m_detached) {
        return;
    }
    if (m_stats.isFirstSession) {
        KAE_LOGI("[Init Started] %s(%s) -> %s(%s)", TextOf(second, false), TextOf(second, true),
                 TextOf(first, false), TextOf(first, true));
        m_stats.isFirstSession = 0;
        ResetAllMaps();
        m_stats.lastSendTime = MonotonicNow();
        m_stats.sessionStartTime = WallNow();
        m_stats.prevSessionStartTime = m_stats.sessionStartTime;
        return;
    }
    KAE_LOGI("[App Changed] %s(%s) -> %s(%s)", TextOf(second, false), TextOf(second, true),
             TextOf(first, false), TextOf(first, true));
    UpdateFinalMaps(APP_CHANGE, ALL_MODES);
    ResetTempMaps();
    // The report belongs to the session that just ended: its start time is
    // still the current one.
    SendKPI(0);
    ResetAllMaps();
    m_stats.lastSendTime = MonotonicNow();
    m_stats.prevSessionStartTime = m_stats.sessionStartTime;
    m_stats.sessionStartTime = WallNow();
}

KPIManager::Stats KPIManager::GetStats() const {
    ContextAutoLock lock(&mutex);
    return m_stats;
}

void KPIManager::UpdateTempY(int presence, double distance) {
    // Every sample counts, absent and failed reads too: they lower the
    // shares of the distances.
    ++m_stats.tempYCnt;
    if (presence != 1) {
        return;
    }
    int metres = FloorToInt(distance);
    if (static_cast<unsigned int>(metres) <= static_cast<unsigned int>(kYBins - 1)) {
        ++m_stats.tempYMap[metres];
    }
}

void KPIManager::UpdateTempSegment(void* data) {
    if (data == nullptr) {
        KAE_LOGI("Data is null");
        return;
    }
    ++m_stats.tempSegmentCnt;
    ++m_stats.tempResultCnt;

    ContextData document;
    bool ret = document.MakeData(static_cast<const char*>(data));
    if (!ret) {
        KAE_LOGE("ret : false");
    }
    // A view hands out the first element of "result", the result object.
    ContextData root(document.GetValue());
    ContextData result = root.GetValue("result");
    int count = result.GetSize("tracks");
    if (count < 1) {
        ++m_stats.tempTrackMap[0];
        ++m_stats.validTrackCnt;
        ++m_stats.tempTrackCnt;
        return;
    }

    int valid = 0;
    for (int i = 0; i < count; ++i) {
        ContextData track = result.GetValue("tracks", i);
        int id = track.GetValueInt("id");
        double range = track.GetValueDouble("range");
        if (id > 0 && FloorToInt(range) >= 0) {
            ++valid;
        } else {
            KAE_LOGE("Track id or range is wrong. Do not increase validTrackCnt.)");
        }
    }
    if (valid > kTrackBins - 1) {
        KAE_LOGE("Tracks size is wrong. Do not use all tracks(size : %d).", valid);
        return;
    }

    int placed = 0;
    for (int i = 0; i < count; ++i) {
        ContextData track = result.GetValue("tracks", i);
        int id = track.GetValueInt("id");
        double range = track.GetValueDouble("range");
        double angle = track.GetValueDouble("angle");
        int band = FloorToInt(range);
        if (id < 1 || band < 0) {
            KAE_LOGE("Track id or range is wrong. Do not use this track(id : %d, range : %5.2f).",
                     id, range);
            continue;
        }
        int sector = AngleSector(FloorToInt(angle));
        if (band <= kYBins - 1 && sector >= 0) {
            ++m_stats.tempXYMap[band * kAngleSectors + sector];
            ++placed;
        }
    }
    ++m_stats.tempTrackMap[placed];
    // The object-count shares are taken over tracks, not results.
    int weight = placed > 0 ? valid : 1;
    m_stats.validTrackCnt += weight;
    m_stats.tempTrackCnt += weight;
}

void KPIManager::UpdateFinalMaps(UPDATE_FINAL_TYPE type, MODE_CHANGE_TYPE mode) {
    switch (mode) {
        case PRESENCE_TO_SEGMENT:
        case PRESENCE_TO_PRESENCE:
            UpdateFinalY();
            break;
        case SEGMENT_TO_PRESENCE:
        case SEGMENT_TO_SEGMENT:
            UpdateFinalXY(type);
            UpdateFinalTrack(type);
            break;
        case ALL_MODES:
            UpdateFinalY();
            UpdateFinalXY(type);
            UpdateFinalTrack(type);
            break;
        default:
            break;
    }
}

void KPIManager::UpdateFinalY() {
    // An empty period counts too and pulls the averages down.
    ++m_stats.finalYCnt;
    for (int i = 0; i < kYBins; ++i) {
        int pct = Percent(m_stats.tempYMap[i], m_stats.tempYCnt);
        m_stats.periodYMap[i] = pct;
        m_stats.finalYMap[i] += pct;
    }
}

void KPIManager::UpdateFinalXY(int type) {
    if (m_stats.finalXYCnt == 0 && type == APP_CHANGE) {
        KAE_LOGI("App Changed Before Entering Segment Mode.");
    } else {
        ++m_stats.finalXYCnt;
    }
    for (int i = 0; i < kXYBins; ++i) {
        int pct = Percent(m_stats.tempXYMap[i], m_stats.validTrackCnt);
        m_stats.periodXYMap[i] = pct;
        m_stats.finalXYMap[i] += pct;
    }
}

void KPIManager::UpdateFinalTrack(int type) {
    if (m_stats.finalTrackCnt == 0 && type == APP_CHANGE) {
        KAE_LOGI("App Changed Before Entering Segment Mode.");
    } else {
        ++m_stats.finalTrackCnt;
    }
    for (int i = 0; i < kTrackBins; ++i) {
        int pct = Percent(m_stats.tempTrackMap[i], m_stats.tempTrackCnt);
        m_stats.periodTrackMap[i] = pct;
        m_stats.finalTrackMap[i] += pct;
    }
}

void KPIManager::UpdateSendY() {
    for (int i = 0; i < kYBins; ++i) {
        m_stats.sendYMap[i] = Average(m_stats.finalYMap[i], m_stats.finalYCnt);
    }
}

void KPIManager::UpdateSendXY() {
    for (int i = 0; i < kXYBins; ++i) {
        m_stats.sendXYMap[i] = Average(m_stats.finalXYMap[i], m_stats.finalXYCnt);
    }
}

void KPIManager::UpdateSendTrack() {
    for (int i = 0; i < kTrackBins; ++i) {
        m_stats.sendTrackMap[i] = Average(m_stats.finalTrackMap[i], m_stats.finalTrackCnt);
    }
}

void KPIManager::ResetTempMaps() {
    memset(m_stats.tempYMap, 0, sizeof(m_stats.tempYMap));
    memset(m_stats.tempXYMap, 0, sizeof(m_stats.tempXYMap));
    memset(m_stats.tempTrackMap, 0, sizeof(m_stats.tempTrackMap));
    m_stats.tempYCnt = 0;
    m_stats.tempSegmentCnt = 0;
    m_stats.validTrackCnt = 0;
    m_stats.tempResultCnt = 0;
    m_stats.tempTrackCnt = 0;
}

void KPIManager::ResetAllMaps() {
    ResetTempMaps();
    memset(m_stats.finalYMap, 0, sizeof(m_stats.finalYMap));
    memset(m_stats.finalXYMap, 0, sizeof(m_stats.finalXYMap));
    memset(m_stats.finalTrackMap, 0, sizeof(m_stats.finalTrackMap));
    memset(m_stats.periodYMap, 0, sizeof(m_stats.periodYMap));
    memset(m_stats.periodXYMap, 0, sizeof(m_stats.periodXYMap));
    memset(m_stats.periodTrackMap, 0, sizeof(m_stats.periodTrackMap));
    memset(m_stats.sendYMap, 0, sizeof(m_stats.sendYMap));
    memset(m_stats.sendXYMap, 0, sizeof(m_stats.sendXYMap));
    memset(m_stats.sendTrackMap, 0, sizeof(m_stats.sendTrackMap));
    m_stats.finalYCnt = 0;
    m_stats.finalXYCnt = 0;
    m_stats.finalTrackCnt = 0;
}

bool KPIManager::IsTimeout() {
    curTime = MonotonicNow();
    // Whole seconds only; a due check starts the next period itself.
    if (curTime.tv_sec - m_stats.lastSendTime.tv_sec < kReportPeriodSec) {
        return false;
    }
    m_stats.lastSendTime = curTime;
    return true;
}

std::string KPIManager::MakeKPIString(int reason) {
    (void)reason;
    UpdateSendY();
    UpdateSendXY();
    UpdateSendTrack();

    int sum = Sum(m_stats.sendYMap, kYBins);
    if (sum > 100) {
        KAE_LOGE("presence over 100 (sum : %d).", sum);
    }
    sum = Sum(m_stats.sendXYMap, kXYBins);
    if (sum > 100) {
        KAE_LOGE("segment over 100 (sum : %d).", sum);
    }
    sum = Sum(m_stats.sendTrackMap, kTrackBins);
    if (sum > 100) {
        KAE_LOGE("object_cnt over 100 (sum : %d).", sum);
    }

    AppSessionInfo session;
    if (pDLFDataCollector != nullptr) {
        session = pDLFDataCollector->GetAppSessionInfo();
    } else {
        KAE_LOGE("DLFDataCollector is not set: the report names no session");
    }

    timespec sendTime = WallNow();
    char sid[32];
    snprintf(sid, sizeof(sid), "%ld", static_cast<long>(m_stats.sessionStartTime.tv_nsec));

    std::vector<std::pair<std::string, std::string>> list;
    InsertToVector(list, "presence", ToString1D(m_stats.sendYMap, kYBins));
    InsertToVector(list, "segment", ToString1D(m_stats.sendXYMap, kXYBins));
    InsertToVector(list, "object_cnt", ToString1D(m_stats.sendTrackMap, kTrackBins));
    InsertToVector(list, "appsrc_name", session.sessionName);
    InsertToVector(list, "session_st", GetTimeString(m_stats.sessionStartTime));
    InsertToVector(list, "send_time", GetTimeString(sendTime));
    InsertToVector(list, "dev_name", session.sessionDevice);
    InsertToVector(list, "sid", sid);
    return MakeKPIFormat(list);
}

void KPIManager::SendKPI(int reason) {
    std::string report = MakeKPIString(reason);
    if (pLogger == nullptr) {
        KAE_LOGE("Memory Allocation Failed");
        return;
    }
    std::string copy = report;
    pLogger->KPILogAdd(KPI_EVENT_SEGMENTATION, copy);
}

std::string KPIManager::MakeKPIFormat(std::vector<std::pair<std::string, std::string>>& list) {
    std::string text = "{";
    for (const auto& pair : list) {
        text += pair.first;
        text += "=";
        text += pair.second;
        text += ";";
    }
    // Drops the last separator (or, with no pairs, the opening brace).
    text.pop_back();
    text += "}";
    return text;
}

std::string KPIManager::ToString1D(int* values, int count) {
    std::string text = "[";
    for (int i = 0; values != nullptr && i < count; ++i) {
        if (i > 0) {
            text += ",";
        }
        text += std::to_string(values[i]);
    }
    text += "]";
    return text;
}

std::string KPIManager::GetTimeString(timespec ts) {
    time_t seconds = ts.tv_sec;
    struct tm local;
    if (localtime_r(&seconds, &local) == nullptr) {
        KAE_LOGE("localtime_r failed for %ld", static_cast<long>(seconds));
        return "";
    }
    // Back to a calendar time: normalised, the same instant.
    time_t calendar = mktime(&local);
    return ContextString::ConvertUTCToLocaltime(static_cast<long>(calendar));
}

void KPIManager::InsertToVector(std::vector<std::pair<std::string, std::string>>& list,
                                std::string key, std::string value) {
    list.emplace_back(std::move(key), std::move(value));
}
