// Host implementation of the platform log: one line per message on standard
// error as "TIME PRIO/TAG(PID): message". TESSIVO_LOG_LEVEL (verbose, debug,
// info, warn, error, fatal, silent, or the first letter of one) drops lines
// below that priority; the default keeps everything from debug up.
#include <dlog.h>

#include <ctype.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <strings.h>
#include <time.h>
#include <unistd.h>

#include <string>

namespace {

const char kPrioLetters[DLOG_PRIO_MAX] = {'?', 'D', 'V', 'D', 'I', 'W', 'E', 'F', 'S'};

int ParseLevel(const char* text) {
    static const struct {
        const char* name;
        int prio;
    } kLevels[] = {{"verbose", DLOG_VERBOSE}, {"debug", DLOG_DEBUG}, {"info", DLOG_INFO},
                   {"warn", DLOG_WARN},       {"error", DLOG_ERROR}, {"fatal", DLOG_FATAL},
                   {"silent", DLOG_SILENT}};
    for (const auto& level : kLevels) {
        if (strcasecmp(text, level.name) == 0 ||
            (text[0] != '\0' && text[1] == '\0' && tolower(text[0]) == level.name[0])) {
            return level.prio;
        }
    }
    return -1;
}

int MinimumPriority() {
    static int minimum = [] {
        const char* env = getenv("TESSIVO_LOG_LEVEL");
        if (env == nullptr || env[0] == '\0') {
            return static_cast<int>(DLOG_DEBUG);
        }
        int prio = ParseLevel(env);
        if (prio < 0) {
            fprintf(stderr,
                    "dlog: TESSIVO_LOG_LEVEL=\"%s\" is not a level (verbose, debug, info, warn, "
                    "error, fatal, silent); using debug\n",
                    env);
            return static_cast<int>(DLOG_DEBUG);
        }
        return prio;
    }();
    return minimum;
}

// Whole lines go out in one write() so that lines of different threads and
// processes sharing the terminal never interleave.
void WriteAll(const std::string& line) {
    const char* p = line.data();
    size_t left = line.size();
    while (left > 0) {
        ssize_t n = write(STDERR_FILENO, p, left);
        if (n <= 0) {
            return;
        }
        p += n;
        left -= static_cast<size_t>(n);
    }
}

// A message is one line of the log. Text that came from outside (a client's
// subject, a file's contents) may hold line breaks or terminal controls that
// would forge lines or rewrite the screen: every control character goes out
// as an escape, but for the tab and the colour sequences (ESC [ digits and
// ';' m) the service's own messages use.
void AppendEscaped(const char* text, size_t size, std::string* line) {
    static const char kHex[] = "0123456789abcdef";
    for (size_t i = 0; i < size; ++i) {
        const unsigned char c = static_cast<unsigned char>(text[i]);
        if (c == 0x1b && i + 1 < size && text[i + 1] == '[') {
            size_t end = i + 2;
            while (end < size && ((text[end] >= '0' && text[end] <= '9') || text[end] == ';')) {
                ++end;
            }
            if (end < size && text[end] == 'm') {
                line->append(text + i, end + 1 - i);
                i = end;
                continue;
            }
        }
        if (c == '\t' || (c >= 0x20 && c != 0x7f)) {
            *line += static_cast<char>(c);
        } else if (c == '\n') {
            *line += "\\n";
        } else if (c == '\r') {
            *line += "\\r";
        } else {
            *line += "\\x";
            *line += kHex[c >> 4];
            *line += kHex[c & 0x0F];
        }
    }
}

}  // namespace

extern "C" int __dlog_vprint(log_id_t log_id, int prio, const char* tag, const char* fmt,
                             va_list ap) {
    if (fmt == nullptr || prio <= DLOG_UNKNOWN || prio >= DLOG_PRIO_MAX || log_id < LOG_ID_MAIN ||
        log_id >= LOG_ID_MAX) {
        return DLOG_ERROR_INVALID_PARAMETER;
    }
    int effective = prio == DLOG_DEFAULT ? DLOG_DEBUG : prio;
    if (effective < MinimumPriority() || effective == DLOG_SILENT) {
        return 0;
    }

    struct timespec now;
    clock_gettime(CLOCK_REALTIME, &now);
    struct tm local;
    localtime_r(&now.tv_sec, &local);
    char stamp[32];
    size_t len = strftime(stamp, sizeof(stamp), "%m-%d %H:%M:%S", &local);
    snprintf(stamp + len, sizeof(stamp) - len, ".%03ld", now.tv_nsec / 1000000);

    char head[160];
    snprintf(head, sizeof(head), "%s %c/%s(%d): ", stamp, kPrioLetters[prio],
             tag != nullptr ? tag : "", static_cast<int>(getpid()));

    va_list copy;
    va_copy(copy, ap);
    char small[1024];
    int needed = vsnprintf(small, sizeof(small), fmt, copy);
    va_end(copy);
    if (needed < 0) {
        return DLOG_ERROR_INVALID_PARAMETER;
    }
    std::string line(head);
    if (static_cast<size_t>(needed) < sizeof(small)) {
        AppendEscaped(small, static_cast<size_t>(needed), &line);
    } else {
        std::string big(static_cast<size_t>(needed) + 1, '\0');
        vsnprintf(&big[0], big.size(), fmt, ap);
        AppendEscaped(big.data(), static_cast<size_t>(needed), &line);
    }
    line += '\n';
    WriteAll(line);
    return static_cast<int>(line.size());
}

extern "C" int __dlog_print(log_id_t log_id, int prio, const char* tag, const char* fmt, ...) {
    va_list ap;
    va_start(ap, fmt);
    int ret = __dlog_vprint(log_id, prio, tag, fmt, ap);
    va_end(ap);
    return ret;
}

extern "C" int dlog_print(log_priority prio, const char* tag, const char* fmt, ...) {
    va_list ap;
    va_start(ap, fmt);
    int ret = __dlog_vprint(LOG_ID_APPS, prio, tag, fmt, ap);
    va_end(ap);
    return ret;
}
