// The room around the people: reflecting walls, things that move without
// going anywhere, and the module's own flaws.
#include <cmath>

#include "SceneFields.h"

namespace radar {
namespace scenefields {

namespace {

constexpr size_t kMaxWalls = 16;
constexpr size_t kMaxMovers = 16;

constexpr unsigned Bit(MoverKind kind) {
    return 1u << static_cast<unsigned>(kind);
}
constexpr unsigned kFanBit = Bit(MoverKind::kFan);
constexpr unsigned kTurntableBit = Bit(MoverKind::kTurntable);
constexpr unsigned kPendulumBit = Bit(MoverKind::kPendulum);
constexpr unsigned kCurtainBit = Bit(MoverKind::kCurtain);
constexpr unsigned kPlantBit = Bit(MoverKind::kPlant);
constexpr unsigned kEveryKind = kFanBit | kTurntableBit | kPendulumBit | kCurtainBit | kPlantBit;

const char* const kKindNames[] = {"fan", "turntable", "pendulum", "curtain", "plant"};
constexpr int kKindCount = sizeof(kKindNames) / sizeof(kKindNames[0]);

bool KnownKind(MoverKind kind) {
    const int index = static_cast<int>(kind);
    return index >= 0 && index < kKindCount;
}

// A field given to a kind that has no use for it is a mistake, not
// something to ignore.
bool NotForKind(const std::string& field, MoverKind kind, unsigned kinds, std::string* error) {
    std::string users;
    for (int k = 0; k < kKindCount; ++k) {
        if ((kinds & (1u << k)) != 0) {
            users += (users.empty() ? "" : ", ") + std::string(kKindNames[k]);
        }
    }
    *error = field + ": not for a " + kKindNames[static_cast<int>(kind)] + " (only " + users + ")";
    return false;
}

bool ValidateMover(const SceneMover& mover, const std::string& where, std::string* error) {
    if (!KnownKind(mover.kind)) {
        *error = where + ".kind: not a kind of mover (" +
                 std::to_string(static_cast<int>(mover.kind)) + ")";
        return false;
    }
    if (!CheckPoint(where + ".at", mover.at, error)) {
        return false;
    }
    const SceneMover defaults;
    for (const MoverNumber& field : MoverNumbers()) {
        const double value = mover.*field.member;
        const std::string path = where + "." + field.name;
        if (!MoverUses(field.kinds, mover.kind)) {
            // Written scenes leave such fields out: only the default reads back.
            if (!(value == defaults.*field.member)) {
                return NotForKind(path, mover.kind, field.kinds, error);
            }
        } else if (!(field.kindDefault && value < 0.0) &&
                   !CheckRange(path, value, field.lo, field.hi, field.loOpen, error)) {
            return false;
        }
    }
    for (const MoverCount& field : MoverCounts()) {
        const int value = mover.*field.member;
        const std::string path = where + "." + field.name;
        if (!MoverUses(field.kinds, mover.kind)) {
            if (value != defaults.*field.member) {
                return NotForKind(path, mover.kind, field.kinds, error);
            }
        } else if (!(field.kindDefault && value < 0) && (value < field.lo || value > field.hi)) {
            *error = path + ": must be " + std::to_string(field.lo) + " to " +
                     std::to_string(field.hi) + " (got " + std::to_string(value) + ")";
            return false;
        }
    }
    return true;
}

bool ValidateWall(const SceneWall& wall, const std::string& where, std::string* error) {
    if (wall.axis == WallAxis::kX) {
        // A plane through the module has no side that is the room.
        if (!std::isfinite(wall.positionM) || wall.positionM == 0.0 ||
            std::fabs(wall.positionM) > kMaxCoordinateM) {
            return RangeError(where + ".x",
                              "other than 0 and at most " + Number(kMaxCoordinateM) +
                                  " either side of the module",
                              wall.positionM, error);
        }
    } else if (wall.axis == WallAxis::kY) {
        if (!CheckRange(where + ".y", wall.positionM, 0.0, kMaxCoordinateM, true, error)) {
            return false;
        }
    } else {
        *error = where + ": neither a side wall (x) nor a back wall (y)";
        return false;
    }
    return CheckRange(where + ".reflectivity", wall.reflectivity, 0.0, 1.0, false, error);
}

bool ValidateModule(const SceneModule& module, std::string* error) {
    if (!CheckRange("module.leakage.amplitude", module.leakageAmplitude, 0.0, 2000.0, false,
                    error) ||
        !CheckRange("module.leakage.range", module.leakageRangeM, 0.005, 0.3, false, error)) {
        return false;
    }
    if (module.highPassHz != 0.0 &&
        !(std::isfinite(module.highPassHz) && module.highPassHz >= 1000.0 &&
          module.highPassHz <= 200000.0)) {
        return RangeError("module.highPass", "0 (none) or at least 1000 and at most 200000",
                          module.highPassHz, error);
    }
    return CheckRange("module.pattern", module.patternExponent, 0.0, 4.0, false, error) &&
           CheckRange("module.rxGainDb", module.rxGainDb, -6.0, 6.0, false, error) &&
           CheckRange("module.adcOffsets[0]", module.adcOffsets[0], -2048.0, 2048.0, false,
                      error) &&
           CheckRange("module.adcOffsets[1]", module.adcOffsets[1], -2048.0, 2048.0, false, error);
}

bool ParseWall(const Json::Value& value, const std::string& where, SceneWall* wall,
               std::string* error) {
    if (!value.isObject()) {
        *error = where + ": expected an object {\"x\": m} or {\"y\": m}, with \"reflectivity\"";
        return false;
    }
    FieldReader fields(value, where, error);
    if (!fields.OnlyKnown({"x", "y", "reflectivity", "label"})) {
        return false;
    }
    if (fields.Has("x") == fields.Has("y")) {
        *error = where + ": give either \"x\" (a side wall) or \"y\" (a back wall)";
        return false;
    }
    wall->axis = fields.Has("x") ? WallAxis::kX : WallAxis::kY;
    return fields.Double(fields.Has("x") ? "x" : "y", &wall->positionM) &&
           fields.Double("reflectivity", &wall->reflectivity) &&
           fields.String("label", &wall->label);
}

bool ParseMover(const Json::Value& value, const std::string& where, SceneMover* mover,
                std::string* error) {
    if (!value.isObject()) {
        *error = where + ": expected an object {\"kind\": ..., \"at\": [x, y], ...}";
        return false;
    }
    FieldReader fields(value, where, error);
    std::set<std::string> known = {"kind", "at", "label"};
    for (const MoverNumber& field : MoverNumbers()) {
        known.insert(field.name);
    }
    for (const MoverCount& field : MoverCounts()) {
        known.insert(field.name);
    }
    if (!fields.OnlyKnown(known)) {
        return false;
    }
    std::string kinds;
    for (const char* name : kKindNames) {
        kinds += (kinds.empty() ? "\"" : ", \"") + std::string(name) + "\"";
    }
    std::string kind;
    if (!fields.Has("kind")) {
        *error = fields.Path("kind") + ": missing (one of " + kinds + ")";
        return false;
    }
    if (!fields.String("kind", &kind)) {
        return false;
    }
    int index = 0;
    while (index < kKindCount && kind != kKindNames[index]) {
        ++index;
    }
    if (index == kKindCount) {
        *error = fields.Path("kind") + ": expected one of " + kinds + " (got \"" + kind + "\")";
        return false;
    }
    mover->kind = static_cast<MoverKind>(index);
    if (!fields.Has("at")) {
        *error = fields.Path("at") + ": missing (where it stands, [x, y])";
        return false;
    }
    if (!fields.Point("at", &mover->at) || !fields.String("label", &mover->label)) {
        return false;
    }
    for (const MoverNumber& field : MoverNumbers()) {
        if (!fields.Has(field.name)) {
            continue;
        }
        if (!MoverUses(field.kinds, mover->kind)) {
            return NotForKind(fields.Path(field.name), mover->kind, field.kinds, error);
        }
        // Read here, a negative number would pass for "the kind's default".
        if (!fields.Double(field.name, &(mover->*field.member)) ||
            !CheckRange(fields.Path(field.name), mover->*field.member, field.lo, field.hi,
                        field.loOpen, error)) {
            return false;
        }
    }
    for (const MoverCount& field : MoverCounts()) {
        if (!fields.Has(field.name)) {
            continue;
        }
        if (!MoverUses(field.kinds, mover->kind)) {
            return NotForKind(fields.Path(field.name), mover->kind, field.kinds, error);
        }
        if (!fields.Int(field.name, &(mover->*field.member))) {
            return false;
        }
        if (mover->*field.member < field.lo || mover->*field.member > field.hi) {
            *error = fields.Path(field.name) + ": must be " + std::to_string(field.lo) + " to " +
                     std::to_string(field.hi) + " (got " + std::to_string(mover->*field.member) +
                     ")";
            return false;
        }
    }
    return true;
}

}  // namespace

const std::vector<MoverNumber>& MoverNumbers() {
    static const std::vector<MoverNumber> numbers = {
        {"rcs", &SceneMover::rcsM2, kEveryKind, 0.0, 100.0, true, true},
        {"rate", &SceneMover::rateHz, kEveryKind, 0.0, 50.0, false, true},
        {"radius", &SceneMover::radiusM, kFanBit | kTurntableBit | kPendulumBit, 0.0, 1.0, true,
         true},
        {"facing", &SceneMover::facingDeg, kFanBit, -180.0, 180.0, false, false},
        {"housingRcs", &SceneMover::housingRcsM2, kFanBit, 0.0, 100.0, false, false},
        {"oscillation", &SceneMover::oscillationDeg, kFanBit, 0.0, 90.0, false, false},
        {"oscillationPeriod", &SceneMover::oscillationPeriodS, kFanBit, 0.0, 3600.0, true, false},
        {"width", &SceneMover::widthM, kCurtainBit | kPlantBit, 0.0, 5.0, true, true},
        {"sway", &SceneMover::swayM, kCurtainBit | kPlantBit, 0.0, 0.2, false, true},
    };
    return numbers;
}

const std::vector<MoverCount>& MoverCounts() {
    static const std::vector<MoverCount> counts = {
        {"blades", &SceneMover::blades, kFanBit, 2, 8, false},
        {"points", &SceneMover::points, kTurntableBit | kCurtainBit | kPlantBit, 1, 16, true},
    };
    return counts;
}

const char* MoverKindName(MoverKind kind) {
    return KnownKind(kind) ? kKindNames[static_cast<int>(kind)] : nullptr;
}

bool ParseWalls(const Json::Value& value, Scene* scene, std::string* error) {
    if (!value.isArray()) {
        *error = "walls: expected a list of walls";
        return false;
    }
    if (value.size() > kMaxWalls) {
        *error = "walls: at most " + std::to_string(kMaxWalls) + " walls";
        return false;
    }
    scene->walls.resize(value.size());
    for (Json::ArrayIndex i = 0; i < value.size(); ++i) {
        if (!ParseWall(value[i], "walls[" + std::to_string(i) + "]", &scene->walls[i], error)) {
            return false;
        }
    }
    return true;
}

bool ParseMovers(const Json::Value& value, Scene* scene, std::string* error) {
    if (!value.isArray()) {
        *error = "movers: expected a list of movers";
        return false;
    }
    if (value.size() > kMaxMovers) {
        *error = "movers: at most " + std::to_string(kMaxMovers) + " movers";
        return false;
    }
    scene->movers.resize(value.size());
    for (Json::ArrayIndex i = 0; i < value.size(); ++i) {
        if (!ParseMover(value[i], "movers[" + std::to_string(i) + "]", &scene->movers[i], error)) {
            return false;
        }
    }
    return true;
}

bool ParseModule(const Json::Value& value, Scene* scene, std::string* error) {
    if (!value.isObject()) {
        *error = "module: expected an object {\"leakage\": ..., \"highPass\": Hz, ...}";
        return false;
    }
    SceneModule& module = scene->module;
    FieldReader fields(value, "module", error);
    if (!fields.OnlyKnown({"leakage", "highPass", "pattern", "rxGainDb", "adcOffsets"}) ||
        !fields.Double("highPass", &module.highPassHz) ||
        !fields.Double("pattern", &module.patternExponent) ||
        !fields.Double("rxGainDb", &module.rxGainDb)) {
        return false;
    }
    if (fields.Has("leakage")) {
        const Json::Value& leakage = fields.Get("leakage");
        if (!leakage.isObject()) {
            *error = "module.leakage: expected an object {\"amplitude\": counts, \"range\": m}";
            return false;
        }
        FieldReader leak(leakage, "module.leakage", error);
        if (!leak.OnlyKnown({"amplitude", "range"}) ||
            !leak.Double("amplitude", &module.leakageAmplitude) ||
            !leak.Double("range", &module.leakageRangeM)) {
            return false;
        }
    }
    if (fields.Has("adcOffsets")) {
        const Json::Value& offsets = fields.Get("adcOffsets");
        if (!offsets.isArray() || offsets.size() != 2 || !offsets[0].isNumeric() ||
            !offsets[1].isNumeric()) {
            *error = "module.adcOffsets: expected [rx0, rx1], two numbers (counts)";
            return false;
        }
        module.adcOffsets[0] = offsets[0].asDouble();
        module.adcOffsets[1] = offsets[1].asDouble();
    }
    return true;
}

bool ValidateRoom(const Scene& scene, std::string* error) {
    if (scene.walls.size() > kMaxWalls) {
        *error = "walls: at most " + std::to_string(kMaxWalls) + " walls";
        return false;
    }
    if (scene.movers.size() > kMaxMovers) {
        *error = "movers: at most " + std::to_string(kMaxMovers) + " movers";
        return false;
    }
    for (size_t i = 0; i < scene.walls.size(); ++i) {
        if (!ValidateWall(scene.walls[i], "walls[" + std::to_string(i) + "]", error)) {
            return false;
        }
    }
    for (size_t i = 0; i < scene.movers.size(); ++i) {
        if (!ValidateMover(scene.movers[i], "movers[" + std::to_string(i) + "]", error)) {
            return false;
        }
    }
    return ValidateModule(scene.module, error);
}

}  // namespace scenefields
}  // namespace radar
