// What radar-eval measures of a room: the scenario classes a room falls in,
// the figures with their distribution targets, and the targets every single
// room should meet.
#ifndef TESSIVO_TOOLS_RADAREVAL_ROOMFIGURES_H
#define TESSIVO_TOOLS_RADAREVAL_ROOMFIGURES_H

#include <string>
#include <vector>

#include "EvalRoom.h"

// A room may fall in several classes; every room is in kOverall.
enum class RoomClass {
    kOverall,
    kOneWalker,      // exactly one person seen, and they walk
    kCrossing,       // people came close and parted
    kStillPeople,    // somebody stood or sat still
    kSideBySide,     // two still people within 0.8 m (a sofa)
    kSeveralPeople,  // three or more seen
    kWithMovers,     // the scene has fans, curtains, ...
    kWithEchoes,     // the scene has people and a wall that mirrors them
    kEmpty,          // nobody seen
};
constexpr int kRoomClasses = 9;

enum class Figure {
    kWalkingDetection,
    kStillDetection,
    kRangeRms,
    kAngleRms,
    kFalseTracks,
    kIdChanges,
    kSwapsPerCrossing,
    kSegmentAgreement,
    kFramesPerSecond,
    kFalseOnMovers,  // per 100 frames, in rooms with movers
    kFalseOnEchoes,  // per 100 frames, in rooms with echoes
    kFalseElsewhere,
};
constexpr int kFigures = 12;

struct FigureInfo {
    const char* label;  // in the table
    const char* key;    // in the JSON
    const char* unit;   // after the shown value
    double scale;       // shown = value * scale (fractions as percent)
    int decimals;
    bool higherIsBetter;
    bool hasTargets;
    double medianTarget;  // of the median room
    double worstTarget;   // of the worst 10% of rooms, and of every room
};

// \context Thread-safe.
const char* RoomClassLabel(RoomClass roomClass);  // "side by side"
const char* RoomClassKey(RoomClass roomClass);    // "sideBySide"
bool InClass(const EvalRoom& room, const EvalRoomResult& result, RoomClass roomClass);

// \context Thread-safe.
const FigureInfo& InfoOf(Figure figure);
// The figure of a room; false when it does not apply (nobody walked, say).
bool FigureValue(const EvalRoom& room, const EvalRoomResult& result, Figure figure, double* value);
// A value as the table shows it, with its unit.
std::string FormatFigure(Figure figure, double value);

// Longest a mover or an echo may hold one false track in any room.
constexpr double kRoomMoverHoldS = 2.0;
constexpr double kRoomEchoHoldS = 1.0;

// The room targets the room misses, each as a short reason
// ("still 61.2 % < 80 %"), in a fixed order.
// \context Thread-safe.
std::vector<std::string> RoomMisses(const EvalRoom& room, const EvalRoomResult& result);

// The room targets in one line, for the heading of the worst rooms.
std::string RoomTargetsText();

#endif
