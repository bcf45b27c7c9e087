// Shared by the scene readers: range checks whose messages name the field,
// and typed reads out of a JSON object that fail on the first mistake.
#ifndef TESSIVO_SIM_SCENEFIELDS_H
#define TESSIVO_SIM_SCENEFIELDS_H

#include <json/json.h>
#include <stdint.h>

#include <set>
#include <string>
#include <vector>

#include "Scene.h"

namespace radar {
namespace scenefields {

// Limits that keep a scene physical and the synthesis cheap.
constexpr double kMaxCoordinateM = 100.0;
constexpr double kMaxRcsM2 = 10000.0;

// A number as a message shows it: locale-free, ten digits.
std::string Number(double value);

// "FIELD: must be RULE (got X)"; always false.
bool RangeError(const std::string& field, const std::string& rule, double value,
                std::string* error);

// lo <= value <= hi (lo < value with loOpen), and finite.
bool CheckRange(const std::string& field, double value, double lo, double hi, bool loOpen,
                std::string* error);

bool CheckPoint(const std::string& field, const ScenePoint& point, std::string* error);

// Reading typed fields out of a JSON object, with the field's path in every
// message. A missing field leaves the output as it was.
class FieldReader {
public:
    FieldReader(const Json::Value& object, std::string where, std::string* error)
        : m_object(object), m_where(std::move(where)), m_error(error) {}

    std::string Path(const std::string& key) const {
        return m_where.empty() ? key : m_where + "." + key;
    }

    // Fails on any member not in `known`, so that a misspelt field is not
    // silently ignored.
    bool OnlyKnown(const std::set<std::string>& known);

    bool Has(const char* key) const { return m_object.isMember(key); }
    const Json::Value& Get(const char* key) const { return m_object[key]; }

    bool Double(const char* key, double* out);
    bool Bool(const char* key, bool* out);
    bool String(const char* key, std::string* out);
    bool Int(const char* key, int* out);
    bool UInt64(const char* key, uint64_t* out);
    bool Point(const char* key, ScenePoint* out) {
        return ReadPoint(m_object[key], Path(key), out);
    }
    bool ReadPoint(const Json::Value& value, const std::string& field, ScenePoint* out);
    // A list of 1..maxPoints points [x, y].
    bool Points(const char* key, size_t maxPoints, std::vector<ScenePoint>* out);

private:
    bool TypeError(const char* key, const char* expected);

    const Json::Value& m_object;
    std::string m_where;
    std::string* m_error;
};

// A number of a mover: the kinds it means something for and its limits.
// Fields whose default is the kind's own hold a negative value until given.
struct MoverNumber {
    const char* name;
    double SceneMover::*member;
    unsigned kinds;  // bit k: MoverKind k uses it
    double lo, hi;
    bool loOpen;
    bool kindDefault;
};
struct MoverCount {
    const char* name;
    int SceneMover::*member;
    unsigned kinds;
    int lo, hi;
    bool kindDefault;
};
const std::vector<MoverNumber>& MoverNumbers();
const std::vector<MoverCount>& MoverCounts();
inline bool MoverUses(unsigned kinds, MoverKind kind) {
    const unsigned bit = static_cast<unsigned>(kind);
    return bit < 32 && ((kinds >> bit) & 1u) != 0;
}
// "fan", "turntable", ...; nullptr for a value outside the enum.
const char* MoverKindName(MoverKind kind);

// The parts of a scene beyond people and clutter: walls, movers and the
// module. Parse* read the JSON member named by the function into the scene;
// Validate* apply the same limits to a scene built in code.
bool ParseWalls(const Json::Value& value, Scene* scene, std::string* error);
bool ParseMovers(const Json::Value& value, Scene* scene, std::string* error);
bool ParseModule(const Json::Value& value, Scene* scene, std::string* error);
bool ValidateRoom(const Scene& scene, std::string* error);

}  // namespace scenefields
}  // namespace radar

#endif
