// Raw radar frames into the segmentation's input cube.
#ifndef TESSIVO_SEGMENTATION_RADARCUBE_H
#define TESSIVO_SEGMENTATION_RADARCUBE_H

#include <ifxRadarSDK.h>

// Geometry of one raw frame: element index = antenna + 2 * (chirp * 128 +
// sample), 16384 samples of which the low 12 bits carry the value.
constexpr uint32_t kRawAntennas = 2;
constexpr uint32_t kRawChirps = 64;
constexpr uint32_t kRawSamples = 128;
constexpr uint32_t kRawFrameSamples = kRawAntennas * kRawChirps * kRawSamples;

// Scales the kRawFrameSamples samples of raw by 1/4095 (full scale is exactly
// 1.0) into cube, a kRawChirps x kRawSamples x kRawAntennas cube seen through
// its slice views. Antenna 0 goes to slice 1 and antenna 1 to slice 0: the
// segmentation reads its receivers in that swapped order.
// A null raw or cube records IFX_ERROR_ARGUMENT_NULL, a cube of other
// dimensions IFX_ERROR_DIMENSION_MISMATCH, and then the cube is left as it
// was; on success the last error is IFX_OK.
// \context One thread at a time per cube.
void RawFrameToCube(const unsigned short* raw, ifx_Cube_R_t* cube);

#endif
