// Runs one command of kae-test-console: a method call for enable and read,
// a GLib main loop for watch, subscribe and repeated reads.
#ifndef TESSIVO_TOOLS_KAETESTCONSOLE_CONSOLEAPP_H
#define TESSIVO_TOOLS_KAETESTCONSOLE_CONSOLEAPP_H

#include <glib.h>

#include <string>

#include "ConsoleOptions.h"
#include "TessivoClient.h"

class CConsoleApp {
public:
    explicit CConsoleApp(const ConsoleOptions& options);
    ~CConsoleApp();
    CConsoleApp(const CConsoleApp&) = delete;
    CConsoleApp& operator=(const CConsoleApp&) = delete;

    // Runs the command and returns the process's exit code.
    // \context Main thread only.
    int Run();

private:
    int __RunEnable();
    int __RunRead(const char* subject);
    int __RunReadEvery(const char* subject);
    void __StartRead();
    void __OnReadDone(bool ok, int result, const std::string& output, const TessivoError& error);
    void __PrintRead(const std::string& subject, int result, const std::string& output);
    int __RunWatch();
    int __RunSubscribe();
    int __Unsubscribe();
    int __RunStatus();
    // Reads and prints the whole status; false (noted) when it cannot.
    bool __PrintStatus(const std::string& owner);
    void __PrintStatusChange(const Json::Value& changed);

    bool __Connect();
    int __Fail(const TessivoError& error);
    void __PrintLine(const std::string& line);
    void __PrintSignal(int result, const std::string& subject, const std::string& output);
    void __Stop(int exitCode);
    void __InstallStopSignals();
    void __RemoveStopSignals();
    void __RunLoop();

    static gboolean _OnStopSignal(gpointer user);
    static gboolean _OnReadTick(gpointer user);

    ConsoleOptions m_options;
    CTessivoClient m_client;
    GMainLoop* m_pMainLoop = nullptr;
    guint m_sigintId = 0;
    guint m_sigtermId = 0;
    guint m_readTimerId = 0;
    std::string m_readSubject;
    bool m_readDue = false;     // a tick came while the previous read was in flight
    bool m_lastReadOk = false;  // the last finished read was answered with result 0
    int m_printed = 0;
    int m_exitCode = kConsoleExitOk;
    bool m_stopped = false;
    bool m_ownerKnown = false;  // the first owner report has come
    bool m_serviceGone = false;
    bool m_busClosed = false;
    bool m_statusShown = false;  // status --follow: the whole status has been printed
    Json::Value m_status;        // status --follow: as printed, with the changes since
};

#endif
