/*
 * Device feature flags, with the API shape of the platform's system-info
 * library (only the part the service uses).
 */
#ifndef TESSIVO_PLATFORM_SYSTEM_INFO_H
#define TESSIVO_PLATFORM_SYSTEM_INFO_H

#include <stdbool.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef enum {
    SYSTEM_INFO_ERROR_NONE = 0,
    SYSTEM_INFO_ERROR_INVALID_PARAMETER = -22,
    SYSTEM_INFO_ERROR_OUT_OF_MEMORY = -12,
    SYSTEM_INFO_ERROR_IO_ERROR = -5,
    SYSTEM_INFO_ERROR_PERMISSION_DENIED = -13,
    SYSTEM_INFO_ERROR_NOT_SUPPORTED = -1073741822
} system_info_error_e;

/* Reads a custom (vendor) boolean feature such as "com.norvale/featureconf/tavlo_tv". */
int system_info_get_custom_bool(const char* key, bool* value);

#ifdef __cplusplus
}
#endif

#endif
