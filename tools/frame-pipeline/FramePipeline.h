// The service's per-frame segmentation path over packed frames: unpacking of
// both slices, scaling into the cube, ifx_segmentation_run and the activity
// result document, with the pipeline configured as the service configures it.
// Shared by the tools that measure the segmentation (radar-segment,
// radar-eval), so that they measure the same path.
#ifndef TESSIVO_TOOLS_FRAMEPIPELINE_FRAMEPIPELINE_H
#define TESSIVO_TOOLS_FRAMEPIPELINE_FRAMEPIPELINE_H

#include <stdint.h>

#include <string>

#include "RadarCube.h"
#include "SegmentationConfig.h"
#include "SegmentationScore.h"

// Not shared between threads: one thread at a time uses a pipeline.
class FramePipeline {
public:
    FramePipeline();
    ~FramePipeline();
    FramePipeline(const FramePipeline&) = delete;
    FramePipeline& operator=(const FramePipeline&) = delete;

    // Creates the SDK objects from kDefaultDeviceConfig; false with the
    // SDK's message when they cannot be made.
    bool Open(std::string* error);

    // Runs one frame (kFrameBytes of packed slices). On success *document
    // is the frame's activity result text and *output the same result for
    // scoring. False with the SDK's message in *error when the segmentation
    // fails; the frame then has no result (*output empty, *document
    // untouched).
    bool Process(const uint8_t* packed, std::string* document, radar::SegmentationOutput* output,
                 std::string* error);

private:
    segmentation_t m_seg;
    bool m_open = false;
    unsigned short m_raw[kRawFrameSamples];
};

#endif
