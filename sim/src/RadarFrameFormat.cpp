// The 12-bit packing of the radar data contract: two samples in three bytes,
// the first sample's high byte first.
#include "RadarFrameFormat.h"

namespace radar {

void PackRaw12(const uint16_t* samples, size_t count, uint8_t* out) {
    for (size_t i = 0; i + 1 < count; i += 2) {
        const unsigned p = samples[i] & 0xFFFu;
        const unsigned q = samples[i + 1] & 0xFFFu;
        *out++ = static_cast<uint8_t>(p >> 4);
        *out++ = static_cast<uint8_t>(((p & 0xFu) << 4) | (q >> 8));
        *out++ = static_cast<uint8_t>(q & 0xFFu);
    }
}

void UnpackRaw12(const uint8_t* packed, size_t count, uint16_t* samples) {
    for (size_t i = 0; i + 1 < count; i += 2) {
        const unsigned b0 = packed[0];
        const unsigned b1 = packed[1];
        const unsigned b2 = packed[2];
        packed += 3;
        samples[i] = static_cast<uint16_t>((b0 << 4) | (b1 >> 4));
        samples[i + 1] = static_cast<uint16_t>(((b1 & 0xFu) << 8) | b2);
    }
}

}  // namespace radar
