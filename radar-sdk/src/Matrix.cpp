// Matrices made by ifx_mat_create_r are one allocation: the header followed
// by the elements.
#include <stdlib.h>

#include "ContainerSize.h"
#include "ErrorInternal.h"
#include "ifxBase/Matrix.h"

static_assert(sizeof(ifx_Matrix_R_t) % alignof(ifx_Float_t) == 0,
              "elements follow the header directly");

extern "C" {

ifx_Matrix_R_t* ifx_mat_create_r(uint32_t rows, uint32_t cols) {
    radar_sdk::ClearError();
    if (rows == 0 || cols == 0) {
        IFX_SDK_FAIL(IFX_ERROR_ARGUMENT_INVALID);
        return nullptr;
    }
    const uint64_t elements = radar_sdk::ContainerElements(rows, cols);
    void* block = elements == 0
                      ? nullptr
                      : calloc(1, sizeof(ifx_Matrix_R_t) + elements * sizeof(ifx_Float_t));
    if (block == nullptr) {
        IFX_SDK_FAIL(IFX_ERROR_MEMORY_ALLOCATION_FAILED);
        return nullptr;
    }
    auto* matrix = static_cast<ifx_Matrix_R_t*>(block);
    matrix->d = reinterpret_cast<ifx_Float_t*>(matrix + 1);
    matrix->rows = rows;
    matrix->cols = cols;
    matrix->stride = cols;
    matrix->owns_d = 1;
    return matrix;
}

void ifx_mat_destroy_r(ifx_Matrix_R_t* matrix) {
    if (matrix == nullptr) {
        return;
    }
    if (!matrix->owns_d) {
        IFX_SDK_FAIL(IFX_ERROR_ARGUMENT_INVALID);
        return;
    }
    free(matrix);
}

void ifx_mat_rawview_r(ifx_Matrix_R_t* view, ifx_Float_t* d, uint32_t rows, uint32_t cols,
                       uint32_t stride) {
    radar_sdk::ClearError();
    if (view == nullptr) {
        IFX_SDK_FAIL(IFX_ERROR_ARGUMENT_NULL);
        return;
    }
    *view = ifx_Matrix_R_t{};
    if (d == nullptr) {
        IFX_SDK_FAIL(IFX_ERROR_ARGUMENT_NULL);
        return;
    }
    if (rows == 0 || cols == 0 || stride < cols) {
        IFX_SDK_FAIL(IFX_ERROR_ARGUMENT_INVALID);
        return;
    }
    view->d = d;
    view->rows = rows;
    view->cols = cols;
    view->stride = stride;
}

void ifx_mat_setall_r(ifx_Matrix_R_t* matrix, ifx_Float_t value) {
    radar_sdk::ClearError();
    if (matrix == nullptr || matrix->d == nullptr) {
        IFX_SDK_FAIL(IFX_ERROR_ARGUMENT_NULL);
        return;
    }
    for (uint32_t r = 0; r < matrix->rows; ++r) {
        for (uint32_t c = 0; c < matrix->cols; ++c) {
            mAt(matrix, r, c) = value;
        }
    }
}

}  // extern "C"
