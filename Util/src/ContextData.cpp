#include "ContextData.h"

#include <stdint.h>
#include <string.h>

#include <exception>
#include <memory>
#include <utility>

#include "ContextLog.h"

namespace {

// The JSON library reports misuse and allocation failures by throwing. The
// type checks below keep the known cases from reaching it; this catches the
// rest so that nothing leaves the document class.
template <typename T, typename Body>
T Guarded(const char* op, T fallback, Body&& body) {
    try {
        return body();
    } catch (const std::exception& e) {
        KAE_LOGE("%s failed: %s", op, e.what());
    } catch (...) {
        KAE_LOGE("%s failed", op);
    }
    return fallback;
}

bool HoldsMembers(const Json::Value& value) {
    return value.isNull() || value.isObject();
}

}  // namespace

ContextData::ContextData() = default;

ContextData::ContextData(Json::Value* value) : m_pExternal(value) {}

ContextData::ContextData(Json::Value value) : m_value(std::move(value)) {}

ContextData::~ContextData() = default;

Json::Value* ContextData::_Target() {
    return m_pExternal != nullptr ? m_pExternal : &m_value;
}

Json::Value* ContextData::_Member(const char* key, const char* op) {
    if (key == nullptr) {
        KAE_LOGE("%s: key is NULL", op);
        return nullptr;
    }
    Json::Value* target = _Target();
    if (!HoldsMembers(*target)) {
        KAE_LOGE("%s(%s): the document is not an object", op, key);
        return nullptr;
    }
    // Inserting access on purpose: a read of an absent key leaves it as null.
    return &(*target)[key];
}

Json::Value* ContextData::_Element(const char* key, int index, const char* op) {
    Json::Value* member = _Member(key, op);
    if (member == nullptr) {
        return nullptr;
    }
    if (!member->isArray() || index < 0 || static_cast<Json::ArrayIndex>(index) >= member->size()) {
        KAE_LOGE("%s(%s): no element %d", op, key, index);
        return nullptr;
    }
    return &(*member)[static_cast<Json::ArrayIndex>(index)];
}

bool ContextData::_Append(const char* key, Json::Value element, const char* op) {
    Json::Value* member = _Member(key, op);
    if (member == nullptr) {
        return false;
    }
    if (!member->isNull() && !member->isArray()) {
        KAE_LOGE("%s(%s): the member is not an array", op, key);
        return false;
    }
    member->append(std::move(element));
    return true;
}

bool ContextData::SetValue(const char* key, double value) {
    return Guarded("SetValue", false, [&] {
        Json::Value* member = _Member(key, "SetValue");
        if (member == nullptr) {
            return false;
        }
        *member = Json::Value(value);
        return true;
    });
}

bool ContextData::SetValue(const char* key, int value) {
    return Guarded("SetValue", false, [&] {
        Json::Value* member = _Member(key, "SetValue");
        if (member == nullptr) {
            return false;
        }
        *member = Json::Value(static_cast<Json::Int>(value));
        return true;
    });
}

bool ContextData::SetValue(const char* key, unsigned int value) {
    return Guarded("SetValue", false, [&] {
        Json::Value* member = _Member(key, "SetValue");
        if (member == nullptr) {
            return false;
        }
        *member = Json::Value(static_cast<Json::UInt>(value));
        return true;
    });
}

bool ContextData::SetValue(const char* key, unsigned long long value) {
    return Guarded("SetValue", false, [&] {
        Json::Value* member = _Member(key, "SetValue");
        if (member == nullptr) {
            return false;
        }
        // Readers of these documents expect 32-bit values; the high half is
        // dropped rather than widening the stored type.
        *member = Json::Value(static_cast<Json::UInt>(value));
        return true;
    });
}

bool ContextData::SetValue(const char* key, long value) {
    return SetValue(key, static_cast<unsigned long long>(value));
}

