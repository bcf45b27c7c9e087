// How the SDK's own functions record their outcome in the thread's last
// error (see ifxBase/Error.h).
#ifndef TESSIVO_RADARSDK_ERRORINTERNAL_H
#define TESSIVO_RADARSDK_ERRORINTERNAL_H

#include "ifxBase/Error.h"

namespace radar_sdk {

// Marks the start of a call that can fail: the last error becomes IFX_OK
// without reaching the error callback.
void ClearError();

}  // namespace radar_sdk

// Records a failure of the current SDK function, with its location.
#define IFX_SDK_FAIL(error) ifx_error_set_internal((error), __FILE__, __func__, __LINE__)

#endif
