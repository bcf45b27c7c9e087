// Base fixture of the integration tests: a private system bus, a fresh
// simulated TV seeded with `tessivo-platform init`, and helpers to start the
// real kae-service and to run real clients against it. When a test fails the
// logs of the daemons it started are printed.
#ifndef TESSIVO_TESTS_SERVICETEST_H
#define TESSIVO_TESTS_SERVICETEST_H

#include <gtest/gtest.h>
#include <json/json.h>

#include <memory>
#include <string>
#include <vector>

#include "Subprocess.h"
#include "TestBus.h"

// The pieces of text in order: each must appear, behind prefix, after the
// one before it.
::testing::AssertionResult InOrder(const std::string& text, const std::vector<std::string>& pieces,
                                   const std::string& prefix = "");
// Log messages in order. A message is matched behind the "file:
// function(line) > " prefix, so a function named like a message does not
// count.
::testing::AssertionResult LogInOrder(const std::string& log,
                                      const std::vector<std::string>& messages);
// The lines of text that are JSON documents (others are skipped).
std::vector<Json::Value> JsonLines(const std::string& text);

class ServiceTest : public ::testing::Test {
protected:
    static constexpr int kWaitMs = 20000;

    void SetUp() override;
    void TearDown() override;
    // Configuration added to the private bus's (for instance small
    // per-connection limits); none by default.
    virtual std::string ExtraBusConfig() const { return ""; }

    // The environment every process of the test gets: the bus address and
    // the platform directory.
    const Environment& Env() const { return m_env; }
    static std::string Bin(const std::string& name);

    // Starts kae-service (optionally under another user, through setpriv);
    // the process stays owned by the fixture.
    Subprocess& StartService(const std::string& user = "");
    // Starts any long-running client; its output is printed on failure.
    Subprocess& StartClient(const std::vector<std::string>& argv, const std::string& user = "");
    // Waits until the service has its name and its object is registered.
    bool WaitUntilServing(Subprocess& service);

    CommandResult Run(const std::vector<std::string>& argv, const std::string& user = "",
                      int timeoutMs = kWaitMs);
    // tessivo-platform with the test's platform directory.
    CommandResult Platform(const std::vector<std::string>& args);
    // Sets a vconf key of the simulated TV as the TV's programs would.
    void SetVconf(const std::string& key, const std::string& type, const std::string& value);
    // Publishes a data-service event as the TV's programs would.
    void Publish(const std::string& subject, const std::string& json);
    // gdbus call on the service's interface.
    CommandResult CallService(const std::string& method, const std::vector<std::string>& args = {},
                              const std::string& user = "", int timeoutSeconds = 10);
    // The unique name owning the service's well-known name, or "" if none.
    std::string NameOwner();
    // dbus-monitor watching the service's interface; returns once it listens.
    Subprocess& StartMonitor();
    // Every property of the status object, read with busctl, by name
    // ({"Mode":"presence",...}); an empty object when the read fails.
    Json::Value StatusProperties(const std::string& user = "");
    // One property of the status object, read with gdbus: "(<'boot'>,)\n",
    // or gdbus's error text.
    std::string GdbusStatusProperty(const std::string& name, const std::string& user = "");

    static bool IsRoot();

    TestBus m_bus;
    std::string m_platformDir;
    Environment m_env;
    std::vector<std::unique_ptr<Subprocess>> m_processes;
};

#endif
