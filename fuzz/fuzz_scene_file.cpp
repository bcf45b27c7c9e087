// Scene files: the scene parser as the simulated radar module, radar-sim
// and tessivo-platform read a scene. A scene it accepts must write out and
// read back the same, and must be one the synthesizer can run: where its
// people and echoes are at a few moments, and one frame of samples when the
// scene is small enough to keep the run fast.
#include <stddef.h>
#include <stdint.h>

#include <cmath>
#include <string>
#include <vector>

#include "FuzzSupport.h"
#include "RadarFrameFormat.h"
#include "Scene.h"
#include "SceneSynthesizer.h"

using fuzzsupport::Check;

namespace {

// Moments looked at: the start, within the first minute, and the far end
// of a scene's timeline.
const double kMoments[] = {0.0, 0.05, 7.3, 61.0, 1e6};
// A frame is synthesised only for scenes this small: the cost grows with
// every scattering point and every wall.
const size_t kMaxSynthesisedThings = 8;

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    radar::Scene scene;
    std::string error;
    if (!radar::ParseScene(text, &scene, &error)) {
        Check(!error.empty(), "a refused scene says why");
        return 0;
    }
    Check(radar::ValidateScene(scene, &error), "a parsed scene is a valid scene");

    const std::string written = radar::SceneToJson(scene);
    radar::Scene again;
    Check(radar::ParseScene(written, &again, &error), "a scene written out reads back");
    Check(radar::SceneToJson(again) == written, "a scene written out reads back the same");
    Check(again.name == scene.name && again.description == scene.description,
          "a scene written out keeps its name and description");

    radar::SceneSynthesizer synthesizer(scene, scene.seed);
    for (double t : kMoments) {
        for (const radar::TruthTarget& target : synthesizer.TruthAt(t)) {
            Check(target.range >= 0.0 && target.range <= radar::kMaxRangeM,
                  "a person in the truth is within the radar's range");
            Check(std::isfinite(target.angle) && std::isfinite(target.velocity),
                  "a person in the truth is where a number says");
        }
        synthesizer.DecoysAt(t);
    }
    const size_t things =
        scene.people.size() + scene.clutter.size() + scene.walls.size() + scene.movers.size();
    if (things <= kMaxSynthesisedThings) {
        std::vector<uint16_t> samples(radar::kFrameSamples);
        synthesizer.SynthesizeFrame(static_cast<int64_t>(scene.seed % 1000), samples.data());
        for (uint16_t sample : samples) {
            Check(sample <= radar::kAdcMax, "samples are 12 bits");
        }
    }
    return 0;
}
