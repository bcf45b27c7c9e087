// Stage 3: the receiver's noise level, learnt from the range-Doppler power
// map. It is taken from the fast Doppler columns (beyond a quarter of the
// unambiguous speed, where people rarely put energy) as a median, which a few
// strong cells cannot pull, and smoothed over frames. The moving path's
// detector has its own local estimate; the slow-time path, which sees one
// value per range bin and frame, needs this one.
#ifndef TESSIVO_RADARSDK_NOISEFLOOR_H
#define TESSIVO_RADARSDK_NOISEFLOOR_H

#include <memory>
#include <string>
#include <vector>

namespace radar_sdk {

class NoiseFloor {
public:
    // Null with *error naming the bad argument. Cells of bins firstBin..
    // bins-1 are used.
    static std::unique_ptr<NoiseFloor> Create(int bins, int dopplers, int firstBin,
                                              std::string* error);

    // One power map of bins x dopplers cells, zero Doppler in column
    // dopplers / 2, whose noise cells are the sum of two receivers' complex
    // Gaussian noise. Allocates nothing.
    void Execute(const float* power);
    void Reset();

    // Mean noise power of one cell; 0 before the first frame.
    float CellNoise() const { return m_noise; }

private:
    NoiseFloor() = default;

    int m_bins = 0;
    int m_dopplers = 0;
    int m_firstBin = 0;
    float m_noise = 0.0f;
    bool m_primed = false;
    std::vector<float> m_scratch;
};

}  // namespace radar_sdk

#endif
