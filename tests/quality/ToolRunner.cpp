#include "ToolRunner.h"

#include <errno.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <spawn.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <memory>
#include <sstream>

extern char** environ;

namespace quality {

TempDir::TempDir() {
    char pattern[] = "/tmp/radar-quality-XXXXXX";
    m_path = mkdtemp(pattern) != nullptr ? pattern : "";
}

TempDir::~TempDir() {
    if (!m_path.empty()) {
        const std::string command = "rm -rf '" + m_path + "'";
        if (system(command.c_str()) != 0) {
            ADD_FAILURE() << "cannot remove " << m_path;
        }
    }
}

RunResult Run(const TempDir& dir, const std::string& program,
              const std::vector<std::string>& args) {
    RunResult result;
    const std::string outPath = dir.File("stdout.txt");
    const std::string errPath = dir.File("stderr.txt");
    std::vector<std::string> words = {program};
    words.insert(words.end(), args.begin(), args.end());
    std::vector<char*> argv;
    for (std::string& word : words) {
        argv.push_back(&word[0]);
    }
    argv.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions, 1, outPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC,
                                     0644);
    posix_spawn_file_actions_addopen(&actions, 2, errPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC,
                                     0644);
    pid_t pid = -1;
    const int spawned = posix_spawn(&pid, program.c_str(), &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    if (spawned != 0) {
        ADD_FAILURE() << "cannot start " << program;
        return result;
    }
    int status = 0;
    while (waitpid(pid, &status, 0) < 0) {
        if (errno != EINTR) {
            ADD_FAILURE() << "cannot wait for " << program;
            return result;
        }
    }
    result.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    result.out = ReadText(outPath);
    result.err = ReadText(errPath);
    return result;
}

std::string ReadText(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

bool WriteText(const std::string& path, const std::string& text) {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out << text;
    return static_cast<bool>(out);
}

std::vector<std::string> Lines(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream in(text);
    std::string line;
    while (std::getline(in, line)) {
        lines.push_back(line);
    }
    return lines;
}

bool ParseJson(const std::string& text, Json::Value* value, std::string* error) {
    Json::CharReaderBuilder builder;
    builder["failIfExtra"] = true;
    std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    return reader->parse(text.data(), text.data() + text.size(), value, error);
}

}  // namespace quality
