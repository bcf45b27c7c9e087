// The synthesis checked against the physics of an FMCW radar, not against
// itself: a point target's range, angle and speed are read back with the
// receiver's own processing (FFTs) and compared with c / 2B range bins, the
// pi sin(A) phase between receivers half a wavelength apart, the Doppler
// speed bins and the 4 pi d / lambda phase swing of a breathing chest.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "RadarFrameFormat.h"
#include "SceneSynthesizer.h"
#include "SimTestSupport.h"

using namespace radar;
using namespace simtest;

namespace {

constexpr double kPi = 3.141592653589793;

std::vector<uint16_t> Synthesize(const Scene& scene, int64_t frame) {
    SceneSynthesizer synthesizer(scene, 1);
    return simtest::Synthesize(synthesizer, frame);
}

Scene OneReflector(double x, double y, double rcs = 1.0) {
    Scene scene = QuietScene();
    SceneClutter clutter;
    clutter.at = {x, y};
    clutter.rcsM2 = rcs;
    scene.clutter.push_back(clutter);
    return scene;
}

}  // namespace

TEST(SynthesisPhysics, PointTargetLandsInItsRangeBin) {
    // Ranges picked away from bin edges, near and far.
    for (double range : {1.0, 2.0, 3.26, 4.5, 6.5, 12.0, 18.0}) {
        SCOPED_TRACE(range);
        const std::vector<uint16_t> frame = Synthesize(OneReflector(0.0, range), 0);
        const double expected = range / kRangeBinM;  // c / 2B per bin
        for (int rx = 0; rx < kRxCount; ++rx) {
            for (int chirp : {0, 31, 63}) {
                const std::vector<Complex> spectrum = RangeSpectrum(frame.data(), rx, chirp);
                const int peak = PeakBin(spectrum, 1, kSamplesPerChirp / 2 - 2);
                EXPECT_EQ(peak, static_cast<int>(std::lround(expected)));
                EXPECT_NEAR(InterpolatedPeak(spectrum, peak), expected, 0.1);
            }
        }
    }
}

TEST(SynthesisPhysics, PhaseBetweenReceiversIsPiSinAngle) {
    const double range = 2.5;
    for (double angleDeg : {-55.0, -30.0, -10.0, 0.0, 5.0, 20.0, 45.0, 58.0}) {
        SCOPED_TRACE(angleDeg);
        const double a = angleDeg * kPi / 180.0;
        const std::vector<uint16_t> frame =
            Synthesize(OneReflector(range * std::sin(a), range * std::cos(a)), 0);
        for (int chirp : {0, 40}) {
            const std::vector<Complex> rx0 = RangeSpectrum(frame.data(), 0, chirp);
            const std::vector<Complex> rx1 = RangeSpectrum(frame.data(), 1, chirp);
            const int peak = PeakBin(rx0, 1, kSamplesPerChirp / 2 - 1);
            const double measured = std::arg(rx1[peak] * std::conj(rx0[peak]));
            const double expected = kPi * std::sin(a);
            EXPECT_NEAR(Wrap(measured - expected) * 180.0 / kPi, 0.0, 2.0)
                << "measured " << measured << " rad, expected " << expected;
        }
    }
}

TEST(SynthesisPhysics, MovingTargetLandsInItsSpeedBin) {
    // Radial walks straight away from and towards the module; positive is
    // moving away.
    struct Case {
        double speed;
        double fromY, toY;
    };
    for (const Case& c :
         {Case{10 * kSpeedBinMps, 1.5, 9.0}, Case{0.5, 1.5, 9.0}, Case{2.0, 9.0, 1.5},
          Case{3 * kSpeedBinMps, 6.0, 1.0}, Case{2.9, 1.2, 9.0}}) {
        const double velocity = c.toY > c.fromY ? c.speed : -c.speed;
        SCOPED_TRACE(velocity);
        Scene scene = QuietScene();
        scene.people.push_back(PointPerson(1, {{0.0, c.fromY}, {0.0, c.toY}}, c.speed));
        SceneSynthesizer synthesizer(scene, 7);
        const int64_t index = 10;
        const std::vector<uint16_t> frame = simtest::Synthesize(synthesizer, index);
        const std::vector<TruthTarget> truth = synthesizer.TruthAt(FrameTimeS(index));
        ASSERT_EQ(truth.size(), 1u);
        EXPECT_NEAR(truth[0].velocity, velocity, 1e-9);

        const int rangeBin =
            PeakBin(RangeSpectrum(frame.data(), 0, 0), 1, kSamplesPerChirp / 2 - 1);
        EXPECT_NEAR(rangeBin, truth[0].range / kRangeBinM, 0.6);
        const std::vector<Complex> doppler = DopplerSpectrum(frame.data(), rangeBin);
        const int speedBin = PeakBin(doppler, 0, kChirpsPerFrame - 1) - kChirpsPerFrame / 2;
        EXPECT_EQ(speedBin, static_cast<int>(std::lround(velocity / kSpeedBinMps)));
    }
}

