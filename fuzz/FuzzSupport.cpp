#include "FuzzSupport.h"

#include <fcntl.h>
#include <ftw.h>
#include <glib.h>
#include <sanitizer/common_interface_defs.h>
#include <stdio.h>
#include <stdlib.h>
#include <unistd.h>

namespace fuzzsupport {

namespace {

int RemoveEntry(const char* path, const struct stat*, int, struct FTW*) {
    remove(path);
    return 0;
}

void RemoveTree(const std::string& path) {
    nftw(path.c_str(), RemoveEntry, 16, FTW_DEPTH | FTW_PHYS);
}

// A folder under $TMPDIR (else /tmp) that goes when the process exits
// normally; a crashed run leaves it for whoever looks at the crash.
std::string MakeTempDir(const char* name) {
    const char* base = getenv("TMPDIR");
    std::string pattern =
        std::string(base != nullptr && base[0] != '\0' ? base : "/tmp") + "/" + name + "-XXXXXX";
    if (mkdtemp(&pattern[0]) == nullptr) {
        perror("mkdtemp");
        abort();
    }
    return pattern;
}

std::string* s_platform = nullptr;
std::string* s_scratch = nullptr;

void RemoveAtExit() {
    if (s_platform != nullptr) {
        RemoveTree(*s_platform);
    }
    if (s_scratch != nullptr) {
        RemoveTree(*s_scratch);
    }
}

void RegisterCleanup() {
    static bool registered = false;
    if (!registered) {
        registered = true;
        atexit(RemoveAtExit);
    }
}

}  // namespace

const std::string& PrivatePlatform() {
    if (s_platform == nullptr) {
        s_platform = new std::string(MakeTempDir("tessivo-fuzz-tv"));
        setenv("TESSIVO_PLATFORM_DIR", s_platform->c_str(), 1);
        RegisterCleanup();
    }
    return *s_platform;
}

const std::string& ScratchDir() {
    if (s_scratch == nullptr) {
        s_scratch = new std::string(MakeTempDir("tessivo-fuzz-files"));
        RegisterCleanup();
    }
    return *s_scratch;
}

bool WriteFile(const std::string& path, const void* data, size_t size) {
    int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    if (fd < 0) {
        return false;
    }
    const char* p = static_cast<const char*>(data);
    bool ok = true;
    while (size > 0) {
        ssize_t n = write(fd, p, size);
        if (n <= 0) {
            ok = false;
            break;
        }
        p += n;
        size -= static_cast<size_t>(n);
    }
    return close(fd) == 0 && ok;
}

void Check(bool held, const char* promise) {
    if (!held) {
        // Through the sanitizers' report channel, which libFuzzer keeps open
        // when it closes the target's standard error.
        std::string line = std::string("broken promise: ") + promise;
        __sanitizer_report_error_summary(line.c_str());
        abort();
    }
}

bool IsBusString(const std::string& text) {
    return g_utf8_validate(text.data(), static_cast<gssize>(text.size()), nullptr);
}

}  // namespace fuzzsupport
