// The segmentation scorer on scripted truth and output, where every figure
// is known in advance.
#include <gtest/gtest.h>
#include <math.h>

#include <functional>
#include <string>
#include <tuple>
#include <vector>

#include "SegmentationScore.h"

using namespace radar;

namespace {

constexpr double kPi = 3.14159265358979323846;

TruthTarget PersonAt(int id, double x, double y) {
    TruthTarget target;
    target.id = id;
    target.x = x;
    target.y = y;
    target.range = hypot(x, y);
    target.angle = atan2(x, y) * 180.0 / kPi;
    return target;
}

OutputTrack TrackOn(double id, const TruthTarget& person, double rangeOffset = 0.0,
                    double angleOffset = 0.0) {
    OutputTrack track;
    track.id = id;
    track.range = person.range + rangeOffset;
    track.angle = person.angle + angleOffset;
    track.velocity = person.velocity;
    return track;
}

OutputTrack TrackAt(double id, double x, double y) {
    return TrackOn(id, PersonAt(0, x, y));
}

// The segments a perfect output shows for these people.
SegmentationOutput PerfectSegments(const std::vector<TruthTarget>& people) {
    SegmentationOutput output;
    for (const TruthTarget& person : people) {
        const int segment = SegmentOfAngle(person.angle);
        if (segment >= 0) {
            output.segments[segment] = 1.0;
        }
    }
    return output;
}

// A walker going back and forth across the room at 0.8 m/s, 2.5 m away.
TruthTarget Walker(int id, int64_t frame) {
    const double period = 60.0;  // frames one way
    const double phase = fmod(static_cast<double>(frame), 2.0 * period);
    const double along = phase < period ? phase : 2.0 * period - phase;
    return PersonAt(id, -2.4 + 0.08 * along, 2.5);
}

// "pass", "fail" or "n/a" (does not apply) for the named check.
std::string Verdict(const SegmentationScore& score, const std::string& name) {
    for (const ScoreCheck& check : score.checks) {
        if (check.name == name) {
            return !check.applies ? "n/a" : check.passed ? "pass" : "fail";
        }
    }
    return "missing";
}

// Runs frames 0..count-1 with the truth and output that make(frame) gives.
SegmentationScore Score(
    int64_t count,
    const std::function<void(int64_t, std::vector<TruthTarget>*, SegmentationOutput*)>& make) {
    SegmentationScorer scorer;
    for (int64_t frame = 0; frame < count; ++frame) {
        std::vector<TruthTarget> truth;
        SegmentationOutput output;
        make(frame, &truth, &output);
        scorer.AddFrame(truth, output);
    }
    return scorer.Result();
}

}  // namespace

TEST(SegmentationScore, SegmentsAreTwentyDegreesFromMinusSixty) {
    const std::pair<double, int> cases[] = {{-60.0, 0}, {-40.0001, 0}, {-40.0, 1},
                                            {0.0, 3},   {-0.001, 2},   {59.999, 5},
                                            {60.0, -1}, {-60.001, -1}, {NAN, -1}};
    for (const auto& c : cases) {
        EXPECT_EQ(SegmentOfAngle(c.first), c.second) << c.first;
    }
}

TEST(SegmentationScore, PerfectOutputScoresPerfectly) {
    const SegmentationScore score = Score(200, [](int64_t f, auto* truth, auto* output) {
        truth->push_back(Walker(1, f));
        truth->push_back(PersonAt(2, 1.0, 3.0));  // seated
        *output = PerfectSegments(*truth);
        output->tracks.push_back(TrackOn(7, (*truth)[0]));
        output->tracks.push_back(TrackOn(3, (*truth)[1]));
    });
    // frames, scored, people, walking and seated person-frames, false tracks,
    // id changes, swaps, segment frames.
    EXPECT_EQ(
        std::make_tuple(score.frames, score.scoredFrames, score.peopleSeen,
                        score.walkingPersonFrames, score.seatedPersonFrames, score.falseTracks,
                        score.idChanges, score.idSwaps, score.segmentFrames),
        std::make_tuple(200, 190, 2, 190, 190, 0, 0, 0, 190 * 6));
    EXPECT_EQ(
        std::make_tuple(score.walkingDetection, score.seatedDetection, score.segmentAgreement),
        std::make_tuple(1.0, 1.0, 1.0));
    EXPECT_NEAR(score.rangeRmsM + score.angleRmsDeg, 0.0, 1e-12);
    EXPECT_TRUE(score.passed);
    // Every target about people applies; the empty-room and one-walker
    // targets do not.
    for (const char* name : {"walking detection", "seated detection", "segment agreement",
                             "id swaps", "range error rms", "angle error rms"}) {
        EXPECT_EQ(Verdict(score, name), "pass") << name;
    }
    EXPECT_EQ(Verdict(score, "false tracks per 100 frames"), "n/a");
    EXPECT_EQ(Verdict(score, "id changes"), "n/a");
}

