// The live score of the tracks against the simulated TV's ground truth over
// the last minute: people detected, people missed and false tracks, counted
// per frame. Matching and scope are the quality harness's (SegmentationScore.h):
// greedy by distance within its match distance, every person takes part, and
// only people in its scope count as detected or missed. Unlike the harness
// there is no warm-up: a person walking in is missed until the tracker has
// them, which is what a person watching sees.
//
// Time is given by the caller (milliseconds, any steady origin), so the
// window is tested with a hand-driven clock.
#ifndef TESSIVO_TOOLS_VIEWER_LIVESCORE_H
#define TESSIVO_TOOLS_VIEWER_LIVESCORE_H

#include <json/json.h>
#include <stdint.h>

#include <deque>
#include <vector>

#include "SegmentationScore.h"

class CLiveScore {
public:
    static constexpr int64_t kWindowMs = 60000;

    struct FrameCounts {
        int64_t atMs = 0;
        int detected = 0;
        int missed = 0;
        int falseTracks = 0;
    };

    // Scores one frame and forgets frames older than the window.
    // \context One thread.
    FrameCounts Add(int64_t nowMs, const std::vector<radar::TruthTarget>& people,
                    const std::vector<radar::OutputTrack>& tracks);
    // The sums over the window ending at nowMs:
    // {"windowS":60,"frames":N,"detected":D,"missed":M,"falseTracks":F,"detection":D/(D+M)}
    // with "detection" null when nobody was there to detect.
    Json::Value Summary(int64_t nowMs);
    void Reset() { m_frames.clear(); }

private:
    void _Forget(int64_t nowMs);

    std::deque<FrameCounts> m_frames;
};

#endif
