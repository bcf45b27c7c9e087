#include "ConsoleApp.h"

#include <glib-unix.h>

#include <csignal>
#include <cstdio>

#include "ConsoleFormat.h"
#include "ContextClock.h"
#include "StatusFormat.h"

namespace {

void Note(const std::string& text) {
    fprintf(stderr, "kae-test-console: %s\n", text.c_str());
    fflush(stderr);
}

}  // namespace

CConsoleApp::CConsoleApp(const ConsoleOptions& options) : m_options(options) {}

CConsoleApp::~CConsoleApp() {
    __RemoveStopSignals();
    if (m_pMainLoop != nullptr) {
        g_main_loop_unref(m_pMainLoop);
    }
}

int CConsoleApp::Run() {
    switch (m_options.command) {
        case ConsoleCommand::ENABLE:
            return __RunEnable();
        case ConsoleCommand::READ_PRESENCE:
            return m_options.everyMs > 0 ? __RunReadEvery(KAE_SUBJECT_PRESENCE)
                                         : __RunRead(KAE_SUBJECT_PRESENCE);
        case ConsoleCommand::READ_DISTANCE:
            return m_options.everyMs > 0 ? __RunReadEvery(KAE_SUBJECT_PRESENCE_DISTANCE)
                                         : __RunRead(KAE_SUBJECT_PRESENCE_DISTANCE);
        case ConsoleCommand::WATCH:
            return __RunWatch();
        case ConsoleCommand::SUBSCRIBE:
            return __RunSubscribe();
        case ConsoleCommand::STATUS:
            return __RunStatus();
        case ConsoleCommand::NONE:
            break;
    }
    return kConsoleExitUsage;
}

bool CConsoleApp::__Connect() {
    TessivoError error;
    if (!m_client.Connect(&error)) {
        __Fail(error);
        return false;
    }
    m_client.SetClosedHandler([this]() {
        m_busClosed = true;
        Note("the system bus connection closed");
        __Stop(kConsoleExitFailure);
    });
    return true;
}

int CConsoleApp::__Fail(const TessivoError& error) {
    Note(CTessivoClient::Describe(error));
    return kConsoleExitFailure;
}

void CConsoleApp::__PrintLine(const std::string& line) {
    fputs(line.c_str(), stdout);
    fputc('\n', stdout);
    // Each line at once: a script or a person reads it while we still run.
    if (fflush(stdout) != 0 || ferror(stdout)) {
        // The reader has gone (a closed pipe): nothing more can be shown.
        __Stop(kConsoleExitFailure);
    }
}

void CConsoleApp::__PrintSignal(int result, const std::string& subject, const std::string& output) {
    if (m_stopped) {
        return;
    }
    __PrintLine(m_options.json ? ConsoleFormat::SignalJson(result, subject, output)
                               : ConsoleFormat::SignalHuman(result, subject, output));
    ++m_printed;
    if (m_options.count > 0 && m_printed >= m_options.count) {
        __Stop(m_exitCode);
    }
}

void CConsoleApp::__Stop(int exitCode) {
    if (!m_stopped) {
        m_stopped = true;
        m_exitCode = exitCode;
    }
    if (m_pMainLoop != nullptr) {
        g_main_loop_quit(m_pMainLoop);
    }
}

void CConsoleApp::__PrintRead(const std::string& subject, int result, const std::string& output) {
    __PrintLine(m_options.json
                    ? ConsoleFormat::RequestJson(kConsoleRequestRead, subject, result, output)
                    : ConsoleFormat::RequestHuman(subject, result, output));
}

gboolean CConsoleApp::_OnStopSignal(gpointer user) {
    static_cast<CConsoleApp*>(user)->__Stop(kConsoleExitOk);
    return G_SOURCE_CONTINUE;
}

void CConsoleApp::__InstallStopSignals() {
    m_sigintId = g_unix_signal_add(SIGINT, _OnStopSignal, this);
    m_sigtermId = g_unix_signal_add(SIGTERM, _OnStopSignal, this);
}

void CConsoleApp::__RemoveStopSignals() {
    // Once the last source of a signal is gone GLib restores its default
    // action, so a second Ctrl-C during the closing call ends the process.
    if (m_sigintId != 0) {
        g_source_remove(m_sigintId);
        m_sigintId = 0;
    }
    if (m_sigtermId != 0) {
        g_source_remove(m_sigtermId);
        m_sigtermId = 0;
    }
}

void CConsoleApp::__RunLoop() {
    if (m_stopped) {
        return;
    }
    m_pMainLoop = g_main_loop_new(nullptr, FALSE);
    g_main_loop_run(m_pMainLoop);
}