TEST(SegmentationScore, MissedFramesLowerDetectionAfterTheFirstSecond) {
    // Nothing is output during the first second; then every fourth frame
    // misses the walker.
    const SegmentationScore score = Score(110, [](int64_t f, auto* truth, auto* output) {
        truth->push_back(Walker(1, f));
        if (f >= 10 && f % 4 != 0) {
            output->tracks.push_back(TrackOn(1, (*truth)[0]));
        }
    });
    EXPECT_EQ(score.walkingPersonFrames, 100);
    EXPECT_EQ(score.walkingDetected, 75);
    EXPECT_DOUBLE_EQ(score.walkingDetection, 0.75);
    EXPECT_EQ(Verdict(score, "walking detection"), "fail");
    EXPECT_FALSE(score.passed);
}

TEST(SegmentationScore, AnIdChangeIsCountedOnce) {
    const SegmentationScore score = Score(100, [](int64_t f, auto* truth, auto* output) {
        truth->push_back(Walker(1, f));
        // The tracker loses the person for a few frames and comes back with
        // a new id: that is one change, not a change per frame.
        if (f < 40 || f > 44) {
            output->tracks.push_back(TrackOn(f < 40 ? 1 : 2, (*truth)[0]));
        }
    });
    EXPECT_EQ(score.idChanges, 1);
    EXPECT_EQ(score.idChangesPerPerson.at(1), 1);
    EXPECT_EQ(Verdict(score, "id changes"), "fail");
    EXPECT_FALSE(score.passed);
}

TEST(SegmentationScore, IdsBeforeTheFirstSecondOrOutOfScopeAreForgotten) {
    const SegmentationScore score = Score(100, [](int64_t f, auto* truth, auto* output) {
        // Out of scope (60 degrees off, beyond 55) from frame 40 to 59.
        const TruthTarget person = f >= 40 && f < 60 ? PersonAt(1, 2.5, 1.44) : Walker(1, f);
        truth->push_back(person);
        // Warm-up with id 5, then id 1; a new id 2 after the excursion.
        const double id = f < 10 ? 5 : f < 50 ? 1 : 2;
        output->tracks.push_back(TrackOn(id, person));
    });
    EXPECT_EQ(score.idChanges, 0);
    // The out-of-scope frames are not scored, but their track is no false one.
    EXPECT_EQ(score.walkingPersonFrames + score.seatedPersonFrames, 70);
    EXPECT_EQ(score.falseTracks, 0);
}

TEST(SegmentationScore, ASwapAtACrossingIsCountedOnceAndMoreFail) {
    // Two people walking towards each other along y = 2.5, passing at x = 0
    // around frame 50; the tracker exchanges their ids at frame 52, or goes
    // back and forth three times.
    struct Case {
        std::function<bool(int64_t)> swapped;
        int64_t swaps;
        const char* verdict;
    };
    const Case cases[] = {
        {[](int64_t f) { return f >= 52; }, 1, "pass"},
        {[](int64_t f) { return (f >= 48 && f < 50) || f >= 52; }, 3, "fail"},
    };
    for (const Case& c : cases) {
        const SegmentationScore score = Score(100, [&](int64_t f, auto* truth, auto* output) {
            const double step = 0.05 * (static_cast<double>(f) - 50.0);
            truth->push_back(PersonAt(1, step, 2.5));
            truth->push_back(PersonAt(2, -step, 2.6));
            *output = PerfectSegments(*truth);
            output->tracks.push_back(TrackOn(c.swapped(f) ? 20 : 10, (*truth)[0]));
            output->tracks.push_back(TrackOn(c.swapped(f) ? 10 : 20, (*truth)[1]));
        });
        EXPECT_EQ(score.idSwaps, c.swaps);
        EXPECT_EQ(score.idChanges, 2 * c.swaps) << "each swap changes both people's ids";
        EXPECT_EQ(score.crossings, 1);
        EXPECT_EQ(Verdict(score, "id swaps"), c.verdict);
    }
}

