// ifx_segmentation_create/run/destroy against a recording engine put in the
// real engine's place: what the C API accepts and refuses, and exactly what
// it hands the engine (settings, which cube slice is which receiver, output
// buffers and strides).
#include <gtest/gtest.h>
#include <ifxRadarSDK.h>

#include <cmath>
#include <functional>
#include <limits>
#include <memory>
#include <new>
#include <stdexcept>
#include <string>
#include <tuple>
#include <vector>

#include "SegmentationEngineFactory.h"

namespace {

using radar_sdk::MatrixView;
using radar_sdk::SegmentationEngine;
using radar_sdk::SegmentationSettings;

constexpr uint32_t kChirps = 64;
constexpr uint32_t kSamples = 128;
constexpr uint32_t kSegments = 6;
constexpr uint32_t kTracks = 10;
constexpr float kSentinel = -7.0f;

// What the recording engine saw and how it is told to behave.
struct EngineLog {
    int created = 0;
    int processed = 0;
    int destroyed = 0;
    SegmentationSettings settings;
    std::vector<float> rx0Values;  // rx0 as read inside Process, row by row
    std::vector<float> rx1Values;

    enum class Create { kAccept, kRefuse, kThrowBadAlloc, kThrowOther } create = Create::kAccept;
    enum class Process { kWrite, kRefuse, kThrow } process = Process::kWrite;
};

EngineLog g_log;

// The view's values row by row; a view of another shape gives another size.
std::vector<float> Copy(const MatrixView& view) {
    std::vector<float> values;
    for (size_t r = 0; r < view.rows; ++r) {
        for (size_t c = 0; c < view.cols; ++c) {
            values.push_back(view.data[r * view.stride + c]);
        }
    }
    return values;
}

// Output of the recording engine: distinct values show where each one landed.
float SegmentValue(uint32_t i) {
    return 10.0f + static_cast<float>(i);
}
float TrackValue(uint32_t row, uint32_t col) {
    return 1.0f + static_cast<float>(row * 4 + col);
}

class RecordingEngine : public SegmentationEngine {
public:
    RecordingEngine(size_t segments, size_t tracks) : m_segments(segments), m_tracks(tracks) {}
    ~RecordingEngine() override { ++g_log.destroyed; }

    bool Process(const MatrixView& rx0, const MatrixView& rx1, float* segments, float* tracks,
                 size_t trackStride) override {
        ++g_log.processed;
        g_log.rx0Values = Copy(rx0);
        g_log.rx1Values = Copy(rx1);
        if (g_log.process == EngineLog::Process::kRefuse) {
            return false;
        }
        if (g_log.process == EngineLog::Process::kThrow) {
            throw std::runtime_error("engine failure");
        }
        for (size_t i = 0; i < m_segments; ++i) {
            segments[i] = SegmentValue(static_cast<uint32_t>(i));
        }
        for (size_t r = 0; r < m_tracks; ++r) {
            for (size_t c = 0; c < 4; ++c) {
                tracks[r * trackStride + c] =
                    TrackValue(static_cast<uint32_t>(r), static_cast<uint32_t>(c));
            }
        }
        return true;
    }

