// Data-service events: the TV context collector's handling of answers and
// events (the application in front, source and broadcast changes, time
// validity, viewing policy), with the data that it looks up on the way
// (the source-status answer, the source-type setting, the last service)
// also taken from the input. Events come in either as the data service
// hands them over or as a line of the simulated TV's event journal, which
// any process on the host can write.
#include <fuzzer/FuzzedDataProvider.h>
#include <glib.h>
#include <vconf.h>

#include <string>
#include <vector>

#include "ChangeJournal.h"
#include "DLFDataCollector.h"
#include "DsfStore.h"
#include "FuzzSupport.h"
#include "PlatformStore.h"
#include "SettingsStore.h"

using fuzzsupport::Check;

namespace {

const char* const kReadSubjects[] = {"R/App/Current",
                                     "R/Source/Status",
                                     "R/Broadcast/Program/Current",
                                     "R/Broadcast/Status/Current",
                                     "R/Source/Hdmi/PortStatus",
                                     "R/Time/Valid",
                                     "R/Time/Current",
                                     "R/Policy/ViewingPolicy",
                                     "R/Power/Reset"};
const char* const kSourceTypes[] = {"SOURCE_TYPE_HDMI1", "SOURCE_TYPE_HDMI2", "SOURCE_TYPE_TV",
                                    "SOURCE_TYPE_",      "SOURCE_TYPE",       ""};
const char* const kLastServices[] = {"vc-service", "tv-service", ""};
const char kSourceStatus[] = "R/Source/Status";
const char kLastServiceKey[] = "memory/brix/last_service";
const int kMaxSteps = 16;
const size_t kMaxText = 4096;

const char kDefaultSourceType[] = "SOURCE_TYPE_HDMI1";
const char kDefaultSourceStatus[] = R"({"HDMI1":[{"DeviceName":"Console"}]})";

DLFDataCollector* s_collector = nullptr;
// The last session the collector announced.
AppSessionInfo* s_announced = nullptr;
// Whether an input changed what the collector looks up.
bool s_lookupsChanged = true;

void OnSessionChange(AppSessionInfo* current, AppSessionInfo* previous, void*) {
    Check(current != nullptr && previous != nullptr, "a session change carries both records");
    Check(current->appId != previous->appId || current->source != previous->source,
          "only a change of application or source is announced");
    *s_announced = *current;
}

void RunMainContext() {
    while (g_main_context_iteration(nullptr, FALSE)) {
    }
}

std::string Subject(FuzzedDataProvider& input) {
    switch (input.ConsumeIntegralInRange(0, 3)) {
        case 0:
            return input.PickValueInArray(kReadSubjects);
        case 1:
            return input.ConsumeRandomLengthString(64);
        default:
            return g_vSubject[input.ConsumeIntegralInRange<size_t>(0, g_vSubject.size() - 1)];
    }
}

void Deliver(int result, const std::string& subject, std::string data) {
    s_collector->SubscribeCb(result, subject.c_str(), &data[0], nullptr);
    if (!s_announced->appId.empty() || !s_announced->source.empty()) {
        AppSessionInfo now = s_collector->GetAppSessionInfo();
        Check(now.appId == s_announced->appId && now.source == s_announced->source,
              "the session announced last is the current one");
    }
}

void Event(FuzzedDataProvider& input) {
    const int result = input.ConsumeBool() ? 0 : input.ConsumeIntegral<int>();
    const std::string subject = Subject(input);
    Deliver(result, subject, input.ConsumeRandomLengthString(kMaxText));
}

// An event as the simulated TV's journal carries it to every subscriber.
void JournalEvent(FuzzedDataProvider& input) {
    std::vector<std::string> fields;
    std::string subject;
    std::string json;
    if (ChangeJournal::DecodeLine(input.ConsumeRandomLengthString(kMaxText), &fields) &&
        DsfStore::ParseEvent(fields, &subject, &json)) {
        Deliver(0, subject, json);
    }
}

void Lookups(FuzzedDataProvider& input) {
    s_lookupsChanged = true;
    switch (input.ConsumeIntegralInRange(0, 2)) {
        case 0:
            DsfStore::SetAnswer(kSourceStatus, nullptr, input.ConsumeRandomLengthString(kMaxText));
            break;
        case 1:
            SettingsStore::Write(SettingsStore::kSourceType,
                                 input.ConsumeBool() ? input.PickValueInArray(kSourceTypes)
                                                     : input.ConsumeRandomLengthString(64));
            break;
        default:
            // Straight into the store: nobody watches the key, and its change
            // journal would only grow.
            PlatformStore::Write("vconf", kLastServiceKey,
                                 {PlatformStore::Type::String,
                                  input.ConsumeBool() ? input.PickValueInArray(kLastServices)
                                                      : input.ConsumeRandomLengthString(64)});
            break;
    }
}

// Every input starts from the same simulated TV and the same session: the
// lookups as the TV was set up, and two application changes that replace
// whatever the session held.
void Reset() {
    if (s_lookupsChanged) {
        SettingsStore::Write(SettingsStore::kSourceType, kDefaultSourceType);
        DsfStore::SetAnswer(kSourceStatus, nullptr, kDefaultSourceStatus);
        PlatformStore::Remove("vconf", kLastServiceKey);
        s_lookupsChanged = false;
    }
    Deliver(0, "P/App/Change", R"({"EventType":"Launch","AppId":"fuzz.first"})");
    Deliver(0, "P/App/Change", R"({"EventType":"Launch","AppId":"fuzz.second"})");
    Check(s_collector->GetAppSessionInfo().appId == "fuzz.second", "an application change is seen");
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    fuzzsupport::PrivatePlatform();
    vconf_set_int("memory/data-service/ready", 1);
    s_announced = new AppSessionInfo();
    s_collector = new DLFDataCollector();
    s_collector->RegisterAppSessionCB(OnSessionChange, nullptr);
    s_collector->Start();
    // The initial reads come back on the main context.
    RunMainContext();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Reset();
    FuzzedDataProvider input(data, size);
    for (int i = 0; i < kMaxSteps && input.remaining_bytes() > 0; ++i) {
        switch (input.ConsumeIntegralInRange(0, 3)) {
            case 0:
            case 1:
                Event(input);
                break;
            case 2:
                JournalEvent(input);
                break;
            default:
                Lookups(input);
                break;
        }
    }
    return 0;
}
