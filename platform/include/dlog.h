/*
 * Platform log. The device's logging library with the API shape the service
 * calls; on a host build the implementation lives in platform/host.
 */
#ifndef TESSIVO_PLATFORM_DLOG_H
#define TESSIVO_PLATFORM_DLOG_H

#include <stdarg.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef enum {
    DLOG_UNKNOWN = 0,
    DLOG_DEFAULT,
    DLOG_VERBOSE,
    DLOG_DEBUG,
    DLOG_INFO,
    DLOG_WARN,
    DLOG_ERROR,
    DLOG_FATAL,
    DLOG_SILENT,
    DLOG_PRIO_MAX
} log_priority;

typedef enum {
    LOG_ID_INVALID = -1,
    LOG_ID_MAIN,
    LOG_ID_RADIO,
    LOG_ID_SYSTEM,
    LOG_ID_APPS,
    LOG_ID_MAX
} log_id_t;

#define DLOG_ERROR_NONE 0
#define DLOG_ERROR_INVALID_PARAMETER (-22)

/* Returns the number of bytes written, or a negative error. */
int __dlog_print(log_id_t log_id, int prio, const char* tag, const char* fmt, ...)
    __attribute__((format(printf, 4, 5)));
int __dlog_vprint(log_id_t log_id, int prio, const char* tag, const char* fmt, va_list ap)
    __attribute__((format(printf, 4, 0)));
int dlog_print(log_priority prio, const char* tag, const char* fmt, ...)
    __attribute__((format(printf, 3, 4)));

#ifdef __cplusplus
}
#endif

#endif
