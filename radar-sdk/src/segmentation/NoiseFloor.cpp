#include "NoiseFloor.h"

#include <algorithm>

namespace radar_sdk {

namespace {

// Noise power of a cell summing two receivers follows a gamma law of shape
// 2: its median is 1.678 times its scale, its mean twice the scale.
constexpr float kMeanPerMedian = 2.0f / 1.678347f;
// Smoothing of the estimate from frame to frame.
constexpr float kSmoothing = 0.2f;

}  // namespace

std::unique_ptr<NoiseFloor> NoiseFloor::Create(int bins, int dopplers, int firstBin,
                                               std::string* error) {
    if (bins < 1 || dopplers < 8 || firstBin < 0 || firstBin >= bins) {
        if (error != nullptr) {
            *error = "NoiseFloor: need bins >= 1, dopplers >= 8 and 0 <= firstBin < bins";
        }
        return nullptr;
    }
    std::unique_ptr<NoiseFloor> stage(new NoiseFloor());
    stage->m_bins = bins;
    stage->m_dopplers = dopplers;
    stage->m_firstBin = firstBin;
    stage->m_scratch.resize(static_cast<size_t>(bins) * dopplers);
    return stage;
}

void NoiseFloor::Reset() {
    m_noise = 0.0f;
    m_primed = false;
}

void NoiseFloor::Execute(const float* power) {
    const int quarter = m_dopplers / 4;
    size_t count = 0;
    for (int k = m_firstBin; k < m_bins; ++k) {
        const float* row = power + static_cast<size_t>(k) * m_dopplers;
        // Columns far from zero Doppler on either side.
        for (int d = 0; d < quarter; ++d) {
            m_scratch[count++] = row[d];
            m_scratch[count++] = row[m_dopplers - 1 - d];
        }
    }
    const auto begin = m_scratch.begin();
    const auto middle = begin + static_cast<std::ptrdiff_t>(count / 2);
    std::nth_element(begin, middle, begin + static_cast<std::ptrdiff_t>(count));
    const float estimate = *middle * kMeanPerMedian;
    if (!m_primed) {
        m_noise = estimate;
        m_primed = true;
    } else {
        m_noise += kSmoothing * (estimate - m_noise);
    }
}

}  // namespace radar_sdk
