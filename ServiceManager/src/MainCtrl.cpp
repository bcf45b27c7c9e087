#include "MainCtrl.h"

#include <errno.h>
#include <fcntl.h>
#include <glib-unix.h>
#include <signal.h>
#include <string.h>
#include <sys/resource.h>
#include <system_info.h>
#include <unistd.h>

#include <new>

#include "ActivitySegment.h"
#include "ContextClock.h"
#include "ContextLog.h"
#include "DBusServer.h"
#include "Dispatcher.h"
#include "RadarFetch.h"
#include "ServiceStatus.h"
#include "StateManager.h"

namespace {

const char kTavloFeature[] = "com.norvale/featureconf/tavlo_tv";

// The self-pipe between the signal handler and the main loop. Each record is
// the signal number and whether the main loop existed when it arrived.
int s_signalPipe[2] = {-1, -1};

struct SignalRecord {
    int signum;
    int loopExisted;
};

}  // namespace

CDBusServer* CMainCtrl::m_pCDBusServer = nullptr;
IServer* CMainCtrl::m_pIServer = nullptr;
ActivitySegment* CMainCtrl::m_pActivitySegment = nullptr;
CDispatcher* CMainCtrl::m_pCDispatcher = nullptr;
StateManager* CMainCtrl::m_pStateManager = nullptr;
CServiceStatus* CMainCtrl::m_pServiceStatus = nullptr;
std::atomic<GMainLoop*> CMainCtrl::m_pMainLoop{nullptr};

int CMainCtrl::Main() {
    KAE_LOGE("&&&&&&&&&&&&&&&&&&&&&&&&&&");
    KAE_LOGE("Service Start....");

    KAE_LOGI("Current priority : %d", getpriority(PRIO_PROCESS, getpid()));
    setpriority(PRIO_PROCESS, getpid(), 19);
    KAE_LOGI("Change priority : %d", getpriority(PRIO_PROCESS, getpid()));

    // Read the clock's settings now, so that a bad TESSIVO_TIME_SCALE is
    // reported at start-up rather than whenever a timer first looks.
    if (ContextClock::TimeScale() != 1.0) {
        KAE_LOGI("monotonic clock runs %g times as fast (TESSIVO_TIME_SCALE)",
                 ContextClock::TimeScale());
    }

    // A log reader that goes away must not take the daemon with it.
    signal(SIGPIPE, SIG_IGN);
    RegisterSignal();

    // The status is for people and tools: the service runs without it.
    m_pServiceStatus = new (std::nothrow) CServiceStatus();
    if (m_pServiceStatus == nullptr) {
        KAE_LOGE("Memory Allocation Failed");
    }

    bool fullService = false;
    SHAPE_TYPE shape = SHAPE_NOT_TAVLO_TV;
    if (IsTavloTV()) {
        shape = SHAPE_OLDER_MODULE;
        if (RadarFetch::SpiValidationCheck() != 0) {
            KAE_LOGI("22Y MODULE");
            shape = SHAPE_FULL;
            if (m_pServiceStatus != nullptr) {
                m_pServiceStatus->SetShape(shape);
            }
            if (!Initialize()) {
                KAE_LOGE("Init fail");
                Finalize();
                return 0;
            }
            fullService = true;
        } else {
            // An older module generation: the service answers on D-Bus but
            // never senses.
            KAE_LOGI("21Y MODULE");
        }
    }
    m_pMainLoop = g_main_loop_new(nullptr, FALSE);
    if (!fullService) {
        if (m_pServiceStatus != nullptr) {
            m_pServiceStatus->SetShape(shape);
        }
        if (!OnlyDbusCreate()) {
            KAE_LOGE("OnlyDbusCreate init failed");
            Finalize();
            return 0;
        }
        KAE_LOGI("OnlyDbusCreate init success");
    }

    g_main_loop_run(m_pMainLoop);

    Finalize();
    KAE_LOGE("Stop...");
    return 0;
}

void CMainCtrl::RegisterSignal() {
    if (s_signalPipe[0] < 0) {
        GError* error = nullptr;
        if (!g_unix_open_pipe(s_signalPipe, FD_CLOEXEC, &error)) {
            KAE_LOGE("signal pipe failed: %s", error->message);
            g_clear_error(&error);
        } else {
            // Neither end may block: the handler must never stall, and the
            // main loop drains the pipe until it is empty.
            g_unix_set_fd_nonblocking(s_signalPipe[0], TRUE, nullptr);
            g_unix_set_fd_nonblocking(s_signalPipe[1], TRUE, nullptr);
            g_unix_fd_add(s_signalPipe[0], G_IO_IN, _OnSignalPipe, nullptr);
        }
    }
    // SIGKILL cannot be caught; asking anyway is harmless and kept.
    const int kSignals[] = {SIGINT, SIGHUP, SIGTERM, SIGQUIT, SIGKILL};
    for (int signum : kSignals) {
        signal(signum, OnSignal);
    }
    // The fault signals need to know who sent them (see OnFaultSignal).
    struct sigaction action;
    memset(&action, 0, sizeof(action));
    action.sa_sigaction = OnFaultSignal;
    action.sa_flags = SA_SIGINFO;
    sigemptyset(&action.sa_mask);
    for (int signum : {SIGABRT, SIGSEGV}) {
        sigaction(signum, &action, nullptr);
    }
}

void CMainCtrl::OnSignal(int signum) {
    int savedErrno = errno;
    SignalRecord record = {signum, m_pMainLoop.load() != nullptr ? 1 : 0};
    if (s_signalPipe[1] >= 0) {
        ssize_t ignored = write(s_signalPipe[1], &record, sizeof(record));
        (void)ignored;
    }
    errno = savedErrno;
}