TEST(SegmentationScore, TwoUnrelatedIdChangesAreNoSwap) {
    // People far apart, each getting a fresh id: changes but no swap.
    const SegmentationScore score = Score(100, [](int64_t f, auto* truth, auto* output) {
        truth->push_back(PersonAt(1, -2.0, 2.0));
        truth->push_back(PersonAt(2, 2.0, 2.0));
        output->tracks.push_back(TrackOn(f < 30 ? 1 : 3, (*truth)[0]));
        output->tracks.push_back(TrackOn(f < 31 ? 2 : 4, (*truth)[1]));
    });
    EXPECT_EQ(score.idChanges, 2);
    EXPECT_EQ(score.idSwaps, 0);
    EXPECT_EQ(score.crossings, 0);
    EXPECT_EQ(Verdict(score, "id swaps"), "pass");
}

TEST(SegmentationScore, FalseTracksArePer100ScoredFrames) {
    // An empty room with a ghost in 5 of the 100 scored frames, and a ghost
    // during the first second that is not held against the output.
    const SegmentationScore score = Score(110, [](int64_t f, auto* truth, auto* output) {
        if (f == 3 || (f >= 10 && f % 20 == 0)) {
            output->tracks.push_back(TrackAt(9, 0.5, 3.0));
            output->segments[3] = 1.0;
        }
    });
    EXPECT_EQ(score.peopleSeen, 0);
    EXPECT_EQ(score.scoredFrames, 100);
    EXPECT_EQ(score.falseTracks, 5);
    EXPECT_DOUBLE_EQ(score.falseTracksPer100Frames, 5.0);
    EXPECT_EQ(Verdict(score, "false tracks per 100 frames"), "fail");
    // Nobody to detect: those targets do not apply.
    EXPECT_EQ(Verdict(score, "walking detection"), "n/a");
    EXPECT_EQ(Verdict(score, "segment agreement"), "n/a");
    EXPECT_EQ(score.segmentFrames, 600);
    EXPECT_EQ(score.segmentAgreements, 595);
}

TEST(SegmentationScore, TracksBeyondHalfAMetreAreFalseAndTheOneClosestWins) {
    const SegmentationScore score = Score(20, [](int64_t f, auto* truth, auto* output) {
        const TruthTarget person = PersonAt(1, 0.0, 2.0);
        truth->push_back(person);
        output->tracks.push_back(TrackAt(1, 0.3, 2.0));   // 0.3 m off
        output->tracks.push_back(TrackAt(2, 0.0, 2.1));   // 0.1 m off: the match
        output->tracks.push_back(TrackAt(3, 0.0, 2.55));  // 0.55 m off
    });
    EXPECT_EQ(score.seatedDetected, 10);
    EXPECT_EQ(score.falseTracks, 20);
    EXPECT_NEAR(score.rangeRmsM, 0.1, 1e-9);
    EXPECT_EQ(score.idChanges, 0);
}

TEST(SegmentationScore, JitterGivesItsRms) {
    // Range off by +-0.1 m alternately, angle always 3 degrees off.
    const SegmentationScore score = Score(60, [](int64_t f, auto* truth, auto* output) {
        truth->push_back(PersonAt(1, 0.5, 3.0));
        output->tracks.push_back(TrackOn(1, (*truth)[0], f % 2 == 0 ? 0.1 : -0.1, 3.0));
    });
    EXPECT_EQ(score.matchedPersonFrames, 50);
    EXPECT_NEAR(score.rangeRmsM, 0.1, 1e-9);
    EXPECT_NEAR(score.angleRmsDeg, 3.0, 1e-9);
    EXPECT_EQ(Verdict(score, "range error rms"), "pass");
}

TEST(SegmentationScore, StillPeopleAreSeatedAndATurningWalkerIsNot) {
    const SegmentationScore score = Score(300, [](int64_t f, auto* truth, auto* output) {
        truth->push_back(Walker(1, f));  // turns round at frames 60, 120, ...
        // Walks for 10 s, then stands still for the rest.
        const double x = f < 100 ? -2.0 + 0.04 * static_cast<double>(f) : 2.0;
        truth->push_back(PersonAt(2, x, 3.5));
    });
    // Person 2 walks in frames 10..99 and still moved more than 0.1 m over
    // the last second up to frame 107 (3 steps of 0.04 m); still from 108.
    EXPECT_EQ(score.walkingPersonFrames, 290 + 98);
    EXPECT_EQ(score.seatedPersonFrames, 192);
}

