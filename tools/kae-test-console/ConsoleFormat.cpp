#include "ConsoleFormat.h"

#include <json/json.h>

#include <cmath>
#include <cstdio>
#include <memory>
#include <vector>

namespace {

// Parses text as exactly one JSON value: no comments, nothing after it.
bool ParseJson(const std::string& text, Json::Value* value) {
    Json::CharReaderBuilder builder;
    builder["allowComments"] = false;
    builder["failIfExtra"] = true;
    builder["allowSpecialFloats"] = false;
    builder["allowSingleQuotes"] = false;
    builder["allowNumericKeys"] = false;
    builder["allowDroppedNullPlaceholders"] = false;
    std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    std::string errors;
    return reader->parse(text.data(), text.data() + text.size(), value, &errors);
}

std::string Printf(const char* format, double value) {
    char buffer[64];
    snprintf(buffer, sizeof(buffer), format, value);
    return buffer;
}

// Track ids are whole numbers carried as doubles; show them as such.
std::string FormatId(double id) {
    if (std::isfinite(id) && id == std::floor(id) && std::fabs(id) < 1e15) {
        return Printf("%.0f", id);
    }
    return Printf("%g", id);
}

bool WhiteList(const std::string& data, std::vector<std::string>* names) {
    Json::Value root;
    if (!ParseJson(data, &root) || !root.isObject() || !root["WhiteList"].isArray()) {
        return false;
    }
    for (const Json::Value& entry : root["WhiteList"]) {
        if (!entry.isString()) {
            return false;
        }
        names->push_back(entry.asString());
    }
    return true;
}

bool IsEmptyBody(const std::string& output) {
    return output.empty() || output == "{}";
}

}  // namespace

