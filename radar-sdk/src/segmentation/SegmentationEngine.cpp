#include "SegmentationEngine.h"

#include <new>

#include "SegmentationChain.h"

namespace radar_sdk {

std::unique_ptr<SegmentationEngine> SegmentationEngine::Create(const SegmentationSettings& settings,
                                                               std::string* error) {
    // Nothing thrown leaves the engine: an allocation that fails at creation
    // is an error like a bad setting.
    try {
        std::string reason;
        std::unique_ptr<SegmentationEngine> engine = SegmentationChain::Create(settings, &reason);
        if (!engine && error != nullptr) {
            *error = reason;
        }
        return engine;
    } catch (const std::bad_alloc&) {
        if (error != nullptr) {
            *error = "out of memory";
        }
    } catch (...) {
        if (error != nullptr) {
            *error = "internal error";
        }
    }
    return nullptr;
}

}  // namespace radar_sdk
