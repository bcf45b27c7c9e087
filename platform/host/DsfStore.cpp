#include "DsfStore.h"

#include <DSF.h>
#include <errno.h>
#include <json/json.h>

#include <memory>

#include "ChangeJournal.h"
#include "PlatformStore.h"

namespace {

// PlatformStore refuses to read back a value larger than this; events are
// held to the same size.
constexpr size_t kMaxJson = 1u << 20;

bool IsUnreserved(unsigned char c) {
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '-' ||
           c == '_' || c == '.';
}

std::string PercentEncode(const std::string& text) {
    static const char kHex[] = "0123456789ABCDEF";
    std::string out;
    for (unsigned char c : text) {
        if (IsUnreserved(c)) {
            out.push_back(static_cast<char>(c));
        } else {
            out.push_back('%');
            out.push_back(kHex[c >> 4]);
            out.push_back(kHex[c & 0xf]);
        }
    }
    return out;
}

bool HasArgument(const char* argument) {
    return argument != nullptr && argument[0] != '\0';
}

}  // namespace

bool DsfStore::IsValidSubject(const char* subject) {
    return subject != nullptr && PlatformStore::IsValidKey(subject);
}

bool DsfStore::IsJsonObject(const std::string& text, std::string* problem) {
    Json::CharReaderBuilder builder;
    builder["collectComments"] = false;
    builder["failIfExtra"] = true;
    builder["allowComments"] = false;
    std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    Json::Value root;
    std::string errors;
    if (!reader->parse(text.data(), text.data() + text.size(), &root, &errors)) {
        // jsoncpp's report spans lines ("* Line 1, Column 2\n  Missing ..."):
        // one line reads better in a message.
        std::string flat;
        for (char c : errors) {
            bool space = c == '\n' || c == ' ' || c == '*';
            if (!space) {
                flat.push_back(c);
            } else if (!flat.empty() && flat.back() != ' ') {
                flat.push_back(' ');
            }
        }
        while (!flat.empty() && flat.back() == ' ') {
            flat.pop_back();
        }
        *problem = "it does not parse (" + flat + ")";
        return false;
    }
    if (!root.isObject()) {
        *problem = "it is not a JSON object";
        return false;
    }
    return true;
}

std::string DsfStore::AnswerKey(const std::string& subject, const char* argument) {
    std::string key = "read/" + subject;
    if (HasArgument(argument)) {
        key += "#" + PercentEncode(argument);
    }
    return key;
}

int DsfStore::SetAnswer(const std::string& subject, const char* argument, const std::string& json) {
    if (!IsValidSubject(subject.c_str()) || json.size() > kMaxJson) {
        return -EINVAL;
    }
    return PlatformStore::Write(kArea, AnswerKey(subject, argument),
                                {PlatformStore::Type::String, json});
}

int DsfStore::RemoveAnswer(const std::string& subject, const char* argument) {
    if (!IsValidSubject(subject.c_str())) {
        return -EINVAL;
    }
    return PlatformStore::Remove(kArea, AnswerKey(subject, argument));
}

int DsfStore::ReadAnswer(const std::string& subject, const char* argument, std::string* json) {
    if (!IsValidSubject(subject.c_str())) {
        return -EINVAL;
    }
    PlatformStore::Value value;
    int ret = -ENOENT;
    if (HasArgument(argument)) {
        std::string key = AnswerKey(subject, argument);
        // An argument too long for a key cannot have an answer of its own.
        ret = PlatformStore::IsValidKey(key) ? PlatformStore::Read(kArea, key, &value) : -ENOENT;
    }
    if (ret == -ENOENT) {
        ret = PlatformStore::Read(kArea, AnswerKey(subject, nullptr), &value);
    }
    if (ret != 0) {
        return ret;
    }
    if (value.type != PlatformStore::Type::String) {
        return -EINVAL;
    }
    *json = value.text;
    return 0;
}

int DsfStore::Answer(const char* subject, const char* argument, std::string* json) {
    if (!DsfStore::IsValidSubject(subject)) {
        *json = "{}";
        return DSF_ERROR_INVALID_PARAMETER;
    }
    int ret = DsfStore::ReadAnswer(subject, argument, json);
    if (ret == 0) {
        return DSF_OK;
    }
    *json = "{}";
    return ret == -ENOENT ? DSF_ERROR_NO_DATA : DSF_ERROR_IO;
}

int DsfStore::Publish(const std::string& subject, const std::string& json) {
    if (!IsValidSubject(subject.c_str()) || json.size() > kMaxJson) {
        return -EINVAL;
    }
    return ChangeJournal::Append(kArea, {subject, json});
}

bool DsfStore::ParseEvent(const std::vector<std::string>& fields, std::string* subject,
                          std::string* json) {
    if (fields.size() != 2 || !IsValidSubject(fields[0].c_str())) {
        return false;
    }
    *subject = fields[0];
    *json = fields[1];
    return true;
}

int DsfStore::ResetJournal() {
    return ChangeJournal::Reset(kArea);
}
