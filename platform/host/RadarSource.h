// What the simulated radar module looks at: a scene synthesised live or a
// recording replayed, loaded from its configuration. A loaded source is
// immutable and shared; each stream takes its own frame producer from it.
//
// A source has a clock in frame periods (0.1 s): frame n of a scene is the
// scene at n / 10 s; frame n of a recording is its nth frame, or n modulo its
// length when it loops, and nothing past its end when it does not.
#ifndef TESSIVO_PLATFORM_HOST_RADARSOURCE_H
#define TESSIVO_PLATFORM_HOST_RADARSOURCE_H

#include <stdint.h>

#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "RadarConfig.h"
#include "RadarFrameProducer.h"
#include "Scene.h"
#include "SceneSynthesizer.h"

class RadarSource {
public:
    // Loads what settings describe; null with a message on failure. A
    // recording's malformed truth sidecar fails the load when strictTruth is
    // set; otherwise the recording is used without truth and *warning says
    // why (warning may be null).
    // \context Thread-safe.
    static std::shared_ptr<const RadarSource> Load(const RadarSourceSettings& settings,
                                                   bool strictTruth, std::string* error,
                                                   std::string* warning);
    // A room with nobody in it, only receiver noise: what the module shows
    // when its configured source cannot be loaded.
    // \context Thread-safe.
    static std::shared_ptr<const RadarSource> EmptyRoom();

    const RadarSourceSettings& Settings() const { return m_settings; }
    bool IsRecording() const { return m_settings.kind == RadarSourceSettings::Kind::Recording; }
    // Frames of a recording; 0 for a scene.
    int64_t FrameCount() const { return m_frames; }
    // Whether a recording came with ground truth (scenes always know it).
    bool HasTruth() const { return !IsRecording() || !m_truth->empty(); }

    // The source frame shown at frame period n of the source's clock, -1 when
    // there is none (before 0, or past the end of a recording that does not
    // loop).
    // \context Thread-safe.
    int64_t SourceFrame(int64_t n) const;
    // The people at `seconds` on the source's clock (nobody for a recording
    // without truth or past its end).
    // \context Thread-safe.
    std::vector<radar::TruthTarget> PeopleAt(double seconds) const;
    // A frame producer for one stream.
    // \context Thread-safe.
    std::unique_ptr<RadarFrameProducer> NewProducer(std::string* error) const;

private:
    RadarSource() = default;

    RadarSourceSettings m_settings;
    radar::Scene m_scene;
    uint64_t m_seed = 0;
    // Guards m_truthSynthesizer, whose TruthAt is not promised to be safe to
    // call from several threads at once.
    mutable std::mutex m_truthMutex;
    std::unique_ptr<radar::SceneSynthesizer> m_truthSynthesizer;
    int64_t m_frames = 0;
    std::shared_ptr<const RadarFrameProducer::Truth> m_truth;
};

#endif
