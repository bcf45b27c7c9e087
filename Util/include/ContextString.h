// Stateless text helpers of the usage report: local time stamps and the
// escaping the KPI log needs.
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
};

#endif
