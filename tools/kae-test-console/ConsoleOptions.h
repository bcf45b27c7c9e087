// The command line of kae-test-console: one command, its words and a few
// options, parsed without touching the bus so that it can be checked alone.
#ifndef TESSIVO_TOOLS_KAETESTCONSOLE_CONSOLEOPTIONS_H
#define TESSIVO_TOOLS_KAETESTCONSOLE_CONSOLEOPTIONS_H

#include <string>
#include <vector>

// Exit codes of the tool.
constexpr int kConsoleExitOk = 0;
constexpr int kConsoleExitFailure = 1;  // service absent, D-Bus error, time-out, refusal
constexpr int kConsoleExitUsage = 2;

constexpr int kConsoleDefaultTimeoutMs = 5000;

enum class ConsoleCommand { NONE, ENABLE, WATCH, READ_PRESENCE, READ_DISTANCE, SUBSCRIBE, STATUS };

struct ConsoleOptions {
    ConsoleCommand command = ConsoleCommand::NONE;
    bool help = false;
    bool json = false;
    bool follow = false;  // status: go on printing each change
    // Signals (watch, subscribe), reads (read --every) or changes (status
    // --follow) before stopping;
    // 0 = until interrupted.
    int count = 0;
    int everyMs = 0;  // read: the period of repeated reads; 0 = read once
    int timeoutMs = kConsoleDefaultTimeoutMs;
};

// Parses the arguments after the program name. Options may stand before or
// after the command; "--count N" and "--count=N" are both accepted. Returns
// false with a one-line reason in *error on a bad command line; "--help"
// anywhere wins over everything else.
bool ParseConsoleOptions(const std::vector<std::string>& args, ConsoleOptions* options,
                         std::string* error);

// The usage text, several lines ending in a newline.
std::string ConsoleUsage(const char* program);
// Two lines for a bad command line: the synopsis and where to read more.
std::string ConsoleShortUsage(const char* program);

#endif
