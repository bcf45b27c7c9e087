// The C API over the real segmentation engine: the pipeline's configuration
// is one the engine accepts, an empty room runs frame after frame without an
// error, an occupied segment or a track, and a bad frame does not stick.
#include <gtest/gtest.h>
#include <ifxRadarSDK.h>

#include <limits>

TEST(RadarSdkWithEngine, EmptyRoomGivesNothingAndABadSampleIsRefusedOnce) {
    ifx_Vector_R_t* widths = ifx_vec_create_r(6);
    ifx_Cube_R_t* cube = ifx_cube_create_r(64, 128, 2);
    ifx_Vector_R_t* segments = ifx_vec_create_r(6);
    ifx_Matrix_R_t* tracks = ifx_mat_create_r(10, 4);
    ASSERT_TRUE(widths != nullptr && cube != nullptr && segments != nullptr && tracks != nullptr);
    ifx_vec_setall_r(widths, 20.0f);
    const ifx_Segmentation_Config_t config = {
        0,    0,      128, 64, 460e6f, 0.00039155f, 61249998848.0f,
        5.0f, widths, 2,   2,  false,  10,          IFX_SEGMENTATION_ORIENTATION_LANDSCAPE};
    ifx_Segmentation_Handle_t handle = ifx_segmentation_create(&config);
    ASSERT_NE(handle, nullptr) << ifx_error_to_string(ifx_error_get());

    // Every sample at the ADC's zero level (2048 of 4095), as the pipeline
    // scales it.
    const float silence = 2048.0f / 4095.0f;
    for (uint32_t i = 0; i < 64 * 128 * 2; ++i) {
        cDat(cube)[i] = silence;
    }
    ifx_vec_setall_r(segments, -1.0f);
    ifx_mat_setall_r(tracks, -1.0f);
    for (int frame = 0; frame < 30; ++frame) {
        ifx_segmentation_run(handle, cube, segments, tracks);
        ASSERT_EQ(ifx_error_get(), IFX_OK) << "frame " << frame;
        for (uint32_t i = 0; i < 6; ++i) {
            ASSERT_EQ(vAt(segments, i), 0.0f) << "frame " << frame << " segment " << i;
        }
        for (uint32_t r = 0; r < 10; ++r) {
            ASSERT_EQ(mAt(tracks, r, 0), 0.0f) << "frame " << frame << " row " << r;
        }
    }

    cAt(cube, 5, 7, 1) = std::numeric_limits<float>::infinity();
    ifx_vec_setall_r(segments, -1.0f);
    ifx_segmentation_run(handle, cube, segments, tracks);
    EXPECT_EQ(ifx_error_get(), IFX_ERROR_ARGUMENT_INVALID);
    EXPECT_EQ(vAt(segments, 0), -1.0f);
    cAt(cube, 5, 7, 1) = silence;
    ifx_segmentation_run(handle, cube, segments, tracks);
    EXPECT_EQ(ifx_error_get(), IFX_OK);
    EXPECT_EQ(vAt(segments, 0), 0.0f);

    ifx_segmentation_destroy(handle);
    ifx_mat_destroy_r(tracks);
    ifx_vec_destroy_r(segments);
    ifx_cube_destroy_r(cube);
    ifx_vec_destroy_r(widths);
}
