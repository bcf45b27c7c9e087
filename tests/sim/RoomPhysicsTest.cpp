// What a real room adds, checked against the physics with the receiver's own
// processing: a wall's echoes at their path lengths, directions and
// amplitudes, a fan's Doppler spread over the whole speed axis, the
// transmitter's leakage in the first range bin, the IF high-pass at known
// ranges, the antenna pattern and the receivers' mismatch.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numeric>
#include <vector>

#include "RadarFrameFormat.h"
#include "SceneSynthesizer.h"
#include "SimTestSupport.h"

using namespace radar;
using namespace simtest;

namespace {

constexpr double kPi = 3.141592653589793;
constexpr double kDeg = kPi / 180.0;

std::vector<uint16_t> Frame(const Scene& scene, int64_t frame = 0) {
    SceneSynthesizer synthesizer(scene, 1);
    return simtest::Synthesize(synthesizer, frame);
}

// A person reduced to one still point.
Scene StillPoint(double x, double y) {
    Scene scene = QuietScene();
    scene.people.push_back(PointPerson(1, {{x, y}}, 1.0));
    return scene;
}

// The windowed spectrum of one chirp (mean removed, Hann) at a fractional
// range bin: where a tone's amplitude is read without the scalloping of the
// nearest whole bin.
Complex ToneAt(const std::vector<uint16_t>& frame, int rx, int chirp, double bin) {
    double mean = 0.0;
    for (int n = 0; n < kSamplesPerChirp; ++n) {
        mean += frame[static_cast<size_t>(SampleIndex(rx, chirp, n))];
    }
    mean /= kSamplesPerChirp;
    Complex sum = 0.0;
    for (int n = 0; n < kSamplesPerChirp; ++n) {
        const double window = 0.5 - 0.5 * std::cos(2.0 * kPi * n / kSamplesPerChirp);
        const double value = frame[static_cast<size_t>(SampleIndex(rx, chirp, n))] - mean;
        sum += window * value * std::polar(1.0, -2.0 * kPi * bin * n / kSamplesPerChirp);
    }
    return sum;
}

double Bin(double rangeM) {
    return rangeM / kRangeBinM;
}

}  // namespace

TEST(RoomPhysics, WallEchoesAtTheirPathLengthsDirectionsAndAmplitudes) {
    // A person at A = -26.6 deg, a side wall 2 m to their left: the mirror
    // image stands at (-5, 2), A' = -68.2 deg. A known antenna pattern
    // (p = 1: amplitude cos^(1/2) both ways) makes every path's gain known.
    const double x = -1.0, y = 2.0, wallX = -3.0, rho = 0.5;
    Scene scene = StillPoint(x, y);
    scene.module.patternExponent = 1.0;
    SceneWall wall;
    wall.axis = WallAxis::kX;
    wall.positionM = wallX;
    wall.reflectivity = rho;
    scene.walls.push_back(wall);
    const std::vector<uint16_t> frame = Frame(scene);

    const double r = std::hypot(x, y), a = std::atan2(x, y);
    const double rm = std::hypot(2.0 * wallX - x, y), am = std::atan2(2.0 * wallX - x, y);
    const double oneWay = std::pow(std::cos(a), 0.25), oneWayMirror = std::pow(std::cos(am), 0.25);
    struct Path {
        const char* name;
        double range;
        double gain;         // amplitude relative to the direct path's, before the pattern
        Complex rx1OverRx0;  // what the direction of arrival makes of rx 1
    } paths[] = {
        {"direct", r, oneWay * oneWay, std::polar(1.0, kPi * std::sin(a))},
        {"one bounce", 0.5 * (r + rm), 2.0 * rho * oneWay * oneWayMirror,
         0.5 * (std::polar(1.0, kPi * std::sin(a)) + std::polar(1.0, kPi * std::sin(am)))},
        {"two bounces", rm, rho * rho * oneWayMirror * oneWayMirror,
         std::polar(1.0, kPi * std::sin(am))},
    };
    for (int chirp : {0, 33}) {
        const std::vector<Complex> spectrum = RangeSpectrum(frame.data(), 0, chirp);
        const double direct = std::abs(ToneAt(frame, 0, chirp, Bin(r)));
        for (const Path& path : paths) {
            SCOPED_TRACE(path.name);
            const int expected = static_cast<int>(std::lround(Bin(path.range)));
            EXPECT_EQ(PeakBin(spectrum, expected - 2, expected + 2), expected);
            const Complex rx0 = ToneAt(frame, 0, chirp, Bin(path.range));
            const Complex rx1 = ToneAt(frame, 1, chirp, Bin(path.range));
            EXPECT_NEAR(std::abs(rx0) / direct, path.gain / paths[0].gain,
                        0.04 * path.gain / paths[0].gain);
            const Complex ratio = rx1 / rx0;
            EXPECT_NEAR(std::abs(ratio), std::abs(path.rx1OverRx0), 0.03);
            EXPECT_NEAR(Wrap(std::arg(ratio) - std::arg(path.rx1OverRx0)) / kDeg, 0.0, 2.0);
        }
    }

    // The evaluation's map of the same echoes.
    SceneSynthesizer synthesizer(scene, 1);
    const std::vector<Decoy> decoys = synthesizer.DecoysAt(0.0);
    ASSERT_EQ(decoys.size(), 4u);
    // Two receivers hear both one-bounce paths as one echo at the phase of
    // their sum.
    const double heard = std::asin(std::arg(paths[1].rx1OverRx0) / kPi);
    const double expectedRanges[] = {0.5 * (r + rm), 0.5 * (r + rm), 0.5 * (r + rm), rm};
    const double expectedAngles[] = {a / kDeg, am / kDeg, heard / kDeg, am / kDeg};
    for (size_t i = 0; i < decoys.size(); ++i) {
        EXPECT_EQ(decoys[i].kind, DecoyKind::kEcho);
        EXPECT_EQ(decoys[i].personId, 1);
        EXPECT_NEAR(decoys[i].range, expectedRanges[i], 1e-9);
        EXPECT_NEAR(decoys[i].angle, expectedAngles[i], 1e-9);
    }
    // Nothing is mirrored from behind the wall.
    Scene behind = StillPoint(-3.5, 2.0);
    behind.walls = scene.walls;
    EXPECT_TRUE(SceneSynthesizer(behind, 1).DecoysAt(0.0).empty());
}

