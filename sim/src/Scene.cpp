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

namespace radar {

namespace {

// Limits that keep a scene physical and the synthesis cheap.
constexpr double kMaxCoordinateM = 100.0;
constexpr double kMaxSpeedMps = 10.0;
constexpr double kMaxTimeS = 1e6;
constexpr double kMaxBreathingDepthM = 0.05;
constexpr double kMaxBreathingRateHz = 2.0;
constexpr double kMaxSwayM = 0.05;
constexpr double kMaxRcsM2 = 10000.0;
constexpr double kMaxNoiseRms = 1000.0;
constexpr double kMaxGain = 1000.0;
constexpr size_t kMaxPathPoints = 1000;
constexpr size_t kMaxPeople = 64;
constexpr size_t kMaxClutter = 256;

std::string Number(double value) {
    std::ostringstream out;
    out.imbue(std::locale::classic());
    out.precision(10);
    out << value;
    return out.str();
}

// "must be ... (got X)" for a number outside its range.
bool RangeError(const std::string& field, const std::string& rule, double value,
                std::string* error) {
    *error = field + ": must be " + rule + " (got " + Number(value) + ")";
    return false;
}

bool CheckRange(const std::string& field, double value, double lo, double hi, bool loOpen,
                std::string* error) {
    const bool ok = std::isfinite(value) && (loOpen ? value > lo : value >= lo) && value <= hi;
    if (ok) {
        return true;
    }
    return RangeError(
        field, (loOpen ? "greater than " : "at least ") + Number(lo) + " and at most " + Number(hi),
        value, error);
}

bool CheckPoint(const std::string& field, const ScenePoint& point, std::string* error) {
    if (!std::isfinite(point.x) || !std::isfinite(point.y) ||
        std::fabs(point.x) > kMaxCoordinateM || std::fabs(point.y) > kMaxCoordinateM) {
        *error = field + ": coordinates must lie within " + Number(kMaxCoordinateM) +
                 " m of the module (got [" + Number(point.x) + ", " + Number(point.y) + "])";
        return false;
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
    return true;
}

// Reading typed fields out of a JSON object, with the field's path in every
// message.
class FieldReader {
public:
    FieldReader(const Json::Value& object, std::string where, std::string* error)
        : m_object(object), m_where(std::move(where)), m_error(error) {}

    std::string Path(const std::string& key) const {
        return m_where.empty() ? key : m_where + "." + key;
    }

    // Fails on any member not in `known`, so that a misspelt field is not
    // silently ignored.
    bool OnlyKnown(const std::set<std::string>& known) {
        for (const std::string& key : m_object.getMemberNames()) {
            if (known.count(key) == 0) {
                std::string list;
                for (const std::string& name : known) {
                    list += (list.empty() ? "" : ", ") + name;
                }
                *m_error = (m_where.empty() ? "scene" : m_where) + ": unknown field \"" + key +
                           "\" (known: " + list + ")";
                return false;
            }
        }
        return true;
    }

    bool Has(const char* key) const { return m_object.isMember(key); }

    bool Double(const char* key, double* out) {
        if (!m_object.isMember(key)) {
            return true;
        }
        const Json::Value& value = m_object[key];
        if (!value.isNumeric()) {
            return TypeError(key, "a number");
        }
        *out = value.asDouble();
        return true;
    }

    bool Bool(const char* key, bool* out) {
        if (!m_object.isMember(key)) {
            return true;
        }
        const Json::Value& value = m_object[key];
        if (!value.isBool()) {
            return TypeError(key, "true or false");
        }
        *out = value.asBool();
        return true;
    }

    bool String(const char* key, std::string* out) {
        if (!m_object.isMember(key)) {
            return true;
        }
        const Json::Value& value = m_object[key];
        if (!value.isString()) {
            return TypeError(key, "a string");
        }
        *out = value.asString();
        return true;
    }

    bool Int(const char* key, int* out) {
        if (!m_object.isMember(key)) {
            return true;
        }
        const Json::Value& value = m_object[key];
        if (!value.isInt()) {
            return TypeError(key, "a whole number");
        }
        *out = value.asInt();
        return true;
    }

    bool UInt64(const char* key, uint64_t* out) {
        if (!m_object.isMember(key)) {
            return true;
        }
        const Json::Value& value = m_object[key];
        if (!value.isUInt64() || (value.isDouble() && !value.isIntegral())) {
            return TypeError(key, "a whole number from 0 to 18446744073709551615");
        }
        *out = value.asUInt64();
        return true;
    }

    bool Point(const char* key, ScenePoint* out) {
        return ReadPoint(m_object[key], Path(key), out);
    }

    bool ReadPoint(const Json::Value& value, const std::string& field, ScenePoint* out) {
        if (!value.isArray() || value.size() != 2 || !value[0].isNumeric() ||
            !value[1].isNumeric()) {
            *m_error = field + ": expected a point [x, y] of two numbers (metres)";
            return false;
        }
        out->x = value[0].asDouble();
        out->y = value[1].asDouble();
        return CheckPoint(field, *out, m_error);
    }

    const Json::Value& Get(const char* key) const { return m_object[key]; }

private:
    bool TypeError(const char* key, const char* expected) {
        *m_error = Path(key) + ": expected " + expected;
        return false;
    }

    const Json::Value& m_object;
    std::string m_where;
    std::string* m_error;
};

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

bool ParsePerson(const Json::Value& value, const std::string& where, ScenePerson* person,
                 std::string* error) {
    if (!value.isObject()) {
        *error = where + ": expected an object";
        return false;
    }
    FieldReader fields(value, where, error);
    if (!fields.OnlyKnown({"id", "label", "path", "at", "speed", "loop", "start", "end", "seated",
                           "breathing", "rcs", "scatterers", "sway"})) {
        return false;
    }
    if (!fields.Has("id")) {
        *error = where + ".id: missing (every person needs an id greater than 0)";
        return false;
    }
    std::string label;
    if (!fields.Int("id", &person->id) || !fields.String("label", &label)) {
        return false;
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
    } else {
        const Json::Value& path = fields.Get("path");
        if (!path.isArray() || path.empty()) {
            *error = fields.Path("path") + ": expected a list of [x, y] points, at least one";
            return false;
        }
        if (path.size() > kMaxPathPoints) {
            *error =
                fields.Path("path") + ": at most " + std::to_string(kMaxPathPoints) + " points";
            return false;
        }
        person->path.resize(path.size());
        for (Json::ArrayIndex i = 0; i < path.size(); ++i) {
            if (!fields.ReadPoint(path[i], fields.Path("path") + "[" + std::to_string(i) + "]",
                                  &person->path[i])) {
                return false;
            }
        }
    }
    if (!fields.Double("speed", &person->speedMps) || !fields.Bool("loop", &person->loop) ||
        !fields.Double("start", &person->startS) || !fields.Bool("seated", &person->seated) ||
        !fields.Double("rcs", &person->rcsM2) || !fields.Int("scatterers", &person->scatterers) ||
        !fields.Double("sway", &person->swayM)) {
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
    std::string label;
    return fields.Point("at", &clutter->at) && fields.Double("rcs", &clutter->rcsM2) &&
           fields.String("label", &label);
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
    return true;
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
    std::string description;
    if (!fields.OnlyKnown(
            {"name", "description", "seed", "noise", "adcOffset", "gain", "people", "clutter"}) ||
        !fields.String("name", &parsed.name) || !fields.String("description", &description) ||
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
