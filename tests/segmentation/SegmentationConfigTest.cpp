// The pipeline's radar configuration and the SDK objects made from it.
#include <gtest/gtest.h>

#include <vector>

#include "SegmentationConfig.h"

TEST(SegmentationConfig, DefaultDeviceConfigIsTheModulesSetting) {
    EXPECT_EQ(kDefaultDeviceConfig.sample_rate_Hz, 2000000u);
    EXPECT_EQ(kDefaultDeviceConfig.rx_mask, 5u);
    EXPECT_EQ(kDefaultDeviceConfig.tx_mask, 1u);
    EXPECT_EQ(kDefaultDeviceConfig.tx_power_level, 31u);
    EXPECT_EQ(kDefaultDeviceConfig.if_gain_dB, 48u);
    EXPECT_EQ(kDefaultDeviceConfig.start_frequency_Hz, 61020000000ULL);
    EXPECT_EQ(kDefaultDeviceConfig.end_frequency_Hz, 61480000000ULL);
    EXPECT_EQ(kDefaultDeviceConfig.num_samples_per_chirp, 128u);
    EXPECT_EQ(kDefaultDeviceConfig.num_chirps_per_frame, 64u);
    EXPECT_EQ(kDefaultDeviceConfig.chirp_repetition_time_s, 0.00039155f);
    EXPECT_EQ(kDefaultDeviceConfig.frame_repetition_time_s, 0.1f);
    EXPECT_EQ(kDefaultDeviceConfig.mimo_mode, static_cast<uint32_t>(IFX_MIMO_OFF));
}

TEST(SegmentationConfig, FillsEveryFieldFromTheDeviceAndTheTuning) {
    ifx_Segmentation_Config_t config = {};
    ASSERT_EQ(FillSegmentationConfig(&config, &kDefaultDeviceConfig), IFX_OK);
    EXPECT_EQ(config.reserved_0 + config.reserved_1, 0u);
    EXPECT_EQ(config.num_samples_per_chirp, 128u);
    EXPECT_EQ(config.num_chirps_per_frame, 64u);
    EXPECT_EQ(config.bandwidth_Hz, 460e6f);
    EXPECT_EQ(config.chirp_repetition_time_s, 0.00039155f);
    // The sum rounded to single precision before halving.
    EXPECT_EQ(config.centre_frequency_Hz, 61249998848.0f);
    EXPECT_EQ(config.max_range_m, 5.0f);
    ASSERT_NE(config.segment_widths_deg, nullptr);
    const float* widths = vDat(config.segment_widths_deg);
    EXPECT_EQ(std::vector<float>(widths, widths + vLen(config.segment_widths_deg)),
              std::vector<float>(6, 20.0f));
    EXPECT_EQ(config.detection_sensitivity, 2u);
    EXPECT_EQ(config.static_target_removal, 2u);
    EXPECT_FALSE(config.segment_hysteresis);
    EXPECT_EQ(config.max_num_tracks, 10u);
    EXPECT_EQ(config.orientation, 1u);
    ifx_vec_destroy_r(config.segment_widths_deg);
}

TEST(SegmentationConfig, FollowsAnotherDeviceConfiguration) {
    ifx_Device_Config_t device = kDefaultDeviceConfig;
    device.num_samples_per_chirp = 64;
    device.num_chirps_per_frame = 32;
    device.start_frequency_Hz = 60000000000ULL;
    device.end_frequency_Hz = 61000000000ULL;
    device.chirp_repetition_time_s = 0.0005f;
    ifx_Segmentation_Config_t config = {};
    ASSERT_EQ(FillSegmentationConfig(&config, &device), IFX_OK);
    EXPECT_EQ(config.num_samples_per_chirp, 64u);
    EXPECT_EQ(config.num_chirps_per_frame, 32u);
    EXPECT_EQ(config.bandwidth_Hz, 1e9f);
    EXPECT_EQ(config.centre_frequency_Hz, static_cast<float>(121000000000ULL) * 0.5f);
    EXPECT_EQ(config.chirp_repetition_time_s, 0.0005f);
    ifx_vec_destroy_r(config.segment_widths_deg);
}

TEST(SegmentationConfig, PipelineObjectsHaveTheShapesTheRunNeeds) {
    segmentation_t seg = {};
    ASSERT_EQ(ConfigSegmentPipeline(&seg, &kDefaultDeviceConfig), IFX_OK);
    ASSERT_NE(seg.handle, nullptr);
    ASSERT_TRUE(seg.cube != nullptr && seg.tracks != nullptr && seg.segments != nullptr);
    EXPECT_EQ(cRows(seg.cube), 64u);
    EXPECT_EQ(cCols(seg.cube), 128u);
    EXPECT_EQ(cSlices(seg.cube), 2u);
    EXPECT_EQ(mRows(seg.tracks), 10u);
    EXPECT_EQ(mCols(seg.tracks), 4u);
    EXPECT_EQ(vLen(seg.segments), 6u);
    // The objects work together: a quiet frame runs.
    ifx_segmentation_run(seg.handle, seg.cube, seg.segments, seg.tracks);
    EXPECT_EQ(ifx_error_get(), IFX_OK);

    EXPECT_EQ(CleanupSegmentPipeline(&seg), IFX_OK);
    EXPECT_TRUE(seg.handle == nullptr && seg.cube == nullptr && seg.segments == nullptr &&
                seg.tracks == nullptr && seg.config.segment_widths_deg == nullptr);
    // Cleaning up twice, or a record never configured, is harmless.
    EXPECT_EQ(CleanupSegmentPipeline(&seg), IFX_OK);
}

TEST(SegmentationConfig, UnusableConfigurationsReportTheSdkError) {
    EXPECT_EQ(FillSegmentationConfig(nullptr, &kDefaultDeviceConfig), IFX_ERROR_ARGUMENT_NULL);
    ifx_Segmentation_Config_t config = {};
    EXPECT_EQ(FillSegmentationConfig(&config, nullptr), IFX_ERROR_ARGUMENT_NULL);
    EXPECT_EQ(config.segment_widths_deg, nullptr);
    EXPECT_EQ(ConfigSegmentPipeline(nullptr, &kDefaultDeviceConfig), IFX_ERROR_ARGUMENT_NULL);

    // A device without chirps: the cube cannot be made and neither can the
    // handle; what was made is released all the same.
    ifx_Device_Config_t device = kDefaultDeviceConfig;
    device.num_chirps_per_frame = 0;
    segmentation_t seg = {};
    EXPECT_EQ(ConfigSegmentPipeline(&seg, &device), IFX_ERROR_ARGUMENT_INVALID);
    EXPECT_EQ(seg.cube, nullptr);
    EXPECT_EQ(seg.handle, nullptr);
    EXPECT_NE(seg.tracks, nullptr);
    CleanupSegmentPipeline(&seg);
    EXPECT_EQ(seg.tracks, nullptr);
}
