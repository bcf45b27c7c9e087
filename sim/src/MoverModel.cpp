// Non-human movers. The fan is the hard one for a people sensor: its blade
// tips move at 15-20 m/s, far beyond the +-3.125 m/s the chirp rate can tell
// apart, so within one frame its Doppler folds over the whole speed axis, at
// a place that never changes. Turntables, pendulums, curtains and plants are
// slower and closer to what a person does: periodic or irregular motion at
// one place, never walking anywhere.
#include "MoverModel.h"

#include <algorithm>
#include <cmath>

#include "SimRandom.h"

namespace radar {

namespace {

constexpr double kPi = 3.141592653589793;
constexpr double kTwoPi = 2.0 * kPi;
constexpr double kDegToRad = kPi / 180.0;

struct KindDefaults {
    double rcs, rate, radius;
    int points;
    double width, sway;
};

KindDefaults DefaultsOf(MoverKind kind) {
    switch (kind) {
        case MoverKind::kFan:
            return {0.03, 15.0, 0.2, 0, 0.0, 0.0};
        case MoverKind::kTurntable:
            return {0.05, 0.5, 0.2, 3, 0.0, 0.0};
        case MoverKind::kPendulum:
            return {0.1, 0.5, 0.15, 1, 0.0, 0.0};
        case MoverKind::kCurtain:
            return {0.1, 0.4, 0.0, 5, 1.2, 0.02};
        case MoverKind::kPlant:
            break;
    }
    return {0.1, 0.5, 0.0, 4, 0.4, 0.015};
}

// Where along the blade the fan's two points of each blade sit.
constexpr double kBladePoints[2] = {0.55, 1.0};

}  // namespace

MoverModel::MoverModel(const SceneMover& mover, uint64_t seed, int index) : m_mover(mover) {
    const KindDefaults defaults = DefaultsOf(mover.kind);
    if (m_mover.rcsM2 < 0.0)
        m_mover.rcsM2 = defaults.rcs;
    if (m_mover.rateHz < 0.0)
        m_mover.rateHz = defaults.rate;
    if (m_mover.radiusM < 0.0)
        m_mover.radiusM = defaults.radius;
    if (m_mover.points < 0)
        m_mover.points = defaults.points;
    if (m_mover.widthM < 0.0)
        m_mover.widthM = defaults.width;
    if (m_mover.swayM < 0.0)
        m_mover.swayM = defaults.sway;

    const uint64_t key =
        simrandom::Mix(simrandom::Mix(seed, simrandom::kMoverStream), static_cast<uint64_t>(index));
    simrandom::Rng rng(key);
    m_oscillationPhase = rng.Uniform(0.0, kTwoPi);
    const double rate = m_mover.rateHz;
    for (int j = 0; j < kSwayTerms; ++j) {
        m_commonFrequency[j] = rate * rng.Uniform(0.5, 1.5);
        m_commonPhase[j] = rng.Uniform(0.0, kTwoPi);
    }
    m_envelopeHz = rng.Uniform(0.02, 0.08);
    m_envelopePhase = rng.Uniform(0.0, kTwoPi);

    auto addPoint = [&](double rcs) -> Point& {
        Point point;
        point.rcs = rcs;
        point.phase = rng.Uniform(0.0, kTwoPi);
        for (int j = 0; j < kSwayTerms; ++j) {
            point.frequency[j] = rate * rng.Uniform(0.5, 1.5);
            point.phases[j] = rng.Uniform(0.0, kTwoPi);
        }
        m_points.push_back(point);
        return m_points.back();
    };

    // Direction from the module to the mover, and across it.
    const double r = std::max(1e-9, std::hypot(m_mover.at.x, m_mover.at.y));
    const double losX = m_mover.at.x / r, losY = m_mover.at.y / r;
    switch (m_mover.kind) {
        case MoverKind::kFan: {
            addPoint(m_mover.housingRcsM2).isStatic = true;
            const double start = rng.Uniform(0.0, kTwoPi);
            for (int b = 0; b < m_mover.blades; ++b) {
                for (double along : kBladePoints) {
                    Point& point = addPoint(m_mover.rcsM2);
                    point.offset = along * m_mover.radiusM;
                    point.angle0 = start + kTwoPi * b / m_mover.blades;
                }
            }
            break;
        }
        case MoverKind::kTurntable:
        case MoverKind::kPendulum: {
            const double start = rng.Uniform(0.0, kTwoPi);
            const double direction = rng.Uniform(0.0, kPi);
            for (int i = 0; i < m_mover.points; ++i) {
                Point& point = addPoint(m_mover.rcsM2);
                point.angle0 = m_mover.kind == MoverKind::kTurntable
                                   ? start + kTwoPi * i / m_mover.points
                                   : direction;
                point.offset = start;
            }
            break;
        }
        case MoverKind::kCurtain:
            // Hanging across the line of sight, billowing along it.
            for (int i = 0; i < m_mover.points; ++i) {
                Point& point = addPoint(m_mover.rcsM2);
                const double along = m_mover.points > 1
                                         ? (static_cast<double>(i) / (m_mover.points - 1) - 0.5)
                                         : 0.0;
                point.baseX = m_mover.at.x + along * m_mover.widthM * losY;
                point.baseY = m_mover.at.y - along * m_mover.widthM * losX;
                point.dirX = losX;
                point.dirY = losY;
            }
            break;
        case MoverKind::kPlant:
            // Leaves scattered round the stem, each swaying its own way.
            for (int i = 0; i < m_mover.points; ++i) {
                Point& point = addPoint(m_mover.rcsM2);
                point.baseX = m_mover.at.x + rng.Uniform(-0.5, 0.5) * m_mover.widthM;
                point.baseY = m_mover.at.y + rng.Uniform(-0.5, 0.5) * m_mover.widthM;
                const double direction = rng.Uniform(0.0, kTwoPi);
                point.dirX = std::cos(direction);
                point.dirY = std::sin(direction);
            }
            break;
    }
}

double MoverModel::_Sway(const Point& point, double t) const {
    double own = 0.0, common = 0.0;
    for (int j = 0; j < kSwayTerms; ++j) {
        own += std::sin(kTwoPi * point.frequency[j] * t + point.phases[j]);
        common += std::sin(kTwoPi * m_commonFrequency[j] * t + m_commonPhase[j]);
    }
    // A draught comes and goes: the envelope changes over tens of seconds.
    const double envelope = 0.55 + 0.45 * std::sin(kTwoPi * m_envelopeHz * t + m_envelopePhase);
    const double shared = m_mover.kind == MoverKind::kCurtain ? 0.6 : 0.3;
    return m_mover.swayM * envelope * (shared * common + (1.0 - shared) * own) / kSwayTerms;
}

void MoverModel::PointAt(int i, double t, double* x, double* y, double* z) const {
    const Point& point = m_points[i];
    const double cx = m_mover.at.x, cy = m_mover.at.y;
    *x = cx;
    *y = cy;
    *z = 0.0;
    switch (m_mover.kind) {
        case MoverKind::kFan: {
            *z = kFanHeightM;
            if (point.isStatic) {
                return;
            }
            double facing = m_mover.facingDeg * kDegToRad;
            if (m_mover.oscillationDeg > 0.0 && m_mover.oscillationPeriodS > 0.0) {
                facing += m_mover.oscillationDeg * kDegToRad *
                          std::sin(kTwoPi * t / m_mover.oscillationPeriodS + m_oscillationPhase);
            }
            // The blades turn in the vertical plane across the fan's axis
            // (sin f, cos f): horizontally along (cos f, -sin f), and up.
            const double theta = kTwoPi * m_mover.rateHz * t + point.angle0;
            const double across = point.offset * std::cos(theta);
            *x = cx + across * std::cos(facing);
            *y = cy - across * std::sin(facing);
            *z = kFanHeightM + point.offset * std::sin(theta);
            return;
        }
        case MoverKind::kTurntable: {
            const double theta = kTwoPi * m_mover.rateHz * t + point.angle0;
            *x = cx + m_mover.radiusM * std::cos(theta);
            *y = cy + m_mover.radiusM * std::sin(theta);
            return;
        }
        case MoverKind::kPendulum: {
            const double swing =
                m_mover.radiusM * std::sin(kTwoPi * m_mover.rateHz * t + point.offset);
            *x = cx + swing * std::cos(point.angle0);
            *y = cy + swing * std::sin(point.angle0);
            return;
        }
        case MoverKind::kCurtain:
        case MoverKind::kPlant: {
            const double d = _Sway(point, t);
            *x = point.baseX + d * point.dirX;
            *y = point.baseY + d * point.dirY;
            return;
        }
    }
}

}  // namespace radar
