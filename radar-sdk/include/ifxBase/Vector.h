// Real vectors: a length and a stride over single-precision elements.
//
// A vector made by ifx_vec_create_r owns its zero-initialised, contiguous
// elements (stride 1) and is released with ifx_vec_destroy_r. A view is an
// ifx_Vector_R_t that the caller provides and ifx_vec_rawview_r points at
// elements owned by someone else; a view is never destroyed.
//
// Containers are not synchronised: one thread at a time may use a container;
// different containers are independent.
#ifndef IFX_BASE_VECTOR_H
#define IFX_BASE_VECTOR_H

#include "ifxBase/Error.h"
#include "ifxBase/Types.h"

IFX_EXTERN_C_BEGIN

typedef struct ifx_Vector_R_s {
    ifx_Float_t* d;   // element 0
    uint32_t len;     // number of elements
    uint32_t stride;  // distance in elements between consecutive elements (>= 1)
    uint8_t owns_d;   // 1: made by ifx_vec_create_r; 0: a view
} ifx_Vector_R_t;

#define vLen(v) ((v)->len)
#define vStride(v) ((v)->stride)
#define vDat(v) ((v)->d)
// Element i (an lvalue); i is not checked.
#define vAt(v, i) ((v)->d[(size_t)(i) * (v)->stride])

// A new vector of length zero-initialised elements; null when length is 0
// (IFX_ERROR_ARGUMENT_INVALID) or too large or memory is short
// (IFX_ERROR_MEMORY_ALLOCATION_FAILED).
// \context Thread-safe.
ifx_Vector_R_t* ifx_vec_create_r(uint32_t length);

// Releases a vector made by ifx_vec_create_r. Null is a no-op; a view is
// left alone and IFX_ERROR_ARGUMENT_INVALID recorded.
// \context Thread-safe for different vectors.
void ifx_vec_destroy_r(ifx_Vector_R_t* vector);

// Makes *view a view of length elements at d, stride elements apart.
// IFX_ERROR_ARGUMENT_NULL for a null view or d, IFX_ERROR_ARGUMENT_INVALID
// for a zero length or stride; on failure a non-null *view is emptied
// (null data, length 0).
// \context Thread-safe for different views.
void ifx_vec_rawview_r(ifx_Vector_R_t* view, ifx_Float_t* d, uint32_t length, uint32_t stride);

// Sets every element to value (IFX_ERROR_ARGUMENT_NULL for a null vector).
// \context Thread-safe for different vectors.
void ifx_vec_setall_r(ifx_Vector_R_t* vector, ifx_Float_t value);

IFX_EXTERN_C_END

#endif
