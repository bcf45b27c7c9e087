// Where ifx_segmentation_create gets its engines. Normally
// SegmentationEngine::Create; the SDK's own tests put a recording engine in
// its place to see exactly what the C API hands over.
#ifndef TESSIVO_RADARSDK_SEGMENTATIONENGINEFACTORY_H
#define TESSIVO_RADARSDK_SEGMENTATIONENGINEFACTORY_H

#include <memory>
#include <string>

#include "segmentation/SegmentationEngine.h"

namespace radar_sdk {

using SegmentationEngineFactory = std::unique_ptr<SegmentationEngine> (*)(
    const SegmentationSettings& settings, std::string* error);

// The factory in use.
// \context Thread-safe.
SegmentationEngineFactory GetSegmentationEngineFactory();

// Replaces the factory (null restores SegmentationEngine::Create) and
// returns the previous one. Handles made earlier keep their engines.
// \context Thread-safe.
SegmentationEngineFactory SetSegmentationEngineFactory(SegmentationEngineFactory factory);

}  // namespace radar_sdk

#endif
