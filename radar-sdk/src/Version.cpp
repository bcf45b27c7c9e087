// The SDK's version texts, made from the numbers in ifxBase/Version.h.
#include "ifxBase/Version.h"

#define IFX_STRINGIFY_(x) #x
#define IFX_STRINGIFY(x) IFX_STRINGIFY_(x)
#define IFX_SDK_VERSION_TEXT             \
    IFX_STRINGIFY(IFX_SDK_VERSION_MAJOR) \
    "." IFX_STRINGIFY(IFX_SDK_VERSION_MINOR) "." IFX_STRINGIFY(IFX_SDK_VERSION_PATCH)

#ifdef NDEBUG
#define IFX_SDK_BUILD_FLAVOUR "release build"
#else
#define IFX_SDK_BUILD_FLAVOUR "debug build"
#endif

extern "C" {

const char* ifx_sdk_get_version_string(void) {
    return IFX_SDK_VERSION_TEXT;
}

const char* ifx_sdk_get_version_string_full(void) {
    return "tessivo radar-sdk " IFX_SDK_VERSION_TEXT " (" IFX_SDK_BUILD_FLAVOUR ")";
}

}  // extern "C"
