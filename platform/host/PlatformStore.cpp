#include "PlatformStore.h"

#include <ctype.h>
#include <errno.h>
#include <fcntl.h>
#include <math.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <climits>

namespace {

int ReadWholeFile(const std::string& path, std::string* content) {
    int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        return errno == ENOENT || errno == ENOTDIR ? -ENOENT : -EIO;
    }
    content->clear();
    char buffer[4096];
    for (;;) {
        ssize_t n = read(fd, buffer, sizeof(buffer));
        if (n < 0) {
            if (errno == EINTR) {
                continue;
            }
            close(fd);
            return -EIO;
        }
        if (n == 0) {
            break;
        }
        content->append(buffer, static_cast<size_t>(n));
        if (content->size() > (1u << 20)) {
            close(fd);
            return -EINVAL;  // no value of the platform is this large
        }
    }
    close(fd);
    return 0;
}

bool ValueFitsType(const PlatformStore::Value& value) {
    switch (value.type) {
        case PlatformStore::Type::Bool: {
            bool b;
            return PlatformStore::ParseBool(value.text, &b);
        }
        case PlatformStore::Type::Int: {
            int i;
            return PlatformStore::ParseInt(value.text, &i);
        }
        case PlatformStore::Type::Double: {
            double d;
            return PlatformStore::ParseDouble(value.text, &d);
        }
        case PlatformStore::Type::String:
            return true;
    }
    return false;
}

}  // namespace

std::string PlatformStore::RootDir() {
    const char* dir = getenv("TESSIVO_PLATFORM_DIR");
    if (dir != nullptr && dir[0] != '\0') {
        return dir;
    }
    const char* runtime = getenv("XDG_RUNTIME_DIR");
    if (runtime != nullptr && runtime[0] != '\0') {
        return std::string(runtime) + "/tessivo-platform";
    }
    return "/tmp/tessivo-platform-" + std::to_string(getuid());
}

bool PlatformStore::IsValidKey(const std::string& key) {
    if (key.empty() || key.size() > 255 || key.front() == '/' || key.back() == '/') {
        return false;
    }
    size_t start = 0;
    while (start <= key.size()) {
        size_t end = key.find('/', start);
        if (end == std::string::npos) {
            end = key.size();
        }
        std::string part = key.substr(start, end - start);
        if (part.empty() || part == "." || part == ".." || part[0] == '.') {
            return false;
        }
        for (unsigned char c : part) {
            if (c < 0x21 || c > 0x7e) {
                return false;
            }
        }
        start = end + 1;
    }
    return true;
}

std::string PlatformStore::PathOf(const std::string& area, const std::string& key) {
    return RootDir() + "/" + area + "/" + key;
}

int PlatformStore::Read(const std::string& area, const std::string& key, Value* value) {
    if (value == nullptr || !IsValidKey(key)) {
        return -EINVAL;
    }
    std::string content;
    int ret = ReadWholeFile(PathOf(area, key), &content);
    if (ret != 0) {
        return ret;
    }
    size_t newline = content.find('\n');
    if (newline == std::string::npos) {
        return -EINVAL;
    }
    Value parsed;
    if (!ParseType(content.substr(0, newline), &parsed.type)) {
        return -EINVAL;
    }
    parsed.text = content.substr(newline + 1);
    if (!ValueFitsType(parsed)) {
        return -EINVAL;
    }
    *value = parsed;
    return 0;
}

int PlatformStore::Write(const std::string& area, const std::string& key, const Value& value) {
    if (!IsValidKey(key) || !ValueFitsType(value)) {
        return -EINVAL;
    }
    std::string path = PathOf(area, key);
    int ret = MakeDirs(path.substr(0, path.rfind('/')));
    if (ret != 0) {
        return ret;
    }
    return WriteFileAtomic(path, std::string(TypeName(value.type)) + "\n" + value.text);
}

int PlatformStore::Remove(const std::string& area, const std::string& key) {
    if (!IsValidKey(key)) {
        return -EINVAL;
    }
    if (unlink(PathOf(area, key).c_str()) != 0) {
        return errno == ENOENT || errno == ENOTDIR ? -ENOENT : -EIO;
    }
    return 0;
}

bool PlatformStore::ParseBool(const std::string& text, bool* out) {
    if (text == "true" || text == "1") {
        *out = true;
        return true;
    }
    if (text == "false" || text == "0") {
        *out = false;
        return true;
    }
    return false;
}

bool PlatformStore::ParseInt(const std::string& text, int* out) {
    if (text.empty()) {
        return false;
    }
    errno = 0;
    char* end = nullptr;
    long v = strtol(text.c_str(), &end, 10);
    if (errno != 0 || *end != '\0' || v < INT_MIN || v > INT_MAX ||
        isspace(static_cast<unsigned char>(text[0]))) {
        return false;
    }
    *out = static_cast<int>(v);
    return true;
}

bool PlatformStore::ParseDouble(const std::string& text, double* out) {
    if (text.empty() || isspace(static_cast<unsigned char>(text[0]))) {
        return false;
    }
    char* end = nullptr;
    double v = strtod(text.c_str(), &end);
    if (*end != '\0' || !isfinite(v)) {
        return false;
    }
    *out = v;
    return true;
}

const char* PlatformStore::TypeName(Type type) {
    switch (type) {
        case Type::Bool:
            return "bool";
        case Type::Int:
            return "int";
        case Type::Double:
            return "double";
        case Type::String:
            return "string";
    }
    return "string";
}

bool PlatformStore::ParseType(const std::string& name, Type* type) {
    static const Type kTypes[] = {Type::Bool, Type::Int, Type::Double, Type::String};
    for (Type t : kTypes) {
        if (name == TypeName(t)) {
            *type = t;
            return true;
        }
    }
    return false;
}

int PlatformStore::MakeDirs(const std::string& path) {
    if (path.empty()) {
        return 0;
    }
    struct stat st;
    if (stat(path.c_str(), &st) == 0) {
        return S_ISDIR(st.st_mode) ? 0 : -ENOTDIR;
    }
    size_t slash = path.rfind('/');
    if (slash != std::string::npos && slash > 0) {
        int ret = MakeDirs(path.substr(0, slash));
        if (ret != 0) {
            return ret;
        }
    }
    if (mkdir(path.c_str(), 0755) != 0 && errno != EEXIST) {
        return -errno;
    }
    return 0;
}

int PlatformStore::WriteFileAtomic(const std::string& path, const std::string& content) {
    std::string temp = path + ".tmp." + std::to_string(getpid());
    int fd = open(temp.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    if (fd < 0) {
        return -errno;
    }
    const char* p = content.data();
    size_t left = content.size();
    while (left > 0) {
        ssize_t n = write(fd, p, left);
        if (n < 0) {
            if (errno == EINTR) {
                continue;
            }
            int err = errno;
            close(fd);
            unlink(temp.c_str());
            return -err;
        }
        p += n;
        left -= static_cast<size_t>(n);
    }
    if (close(fd) != 0 || rename(temp.c_str(), path.c_str()) != 0) {
        int err = errno;
        unlink(temp.c_str());
        return -err;
    }
    return 0;
}
