// One person of a scene as the synthesis sees it: where the centre is at any
// time (walking a path of waypoints, standing or seated) and a few scattering
// points around it with small motions of their own, swinging limbs while
// walking and a breathing chest.
#ifndef TESSIVO_SIM_PERSONMODEL_H
#define TESSIVO_SIM_PERSONMODEL_H

#include <stdint.h>

#include <vector>

#include "PersonPlan.h"
#include "Scene.h"

namespace radar {

// The centre of a person at one moment.
struct BodyState {
    bool present = false;
    double x = 0.0, y = 0.0;    // m
    double vx = 0.0, vy = 0.0;  // m/s
    double ux = 0.0, uy = 1.0;  // unit vector the body faces
    double walkedM = 0.0;       // distance walked so far: drives the gait
    bool moving = false;
    double seated = 0.0;  // 0 standing .. 1 seated (a seated person is always 1)
};

// Immutable once built: any thread may call any member.
class PersonModel {
public:
    // Builds the track and the scattering points; the points' random
    // parameters depend only on seed and the person's id. The person must
    // have passed ValidateScene; a person without a path is never present.
    PersonModel(const ScenePerson& person, uint64_t seed);

    int Id() const { return m_person.id; }
    BodyState CentreAt(double t) const;

    int ScattererCount() const { return static_cast<int>(m_points.size()); }
    // Position of scattering point i at time t, with the chest's breathing
    // taken at time breathingT (breathing shows from frame to frame, not
    // within one). *radialOffset receives the breathing displacement along
    // the line of sight, to add to the point's range. *weight receives the
    // point's amplitude relative to the whole person: the squares sum to 1,
    // so that the person's power follows its radar cross-section.
    void ScattererAt(int i, double t, double breathingT, double* x, double* y, double* radialOffset,
                     double* weight) const;
    double Phase(int i) const { return m_points[i].phase; }
    double RcsM2() const { return m_person.rcsM2; }

private:
    static constexpr int kSwayTerms = 3;
    struct Sway {
        double amplitude, frequencyHz, phase;
    };
    struct Point {
        double forward, lateral;  // offset in the body's frame, m
        double swing;             // amplitude of the swing along the walk, m
        double swingPhase;        // rad
        double weight;
        // The same point once seated, for a person who sits down during the
        // run (the same as above for everybody else).
        double seatedForward, seatedLateral, seatedWeight;
        double phase;  // the scatterer's own phase, rad
        Sway swayX[kSwayTerms], swayY[kSwayTerms];
    };

    static double _SwayAt(const Sway* terms, double t);
    void _BuildTrack();
    void _BuildPoints(uint64_t seed);

    ScenePerson m_person;
    std::vector<ScenePoint> m_track;   // the path, closed when it loops
    std::vector<double> m_cumulative;  // distance from the start to each track point
    double m_length = 0.0;
    std::vector<Point> m_points;
    double m_breathingPhase = 0.0;
    bool m_hasPlan = false;
    PersonPlan m_plan;
    double m_seatedSwayRatio = 1.0;  // sway once seated relative to standing
};

}  // namespace radar

#endif
