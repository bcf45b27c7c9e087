// Whole numbers on the command lines of the radar tools.
#ifndef TESSIVO_TOOLS_COMMON_WHOLENUMBER_H
#define TESSIVO_TOOLS_COMMON_WHOLENUMBER_H

#include <errno.h>
#include <stdint.h>
#include <stdlib.h>

#include <string>

// A whole decimal number, nothing else around it (no sign, no space, no
// suffix), that fits 64 bits.
inline bool ParseUnsigned(const std::string& text, uint64_t* value) {
    if (text.empty() || text[0] < '0' || text[0] > '9') {
        return false;
    }
    errno = 0;
    char* end = nullptr;
    const unsigned long long parsed = strtoull(text.c_str(), &end, 10);
    if (errno != 0 || end == nullptr || *end != '\0') {
        return false;
    }
    *value = parsed;
    return true;
}

#endif
