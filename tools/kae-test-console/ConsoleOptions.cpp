#include "ConsoleOptions.h"

#include <cerrno>
#include <climits>
#include <cstdlib>

namespace {

// A decimal number from 1 to INT_MAX, with nothing around it.
bool ParsePositive(const std::string& text, int* value) {
    if (text.empty() || text[0] < '0' || text[0] > '9') {
        return false;
    }
    errno = 0;
    char* end = nullptr;
    long parsed = strtol(text.c_str(), &end, 10);
    if (errno != 0 || *end != '\0' || parsed < 1 || parsed > INT_MAX) {
        return false;
    }
    *value = static_cast<int>(parsed);
    return true;
}

// Splits "--name=value"; returns false when there is no '='.
bool SplitInline(const std::string& arg, std::string* name, std::string* value) {
    size_t eq = arg.find('=');
    if (eq == std::string::npos) {
        return false;
    }
    *name = arg.substr(0, eq);
    *value = arg.substr(eq + 1);
    return true;
}

bool ResolveCommand(const std::vector<std::string>& words, ConsoleCommand* command,
                    std::string* error) {
    if (words.empty()) {
        *error = "missing command";
        return false;
    }
    const std::string& name = words[0];
    size_t wanted = 1;
    if (name == "enable") {
        *command = ConsoleCommand::ENABLE;
    } else if (name == "watch") {
        *command = ConsoleCommand::WATCH;
    } else if (name == "subscribe") {
        *command = ConsoleCommand::SUBSCRIBE;
    } else if (name == "status") {
        *command = ConsoleCommand::STATUS;
    } else if (name == "read") {
        if (words.size() < 2) {
            *error = "read needs what to read: presence or distance";
            return false;
        }
        if (words[1] == "presence") {
            *command = ConsoleCommand::READ_PRESENCE;
        } else if (words[1] == "distance") {
            *command = ConsoleCommand::READ_DISTANCE;
        } else {
            *error = "cannot read '" + words[1] + "': use presence or distance";
            return false;
        }
        wanted = 2;
    } else {
        *error = "unknown command '" + name + "'";
        return false;
    }
    if (words.size() > wanted) {
        *error = "unexpected argument '" + words[wanted] + "' after " + name;
        return false;
    }
    return true;
}

}  // namespace

bool ParseConsoleOptions(const std::vector<std::string>& args, ConsoleOptions* options,
                         std::string* error) {
    ConsoleOptions parsed;
    for (const std::string& arg : args) {
        if (arg == "--") {
            break;
        }
        if (arg == "--help" || arg == "-h") {
            parsed.help = true;
            *options = parsed;
            return true;
        }
    }

    std::vector<std::string> words;
    bool countGiven = false;
    bool everyGiven = false;
    bool onlyWords = false;
    for (size_t i = 0; i < args.size(); ++i) {
        const std::string& arg = args[i];
        if (onlyWords || arg.empty() || arg[0] != '-' || arg == "-") {
            words.push_back(arg);
            continue;
        }
        if (arg == "--") {
            onlyWords = true;
            continue;
        }
        if (arg == "--json") {
            parsed.json = true;
            continue;
        }
        if (arg == "--follow" || arg == "-f") {
            parsed.follow = true;
            continue;
        }
        std::string name = arg;
        std::string value;
        bool hasValue = SplitInline(arg, &name, &value);
        if (name != "--count" && name != "--timeout" && name != "--every") {
            *error = "unknown option '" + arg + "'";
            return false;
        }
        if (!hasValue) {
            if (i + 1 >= args.size()) {
                *error = "option " + name + " needs a value";
                return false;
            }
            value = args[++i];
        }
        int number = 0;
        if (!ParsePositive(value, &number)) {
            *error = "option " + name + " needs a whole number from 1 to " +
                     std::to_string(INT_MAX) + ", not '" + value + "'";
            return false;
        }
        if (name == "--count") {
            parsed.count = number;
            countGiven = true;
        } else if (name == "--every") {
            parsed.everyMs = number;
            everyGiven = true;
        } else {
            parsed.timeoutMs = number;
        }
    }

    if (!ResolveCommand(words, &parsed.command, error)) {
        return false;
    }
    bool isRead = parsed.command == ConsoleCommand::READ_PRESENCE ||
                  parsed.command == ConsoleCommand::READ_DISTANCE;
    if (everyGiven && !isRead) {
        *error = "--every applies to read only";
        return false;
    }
    if (parsed.follow && parsed.command != ConsoleCommand::STATUS) {
        *error = "--follow applies to status only";
        return false;
    }
    if (countGiven && parsed.command != ConsoleCommand::WATCH &&
        parsed.command != ConsoleCommand::SUBSCRIBE && !everyGiven && !parsed.follow) {
        *error = "--count applies to watch, subscribe, read --every and status --follow only";
        return false;
    }
    *options = parsed;
    return true;
}

std::string ConsoleShortUsage(const char* program) {
    std::string name = program != nullptr ? program : "kae-test-console";
    return "Usage: " + name +
           " [--json] [--count N] [--timeout MS] [--every MS] [--follow] "
           "enable|watch|read presence|read distance|subscribe|status\n"
           "Run '" +
           name + " --help' for more.\n";
}

std::string ConsoleUsage(const char* program) {
    std::string name = program != nullptr ? program : "kae-test-console";
    return "Usage: " + name +
           " [options] COMMAND\n"
           "\n"
           "Talks to the tessivo service on the D-Bus system bus\n"
           "(DBUS_SYSTEM_BUS_ADDRESS selects another bus).\n"
           "\n"
           "Commands:\n"
           "  enable          ask whether the service is enabled and print its white list\n"
           "  watch           print every Response signal of the service (HELLO, BYE, results)\n"
           "  read presence   read the current presence value\n"
           "  read distance   read the current presence detection and distance\n"
           "  subscribe       subscribe to track and segment results and print each one;\n"
           "                  unsubscribes on exit\n"
           "  status          what the service does and why: its shape, mode and the reason,\n"
           "                  the radar, the sensor claim, subscribers, statistics\n"
           "\n"
           "Options:\n"
           "  --json          one JSON object per line on standard output\n"
           "  --count N       stop after N signals (watch, subscribe), after N reads\n"
           "                  (read --every; a read that fails counts too) or after N\n"
           "                  changes (status --follow)\n"
           "  --timeout MS    time-out of each method call in milliseconds (default 5000)\n"
           "  --every MS      read: repeat the read every MS milliseconds\n"
           "  -f, --follow    status: then print each change as it happens\n"
           "  -h, --help      show this text\n"
           "\n"
           "watch, subscribe, read --every and status --follow run until interrupted\n"
           "(Ctrl-C) or until --count is reached; subscribe and read --every also end,\n"
           "with status 1, when the service leaves the bus, while status --follow notes\n"
           "it and prints the whole status again when the service is back. A repeated\n"
           "read that fails prints its line or note and the reads go on.\n"
           "Exit status: 0 done, 1 service absent, error, time-out or refusal (for\n"
           "read --every: of the last read), 2 bad command line.\n";
}
