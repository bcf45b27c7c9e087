// One room of an evaluation: a scene synthesised in process, frame by frame,
// through the service's per-frame pipeline, scored against its truth with
// the decoys that tell a false track's cause.
#ifndef TESSIVO_TOOLS_RADAREVAL_EVALROOM_H
#define TESSIVO_TOOLS_RADAREVAL_EVALROOM_H

#include <stdint.h>

#include <string>

#include "Scene.h"
#include "SegmentationScore.h"

struct EvalRoom {
    radar::Scene scene;  // synthesised with its own seed, as radar-sim does
    bool random = false;
    uint64_t randomSeed = 0;  // the RandomRoom seed, when random
    std::string source;       // a scene: the name or file it came from

    // The scene has something that is not a person and moves.
    bool HasMovers() const { return !scene.movers.empty(); }
    // The scene has people and a wall that mirrors them.
    bool HasEchoes() const;
};

struct EvalRoomResult {
    std::string error;  // not empty: the room did not run
    int64_t frames = 0;
    int64_t failedFrames = 0;  // the segmentation failed on them
    std::string firstFailure;
    double synthesisSeconds = 0.0;
    double pipelineSeconds = 0.0;  // the per-frame pipeline alone
    radar::SegmentationScore score;

    // Frames per second of the per-frame pipeline.
    double FramesPerSecond() const;
};

// Runs `frames` frames of the room. Each call makes its own synthesizer and
// pipeline, so rooms may run on several threads at once.
// \context Thread-safe.
EvalRoomResult RunEvalRoom(const EvalRoom& room, int64_t frames);

#endif
