#include "ServiceTest.h"

#include "KaeInterface.h"

#include <pwd.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>
#include <sstream>

namespace {

std::vector<std::string> AsUser(const std::string& user, std::vector<std::string> argv) {
    if (user.empty()) {
        return argv;
    }
    const struct passwd* entry = getpwnam(user.c_str());
    std::string group = entry != nullptr ? std::to_string(entry->pw_gid) : user;
    std::vector<std::string> wrapped = {"setpriv", "--reuid=" + user, "--regid=" + group,
                                        "--clear-groups", "--"};
    wrapped.insert(wrapped.end(), argv.begin(), argv.end());
    return wrapped;
}

}  // namespace

::testing::AssertionResult InOrder(const std::string& text, const std::vector<std::string>& pieces,
                                   const std::string& prefix) {
    size_t at = 0;
    for (const std::string& piece : pieces) {
        const std::string line = prefix + piece;
        size_t found = text.find(line, at);
        if (found == std::string::npos) {
            return ::testing::AssertionFailure() << "\"" << line << "\" missing or out of order";
        }
        at = found + line.size();
    }
    return ::testing::AssertionSuccess();
}

::testing::AssertionResult LogInOrder(const std::string& log,
                                      const std::vector<std::string>& messages) {
    return InOrder(log, messages, "> ");
}

std::vector<Json::Value> JsonLines(const std::string& text) {
    std::vector<Json::Value> values;
    std::istringstream lines(text);
    std::string line;
    Json::CharReaderBuilder builder;
    while (std::getline(lines, line)) {
        Json::Value value;
        std::string errors;
        std::istringstream in(line);
        if (!line.empty() && Json::parseFromStream(builder, in, &value, &errors)) {
            values.push_back(value);
        }
    }
    return values;
}

void ServiceTest::SetUp() {
    std::string error;
    ASSERT_TRUE(m_bus.Start(&error, ExtraBusConfig())) << error;
    char templ[] = "/tmp/tessivo-tv-XXXXXX";
    ASSERT_NE(mkdtemp(templ), nullptr);
    m_platformDir = templ;
    chmod(m_platformDir.c_str(), 0755);
    m_env = {{"DBUS_SYSTEM_BUS_ADDRESS", m_bus.Address()},
             {"TESSIVO_PLATFORM_DIR", m_platformDir},
             {"G_DEBUG", "fatal-criticals"}};
    CommandResult init = Platform({"init"});
    ASSERT_EQ(init.exitCode, 0) << init.err;
}

void ServiceTest::TearDown() {
    // Stop politely first, so that what a sanitizer finds at exit is seen.
    for (auto& process : m_processes) {
        if (process->IsRunning()) {
            process->Signal(SIGTERM);
            if (!process->WaitExit(kWaitMs)) {
                ADD_FAILURE() << process->Argv()[0] << " did not end on SIGTERM";
                process->Signal(SIGKILL);
                process->WaitExit(kWaitMs);
            }
        }
    }
    for (auto& process : m_processes) {
        const std::string log = process->Stderr();
        for (const char* report :
             {"ThreadSanitizer:", "AddressSanitizer:", "LeakSanitizer:", "runtime error:"}) {
            EXPECT_EQ(log.find(report), std::string::npos)
                << process->Argv()[0] << " (pid " << process->Pid() << ") reported " << report;
        }
    }
    bool failed = HasFailure();
    for (auto& process : m_processes) {
        if (failed) {
            std::string name = process->Argv().empty() ? "?" : process->Argv()[0];
            for (const std::string& arg : process->Argv()) {
                if (arg.find('/') != std::string::npos) {
                    name = arg;
                }
            }
            fprintf(stderr, "----- %s (pid %d) stdout -----\n%s\n----- stderr -----\n%s\n",
                    name.c_str(), process->Pid(), process->Stdout().c_str(),
                    process->Stderr().c_str());
        }
    }
    if (failed) {
        fprintf(stderr, "----- dbus-daemon -----\n%s\n", m_bus.Log().c_str());
    }
    m_processes.clear();
    m_bus.Stop();
    if (!m_platformDir.empty()) {
        std::string cmd = "rm -rf '" + m_platformDir + "'";
        if (system(cmd.c_str()) != 0) {
            fprintf(stderr, "could not remove %s\n", m_platformDir.c_str());
        }
    }
}

std::string ServiceTest::Bin(const std::string& name) {
    return std::string(TESSIVO_BIN_DIR) + "/" + name;
}

bool ServiceTest::IsRoot() {
    return geteuid() == 0;
}

