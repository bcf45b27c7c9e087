// Real matrices, row-major: element (r, c) is d[r * stride + c].
//
// A matrix made by ifx_mat_create_r owns its zero-initialised elements
// (stride = cols) and is released with ifx_mat_destroy_r. A view is an
// ifx_Matrix_R_t that the caller provides and that points at elements owned
// by someone else (ifx_mat_rawview_r, a cube slice, a frame's antenna
// matrix); a view is never destroyed on its own.
//
// Containers are not synchronised: one thread at a time may use a container;
// different containers are independent.
#ifndef IFX_BASE_MATRIX_H
#define IFX_BASE_MATRIX_H

#include "ifxBase/Error.h"
#include "ifxBase/Types.h"

IFX_EXTERN_C_BEGIN

typedef struct ifx_Matrix_R_s {
    ifx_Float_t* d;   // element (0, 0)
    uint32_t rows;    // number of rows
    uint32_t cols;    // number of columns
    uint32_t stride;  // distance in elements between the starts of two rows (>= cols)
    uint8_t owns_d;   // 1: made by ifx_mat_create_r; 0: a view
} ifx_Matrix_R_t;

#define mRows(m) ((m)->rows)
#define mCols(m) ((m)->cols)
#define mStride(m) ((m)->stride)
#define mDat(m) ((m)->d)
// Element (r, c) (an lvalue); r and c are not checked.
#define mAt(m, r, c) ((m)->d[(size_t)(r) * (m)->stride + (size_t)(c)])

// A new rows x cols matrix of zero-initialised elements; null when a size is
// 0 (IFX_ERROR_ARGUMENT_INVALID) or too large or memory is short
// (IFX_ERROR_MEMORY_ALLOCATION_FAILED).
// \context Thread-safe.
ifx_Matrix_R_t* ifx_mat_create_r(uint32_t rows, uint32_t cols);

// Releases a matrix made by ifx_mat_create_r. Null is a no-op; a view is
// left alone and IFX_ERROR_ARGUMENT_INVALID recorded.
// \context Thread-safe for different matrices.
void ifx_mat_destroy_r(ifx_Matrix_R_t* matrix);

// Makes *view a rows x cols view of the elements at d, rows stride elements
// apart. IFX_ERROR_ARGUMENT_NULL for a null view or d,
// IFX_ERROR_ARGUMENT_INVALID for a zero size or a stride below cols; on
// failure a non-null *view is emptied (null data, 0 x 0).
// \context Thread-safe for different views.
void ifx_mat_rawview_r(ifx_Matrix_R_t* view, ifx_Float_t* d, uint32_t rows, uint32_t cols,
                       uint32_t stride);

// Sets every element to value (IFX_ERROR_ARGUMENT_NULL for a null matrix).
// \context Thread-safe for different matrices.
void ifx_mat_setall_r(ifx_Matrix_R_t* matrix, ifx_Float_t value);

IFX_EXTERN_C_END

#endif