    void Reset() override {}

private:
    size_t m_segments;
    size_t m_tracks;
};

std::unique_ptr<SegmentationEngine> CreateRecordingEngine(const SegmentationSettings& settings,
                                                          std::string* error) {
    ++g_log.created;
    g_log.settings = settings;
    switch (g_log.create) {
        case EngineLog::Create::kRefuse:
            *error = "refused by the test";
            return nullptr;
        case EngineLog::Create::kThrowBadAlloc:
            throw std::bad_alloc();
        case EngineLog::Create::kThrowOther:
            throw std::runtime_error("engine failure");
        case EngineLog::Create::kAccept:
            break;
    }
    return std::make_unique<RecordingEngine>(settings.segmentWidthsDeg.size(),
                                             static_cast<size_t>(settings.maxTracks));
}

class RadarSdkSegmentation : public ::testing::Test {
protected:
    void SetUp() override {
        g_log = EngineLog();
        m_previousFactory = radar_sdk::SetSegmentationEngineFactory(&CreateRecordingEngine);
        m_widths = ifx_vec_create_r(kSegments);
        ASSERT_NE(m_widths, nullptr);
        ifx_vec_setall_r(m_widths, 20.0f);
        // The pipeline's configuration, written positionally: the field order
        // is part of the API.
        m_config = ifx_Segmentation_Config_t{
            0,    0,        kSamples, kChirps, 460e6f, 0.00039155f, 61249998848.0f,
            5.0f, m_widths, 2,        2,       false,  kTracks,     1};
        m_cube = ifx_cube_create_r(kChirps, kSamples, 2);
        m_segments = ifx_vec_create_r(kSegments);
        m_tracks = ifx_mat_create_r(kTracks, 4);
        ASSERT_NE(m_cube, nullptr);
        ASSERT_NE(m_segments, nullptr);
        ASSERT_NE(m_tracks, nullptr);
        ifx_vec_setall_r(m_segments, kSentinel);
        ifx_mat_setall_r(m_tracks, kSentinel);
    }

    void TearDown() override {
        ifx_segmentation_destroy(m_handle);
        ifx_mat_destroy_r(m_tracks);
        ifx_vec_destroy_r(m_segments);
        ifx_cube_destroy_r(m_cube);
        ifx_vec_destroy_r(m_widths);
        radar_sdk::SetSegmentationEngineFactory(m_previousFactory);
    }

    void CreateHandle() {
        m_handle = ifx_segmentation_create(&m_config);
        ASSERT_NE(m_handle, nullptr) << ifx_error_to_string(ifx_error_get());
    }

    bool OutputsUntouched() const {
        const std::vector<float> segments(vDat(m_segments), vDat(m_segments) + kSegments);
        const std::vector<float> tracks(mDat(m_tracks), mDat(m_tracks) + kTracks * 4);
        return segments == std::vector<float>(kSegments, kSentinel) &&
               tracks == std::vector<float>(kTracks * 4, kSentinel);
    }

