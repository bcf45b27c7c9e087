// How kae-test-console shows the service's status object: one screen for a
// person (like `systemctl status`), one JSON object for scripts, and one
// line per change while following. Pure text work, no bus.
#ifndef TESSIVO_TOOLS_KAETESTCONSOLE_STATUSFORMAT_H
#define TESSIVO_TOOLS_KAETESTCONSOLE_STATUSFORMAT_H

#include <json/json.h>
#include <stdint.h>

#include <string>

namespace StatusFormat {

// Several lines from the properties by name; owner is the service's unique
// bus name. nowUs (wall time, microseconds since the epoch) dates the two
// timestamps ("0.4 s ago").
std::string Human(const Json::Value& status, const std::string& owner, int64_t nowUs);
// The properties as one JSON object on one line.
std::string JsonLine(const Json::Value& status);

// One line for the properties that changed, prefixed by the local time of
// atUs: "12:00:03 Mode presence, Reason app (Netflix is in front, ...)".
// status, the whole status with the change applied, names the reason when
// only its sentence changed.
std::string ChangeHuman(const Json::Value& changed, const Json::Value& status, int64_t atUs);
// {"changed":{...},"timestamp":atUs}
std::string ChangeJson(const Json::Value& changed, int64_t atUs);

// "never", or "12:00:03.250 (1.5 s ago)" for a timestamp in microseconds.
std::string Timestamp(uint64_t timestampUs, int64_t nowUs);

}  // namespace StatusFormat

#endif
