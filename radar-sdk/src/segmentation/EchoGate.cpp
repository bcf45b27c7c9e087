#include "EchoGate.h"

#include <cmath>

namespace radar_sdk {

namespace {

// A log power steadier than this carries no breathing to follow: a
// correlation of noise round a constant would say nothing either way. Nor
// do phase steps steadier than this (a chest that hardly moves).
constexpr double kLogPowerFloor = 0.05;
constexpr double kStepFloor = 0.03;

// Sums for the correlation of two series.
struct Pair {
    double a = 0.0, b = 0.0, aa = 0.0, bb = 0.0, ab = 0.0;
    void Add(double x, double y) {
        a += x;
        b += y;
        aa += x * x;
        bb += y * y;
        ab += x * y;
    }
    double Correlation(double n, double floor) const {
        const double va = aa / n - (a / n) * (a / n);
        const double vb = bb / n - (b / n) * (b / n);
        const double cov = ab / n - (a / n) * (b / n);
        return cov / std::sqrt((va + floor * floor) * (vb + floor * floor));
    }
};

struct Sums {
    double n = 0.0;
    double power = 0.0, sourcePower = 0.0;
    Pair logPower, step;
};

}  // namespace

void EchoHistory::Push(float stillPower, float step) {
    m_step[m_head] = step;
    m_power[m_head] = stillPower;
    m_logPower[m_head] = stillPower > 0.0f ? std::log(stillPower) : 0.0f;
    m_head = (m_head + 1) % kFrames;
    m_count = m_count < kFrames ? m_count + 1 : kFrames;
}

EchoVerdict JudgeEcho(const EchoTrack& track, const EchoTrack& source, const EchoConfig& config) {
    // Only still ones: a walker's echo walks with it, but two real walkers'
    // radial speeds follow each other just as well (paths side by side, the
    // same turns), and comparing them lost real walkers.
    if (track.history == nullptr || source.history == nullptr ||
        source.rangeM > track.rangeM - config.marginM || track.speedMps >= config.stillSpeedMps ||
        source.speedMps >= config.stillSpeedMps) {
        return EchoVerdict::kClear;
    }
    Sums sums;
    const int frames = config.frames < EchoHistory::kFrames ? config.frames : EchoHistory::kFrames;
    for (int back = 0; back < frames; ++back) {
        if (!track.history->Hit(back) || !source.history->Hit(back)) {
            continue;
        }
        sums.n += 1.0;
        sums.power += track.history->Power(back);
        sums.sourcePower += source.history->Power(back);
        sums.logPower.Add(track.history->LogPower(back), source.history->LogPower(back));
        sums.step.Add(track.history->Step(back), source.history->Step(back));
    }
    if (sums.n < config.fastSamples) {
        // Only while the track is young: a source measured too rarely to be
        // compared with holds no one back for ever.
        return track.history->Count() < frames ? EchoVerdict::kPending : EchoVerdict::kClear;
    }
    const double scale = double(source.rangeM) / track.rangeM;
    if (sums.power < config.faintRatio * scale * scale * scale * scale * sums.sourcePower) {
        return EchoVerdict::kEcho;
    }
    if (sums.n < config.samples) {
        // Waiting longer for the breathing held real people back (a person
        // seated behind another) more than it saved.
        return EchoVerdict::kClear;
    }
    if (std::fabs(sums.step.Correlation(sums.n, kStepFloor)) > config.stepCorrelation) {
        return EchoVerdict::kEcho;
    }
    return sums.logPower.Correlation(sums.n, kLogPowerFloor) > config.correlation
               ? EchoVerdict::kEcho
               : EchoVerdict::kClear;
}

}  // namespace radar_sdk
