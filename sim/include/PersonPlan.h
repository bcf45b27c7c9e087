// A person's plan as a timeline: legs of walking, standing and sitting laid
// end to end, each starting where the previous one ended, so that the
// person's state at any time is a pure function of that time.
#ifndef TESSIVO_SIM_PERSONPLAN_H
#define TESSIVO_SIM_PERSONPLAN_H

#include <vector>

#include "Scene.h"

namespace radar {

// Where a person following a plan is and how they hold themselves.
struct PlanState {
    double x = 0.0, y = 0.0;    // m
    double vx = 0.0, vy = 0.0;  // m/s
    double ux = 0.0, uy = 1.0;  // unit vector the body faces
    double walkedM = 0.0;       // distance walked so far: drives the gait
    bool moving = false;
    double seated = 0.0;  // 0 standing .. 1 seated; in between while sitting down or getting up
};

// Immutable once built: any thread may call any member.
class PersonPlan {
public:
    // Sitting down and getting up each take about this long.
    static constexpr double kSitDownS = 1.2;
    static constexpr double kGetUpS = 1.0;

    // person.plan must not be empty and person.path must hold the start
    // point (as ValidateScene demands).
    explicit PersonPlan(const ScenePerson& person);

    // The state `elapsed` seconds after the person entered the scene.
    PlanState At(double elapsed) const;

private:
    struct Leg {
        ActivityKind kind = ActivityKind::kStand;
        double t0 = 0.0, t1 = 0.0;       // s since entering
        double walked0 = 0.0;            // distance walked before this leg
        std::vector<ScenePoint> points;  // walk: the polyline from the leg's start; else one point
        std::vector<double> cumulative;  // walk: distance to each point
        double speedMps = 0.0;
        bool getsUp = false;  // sit: stands up again at the end of the leg
    };

    void _AddWalk(const ScenePoint& from, const std::vector<ScenePoint>& to, double speed);
    void _AddStill(ActivityKind kind, const ScenePoint& at, double duration);
    PlanState _InLeg(const Leg& leg, double elapsed) const;
    PlanState _AfterEnd() const;

    ScenePoint m_start;
    std::vector<Leg> m_legs;
    double m_period = 0.0;  // duration of the whole plan
    bool m_loop = false;
};

}  // namespace radar

#endif
