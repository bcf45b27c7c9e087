#include "SegmentationChain.h"

#include <algorithm>
#include <cmath>

#include "ReportGate.h"

namespace radar_sdk {

namespace {

bool Fail(std::string* error, const std::string& message) {
    if (error != nullptr) {
        *error = message;
    }
    return false;
}

}  // namespace

ChainTuning SegmentationChain::TuningFor(const SegmentationSettings& settings,
                                         const ChainGeometry& geometry) {
    ChainTuning tuning;
    // Detection sensitivity: the moving path's false-alarm design and how
    // far above the noise the slow-time variance must stand.
    switch (settings.sensitivity) {
        case 1:
            tuning.cfar.falseAlarm = 1e-5;
            tuning.slow.noiseFactor = 6.0f;
            break;
        case 3:
            tuning.cfar.falseAlarm = 1e-7;
            tuning.slow.noiseFactor = 12.0f;
            break;
        default:
            tuning.cfar.falseAlarm = 1e-6;
            tuning.slow.noiseFactor = 8.0f;
            break;
    }
    // Static target removal: how much of a static target's power its
    // frame-to-frame variance may reach before it counts as alive, and how
    // long a still-born candidate must persist.
    switch (settings.staticRemoval) {
        case 1:
            tuning.slow.clutterStability = 1e-2f;
            tuning.tracker.confirmStillHits = 15;
            break;
        case 3:
            tuning.slow.clutterStability = 1e-4f;
            tuning.tracker.confirmStillHits = 8;
            break;
        default:
            tuning.slow.clutterStability = 1e-3f;
            tuning.tracker.confirmStillHits = 10;
            break;
    }
    // Guard cells cover half a metre: a person's depth plus the main lobe.
    tuning.cfar.guard = std::max(1, static_cast<int>(std::lround(0.5f / geometry.rangeBinM)));
    tuning.cfar.training = 8;
    // The flanks of a peak (its other Doppler columns: the limbs) go on as
    // points too: where two people share a peak they still tell them apart.
    tuning.cfar.peaksOnly = false;
    tuning.cfar.capacity = 128;
    // Slow-time window of about 2.4 s: most of a breath; clutter map over
    // about four seconds.
    tuning.slow.window = std::max(4, static_cast<int>(std::lround(2.4f / geometry.framePeriodS)));
    tuning.slow.clutterFrames =
        std::max(tuning.slow.window, static_cast<int>(std::lround(4.0f / geometry.framePeriodS)));
    // The trail a walker leaves in the clutter map fades within its time
    // constant.
    tuning.tracker.trailFrames = tuning.slow.clutterFrames;
    // A mover is told by Doppler spread over the whole unambiguous axis.
    tuning.tracker.foldSpeedMps = 0.5f * geometry.speedBinMps * static_cast<float>(geometry.chirps);
    tuning.slow.minFrames = std::max(2, std::min(tuning.slow.window, 5));
    return tuning;
}

std::unique_ptr<SegmentationChain> SegmentationChain::Create(const SegmentationSettings& settings,
                                                             std::string* error) {
    ChainGeometry geometry;
    if (!DeriveChainGeometry(settings, &geometry, error)) {
        return nullptr;
    }
    if (settings.sensitivity < 1 || settings.sensitivity > 3) {
        Fail(error, "sensitivity: must be 1 (high), 2 (medium) or 3 (low)");
        return nullptr;
    }
    if (settings.staticRemoval < 1 || settings.staticRemoval > 3) {
        Fail(error, "staticRemoval: must be 1 (high), 2 (medium) or 3 (low)");
        return nullptr;
    }
    if (settings.maxTracks < 1 || settings.maxTracks > kMaxReportedTracks) {
        Fail(error, "maxTracks: must be 1.." + std::to_string(kMaxReportedTracks));
        return nullptr;
    }
    if (settings.orientation != 1) {
        Fail(error, "orientation: only 1 (landscape) is supported");
        return nullptr;
    }
    if (settings.segmentWidthsDeg.size() > static_cast<size_t>(kMaxSegments)) {
        Fail(error, "segmentWidthsDeg: at most " + std::to_string(kMaxSegments) + " segments");
        return nullptr;
    }
    const ChainTuning tuning = TuningFor(settings, geometry);
    std::unique_ptr<SegmentationChain> chain(new SegmentationChain());
    chain->m_geometry = geometry;
    chain->m_maxTracks = settings.maxTracks;
    const int pointCapacity = tuning.cfar.capacity + geometry.rangeBins;
    chain->m_range = RangeFft::Create(geometry.samples, geometry.chirps, geometry.rangeFftSize,
                                      geometry.rangeBins, error);
    if (!chain->m_range) {
        return nullptr;
    }
    chain->m_doppler = DopplerFft::Create(geometry.chirps, geometry.rangeBins, error);
    if (!chain->m_doppler) {
        return nullptr;
    }
    chain->m_noise =
        NoiseFloor::Create(geometry.rangeBins, geometry.chirps, geometry.firstBin, error);
    if (!chain->m_noise) {
        return nullptr;
    }
    chain->m_cfar = CfarDetector::Create(geometry.rangeBins, geometry.chirps, tuning.cfar, error);
    if (!chain->m_cfar) {
        return nullptr;
    }
    chain->m_slow = SlowTimeDetector::Create(geometry.rangeBins, geometry.firstBin,
                                             geometry.lastBin, tuning.slow, error);
    if (!chain->m_slow) {
        return nullptr;
    }
    chain->m_cloud = PointCloud::Create(geometry, pointCapacity, error);
    if (!chain->m_cloud) {
        return nullptr;
    }
    chain->m_tracker = Tracker::Create(tuning.tracker, pointCapacity, error);
    if (!chain->m_tracker) {
        return nullptr;
    }
    chain->m_occupancy = SegmentOccupancy::Create(settings.segmentWidthsDeg, settings.hysteresis,
                                                  kMaxReportedTracks, error);
    if (!chain->m_occupancy) {
        return nullptr;
    }
    return chain;
}

bool SegmentationChain::Process(const MatrixView& rx0, const MatrixView& rx1, float* segments,
                                float* tracks, size_t trackStride) {
    if (segments == nullptr || tracks == nullptr || trackStride < 4) {
        return false;
    }
    if (!m_range->Execute(rx0, rx1)) {
        return false;
    }
    m_doppler->Execute(*m_range);
    m_noise->Execute(m_doppler->Power());
    const int cells = m_cfar->Execute(m_doppler->Power(), m_geometry.firstBin, m_geometry.lastBin,
                                      m_doppler->ZeroColumn());
    // Noise of one receiver's zero-Doppler value: the mean over the chirps
    // of what the Doppler cells see through the window's noise gain.
    const float zeroNoise = m_noise->CellNoise() /
                            (2.0f * m_doppler->NoiseGain() * static_cast<float>(m_geometry.chirps));
    const int slow =
        m_slow->Execute(m_doppler->ZeroDoppler(0), m_doppler->ZeroDoppler(1), zeroNoise);
    const int points = m_cloud->Execute(*m_doppler, m_cfar->Cells(), cells, m_slow->Cells(), slow,
                                        2.0f * zeroNoise);
    m_tracker->Execute(m_cloud->Points(), points, m_geometry.framePeriodS);

    const int reported = m_tracker->Report(m_reports, kMaxReportedTracks);
    int visible = 0;
    const float maxSpeedMps = 0.5f * m_geometry.speedBinMps * static_cast<float>(m_geometry.chirps);
    for (int i = 0; i < reported && visible < m_maxTracks; ++i) {
        if (GateReport(m_reports[i], m_geometry.maxRangeM, maxSpeedMps, &m_visible[visible])) {
            ++visible;
        }
    }
    m_occupancy->Execute(m_visible, visible);

    for (int i = 0; i < m_occupancy->Count(); ++i) {
        segments[i] = m_occupancy->Values()[i];
    }
    for (int row = 0; row < m_maxTracks; ++row) {
        float* out = tracks + static_cast<size_t>(row) * trackStride;
        if (row < visible) {
            out[0] = static_cast<float>(m_visible[row].id);
            out[1] = m_visible[row].rangeM;
            out[2] = m_visible[row].angleDeg;
            out[3] = m_visible[row].velocityMps;
        } else {
            out[0] = out[1] = out[2] = out[3] = 0.0f;
        }
    }
    return true;
}

void SegmentationChain::Reset() {
    m_range->Reset();
    m_doppler->Reset();
    m_noise->Reset();
    m_cfar->Reset();
    m_slow->Reset();
    m_cloud->Reset();
    m_tracker->Reset();
    m_occupancy->Reset();
}

}  // namespace radar_sdk
