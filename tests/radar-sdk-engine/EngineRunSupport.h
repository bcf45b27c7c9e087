// What the engine tests share: the service's settings and the pipeline's
// scaling of a frame's samples into the engine's two views. The quality of
// the engine on the shipped scenes is scored end to end, with the shared
// scorer, by the quality tests (tests/quality).
#ifndef TESSIVO_TESTS_ENGINERUNSUPPORT_H
#define TESSIVO_TESTS_ENGINERUNSUPPORT_H

#include <stdint.h>

#include <vector>

#include "segmentation/SegmentationEngine.h"

namespace engine_support {

// The settings of the service's device configuration.
radar_sdk::SegmentationSettings DefaultSettings();

// Frame samples (12-bit, 2048 = zero) into the engine's two views as the
// pipeline scales them (1/4095), rx0 and rx1 chirps x samples.
void ScaleFrame(const uint16_t* samples, std::vector<float>* rx0, std::vector<float>* rx1);

}  // namespace engine_support

#endif
