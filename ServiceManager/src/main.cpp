#include <cstdio>
#include <cstring>

#include "MainCtrl.h"

namespace {

const char kUsage[] =
    "Usage: kae-service [--help]\n"
    "\n"
    "The tessivo daemon: drives the radar module and answers on the system bus\n"
    "(com.norvale.tv.tessivo) whether somebody is in front of the TV, how far\n"
    "away, and in segment mode where people are. It takes no arguments; systemd\n"
    "starts it (systemd/kae-service.service) and SIGTERM ends it.\n"
    "\n"
    "Environment:\n"
    "  DBUS_SYSTEM_BUS_ADDRESS  the system bus (a private one for tests and the demo)\n"
    "  TESSIVO_PLATFORM_DIR     the simulated TV's directory (on a host)\n"
    "  TESSIVO_LOG_LEVEL        lowest log priority shown: verbose, debug (default),\n"
    "                           info, warn, error, fatal, silent\n"
    "  TESSIVO_TIME_SCALE       speeds up the clock the timers read (default 1)\n"
    "\n"
    "  -h, --help  this text (nothing else is done)\n";

}  // namespace

int main(int argc, char** argv) {
    // Arguments are looked at before anything else: asking for the usage
    // must not take the bus name or touch the radar.
    if (argc > 1) {
        if (std::strcmp(argv[1], "--help") == 0 || std::strcmp(argv[1], "-h") == 0) {
            std::fputs(kUsage, stdout);
            return 0;
        }
        std::fprintf(stderr, "kae-service: unknown argument '%s' (try kae-service --help)\n",
                     argv[1]);
        return 2;
    }
    return CMainCtrl::Main();
}
