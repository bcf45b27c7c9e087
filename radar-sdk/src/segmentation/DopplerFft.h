// Stage 2: Doppler processing of the range bins that can hold people. Per
// receiver and range bin the mean over the chirps is taken out first: it is
// the zero-Doppler value (static furniture, and a still person frozen within
// the frame), handed to the slow-time path, while what is left (everything
// that moves within the 25 ms of a frame) is windowed (Hann) and transformed
// over the chirps. Output: the complex range-Doppler maps of both receivers
// (zero Doppler in the middle column), their summed power, and per range bin
// the zero-Doppler values.
#ifndef TESSIVO_RADARSDK_DOPPLERFFT_H
#define TESSIVO_RADARSDK_DOPPLERFFT_H

#include <complex>
#include <memory>
#include <string>
#include <vector>

#include "RangeFft.h"

struct kiss_fft_state;

namespace radar_sdk {

class DopplerFft {
public:
    // Null with *error naming the bad argument.
    static std::unique_ptr<DopplerFft> Create(int chirps, int bins, std::string* error);
    ~DopplerFft();
    DopplerFft(const DopplerFft&) = delete;
    DopplerFft& operator=(const DopplerFft&) = delete;

    // One frame from the range stage (same chirps, at least as many bins).
    // Allocates nothing.
    void Execute(const RangeFft& range);
    // The stage keeps no history; present for the stage life cycle.
    void Reset() {}

    int Bins() const { return m_bins; }
    int Dopplers() const { return m_chirps; }
    // Column of zero Doppler; column d holds Doppler bin d - ZeroColumn().
    int ZeroColumn() const { return m_chirps / 2; }
    // |Y0|^2 + |Y1|^2 of cell (bin, column); a tone of amplitude A (|X| = A
    // in both receivers) centred on the cell gives 2 A^2 there.
    const float* Power() const { return m_power.data(); }
    float PowerAt(int bin, int column) const {
        return m_power[static_cast<size_t>(bin) * m_chirps + column];
    }
    std::complex<float> CellAt(int rx, int bin, int column) const {
        return m_cells[(static_cast<size_t>(rx) * m_bins + bin) * m_chirps + column];
    }
    // Zero-Doppler value (mean over the chirps) of receiver rx in a bin.
    const std::complex<float>* ZeroDoppler(int rx) const {
        return &m_zero[static_cast<size_t>(rx) * m_bins];
    }
    // Power of the noise in one cell relative to the noise power of one
    // receiver's range value in one chirp.
    float NoiseGain() const { return m_noiseGain; }

private:
    DopplerFft() = default;

    int m_chirps = 0;
    int m_bins = 0;
    float m_scale = 0.0f;
    float m_noiseGain = 0.0f;
    kiss_fft_state* m_fft = nullptr;
    std::vector<float> m_window;
    std::vector<std::complex<float>> m_in;
    std::vector<std::complex<float>> m_out;
    std::vector<std::complex<float>> m_cells;  // [rx][bin][column]
    std::vector<float> m_power;                // [bin][column]
    std::vector<std::complex<float>> m_zero;   // [rx][bin]
};

}  // namespace radar_sdk

#endif
