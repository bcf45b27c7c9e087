#include "SegmentationScore.h"

#include <math.h>
#include <stdio.h>

#include <algorithm>
#include <set>
#include <tuple>

#include "RadarFrameFormat.h"

namespace radar {

namespace {

constexpr double kPi = 3.14159265358979323846;

double Ratio(int64_t part, int64_t whole) {
    return whole > 0 ? static_cast<double>(part) / static_cast<double>(whole) : 0.0;
}

bool IsFiniteTrack(const OutputTrack& track) {
    return isfinite(track.id) && isfinite(track.range) && isfinite(track.angle) &&
           isfinite(track.velocity);
}

bool InScope(const TruthTarget& person) {
    return person.range >= kScopeMinRangeM && person.range <= kScopeMaxRangeM &&
           fabs(person.angle) <= kScopeMaxAngleDeg;
}

ScoreCheck Check(const char* name, double value, double target, bool atMost, bool applies) {
    ScoreCheck check;
    check.name = name;
    check.value = value;
    check.target = target;
    check.atMost = atMost;
    check.applies = applies;
    check.passed = atMost ? value <= target : value >= target;
    return check;
}

}  // namespace

int SegmentOfAngle(double angleDeg) {
    if (!isfinite(angleDeg)) {
        return -1;
    }
    const double position = (angleDeg - kSegmentStartDeg) / kSegmentWidthDeg;
    if (position < 0.0 || position >= kScoredSegments) {
        return -1;
    }
    return static_cast<int>(position);
}

void SegmentationScorer::_Match(const std::vector<TruthTarget>& people,
                                const std::vector<OutputTrack>& tracks,
                                std::vector<int>* trackOfPerson,
                                std::vector<bool>* trackMatched) const {
    // (distance, person, track): sorting gives the greedy order with its
    // tie-breaks.
    std::vector<std::tuple<double, size_t, size_t>> candidates;
    for (size_t p = 0; p < people.size(); ++p) {
        for (size_t t = 0; t < tracks.size(); ++t) {
            const OutputTrack& track = tracks[t];
            if (!IsFiniteTrack(track)) {
                continue;
            }
            const double angle = track.angle * kPi / 180.0;
            const double dx = track.range * sin(angle) - people[p].x;
            const double dy = track.range * cos(angle) - people[p].y;
            const double distance = sqrt(dx * dx + dy * dy);
            if (distance <= kMatchDistanceM) {
                candidates.emplace_back(distance, p, t);
            }
        }
    }
    std::sort(candidates.begin(), candidates.end());
    trackOfPerson->assign(people.size(), -1);
    trackMatched->assign(tracks.size(), false);
    for (const auto& candidate : candidates) {
        const size_t p = std::get<1>(candidate);
        const size_t t = std::get<2>(candidate);
        if ((*trackOfPerson)[p] >= 0 || (*trackMatched)[t]) {
            continue;
        }
        (*trackOfPerson)[p] = static_cast<int>(t);
        (*trackMatched)[t] = true;
    }
}

bool SegmentationScorer::_IsStill(const Person& person) const {
    double path = 0.0;
    for (size_t i = 1; i < person.xs.size(); ++i) {
        path += hypot(person.xs[i] - person.xs[i - 1], person.ys[i] - person.ys[i - 1]);
    }
    return path < kStillPathM;
}

void SegmentationScorer::_RecordChange(int person, double from, double to) {
    ++m_idChanges[person];
    // Changes too old to pair with this one or any later one.
    m_pendingChanges.erase(std::remove_if(m_pendingChanges.begin(), m_pendingChanges.end(),
                                          [this](const Change& change) {
                                              return m_frame - change.frame > kSwapWindowFrames;
                                          }),
                           m_pendingChanges.end());
    for (auto it = m_pendingChanges.begin(); it != m_pendingChanges.end(); ++it) {
        if (it->person != person && it->from == to && it->to == from) {
            ++m_swaps;
            m_pendingChanges.erase(it);
            return;
        }
    }
    m_pendingChanges.push_back(Change{person, from, to, m_frame});
}

void SegmentationScorer::_ScoreSegments(const std::vector<TruthTarget>& people,
                                        const std::vector<bool>& counted,
                                        const SegmentationOutput& output) {
    bool occupied[kScoredSegments] = {};
    bool unscored[kScoredSegments] = {};
    for (size_t p = 0; p < people.size(); ++p) {
        const int segment = SegmentOfAngle(people[p].angle);
        if (segment < 0) {
            continue;
        }
        if (counted[p]) {
            occupied[segment] = true;
        } else {
            unscored[segment] = true;
        }
    }
    for (int i = 0; i < kScoredSegments; ++i) {
        if (unscored[i]) {
            continue;
        }
        ++m_segmentFrames;
        // NaN is not 0: an output that is not a number shows as occupied.
        const bool shown = !(output.segments[i] == 0.0);
        if (shown == occupied[i]) {
            ++m_segmentAgreements;
        }
    }
}

void SegmentationScorer::_ScoreCrossings(const std::vector<TruthTarget>& people,
                                         const std::vector<bool>& counted,
                                         const std::vector<bool>& still) {
    for (size_t a = 0; a < people.size(); ++a) {
        for (size_t b = a + 1; b < people.size(); ++b) {
            if (!counted[a] || !counted[b]) {
                continue;
            }
            const auto key = std::make_pair(std::min(people[a].id, people[b].id),
                                            std::max(people[a].id, people[b].id));
            const double distance = hypot(people[a].x - people[b].x, people[a].y - people[b].y);
            bool& together = m_together[key];
            // Two people sitting side by side never cross: somebody must
            // be on the move for their tracks to meet.
            if (!together && distance < kCrossingEnterM && !(still[a] && still[b])) {
                together = true;
                ++m_crossings;
            } else if (together && distance > kCrossingLeaveM) {
                together = false;
            }
        }
    }
}

void SegmentationScorer::_ScoreSideBySide(const std::vector<TruthTarget>& people,
                                          const std::vector<bool>& still) {
    for (size_t a = 0; a < people.size(); ++a) {
        for (size_t b = a + 1; b < people.size(); ++b) {
            if (still[a] && still[b] &&
                hypot(people[a].x - people[b].x, people[a].y - people[b].y) < kSideBySideM) {
                ++m_sideBySideFrames;
                return;
            }
        }
    }
}

void SegmentationScorer::_ScoreFalseTrack(const OutputTrack& track,
                                          const std::vector<Decoy>& decoys) {
    FalseTrackCause cause = FalseTrackCause::kElsewhere;
    if (IsFiniteTrack(track)) {
        const double angle = track.angle * kPi / 180.0;
        const double x = track.range * sin(angle);
        const double y = track.range * cos(angle);
        double nearest = 0.0;
        for (const Decoy& decoy : decoys) {
            const bool mover = decoy.kind == DecoyKind::kMover;
            const double distance = hypot(decoy.x - x, decoy.y - y);
            if (distance > (mover ? kMoverCauseM : kEchoCauseM)) {
                continue;
            }
            const bool nearer = cause == FalseTrackCause::kElsewhere || distance < nearest ||
                                (distance == nearest && mover);
            if (nearer) {
                nearest = distance;
                cause = mover ? FalseTrackCause::kMover : FalseTrackCause::kEcho;
            }
        }
    }
    const int index = static_cast<int>(cause);
    ++m_causeTracks[index];
    if (!isfinite(track.id)) {
        // No id to follow from frame to frame: a hold of this frame alone.
        m_longestHold[index] = std::max<int64_t>(m_longestHold[index], 1);
        return;
    }
    auto found = m_holds.find(track.id);
    if (found == m_holds.end()) {
        found = m_holds.emplace(track.id, Hold{cause, m_frame, 0}).first;
    }
    Hold& hold = found->second;
    if (hold.frames > 0 && hold.lastFrame == m_frame) {
        // The same id twice in one frame: the frame counts once.
        return;
    }
    const bool goesOn = hold.frames > 0 && hold.cause == cause && hold.lastFrame == m_frame - 1;
    hold.frames = goesOn ? hold.frames + 1 : 1;
    hold.cause = cause;
    hold.lastFrame = m_frame;
    m_longestHold[index] = std::max(m_longestHold[index], hold.frames);
}

void SegmentationScorer::AddFrame(const std::vector<TruthTarget>& truth,
                                  const SegmentationOutput& output,
                                  const std::vector<Decoy>& decoys) {
    // The people of this frame, each id once.
    std::vector<TruthTarget> people;
    std::set<int> ids;
    for (const TruthTarget& target : truth) {
        if (ids.insert(target.id).second) {
            people.push_back(target);
        }
    }
    // Presence: who is new, who stays, who left.
    for (auto it = m_people.begin(); it != m_people.end();) {
        it = ids.count(it->first) != 0 ? std::next(it) : m_people.erase(it);
    }
    for (auto it = m_together.begin(); it != m_together.end();) {
        const bool bothHere = ids.count(it->first.first) != 0 && ids.count(it->first.second) != 0;
        it = bothHere ? std::next(it) : m_together.erase(it);
    }
    for (const TruthTarget& target : people) {
        Person& person = m_people[target.id];
        m_idChanges.emplace(target.id, 0);
        ++person.presentFrames;
        person.xs.push_back(target.x);
        person.ys.push_back(target.y);
        if (person.xs.size() > static_cast<size_t>(kStillWindowFrames) + 1) {
            person.xs.erase(person.xs.begin());
            person.ys.erase(person.ys.begin());
        }
    }

    std::vector<OutputTrack> tracks;
    for (const OutputTrack& track : output.tracks) {
        if (track.id != 0.0) {
            tracks.push_back(track);
        }
    }
    std::vector<int> trackOfPerson;
    std::vector<bool> trackMatched;
    _Match(people, tracks, &trackOfPerson, &trackMatched);

    const bool scored = m_frame >= kWarmUpFrames;
    std::vector<bool> counted(people.size(), false);
    std::vector<bool> still(people.size(), false);
    for (size_t p = 0; p < people.size(); ++p) {
        const TruthTarget& target = people[p];
        Person& person = m_people[target.id];
        const bool warm = person.presentFrames > kWarmUpFrames;
        if (!InScope(target)) {
            person.lastId = 0.0;
        }
        counted[p] = scored && warm && InScope(target);
        if (!counted[p]) {
            continue;
        }
        const int t = trackOfPerson[p];
        still[p] = _IsStill(person);
        (still[p] ? m_seated : m_walking) += 1;
        if (t < 0) {
            continue;
        }
        (still[p] ? m_seatedDetected : m_walkingDetected) += 1;
        const OutputTrack& track = tracks[static_cast<size_t>(t)];
        ++m_matched;
        m_rangeSquares += (track.range - target.range) * (track.range - target.range);
        m_angleSquares += (track.angle - target.angle) * (track.angle - target.angle);
        if (person.lastId != 0.0 && track.id != person.lastId) {
            _RecordChange(target.id, person.lastId, track.id);
        }
        person.lastId = track.id;
    }

    if (scored) {
        ++m_scoredFrames;
        for (size_t t = 0; t < tracks.size(); ++t) {
            if (!trackMatched[t]) {
                ++m_falseTracks;
                _ScoreFalseTrack(tracks[t], decoys);
            }
        }
        _ScoreSegments(people, counted, output);
        _ScoreCrossings(people, counted, still);
        _ScoreSideBySide(people, still);
    }
    // Runs that did not go on in this frame are over for good.
    for (auto it = m_holds.begin(); it != m_holds.end();) {
        it = it->second.lastFrame == m_frame ? std::next(it) : m_holds.erase(it);
    }
    ++m_frame;
}

SegmentationScore SegmentationScorer::Result() const {
    SegmentationScore score;
    score.frames = m_frame;
    score.scoredFrames = m_scoredFrames;
    score.peopleSeen = static_cast<int>(m_idChanges.size());
    score.walkingPersonFrames = m_walking;
    score.walkingDetected = m_walkingDetected;
    score.walkingDetection = Ratio(m_walkingDetected, m_walking);
    score.seatedPersonFrames = m_seated;
    score.seatedDetected = m_seatedDetected;
    score.seatedDetection = Ratio(m_seatedDetected, m_seated);
    score.matchedPersonFrames = m_matched;
    if (m_matched > 0) {
        score.rangeRmsM = sqrt(m_rangeSquares / static_cast<double>(m_matched));
        score.angleRmsDeg = sqrt(m_angleSquares / static_cast<double>(m_matched));
    }
    score.falseTracks = m_falseTracks;
    score.falseTracksPer100Frames = 100.0 * Ratio(m_falseTracks, m_scoredFrames);
    score.idChangesPerPerson = m_idChanges;
    for (const auto& person : m_idChanges) {
        score.idChanges += person.second;
    }
    score.idSwaps = m_swaps;
    score.crossings = m_crossings;
    score.segmentFrames = m_segmentFrames;
    score.segmentAgreements = m_segmentAgreements;
    score.segmentAgreement = Ratio(m_segmentAgreements, m_segmentFrames);
    score.sideBySideFrames = m_sideBySideFrames;
    for (int i = 0; i < kFalseTrackCauses; ++i) {
        FalseTrackCauseScore& cause = score.falseTrackCauses[i];
        cause.tracks = m_causeTracks[i];
        cause.per100Frames = 100.0 * Ratio(m_causeTracks[i], m_scoredFrames);
        cause.longestHoldFrames = m_longestHold[i];
        cause.longestHoldS = static_cast<double>(m_longestHold[i]) / kFrameRateHz;
    }

    const bool people = score.peopleSeen > 0;
    score.checks.push_back(Check("walking detection", score.walkingDetection,
                                 kTargetWalkingDetection, false, m_walking > 0));
    score.checks.push_back(Check("seated detection", score.seatedDetection, kTargetSeatedDetection,
                                 false, m_seated > 0));
    score.checks.push_back(
        Check("range error rms", score.rangeRmsM, kTargetRangeRmsM, true, m_matched > 0));
    score.checks.push_back(
        Check("angle error rms", score.angleRmsDeg, kTargetAngleRmsDeg, true, m_matched > 0));
    score.checks.push_back(Check("false tracks per 100 frames", score.falseTracksPer100Frames,
                                 kTargetFalseTracksPer100Frames, true,
                                 !people && m_scoredFrames > 0));
    score.checks.push_back(Check("id changes", static_cast<double>(score.idChanges),
                                 static_cast<double>(kTargetIdChanges), true,
                                 score.peopleSeen == 1 && m_walking > 0));
    // At most kTargetSwapsPerCrossing swaps for each crossing there was.
    score.checks.push_back(Check("id swaps", static_cast<double>(m_swaps),
                                 kTargetSwapsPerCrossing * static_cast<double>(m_crossings), true,
                                 score.peopleSeen >= 2));
    score.checks.push_back(Check("segment agreement", score.segmentAgreement,
                                 kTargetSegmentAgreement, false, people && m_segmentFrames > 0));
    score.passed = true;
    for (const ScoreCheck& check : score.checks) {
        if (check.applies && !check.passed) {
            score.passed = false;
        }
    }
    return score;
}

Json::Value ScoreToJson(const SegmentationScore& score) {
    Json::Value root(Json::objectValue);
    root["frames"] = static_cast<Json::Int64>(score.frames);
    root["scoredFrames"] = static_cast<Json::Int64>(score.scoredFrames);
    root["peopleSeen"] = score.peopleSeen;
    root["walkingPersonFrames"] = static_cast<Json::Int64>(score.walkingPersonFrames);
    root["walkingDetected"] = static_cast<Json::Int64>(score.walkingDetected);
    root["walkingDetection"] = score.walkingDetection;
    root["seatedPersonFrames"] = static_cast<Json::Int64>(score.seatedPersonFrames);
    root["seatedDetected"] = static_cast<Json::Int64>(score.seatedDetected);
    root["seatedDetection"] = score.seatedDetection;
    root["matchedPersonFrames"] = static_cast<Json::Int64>(score.matchedPersonFrames);
    root["rangeRmsM"] = score.rangeRmsM;
    root["angleRmsDeg"] = score.angleRmsDeg;
    root["falseTracks"] = static_cast<Json::Int64>(score.falseTracks);
    root["falseTracksPer100Frames"] = score.falseTracksPer100Frames;
    root["idChanges"] = static_cast<Json::Int64>(score.idChanges);
    Json::Value perPerson(Json::objectValue);
    for (const auto& person : score.idChangesPerPerson) {
        perPerson[std::to_string(person.first)] = static_cast<Json::Int64>(person.second);
    }
    root["idChangesPerPerson"] = perPerson;
    root["idSwaps"] = static_cast<Json::Int64>(score.idSwaps);
    root["crossings"] = static_cast<Json::Int64>(score.crossings);
    root["segmentFrames"] = static_cast<Json::Int64>(score.segmentFrames);
    root["segmentAgreements"] = static_cast<Json::Int64>(score.segmentAgreements);
    root["segmentAgreement"] = score.segmentAgreement;
    Json::Value checks(Json::arrayValue);
    for (const ScoreCheck& check : score.checks) {
        Json::Value item(Json::objectValue);
        item["name"] = check.name;
        item["value"] = check.value;
        item["target"] = check.target;
        item["comparison"] = check.atMost ? "<=" : ">=";
        item["applies"] = check.applies;
        item["passed"] = check.passed;
        checks.append(item);
    }
    root["checks"] = checks;
    root["passed"] = score.passed;
    Json::Value causes(Json::objectValue);
    for (int i = 0; i < kFalseTrackCauses; ++i) {
        const FalseTrackCauseScore& cause = score.falseTrackCauses[i];
        Json::Value item(Json::objectValue);
        item["tracks"] = static_cast<Json::Int64>(cause.tracks);
        item["per100Frames"] = cause.per100Frames;
        item["longestHoldFrames"] = static_cast<Json::Int64>(cause.longestHoldFrames);
        item["longestHoldS"] = cause.longestHoldS;
        causes[FalseTrackCauseName(static_cast<FalseTrackCause>(i))] = item;
    }
    root["falseTrackCauses"] = causes;
    root["sideBySideFrames"] = static_cast<Json::Int64>(score.sideBySideFrames);
    return root;
}

std::string ScoreReport(const SegmentationScore& score) {
    std::string text;
    char line[256];
    snprintf(line, sizeof(line), "%lld frames scored of %lld, %d people in the truth\n",
             static_cast<long long>(score.scoredFrames), static_cast<long long>(score.frames),
             score.peopleSeen);
    text += line;
    const struct {
        const char* label;
        int64_t part;
        int64_t whole;
    } details[] = {
        {"walking person-frames detected", score.walkingDetected, score.walkingPersonFrames},
        {"seated person-frames detected", score.seatedDetected, score.seatedPersonFrames},
        {"segment-frames agreeing", score.segmentAgreements, score.segmentFrames},
    };
    for (const auto& detail : details) {
        snprintf(line, sizeof(line), "  %-34s %lld of %lld\n", detail.label,
                 static_cast<long long>(detail.part), static_cast<long long>(detail.whole));
        text += line;
    }
    snprintf(line, sizeof(line),
             "  %-34s %lld (matched person-frames %lld)\n"
             "  %-34s %lld\n"
             "  %-34s %lld in %lld crossings\n",
             "false tracks", static_cast<long long>(score.falseTracks),
             static_cast<long long>(score.matchedPersonFrames), "id changes",
             static_cast<long long>(score.idChanges), "id swaps",
             static_cast<long long>(score.idSwaps), static_cast<long long>(score.crossings));
    text += line;
    text += "  false tracks by cause:";
    for (int i = 0; i < kFalseTrackCauses; ++i) {
        const FalseTrackCauseScore& cause = score.falseTrackCauses[i];
        snprintf(line, sizeof(line), "%s %s %lld (longest %.1f s)", i > 0 ? "," : "",
                 FalseTrackCauseName(static_cast<FalseTrackCause>(i)),
                 static_cast<long long>(cause.tracks), cause.longestHoldS);
        text += line;
    }
    snprintf(line, sizeof(line), "\n  %-34s %lld\n", "side-by-side frames",
             static_cast<long long>(score.sideBySideFrames));
    text += line;
    int applied = 0;
    int met = 0;
    for (const ScoreCheck& check : score.checks) {
        const bool fraction = !check.atMost;
        const double scale = fraction ? 100.0 : 1.0;
        snprintf(line, sizeof(line), "  %-34s %10.3f%s  target %s %.3f%s  %s\n", check.name.c_str(),
                 check.value * scale, fraction ? " %" : "  ",
                 check.atMost ? "<=" : ">=", check.target * scale, fraction ? " %" : "",
                 !check.applies ? "(does not apply)"
                 : check.passed ? "met"
                                : "NOT MET");
        text += line;
        if (check.applies) {
            ++applied;
            met += check.passed ? 1 : 0;
        }
    }
    snprintf(line, sizeof(line), "verdict: %s (%d of %d targets met)\n",
             score.passed ? "pass" : "fail", met, applied);
    text += line;
    return text;
}

const char* FalseTrackCauseName(FalseTrackCause cause) {
    switch (cause) {
        case FalseTrackCause::kMover:
            return "mover";
        case FalseTrackCause::kEcho:
            return "echo";
        case FalseTrackCause::kElsewhere:
            break;
    }
    return "elsewhere";
}

}  // namespace radar