TEST(SynthesisPhysics, StaticTargetHasNoDoppler) {
    const std::vector<uint16_t> frame = Synthesize(OneReflector(0.5, 3.0), 3);
    const int rangeBin = PeakBin(RangeSpectrum(frame.data(), 0, 0), 1, kSamplesPerChirp / 2 - 1);
    const std::vector<Complex> doppler = DopplerSpectrum(frame.data(), rangeBin);
    EXPECT_EQ(PeakBin(doppler, 0, kChirpsPerFrame - 1), kChirpsPerFrame / 2);
    // Every chirp of a still target is the same chirp.
    for (int k = 1; k < kChirpsPerFrame; ++k) {
        for (int n = 0; n < kSamplesPerChirp; ++n) {
            ASSERT_EQ(frame[SampleIndex(0, k, n)], frame[SampleIndex(0, 0, n)]);
        }
    }
}

namespace {

// The unwrapped phase of the chest's range bin, frame after frame.
std::vector<double> ChestPhase(const Scene& scene, int frames, int* rangeBin) {
    SceneSynthesizer synthesizer(scene, 11);
    std::vector<double> phase;
    for (int f = 0; f < frames; ++f) {
        const std::vector<Complex> spectrum =
            RangeSpectrum(simtest::Synthesize(synthesizer, f).data(), 0, 0);
        if (f == 0) {
            *rangeBin = PeakBin(spectrum, 1, kSamplesPerChirp / 2 - 1);
        }
        const double p = std::arg(spectrum[*rangeBin]);
        phase.push_back(phase.empty() ? p : phase.back() + Wrap(p - phase.back()));
    }
    return phase;
}

double Swing(const std::vector<double>& phase) {
    return *std::max_element(phase.begin(), phase.end()) -
           *std::min_element(phase.begin(), phase.end());
}

Scene Breather(double depth, double rate, int scatterers, double sway) {
    Scene scene = QuietScene();
    ScenePerson person;
    person.id = 1;
    person.path = {{0.3, 2.0}};
    person.seated = true;
    person.breathingDepthM = depth;
    person.breathingRateHz = rate;
    person.scatterers = scatterers;
    person.swayM = sway;
    scene.people.push_back(person);
    return scene;
}

}  // namespace

TEST(SynthesisPhysics, BreathingSwingsThePhaseByFourPiDepthOverLambda) {
    for (double depth : {0.002, 0.004, 0.005}) {
        SCOPED_TRACE(depth);
        const double rate = 0.25;
        int rangeBin = 0;
        // 12 s: three whole breaths.
        const std::vector<double> phase = ChestPhase(Breather(depth, rate, 1, 0.0), 120, &rangeBin);
        EXPECT_NEAR(rangeBin, std::hypot(0.3, 2.0) / kRangeBinM, 0.6);
        const double expected = 4.0 * kPi * depth / kWavelengthM;
        EXPECT_NEAR(Swing(phase), expected, 0.03 * expected);

        // The swing repeats at the breathing rate: the phase's spectrum peaks
        // at 0.25 Hz (bin 3 of 120 frames at 10 Hz).
        double mean = 0.0;
        for (double p : phase) {
            mean += p / phase.size();
        }
        std::vector<Complex> series;
        for (double p : phase) {
            series.emplace_back(p - mean, 0.0);
        }
        const std::vector<Complex> spectrum = Fft(series);
        EXPECT_EQ(PeakBin(spectrum, 1, 59), static_cast<int>(std::lround(rate * 120 / 10.0)));
    }
}

