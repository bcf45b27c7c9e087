// tessivo-viewer: the live picture of the room in a web browser.
#include <glib.h>

#include <csignal>
#include <cstdio>
#include <string>
#include <vector>

#include "ViewerApp.h"
#include "ViewerOptions.h"

int main(int argc, char** argv) {
    const char* program = "tessivo-viewer";
    g_set_prgname(program);
    std::vector<std::string> args(argv + (argc > 0 ? 1 : 0), argv + argc);
    ViewerOptions options;
    std::string error;
    if (!ParseViewerOptions(args, &options, &error)) {
        fprintf(stderr, "%s: %s (see --help)\n", program, error.c_str());
        return kViewerExitUsage;
    }
    if (options.help) {
        fputs(ViewerUsage(program).c_str(), stdout);
        return kViewerExitOk;
    }
    // A page that goes away mid-write must not end the viewer.
    signal(SIGPIPE, SIG_IGN);
    CViewerApp app(options);
    return app.Run();
}
