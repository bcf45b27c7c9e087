#include "SegmentationConfig.h"

const ifx_Device_Config_t kDefaultDeviceConfig = {
    2000000,         // ADC sample rate, Hz
    5,               // receivers 1 and 3 of the chip (bit pattern 101)
    1,               // one transmitter
    31,              // transmit power level
    48,              // IF gain, dB
    61020000000ULL,  // chirp start, Hz
    61480000000ULL,  // chirp end, Hz
    128,             // samples per chirp
    64,              // chirps per frame
    0.00039155f,     // chirp repetition time, s
    0.1f,            // frame repetition time, s (10 frames a second)
    IFX_MIMO_OFF,
};

namespace {

// Tuning of the segmentation algorithm that the product ships with.
const uint32_t kSensitivity = IFX_SEGMENTATION_LEVEL_MEDIUM;
const uint32_t kStaticRemoval = IFX_SEGMENTATION_LEVEL_MEDIUM;
const bool kHysteresis = false;

}  // namespace

ifx_Error_t FillSegmentationConfig(ifx_Segmentation_Config_t* config,
                                   const ifx_Device_Config_t* device) {
    if (config == nullptr || device == nullptr) {
        ifx_error_set(IFX_ERROR_ARGUMENT_NULL);
        return IFX_ERROR_ARGUMENT_NULL;
    }
    config->num_samples_per_chirp = device->num_samples_per_chirp;
    config->num_chirps_per_frame = device->num_chirps_per_frame;
    // The difference and the sum are taken in 64 bits and only then rounded
    // to single precision: 460 MHz exactly, and 61249998848 Hz for the centre.
    config->bandwidth_Hz =
        static_cast<ifx_Float_t>(device->end_frequency_Hz - device->start_frequency_Hz);
    config->chirp_repetition_time_s = device->chirp_repetition_time_s;
    config->centre_frequency_Hz =
        static_cast<ifx_Float_t>(device->start_frequency_Hz + device->end_frequency_Hz) * 0.5f;
    config->max_range_m = kMaxRangeM;
    config->segment_widths_deg = ifx_vec_create_r(kSegmentCount);
    if (config->segment_widths_deg != nullptr) {
        ifx_vec_setall_r(config->segment_widths_deg, kSegmentWidthDeg);
    }
    config->detection_sensitivity = kSensitivity;
    config->static_target_removal = kStaticRemoval;
    config->segment_hysteresis = kHysteresis;
    config->max_num_tracks = kMaxTrackCount;
    config->orientation = IFX_SEGMENTATION_ORIENTATION_LANDSCAPE;
    return ifx_error_get();
}

ifx_Error_t ConfigSegmentPipeline(segmentation_t* seg, const ifx_Device_Config_t* device) {
    if (seg == nullptr || device == nullptr) {
        ifx_error_set(IFX_ERROR_ARGUMENT_NULL);
        return IFX_ERROR_ARGUMENT_NULL;
    }
    FillSegmentationConfig(&seg->config, device);
    seg->cube = ifx_cube_create_r(device->num_chirps_per_frame, device->num_samples_per_chirp,
                                  IFX_SEGMENTATION_NUM_RX);
    seg->tracks = ifx_mat_create_r(seg->config.max_num_tracks, IFX_SEGMENTATION_TRACK_COLUMNS);
    // A width vector that could not be made has no length: the segment
    // vector then fails too, as an argument error, rather than crashing.
    const uint32_t segmentCount =
        seg->config.segment_widths_deg != nullptr ? vLen(seg->config.segment_widths_deg) : 0;
    seg->segments = ifx_vec_create_r(segmentCount);
    seg->handle = ifx_segmentation_create(&seg->config);
    return ifx_error_get();
}

ifx_Error_t CleanupSegmentPipeline(segmentation_t* seg) {
    if (seg == nullptr) {
        ifx_error_set(IFX_ERROR_ARGUMENT_NULL);
        return IFX_ERROR_ARGUMENT_NULL;
    }
    ifx_vec_destroy_r(seg->config.segment_widths_deg);
    seg->config.segment_widths_deg = nullptr;
    ifx_cube_destroy_r(seg->cube);
    seg->cube = nullptr;
    ifx_vec_destroy_r(seg->segments);
    seg->segments = nullptr;
    ifx_mat_destroy_r(seg->tracks);
    seg->tracks = nullptr;
    ifx_segmentation_destroy(seg->handle);
    seg->handle = nullptr;
    return ifx_error_get();
}