TEST(SegmentationScore, LateArrivalsWarmUpForOneSecond) {
    const SegmentationScore score = Score(100, [](int64_t f, auto* truth, auto* output) {
        if (f >= 50) {
            truth->push_back(PersonAt(3, -1.0, 2.0));
        }
        if (f >= 55) {
            output->tracks.push_back(TrackOn(1, (*truth)[0]));
            output->segments[1] = 1.0;  // -26.6 degrees
        }
    });
    EXPECT_EQ(score.seatedPersonFrames, 40);
    EXPECT_EQ(score.seatedDetection, 1.0);
    EXPECT_EQ(score.falseTracks, 0);
    // Frames 50..59 hold a person still warming up in segment 1: not scored.
    EXPECT_EQ(score.segmentFrames, 90 * 6 - 10);
    EXPECT_EQ(score.segmentAgreement, 1.0);
}

TEST(SegmentationScore, SegmentsAgreeOnlyWithTheRightOccupancy) {
    const SegmentationScore score = Score(110, [](int64_t f, auto* truth, auto* output) {
        truth->push_back(PersonAt(1, -1.0, 2.0));  // -26.6 degrees: segment 1
        output->tracks.push_back(TrackOn(1, (*truth)[0]));
        // Half the time the output shows the neighbouring segment instead.
        output->segments[f % 2 == 0 ? 1 : 2] = 1.0;
    });
    EXPECT_EQ(score.segmentFrames, 600);
    EXPECT_EQ(score.segmentAgreements, 600 - 50 * 2);
    EXPECT_EQ(Verdict(score, "segment agreement"), "fail");
}

TEST(SegmentationScore, PeopleOutOfScopeBlockTheirSegmentButCountNowhere) {
    const SegmentationScore score = Score(30, [](int64_t f, auto* truth, auto* output) {
        truth->push_back(PersonAt(1, 2.9, 1.6));  // 61.1 degrees: beyond the field of view
        truth->push_back(PersonAt(2, 2.6, 1.7));  // 56.8 degrees: in view, out of scope
        truth->push_back(PersonAt(3, 0.0, 5.5));  // beyond 5 m
        output->tracks.push_back(TrackOn(8, (*truth)[1]));
    });
    EXPECT_EQ(score.walkingPersonFrames + score.seatedPersonFrames, 0);
    EXPECT_EQ(score.falseTracks, 0);
    // Segment 5 (person 2) and segment 3 (person 3) are not scored.
    EXPECT_EQ(score.segmentFrames, 20 * 4);
}

TEST(SegmentationScore, BadOutputValuesNeverMatch) {
    const SegmentationScore score = Score(20, [](int64_t f, auto* truth, auto* output) {
        truth->push_back(PersonAt(1, 0.0, 2.0));
        OutputTrack track = TrackOn(1, (*truth)[0]);
        track.range = NAN;
        output->tracks.push_back(track);
        output->tracks.push_back(OutputTrack());  // id 0: an empty row
        output->segments[0] = NAN;
    });
    EXPECT_EQ(score.seatedDetected, 0);
    EXPECT_EQ(score.falseTracks, 10);
    // NaN shows as occupied: segment 0 disagrees, segment 3 (the person) too.
    EXPECT_EQ(score.segmentAgreements, 10 * 4);
}

TEST(SegmentationScore, RepeatedIdsInATruthFrameCountOnce) {
    const SegmentationScore score = Score(20, [](int64_t f, auto* truth, auto* output) {
        truth->push_back(PersonAt(1, 0.0, 2.0));
        truth->push_back(PersonAt(1, 1.0, 2.0));
        output->tracks.push_back(TrackOn(1, (*truth)[0]));
    });
    EXPECT_EQ(score.peopleSeen, 1);
    EXPECT_EQ(score.seatedPersonFrames, 10);
    EXPECT_EQ(score.seatedDetection, 1.0);
}

