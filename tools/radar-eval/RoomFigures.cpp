#include "RoomFigures.h"

#include <stdio.h>

namespace {

using radar::FalseTrackCause;

// In Figure order.
const FigureInfo kInfo[kFigures] = {
    {"detection walking", "walkingDetection", " %", 100.0, 1, true, true, 0.97, 0.90},
    {"detection still", "stillDetection", " %", 100.0, 1, true, true, 0.92, 0.80},
    {"range rms", "rangeRmsM", " m", 1.0, 3, false, true, 0.15, 0.25},
    {"angle rms", "angleRmsDeg", " deg", 1.0, 2, false, true, 5.0, 8.0},
    {"false tracks /100 frames", "falseTracksPer100Frames", "", 1.0, 2, false, true, 1.0, 5.0},
    {"id changes", "idChanges", "", 1.0, 1, false, false, 0.0, 0.0},
    {"swaps per crossing", "swapsPerCrossing", "", 1.0, 2, false, false, 0.0, 0.0},
    {"segment agreement", "segmentAgreement", " %", 100.0, 1, true, true, 0.96, 0.90},
    {"frames per second", "framesPerSecond", "", 1.0, 0, true, false, 0.0, 0.0},
    {"on a mover", "falseOnMoversPer100Frames", "", 1.0, 2, false, false, 0.0, 0.0},
    {"on an echo", "falseOnEchoesPer100Frames", "", 1.0, 2, false, false, 0.0, 0.0},
    {"elsewhere", "falseElsewherePer100Frames", "", 1.0, 2, false, false, 0.0, 0.0},
};

const radar::FalseTrackCauseScore& Cause(const EvalRoomResult& result, FalseTrackCause cause) {
    return result.score.falseTrackCauses[static_cast<int>(cause)];
}

std::string Text(const char* format, double a, double b = 0.0, double c = 0.0, double d = 0.0) {
    char text[160];
    snprintf(text, sizeof(text), format, a, b, c, d);
    return text;
}

}  // namespace

const char* RoomClassLabel(RoomClass roomClass) {
    switch (roomClass) {
        case RoomClass::kOverall:
            return "overall";
        case RoomClass::kOneWalker:
            return "one walker";
        case RoomClass::kCrossing:
            return "crossing";
        case RoomClass::kStillPeople:
            return "still people";
        case RoomClass::kSideBySide:
            return "side by side";
        case RoomClass::kSeveralPeople:
            return "several people";
        case RoomClass::kWithMovers:
            return "with movers";
        case RoomClass::kWithEchoes:
            return "with echoes";
        case RoomClass::kEmpty:
            return "empty";
    }
    return "?";
}

const char* RoomClassKey(RoomClass roomClass) {
    switch (roomClass) {
        case RoomClass::kOverall:
            return "overall";
        case RoomClass::kOneWalker:
            return "oneWalker";
        case RoomClass::kCrossing:
            return "crossing";
        case RoomClass::kStillPeople:
            return "stillPeople";
        case RoomClass::kSideBySide:
            return "sideBySide";
        case RoomClass::kSeveralPeople:
            return "severalPeople";
        case RoomClass::kWithMovers:
            return "withMovers";
        case RoomClass::kWithEchoes:
            return "withEchoes";
        case RoomClass::kEmpty:
            return "empty";
    }
    return "?";
}

bool InClass(const EvalRoom& room, const EvalRoomResult& result, RoomClass roomClass) {
    const radar::SegmentationScore& score = result.score;
    switch (roomClass) {
        case RoomClass::kOverall:
            return true;
        case RoomClass::kOneWalker:
            return score.peopleSeen == 1 && score.walkingPersonFrames > 0;
        case RoomClass::kCrossing:
            return score.crossings > 0;
        case RoomClass::kStillPeople:
            return score.seatedPersonFrames > 0;
        case RoomClass::kSideBySide:
            return score.sideBySideFrames > 0;
        case RoomClass::kSeveralPeople:
            return score.peopleSeen >= 3;
        case RoomClass::kWithMovers:
            return room.HasMovers();
        case RoomClass::kWithEchoes:
            return room.HasEchoes();
        case RoomClass::kEmpty:
            return score.peopleSeen == 0;
    }
    return false;
}

const FigureInfo& InfoOf(Figure figure) {
    return kInfo[static_cast<int>(figure)];
}

