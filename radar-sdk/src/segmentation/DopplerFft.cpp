#include "DopplerFft.h"

#include <kissfft/kiss_fft.h>

#include <cmath>

namespace radar_sdk {

namespace {

constexpr double kPi = 3.141592653589793;

}  // namespace

std::unique_ptr<DopplerFft> DopplerFft::Create(int chirps, int bins, std::string* error) {
    auto fail = [error](const char* message) {
        if (error != nullptr) {
            *error = message;
        }
        return nullptr;
    };
    if (chirps < 4 || chirps % 2 != 0) {
        return fail("DopplerFft: chirps must be even and at least 4");
    }
    if (bins < 1) {
        return fail("DopplerFft: bins must be at least 1");
    }
    std::unique_ptr<DopplerFft> stage(new DopplerFft());
    stage->m_chirps = chirps;
    stage->m_bins = bins;
    stage->m_fft = kiss_fft_alloc(chirps, 0, nullptr, nullptr);
    if (stage->m_fft == nullptr) {
        return fail("DopplerFft: out of memory");
    }
    stage->m_window.resize(chirps);
    double sum = 0.0, sumSquares = 0.0;
    for (int c = 0; c < chirps; ++c) {
        const double w = 0.5 - 0.5 * std::cos(2.0 * kPi * c / (chirps - 1));
        stage->m_window[c] = static_cast<float>(w);
        sum += w;
        sumSquares += w * w;
    }
    stage->m_scale = static_cast<float>(1.0 / sum);
    stage->m_noiseGain = static_cast<float>(sumSquares / (sum * sum));
    stage->m_in.assign(chirps, std::complex<float>(0.0f, 0.0f));
    stage->m_out.assign(chirps, std::complex<float>(0.0f, 0.0f));
    stage->m_cells.assign(static_cast<size_t>(2) * bins * chirps, std::complex<float>());
    stage->m_power.assign(static_cast<size_t>(bins) * chirps, 0.0f);
    stage->m_zero.assign(static_cast<size_t>(2) * bins, std::complex<float>());
    return stage;
}

DopplerFft::~DopplerFft() {
    kiss_fft_free(m_fft);
}

void DopplerFft::Execute(const RangeFft& range) {
    const int half = m_chirps / 2;
    const float invChirps = 1.0f / static_cast<float>(m_chirps);
    auto* in = reinterpret_cast<kiss_fft_cpx*>(m_in.data());
    auto* out = reinterpret_cast<kiss_fft_cpx*>(m_out.data());
    for (int rx = 0; rx < 2; ++rx) {
        for (int k = 0; k < m_bins; ++k) {
            const std::complex<float>* x = range.Chirps(rx, k);
            std::complex<float> mean(0.0f, 0.0f);
            for (int c = 0; c < m_chirps; ++c) {
                mean += x[c];
            }
            mean *= invChirps;
            m_zero[static_cast<size_t>(rx) * m_bins + k] = mean;
            for (int c = 0; c < m_chirps; ++c) {
                m_in[c] = (x[c] - mean) * (m_window[c] * m_scale);
            }
            kiss_fft(m_fft, in, out);
            std::complex<float>* row = &m_cells[(static_cast<size_t>(rx) * m_bins + k) * m_chirps];
            // fftshift: negative Doppler (approaching) in the first half.
            for (int d = 0; d < half; ++d) {
                row[d + half] = m_out[d];
                row[d] = m_out[d + half];
            }
        }
    }
    for (int k = 0; k < m_bins; ++k) {
        const std::complex<float>* a = &m_cells[static_cast<size_t>(k) * m_chirps];
        const std::complex<float>* b = &m_cells[(static_cast<size_t>(m_bins) + k) * m_chirps];
        float* p = &m_power[static_cast<size_t>(k) * m_chirps];
        for (int d = 0; d < m_chirps; ++d) {
            p[d] = std::norm(a[d]) + std::norm(b[d]);
        }
    }
}

}  // namespace radar_sdk
