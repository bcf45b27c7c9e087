// Random living rooms. Everything is drawn from one counter-based stream
// with plain arithmetic (no libm but the correctly rounded sqrt). People are
// drawn as the behaviours of radar.md, one after another; each must fit the
// room and keep clear of the furniture and of everybody placed before, at
// every moment of the run, or it is drawn again (and left out after some
// tries).
#include "RandomRoom.h"

#include <cmath>
#include <locale>
#include <sstream>

#include "RoomDrawer.h"

namespace radar {
namespace randomroom {

namespace {

using roomtimeline::KeepApart;

constexpr uint64_t kRoomStream = 0x726F6F6D2D726E64ull;  // "room-rnd"

std::string Fixed1(double value) {
    std::ostringstream out;
    out.imbue(std::locale::classic());
    out.setf(std::ios::fixed);
    out.precision(1);
    out << value;
    return out.str();
}

}  // namespace

RoomDrawer::RoomDrawer(uint64_t seed) : m_rng(simrandom::Mix(seed, kRoomStream)) {
    m_scene.name = "random-" + std::to_string(seed);
}

Scene RoomDrawer::Draw() {
    m_scene.seed = m_rng.Next();
    _DrawRoom();
    _DrawModule();
    const std::vector<Behaviour> behaviours = _DrawBehaviours();
    bool seated = false;
    for (Behaviour behaviour : behaviours) {
        seated = seated || behaviour == Behaviour::kSeated || behaviour == Behaviour::kSofaPair;
    }
    if (seated || Chance(0.6)) {
        _PlaceSofa();
    }
    // The rest of the furniture and the movers come after the people, and
    // go where nobody walks: so people have the floor they need.
    for (Behaviour behaviour : behaviours) {
        bool placed = false;
        const char* what = "";
        switch (behaviour) {
            case Behaviour::kSofaPair:
                placed = _PlaceSeated(2, "sofa pair");
                what = "a sofa pair";
                break;
            case Behaviour::kSeated:
                placed = _PlaceSeated(1, "seated");
                what = "a person seated";
                break;
            case Behaviour::kSitter:
                placed = _PlaceSitter();
                what = "one who stands, walks and sits";
                break;
            case Behaviour::kCrossingPair:
                placed = _PlaceCrossingPair();
                what = "a crossing pair";
                break;
            case Behaviour::kWalker:
                placed = _PlaceWalker();
                what = "a walker";
                break;
        }
        if (placed) {
            m_what.push_back(what);
        }
    }
    // 2 to 5 pieces in all.
    const int pieces = Whole(2, 5) - static_cast<int>(m_scene.clutter.size());
    const int least = 2 - static_cast<int>(m_scene.clutter.size());
    _DrawFurniture(pieces > least ? pieces : least);
    for (int movers = Chance(0.45) ? 0 : Chance(0.7) ? 1 : 2; movers > 0; --movers) {
        _DrawMover();
    }
    std::string what;
    for (size_t i = 0; i < m_what.size(); ++i) {
        what += (i == 0 ? "" : i + 1 == m_what.size() ? " and " : ", ") + m_what[i];
    }
    const size_t people = m_scene.people.size();
    m_scene.description = "A random room " + Fixed1(m_right - m_left) + " m wide (the TV " +
                          Fixed1(-m_left) + " m from the left wall) and " + Fixed1(m_depth) +
                          " m deep, with " +
                          (people == 0   ? std::string("nobody in it")
                           : people == 1 ? "1 person: " + what
                                         : std::to_string(people) + " people: " + what) +
                          ".";
    return m_scene;
}

void RoomDrawer::_DrawRoom() {
    const double width = U(3.0, 6.0);
    m_left = -width * U(0.3, 0.7);
    m_right = m_left + width;
    m_depth = U(3.5, 6.5);
    const struct {
        WallAxis axis;
        double position;
        const char* label;
    } walls[] = {{WallAxis::kX, m_left, "left wall"},
                 {WallAxis::kX, m_right, "right wall"},
                 {WallAxis::kY, m_depth, "back wall"}};
    for (const auto& wall : walls) {
        if (Chance(0.5)) {
            SceneWall reflecting;
            reflecting.axis = wall.axis;
            reflecting.positionM = wall.position;
            reflecting.reflectivity = U(0.3, 0.6);
            reflecting.label = wall.label;
            m_scene.walls.push_back(reflecting);
        }
    }
}

void RoomDrawer::_DrawModule() {
    m_scene.noiseRms = U(3.0, 12.0);
    SceneModule& module = m_scene.module;
    module.leakageAmplitude = U(200.0, 600.0);
    module.leakageRangeM = U(0.02, 0.06);
    module.highPassHz = U(20000.0, 40000.0);
    module.patternExponent = U(1.0, 2.0);
    module.rxGainDb = U(-1.5, 1.5);
    module.adcOffsets[0] = U(-40.0, 40.0);
    module.adcOffsets[1] = U(-40.0, 40.0);
}

// 0 to 5 people: nobody now and then, mostly one to three.
std::vector<Behaviour> RoomDrawer::_DrawBehaviours() {
    const double u = m_rng.Uniform();
    int left = u < 0.05 ? 0 : u < 0.30 ? 1 : u < 0.55 ? 2 : u < 0.75 ? 3 : u < 0.90 ? 4 : 5;
    int count[5] = {0, 0, 0, 0, 0};
    while (left > 0) {
        // Weights of each behaviour while it is still possible.
        const double weights[5] = {
            left >= 2 && count[0] == 0 ? 2.0 : 0.0,  // sofa pair
            count[1] < 2 ? 2.0 : 0.0,                // seated
            left >= 2 && count[2] == 0 ? 2.0 : 0.0,  // crossing pair
            count[3] == 0 ? 2.0 : 0.0,               // sitter
            count[4] < 3 ? 3.0 : 0.0,                // walker
        };
        double total = 0.0;
        for (double weight : weights) {
            total += weight;
        }
        double pick = m_rng.Uniform() * total;
        int chosen = 0;
        while (chosen < 4 && (weights[chosen] == 0.0 || pick >= weights[chosen])) {
            pick -= weights[chosen];
            ++chosen;
        }
        ++count[chosen];
        left -= chosen == 0 || chosen == 2 ? 2 : 1;
    }
    std::vector<Behaviour> behaviours;
    for (int kind = 0; kind < 5; ++kind) {
        behaviours.insert(behaviours.end(), count[kind], static_cast<Behaviour>(kind));
    }
    return behaviours;
}

// The sofa pair or one seated person, on free seats next to each other,
// each a few centimetres nearer or farther: nearly the same distance.
bool RoomDrawer::_PlaceSeated(int count, const char* label) {
    std::vector<int> runs;  // first seats of `count` free seats side by side
    for (int first = 0; first + count <= static_cast<int>(m_seats.size()); ++first) {
        bool free = true;
        for (int k = 0; k < count; ++k) {
            free = free && !m_seatTaken[first + k];
        }
        if (free) {
            runs.push_back(first);
        }
    }
    if (runs.empty()) {
        return false;
    }
    // A pair takes the seats nearest the middle of the view, where their
    // distances differ least.
    int first = runs[Whole(0, static_cast<int>(runs.size()) - 1)];
    if (count > 1) {
        double best = 1e9;
        for (int run : runs) {
            const double mid = m_seats[run].x + m_seats[run + count - 1].x;
            if ((mid < 0 ? -mid : mid) < best) {
                best = mid < 0 ? -mid : mid;
                first = run;
            }
        }
    }
    std::vector<ScenePerson> people;
    for (int k = 0; k < count; ++k) {
        ScenePerson person = _Body(label);
        person.seated = true;
        person.path = {{m_seats[first + k].x, m_seats[first + k].y + U(-0.05, 0.05)}};
        people.push_back(person);
    }
    if (!_Fits(people)) {
        return false;
    }
    for (int k = 0; k < count; ++k) {
        m_seatTaken[first + k] = true;
    }
    _Add(people);
    return true;
}

// Stands a while, walks to an armchair, sits down, gets up again and walks
// off to stand somewhere else, over and over.
bool RoomDrawer::_PlaceSitter() {
    for (int attempt = 0; attempt < kTries * 2; ++attempt) {
        // An armchair with room in front of it to get there and up again.
        ScenePoint seat;
        if (!_Spot({m_left, 1.7, m_right, m_depth - 0.7}, &seat)) {
            continue;
        }
        const Box chair = {seat.x - 0.4, seat.y - 0.35, seat.x + 0.4, seat.y + 0.7};
        const ScenePoint front = {seat.x, seat.y - 0.75};
        if (!_BoxFree(chair) || !_InRegion(front) || !_Clear(front, seat)) {
            continue;
        }
        m_boxes.push_back(chair);
        ScenePerson person = _Body("stands, walks, sits");
        const Box around = {seat.x - 2.0, seat.y - 2.0, seat.x + 2.0, seat.y + 1.0};
        ScenePoint at;
        bool ok = false;
        for (int tries = 0; tries < kTries && !ok; ++tries) {
            person.path = {at};
            ok = _Reach(around, front, 1.0, &person.path[0]) &&
                 _Extend(&person, {Still(ActivityKind::kStand, U(3.0, 12.0))});
        }
        while (ok && PlanSeconds(person) < kPlanS && person.plan.size() + 6 <= kMaxSteps) {
            // Sits down when the way is free, after waiting a little if need be.
            ok = false;
            for (int wait = 0; wait < kTries && !ok; ++wait) {
                std::vector<PlanStep> steps;
                if (wait > 0) {
                    steps.push_back(Still(ActivityKind::kStand, U(1.0, 6.0)));
                }
                steps.push_back(Walk({front, seat}));
                steps.push_back(Still(ActivityKind::kSit, U(15.0, 45.0)));
                steps.push_back(Still(ActivityKind::kStand, U(1.0, 3.0)));
                ok = _Extend(&person, steps);
            }
            // Then off to stand somewhere else.
            bool off = false;
            for (int tries = 0; ok && tries < kTries && !off; ++tries) {
                off = _Reach(around, front, 1.0, &at) &&
                      _Extend(&person,
                              {Walk({front, at}), Still(ActivityKind::kStand, U(3.0, 12.0))});
            }
            ok = ok && off;
        }
        if (ok && _Fits({person})) {
            _AddClutter({seat.x, seat.y + 0.4}, "armchair");
            _Add({person});
            return true;
        }
        m_boxes.pop_back();
    }
    return false;
}

// Two people walking across the room in opposite directions along lines
// 0.3 to 0.6 m apart in depth, at the same speed and pausing alike, so
// that they pass each other straight in front of the module, where neither
// has any radial speed to tell them apart.
bool RoomDrawer::_PlaceCrossingPair() {
    const double apart = U(0.32, 0.6);
    const double middle = U(-0.15, 0.15);
    const double off = middle < 0 ? -middle : middle;
    const double speed = U(0.5, 1.3);
    const double pause = U(1.0, 4.0);
    // Lanes a step of 5 cm apart, from the depths where they are free.
    const auto lanes = [&](double near, double half) {
        const ScenePoint left = {middle - half, near}, right = {middle + half, near};
        const ScenePoint farLeft = {middle - half, near + apart};
        const ScenePoint farRight = {middle + half, near + apart};
        return _WalkOk(left, right) && _WalkOk(farRight, farLeft);
    };
    std::vector<double> depths;
    for (int step = 0; step <= 48; ++step) {
        if (lanes(1.2 + 0.05 * step, 0.9)) {
            depths.push_back(1.2 + 0.05 * step);
        }
    }
    for (int attempt = 0; attempt < kTries && !depths.empty(); ++attempt) {
        const double near = depths[Whole(0, static_cast<int>(depths.size()) - 1)];
        const double far = near + apart;
        double reach = 2.2;
        for (double limit :
             {kMaxSlope * near - off, middle - m_left - kWallGapM, m_right - kWallGapM - middle,
              std::sqrt(kMaxRangeM * kMaxRangeM - far * far) - off}) {
            reach = limit < reach ? limit : reach;
        }
        // As far across as the furniture leaves room for.
        double half = reach > 0.9 ? U(0.9, reach) : 0.9;
        while (half > 0.9 && !lanes(near, half)) {
            half = half - 0.1 > 0.9 ? half - 0.1 : 0.9;
        }
        std::vector<ScenePerson> pair;
        for (int k = 0; k < 2; ++k) {
            const double sign = k == 0 ? 1.0 : -1.0;
            const ScenePoint start = {middle - sign * half, k == 0 ? near : far};
            const ScenePoint end = {middle + sign * half, start.y};
            ScenePerson person = _Body("crossing pair");
            person.speedMps = speed;
            person.path = {start};
            person.loop = true;
            person.plan = {Walk({end}), Still(ActivityKind::kStand, pause), Walk({start}),
                           Still(ActivityKind::kStand, pause)};
            pair.push_back(person);
        }
        if (_Fits(pair)) {
            _Add(pair);
            return true;
        }
    }
    return false;
}

// Walks between a few places of its own part of the room, through one to
// three of them at a time, standing a while in between; where somebody is
// in the way it goes elsewhere.
bool RoomDrawer::_PlaceWalker() {
    for (int attempt = 0; attempt < kTries / 2; ++attempt) {
        ScenePoint centre;
        if (!_Spot({m_left, 0.0, m_right, m_depth}, &centre)) {
            continue;
        }
        const double halfX = U(0.8, 1.6);
        const double halfY = U(0.5, 1.0);
        const Box zone = {centre.x - halfX, centre.y - halfY, centre.x + halfX, centre.y + halfY};
        // Most of it must be free floor, or the walker soon runs out of
        // places to go.
        int roomy = 0;
        for (int probe = 0; probe < 20; ++probe) {
            const ScenePoint p = {U(zone.x0, zone.x1), U(zone.y0, zone.y1)};
            roomy += _InRegion(p) && _Clear(p, p) ? 1 : 0;
        }
        ScenePerson person = _Body("walker");
        ScenePoint at;
        bool ok = roomy >= 8 && _Spot(zone, &at);
        person.path = {at};
        if (ok && Chance(0.5)) {
            ok = _Extend(&person, {Still(ActivityKind::kStand, U(0.5, 4.0))});
        }
        while (ok && PlanSeconds(person) < kPlanS && person.plan.size() + 2 <= kMaxSteps) {
            ok = false;
            for (int tries = 0; tries < kTries && !ok; ++tries) {
                std::vector<ScenePoint> through;
                ScenePoint next = at;
                bool reached = true;
                for (int places = Whole(1, 3); reached && places > 0; --places) {
                    reached = _Reach(zone, next, 0.7, &next);
                    through.push_back(next);
                }
                ok = reached &&
                     _Extend(&person, {Walk(through), Still(ActivityKind::kStand, U(2.0, 9.0))});
                at = ok ? next : at;
            }
        }
        if (ok && _Fits({person})) {
            _Add({person});
            return true;
        }
    }
    return false;
}

// People differ: a child is smaller and shows less than an adult.
ScenePerson RoomDrawer::_Body(const char* label) {
    ScenePerson person;
    const double build = m_rng.Uniform();
    person.size = 0.7 + 0.4 * build;
    person.rcsM2 = 0.2 + 0.6 * build + 0.4 * m_rng.Uniform();
    person.speedMps = 0.3 + 0.6 * (m_rng.Uniform() + m_rng.Uniform());
    person.breathingDepthM = U(0.002, 0.005);
    person.breathingRateHz = U(0.15, 0.5);
    person.label = label;
    return person;
}

// Whether the people keep clear of everybody placed so far, until untilS
// or for good.
bool RoomDrawer::_Fits(const std::vector<ScenePerson>& people, double untilS) const {
    for (const ScenePerson& person : people) {
        const Track track(person);
        for (const Track& other : m_tracks) {
            if (!KeepApart(track, other, kStillApartM, kMovingApartM, untilS)) {
                return false;
            }
        }
    }
    return true;
}

// Adds the steps to the person's plan when, until they end, the person
// keeps clear of everybody placed so far; leaves the plan alone otherwise.
bool RoomDrawer::_Extend(ScenePerson* person, const std::vector<PlanStep>& steps) const {
    const size_t before = person->plan.size();
    person->plan.insert(person->plan.end(), steps.begin(), steps.end());
    if (_Fits({*person}, PlanSeconds(*person))) {
        return true;
    }
    person->plan.resize(before);
    return false;
}

void RoomDrawer::_Add(std::vector<ScenePerson> people) {
    for (ScenePerson& person : people) {
        person.id = static_cast<int>(m_scene.people.size()) + 1;
        m_tracks.emplace_back(person);
        m_scene.people.push_back(std::move(person));
    }
}

}  // namespace randomroom

Scene RandomRoom(uint64_t seed) {
    return randomroom::RoomDrawer(seed).Draw();
}

}  // namespace radar
