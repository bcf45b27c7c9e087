// Stage 6: from detector cells to points in the room. A moving-path cell
// gets its range and radial speed refined between bins (a parabola through
// the logarithms of the power of the cell and its neighbours: with the Hann
// window this is good to a few hundredths of a bin, well under the 0.33 m
// range resolution) and its angle from the phase between the receivers; a
// slow-time cell brings its interpolated range and the angle of its residual
// against the clutter map. Its power counts like a cell's: both are the
// squared amplitude of the echo in the same units. A point keeps the
// detector's peak mark (slow-time points count as peaks); a cell refined to
// below the nearest range a person is looked for at is the transmitter's
// leakage and no point.
#ifndef TESSIVO_RADARSDK_POINTCLOUD_H
#define TESSIVO_RADARSDK_POINTCLOUD_H

#include <memory>
#include <string>
#include <vector>

#include "CfarDetector.h"
#include "ChainGeometry.h"
#include "Detection.h"
#include "DopplerFft.h"
#include "SlowTimeDetector.h"

namespace radar_sdk {

class PointCloud {
public:
    // Null with *error naming the bad argument; capacity: most points.
    static std::unique_ptr<PointCloud> Create(const ChainGeometry& geometry, int capacity,
                                              std::string* error);

    // Builds this frame's points; slowNoise is the noise power of a
    // slow-time residual. Allocates nothing.
    int Execute(const DopplerFft& doppler, const CfarCell* cells, int cellCount,
                const SlowCell* slow, int slowCount, float slowNoise);
    // The stage keeps no history; present for the stage life cycle.
    void Reset() {}

    const Detection* Points() const { return m_points.data(); }
    int Count() const { return m_count; }

private:
    PointCloud() = default;
    void _Place(Detection* point) const;

    ChainGeometry m_geometry;
    std::vector<Detection> m_points;
    int m_count = 0;
};

// Offset of a peak from its middle sample, -0.5..0.5, by a parabola through
// the logarithms of three positive powers.
// \context Thread-safe.
float PeakOffset(float left, float middle, float right);

}  // namespace radar_sdk

#endif
