// Truth files: a recording's ground-truth sidecar, read by the recording
// reader (as the simulated radar module loads it for replay) and by
// radar-segment's reader of any truth file, then put to the uses the truth
// has: the module's presence report of each frame and the scoring of a
// segmentation against it (here an output that reports exactly the truth).
#include <stddef.h>
#include <stdint.h>
#include <unistd.h>

#include <algorithm>
#include <string>
#include <vector>

#include "FuzzSupport.h"
#include "RadarFrameFormat.h"
#include "RadarPresence.h"
#include "Recording.h"
#include "SegmentationScore.h"
#include "TruthFile.h"

using fuzzsupport::Check;

namespace {

// Recordings longer than this are given the wrong length for their truth.
const int64_t kMaxFrames = 64;
// Frames between "now" and the other end of the presence report's speed.
const size_t kSpeedWindowFrames = 5;

using Truth = std::vector<std::vector<radar::TruthTarget>>;

// Lines as std::getline counts them: a last line without its newline counts.
int64_t LineCount(const uint8_t* data, size_t size) {
    const int64_t newlines = std::count(data, data + size, '\n');
    return newlines + (size > 0 && data[size - 1] != '\n' ? 1 : 0);
}

void Use(const Truth& truth) {
    radar::SegmentationScorer scorer;
    for (size_t frame = 0; frame < truth.size(); ++frame) {
        const size_t other =
            frame >= kSpeedWindowFrames ? frame - kSpeedWindowFrames : frame + kSpeedWindowFrames;
        uint8_t report[RadarPresence::kReportSize];
        RadarPresence::Build(truth[frame], other < truth.size() ? truth[other] : truth[frame],
                             RadarPresence::ReachForSensitivity(2), report);
        Check(report[RadarPresence::kDetectionByte] <= 1, "the presence byte is 0 or 1");
        Check(report[RadarPresence::kLevelByte] <= 3, "the motion level is 0 to 3");
        Check((report[RadarPresence::kDetectionByte] == 0) ==
                  (report[RadarPresence::kDistanceByte] == 0 &&
                   report[RadarPresence::kLevelByte] == 0),
              "a report without presence has no distance and no motion");

        radar::SegmentationOutput output;
        for (const radar::TruthTarget& target : truth[frame]) {
            radar::OutputTrack track;
            track.id = target.id;
            track.range = target.range;
            track.angle = target.angle;
            track.velocity = target.velocity;
            output.tracks.push_back(track);
        }
        scorer.AddFrame(truth[frame], output);
    }
    const radar::SegmentationScore score = scorer.Result();
    Check(score.frames == static_cast<int64_t>(truth.size()), "every frame is scored");
    radar::ScoreToJson(score);
    radar::ScoreReport(score);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const int64_t lines = LineCount(data, size);
    const int64_t frames = std::max<int64_t>(1, std::min(lines, kMaxFrames));
    const std::string recording = fuzzsupport::ScratchDir() + "/truth.raw";
    const std::string sidecar = radar::TruthPathFor(recording);
    Check(fuzzsupport::WriteFile(recording, nullptr, 0) &&
              truncate(recording.c_str(), frames * radar::kFrameBytes) == 0 &&
              fuzzsupport::WriteFile(sidecar, data, size),
          "the scratch files are written");

    radar::RecordingReader reader;
    std::string error;
    Check(reader.Open(recording, &error), "the recording opens");
    Truth replayTruth;
    const bool replay = reader.LoadTruth(&replayTruth, &error);
    Check(replay || !error.empty(), "a refused truth says why");
    Check(!replay || static_cast<int64_t>(replayTruth.size()) == frames,
          "the replay's truth has a line per frame");

    Truth scoreTruth;
    error.clear();
    const bool scored = LoadTruthFile(sidecar, frames, &scoreTruth, &error);
    Check(scored || !error.empty(), "a refused truth file says why");
    Check(!scored || replay, "a truth file radar-segment takes, the replay takes too");

    if (replay) {
        Use(replayTruth);
    }
    return 0;
}
