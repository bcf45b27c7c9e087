#include "RadarCube.h"

#include <array>

namespace {

// Full scale of a 12-bit sample: it maps to exactly 1.0.
constexpr ifx_Float_t kFullScale = 4095.0f;
constexpr uint32_t kTableSize = 4096;

// The quotient of every 12-bit value, computed once by the same division the
// per-sample path would do, so a lookup gives bit-identical results.
const std::array<ifx_Float_t, kTableSize>& ScaledValues() {
    static const std::array<ifx_Float_t, kTableSize> table = [] {
        std::array<ifx_Float_t, kTableSize> values{};
        for (uint32_t i = 0; i < kTableSize; ++i) {
            values[i] = static_cast<ifx_Float_t>(i) / kFullScale;
        }
        return values;
    }();
    return table;
}

}  // namespace

void RawFrameToCube(const unsigned short* raw, ifx_Cube_R_t* cube) {
    if (raw == nullptr || cube == nullptr || cDat(cube) == nullptr) {
        ifx_error_set(IFX_ERROR_ARGUMENT_NULL);
        return;
    }
    if (cRows(cube) != kRawChirps || cCols(cube) != kRawSamples || cSlices(cube) != kRawAntennas) {
        ifx_error_set(IFX_ERROR_DIMENSION_MISMATCH);
        return;
    }
    const std::array<ifx_Float_t, kTableSize>& scaled = ScaledValues();
    for (uint32_t antenna = 0; antenna < kRawAntennas; ++antenna) {
        ifx_Matrix_R_t view;
        ifx_cube_get_slice_r(cube, antenna == 0 ? 1 : 0, &view);
        if (ifx_error_get() != IFX_OK) {
            return;
        }
        for (uint32_t chirp = 0; chirp < kRawChirps; ++chirp) {
            const unsigned short* in = raw + antenna + kRawAntennas * (chirp * kRawSamples);
            ifx_Float_t* out = &mAt(&view, chirp, 0);
            for (uint32_t sample = 0; sample < kRawSamples; ++sample) {
                const unsigned short value = in[kRawAntennas * sample];
                // Samples carry 12 bits; anything above still scales by the
                // same division rather than being cut.
                out[sample] = value < kTableSize ? scaled[value]
                                                 : static_cast<ifx_Float_t>(value) / kFullScale;
            }
        }
    }
}