TEST(SegmentationScore, JsonAndReportCarryTheFiguresAndVerdict) {
    const SegmentationScore score = Score(60, [](int64_t f, auto* truth, auto* output) {
        truth->push_back(Walker(1, f));
        *output = PerfectSegments(*truth);
        output->tracks.push_back(TrackOn(1, (*truth)[0], 0.05));
    });
    const Json::Value json = ScoreToJson(score);
    EXPECT_EQ(json["walkingPersonFrames"].asInt(), 50);
    EXPECT_NEAR(json["rangeRmsM"].asDouble(), 0.05, 1e-9);
    EXPECT_EQ(json["idChangesPerPerson"]["1"].asInt(), 0);
    EXPECT_TRUE(json["passed"].asBool());
    ASSERT_EQ(json["checks"].size(), score.checks.size());
    EXPECT_EQ(json["checks"][0]["name"].asString(), "walking detection");
    EXPECT_EQ(json["checks"][0]["comparison"].asString(), ">=");
    EXPECT_DOUBLE_EQ(json["checks"][0]["target"].asDouble(), 0.95);
    const std::string report = ScoreReport(score);
    EXPECT_NE(report.find("verdict: pass"), std::string::npos) << report;
    EXPECT_NE(report.find("walking detection"), std::string::npos) << report;
}

namespace {

Decoy DecoyAt(DecoyKind kind, double x, double y) {
    Decoy decoy;
    decoy.kind = kind;
    decoy.personId = kind == DecoyKind::kEcho ? 1 : 0;
    decoy.bounces = kind == DecoyKind::kEcho ? 1 : 0;
    decoy.x = x;
    decoy.y = y;
    decoy.range = hypot(x, y);
    decoy.angle = atan2(x, y) * 180.0 / kPi;
    return decoy;
}

// Per cause, in FalseTrackCause order: track-frames, then longest hold.
std::vector<int64_t> CauseFigures(const SegmentationScore& score) {
    std::vector<int64_t> figures;
    for (const FalseTrackCauseScore& cause : score.falseTrackCauses) {
        figures.push_back(cause.tracks);
    }
    for (const FalseTrackCauseScore& cause : score.falseTrackCauses) {
        figures.push_back(cause.longestHoldFrames);
    }
    return figures;
}

}  // namespace

TEST(SegmentationScore, FalseTracksAreGivenTheCauseOfTheNearestDecoyInReach) {
    // A fan at (1, 2) and a person's echo at (-1, 3); a ghost track with id 4
    // somewhere in every frame of 30 (20 scored).
    const Decoy mover = DecoyAt(DecoyKind::kMover, 1.0, 2.0);
    const Decoy echo = DecoyAt(DecoyKind::kEcho, -1.0, 3.0);
    // Both kinds in reach of (0, 2): the nearer decides.
    const std::vector<Decoy> nearEcho = {DecoyAt(DecoyKind::kEcho, 0.0, 2.3),
                                         DecoyAt(DecoyKind::kMover, 0.0, 1.5)};
    const std::vector<Decoy> nearMover = {DecoyAt(DecoyKind::kEcho, 0.0, 2.4),
                                          DecoyAt(DecoyKind::kMover, 0.0, 1.8)};
    struct Case {
        const char* what;
        double x, y;
        std::vector<Decoy> decoys;
        std::vector<int64_t> figures;  // mover, echo, elsewhere; then their holds
    };
    const Case cases[] = {
        {"0.65 m from the mover", 1.0, 2.65, {mover, echo}, {20, 0, 0, 20, 0, 0}},
        {"0.75 m from the mover", 1.75, 2.0, {mover, echo}, {0, 0, 20, 0, 0, 20}},
        {"0.45 m from the echo", -1.0, 2.55, {mover, echo}, {0, 20, 0, 0, 20, 0}},
        {"0.55 m from the echo", -1.55, 3.0, {mover, echo}, {0, 0, 20, 0, 0, 20}},
        {"echo 0.3 m, mover 0.5 m", 0.0, 2.0, nearEcho, {0, 20, 0, 0, 20, 0}},
        {"mover 0.2 m, echo 0.4 m", 0.0, 2.0, nearMover, {20, 0, 0, 20, 0, 0}},
        {"on the mover, no decoys given", 1.0, 2.0, {}, {0, 0, 20, 0, 0, 20}},
    };
    for (const Case& c : cases) {
        SegmentationScorer withDecoys;
        SegmentationScorer without;
        for (int64_t f = 0; f < 30; ++f) {
            SegmentationOutput output;
            output.tracks.push_back(TrackAt(4, c.x, c.y));
            withDecoys.AddFrame({}, output, c.decoys);
            without.AddFrame({}, output);
        }
        const SegmentationScore score = withDecoys.Result();
        EXPECT_EQ(CauseFigures(score), c.figures) << c.what;
        EXPECT_EQ(score.falseTracks, 20) << c.what;
        // Decoys explain false tracks; they change no other figure.
        EXPECT_EQ(ScoreToJson(score)["checks"], ScoreToJson(without.Result())["checks"]) << c.what;
    }
}

