// The D-Bus entry points: a run of method calls, result publications and
// departures built from the input, handed to the D-Bus server's method
// handler in process (no bus: calls come without an invocation, so nothing
// is sent back) and from there to the dispatcher, which turns each call's
// type, subject and input into a subscription, an unsubscription, a read
// of the real pipeline or a refusal. Reads queued for the dispatcher's
// thread are served on this thread instead, in queue order.
#include <fuzzer/FuzzedDataProvider.h>
#include <gio/gio.h>
#include <stdlib.h>
#include <string.h>

#include <set>
#include <string>

#include "ActivitySegment.h"
#include "DBusServer.h"
#include "Dispatcher.h"
#include "FuzzSupport.h"
#include "IServer.h"
#include "KaeInterface.h"

using fuzzsupport::Check;

namespace {

const char* const kSubjects[] = {KAE_SUBJECT_PRESENCE,      KAE_SUBJECT_PRESENCE_DISTANCE,
                                 KAE_SUBJECT_TRACK_SEGMENT, KAE_SUBJECT_HELLO,
                                 KAE_SUBJECT_BYE,           ""};
const char* const kSenders[] = {":1.1", ":1.2", ":1.3", ":1.42"};
const int kMaxCalls = 48;
const size_t kMaxText = 4096;

// Receives what the dispatcher publishes; a listed client's signal fails,
// as one to a client that left the bus does.
class RecordingServer : public IServer {
public:
    bool Start() override { return true; }
    bool Stop() override { return true; }
    bool OnPublish(const char* destination, GVariant* parameters) override {
        GVariant* owned = g_variant_ref_sink(parameters);
        Check(g_variant_is_of_type(owned, G_VARIANT_TYPE("(iss)")), "a result signal is (iss)");
        const gchar* subject = nullptr;
        g_variant_get(owned, "(i&s&s)", nullptr, &subject, nullptr);
        Check(subject != nullptr && m_subject == subject,
              "a result goes out under the subject it was published with");
        g_variant_unref(owned);
        ++signals;
        return destination != nullptr && gone.count(destination) == 0;
    }

