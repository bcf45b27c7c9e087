// One activity result of the service as the viewer shows it: the six
// segment values and the tracks, read from the service's result document
// and checked, so that a malformed document is refused with a reason instead
// of reaching the page.
#ifndef TESSIVO_TOOLS_VIEWER_RESULTFRAME_H
#define TESSIVO_TOOLS_VIEWER_RESULTFRAME_H

#include <json/json.h>

#include <string>
#include <vector>

#include "SegmentationScore.h"

struct ResultFrame {
    static constexpr int kSegments = 6;
    static constexpr size_t kMaxTracks = 10;

    int segments[kSegments] = {};
    std::vector<radar::OutputTrack> tracks;  // ids non-zero

    // False with *problem on anything but a result document of the service.
    static bool Parse(const std::string& text, ResultFrame* frame, std::string* problem);
    // {"segments":[0,1,0,0,0,0],"tracks":[{"id":1,"range":1.75,"angle":-12.5,"velocity":0.25}]}
    Json::Value ToJson() const;
};

#endif
