#include "EngineRunSupport.h"

#include "RadarFrameFormat.h"

namespace engine_support {

radar_sdk::SegmentationSettings DefaultSettings() {
    radar_sdk::SegmentationSettings settings;
    settings.segmentWidthsDeg.assign(6, 20.0f);
    return settings;
}

void ScaleFrame(const uint16_t* samples, std::vector<float>* rx0, std::vector<float>* rx1) {
    const int count = radar::kChirpsPerFrame * radar::kSamplesPerChirp;
    rx0->resize(count);
    rx1->resize(count);
    for (int i = 0; i < count; ++i) {
        (*rx0)[i] = static_cast<float>(samples[2 * i]) / 4095.0f;
        (*rx1)[i] = static_cast<float>(samples[2 * i + 1]) / 4095.0f;
    }
}

}  // namespace engine_support