TEST(SynthesisPhysics, BreathingShowsFromFrameToFrameNotWithinAFrame) {
    SceneSynthesizer synthesizer(Breather(0.005, 0.4, 1, 0.0), 3);
    double previous = 0.0;
    double largestStep = 0.0;
    for (int f = 0; f < 30; ++f) {
        const std::vector<uint16_t> frame = simtest::Synthesize(synthesizer, f);
        const int bin = PeakBin(RangeSpectrum(frame.data(), 0, 0), 1, kSamplesPerChirp / 2 - 1);
        const double first = std::arg(RangeSpectrum(frame.data(), 0, 0)[bin]);
        const double last = std::arg(RangeSpectrum(frame.data(), 0, 63)[bin]);
        EXPECT_NEAR(Wrap(last - first), 0.0, 0.01) << "frame " << f;
        if (f > 0) {
            largestStep = std::max(largestStep, std::fabs(Wrap(first - previous)));
        }
        previous = first;
    }
    // At 0.4 Hz and 5 mm the chest moves up to 0.63 mm between frames: a
    // phase step of about 1.6 rad.
    EXPECT_GT(largestStep, 1.0);
}

TEST(SynthesisPhysics, SeatedPersonWithBodyAndSwayStillShowsBreathing) {
    // The whole default body: the chest dominates its range bin, so the
    // breathing stays clearly visible, if not exactly 4 pi d / lambda.
    int rangeBin = 0;
    const double depth = 0.004;
    const std::vector<double> phase = ChestPhase(Breather(depth, 0.25, 0, -1.0), 120, &rangeBin);
    const double expected = 4.0 * kPi * depth / kWavelengthM;
    EXPECT_GT(Swing(phase), 0.5 * expected);
    EXPECT_LT(Swing(phase), 1.5 * expected);
}

TEST(SynthesisPhysics, AmplitudeFallsAsRangeSquaredAndGrowsWithCrossSection) {
    // Bin centres, so that both peaks see the same window loss.
    const double near = 3 * kRangeBinM;
    const double far = 6 * kRangeBinM;
    auto peak = [](const Scene& scene) {
        const std::vector<uint16_t> frame = Synthesize(scene, 0);
        const std::vector<Complex> spectrum = RangeSpectrum(frame.data(), 0, 0);
        return std::abs(spectrum[PeakBin(spectrum, 1, kSamplesPerChirp / 2 - 1)]);
    };
    const double atNear = peak(OneReflector(0.0, near, 1.0));
    EXPECT_NEAR(atNear / peak(OneReflector(0.0, far, 1.0)), 4.0, 0.04);  // power 1/R^4
    EXPECT_NEAR(peak(OneReflector(0.0, near, 4.0)) / atNear, 2.0, 0.02);
    Scene louder = OneReflector(0.0, near, 1.0);
    louder.gain = 0.5;
    EXPECT_NEAR(peak(louder) / atNear, 0.5, 0.01);
}

TEST(SynthesisPhysics, OneSquareMetreAtOneMetreIsTheDocumentedAmplitude) {
    const std::vector<uint16_t> frame = Synthesize(OneReflector(0.0, 1.0, 1.0), 0);
    const auto range = std::minmax_element(frame.begin(), frame.end());
    EXPECT_NEAR(*range.second - kAdcZero, kAmplitudeAt1m, 1.0);
    EXPECT_NEAR(kAdcZero - *range.first, kAmplitudeAt1m, 1.0);
}

TEST(SynthesisPhysics, BeyondTheFieldOfViewTheSignalFades) {
    auto level = [](double angleDeg) {
        const double a = angleDeg * kPi / 180.0;
        const std::vector<uint16_t> frame =
            Synthesize(OneReflector(2.0 * std::sin(a), 2.0 * std::cos(a)), 0);
        const auto range = std::minmax_element(frame.begin(), frame.end());
        return (*range.second - *range.first) / 2.0;
    };
    const double inView = level(55.0);
    EXPECT_NEAR(inView, kAmplitudeAt1m / 4.0, 1.0);
    EXPECT_LT(level(75.0), 0.75 * inView);
    EXPECT_LT(level(89.0), 0.1 * inView);
    // Behind the module nothing comes back.
    const std::vector<uint16_t> behind = Synthesize(OneReflector(0.5, -2.0), 0);
    EXPECT_TRUE(
        std::all_of(behind.begin(), behind.end(), [](uint16_t s) { return s == kAdcZero; }));
}
