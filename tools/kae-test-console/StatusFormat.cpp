#include "StatusFormat.h"

#include <time.h>

#include <cstdio>

#include "ConsoleFormat.h"
#include "KaeInterface.h"

namespace {

std::string Text(const Json::Value& status, const char* name) {
    const Json::Value& value = status[name];
    return ConsoleFormat::OneLine(value.isString() ? value.asString()
                                                   : ConsoleFormat::CompactJson(value));
}

bool Flag(const Json::Value& status, const char* name) {
    return status[name].isBool() && status[name].asBool();
}

std::string YesNo(const Json::Value& value) {
    if (value.isBool()) {
        return value.asBool() ? "yes" : "no";
    }
    return ConsoleFormat::OneLine(value.isString() ? value.asString()
                                                   : ConsoleFormat::CompactJson(value));
}

// The local time of a wall time in microseconds, to the second or the
// millisecond.
std::string Clock(int64_t us, bool millis) {
    time_t seconds = static_cast<time_t>(us / 1000000);
    struct tm local;
    char text[32] = "";
    if (localtime_r(&seconds, &local) != nullptr) {
        strftime(text, sizeof(text), "%H:%M:%S", &local);
    }
    std::string clock = text;
    if (millis) {
        char fraction[8];
        snprintf(fraction, sizeof(fraction), ".%03d", static_cast<int>((us / 1000) % 1000));
        clock += fraction;
    }
    return clock;
}

// A labelled line, the labels right-aligned as systemctl does.
std::string Line(const char* label, const std::string& value) {
    char head[32];
    snprintf(head, sizeof(head), label[0] != '\0' ? "%11s: " : "%11s  ", label);
    return head + value + "\n";
}

// The properties in the order a person reads them; any the service adds
// later follow in their own order.
const char* const kOrder[] = {"Shape",     "Mode",          "Reason",          "ReasonText",
                              "Streaming", "SensorClaimed", "Subscribers",     "UsageStatistics",
                              "Country",   "CountryListed", "StatisticsAgreed"};

}  // namespace

namespace StatusFormat {

std::string Timestamp(uint64_t timestampUs, int64_t nowUs) {
    if (timestampUs == 0) {
        return "never";
    }
    const double ago = static_cast<double>(nowUs - static_cast<int64_t>(timestampUs)) / 1e6;
    char agoText[48];
    snprintf(agoText, sizeof(agoText), " (%.1f s ago)", ago < 0.0 ? 0.0 : ago);
    return Clock(static_cast<int64_t>(timestampUs), true) + agoText;
}

std::string Human(const Json::Value& status, const std::string& owner, int64_t nowUs) {
    std::string text = "\u25cf " KAE_DBUS_NAME;
    if (!owner.empty()) {
        text += " (" + owner + ")";
    }
    text += "\n";
    text += Line("Shape", Text(status, "Shape"));
    text += Line("Mode", Text(status, "Mode") + " (" + Text(status, "Reason") + ")");
    text += Line("", Text(status, "ReasonText"));
    text += Line("Radar", Flag(status, "Streaming") ? "streaming" : "not streaming");
    text += Line("Last result", Timestamp(status["LastResultTimestamp"].asUInt64(), nowUs));
    text += Line("Presence",
                 "last reading " + Timestamp(status["LastPresenceTimestamp"].asUInt64(), nowUs));
    text += Line("Sensor",
                 Flag(status, "SensorClaimed") ? "claimed by another program" : "not claimed");
    text += Line("Subscribers", Text(status, "Subscribers"));
    const std::string country = Text(status, "Country");
    text += Line("Statistics",
                 std::string(Flag(status, "UsageStatistics") ? "collected" : "not collected") +
                     " (country " + (country.empty() ? "unknown" : country) +
                     (Flag(status, "CountryListed") ? ", listed; " : ", not listed; ") +
                     (Flag(status, "StatisticsAgreed") ? "agreed)" : "not agreed)"));
    return text;
}

std::string JsonLine(const Json::Value& status) {
    return ConsoleFormat::CompactJson(status);
}

std::string ChangeHuman(const Json::Value& changed, const Json::Value& status, int64_t atUs) {
    std::string line = Clock(atUs, false);
    const char* separator = " ";
    auto add = [&](const std::string& name) {
        if (name == "ReasonText" && changed.isMember("Reason")) {
            return;  // shown with the reason
        }
        // The sentence alone goes with the reason's word it explains.
        std::string item = name == "ReasonText" ? "Reason " + Text(status, "Reason")
                                                : name + " " + YesNo(changed[name]);
        if ((name == "Reason" || name == "ReasonText") && changed.isMember("ReasonText")) {
            item += " (" + Text(changed, "ReasonText") + ")";
        }
        line += separator + item;
        separator = ", ";
    };
    for (const char* name : kOrder) {
        if (changed.isMember(name)) {
            add(name);
        }
    }
    for (const std::string& name : changed.getMemberNames()) {
        bool known = false;
        for (const char* ordered : kOrder) {
            known = known || name == ordered;
        }
        if (!known) {
            add(name);
        }
    }
    return line;
}

std::string ChangeJson(const Json::Value& changed, int64_t atUs) {
    Json::Value line(Json::objectValue);
    line["changed"] = changed;
    line["timestamp"] = static_cast<Json::Int64>(atUs);
    return ConsoleFormat::CompactJson(line);
}

}  // namespace StatusFormat
