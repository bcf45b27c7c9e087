// Stage 8: which angular segments hold a tracked person. The segments lie
// side by side from -60 degrees with the configured widths; a track's angle
// is taken within the field of view (+-60 degrees, the outermost edges
// belonging to the outermost segments). With hysteresis a track keeps its
// segment until it is clearly past the edge, and a segment stays occupied
// for a few frames after its last track left, so that a person walking
// along an edge does not make it flicker.
#ifndef TESSIVO_RADARSDK_SEGMENTOCCUPANCY_H
#define TESSIVO_RADARSDK_SEGMENTOCCUPANCY_H

#include <memory>
#include <string>
#include <vector>

#include "Tracker.h"

namespace radar_sdk {

class SegmentOccupancy {
public:
    // Null with *error naming the bad argument: no widths, a width that is
    // not positive, or widths adding up to more than the field of view.
    static std::unique_ptr<SegmentOccupancy> Create(const std::vector<float>& widthsDeg,
                                                    bool hysteresis, int trackCapacity,
                                                    std::string* error);

    // One frame's reported tracks (at most trackCapacity). Allocates nothing.
    void Execute(const TrackReport* tracks, int count);
    void Reset();

    // 1 or 0 per segment.
    const float* Values() const { return m_values.data(); }
    int Count() const { return static_cast<int>(m_values.size()); }
    // The segment an angle falls in, or -1 outside every segment.
    int SegmentOf(float angleDeg) const;

private:
    SegmentOccupancy() = default;

    std::vector<float> m_edges;  // segment i covers [m_edges[i], m_edges[i + 1])
    bool m_hysteresis = false;
    std::vector<float> m_values;
    std::vector<int> m_hold;     // frames a segment stays occupied
    std::vector<int> m_lastIds;  // last frame's tracks and their segments
    std::vector<int> m_lastSegments;
    std::vector<int> m_ids;  // scratch: this frame's
    std::vector<int> m_segments;
    int m_lastCount = 0;
};

}  // namespace radar_sdk

#endif
