#include "RangeFft.h"

#include <kissfft/kiss_fft.h>

#include <cmath>

namespace radar_sdk {

namespace {

constexpr double kPi = 3.141592653589793;

}  // namespace

std::unique_ptr<RangeFft> RangeFft::Create(int samples, int chirps, int fftSize, int bins,
                                           std::string* error) {
    auto fail = [error](const char* message) {
        if (error != nullptr) {
            *error = message;
        }
        return nullptr;
    };
    if (samples < 2) {
        return fail("RangeFft: samples must be at least 2");
    }
    if (chirps < 1) {
        return fail("RangeFft: chirps must be at least 1");
    }
    if (fftSize < samples) {
        return fail("RangeFft: fftSize must be at least samples");
    }
    if (bins < 1 || bins > fftSize / 2) {
        return fail("RangeFft: bins must be 1..fftSize/2");
    }
    std::unique_ptr<RangeFft> stage(new RangeFft());
    stage->m_samples = samples;
    stage->m_chirps = chirps;
    stage->m_fftSize = fftSize;
    stage->m_bins = bins;
    stage->m_fft = kiss_fft_alloc(fftSize, 0, nullptr, nullptr);
    if (stage->m_fft == nullptr) {
        return fail("RangeFft: out of memory");
    }
    stage->m_window.resize(samples);
    double sum = 0.0;
    for (int n = 0; n < samples; ++n) {
        const double w = 0.5 - 0.5 * std::cos(2.0 * kPi * n / (samples - 1));
        stage->m_window[n] = static_cast<float>(w);
        sum += w;
    }
    // A real tone A cos(.) puts A/2 * sum(w) into its positive-frequency
    // bin; the receivers' separation below halves once more.
    stage->m_scale = static_cast<float>(1.0 / sum);
    stage->m_in.assign(fftSize, std::complex<float>(0.0f, 0.0f));
    stage->m_out.assign(fftSize, std::complex<float>(0.0f, 0.0f));
    stage->m_cube.assign(static_cast<size_t>(2) * bins * chirps, std::complex<float>(0.0f, 0.0f));
    return stage;
}

RangeFft::~RangeFft() {
    kiss_fft_free(m_fft);
}

bool RangeFft::_Check(const MatrixView& view) const {
    return view.data != nullptr && view.rows == static_cast<size_t>(m_chirps) &&
           view.cols == static_cast<size_t>(m_samples) && view.stride >= view.cols;
}

bool RangeFft::Execute(const MatrixView& rx0, const MatrixView& rx1) {
    if (!_Check(rx0) || !_Check(rx1)) {
        return false;
    }
    // A value that is not finite would poison every later frame through the
    // stages' memories: refuse the frame before anything is written. x * 0
    // is 0 for every finite x and NaN otherwise, and cannot overflow.
    float total = 0.0f;
    for (int c = 0; c < m_chirps; ++c) {
        const float* a = rx0.data + static_cast<size_t>(c) * rx0.stride;
        const float* b = rx1.data + static_cast<size_t>(c) * rx1.stride;
        for (int n = 0; n < m_samples; ++n) {
            total += a[n] * 0.0f + b[n] * 0.0f;
        }
    }
    if (!std::isfinite(total)) {
        return false;
    }
    const float invSamples = 1.0f / static_cast<float>(m_samples);
    auto* in = reinterpret_cast<kiss_fft_cpx*>(m_in.data());
    auto* out = reinterpret_cast<kiss_fft_cpx*>(m_out.data());
    for (int c = 0; c < m_chirps; ++c) {
        const float* a = rx0.data + static_cast<size_t>(c) * rx0.stride;
        const float* b = rx1.data + static_cast<size_t>(c) * rx1.stride;
        float meanA = 0.0f, meanB = 0.0f;
        for (int n = 0; n < m_samples; ++n) {
            meanA += a[n];
            meanB += b[n];
        }
        meanA *= invSamples;
        meanB *= invSamples;
        for (int n = 0; n < m_samples; ++n) {
            in[n].r = (a[n] - meanA) * m_window[n];
            in[n].i = (b[n] - meanB) * m_window[n];
        }
        kiss_fft(m_fft, in, out);
        for (int k = 0; k < m_bins; ++k) {
            const std::complex<float> z = m_out[k];
            const std::complex<float> mirror = std::conj(m_out[k == 0 ? 0 : m_fftSize - k]);
            const std::complex<float> x0 = (z + mirror) * m_scale;
            // (z - mirror) / j
            const std::complex<float> d = z - mirror;
            const std::complex<float> x1(d.imag() * m_scale, -d.real() * m_scale);
            m_cube[static_cast<size_t>(k) * m_chirps + c] = x0;
            m_cube[(static_cast<size_t>(m_bins) + k) * m_chirps + c] = x1;
        }
    }
    return true;
}

}  // namespace radar_sdk
