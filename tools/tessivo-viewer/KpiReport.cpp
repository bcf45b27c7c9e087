#include "KpiReport.h"

#include <cstdlib>
#include <map>

namespace {

std::string Unescape(const std::string& text) {
    std::string out;
    for (size_t i = 0; i < text.size(); ++i) {
        if (text.compare(i, 3, "%26") == 0) {
            out += '&';
            i += 2;
        } else if (text.compare(i, 3, "%5E") == 0) {
            out += '^';
            i += 2;
        } else {
            out += text[i];
        }
    }
    return out;
}

// "[1,2,3]" with exactly count integers.
bool ParseList(const std::string& text, size_t count, Json::Value* list) {
    if (text.size() < 2 || text.front() != '[' || text.back() != ']') {
        return false;
    }
    Json::Value values(Json::arrayValue);
    const std::string inner = text.substr(1, text.size() - 2);
    size_t start = 0;
    while (start <= inner.size() && !inner.empty()) {
        size_t comma = inner.find(',', start);
        const std::string item =
            inner.substr(start, comma == std::string::npos ? std::string::npos : comma - start);
        char* end = nullptr;
        long value = strtol(item.c_str(), &end, 10);
        if (item.empty() || *end != '\0') {
            return false;
        }
        values.append(static_cast<Json::Int64>(value));
        if (comma == std::string::npos) {
            break;
        }
        start = comma + 1;
    }
    if (values.size() != count) {
        return false;
    }
    *list = values;
    return true;
}

}  // namespace

namespace KpiReport {

bool Parse(const std::string& description, Json::Value* report, std::string* problem) {
    const std::string text = Unescape(description);
    if (text.size() < 2 || text.front() != '{' || text.back() != '}') {
        *problem = "not a report in braces";
        return false;
    }
    std::map<std::string, std::string> pairs;
    const std::string inner = text.substr(1, text.size() - 2);
    size_t start = 0;
    while (start < inner.size()) {
        size_t end = inner.find(';', start);
        const std::string pair =
            inner.substr(start, end == std::string::npos ? std::string::npos : end - start);
        size_t equals = pair.find('=');
        if (equals == std::string::npos) {
            *problem = "\"" + pair + "\" is not KEY=VALUE";
            return false;
        }
        pairs[pair.substr(0, equals)] = pair.substr(equals + 1);
        if (end == std::string::npos) {
            break;
        }
        start = end + 1;
    }
    Json::Value parsed(Json::objectValue);
    const struct {
        const char* key;
        const char* name;
        size_t count;
    } lists[] = {{"presence", "presence", kPresenceBands},
                 {"segment", "segment", kSegmentCells},
                 {"object_cnt", "objectCount", kTrackCounts}};
    for (const auto& list : lists) {
        if (!ParseList(pairs[list.key], list.count, &parsed[list.name])) {
            *problem = std::string("\"") + list.key + "\" is not a list of " +
                       std::to_string(list.count) + " integers";
            return false;
        }
    }
    parsed["app"] = pairs["appsrc_name"];
    parsed["device"] = pairs["dev_name"];
    parsed["sessionStart"] = pairs["session_st"];
    parsed["sendTime"] = pairs["send_time"];
    *report = parsed;
    return true;
}

}  // namespace KpiReport
