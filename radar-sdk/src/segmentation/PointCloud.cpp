#include "PointCloud.h"

#include <algorithm>
#include <cmath>

#include "AngleEstimator.h"

namespace radar_sdk {

namespace {

constexpr float kRadPerDeg = 3.14159265f / 180.0f;

}  // namespace

float PeakOffset(float left, float middle, float right) {
    if (!(left > 0.0f && middle > 0.0f && right > 0.0f)) {
        return 0.0f;
    }
    const float l = std::log(left), c = std::log(middle), r = std::log(right);
    const float denominator = l - 2.0f * c + r;
    if (!(denominator < 0.0f)) {
        return 0.0f;
    }
    return std::max(-0.5f, std::min(0.5f, 0.5f * (l - r) / denominator));
}

std::unique_ptr<PointCloud> PointCloud::Create(const ChainGeometry& geometry, int capacity,
                                               std::string* error) {
    if (capacity < 1) {
        if (error != nullptr) {
            *error = "PointCloud: capacity must be at least 1";
        }
        return nullptr;
    }
    std::unique_ptr<PointCloud> stage(new PointCloud());
    stage->m_geometry = geometry;
    stage->m_points.resize(capacity);
    return stage;
}

void PointCloud::_Place(Detection* point) const {
    const float a = point->angleDeg * kRadPerDeg;
    point->x = point->rangeM * std::sin(a);
    point->y = point->rangeM * std::cos(a);
}

int PointCloud::Execute(const DopplerFft& doppler, const CfarCell* cells, int cellCount,
                        const SlowCell* slow, int slowCount, float slowNoise) {
    m_count = 0;
    const int capacity = static_cast<int>(m_points.size());
    const int bins = doppler.Bins();
    const int columns = doppler.Dopplers();
    const int zero = doppler.ZeroColumn();
    for (int i = 0; i < cellCount && m_count < capacity; ++i) {
        const CfarCell& cell = cells[i];
        const int k = cell.bin, d = cell.column;
        float rangeOffset = 0.0f;
        if (k > 0 && k < bins - 1) {
            rangeOffset =
                PeakOffset(doppler.PowerAt(k - 1, d), cell.power, doppler.PowerAt(k + 1, d));
        }
        const float speedOffset = PeakOffset(doppler.PowerAt(k, (d + columns - 1) % columns),
                                             cell.power, doppler.PowerAt(k, (d + 1) % columns));
        const float rangeM = (static_cast<float>(k) + rangeOffset) * m_geometry.rangeBinM;
        // The first bin's lower flank is the transmitter's leakage (and a
        // strong near person's residue), never a person.
        if (rangeM < kMinRangeM) {
            continue;
        }
        Detection& point = m_points[m_count++];
        point.rangeM = rangeM;
        point.velocityMps = (static_cast<float>(d - zero) + speedOffset) * m_geometry.speedBinMps;
        point.cross = doppler.CellAt(1, k, d) * std::conj(doppler.CellAt(0, k, d));
        point.angleDeg = AngleFromCross(point.cross);
        point.weight = cell.power;
        point.snr = cell.noise > 0.0f ? cell.power / cell.noise : 0.0f;
        point.still = false;
        point.step = 0.0f;
        point.peak = cell.peak;
        _Place(&point);
    }
    for (int i = 0; i < slowCount && m_count < capacity; ++i) {
        Detection& point = m_points[m_count++];
        point.rangeM = slow[i].bin * m_geometry.rangeBinM;
        point.velocityMps = 0.0f;
        point.cross = slow[i].cross;
        point.angleDeg = AngleFromCross(point.cross);
        point.weight = slow[i].power;
        point.snr = slowNoise > 0.0f ? slow[i].power / slowNoise : 0.0f;
        point.still = true;
        point.step = slow[i].step;
        point.peak = true;
        _Place(&point);
    }
    return m_count;
}

}  // namespace radar_sdk
