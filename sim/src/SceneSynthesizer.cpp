// FMCW synthesis. Every scattering point adds, at receiver a, chirp k and
// sample n,
//     amplitude * cos(2 pi (S tau t + f0 tau) + a pi sin(A) + phi),
// tau = 2 R / c with R taken at chirp k's time. Within a chirp the tone is a
// fixed rotation per sample, so each chirp costs one sincos for its start and
// one for its step, then a complex multiply per sample: no cos per sample.
#include "SceneSynthesizer.h"

#include <algorithm>
#include <cmath>

#include "RadarFrameFormat.h"
#include "SimRandom.h"

namespace radar {

namespace {

constexpr double kPi = 3.141592653589793;
constexpr double kTwoPi = 2.0 * kPi;
constexpr double kDegPerRad = 180.0 / kPi;
// Closer than this the 1/R^2 law is not applied any more (the near field of a
// body is not a point), so a target at the module does not blow up.
constexpr double kMinAmplitudeRangeM = 0.3;
// Beyond the field of view the antennas' gain falls to nothing at 90 degrees.
constexpr double kPatternRolloffDeg = 30.0;

// Antenna gain (amplitude) towards an angle: flat over the field of view,
// rolling off smoothly beyond it.
double Pattern(double angleDeg) {
    const double a = std::fabs(angleDeg);
    if (a <= kFieldOfViewDeg) {
        return 1.0;
    }
    if (a >= kFieldOfViewDeg + kPatternRolloffDeg) {
        return 0.0;
    }
    return std::cos(0.5 * kPi * (a - kFieldOfViewDeg) / kPatternRolloffDeg);
}

}  // namespace

SceneSynthesizer::SceneSynthesizer(const Scene& scene, uint64_t seed)
    : m_scene(scene), m_seed(seed), m_scratch(kFrameSamples, 0.0) {
    std::vector<const ScenePerson*> people;
    for (const ScenePerson& person : m_scene.people) {
        people.push_back(&person);
    }
    std::stable_sort(people.begin(), people.end(),
                     [](const ScenePerson* a, const ScenePerson* b) { return a->id < b->id; });
    for (const ScenePerson* person : people) {
        m_people.emplace_back(*person, seed);
    }
    for (size_t i = 0; i < m_scene.clutter.size(); ++i) {
        simrandom::Rng rng(simrandom::Mix(simrandom::Mix(seed, simrandom::kClutterStream),
                                          static_cast<uint64_t>(i)));
        m_clutterPhase.push_back(rng.Uniform(0.0, kTwoPi));
    }
}

std::vector<TruthTarget> SceneSynthesizer::TruthAt(double t) const {
    std::vector<TruthTarget> targets;
    for (const PersonModel& person : m_people) {
        const BodyState body = person.CentreAt(t);
        if (!body.present || !(body.y > 0.0)) {
            continue;
        }
        const double range = std::hypot(body.x, body.y);
        const double angle = std::atan2(body.x, body.y) * kDegPerRad;
        if (range > kMaxRangeM || std::fabs(angle) > kFieldOfViewDeg) {
            continue;
        }
        TruthTarget target;
        target.id = person.Id();
        target.range = range;
        target.angle = angle;
        target.velocity = (body.x * body.vx + body.y * body.vy) / range;
        target.x = body.x;
        target.y = body.y;
        targets.push_back(target);
    }
    return targets;
}

double SceneSynthesizer::_Amplitude(double rcsM2, double x, double y, double range) const {
    if (!(y > 0.0) || !(range <= kMaxRangeM)) {
        // Behind the module, or beyond the anti-aliasing filter.
        return 0.0;
    }
    const double r = std::max(range, kMinAmplitudeRangeM);
    const double angle = std::atan2(x, y) * kDegPerRad;
    return m_scene.gain * kAmplitudeAt1m * std::sqrt(rcsM2) / (r * r) * Pattern(angle);
}

void SceneSynthesizer::_AddScatterer(double r0, double velocity, double sinAngle, double amplitude,
                                     double phase) {
    // Receiver 1 sees the same tone turned by pi sin(A).
    const double rx1Re = std::cos(kPi * sinAngle);
    const double rx1Im = std::sin(kPi * sinAngle);
    for (int k = 0; k < kChirpsPerFrame; ++k) {
        const double range = r0 + velocity * k * kChirpRepetitionS;
        const double tau = 2.0 * range / kSpeedOfLight;
        const double start = kTwoPi * kStartFrequencyHz * tau + phase;
        const double step = kTwoPi * kSlopeHzPerS * tau / kSampleRateHz;
        double zRe = amplitude * std::cos(start);
        double zIm = amplitude * std::sin(start);
        const double stepRe = std::cos(step);
        const double stepIm = std::sin(step);
        double* row = &m_scratch[static_cast<size_t>(SampleIndex(0, k, 0))];
        for (int n = 0; n < kSamplesPerChirp; ++n) {
            row[2 * n] += zRe;
            row[2 * n + 1] += zRe * rx1Re - zIm * rx1Im;
            const double nextRe = zRe * stepRe - zIm * stepIm;
            zIm = zRe * stepIm + zIm * stepRe;
            zRe = nextRe;
        }
    }
}

void SceneSynthesizer::SynthesizeFrame(int64_t frame, uint16_t* samples) {
    std::fill(m_scratch.begin(), m_scratch.end(), 0.0);
    const double t = FrameTimeS(frame);
    // A frame's chirps span this time; each point moves along the chord
    // between where it is at the first and at the last chirp.
    const double span = (kChirpsPerFrame - 1) * kChirpRepetitionS;

    for (const PersonModel& person : m_people) {
        if (!person.CentreAt(t).present) {
            continue;
        }
        for (int i = 0; i < person.ScattererCount(); ++i) {
            double x0, y0, breath0, x1, y1, breath1;
            person.ScattererAt(i, t, t, &x0, &y0, &breath0);
            person.ScattererAt(i, t + span, t, &x1, &y1, &breath1);
            const double r0 = std::hypot(x0, y0);
            const double r1 = std::hypot(x1, y1);
            const double weight = person.Weight(i);
            const double amplitude = _Amplitude(person.RcsM2() * weight * weight, x0, y0, r0);
            if (amplitude <= 0.0) {
                continue;
            }
            _AddScatterer(r0 + breath0, (r1 - r0) / span, x0 / r0, amplitude, person.Phase(i));
        }
    }
    for (size_t i = 0; i < m_scene.clutter.size(); ++i) {
        const SceneClutter& clutter = m_scene.clutter[i];
        const double r = std::hypot(clutter.at.x, clutter.at.y);
        const double amplitude = _Amplitude(clutter.rcsM2, clutter.at.x, clutter.at.y, r);
        if (amplitude <= 0.0) {
            continue;
        }
        _AddScatterer(r, 0.0, clutter.at.x / r, amplitude, m_clutterPhase[i]);
    }

    // Receiver noise, the ADC's offset, rounding to whole counts and the
    // ends of the converter's range.
    simrandom::Rng rng(simrandom::Mix(simrandom::Mix(m_seed, simrandom::kNoiseStream),
                                      static_cast<uint64_t>(frame)));
    const double base = kAdcZero + m_scene.adcOffset;
    const double noise = m_scene.noiseRms;
    for (int i = 0; i < kFrameSamples; i += 2) {
        double n0 = 0.0, n1 = 0.0;
        if (noise > 0.0) {
            rng.Gaussian2(&n0, &n1);
        }
        const double v[2] = {base + m_scratch[i] + noise * n0,
                             base + m_scratch[i + 1] + noise * n1};
        for (int j = 0; j < 2; ++j) {
            const double rounded = std::floor(v[j] + 0.5);
            uint16_t sample = 0;
            if (rounded >= kAdcMax) {
                sample = kAdcMax;
            } else if (rounded > 0.0) {
                sample = static_cast<uint16_t>(rounded);
            }
            samples[i + j] = sample;
        }
    }
}

}  // namespace radar
