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

#include <chrono>
#include <functional>
#include <string>
#include <vector>

namespace maincontext {

// Safety net of every wait: far longer than any correct run needs.
constexpr std::chrono::seconds kPatience{10};

// Runs the default main context until done() holds; false when kPatience
// passed first. A short repeating timeout wakes a blocked iteration so that
// the deadline is looked at even when nothing arrives.
inline bool RunUntil(const std::function<bool()>& done) {
    auto deadline = std::chrono::steady_clock::now() + kPatience;
    guint guard = g_timeout_add(
        20, [](gpointer) -> gboolean { return G_SOURCE_CONTINUE; }, nullptr);
    bool held = done();
    while (!held && std::chrono::steady_clock::now() < deadline) {
        g_main_context_iteration(nullptr, TRUE);
        held = done();
    }
    g_source_remove(guard);
    return held;
}

// Dispatches whatever the default main context has ready, without blocking.
inline void RunPending() {
    while (g_main_context_iteration(nullptr, FALSE)) {
    }
}

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
