// The 12-bit packing and the layout of a frame, against the contract's own
// example and by hand.
#include <gtest/gtest.h>

#include <vector>

#include "RadarFrameFormat.h"

using namespace radar;

TEST(RadarPacking, PacksTheContractExampleAndTheEdgesIgnoringBitsAbove12) {
    const uint16_t samples[] = {0xABC, 0xDEF, 0x000, 0xFFF, 0x800, 0x001, 0xF123, 0x8456};
    const std::vector<uint8_t> expected = {0xAB, 0xCD, 0xEF, 0x00, 0x0F, 0xFF,
                                           0x80, 0x00, 0x01, 0x12, 0x34, 0x56};
    std::vector<uint8_t> out(expected.size());
    PackRaw12(samples, 8, out.data());
    EXPECT_EQ(out, expected);
}

TEST(RadarPacking, UnpackInvertsPackForEveryValue) {
    std::vector<uint16_t> samples(4096);
    for (int i = 0; i < 4096; ++i) {
        // Every value once, in both positions of a pair.
        samples[i] = static_cast<uint16_t>((i * 1237) % 4096);
    }
    std::vector<uint8_t> packed(samples.size() * 3 / 2);
    PackRaw12(samples.data(), samples.size(), packed.data());
    std::vector<uint16_t> back(samples.size(), 0xFFFF);
    UnpackRaw12(packed.data(), samples.size(), back.data());
    EXPECT_EQ(back, samples);
}

TEST(RadarPacking, FrameGeometryMatchesTheContract) {
    EXPECT_EQ(kFrameSamples, 16384);
    EXPECT_EQ(kSliceBytes, 12288);
    EXPECT_EQ(kFrameBytes, 24576);
    EXPECT_EQ(SampleIndex(0, 0, 0), 0);
    EXPECT_EQ(SampleIndex(1, 0, 0), 1);
    EXPECT_EQ(SampleIndex(0, 0, 1), 2);
    EXPECT_EQ(SampleIndex(1, 1, 0), 257);
    EXPECT_EQ(SampleIndex(1, 63, 127), kFrameSamples - 1);
    // Slice 0 holds chirps 0..31: the first sample of chirp 32 opens slice 1.
    EXPECT_EQ(SampleIndex(0, 32, 0), kSliceSamples);
    EXPECT_NEAR(kSlopeHzPerS, 7.1875e12, 1.0);
    EXPECT_NEAR(kRangeBinM, 0.326, 0.0005);
    EXPECT_NEAR(kWavelengthM, 4.895e-3, 0.001e-3);
    EXPECT_NEAR(kSpeedBinMps, 0.098, 0.0005);
    EXPECT_NEAR(kSpeedBinMps * kChirpsPerFrame / 2, 3.125, 0.01);
    EXPECT_NEAR(kMaxRangeM, 20.85, 0.01);
}

TEST(RadarPacking, PackFrameFillsBothSlicesInOrder) {
    std::vector<uint16_t> frame(kFrameSamples);
    for (int i = 0; i < kFrameSamples; ++i) {
        frame[i] = static_cast<uint16_t>(i & 0xFFF);
    }
    std::vector<uint8_t> packed(kFrameBytes);
    PackFrame(frame.data(), packed.data());
    // Sample 8192 (first of slice 1) is 8192 & 0xFFF = 0: its pair starts the
    // second slice.
    std::vector<uint16_t> second(kSliceSamples);
    UnpackRaw12(packed.data() + kSliceBytes, kSliceSamples, second.data());
    for (int i = 0; i < kSliceSamples; ++i) {
        ASSERT_EQ(second[i], frame[kSliceSamples + i]) << "sample " << i;
    }
    std::vector<uint16_t> whole(kFrameSamples);
    UnpackFrame(packed.data(), whole.data());
    EXPECT_EQ(whole, frame);
}
