// The segmentation engine: the chain of stages that turns one radar frame
// into segment occupancy and tracks. Each stage is an object with one life
// cycle (create, execute, reset); the chain only wires them together, owns
// every buffer from creation on and allocates nothing per frame. See
// radar-sdk/README.md, "The segmentation chain", for the reasoning.
#ifndef TESSIVO_RADARSDK_SEGMENTATIONCHAIN_H
#define TESSIVO_RADARSDK_SEGMENTATIONCHAIN_H

#include <memory>
#include <string>

#include "CfarDetector.h"
#include "ChainGeometry.h"
#include "DopplerFft.h"
#include "NoiseFloor.h"
#include "PointCloud.h"
#include "RangeFft.h"
#include "SegmentOccupancy.h"
#include "SegmentationEngine.h"
#include "SlowTimeDetector.h"
#include "Tracker.h"

namespace radar_sdk {

// What the settings' levels turn into, stage by stage.
struct ChainTuning {
    CfarConfig cfar;
    SlowTimeConfig slow;
    TrackerConfig tracker;
};

// \context One thread at a time per engine.
class SegmentationChain : public SegmentationEngine {
public:
    // Null with *error naming the bad setting.
    static std::unique_ptr<SegmentationChain> Create(const SegmentationSettings& settings,
                                                     std::string* error);
    // The tuning the chain uses for these settings (sensitivity, static
    // removal); tests and benchmarks build single stages from it.
    // \context Thread-safe.
    static ChainTuning TuningFor(const SegmentationSettings& settings,
                                 const ChainGeometry& geometry);

    bool Process(const MatrixView& rx0, const MatrixView& rx1, float* segments, float* tracks,
                 size_t trackStride) override;
    void Reset() override;

    // The stages, for tests and benchmarks that time or inspect one.
    const ChainGeometry& Geometry() const { return m_geometry; }
    const RangeFft& Range() const { return *m_range; }
    const DopplerFft& Doppler() const { return *m_doppler; }
    const NoiseFloor& Noise() const { return *m_noise; }
    const CfarDetector& Cfar() const { return *m_cfar; }
    const SlowTimeDetector& Slow() const { return *m_slow; }
    const PointCloud& Points() const { return *m_cloud; }

private:
    SegmentationChain() = default;

    ChainGeometry m_geometry;
    int m_maxTracks = 0;
    std::unique_ptr<RangeFft> m_range;
    std::unique_ptr<DopplerFft> m_doppler;
    std::unique_ptr<NoiseFloor> m_noise;
    std::unique_ptr<CfarDetector> m_cfar;
    std::unique_ptr<SlowTimeDetector> m_slow;
    std::unique_ptr<PointCloud> m_cloud;
    std::unique_ptr<Tracker> m_tracker;
    std::unique_ptr<SegmentOccupancy> m_occupancy;
    TrackReport m_reports[kMaxReportedTracks];
    TrackReport m_visible[kMaxReportedTracks];
};

}  // namespace radar_sdk

#endif
