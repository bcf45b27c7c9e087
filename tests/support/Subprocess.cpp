#include "Subprocess.h"

#include <fcntl.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <fstream>
#include <sstream>
#include <thread>

namespace {

std::string ReadFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

void RemoveTree(const std::string& dir) {
    if (dir.empty()) {
        return;
    }
    std::string cmd = "rm -rf '" + dir + "'";
    if (system(cmd.c_str()) != 0) {
        fprintf(stderr, "could not remove %s\n", dir.c_str());
    }
}

}  // namespace

bool PollUntil(int timeoutMs, const std::function<bool()>& check) {
    auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
    for (;;) {
        if (check()) {
            return true;
        }
        if (std::chrono::steady_clock::now() >= deadline) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
}

int CountOccurrences(const std::string& text, const std::string& needle) {
    int count = 0;
    for (size_t at = text.find(needle); !needle.empty() && at != std::string::npos;
         at = text.find(needle, at + needle.size())) {
        ++count;
    }
    return count;
}

Subprocess::~Subprocess() {
    if (m_pid > 0 && !m_exited) {
        kill(m_pid, SIGKILL);
        WaitExit(5000);
    }
    RemoveTree(m_dir);
}

bool Subprocess::Start(const std::vector<std::string>& argv, const Environment& env) {
    if (argv.empty() || m_pid > 0) {
        return false;
    }
    char templ[] = "/tmp/tessivo-proc-XXXXXX";
    if (mkdtemp(templ) == nullptr) {
        return false;
    }
    m_dir = templ;
    m_argv = argv;
    std::string outPath = m_dir + "/stdout";
    std::string errPath = m_dir + "/stderr";

    std::vector<char*> args;
    for (const std::string& arg : argv) {
        args.push_back(const_cast<char*>(arg.c_str()));
    }
    args.push_back(nullptr);

    pid_t pid = fork();
    if (pid < 0) {
        return false;
    }
    if (pid == 0) {
        int out = open(outPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
        int err = open(errPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
        int in = open("/dev/null", O_RDONLY);
        if (out < 0 || err < 0 || in < 0) {
            _exit(126);
        }
        dup2(in, STDIN_FILENO);
        dup2(out, STDOUT_FILENO);
        dup2(err, STDERR_FILENO);
        for (const auto& entry : env) {
            setenv(entry.first.c_str(), entry.second.c_str(), 1);
        }
        // A process group of its own, so a time-out can end what it started.
        setpgid(0, 0);
        execvp(args[0], args.data());
        _exit(127);
    }
    m_pid = pid;
    return true;
}

bool Subprocess::IsRunning() {
    if (m_pid <= 0 || m_exited) {
        return false;
    }
    return !WaitExit(0);
}

bool Subprocess::Signal(int signum) {
    return m_pid > 0 && !m_exited && kill(m_pid, signum) == 0;
}

bool Subprocess::WaitExit(int timeoutMs, int* status) {
    if (m_pid <= 0) {
        return false;
    }
    bool ended = m_exited || PollUntil(timeoutMs, [this] {
                     int st = 0;
                     if (waitpid(m_pid, &st, WNOHANG) == m_pid) {
                         m_status = st;
                         m_exited = true;
                     }
                     return m_exited;
                 });
    if (ended && status != nullptr) {
        *status = m_status;
    }
    return ended;
}

std::string Subprocess::Stdout() const {
    return m_dir.empty() ? "" : ReadFile(m_dir + "/stdout");
}

std::string Subprocess::Stderr() const {
    return m_dir.empty() ? "" : ReadFile(m_dir + "/stderr");
}

bool Subprocess::WaitForStdout(const std::string& text, int timeoutMs) const {
    return PollUntil(timeoutMs, [&] { return Stdout().find(text) != std::string::npos; });
}

bool Subprocess::WaitForStderr(const std::string& text, int timeoutMs) const {
    return WaitForStderrCount(text, 1, timeoutMs);
}

bool Subprocess::WaitForStderrCount(const std::string& text, int count, int timeoutMs) const {
    return PollUntil(timeoutMs, [&] { return CountOccurrences(Stderr(), text) >= count; });
}

CommandResult RunCommand(const std::vector<std::string>& argv, const Environment& env,
                         int timeoutMs) {
    CommandResult result;
    Subprocess process;
    if (!process.Start(argv, env)) {
        result.err = "could not start " + (argv.empty() ? std::string("nothing") : argv[0]);
        return result;
    }
    int status = 0;
    result.finished = process.WaitExit(timeoutMs, &status);
    if (!result.finished) {
        kill(-process.Pid(), SIGKILL);
        process.WaitExit(5000, &status);
    } else if (WIFEXITED(status)) {
        result.exitCode = WEXITSTATUS(status);
    }
    result.out = process.Stdout();
    result.err = process.Stderr();
    return result;
}
