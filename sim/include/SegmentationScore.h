// Scores a segmentation's output against the ground truth of a recording,
// frame by frame, with the figures of the quality targets: detection of
// walking and of seated people, range and angle error, false tracks, id
// changes and id swaps, and segment occupancy.
//
// Definitions (all per frame, frames in recording order):
// - Tracks are the output rows with a non-zero id, placed at
//   x = range sin(angle), y = range cos(angle).
// - Matching: greedy by distance. Every (track, truth person) pair closer than
//   kMatchDistanceM in x, y is a candidate; the closest candidate is taken,
//   its track and person leave the pool, and so on (ties: lower person index,
//   then lower track index). Every truth person takes part, counted or not,
//   so a track on a person outside the scored scope is not a false track.
// - The first kWarmUpFrames frames of the recording are not scored at all,
//   and a person is not scored during the first kWarmUpFrames frames of each
//   stretch of presence in the truth (a person who leaves the truth and comes
//   back warms up again).
// - A person is "counted" in a scored frame when past their warm-up and in
//   scope: range kScopeMinRangeM..kScopeMaxRangeM, |angle| <= kScopeMaxAngleDeg.
// - A counted person is "seated" (still) when their centre moved less than
//   kStillPathM along its path over the last kStillWindowFrames frames (the
//   path length, so a walker turning round is still walking); otherwise
//   "walking". The truth carries no posture, so stillness is the test.
// - Detection: counted person-frames with a matched track / counted
//   person-frames, per category.
// - Range and angle error: RMS over the matched counted person-frames of
//   track minus truth.
// - False tracks: tracks of scored frames that match nobody, per 100 scored
//   frames.
// - Id changes: a counted person whose matched track's id differs from the
//   id matched to them before. The earlier id is forgotten when the person
//   leaves the scope or the truth, not when a track is merely missed.
// - Id swaps: two id changes of different people that exchange ids (one goes
//   a -> b, the other b -> a) within kSwapWindowFrames frames of each other
//   make one swap; each change is part of at most one swap.
// - Crossings: two counted people, not both still, coming closer than
//   kCrossingEnterM (two people sitting side by side do not cross); they
//   must separate beyond kCrossingLeaveM (or one must leave the truth) before
//   they can cross again. Swaps are allowed up to one per crossing.
// - Segment agreement: segment i covers angles [-60 + 20 i, -40 + 20 i). In a
//   scored frame a segment is truly occupied when a counted person's angle
//   lies in it; it is not scored when a person who is present but not counted
//   (warming up or out of scope) lies in it. Output occupancy is a non-zero
//   segment value. Agreement = agreeing scored segment-frames / scored
//   segment-frames.
// - False track causes, from the frame's decoys (things that are not people
//   but show to the radar): a false track within kMoverCauseM of a mover's
//   centre is "on a mover", within kEchoCauseM of one of a person's wall
//   echoes "on an echo"; when both kinds are in reach the nearest decoy
//   decides (a tie goes to the mover); otherwise "elsewhere". A frame given
//   no decoys puts every false track elsewhere. A hold is the run of
//   consecutive scored frames in which one track id is false with the same
//   cause; each cause keeps its longest.
// - Side by side: scored frames in which two counted still people stand
//   closer than kSideBySideM to each other (a sofa).
#ifndef TESSIVO_SIM_SEGMENTATIONSCORE_H
#define TESSIVO_SIM_SEGMENTATIONSCORE_H

#include <json/json.h>
#include <stdint.h>

#include <map>
#include <string>
#include <vector>

#include "SceneSynthesizer.h"

namespace radar {

// The quality targets.
constexpr double kTargetWalkingDetection = 0.95;  // fraction of person-frames
constexpr double kTargetSeatedDetection = 0.90;
constexpr double kTargetRangeRmsM = 0.15;
constexpr double kTargetAngleRmsDeg = 5.0;
constexpr double kTargetFalseTracksPer100Frames = 1.0;  // empty room with furniture
constexpr int64_t kTargetIdChanges = 0;                 // one person walking across the room
constexpr double kTargetSwapsPerCrossing = 1.0;         // two people crossing
constexpr double kTargetSegmentAgreement = 0.95;        // fraction of segment-frames
constexpr double kTargetFramesPerSecond = 2000.0;       // one core, whole per-frame path

// What is scored and how.
constexpr double kScopeMinRangeM = 0.5;
constexpr double kScopeMaxRangeM = 5.0;
constexpr double kScopeMaxAngleDeg = 55.0;
constexpr double kMatchDistanceM = 0.5;
constexpr int kWarmUpFrames = 10;  // 1 s
constexpr int kStillWindowFrames = 10;
constexpr double kStillPathM = 0.1;  // below 0.1 m/s over the window
constexpr double kCrossingEnterM = 1.0;
constexpr double kCrossingLeaveM = 1.5;
constexpr int kSwapWindowFrames = 20;
constexpr int kScoredSegments = 6;
constexpr double kSegmentStartDeg = -60.0;
constexpr double kSegmentWidthDeg = 20.0;
constexpr double kMoverCauseM = 0.7;  // a fan's blades and a curtain spread around their centre
constexpr double kEchoCauseM = 0.5;
constexpr double kSideBySideM = 0.8;

// The segment (0..5) that an angle falls in, or -1 outside them all.
// \context Thread-safe.
int SegmentOfAngle(double angleDeg);

// One track of the segmentation's output.
struct OutputTrack {
    double id = 0.0;  // 0: an empty row
    double range = 0.0;
    double angle = 0.0;
    double velocity = 0.0;
};

// The segmentation's output for one frame.
struct SegmentationOutput {
    double segments[kScoredSegments] = {};
    std::vector<OutputTrack> tracks;  // rows with id 0 are ignored
};

// One quality target held against a figure.
struct ScoreCheck {
    std::string name;
    double value = 0.0;
    double target = 0.0;
    bool atMost = false;   // true: value <= target; false: value >= target
    bool applies = false;  // the recording has what the target is about
    bool passed = false;   // meaningful when it applies
};

// Why a track matched nobody.
enum class FalseTrackCause { kMover, kEcho, kElsewhere };
constexpr int kFalseTrackCauses = 3;

// The false tracks of one cause.
struct FalseTrackCauseScore {
    int64_t tracks = 0;  // track-frames
    double per100Frames = 0.0;
    int64_t longestHoldFrames = 0;  // one track id, consecutive frames
    double longestHoldS = 0.0;
};

struct SegmentationScore {
    int64_t frames = 0;
    int64_t scoredFrames = 0;
    int peopleSeen = 0;  // distinct ids in the truth

