// Stage 1: the range FFT of every chirp of both receivers. Each chirp loses
// its mean (the ADC's mid-scale and any offset), is windowed (Hann: low range
// sidelobes next to strong furniture), zero-padded twice over (finer bins for
// interpolation and clustering) and transformed; the two receivers share one
// complex FFT (rx 0 as the real part, rx 1 as the imaginary part) and are
// separated afterwards by the symmetry of real signals. Output: per receiver
// and range bin the complex values of all chirps, scaled so that a tone of
// amplitude A (input units) gives |X| = A in its bin.
#ifndef TESSIVO_RADARSDK_RANGEFFT_H
#define TESSIVO_RADARSDK_RANGEFFT_H

#include <complex>
#include <memory>
#include <string>
#include <vector>

#include "SegmentationEngine.h"

struct kiss_fft_state;

namespace radar_sdk {

class RangeFft {
public:
    // Null with *error naming the bad argument. fftSize >= samples; bins <=
    // fftSize / 2.
    static std::unique_ptr<RangeFft> Create(int samples, int chirps, int fftSize, int bins,
                                            std::string* error);
    ~RangeFft();
    RangeFft(const RangeFft&) = delete;
    RangeFft& operator=(const RangeFft&) = delete;

    // One frame: rx0 and rx1 are chirps x samples. False, with the output
    // left as it was, when a view has the wrong shape or a value is not
    // finite. Allocates nothing.
    bool Execute(const MatrixView& rx0, const MatrixView& rx1);
    // The stage keeps no history; present for the stage life cycle.
    void Reset() {}

    // The chirps of receiver rx in range bin `bin` (chirps values).
    const std::complex<float>* Chirps(int rx, int bin) const {
        return &m_cube[(static_cast<size_t>(rx) * m_bins + bin) * m_chirps];
    }
    int Bins() const { return m_bins; }
    int ChirpCount() const { return m_chirps; }

private:
    RangeFft() = default;
    bool _Check(const MatrixView& view) const;

    int m_samples = 0;
    int m_chirps = 0;
    int m_fftSize = 0;
    int m_bins = 0;
    float m_scale = 0.0f;
    kiss_fft_state* m_fft = nullptr;
    std::vector<float> m_window;
    std::vector<std::complex<float>> m_in;
    std::vector<std::complex<float>> m_out;
    std::vector<std::complex<float>> m_cube;  // [rx][bin][chirp]
};

}  // namespace radar_sdk

#endif