Subprocess& ServiceTest::StartService(const std::string& user) {
    return StartClient({Bin("kae-service")}, user);
}

Subprocess& ServiceTest::StartClient(const std::vector<std::string>& argv,
                                     const std::string& user) {
    m_processes.push_back(std::make_unique<Subprocess>());
    Subprocess& process = *m_processes.back();
    EXPECT_TRUE(process.Start(AsUser(user, argv), m_env)) << argv[0];
    return process;
}

bool ServiceTest::WaitUntilServing(Subprocess& service) {
    return service.WaitForStderr("OnNameAcquired, m_connection", kWaitMs);
}

CommandResult ServiceTest::Run(const std::vector<std::string>& argv, const std::string& user,
                               int timeoutMs) {
    return RunCommand(AsUser(user, argv), m_env, timeoutMs);
}

CommandResult ServiceTest::Platform(const std::vector<std::string>& args) {
    std::vector<std::string> argv = {Bin("tessivo-platform")};
    argv.insert(argv.end(), args.begin(), args.end());
    return Run(argv);
}

void ServiceTest::SetVconf(const std::string& key, const std::string& type,
                           const std::string& value) {
    CommandResult set = Platform({"vconf", "set", key, type, value});
    ASSERT_EQ(set.exitCode, 0) << set.err;
}

void ServiceTest::Publish(const std::string& subject, const std::string& json) {
    CommandResult publish = Platform({"dsf", "publish", subject, json});
    ASSERT_EQ(publish.exitCode, 0) << publish.err;
}

CommandResult ServiceTest::CallService(const std::string& method,
                                       const std::vector<std::string>& args,
                                       const std::string& user, int timeoutSeconds) {
    std::vector<std::string> argv = {"gdbus",
                                     "call",
                                     "--system",
                                     "--timeout",
                                     std::to_string(timeoutSeconds),
                                     "--dest",
                                     KAE_DBUS_NAME,
                                     "--object-path",
                                     KAE_DBUS_PATH,
                                     "--method",
                                     std::string(KAE_DBUS_INTERFACE) + "." + method};
    argv.insert(argv.end(), args.begin(), args.end());
    return Run(argv, user, (timeoutSeconds + 10) * 1000);
}

std::string ServiceTest::NameOwner() {
    CommandResult result = Run({"gdbus", "call", "--system", "--dest", "org.freedesktop.DBus",
                                "--object-path", "/org/freedesktop/DBus", "--method",
                                "org.freedesktop.DBus.GetNameOwner", KAE_DBUS_NAME});
    if (result.exitCode != 0) {
        return "";
    }
    // ('...',)
    size_t open = result.out.find('\'');
    size_t close = result.out.rfind('\'');
    return open == std::string::npos || close <= open
               ? ""
               : result.out.substr(open + 1, close - open - 1);
}

Subprocess& ServiceTest::StartMonitor() {
    Subprocess& monitor = StartClient(
        {"dbus-monitor", "--system", "type='signal',interface='com.norvale.tv.tessivo.interface'"});
    // dbus-monitor reports its own name first; after that it sees everything.
    EXPECT_TRUE(monitor.WaitForStdout("NameLost", kWaitMs)) << monitor.Stderr();
    return monitor;
}

Json::Value ServiceTest::StatusProperties(const std::string& user) {
    CommandResult result =
        Run({"busctl", "--system", "--json=short", "call", KAE_DBUS_NAME, KAE_DBUS_STATUS_PATH,
             "org.freedesktop.DBus.Properties", "GetAll", "s", KAE_DBUS_STATUS_INTERFACE},
            user);
    Json::Value properties(Json::objectValue);
    std::vector<Json::Value> lines = JsonLines(result.out);
    if (result.exitCode != 0 || lines.size() != 1) {
        return properties;
    }
    // {"type":"a{sv}","data":[{"Mode":{"type":"s","data":"presence"},...}]}
    const Json::Value& dictionary = lines[0]["data"][0];
    for (const std::string& name : dictionary.getMemberNames()) {
        properties[name] = dictionary[name]["data"];
    }
    return properties;
}

std::string ServiceTest::GdbusStatusProperty(const std::string& name, const std::string& user) {
    CommandResult result =
        Run({"gdbus", "call", "--system", "--dest", KAE_DBUS_NAME, "--object-path",
             KAE_DBUS_STATUS_PATH, "--method", "org.freedesktop.DBus.Properties.Get",
             KAE_DBUS_STATUS_INTERFACE, name},
            user);
    return result.exitCode == 0 ? result.out : result.err;
}
