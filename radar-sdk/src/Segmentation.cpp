// The C face of the segmentation engine: checks every argument, turns the
// configuration record into engine settings, and maps the input cube and the
// output containers onto the engine's views. No exception leaves this file.
#include <cmath>
#include <memory>
#include <new>
#include <string>
#include <vector>

#include "ErrorInternal.h"
#include "SegmentationEngineFactory.h"
#include "ifxRadar/Segmentation.h"
#include "segmentation/SegmentationEngine.h"

struct ifx_Segmentation_s {
    std::unique_ptr<radar_sdk::SegmentationEngine> engine;
    uint32_t chirps = 0;
    uint32_t samples = 0;
    uint32_t numSegments = 0;
    uint32_t maxTracks = 0;
    // The engine writes the segments contiguously; a strided segments vector
    // is filled from here. Sized at create, so a run allocates nothing.
    std::vector<float> segmentScratch;
};

namespace {

// Segment widths may add up to the field of view give or take float
// rounding of the widths themselves.
constexpr float kFieldOfViewToleranceDeg = 1e-3f;

bool IsPositiveFinite(float value) {
    return std::isfinite(value) && value > 0.0f;
}

bool IsLevel(uint32_t value) {
    return value >= IFX_SEGMENTATION_LEVEL_HIGH && value <= IFX_SEGMENTATION_LEVEL_LOW;
}

// IFX_OK or the code that rejects config; the engine may still refuse
// settings that pass here.
ifx_Error_t CheckConfig(const ifx_Segmentation_Config_t* config) {
    if (config == nullptr) {
        return IFX_ERROR_ARGUMENT_NULL;
    }
    const ifx_Vector_R_t* widths = config->segment_widths_deg;
    if (widths == nullptr || widths->d == nullptr) {
        return IFX_ERROR_ARGUMENT_NULL;
    }
    if (config->num_samples_per_chirp == 0 || config->num_chirps_per_frame == 0) {
        return IFX_ERROR_ARGUMENT_INVALID;
    }
    if (!IsPositiveFinite(config->bandwidth_Hz) ||
        !IsPositiveFinite(config->chirp_repetition_time_s) ||
        !IsPositiveFinite(config->centre_frequency_Hz) || !IsPositiveFinite(config->max_range_m)) {
        return IFX_ERROR_ARGUMENT_INVALID;
    }
    if (widths->len == 0 || widths->stride == 0) {
        return IFX_ERROR_ARGUMENT_INVALID;
    }
    double total = 0.0;
    for (uint32_t i = 0; i < widths->len; ++i) {
        const float width = vAt(widths, i);
        if (!IsPositiveFinite(width)) {
            return IFX_ERROR_ARGUMENT_INVALID;
        }
        total += width;
    }
    if (total > IFX_SEGMENTATION_FIELD_OF_VIEW_DEG + kFieldOfViewToleranceDeg) {
        return IFX_ERROR_ARGUMENT_INVALID;
    }
    if (!IsLevel(config->detection_sensitivity) || !IsLevel(config->static_target_removal)) {
        return IFX_ERROR_ARGUMENT_INVALID;
    }
    if (config->max_num_tracks == 0 || config->max_num_tracks > IFX_SEGMENTATION_MAX_TRACKS) {
        return IFX_ERROR_ARGUMENT_INVALID;
    }
    if (config->orientation != IFX_SEGMENTATION_ORIENTATION_LANDSCAPE) {
        return IFX_ERROR_ARGUMENT_INVALID;
    }
    return IFX_OK;
}

radar_sdk::SegmentationSettings ToSettings(const ifx_Segmentation_Config_t& config) {
    radar_sdk::SegmentationSettings settings;
    settings.samplesPerChirp = static_cast<int>(config.num_samples_per_chirp);
    settings.chirpsPerFrame = static_cast<int>(config.num_chirps_per_frame);
    settings.bandwidthHz = config.bandwidth_Hz;
    settings.chirpRepetitionTimeS = config.chirp_repetition_time_s;
    settings.centreFrequencyHz = config.centre_frequency_Hz;
    settings.maxRangeM = config.max_range_m;
    const ifx_Vector_R_t* widths = config.segment_widths_deg;
    settings.segmentWidthsDeg.reserve(widths->len);
    for (uint32_t i = 0; i < widths->len; ++i) {
        settings.segmentWidthsDeg.push_back(vAt(widths, i));
    }
    settings.sensitivity = static_cast<int>(config.detection_sensitivity);
    settings.staticRemoval = static_cast<int>(config.static_target_removal);
    settings.hysteresis = config.segment_hysteresis;
    settings.maxTracks = static_cast<int>(config.max_num_tracks);
    settings.orientation = static_cast<int>(config.orientation);
    return settings;
}

// The C API's bounds on sizes keep every count within int.
static_assert(IFX_MAX_CONTAINER_ELEMENTS <= 0x7fffffffu, "sizes fit the engine's int fields");

ifx_Error_t CheckRunArguments(const ifx_Segmentation_s* handle, const ifx_Cube_R_t* cube,
                              const ifx_Vector_R_t* segments, const ifx_Matrix_R_t* tracks) {
    if (handle == nullptr || cube == nullptr || segments == nullptr || tracks == nullptr) {
        return IFX_ERROR_ARGUMENT_NULL;
    }
    if (cube->d == nullptr || segments->d == nullptr || tracks->d == nullptr) {
        return IFX_ERROR_ARGUMENT_NULL;
    }
    if (cube->rows != handle->chirps || cube->cols != handle->samples ||
        cube->slices != IFX_SEGMENTATION_NUM_RX) {
        return IFX_ERROR_DIMENSION_MISMATCH;
    }
    if (segments->len != handle->numSegments) {
        return IFX_ERROR_DIMENSION_MISMATCH;
    }
    if (tracks->rows != handle->maxTracks || tracks->cols != IFX_SEGMENTATION_TRACK_COLUMNS) {
        return IFX_ERROR_DIMENSION_MISMATCH;
    }
    if (segments->stride == 0 || tracks->stride < tracks->cols) {
        return IFX_ERROR_ARGUMENT_INVALID;
    }
    return IFX_OK;
}

// Slice s of the cube as the engine's view.
radar_sdk::MatrixView SliceView(const ifx_Cube_R_t& cube, uint32_t s) {
    radar_sdk::MatrixView view;
    view.data = &cAt(&cube, 0, 0, s);
    view.rows = cube.rows;
    view.cols = cube.cols;
    view.stride = cube.cols;
    return view;
}

}  // namespace

