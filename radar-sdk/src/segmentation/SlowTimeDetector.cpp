#include "SlowTimeDetector.h"

#include <algorithm>
#include <cmath>

#include "PointCloud.h"

namespace radar_sdk {

std::unique_ptr<SlowTimeDetector> SlowTimeDetector::Create(int bins, int firstBin, int lastBin,
                                                           const SlowTimeConfig& config,
                                                           std::string* error) {
    auto fail = [error](const char* message) {
        if (error != nullptr) {
            *error = message;
        }
        return nullptr;
    };
    if (bins < 3 || firstBin < 1 || lastBin > bins - 2 || firstBin > lastBin) {
        return fail("SlowTimeDetector: need 1 <= firstBin <= lastBin <= bins - 2");
    }
    if (config.window < 2) {
        return fail("SlowTimeDetector: window must be at least 2 frames");
    }
    if (config.minFrames < 2 || config.minFrames > config.window) {
        return fail("SlowTimeDetector: minFrames must be 2..window");
    }
    if (config.clutterFrames < 1) {
        return fail("SlowTimeDetector: clutterFrames must be at least 1");
    }
    if (!(config.noiseFactor > 0.0f) || !(config.clutterStability >= 0.0f) ||
        !(config.residualRatio >= 0.0f)) {
        return fail("SlowTimeDetector: factors must be positive");
    }
    std::unique_ptr<SlowTimeDetector> stage(new SlowTimeDetector());
    stage->m_bins = bins;
    stage->m_firstBin = firstBin;
    stage->m_lastBin = lastBin;
    stage->m_config = config;
    stage->m_history.assign(static_cast<size_t>(bins) * config.window * 2, std::complex<float>());
    stage->m_clutter.assign(static_cast<size_t>(bins) * 2, std::complex<float>());
    stage->m_variance.assign(bins, 0.0f);
    stage->m_residual.assign(bins, 0.0f);
    stage->m_cross.assign(bins, std::complex<float>());
    stage->m_step.assign(bins, 0.0f);
    stage->m_alive.assign(bins, 0);
    stage->m_cells.resize(bins);
    return stage;
}

void SlowTimeDetector::Reset() {
    m_head = 0;
    m_filled = 0;
    m_frames = 0;
    m_count = 0;
    std::fill(m_clutter.begin(), m_clutter.end(), std::complex<float>());
    std::fill(m_variance.begin(), m_variance.end(), 0.0f);
    std::fill(m_residual.begin(), m_residual.end(), 0.0f);
    std::fill(m_cross.begin(), m_cross.end(), std::complex<float>());
    std::fill(m_step.begin(), m_step.end(), 0.0f);
    std::fill(m_alive.begin(), m_alive.end(), 0);
}

void SlowTimeDetector::_Learn(const std::complex<float>* zero0, const std::complex<float>* zero1) {
    // A running mean until the map has seen clutterFrames frames, then an
    // exponential one. Every bin learns, people included: a seated person's
    // mean goes into the map and the breathing stays in the residual, and a
    // walker's trail fades within clutterFrames.
    const float learn = 1.0f / static_cast<float>(m_frames);
    for (int k = 0; k < m_bins; ++k) {
        std::complex<float>* map = &m_clutter[static_cast<size_t>(k) * 2];
        map[0] += learn * (zero0[k] - map[0]);
        map[1] += learn * (zero1[k] - map[1]);
    }
}

float SlowTimeDetector::_Step(const std::complex<float>* h, std::complex<float> mean0,
                              std::complex<float> mean1, float power0, float power1,
                              std::complex<float> cross) const {
    // The principal eigenvector of the window's 2 x 2 covariance
    // [[power0, conj(cross)], [cross, power1]] is (conj(cross), l - power0):
    // projected on it, the two receivers give the bin's strongest source at
    // the noise of both together.
    const float half = 0.5f * (power0 - power1);
    const float largest = 0.5f * (power0 + power1) + std::sqrt(half * half + std::norm(cross));
    std::complex<float> w0 = cross, w1 = largest - power0;  // conjugated components
    if (std::norm(w0) + std::norm(w1) == 0.0f) {
        w0 = 1.0f;
    }
    const int window = m_config.window;
    const int newest = (m_head + window - 1) % window;
    const int before = (m_head + window - 2) % window;
    const std::complex<float> now = w0 * (h[2 * newest] - mean0) + w1 * (h[2 * newest + 1] - mean1);
    const std::complex<float> then =
        w0 * (h[2 * before] - mean0) + w1 * (h[2 * before + 1] - mean1);
    return std::arg(now * std::conj(then));
}

int SlowTimeDetector::Execute(const std::complex<float>* zero0, const std::complex<float>* zero1,
                              float zeroDopplerNoise) {
    const int window = m_config.window;
    // The residual is taken against the map as it was before this frame.
    for (int k = 0; k < m_bins; ++k) {
        std::complex<float>* slot = &m_history[(static_cast<size_t>(k) * window + m_head) * 2];
        slot[0] = zero0[k];
        slot[1] = zero1[k];
        const std::complex<float>* map = &m_clutter[static_cast<size_t>(k) * 2];
        const std::complex<float> r0 = zero0[k] - map[0];
        const std::complex<float> r1 = zero1[k] - map[1];
        m_residual[k] = std::norm(r0) + std::norm(r1);
        m_cross[k] = r1 * std::conj(r0);
    }
    m_head = (m_head + 1) % window;
    m_filled = std::min(m_filled + 1, window);
    m_frames = std::min(m_frames + 1, m_config.clutterFrames);
    m_count = 0;
    if (m_filled < m_config.minFrames) {
        _Learn(zero0, zero1);
        return 0;
    }
    const int n = m_filled;
    const float invN = 1.0f / static_cast<float>(n);
    // Noise alone leaves this much variance in the two receivers together.
    const float noiseVariance = 2.0f * zeroDopplerNoise * static_cast<float>(n - 1) * invN;
    const float noiseResidual = 2.0f * zeroDopplerNoise;
    for (int k = 0; k < m_bins; ++k) {
        // The filled part of the ring is its first n slots, in any order.
        const std::complex<float>* h = &m_history[static_cast<size_t>(k) * window * 2];
        std::complex<float> mean0, mean1;
        for (int i = 0; i < n; ++i) {
            mean0 += h[2 * i];
            mean1 += h[2 * i + 1];
        }
        mean0 *= invN;
        mean1 *= invN;
        float power0 = 0.0f, power1 = 0.0f;
        std::complex<float> cross;
        for (int i = 0; i < n; ++i) {
            const std::complex<float> d0 = h[2 * i] - mean0, d1 = h[2 * i + 1] - mean1;
            power0 += std::norm(d0);
            power1 += std::norm(d1);
            cross += d1 * std::conj(d0);
        }
        const float variance = (power0 + power1) * invN;
        m_variance[k] = variance;
        m_step[k] = _Step(h, mean0, mean1, power0, power1, cross);
        const float clutter = std::norm(mean0) + std::norm(mean1);
        m_alive[k] = variance > m_config.noiseFactor * noiseVariance &&
                     variance > m_config.clutterStability * clutter &&
                     variance > m_config.residualRatio * m_residual[k] &&
                     m_residual[k] > m_config.noiseFactor * noiseResidual;
    }
    _Learn(zero0, zero1);
    for (int k = m_firstBin; k <= m_lastBin; ++k) {
        if (!m_alive[k]) {
            continue;
        }
        const float p = m_residual[k];
        if (p < m_residual[k - 1] || p <= m_residual[k + 1]) {
            continue;
        }
        SlowCell& cell = m_cells[m_count++];
        cell.bin = static_cast<float>(k) + PeakOffset(m_residual[k - 1], p, m_residual[k + 1]);
        cell.power = p;
        cell.cross = m_cross[k];
        cell.step = m_step[k];
    }
    return m_count;
}

}  // namespace radar_sdk
