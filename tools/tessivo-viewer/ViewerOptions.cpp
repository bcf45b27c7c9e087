#include "ViewerOptions.h"

#include <arpa/inet.h>

#include <cstdlib>

namespace {

// ADDRESS:PORT with an IPv4 address, or [IPv6]:PORT; the port 0..65535.
bool ParseListen(const std::string& text, std::string* address, int* port, std::string* error) {
    size_t colon = text.rfind(':');
    if (colon == std::string::npos || colon + 1 == text.size()) {
        *error = "--listen needs ADDRESS:PORT, e.g. 127.0.0.1:8090, not \"" + text + "\"";
        return false;
    }
    std::string host = text.substr(0, colon);
    const std::string portText = text.substr(colon + 1);
    if (host.size() >= 2 && host.front() == '[' && host.back() == ']') {
        host = host.substr(1, host.size() - 2);
    }
    unsigned char buffer[sizeof(struct in6_addr)];
    if (inet_pton(AF_INET, host.c_str(), buffer) != 1 &&
        inet_pton(AF_INET6, host.c_str(), buffer) != 1) {
        *error = "--listen: \"" + host + "\" is not an IPv4 or IPv6 address";
        return false;
    }
    char* end = nullptr;
    long value = strtol(portText.c_str(), &end, 10);
    if (portText.find_first_not_of("0123456789") != std::string::npos || *end != '\0' ||
        value < 0 || value > 65535) {
        *error = "--listen: \"" + portText + "\" is not a port number (0..65535)";
        return false;
    }
    *address = host;
    *port = static_cast<int>(value);
    return true;
}

}  // namespace

bool ParseViewerOptions(const std::vector<std::string>& args, ViewerOptions* options,
                        std::string* error) {
    ViewerOptions parsed;
    for (size_t i = 0; i < args.size(); ++i) {
        const std::string& arg = args[i];
        if (arg == "-h" || arg == "--help") {
            parsed.help = true;
        } else if (arg == "--hold") {
            parsed.hold = true;
        } else if (arg == "--listen") {
            if (i + 1 == args.size()) {
                *error = "--listen needs ADDRESS:PORT";
                return false;
            }
            if (!ParseListen(args[++i], &parsed.address, &parsed.port, error)) {
                return false;
            }
        } else if (arg.rfind("--listen=", 0) == 0) {
            if (!ParseListen(arg.substr(9), &parsed.address, &parsed.port, error)) {
                return false;
            }
        } else {
            *error = "unknown argument \"" + arg + "\"";
            return false;
        }
    }
    *options = parsed;
    return true;
}

std::string ViewerUsage(const std::string& program) {
    return "usage: " + program +
           " [--listen ADDRESS:PORT] [--hold]\n"
           "\n"
           "The live picture of the room in a web browser: a client of the tessivo service on\n"
           "the system bus ($DBUS_SYSTEM_BUS_ADDRESS when set) and a small web server whose page\n"
           "shows the people in front of the TV top-down, the presence answers and the service's\n"
           "status, updated as they come. On the simulated TV ($TESSIVO_PLATFORM_DIR) it also\n"
           "shows the ground truth and a live score, and the page can drive the simulated TV.\n"
           "\n"
           "  --listen ADDRESS:PORT  where the page is served (default 127.0.0.1:8090; port 0\n"
           "                         takes a free one). Anybody who reaches it can drive the\n"
           "                         simulated TV: keep it on the loopback address.\n"
           "  --hold                 subscribe to the tracks from the start, which holds the\n"
           "                         service in segment mode (the page's switch does the same)\n"
           "  -h, --help             this text\n"
           "\n"
           "It prints one line \"page: http://ADDRESS:PORT/\" once it serves.\n"
           "Exit status: 0 after SIGINT or SIGTERM, 1 when it cannot serve, 2 usage.\n";
}
