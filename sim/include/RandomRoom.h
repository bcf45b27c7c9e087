// Random living rooms: a whole room drawn from the ranges of the radar data
// contract (its size and walls, furniture, people doing what people do in
// front of a TV, things that move without going anywhere, the module's own
// flaws), so that the segmentation can be measured on rooms nobody tuned it
// on. The same seed gives the same room on every machine.
#ifndef TESSIVO_SIM_RANDOMROOM_H
#define TESSIVO_SIM_RANDOMROOM_H

#include <stdint.h>

#include "Scene.h"

namespace radar {

// The room of a seed, named "random-SEED". It passes ValidateScene, and
// SceneToJson writes it as a scene file that replays it exactly.
// \context Thread-safe.
Scene RandomRoom(uint64_t seed);

}  // namespace radar

#endif
