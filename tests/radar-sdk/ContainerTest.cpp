// The SDK's real containers: vectors, matrices, cubes and their slice views,
// and frames.
#include <gtest/gtest.h>
#include <ifxRadarSDK.h>

#include <vector>

// Runs a call and expects it to leave this error behind.
#define EXPECT_IFX_ERROR(call, error)                 \
    do {                                              \
        call;                                         \
        EXPECT_EQ(ifx_error_get(), (error)) << #call; \
    } while (0)

namespace {

class RadarSdkContainers : public ::testing::Test {
protected:
    // Every case starts from a recorded error, so that "IFX_OK afterwards"
    // proves the call itself cleared it.
    void SetUp() override { ifx_error_set_internal(IFX_ERROR_INTERNAL, nullptr, nullptr, 0); }
};

TEST_F(RadarSdkContainers, OwnedVectorAndMatrixAreZeroedRowMajorAndFillable) {
    ifx_Vector_R_t* vector = ifx_vec_create_r(6);
    ASSERT_NE(vector, nullptr);
    EXPECT_EQ(ifx_error_get(), IFX_OK);
    EXPECT_EQ(vLen(vector), 6u);
    EXPECT_EQ(vStride(vector), 1u);
    EXPECT_EQ(vAt(vector, 5), 0.0f);
    ifx_vec_setall_r(vector, 20.0f);
    vAt(vector, 5) = -1.5f;
    EXPECT_EQ(vDat(vector)[0], 20.0f);
    EXPECT_EQ(vDat(vector)[5], -1.5f);
    ifx_vec_destroy_r(vector);

    ifx_Matrix_R_t* matrix = ifx_mat_create_r(10, 4);
    ASSERT_NE(matrix, nullptr);
    EXPECT_EQ(mRows(matrix), 10u);
    EXPECT_EQ(mCols(matrix), 4u);
    EXPECT_EQ(mStride(matrix), 4u);
    EXPECT_EQ(mAt(matrix, 9, 3), 0.0f);
    mAt(matrix, 2, 3) = 7.0f;
    EXPECT_EQ(mDat(matrix)[2 * 4 + 3], 7.0f);
    ifx_error_set(IFX_ERROR_INTERNAL);
    ifx_mat_setall_r(matrix, 1.0f);
    EXPECT_EQ(ifx_error_get(), IFX_OK);
    EXPECT_EQ(mAt(matrix, 9, 3), 1.0f);
    ifx_mat_destroy_r(matrix);
}

TEST_F(RadarSdkContainers, ImpossibleSizesFailWithoutAContainer) {
    const ifx_Error_t invalid = IFX_ERROR_ARGUMENT_INVALID;
    EXPECT_IFX_ERROR(EXPECT_EQ(ifx_vec_create_r(0), nullptr), invalid);
    EXPECT_IFX_ERROR(EXPECT_EQ(ifx_mat_create_r(0, 4), nullptr), invalid);
    EXPECT_IFX_ERROR(EXPECT_EQ(ifx_mat_create_r(10, 0), nullptr), invalid);
    EXPECT_IFX_ERROR(EXPECT_EQ(ifx_cube_create_r(0, 128, 2), nullptr), invalid);
    EXPECT_IFX_ERROR(EXPECT_EQ(ifx_cube_create_r(64, 0, 2), nullptr), invalid);
    EXPECT_IFX_ERROR(EXPECT_EQ(ifx_cube_create_r(64, 128, 0), nullptr), invalid);
    EXPECT_IFX_ERROR(EXPECT_EQ(ifx_frame_create_r(0, 64, 128), nullptr), invalid);
    EXPECT_IFX_ERROR(EXPECT_EQ(ifx_frame_create_r(2, 0, 128), nullptr), invalid);
    EXPECT_IFX_ERROR(EXPECT_EQ(ifx_frame_create_r(2, 64, 0), nullptr), invalid);

    // Sizes whose products overflow 32 or 64 bits, or exceed the SDK's
    // limit, are refused before any allocation is tried.
    const ifx_Error_t memory = IFX_ERROR_MEMORY_ALLOCATION_FAILED;
    const uint32_t max = 0xffffffffu;
    EXPECT_IFX_ERROR(EXPECT_EQ(ifx_vec_create_r(max), nullptr), memory);
    EXPECT_IFX_ERROR(EXPECT_EQ(ifx_mat_create_r(0x10000u, 0x10001u), nullptr), memory);
    EXPECT_IFX_ERROR(EXPECT_EQ(ifx_cube_create_r(max, max, max), nullptr), memory);
    EXPECT_IFX_ERROR(EXPECT_EQ(ifx_cube_create_r(1u << 14, 1u << 14, 2), nullptr), memory);
    EXPECT_IFX_ERROR(EXPECT_EQ(ifx_frame_create_r(max, 2, 1), nullptr), memory);

    // Destroying nothing does nothing, not even to the last error.
    EXPECT_IFX_ERROR(ifx_vec_destroy_r(nullptr), memory);
    EXPECT_IFX_ERROR(ifx_mat_destroy_r(nullptr), memory);
    EXPECT_IFX_ERROR(ifx_cube_destroy_r(nullptr), memory);
    EXPECT_IFX_ERROR(ifx_frame_destroy_r(nullptr), memory);
    EXPECT_IFX_ERROR(ifx_segmentation_destroy(nullptr), memory);
}

TEST_F(RadarSdkContainers, ViewsSeeForeignStorageThroughTheirStride) {
    std::vector<float> storage(24, -1.0f);
    ifx_Vector_R_t column;
    EXPECT_IFX_ERROR(ifx_vec_rawview_r(&column, storage.data() + 1, 4, 6), IFX_OK);
    EXPECT_EQ(column.owns_d, 0);
    ifx_vec_setall_r(&column, 3.0f);
    for (size_t i = 0; i < storage.size(); ++i) {
        EXPECT_EQ(storage[i], i % 6 == 1 ? 3.0f : -1.0f) << i;
    }

    ifx_Matrix_R_t block;
    EXPECT_IFX_ERROR(ifx_mat_rawview_r(&block, storage.data() + 2, 3, 2, 6), IFX_OK);
    mAt(&block, 2, 1) = 9.0f;
    EXPECT_EQ(storage[2 + 2 * 6 + 1], 9.0f);
    ifx_mat_setall_r(&block, 5.0f);
    EXPECT_EQ(storage[2], 5.0f);
    EXPECT_EQ(storage[4], -1.0f) << "beyond the view's columns";
    EXPECT_EQ(storage[2 + 6], 5.0f);

    // A view lives in the caller's storage: destroying it is refused (freeing
    // it would corrupt the heap, which the address sanitizer build reports).
    EXPECT_IFX_ERROR(ifx_vec_destroy_r(&column), IFX_ERROR_ARGUMENT_INVALID);
    EXPECT_IFX_ERROR(ifx_mat_destroy_r(&block), IFX_ERROR_ARGUMENT_INVALID);
    EXPECT_EQ(storage[2], 5.0f);
}

TEST_F(RadarSdkContainers, BadViewsAreRefusedAndLeftEmpty) {
    const ifx_Error_t invalid = IFX_ERROR_ARGUMENT_INVALID;
    const ifx_Error_t null = IFX_ERROR_ARGUMENT_NULL;
    float storage[8] = {};
    ifx_Vector_R_t vector;
    ifx_vec_rawview_r(&vector, storage, 8, 1);
    EXPECT_IFX_ERROR(ifx_vec_rawview_r(&vector, storage, 8, 0), invalid);
    EXPECT_EQ(vector.d, nullptr);
    EXPECT_EQ(vector.len, 0u);
    EXPECT_IFX_ERROR(ifx_vec_rawview_r(&vector, storage, 0, 1), invalid);
    EXPECT_IFX_ERROR(ifx_vec_rawview_r(&vector, nullptr, 8, 1), null);
    EXPECT_IFX_ERROR(ifx_vec_rawview_r(nullptr, storage, 8, 1), null);

    ifx_Matrix_R_t matrix;
    ifx_mat_rawview_r(&matrix, storage, 2, 4, 4);
    EXPECT_IFX_ERROR(ifx_mat_rawview_r(&matrix, storage, 2, 4, 3), invalid);  // rows overlap
    EXPECT_EQ(matrix.d, nullptr);
    EXPECT_EQ(matrix.rows, 0u);
    EXPECT_IFX_ERROR(ifx_mat_rawview_r(&matrix, storage, 0, 4, 4), invalid);
    EXPECT_IFX_ERROR(ifx_mat_rawview_r(&matrix, nullptr, 2, 4, 4), null);
    EXPECT_IFX_ERROR(ifx_mat_rawview_r(nullptr, storage, 2, 4, 4), null);

    EXPECT_IFX_ERROR(ifx_vec_setall_r(nullptr, 1.0f), null);
    EXPECT_IFX_ERROR(ifx_mat_setall_r(nullptr, 1.0f), null);
    EXPECT_IFX_ERROR(ifx_vec_setall_r(&vector, 1.0f), null);  // an emptied view has no data
}

TEST_F(RadarSdkContainers, CubeSlicesAreViewsThatAliasTheCube) {
    ifx_Cube_R_t* cube = ifx_cube_create_r(64, 128, 2);
    ASSERT_NE(cube, nullptr);
    EXPECT_EQ(ifx_error_get(), IFX_OK);
    EXPECT_EQ(cRows(cube), 64u);
    EXPECT_EQ(cCols(cube), 128u);
    EXPECT_EQ(cSlices(cube), 2u);
    EXPECT_EQ(cAt(cube, 63, 127, 1), 0.0f);

    ifx_Matrix_R_t slices[2];
    for (uint32_t s = 0; s < 2; ++s) {
        ifx_error_set(IFX_ERROR_INTERNAL);
        ifx_cube_get_slice_r(cube, s, &slices[s]);
        EXPECT_EQ(ifx_error_get(), IFX_OK);
        EXPECT_EQ(mRows(&slices[s]), 64u);
        EXPECT_EQ(mCols(&slices[s]), 128u);
        EXPECT_EQ(mStride(&slices[s]), 128u);
    }
    // Writes through a view land in that slice only, and cube writes show
    // through the view.
    mAt(&slices[1], 3, 5) = 0.75f;
    mAt(&slices[0], 63, 127) = 0.25f;
    EXPECT_EQ(cAt(cube, 3, 5, 1), 0.75f);
    EXPECT_EQ(cAt(cube, 3, 5, 0), 0.0f);
    EXPECT_EQ(cAt(cube, 63, 127, 0), 0.25f);
    EXPECT_EQ(cAt(cube, 63, 127, 1), 0.0f);
    cAt(cube, 0, 0, 1) = 0.5f;
    EXPECT_EQ(mAt(&slices[1], 0, 0), 0.5f);
    EXPECT_EQ(&mAt(&slices[0], 63, 127) + 1, &mAt(&slices[1], 0, 0));

    // The cube owns the storage: destroying a view is refused.
    EXPECT_IFX_ERROR(ifx_mat_destroy_r(&slices[0]), IFX_ERROR_ARGUMENT_INVALID);
    // Bad requests leave an empty view.
    EXPECT_IFX_ERROR(ifx_cube_get_slice_r(cube, 2, &slices[0]), IFX_ERROR_ARGUMENT_OUT_OF_BOUNDS);
    EXPECT_EQ(slices[0].d, nullptr);
    EXPECT_EQ(slices[0].rows, 0u);
    EXPECT_IFX_ERROR(ifx_cube_get_slice_r(nullptr, 0, &slices[0]), IFX_ERROR_ARGUMENT_NULL);
    EXPECT_IFX_ERROR(ifx_cube_get_slice_r(cube, 0, nullptr), IFX_ERROR_ARGUMENT_NULL);
    ifx_cube_destroy_r(cube);
}

TEST_F(RadarSdkContainers, FrameHasOneSeparateMatrixPerAntenna) {
    ifx_Frame_R_t* frame = ifx_frame_create_r(2, 64, 128);
    ASSERT_NE(frame, nullptr);
    EXPECT_EQ(ifx_error_get(), IFX_OK);
    ASSERT_EQ(frame->num_rx, 2u);
    for (uint32_t rx = 0; rx < 2; ++rx) {
        ASSERT_NE(frame->rx_data[rx], nullptr);
        EXPECT_EQ(mRows(frame->rx_data[rx]), 64u);
        EXPECT_EQ(mCols(frame->rx_data[rx]), 128u);
        EXPECT_EQ(mAt(frame->rx_data[rx], 63, 127), 0.0f);
    }
    ifx_mat_setall_r(frame->rx_data[0], 1.0f);
    ifx_mat_setall_r(frame->rx_data[1], 2.0f);
    EXPECT_EQ(mAt(frame->rx_data[0], 63, 127), 1.0f) << "antenna 1's fill did not spill over";
    EXPECT_EQ(mAt(frame->rx_data[1], 0, 0), 2.0f);

    // The matrices belong to the frame.
    EXPECT_IFX_ERROR(ifx_mat_destroy_r(frame->rx_data[1]), IFX_ERROR_ARGUMENT_INVALID);
    EXPECT_EQ(mAt(frame->rx_data[1], 63, 127), 2.0f);
    ifx_frame_destroy_r(frame);
}

}  // namespace
