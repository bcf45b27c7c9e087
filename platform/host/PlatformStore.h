// The simulated TV's state: one directory shared by the daemon, the
// tessivo-platform tool and the tests. Each value is a file "AREA/KEY" (the
// key's slashes become folders) holding its type on the first line and its
// value after it. Writes go to a temporary file that is renamed over the old
// one, so a reader never sees half a value.
#ifndef TESSIVO_PLATFORM_HOST_PLATFORMSTORE_H
#define TESSIVO_PLATFORM_HOST_PLATFORMSTORE_H

#include <string>

class PlatformStore {
public:
    enum class Type { Bool, Int, Double, String };

    struct Value {
        Type type = Type::String;
        std::string text;  // "true"/"false", a decimal number, or the string itself
    };

    // Result codes of Read and Write (negative errno values).
    static constexpr int kOk = 0;

    // $TESSIVO_PLATFORM_DIR, else $XDG_RUNTIME_DIR/tessivo-platform, else
    // /tmp/tessivo-platform-UID.
    static std::string RootDir();

    // Keys are relative paths of printable characters without empty, "." or
    // ".." components, so a key can never leave its area.
    static bool IsValidKey(const std::string& key);
    static std::string PathOf(const std::string& area, const std::string& key);

    // 0, -ENOENT (no such key), -EINVAL (bad key or a malformed file), -EIO.
    static int Read(const std::string& area, const std::string& key, Value* value);
    // 0, -EINVAL (bad key or a value that does not fit its type), -EIO.
    static int Write(const std::string& area, const std::string& key, const Value& value);
    // 0 or -ENOENT/-EINVAL/-EIO.
    static int Remove(const std::string& area, const std::string& key);

    // Parsing helpers shared with the tools: strict, whole text only.
    static bool ParseBool(const std::string& text, bool* out);
    static bool ParseInt(const std::string& text, int* out);
    static bool ParseDouble(const std::string& text, double* out);
    static const char* TypeName(Type type);
    static bool ParseType(const std::string& name, Type* type);

    // Creates the directory and its parents (mode 0755). 0 or -errno.
    static int MakeDirs(const std::string& path);
    // Writes a whole file atomically. 0 or -errno.
    static int WriteFileAtomic(const std::string& path, const std::string& content);
};

#endif
