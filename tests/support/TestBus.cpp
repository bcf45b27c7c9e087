#include "TestBus.h"

#include <signal.h>
#include <stdlib.h>
#include <sys/stat.h>

#include <fstream>
#include <sstream>

namespace {

std::string ReplaceAll(std::string text, const std::string& from, const std::string& to) {
    for (size_t at = text.find(from); at != std::string::npos;
         at = text.find(from, at + to.size())) {
        text.replace(at, from.size(), to);
    }
    return text;
}

}  // namespace

TestBus::~TestBus() {
    Stop();
}

bool TestBus::Start(std::string* error, const std::string& extraConfig) {
    char templ[] = "/tmp/tessivo-bus-XXXXXX";
    if (mkdtemp(templ) == nullptr) {
        *error = "mkdtemp failed";
        return false;
    }
    m_dir = templ;
    // Unprivileged test users must reach the socket, as on a real system.
    chmod(m_dir.c_str(), 0755);

    std::ifstream in(std::string(TESSIVO_SOURCE_DIR) + "/dbus/private-system-bus.conf.in");
    std::ostringstream templateText;
    templateText << in.rdbuf();
    if (templateText.str().empty()) {
        *error = "dbus/private-system-bus.conf.in not found";
        return false;
    }
    std::string config = ReplaceAll(templateText.str(), "@SOCKET@", m_dir + "/system_bus_socket");
    config = ReplaceAll(config, "@POLICY@",
                        std::string(TESSIVO_SOURCE_DIR) + "/dbus/com.norvale.tv.tessivo.conf");
    config = ReplaceAll(config, "</busconfig>", extraConfig + "</busconfig>");
    std::string configPath = m_dir + "/system-bus.conf";
    std::ofstream(configPath) << config;

    if (!m_daemon.Start(
            {"dbus-daemon", "--config-file=" + configPath, "--nofork", "--print-address=1"})) {
        *error = "could not start dbus-daemon";
        return false;
    }
    if (!m_daemon.WaitForStdout("\n", 10000)) {
        *error = "dbus-daemon did not print its address: " + m_daemon.Stderr();
        return false;
    }
    m_address = m_daemon.Stdout();
    m_address.erase(m_address.find('\n'));
    return true;
}

void TestBus::Stop() {
    if (m_daemon.IsRunning()) {
        m_daemon.Signal(SIGTERM);
        if (!m_daemon.WaitExit(5000)) {
            m_daemon.Signal(SIGKILL);
            m_daemon.WaitExit(5000);
        }
    }
    if (!m_dir.empty()) {
        std::string cmd = "rm -rf '" + m_dir + "'";
        if (system(cmd.c_str()) != 0) {
            fprintf(stderr, "could not remove %s\n", m_dir.c_str());
        }
        m_dir.clear();
    }
}
