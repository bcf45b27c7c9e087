#include "ViewerApp.h"

#include <glib-unix.h>

#include <cstdio>

#include "KaeInterface.h"
#include "ResultFrame.h"

namespace {

const char kTrackSegment[] = "KAE/SUBSCRIBE/TRACK_SEGMENT/";
const char kPresenceDistance[] = "KAE/GET/PRESENCE_DISTANCE/";
constexpr int kCallTimeoutMs = 3000;
// The service refreshes presence every 250 ms; reading twice as often as a
// person can follow is enough.
constexpr guint kPresenceEveryMs = 500;
constexpr guint kTruthEveryMs = 50;  // twice per radar frame: no frame is skipped
constexpr guint kTvEveryMs = 1000;
constexpr guint kKpiEveryMs = 2000;
constexpr guint kScoreEveryMs = 1000;
constexpr size_t kKpiReports = 5;

// What holding means, as the page says it: the service's own rule.
const char kHoldNote[] =
    "The viewer subscribes to the tracks only while this is on; a subscription holds the "
    "service in segment mode (when the TV allows it). Turning it off unsubscribes, which stops "
    "the tracks for every subscriber until somebody subscribes again.";

gboolean Every(gpointer user) {
    (*static_cast<std::function<void()>*>(user))();
    return G_SOURCE_CONTINUE;
}

void AddTimer(guint ms, std::function<void()> tick) {
    g_timeout_add_full(G_PRIORITY_DEFAULT, ms, Every, new std::function<void()>(std::move(tick)),
                       [](gpointer user) { delete static_cast<std::function<void()>*>(user); });
}

Json::Value ParseJson(const std::string& text) {
    Json::CharReaderBuilder builder;
    std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    Json::Value value;
    std::string errors;
    if (!reader->parse(text.data(), text.data() + text.size(), &value, &errors)) {
        return Json::Value();
    }
    return value;
}

}  // namespace

CViewerApp::CViewerApp(const ViewerOptions& options)
    : m_options(options),
      m_server(&m_events, [this](SoupServerMessage* message, const std::string& method,
                                 const std::string& path,
                                 const Json::Value& body) { _Api(message, method, path, body); }) {
    m_events.SetGreeting([this](SoupServerMessage* message) { _Greet(message); });
}

CViewerApp::~CViewerApp() {
    if (m_loop != nullptr) {
        g_main_loop_unref(m_loop);
    }
}

int64_t CViewerApp::NowMs() {
    return g_get_monotonic_time() / 1000;
}

int CViewerApp::Run() {
    std::string error;
    if (!m_server.Listen(m_options.address, m_options.port, &error)) {
        fprintf(stderr, "tessivo-viewer: %s\n", error.c_str());
        return kViewerExitFailed;
    }
    TessivoError busError;
    if (!m_client.Connect(&busError)) {
        // The page still comes up and says why it shows nothing.
        m_busError = CTessivoClient::Describe(busError);
        fprintf(stderr, "tessivo-viewer: %s\n", m_busError.c_str());
    } else {
        m_client.SubscribeResponse(
            [this](int result, const std::string& subject, const std::string& output) {
                _OnResponse(result, subject, output);
            });
        m_client.SubscribeStatus([this](const Json::Value& changed) { _OnStatus(changed); });
        m_client.WatchService([this](const std::string& owner) { _OnOwner(owner); });
        m_client.SetClosedHandler([this] {
            m_busError = "the system bus connection closed";
            m_owner.clear();
            m_subscribed = false;
            m_events.Broadcast("service", _Snapshot()["service"]);
        });
    }
    m_hold = m_options.hold;
    m_simulated = CSimulatedTv::Present();
    if (m_simulated) {
        _ReadTv();
        _ReadKpi();
        AddTimer(kTruthEveryMs, [this] { _ReadTruth(); });
        AddTimer(kTvEveryMs, [this] { _ReadTv(); });
        AddTimer(kKpiEveryMs, [this] { _ReadKpi(); });
        AddTimer(kScoreEveryMs, [this] { m_events.Broadcast("score", m_score.Summary(NowMs())); });
    }
    AddTimer(kPresenceEveryMs, [this] { _ReadPresence(); });

    m_loop = g_main_loop_new(nullptr, FALSE);
    auto quit = [](gpointer loop) -> gboolean {
        g_main_loop_quit(static_cast<GMainLoop*>(loop));
        return G_SOURCE_REMOVE;
    };
    g_unix_signal_add(SIGINT, quit, m_loop);
    g_unix_signal_add(SIGTERM, quit, m_loop);
    printf("page: http://%s:%d/\n",
           m_options.address.find(':') != std::string::npos
               ? ("[" + m_options.address + "]").c_str()
               : m_options.address.c_str(),
           m_server.Port());
    fflush(stdout);
    g_main_loop_run(m_loop);

    // Leave the service as found: a subscription of ours ends with us.
    if (m_subscribed) {
        int result = 0;
        std::string output;
        m_client.RequestSync(kConsoleRequestUnsubscribe, kTrackSegment, "", kCallTimeoutMs, &result,
                             &output, nullptr);
    }
    return kViewerExitOk;
}

