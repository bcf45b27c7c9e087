// The process controller: decides which shape of the service runs, owns the
// service-wide objects, runs the main loop and tears everything down in a
// fixed order.
#ifndef TESSIVO_SERVICEMANAGER_MAINCTRL_H
#define TESSIVO_SERVICEMANAGER_MAINCTRL_H

#include <glib.h>
#include <signal.h>

#include <atomic>

class ActivitySegment;
class CDBusServer;
class CDispatcher;
class CServiceStatus;
class IServer;
class StateManager;

class CMainCtrl {
public:
    CMainCtrl() = delete;

    // Process entry; returns the exit code (always 0).
    static int Main();

    static void RegisterSignal();
    // The signal handler proper: async-signal-safe, it only records the
    // signal for the main loop. \context Signal context.
    static void OnSignal(int signum);
    // \context Signal handler of SIGABRT and SIGSEGV.
    static void OnFaultSignal(int signum, siginfo_t* info, void* context);
    static bool IsTavloTV();
    // Builds, wires and starts the full service. Objects made before a
    // failing step are left for Finalize(). \context Main thread.
    static bool Initialize();
    static bool OnlyDbusCreate();
    // Stops and destroys whatever exists; safe to call any number of times.
    // \context Main thread.
    static void Finalize();

    static CDBusServer* m_pCDBusServer;
    static IServer* m_pIServer;
    static ActivitySegment* m_pActivitySegment;
    static CDispatcher* m_pCDispatcher;
    static StateManager* m_pStateManager;
    // The status object's model, in both shapes; null when it could not be
    // made (the service runs without it).
    static CServiceStatus* m_pServiceStatus;
    // Read by the signal handler, hence atomic.
    static std::atomic<GMainLoop*> m_pMainLoop;

private:
    // Runs on the main loop for each recorded signal: logs it and, when the
    // loop existed at the time of the signal, finalises and quits.
    static gboolean _OnSignalPipe(gint fd, GIOCondition condition, gpointer user);
    static void _HandleSignal(int signum, bool loopExisted);
};

#endif
