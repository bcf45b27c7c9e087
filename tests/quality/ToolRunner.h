// Runs the real tools (radar-sim, radar-segment) from the quality tests, in a
// temporary folder of their own.
#ifndef TESSIVO_TESTS_QUALITY_TOOLRUNNER_H
#define TESSIVO_TESTS_QUALITY_TOOLRUNNER_H

#include <json/json.h>

#include <string>
#include <vector>

namespace quality {

// A temporary folder, removed with everything in it at the end.
class TempDir {
public:
    TempDir();
    ~TempDir();
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;

    bool Valid() const { return !m_path.empty(); }
    std::string File(const std::string& name) const { return m_path + "/" + name; }

private:
    std::string m_path;
};

struct RunResult {
    int status = -1;  // exit code, or -1 when the program did not exit normally
    std::string out;
    std::string err;
};

// Runs program with args, its output captured in files of dir; waits for it.
RunResult Run(const TempDir& dir, const std::string& program, const std::vector<std::string>& args);

std::string ReadText(const std::string& path);
bool WriteText(const std::string& path, const std::string& text);

// The lines of text, without their newlines.
std::vector<std::string> Lines(const std::string& text);

// Parses one JSON document; false (with the reader's message) otherwise.
bool ParseJson(const std::string& text, Json::Value* value, std::string* error);

}  // namespace quality

#endif
