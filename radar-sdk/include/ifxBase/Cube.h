// Real cubes: slices of rows x cols matrices, stored slice after slice, each
// slice row-major and contiguous: element (r, c, s) is
// d[(s * rows + r) * cols + c]. A slice can be seen as a matrix view.
//
// Containers are not synchronised: one thread at a time may use a container
// (or a view of it); different containers are independent.
#ifndef IFX_BASE_CUBE_H
#define IFX_BASE_CUBE_H

#include "ifxBase/Error.h"
#include "ifxBase/Matrix.h"
#include "ifxBase/Types.h"

IFX_EXTERN_C_BEGIN

typedef struct ifx_Cube_R_s {
    ifx_Float_t* d;   // element (0, 0, 0)
    uint32_t rows;    // rows of each slice
    uint32_t cols;    // columns of each slice
    uint32_t slices;  // number of slices
} ifx_Cube_R_t;

#define cRows(c) ((c)->rows)
#define cCols(c) ((c)->cols)
#define cSlices(c) ((c)->slices)
#define cDat(c) ((c)->d)
// Element (r, col, s) (an lvalue); the indices are not checked.
#define cAt(c, r, col, s) \
    ((c)->d[((size_t)(s) * (c)->rows + (size_t)(r)) * (c)->cols + (size_t)(col)])

// A new cube of rows x cols x slices zero-initialised elements; null when a
// size is 0 (IFX_ERROR_ARGUMENT_INVALID) or too large or memory is short
// (IFX_ERROR_MEMORY_ALLOCATION_FAILED).
// \context Thread-safe.
ifx_Cube_R_t* ifx_cube_create_r(uint32_t rows, uint32_t cols, uint32_t slices);

// Releases a cube. Null is a no-op. Views of its slices become invalid.
// \context Thread-safe for different cubes.
void ifx_cube_destroy_r(ifx_Cube_R_t* cube);

// Makes *slice a rows x cols matrix view of slice slice_index: writes through
// the view change the cube. The view does not own anything and is valid as
// long as the cube. IFX_ERROR_ARGUMENT_NULL for a null cube, cube data or
// slice, IFX_ERROR_ARGUMENT_OUT_OF_BOUNDS for slice_index >= slices; on
// failure a non-null *slice is emptied (null data, 0 x 0).
// \context Thread-safe for different views.
void ifx_cube_get_slice_r(ifx_Cube_R_t* cube, uint32_t slice_index, ifx_Matrix_R_t* slice);

IFX_EXTERN_C_END

#endif
