// One point of the chain's point cloud: a range-Doppler cell that passed the
// moving path's detector, or a range bin that the slow-time path found alive.
#ifndef TESSIVO_RADARSDK_DETECTION_H
#define TESSIVO_RADARSDK_DETECTION_H

#include <complex>

namespace radar_sdk {

struct Detection {
    float rangeM = 0.0f;
    float angleDeg = 0.0f;     // positive towards rx 1
    float velocityMps = 0.0f;  // radial, positive moving away; 0 for still points
    float x = 0.0f, y = 0.0f;  // x = R sin A, y = R cos A
    float weight = 0.0f;       // power: how much the point counts in a centroid
    float snr = 0.0f;          // power over the noise of its path (linear)
    // rx 1 times the conjugate of rx 0, at the point's power: summed over a
    // person's points it gives a power-weighted phase difference.
    std::complex<float> cross;
    bool still = false;  // from the slow-time path
    float step = 0.0f;   // a still point's phase step over the last frame (radians)
    // A local maximum of its map (every slow-time point is): only peaks
    // start new tracks, the cells around them only feed tracks.
    bool peak = true;
};

}  // namespace radar_sdk

#endif
