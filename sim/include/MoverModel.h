// A thing that moves without going anywhere, as the synthesis sees it: a few
// scattering points whose positions are a pure function of time. A standing
// fan's blades, a turntable's or a mobile's points on a circle, a swinging
// pendulum, a curtain or a plant swaying in a draught.
#ifndef TESSIVO_SIM_MOVERMODEL_H
#define TESSIVO_SIM_MOVERMODEL_H

#include <stdint.h>

#include <vector>

#include "Scene.h"

namespace radar {

// Immutable once built: any thread may call any member.
class MoverModel {
public:
    // The fan's hub sits this far below the module, so that its blades'
    // motion always has a part along the line of sight.
    static constexpr double kFanHeightM = -0.3;

    // Resolves the kind's defaults and draws the random parameters from
    // (seed, index). The mover must have passed ValidateScene.
    MoverModel(const SceneMover& mover, uint64_t seed, int index);

    int PointCount() const { return static_cast<int>(m_points.size()); }
    // Position of point i at time t: x, y in the room and z, the height
    // relative to the module.
    void PointAt(int i, double t, double* x, double* y, double* z) const;
    double Rcs(int i) const { return m_points[i].rcs; }
    double Phase(int i) const { return m_points[i].phase; }
    // A point that never moves (the fan's housing): it needs no echoes.
    bool IsStatic(int i) const { return m_points[i].isStatic; }
    const ScenePoint& Centre() const { return m_mover.at; }

private:
    static constexpr int kSwayTerms = 3;
    struct Point {
        double rcs = 0.0;
        double phase = 0.0;
        bool isStatic = false;
        double offset = 0.0;              // fan: distance from the hub; curtain: along the line
        double angle0 = 0.0;              // rad: start angle on the circle, or swing direction
        double baseX = 0.0, baseY = 0.0;  // plant: rest position
        double dirX = 0.0, dirY = 0.0;    // curtain, plant: direction of the sway
        double frequency[kSwayTerms] = {};
        double phases[kSwayTerms] = {};
    };

    double _Sway(const Point& point, double t) const;

    SceneMover m_mover;
    std::vector<Point> m_points;
    double m_oscillationPhase = 0.0;
    // Curtain: the part of the sway all points share.
    double m_commonFrequency[kSwayTerms] = {};
    double m_commonPhase[kSwayTerms] = {};
    double m_envelopeHz = 0.0, m_envelopePhase = 0.0;
};

}  // namespace radar

#endif
