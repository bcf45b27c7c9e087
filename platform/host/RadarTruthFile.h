// The ground truth of the frame the simulated radar module is delivering,
// for readers of the simulated TV's directory (the demo viewer draws it next
// to the tracks and scores them live). The module rewrites one small JSON
// file atomically before each frame it delivers, so a reader always sees one
// whole frame:
//
//   live/radar-truth.json
//   {"frame":1234,"truth":true,"people":[{"id":1,"range":2.1,"angle":-12.0,
//    "velocity":0.4,"x":-0.44,"y":2.05}, ...]}
//
// "frame" counts the frames of the stream since its start; "truth" is false
// for a recording without ground truth (then "people" is empty). Units as the
// simulator's: metres, degrees (0 straight ahead, positive towards the
// radar's receiver 1), metres per second (positive moving away). The file is
// left behind when streaming stops; its frame number no longer changes then.
#ifndef TESSIVO_PLATFORM_HOST_RADARTRUTHFILE_H
#define TESSIVO_PLATFORM_HOST_RADARTRUTHFILE_H

#include <json/json.h>
#include <stdint.h>

#include <string>
#include <vector>

#include "SceneSynthesizer.h"

struct RadarTruthFrame {
    int64_t frame = 0;
    bool hasTruth = false;
    std::vector<radar::TruthTarget> people;
};

class RadarTruthFile {
public:
    static constexpr const char* kArea = "live";
    static constexpr const char* kFileName = "radar-truth.json";

    // The file's path in the platform directory.
    // \context Thread-safe.
    static std::string PathOf();
    // 0 or -errno.
    // \context Thread-safe.
    static int Write(const RadarTruthFrame& frame);
    // 0, -ENOENT (no stream wrote one yet), -EINVAL (malformed, *problem says
    // why), -EIO.
    // \context Thread-safe.
    static int Read(RadarTruthFrame* frame, std::string* problem);
    // The document of a frame (values to the millimetre), as JSON and as
    // its one-line text, and back; Parse is strict about types.
    // \context Thread-safe.
    static Json::Value ToJson(const RadarTruthFrame& frame);
    static std::string Format(const RadarTruthFrame& frame);
    static bool Parse(const std::string& text, RadarTruthFrame* frame, std::string* problem);
};

#endif
