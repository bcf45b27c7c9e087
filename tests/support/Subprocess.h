// A child process for integration tests: its standard output and error go to
// files that the test can read and wait on while the child runs.
#ifndef TESSIVO_TESTS_SUBPROCESS_H
#define TESSIVO_TESTS_SUBPROCESS_H

#include <sys/types.h>

#include <functional>
#include <map>
#include <string>
#include <vector>

using Environment = std::map<std::string, std::string>;

class Subprocess {
public:
    Subprocess() = default;
    ~Subprocess();
    Subprocess(const Subprocess&) = delete;
    Subprocess& operator=(const Subprocess&) = delete;

    // Starts argv[0] (searched in PATH) with the current environment plus env.
    bool Start(const std::vector<std::string>& argv, const Environment& env = {});
    pid_t Pid() const { return m_pid; }
    bool IsRunning();
    bool Signal(int signum);
    // Waits up to timeoutMs for the child to end; the wait status goes to
    // *status. False on a time-out.
    bool WaitExit(int timeoutMs, int* status = nullptr);

    std::string Stdout() const;
    std::string Stderr() const;
    // Polls until the output contains text; false on a time-out.
    bool WaitForStdout(const std::string& text, int timeoutMs) const;
    bool WaitForStderr(const std::string& text, int timeoutMs) const;
    // Like WaitForStderr, but counts occurrences.
    bool WaitForStderrCount(const std::string& text, int count, int timeoutMs) const;

    const std::vector<std::string>& Argv() const { return m_argv; }

private:
    pid_t m_pid = -1;
    int m_status = 0;
    bool m_exited = false;
    std::string m_dir;
    std::vector<std::string> m_argv;
};

struct CommandResult {
    bool finished = false;  // false when it had to be killed after the time-out
    int exitCode = -1;      // -1 when it did not exit normally
    std::string out;
    std::string err;
};

CommandResult RunCommand(const std::vector<std::string>& argv, const Environment& env = {},
                         int timeoutMs = 20000);

// Counts non-overlapping occurrences of needle in text.
int CountOccurrences(const std::string& text, const std::string& needle);

// Real-time polling helper for integration tests: calls check every 20 ms
// until it returns true or timeoutMs passes.
bool PollUntil(int timeoutMs, const std::function<bool()>& check);

#endif
