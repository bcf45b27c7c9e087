// The body model: a walker is a torso, two arms and two legs (and a head)
// whose limbs swing along the walk with the gait; a seated person is a
// breathing chest, head, knees and shoulders facing the screen. Every point
// sways by a few millimetres on its own, a sum of slow sinusoids with random
// frequencies, so that the motion is smooth, independent between points and
// a pure function of time.
#include "PersonModel.h"

#include <algorithm>
#include <cmath>

#include "SimRandom.h"

namespace radar {

namespace {

constexpr double kPi = 3.141592653589793;
constexpr double kTwoPi = 2.0 * kPi;
// One gait cycle (two steps) covers this distance.
constexpr double kStrideM = 1.4;
// Limbs swing fully from this walking speed on, proportionally less below.
constexpr double kFullSwingSpeedMps = 1.2;

struct Layout {
    double forward, lateral, swing, swingPhase, weight;
};

// Walking or standing: torso, left arm, right arm, left leg, right leg, head.
// Each arm swings opposite to the leg on its side.
const Layout kStandingLayout[kMaxScatterersPerPerson] = {
    {0.0, 0.0, 0.0, 0.0, 1.0},    {0.0, 0.20, 0.18, 0.0, 0.45},  {0.0, -0.20, 0.18, kPi, 0.45},
    {0.0, 0.10, 0.25, kPi, 0.55}, {0.0, -0.10, 0.25, 0.0, 0.55}, {0.03, 0.0, 0.0, 0.0, 0.35},
};

// Seated, facing the screen: chest, head, left knee, right knee, shoulders.
// The chest dominates: even when the knees' two points add up in phase they
// stay below it, so the breathing shows in the strongest range bin.
const Layout kSeatedLayout[kMaxScatterersPerPerson] = {
    {0.0, 0.0, 0.0, 0.0, 1.0},    {-0.04, 0.0, 0.0, 0.0, 0.3}, {0.3, 0.12, 0.0, 0.0, 0.25},
    {0.3, -0.12, 0.0, 0.0, 0.25}, {0.0, 0.18, 0.0, 0.0, 0.25}, {0.0, -0.18, 0.0, 0.0, 0.25},
};

// For a person who sits down during the run: which seated point each
// standing point becomes (torso to chest, arms to shoulders, legs to knees,
// head to head).
const Layout kSeatedPairs[kMaxScatterersPerPerson] = {
    kSeatedLayout[0], kSeatedLayout[4], kSeatedLayout[5],
    kSeatedLayout[2], kSeatedLayout[3], kSeatedLayout[1],
};

double Lerp(double a, double b, double s) {
    return a + (b - a) * s;
}

}  // namespace

PersonModel::PersonModel(const ScenePerson& person, uint64_t seed)
    : m_person(person), m_hasPlan(!person.plan.empty()), m_plan(person) {
    _BuildTrack();
    _BuildPoints(seed);
}

void PersonModel::_BuildTrack() {
    for (const ScenePoint& point : m_person.path) {
        if (m_track.empty() || point.x != m_track.back().x || point.y != m_track.back().y) {
            m_track.push_back(point);
        }
    }
    // A looping walker comes back to the first point before starting again.
    if (m_person.loop && m_track.size() > 1 &&
        (m_track.front().x != m_track.back().x || m_track.front().y != m_track.back().y)) {
        m_track.push_back(m_track.front());
    }
    m_cumulative.assign(m_track.size(), 0.0);
    for (size_t i = 1; i < m_track.size(); ++i) {
        m_cumulative[i] = m_cumulative[i - 1] + std::hypot(m_track[i].x - m_track[i - 1].x,
                                                           m_track[i].y - m_track[i - 1].y);
    }
    m_length = m_cumulative.empty() ? 0.0 : m_cumulative.back();
}

void PersonModel::_BuildPoints(uint64_t seed) {
    const uint64_t key = simrandom::Mix(simrandom::Mix(seed, simrandom::kPersonStream),
                                        static_cast<uint64_t>(static_cast<int64_t>(m_person.id)));
    simrandom::Rng personRng(key);
    m_breathingPhase = personRng.Uniform(0.0, kTwoPi);

    const bool seated = m_person.seated;
    const Layout* layout = seated ? kSeatedLayout : kStandingLayout;
    // Only a person with a plan changes posture during the run.
    const Layout* seatedLayout = m_hasPlan ? kSeatedPairs : layout;
    int count = m_person.scatterers;
    if (count <= 0) {
        count = seated ? kDefaultSeatedScatterers : kDefaultWalkerScatterers;
    }
    count = std::min(count, kMaxScatterersPerPerson);
    double sway = m_person.swayM;
    if (sway < 0.0) {
        sway = seated ? kDefaultSeatedSwayM : kDefaultSwayM;
    }
    // n sinusoids of amplitude a have an rms of a * sqrt(n / 2).
    const double swayAmplitude = sway * std::sqrt(2.0 / kSwayTerms);
    const double maxSwayHz = seated ? 0.5 : 1.0;

    if (m_hasPlan && m_person.swayM < 0.0) {
        m_seatedSwayRatio = kDefaultSeatedSwayM / kDefaultSwayM;
    }
    double power = 0.0, seatedPower = 0.0;
    for (int i = 0; i < count; ++i) {
        power += layout[i].weight * layout[i].weight;
        seatedPower += seatedLayout[i].weight * seatedLayout[i].weight;
    }
    const double norm = 1.0 / std::sqrt(power);
    const double seatedNorm = 1.0 / std::sqrt(seatedPower);
    m_points.resize(count);
    for (int i = 0; i < count; ++i) {
        simrandom::Rng rng(simrandom::Mix(key, static_cast<uint64_t>(i) + 1));
        Point& point = m_points[i];
        point.forward = layout[i].forward;
        point.lateral = layout[i].lateral;
        point.swing = layout[i].swing;
        point.swingPhase = layout[i].swingPhase;
        point.weight = layout[i].weight * norm;
        point.seatedForward = seatedLayout[i].forward;
        point.seatedLateral = seatedLayout[i].lateral;
        point.seatedWeight = seatedLayout[i].weight * seatedNorm;
        point.phase = rng.Uniform(0.0, kTwoPi);
        for (int j = 0; j < kSwayTerms; ++j) {
            point.swayX[j] = {swayAmplitude, rng.Uniform(0.1 * maxSwayHz, maxSwayHz),
                              rng.Uniform(0.0, kTwoPi)};
            point.swayY[j] = {swayAmplitude, rng.Uniform(0.1 * maxSwayHz, maxSwayHz),
                              rng.Uniform(0.0, kTwoPi)};
        }
    }
}

double PersonModel::_SwayAt(const Sway* terms, double t) {
    double sum = 0.0;
    for (int j = 0; j < kSwayTerms; ++j) {
        sum += terms[j].amplitude * std::sin(kTwoPi * terms[j].frequencyHz * t + terms[j].phase);
    }
    return sum;
}

BodyState PersonModel::CentreAt(double t) const {
    BodyState state;
    if (m_track.empty()) {
        return state;
    }
    state.present = t >= m_person.startS && (m_person.endS < 0.0 || t < m_person.endS);
    const double elapsed = std::max(0.0, t - m_person.startS);
    if (m_hasPlan) {
        const PlanState plan = m_plan.At(elapsed);
        state.x = plan.x;
        state.y = plan.y;
        state.vx = plan.vx;
        state.vy = plan.vy;
        state.ux = plan.ux;
        state.uy = plan.uy;
        state.walkedM = plan.walkedM;
        state.moving = plan.moving;
        state.seated = plan.seated;
        return state;
    }
    if (m_person.seated) {
        state.seated = 1.0;
    }
    if (m_track.size() < 2 || m_person.speedMps <= 0.0) {
        // Standing or seated: facing the screen.
        state.x = m_track[0].x;
        state.y = m_track[0].y;
        const double r = std::hypot(state.x, state.y);
        if (r > 0.0) {
            state.ux = -state.x / r;
            state.uy = -state.y / r;
        } else {
            state.ux = 0.0;
            state.uy = -1.0;
        }
        return state;
    }
    double s = elapsed * m_person.speedMps;
    state.walkedM = s;
    state.moving = true;
    if (m_person.loop) {
        s = std::fmod(s, m_length);
    } else if (s >= m_length) {
        s = m_length;
        state.walkedM = m_length;
        state.moving = false;
    }
    // The segment that holds s; the last one at the very end of the path.
    size_t i = static_cast<size_t>(std::upper_bound(m_cumulative.begin(), m_cumulative.end(), s) -
                                   m_cumulative.begin());
    i = std::min(std::max<size_t>(i, 1), m_track.size() - 1) - 1;
    const double segment = m_cumulative[i + 1] - m_cumulative[i];
    state.ux = (m_track[i + 1].x - m_track[i].x) / segment;
    state.uy = (m_track[i + 1].y - m_track[i].y) / segment;
    const double along = s - m_cumulative[i];
    state.x = m_track[i].x + along * state.ux;
    state.y = m_track[i].y + along * state.uy;
    if (state.moving) {
        state.vx = m_person.speedMps * state.ux;
        state.vy = m_person.speedMps * state.uy;
    }
    return state;
}

void PersonModel::ScattererAt(int i, double t, double breathingT, double* x, double* y,
                              double* radialOffset, double* weight) const {
    const BodyState body = CentreAt(t);
    const Point& point = m_points[i];
    // Everybody without a plan holds one posture, whose layout is the first.
    const double seated = m_hasPlan ? body.seated : 0.0;
    const double size = m_person.size;
    double forward = Lerp(point.forward, point.seatedForward, seated) * size;
    const double lateral = Lerp(point.lateral, point.seatedLateral, seated) * size;
    *weight = Lerp(point.weight, point.seatedWeight, seated);
    if (body.moving && point.swing > 0.0) {
        const double scale = std::min(1.0, m_person.speedMps / kFullSwingSpeedMps);
        const double gait = kTwoPi * body.walkedM / kStrideM;
        forward += point.swing * size * scale * std::sin(gait + point.swingPhase);
    }
    // The body's left is the facing direction turned a quarter anticlockwise.
    const double leftX = -body.uy;
    const double leftY = body.ux;
    *x = body.x + forward * body.ux + lateral * leftX;
    *y = body.y + forward * body.uy + lateral * leftY;
    const double sway = Lerp(1.0, m_seatedSwayRatio, seated);
    *x += _SwayAt(point.swayX, t) * sway;
    *y += _SwayAt(point.swayY, t) * sway;
    *radialOffset = 0.0;
    if (i == 0 && m_person.breathingDepthM > 0.0) {
        // Peak to peak depth, along the line of sight.
        *radialOffset = 0.5 * m_person.breathingDepthM *
                        std::sin(kTwoPi * m_person.breathingRateHz * breathingT + m_breathingPhase);
    }
}

}  // namespace radar
