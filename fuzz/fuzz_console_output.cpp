// What kae-test-console makes of what arrives from the bus: a Response
// signal, the answer of a read, the answer of ServiceEnable. Anybody on the
// bus can send such text, so it is outside input like the rest. Lines for
// people stay one line without control characters; lines for scripts are
// one JSON object each that gives back exactly what arrived.
#include <fuzzer/FuzzedDataProvider.h>
#include <json/json.h>

#include <memory>
#include <string>

#include "ConsoleFormat.h"
#include "FuzzSupport.h"
#include "KaeInterface.h"

using fuzzsupport::Check;

namespace {

const char* const kSubjects[] = {KAE_SUBJECT_HELLO, KAE_SUBJECT_BYE, KAE_SUBJECT_TRACK_SEGMENT,
                                 KAE_SUBJECT_PRESENCE, KAE_SUBJECT_PRESENCE_DISTANCE};
const int kResults[] = {0, -1, -3, -4, -5, 10};
const size_t kMaxText = 4096;

bool HasControl(const std::string& text, bool newlinesAllowed) {
    for (char c : text) {
        const unsigned char byte = static_cast<unsigned char>(c);
        if ((byte < 0x20 || byte == 0x7f) && !(newlinesAllowed && c == '\n')) {
            return true;
        }
    }
    return false;
}

// A line for scripts: one JSON object, strictly, on one line.
Json::Value ReadLine(const std::string& line) {
    Check(line.find('\n') == std::string::npos, "a JSON line is one line");
    Json::CharReaderBuilder builder;
    Json::CharReaderBuilder::strictMode(&builder.settings_);
    std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    Json::Value root;
    std::string errors;
    Check(reader->parse(line.data(), line.data() + line.size(), &root, &errors),
          "a JSON line parses strictly");
    Check(root.isObject(), "a JSON line is an object");
    return root;
}

// The output member carries the text: as the JSON value it is, or as a
// string when it is not one.
void CheckOutput(const Json::Value& output, const std::string& text) {
    if (output.isString() && output.asString() == text) {
        return;
    }
    Json::Value parsed;
    Json::CharReaderBuilder builder;
    std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    std::string errors;
    Check(
        reader->parse(text.data(), text.data() + text.size(), &parsed, &errors) && parsed == output,
        "the output member is what arrived");
}

std::string Text(FuzzedDataProvider& input, const char* const* known, size_t count) {
    std::string text = input.ConsumeBool()
                           ? std::string(known[input.ConsumeIntegralInRange<size_t>(0, count - 1)])
                           : input.ConsumeRandomLengthString(kMaxText);
    // The bus carries valid UTF-8 without NUL and nothing else.
    return fuzzsupport::IsBusString(text) ? text : std::string();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    FuzzedDataProvider input(data, size);
    const int result =
        input.ConsumeBool() ? input.PickValueInArray(kResults) : input.ConsumeIntegral<int>();
    const std::string subject = Text(input, kSubjects, sizeof(kSubjects) / sizeof(kSubjects[0]));
    std::string output = input.ConsumeRemainingBytesAsString();
    if (!fuzzsupport::IsBusString(output)) {
        output.clear();
    }

    const std::string signal = ConsoleFormat::SignalHuman(result, subject, output);
    Check(!HasControl(signal, false), "a signal line has no control characters");
    const std::string read = ConsoleFormat::RequestHuman(subject, result, output);
    Check(!HasControl(read, false), "a read line has no control characters");
    const std::string enable = ConsoleFormat::EnableHuman(result != 0, output);
    Check(!HasControl(enable, true), "the service's description has no control characters");
    ConsoleFormat::ActivityHuman(output);

    Json::Value root = ReadLine(ConsoleFormat::SignalJson(result, subject, output));
    Check(root["result"].isInt() && root["result"].asInt() == result, "a signal keeps its result");
    Check(root["subject"].isString() && root["subject"].asString() == subject,
          "a signal keeps its subject");
    CheckOutput(root["output"], output);

    root = ReadLine(ConsoleFormat::RequestJson(result, subject, result, output));
    Check(root["subject"].isString() && root["subject"].asString() == subject,
          "a read keeps its subject");
    CheckOutput(root["output"], output);

    root = ReadLine(ConsoleFormat::EnableJson(result != 0, output));
    CheckOutput(root["output"], output);
    return 0;
}
