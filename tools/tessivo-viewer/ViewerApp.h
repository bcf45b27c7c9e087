// tessivo-viewer: follows the tessivo service on the system bus (status,
// HELLO and BYE, presence answers, and the tracks while it holds a
// subscription), the simulated TV when there is one (truth, score, state,
// KPI reports), and pushes all of it to the open pages as events; the API
// takes the page's switch and controls.
//
// Events (each a JSON object): "service" {owner, status}, "signal" {subject,
// whiteList}, "presence" {ok, result, detection, distance, error, ageMs},
// "hold" {on, subscribed, note, error}, "result" {segments, tracks},
// "truth" {frame, truth, people}, "score" (LiveScore.h), "tv"
// (SimulatedTv.h), "kpi" [reports], "simulated" {present, dir}.
#ifndef TESSIVO_TOOLS_VIEWER_VIEWERAPP_H
#define TESSIVO_TOOLS_VIEWER_VIEWERAPP_H

#include <glib.h>
#include <json/json.h>

#include <string>

#include "EventStream.h"
#include "LiveScore.h"
#include "SimulatedTv.h"
#include "TessivoClient.h"
#include "ViewerOptions.h"
#include "WebServer.h"

class CViewerApp {
public:
    explicit CViewerApp(const ViewerOptions& options);
    ~CViewerApp();
    CViewerApp(const CViewerApp&) = delete;
    CViewerApp& operator=(const CViewerApp&) = delete;

    // Serves until SIGINT or SIGTERM; the exit status.
    int Run();

private:
    void _Api(SoupServerMessage* message, const std::string& method, const std::string& path,
              const Json::Value& body);
    void _Greet(SoupServerMessage* message);
    Json::Value _Snapshot() const;

    void _OnOwner(const std::string& owner);
    void _OnResponse(int result, const std::string& subject, const std::string& output);
    void _OnStatus(const Json::Value& changed);
    void _ReadStatus();
    bool _SetHold(bool on, std::string* error);
    void _BroadcastHold();
    void _ReadPresence();
    void _ReadTruth();
    void _ReadTv();
    void _ReadKpi();
    Json::Value _PresenceEvent() const;

    static int64_t NowMs();

    ViewerOptions m_options;
    CTessivoClient m_client;
    CEventStream m_events;
    CWebServer m_server;
    GMainLoop* m_loop = nullptr;
    std::string m_busError;

    std::string m_owner;
    Json::Value m_status{Json::objectValue};
    Json::Value m_lastSignal;

    // Whether the page's switch is on, and whether the service has our
    // subscription now.
    bool m_hold = false;
    bool m_subscribed = false;
    std::string m_holdError;

    Json::Value m_presence;  // {ok, result, detection, distance, error}
    int64_t m_presenceAtMs = 0;

    bool m_simulated = false;
    RadarTruthFrame m_truth;
    bool m_hasTruth = false;
    CLiveScore m_score;
    Json::Value m_tv;
    Json::Value m_kpi{Json::arrayValue};
    Json::Value m_lastResult;
};

#endif
