#include "PointShare.h"

#include <algorithm>
#include <cmath>

namespace radar_sdk {

float PointPurity(const Detection& point) {
    if (!(point.weight > 0.0f)) {
        return 0.0f;
    }
    return std::min(1.0f, 2.0f * std::abs(point.cross) / point.weight);
}

float PointShare(const Detection& point, const ShareTrack& best, const ShareTrack* second,
                 const ShareConfig& config) {
    float share = std::pow(PointPurity(point), config.purityExponent);
    if (second == nullptr) {
        return share;
    }
    const float fit = 1.0f / (1.0f + std::exp(-0.5f * (second->cost - best.cost)));
    share *= std::pow(fit, config.exponent);
    if (!point.still && std::fabs(point.velocityMps - best.radialMps) < config.ambiguousSpeedMps &&
        std::fabs(point.velocityMps - second->radialMps) < config.ambiguousSpeedMps) {
        share *= config.ambiguousWeight;
    }
    if (config.rangeScaleM > 0.0f) {
        const float a = (point.rangeM - best.rangeM) / config.rangeScaleM;
        const float b = (point.rangeM - second->rangeM) / config.rangeScaleM;
        const float exponent = std::max(-30.0f, std::min(30.0f, 0.5f * (a * a - b * b)));
        share *= 1.0f / (1.0f + std::exp(exponent));
    }
    return share;
}

void PointSum::Add(const Detection& point, float share, float flatten) {
    weight += share * point.weight;
    range += share * point.weight * point.rangeM;
    speed += share * point.weight * point.velocityMps;
    cross += share * point.cross;
    const float magnitude = std::abs(point.cross);
    if (magnitude > 0.0f) {
        flatCross += share * point.cross * std::pow(magnitude, flatten - 1.0f);
    }
}

}  // namespace radar_sdk
