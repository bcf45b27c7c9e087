// A person's plan: standing, walking, sitting down and getting up again, in
// order, each step from where the previous one ended.
#include <gtest/gtest.h>

#include <cmath>

#include "PersonModel.h"
#include "PersonPlan.h"
#include "SceneSynthesizer.h"

using namespace radar;

namespace {

// Stand 2 s at (0, 2), walk 1 m away at 1 m/s, sit 5 s, walk back.
ScenePerson Planner(bool loop) {
    ScenePerson person;
    person.id = 1;
    person.path = {{0.0, 2.0}};
    person.loop = loop;
    PlanStep stand;
    stand.kind = ActivityKind::kStand;
    stand.durationS = 2.0;
    PlanStep away;
    away.to = {{0.0, 3.0}};
    PlanStep sit;
    sit.kind = ActivityKind::kSit;
    sit.durationS = 5.0;
    PlanStep back;
    back.to = {{0.0, 2.0}};
    back.speedMps = 0.5;
    person.plan = {stand, away, sit, back};
    return person;
}

}  // namespace

TEST(PersonPlan, StepsFollowEachOtherFromWhereTheLastEnded) {
    const PersonPlan plan(Planner(false));
    struct Case {
        double t, y, vy;
        bool moving;
        double seatedMin, seatedMax;
    } cases[] = {
        {1.0, 2.0, 0.0, false, 0.0, 0.0},   // standing
        {2.5, 2.5, 1.0, true, 0.0, 0.0},    // walking away
        {3.6, 3.0, 0.0, false, 0.3, 0.7},   // half way down
        {5.0, 3.0, 0.0, false, 1.0, 1.0},   // seated
        {7.6, 3.0, 0.0, false, 0.3, 0.7},   // getting up for the walk back
        {9.0, 2.5, -0.5, true, 0.0, 0.0},   // walking back at its own speed
        {60.0, 2.0, 0.0, false, 0.0, 0.0},  // done: standing where it ended
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.t);
        const PlanState state = plan.At(c.t);
        EXPECT_NEAR(state.x, 0.0, 1e-9);
        EXPECT_NEAR(state.y, c.y, 1e-9);
        EXPECT_NEAR(state.vy, c.vy, 1e-9);
        EXPECT_EQ(state.moving, c.moving);
        EXPECT_GE(state.seated, c.seatedMin);
        EXPECT_LE(state.seated, c.seatedMax);
    }
    // Looping repeats the whole plan (10 s).
    const PersonPlan looping(Planner(true));
    for (double t : {1.0, 2.5, 5.0, 9.0}) {
        EXPECT_NEAR(looping.At(t + 30.0).y, plan.At(t).y, 1e-9) << t;
    }
    // A plan that ends sitting stays seated.
    ScenePerson sitter = Planner(false);
    sitter.plan.pop_back();
    EXPECT_EQ(PersonPlan(sitter).At(60.0).seated, 1.0);
}

TEST(PersonPlan, SittingDownMovesTheBodyThenOnlyBreathingRemains) {
    // The knees come forward as the person sits: their points move a
    // good part of 0.3 m while sitting down, less than a millimetre once
    // seated, apart from breathing.
    ScenePerson person = Planner(false);
    person.swayM = 0.0;
    person.breathingDepthM = 0.0;
    const PersonModel model(person, 7);
    auto travel = [&](int point, double from, double to) {
        double x0, y0, x1, y1, breath, weight;
        model.ScattererAt(point, from, from, &x0, &y0, &breath, &weight);
        model.ScattererAt(point, to, to, &x1, &y1, &breath, &weight);
        return std::hypot(x1 - x0, y1 - y0);
    };
    const int knee = 3;  // the left leg becomes the left knee
    EXPECT_GT(travel(knee, 3.0, 4.2), 0.15);
    EXPECT_LT(travel(knee, 4.5, 6.5), 1e-3);
    // The truth sees a person who stands still while seated.
    Scene scene;
    scene.people.push_back(person);
    const SceneSynthesizer synthesizer(scene, 1);
    EXPECT_NEAR(synthesizer.TruthAt(5.0)[0].velocity, 0.0, 1e-9);
    EXPECT_NEAR(synthesizer.TruthAt(2.5)[0].velocity, 1.0, 1e-9);
}
