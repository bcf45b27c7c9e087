// A private bus configured like the system bus, with the service's policy
// file included, on a socket in a temporary directory.
#ifndef TESSIVO_TESTS_TESTBUS_H
#define TESSIVO_TESTS_TESTBUS_H

#include <string>

#include "Subprocess.h"

class TestBus {
public:
    TestBus() = default;
    ~TestBus();

    // Writes the configuration from dbus/private-system-bus.conf.in, with
    // extraConfig (elements such as <limit>) added at its end, and starts
    // dbus-daemon; false with *error set when it does not come up.
    bool Start(std::string* error, const std::string& extraConfig = "");
    void Stop();
    const std::string& Address() const { return m_address; }
    int Pid() const { return m_daemon.Pid(); }
    // What the daemon printed (shown when a test fails).
    std::string Log() const { return m_daemon.Stderr(); }

private:
    std::string m_dir;
    std::string m_address;
    Subprocess m_daemon;
};

#endif