namespace ConsoleFormat {

const char* ResultName(int result) {
    switch (result) {
        case 0:
            return "done";
        case -1:
            return "unknown subject";
        case -3:
            return "refused or duplicate";
        case -4:
            return "no presence data";
        case -5:
            return "unknown subscription";
        default:
            return "";
    }
}

std::string ResultText(int result) {
    std::string text = std::to_string(result);
    const char* name = ResultName(result);
    if (name[0] != '\0') {
        text += " (";
        text += name;
        text += ")";
    }
    return text;
}

std::string OneLine(const std::string& text) {
    std::string line;
    line.reserve(text.size());
    for (char c : text) {
        unsigned char byte = static_cast<unsigned char>(c);
        if (c == '\n') {
            line += "\\n";
        } else if (c == '\t') {
            line += "\\t";
        } else if (c == '\r') {
            line += "\\r";
        } else if (byte < 0x20 || byte == 0x7f) {
            char escape[8];
            snprintf(escape, sizeof(escape), "\\x%02x", byte);
            line += escape;
        } else {
            line += c;
        }
    }
    return line;
}

std::string CompactJson(const Json::Value& value) {
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "";
    builder["emitUTF8"] = true;
    return Json::writeString(builder, value);
}

std::string JsonString(const std::string& text) {
    return CompactJson(Json::Value(text));
}

std::string JsonOutputValue(const std::string& text) {
    Json::Value value;
    if (ParseJson(text, &value)) {
        return CompactJson(value);
    }
    return JsonString(text);
}

std::string SignalJson(int result, const std::string& subject, const std::string& output) {
    // Written by hand so that the keys keep this order; jsoncpp sorts them.
    return "{\"signal\":\"Response\",\"result\":" + std::to_string(result) +
           ",\"subject\":" + JsonString(subject) + ",\"output\":" + JsonOutputValue(output) + "}";
}

std::string RequestJson(int type, const std::string& subject, int result,
                        const std::string& output) {
    return "{\"method\":\"RequestSync\",\"type\":" + std::to_string(type) +
           ",\"subject\":" + JsonString(subject) + ",\"result\":" + std::to_string(result) +
           ",\"output\":" + JsonOutputValue(output) + "}";
}

std::string EnableJson(bool enabled, const std::string& data) {
    return std::string("{\"method\":\"ServiceEnable\",\"result\":") + (enabled ? "true" : "false") +
           ",\"output\":" + JsonOutputValue(data) + "}";
}

std::string ActivityHuman(const std::string& output) {
    Json::Value root;
    if (!ParseJson(output, &root) || !root.isObject()) {
        return "";
    }
    const Json::Value& results = root["result"];
    if (!results.isArray() || results.empty() || !results[0].isObject()) {
        return "";
    }
    const Json::Value& result = results[0];
    const Json::Value& segments = result["segments"];
    if (!segments.isArray() || segments.empty() || !segments[0].isObject() ||
        !segments[0]["segment"].isString()) {
        return "";
    }
    const Json::Value& tracks = result["tracks"];
    if (!tracks.isNull() && !tracks.isArray()) {
        return "";
    }

    std::string line = "segments " + OneLine(segments[0]["segment"].asString());
    const Json::Value& status = root["status"];
    if (status.isString() && status.asString() != "success") {
        line = "status " + OneLine(status.asString()) + ", " + line;
    }

    std::string list;
    for (const Json::Value& track : tracks) {
        if (!track.isObject()) {
            return "";
        }
        for (const char* key : {"id", "range", "angle", "velocity"}) {
            if (!track[key].isNumeric()) {
                return "";
            }
        }
        if (!list.empty()) {
            list += "; ";
        }
        list += "id " + FormatId(track["id"].asDouble()) + " range " +
                Printf("%.2f m", track["range"].asDouble()) + " angle " +
                Printf("%.2f deg", track["angle"].asDouble()) + " velocity " +
                Printf("%.2f m/s", track["velocity"].asDouble());
    }
    unsigned count = tracks.isArray() ? tracks.size() : 0;
    if (count == 0) {
        line += " | no tracks";
    } else {
        line += " | " + std::to_string(count) + (count == 1 ? " track: " : " tracks: ") + list;
    }
    return line;
}

std::string SignalHuman(int result, const std::string& subject, const std::string& output) {
    std::string line;
    int expected = 0;
    if (subject == KAE_SUBJECT_HELLO) {
        std::vector<std::string> names;
        line = "HELLO service started; ";
        if (WhiteList(output, &names)) {
            line += "white list:";
            for (size_t i = 0; i < names.size(); ++i) {
                line += (i == 0 ? " " : ", ") + OneLine(names[i]);
            }
        } else {
            line += OneLine(output);
        }
    } else if (subject == KAE_SUBJECT_BYE) {
        line = "BYE service stopping";
        if (!IsEmptyBody(output)) {
            line += "; " + OneLine(output);
        }
    } else if (subject == KAE_SUBJECT_TRACK_SEGMENT) {
        expected = kConsolePublishedResult;
        std::string activity = ActivityHuman(output);
        line = "TRACK_SEGMENT " +
               (activity.empty() ? "unrecognised result: " + OneLine(output) : activity);
    } else {
        return "Response " + OneLine(subject) + " result " + ResultText(result) + ": " +
               OneLine(output);
    }
    if (result != expected) {
        line += " (result " + ResultText(result) + ")";
    }
    return line;
}

std::string RequestHuman(const std::string& subject, int result, const std::string& output) {
    std::string line = OneLine(subject) + " result " + ResultText(result);
    Json::Value value;
    bool parsed = ParseJson(output, &value);
    if (result == 0 && subject == KAE_SUBJECT_PRESENCE && parsed && value.isInt()) {
        return line + ": presence " + std::to_string(value.asInt());
    }
    if (result == 0 && subject == KAE_SUBJECT_PRESENCE_DISTANCE && parsed && value.isObject() &&
        value["detection"].isInt() && value["distance"].isString()) {
        // Metres; a negative value is the service's mark of a failed read,
        // shown as it came.
        const std::string distance = OneLine(value["distance"].asString());
        const bool metres = !distance.empty() && distance[0] != '-';
        return line + ": detection " + std::to_string(value["detection"].asInt()) + ", distance " +
               distance + (metres ? " m" : "");
    }
    if (result != 0 && IsEmptyBody(output)) {
        return line;
    }
    return line + ": " + OneLine(output);
}

std::string EnableHuman(bool enabled, const std::string& data) {
    std::string text = enabled ? "tessivo service: enabled\n" : "tessivo service: not enabled\n";
    std::vector<std::string> names;
    if (!WhiteList(data, &names)) {
        return text + "white list: " + OneLine(data);
    }
    text += "white list (" + std::to_string(names.size()) + "):";
    for (const std::string& name : names) {
        text += "\n  " + OneLine(name);
    }
    return text;
}

}  // namespace ConsoleFormat
