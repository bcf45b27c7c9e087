#include "EvalReport.h"

#include <stdarg.h>
#include <stdio.h>

#include "RadarFrameFormat.h"

namespace {

const Figure kTableFigures[] = {
    Figure::kWalkingDetection, Figure::kStillDetection,   Figure::kRangeRms,
    Figure::kAngleRms,         Figure::kFalseTracks,      Figure::kIdChanges,
    Figure::kSwapsPerCrossing, Figure::kSegmentAgreement, Figure::kFramesPerSecond,
};
// In radar::FalseTrackCause order.
const Figure kCauseFigures[] = {Figure::kFalseOnMovers, Figure::kFalseOnEchoes,
                                Figure::kFalseElsewhere};

std::string Format(const char* format, ...) __attribute__((format(printf, 1, 2)));
std::string Format(const char* format, ...) {
    char text[512];
    va_list args;
    va_start(args, format);
    vsnprintf(text, sizeof(text), format, args);
    va_end(args);
    return text;
}

std::string Target(Figure figure, double target) {
    const FigureInfo& info = InfoOf(figure);
    if (!info.hasTargets) {
        return "-";
    }
    return std::string(info.higherIsBetter ? ">= " : "<= ") + FormatFigure(figure, target);
}

// A word the shell takes as it is, quoted otherwise.
std::string ShellWord(const std::string& word) {
    if (!word.empty() &&
        word.find_first_not_of("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz"
                               "0123456789._/-+=:,") == std::string::npos) {
        return word;
    }
    std::string quoted = "'";
    for (char c : word) {
        quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
    }
    return quoted + "'";
}

std::string RoomTitle(const EvalRoom& room) {
    if (room.random) {
        return room.scene.name + " (seed " + std::to_string(room.randomSeed) + ")";
    }
    return room.scene.name;
}

std::string ClassTable(const ClassSummary& summary) {
    std::string text = Format("\n%s: %d room%s\n", RoomClassLabel(summary.roomClass), summary.rooms,
                              summary.rooms == 1 ? "" : "s");
    if (summary.rooms == 0) {
        return text;
    }
    text += Format("  %-26s %5s %12s %12s %12s %12s\n", "figure", "rooms", "median", "target",
                   "worst 10%", "target");
    for (Figure figure : kTableFigures) {
        const FigureInfo& info = InfoOf(figure);
        const FigureDistribution& d = summary.figures[static_cast<int>(figure)];
        if (d.rooms == 0) {
            text += Format("  %-26s %5d %12s %12s %12s %12s\n", info.label, 0, "-",
                           Target(figure, info.medianTarget).c_str(), "-",
                           Target(figure, info.worstTarget).c_str());
            continue;
        }
        text += Format(
            "  %-26s %5d %12s %12s %12s %12s\n", info.label, d.rooms,
            FormatFigure(figure, d.median).c_str(), Target(figure, info.medianTarget).c_str(),
            FormatFigure(figure, d.worst).c_str(), Target(figure, info.worstTarget).c_str());
    }
    text += Format("  %-26s %5s %12s %12s %12s   %s\n", "false tracks /100 by cause", "rooms",
                   "median", "", "worst 10%", "longest hold");
    const double holdTargets[radar::kFalseTrackCauses] = {kRoomMoverHoldS, kRoomEchoHoldS, -1.0};
    for (int cause = 0; cause < radar::kFalseTrackCauses; ++cause) {
        const Figure figure = kCauseFigures[cause];
        const FigureDistribution& d = summary.figures[static_cast<int>(figure)];
        const std::string hold =
            Format("%.1f s", summary.longestHoldS[cause]) +
            (holdTargets[cause] > 0.0 ? Format(" (each room <= %.0f s)", holdTargets[cause])
                                      : std::string());
        text += Format("    %-24s %5d %12s %12s %12s   %s\n", InfoOf(figure).label, d.rooms,
                       d.rooms > 0 ? FormatFigure(figure, d.median).c_str() : "-", "",
                       d.rooms > 0 ? FormatFigure(figure, d.worst).c_str() : "-", hold.c_str());
    }
    return text;
}

Json::Value CauseJson(const radar::FalseTrackCauseScore& cause) {
    Json::Value item(Json::objectValue);
    item["tracks"] = static_cast<Json::Int64>(cause.tracks);
    item["per100Frames"] = cause.per100Frames;
    item["longestHoldFrames"] = static_cast<Json::Int64>(cause.longestHoldFrames);
    item["longestHoldS"] = cause.longestHoldS;
    return item;
}

Json::Value RoomJson(const EvalRoom& room, const EvalRoomResult& result, int64_t frames) {
    Json::Value item(Json::objectValue);
    item["name"] = room.scene.name;
    if (room.random) {
        item["seed"] = static_cast<Json::UInt64>(room.randomSeed);
    } else {
        item["scene"] = room.source;
    }
    item["synthesisSeed"] = static_cast<Json::UInt64>(room.scene.seed);
    item["hasMovers"] = room.HasMovers();
    item["hasEchoes"] = room.HasEchoes();
    item["command"] = ReproduceCommand(room, frames);
    if (!result.error.empty()) {
        item["error"] = result.error;
        return item;
    }
    item["frames"] = static_cast<Json::Int64>(result.frames);
    item["failedFrames"] = static_cast<Json::Int64>(result.failedFrames);
    if (result.failedFrames > 0) {
        item["error"] = result.firstFailure;
    }
    Json::Value classes(Json::arrayValue);
    for (int c = 0; c < kRoomClasses; ++c) {
        if (InClass(room, result, static_cast<RoomClass>(c))) {
            classes.append(RoomClassKey(static_cast<RoomClass>(c)));
        }
    }
    item["classes"] = classes;
    Json::Value figures(Json::objectValue);
    for (int f = 0; f < kFigures; ++f) {
        double value = 0.0;
        const bool applies = FigureValue(room, result, static_cast<Figure>(f), &value);
        figures[InfoOf(static_cast<Figure>(f)).key] = applies ? Json::Value(value) : Json::Value();
    }
    item["figures"] = figures;
    Json::Value causes(Json::objectValue);
    for (int cause = 0; cause < radar::kFalseTrackCauses; ++cause) {
        causes[radar::FalseTrackCauseName(static_cast<radar::FalseTrackCause>(cause))] =
            CauseJson(result.score.falseTrackCauses[cause]);
    }
    item["causes"] = causes;
    Json::Value misses(Json::arrayValue);
    for (const std::string& miss : RoomMisses(room, result)) {
        misses.append(miss);
    }
    item["misses"] = misses;
    Json::Value speed(Json::objectValue);
    speed["framesPerSecond"] = result.FramesPerSecond();
    speed["pipelineSeconds"] = result.pipelineSeconds;
    speed["synthesisSeconds"] = result.synthesisSeconds;
    item["speed"] = speed;
    item["score"] = radar::ScoreToJson(result.score);
    return item;
}

Json::Value ClassJson(const ClassSummary& summary) {
    Json::Value item(Json::objectValue);
    item["label"] = RoomClassLabel(summary.roomClass);
    item["rooms"] = summary.rooms;
    Json::Value figures(Json::objectValue);
    for (int f = 0; f < kFigures; ++f) {
        const FigureInfo& info = InfoOf(static_cast<Figure>(f));
        const FigureDistribution& d = summary.figures[f];
        Json::Value figure(Json::objectValue);
        figure["rooms"] = d.rooms;
        figure["median"] = d.rooms > 0 ? Json::Value(d.median) : Json::Value();
        figure["worst10"] = d.rooms > 0 ? Json::Value(d.worst) : Json::Value();
        figure["higherIsBetter"] = info.higherIsBetter;
        if (info.hasTargets) {
            figure["targetMedian"] = info.medianTarget;
            figure["targetWorst10"] = info.worstTarget;
        }
        figures[info.key] = figure;
    }
    item["figures"] = figures;
    Json::Value holds(Json::objectValue);
    for (int cause = 0; cause < radar::kFalseTrackCauses; ++cause) {
        holds[radar::FalseTrackCauseName(static_cast<radar::FalseTrackCause>(cause))] =
            summary.longestHoldS[cause];
    }
    item["longestHoldS"] = holds;
    return item;
}

struct Totals {
    int64_t frames = 0;
    double synthesisSeconds = 0.0;
    double pipelineSeconds = 0.0;
    int ran = 0;
    int failed = 0;
};

Totals Sum(const std::vector<EvalRoomResult>& results) {
    Totals totals;
    for (const EvalRoomResult& result : results) {
        totals.frames += result.frames;
        totals.synthesisSeconds += result.synthesisSeconds;
        totals.pipelineSeconds += result.pipelineSeconds;
        const bool failed = !result.error.empty() || result.failedFrames > 0;
        ++(failed ? totals.failed : totals.ran);
    }
    return totals;
}

}  // namespace