TEST(RoomPhysics, FanDopplerCoversTheWholeSpeedAxisAtOnePlace) {
    // Share of the Doppler bins (away from zero speed, where the housing
    // sits) holding at least 1% of the strongest one's power.
    auto spread = [](const Scene& scene, int rangeBin, int64_t frame) {
        const std::vector<uint16_t> samples = Frame(scene, frame);
        std::vector<double> power(kChirpsPerFrame, 0.0);
        for (int bin = rangeBin - 1; bin <= rangeBin + 1; ++bin) {
            const std::vector<Complex> doppler = DopplerSpectrum(samples.data(), bin);
            for (int k = 0; k < kChirpsPerFrame; ++k) {
                power[k] += std::norm(doppler[k]);
            }
        }
        double strongest = 0.0;
        for (int k = 0; k < kChirpsPerFrame; ++k) {
            if (std::abs(k - kChirpsPerFrame / 2) > 2) {
                strongest = std::max(strongest, power[k]);
            }
        }
        int filled = 0, counted = 0;
        for (int k = 0; k < kChirpsPerFrame; ++k) {
            if (std::abs(k - kChirpsPerFrame / 2) > 2) {
                ++counted;
                filled += power[k] >= 0.01 * strongest ? 1 : 0;
            }
        }
        return static_cast<double>(filled) / counted;
    };

    Scene fan = QuietScene();
    SceneMover mover;
    mover.kind = MoverKind::kFan;
    mover.at = {1.0, 1.5};
    mover.oscillationDeg = 40.0;
    fan.movers.push_back(mover);
    const int fanBin = static_cast<int>(std::lround(Bin(std::hypot(1.0, 1.5))));
    // A walker at about the same range fills only a few bins.
    Scene walker = QuietScene();
    walker.people.push_back(PointPerson(1, {{0.0, 1.2}, {0.0, 3.0}}, 1.0));
    const int walkerBin = static_cast<int>(std::lround(Bin(1.8)));
    for (int64_t frame : {3, 17, 42, 80}) {
        SCOPED_TRACE(frame);
        EXPECT_GE(spread(fan, fanBin, frame), 0.8);
        EXPECT_LE(spread(walker, walkerBin, frame), 0.3);
    }
    // The fan goes nowhere: its place in the evaluation's map never moves.
    SceneSynthesizer synthesizer(fan, 1);
    for (double t : {0.0, 7.5, 30.0}) {
        const std::vector<Decoy> decoys = synthesizer.DecoysAt(t);
        ASSERT_EQ(decoys.size(), 1u);
        EXPECT_EQ(decoys[0].kind, DecoyKind::kMover);
        EXPECT_NEAR(decoys[0].x, 1.0, 1e-9);
        EXPECT_NEAR(decoys[0].y, 1.5, 1e-9);
    }
}

