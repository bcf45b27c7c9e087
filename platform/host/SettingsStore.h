// System settings of the simulated TV: text values in the "settings" area of
// the platform store, one per setting number (key "10136" for the source
// type).
#ifndef TESSIVO_PLATFORM_HOST_SETTINGSSTORE_H
#define TESSIVO_PLATFORM_HOST_SETTINGSSTORE_H

#include <string>

#include "PlatformStore.h"

class SettingsStore {
public:
    static constexpr const char* kArea = "settings";
    static constexpr int kSourceType = 10136;

    // A setting number from its decimal form or its name ("source-type");
    // false for anything else, negative numbers included.
    // \context Thread-safe.
    static bool ParseKey(const std::string& text, int* key);
    // The store key of a setting number.
    // \context Thread-safe.
    static std::string KeyOf(int key);

    // 0, -ENOENT (not set), -EINVAL (bad number or not a text), -EIO.
    // \context Thread-safe.
    static int Read(int key, std::string* text);
    // 0, -EINVAL or -errno.
    // \context Thread-safe.
    static int Write(int key, const std::string& text);
};

#endif