std::string ReproduceCommand(const EvalRoom& room, int64_t frames) {
    const std::string scene =
        room.random ? "--random " + std::to_string(room.randomSeed) : ShellWord(room.source);
    return "radar-sim " + scene + " -o r.raw --frames " + std::to_string(frames) +
           " && radar-segment r.raw --score";
}

std::string ReportText(const EvalRun& run, const std::vector<EvalRoom>& rooms,
                       const std::vector<EvalRoomResult>& results) {
    int scenes = 0;
    for (const EvalRoom& room : rooms) {
        scenes += room.random ? 0 : 1;
    }
    const int random = static_cast<int>(rooms.size()) - scenes;
    std::string text = Format("%d scene%s and %d random room%s, %lld frame%s (%.1f s) each\n",
                              scenes, scenes == 1 ? "" : "s", random, random == 1 ? "" : "s",
                              static_cast<long long>(run.frames), run.frames == 1 ? "" : "s",
                              static_cast<double>(run.frames) * radar::kFramePeriodS);
    text +=
        "median and worst 10% of rooms (10th percentile where higher is better, 90th where "
        "lower is),\nover the rooms of the class each figure applies to\n";
    for (const ClassSummary& summary : SummarizeClasses(rooms, results)) {
        text += ClassTable(summary);
    }

    std::vector<size_t> worst = WorstRooms(rooms, results, rooms.size());
    text += "\nroom targets: " + RoomTargetsText() + "\n";
    text += Format("%zu of %zu rooms miss one or more", worst.size(), rooms.size());
    if (worst.size() > run.worst) {
        worst.resize(run.worst);
    }
    text += worst.empty() ? std::string("\n") : Format("; the worst %zu:\n", worst.size());
    for (size_t i = 0; i < worst.size(); ++i) {
        const EvalRoom& room = rooms[worst[i]];
        const EvalRoomResult& result = results[worst[i]];
        const std::vector<std::string> misses = RoomMisses(room, result);
        std::string reason;
        for (const std::string& miss : misses) {
            reason += (reason.empty() ? "" : "; ") + miss;
        }
        text += Format("%4zu. %s, misses %zu: ", i + 1, RoomTitle(room).c_str(), misses.size()) +
                reason + "\n      " + ReproduceCommand(room, run.frames) + "\n";
    }

    const Totals totals = Sum(results);
    for (size_t r = 0; r < rooms.size(); ++r) {
        const EvalRoomResult& result = results[r];
        if (!result.error.empty()) {
            text += "\nFAILED " + RoomTitle(rooms[r]) + ": " + result.error + "\n";
        } else if (result.failedFrames > 0) {
            text += Format("\nFAILED %s: %lld frames failed in the segmentation, the first %s\n",
                           RoomTitle(rooms[r]).c_str(), static_cast<long long>(result.failedFrames),
                           result.firstFailure.c_str());
        }
    }
    text += Format(
        "\n%d room%s ran, %d failed; %lld frames in %.1f s with %d job%s: synthesis %.1f s, "
        "per-frame pipeline %.1f s (%.0f frames per second)\n",
        totals.ran, totals.ran == 1 ? "" : "s", totals.failed,
        static_cast<long long>(totals.frames), run.wallSeconds, run.jobs, run.jobs == 1 ? "" : "s",
        totals.synthesisSeconds, totals.pipelineSeconds,
        totals.pipelineSeconds > 0.0 ? static_cast<double>(totals.frames) / totals.pipelineSeconds
                                     : 0.0);
    return text;
}

