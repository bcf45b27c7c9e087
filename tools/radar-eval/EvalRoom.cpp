#include "EvalRoom.h"

#include <chrono>
#include <vector>

#include "FramePipeline.h"
#include "RadarFrameFormat.h"
#include "SceneSynthesizer.h"

namespace {

// The tool measures its own speed: a plain monotonic clock, unaffected by
// the service's time scaling.
using SteadyClock = std::chrono::steady_clock;

double Seconds(SteadyClock::duration duration) {
    return std::chrono::duration<double>(duration).count();
}

}  // namespace

bool EvalRoom::HasEchoes() const {
    if (scene.people.empty()) {
        return false;
    }
    for (const radar::SceneWall& wall : scene.walls) {
        if (wall.reflectivity > 0.0) {
            return true;
        }
    }
    return false;
}

double EvalRoomResult::FramesPerSecond() const {
    return pipelineSeconds > 0.0 ? static_cast<double>(frames) / pipelineSeconds : 0.0;
}

EvalRoomResult RunEvalRoom(const EvalRoom& room, int64_t frames) {
    EvalRoomResult result;
    // A fresh pipeline per room: the tracker must not carry people over from
    // the room before.
    FramePipeline pipeline;
    if (!pipeline.Open(&result.error)) {
        return result;
    }
    radar::SceneSynthesizer synthesizer(room.scene, room.scene.seed);
    radar::SegmentationScorer scorer;
    std::vector<uint16_t> samples(radar::kFrameSamples);
    std::vector<uint8_t> packed(radar::kFrameBytes);
    std::string document;
    std::string error;
    radar::SegmentationOutput output;
    SteadyClock::duration synthesisTime{};
    SteadyClock::duration pipelineTime{};
    for (int64_t frame = 0; frame < frames; ++frame) {
        const SteadyClock::time_point start = SteadyClock::now();
        synthesizer.SynthesizeFrame(frame, samples.data());
        radar::PackFrame(samples.data(), packed.data());
        const SteadyClock::time_point synthesised = SteadyClock::now();
        const bool done = pipeline.Process(packed.data(), &document, &output, &error);
        pipelineTime += SteadyClock::now() - synthesised;
        synthesisTime += synthesised - start;
        if (!done) {
            // As in the service: the frame shows nothing, the next one runs.
            if (result.failedFrames++ == 0) {
                result.firstFailure = "frame " + std::to_string(frame) + ": " + error;
            }
        }
        const double t = radar::FrameTimeS(frame);
        scorer.AddFrame(synthesizer.TruthAt(t), output, synthesizer.DecoysAt(t));
    }
    result.frames = frames;
    result.synthesisSeconds = Seconds(synthesisTime);
    result.pipelineSeconds = Seconds(pipelineTime);
    result.score = scorer.Result();
    return result;
}
