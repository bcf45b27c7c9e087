// Error reporting of the radar SDK. Functions do not return error codes:
// each function that can fail records its outcome as the calling thread's
// last error, which ifx_error_get() reads.
//
// The last error is thread-local. A function that can fail (creation,
// views, fills, segmentation create and run) sets it to IFX_OK when it
// succeeds and to the failure's code when it fails, so reading it right
// after a call tells how that call went. Destroy functions, the element
// macros, the version functions, ifx_error_get() and ifx_error_to_string()
// leave it as it was (except that a destroy function handed a view records
// IFX_ERROR_ARGUMENT_INVALID, see Vector.h).
#ifndef IFX_BASE_ERROR_H
#define IFX_BASE_ERROR_H

#include "ifxBase/Types.h"

IFX_EXTERN_C_BEGIN

// An SDK error code: IFX_OK or one of ifx_Error_e.
typedef int32_t ifx_Error_t;

enum ifx_Error_e {
    IFX_OK = 0,
    // A required pointer (argument, or a container's data) is null.
    IFX_ERROR_ARGUMENT_NULL = 0x10001,
    // An argument has a value the function cannot work with (a zero size,
    // a stride too small, a configuration value out of range).
    IFX_ERROR_ARGUMENT_INVALID = 0x10002,
    // An index is outside the container (a cube slice that does not exist).
    IFX_ERROR_ARGUMENT_OUT_OF_BOUNDS = 0x10003,
    // Containers do not have the dimensions the operation needs.
    IFX_ERROR_DIMENSION_MISMATCH = 0x10004,
    // Memory could not be obtained, or the container would exceed the
    // largest size the SDK supports (IFX_MAX_CONTAINER_ELEMENTS).
    IFX_ERROR_MEMORY_ALLOCATION_FAILED = 0x10005,
    // The processing failed for a reason that no argument explains.
    IFX_ERROR_INTERNAL = 0x10006
};

// The calling thread's last error.
// \context Thread-safe (each thread reads its own).
ifx_Error_t ifx_error_get(void);

// Records error as the calling thread's last error. file, function and line
// say where it was detected (either string may be null). A non-zero error
// is passed to the error callback, if one is installed; the SDK itself
// writes no log.
// \context Thread-safe.
void ifx_error_set_internal(ifx_Error_t error, const char* file, const char* function, int line);

// Records error with the caller's own location.
#define ifx_error_set(error) ifx_error_set_internal((error), __FILE__, __func__, __LINE__)

// A fixed English text for error; "unknown error" for a code the SDK does
// not define. Never null; the text stays valid for the life of the process.
// \context Thread-safe.
const char* ifx_error_to_string(ifx_Error_t error);

// Called on the thread that records a non-zero error, with the arguments of
// ifx_error_set_internal (null file or function become "").
typedef void (*ifx_Error_Callback_t)(ifx_Error_t error, const char* file, const char* function,
                                     int line, void* user_data);

// Installs callback (null removes it) for the whole process. A thread that
// is already recording an error may still call the previous callback once.
// \context Thread-safe.
void ifx_error_set_callback(ifx_Error_Callback_t callback, void* user_data);

IFX_EXTERN_C_END

#endif
