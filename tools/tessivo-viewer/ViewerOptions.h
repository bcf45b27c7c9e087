// tessivo-viewer's command line.
#ifndef TESSIVO_TOOLS_VIEWER_VIEWEROPTIONS_H
#define TESSIVO_TOOLS_VIEWER_VIEWEROPTIONS_H

#include <string>
#include <vector>

constexpr int kViewerExitOk = 0;
constexpr int kViewerExitFailed = 1;
constexpr int kViewerExitUsage = 2;

// Local only by default: the page can drive the simulated TV.
constexpr const char* kViewerDefaultAddress = "127.0.0.1";
constexpr int kViewerDefaultPort = 8090;

struct ViewerOptions {
    bool help = false;
    std::string address = kViewerDefaultAddress;
    int port = kViewerDefaultPort;  // 0: any free port
    // Hold segment mode from the start.
    bool hold = false;
};

// False with a one-line reason on a bad command line.
bool ParseViewerOptions(const std::vector<std::string>& args, ViewerOptions* options,
                        std::string* error);
std::string ViewerUsage(const std::string& program);

#endif
