#include "SimTestSupport.h"

#include <gtest/gtest.h>
#include <kissfft/kiss_fft.h>
#include <stdlib.h>
#include <unistd.h>

#include <cmath>
#include <fstream>
#include <sstream>

#include "RadarFrameFormat.h"
#include "SceneLibrary.h"

namespace simtest {

namespace {
constexpr double kPi = 3.141592653589793;

std::vector<double> Hann(int n) {
    std::vector<double> window(n);
    for (int i = 0; i < n; ++i) {
        window[i] = 0.5 - 0.5 * std::cos(2.0 * kPi * i / (n - 1));
    }
    return window;
}
}  // namespace

std::vector<Complex> Fft(const std::vector<Complex>& in) {
    const int n = static_cast<int>(in.size());
    kiss_fft_cfg cfg = kiss_fft_alloc(n, 0, nullptr, nullptr);
    std::vector<kiss_fft_cpx> a(n), b(n);
    for (int i = 0; i < n; ++i) {
        a[i].r = static_cast<float>(in[i].real());
        a[i].i = static_cast<float>(in[i].imag());
    }
    kiss_fft(cfg, a.data(), b.data());
    kiss_fft_free(cfg);
    std::vector<Complex> out(n);
    for (int i = 0; i < n; ++i) {
        out[i] = Complex(b[i].r, b[i].i);
    }
    return out;
}

std::vector<Complex> RangeSpectrum(const uint16_t* frame, int rx, int chirp) {
    const int n = radar::kSamplesPerChirp;
    static const std::vector<double> window = Hann(n);
    double mean = 0.0;
    for (int i = 0; i < n; ++i) {
        mean += frame[radar::SampleIndex(rx, chirp, i)];
    }
    mean /= n;
    std::vector<Complex> in(n);
    for (int i = 0; i < n; ++i) {
        in[i] = (frame[radar::SampleIndex(rx, chirp, i)] - mean) * window[i];
    }
    std::vector<Complex> out = Fft(in);
    out.resize(n / 2);
    return out;
}

int PeakBin(const std::vector<Complex>& spectrum, int first, int last) {
    int best = first;
    for (int i = first; i <= last; ++i) {
        if (std::abs(spectrum[i]) > std::abs(spectrum[best])) {
            best = i;
        }
    }
    return best;
}

double InterpolatedPeak(const std::vector<Complex>& spectrum, int peak) {
    const double a = std::log(std::abs(spectrum[peak - 1]));
    const double b = std::log(std::abs(spectrum[peak]));
    const double c = std::log(std::abs(spectrum[peak + 1]));
    return peak + 0.5 * (a - c) / (a - 2.0 * b + c);
}

std::vector<Complex> DopplerSpectrum(const uint16_t* frame, int rangeBin) {
    const int n = radar::kChirpsPerFrame;
    static const std::vector<double> window = Hann(n);
    std::vector<Complex> slow(n);
    for (int k = 0; k < n; ++k) {
        slow[k] = RangeSpectrum(frame, 0, k)[rangeBin] * window[k];
    }
    std::vector<Complex> spectrum = Fft(slow);
    std::vector<Complex> shifted(n);
    for (int i = 0; i < n; ++i) {
        shifted[(i + n / 2) % n] = spectrum[i];
    }
    return shifted;
}

double Wrap(double radians) {
    double wrapped = std::remainder(radians, 2.0 * kPi);
    if (wrapped <= -kPi) {
        wrapped += 2.0 * kPi;
    }
    return wrapped;
}

radar::Scene QuietScene() {
    radar::Scene scene;
    scene.name = "quiet";
    scene.noiseRms = 0.0;
    return scene;
}

radar::ScenePerson PointPerson(int id, std::vector<radar::ScenePoint> path, double speed) {
    radar::ScenePerson person;
    person.id = id;
    person.path = std::move(path);
    person.speedMps = speed;
    person.scatterers = 1;
    person.swayM = 0.0;
    person.breathingDepthM = 0.0;
    return person;
}

radar::Scene ShippedScene(const std::string& name) {
    radar::Scene scene;
    std::string path, error;
    EXPECT_TRUE(radar::ResolveScenePath(name, &path, &error)) << error;
    EXPECT_TRUE(radar::LoadScene(path, &scene, &error)) << error;
    return scene;
}

std::vector<uint16_t> Synthesize(radar::SceneSynthesizer& synthesizer, int64_t frame) {
    std::vector<uint16_t> samples(radar::kFrameSamples);
    synthesizer.SynthesizeFrame(frame, samples.data());
    return samples;
}

TempDir::TempDir() {
    char pattern[] = "/tmp/sim-test-XXXXXX";
    m_path = mkdtemp(pattern) != nullptr ? pattern : "";
    EXPECT_FALSE(m_path.empty()) << "cannot make a scratch directory";
}

TempDir::~TempDir() {
    if (!m_path.empty() && system(("rm -rf '" + m_path + "'").c_str()) != 0) {
        ADD_FAILURE() << "cannot remove " << m_path;
    }
}

std::string TempDir::Write(const std::string& name, const std::string& text) const {
    WriteText(File(name), text);
    return File(name);
}

std::string ReadText(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

void WriteText(const std::string& path, const std::string& text) {
    std::ofstream(path, std::ios::binary) << text;
}

bool Exists(const std::string& path) {
    return access(path.c_str(), F_OK) == 0;
}

}  // namespace simtest
