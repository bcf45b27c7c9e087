/*
 * System settings, with the API shape of the platform's system-settings
 * library (only the part the service uses).
 */
#ifndef TESSIVO_PLATFORM_SYSTEM_SETTINGS_H
#define TESSIVO_PLATFORM_SYSTEM_SETTINGS_H

#ifdef __cplusplus
extern "C" {
#endif

typedef enum {
    SYSTEM_SETTINGS_ERROR_NONE = 0,
    SYSTEM_SETTINGS_ERROR_OUT_OF_MEMORY = -12,
    SYSTEM_SETTINGS_ERROR_IO_ERROR = -5,
    SYSTEM_SETTINGS_ERROR_INVALID_PARAMETER = -22,
    SYSTEM_SETTINGS_ERROR_NOT_SUPPORTED = -1073741822,
} system_settings_error_e;

/* Settings are numbered; the TV's current source type (a text such as
 * "SOURCE_TYPE_HDMI1" or "SOURCE_TYPE_TV") is number 10136. */
typedef int system_settings_key_e;
#define SYSTEM_SETTINGS_KEY_SOURCE_TYPE ((system_settings_key_e)10136)

/* SYSTEM_SETTINGS_ERROR_NONE with *value a malloc'ed text the caller frees,
 * or an error with *value untouched. */
int system_settings_get_value_string(system_settings_key_e key, char** value);

#ifdef __cplusplus
}
#endif

#endif
