#include "SegmentationEngineFactory.h"

#include <atomic>

namespace radar_sdk {

namespace {

std::atomic<SegmentationEngineFactory> g_factory{&SegmentationEngine::Create};

}  // namespace

SegmentationEngineFactory GetSegmentationEngineFactory() {
    return g_factory.load();
}

SegmentationEngineFactory SetSegmentationEngineFactory(SegmentationEngineFactory factory) {
    return g_factory.exchange(factory != nullptr ? factory : &SegmentationEngine::Create);
}

}  // namespace radar_sdk