Json::Value ReportJson(const EvalRun& run, const std::vector<EvalRoom>& rooms,
                       const std::vector<EvalRoomResult>& results) {
    Json::Value root(Json::objectValue);
    root["frames"] = static_cast<Json::Int64>(run.frames);
    root["seconds"] = static_cast<double>(run.frames) * radar::kFramePeriodS;
    Json::Value roomList(Json::arrayValue);
    for (size_t r = 0; r < rooms.size(); ++r) {
        roomList.append(RoomJson(rooms[r], results[r], run.frames));
    }
    root["rooms"] = roomList;
    Json::Value classes(Json::objectValue);
    for (const ClassSummary& summary : SummarizeClasses(rooms, results)) {
        classes[RoomClassKey(summary.roomClass)] = ClassJson(summary);
    }
    root["classes"] = classes;
    Json::Value worst(Json::arrayValue);
    for (size_t r : WorstRooms(rooms, results, run.worst)) {
        worst.append(rooms[r].scene.name);
    }
    root["worst"] = worst;
    const Totals totals = Sum(results);
    root["roomsRan"] = totals.ran;
    root["roomsFailed"] = totals.failed;
    Json::Value speed(Json::objectValue);
    speed["jobs"] = run.jobs;
    speed["wallSeconds"] = run.wallSeconds;
    speed["synthesisSeconds"] = totals.synthesisSeconds;
    speed["pipelineSeconds"] = totals.pipelineSeconds;
    speed["framesPerSecond"] = totals.pipelineSeconds > 0.0
                                   ? static_cast<double>(totals.frames) / totals.pipelineSeconds
                                   : 0.0;
    root["speed"] = speed;
    return root;
}
