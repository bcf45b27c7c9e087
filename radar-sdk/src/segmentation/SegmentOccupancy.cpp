#include "SegmentOccupancy.h"

#include <algorithm>
#include <cmath>

namespace radar_sdk {

namespace {

constexpr float kFieldOfViewDeg = 60.0f;
constexpr float kWidthToleranceDeg = 1e-3f;
// Hysteresis: degrees past an edge before a track changes segment, and
// frames a segment stays occupied after its last track left.
constexpr float kEdgeMarginDeg = 2.0f;
constexpr int kHoldFrames = 3;

}  // namespace

std::unique_ptr<SegmentOccupancy> SegmentOccupancy::Create(const std::vector<float>& widthsDeg,
                                                           bool hysteresis, int trackCapacity,
                                                           std::string* error) {
    auto fail = [error](const std::string& message) {
        if (error != nullptr) {
            *error = message;
        }
        return nullptr;
    };
    if (widthsDeg.empty()) {
        return fail("segmentWidthsDeg: no segments");
    }
    if (trackCapacity < 1) {
        return fail("SegmentOccupancy: trackCapacity must be at least 1");
    }
    std::unique_ptr<SegmentOccupancy> stage(new SegmentOccupancy());
    float edge = -kFieldOfViewDeg;
    stage->m_edges.push_back(edge);
    for (size_t i = 0; i < widthsDeg.size(); ++i) {
        if (!(std::isfinite(widthsDeg[i]) && widthsDeg[i] > 0.0f)) {
            return fail("segmentWidthsDeg[" + std::to_string(i) + "]: must be positive");
        }
        edge += widthsDeg[i];
        stage->m_edges.push_back(edge);
    }
    if (edge > kFieldOfViewDeg + kWidthToleranceDeg) {
        return fail("segmentWidthsDeg: add up to more than the 120 degree field of view");
    }
    stage->m_hysteresis = hysteresis;
    stage->m_values.assign(widthsDeg.size(), 0.0f);
    stage->m_hold.assign(widthsDeg.size(), 0);
    stage->m_lastIds.assign(trackCapacity, 0);
    stage->m_lastSegments.assign(trackCapacity, -1);
    stage->m_ids.assign(trackCapacity, 0);
    stage->m_segments.assign(trackCapacity, -1);
    return stage;
}

void SegmentOccupancy::Reset() {
    std::fill(m_values.begin(), m_values.end(), 0.0f);
    std::fill(m_hold.begin(), m_hold.end(), 0);
    m_lastCount = 0;
}

int SegmentOccupancy::SegmentOf(float angleDeg) const {
    const float a = std::max(-kFieldOfViewDeg, std::min(kFieldOfViewDeg, angleDeg));
    const int count = static_cast<int>(m_values.size());
    for (int i = 0; i < count; ++i) {
        if (a >= m_edges[i] && a < m_edges[i + 1]) {
            return i;
        }
    }
    // The far edge of the field of view belongs to the last segment when
    // the segments reach it.
    if (a >= m_edges[count] && m_edges[count] >= kFieldOfViewDeg - kWidthToleranceDeg) {
        return count - 1;
    }
    return -1;
}

void SegmentOccupancy::Execute(const TrackReport* tracks, int count) {
    count = std::min(count, static_cast<int>(m_ids.size()));
    const int segments = static_cast<int>(m_values.size());
    for (int t = 0; t < count; ++t) {
        int segment = SegmentOf(tracks[t].angleDeg);
        if (m_hysteresis) {
            for (int p = 0; p < m_lastCount; ++p) {
                const int previous = m_lastSegments[p];
                if (m_lastIds[p] != tracks[t].id || previous < 0 || previous == segment) {
                    continue;
                }
                const float a =
                    std::max(-kFieldOfViewDeg, std::min(kFieldOfViewDeg, tracks[t].angleDeg));
                if (a >= m_edges[previous] - kEdgeMarginDeg &&
                    a < m_edges[previous + 1] + kEdgeMarginDeg) {
                    segment = previous;
                }
            }
        }
        m_ids[t] = tracks[t].id;
        m_segments[t] = segment;
    }
    for (int i = 0; i < segments; ++i) {
        bool occupied = false;
        for (int t = 0; t < count; ++t) {
            occupied = occupied || m_segments[t] == i;
        }
        if (occupied) {
            m_hold[i] = m_hysteresis ? kHoldFrames : 0;
            m_values[i] = 1.0f;
        } else if (m_hold[i] > 0) {
            --m_hold[i];
            m_values[i] = 1.0f;
        } else {
            m_values[i] = 0.0f;
        }
    }
    std::copy(m_ids.begin(), m_ids.begin() + count, m_lastIds.begin());
    std::copy(m_segments.begin(), m_segments.begin() + count, m_lastSegments.begin());
    m_lastCount = count;
}

}  // namespace radar_sdk
