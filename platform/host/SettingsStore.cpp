#include "SettingsStore.h"

#include <errno.h>

namespace {

const struct {
    const char* name;
    int key;
} kNamedKeys[] = {{"source-type", SettingsStore::kSourceType}};

}  // namespace

bool SettingsStore::ParseKey(const std::string& text, int* key) {
    for (const auto& named : kNamedKeys) {
        if (text == named.name) {
            *key = named.key;
            return true;
        }
    }
    int number;
    if (text.empty() || text[0] == '+' || !PlatformStore::ParseInt(text, &number) || number < 0) {
        return false;
    }
    *key = number;
    return true;
}

std::string SettingsStore::KeyOf(int key) {
    return std::to_string(key);
}

int SettingsStore::Read(int key, std::string* text) {
    if (key < 0) {
        return -EINVAL;
    }
    PlatformStore::Value value;
    int ret = PlatformStore::Read(kArea, KeyOf(key), &value);
    if (ret != 0) {
        return ret;
    }
    if (value.type != PlatformStore::Type::String) {
        return -EINVAL;
    }
    *text = value.text;
    return 0;
}

int SettingsStore::Write(int key, const std::string& text) {
    if (key < 0) {
        return -EINVAL;
    }
    return PlatformStore::Write(kArea, KeyOf(key), {PlatformStore::Type::String, text});
}
