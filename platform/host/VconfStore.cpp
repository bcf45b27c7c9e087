#include "VconfStore.h"

#include <errno.h>

#include <vector>

#include "ChangeJournal.h"

namespace {

// PlatformStore refuses to read back a value larger than this.
constexpr size_t kMaxValue = 1u << 20;

}  // namespace

int VconfStore::Set(const std::string& key, const PlatformStore::Value& value) {
    if (!PlatformStore::IsValidKey(key) || value.text.size() > kMaxValue) {
        return -EINVAL;
    }
    return ChangeJournal::Append(kArea, {key, PlatformStore::TypeName(value.type), value.text},
                                 [&] { return PlatformStore::Write(kArea, key, value); });
}

int VconfStore::Read(const std::string& key, PlatformStore::Value* value) {
    return PlatformStore::Read(kArea, key, value);
}

int VconfStore::ResetJournal() {
    return ChangeJournal::Reset(kArea);
}

bool VconfStore::ParseChange(const std::vector<std::string>& fields, std::string* key,
                             PlatformStore::Value* value) {
    if (fields.size() != 3 || !PlatformStore::IsValidKey(fields[0]) ||
        !PlatformStore::ParseType(fields[1], &value->type)) {
        return false;
    }
    value->text = fields[2];
    bool b;
    int i;
    double d;
    switch (value->type) {
        case PlatformStore::Type::Bool:
            if (!PlatformStore::ParseBool(value->text, &b)) {
                return false;
            }
            break;
        case PlatformStore::Type::Int:
            if (!PlatformStore::ParseInt(value->text, &i)) {
                return false;
            }
            break;
        case PlatformStore::Type::Double:
            if (!PlatformStore::ParseDouble(value->text, &d)) {
                return false;
            }
            break;
        case PlatformStore::Type::String:
            break;
    }
    *key = fields[0];
    return true;
}
