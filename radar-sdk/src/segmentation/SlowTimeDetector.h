// Stage 5: the slow-time path, for people who sit or stand still and for
// walkers crossing the line of sight (no radial speed). Within one frame such
// a person is frozen at zero Doppler together with the furniture, which the
// moving path throws away. From frame to frame, though, breathing (a few
// millimetres: a whole turn of phase at 61 GHz), sway and steps keep changing
// the phase of that person's range bin, while a sofa's stays exactly where it
// was. So per range bin and receiver:
//  - a clutter map, the zero-Doppler value averaged over a few seconds (a
//    running mean at start-up), which keeps the furniture and the long-term
//    mean of a seated person;
//  - the residual of this frame against that map: what is not furniture now,
//    with the angle of its receivers' phase difference;
//  - the variance of the zero-Doppler values over a window of a few seconds,
//    the evidence of life: the residual of a bin is reported only while that
//    variance stands clearly above what noise gives, above what a static
//    target's own instability could give (a small fraction of the map's
//    power), and is not much smaller than the residual itself. An error of
//    the clutter map (a person who was there at start-up, the trail a walker
//    left, a moved chair) is a residual that stays put without variance:
//    never reported.
// Points are the local maxima of the residual's power along range.
#ifndef TESSIVO_RADARSDK_SLOWTIMEDETECTOR_H
#define TESSIVO_RADARSDK_SLOWTIMEDETECTOR_H

#include <complex>
#include <memory>
#include <string>
#include <vector>

namespace radar_sdk {

struct SlowCell {
    float bin = 0.0f;           // interpolated between bins
    float power = 0.0f;         // of the residual, both receivers
    std::complex<float> cross;  // residual of rx 1 times the conjugate of rx 0's
    // How far the phase of the bin's strongest source turned since the last
    // frame (radians): the motion of a chest, or of its wall echo, which
    // follows that motion (scaled, of either sign, never at a rhythm of its own).
    float step = 0.0f;
};

struct SlowTimeConfig {
    int window = 24;                 // frames of history for the variance
    int minFrames = 5;               // frames before anything is reported
    int clutterFrames = 100;         // time constant of the clutter map, frames
    float noiseFactor = 8.0f;        // variance and residual over the noise's
    float clutterStability = 1e-3f;  // variance over the clutter map's power
    float residualRatio = 0.1f;      // variance over the residual's power
};

class SlowTimeDetector {
public:
    // Null with *error naming the bad argument. Bins firstBin..lastBin are
    // searched; bins is the length of the inputs.
    static std::unique_ptr<SlowTimeDetector> Create(int bins, int firstBin, int lastBin,
                                                    const SlowTimeConfig& config,
                                                    std::string* error);

    // One frame: the zero-Doppler values of both receivers per range bin,
    // and the variance that noise alone gives one receiver's zero-Doppler
    // value. Returns the number of cells reported. Allocates nothing.
    int Execute(const std::complex<float>* zero0, const std::complex<float>* zero1,
                float zeroDopplerNoise);
    // Forgets the history.
    void Reset();

    const SlowCell* Cells() const { return m_cells.data(); }
    int Count() const { return m_count; }
    // Variance of both receivers in a bin over the window (diagnostics, tests).
    float VarianceAt(int bin) const { return m_variance[bin]; }
    // Power of this frame's residual against the clutter map, both receivers.
    float ResidualAt(int bin) const { return m_residual[bin]; }

private:
    SlowTimeDetector() = default;
    void _Learn(const std::complex<float>* zero0, const std::complex<float>* zero1);
    float _Step(const std::complex<float>* h, std::complex<float> mean0, std::complex<float> mean1,
                float power0, float power1, std::complex<float> cross) const;

    int m_bins = 0;
    int m_firstBin = 0;
    int m_lastBin = 0;
    SlowTimeConfig m_config;
    int m_head = 0;
    int m_filled = 0;
    int m_frames = 0;                            // since the start, up to clutterFrames
    std::vector<std::complex<float>> m_history;  // [bin][frame][rx]
    std::vector<std::complex<float>> m_clutter;  // [bin][rx]
    std::vector<float> m_variance;
    std::vector<float> m_residual;
    std::vector<std::complex<float>> m_cross;
    std::vector<float> m_step;
    std::vector<unsigned char> m_alive;
    std::vector<SlowCell> m_cells;
    int m_count = 0;
};

}  // namespace radar_sdk

#endif
