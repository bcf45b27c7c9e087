// Raw frames into the segmentation cube: scaling, placement and the swapped
// receivers, and cubes that cannot take a frame.
#include <gtest/gtest.h>

#include <vector>

#include "RadarCube.h"

namespace {

class RadarCubeTest : public ::testing::Test {
protected:
    void SetUp() override {
        m_cube = ifx_cube_create_r(kRawChirps, kRawSamples, kRawAntennas);
        ASSERT_NE(m_cube, nullptr);
        m_raw.assign(kRawFrameSamples, 0);
    }
    void TearDown() override { ifx_cube_destroy_r(m_cube); }

    unsigned short& Raw(uint32_t antenna, uint32_t chirp, uint32_t sample) {
        return m_raw[antenna + kRawAntennas * (chirp * kRawSamples + sample)];
    }

    ifx_Cube_R_t* m_cube = nullptr;
    std::vector<unsigned short> m_raw;
};

}  // namespace

TEST_F(RadarCubeTest, FullScaleIsOneZeroIsZeroAndLargerValuesAreScaledNotCut) {
    Raw(0, 5, 7) = 4095;
    Raw(1, 5, 7) = 0;
    Raw(0, 0, 0) = 4096;
    Raw(1, 0, 0) = 65535;
    ifx_cube_get_slice_r(m_cube, 0, nullptr);  // leaves an error behind
    RawFrameToCube(m_raw.data(), m_cube);
    EXPECT_EQ(ifx_error_get(), IFX_OK);
    EXPECT_EQ(cAt(m_cube, 5, 7, 1), 1.0f);
    EXPECT_EQ(cAt(m_cube, 5, 7, 0), 0.0f);
    EXPECT_EQ(cAt(m_cube, 0, 0, 1), 4096.0f / 4095.0f);
    EXPECT_EQ(cAt(m_cube, 0, 0, 0), 65535.0f / 4095.0f);
}

TEST_F(RadarCubeTest, AntennaZeroGoesToSliceOneAndEveryValueScalesBySingleDivision) {
    // All 4096 values, each the correctly rounded single-precision quotient
    // (a reciprocal multiplication would differ in the last bit for some).
    // Antenna 0 gets the even values and antenna 1 the odd ones, so swapped
    // slices show too.
    for (uint32_t i = 0; i < kRawFrameSamples; ++i) {
        m_raw[i] = static_cast<unsigned short>(i % 4096);
    }
    RawFrameToCube(m_raw.data(), m_cube);
    for (uint32_t c = 0; c < kRawChirps; ++c) {
        for (uint32_t s = 0; s < kRawSamples; ++s) {
            ASSERT_EQ(cAt(m_cube, c, s, 1), static_cast<float>(Raw(0, c, s)) / 4095.0f)
                << "chirp " << c << " sample " << s;
            ASSERT_EQ(cAt(m_cube, c, s, 0), static_cast<float>(Raw(1, c, s)) / 4095.0f)
                << "chirp " << c << " sample " << s;
        }
    }
}

TEST_F(RadarCubeTest, BadArgumentsAreRefusedAndTouchNothing) {
    for (uint32_t i = 0; i < kRawFrameSamples; ++i) {
        cDat(m_cube)[i] = -1.0f;
    }
    ifx_Cube_R_t noData = *m_cube;
    noData.d = nullptr;
    for (ifx_Cube_R_t* cube : {static_cast<ifx_Cube_R_t*>(nullptr), &noData}) {
        RawFrameToCube(m_raw.data(), cube);
        EXPECT_EQ(ifx_error_get(), IFX_ERROR_ARGUMENT_NULL);
    }
    RawFrameToCube(nullptr, m_cube);
    EXPECT_EQ(ifx_error_get(), IFX_ERROR_ARGUMENT_NULL);
    EXPECT_EQ(cAt(m_cube, 0, 0, 0), -1.0f);
    EXPECT_EQ(cAt(m_cube, 63, 127, 1), -1.0f);

    m_raw.assign(kRawFrameSamples, 4095);
    const uint32_t shapes[][3] = {
        {128, 64, 2}, {64, 128, 1}, {64, 128, 3}, {32, 128, 2}, {64, 256, 2}};
    for (const auto& shape : shapes) {
        ifx_Cube_R_t* cube = ifx_cube_create_r(shape[0], shape[1], shape[2]);
        ASSERT_NE(cube, nullptr);
        RawFrameToCube(m_raw.data(), cube);
        EXPECT_EQ(ifx_error_get(), IFX_ERROR_DIMENSION_MISMATCH)
            << shape[0] << " x " << shape[1] << " x " << shape[2];
        EXPECT_EQ(cAt(cube, 0, 0, 0), 0.0f);
        ifx_cube_destroy_r(cube);
    }
}
