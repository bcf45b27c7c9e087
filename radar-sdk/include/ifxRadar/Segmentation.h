// Segmentation: from each radar frame to the occupancy of angular segments in
// front of the module and the people tracked there.
//
// Geometry: range in metres from the module; angle in degrees, 0 straight
// out of the screen, positive towards receive antenna 1's side; radial
// velocity in m/s, positive when moving away. The field of view is -60..+60
// degrees; the segments are laid side by side from -60 degrees.
//
// A handle keeps state from frame to frame (clutter, tracks): feed it the
// frames of one stream in order. One thread at a time may use a handle;
// different handles are independent. A run allocates nothing: everything it
// needs is made by create.
#ifndef IFX_RADAR_SEGMENTATION_H
#define IFX_RADAR_SEGMENTATION_H

#include "ifxBase/Cube.h"
#include "ifxBase/Error.h"
#include "ifxBase/Matrix.h"
#include "ifxBase/Types.h"
#include "ifxBase/Vector.h"

// Most tracks a handle can follow at once.
#define IFX_SEGMENTATION_MAX_TRACKS 10
// Columns of the track matrix: id, range (m), angle (deg), velocity (m/s).
#define IFX_SEGMENTATION_TRACK_COLUMNS 4
// Slices of the input cube: one per receive antenna.
#define IFX_SEGMENTATION_NUM_RX 2
// Angular extent of the field of view that the segments may cover.
#define IFX_SEGMENTATION_FIELD_OF_VIEW_DEG 120.0f

IFX_EXTERN_C_BEGIN

// Values of detection_sensitivity and static_target_removal.
enum ifx_Segmentation_Level_e {
    IFX_SEGMENTATION_LEVEL_HIGH = 1,
    IFX_SEGMENTATION_LEVEL_MEDIUM = 2,
    IFX_SEGMENTATION_LEVEL_LOW = 3
};

// Values of orientation: how the module is mounted. Only landscape (the
// module's antennas side by side horizontally) is supported.
enum ifx_Segmentation_Orientation_e { IFX_SEGMENTATION_ORIENTATION_LANDSCAPE = 1 };

typedef struct ifx_Segmentation_Config_s {
    uint32_t reserved_0;                  // unused; leave 0
    uint32_t reserved_1;                  // unused; leave 0
    uint32_t num_samples_per_chirp;       // columns of the input cube
    uint32_t num_chirps_per_frame;        // rows of the input cube
    ifx_Float_t bandwidth_Hz;             // chirp end minus start frequency
    ifx_Float_t chirp_repetition_time_s;  // time between the starts of two chirps
    ifx_Float_t centre_frequency_Hz;      // middle of the chirp
    ifx_Float_t max_range_m;              // farthest distance at which people are detected
    // One element per segment: its width in degrees. Segments are laid side
    // by side from -60 degrees; together at most 120 degrees. The handle
    // copies the widths: the vector may be destroyed after create.
    ifx_Vector_R_t* segment_widths_deg;
    uint32_t detection_sensitivity;  // ifx_Segmentation_Level_e: HIGH detects the faintest people
    uint32_t static_target_removal;  // ifx_Segmentation_Level_e: HIGH removes still objects hardest
    bool segment_hysteresis;         // true: a segment's value changes only when the change lasts
    uint32_t max_num_tracks;         // 1..IFX_SEGMENTATION_MAX_TRACKS
    uint32_t orientation;            // ifx_Segmentation_Orientation_e
} ifx_Segmentation_Config_t;

typedef struct ifx_Segmentation_s* ifx_Segmentation_Handle_t;

// A new segmentation handle for config (read, not kept). Null when config is
// unusable: IFX_ERROR_ARGUMENT_NULL for a null config or width vector,
// IFX_ERROR_ARGUMENT_INVALID for a zero size, a non-positive or non-finite
// frequency, time, range or width, no segments, widths adding up to more than
// 120 degrees, a level outside 1..3, a track count outside
// 1..IFX_SEGMENTATION_MAX_TRACKS, an unsupported orientation, or settings the
// algorithm cannot work with; IFX_ERROR_MEMORY_ALLOCATION_FAILED when memory
// is short.
// \context Thread-safe.
ifx_Segmentation_Handle_t ifx_segmentation_create(const ifx_Segmentation_Config_t* config);

// Processes one frame.
//   cube:     num_chirps_per_frame rows x num_samples_per_chirp columns x 2
//             slices, values 0..1; slice 0 holds receive antenna 1 and slice 1
//             receive antenna 0.
//   segments: one element per segment (any stride) receives 1 while a tracked
//             person is in the segment, else 0.
//   tracks:   max_num_tracks rows x 4 columns (any row stride) receives one
//             tracked person per row [id, range m, angle deg, velocity m/s];
//             id 0 marks an empty row, ids stay with a person while tracked.
// IFX_ERROR_ARGUMENT_NULL for a null handle, container or container data,
// IFX_ERROR_DIMENSION_MISMATCH for containers of other dimensions,
// IFX_ERROR_ARGUMENT_INVALID for a zero vector stride, a row stride below the
// columns or a cube value that is not finite (the frame is then ignored: the
// handle's state stays as it was), IFX_ERROR_INTERNAL when the algorithm
// fails otherwise. Except after IFX_ERROR_INTERNAL, a failed run leaves
// segments and tracks untouched.
// \context One thread at a time per handle.
void ifx_segmentation_run(ifx_Segmentation_Handle_t handle, const ifx_Cube_R_t* cube,
                          ifx_Vector_R_t* segments, ifx_Matrix_R_t* tracks);

// Releases a handle. Null is a no-op.
// \context Not concurrently with a run on the same handle.
void ifx_segmentation_destroy(ifx_Segmentation_Handle_t handle);

IFX_EXTERN_C_END

#endif
