// The timeline of a plan. Sitting down blends the body from its standing to
// its seated layout over a second or so (the knees come forward, the chest
// goes down and back), which is what the radar sees of it: a short burst of
// motion at one place, then breathing.
#include "PersonPlan.h"

#include <algorithm>
#include <cmath>

namespace radar {

namespace {

constexpr double kPi = 3.141592653589793;
// A stand or sit step without an end lasts this long: for good.
constexpr double kForeverS = 1e9;

// Smooth 0 -> 1 over [0, 1].
double Ease(double u) {
    u = std::min(1.0, std::max(0.0, u));
    return 0.5 - 0.5 * std::cos(kPi * u);
}

// Facing the screen from (x, y).
void FaceModule(double x, double y, double* ux, double* uy) {
    const double r = std::hypot(x, y);
    if (r > 0.0) {
        *ux = -x / r;
        *uy = -y / r;
    } else {
        *ux = 0.0;
        *uy = -1.0;
    }
}

}  // namespace

PersonPlan::PersonPlan(const ScenePerson& person) : m_loop(person.loop) {
    if (!person.path.empty()) {
        m_start = person.path[0];
    }
    const ScenePoint start = m_start;
    ScenePoint here = start;
    for (const PlanStep& step : person.plan) {
        if (step.kind == ActivityKind::kWalk) {
            const double speed = step.speedMps > 0.0 ? step.speedMps : person.speedMps;
            _AddWalk(here, step.to, speed);
            if (!step.to.empty()) {
                here = step.to.back();
            }
        } else {
            _AddStill(step.kind, here, step.durationS < 0.0 ? kForeverS : step.durationS);
        }
    }
    if (m_loop && (here.x != start.x || here.y != start.y)) {
        _AddWalk(here, {start}, person.speedMps);
    }
    // Everybody who sits gets up when something follows; a plan that loops
    // always has something following.
    for (size_t i = 0; i < m_legs.size(); ++i) {
        m_legs[i].getsUp =
            m_legs[i].kind == ActivityKind::kSit && (i + 1 < m_legs.size() || m_loop);
    }
}

void PersonPlan::_AddWalk(const ScenePoint& from, const std::vector<ScenePoint>& to, double speed) {
    Leg leg;
    leg.kind = ActivityKind::kWalk;
    leg.points.push_back(from);
    for (const ScenePoint& point : to) {
        if (point.x != leg.points.back().x || point.y != leg.points.back().y) {
            leg.points.push_back(point);
        }
    }
    if (leg.points.size() < 2 || !(speed > 0.0)) {
        return;  // nowhere to go
    }
    leg.cumulative.assign(leg.points.size(), 0.0);
    for (size_t i = 1; i < leg.points.size(); ++i) {
        leg.cumulative[i] =
            leg.cumulative[i - 1] + std::hypot(leg.points[i].x - leg.points[i - 1].x,
                                               leg.points[i].y - leg.points[i - 1].y);
    }
    leg.speedMps = speed;
    leg.t0 = m_period;
    leg.t1 = m_period + leg.cumulative.back() / speed;
    leg.walked0 = m_legs.empty() ? 0.0 : m_legs.back().walked0;
    if (!m_legs.empty() && m_legs.back().kind == ActivityKind::kWalk) {
        leg.walked0 += m_legs.back().cumulative.back();
    }
    m_period = leg.t1;
    m_legs.push_back(std::move(leg));
}

void PersonPlan::_AddStill(ActivityKind kind, const ScenePoint& at, double duration) {
    if (!(duration > 0.0)) {
        return;
    }
    Leg leg;
    leg.kind = kind;
    leg.points.push_back(at);
    leg.t0 = m_period;
    leg.t1 = m_period + duration;
    leg.walked0 = m_legs.empty() ? 0.0 : m_legs.back().walked0;
    if (!m_legs.empty() && m_legs.back().kind == ActivityKind::kWalk) {
        leg.walked0 += m_legs.back().cumulative.back();
    }
    m_period = leg.t1;
    m_legs.push_back(std::move(leg));
}

PlanState PersonPlan::_InLeg(const Leg& leg, double elapsed) const {
    PlanState state;
    const double tau = elapsed - leg.t0;
    if (leg.kind != ActivityKind::kWalk) {
        state.x = leg.points[0].x;
        state.y = leg.points[0].y;
        state.walkedM = leg.walked0;
        FaceModule(state.x, state.y, &state.ux, &state.uy);
        if (leg.kind == ActivityKind::kSit) {
            state.seated = Ease(tau / kSitDownS);
            if (leg.getsUp) {
                state.seated = std::min(state.seated, Ease((leg.t1 - elapsed) / kGetUpS));
            }
        }
        return state;
    }
    const double s = std::min(tau * leg.speedMps, leg.cumulative.back());
    size_t i = static_cast<size_t>(
        std::upper_bound(leg.cumulative.begin(), leg.cumulative.end(), s) - leg.cumulative.begin());
    i = std::min(std::max<size_t>(i, 1), leg.points.size() - 1) - 1;
    const double segment = leg.cumulative[i + 1] - leg.cumulative[i];
    state.ux = (leg.points[i + 1].x - leg.points[i].x) / segment;
    state.uy = (leg.points[i + 1].y - leg.points[i].y) / segment;
    const double along = s - leg.cumulative[i];
    state.x = leg.points[i].x + along * state.ux;
    state.y = leg.points[i].y + along * state.uy;
    state.vx = leg.speedMps * state.ux;
    state.vy = leg.speedMps * state.uy;
    state.walkedM = leg.walked0 + s;
    state.moving = true;
    return state;
}

PlanState PersonPlan::_AfterEnd() const {
    const Leg& last = m_legs.back();
    PlanState state = _InLeg(last, last.t1);
    // A walk ends standing where it stopped; a sit that ends the plan stays
    // seated.
    state.vx = state.vy = 0.0;
    state.moving = false;
    if (last.kind == ActivityKind::kSit && !last.getsUp) {
        state.seated = 1.0;
    }
    return state;
}

PlanState PersonPlan::At(double elapsed) const {
    if (m_legs.empty()) {
        // Nothing to do: standing where the plan starts.
        PlanState state;
        state.x = m_start.x;
        state.y = m_start.y;
        FaceModule(state.x, state.y, &state.ux, &state.uy);
        return state;
    }
    elapsed = std::max(0.0, elapsed);
    if (m_loop && m_period > 0.0) {
        elapsed = std::fmod(elapsed, m_period);
    }
    if (elapsed >= m_period) {
        return _AfterEnd();
    }
    // The leg that holds `elapsed`: the last one starting at or before it.
    size_t i = 0;
    while (i + 1 < m_legs.size() && m_legs[i + 1].t0 <= elapsed) {
        ++i;
    }
    return _InLeg(m_legs[i], elapsed);
}

}  // namespace radar