TEST(SegmentationScore, AHoldIsOneIdFalseWithOneCauseInConsecutiveFrames) {
    // A walker at (0, 2) with a track; a fan at (1.5, 2.5) whose ghost (id 8)
    // comes and goes; frames 0..59, scored from 10.
    const Decoy fan = DecoyAt(DecoyKind::kMover, 1.5, 2.5);
    const Decoy echo = DecoyAt(DecoyKind::kEcho, 0.0, 3.0);
    struct Case {
        const char* what;
        // Where the ghost is in frame f: 'm' on the fan, 'e' on the echo,
        // 'p' on the person (then it is no false track), '-' absent.
        std::function<char(int64_t)> ghost;
        std::vector<int64_t> figures;  // mover, echo, elsewhere; then their holds
    };
    const Case cases[] = {
        {"on the fan throughout: the warm-up does not count",
         [](int64_t) { return 'm'; },
         {50, 0, 0, 50, 0, 0}},
        {"gone for one frame", [](int64_t f) { return f == 30 ? '-' : 'm'; }, {49, 0, 0, 29, 0, 0}},
        {"on the person for one frame",
         [](int64_t f) { return f == 40 ? 'p' : 'm'; },
         {49, 0, 0, 30, 0, 0}},
        {"from the echo to the fan",
         [](int64_t f) { return f < 25 ? 'e' : 'm'; },
         {35, 15, 0, 35, 15, 0}},
        {"echo, fan, echo",
         [](int64_t f) { return f < 20 || f >= 50 ? 'e' : 'm'; },
         {30, 20, 0, 30, 10, 0}},
    };
    for (const Case& c : cases) {
        SegmentationScorer scorer;
        for (int64_t f = 0; f < 60; ++f) {
            const TruthTarget person = PersonAt(1, 0.0, 2.0);
            SegmentationOutput output = PerfectSegments({person});
            const char where = c.ghost(f);
            // On the person the ghost is the person's only track, and so
            // their match.
            if (where != 'p') {
                output.tracks.push_back(TrackOn(1, person));
            }
            if (where == 'm' || where == 'e') {
                const Decoy& at = where == 'm' ? fan : echo;
                output.tracks.push_back(TrackAt(8, at.x, at.y));
            } else if (where == 'p') {
                output.tracks.push_back(TrackOn(8, person));
            }
            scorer.AddFrame({person}, output, {fan, echo});
        }
        const SegmentationScore score = scorer.Result();
        EXPECT_EQ(CauseFigures(score), c.figures) << c.what;
        EXPECT_DOUBLE_EQ(score.falseTrackCauses[0].longestHoldS, 0.1 * c.figures[3]) << c.what;
        const Json::Value json = ScoreToJson(score)["falseTrackCauses"];
        EXPECT_EQ(json["mover"]["longestHoldFrames"].asInt64(), c.figures[3]) << c.what;
        EXPECT_EQ(json["echo"]["tracks"].asInt64(), c.figures[1]) << c.what;
    }
}

TEST(SegmentationScore, SideBySideIsTwoStillPeopleCloserThanEightyCentimetres) {
    struct Case {
        const char* what;
        TruthTarget second;  // the first sits at (0, 3)
        int64_t frames;
    };
    const Case cases[] = {
        {"0.6 m apart on a sofa", PersonAt(2, 0.6, 3.0), 20},
        {"0.9 m apart", PersonAt(2, 0.9, 3.0), 0},
    };
    for (const Case& c : cases) {
        const SegmentationScore score = Score(30, [&](int64_t f, auto* truth, auto* output) {
            truth->push_back(PersonAt(1, 0.0, 3.0));
            truth->push_back(c.second);
        });
        EXPECT_EQ(score.sideBySideFrames, c.frames) << c.what;
        EXPECT_EQ(score.crossings, 0) << c.what;
    }
    // A walker passing close by a seated person is not side by side.
    const SegmentationScore passing = Score(100, [](int64_t f, auto* truth, auto* output) {
        truth->push_back(PersonAt(1, 0.0, 2.5));
        truth->push_back(Walker(2, f));
    });
    EXPECT_EQ(passing.sideBySideFrames, 0);
    EXPECT_GT(passing.crossings, 0);
}
