// The angle of arrival from the two receivers, half a wavelength apart: the
// phase of rx 1 against rx 0 is pi sin(A). Summing the cross products
// rx1 * conj(rx0) of several cells before taking the phase weights each cell
// by its power and never trips over the wrap at +-pi.
#ifndef TESSIVO_RADARSDK_ANGLEESTIMATOR_H
#define TESSIVO_RADARSDK_ANGLEESTIMATOR_H

#include <complex>

namespace radar_sdk {

// Degrees, -90..90, from a (sum of) cross product(s) rx1 * conj(rx0); 0 for
// a zero product.
// \context Thread-safe.
float AngleFromCross(std::complex<float> cross);

// The cross product a target at angleDeg gives with unit amplitude.
// \context Thread-safe.
std::complex<float> CrossForAngle(float angleDeg);

}  // namespace radar_sdk

#endif
