#include "WallMap.h"

#include <algorithm>
#include <cmath>
#include <complex>

namespace radar_sdk {

namespace {

constexpr float kPi = 3.14159265f;

// The receivers' phase difference of an echo from the direction whose sine
// is `s` (half a wavelength apart: pi sin A).
float PhaseOf(float s) {
    return kPi * s;
}

// |a - b| wrapped into 0..pi.
float PhaseGap(float a, float b) {
    float d = std::fmod(std::fabs(a - b), 2.0f * kPi);
    return d > kPi ? 2.0f * kPi - d : d;
}

}  // namespace

std::unique_ptr<WallMap> WallMap::Create(const WallConfig& config, int tracks, std::string* error) {
    if (tracks < 1 || !(config.binM > 0.0f) || !(config.stepToleranceM > 0.0f) ||
        !(config.stepSpeedMps > 0.0f) || !(config.maxM > config.binM) || !(config.maxM <= 100.0f) ||
        !(config.clearanceM >= 0.0f) || !(config.phaseToleranceRad > 0.0f) ||
        !(config.imagePowerRatio > 0.0f) || config.stepFrames < 1 ||
        !(config.stepTravelM >= 0.0f) || !(config.keep > 0.0f && config.keep <= 1.0f) ||
        !(config.knownVotes > 0.0f) || !(config.maxVotes >= config.knownVotes)) {
        if (error != nullptr) {
            *error =
                "WallMap: tracks, binM, maxM (at most 100 m), phaseToleranceRad, "
                "imagePowerRatio, the step figures and knownVotes must be positive, keep 0..1, "
                "maxVotes at least knownVotes";
        }
        return nullptr;
    }
    std::unique_ptr<WallMap> map(new WallMap());
    map->m_config = config;
    map->m_bins = static_cast<int>(std::ceil(config.maxM / config.binM));
    map->m_tracks = tracks;
    map->m_votes.assign(static_cast<size_t>(kSides) * map->m_bins, 0.0f);
    map->m_steps.assign(static_cast<size_t>(tracks) * tracks, Step());
    return map;
}

void WallMap::Reset() {
    std::fill(m_votes.begin(), m_votes.end(), 0.0f);
    std::fill(m_steps.begin(), m_steps.end(), Step());
}

void WallMap::Fade() {
    for (float& votes : m_votes) {
        votes *= m_config.keep;
    }
}

int WallMap::_Bin(float wallM) const {
    const int bin = static_cast<int>(wallM / m_config.binM);
    return bin < m_bins ? bin : -1;
}

template <class Found>
void WallMap::_Walls(const WallTrack& source, const WallTrack& echo, bool learning,
                     Found&& found) const {
    const float rs = std::hypot(source.x, source.y);
    const float re = std::hypot(echo.x, echo.y);
    if (!(rs > 0.0f) || !(re > rs)) {
        return;
    }
    const float sinSource = source.x / rs;
    const float phase = PhaseOf(echo.x / re);
    // (re / rs)^4 times its power: what it would be at the source's range.
    const float scale = (re / rs) * (re / rs);
    const float relative = echo.power * scale * scale;
    for (int bounces = 1; bounces <= 2; ++bounces) {
        // The mirror image's distance: the two-bounce echo is the image; the
        // one-bounce echo is halfway between the person's and the image's.
        const float image = bounces == 1 ? 2.0f * re - rs : re;
        if (!(image > rs + 2.0f * m_config.clearanceM) ||
            (bounces == 2 && !(relative < m_config.imagePowerRatio * source.power))) {
            continue;
        }
        for (int side = 0; side < kSides; ++side) {
            float imageX, wall, beyond;
            if (side == kBehind) {
                if (image <= std::fabs(source.x)) {
                    continue;
                }
                imageX = source.x;
                wall = 0.5f * (std::sqrt(image * image - source.x * source.x) + source.y);
                beyond = wall - source.y;
            } else {
                if (image <= std::fabs(source.y)) {
                    continue;
                }
                const float sign = side == kRight ? 1.0f : -1.0f;
                imageX = sign * std::sqrt(image * image - source.y * source.y);
                wall = 0.5f * (imageX + source.x);
                beyond = sign * (wall - source.x);
                // The module stands between its room's two side walls.
                if (sign * wall <= 0.0f) {
                    continue;
                }
            }
            if (beyond < m_config.clearanceM) {
                continue;
            }
            // An echo keeps in step: its Doppler is its path's rate of change.
            // Learning asks it, so that the moments two people happen to fit
            // a wall teach none; once a wall is known, the place is enough.
            const float imageY = side == kBehind ? 2.0f * wall - source.y : source.y;
            const float imageVx = side == kBehind ? source.vx : -source.vx;
            const float imageVy = side == kBehind ? -source.vy : source.vy;
            const float imageRate = (imageX * imageVx + imageY * imageVy) / image;
            const float sourceRate = (source.x * source.vx + source.y * source.vy) / rs;
            const float rate = bounces == 1 ? 0.5f * (sourceRate + imageRate) : imageRate;
            if (learning && std::fabs(rate - echo.radialMps) > m_config.stepSpeedMps) {
                continue;
            }
            // The phase the echo would have: its mirror direction's, or for
            // one bounce both paths' together. Where that is the person's
            // own direction (a wall straight behind someone in front of the
            // screen), anyone farther on that line fits some wall: nothing
            // to learn from.
            const float tolerance = m_config.phaseToleranceRad;
            const float own = PhaseOf(sinSource);
            const float mirrored = PhaseOf(imageX / image);
            const float both = std::arg(std::polar(1.0f, own) + std::polar(1.0f, mirrored));
            auto fitsPhase = [&](float expected) {
                return PhaseGap(phase, expected) < tolerance &&
                       (!learning || PhaseGap(expected, own) >= tolerance);
            };
            const bool fits = fitsPhase(mirrored) || (bounces == 1 && fitsPhase(both));
            if (fits) {
                found((bounces - 1) * kSides + side, std::fabs(wall));
            }
        }
    }
}

void WallMap::Learn(const WallTrack& source, const WallTrack& echo) {
    if (source.slot < 0 || source.slot >= m_tracks || echo.slot < 0 || echo.slot >= m_tracks) {
        return;
    }
    Step& step = m_steps[static_cast<size_t>(source.slot) * m_tracks + echo.slot];
    if (step.sourceSerial != source.serial || step.echoSerial != echo.serial) {
        step = Step();
        step.sourceSerial = source.serial;
        step.echoSerial = echo.serial;
    }
    bool seen[kPaths] = {};
    _Walls(source, echo, true, [&](int path, float wallM) {
        seen[path] = true;
        if (step.frames[path] == 0 ||
            std::fabs(wallM - step.wallM[path]) > m_config.stepToleranceM) {
            step.wallM[path] = wallM;
            step.fromX[path] = source.x;
            step.fromY[path] = source.y;
            step.frames[path] = 1;
            return;
        }
        ++step.frames[path];
        const float dx = source.x - step.fromX[path], dy = source.y - step.fromY[path];
        const int bin = _Bin(step.wallM[path]);
        if (step.frames[path] >= m_config.stepFrames && bin >= 0 &&
            dx * dx + dy * dy >= m_config.stepTravelM * m_config.stepTravelM) {
            float& votes = m_votes[static_cast<size_t>(path % kSides) * m_bins + bin];
            votes = std::min(m_config.maxVotes, votes + 1.0f);
        }
    });
    for (int path = 0; path < kPaths; ++path) {
        if (!seen[path] && step.frames[path] > 0) {
            step.frames[path] -= 1;
        }
    }
}

void WallMap::Clear(const WallTrack& thing) {
    // Whatever stands in the room stands in front of every wall: a wall
    // taught by two people who walked in step for a while (each the other's
    // mirror image) goes as soon as one of them is seen beyond it.
    const float across[kSides] = {-thing.x, thing.x, thing.y};
    for (int side = 0; side < kSides; ++side) {
        const float reach = (across[side] + m_config.clearanceM) / m_config.binM;
        const int bins = reach <= 0.0f ? 0 : std::min(m_bins, static_cast<int>(reach) + 1);
        float* votes = &m_votes[static_cast<size_t>(side) * m_bins];
        std::fill(votes, votes + bins, 0.0f);
    }
}

bool WallMap::Explains(const WallTrack& source, const WallTrack& echo) const {
    bool known = false;
    _Walls(source, echo, false, [&](int path, float wallM) {
        const int bin = _Bin(wallM);
        if (bin < 0) {
            return;
        }
        // Its distance is measured to a bin or so: the neighbours count.
        const float* votes = &m_votes[static_cast<size_t>(path % kSides) * m_bins];
        float sum = votes[bin];
        sum += bin > 0 ? votes[bin - 1] : 0.0f;
        sum += bin + 1 < m_bins ? votes[bin + 1] : 0.0f;
        known = known || sum >= m_config.knownVotes;
    });
    return known;
}

}  // namespace radar_sdk
