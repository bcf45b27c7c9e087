// The stages of the segmentation chain, one by one, on synthetic signals
// whose answers are known: a tone lands in its range bin at its amplitude,
// the receivers' phase gives the angle, the noise floor is where the noise
// is, the detector's false alarms on noise match its design, the slow-time
// path sees breathing but not furniture, the tracker keeps one id on one
// target and two on two.
#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <random>
#include <string>
#include <vector>

#include "AngleEstimator.h"
#include "CfarDetector.h"
#include "ChainGeometry.h"
#include "DopplerFft.h"
#include "KalmanTrack.h"
#include "NoiseFloor.h"
#include "RangeFft.h"
#include "ReportGate.h"
#include "SegmentOccupancy.h"
#include "SlowTimeDetector.h"
#include "Tracker.h"

namespace {

using radar_sdk::MatrixView;

constexpr double kPi = 3.141592653589793;
constexpr int kSamples = 128;
constexpr int kChirps = 64;

// A frame of two receivers: a real tone per point target, as the module's
// ADC sees it (offset 0.5, values 0..1). bin: the tone's frequency in bins of
// the unpadded range FFT; doppler: phase turn per chirp in Doppler bins.
struct Tone {
    double bin, doppler, angleDeg, amplitude, phase;
};

struct Frame {
    std::vector<float> rx0, rx1;
    MatrixView v0, v1;
};

Frame MakeFrame(const std::vector<Tone>& tones, double noise = 0.0, unsigned seed = 1) {
    Frame f;
    f.rx0.assign(kChirps * kSamples, 0.5f);
    f.rx1.assign(kChirps * kSamples, 0.5f);
    std::mt19937 rng(seed);
    std::normal_distribution<double> gauss(0.0, noise > 0.0 ? noise : 1.0);
    for (int c = 0; c < kChirps; ++c) {
        for (int n = 0; n < kSamples; ++n) {
            double a = 0.0, b = 0.0;
            for (const Tone& t : tones) {
                const double base =
                    2.0 * kPi * (t.bin * n / kSamples + t.doppler * c / kChirps) + t.phase;
                const double steer = kPi * std::sin(t.angleDeg * kPi / 180.0);
                a += t.amplitude * std::cos(base);
                b += t.amplitude * std::cos(base + steer);
            }
            if (noise > 0.0) {
                a += gauss(rng);
                b += gauss(rng);
            }
            f.rx0[c * kSamples + n] += static_cast<float>(a);
            f.rx1[c * kSamples + n] += static_cast<float>(b);
        }
    }
    f.v0 = MatrixView{f.rx0.data(), kChirps, kSamples, kSamples};
    f.v1 = MatrixView{f.rx1.data(), kChirps, kSamples, kSamples};
    return f;
}

TEST(RangeFft, ToneLandsInItsBinAtItsAmplitudeWithTheReceiversPhase) {
    std::string error;
    auto range = radar_sdk::RangeFft::Create(kSamples, kChirps, 2 * kSamples, 48, &error);
    ASSERT_TRUE(range) << error;
    // Bin 10 of the unpadded FFT is bin 20 of the padded one.
    Frame f = MakeFrame({{10.0, 0.0, 20.0, 0.01, 0.3}});
    ASSERT_TRUE(range->Execute(f.v0, f.v1));
    int peak = 0;
    for (int k = 1; k < 48; ++k) {
        if (std::abs(range->Chirps(0, k)[0]) > std::abs(range->Chirps(0, peak)[0])) {
            peak = k;
        }
    }
    EXPECT_EQ(peak, 20);
    EXPECT_NEAR(std::abs(range->Chirps(0, 20)[5]), 0.01, 0.0002);
    EXPECT_NEAR(std::abs(range->Chirps(1, 20)[5]), 0.01, 0.0002);
    const std::complex<float> cross = range->Chirps(1, 20)[5] * std::conj(range->Chirps(0, 20)[5]);
    EXPECT_NEAR(radar_sdk::AngleFromCross(cross), 20.0, 0.5);
    // Far from the tone the Hann window leaves nothing to speak of.
    EXPECT_LT(std::abs(range->Chirps(0, 40)[0]), 1e-5);
}

TEST(RangeFft, RefusesWrongShapesAndValuesThatAreNotFinite) {
    std::string error;
    EXPECT_FALSE(radar_sdk::RangeFft::Create(kSamples, kChirps, kSamples / 2, 8, &error));
    EXPECT_NE(error.find("fftSize"), std::string::npos);
    auto range = radar_sdk::RangeFft::Create(kSamples, kChirps, 2 * kSamples, 48, &error);
    ASSERT_TRUE(range);
    Frame f = MakeFrame({{10.0, 0.0, 0.0, 0.01, 0.0}});
    MatrixView narrow = f.v0;
    narrow.cols = kSamples - 1;
    EXPECT_FALSE(range->Execute(narrow, f.v1));
    MatrixView empty = f.v0;
    empty.data = nullptr;
    EXPECT_FALSE(range->Execute(f.v0, empty));
    f.rx1[777] = std::nanf("");
    EXPECT_FALSE(range->Execute(f.v0, f.v1));
    f.rx1[777] = INFINITY;
    EXPECT_FALSE(range->Execute(f.v0, f.v1));
}

TEST(DopplerFft, MovingToneLandsInItsDopplerColumnAndStaticOneInZeroDoppler) {
    std::string error;
    auto range = radar_sdk::RangeFft::Create(kSamples, kChirps, 2 * kSamples, 48, &error);
    auto doppler = radar_sdk::DopplerFft::Create(kChirps, 48, &error);
    ASSERT_TRUE(range && doppler) << error;
    // A mover in range bin 12 (padded 24) at +5 Doppler bins, -30 degrees,
    // and a static target in bin 15 (padded 30).
    Frame f = MakeFrame({{12.0, 5.0, -30.0, 0.01, 0.0}, {15.0, 0.0, 10.0, 0.05, 1.0}});
    ASSERT_TRUE(range->Execute(f.v0, f.v1));
    doppler->Execute(*range);
    const int zero = doppler->ZeroColumn();
    int best = 0;
    for (int d = 0; d < kChirps; ++d) {
        if (doppler->PowerAt(24, d) > doppler->PowerAt(24, best)) {
            best = d;
        }
    }
    EXPECT_EQ(best - zero, 5);
    EXPECT_NEAR(doppler->PowerAt(24, best), 2.0 * 0.01 * 0.01, 0.02 * 2e-4);
    const std::complex<float> cross =
        doppler->CellAt(1, 24, best) * std::conj(doppler->CellAt(0, 24, best));
    EXPECT_NEAR(radar_sdk::AngleFromCross(cross), -30.0, 1.0);
    // The static target is all zero Doppler: kept for the slow-time path,
    // gone from the map.
    EXPECT_NEAR(std::abs(doppler->ZeroDoppler(0)[30]), 0.05, 0.001);
    EXPECT_LT(doppler->PowerAt(30, zero + 3), 1e-9);
}

TEST(AngleEstimator, TwoReceiverTargetWithinADegreeAcrossTheFieldOfView) {
    std::string error;
    auto range = radar_sdk::RangeFft::Create(kSamples, kChirps, 2 * kSamples, 48, &error);
    auto doppler = radar_sdk::DopplerFft::Create(kChirps, 48, &error);
    ASSERT_TRUE(range && doppler);
    for (double angle = -58.0; angle <= 58.0; angle += 8.0) {
        // Off-bin range and Doppler, and some noise.
        Frame f = MakeFrame({{9.3, -7.4, angle, 0.005, 0.7}}, 0.0005, 3);
        ASSERT_TRUE(range->Execute(f.v0, f.v1));
        doppler->Execute(*range);
        int bestK = 0, bestD = 0;
        for (int k = 2; k < 40; ++k) {
            for (int d = 0; d < kChirps; ++d) {
                if (doppler->PowerAt(k, d) > doppler->PowerAt(bestK, bestD)) {
                    bestK = k;
                    bestD = d;
                }
            }
        }
        const std::complex<float> cross =
            doppler->CellAt(1, bestK, bestD) * std::conj(doppler->CellAt(0, bestK, bestD));
        EXPECT_NEAR(radar_sdk::AngleFromCross(cross), angle, 1.0) << "at " << angle;
    }
    EXPECT_NEAR(radar_sdk::AngleFromCross(radar_sdk::CrossForAngle(41.0f)), 41.0, 1e-3);
    EXPECT_EQ(radar_sdk::AngleFromCross(std::complex<float>()), 0.0f);
}

TEST(NoiseFloor, EstimatesTheNoiseOfTheMap) {
    std::string error;
    auto range = radar_sdk::RangeFft::Create(kSamples, kChirps, 2 * kSamples, 48, &error);
    auto doppler = radar_sdk::DopplerFft::Create(kChirps, 48, &error);
    auto noise = radar_sdk::NoiseFloor::Create(48, kChirps, 2, &error);
    ASSERT_TRUE(range && doppler && noise) << error;
    EXPECT_EQ(noise->CellNoise(), 0.0f);
    const double sigma = 0.001;
    // Expected: per receiver the range value's noise is sigma^2 * sum(w^2) /
    // (sum(w)/2)^2 (Hann over 128 samples, one-sided scaling), complex;
    // each Doppler cell multiplies it by the Doppler window's noise gain;
    // two receivers add.
    double sw = 0.0, sw2 = 0.0;
    for (int n = 0; n < kSamples; ++n) {
        const double w = 0.5 - 0.5 * std::cos(2.0 * kPi * n / (kSamples - 1));
        sw += w;
        sw2 += w * w;
    }
    const double perReceiver = sigma * sigma * sw2 / (sw * sw / 4.0);
    const double expected = 2.0 * perReceiver * doppler->NoiseGain();
    for (unsigned seed = 1; seed <= 10; ++seed) {
        Frame f = MakeFrame({{8.0, 3.0, 0.0, 0.02, 0.0}}, sigma, seed);
        ASSERT_TRUE(range->Execute(f.v0, f.v1));
        doppler->Execute(*range);
        noise->Execute(doppler->Power());
    }
    EXPECT_NEAR(noise->CellNoise(), expected, 0.1 * expected);
    noise->Reset();
    EXPECT_EQ(noise->CellNoise(), 0.0f);
}

TEST(CfarDetector, ThresholdFactorGivesTheDesignFalseAlarmRate) {
    for (int n : {4, 8, 16}) {
        for (double pfa : {1e-3, 1e-6}) {
            const double alpha = radar_sdk::CfarDetector::ThresholdFactor(n, pfa);
            EXPECT_NEAR(radar_sdk::CfarDetector::FalseAlarmProbability(n, alpha) / pfa, 1.0, 1e-6);
        }
    }
    // Many training cells: the threshold tends to that of a known noise
    // mean m = 2 (scale 1): x / m with exp(-x)(1 + x) = pfa; for 1e-3,
    // x = 9.233.
    EXPECT_NEAR(radar_sdk::CfarDetector::ThresholdFactor(100000, 1e-3), 9.233 / 2.0, 0.01);
}

TEST(CfarDetector, FalseAlarmsOnNoiseNearTheDesign) {
    constexpr int kBins = 48;
    radar_sdk::CfarConfig config;
    config.guard = 2;
    config.training = 8;
    config.falseAlarm = 1e-3;
    config.peaksOnly = false;
    config.capacity = kBins * kChirps;
    std::string error;
    auto cfar = radar_sdk::CfarDetector::Create(kBins, kChirps, config, &error);
    ASSERT_TRUE(cfar) << error;
    std::mt19937 rng(7);
    std::exponential_distribution<float> exponential(1.0f);
    std::vector<float> map(kBins * kChirps);
    long cells = 0, alarms = 0;
    for (int trial = 0; trial < 300; ++trial) {
        // Two receivers' complex noise: the sum of two unit exponentials.
        for (float& p : map) {
            p = exponential(rng) + exponential(rng);
        }
        alarms += cfar->Execute(map.data(), 0, kBins - 1, -1);
        cells += kBins * kChirps;
    }
    const double rate = static_cast<double>(alarms) / cells;
    EXPECT_GT(rate, 0.8e-3);
    EXPECT_LT(rate, 1.2e-3);
}

TEST(CfarDetector, FindsATargetAndKeepsTheStrongestWithinCapacity) {
    constexpr int kBins = 40;
    radar_sdk::CfarConfig config;
    config.capacity = 2;
    std::string error;
    auto cfar = radar_sdk::CfarDetector::Create(kBins, kChirps, config, &error);
    ASSERT_TRUE(cfar);
    std::vector<float> map(kBins * kChirps, 1.0f);
    map[10 * kChirps + 40] = 1e4f;
    map[25 * kChirps + 5] = 1e5f;
    map[33 * kChirps + 20] = 1e3f;
    ASSERT_EQ(cfar->Execute(map.data(), 0, kBins - 1, -1), 2);
    std::vector<int> bins{cfar->Cells()[0].bin, cfar->Cells()[1].bin};
    std::sort(bins.begin(), bins.end());
    EXPECT_EQ(bins, (std::vector<int>{10, 25}));
    // A skipped column finds nothing there.
    config.capacity = 8;
    cfar = radar_sdk::CfarDetector::Create(kBins, kChirps, config, &error);
    EXPECT_EQ(cfar->Execute(map.data(), 0, kBins - 1, 5), 2);
    config.falseAlarm = 0.0;
    EXPECT_FALSE(radar_sdk::CfarDetector::Create(kBins, kChirps, config, &error));
    EXPECT_NE(error.find("falseAlarm"), std::string::npos);
}

TEST(SlowTimeDetector, BreathingShowsAndFurnitureDoesNot) {
    constexpr int kBins = 30;
    radar_sdk::SlowTimeConfig config;
    std::string error;
    auto slow = radar_sdk::SlowTimeDetector::Create(kBins, 2, kBins - 3, config, &error);
    ASSERT_TRUE(slow) << error;
    const float noise = 1e-10f;
    std::mt19937 rng(5);
    std::normal_distribution<float> gauss(0.0f, std::sqrt(noise / 2.0f));
    std::vector<std::complex<float>> z0(kBins), z1(kBins);
    int reported = 0, misplaced = 0;
    float lastPhase = 0.0f;
    double stepError = 0.0;
    for (int frame = 0; frame < 100; ++frame) {
        for (int k = 0; k < kBins; ++k) {
            z0[k] = {gauss(rng), gauss(rng)};
            z1[k] = {gauss(rng), gauss(rng)};
        }
        // Furniture in bin 8: strong and perfectly still.
        z0[8] += std::complex<float>(0.02f, 0.01f);
        z1[8] += std::complex<float>(0.02f, 0.01f) * radar_sdk::CrossForAngle(-20.0f);
        // A chest in bin 17 at 30 degrees: 4 mm of breathing at 0.25 Hz
        // turns its phase by +-5 rad.
        const float phase = 5.1f * std::sin(2.0f * 3.14159f * 0.25f * frame * 0.1f);
        const std::complex<float> chest = std::polar(0.005f, phase);
        z0[17] += chest;
        z1[17] += chest * radar_sdk::CrossForAngle(30.0f);
        const int count = slow->Execute(z0.data(), z1.data(), noise);
        for (int i = 0; i < count; ++i) {
            const radar_sdk::SlowCell& cell = slow->Cells()[i];
            if (std::fabs(cell.bin - 17.0f) <= 0.5f) {
                ++reported;
                EXPECT_NEAR(radar_sdk::AngleFromCross(cell.cross), 30.0, 1.0);
                // The chest's own motion since the last frame, up to what
                // taking the window's mean out does to the phase.
                stepError += std::fabs(cell.step - (phase - lastPhase));
            } else {
                ++misplaced;
            }
        }
        lastPhase = phase;
    }
    EXPECT_GE(reported, 90);
    EXPECT_EQ(misplaced, 0);
    EXPECT_LT(stepError / reported, 0.2);
    slow->Reset();
    EXPECT_EQ(slow->Execute(z0.data(), z1.data(), noise), 0);
}

radar_sdk::Detection PointAt(float x, float y, float velocity, float weight = 1.0f) {
    radar_sdk::Detection point;
    point.x = x;
    point.y = y;
    point.rangeM = std::hypot(x, y);
    point.angleDeg = static_cast<float>(std::atan2(x, y) * 180.0 / kPi);
    point.velocityMps = velocity;
    point.weight = weight;
    point.snr = 1e6f;
    point.cross = radar_sdk::CrossForAngle(point.angleDeg) * weight;
    return point;
}

TEST(Tracker, FollowsAScriptedWalkerWithOneId) {
    std::string error;
    radar_sdk::TrackerConfig config;
    auto tracker = radar_sdk::Tracker::Create(config, 16, &error);
    ASSERT_TRUE(tracker) << error;
    radar_sdk::TrackReport reports[4];
    int id = 0;
    // Across the room at 1 m/s, 2 m out, with one missed frame in a while.
    for (int frame = 0; frame < 60; ++frame) {
        const float x = -2.0f + 0.1f * frame;
        const float y = 2.0f;
        const float radial = x / std::hypot(x, y);
        radar_sdk::Detection points[2] = {PointAt(x, y, radial),
                                          PointAt(x + 0.1f, y, radial, 0.3f)};
        tracker->Execute(points, frame % 15 == 7 ? 0 : 2, 0.1f);
        const int count = tracker->Report(reports, 4);
        if (frame < 5) {
            continue;
        }
        ASSERT_EQ(count, 1) << "frame " << frame;
        if (id == 0) {
            id = reports[0].id;
        }
        EXPECT_EQ(reports[0].id, id);
        EXPECT_NEAR(reports[0].x, x + 0.02f, 0.15f);
        EXPECT_NEAR(reports[0].y, y, 0.15f);
    }
    EXPECT_EQ(id, 1);
    // Without points the track ends; after a reset ids start again at 1.
    for (int frame = 0; frame < 50; ++frame) {
        tracker->Execute(nullptr, 0, 0.1f);
    }
    EXPECT_EQ(tracker->Report(reports, 4), 0);
    tracker->Reset();
    for (int frame = 0; frame < 5; ++frame) {
        radar_sdk::Detection point = PointAt(1.0f, 3.0f, 0.5f);
        tracker->Execute(&point, 1, 0.1f);
    }
    ASSERT_EQ(tracker->Report(reports, 4), 1);
    EXPECT_EQ(reports[0].id, 1);
}

TEST(Tracker, TwoPeopleAtTheSameRangeAreTwoTracks) {
    std::string error;
    auto tracker = radar_sdk::Tracker::Create(radar_sdk::TrackerConfig(), 16, &error);
    ASSERT_TRUE(tracker);
    radar_sdk::TrackReport reports[4];
    for (int frame = 0; frame < 20; ++frame) {
        // 3 m out at -15 and +15 degrees (1.55 m apart), both walking away.
        const float r = 3.0f + 0.05f * frame;
        const float s = std::sin(15.0f * kPi / 180.0f), c = std::cos(15.0f * kPi / 180.0f);
        radar_sdk::Detection points[2] = {PointAt(-r * s, r * c, 0.5f),
                                          PointAt(r * s, r * c, 0.5f)};
        tracker->Execute(points, 2, 0.1f);
    }
    ASSERT_EQ(tracker->Report(reports, 4), 2);
    EXPECT_NEAR(reports[0].angleDeg, -reports[1].angleDeg, 2.0);
    EXPECT_NEAR(std::fabs(reports[0].angleDeg), 15.0, 2.0);
    EXPECT_NEAR(reports[0].rangeM, 3.95, 0.1);
}

TEST(Tracker, WeakStrayPointsStartNothing) {
    std::string error;
    auto tracker = radar_sdk::Tracker::Create(radar_sdk::TrackerConfig(), 16, &error);
    ASSERT_TRUE(tracker);
    radar_sdk::TrackReport reports[4];
    for (int frame = 0; frame < 30; ++frame) {
        radar_sdk::Detection point = PointAt(0.5f, 2.0f, 0.3f);
        point.snr = 10.0f;  // a noise alarm, 10 dB
        tracker->Execute(&point, 1, 0.1f);
    }
    EXPECT_EQ(tracker->Report(reports, 4), 0);
}

TEST(KalmanTrack, ConvergesOnAConstantVelocity) {
    radar_sdk::KalmanTrack track;
    track.Start(2.0f, 0.0f, 0.0f, 0.1f, 3.0f, 1.0f);
    for (int i = 1; i <= 40; ++i) {
        track.Predict(0.1f, 1.0f);
        const float x = 0.05f * i, y = 2.0f;
        track.Update(std::hypot(x, y), static_cast<float>(std::atan2(x, y) * 180.0 / kPi), 0.1f,
                     3.0f);
    }
    EXPECT_NEAR(track.Vx(), 0.5f, 0.1f);
    EXPECT_NEAR(track.Vy(), 0.0f, 0.1f);
    EXPECT_NEAR(track.X(), 2.0f, 0.1f);
}

TEST(ReportGate, OnlyNumbersInFrontOfTheModuleReachTheTrackMatrix) {
    const float kNan = std::nanf("");
    const float kInf = INFINITY;
    struct Case {
        const char* what;
        float range, angle, velocity;
        bool shown;
        float shownAngle, shownVelocity;
    } cases[] = {
        {"a person", 2.0f, -20.0f, 0.8f, true, -20.0f, 0.8f},
        {"just past the edge, clamped", 3.0f, 62.0f, -0.2f, true, 60.0f, -0.2f},
        {"a speed beyond the unambiguous one", 3.0f, 10.0f, 9.0f, true, 10.0f, 3.125f},
        {"beyond the field of view", 3.0f, -64.0f, 0.0f, false, 0, 0},
        {"beyond the range asked for", 5.4f, 0.0f, 0.0f, false, 0, 0},
        {"no range", 0.0f, 0.0f, 0.0f, false, 0, 0},
        {"a negative range", -1.0f, 0.0f, 0.0f, false, 0, 0},
        {"range not a number", kNan, 0.0f, 0.0f, false, 0, 0},
        {"angle not a number", 2.0f, kNan, 0.0f, false, 0, 0},
        {"infinite angle", 2.0f, -kInf, 0.0f, false, 0, 0},
        {"speed not a number", 2.0f, 0.0f, kNan, false, 0, 0},
        {"infinite range", kInf, 0.0f, 0.0f, false, 0, 0},
    };
    for (const Case& c : cases) {
        radar_sdk::TrackReport report;
        report.id = 3;
        report.rangeM = c.range;
        report.angleDeg = c.angle;
        report.velocityMps = c.velocity;
        radar_sdk::TrackReport shown;
        ASSERT_EQ(radar_sdk::GateReport(report, 5.0f, 3.125f, &shown), c.shown) << c.what;
        if (c.shown) {
            EXPECT_EQ(shown.id, 3) << c.what;
            EXPECT_EQ(shown.rangeM, c.range) << c.what;
            EXPECT_EQ(shown.angleDeg, c.shownAngle) << c.what;
            EXPECT_EQ(shown.velocityMps, c.shownVelocity) << c.what;
        }
    }
}

TEST(SegmentOccupancy, MarksTheSegmentOfEachTrack) {
    std::string error;
    auto occupancy =
        radar_sdk::SegmentOccupancy::Create(std::vector<float>(6, 20.0f), false, 8, &error);
    ASSERT_TRUE(occupancy) << error;
    EXPECT_EQ(occupancy->SegmentOf(-60.0f), 0);
    EXPECT_EQ(occupancy->SegmentOf(-40.0f), 1);
    EXPECT_EQ(occupancy->SegmentOf(19.99f), 3);
    EXPECT_EQ(occupancy->SegmentOf(60.0f), 5);
    radar_sdk::TrackReport tracks[2];
    tracks[0].id = 1;
    tracks[0].angleDeg = -45.0f;
    tracks[1].id = 2;
    tracks[1].angleDeg = 25.0f;
    occupancy->Execute(tracks, 2);
    const std::vector<float> values(occupancy->Values(), occupancy->Values() + 6);
    EXPECT_EQ(values, (std::vector<float>{1, 0, 0, 0, 1, 0}));
    occupancy->Execute(tracks, 0);
    EXPECT_EQ(occupancy->Values()[0], 0.0f);
    EXPECT_FALSE(radar_sdk::SegmentOccupancy::Create({}, false, 8, &error));
    EXPECT_FALSE(radar_sdk::SegmentOccupancy::Create({100.0f, 30.0f}, false, 8, &error));
    EXPECT_FALSE(radar_sdk::SegmentOccupancy::Create({20.0f, -1.0f}, false, 8, &error));
}

TEST(SegmentOccupancy, HysteresisHoldsASegmentAcrossAnEdge) {
    std::string error;
    auto occupancy =
        radar_sdk::SegmentOccupancy::Create(std::vector<float>(6, 20.0f), true, 8, &error);
    ASSERT_TRUE(occupancy);
    radar_sdk::TrackReport track;
    track.id = 3;
    track.angleDeg = 18.0f;
    occupancy->Execute(&track, 1);
    EXPECT_EQ(occupancy->Values()[3], 1.0f);
    // 1 degree past the edge: still segment 3.
    track.angleDeg = 21.0f;
    occupancy->Execute(&track, 1);
    EXPECT_EQ(occupancy->Values()[3], 1.0f);
    EXPECT_EQ(occupancy->Values()[4], 0.0f);
    // Clearly past it: segment 4, and 3 is held for a few frames.
    track.angleDeg = 25.0f;
    occupancy->Execute(&track, 1);
    EXPECT_EQ(occupancy->Values()[4], 1.0f);
    EXPECT_EQ(occupancy->Values()[3], 1.0f);
    for (int i = 0; i < 3; ++i) {
        occupancy->Execute(&track, 1);
    }
    EXPECT_EQ(occupancy->Values()[3], 0.0f);
}

}  // namespace
