#include "ContextString.h"

#include <string.h>
#include <time.h>

#include "ContextClock.h"
#include "ContextLog.h"

std::string ContextString::ConvertUTCToLocaltime(long t) {
    time_t when = t == 0 ? ContextClock::WallTime() : static_cast<time_t>(t);
    struct tm local;
    if (localtime_r(&when, &local) == nullptr) {
        KAE_LOGE("localtime_r failed for %ld", t);
        return "";
    }
    // 24 characters and the terminator; strftime gives 0 when a longer year
    // would not fit, and the contents are then undefined.
    char buffer[25];
    memset(buffer, 0, sizeof(buffer));
    if (strftime(buffer, sizeof(buffer), "%Y-%m-%dT%H:%M:%S%z", &local) == 0) {
        KAE_LOGE("time %ld does not fit the time text", t);
        return "";
    }
    return buffer;
}

std::string ContextString::UrlEncode(std::string s) {
    static const char kHex[] = "0123456789ABCDEF";
    std::string result;
    result.reserve(s.size());
    for (char c : s) {
        if (c == '&' || c == '^') {
            unsigned char byte = static_cast<unsigned char>(c);
            result += '%';
            result += kHex[byte >> 4];
            result += kHex[byte & 0x0F];
        } else {
            result += c;
        }
    }
    return result;
}

std::string ContextString::ForLog(const std::string& text) {
    static const char kHex[] = "0123456789abcdef";
    std::string result;
    result.reserve(text.size());
    for (char c : text) {
        const unsigned char byte = static_cast<unsigned char>(c);
        if (byte >= 0x20 && byte != 0x7f) {
            result += c;
        } else if (c == '\n') {
            result += "\\n";
        } else if (c == '\r') {
            result += "\\r";
        } else if (c == '\t') {
            result += "\\t";
        } else {
            result += "\\x";
            result += kHex[byte >> 4];
            result += kHex[byte & 0x0F];
        }
    }
    return result;
}