bool ContextData::SetValue(const char* key, const char* value) {
    return Guarded("SetValue", false, [&] {
        Json::Value* member = _Member(key, "SetValue");
        if (member == nullptr) {
            return false;
        }
        *member = Json::Value(value != nullptr ? value : "");
        return true;
    });
}

bool ContextData::SetValue(const char* key, std::string value) {
    return Guarded("SetValue", false, [&] {
        Json::Value* member = _Member(key, "SetValue");
        if (member == nullptr) {
            return false;
        }
        *member = Json::Value(value);
        return true;
    });
}

bool ContextData::SetValueNoArry(const char* key, ContextData& other) {
    return Guarded("SetValueNoArry", false, [&] {
        // Copy first: other may be this object or a view into it.
        Json::Value copy(*other._Target());
        Json::Value* member = _Member(key, "SetValueNoArry");
        if (member == nullptr) {
            return false;
        }
        member->swap(copy);
        return true;
    });
}

bool ContextData::SetValue(const char* key, ContextData& other) {
    return Guarded("SetValue", false, [&] {
        Json::Value copy(*other._Target());
        return _Append(key, std::move(copy), "SetValue");
    });
}

bool ContextData::SetValueInArray(const char* key, const char* value) {
    return Guarded("SetValueInArray", false, [&] {
        return _Append(key, Json::Value(value != nullptr ? value : ""), "SetValueInArray");
    });
}

bool ContextData::SetValueInArray(const char* key, std::string value) {
    return Guarded("SetValueInArray", false,
                   [&] { return _Append(key, Json::Value(value), "SetValueInArray"); });
}

bool ContextData::GetValueBool(const char* key) {
    return Guarded("GetValueBool", false, [&] {
        Json::Value* member = _Member(key, "GetValueBool");
        return member != nullptr && member->isBool() ? member->asBool() : false;
    });
}

double ContextData::GetValueDouble(const char* key) {
    return Guarded("GetValueDouble", 0.0, [&] {
        Json::Value* member = _Member(key, "GetValueDouble");
        return member != nullptr && member->isDouble() ? member->asDouble() : 0.0;
    });
}

int ContextData::GetValueInt(const char* key) {
    return Guarded("GetValueInt", 0, [&] {
        Json::Value* member = _Member(key, "GetValueInt");
        return member != nullptr && member->isInt() ? static_cast<int>(member->asInt()) : 0;
    });
}

unsigned int ContextData::GetValueUInt(const char* key) {
    return Guarded("GetValueUInt", 0u, [&] {
        Json::Value* member = _Member(key, "GetValueUInt");
        return member != nullptr && member->isUInt() ? static_cast<unsigned int>(member->asUInt())
                                                     : 0u;
    });
}

unsigned long long ContextData::GetValueUInt64(const char* key) {
    return Guarded("GetValueUInt64", 0ull, [&] {
        Json::Value* member = _Member(key, "GetValueUInt64");
        // isUInt64 is exactly the set of values that asUInt64 converts without
        // complaint, and it covers the unsigned values the setters store.
        return member != nullptr && member->isUInt64()
                   ? static_cast<unsigned long long>(member->asUInt64())
                   : 0ull;
    });
}

std::string ContextData::GetValueStr(const char* key) {
    return Guarded("GetValueStr", std::string(), [&] {
        Json::Value* member = _Member(key, "GetValueStr");
        return member != nullptr && member->isString() ? member->asString() : std::string();
    });
}

std::string ContextData::GetValueStr2(const char* key) {
    return Guarded("GetValueStr2", std::string("NULL"), [&] {
        Json::Value* member = _Member(key, "GetValueStr2");
        if (member == nullptr || !member->isString()) {
            return std::string("NULL");
        }
        std::string text = member->asString();
        return text.empty() ? std::string("NULL") : text;
    });
}

Json::Value* ContextData::GetValue() {
    return _Target();
}

