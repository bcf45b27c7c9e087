// Vectors made by ifx_vec_create_r are one allocation: the header followed
// by the elements.
#include <stdlib.h>

#include "ContainerSize.h"
#include "ErrorInternal.h"
#include "ifxBase/Vector.h"

static_assert(sizeof(ifx_Vector_R_t) % alignof(ifx_Float_t) == 0,
              "elements follow the header directly");

extern "C" {

ifx_Vector_R_t* ifx_vec_create_r(uint32_t length) {
    radar_sdk::ClearError();
    if (length == 0) {
        IFX_SDK_FAIL(IFX_ERROR_ARGUMENT_INVALID);
        return nullptr;
    }
    const uint64_t elements = radar_sdk::ContainerElements(length, 1);
    void* block = elements == 0
                      ? nullptr
                      : calloc(1, sizeof(ifx_Vector_R_t) + elements * sizeof(ifx_Float_t));
    if (block == nullptr) {
        IFX_SDK_FAIL(IFX_ERROR_MEMORY_ALLOCATION_FAILED);
        return nullptr;
    }
    auto* vector = static_cast<ifx_Vector_R_t*>(block);
    vector->d = reinterpret_cast<ifx_Float_t*>(vector + 1);
    vector->len = length;
    vector->stride = 1;
    vector->owns_d = 1;
    return vector;
}

void ifx_vec_destroy_r(ifx_Vector_R_t* vector) {
    if (vector == nullptr) {
        return;
    }
    if (!vector->owns_d) {
        IFX_SDK_FAIL(IFX_ERROR_ARGUMENT_INVALID);
        return;
    }
    free(vector);
}

void ifx_vec_rawview_r(ifx_Vector_R_t* view, ifx_Float_t* d, uint32_t length, uint32_t stride) {
    radar_sdk::ClearError();
    if (view == nullptr) {
        IFX_SDK_FAIL(IFX_ERROR_ARGUMENT_NULL);
        return;
    }
    *view = ifx_Vector_R_t{};
    if (d == nullptr) {
        IFX_SDK_FAIL(IFX_ERROR_ARGUMENT_NULL);
        return;
    }
    if (length == 0 || stride == 0) {
        IFX_SDK_FAIL(IFX_ERROR_ARGUMENT_INVALID);
        return;
    }
    view->d = d;
    view->len = length;
    view->stride = stride;
}

void ifx_vec_setall_r(ifx_Vector_R_t* vector, ifx_Float_t value) {
    radar_sdk::ClearError();
    if (vector == nullptr || vector->d == nullptr) {
        IFX_SDK_FAIL(IFX_ERROR_ARGUMENT_NULL);
        return;
    }
    for (uint32_t i = 0; i < vector->len; ++i) {
        vAt(vector, i) = value;
    }
}

}  // extern "C"
