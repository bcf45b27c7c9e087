// Radar frames: one num_chirps x num_samples matrix per receive antenna.
#ifndef IFX_RADAR_FRAME_H
#define IFX_RADAR_FRAME_H

#include "ifxBase/Error.h"
#include "ifxBase/Matrix.h"
#include "ifxBase/Types.h"

IFX_EXTERN_C_BEGIN

typedef struct ifx_Frame_R_s {
    uint32_t num_rx;           // number of receive antennas
    ifx_Matrix_R_t** rx_data;  // num_rx matrices, one per antenna: rows = chirps, cols = samples
} ifx_Frame_R_t;

// A new frame of num_rx zero-initialised num_chirps x num_samples matrices.
// The matrices belong to the frame (they are views: ifx_mat_destroy_r refuses
// them) and go with ifx_frame_destroy_r. Null when a size is 0
// (IFX_ERROR_ARGUMENT_INVALID) or the frame is too large or memory is short
// (IFX_ERROR_MEMORY_ALLOCATION_FAILED).
// \context Thread-safe.
ifx_Frame_R_t* ifx_frame_create_r(uint32_t num_rx, uint32_t num_chirps, uint32_t num_samples);

// Releases a frame and its matrices. Null is a no-op.
// \context Thread-safe for different frames.
void ifx_frame_destroy_r(ifx_Frame_R_t* frame);

IFX_EXTERN_C_END

#endif
