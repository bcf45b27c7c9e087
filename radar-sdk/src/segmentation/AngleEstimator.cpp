#include "AngleEstimator.h"

#include <algorithm>
#include <cmath>

namespace radar_sdk {

namespace {

constexpr float kPi = 3.14159265f;
constexpr float kDegPerRad = 180.0f / kPi;

}  // namespace

float AngleFromCross(std::complex<float> cross) {
    if (cross.real() == 0.0f && cross.imag() == 0.0f) {
        return 0.0f;
    }
    const float s = std::max(-1.0f, std::min(1.0f, std::arg(cross) / kPi));
    return std::asin(s) * kDegPerRad;
}

std::complex<float> CrossForAngle(float angleDeg) {
    return std::polar(1.0f, kPi * std::sin(angleDeg / kDegPerRad));
}

}  // namespace radar_sdk
