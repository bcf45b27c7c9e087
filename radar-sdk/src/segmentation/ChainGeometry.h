// The figures every stage of the segmentation chain works from, derived once
// from the settings: FFT sizes, how many range bins are worth processing, and
// what one range bin and one Doppler bin are worth in metres and m/s.
#ifndef TESSIVO_RADARSDK_CHAINGEOMETRY_H
#define TESSIVO_RADARSDK_CHAINGEOMETRY_H

#include <string>

#include "SegmentationEngine.h"

namespace radar_sdk {

struct ChainGeometry {
    int samples = 0;         // per chirp
    int chirps = 0;          // per frame
    int rangeFftSize = 0;    // samples zero-padded twice over
    int rangeBins = 0;       // bins 0..rangeBins-1 are processed
    int firstBin = 0;        // nearest bin a person is looked for in
    int lastBin = 0;         // farthest bin a person is looked for in
    float rangeBinM = 0.0f;  // one bin of the padded range FFT
    float speedBinMps = 0.0f;
    float wavelengthM = 0.0f;
    float maxRangeM = 0.0f;
    float framePeriodS = 0.0f;
};

// Largest supported sizes: the engine sizes its buffers from them once.
constexpr int kMaxSamplesPerChirp = 4096;
constexpr int kMaxChirpsPerFrame = 1024;
constexpr int kMaxSegments = 64;
constexpr int kMaxReportedTracks = 32;
constexpr float kSpeedOfLightMps = 299792458.0f;
// Nearest range a person is reported at: the first bins hold the leakage of
// the transmitter into the receivers on real hardware.
constexpr float kMinRangeM = 0.3f;
// Processed beyond maxRangeM so that a person at the limit is still seen
// whole and the detector has training cells around it.
constexpr float kRangeMarginM = 0.6f;

// Checks the settings and derives the geometry; false with a message naming
// the bad setting.
// \context Thread-safe.
bool DeriveChainGeometry(const SegmentationSettings& settings, ChainGeometry* geometry,
                         std::string* error);

}  // namespace radar_sdk

#endif
