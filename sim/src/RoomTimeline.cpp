#include "RoomTimeline.h"

#include <algorithm>
#include <cmath>

namespace radar {
namespace roomtimeline {

namespace {

constexpr double kForeverS = 1e9;

}  // namespace

ScenePoint Leg::At(double t) const {
    if (!Moving() || t1 <= t0) {
        return from;
    }
    const double f = (t - t0) / (t1 - t0);
    return {from.x + (to.x - from.x) * f, from.y + (to.y - from.y) * f};
}

Track::Track(const ScenePerson& person) {
    if (person.path.empty()) {
        m_legs.push_back(Leg{0.0, kForeverS, m_at, m_at});
        return;
    }
    const ScenePoint start = person.path[0];
    m_at = start;
    do {
        for (const PlanStep& step : person.plan) {
            if (step.kind != ActivityKind::kWalk) {
                _Add(step.durationS, m_at);
                continue;
            }
            const double speed = step.speedMps > 0.0 ? step.speedMps : person.speedMps;
            for (const ScenePoint& to : step.to) {
                _Walk(to, speed);
            }
        }
        if (person.loop) {
            _Walk(start, person.speedMps);
        }
    } while (person.loop && !person.plan.empty() && m_t < kLoopedS);
    m_legs.push_back(Leg{m_t, kForeverS, m_at, m_at});
}

void Track::_Walk(const ScenePoint& to, double speed) {
    const double length =
        std::sqrt((to.x - m_at.x) * (to.x - m_at.x) + (to.y - m_at.y) * (to.y - m_at.y));
    if (length > 0.0) {
        _Add(length / speed, to);
    }
}

void Track::_Add(double duration, const ScenePoint& to) {
    m_legs.push_back(Leg{m_t, m_t + duration, m_at, to});
    m_t += duration;
    m_at = to;
}

bool KeepApart(const Track& a, const Track& b, double stillM, double movingM, double untilS) {
    const std::vector<Leg>& legsA = a.Legs();
    const std::vector<Leg>& legsB = b.Legs();
    size_t i = 0;
    size_t j = 0;
    while (i < legsA.size() && j < legsB.size()) {
        const Leg& la = legsA[i];
        const Leg& lb = legsB[j];
        const double start = std::max(la.t0, lb.t0);
        const double end = std::min(la.t1, lb.t1);
        if (start >= untilS) {
            break;
        }
        if (end >= start) {
            // Within the overlap both move in straight lines, so the one
            // relative to the other does too: its nearest point to zero.
            const ScenePoint a0 = la.At(start), a1 = la.At(end);
            const ScenePoint b0 = lb.At(start), b1 = lb.At(end);
            const double d0x = a0.x - b0.x;
            const double d0y = a0.y - b0.y;
            const double ex = (a1.x - b1.x) - d0x;
            const double ey = (a1.y - b1.y) - d0y;
            const double length2 = ex * ex + ey * ey;
            const double f = length2 > 0.0
                                 ? std::min(1.0, std::max(0.0, -(d0x * ex + d0y * ey) / length2))
                                 : 0.0;
            const double mx = d0x + ex * f;
            const double my = d0y + ey * f;
            const double limit = la.Moving() || lb.Moving() ? movingM : stillM;
            if (mx * mx + my * my < limit * limit) {
                return false;
            }
        }
        if (la.t1 < lb.t1) {
            ++i;
        } else if (lb.t1 < la.t1) {
            ++j;
        } else {
            ++i;
            ++j;
        }
    }
    return true;
}

}  // namespace roomtimeline
}  // namespace radar
