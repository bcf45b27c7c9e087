// Counter-based randomness for the synthesis: every stream is derived from
// the seed and a few integers (frame number, person id, scatterer), so that
// frames can be made in any order and every run gives the same bytes. The
// generators are written out here rather than taken from <random>, whose
// distributions differ between standard libraries.
#ifndef TESSIVO_SIM_SIMRANDOM_H
#define TESSIVO_SIM_SIMRANDOM_H

#include <stdint.h>

#include <cmath>

namespace radar {
namespace simrandom {

// One step of SplitMix64: advances *state and returns a well-mixed word.
inline uint64_t SplitMix64(uint64_t* state) {
    uint64_t z = (*state += 0x9E3779B97F4A7C15ull);
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
    return z ^ (z >> 31);
}

// Combines a key with one more integer into a new key.
inline uint64_t Mix(uint64_t key, uint64_t value) {
    uint64_t state = key ^ SplitMix64(&value);
    return SplitMix64(&state);
}

// Stream tags, so that different uses of the same seed never share numbers.
constexpr uint64_t kNoiseStream = 0x6E6F697365ull;        // receiver noise per frame
constexpr uint64_t kPersonStream = 0x706572736F6Eull;     // a person's scatterers
constexpr uint64_t kClutterStream = 0x636C7574746572ull;  // clutter phases
constexpr uint64_t kMoverStream = 0x6D6F766572ull;        // a mover's points and motion
constexpr uint64_t kModuleStream = 0x6D6F64756C65ull;     // the module's leakage phases
constexpr uint64_t kEchoStream = 0x6563686Full;           // phase turns at the walls

class Rng {
public:
    explicit Rng(uint64_t key) : m_state(key) {}
    uint64_t Next() { return SplitMix64(&m_state); }
    // Uniform in [0, 1).
    double Uniform() { return static_cast<double>(Next() >> 11) * (1.0 / 9007199254740992.0); }
    // Uniform in [lo, hi).
    double Uniform(double lo, double hi) { return lo + (hi - lo) * Uniform(); }
    // Two independent standard normal numbers (Box-Muller).
    void Gaussian2(double* a, double* b) {
        const double u1 = static_cast<double>((Next() >> 11) + 1) * (1.0 / 9007199254740992.0);
        const double u2 = Uniform();
        const double r = std::sqrt(-2.0 * std::log(u1));
        const double angle = 6.283185307179586 * u2;
        *a = r * std::cos(angle);
        *b = r * std::sin(angle);
    }

private:
    uint64_t m_state;
};

}  // namespace simrandom
}  // namespace radar

#endif