void CViewerApp::_OnOwner(const std::string& owner) {
    m_owner = owner;
    m_subscribed = false;  // a new owner knows nothing of us
    if (!owner.empty()) {
        _ReadStatus();
        if (m_hold) {
            _SetHold(true, &m_holdError);
        }
    } else {
        m_status = Json::Value(Json::objectValue);
    }
    m_events.Broadcast("service", _Snapshot()["service"]);
    _BroadcastHold();
}

void CViewerApp::_ReadStatus() {
    Json::Value properties;
    TessivoError error;
    if (m_client.GetStatus(kCallTimeoutMs, &properties, &error)) {
        m_status = properties;
    } else {
        fprintf(stderr, "tessivo-viewer: cannot read the status: %s\n",
                CTessivoClient::Describe(error).c_str());
    }
}

void CViewerApp::_OnStatus(const Json::Value& changed) {
    for (const std::string& name : changed.getMemberNames()) {
        m_status[name] = changed[name];
    }
    m_events.Broadcast("service", _Snapshot()["service"]);
}

void CViewerApp::_OnResponse(int result, const std::string& subject, const std::string& output) {
    if (subject == "HELLO" || subject == "BYE") {
        Json::Value signal(Json::objectValue);
        signal["subject"] = subject;
        signal["result"] = result;
        const Json::Value data = ParseJson(output);
        signal["whiteList"] = data.isObject() ? data["WhiteList"] : Json::Value();
        m_lastSignal = signal;
        m_events.Broadcast("signal", signal);
        return;
    }
    if (subject != kTrackSegment) {
        return;
    }
    ResultFrame frame;
    std::string problem;
    if (!ResultFrame::Parse(output, &frame, &problem)) {
        fprintf(stderr, "tessivo-viewer: ignored a malformed result: %s\n", problem.c_str());
        return;
    }
    m_lastResult = frame.ToJson();
    m_events.Broadcast("result", m_lastResult);
    // The truth file was written just before the frame went to the service.
    if (m_simulated && m_hasTruth && m_truth.hasTruth) {
        m_score.Add(NowMs(), m_truth.people, frame.tracks);
    }
}

bool CViewerApp::_SetHold(bool on, std::string* error) {
    m_hold = on;
    error->clear();
    if (m_owner.empty()) {
        *error = "the tessivo service is not on the bus";
        m_subscribed = false;
        return !on;  // off needs nobody; on is kept and applied when it comes
    }
    if (on == m_subscribed) {
        return true;
    }
    int result = 0;
    std::string output;
    TessivoError callError;
    if (!m_client.RequestSync(on ? kConsoleRequestSubscribe : kConsoleRequestUnsubscribe,
                              kTrackSegment, "", kCallTimeoutMs, &result, &output, &callError)) {
        *error = CTessivoClient::Describe(callError);
        return false;
    }
    // -3 on subscribe: already ours (the service kept us from an earlier
    // run); -5 on unsubscribe: already gone. Either way the state is reached.
    if (result != 0 && result != (on ? -3 : -5)) {
        *error = "the service answered " + std::to_string(result);
        return false;
    }
    m_subscribed = on;
    return true;
}

void CViewerApp::_BroadcastHold() {
    m_events.Broadcast("hold", _Snapshot()["hold"]);
}

void CViewerApp::_ReadPresence() {
    if (m_owner.empty() || m_client.RequestPending()) {
        return;
    }
    m_client.RequestAsync(
        kConsoleRequestRead, kPresenceDistance, "", kCallTimeoutMs,
        [this](bool ok, int result, const std::string& output, const TessivoError& error) {
            Json::Value presence(Json::objectValue);
            presence["ok"] = ok;
            presence["result"] = result;
            if (!ok) {
                presence["error"] = CTessivoClient::Describe(error);
            } else {
                const Json::Value document = ParseJson(output);
                presence["detection"] = document.isObject() ? document["detection"] : Json::Value();
                presence["distance"] = document.isObject() ? document["distance"] : Json::Value();
            }
            m_presence = presence;
            m_presenceAtMs = NowMs();
            m_events.Broadcast("presence", _PresenceEvent());
        });
}

