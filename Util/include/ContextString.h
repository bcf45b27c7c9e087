// Stateless text helpers: local time stamps and the escaping the KPI log
// needs, and client text made safe for the log.
#ifndef TESSIVO_UTIL_CONTEXTSTRING_H
#define TESSIVO_UTIL_CONTEXTSTRING_H

#include <string>

class ContextString {
public:
    // Local time of t (seconds since the epoch) as "%Y-%m-%dT%H:%M:%S%z",
    // e.g. 2024-03-05T21:14:07+0900. t == 0 means now (ContextClock's wall
    // time), never the epoch. "" when the time cannot be converted or its text
    // would exceed 24 characters (years past 9999). \context Thread-safe.
    static std::string ConvertUTCToLocaltime(long t);

    // s with '&' and '^' escaped as "%26" and "%5E"; every other byte, '%'
    // included, passes unchanged so the report's separators survive.
    // \context Thread-safe.
    static std::string UrlEncode(std::string s);

    // Text from outside made safe to print in one log line: every control
    // character (line breaks, tabs, terminal escapes, DEL) as \n, \r, \t or
    // \xNN; everything else unchanged. \context Thread-safe.
    static std::string ForLog(const std::string& text);
};

#endif
