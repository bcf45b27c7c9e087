// Feature flags of the simulated TV: typed values in the "features" area of
// the platform store.
#include <errno.h>
#include <system_info.h>

#include "PlatformStore.h"

extern "C" int system_info_get_custom_bool(const char* key, bool* value) {
    if (key == nullptr || value == nullptr) {
        return SYSTEM_INFO_ERROR_INVALID_PARAMETER;
    }
    PlatformStore::Value stored;
    int ret = PlatformStore::Read("features", key, &stored);
    if (ret == -ENOENT) {
        return SYSTEM_INFO_ERROR_NOT_SUPPORTED;
    }
    if (ret == -EIO) {
        return SYSTEM_INFO_ERROR_IO_ERROR;
    }
    if (ret != 0 || stored.type != PlatformStore::Type::Bool) {
        return SYSTEM_INFO_ERROR_INVALID_PARAMETER;
    }
    return PlatformStore::ParseBool(stored.text, value) ? SYSTEM_INFO_ERROR_NONE
                                                        : SYSTEM_INFO_ERROR_INVALID_PARAMETER;
}