int CConsoleApp::__RunEnable() {
    if (!__Connect()) {
        return kConsoleExitFailure;
    }
    bool enabled = false;
    std::string data;
    TessivoError error;
    if (!m_client.ServiceEnable(m_options.timeoutMs, &enabled, &data, &error)) {
        return __Fail(error);
    }
    __PrintLine(m_options.json ? ConsoleFormat::EnableJson(enabled, data)
                               : ConsoleFormat::EnableHuman(enabled, data));
    return enabled ? kConsoleExitOk : kConsoleExitFailure;
}

int CConsoleApp::__RunRead(const char* subject) {
    if (!__Connect()) {
        return kConsoleExitFailure;
    }
    int result = 0;
    std::string output;
    TessivoError error;
    if (!m_client.RequestSync(kConsoleRequestRead, subject, "", m_options.timeoutMs, &result,
                              &output, &error)) {
        return __Fail(error);
    }
    __PrintRead(subject, result, output);
    return result == 0 ? kConsoleExitOk : kConsoleExitFailure;
}

int CConsoleApp::__RunReadEvery(const char* subject) {
    if (!__Connect()) {
        return kConsoleExitFailure;
    }
    m_readSubject = subject;
    m_client.WatchService([this](const std::string& owner) {
        bool first = !m_ownerKnown;
        m_ownerKnown = true;
        if (owner.empty() && !m_serviceGone) {
            // Nothing more to read; a service that comes back later is a
            // new run of the demo.
            m_serviceGone = true;
            if (!m_busClosed) {
                Note(first ? "tessivo service is not running on the system bus (nobody "
                             "owns " KAE_DBUS_NAME ")"
                           : "tessivo service left the system bus; the reads have ended");
            }
            __Stop(kConsoleExitFailure);
        }
    });
    __InstallStopSignals();
    // The first read at once, then one per period. The timer keeps its pace
    // whatever a read takes; a slow read delays only the next one.
    __StartRead();
    m_readTimerId = g_timeout_add(static_cast<guint>(m_options.everyMs), _OnReadTick, this);
    __RunLoop();
    g_source_remove(m_readTimerId);
    m_readTimerId = 0;
    __RemoveStopSignals();
    // A read still in flight at Ctrl-C is not waited for.
    m_client.CancelRequest();

    if (m_exitCode != kConsoleExitOk) {
        return m_exitCode;
    }
    return m_lastReadOk ? kConsoleExitOk : kConsoleExitFailure;
}

gboolean CConsoleApp::_OnReadTick(gpointer user) {
    auto* self = static_cast<CConsoleApp*>(user);
    if (self->m_client.RequestPending()) {
        self->m_readDue = true;
    } else {
        self->__StartRead();
    }
    return G_SOURCE_CONTINUE;
}

void CConsoleApp::__StartRead() {
    if (m_stopped) {
        return;
    }
    m_readDue = false;
    bool started = m_client.RequestAsync(
        kConsoleRequestRead, m_readSubject, "", m_options.timeoutMs,
        [this](bool ok, int result, const std::string& output, const TessivoError& error) {
            __OnReadDone(ok, result, output, error);
        });
    if (!started) {
        Note("cannot start a read: not connected to the system bus");
        __Stop(kConsoleExitFailure);
    }
}

void CConsoleApp::__OnReadDone(bool ok, int result, const std::string& output,
                               const TessivoError& error) {
    if (m_stopped) {
        return;
    }
    if (ok) {
        m_lastReadOk = result == 0;
        __PrintRead(m_readSubject, result, output);
    } else {
        m_lastReadOk = false;
        Note(CTessivoClient::Describe(error));
        if (error.kind == TessivoError::Kind::NOT_RUNNING) {
            // The owner watch may not have told yet; the end is the same.
            m_serviceGone = true;
            __Stop(kConsoleExitFailure);
            return;
        }
    }
    ++m_printed;
    if (m_options.count > 0 && m_printed >= m_options.count) {
        __Stop(m_lastReadOk ? kConsoleExitOk : kConsoleExitFailure);
    } else if (m_readDue) {
        __StartRead();
    }
}

int CConsoleApp::__RunWatch() {
    if (!__Connect()) {
        return kConsoleExitFailure;
    }
    // Signals first: the match rule reaches the bus before the question about
    // the name's owner, so a service that appears in between is heard.
    m_client.SubscribeResponse(
        [this](int result, const std::string& subject, const std::string& output) {
            __PrintSignal(result, subject, output);
        });
    m_client.WatchService([this](const std::string& owner) {
        bool first = !m_ownerKnown;
        m_ownerKnown = true;
        if (!owner.empty()) {
            Note(std::string(first ? "tessivo service is on the system bus ("
                                   : "tessivo service appeared on the system bus (") +
                 owner + ")");
        } else if (first) {
            Note("tessivo service is not on the system bus; waiting for it");
        } else if (!m_busClosed) {
            Note("tessivo service left the system bus");
        }
    });
    __InstallStopSignals();
    __RunLoop();
    __RemoveStopSignals();
    return m_exitCode;
}

