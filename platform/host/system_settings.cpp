// System settings of the simulated TV, read from the platform store
// (SettingsStore). Only text settings exist on the host.
#include <errno.h>
#include <stdlib.h>
#include <string.h>
#include <system_settings.h>

#include <string>

#include "SettingsStore.h"

extern "C" int system_settings_get_value_string(system_settings_key_e key, char** value) {
    if (value == nullptr || key < 0) {
        return SYSTEM_SETTINGS_ERROR_INVALID_PARAMETER;
    }
    std::string text;
    int ret = SettingsStore::Read(key, &text);
    if (ret == -ENOENT) {
        return SYSTEM_SETTINGS_ERROR_NOT_SUPPORTED;  // this TV has no such setting
    }
    if (ret == -EIO) {
        return SYSTEM_SETTINGS_ERROR_IO_ERROR;
    }
    if (ret != 0) {
        return SYSTEM_SETTINGS_ERROR_INVALID_PARAMETER;  // not a text setting
    }
    char* copy = strdup(text.c_str());
    if (copy == nullptr) {
        return SYSTEM_SETTINGS_ERROR_OUT_OF_MEMORY;
    }
    *value = copy;
    return SYSTEM_SETTINGS_ERROR_NONE;
}