    std::string m_subject;
    std::set<std::string> gone;
    int signals = 0;
};

// The dispatcher with its queued reads served here.
class InlineDispatcher : public CDispatcher {
public:
    void ServeQueued() {
        int id = 0;
        void* data = nullptr;
        while (_TakeLeftover(&id, &data)) {
            OnEvent(id, data);
        }
    }
};

ActivitySegment* s_pipeline = nullptr;

std::string Text(FuzzedDataProvider& input) {
    if (input.ConsumeBool()) {
        return input.PickValueInArray(kSubjects);
    }
    return input.ConsumeRandomLengthString(kMaxText);
}

std::string Sender(FuzzedDataProvider& input) {
    if (input.ConsumeIntegralInRange(0, 7) != 0) {
        return input.PickValueInArray(kSenders);
    }
    return input.ConsumeRandomLengthString(64);
}

int RequestType(FuzzedDataProvider& input) {
    if (input.ConsumeBool()) {
        return input.ConsumeIntegralInRange<int>(CDispatcher::REQUEST_READ,
                                                 CDispatcher::REQUEST_REQUEST);
    }
    return input.ConsumeIntegral<int32_t>();
}

// The arguments of a call as a client sends them: the right signature, or
// anything a client can put in a message, which GDBus hands over as it is
// (the server registers no introspection check of its own to rely on).
GVariant* Arguments(FuzzedDataProvider& input, bool write) {
    const int shape = input.ConsumeIntegralInRange(0, 3);
    if (shape == 0) {
        const std::string type = input.ConsumeRandomLengthString(16);
        const std::string bytes = input.ConsumeRandomLengthString(256);
        if (!g_variant_type_string_is_valid(type.c_str()) ||
            !g_variant_type_is_definite(G_VARIANT_TYPE(type.c_str()))) {
            return g_variant_new("(s)", "");
        }
        // Untrusted, as a message off the bus: checked as it is read.
        GBytes* copy = g_bytes_new(bytes.data(), bytes.size());
        GVariant* arguments = g_variant_new_from_bytes(G_VARIANT_TYPE(type.c_str()), copy, FALSE);
        g_bytes_unref(copy);
        return arguments;
    }
    const int32_t pid = input.ConsumeIntegral<int32_t>();
    const int32_t type = RequestType(input);
    const int32_t reqId = input.ConsumeIntegral<int32_t>();
    std::string subject = Text(input);
    if (!fuzzsupport::IsBusString(subject)) {
        subject.clear();
    }
    if (write) {
        return g_variant_new("(iiisi)", pid, type, reqId, subject.c_str(),
                             input.ConsumeIntegral<int32_t>());
    }
    std::string body = input.ConsumeRandomLengthString(kMaxText);
    if (!fuzzsupport::IsBusString(body)) {
        body.clear();
    }
    return g_variant_new("(iiiss)", pid, type, reqId, subject.c_str(), body.c_str());
}

void Call(CDBusServer& server, FuzzedDataProvider& input) {
    const bool write = input.ConsumeIntegralInRange(0, 3) == 0;
    const std::string sender = Sender(input);
    GVariant* arguments = g_variant_ref_sink(Arguments(input, write));
    CDBusServer::OnMethodCall(nullptr, sender.c_str(), KAE_DBUS_PATH, KAE_DBUS_INTERFACE,
                              write ? "Write" : "RequestSync", arguments, nullptr, &server);
    g_variant_unref(arguments);
}

void Publish(InlineDispatcher& dispatcher, RecordingServer& signals, FuzzedDataProvider& input) {
    signals.m_subject = input.ConsumeBool() ? std::string(KAE_SUBJECT_TRACK_SEGMENT) : Text(input);
    if (!fuzzsupport::IsBusString(signals.m_subject)) {
        signals.m_subject = KAE_SUBJECT_TRACK_SEGMENT;
    }
    std::string body = input.ConsumeRandomLengthString(kMaxText);
    if (!fuzzsupport::IsBusString(body)) {
        body = "{}";
    }
    // The dispatcher takes the result over and frees it.
    dispatcher.OnPublish(signals.m_subject.c_str(), ActivitySegment::kDispatcherResultEvent,
                         strdup(body.c_str()));
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    // The pipeline drives the simulated radar module, which lives in a
    // simulated TV of its own.
    fuzzsupport::PrivatePlatform();
    s_pipeline = new ActivitySegment(nullptr);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    FuzzedDataProvider input(data, size);
    RecordingServer signals;
    InlineDispatcher dispatcher;
    dispatcher.SetActivitySegment(s_pipeline);
    dispatcher.SetServer(&signals);
    CDBusServer server(&dispatcher);

    for (int i = 0; i < kMaxCalls && input.remaining_bytes() > 0; ++i) {
        switch (input.ConsumeIntegralInRange(0, 5)) {
            case 0:
            case 1:
                Call(server, input);
                break;
            case 2:
                Publish(dispatcher, signals, input);
                break;
            case 3: {
                const std::string sender = Sender(input);
                if (input.ConsumeBool()) {
                    signals.gone.insert(sender);
                } else {
                    dispatcher.OnClientVanished(sender.c_str());
                }
                break;
            }
            case 4:
                // What the next reads answer: the latest presence result.
                s_pipeline->SetPresenceResult(input.ConsumeIntegralInRange(-5, 10),
                                              input.ConsumeFloatingPoint<double>());
                break;
            default:
                dispatcher.ServeQueued();
                break;
        }
    }
    dispatcher.ServeQueued();
    dispatcher.Stop();
    Check(dispatcher.GetSubscribeCount() == 0, "Stop drops every subscription");
    Check(s_pipeline->GetDemoViewerSubscribe() == 0,
          "with no subscription left the track publication is off");
    return 0;
}
