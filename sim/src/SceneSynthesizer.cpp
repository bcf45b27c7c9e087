// FMCW synthesis. Every scattering point adds, at receiver a, chirp k and
// sample n,
//     amplitude * cos(2 pi (S tau t + f0 tau) + a pi sin(A) + phi),
// tau = 2 R / c with R taken at chirp k's time. Within a chirp the tone is a
// fixed rotation per sample, so each chirp costs one sincos for its start and
// one for its step, then a complex multiply per sample: no cos per sample.
//
// A real room adds more paths and flaws. A flat wall mirrors every moving
// thing: besides the direct path there are two one-bounce paths of length
// R + R' (one arriving from A, one from the mirror direction A') and a
// two-bounce path from the mirror image (R', A'). The module leaks its own
// transmitter into both receivers, high-passes the beat, and its receivers
// differ in gain and offset. Each of these is off unless the scene asks.
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

// The mirror image of (x, y) in a wall; false when the point is not in front
// of it (on the module's side).
bool Mirror(const SceneWall& wall, double x, double y, double* mx, double* my) {
    const double d = wall.positionM;
    if (wall.axis == WallAxis::kX) {
        if (d == 0.0 || (d < 0.0 ? !(x > d) : !(x < d))) {
            return false;
        }
        *mx = 2.0 * d - x;
        *my = y;
        return true;
    }
    if (!(d > 0.0) || !(y < d)) {
        return false;
    }
    *mx = x;
    *my = 2.0 * d - y;
    return true;
}

double AngleDeg(double x, double y) {
    return std::atan2(x, y) * kDegPerRad;
}

Decoy MakeDecoy(DecoyKind kind, int personId, int bounces, double range, double angleDeg) {
    Decoy decoy;
    decoy.kind = kind;
    decoy.personId = personId;
    decoy.bounces = bounces;
    decoy.range = range;
    decoy.angle = angleDeg;
    decoy.x = range * std::sin(angleDeg / kDegPerRad);
    decoy.y = range * std::cos(angleDeg / kDegPerRad);
    return decoy;
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
    for (size_t i = 0; i < m_scene.movers.size(); ++i) {
        m_movers.emplace_back(m_scene.movers[i], seed, static_cast<int>(i));
    }
    simrandom::Rng echoRng(simrandom::Mix(seed, simrandom::kEchoStream));
    for (size_t i = 0; i < m_scene.walls.size(); ++i) {
        m_wallPhase.push_back(echoRng.Uniform(0.0, kTwoPi));
    }
    simrandom::Rng moduleRng(simrandom::Mix(seed, simrandom::kModuleStream));
    m_leakagePhase = moduleRng.Uniform(0.0, kTwoPi);
    m_leakageRx1Phase = moduleRng.Uniform(0.0, kTwoPi);
    m_rx1Gain = std::pow(10.0, m_scene.module.rxGainDb / 20.0);
}

