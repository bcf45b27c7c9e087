// The radar data contract shared by the simulated module, recordings and the
// segmentation: frame geometry, chirp parameters and the 12-bit packing.
#ifndef TESSIVO_SIM_RADARFRAMEFORMAT_H
#define TESSIVO_SIM_RADARFRAMEFORMAT_H

#include <stddef.h>
#include <stdint.h>

namespace radar {

constexpr int kRxCount = 2;
constexpr int kChirpsPerFrame = 64;
constexpr int kSamplesPerChirp = 128;
constexpr int kFrameSamples = kRxCount * kChirpsPerFrame * kSamplesPerChirp;  // 16384
constexpr int kSliceSamples = kFrameSamples / 2;                              // 8192
constexpr int kSliceBytes = kSliceSamples * 3 / 2;                            // 12288
constexpr int kFrameBytes = 2 * kSliceBytes;                                  // 24576

constexpr double kSpeedOfLight = 299792458.0;
constexpr double kStartFrequencyHz = 61.02e9;
constexpr double kStopFrequencyHz = 61.48e9;
constexpr double kBandwidthHz = kStopFrequencyHz - kStartFrequencyHz;  // 460 MHz
constexpr double kCentreFrequencyHz = 61.25e9;
constexpr double kSampleRateHz = 2e6;
constexpr double kChirpDurationS = kSamplesPerChirp / kSampleRateHz;  // 64 us
constexpr double kSlopeHzPerS = kBandwidthHz / kChirpDurationS;       // 7.1875e12
constexpr double kChirpRepetitionS = 0.39155e-3;
constexpr double kFrameRateHz = 10.0;
constexpr double kWavelengthM = kSpeedOfLight / kCentreFrequencyHz;  // 4.895 mm
constexpr double kRangeBinM = kSpeedOfLight / (2.0 * kBandwidthHz);  // 0.326 m
constexpr double kSpeedBinMps = kWavelengthM / (2.0 * kChirpsPerFrame * kChirpRepetitionS);
constexpr double kFieldOfViewDeg = 60.0;  // either side of straight ahead
// The farthest range whose beat frequency is below half the sample rate.
constexpr double kMaxRangeM = kSampleRateHz / 2.0 * kSpeedOfLight / (2.0 * kSlopeHzPerS);  // 20.85
constexpr double kFramePeriodS = 1.0 / kFrameRateHz;

// Scene time of a frame's first chirp, seconds.
constexpr double FrameTimeS(int64_t frame) {
    return static_cast<double>(frame) / kFrameRateHz;
}

constexpr uint16_t kAdcZero = 2048;
constexpr uint16_t kAdcMax = 4095;

// Index of a sample in an unpacked frame.
constexpr int SampleIndex(int rx, int chirp, int sample) {
    return rx + 2 * (chirp * kSamplesPerChirp + sample);
}

// Packs consecutive 12-bit samples in pairs, three bytes per pair. count must
// be even; out receives count * 3 / 2 bytes.
void PackRaw12(const uint16_t* samples, size_t count, uint8_t* out);
// Packs a whole frame into its two slices (kFrameBytes bytes).
inline void PackFrame(const uint16_t* frame, uint8_t* out) {
    PackRaw12(frame, kFrameSamples, out);
}
// The inverse of PackRaw12: count (even) samples from count * 3 / 2 bytes.
void UnpackRaw12(const uint8_t* packed, size_t count, uint16_t* samples);
// Unpacks a whole frame (kFrameBytes bytes, both slices) into kFrameSamples.
inline void UnpackFrame(const uint8_t* packed, uint16_t* frame) {
    UnpackRaw12(packed, kFrameSamples, frame);
}

}  // namespace radar

#endif
