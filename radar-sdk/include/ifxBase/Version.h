// Version of the radar SDK.
#ifndef IFX_BASE_VERSION_H
#define IFX_BASE_VERSION_H

#include "ifxBase/Types.h"

#define IFX_SDK_VERSION_MAJOR 1
#define IFX_SDK_VERSION_MINOR 0
#define IFX_SDK_VERSION_PATCH 0

IFX_EXTERN_C_BEGIN

// "MAJOR.MINOR.PATCH", e.g. "1.0.0". Static storage.
// \context Thread-safe.
const char* ifx_sdk_get_version_string(void);

// The version with the SDK's name and build flavour, e.g.
// "tessivo radar-sdk 1.0.0 (release build)". Static storage.
// \context Thread-safe.
const char* ifx_sdk_get_version_string_full(void);

IFX_EXTERN_C_END

#endif
