// Basic types of the radar SDK: the real element type and the C linkage
// helpers that every SDK header uses. The SDK is a C API; C++ programs
// include the same headers.
#ifndef IFX_BASE_TYPES_H
#define IFX_BASE_TYPES_H

#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
#define IFX_EXTERN_C_BEGIN extern "C" {
#define IFX_EXTERN_C_END }
#else
#define IFX_EXTERN_C_BEGIN
#define IFX_EXTERN_C_END
#endif

// Element type of every real-valued container (vectors, matrices, cubes,
// frames): single precision.
typedef float ifx_Float_t;

// The largest number of elements one container (vector, matrix, cube, frame)
// may hold: 2^28, 1 GiB of elements.
#define IFX_MAX_CONTAINER_ELEMENTS (1u << 28)

#endif
