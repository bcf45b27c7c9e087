#include "ResultFrame.h"

#include <cmath>
#include <cstdlib>
#include <memory>

namespace {

bool Finite(const Json::Value& value) {
    return value.isNumeric() && std::isfinite(value.asDouble());
}

// "0,1,0,0,0,0": six integers.
bool ParseSegments(const std::string& text, int* segments, std::string* problem) {
    const char* cursor = text.c_str();
    for (int i = 0; i < ResultFrame::kSegments; ++i) {
        char* end = nullptr;
        long value = strtol(cursor, &end, 10);
        bool last = i + 1 == ResultFrame::kSegments;
        if (end == cursor || (last ? *end != '\0' : *end != ',')) {
            *problem = "\"segment\" is not six comma-separated integers: \"" + text + "\"";
            return false;
        }
        segments[i] = static_cast<int>(value);
        cursor = end + (last ? 0 : 1);
    }
    return true;
}

}  // namespace

bool ResultFrame::Parse(const std::string& text, ResultFrame* frame, std::string* problem) {
    Json::CharReaderBuilder builder;
    std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    Json::Value root;
    std::string errors;
    if (!reader->parse(text.data(), text.data() + text.size(), &root, &errors)) {
        *problem = "not JSON: " + errors;
        return false;
    }
    if (!root.isObject() || !root["result"].isArray() || root["result"].size() != 1 ||
        !root["result"][0].isObject()) {
        *problem = "no \"result\" array with one object";
        return false;
    }
    const Json::Value& result = root["result"][0];
    const Json::Value& segments = result["segments"];
    if (!segments.isArray() || segments.size() != 1 || !segments[0].isObject() ||
        !segments[0]["segment"].isString()) {
        *problem = "no \"segments\" array with one object holding a \"segment\" text";
        return false;
    }
    ResultFrame parsed;
    if (!ParseSegments(segments[0]["segment"].asString(), parsed.segments, problem)) {
        return false;
    }
    const Json::Value& tracks = result["tracks"];
    if (!tracks.isNull()) {
        if (!tracks.isArray() || tracks.size() > kMaxTracks) {
            *problem = "\"tracks\" is not an array of at most 10 tracks";
            return false;
        }
        for (const Json::Value& item : tracks) {
            if (!item.isObject() || !Finite(item["id"]) || !Finite(item["range"]) ||
                !Finite(item["angle"]) || !Finite(item["velocity"]) || item["id"].asDouble() == 0) {
                *problem = "a track needs a non-zero id and finite range, angle and velocity";
                return false;
            }
            radar::OutputTrack track;
            track.id = item["id"].asDouble();
            track.range = item["range"].asDouble();
            track.angle = item["angle"].asDouble();
            track.velocity = item["velocity"].asDouble();
            parsed.tracks.push_back(track);
        }
    }
    *frame = parsed;
    return true;
}

Json::Value ResultFrame::ToJson() const {
    Json::Value root(Json::objectValue);
    Json::Value segmentList(Json::arrayValue);
    for (int value : segments) {
        segmentList.append(value);
    }
    root["segments"] = segmentList;
    Json::Value trackList(Json::arrayValue);
    for (const radar::OutputTrack& track : tracks) {
        Json::Value item(Json::objectValue);
        item["id"] = track.id;
        item["range"] = track.range;
        item["angle"] = track.angle;
        item["velocity"] = track.velocity;
        trackList.append(item);
    }
    root["tracks"] = trackList;
    return root;
}