extern "C" {

ifx_Segmentation_Handle_t ifx_segmentation_create(const ifx_Segmentation_Config_t* config) {
    radar_sdk::ClearError();
    const ifx_Error_t invalid = CheckConfig(config);
    if (invalid != IFX_OK) {
        IFX_SDK_FAIL(invalid);
        return nullptr;
    }
    try {
        auto handle = std::make_unique<ifx_Segmentation_s>();
        handle->chirps = config->num_chirps_per_frame;
        handle->samples = config->num_samples_per_chirp;
        handle->numSegments = config->segment_widths_deg->len;
        handle->maxTracks = config->max_num_tracks;
        handle->segmentScratch.assign(handle->numSegments, 0.0f);
        std::string reason;
        handle->engine = radar_sdk::GetSegmentationEngineFactory()(ToSettings(*config), &reason);
        if (handle->engine == nullptr) {
            IFX_SDK_FAIL(IFX_ERROR_ARGUMENT_INVALID);
            return nullptr;
        }
        return handle.release();
    } catch (const std::bad_alloc&) {
        IFX_SDK_FAIL(IFX_ERROR_MEMORY_ALLOCATION_FAILED);
    } catch (...) {
        IFX_SDK_FAIL(IFX_ERROR_INTERNAL);
    }
    return nullptr;
}

void ifx_segmentation_run(ifx_Segmentation_Handle_t handle, const ifx_Cube_R_t* cube,
                          ifx_Vector_R_t* segments, ifx_Matrix_R_t* tracks) {
    radar_sdk::ClearError();
    const ifx_Error_t invalid = CheckRunArguments(handle, cube, segments, tracks);
    if (invalid != IFX_OK) {
        IFX_SDK_FAIL(invalid);
        return;
    }
    // The pipeline stores receive antenna 0 in slice 1 and antenna 1 in
    // slice 0; the engine wants them by antenna.
    const radar_sdk::MatrixView rx0 = SliceView(*cube, 1);
    const radar_sdk::MatrixView rx1 = SliceView(*cube, 0);
    float* segmentOut = segments->stride == 1 ? segments->d : handle->segmentScratch.data();
    bool processed = false;
    try {
        processed = handle->engine->Process(rx0, rx1, segmentOut, tracks->d, tracks->stride);
    } catch (...) {
        IFX_SDK_FAIL(IFX_ERROR_INTERNAL);
        return;
    }
    // The dimensions were checked above, so what the engine still refuses
    // is the cube's content: a value that is not finite.
    if (!processed) {
        IFX_SDK_FAIL(IFX_ERROR_ARGUMENT_INVALID);
        return;
    }
    if (segmentOut != segments->d) {
        for (uint32_t i = 0; i < segments->len; ++i) {
            vAt(segments, i) = segmentOut[i];
        }
    }
}

void ifx_segmentation_destroy(ifx_Segmentation_Handle_t handle) {
    delete handle;
}

}  // extern "C"