    int64_t walkingPersonFrames = 0;
    int64_t walkingDetected = 0;
    int64_t seatedPersonFrames = 0;
    int64_t seatedDetected = 0;
    double walkingDetection = 0.0;  // 0 when there is nothing to detect
    double seatedDetection = 0.0;

    int64_t matchedPersonFrames = 0;
    double rangeRmsM = 0.0;
    double angleRmsDeg = 0.0;

    int64_t falseTracks = 0;
    double falseTracksPer100Frames = 0.0;
    // Indexed by FalseTrackCause; the tracks add up to falseTracks.
    FalseTrackCauseScore falseTrackCauses[kFalseTrackCauses];

    int64_t idChanges = 0;
    std::map<int, int64_t> idChangesPerPerson;  // truth id -> changes, for every person seen
    int64_t idSwaps = 0;
    int64_t crossings = 0;

    int64_t segmentFrames = 0;
    int64_t segmentAgreements = 0;
    double segmentAgreement = 0.0;

    int64_t sideBySideFrames = 0;

    // Every target, in a fixed order; those that do not apply to this
    // recording are listed with applies = false.
    std::vector<ScoreCheck> checks;
    bool passed = false;  // every target that applies is met
};

// Accumulates the frames of one recording. Not shared between threads: one
// thread at a time uses a scorer.
class SegmentationScorer {
public:
    // Adds the next frame: its truth (one entry per person; a repeated id in
    // a frame is ignored after its first entry), the output and, when known,
    // the frame's decoys, which tell why a false track is there. Non-finite
    // track values never match a person nor a decoy.
    void AddFrame(const std::vector<TruthTarget>& truth, const SegmentationOutput& output,
                  const std::vector<Decoy>& decoys = {});

    // The figures of the frames so far and the verdict against the targets.
    SegmentationScore Result() const;

private:
    struct Person {
        int presentFrames = 0;       // of the current stretch of presence
        std::vector<double> xs, ys;  // last kStillWindowFrames + 1 positions
        double lastId = 0.0;         // 0: none to compare with
    };
    struct Hold {
        FalseTrackCause cause;
        int64_t lastFrame;
        int64_t frames;
    };
    struct Change {
        int person;
        double from;
        double to;
        int64_t frame;
    };

    void _Match(const std::vector<TruthTarget>& people, const std::vector<OutputTrack>& tracks,
                std::vector<int>* trackOfPerson, std::vector<bool>* trackMatched) const;
    bool _IsStill(const Person& person) const;
    void _RecordChange(int person, double from, double to);
    void _ScoreSegments(const std::vector<TruthTarget>& people, const std::vector<bool>& counted,
                        const SegmentationOutput& output);
    void _ScoreCrossings(const std::vector<TruthTarget>& people, const std::vector<bool>& counted,
                         const std::vector<bool>& still);
    void _ScoreSideBySide(const std::vector<TruthTarget>& people, const std::vector<bool>& still);
    void _ScoreFalseTrack(const OutputTrack& track, const std::vector<Decoy>& decoys);

    int64_t m_frame = 0;
    std::map<int, Person> m_people;
    std::map<int, int64_t> m_idChanges;
    std::vector<Change> m_pendingChanges;
    std::map<std::pair<int, int>, bool> m_together;  // pairs currently crossing

    int64_t m_scoredFrames = 0;
    int64_t m_walking = 0, m_walkingDetected = 0;
    int64_t m_seated = 0, m_seatedDetected = 0;
    int64_t m_matched = 0;
    double m_rangeSquares = 0.0, m_angleSquares = 0.0;
    int64_t m_falseTracks = 0;
    int64_t m_swaps = 0;
    int64_t m_crossings = 0;
    int64_t m_segmentFrames = 0, m_segmentAgreements = 0;
    int64_t m_sideBySideFrames = 0;
    int64_t m_causeTracks[kFalseTrackCauses] = {};
    int64_t m_longestHold[kFalseTrackCauses] = {};
    std::map<double, Hold> m_holds;  // false track id -> its current run
};

// "mover", "echo" or "elsewhere".
// \context Thread-safe.
const char* FalseTrackCauseName(FalseTrackCause cause);

// The figures and checks as one JSON object.
// \context Thread-safe.
Json::Value ScoreToJson(const SegmentationScore& score);

// The figures, one per line, with each target and whether it is met, for
// people to read.
// \context Thread-safe.
std::string ScoreReport(const SegmentationScore& score);

}  // namespace radar

#endif
