// Shared pieces of the tests of what the simulated TV delivers on the GLib
// main context (vconf notifications, data-service answers and events): a
// private platform directory per test, a wait that runs the default main
// context until a condition holds, and tessivo-platform as another process.
#ifndef TESSIVO_TESTS_PLATFORM_MAINCONTEXTSUPPORT_H
#define TESSIVO_TESTS_PLATFORM_MAINCONTEXTSUPPORT_H

#include <glib.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/wait.h>

#include "MainContextWait.h"

#include <string>
#include <vector>

namespace maincontext {

struct ToolResult {
    int exitCode = -1;
    std::string out;
    std::string err;
};

// Runs tessivo-platform with these arguments (no shell) in this process's
// environment, so with the test's platform directory.
inline ToolResult RunTool(const std::vector<std::string>& args) {
    std::vector<char*> argv;
    std::string tool = TESSIVO_PLATFORM_TOOL;
    argv.push_back(&tool[0]);
    std::vector<std::string> copies(args);
    for (std::string& arg : copies) {
        argv.push_back(&arg[0]);
    }
    argv.push_back(nullptr);
    ToolResult result;
    gchar* out = nullptr;
    gchar* err = nullptr;
    gint status = 0;
    GError* error = nullptr;
    if (!g_spawn_sync(nullptr, argv.data(), nullptr, G_SPAWN_DEFAULT, nullptr, nullptr, &out, &err,
                      &status, &error)) {
        ADD_FAILURE() << "cannot run " << tool << ": " << error->message;
        g_error_free(error);
        return result;
    }
    result.out = out != nullptr ? out : "";
    result.err = err != nullptr ? err : "";
    g_free(out);
    g_free(err);
    result.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return result;
}

// A private platform directory per test.
class PlatformDirTest : public ::testing::Test {
protected:
    void SetUp() override {
        char templ[] = "/tmp/tessivo-tv-XXXXXX";
        ASSERT_NE(mkdtemp(templ), nullptr);
        m_dir = templ;
        setenv("TESSIVO_PLATFORM_DIR", m_dir.c_str(), 1);
    }
    void TearDown() override {
        RunPending();
        unsetenv("TESSIVO_PLATFORM_DIR");
        std::string cmd = "rm -rf '" + m_dir + "'";
        ASSERT_EQ(system(cmd.c_str()), 0);
    }
    std::string m_dir;
};

}  // namespace maincontext

#endif