std::vector<Decoy> SceneSynthesizer::DecoysAt(double t) const {
    std::vector<Decoy> decoys;
    auto addImages = [&](DecoyKind kind, int personId, double x, double y) {
        const double r = std::hypot(x, y);
        const double a = AngleDeg(x, y);
        for (const SceneWall& wall : m_scene.walls) {
            double mx, my;
            if (!(wall.reflectivity > 0.0) || !Mirror(wall, x, y, &mx, &my) || !(my > 0.0)) {
                continue;
            }
            const double rm = std::hypot(mx, my);
            const double am = AngleDeg(mx, my);
            // The two one-bounce paths are as long as each other, so two
            // receivers hear them as one echo whose phase between the
            // receivers is that of the sum of theirs: in between A and A',
            // or, when the two phases are more than pi apart, flipped to
            // another side altogether. Either path alone may also show.
            const double sumRe = std::cos(kPi * std::sin(a / kDegPerRad)) +
                                 std::cos(kPi * std::sin(am / kDegPerRad));
            const double sumIm = std::sin(kPi * std::sin(a / kDegPerRad)) +
                                 std::sin(kPi * std::sin(am / kDegPerRad));
            const double blend = std::asin(std::atan2(sumIm, sumRe) / kPi);
            decoys.push_back(MakeDecoy(kind, personId, 1, 0.5 * (r + rm), a));
            decoys.push_back(MakeDecoy(kind, personId, 1, 0.5 * (r + rm), am));
            decoys.push_back(MakeDecoy(kind, personId, 1, 0.5 * (r + rm), blend * kDegPerRad));
            decoys.push_back(MakeDecoy(kind, personId, 2, rm, am));
        }
    };
    for (const MoverModel& mover : m_movers) {
        const ScenePoint& at = mover.Centre();
        decoys.push_back(
            MakeDecoy(DecoyKind::kMover, 0, 0, std::hypot(at.x, at.y), AngleDeg(at.x, at.y)));
        addImages(DecoyKind::kMover, 0, at.x, at.y);
    }
    for (const PersonModel& person : m_people) {
        const BodyState body = person.CentreAt(t);
        if (body.present && body.y > 0.0) {
            addImages(DecoyKind::kEcho, person.Id(), body.x, body.y);
        }
    }
    return decoys;
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

double SceneSynthesizer::_TwoWayGain(double angleDeg) const {
    const double p = m_scene.module.patternExponent;
    if (!(p > 0.0)) {
        return Pattern(angleDeg);
    }
    const double a = std::fabs(angleDeg);
    if (a >= 90.0) {
        return 0.0;
    }
    // Power as cos^p, so amplitude as cos^(p/2).
    return std::pow(std::cos(a / kDegPerRad), 0.5 * p);
}

double SceneSynthesizer::_OneWayGain(double angleDeg) const {
    return std::sqrt(_TwoWayGain(angleDeg));
}

double SceneSynthesizer::_BaseAmplitude(double rcsM2, double range) const {
    const double r = std::max(range, kMinAmplitudeRangeM);
    return m_scene.gain * kAmplitudeAt1m * std::sqrt(rcsM2) / (r * r);
}

double SceneSynthesizer::_Amplitude(double rcsM2, double x, double y, double range) const {
    if (!(y > 0.0) || !(range <= kMaxRangeM)) {
        // Behind the module, or beyond the anti-aliasing filter.
        return 0.0;
    }
    return _BaseAmplitude(rcsM2, range) * _TwoWayGain(std::atan2(x, y) * kDegPerRad);
}

void SceneSynthesizer::_ApplyModule(double r, Tone* tone) const {
    const double corner = m_scene.module.highPassHz;
    if (corner > 0.0) {
        // First order: H(f) = j (f / fc) / (1 + j f / fc).
        const double f = kSlopeHzPerS * 2.0 * std::max(r, 0.0) / kSpeedOfLight;
        const double ratio = f / corner;
        tone->amplitude *= ratio / std::sqrt(1.0 + ratio * ratio);
        tone->phase += std::atan2(corner, f);
    }
    if (m_rx1Gain != 1.0) {
        tone->rx1Re *= m_rx1Gain;
        tone->rx1Im *= m_rx1Gain;
    }
}

void SceneSynthesizer::_AddScatterer(double r0, double velocity, double sinAngle, double amplitude,
                                     double phase) {
    double ranges[kChirpsPerFrame];
    for (int k = 0; k < kChirpsPerFrame; ++k) {
        ranges[k] = r0 + velocity * k * kChirpRepetitionS;
    }
    // Receiver 1 sees the same tone turned by pi sin(A).
    Tone tone;
    tone.amplitude = amplitude;
    tone.phase = phase;
    tone.rx1Re = std::cos(kPi * sinAngle);
    tone.rx1Im = std::sin(kPi * sinAngle);
    _ApplyModule(r0, &tone);
    _AddPath(ranges, tone);
}

void SceneSynthesizer::_AddPath(const double* ranges, Tone tone) {
    for (int k = 0; k < kChirpsPerFrame; ++k) {
        const double tau = 2.0 * ranges[k] / kSpeedOfLight;
        const double start = kTwoPi * kStartFrequencyHz * tau + tone.phase;
        const double step = kTwoPi * kSlopeHzPerS * tau / kSampleRateHz;
        double zRe = tone.amplitude * std::cos(start);
        double zIm = tone.amplitude * std::sin(start);
        const double stepRe = std::cos(step);
        const double stepIm = std::sin(step);
        double* row = &m_scratch[static_cast<size_t>(SampleIndex(0, k, 0))];
        for (int n = 0; n < kSamplesPerChirp; ++n) {
            row[2 * n] += zRe;
            row[2 * n + 1] += zRe * tone.rx1Re - zIm * tone.rx1Im;
            const double nextRe = zRe * stepRe - zIm * stepIm;
            zIm = zRe * stepIm + zIm * stepRe;
            zRe = nextRe;
        }
    }
}

void SceneSynthesizer::_AddEchoes(const double* xs, const double* ys, const double* zs,
                                  double baseAmplitude, double phase) {
    for (size_t w = 0; w < m_scene.walls.size(); ++w) {
        const SceneWall& wall = m_scene.walls[w];
        double mx0, my0;
        if (!(wall.reflectivity > 0.0) || !Mirror(wall, xs[0], ys[0], &mx0, &my0) || !(my0 > 0.0)) {
            continue;
        }
        double one[kChirpsPerFrame], two[kChirpsPerFrame];
        for (int k = 0; k < kChirpsPerFrame; ++k) {
            double mx = mx0, my = my0;
            Mirror(wall, xs[k], ys[k], &mx, &my);
            const double z2 = zs != nullptr ? zs[k] * zs[k] : 0.0;
            const double direct = std::sqrt(xs[k] * xs[k] + ys[k] * ys[k] + z2);
            two[k] = std::sqrt(mx * mx + my * my + z2);
            one[k] = 0.5 * (direct + two[k]);
        }
        const double a = AngleDeg(xs[0], ys[0]);
        const double am = AngleDeg(mx0, my0);
        const double sinA = std::sin(a / kDegPerRad);
        const double sinAm = std::sin(am / kDegPerRad);
        const double rho = wall.reflectivity;
        if (one[0] <= kMaxRangeM) {
            // Both one-bounce paths have the same length: one tone, rx 1
            // hearing the sum of the two arrival directions.
            Tone tone;
            tone.amplitude = 2.0 * rho * baseAmplitude * _OneWayGain(a) * _OneWayGain(am);
            tone.phase = phase + m_wallPhase[w];
            tone.rx1Re = 0.5 * (std::cos(kPi * sinA) + std::cos(kPi * sinAm));
            tone.rx1Im = 0.5 * (std::sin(kPi * sinA) + std::sin(kPi * sinAm));
            _ApplyModule(one[0], &tone);
            _AddPath(one, tone);
        }
        if (two[0] <= kMaxRangeM) {
            Tone tone;
            tone.amplitude = rho * rho * baseAmplitude * _TwoWayGain(am);
            tone.phase = phase + 2.0 * m_wallPhase[w];
            tone.rx1Re = std::cos(kPi * sinAm);
            tone.rx1Im = std::sin(kPi * sinAm);
            _ApplyModule(two[0], &tone);
            _AddPath(two, tone);
        }
    }
}

void SceneSynthesizer::_AddMovers(double t) {
    double xs[kChirpsPerFrame], ys[kChirpsPerFrame], zs[kChirpsPerFrame];
    double ranges[kChirpsPerFrame];
    for (const MoverModel& mover : m_movers) {
        for (int i = 0; i < mover.PointCount(); ++i) {
            const int chirps = mover.IsStatic(i) ? 1 : kChirpsPerFrame;
            for (int k = 0; k < chirps; ++k) {
                mover.PointAt(i, t + k * kChirpRepetitionS, &xs[k], &ys[k], &zs[k]);
                ranges[k] = std::sqrt(xs[k] * xs[k] + ys[k] * ys[k] + zs[k] * zs[k]);
            }
            for (int k = chirps; k < kChirpsPerFrame; ++k) {
                ranges[k] = ranges[0];
            }
            const double amplitude = _Amplitude(mover.Rcs(i), xs[0], ys[0], ranges[0]);
            if (!(amplitude > 0.0)) {
                continue;
            }
            Tone tone;
            tone.amplitude = amplitude;
            tone.phase = mover.Phase(i);
            const double sinA = xs[0] / std::hypot(xs[0], ys[0]);
            tone.rx1Re = std::cos(kPi * sinA);
            tone.rx1Im = std::sin(kPi * sinA);
            _ApplyModule(ranges[0], &tone);
            _AddPath(ranges, tone);
            if (!mover.IsStatic(i)) {
                _AddEchoes(xs, ys, zs, _BaseAmplitude(mover.Rcs(i), ranges[0]), mover.Phase(i));
            }
        }
    }
}

void SceneSynthesizer::_AddLeakage() {
    const SceneModule& module = m_scene.module;
    if (!(module.leakageAmplitude > 0.0)) {
        return;
    }
    // The amplitude is what reaches the converter: undo the high-pass's
    // attenuation at the leakage's beat before it is applied.
    Tone probe;
    probe.amplitude = 1.0;
    _ApplyModule(module.leakageRangeM, &probe);
    Tone tone;
    tone.amplitude = probe.amplitude > 0.0 ? module.leakageAmplitude / probe.amplitude : 0.0;
    tone.phase = m_leakagePhase;
    tone.rx1Re = std::cos(m_leakageRx1Phase);
    tone.rx1Im = std::sin(m_leakageRx1Phase);
    _ApplyModule(module.leakageRangeM, &tone);
    double ranges[kChirpsPerFrame];
    std::fill(ranges, ranges + kChirpsPerFrame, module.leakageRangeM);
    _AddPath(ranges, tone);
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
            double weight, ignored;
            person.ScattererAt(i, t, t, &x0, &y0, &breath0, &weight);
            person.ScattererAt(i, t + span, t, &x1, &y1, &breath1, &ignored);
            const double r0 = std::hypot(x0, y0);
            const double r1 = std::hypot(x1, y1);
            const double rcs = person.RcsM2() * weight * weight;
            const double amplitude = _Amplitude(rcs, x0, y0, r0);
            if (amplitude <= 0.0) {
                continue;
            }
            _AddScatterer(r0 + breath0, (r1 - r0) / span, x0 / r0, amplitude, person.Phase(i));
            if (!m_scene.walls.empty()) {
                // The echoes follow the same chord, breathing included.
                double xs[kChirpsPerFrame], ys[kChirpsPerFrame];
                const double bx = breath0 * x0 / r0, by = breath0 * y0 / r0;
                for (int k = 0; k < kChirpsPerFrame; ++k) {
                    const double u = static_cast<double>(k) / (kChirpsPerFrame - 1);
                    xs[k] = x0 + bx + (x1 - x0) * u;
                    ys[k] = y0 + by + (y1 - y0) * u;
                }
                _AddEchoes(xs, ys, nullptr, _BaseAmplitude(rcs, r0), person.Phase(i));
            }
        }
    }
    _AddMovers(t);
    for (size_t i = 0; i < m_scene.clutter.size(); ++i) {
        const SceneClutter& clutter = m_scene.clutter[i];
        const double r = std::hypot(clutter.at.x, clutter.at.y);
        const double amplitude = _Amplitude(clutter.rcsM2, clutter.at.x, clutter.at.y, r);
        if (amplitude <= 0.0) {
            continue;
        }
        _AddScatterer(r, 0.0, clutter.at.x / r, amplitude, m_clutterPhase[i]);
    }
    _AddLeakage();

    // Receiver noise, the ADC's offset, rounding to whole counts and the
    // ends of the converter's range.
    simrandom::Rng rng(simrandom::Mix(simrandom::Mix(m_seed, simrandom::kNoiseStream),
                                      static_cast<uint64_t>(frame)));
    const double base[2] = {kAdcZero + m_scene.adcOffset + m_scene.module.adcOffsets[0],
                            kAdcZero + m_scene.adcOffset + m_scene.module.adcOffsets[1]};
    const double noise = m_scene.noiseRms;
    for (int i = 0; i < kFrameSamples; i += 2) {
        double n0 = 0.0, n1 = 0.0;
        if (noise > 0.0) {
            rng.Gaussian2(&n0, &n1);
        }
        const double v[2] = {base[0] + m_scratch[i] + noise * n0,
                             base[1] + m_scratch[i + 1] + noise * n1};
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
