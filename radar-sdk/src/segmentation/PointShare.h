// Stage 7, its measurement side: how much of a point goes into the track it
// joins, and how the points of one track add up to one measurement.
//
// A point near two tracks (within both gates) is contested: it counts by how
// much better it fits the one it joins (a logistic of the cost difference,
// sharpened), by how much nearer in range it is to that track's prediction
// than to the other's (range is what the cells resolve), and hardly at all
// when its radial speed fits both: two people's bodies in one range cell and
// one Doppler column give a phase difference that belongs to neither. Every
// point also counts by its purity: a single echo reaches both receivers with
// one amplitude, two echoes in one cell rarely do.
//
// The sum keeps the power-weighted range, radial speed and cross product,
// and the cross product at a flatter weight (amplitude^flatten instead of
// power): for a walker the weak columns of its limbs (micro-Doppler, one
// person's each) then still point at it when its body shares the strongest
// cells with someone else.
#ifndef TESSIVO_RADARSDK_POINTSHARE_H
#define TESSIVO_RADARSDK_POINTSHARE_H

#include <complex>

#include "Detection.h"

namespace radar_sdk {

struct ShareConfig {
    float exponent = 2.0f;            // sharpens the logistic of the cost difference
    float rangeScaleM = 0.15f;        // range difference per unit of the range term; 0: off
    float ambiguousSpeedMps = 0.15f;  // a radial speed this near both tracks' is theirs both
    float ambiguousWeight = 1e-2f;    // what such a point still counts
    float purityExponent = 16.0f;     // purity^exponent scales every point
};

// The prediction of one track a point is held against.
struct ShareTrack {
    float cost = 0.0f;  // association cost of the point (lower fits better)
    float rangeM = 0.0f;
    float radialMps = 0.0f;
};

// The fraction (0..1) of a point that goes into `best`, the track it joins;
// `second` is the next best track whose gate holds the point, or null.
// \context Thread-safe.
float PointShare(const Detection& point, const ShareTrack& best, const ShareTrack* second,
                 const ShareConfig& config);

// 2 |rx1 rx0*| / (|rx0|^2 + |rx1|^2): 1 for one echo (equal amplitudes at
// both receivers), lower for a mix of echoes from different angles.
// \context Thread-safe.
float PointPurity(const Detection& point);

// One track's points of one path (moving or slow-time) in one frame.
struct PointSum {
    float weight = 0.0f, range = 0.0f, speed = 0.0f;  // power-weighted sums
    std::complex<float> cross;                        // power-weighted
    std::complex<float> flatCross;                    // amplitude^flatten-weighted
    void Add(const Detection& point, float share, float flatten);
};

}  // namespace radar_sdk

#endif
