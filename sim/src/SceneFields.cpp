#include "SceneFields.h"

#include <cmath>
#include <locale>
#include <sstream>

namespace radar {
namespace scenefields {

std::string Number(double value) {
    std::ostringstream out;
    out.imbue(std::locale::classic());
    out.precision(10);
    out << value;
    return out.str();
}

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

bool FieldReader::OnlyKnown(const std::set<std::string>& known) {
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

bool FieldReader::Double(const char* key, double* out) {
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

bool FieldReader::Bool(const char* key, bool* out) {
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

bool FieldReader::String(const char* key, std::string* out) {
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

bool FieldReader::Int(const char* key, int* out) {
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

bool FieldReader::UInt64(const char* key, uint64_t* out) {
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

bool FieldReader::ReadPoint(const Json::Value& value, const std::string& field, ScenePoint* out) {
    if (!value.isArray() || value.size() != 2 || !value[0].isNumeric() || !value[1].isNumeric()) {
        *m_error = field + ": expected a point [x, y] of two numbers (metres)";
        return false;
    }
    out->x = value[0].asDouble();
    out->y = value[1].asDouble();
    return CheckPoint(field, *out, m_error);
}

bool FieldReader::Points(const char* key, size_t maxPoints, std::vector<ScenePoint>* out) {
    const Json::Value& list = m_object[key];
    if (!list.isArray() || list.empty()) {
        *m_error = Path(key) + ": expected a list of [x, y] points, at least one";
        return false;
    }
    if (list.size() > maxPoints) {
        *m_error = Path(key) + ": at most " + std::to_string(maxPoints) + " points";
        return false;
    }
    out->resize(list.size());
    for (Json::ArrayIndex i = 0; i < list.size(); ++i) {
        if (!ReadPoint(list[i], Path(key) + "[" + std::to_string(i) + "]", &(*out)[i])) {
            return false;
        }
    }
    return true;
}

bool FieldReader::TypeError(const char* key, const char* expected) {
    *m_error = Path(key) + ": expected " + expected;
    return false;
}

}  // namespace scenefields
}  // namespace radar