bool FigureValue(const EvalRoom& room, const EvalRoomResult& result, Figure figure, double* value) {
    const radar::SegmentationScore& score = result.score;
    const bool scored = score.scoredFrames > 0;
    switch (figure) {
        case Figure::kWalkingDetection:
            *value = score.walkingDetection;
            return score.walkingPersonFrames > 0;
        case Figure::kStillDetection:
            *value = score.seatedDetection;
            return score.seatedPersonFrames > 0;
        case Figure::kRangeRms:
            *value = score.rangeRmsM;
            return score.matchedPersonFrames > 0;
        case Figure::kAngleRms:
            *value = score.angleRmsDeg;
            return score.matchedPersonFrames > 0;
        case Figure::kFalseTracks:
            *value = score.falseTracksPer100Frames;
            return scored;
        case Figure::kIdChanges:
            *value = static_cast<double>(score.idChanges);
            return score.walkingPersonFrames + score.seatedPersonFrames > 0;
        case Figure::kSwapsPerCrossing:
            *value = score.crossings > 0
                         ? static_cast<double>(score.idSwaps) / static_cast<double>(score.crossings)
                         : 0.0;
            return score.crossings > 0;
        case Figure::kSegmentAgreement:
            *value = score.segmentAgreement;
            return score.peopleSeen > 0 && score.segmentFrames > 0;
        case Figure::kFramesPerSecond:
            *value = result.FramesPerSecond();
            return result.pipelineSeconds > 0.0;
        case Figure::kFalseOnMovers:
            *value = Cause(result, FalseTrackCause::kMover).per100Frames;
            return scored && room.HasMovers();
        case Figure::kFalseOnEchoes:
            *value = Cause(result, FalseTrackCause::kEcho).per100Frames;
            return scored && room.HasEchoes();
        case Figure::kFalseElsewhere:
            *value = Cause(result, FalseTrackCause::kElsewhere).per100Frames;
            return scored;
    }
    *value = 0.0;
    return false;
}

std::string FormatFigure(Figure figure, double value) {
    const FigureInfo& info = InfoOf(figure);
    char text[64];
    snprintf(text, sizeof(text), "%.*f%s", info.decimals, value * info.scale, info.unit);
    return text;
}

std::vector<std::string> RoomMisses(const EvalRoom& room, const EvalRoomResult& result) {
    std::vector<std::string> misses;
    for (Figure figure : {Figure::kWalkingDetection, Figure::kStillDetection, Figure::kRangeRms,
                          Figure::kAngleRms, Figure::kFalseTracks, Figure::kSegmentAgreement}) {
        const FigureInfo& info = InfoOf(figure);
        double value = 0.0;
        if (!FigureValue(room, result, figure, &value)) {
            continue;
        }
        const bool met =
            info.higherIsBetter ? value >= info.worstTarget : value <= info.worstTarget;
        if (met) {
            continue;
        }
        std::string miss = std::string(info.label) + " " + FormatFigure(figure, value) +
                           (info.higherIsBetter ? " < " : " > ") +
                           FormatFigure(figure, info.worstTarget);
        if (figure == Figure::kFalseTracks) {
            miss += Text(" (mover %.2f, echo %.2f, elsewhere %.2f)",
                         Cause(result, FalseTrackCause::kMover).per100Frames,
                         Cause(result, FalseTrackCause::kEcho).per100Frames,
                         Cause(result, FalseTrackCause::kElsewhere).per100Frames);
        }
        misses.push_back(miss);
    }
    const double moverHold = Cause(result, FalseTrackCause::kMover).longestHoldS;
    if (moverHold > kRoomMoverHoldS) {
        misses.push_back(Text("a mover held a track %.1f s > %.0f s", moverHold, kRoomMoverHoldS));
    }
    const double echoHold = Cause(result, FalseTrackCause::kEcho).longestHoldS;
    if (echoHold > kRoomEchoHoldS) {
        misses.push_back(Text("an echo held a track %.1f s > %.0f s", echoHold, kRoomEchoHoldS));
    }
    return misses;
}

std::string RoomTargetsText() {
    std::string text;
    for (Figure figure : {Figure::kWalkingDetection, Figure::kStillDetection, Figure::kRangeRms,
                          Figure::kAngleRms, Figure::kFalseTracks, Figure::kSegmentAgreement}) {
        const FigureInfo& info = InfoOf(figure);
        text += std::string(info.label) + (info.higherIsBetter ? " >= " : " <= ") +
                FormatFigure(figure, info.worstTarget) + ", ";
    }
    text += Text("mover hold <= %.0f s, echo hold <= %.0f s", kRoomMoverHoldS, kRoomEchoHoldS);
    return text;
}
