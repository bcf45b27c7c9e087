// What kae-test-console prints: one line per method answer or signal, for a
// person or as one JSON object per line for scripts. Pure text work, no bus.
#ifndef TESSIVO_TOOLS_KAETESTCONSOLE_CONSOLEFORMAT_H
#define TESSIVO_TOOLS_KAETESTCONSOLE_CONSOLEFORMAT_H

#include <json/json.h>

#include <string>

#include "KaeInterface.h"

// The result field of a published track/segment signal.
constexpr int kConsolePublishedResult = 10;

namespace ConsoleFormat {

// "done", "unknown subject", ... for the service's result codes, "" otherwise.
const char* ResultName(int result);
// "0 (done)", or just the number when the code has no name.
std::string ResultText(int result);

// Text made safe for one line: control characters become \n, \t, \r or \xNN.
std::string OneLine(const std::string& text);

// One JSON value as compact text on one line.
std::string CompactJson(const Json::Value& value);

// A JSON string literal of text, quotes and escapes included.
std::string JsonString(const std::string& text);
// The compact JSON of text when text is one complete JSON value, else the
// JSON string literal of text: the service's answers are usually JSON
// documents, and scripts want them as such.
std::string JsonOutputValue(const std::string& text);

// {"signal":"Response","result":R,"subject":S,"output":O}
std::string SignalJson(int result, const std::string& subject, const std::string& output);
// {"method":"RequestSync","type":T,"subject":S,"result":R,"output":O}
std::string RequestJson(int type, const std::string& subject, int result,
                        const std::string& output);
// {"method":"ServiceEnable","result":B,"output":O}
std::string EnableJson(bool enabled, const std::string& data);

// One line for a person, e.g. "HELLO service started; white list: a, b" or
// "TRACK_SEGMENT segments 0,1,0,0,0,0 | 1 track: id 1 range 1.75 ...".
std::string SignalHuman(int result, const std::string& subject, const std::string& output);
// One line for the answer of a read, e.g.
// "KAE/GET/PRESENCE_DISTANCE/ result 0 (done): detection 1, distance 1.28".
std::string RequestHuman(const std::string& subject, int result, const std::string& output);
// Several lines: whether the service is enabled, then its white list.
std::string EnableHuman(bool enabled, const std::string& data);

// The compact line of an activity result document ("segments ... | ..."),
// or "" when the text is not such a document.
std::string ActivityHuman(const std::string& output);

}  // namespace ConsoleFormat

#endif