TEST(RoomPhysics, LeakageFillsTheFirstRangeBinFarAboveAPerson) {
    Scene scene = StillPoint(0.0, 2.0);
    scene.module.leakageAmplitude = 400.0;
    scene.module.leakageRangeM = 0.04;
    scene.module.highPassHz = 30000.0;
    const std::vector<uint16_t> frame = Frame(scene);
    for (int rx = 0; rx < kRxCount; ++rx) {
        // The plain spectrum: the leakage is a beat of a fraction of a cycle
        // per chirp, which removing the mean would hide.
        std::vector<Complex> chirp(kSamplesPerChirp);
        for (int n = 0; n < kSamplesPerChirp; ++n) {
            const double window = 0.5 - 0.5 * std::cos(2.0 * kPi * n / kSamplesPerChirp);
            chirp[n] = window * (frame[static_cast<size_t>(SampleIndex(rx, 5, n))] - kAdcZero);
        }
        const std::vector<Complex> spectrum = Fft(chirp);
        const int peak = PeakBin(spectrum, 0, kSamplesPerChirp / 2 - 1);
        EXPECT_LE(peak, 1) << "rx " << rx;
        const int person = static_cast<int>(std::lround(Bin(2.0)));
        EXPECT_GT(std::abs(spectrum[peak]), 3.0 * std::abs(spectrum[person])) << "rx " << rx;
    }
}

TEST(RoomPhysics, HighPassAttenuatesAndTurnsNearEchoes) {
    // First order, corner fc: |H| = (f / fc) / sqrt(1 + (f / fc)^2) and a
    // lead of atan(fc / f), f = S 2R / c.
    const double corner = 40000.0;
    for (double range : {0.8, 1.5, 3.0}) {
        SCOPED_TRACE(range);
        const Scene plain = StillPoint(0.0, range);
        Scene filtered = plain;
        filtered.module.highPassHz = corner;
        const std::vector<uint16_t> a = Frame(plain), b = Frame(filtered);
        const Complex ratio = ToneAt(b, 0, 0, Bin(range)) / ToneAt(a, 0, 0, Bin(range));
        const double f = kSlopeHzPerS * 2.0 * range / kSpeedOfLight;
        const double expected = (f / corner) / std::sqrt(1.0 + (f / corner) * (f / corner));
        EXPECT_NEAR(std::abs(ratio), expected, 0.03);
        EXPECT_NEAR(Wrap(std::arg(ratio) - std::atan2(corner, f)) / kDeg, 0.0, 3.0);
    }
}

TEST(RoomPhysics, AntennaPatternAndReceiverMismatch) {
    const double range = 2.5;
    struct Case {
        double exponent, angleDeg;
    } cases[] = {{1.0, 30.0}, {1.0, 50.0}, {2.0, 30.0}, {2.0, 58.0}};
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << "p " << c.exponent << " at " << c.angleDeg);
        const double a = c.angleDeg * kDeg;
        const Scene flat = StillPoint(range * std::sin(a), range * std::cos(a));
        Scene shaped = flat;
        shaped.module.patternExponent = c.exponent;
        const double ratio = std::abs(ToneAt(Frame(shaped), 0, 0, Bin(range))) /
                             std::abs(ToneAt(Frame(flat), 0, 0, Bin(range)));
        EXPECT_NEAR(ratio, std::pow(std::cos(a), 0.5 * c.exponent), 0.01);
    }

    Scene scene = StillPoint(0.0, range);
    scene.module.rxGainDb = 1.5;
    const std::vector<uint16_t> frame = Frame(scene);
    EXPECT_NEAR(std::abs(ToneAt(frame, 1, 0, Bin(range)) / ToneAt(frame, 0, 0, Bin(range))),
                std::pow(10.0, 1.5 / 20.0), 0.01);

    Scene silent = QuietScene();
    silent.adcOffset = 3.0;
    silent.module.adcOffsets[0] = 25.0;
    silent.module.adcOffsets[1] = -18.0;
    const std::vector<uint16_t> offsets = Frame(silent);
    for (int rx = 0; rx < kRxCount; ++rx) {
        for (int i = rx; i < kFrameSamples; i += kRxCount) {
            ASSERT_EQ(offsets[static_cast<size_t>(i)], kAdcZero + 3 + silent.module.adcOffsets[rx])
                << "rx " << rx;
        }
    }
}
