#include "Tracker.h"

#include <algorithm>
#include <cmath>

#include "AngleEstimator.h"

namespace radar_sdk {

namespace {

// Association cost added for a tentative track, so that a confirmed track
// close by keeps its points and the candidate dies.
constexpr float kTentativePenalty = 1.0f;
// A track measured by slow-time points only is less sure of the angle.
constexpr float kStillAngleFactor = 1.5f;
// Radial speed that two merging tracks may differ by.
constexpr float kMergeSpeedMps = 0.6f;
// A walker's track that stopped without its moving points less than this
// long ago, and this near a new moving candidate, lost that walker.
constexpr int kStalledFrames = 20;
constexpr float kHandoverM = 1.5f;
constexpr int kHandoverAge = 30;
// Radial speed of the Doppler points this far from the prediction: a turn.
constexpr float kTurnSpeedMps = 0.25f;
constexpr float kTurnVelocitySigmaMps = 0.5f;
// A walker's angle weighs its Doppler points by amplitude^kFlatten.
constexpr float kFlatten = 0.3f;
// A new cluster this near two tracks in range and radial speed, between
// them in angle, is their mix.
constexpr float kMixRangeM = 0.5f;
constexpr float kMixSpeedMps = 0.3f;
// Two confirmed tracks whose velocities differ by more are two people
// crossing, not one person tracked twice.
constexpr float kMergeVelocityMps = 0.5f;
// Bands across the Doppler axis for telling a mover's spread from a
// walker's limbs: a fan's is judged in kBands, each two fine bands wide.
constexpr int kBands = 8;
constexpr int kFineBands = 2 * kBands;
// Fine bands on each side of zero left out when asking whether a place
// approaches and recedes at once: speeds above 0.39 m/s either way.
constexpr int kStillFineBands = 1;
// Cells of the trail map, metres.
constexpr float kTrailCellM = 0.25f;
constexpr int kNeverPassed = -1000000;
// Frames judged an echo in a row that demote a confirmed track, and frames
// judged clear in a row that free a held one.
constexpr int kEchoDemoteFrames = 3;
constexpr int kEchoFreeFrames = 20;

int CountBits(unsigned int bits, int count) {
    int n = 0;
    for (int i = 0; i < count; ++i) {
        n += (bits >> i) & 1u;
    }
    return n;
}

}  // namespace

std::unique_ptr<Tracker> Tracker::Create(const TrackerConfig& config, int pointCapacity,
                                         std::string* error) {
    auto fail = [error](const char* message) {
        if (error != nullptr) {
            *error = message;
        }
        return nullptr;
    };
    if (config.capacity < 1) {
        return fail("Tracker: capacity must be at least 1");
    }
    if (pointCapacity < 1) {
        return fail("Tracker: pointCapacity must be at least 1");
    }
    if (!(config.gateM > 0.0f) || !(config.maxGateM >= config.gateM) ||
        !(config.positionScaleM > 0.0f) || !(config.speedScaleMps > 0.0f) ||
        !(config.spawnRadiusM > 0.0f)) {
        return fail("Tracker: gates and scales must be positive");
    }
    if (config.confirmHits < 1 || config.confirmStillHits < 1 || config.tentativeMisses < 0 ||
        config.movingMisses < 0 || config.stillMisses < 0) {
        return fail("Tracker: hit and miss counts must not be negative");
    }
    if (!(config.rangeSigmaM > 0.0f) || !(config.angleSigmaDeg > 0.0f) ||
        !(config.accelerationSigma > 0.0f) || !(config.stillAccelerationSigma > 0.0f)) {
        return fail("Tracker: noise figures must be positive");
    }
    if (config.recentFrames < 1 || config.recentFrames > 32 || config.recentHits < 0 ||
        config.trailFrames < 0) {
        return fail("Tracker: recentFrames must be 1..32, recentHits and trailFrames >= 0");
    }
    if (!(config.areaM > 0.0f && config.areaM <= 100.0f) || !(config.trailRadiusM >= 0.0f)) {
        return fail("Tracker: areaM must be 0..100 m and trailRadiusM positive");
    }
    if (!(config.foldSpeedMps > 0.0f) || !(config.travelM > 0.0f) || config.wideBands < 1 ||
        config.wideBands > kBands || config.moverFrames < 1 ||
        config.moverFrames > config.recentFrames) {
        return fail(
            "Tracker: foldSpeedMps and travelM must be positive, wideBands 1..8, moverFrames "
            "1..recentFrames");
    }
    std::unique_ptr<Tracker> stage(new Tracker());
    stage->m_walls = WallMap::Create(WallConfig(), config.capacity, error);
    if (!stage->m_walls) {
        return nullptr;
    }
    stage->m_config = config;
    stage->m_echo.stillSpeedMps = config.stillSpeedMps;
    stage->m_tracks.resize(config.capacity);
    stage->m_owner.assign(pointCapacity, -1);
    stage->m_order.assign(pointCapacity, 0);
    stage->m_trailColumns = static_cast<int>(std::ceil(2.0f * config.areaM / kTrailCellM));
    stage->m_trailRows = static_cast<int>(std::ceil(config.areaM / kTrailCellM));
    stage->m_trail.assign(static_cast<size_t>(stage->m_trailColumns) * stage->m_trailRows,
                          kNeverPassed);
    return stage;
}

void Tracker::Reset() {
    for (Track& track : m_tracks) {
        track = Track();
    }
    std::fill(m_trail.begin(), m_trail.end(), kNeverPassed);
    m_walls->Reset();
    m_frame = 0;
    m_nextId = 1;
}

int Tracker::_Cell(float x, float y) const {
    const int column = static_cast<int>(std::floor((x + m_config.areaM) / kTrailCellM));
    const int row = static_cast<int>(std::floor(y / kTrailCellM));
    if (column < 0 || column >= m_trailColumns || row < 0 || row >= m_trailRows) {
        return -1;
    }
    return row * m_trailColumns + column;
}

void Tracker::_MarkTrails() {
    const int reach = static_cast<int>(std::ceil(m_config.trailRadiusM / kTrailCellM));
    for (const Track& track : m_tracks) {
        if (!track.used || !track.confirmed || track.filter.Speed() < m_config.stillSpeedMps) {
            continue;
        }
        for (int dy = -reach; dy <= reach; ++dy) {
            for (int dx = -reach; dx <= reach; ++dx) {
                const int cell =
                    _Cell(track.filter.X() + dx * kTrailCellM, track.filter.Y() + dy * kTrailCellM);
                if (cell >= 0) {
                    m_trail[cell] = m_frame;
                }
            }
        }
    }
}

bool Tracker::_OnTrail(float x, float y) const {
    const int cell = _Cell(x, y);
    return cell >= 0 && m_frame - m_trail[cell] <= m_config.trailFrames;
}

int Tracker::_Band(float velocityMps) const {
    const int band = static_cast<int>(std::floor((velocityMps + m_config.foldSpeedMps) /
                                                 (2.0f * m_config.foldSpeedMps) * kFineBands));
    return std::max(0, std::min(kFineBands - 1, band));
}

unsigned int Tracker::_PlaceBands(const Detection* points, int count, float x, float y) const {
    // As far as the widest gate: a fan's cells mix with their neighbours and
    // smear it over more than its own size in angle.
    unsigned int bands = 0u;
    const float limit = m_config.maxGateM * m_config.maxGateM;
    for (int i = 0; i < count; ++i) {
        const Detection& point = points[i];
        const float dx = point.x - x, dy = point.y - y;
        if (!point.still && dx * dx + dy * dy <= limit) {
            bands |= 1u << _Band(point.velocityMps);
        }
    }
    return bands;
}

void Tracker::_Settle(Track* track) {
    // A fan's blade tips are far faster than the chirps can tell apart: their
    // Doppler folds over the whole axis, out to both ends, in every frame. A
    // turntable or a mobile turns: some of it comes closer while the rest
    // goes away, every frame. A walker's limbs spread the Doppler too, but
    // round the body's speed and on one side of it, and a walker does not
    // stay where it was; a still person's Doppler stays near zero.
    unsigned int coarse = 0u;
    for (int band = 0; band < kBands; ++band) {
        coarse |= ((track->bands >> (2 * band)) & 3u) != 0u ? 1u << band : 0u;
    }
    const unsigned int ends = 1u | (1u << (kBands - 1));
    const unsigned int approaching = (1u << (kFineBands / 2 - kStillFineBands)) - 1u;
    const unsigned int receding = approaching << (kFineBands / 2 + kStillFineBands);
    const bool wide = CountBits(coarse, kBands) >= m_config.wideBands && (coarse & ends) == ends;
    const bool turning = (track->bands & approaching) != 0u && (track->bands & receding) != 0u;
    const float dx = track->filter.X() - track->anchorX;
    const float dy = track->filter.Y() - track->anchorY;
    if (track->settled == 0 || dx * dx + dy * dy > m_config.travelM * m_config.travelM) {
        track->anchorX = track->filter.X();
        track->anchorY = track->filter.Y();
        track->settled = 0;
        track->wide = 0u;
        track->turning = 0u;
    }
    track->wide = (track->wide << 1) | (wide ? 1u : 0u);
    track->turning = (track->turning << 1) | (turning ? 1u : 0u);
    track->settled = std::min(track->settled + 1, m_config.recentFrames);
}

bool Tracker::_Mover(const Track& track) const {
    const int wide = CountBits(track.wide, track.settled);
    const int turning = CountBits(track.turning, track.settled);
    // A candidate whose Doppler filled the axis in most of its frames is a
    // mover from the start; a person's track must do so for seconds in
    // one place before it is taken for one. Coming and going at once is
    // what a walker crossing the line of sight does too (his limbs either
    // side of no radial speed) until he has gone far enough to show that
    // he travels: that takes seconds in one place for a candidate as well.
    const bool settled = track.settled >= m_config.recentFrames;
    if (!track.confirmed) {
        return 2 * wide > track.settled || (settled && 2 * turning > track.settled);
    }
    return settled && (wide >= m_config.moverFrames || turning >= m_config.moverFrames);
}

int Tracker::_BestTrack(const Detection& point, float* share) const {
    int best = -1;
    float bestCost = 0.0f;
    float secondCost = 0.0f;
    int second = -1;
    for (int j = 0; j < static_cast<int>(m_tracks.size()); ++j) {
        const Track& track = m_tracks[j];
        // The flanks of a peak feed people, never candidates: a candidate
        // must stand on peaks of its own. A mover takes its flanks too, so
        // that they pull no person's track onto it.
        if (!track.used || (!point.peak && !track.confirmed && !track.mover && !track.echo)) {
            continue;
        }
        const float dx = point.x - track.filter.X();
        const float dy = point.y - track.filter.Y();
        const float distance = std::sqrt(dx * dx + dy * dy);
        const float gate =
            std::min(m_config.maxGateM, m_config.gateM + 2.0f * track.filter.PositionSigma());
        if (distance > gate) {
            continue;
        }
        const float p = distance / m_config.positionScaleM;
        const float v = (point.velocityMps - track.filter.RadialMps()) / m_config.speedScaleMps;
        float cost = p * p + v * v;
        if (track.mover) {
            // Its points come at every speed: the place alone tells them.
            cost = p * p;
        } else if (!track.confirmed && !track.echo) {
            // A wall echo held back keeps its points as a person's track
            // would: they would pull its source's track onto the wall.
            cost += kTentativePenalty;
        }
        // The runner-up is the best other track of the same kind: a
        // candidate next to a person does not make that person's points
        // contested.
        if (best < 0 || cost < bestCost) {
            if (best >= 0 && track.confirmed == m_tracks[best].confirmed) {
                secondCost = bestCost;
                second = best;
            }
            best = j;
            bestCost = cost;
        } else if ((second < 0 || cost < secondCost) &&
                   track.confirmed == m_tracks[best].confirmed) {
            secondCost = cost;
            second = j;
        }
    }
    *share = 0.0f;
    if (best < 0) {
        return best;
    }
    const Track& chosen = m_tracks[best];
    const ShareTrack first{bestCost, chosen.filter.RangeM(), chosen.filter.RadialMps()};
    ShareTrack other;
    if (second >= 0) {
        other = {secondCost, m_tracks[second].filter.RangeM(), m_tracks[second].filter.RadialMps()};
    }
    *share = PointShare(point, first, second >= 0 ? &other : nullptr, m_share);
    return best;
}

void Tracker::_Measure(Track* track) {
    const TrackerConfig& c = m_config;
    ++track->age;
    track->recent <<= 1;
    const bool moving = track->moving.weight > 0.0f;
    if (moving || track->still.weight > 0.0f) {
        // A walker's slow-time points are the trail it leaves in the clutter
        // map, behind it: while its own Doppler points are there, they alone
        // measure it.
        PointSum sum = track->moving;
        if (!moving || track->filter.Speed() < c.stillSpeedMps) {
            sum.weight += track->still.weight;
            sum.range += track->still.range;
            sum.cross += track->still.cross;
        }
        const float range = sum.range / sum.weight;
        // A walker's angle from its Doppler points at a flatter weight: where
        // another walker shares the strongest cells (their bodies at one
        // range and speed), its own limbs in other columns still point at it.
        const bool walking = moving && track->filter.Speed() >= c.stillSpeedMps;
        const std::complex<float> cross = walking ? track->moving.flatCross : sum.cross;
        // A walker who turns round turns its Doppler at once; the position
        // needs frames to show it, and the track would lag a second behind.
        if (walking && std::fabs(track->moving.speed / track->moving.weight -
                                 track->filter.RadialMps()) > kTurnSpeedMps) {
            track->filter.OpenVelocity(kTurnVelocitySigmaMps);
        }
        const float angleSigma = moving ? c.angleSigmaDeg : c.angleSigmaDeg * kStillAngleFactor;
        track->filter.Update(range, AngleFromCross(cross), c.rangeSigmaM, angleSigma);
        const float power = track->moving.weight + track->still.weight;
        track->power = track->power > 0.0f ? 0.8f * track->power + 0.2f * power : power;
        ++track->hits;
        track->movingHits += moving ? 1 : 0;
        if (walking) {
            track->lastWalkingFrame = m_frame;
        }
        track->misses = 0;
        track->recent |= 1u;
        return;
    }
    ++track->misses;
    track->filter.DampVelocity(c.coastDamping);
}

void Tracker::_Start(const Detection& centre, float speed, bool stillBorn, unsigned int bands) {
    for (Track& track : m_tracks) {
        if (track.used) {
            continue;
        }
        track = Track();
        track.used = true;
        track.serial = ++m_serial;
        track.stillBorn = stillBorn;
        track.hits = 1;
        track.movingHits = stillBorn ? 0 : 1;
        track.age = 1;
        track.recent = 1u;
        track.filter.Start(centre.rangeM, centre.angleDeg, speed, m_config.rangeSigmaM,
                           m_config.angleSigmaDeg, 1.0f);
        track.bands = bands;
        _Settle(&track);
        return;
    }
}

void Tracker::_Spawn(const Detection* points, int count, float dt) {
    (void)dt;
    for (int pass = 0; pass < 2; ++pass) {
        const bool still = pass == 1;
        int n = 0;
        for (int i = 0; i < count; ++i) {
            if (m_owner[i] == -1 && points[i].still == still) {
                m_order[n++] = i;
            }
        }
        std::sort(m_order.begin(), m_order.begin() + n,
                  [points](int a, int b) { return points[a].weight > points[b].weight; });
        for (int s = 0; s < n; ++s) {
            const Detection& seed = points[m_order[s]];
            if (m_owner[m_order[s]] != -1 || !seed.peak) {
                continue;
            }
            // Sorted strongest first: the rest are too weak to start anything.
            if (seed.snr < m_config.seedSnr) {
                break;
            }
            float weight = 0.0f, range = 0.0f, speed = 0.0f;
            std::complex<float> cross;
            for (int t = s; t < n; ++t) {
                const int i = m_order[t];
                const Detection& point = points[i];
                if (m_owner[i] != -1) {
                    continue;
                }
                const float dx = point.x - seed.x, dy = point.y - seed.y;
                if (dx * dx + dy * dy > m_config.spawnRadiusM * m_config.spawnRadiusM ||
                    std::fabs(point.velocityMps - seed.velocityMps) > m_config.spawnSpeedMps) {
                    continue;
                }
                m_owner[i] = -2;
                weight += point.weight;
                range += point.weight * point.rangeM;
                speed += point.weight * point.velocityMps;
                cross += point.cross;
            }
            Detection centre;
            centre.rangeM = range / weight;
            centre.angleDeg = AngleFromCross(cross);
            centre.x = centre.rangeM * std::sin(centre.angleDeg * 3.14159265f / 180.0f);
            centre.y = centre.rangeM * std::cos(centre.angleDeg * 3.14159265f / 180.0f);
            if (still) {
                // Slow-time energy next to a track is that person's (or the
                // trail a walker leaves): never a new person.
                bool clear = true;
                for (const Track& track : m_tracks) {
                    if (!track.used) {
                        continue;
                    }
                    const float dx = centre.x - track.filter.X(), dy = centre.y - track.filter.Y();
                    if (dx * dx + dy * dy <
                        m_config.stillSpawnClearanceM * m_config.stillSpawnClearanceM) {
                        clear = false;
                        break;
                    }
                }
                if (!clear || _OnTrail(centre.x, centre.y)) {
                    continue;
                }
            }
            if (!still && _MixOfTwo(centre, speed / weight)) {
                continue;
            }
            _Start(centre, still ? 0.0f : speed / weight, still,
                   _PlaceBands(points, count, centre.x, centre.y));
        }
    }
}

Tracker::Track* Tracker::_Stalled(const Track& candidate) {
    Track* found = nullptr;
    float nearest = kHandoverM * kHandoverM;
    for (Track& track : m_tracks) {
        if (&track == &candidate || !track.used || !track.confirmed ||
            track.filter.Speed() >= m_config.stillSpeedMps || track.lastWalkingFrame == 0 ||
            m_frame - track.lastWalkingFrame > kStalledFrames) {
            continue;
        }
        const float dx = track.filter.X() - candidate.filter.X();
        const float dy = track.filter.Y() - candidate.filter.Y();
        if (dx * dx + dy * dy < nearest) {
            nearest = dx * dx + dy * dy;
            found = &track;
        }
    }
    return found;
}

void Tracker::_LearnWalls() {
    m_walls->Fade();
    // Whatever has nothing confirmed in front of it is no echo: it stands
    // in the room, and so in front of every wall.
    for (const Track& thing : m_tracks) {
        if (!thing.used || !(thing.confirmed || thing.mover) || (thing.recent & 1u) == 0u) {
            continue;
        }
        bool direct = true;
        for (const Track& other : m_tracks) {
            if (&other != &thing && other.used && (other.confirmed || other.mover) &&
                other.filter.RangeM() + m_echo.marginM <= thing.filter.RangeM()) {
                direct = false;
                break;
            }
        }
        if (direct) {
            m_walls->Clear(_WallTrack(thing));
        }
    }
    for (const Track& source : m_tracks) {
        // Only a person on the move tells a wall from a second person.
        if (!source.used || !source.confirmed || source.moving.weight <= 0.0f ||
            source.filter.Speed() < m_config.stillSpeedMps) {
            continue;
        }
        for (const Track& echo : m_tracks) {
            // A walker's echo carries the walker's Doppler, even where its
            // path keeps its length (walking straight at a wall); a seated
            // person's slow-time points alone teach no wall by looking like
            // such an echo.
            if (&echo == &source || !echo.used || echo.mover || echo.moving.weight <= 0.0f ||
                echo.filter.RangeM() < source.filter.RangeM() + m_echo.marginM) {
                continue;
            }
            m_walls->Learn(_WallTrack(source), _WallTrack(echo));
        }
    }
}

WallTrack Tracker::_WallTrack(const Track& track) const {
    WallTrack wall;
    wall.slot = static_cast<int>(&track - m_tracks.data());
    wall.serial = track.serial;
    wall.x = track.filter.X();
    wall.y = track.filter.Y();
    wall.power = track.power;
    wall.vx = track.filter.Vx();
    wall.vy = track.filter.Vy();
    // What its Doppler points say this frame: a young track's filter has
    // not learnt its speed yet.
    wall.radialMps = track.moving.weight > 0.0f ? track.moving.speed / track.moving.weight
                                                : track.filter.RadialMps();
    return wall;
}

EchoVerdict Tracker::_EchoOf(const Track& track) const {
    EchoVerdict verdict = EchoVerdict::kClear;
    const EchoTrack self{&track.history, track.filter.RangeM(), track.filter.Speed()};
    const WallTrack at = _WallTrack(track);
    for (const Track& source : m_tracks) {
        if (&source == &track || !source.used || !source.confirmed) {
            continue;
        }
        // A wall the room has shown makes it the echo of anyone nearer.
        if (source.filter.RangeM() + m_echo.marginM <= track.filter.RangeM() &&
            m_walls->Explains(_WallTrack(source), at)) {
            return EchoVerdict::kEcho;
        }
        const EchoTrack other{&source.history, source.filter.RangeM(), source.filter.Speed()};
        const EchoVerdict v = JudgeEcho(self, other, m_echo);
        if (v == EchoVerdict::kEcho) {
            return v;
        }
        if (v == EchoVerdict::kPending) {
            verdict = v;
        }
    }
    return verdict;
}

void Tracker::_JudgeEcho(Track* track) {
    // A wall mirrors a seated person: farther, fainter, breathing with the
    // person. Such a track is no one: a candidate is not confirmed, and a
    // confirmed track loses its id (it stays a candidate, holding the echo's
    // points so that they start nothing and pull no one).
    const EchoVerdict verdict = _EchoOf(*track);
    track->echoRun = verdict == EchoVerdict::kEcho ? track->echoRun + 1 : 0;
    track->clearRun = verdict == EchoVerdict::kClear ? track->clearRun + 1 : 0;
    if (track->confirmed) {
        if (track->echoRun < kEchoDemoteFrames) {
            track->echoWait = false;
            return;
        }
        track->confirmed = false;
        track->id = 0;
        track->movingHits = 0;
    }
    // An echo would be confirmed within a second, before it could be told
    // from a person behind its source: such a candidate waits that long.
    if (verdict == EchoVerdict::kEcho) {
        track->echo = true;
    } else if (track->clearRun >= kEchoFreeFrames) {
        track->echo = false;
    }
    track->echoWait = track->echo || verdict == EchoVerdict::kPending;
}

bool Tracker::_MixOfTwo(const Detection& centre, float speed) const {
    // Cells that hold two people's echoes at one range and speed report an
    // angle between the two: such a cluster between two tracks of that range
    // and speed is their mix, not a third person.
    bool left = false, right = false;
    for (const Track& track : m_tracks) {
        if (!track.used || !track.confirmed ||
            std::fabs(track.filter.RangeM() - centre.rangeM) > kMixRangeM ||
            std::fabs(track.filter.RadialMps() - speed) > kMixSpeedMps) {
            continue;
        }
        (track.filter.AngleDeg() < centre.angleDeg ? left : right) = true;
    }
    return left && right;
}

bool Tracker::_Alive(const Track& track) const {
    if (!track.confirmed) {
        return track.misses <= m_config.tentativeMisses;
    }
    if (track.age >= m_config.recentFrames &&
        CountBits(track.recent, m_config.recentFrames) < m_config.recentHits) {
        return false;
    }
    const bool still = track.filter.Speed() < m_config.stillSpeedMps;
    return track.misses <= (still ? m_config.stillMisses : m_config.movingMisses);
}

void Tracker::_MergeAndRetire() {
    const int n = static_cast<int>(m_tracks.size());
    for (Track& track : m_tracks) {
        if (!track.used) {
            continue;
        }
        if (!_Alive(track)) {
            track.used = false;
            continue;
        }
        if (track.confirmed && _Mover(track)) {
            // Not a person after all: it stays a candidate, which holds the
            // mover's points so that they start no other track there.
            track.confirmed = false;
            track.id = 0;
            track.movingHits = 0;
        }
        // A candidate is a person once moving points have confirmed it, or
        // once slow-time points have, for longer, away from any walker's
        // recent trail (whatever fed it so far).
        const bool confirmedMoving = !track.stillBorn && track.movingHits >= m_config.confirmHits;
        const bool confirmedStill = track.hits >= m_config.confirmStillHits &&
                                    !_OnTrail(track.filter.X(), track.filter.Y());
        track.mover = !track.confirmed && _Mover(track);
        _JudgeEcho(&track);
        if (!track.confirmed && (confirmedMoving || confirmedStill) && !track.mover &&
            !track.echoWait) {
            track.confirmed = true;
            Track* stalled = confirmedMoving ? _Stalled(track) : nullptr;
            if (stalled != nullptr) {
                // The walker its track lost (at a turn, in a crowd) came back
                // as this candidate: it keeps its id, and the old track, left
                // standing on the walker's slow-time trail, goes.
                track.id = stalled->id;
                stalled->used = false;
            } else {
                track.id = m_nextId++;
            }
        }
    }
    // A walker's track that stopped (its moving points gone, coasted to a
    // standstill) next to a young walker's track that started a moment ago
    // lost that walker to it: the young track takes the id over.
    for (Track& young : m_tracks) {
        if (!young.used || !young.confirmed || young.age > kHandoverAge ||
            young.filter.Speed() < m_config.stillSpeedMps) {
            continue;
        }
        Track* stalled = _Stalled(young);
        if (stalled != nullptr && stalled->id < young.id) {
            young.id = stalled->id;
            stalled->used = false;
        }
    }
    const float limit = m_config.mergeDistanceM * m_config.mergeDistanceM;
    for (int a = 0; a < n; ++a) {
        Track& first = m_tracks[a];
        if (!first.used) {
            continue;
        }
        bool overlapped = false;
        for (int b = 0; b < n && first.used; ++b) {
            Track& other = m_tracks[b];
            // A person passing a mover does not end it: the mover would only
            // start again, and its points would drag the person's track.
            if (b == a || !other.used || (first.mover && !other.mover)) {
                continue;
            }
            const float dx = first.filter.X() - other.filter.X();
            const float dy = first.filter.Y() - other.filter.Y();
            const float dvx = first.filter.Vx() - other.filter.Vx();
            const float dvy = first.filter.Vy() - other.filter.Vy();
            if (dx * dx + dy * dy > limit ||
                std::fabs(first.filter.RadialMps() - other.filter.RadialMps()) > kMergeSpeedMps ||
                (first.confirmed &&
                 dvx * dvx + dvy * dvy > kMergeVelocityMps * kMergeVelocityMps)) {
                continue;
            }
            // `first` gives way to an older confirmed track, or to any
            // confirmed track while it is only a candidate.
            if (!first.confirmed) {
                if (other.confirmed || other.hits > first.hits ||
                    (other.hits == first.hits && b < a)) {
                    first.used = false;
                }
            } else if (other.confirmed && other.id < first.id) {
                overlapped = true;
            }
        }
        if (!first.used) {
            continue;
        }
        first.overlap = overlapped ? first.overlap + 1 : 0;
        if (first.overlap >= m_config.mergeFrames) {
            first.used = false;
        }
    }
}

void Tracker::Execute(const Detection* points, int count, float dt) {
    ++m_frame;
    count = std::min(count, static_cast<int>(m_owner.size()));
    for (Track& track : m_tracks) {
        if (!track.used) {
            continue;
        }
        // A still person is measured again and again at one place: a
        // steadier model averages the measurements' noise away.
        const bool still = track.filter.Speed() < m_config.stillSpeedMps;
        track.filter.Predict(dt,
                             still ? m_config.stillAccelerationSigma : m_config.accelerationSigma);
        track.moving = PointSum();
        track.still = PointSum();
        track.steps = std::complex<float>();
        track.bands = 0u;
    }
    for (int i = 0; i < count; ++i) {
        const Detection& point = points[i];
        float share = 0.0f;
        const int j = _BestTrack(point, &share);
        m_owner[i] = j;
        if (j < 0) {
            continue;
        }
        Track& track = m_tracks[j];
        (point.still ? track.still : track.moving).Add(point, share, kFlatten);
        if (point.still) {
            track.steps += std::polar(share * point.weight, point.step);
        }
        if (!point.still) {
            track.bands |= 1u << _Band(point.velocityMps);
        }
    }
    for (Track& track : m_tracks) {
        if (!track.used) {
            continue;
        }
        // A mover's Doppler is split among several candidates by speed at
        // first: a candidate is judged by all the points at its place, a
        // person's track by its own (a fan beside a seated person is not
        // the person's).
        if (!track.confirmed) {
            track.bands |= _PlaceBands(points, count, track.filter.X(), track.filter.Y());
        }
        _Measure(&track);
        _Settle(&track);
        track.history.Push(track.still.weight, std::arg(track.steps));
    }
    _LearnWalls();
    _Spawn(points, count, dt);
    _MergeAndRetire();
    _MarkTrails();
}

int Tracker::Report(TrackReport* out, int capacity) const {
    int count = 0;
    for (const Track& track : m_tracks) {
        if (!track.used || !track.confirmed) {
            continue;
        }
        const bool still = track.filter.Speed() < m_config.stillSpeedMps;
        if (!still && track.misses > m_config.reportMisses) {
            continue;
        }
        // Insertion in id order; beyond capacity the youngest ids drop out.
        int at = count;
        while (at > 0 && out[at - 1].id > track.id) {
            --at;
        }
        if (at >= capacity) {
            continue;
        }
        const int last = std::min(count, capacity - 1);
        for (int i = last; i > at; --i) {
            out[i] = out[i - 1];
        }
        TrackReport& report = out[at];
        report.id = track.id;
        report.rangeM = track.filter.RangeM();
        report.angleDeg = track.filter.AngleDeg();
        report.velocityMps = track.filter.RadialMps();
        report.x = track.filter.X();
        report.y = track.filter.Y();
        count = std::min(count + 1, capacity);
    }
    return count;
}

}  // namespace radar_sdk
