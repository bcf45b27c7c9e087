// The drawing of one random room, in two files: RandomRoom.cpp draws the
// room, the module and the people, RoomFurnishing.cpp the furniture and the
// movers and decides where things may go. Both are built without fused
// multiply-adds (sim/CMakeLists.txt), so that a seed gives the same room,
// bit for bit, on every machine.
#ifndef TESSIVO_SIM_ROOMDRAWER_H
#define TESSIVO_SIM_ROOMDRAWER_H

#include <stdint.h>

#include <string>
#include <vector>

#include "RandomRoom.h"
#include "RoomTimeline.h"
#include "SimRandom.h"

namespace radar {
namespace randomroom {

using roomtimeline::Track;

// Where people's centres may go: a margin inside what a random room
// promises (0.8 to 4.8 m and +-50 degrees from the module), since bodies
// sway and limbs swing around the centre.
constexpr double kMinRangeM = 1.0;
constexpr double kMaxRangeM = 4.5;
constexpr double kMinPassM = 0.9;                 // nearest a walk passes the module
constexpr double kMaxSlope = 1.0723687100246826;  // |x| / y at 47 degrees
constexpr double kWallGapM = 0.4;                 // a centre from a wall
constexpr double kFurnitureGapM = 0.35;           // a centre from furniture and movers
constexpr double kStillApartM = 0.5;              // two people standing or sitting
constexpr double kMovingApartM = 0.6;             // while one of them walks
constexpr double kPlanS = 180.0;                  // plans last at least this long
constexpr size_t kMaxSteps = 100;                 // a scene's limit
constexpr int kTries = 30;
// Once past kPlanS a plan gets no more than one more round (80 s at most),
// so that everybody who does not loop has stopped long before the checks
// leave a looping plan.
static_assert(kPlanS + 100.0 < roomtimeline::kLoopedS, "loops checked too briefly");

// A footprint people keep clear of.
struct Box {
    double x0, y0, x1, y1;
};

// Whether the segment a-b comes within gap of the box (slab clipping).
bool Touches(const ScenePoint& a, const ScenePoint& b, const Box& box, double gap);
double Distance(const ScenePoint& a, const ScenePoint& b);
PlanStep Walk(std::vector<ScenePoint> to);
PlanStep Still(ActivityKind kind, double seconds);
// Plan time from where the person stands after its last step.
double PlanSeconds(const ScenePerson& person);

// In the order they are placed: the still ones first, walkers find their
// way round them.
enum class Behaviour { kSofaPair, kSeated, kCrossingPair, kSitter, kWalker };

class RoomDrawer {
public:
    explicit RoomDrawer(uint64_t seed);

    Scene Draw();

private:
    double U(double lo, double hi) { return m_rng.Uniform(lo, hi); }
    bool Chance(double p) { return m_rng.Uniform() < p; }
    int Whole(int lo, int hi) { return lo + static_cast<int>(m_rng.Uniform() * (hi - lo + 1)); }
    double Side() { return Chance(0.5) ? 1.0 : -1.0; }

    // RandomRoom.cpp: the room, the module and the people.
    void _DrawRoom();
    void _DrawModule();
    std::vector<Behaviour> _DrawBehaviours();
    bool _PlaceSeated(int count, const char* label);
    bool _PlaceSitter();
    bool _PlaceCrossingPair();
    bool _PlaceWalker();
    ScenePerson _Body(const char* label);
    bool _Fits(const std::vector<ScenePerson>& people, double untilS = 1e300) const;
    bool _Extend(ScenePerson* person, const std::vector<PlanStep>& steps) const;
    void _Add(std::vector<ScenePerson> people);

    // RoomFurnishing.cpp: furniture, movers and where things may go.
    void _PlaceSofa();
    void _DrawFurniture(int pieces);
    void _DrawMover();
    void _AddClutter(const ScenePoint& at, const char* label);
    bool _InRegion(const ScenePoint& p) const;
    bool _Clear(const ScenePoint& a, const ScenePoint& b) const;
    bool _WalkOk(const ScenePoint& a, const ScenePoint& b) const;
    bool _BoxFree(const Box& box) const;
    bool _Spot(const Box& zone, ScenePoint* spot);
    bool _Reach(const Box& zone, const ScenePoint& from, double least, ScenePoint* spot);

    simrandom::Rng m_rng;
    Scene m_scene;
    double m_left = 0.0, m_right = 0.0, m_depth = 0.0;  // the walls: x, x, y
    std::vector<Box> m_boxes;
    std::vector<Track> m_tracks;  // of the people placed so far
    std::vector<ScenePoint> m_seats;
    std::vector<bool> m_seatTaken;
    std::vector<std::string> m_what;  // for the description
};

}  // namespace randomroom
}  // namespace radar

#endif