ContextData ContextData::GetValue(const char* key) {
    return Guarded("GetValue", ContextData(), [&] {
        if (m_pExternal == nullptr) {
            Json::Value* member = _Member(key, "GetValue");
            return member != nullptr ? ContextData(*member) : ContextData();
        }
        // A view hands out the first element of the member: views sit on
        // documents whose members are one-element arrays of objects.
        Json::Value* first = _Element(key, 0, "GetValue");
        return first != nullptr ? ContextData(*first) : ContextData();
    });
}

ContextData ContextData::GetValue(const char* key, int index) {
    return Guarded("GetValue", ContextData(), [&] {
        Json::Value* element = _Element(key, index, "GetValue");
        return element != nullptr ? ContextData(*element) : ContextData();
    });
}

ContextData ContextData::GetValuePtr(const char* key, int index) {
    return Guarded("GetValuePtr", ContextData(), [&] {
        Json::Value* element = _Element(key, index, "GetValuePtr");
        return element != nullptr ? ContextData(element) : ContextData();
    });
}

int ContextData::GetSize(const char* key) {
    return Guarded("GetSize", 0, [&] {
        Json::Value* member = _Member(key, "GetSize");
        if (member == nullptr) {
            return 0;
        }
        Json::ArrayIndex size = member->size();
        return size > static_cast<Json::ArrayIndex>(INT32_MAX) ? INT32_MAX : static_cast<int>(size);
    });
}

bool ContextData::IsValid(const char* key) {
    return Guarded("IsValid", false, [&] {
        Json::Value* member = _Member(key, "IsValid");
        if (member == nullptr) {
            return false;
        }
        if (member->isNull()) {
            // Undo the insertion the lookup just made.
            _Target()->removeMember(key);
            return false;
        }
        return true;
    });
}

bool ContextData::Empty() {
    return Guarded("Empty", false, [&] { return _Target()->empty(); });
}

bool ContextData::Clear() {
    return Guarded("Clear", false, [&] {
        Json::Value* target = _Target();
        if (target->isNull() || target->isObject() || target->isArray()) {
            target->clear();
        } else {
            // The library only clears containers; a scalar is emptied to null.
            *target = Json::Value();
        }
        return true;
    });
}

bool ContextData::RemoveMember(const char* key) {
    return Guarded("RemoveMember", false, [&] {
        if (key == nullptr) {
            KAE_LOGE("RemoveMember: key is NULL");
            return false;
        }
        Json::Value* target = _Target();
        if (!HoldsMembers(*target)) {
            KAE_LOGE("RemoveMember(%s): the document is not an object", key);
            return false;
        }
        target->removeMember(key);
        return true;
    });
}

bool ContextData::MakeData(const char* text) {
    if (text == nullptr) {
        KAE_LOGE("str is NULL");
        return false;
    }
    bool parsed = false;
    try {
        Json::CharReaderBuilder builder;
        // Comments are read past but not kept: a document is data, and a
        // kept "// ..." comment would swallow the rest of the one-line text
        // MakeStr writes.
        builder["collectComments"] = false;
        std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
        // Parse aside so that a failure leaves the target as it was; the
        // reader throws instead of returning false when the nesting limit is
        // exceeded.
        Json::Value root;
        std::string errors;
        parsed = reader->parse(text, text + strlen(text), &root, &errors);
        if (parsed) {
            _Target()->swap(root);
        }
    } catch (...) {
        parsed = false;
    }
    // Views parse answers that their owner judges; only own documents log.
    if (!parsed && m_pExternal == nullptr) {
        KAE_LOGE("m_reader paring error: [%p]=> %s", static_cast<const void*>(text), text);
    }
    return parsed;
}

const char* ContextData::MakeStr() {
    bool written = Guarded("MakeStr", false, [&] {
        Json::StreamWriterBuilder builder;
        builder["indentation"] = "";
        // A view may sit on a value that carries comments of its own.
        builder["commentStyle"] = "None";
        m_text = Json::writeString(builder, *_Target());
        return true;
    });
    if (!written) {
        m_text.clear();
    }
    return m_text.c_str();
}
