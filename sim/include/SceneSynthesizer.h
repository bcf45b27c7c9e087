// FMCW synthesis of a scene, frame by frame, following the signal model of
// the radar data contract: per scatterer a beat tone whose frequency gives the
// range, whose phase across the receivers gives the angle and whose phase from
// chirp to chirp gives the radial speed. The same scene and seed give the same
// bytes on every run.
#ifndef TESSIVO_SIM_SCENESYNTHESIZER_H
#define TESSIVO_SIM_SCENESYNTHESIZER_H

#include <stdint.h>

#include <vector>

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

    // Synthesises frame number `frame` (scene time frame / 10 s) into
    // kFrameSamples unpacked samples. Frames may be asked for in any order;
    // each frame's noise and micro-motion depend only on the seed and the
    // frame number.
    // \context One thread at a time per synthesizer (it reuses a buffer).
    void SynthesizeFrame(int64_t frame, uint16_t* samples);

    const Scene& GetScene() const { return m_scene; }
    uint64_t Seed() const { return m_seed; }

private:
    // Adds one point target to m_scratch: range r0 at the first chirp,
    // changing by velocity (m/s) from chirp to chirp.
    void _AddScatterer(double r0, double velocity, double sinAngle, double amplitude, double phase);
    double _Amplitude(double rcsM2, double x, double y, double range) const;

    Scene m_scene;
    uint64_t m_seed;
    std::vector<double> m_scratch;
    std::vector<PersonModel> m_people;  // in id order
    std::vector<double> m_clutterPhase;
};

}  // namespace radar

#endif