Json::Value CViewerApp::_PresenceEvent() const {
    Json::Value presence = m_presence;
    if (!presence.isNull()) {
        presence["ageMs"] = static_cast<Json::Int64>(NowMs() - m_presenceAtMs);
    }
    return presence;
}

void CViewerApp::_ReadTruth() {
    RadarTruthFrame frame;
    std::string problem;
    if (!CSimulatedTv::Truth(&frame, &problem)) {
        return;
    }
    if (m_hasTruth && frame.frame == m_truth.frame) {
        return;
    }
    m_truth = frame;
    m_hasTruth = true;
    m_events.Broadcast("truth", RadarTruthFile::ToJson(frame));
}

void CViewerApp::_ReadTv() {
    Json::Value tv = CSimulatedTv::State();
    if (tv != m_tv) {
        m_tv = tv;
        m_events.Broadcast("tv", m_tv);
    }
}

void CViewerApp::_ReadKpi() {
    Json::Value kpi = CSimulatedTv::KpiReports(kKpiReports);
    if (kpi != m_kpi) {
        m_kpi = kpi;
        m_events.Broadcast("kpi", m_kpi);
    }
}

Json::Value CViewerApp::_Snapshot() const {
    Json::Value snapshot(Json::objectValue);
    Json::Value service(Json::objectValue);
    service["owner"] = m_owner;
    service["status"] = m_status;
    service["busError"] = m_busError;
    snapshot["service"] = service;
    Json::Value hold(Json::objectValue);
    hold["on"] = m_hold;
    hold["subscribed"] = m_subscribed;
    hold["note"] = kHoldNote;
    hold["error"] = m_holdError;
    snapshot["hold"] = hold;
    snapshot["presence"] = _PresenceEvent();
    snapshot["signal"] = m_lastSignal;
    snapshot["result"] = m_lastResult;
    Json::Value simulated(Json::objectValue);
    simulated["present"] = m_simulated;
    simulated["dir"] = m_simulated ? CSimulatedTv::Dir() : "";
    snapshot["simulated"] = simulated;
    if (m_simulated) {
        snapshot["tv"] = m_tv;
        snapshot["kpi"] = m_kpi;
        snapshot["truth"] = m_hasTruth ? RadarTruthFile::ToJson(m_truth) : Json::Value();
        snapshot["score"] = const_cast<CLiveScore&>(m_score).Summary(NowMs());
    }
    return snapshot;
}

void CViewerApp::_Greet(SoupServerMessage* message) {
    const Json::Value snapshot = _Snapshot();
    for (const std::string& name : snapshot.getMemberNames()) {
        if (!snapshot[name].isNull()) {
            m_events.Send(message, name, snapshot[name]);
        }
    }
}

void CViewerApp::_Api(SoupServerMessage* message, const std::string& method,
                      const std::string& path, const Json::Value& body) {
    if (path == "state" && method == "GET") {
        CWebServer::Reply(message, _Snapshot());
        return;
    }
    if (path == "hold" && method == "POST") {
        if (!body["on"].isBool()) {
            CWebServer::Fail(message, SOUP_STATUS_BAD_REQUEST, "needs {\"on\": true|false}");
            return;
        }
        bool ok = _SetHold(body["on"].asBool(), &m_holdError);
        _BroadcastHold();
        if (!ok) {
            CWebServer::Fail(message, SOUP_STATUS_SERVICE_UNAVAILABLE, m_holdError);
            return;
        }
        CWebServer::Reply(message, _Snapshot()["hold"]);
        return;
    }
    if (path == "tv" && method == "POST") {
        if (!m_simulated) {
            CWebServer::Fail(message, SOUP_STATUS_NOT_FOUND,
                             "this TV is not simulated: nothing to control");
            return;
        }
        if (!body["control"].isString() || !body["value"].isString()) {
            CWebServer::Fail(message, SOUP_STATUS_BAD_REQUEST,
                             "needs {\"control\": \"...\", \"value\": \"...\"}");
            return;
        }
        std::string error;
        if (!CSimulatedTv::Apply(body["control"].asString(), body["value"].asString(), &error)) {
            CWebServer::Fail(message, SOUP_STATUS_BAD_REQUEST, error);
            return;
        }
        if (body["control"].asString() == "scene" || body["control"].asString() == "recording") {
            m_score.Reset();  // another room: the last minute no longer tells about it
        }
        _ReadTv();
        CWebServer::Reply(message, m_tv);
        return;
    }
    CWebServer::Fail(message, SOUP_STATUS_NOT_FOUND,
                     "no " + method + " /api/" + path + " (GET state, POST hold, POST tv)");
}
