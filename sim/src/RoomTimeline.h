// Where the centre of a person of a random room is over the whole run, so
// that the room can be checked for bodies that would run into each other.
#ifndef TESSIVO_SIM_ROOMTIMELINE_H
#define TESSIVO_SIM_ROOMTIMELINE_H

#include <vector>

#include "Scene.h"

namespace radar {
namespace roomtimeline {

// A straight walk from `from` to `to` between t0 and t1, or a stay where
// from == to.
struct Leg {
    double t0 = 0.0, t1 = 0.0;
    ScenePoint from, to;
    bool Moving() const { return from.x != to.x || from.y != to.y; }
    ScenePoint At(double t) const;
};

// The legs of one person laid end to end from time 0; the last leg, a stay,
// lasts for ever. Standing and sitting keep the centre where it is, as in
// the synthesis. Only what random rooms hold is followed: a plan, or a
// person staying at one point. A plan that loops is followed for its rounds
// up to kLoopedS: the people of a random room who do not loop have all
// stopped long before, so later rounds only repeat what was checked.
constexpr double kLoopedS = 600.0;
class Track {
public:
    explicit Track(const ScenePerson& person);
    const std::vector<Leg>& Legs() const { return m_legs; }

private:
    void _Add(double duration, const ScenePoint& to);
    void _Walk(const ScenePoint& to, double speed);

    std::vector<Leg> m_legs;
    double m_t = 0.0;
    ScenePoint m_at;
};

// Whether two people keep their centres apart at every moment before
// untilS: at least stillM while both are still, movingM while either walks.
bool KeepApart(const Track& a, const Track& b, double stillM, double movingM,
               double untilS = 1e300);

}  // namespace roomtimeline
}  // namespace radar

#endif
