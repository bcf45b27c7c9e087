// A frame is one allocation: the frame record, the table of antenna matrix
// pointers, the antenna matrices (views) and their elements, antenna after
// antenna.
#include <stdlib.h>

#include "ContainerSize.h"
#include "ErrorInternal.h"
#include "ifxRadar/Frame.h"

static_assert(sizeof(ifx_Frame_R_t) % alignof(ifx_Matrix_R_t*) == 0, "table follows the frame");
static_assert(sizeof(ifx_Matrix_R_t*) % alignof(ifx_Matrix_R_t) == 0, "matrices follow the table");
static_assert(sizeof(ifx_Matrix_R_t) % alignof(ifx_Float_t) == 0, "elements follow the matrices");

extern "C" {

ifx_Frame_R_t* ifx_frame_create_r(uint32_t num_rx, uint32_t num_chirps, uint32_t num_samples) {
    radar_sdk::ClearError();
    if (num_rx == 0 || num_chirps == 0 || num_samples == 0) {
        IFX_SDK_FAIL(IFX_ERROR_ARGUMENT_INVALID);
        return nullptr;
    }
    const uint64_t elements = radar_sdk::ContainerElements(num_rx, num_chirps, num_samples);
    // elements >= num_rx, so the headers are bounded by the element limit too.
    const size_t headerBytes =
        sizeof(ifx_Frame_R_t) + num_rx * (sizeof(ifx_Matrix_R_t*) + sizeof(ifx_Matrix_R_t));
    void* block = elements == 0 ? nullptr : calloc(1, headerBytes + elements * sizeof(ifx_Float_t));
    if (block == nullptr) {
        IFX_SDK_FAIL(IFX_ERROR_MEMORY_ALLOCATION_FAILED);
        return nullptr;
    }
    auto* frame = static_cast<ifx_Frame_R_t*>(block);
    auto** table = reinterpret_cast<ifx_Matrix_R_t**>(frame + 1);
    auto* matrices = reinterpret_cast<ifx_Matrix_R_t*>(table + num_rx);
    auto* data = reinterpret_cast<ifx_Float_t*>(matrices + num_rx);
    const size_t perRx = static_cast<size_t>(num_chirps) * num_samples;
    for (uint32_t rx = 0; rx < num_rx; ++rx) {
        matrices[rx].d = data + rx * perRx;
        matrices[rx].rows = num_chirps;
        matrices[rx].cols = num_samples;
        matrices[rx].stride = num_samples;
        matrices[rx].owns_d = 0;
        table[rx] = &matrices[rx];
    }
    frame->num_rx = num_rx;
    frame->rx_data = table;
    return frame;
}

void ifx_frame_destroy_r(ifx_Frame_R_t* frame) {
    free(frame);
}

}  // extern "C"
