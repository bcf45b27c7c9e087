// What the fuzz targets share: a private simulated TV for the targets that
// reach the platform, a scratch folder for the readers of files, checks of
// the promises a target holds the code to, and the text forms the bus
// guarantees.
#ifndef TESSIVO_FUZZ_FUZZSUPPORT_H
#define TESSIVO_FUZZ_FUZZSUPPORT_H

#include <stddef.h>

#include <string>

namespace fuzzsupport {

// Points TESSIVO_PLATFORM_DIR at a fresh, empty simulated TV that is removed
// when the process exits; the same folder on every call.
const std::string& PrivatePlatform();

// A fresh folder for the files a target writes, removed when the process
// exits; the same folder on every call.
const std::string& ScratchDir();

// Replaces the file at path with size bytes of data. False when it cannot.
bool WriteFile(const std::string& path, const void* data, size_t size);

// Ends the run with the promise that was broken; libFuzzer keeps the input
// that broke it.
void Check(bool held, const char* promise);

// Whether text is what a D-Bus string can carry: valid UTF-8 without NUL.
bool IsBusString(const std::string& text);

}  // namespace fuzzsupport

#endif
