#include "LiveScore.h"

#include <cmath>

namespace {

bool InScope(const radar::TruthTarget& person) {
    return person.range >= radar::kScopeMinRangeM && person.range <= radar::kScopeMaxRangeM &&
           std::fabs(person.angle) <= radar::kScopeMaxAngleDeg;
}

constexpr double kDegToRad = 3.14159265358979323846 / 180.0;

}  // namespace

CLiveScore::FrameCounts CLiveScore::Add(int64_t nowMs,
                                        const std::vector<radar::TruthTarget>& people,
                                        const std::vector<radar::OutputTrack>& tracks) {
    // Every close (person, track) pair, taken closest first.
    struct Pair {
        double distance;
        size_t person;
        size_t track;
    };
    std::vector<Pair> pairs;
    for (size_t p = 0; p < people.size(); ++p) {
        for (size_t t = 0; t < tracks.size(); ++t) {
            const double angle = tracks[t].angle * kDegToRad;
            const double dx = tracks[t].range * std::sin(angle) - people[p].x;
            const double dy = tracks[t].range * std::cos(angle) - people[p].y;
            const double distance = std::hypot(dx, dy);
            if (distance < radar::kMatchDistanceM) {
                pairs.push_back({distance, p, t});
            }
        }
    }
    std::vector<bool> personMatched(people.size(), false);
    std::vector<bool> trackMatched(tracks.size(), false);
    while (true) {
        const Pair* best = nullptr;
        for (const Pair& pair : pairs) {
            if (!personMatched[pair.person] && !trackMatched[pair.track] &&
                (best == nullptr || pair.distance < best->distance)) {
                best = &pair;
            }
        }
        if (best == nullptr) {
            break;
        }
        personMatched[best->person] = true;
        trackMatched[best->track] = true;
    }
    FrameCounts counts;
    counts.atMs = nowMs;
    for (size_t p = 0; p < people.size(); ++p) {
        if (InScope(people[p])) {
            ++(personMatched[p] ? counts.detected : counts.missed);
        }
    }
    for (bool matched : trackMatched) {
        counts.falseTracks += matched ? 0 : 1;
    }
    _Forget(nowMs);
    m_frames.push_back(counts);
    return counts;
}

void CLiveScore::_Forget(int64_t nowMs) {
    while (!m_frames.empty() && m_frames.front().atMs <= nowMs - kWindowMs) {
        m_frames.pop_front();
    }
}

Json::Value CLiveScore::Summary(int64_t nowMs) {
    _Forget(nowMs);
    int64_t detected = 0, missed = 0, falseTracks = 0;
    for (const FrameCounts& counts : m_frames) {
        detected += counts.detected;
        missed += counts.missed;
        falseTracks += counts.falseTracks;
    }
    Json::Value summary(Json::objectValue);
    summary["windowS"] = static_cast<Json::Int64>(kWindowMs / 1000);
    summary["frames"] = static_cast<Json::Int64>(m_frames.size());
    summary["detected"] = static_cast<Json::Int64>(detected);
    summary["missed"] = static_cast<Json::Int64>(missed);
    summary["falseTracks"] = static_cast<Json::Int64>(falseTracks);
    summary["detection"] =
        detected + missed > 0
            ? Json::Value(static_cast<double>(detected) / static_cast<double>(detected + missed))
            : Json::Value();
    return summary;
}