int CConsoleApp::__RunSubscribe() {
    if (!__Connect()) {
        return kConsoleExitFailure;
    }
    // Results may follow the answer closely; be listening before asking.
    m_client.SubscribeResponse(
        [this](int result, const std::string& subject, const std::string& output) {
            if (subject == KAE_SUBJECT_TRACK_SEGMENT) {
                __PrintSignal(result, subject, output);
            } else if (subject == KAE_SUBJECT_BYE) {
                Note("tessivo service is stopping");
            }
        });

    int result = 0;
    std::string output;
    TessivoError error;
    if (!m_client.RequestSync(kConsoleRequestSubscribe, KAE_SUBJECT_TRACK_SEGMENT, "",
                              m_options.timeoutMs, &result, &output, &error)) {
        return __Fail(error);
    }
    if (result != 0) {
        Note("subscription to " KAE_SUBJECT_TRACK_SEGMENT " refused: result " +
             ConsoleFormat::ResultText(result));
        return kConsoleExitFailure;
    }
    Note("subscribed to " KAE_SUBJECT_TRACK_SEGMENT "; waiting for results");

    m_client.WatchService([this](const std::string& owner) {
        m_ownerKnown = true;
        if (owner.empty() && !m_serviceGone) {
            // The service keeps subscriptions only while it runs.
            m_serviceGone = true;
            if (!m_busClosed) {
                Note("tessivo service left the system bus; the subscription has ended");
            }
            __Stop(kConsoleExitFailure);
        }
    });
    __InstallStopSignals();
    __RunLoop();
    __RemoveStopSignals();

    if (m_serviceGone || m_busClosed) {
        return m_exitCode;
    }
    int unsubscribed = __Unsubscribe();
    return m_exitCode != kConsoleExitOk ? m_exitCode : unsubscribed;
}

int CConsoleApp::__Unsubscribe() {
    int result = 0;
    std::string output;
    TessivoError error;
    if (!m_client.RequestSync(kConsoleRequestUnsubscribe, KAE_SUBJECT_TRACK_SEGMENT, "",
                              m_options.timeoutMs, &result, &output, &error)) {
        Note("unsubscribe failed: " + CTessivoClient::Describe(error));
        return kConsoleExitFailure;
    }
    if (result != 0) {
        Note("unsubscribe answered result " + ConsoleFormat::ResultText(result));
        return kConsoleExitFailure;
    }
    Note("unsubscribed from " KAE_SUBJECT_TRACK_SEGMENT);
    return kConsoleExitOk;
}

bool CConsoleApp::__PrintStatus(const std::string& owner) {
    Json::Value status;
    TessivoError error;
    if (!m_client.GetStatus(m_options.timeoutMs, &status, &error)) {
        Note(CTessivoClient::Describe(error));
        return false;
    }
    std::string text = m_options.json
                           ? StatusFormat::JsonLine(status)
                           : StatusFormat::Human(status, owner, ContextClock::WallTimeUs());
    if (!text.empty() && text.back() == '\n') {
        text.pop_back();
    }
    __PrintLine(text);
    m_status = status;
    m_statusShown = true;
    return true;
}

void CConsoleApp::__PrintStatusChange(const Json::Value& changed) {
    // What changed before the whole status was read is part of it.
    if (m_stopped || !m_statusShown) {
        return;
    }
    for (const std::string& name : changed.getMemberNames()) {
        m_status[name] = changed[name];
    }
    const int64_t now = ContextClock::WallTimeUs();
    __PrintLine(m_options.json ? StatusFormat::ChangeJson(changed, now)
                               : StatusFormat::ChangeHuman(changed, m_status, now));
    ++m_printed;
    if (m_options.count > 0 && m_printed >= m_options.count) {
        __Stop(kConsoleExitOk);
    }
}

int CConsoleApp::__RunStatus() {
    if (!__Connect()) {
        return kConsoleExitFailure;
    }
    if (!m_options.follow) {
        return __PrintStatus("") ? kConsoleExitOk : kConsoleExitFailure;
    }
    // Changes first, then the whole status: nothing that changes in between
    // is missed.
    m_client.SubscribeStatus([this](const Json::Value& changed) { __PrintStatusChange(changed); });
    m_client.WatchService([this](const std::string& owner) {
        const bool first = !m_ownerKnown;
        m_ownerKnown = true;
        if (!owner.empty()) {
            // A service that comes (back) starts from a whole status.
            m_statusShown = false;
            __PrintStatus(owner);
        } else if (first) {
            Note("tessivo service is not on the system bus; waiting for it");
        } else if (!m_busClosed) {
            m_statusShown = false;
            Note("tessivo service left the system bus; waiting for it");
        }
    });
    __InstallStopSignals();
    __RunLoop();
    __RemoveStopSignals();
    return m_exitCode;
}
