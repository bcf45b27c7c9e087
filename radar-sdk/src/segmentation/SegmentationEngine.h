// The people-sensing algorithm behind ifx_segmentation_run: from one radar
// frame (two receivers, chirps x samples, values 0..1) to the occupancy of
// the angular segments and up to maxTracks tracked people. It keeps state
// from frame to frame (clutter estimate, slow-time history, tracks) and
// allocates nothing per frame.
#ifndef TESSIVO_RADARSDK_SEGMENTATIONENGINE_H
#define TESSIVO_RADARSDK_SEGMENTATIONENGINE_H

#include <stddef.h>

#include <memory>
#include <string>
#include <vector>

namespace radar_sdk {

struct SegmentationSettings {
    int samplesPerChirp = 128;
    int chirpsPerFrame = 64;
    float bandwidthHz = 460e6f;
    float chirpRepetitionTimeS = 0.00039155f;
    float centreFrequencyHz = 61.25e9f;
    float maxRangeM = 5.0f;
    // Widths in degrees of the segments, laid side by side from -60 degrees.
    std::vector<float> segmentWidthsDeg;
    int sensitivity = 2;    // 1 high, 2 medium, 3 low
    int staticRemoval = 2;  // 1 high, 2 medium, 3 low
    bool hysteresis = false;
    int maxTracks = 10;
    int orientation = 1;  // 1 landscape
    // Time from one frame to the next: the tracker's time step and the
    // clock of the slow-time (several frames) path.
    float framePeriodS = 0.1f;
};

// A row-major matrix view: element (row, col) is data[row * stride + col].
struct MatrixView {
    const float* data = nullptr;
    size_t rows = 0;
    size_t cols = 0;
    size_t stride = 0;
};

class SegmentationEngine {
public:
    virtual ~SegmentationEngine() = default;

    // Null with *error set when the settings cannot work (zero sizes, no
    // segments, more tracks than the engine supports, ...).
    static std::unique_ptr<SegmentationEngine> Create(const SegmentationSettings& settings,
                                                      std::string* error);

    // One frame. rx0 and rx1 are chirps x samples of receiver 0 and
    // receiver 1 in the geometry of the radar data contract (positive angles
    // towards receiver 1). segments receives one value per segment (1 while
    // a tracked person is in it, else 0); tracks receives maxTracks rows of
    // 4 values [id, range m, angle deg, velocity m/s] at trackStride floats
    // per row, id 0 for an empty row. False (outputs untouched) when the
    // views do not match the settings or hold a value that is not finite;
    // such a frame leaves the engine's state as it was.
    virtual bool Process(const MatrixView& rx0, const MatrixView& rx1, float* segments,
                         float* tracks, size_t trackStride) = 0;

    // Forgets everything learnt from earlier frames.
    virtual void Reset() = 0;
};

}  // namespace radar_sdk

#endif
