// Makes the frames of one stream of the simulated radar module: synthesised
// from a scene, or read from a recording. Each stream has its own producer,
// so a stream never shares mutable state with presence reads.
#ifndef TESSIVO_PLATFORM_HOST_RADARFRAMEPRODUCER_H
#define TESSIVO_PLATFORM_HOST_RADARFRAMEPRODUCER_H

#include <stdint.h>

#include <memory>
#include <string>
#include <vector>

#include "Recording.h"
#include "Scene.h"
#include "SceneSynthesizer.h"

class RadarFrameProducer {
public:
    using Truth = std::vector<std::vector<radar::TruthTarget>>;

    static std::unique_ptr<RadarFrameProducer> ForScene(const radar::Scene& scene, uint64_t seed);
    // truth: the recording's ground truth per frame, may be null or empty.
    static std::unique_ptr<RadarFrameProducer> ForRecording(const std::string& path,
                                                            std::shared_ptr<const Truth> truth,
                                                            std::string* error);

    // Fills kFrameBytes (both slices) of frame `frame` of the source and, when
    // the source knows who is in that frame, *people; *hasTruth tells which.
    bool Produce(int64_t frame, uint8_t* bytes, std::vector<radar::TruthTarget>* people,
                 bool* hasTruth, std::string* error);

private:
    RadarFrameProducer() = default;

    std::unique_ptr<radar::SceneSynthesizer> m_synthesizer;
    std::vector<uint16_t> m_samples;
    std::unique_ptr<radar::RecordingReader> m_reader;
    std::shared_ptr<const Truth> m_truth;
};

#endif
