// Helpers of the simulator's tests: spectra of synthesised frames (the same
// processing a radar receiver would do), scenes built in code or shipped, and
// scratch files.
#ifndef TESSIVO_TESTS_SIM_SIMTESTSUPPORT_H
#define TESSIVO_TESTS_SIM_SIMTESTSUPPORT_H

#include <stdint.h>

#include <complex>
#include <string>
#include <vector>

#include "Scene.h"
#include "SceneSynthesizer.h"

namespace simtest {

using Complex = std::complex<double>;

// Complex FFT (kissfft, float) of any size.
std::vector<Complex> Fft(const std::vector<Complex>& in);

// Range spectrum of one chirp of one receiver: mean removed, Hann window,
// bins 0 .. kSamplesPerChirp / 2 - 1.
std::vector<Complex> RangeSpectrum(const uint16_t* frame, int rx, int chirp);

// Index of the largest magnitude in [first, last].
int PeakBin(const std::vector<Complex>& spectrum, int first, int last);

// Peak position refined between bins by a parabola through the log
// magnitudes of the peak and its neighbours.
double InterpolatedPeak(const std::vector<Complex>& spectrum, int peak);

// Doppler spectrum at one range bin: that bin of every chirp's range
// spectrum (rx 0), Hann window over the chirps, FFT, shifted so that index
// kChirpsPerFrame / 2 is zero speed.
std::vector<Complex> DopplerSpectrum(const uint16_t* frame, int rangeBin);

// Wraps an angle into (-pi, pi].
double Wrap(double radians);

// A scene with no noise and nothing in it, for point-target tests.
radar::Scene QuietScene();

// One person reduced to a bare point target: one scatterer, no sway, no
// breathing.
radar::ScenePerson PointPerson(int id, std::vector<radar::ScenePoint> path, double speed);

// A shipped scene by name; fails the test when it does not load.
radar::Scene ShippedScene(const std::string& name);

// One synthesised frame.
std::vector<uint16_t> Synthesize(radar::SceneSynthesizer& synthesizer, int64_t frame);

// A scratch directory, removed with everything in it at the end.
class TempDir {
public:
    TempDir();
    ~TempDir();
    const std::string& Path() const { return m_path; }
    std::string File(const std::string& name) const { return m_path + "/" + name; }
    // Writes text to the named file of the directory and returns its path.
    std::string Write(const std::string& name, const std::string& text) const;

private:
    std::string m_path;
};

std::string ReadText(const std::string& path);
void WriteText(const std::string& path, const std::string& text);
bool Exists(const std::string& path);

}  // namespace simtest

#endif
