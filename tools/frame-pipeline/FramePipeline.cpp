#include "FramePipeline.h"

#include "ActivityResult.h"
#include "RadarFetch.h"

namespace {

std::string SdkMessage(const char* what, ifx_Error_t error) {
    return std::string(what) + ": " + ifx_error_to_string(error) + " (" + std::to_string(error) +
           ")";
}

}  // namespace

FramePipeline::FramePipeline() : m_seg(), m_raw() {}

FramePipeline::~FramePipeline() {
    CleanupSegmentPipeline(&m_seg);
}

bool FramePipeline::Open(std::string* error) {
    if (m_open) {
        return true;
    }
    const ifx_Error_t result = ConfigSegmentPipeline(&m_seg, &kDefaultDeviceConfig);
    if (result != IFX_OK || m_seg.handle == nullptr || m_seg.cube == nullptr ||
        m_seg.segments == nullptr || m_seg.tracks == nullptr) {
        *error = SdkMessage("cannot set up the segmentation",
                            result != IFX_OK ? result : IFX_ERROR_MEMORY_ALLOCATION_FAILED);
        CleanupSegmentPipeline(&m_seg);
        return false;
    }
    m_open = true;
    return true;
}

bool FramePipeline::Process(const uint8_t* packed, std::string* document,
                            radar::SegmentationOutput* output, std::string* error) {
    *output = radar::SegmentationOutput();
    if (!m_open) {
        *error = "the pipeline is not set up";
        return false;
    }
    unpack_raw12(packed, RadarFetch::kSliceBytes, m_raw);
    unpack_raw12(packed + RadarFetch::kSliceBytes, RadarFetch::kSliceBytes,
                 m_raw + RadarFetch::kFrameSamples / 2);
    RawFrameToCube(m_raw, m_seg.cube);
    ifx_segmentation_run(m_seg.handle, m_seg.cube, m_seg.segments, m_seg.tracks);
    const ifx_Error_t result = ifx_error_get();
    if (result != IFX_OK) {
        *error = SdkMessage("segmentation failed", result);
        return false;
    }
    std::string text;
    if (!MakeActivityResultText(m_seg.segments, m_seg.tracks, &text)) {
        *error = SdkMessage("cannot make the result document", ifx_error_get());
        return false;
    }
    *document = std::move(text);
    for (int i = 0; i < radar::kScoredSegments; ++i) {
        output->segments[i] = vAt(m_seg.segments, i);
    }
    for (uint32_t row = 0; row < mRows(m_seg.tracks); ++row) {
        radar::OutputTrack track;
        track.id = mAt(m_seg.tracks, row, 0);
        track.range = mAt(m_seg.tracks, row, 1);
        track.angle = mAt(m_seg.tracks, row, 2);
        track.velocity = mAt(m_seg.tracks, row, 3);
        if (track.id != 0.0) {
            output->tracks.push_back(track);
        }
    }
    return true;
}
