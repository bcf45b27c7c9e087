// Waits on the default GLib main context, where the simulated TV delivers
// vconf notifications and data-service answers and events: run it until a
// condition holds, with a deadline as the safety net, never a fixed sleep.
#ifndef TESSIVO_TESTS_SUPPORT_MAINCONTEXTWAIT_H
#define TESSIVO_TESTS_SUPPORT_MAINCONTEXTWAIT_H

#include <DSF.h>
#include <glib.h>

#include <chrono>
#include <functional>

namespace maincontext {

// Safety net of every wait: far longer than any correct run needs.
constexpr std::chrono::seconds kPatience{10};

// Runs the default main context until done() holds; false when kPatience
// passed first. A short repeating timeout wakes a blocked iteration so that
// done() and the deadline are looked at even when nothing arrives.
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

// Data-service answers come in order: once a read queued now is answered,
// every earlier answer has been delivered.
inline bool DrainDataService() {
    bool answered = false;
    DSF_Callback mark = [](int, const char*, char*, void* flag) {
        *static_cast<bool*>(flag) = true;
    };
    DSF_Read_Async("R/Power/Reset", nullptr, mark, &answered);
    return RunUntil([&] { return answered; });
}

}  // namespace maincontext

#endif
