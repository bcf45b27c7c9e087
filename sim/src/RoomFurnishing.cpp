// Where things go in a random room: the furniture and the movers, and the
// floor people may use, clear of both.
#include <cmath>

#include "RoomDrawer.h"

namespace radar {
namespace randomroom {

bool Touches(const ScenePoint& a, const ScenePoint& b, const Box& box, double gap) {
    const double from[2] = {a.x, a.y};
    const double step[2] = {b.x - a.x, b.y - a.y};
    const double lo[2] = {box.x0 - gap, box.y0 - gap};
    const double hi[2] = {box.x1 + gap, box.y1 + gap};
    double t0 = 0.0;
    double t1 = 1.0;
    for (int k = 0; k < 2; ++k) {
        if (step[k] == 0.0) {
            if (from[k] < lo[k] || from[k] > hi[k]) {
                return false;
            }
            continue;
        }
        double u0 = (lo[k] - from[k]) / step[k];
        double u1 = (hi[k] - from[k]) / step[k];
        if (u0 > u1) {
            std::swap(u0, u1);
        }
        t0 = u0 > t0 ? u0 : t0;
        t1 = u1 < t1 ? u1 : t1;
        if (t0 > t1) {
            return false;
        }
    }
    return true;
}

double Distance(const ScenePoint& a, const ScenePoint& b) {
    return std::sqrt((a.x - b.x) * (a.x - b.x) + (a.y - b.y) * (a.y - b.y));
}

PlanStep Walk(std::vector<ScenePoint> to) {
    PlanStep step;
    step.kind = ActivityKind::kWalk;
    step.to = std::move(to);
    return step;
}

PlanStep Still(ActivityKind kind, double seconds) {
    PlanStep step;
    step.kind = kind;
    step.durationS = seconds;
    return step;
}

double PlanSeconds(const ScenePerson& person) {
    double seconds = 0.0;
    ScenePoint at = person.path[0];
    for (const PlanStep& step : person.plan) {
        if (step.kind != ActivityKind::kWalk) {
            seconds += step.durationS;
            continue;
        }
        for (const ScenePoint& to : step.to) {
            seconds += Distance(at, to) / person.speedMps;
            at = to;
        }
    }
    return seconds;
}

// Three seats side by side, 0.5 to 0.7 m apart, backrest behind them.
void RoomDrawer::_PlaceSofa() {
    const double top = m_depth - 1.0 < 3.8 ? m_depth - 1.0 : 3.8;
    for (int attempt = 0; attempt < kTries; ++attempt) {
        const double spacing = U(0.5, 0.7);
        // Towards the back, where a sofa faces the TV across the room.
        const ScenePoint middle = {U(-0.6, 0.6), U(top - 1.0 > 2.0 ? top - 1.0 : 2.0, top)};
        // The footprint takes in the seated people's knees and feet.
        const Box box = {middle.x - spacing - 0.45, middle.y - 0.35, middle.x + spacing + 0.45,
                         middle.y + 0.75};
        std::vector<ScenePoint> seats;
        for (int k = -1; k <= 1; ++k) {
            seats.push_back({middle.x + k * spacing, middle.y});
        }
        if (!_BoxFree(box) || !_InRegion(seats[0]) || !_InRegion(seats[2])) {
            continue;
        }
        m_boxes.push_back(box);
        m_seats = seats;
        m_seatTaken.assign(seats.size(), false);
        _AddClutter({middle.x, middle.y + 0.45}, "sofa");
        return;
    }
}

// Cabinets and shelves stand against a wall (the TV's too); a table in front
// of the sofa or anywhere in the room.
void RoomDrawer::_DrawFurniture(int pieces) {
    for (int piece = 0; piece < pieces; ++piece) {
        for (int attempt = 0; attempt < kTries; ++attempt) {
            // Drawn anew each time: where a table finds no room, a shelf may.
            const int kind = Whole(0, 2);
            const char* label = kind == 0 ? "cabinet" : kind == 1 ? "shelf" : "table";
            Box box;
            if (kind < 2) {
                const double length = kind == 0 ? 0.9 : 0.8;
                const double deep = kind == 0 ? 0.45 : 0.35;
                const int wall = Whole(0, 3);
                if (wall == 3) {
                    // Beside the TV, nearer than anybody comes.
                    const double x = Side() * U(0.6, 1.4);
                    box = {x - length / 2, 0.1, x + length / 2, 0.1 + deep};
                } else if (wall == 2) {
                    const double x = U(m_left + 0.6, m_right - 0.6);
                    box = {x - length / 2, m_depth - deep, x + length / 2, m_depth};
                } else {
                    const double x = wall == 0 ? m_left : m_right - deep;
                    const double y = U(0.8, m_depth - 0.6);
                    box = {x, y - length / 2, x + deep, y + length / 2};
                }
            } else if (!m_seats.empty() && Chance(0.4)) {
                const ScenePoint at = {m_seats[1].x + U(-0.3, 0.3), m_seats[1].y - U(0.85, 1.0)};
                box = {at.x - 0.45, at.y - 0.25, at.x + 0.45, at.y + 0.25};
            } else {
                const ScenePoint at = {U(m_left + 0.8, m_right - 0.8), U(1.2, m_depth - 0.8)};
                box = {at.x - 0.5, at.y - 0.35, at.x + 0.5, at.y + 0.35};
            }
            if (_BoxFree(box)) {
                m_boxes.push_back(box);
                _AddClutter({(box.x0 + box.x1) / 2, (box.y0 + box.y1) / 2}, label);
                break;
            }
        }
    }
}

// A mover with the figures of radar.md, placed where such things stand.
void RoomDrawer::_DrawMover() {
    const double u = m_rng.Uniform();
    SceneMover mover;
    mover.kind = u < 0.35   ? MoverKind::kFan
                 : u < 0.5  ? MoverKind::kTurntable
                 : u < 0.65 ? MoverKind::kPendulum
                 : u < 0.85 ? MoverKind::kCurtain
                            : MoverKind::kPlant;
    for (int attempt = 0; attempt < kTries; ++attempt) {
        const double side = Side();
        const double sideWall = side > 0 ? m_right - 0.35 : m_left + 0.35;
        double half = 0.3;
        switch (mover.kind) {
            case MoverKind::kFan: {
                const int where = Whole(0, 2);
                if (where == 0) {
                    mover.at = {side * U(0.5, 1.0), U(0.25, 0.5)};
                    mover.facingDeg = -side * U(0.0, 30.0);
                    mover.label = "fan beside the TV";
                } else {
                    mover.at = {sideWall, where == 1 ? U(0.35, 0.6) : m_depth - 0.35};
                    mover.facingDeg = -side * (where == 1 ? U(20.0, 45.0) : U(135.0, 160.0));
                    mover.label = "fan in a corner";
                }
                mover.blades = Whole(3, 5);
                mover.radiusM = U(0.15, 0.25);
                mover.rateHz = U(10.0, 20.0);
                mover.rcsM2 = U(0.02, 0.05);
                mover.housingRcsM2 = U(0.3, 1.0);
                mover.oscillationDeg = Chance(0.6) ? U(30.0, 45.0) : 0.0;
                mover.oscillationPeriodS = U(10.0, 20.0);
                break;
            }
            case MoverKind::kTurntable:
                mover.radiusM = U(0.1, 0.3);
                mover.at = {U(m_left + 0.5, m_right - 0.5), U(0.8, m_depth - 0.5)};
                mover.rateHz = U(0.3, 2.0);
                mover.points = Whole(2, 4);
                mover.label = Chance(0.5) ? "turntable" : "hanging mobile";
                half = mover.radiusM + 0.15;
                break;
            case MoverKind::kPendulum:
                mover.at = Chance(0.5) ? ScenePoint{side > 0 ? m_right - 0.1 : m_left + 0.1,
                                                    U(1.0, m_depth - 0.5)}
                                       : ScenePoint{U(m_left + 0.5, m_right - 0.5), m_depth - 0.1};
                mover.rateHz = U(0.3, 1.0);
                mover.radiusM = U(0.1, 0.3);
                mover.label = "pendulum clock";
                half = 0.1;
                break;
            case MoverKind::kCurtain: {
                const double wide = m_right - m_left - 0.4;
                mover.widthM = U(0.8, wide < 2.0 ? wide : 2.0);
                mover.at = {U(m_left + 0.2 + mover.widthM / 2, m_right - 0.2 - mover.widthM / 2),
                            m_depth - 0.1};
                mover.swayM = U(0.01, 0.03);
                mover.rateHz = U(0.1, 1.0);
                mover.points = Whole(4, 7);
                mover.label = "curtain";
                half = mover.widthM / 2;
                break;
            }
            case MoverKind::kPlant:
                mover.at = Chance(0.5)
                               ? ScenePoint{side * U(0.5, 1.2), U(0.25, 0.5)}
                               : ScenePoint{sideWall, Chance(0.5) ? U(0.35, 0.6) : m_depth - 0.35};
                mover.widthM = U(0.3, 0.6);
                mover.swayM = U(0.01, 0.03);
                mover.rateHz = U(0.1, 1.0);
                mover.points = Whole(3, 5);
                mover.label = "plant";
                break;
        }
        if (mover.kind != MoverKind::kFan) {
            mover.rcsM2 = U(0.05, 0.1);
        }
        // Footprints of things on a wall stop at the wall.
        Box box = {mover.at.x - half, mover.at.y - half, mover.at.x + half, mover.at.y + half};
        box.x0 = box.x0 < m_left ? m_left : box.x0;
        box.x1 = box.x1 > m_right ? m_right : box.x1;
        box.y0 = box.y0 < 0.1 ? 0.1 : box.y0;
        box.y1 = box.y1 > m_depth ? m_depth : box.y1;
        if (_BoxFree(box)) {
            m_boxes.push_back(box);
            m_scene.movers.push_back(mover);
            return;
        }
    }
}

void RoomDrawer::_AddClutter(const ScenePoint& at, const char* label) {
    SceneClutter clutter;
    clutter.at = at;
    clutter.rcsM2 = U(2.0, 10.0);
    clutter.label = label;
    m_scene.clutter.push_back(clutter);
}

bool RoomDrawer::_InRegion(const ScenePoint& p) const {
    const double range2 = p.x * p.x + p.y * p.y;
    const double ax = p.x < 0 ? -p.x : p.x;
    return range2 >= kMinRangeM * kMinRangeM && range2 <= kMaxRangeM * kMaxRangeM &&
           ax <= kMaxSlope * p.y && p.x >= m_left + kWallGapM && p.x <= m_right - kWallGapM &&
           p.y <= m_depth - kWallGapM;
}

// Keeps clear of every footprint.
bool RoomDrawer::_Clear(const ScenePoint& a, const ScenePoint& b) const {
    for (const Box& box : m_boxes) {
        if (Touches(a, b, box, kFurnitureGapM)) {
            return false;
        }
    }
    return true;
}

// The room's region is convex but for the circle round the module, so the
// ends being in it and the nearest approach to the module being far enough
// keep the whole walk in it.
bool RoomDrawer::_WalkOk(const ScenePoint& a, const ScenePoint& b) const {
    if (!_InRegion(a) || !_InRegion(b) || !_Clear(a, b)) {
        return false;
    }
    const double dx = b.x - a.x;
    const double dy = b.y - a.y;
    const double length2 = dx * dx + dy * dy;
    double f = length2 > 0.0 ? -(a.x * dx + a.y * dy) / length2 : 0.0;
    f = f < 0.0 ? 0.0 : f > 1.0 ? 1.0 : f;
    const double nx = a.x + dx * f;
    const double ny = a.y + dy * f;
    return nx * nx + ny * ny >= kMinPassM * kMinPassM;
}

// Inside the room, apart from the other footprints and out of the way of
// everybody placed so far.
bool RoomDrawer::_BoxFree(const Box& box) const {
    if (box.x0 < m_left || box.x1 > m_right || box.y0 < 0.1 || box.y1 > m_depth) {
        return false;
    }
    for (const Box& other : m_boxes) {
        if (box.x0 < other.x1 + 0.1 && other.x0 < box.x1 + 0.1 && box.y0 < other.y1 + 0.1 &&
            other.y0 < box.y1 + 0.1) {
            return false;
        }
    }
    for (const Track& track : m_tracks) {
        for (const roomtimeline::Leg& leg : track.Legs()) {
            if (Touches(leg.from, leg.to, box, kFurnitureGapM)) {
                return false;
            }
        }
    }
    return true;
}

// A place in the zone where somebody may stand.
bool RoomDrawer::_Spot(const Box& zone, ScenePoint* spot) {
    for (int attempt = 0; attempt < kTries; ++attempt) {
        const ScenePoint p = {U(zone.x0, zone.x1), U(zone.y0, zone.y1)};
        if (_InRegion(p) && _Clear(p, p)) {
            *spot = p;
            return true;
        }
    }
    return false;
}

// A place in the zone at least `least` away that one can walk to straight
// from `from`; *spot is left alone when there is none.
bool RoomDrawer::_Reach(const Box& zone, const ScenePoint& from, double least, ScenePoint* spot) {
    for (int attempt = 0; attempt < kTries; ++attempt) {
        ScenePoint p;
        if (_Spot(zone, &p) && Distance(from, p) >= least && _WalkOk(from, p)) {
            *spot = p;
            return true;
        }
    }
    return false;
}

}  // namespace randomroom
}  // namespace radar
