// The service's log lines: tag "KAE_SERVICE", a "file: function(line) > "
// prefix, errors in red on black, information in bold yellow on black, debug
// lines without colour.
#ifndef TESSIVO_UTIL_CONTEXTLOG_H
#define TESSIVO_UTIL_CONTEXTLOG_H

#include <dlog.h>

#define KAE_LOG_TAG "KAE_SERVICE"

#define KAE_COLOR_ERROR "\033[0;31;40m"
#define KAE_COLOR_INFO "\033[1;33;40m"
#define KAE_COLOR_RESET "\033[0m"

// The file name without its directories, resolved at compile time.
constexpr const char* ContextLogBaseName(const char* path) {
    const char* base = path;
    for (const char* p = path; *p != '\0'; ++p) {
        if (*p == '/') {
            base = p + 1;
        }
    }
    return base;
}

#define KAE_LOG_(prio, color, reset, fmt, ...)                                    \
    __dlog_print(LOG_ID_MAIN, prio, KAE_LOG_TAG, color "%s: %s(%d) > " fmt reset, \
                 ContextLogBaseName(__FILE__), __func__, __LINE__, ##__VA_ARGS__)

#define KAE_LOGE(fmt, ...) \
    KAE_LOG_(DLOG_ERROR, KAE_COLOR_ERROR, KAE_COLOR_RESET, fmt, ##__VA_ARGS__)
#define KAE_LOGI(fmt, ...) KAE_LOG_(DLOG_INFO, KAE_COLOR_INFO, KAE_COLOR_RESET, fmt, ##__VA_ARGS__)
#define KAE_LOGD(fmt, ...) KAE_LOG_(DLOG_DEBUG, "", "", fmt, ##__VA_ARGS__)

#endif
