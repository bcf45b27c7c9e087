// Cubes made by ifx_cube_create_r are one allocation: the header followed by
// the elements, slice after slice.
#include <stdlib.h>

#include "ContainerSize.h"
#include "ErrorInternal.h"
#include "ifxBase/Cube.h"

static_assert(sizeof(ifx_Cube_R_t) % alignof(ifx_Float_t) == 0,
              "elements follow the header directly");

extern "C" {

ifx_Cube_R_t* ifx_cube_create_r(uint32_t rows, uint32_t cols, uint32_t slices) {
    radar_sdk::ClearError();
    if (rows == 0 || cols == 0 || slices == 0) {
        IFX_SDK_FAIL(IFX_ERROR_ARGUMENT_INVALID);
        return nullptr;
    }
    const uint64_t elements = radar_sdk::ContainerElements(rows, cols, slices);
    void* block =
        elements == 0 ? nullptr : calloc(1, sizeof(ifx_Cube_R_t) + elements * sizeof(ifx_Float_t));
    if (block == nullptr) {
        IFX_SDK_FAIL(IFX_ERROR_MEMORY_ALLOCATION_FAILED);
        return nullptr;
    }
    auto* cube = static_cast<ifx_Cube_R_t*>(block);
    cube->d = reinterpret_cast<ifx_Float_t*>(cube + 1);
    cube->rows = rows;
    cube->cols = cols;
    cube->slices = slices;
    return cube;
}

void ifx_cube_destroy_r(ifx_Cube_R_t* cube) {
    free(cube);
}

void ifx_cube_get_slice_r(ifx_Cube_R_t* cube, uint32_t slice_index, ifx_Matrix_R_t* slice) {
    radar_sdk::ClearError();
    if (slice == nullptr) {
        IFX_SDK_FAIL(IFX_ERROR_ARGUMENT_NULL);
        return;
    }
    *slice = ifx_Matrix_R_t{};
    if (cube == nullptr || cube->d == nullptr) {
        IFX_SDK_FAIL(IFX_ERROR_ARGUMENT_NULL);
        return;
    }
    if (slice_index >= cube->slices) {
        IFX_SDK_FAIL(IFX_ERROR_ARGUMENT_OUT_OF_BOUNDS);
        return;
    }
    slice->d = &cAt(cube, 0, 0, slice_index);
    slice->rows = cube->rows;
    slice->cols = cube->cols;
    slice->stride = cube->cols;
    slice->owns_d = 0;
}

}  // extern "C"
