// vconf keys of the simulated TV: typed values in the "vconf" area of the
// platform store (the key's slashes become folders), and the area's change
// journal, one line per set: key, type name ("int", "string", "bool",
// "double"), value text. Every set goes through here so that every process
// watching the key hears of it.
#ifndef TESSIVO_PLATFORM_HOST_VCONFSTORE_H
#define TESSIVO_PLATFORM_HOST_VCONFSTORE_H

#include <string>
#include <vector>

#include "PlatformStore.h"

class VconfStore {
public:
    static constexpr const char* kArea = "vconf";

    // Writes the value (a key takes the type of its last set) and journals
    // the change. 0, -EINVAL (bad key, a value that does not fit its type
    // or is too large), -EIO or another -errno.
    // \context Thread-safe.
    static int Set(const std::string& key, const PlatformStore::Value& value);

    // 0, -ENOENT, -EINVAL or -EIO, as PlatformStore::Read.
    // \context Thread-safe.
    static int Read(const std::string& key, PlatformStore::Value* value);

    // Starts the journal afresh (an empty file); watchers go on with it.
    // \context Thread-safe.
    static int ResetJournal();

    // The journal line of a set, as fields; false for a line that is not one.
    // \context Thread-safe.
    static bool ParseChange(const std::vector<std::string>& fields, std::string* key,
                            PlatformStore::Value* value);
};

#endif
