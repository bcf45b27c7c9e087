#include "RadarTruthFile.h"

#include <errno.h>
#include <json/json.h>

#include <fstream>
#include <memory>
#include <sstream>

#include "PlatformStore.h"

namespace {

// Readers are browsers and tools: a few centimetres of precision is plenty
// and keeps the file small.
double Rounded(double value) {
    return static_cast<double>(static_cast<int64_t>(value * 1000.0 + (value < 0 ? -0.5 : 0.5))) /
           1000.0;
}

bool NumberMember(const Json::Value& object, const char* name, double* out) {
    const Json::Value& value = object[name];
    if (!value.isNumeric()) {
        return false;
    }
    *out = value.asDouble();
    return true;
}

}  // namespace

std::string RadarTruthFile::PathOf() {
    return PlatformStore::RootDir() + "/" + kArea + "/" + kFileName;
}

Json::Value RadarTruthFile::ToJson(const RadarTruthFrame& frame) {
    Json::Value root(Json::objectValue);
    root["frame"] = static_cast<Json::Int64>(frame.frame);
    root["truth"] = frame.hasTruth;
    Json::Value people(Json::arrayValue);
    for (const radar::TruthTarget& person : frame.people) {
        Json::Value item(Json::objectValue);
        item["id"] = person.id;
        item["range"] = Rounded(person.range);
        item["angle"] = Rounded(person.angle);
        item["velocity"] = Rounded(person.velocity);
        item["x"] = Rounded(person.x);
        item["y"] = Rounded(person.y);
        people.append(item);
    }
    root["people"] = people;
    return root;
}

std::string RadarTruthFile::Format(const RadarTruthFrame& frame) {
    Json::StreamWriterBuilder writer;
    writer["indentation"] = "";
    // Millimetres and tenths of a degree are plenty for a picture.
    writer["precision"] = 6;
    return Json::writeString(writer, ToJson(frame)) + "\n";
}

bool RadarTruthFile::Parse(const std::string& text, RadarTruthFrame* frame, std::string* problem) {
    Json::CharReaderBuilder builder;
    std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    Json::Value root;
    std::string errors;
    if (!reader->parse(text.data(), text.data() + text.size(), &root, &errors)) {
        *problem = "not JSON: " + errors;
        return false;
    }
    if (!root.isObject() || !root["frame"].isIntegral() || !root["truth"].isBool() ||
        !root["people"].isArray()) {
        *problem = "needs an integer \"frame\", a boolean \"truth\" and an array \"people\"";
        return false;
    }
    RadarTruthFrame parsed;
    parsed.frame = root["frame"].asInt64();
    parsed.hasTruth = root["truth"].asBool();
    for (const Json::Value& item : root["people"]) {
        radar::TruthTarget person;
        if (!item.isObject() || !item["id"].isIntegral() ||
            !NumberMember(item, "range", &person.range) ||
            !NumberMember(item, "angle", &person.angle) ||
            !NumberMember(item, "velocity", &person.velocity) ||
            !NumberMember(item, "x", &person.x) || !NumberMember(item, "y", &person.y)) {
            *problem = "a person needs an integer \"id\" and numbers range, angle, velocity, x, y";
            return false;
        }
        person.id = item["id"].asInt();
        parsed.people.push_back(person);
    }
    *frame = parsed;
    return true;
}

int RadarTruthFile::Write(const RadarTruthFrame& frame) {
    int ret = PlatformStore::MakeDirs(PlatformStore::RootDir() + "/" + kArea);
    if (ret != 0) {
        return ret;
    }
    return PlatformStore::WriteFileAtomic(PathOf(), Format(frame));
}

int RadarTruthFile::Read(RadarTruthFrame* frame, std::string* problem) {
    std::ifstream in(PathOf(), std::ios::binary);
    if (!in) {
        return errno == ENOENT ? -ENOENT : -EIO;
    }
    std::ostringstream text;
    text << in.rdbuf();
    if (in.bad()) {
        return -EIO;
    }
    return Parse(text.str(), frame, problem) ? 0 : -EINVAL;
}