    radar_sdk::SegmentationEngineFactory m_previousFactory = nullptr;
    ifx_Vector_R_t* m_widths = nullptr;
    ifx_Segmentation_Config_t m_config{};
    ifx_Segmentation_Handle_t m_handle = nullptr;
    ifx_Cube_R_t* m_cube = nullptr;
    ifx_Vector_R_t* m_segments = nullptr;
    ifx_Matrix_R_t* m_tracks = nullptr;
};

TEST_F(RadarSdkSegmentation, ConfigurationReachesTheEngineFieldByField) {
    // Values other than the engine's defaults, and no two alike, so that a
    // field left out or two exchanged would show.
    m_config = ifx_Segmentation_Config_t{0,    0,        64, 32, 1e9f, 0.0005f, 60.5e9f,
                                         4.0f, m_widths, 1,  3,  true, 3,       1};
    vAt(m_widths, 0) = 10.0f;
    ifx_error_set(IFX_ERROR_INTERNAL);
    CreateHandle();
    EXPECT_EQ(ifx_error_get(), IFX_OK);
    ASSERT_EQ(g_log.created, 1);
    const SegmentationSettings& s = g_log.settings;
    EXPECT_EQ(std::make_tuple(s.samplesPerChirp, s.chirpsPerFrame, s.bandwidthHz,
                              s.chirpRepetitionTimeS, s.centreFrequencyHz, s.maxRangeM),
              std::make_tuple(64, 32, 1e9f, 0.0005f, 60.5e9f, 4.0f));
    EXPECT_EQ(s.segmentWidthsDeg, (std::vector<float>{10, 20, 20, 20, 20, 20}));
    // Sensitivity HIGH, static target removal LOW.
    EXPECT_EQ(
        std::make_tuple(s.sensitivity, s.staticRemoval, s.hysteresis, s.maxTracks, s.orientation),
        std::make_tuple(1, 3, true, 3, 1));
}

TEST_F(RadarSdkSegmentation, WidthsAreReadThroughTheirStrideAndCopied) {
    float storage[6] = {10.0f, -1.0f, 30.0f, -1.0f, 20.0f, -1.0f};
    ifx_Vector_R_t widths;
    ifx_vec_rawview_r(&widths, storage, 3, 2);
    m_config.segment_widths_deg = &widths;
    ifx_Segmentation_Handle_t handle = ifx_segmentation_create(&m_config);
    ASSERT_NE(handle, nullptr);
    EXPECT_EQ(g_log.settings.segmentWidthsDeg, (std::vector<float>{10.0f, 30.0f, 20.0f}));

    // The handle needs the widths no more: the pipeline destroys them first.
    storage[0] = storage[2] = storage[4] = std::numeric_limits<float>::quiet_NaN();
    ifx_Vector_R_t* segments = ifx_vec_create_r(3);
    ifx_segmentation_run(handle, m_cube, segments, m_tracks);
    EXPECT_EQ(ifx_error_get(), IFX_OK);
    EXPECT_EQ(vAt(segments, 2), SegmentValue(2));
    ifx_vec_destroy_r(segments);
    ifx_segmentation_destroy(handle);
}

TEST_F(RadarSdkSegmentation, EveryUnusableConfigurationIsRefusedBeforeTheEngine) {
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const float inf = std::numeric_limits<float>::infinity();
    float widthStorage[6] = {20, 20, 20, 20, 20, 20};
    ifx_Vector_R_t noData{nullptr, 6, 1, 0};
    ifx_Vector_R_t noSegments{widthStorage, 0, 1, 0};
    ifx_Vector_R_t zeroStride{widthStorage, 6, 0, 0};
    struct Case {
        const char* what;
        std::function<void(ifx_Segmentation_Config_t&)> edit;
        ifx_Error_t expected;
    };
// clang-format off
#define REFUSED(edit, error) Case{#edit, [&](ifx_Segmentation_Config_t& c) { edit; }, error}
// clang-format on
#define INVALID(edit) REFUSED(edit, IFX_ERROR_ARGUMENT_INVALID)
    const std::vector<Case> cases = {
        REFUSED(c.segment_widths_deg = nullptr, IFX_ERROR_ARGUMENT_NULL),
        REFUSED(c.segment_widths_deg = &noData, IFX_ERROR_ARGUMENT_NULL),
        INVALID(c.num_samples_per_chirp = 0),
        INVALID(c.num_chirps_per_frame = 0),
        INVALID(c.bandwidth_Hz = 0.0f),
        INVALID(c.bandwidth_Hz = -460e6f),
        INVALID(c.bandwidth_Hz = nan),
        INVALID(c.chirp_repetition_time_s = 0.0f),
        INVALID(c.chirp_repetition_time_s = inf),
        INVALID(c.centre_frequency_Hz = 0.0f),
        INVALID(c.max_range_m = 0.0f),
        INVALID(c.max_range_m = -5.0f),
        INVALID(c.max_range_m = nan),
        INVALID(c.segment_widths_deg = &noSegments),
        INVALID(c.segment_widths_deg = &zeroStride),
        INVALID(vAt(m_widths, 3) = 0.0f),
        INVALID(vAt(m_widths, 0) = -20.0f),
        INVALID(vAt(m_widths, 5) = nan),
        INVALID(vAt(m_widths, 5) = 21.0f),  // beyond the field of view
        INVALID(c.detection_sensitivity = 0),
        INVALID(c.detection_sensitivity = 4),
        INVALID(c.static_target_removal = 0),
        INVALID(c.static_target_removal = 4),
        INVALID(c.max_num_tracks = 0),
        INVALID(c.max_num_tracks = 11),
        INVALID(c.orientation = 0),
        INVALID(c.orientation = 2),
    };
#undef INVALID
#undef REFUSED
    const ifx_Segmentation_Config_t good = m_config;
    for (const Case& c : cases) {
        ifx_Segmentation_Config_t config = good;
        ifx_vec_setall_r(m_widths, 20.0f);
        c.edit(config);
        ifx_error_set(IFX_OK);
        EXPECT_EQ(ifx_segmentation_create(&config), nullptr) << c.what;
        EXPECT_EQ(ifx_error_get(), c.expected) << c.what;
    }
    EXPECT_EQ(ifx_segmentation_create(nullptr), nullptr);
    EXPECT_EQ(ifx_error_get(), IFX_ERROR_ARGUMENT_NULL);
    EXPECT_EQ(g_log.created, 0);

    // The same record with every field restored is good again.
    ifx_vec_setall_r(m_widths, 20.0f);
    CreateHandle();
}

TEST_F(RadarSdkSegmentation, BoundaryConfigurationsAreAccepted) {
    // Seven equal segments (their float widths add up to 120 only up to
    // rounding) with the most tracks; one narrow segment with a single track.
    struct Boundary {
        uint32_t segments;
        float width;
        uint32_t tracks;
    };
    for (const Boundary b :
         {Boundary{7, 120.0f / 7.0f, IFX_SEGMENTATION_MAX_TRACKS}, {1, 0.5f, 1}}) {
        ifx_Vector_R_t* widths = ifx_vec_create_r(b.segments);
        ifx_vec_setall_r(widths, b.width);
        m_config.segment_widths_deg = widths;
        m_config.max_num_tracks = b.tracks;
        ifx_Segmentation_Handle_t handle = ifx_segmentation_create(&m_config);
        EXPECT_NE(handle, nullptr) << ifx_error_to_string(ifx_error_get());
        EXPECT_EQ(g_log.destroyed, g_log.created - 1);
        ifx_segmentation_destroy(handle);
        EXPECT_EQ(g_log.destroyed, g_log.created) << "destroying the handle releases its engine";
        ifx_vec_destroy_r(widths);
    }
    EXPECT_EQ(g_log.created, 2);
}

TEST_F(RadarSdkSegmentation, EngineFailuresAtCreateBecomeErrors) {
    g_log.create = EngineLog::Create::kRefuse;
    EXPECT_EQ(ifx_segmentation_create(&m_config), nullptr);
    EXPECT_EQ(ifx_error_get(), IFX_ERROR_ARGUMENT_INVALID);
    g_log.create = EngineLog::Create::kThrowBadAlloc;
    EXPECT_NO_THROW(EXPECT_EQ(ifx_segmentation_create(&m_config), nullptr));
    EXPECT_EQ(ifx_error_get(), IFX_ERROR_MEMORY_ALLOCATION_FAILED);
    g_log.create = EngineLog::Create::kThrowOther;
    EXPECT_NO_THROW(EXPECT_EQ(ifx_segmentation_create(&m_config), nullptr));
    EXPECT_EQ(ifx_error_get(), IFX_ERROR_INTERNAL);
    EXPECT_EQ(g_log.created, 3);
}

TEST_F(RadarSdkSegmentation, CubeSliceOneReachesTheEngineAsReceiverZero) {
    CreateHandle();
    // Slice 0 holds receiver 1, slice 1 receiver 0 (as the pipeline fills
    // it); each element differs, so a shifted or transposed view shows.
    const uint32_t sliceSize = kChirps * kSamples;
    for (uint32_t i = 0; i < 2 * sliceSize; ++i) {
        cDat(m_cube)[i] = static_cast<float>(i) / (2 * sliceSize);
    }
    ifx_segmentation_run(m_handle, m_cube, m_segments, m_tracks);
    ASSERT_EQ(ifx_error_get(), IFX_OK);
    ASSERT_EQ(g_log.processed, 1);
    const float* slice0 = cDat(m_cube);
    const float* slice1 = slice0 + sliceSize;
    EXPECT_TRUE(g_log.rx0Values == std::vector<float>(slice1, slice1 + sliceSize))
        << "receiver 0 is not slice 1";
    EXPECT_TRUE(g_log.rx1Values == std::vector<float>(slice0, slice0 + sliceSize))
        << "receiver 1 is not slice 0";
}

TEST_F(RadarSdkSegmentation, ResultsLandInTheCallersContainersThroughTheirStrides) {
    CreateHandle();
    struct Layout {
        uint32_t segmentStride, trackStride;
    };
    for (const Layout layout : {Layout{1, 4}, Layout{3, 6}}) {
        std::vector<float> segmentStorage(kSegments * layout.segmentStride, kSentinel);
        std::vector<float> trackStorage(kTracks * layout.trackStride, kSentinel);
        ifx_Vector_R_t segments;
        ifx_Matrix_R_t tracks;
        ifx_vec_rawview_r(&segments, segmentStorage.data(), kSegments, layout.segmentStride);
        ifx_mat_rawview_r(&tracks, trackStorage.data(), kTracks, 4, layout.trackStride);
        ifx_segmentation_run(m_handle, m_cube, &segments, &tracks);
        ASSERT_EQ(ifx_error_get(), IFX_OK);
        for (size_t i = 0; i < segmentStorage.size(); ++i) {
            const uint32_t segment = static_cast<uint32_t>(i / layout.segmentStride);
            EXPECT_EQ(segmentStorage[i],
                      i % layout.segmentStride == 0 ? SegmentValue(segment) : kSentinel)
                << i;
        }
        for (size_t i = 0; i < trackStorage.size(); ++i) {
            const uint32_t row = static_cast<uint32_t>(i / layout.trackStride);
            const uint32_t col = static_cast<uint32_t>(i % layout.trackStride);
            EXPECT_EQ(trackStorage[i], col < 4 ? TrackValue(row, col) : kSentinel) << i;
        }
    }
    // One engine serves every frame of the handle.
    EXPECT_EQ(g_log.created, 1);
    EXPECT_EQ(g_log.processed, 2);
}

TEST_F(RadarSdkSegmentation, MissingArgumentsAreRefusedWithoutTouchingAnything) {
    CreateHandle();
    ifx_Cube_R_t noCubeData = *m_cube;
    noCubeData.d = nullptr;
    ifx_Vector_R_t noSegmentData = *m_segments;
    noSegmentData.d = nullptr;
    ifx_Matrix_R_t noTrackData = *m_tracks;
    noTrackData.d = nullptr;

    struct Call {
        ifx_Segmentation_Handle_t handle;
        const ifx_Cube_R_t* cube;
        ifx_Vector_R_t* segments;
        ifx_Matrix_R_t* tracks;
    };
    const Call calls[] = {
        {nullptr, m_cube, m_segments, m_tracks},       {m_handle, nullptr, m_segments, m_tracks},
        {m_handle, m_cube, nullptr, m_tracks},         {m_handle, m_cube, m_segments, nullptr},
        {m_handle, &noCubeData, m_segments, m_tracks}, {m_handle, m_cube, &noSegmentData, m_tracks},
        {m_handle, m_cube, m_segments, &noTrackData},
    };
    for (const Call& call : calls) {
        ifx_error_set(IFX_OK);
        ifx_segmentation_run(call.handle, call.cube, call.segments, call.tracks);
        EXPECT_EQ(ifx_error_get(), IFX_ERROR_ARGUMENT_NULL) << &call - calls;
    }
    EXPECT_EQ(g_log.processed, 0);
    EXPECT_TRUE(OutputsUntouched());
}

TEST_F(RadarSdkSegmentation, ContainersOfOtherDimensionsAreRefused) {
    CreateHandle();
    struct Shape {
        uint32_t rows, cols, slices, segments, trackRows, trackCols;
    };
    const Shape shapes[] = {
        {63, 128, 2, 6, 10, 4}, {64, 127, 2, 6, 10, 4}, {128, 64, 2, 6, 10, 4},
        {64, 128, 1, 6, 10, 4}, {64, 128, 3, 6, 10, 4}, {64, 128, 2, 5, 10, 4},
        {64, 128, 2, 7, 10, 4}, {64, 128, 2, 6, 9, 4},  {64, 128, 2, 6, 11, 4},
        {64, 128, 2, 6, 10, 3}, {64, 128, 2, 6, 10, 5}, {64, 128, 2, 6, 4, 10},
    };
    for (const Shape& shape : shapes) {
        ifx_Cube_R_t* cube = ifx_cube_create_r(shape.rows, shape.cols, shape.slices);
        ifx_Vector_R_t* segments = ifx_vec_create_r(shape.segments);
        ifx_Matrix_R_t* tracks = ifx_mat_create_r(shape.trackRows, shape.trackCols);
        ifx_vec_setall_r(segments, kSentinel);
        ifx_segmentation_run(m_handle, cube, segments, tracks);
        EXPECT_EQ(ifx_error_get(), IFX_ERROR_DIMENSION_MISMATCH)
            << shape.rows << "x" << shape.cols << "x" << shape.slices << " " << shape.segments
            << " " << shape.trackRows << "x" << shape.trackCols;
        EXPECT_EQ(vAt(segments, 0), kSentinel);
        EXPECT_EQ(mAt(tracks, 0, 0), 0.0f);
        ifx_mat_destroy_r(tracks);
        ifx_vec_destroy_r(segments);
        ifx_cube_destroy_r(cube);
    }
    // Strides that cannot describe the containers.
    ifx_Vector_R_t zeroStride = *m_segments;
    zeroStride.stride = 0;
    ifx_segmentation_run(m_handle, m_cube, &zeroStride, m_tracks);
    EXPECT_EQ(ifx_error_get(), IFX_ERROR_ARGUMENT_INVALID);
    ifx_Matrix_R_t overlappingRows = *m_tracks;
    overlappingRows.stride = 3;
    ifx_segmentation_run(m_handle, m_cube, m_segments, &overlappingRows);
    EXPECT_EQ(ifx_error_get(), IFX_ERROR_ARGUMENT_INVALID);
    EXPECT_EQ(g_log.processed, 0);
    EXPECT_TRUE(OutputsUntouched());
}

TEST_F(RadarSdkSegmentation, FailedFrameIsReportedAndTheNextOneSucceeds) {
    CreateHandle();
    // A strided segments vector goes through the handle's own buffer, which
    // must not reach the caller when the engine gives up.
    std::vector<float> segmentStorage(kSegments * 2, kSentinel);
    ifx_Vector_R_t segments;
    ifx_vec_rawview_r(&segments, segmentStorage.data(), kSegments, 2);

    // The engine refuses what the C API cannot check cheaply: a cube value
    // that is not finite.
    cAt(m_cube, 10, 20, 0) = std::numeric_limits<float>::quiet_NaN();
    g_log.process = EngineLog::Process::kRefuse;
    ifx_segmentation_run(m_handle, m_cube, &segments, m_tracks);
    EXPECT_EQ(ifx_error_get(), IFX_ERROR_ARGUMENT_INVALID);
    EXPECT_EQ(segmentStorage, std::vector<float>(kSegments * 2, kSentinel));

    g_log.process = EngineLog::Process::kThrow;
    EXPECT_NO_THROW(ifx_segmentation_run(m_handle, m_cube, &segments, m_tracks));
    EXPECT_EQ(ifx_error_get(), IFX_ERROR_INTERNAL);
    EXPECT_EQ(segmentStorage, std::vector<float>(kSegments * 2, kSentinel));

    // The error does not stick: the caller reads IFX_OK after a good frame.
    cAt(m_cube, 10, 20, 0) = 0.5f;
    g_log.process = EngineLog::Process::kWrite;
    ifx_segmentation_run(m_handle, m_cube, &segments, m_tracks);
    EXPECT_EQ(ifx_error_get(), IFX_OK);
    EXPECT_EQ(vAt(&segments, 5), SegmentValue(5));
    EXPECT_EQ(g_log.processed, 3);
}

}  // namespace
