// kae-test-console: the command-line client of the tessivo service.
#include <glib.h>

#include <csignal>
#include <cstdio>
#include <string>
#include <vector>

#include "ConsoleApp.h"
#include "ConsoleOptions.h"

int main(int argc, char** argv) {
    const char* program = "kae-test-console";
    g_set_prgname(program);
    std::vector<std::string> args(argv + (argc > 0 ? 1 : 0), argv + argc);
    ConsoleOptions options;
    std::string error;
    if (!ParseConsoleOptions(args, &options, &error)) {
        fprintf(stderr, "%s: %s\n%s", program, error.c_str(), ConsoleShortUsage(program).c_str());
        return kConsoleExitUsage;
    }
    if (options.help) {
        fputs(ConsoleUsage(program).c_str(), stdout);
        return kConsoleExitOk;
    }
    // A reader that goes away (watch | head) ends the output, not the process
    // by a signal.
    signal(SIGPIPE, SIG_IGN);
    CConsoleApp app(options);
    return app.Run();
}