void CMainCtrl::OnFaultSignal(int signum, siginfo_t* info, void*) {
    OnSignal(signum);
    // A real fault, raised by the kernel (si_code > 0), cannot be returned
    // from: the next occurrence, the same instruction faulting again, takes
    // the default action instead of looping forever. One sent by another
    // process (kill, sigqueue: si_code <= 0) is a request to stop like any
    // other, and a second one in a row must stop nothing twice. abort()
    // ends the process by itself if a handler returns.
    if (info == nullptr || info->si_code > 0) {
        signal(signum, SIG_DFL);
    }
}

gboolean CMainCtrl::_OnSignalPipe(gint fd, GIOCondition condition, gpointer user) {
    SignalRecord record;
    while (read(fd, &record, sizeof(record)) == static_cast<ssize_t>(sizeof(record))) {
        _HandleSignal(record.signum, record.loopExisted != 0);
    }
    return G_SOURCE_CONTINUE;
}

void CMainCtrl::_HandleSignal(int signum, bool loopExisted) {
    KAE_LOGE("signum : %d", signum);
    GMainLoop* loop = m_pMainLoop.load();
    if (!loopExisted || loop == nullptr) {
        return;
    }
    Finalize();
    g_main_loop_quit(loop);
}

bool CMainCtrl::IsTavloTV() {
    bool flag = false;
    if (system_info_get_custom_bool(kTavloFeature, &flag) != SYSTEM_INFO_ERROR_NONE) {
        KAE_LOGE("system_info_get_custom_bool() fail");
        return false;
    }
    if (flag) {
        KAE_LOGE("Tavlo TV!!");
    } else {
        KAE_LOGE("Not Tavlo TV!!");
    }
    return flag;
}

bool CMainCtrl::Initialize() {
    KAE_LOGI("Initialize");
    m_pCDispatcher = new (std::nothrow) CDispatcher();
    if (m_pCDispatcher == nullptr) {
        KAE_LOGE("Memory Allocation Failed");
        return false;
    }

    KAE_LOGE("DBusServer Init");
    m_pCDBusServer = new (std::nothrow) CDBusServer(m_pCDispatcher);
    m_pIServer = m_pCDBusServer;
    if (m_pCDBusServer == nullptr) {
        KAE_LOGE("Memory Allocation Failed");
        return false;
    }

    try {
        m_pStateManager = new StateManager();
    } catch (...) {
        return false;
    }

    m_pActivitySegment = new (std::nothrow) ActivitySegment(m_pCDispatcher);
    if (m_pActivitySegment == nullptr) {
        KAE_LOGE("Memory Allocation Failed");
        return false;
    }

    m_pCDispatcher->SetActivitySegment(m_pActivitySegment);
    m_pActivitySegment->SetStateManager(m_pStateManager);
    m_pStateManager->SetActivitySegment(m_pActivitySegment);
    if (m_pServiceStatus != nullptr) {
        m_pServiceStatus->SetSources(m_pStateManager, m_pCDispatcher);
        m_pStateManager->SetStatusListener(m_pServiceStatus);
        m_pCDispatcher->SetStatusListener(m_pServiceStatus);
        m_pCDBusServer->SetServiceStatus(m_pServiceStatus);
    }

    m_pStateManager->Start("StateManager");
    m_pCDispatcher->Start(m_pIServer);
    m_pIServer->Start();
    m_pActivitySegment->Start();
    return true;
}

bool CMainCtrl::OnlyDbusCreate() {
    m_pCDBusServer = new (std::nothrow) CDBusServer(nullptr);
    m_pIServer = m_pCDBusServer;
    if (m_pCDBusServer == nullptr) {
        KAE_LOGE("Memory Allocation Failed");
        return false;
    }
    m_pCDBusServer->SetServiceStatus(m_pServiceStatus);
    m_pCDBusServer->Start();
    return true;
}

void CMainCtrl::Finalize() {
    KAE_LOGE("Finalize");
    if (m_pActivitySegment != nullptr) {
        KAE_LOGE("ActivitySegment Stop...");
        // The mode thread and the dispatcher outlive the pipeline: both let
        // go of it first (each waits for a call in progress), then the radar
        // stops, so no frame is in flight when the pipeline goes.
        if (m_pStateManager != nullptr) {
            m_pStateManager->SetActivitySegment(nullptr);
        }
        if (m_pCDispatcher != nullptr) {
            m_pCDispatcher->SetActivitySegment(nullptr);
        }
        m_pActivitySegment->StopSensor();
        m_pActivitySegment->Stop();
        delete m_pActivitySegment;
        m_pActivitySegment = nullptr;
    }
    if (m_pCDBusServer != nullptr) {
        KAE_LOGE("DBus Stop...");
        // Results still queued at the dispatcher are dropped rather than
        // sent through a server that is about to go.
        if (m_pCDispatcher != nullptr) {
            m_pCDispatcher->SetServer(nullptr);
        }
        m_pCDBusServer->SendStopSignalToClient();
        m_pCDBusServer->Stop();
        delete m_pCDBusServer;
        m_pCDBusServer = nullptr;
    }
    if (m_pServiceStatus != nullptr) {
        // Off the bus with the server; its sources go next.
        m_pServiceStatus->SetSources(nullptr, nullptr);
    }
    if (m_pCDispatcher != nullptr) {
        KAE_LOGE("Dispatcher Stop...");
        m_pCDispatcher->Stop();
        delete m_pCDispatcher;
        m_pCDispatcher = nullptr;
    }
    if (m_pStateManager != nullptr) {
        KAE_LOGE("StateManager Stop...");
        m_pStateManager->Stop();
        delete m_pStateManager;
        m_pStateManager = nullptr;
    }
    // Last: the threads that told it of changes have ended.
    delete m_pServiceStatus;
    m_pServiceStatus = nullptr;
}
