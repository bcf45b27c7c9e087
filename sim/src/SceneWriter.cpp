// A scene written back as a scene file, so that a room made in code (a
// random one) can be kept, read and replayed byte for byte.
#include <json/writer.h>

#include <cmath>
#include <locale>
#include <sstream>

#include "Scene.h"
#include "SceneFields.h"

namespace radar {

namespace {

std::string Format(double value, int digits) {
    std::ostringstream out;
    out.imbue(std::locale::classic());
    out.precision(digits);
    out << value;
    return out.str();
}

// The fewest significant digits (at most 17, always enough) that read back as
// the same double: exact, yet 0.4 stays 0.4 for the human reader.
std::string Num(double value) {
    if (!std::isfinite(value)) {
        return "null";  // only an invalid scene has one; reading it back fails
    }
    if (value == 0.0) {
        // "-0" reads back as the whole number 0: the sign needs a fraction.
        return std::signbit(value) ? "-0.0" : "0";
    }
    for (int digits = 15; digits < 17; ++digits) {
        const std::string text = Format(value, digits);
        std::istringstream in(text);
        in.imbue(std::locale::classic());
        double back = 0.0;
        if (in >> back && back == value) {
            return text;
        }
    }
    return Format(value, 17);
}

// Every byte of the text, NUL and bytes that are not UTF-8 included, reads
// back as it was: escaped only where JSON needs it.
std::string Str(const std::string& text) {
    Json::StreamWriterBuilder builder;
    builder["emitUTF8"] = true;
    return Json::writeString(builder, Json::Value(text));
}

std::string Bool(bool value) {
    return value ? "true" : "false";
}

std::string Point(const ScenePoint& point) {
    return "[" + Num(point.x) + ", " + Num(point.y) + "]";
}

std::string Points(const std::vector<ScenePoint>& points) {
    std::string out = "[";
    for (size_t i = 0; i < points.size(); ++i) {
        out += (i == 0 ? "" : ", ") + Point(points[i]);
    }
    return out + "]";
}

std::string Label(const std::string& label) {
    return label.empty() ? "" : ", \"label\": " + Str(label);
}

std::string Step(const PlanStep& step) {
    switch (step.kind) {
        case ActivityKind::kWalk:
            return "{\"walk\": " + Points(step.to) +
                   (step.speedMps < 0.0 ? "" : ", \"speed\": " + Num(step.speedMps)) + "}";
        case ActivityKind::kStand:
            return "{\"stand\": " + Num(step.durationS) + "}";
        case ActivityKind::kSit:
            return "{\"sit\": " + Num(step.durationS) + "}";
    }
    return "{}";
}

// Fields whose "default" is their absence (never ending, the posture's own
// sway) are left out while they hold it.
std::string Person(const ScenePerson& person) {
    std::string out = "{\"id\": " + std::to_string(person.id) + Label(person.label);
    out += person.path.size() == 1 ? ", \"at\": " + Point(person.path[0])
                                   : ", \"path\": " + Points(person.path);
    out += ", \"speed\": " + Num(person.speedMps) + ", \"loop\": " + Bool(person.loop) +
           ", \"start\": " + Num(person.startS);
    if (person.endS >= 0.0 || !std::isfinite(person.endS)) {
        out += ", \"end\": " + Num(person.endS);
    }
    if (person.plan.empty()) {
        out += ", \"seated\": " + Bool(person.seated);
    }
    out += ", \"breathing\": {\"depth\": " + Num(person.breathingDepthM) +
           ", \"rate\": " + Num(person.breathingRateHz) + "}, \"rcs\": " + Num(person.rcsM2) +
           ", \"size\": " + Num(person.size);
    if (person.scatterers != 0) {
        out += ", \"scatterers\": " + std::to_string(person.scatterers);
    }
    if (!(person.swayM < 0.0)) {
        out += ", \"sway\": " + Num(person.swayM);
    }
    if (!person.plan.empty()) {
        out += ", \"plan\": [";
        for (size_t i = 0; i < person.plan.size(); ++i) {
            out += std::string(i == 0 ? "" : ",") + "\n       " + Step(person.plan[i]);
        }
        out += "]";
    }
    return out + "}";
}

std::string Wall(const SceneWall& wall) {
    return std::string("{\"") + (wall.axis == WallAxis::kX ? "x" : "y") +
           "\": " + Num(wall.positionM) + ", \"reflectivity\": " + Num(wall.reflectivity) +
           Label(wall.label) + "}";
}

// Only the fields of the mover's kind; those left to the kind's default stay
// out.
std::string Mover(const SceneMover& mover) {
    const char* kind = scenefields::MoverKindName(mover.kind);
    std::string out = std::string("{\"kind\": ") + (kind == nullptr ? "null" : Str(kind)) +
                      ", \"at\": " + Point(mover.at) + Label(mover.label);
    for (const scenefields::MoverNumber& field : scenefields::MoverNumbers()) {
        const double value = mover.*field.member;
        if (scenefields::MoverUses(field.kinds, mover.kind) &&
            !(field.kindDefault && value < 0.0)) {
            out += ", \"" + std::string(field.name) + "\": " + Num(value);
        }
    }
    for (const scenefields::MoverCount& field : scenefields::MoverCounts()) {
        const int value = mover.*field.member;
        if (scenefields::MoverUses(field.kinds, mover.kind) && !(field.kindDefault && value < 0)) {
            out += ", \"" + std::string(field.name) + "\": " + std::to_string(value);
        }
    }
    return out + "}";
}

std::string Module(const SceneModule& module) {
    return "{\"leakage\": {\"amplitude\": " + Num(module.leakageAmplitude) +
           ", \"range\": " + Num(module.leakageRangeM) +
           "}, \"highPass\": " + Num(module.highPassHz) +
           ", \"pattern\": " + Num(module.patternExponent) +
           ", \"rxGainDb\": " + Num(module.rxGainDb) + ", \"adcOffsets\": [" +
           Num(module.adcOffsets[0]) + ", " + Num(module.adcOffsets[1]) + "]}";
}

template <typename T, typename Write>
std::string List(const char* name, const std::vector<T>& items, Write write) {
    std::string out = std::string("  \"") + name + "\": [";
    for (size_t i = 0; i < items.size(); ++i) {
        out += std::string(i == 0 ? "" : ",") + "\n    " + write(items[i]);
    }
    return out + (items.empty() ? "]" : "\n  ]");
}

}  // namespace

std::string SceneToJson(const Scene& scene) {
    std::string out = "{\n  \"name\": " + Str(scene.name) + ",\n";
    if (!scene.description.empty()) {
        out += "  \"description\": " + Str(scene.description) + ",\n";
    }
    out += "  \"seed\": " + std::to_string(scene.seed) + ",\n  \"noise\": " + Num(scene.noiseRms) +
           ",\n  \"adcOffset\": " + Num(scene.adcOffset) + ",\n  \"gain\": " + Num(scene.gain) +
           ",\n  \"module\": " + Module(scene.module) + ",\n";
    out += List("walls", scene.walls, Wall) + ",\n";
    out += List("people", scene.people, Person) + ",\n";
    out += List("clutter", scene.clutter,
                [](const SceneClutter& clutter) {
                    return "{\"at\": " + Point(clutter.at) + ", \"rcs\": " + Num(clutter.rcsM2) +
                           Label(clutter.label) + "}";
                }) +
           ",\n";
    out += List("movers", scene.movers, Mover) + "\n}\n";
    return out;
}

}  // namespace radar
