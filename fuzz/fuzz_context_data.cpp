// ContextData, the JSON document behind every text the service takes in
// (data-service events, the agreement key, result documents): the input is
// parsed as a C string, as the bus and the platform hand texts over, then
// read back the way the service's readers read documents.
#include <stddef.h>
#include <stdint.h>

#include <string>
#include <vector>

#include "ContextData.h"
#include "FuzzSupport.h"

using fuzzsupport::Check;

namespace {

// Keys the service's readers ask for, whether or not the input has them.
const char* const kServiceKeys[] = {"result", "tracks",    "segments",  "id",         "range",
                                    "angle",  "velocity",  "detection", "distance",   "presence",
                                    "AppId",  "EventType", "TVSStatus", "DeviceName", "valid",
                                    "state",  "WhiteList", ""};

// Members and elements read per document: enough for every shape, bounded
// so that a wide document costs no more than a small one.
const int kMaxMembers = 16;
const int kMaxElements = 16;

void ReadMember(ContextData& document, const char* key) {
    document.GetValueBool(key);
    document.GetValueDouble(key);
    document.GetValueInt(key);
    document.GetValueUInt(key);
    document.GetValueUInt64(key);
    document.GetValueStr(key);
    Check(document.GetValueStr2(key) != "", "GetValueStr2 gives \"NULL\" rather than nothing");
    ContextData member = document.GetValue(key);
    member.MakeStr();
    const int size = document.GetSize(key);
    Check(size >= 0, "a member's size is never negative");
    for (int i = -1; i <= size && i < kMaxElements; ++i) {
        ContextData element = document.GetValue(key, i);
        element.GetValueInt("id");
        element.GetValueDouble("range");
        ContextData view = document.GetValuePtr(key, i);
        view.GetValueStr("DeviceName");
        view.MakeStr();
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    ContextData document;
    if (!document.MakeData(text.c_str())) {
        Check(document.GetValue()->isNull(), "a failed parse leaves the document as it was");
        return 0;
    }

    // The compact text is ASCII, fit for the bus whatever bytes the document
    // holds, and parses to the same document. Bytes that are not UTF-8 are
    // written as some other character, so a text holding them reads back the
    // same only from its second writing on.
    const std::string compact = document.MakeStr();
    for (char c : compact) {
        Check(static_cast<unsigned char>(c) < 0x80, "the compact text is ASCII");
    }
    ContextData again;
    Check(again.MakeData(compact.c_str()), "the compact text of a document parses");
    const std::string second = again.MakeStr();
    Check(!fuzzsupport::IsBusString(text) || compact == second,
          "the compact text of a document reads back the same");
    ContextData third;
    Check(third.MakeData(second.c_str()) && second == third.MakeStr(),
          "a compact text written again reads back the same");

    // A question about an absent key leaves no trace.
    const bool isObject = document.GetValue()->isObject();
    if (isObject && !document.GetValue()->isMember("absent-key")) {
        Check(!document.IsValid("absent-key"), "an absent key is not valid");
        Check(compact == document.MakeStr(), "asking about an absent key changes nothing");
    }

    // A document that is not an object takes no members and stays as it was.
    if (!isObject && !document.GetValue()->isNull()) {
        Check(!document.SetValue("key", 1), "a document that is not an object takes no members");
        Check(compact == document.MakeStr(), "a refused member leaves the document as it was");
    }

    std::vector<std::string> keys;
    if (isObject) {
        keys = document.GetValue()->getMemberNames();
        if (keys.size() > static_cast<size_t>(kMaxMembers)) {
            keys.resize(kMaxMembers);
        }
    }
    for (const std::string& key : keys) {
        ReadMember(document, key.c_str());
    }
    for (const char* key : kServiceKeys) {
        ReadMember(document, key);
    }
    // A view hands out the first element of a member, as the service's
    // readers of result documents use it.
    ContextData view(document.GetValue());
    for (const std::string& key : keys) {
        view.GetValue(key.c_str()).GetSize("tracks");
    }
    view.GetValue("result").GetSize("tracks");
    document.MakeStr();
    return 0;
}
