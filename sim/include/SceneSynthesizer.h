// FMCW synthesis of a scene, frame by frame, following the signal model of
// the radar data contract: per scatterer a beat tone whose frequency gives the
// range, whose phase across the receivers gives the angle and whose phase from
// chirp to chirp gives the radial speed. The same scene and seed give the same
// bytes on every run.
#ifndef TESSIVO_SIM_SCENESYNTHESIZER_H
#define TESSIVO_SIM_SCENESYNTHESIZER_H

#include <stdint.h>

#include <vector>

#include "MoverModel.h"
#include "PersonModel.h"
#include "Scene.h"

namespace radar {

// Where a person is at some time, in the geometry of the contract.
struct TruthTarget {
    int id = 0;
    double range = 0.0;     // m
    double angle = 0.0;     // degrees, 0 straight ahead, positive towards rx 1
    double velocity = 0.0;  // radial, m/s, positive moving away
    double x = 0.0;
    double y = 0.0;
};

// Where something that is not a person shows to the radar at some time: a
// non-human mover, or one of a person's wall echoes. An evaluation uses them
// to tell a false track's cause.
enum class DecoyKind { kMover, kEcho };
struct Decoy {
    DecoyKind kind = DecoyKind::kMover;
    int personId = 0;    // echo: whose; mover: 0
    int bounces = 0;     // 1: at (R + R') / 2, from A, A' or in between; 2: the mirror image
    double range = 0.0;  // m, as the radar sees it
    double angle = 0.0;  // degrees
    double x = 0.0;      // range sin(angle), range cos(angle)
    double y = 0.0;
};

// Amplitude, in ADC counts at gain 1, of a 1 m2 target 1 m away.
constexpr double kAmplitudeAt1m = 400.0;

class SceneSynthesizer {
public:
    // The scene should have passed ValidateScene; values outside its limits
    // give meaningless samples but no failure.
    SceneSynthesizer(const Scene& scene, uint64_t seed);

    // The people present at scene time t (seconds), in id order: those whose
    // centre lies within the field of view (+-60 degrees, in front of the
    // module) and within the unambiguous range.
    // \context Thread-safe.
    std::vector<TruthTarget> TruthAt(double t) const;

    // The movers' centres and every present person's wall echoes at scene
    // time t, whether or not they fall in the field of view.
    // \context Thread-safe.
    std::vector<Decoy> DecoysAt(double t) const;

    // Synthesises frame number `frame` (scene time frame / 10 s) into
    // kFrameSamples unpacked samples. Frames may be asked for in any order;
    // each frame's noise and micro-motion depend only on the seed and the
    // frame number.
    // \context One thread at a time per synthesizer (it reuses a buffer).
    void SynthesizeFrame(int64_t frame, uint16_t* samples);

    const Scene& GetScene() const { return m_scene; }
    uint64_t Seed() const { return m_seed; }

private:
    // One propagation path's tone as the receivers see it: amplitude and
    // phase common to both, and rx 1's extra complex factor (its angle of
    // arrival, and the receivers' gain mismatch).
    struct Tone {
        double amplitude = 0.0;
        double phase = 0.0;
        double rx1Re = 1.0, rx1Im = 0.0;
    };

    // Adds one point target to m_scratch: range r0 at the first chirp,
    // changing by velocity (m/s) from chirp to chirp, arriving from
    // sinAngle.
    void _AddScatterer(double r0, double velocity, double sinAngle, double amplitude, double phase);
    // Adds a tone whose range at each chirp is ranges[k].
    void _AddPath(const double* ranges, Tone tone);
    // The module's high-pass and receiver mismatch applied to a tone at
    // range r.
    void _ApplyModule(double r, Tone* tone) const;
    // Adds the wall echoes of a moving point given at every chirp (x, y and
    // its height z relative to the module, or none); baseAmplitude is its
    // direct echo's amplitude before the antenna pattern.
    void _AddEchoes(const double* xs, const double* ys, const double* zs, double baseAmplitude,
                    double phase);
    void _AddMovers(double t);
    void _AddLeakage();
    double _BaseAmplitude(double rcsM2, double range) const;
    double _Amplitude(double rcsM2, double x, double y, double range) const;
    // Two-way amplitude gain of the antennas towards an angle (degrees),
    // and one way (the square root).
    double _TwoWayGain(double angleDeg) const;
    double _OneWayGain(double angleDeg) const;

    Scene m_scene;
    uint64_t m_seed;
    std::vector<double> m_scratch;
    std::vector<PersonModel> m_people;  // in id order
    std::vector<MoverModel> m_movers;
    std::vector<double> m_clutterPhase;
    std::vector<double> m_wallPhase;  // phase turn at each wall
    double m_leakagePhase = 0.0, m_leakageRx1Phase = 0.0;
    double m_rx1Gain = 1.0;
};

}  // namespace radar

#endif
