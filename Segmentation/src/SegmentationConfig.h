// The segmentation pipeline's fixed radar configuration and the SDK objects
// built from it. The service's pipeline, radar-segment and the benchmarks set
// the pipeline up through these functions, so that all of them run exactly
// the same configuration.
#ifndef TESSIVO_SEGMENTATION_SEGMENTATIONCONFIG_H
#define TESSIVO_SEGMENTATION_SEGMENTATIONCONFIG_H

#include <ifxRadarSDK.h>

// The radar module's acquisition settings: 2 MHz sampling, receivers 1 and 3
// of the chip, one transmitter, 61.02-61.48 GHz chirps of 128 samples, 64
// chirps 0.39155 ms apart, 10 frames a second, no MIMO.
extern const ifx_Device_Config_t kDefaultDeviceConfig;

// Segments reported per frame, and the width each one covers.
constexpr uint32_t kSegmentCount = 6;
constexpr ifx_Float_t kSegmentWidthDeg = 20.0f;
// Tracks the pipeline asks the SDK for (rows of the track matrix).
constexpr uint32_t kMaxTrackCount = 10;
// Farthest range at which people are reported, metres.
constexpr ifx_Float_t kMaxRangeM = 5.0f;

// The pipeline's SDK objects. Zero-fill a record before configuring it:
// fields that configuration does not set stay 0.
struct segmentation_t {
    ifx_Segmentation_Handle_t handle;
    ifx_Vector_R_t* segments;  // one value per segment
    ifx_Matrix_R_t* tracks;    // kMaxTrackCount rows of [id, range, angle, velocity]
    ifx_Cube_R_t* cube;        // chirps x samples x 2 receivers (receiver 0 in slice 1)
    ifx_Segmentation_Config_t config;
};

// Fills config from the device configuration and the fixed tuning: samples
// and chirps per frame, bandwidth, chirp repetition time, centre frequency
// (all single precision), 5 m range, six 20-degree segments (a new vector
// that config then owns), medium sensitivity and clutter removal, no
// hysteresis, 10 tracks, landscape. The two reserved fields are not written.
// Returns ifx_error_get() after creating the width vector;
// IFX_ERROR_ARGUMENT_NULL (nothing written) for a null argument.
// \context Thread-safe for different records.
ifx_Error_t FillSegmentationConfig(ifx_Segmentation_Config_t* config,
                                   const ifx_Device_Config_t* device);

// Configures seg (zero-filled by the caller) from device and creates its
// objects in this order: cube, track matrix, segment vector (as long as the
// width vector), segmentation handle. No step checks an earlier one; the
// result is ifx_error_get() after the last step, so it reports whether the
// handle could be made. Objects that could not be made stay null, and
// CleanupSegmentPipeline releases whatever was made.
// \context Thread-safe for different records.
ifx_Error_t ConfigSegmentPipeline(segmentation_t* seg, const ifx_Device_Config_t* device);

// Releases the width vector, cube, segment vector, track matrix and handle,
// in that order, and nulls their pointers. Returns ifx_error_get().
// \context Thread-safe for different records.
ifx_Error_t CleanupSegmentPipeline(segmentation_t* seg);

#endif
