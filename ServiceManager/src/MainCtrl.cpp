#include "MainCtrl.h"

#include <errno.h>
#include <fcntl.h>
#include <glib-unix.h>
#include <signal.h>
#include <sys/resource.h>
#include <system_info.h>
#include <unistd.h>

#include <new>

#include "ContextClock.h"
#include "ContextLog.h"
#include "DBusServer.h"
#include "RadarFetch.h"

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

    if (IsTavloTV()) {
        if (RadarFetch::SpiValidationCheck() != 0) {
            KAE_LOGI("22Y MODULE");
            // The sensing pipeline is not part of this build yet; the set
            // still gets its D-Bus front end.
            KAE_LOGI("Full sensing service is not supported by this build: D-Bus only");
        } else {
            // An older module generation: the service answers on D-Bus but
            // never senses.
            KAE_LOGI("21Y MODULE");
        }
    }
    m_pMainLoop = g_main_loop_new(nullptr, FALSE);
    if (!OnlyDbusCreate()) {
        KAE_LOGE("OnlyDbusCreate init failed");
        Finalize();
        return 0;
    }
    KAE_LOGI("OnlyDbusCreate init success");

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
    const int kSignals[] = {SIGINT, SIGHUP, SIGTERM, SIGQUIT, SIGABRT, SIGKILL, SIGSEGV};
    for (int signum : kSignals) {
        signal(signum, OnSignal);
    }
}

void CMainCtrl::OnSignal(int signum) {
    int savedErrno = errno;
    SignalRecord record = {signum, m_pMainLoop.load() != nullptr ? 1 : 0};
    if (s_signalPipe[1] >= 0) {
        ssize_t ignored = write(s_signalPipe[1], &record, sizeof(record));
        (void)ignored;
    }
    // A fault cannot be returned from: the next occurrence takes the default
    // action instead of faulting again forever.
    if (signum == SIGSEGV || signum == SIGABRT) {
        signal(signum, SIG_DFL);
    }
    errno = savedErrno;
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

bool CMainCtrl::OnlyDbusCreate() {
    m_pCDBusServer = new (std::nothrow) CDBusServer(nullptr);
    m_pIServer = m_pCDBusServer;
    if (m_pCDBusServer == nullptr) {
        KAE_LOGE("Memory Allocation Failed");
        return false;
    }
    m_pCDBusServer->Start();
    return true;
}

void CMainCtrl::Finalize() {
    KAE_LOGE("Finalize");
    if (m_pCDBusServer != nullptr) {
        KAE_LOGE("DBus Stop...");
        m_pCDBusServer->SendStopSignalToClient();
        m_pCDBusServer->Stop();
        delete m_pCDBusServer;
        m_pCDBusServer = nullptr;
    }
}
