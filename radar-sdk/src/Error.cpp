// The thread-local last error and the process-wide error callback.
#include <mutex>

#include "ErrorInternal.h"
#include "ifxBase/Error.h"

namespace {

thread_local ifx_Error_t t_lastError = IFX_OK;

// The callback and its argument change together, so they share a lock; it
// is taken only when an error is recorded, never on a successful call.
std::mutex g_callbackMutex;
ifx_Error_Callback_t g_callback = nullptr;
void* g_callbackUserData = nullptr;

}  // namespace

namespace radar_sdk {

void ClearError() {
    t_lastError = IFX_OK;
}

}  // namespace radar_sdk

extern "C" {

ifx_Error_t ifx_error_get(void) {
    return t_lastError;
}

void ifx_error_set_internal(ifx_Error_t error, const char* file, const char* function, int line) {
    t_lastError = error;
    if (error == IFX_OK) {
        return;
    }
    ifx_Error_Callback_t callback;
    void* userData;
    {
        std::lock_guard<std::mutex> lock(g_callbackMutex);
        callback = g_callback;
        userData = g_callbackUserData;
    }
    // Called without the lock, so that a callback may record errors or
    // change the callback itself.
    if (callback != nullptr) {
        callback(error, file != nullptr ? file : "", function != nullptr ? function : "", line,
                 userData);
    }
}

const char* ifx_error_to_string(ifx_Error_t error) {
    switch (error) {
        case IFX_OK:
            return "no error";
        case IFX_ERROR_ARGUMENT_NULL:
            return "argument is null";
        case IFX_ERROR_ARGUMENT_INVALID:
            return "argument is invalid";
        case IFX_ERROR_ARGUMENT_OUT_OF_BOUNDS:
            return "argument out of bounds";
        case IFX_ERROR_DIMENSION_MISMATCH:
            return "dimension mismatch";
        case IFX_ERROR_MEMORY_ALLOCATION_FAILED:
            return "memory allocation failed";
        case IFX_ERROR_INTERNAL:
            return "internal error";
        default:
            return "unknown error";
    }
}

void ifx_error_set_callback(ifx_Error_Callback_t callback, void* user_data) {
    std::lock_guard<std::mutex> lock(g_callbackMutex);
    g_callback = callback;
    g_callbackUserData = user_data;
}

}  // extern "C"
