// The service's sensing front without its mode control: the dispatcher, the
// D-Bus server and the pipeline assembled and wired as the controller does.
// In place of the modes, the radar streams while somebody subscribes to the
// tracks (as segment mode will) and SIGUSR1 takes one presence reading and
// publishes it (as presence mode will). SIGTERM or SIGINT stops everything
// in an order that leaves no object
// reaching one already deleted.
#include <glib-unix.h>
#include <signal.h>
#include <stdio.h>
#include <string.h>

#include <new>

#include "ActivitySegment.h"
#include "ContextLog.h"
#include "DBusServer.h"
#include "Dispatcher.h"

namespace {

const char kUsage[] =
    "Usage: pipeline_service\n"
    "\n"
    "The service's sensing front without its mode control, for tests and\n"
    "bench/stuck-subscribers.sh: the radar streams while somebody subscribes to\n"
    "the tracks, SIGUSR1 publishes one presence reading, SIGTERM stops it.\n";

GMainLoop* s_loop = nullptr;
ActivitySegment* s_pipeline = nullptr;
bool s_streaming = false;

// Follows the track subscription flag the way segment mode will: on while
// somebody subscribes, off once the subscription is withdrawn or dropped.
gboolean FollowSubscription(gpointer) {
    bool wanted = s_pipeline->GetDemoViewerSubscribe() != 0;
    if (wanted != s_streaming) {
        if (wanted) {
            s_pipeline->StartSensor();
        } else {
            s_pipeline->StopSensor();
        }
        s_streaming = wanted;
    }
    return G_SOURCE_CONTINUE;
}

gboolean Quit(gpointer) {
    g_main_loop_quit(s_loop);
    return G_SOURCE_CONTINUE;
}

gboolean ReadPresenceOnce(gpointer) {
    int presence = 0;
    double distance = 0.0;
    if (s_pipeline->ReadPresence(&presence, &distance) != 0) {
        s_pipeline->SetPresenceResult(presence, distance);
    } else {
        s_pipeline->SetPresenceResult(-4, -4.0);
    }
    KAE_LOGI("presence reading published: %d %.2f", presence, distance);
    return G_SOURCE_CONTINUE;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc > 1) {
        if (strcmp(argv[1], "--help") == 0 || strcmp(argv[1], "-h") == 0) {
            fputs(kUsage, stdout);
            return 0;
        }
        fprintf(stderr, "pipeline_service: takes no arguments (see --help)\n");
        return 2;
    }
    s_loop = g_main_loop_new(nullptr, FALSE);
    auto* dispatcher = new (std::nothrow) CDispatcher();
    auto* server = new (std::nothrow) CDBusServer(dispatcher);
    s_pipeline = new (std::nothrow) ActivitySegment(dispatcher);
    if (dispatcher == nullptr || server == nullptr || s_pipeline == nullptr) {
        KAE_LOGE("Memory Allocation Failed");
        return 1;
    }
    dispatcher->SetActivitySegment(s_pipeline);
    dispatcher->Start(server);
    server->Start();
    s_pipeline->Start();
    g_timeout_add(100, FollowSubscription, nullptr);

    g_unix_signal_add(SIGTERM, Quit, nullptr);
    g_unix_signal_add(SIGINT, Quit, nullptr);
    g_unix_signal_add(SIGUSR1, ReadPresenceOnce, nullptr);
    g_main_loop_run(s_loop);

    // The radar first; then the dispatcher, which drains what is queued
    // through the still open bus and clears the pipeline's subscription
    // flag; then the bus; the pipeline last.
    if (s_streaming) {
        s_pipeline->StopSensor();
    }
    dispatcher->Stop();
    dispatcher->SetActivitySegment(nullptr);
    server->SendStopSignalToClient();
    server->Stop();
    delete server;
    delete dispatcher;
    s_pipeline->Stop();
    delete s_pipeline;
    g_main_loop_unref(s_loop);
    KAE_LOGI("pipeline service stopped");
    return 0;
}
