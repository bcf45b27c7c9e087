// Scene files: JSON written by hand, checked field by field so that a mistake
// is reported with the name of the field that holds it.
#include "Scene.h"

#include <json/json.h>
#include <sys/stat.h>

#include <cmath>
#include <fstream>
#include <map>
#include <memory>
#include <set>
#include <sstream>

#include "SceneFields.h"

namespace radar {

namespace {

using scenefields::CheckPoint;
using scenefields::CheckRange;
using scenefields::FieldReader;
using scenefields::kMaxRcsM2;
using scenefields::Number;
using scenefields::RangeError;

// Limits that keep a scene physical and the synthesis cheap.
constexpr double kMaxSpeedMps = 10.0;
constexpr double kMaxTimeS = 1e6;
constexpr double kMaxBreathingDepthM = 0.05;
constexpr double kMaxBreathingRateHz = 2.0;
constexpr double kMaxSwayM = 0.05;
constexpr double kMaxNoiseRms = 1000.0;
constexpr double kMaxGain = 1000.0;
constexpr double kMinSize = 0.3;
constexpr double kMaxSize = 2.0;
constexpr size_t kMaxPathPoints = 1000;
constexpr size_t kMaxPlanSteps = 100;
constexpr size_t kMaxPeople = 64;
constexpr size_t kMaxClutter = 256;

const char* StepName(ActivityKind kind) {
    switch (kind) {
        case ActivityKind::kWalk:
            return "walk";
        case ActivityKind::kStand:
            return "stand";
        case ActivityKind::kSit:
            return "sit";
    }
    return "?";
}

// Fields that mean nothing for a step's kind must keep their defaults, so
// that a scene written out reads back the same.
bool ValidateStep(const PlanStep& step, const std::string& where, std::string* error) {
    const PlanStep defaults;
    if (step.kind == ActivityKind::kWalk) {
        if (step.to.empty() || step.to.size() > kMaxPathPoints) {
            *error = where + ".walk: needs 1 to " + std::to_string(kMaxPathPoints) +
                     " points (got " + std::to_string(step.to.size()) + ")";
            return false;
        }
        for (size_t i = 0; i < step.to.size(); ++i) {
            if (!CheckPoint(where + ".walk[" + std::to_string(i) + "]", step.to[i], error)) {
                return false;
            }
        }
        if (!(step.speedMps < 0.0) &&
            !CheckRange(where + ".speed", step.speedMps, 0.0, kMaxSpeedMps, true, error)) {
            return false;
        }
        if (!(step.durationS == defaults.durationS)) {
            *error = where + ": a walk step has no duration (it lasts as long as the walk)";
            return false;
        }
        return true;
    }
    if (step.kind != ActivityKind::kStand && step.kind != ActivityKind::kSit) {
        *error = where + ": not a walk, stand or sit step";
        return false;
    }
    const std::string name = StepName(step.kind);
    if (!step.to.empty()) {
        *error = where + ": a " + name + " step has no waypoints";
        return false;
    }
    if (!(step.speedMps == defaults.speedMps)) {
        *error = where + ".speed: only a walk step has a speed";
        return false;
    }
    return CheckRange(where + "." + name, step.durationS, 0.0, kMaxTimeS, true, error);
}

bool ValidatePlan(const ScenePerson& person, const std::string& where, std::string* error) {
    if (person.path.size() != 1) {
        *error = where + ".path: a plan starts at one point, \"at\" (got " +
                 std::to_string(person.path.size()) + " points)";
        return false;
    }
    if (person.seated) {
        *error = where + ".seated: not with a plan (it sits with {\"sit\": seconds})";
        return false;
    }
    if (person.plan.size() > kMaxPlanSteps) {
        *error = where + ".plan: at most " + std::to_string(kMaxPlanSteps) + " steps";
        return false;
    }
    for (size_t i = 0; i < person.plan.size(); ++i) {
        if (!ValidateStep(person.plan[i], where + ".plan[" + std::to_string(i) + "]", error)) {
            return false;
        }
    }
    return true;
}

bool ValidatePerson(const ScenePerson& person, const std::string& where, std::string* error) {
    if (person.id <= 0) {
        *error = where + ".id: must be a whole number greater than 0 (got " +
                 std::to_string(person.id) + ")";
        return false;
    }
    if (person.path.empty()) {
        *error = where + ".path: needs at least one point";
        return false;
    }
    if (person.path.size() > kMaxPathPoints) {
        *error = where + ".path: at most " + std::to_string(kMaxPathPoints) + " points";
        return false;
    }
    for (size_t i = 0; i < person.path.size(); ++i) {
        if (!CheckPoint(where + ".path[" + std::to_string(i) + "]", person.path[i], error)) {
            return false;
        }
    }
    if (person.seated && person.path.size() != 1) {
        *error = where + ".path: a seated person stays at one point (got " +
                 std::to_string(person.path.size()) + " points)";
        return false;
    }
    if (!CheckRange(where + ".speed", person.speedMps, 0.0, kMaxSpeedMps, true, error) ||
        !CheckRange(where + ".start", person.startS, 0.0, kMaxTimeS, false, error)) {
        return false;
    }
    if (person.endS >= 0.0 || !std::isfinite(person.endS)) {
        if (!std::isfinite(person.endS) || person.endS <= person.startS ||
            person.endS > kMaxTimeS) {
            return RangeError(
                where + ".end",
                "later than start (" + Number(person.startS) + ") and at most " + Number(kMaxTimeS),
                person.endS, error);
        }
    }
    if (!CheckRange(where + ".breathing.depth", person.breathingDepthM, 0.0, kMaxBreathingDepthM,
                    false, error) ||
        !CheckRange(where + ".breathing.rate", person.breathingRateHz, 0.0, kMaxBreathingRateHz,
                    false, error) ||
        !CheckRange(where + ".rcs", person.rcsM2, 0.0, kMaxRcsM2, true, error)) {
        return false;
    }
    if (person.scatterers < 0 || person.scatterers > kMaxScatterersPerPerson) {
        *error = where + ".scatterers: must be 1 to " + std::to_string(kMaxScatterersPerPerson) +
                 " (got " + std::to_string(person.scatterers) + ")";
        return false;
    }
    if (!std::isfinite(person.swayM) || person.swayM > kMaxSwayM) {
        return RangeError(where + ".sway", "at least 0 and at most " + Number(kMaxSwayM),
                          person.swayM, error);
    }
    if (!CheckRange(where + ".size", person.size, kMinSize, kMaxSize, false, error)) {
        return false;
    }
    return person.plan.empty() || ValidatePlan(person, where, error);
}

bool ParseBreathing(const Json::Value& value, const std::string& where, ScenePerson* person,
                    std::string* error) {
    if (!value.isObject()) {
        *error = where + ": expected an object {\"depth\": metres, \"rate\": Hz}";
        return false;
    }
    FieldReader fields(value, where, error);
    return fields.OnlyKnown({"depth", "rate"}) &&
           fields.Double("depth", &person->breathingDepthM) &&
           fields.Double("rate", &person->breathingRateHz);
}

// {"walk": [[x, y], ...], "speed": s}, {"stand": s} or {"sit": s}.
bool ParseStep(const Json::Value& value, const std::string& where, PlanStep* step,
               std::string* error) {
    if (!value.isObject()) {
        *error = where + ": expected a step {\"walk\": [[x, y], ...]}, {\"stand\": s} or " +
                 "{\"sit\": s}";
        return false;
    }
    FieldReader fields(value, where, error);
    if (!fields.OnlyKnown({"walk", "speed", "stand", "sit"})) {
        return false;
    }
    const int kinds = fields.Has("walk") + fields.Has("stand") + fields.Has("sit");
    if (kinds != 1) {
        *error = where + ": give one of \"walk\", \"stand\" or \"sit\"";
        return false;
    }
    if (fields.Has("walk")) {
        step->kind = ActivityKind::kWalk;
        if (!fields.Points("walk", kMaxPathPoints, &step->to)) {
            return false;
        }
        // A negative speed would otherwise pass for "the person's own".
        return !fields.Has("speed") ||
               (fields.Double("speed", &step->speedMps) &&
                CheckRange(fields.Path("speed"), step->speedMps, 0.0, kMaxSpeedMps, true, error));
    }
    if (fields.Has("speed")) {
        *error = fields.Path("speed") + ": only a walk step has a speed";
        return false;
    }
    step->kind = fields.Has("stand") ? ActivityKind::kStand : ActivityKind::kSit;
    return fields.Double(StepName(step->kind), &step->durationS);
}

bool ParsePlan(const Json::Value& value, const std::string& where, ScenePerson* person,
               std::string* error) {
    if (!value.isArray() || value.empty()) {
        *error = where + ": expected a list of steps, at least one";
        return false;
    }
    if (value.size() > kMaxPlanSteps) {
        *error = where + ": at most " + std::to_string(kMaxPlanSteps) + " steps";
        return false;
    }
    person->plan.resize(value.size());
    for (Json::ArrayIndex i = 0; i < value.size(); ++i) {
        if (!ParseStep(value[i], where + "[" + std::to_string(i) + "]", &person->plan[i], error)) {
            return false;
        }
    }
    return true;
}

bool ParsePerson(const Json::Value& value, const std::string& where, ScenePerson* person,
                 std::string* error) {
    if (!value.isObject()) {
        *error = where + ": expected an object";
        return false;
    }
    FieldReader fields(value, where, error);
    if (!fields.OnlyKnown({"id", "label", "path", "at", "plan", "speed", "loop", "start", "end",
                           "seated", "breathing", "rcs", "size", "scatterers", "sway"})) {
        return false;
    }
    if (!fields.Has("id")) {
        *error = where + ".id: missing (every person needs an id greater than 0)";
        return false;
    }
    if (!fields.Int("id", &person->id) || !fields.String("label", &person->label)) {
        return false;
    }
    if (fields.Has("plan")) {
        if (fields.Has("path") || !fields.Has("at")) {
            *error = where + ": a plan starts at \"at\", one [x, y] (no \"path\")";
            return false;
        }
        if (fields.Has("seated")) {
            *error = fields.Path("seated") + ": not with a plan (it sits with {\"sit\": seconds})";
            return false;
        }
        if (!ParsePlan(fields.Get("plan"), fields.Path("plan"), person, error)) {
            return false;
        }
    }
    if (fields.Has("path") == fields.Has("at")) {
        *error = where + ": give either \"path\" (a list of [x, y] points) or \"at\" (one [x, y])";
        return false;
    }
    if (fields.Has("at")) {
        person->path.resize(1);
        if (!fields.Point("at", &person->path[0])) {
            return false;
        }
    } else if (!fields.Points("path", kMaxPathPoints, &person->path)) {
        return false;
    }
    if (!fields.Double("speed", &person->speedMps) || !fields.Bool("loop", &person->loop) ||
        !fields.Double("start", &person->startS) || !fields.Bool("seated", &person->seated) ||
        !fields.Double("rcs", &person->rcsM2) || !fields.Double("size", &person->size) ||
        !fields.Int("scatterers", &person->scatterers) || !fields.Double("sway", &person->swayM)) {
        return false;
    }
    if (fields.Has("end")) {
        if (!fields.Double("end", &person->endS)) {
            return false;
        }
        // Any given end must be a real time; a negative one would otherwise
        // read as "never".
        if (!(person->endS > person->startS)) {
            return RangeError(fields.Path("end"),
                              "later than start (" + Number(person->startS) + ")", person->endS,
                              error);
        }
    }
    if (fields.Has("scatterers") && person->scatterers == 0) {
        *error = fields.Path("scatterers") + ": must be 1 to " +
                 std::to_string(kMaxScatterersPerPerson) + " (got 0)";
        return false;
    }
    if (fields.Has("sway") && person->swayM < 0.0) {
        return RangeError(fields.Path("sway"), "at least 0", person->swayM, error);
    }
    if (fields.Has("breathing") &&
        !ParseBreathing(fields.Get("breathing"), fields.Path("breathing"), person, error)) {
        return false;
    }
    return true;
}

bool ParseClutter(const Json::Value& value, const std::string& where, SceneClutter* clutter,
                  std::string* error) {
    if (!value.isObject()) {
        *error = where + ": expected an object {\"at\": [x, y], \"rcs\": m2}";
        return false;
    }
    FieldReader fields(value, where, error);
    if (!fields.OnlyKnown({"at", "rcs", "label"})) {
        return false;
    }
    if (!fields.Has("at")) {
        *error = where + ".at: missing (where the object stands, [x, y])";
        return false;
    }
    return fields.Point("at", &clutter->at) && fields.Double("rcs", &clutter->rcsM2) &&
           fields.String("label", &clutter->label);
}

// jsoncpp's messages run over several lines ("* Line 1, Column 5\n  Syntax
// error ...\n"); one line reads better after the file name.
std::string OneLine(const std::string& text) {
    std::string out;
    std::istringstream lines(text);
    std::string line;
    bool detail = false;
    while (std::getline(lines, line)) {
        const size_t first = line.find_first_not_of(" \t");
        if (first == std::string::npos) {
            continue;
        }
        line = line.substr(first);
        if (line.compare(0, 2, "* ") == 0) {
            out += (out.empty() ? "" : "; ") + line.substr(2);
            detail = false;
        } else {
            out += (detail ? " " : ": ") + line;
            detail = true;
        }
    }
    return out;
}

}  // namespace

bool ValidateScene(const Scene& scene, std::string* error) {
    std::string ignored;
    if (error == nullptr) {
        error = &ignored;
    }
    if (!CheckRange("noise", scene.noiseRms, 0.0, kMaxNoiseRms, false, error) ||
        !CheckRange("adcOffset", scene.adcOffset, -2048.0, 2048.0, false, error) ||
        !CheckRange("gain", scene.gain, 0.0, kMaxGain, true, error)) {
        return false;
    }
    if (scene.people.size() > kMaxPeople) {
        *error = "people: at most " + std::to_string(kMaxPeople) + " people";
        return false;
    }
    if (scene.clutter.size() > kMaxClutter) {
        *error = "clutter: at most " + std::to_string(kMaxClutter) + " objects";
        return false;
    }
    std::map<int, size_t> ids;
    for (size_t i = 0; i < scene.people.size(); ++i) {
        const std::string where = "people[" + std::to_string(i) + "]";
        if (!ValidatePerson(scene.people[i], where, error)) {
            return false;
        }
        auto inserted = ids.emplace(scene.people[i].id, i);
        if (!inserted.second) {
            *error = where + ".id: " + std::to_string(scene.people[i].id) +
                     " is already the id of people[" + std::to_string(inserted.first->second) + "]";
            return false;
        }
    }
    for (size_t i = 0; i < scene.clutter.size(); ++i) {
        const std::string where = "clutter[" + std::to_string(i) + "]";
        if (!CheckPoint(where + ".at", scene.clutter[i].at, error) ||
            !CheckRange(where + ".rcs", scene.clutter[i].rcsM2, 0.0, kMaxRcsM2, true, error)) {
            return false;
        }
    }
    return scenefields::ValidateRoom(scene, error);
}

bool ParseScene(const std::string& json, Scene* scene, std::string* error) {
    std::string ignored;
    if (error == nullptr) {
        error = &ignored;
    }
    Json::CharReaderBuilder builder;
    builder["allowComments"] = true;
    builder["strictRoot"] = true;
    builder["rejectDupKeys"] = true;
    builder["failIfExtra"] = true;
    builder["allowSpecialFloats"] = false;
    builder["allowSingleQuotes"] = false;
    builder["allowNumericKeys"] = false;
    std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    Json::Value root;
    std::string parseErrors;
    if (!reader->parse(json.data(), json.data() + json.size(), &root, &parseErrors)) {
        *error = "not valid JSON: " + OneLine(parseErrors);
        return false;
    }
    if (!root.isObject()) {
        *error = "scene: expected a JSON object {\"people\": [...], \"clutter\": [...], ...}";
        return false;
    }
    Scene parsed;
    FieldReader fields(root, "", error);
    if (!fields.OnlyKnown({"name", "description", "seed", "noise", "adcOffset", "gain", "people",
                           "clutter", "walls", "movers", "module"}) ||
        !fields.String("name", &parsed.name) ||
        !fields.String("description", &parsed.description) ||
        !fields.UInt64("seed", &parsed.seed) || !fields.Double("noise", &parsed.noiseRms) ||
        !fields.Double("adcOffset", &parsed.adcOffset) || !fields.Double("gain", &parsed.gain)) {
        return false;
    }
    if (fields.Has("people")) {
        const Json::Value& people = fields.Get("people");
        if (!people.isArray()) {
            *error = "people: expected a list of people";
            return false;
        }
        if (people.size() > kMaxPeople) {
            *error = "people: at most " + std::to_string(kMaxPeople) + " people";
            return false;
        }
        parsed.people.resize(people.size());
        for (Json::ArrayIndex i = 0; i < people.size(); ++i) {
            if (!ParsePerson(people[i], "people[" + std::to_string(i) + "]", &parsed.people[i],
                             error)) {
                return false;
            }
        }
    }
    if (fields.Has("clutter")) {
        const Json::Value& clutter = fields.Get("clutter");
        if (!clutter.isArray()) {
            *error = "clutter: expected a list of objects";
            return false;
        }
        if (clutter.size() > kMaxClutter) {
            *error = "clutter: at most " + std::to_string(kMaxClutter) + " objects";
            return false;
        }
        parsed.clutter.resize(clutter.size());
        for (Json::ArrayIndex i = 0; i < clutter.size(); ++i) {
            if (!ParseClutter(clutter[i], "clutter[" + std::to_string(i) + "]", &parsed.clutter[i],
                              error)) {
                return false;
            }
        }
    }
    if ((fields.Has("walls") && !scenefields::ParseWalls(fields.Get("walls"), &parsed, error)) ||
        (fields.Has("movers") && !scenefields::ParseMovers(fields.Get("movers"), &parsed, error)) ||
        (fields.Has("module") && !scenefields::ParseModule(fields.Get("module"), &parsed, error))) {
        return false;
    }
    if (!ValidateScene(parsed, error)) {
        return false;
    }
    *scene = std::move(parsed);
    return true;
}

bool LoadScene(const std::string& path, Scene* scene, std::string* error) {
    std::string ignored;
    if (error == nullptr) {
        error = &ignored;
    }
    struct stat info;
    if (stat(path.c_str(), &info) == 0 && !S_ISREG(info.st_mode)) {
        *error = path + ": not a scene file (not a regular file)";
        return false;
    }
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        *error = path + ": cannot open the scene file";
        return false;
    }
    std::ostringstream text;
    text << in.rdbuf();
    if (in.bad()) {
        *error = path + ": cannot read the scene file";
        return false;
    }
    Scene parsed;
    if (!ParseScene(text.str(), &parsed, error)) {
        *error = path + ": " + *error;
        return false;
    }
    if (parsed.name.empty()) {
        std::string base = path.substr(path.find_last_of('/') + 1);
        const std::string suffix = ".json";
        if (base.size() > suffix.size() &&
            base.compare(base.size() - suffix.size(), suffix.size(), suffix) == 0) {
            base.resize(base.size() - suffix.size());
        }
        parsed.name = base;
    }
    *scene = std::move(parsed);
    return true;
}

}  // namespace radar
