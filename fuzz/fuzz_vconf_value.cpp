// vconf values of the watched keys (the radar claim, the screen rotation,
// the data-use agreement, the country, the data service's readiness) as
// the state manager and the TV context collector turn them into state. A
// value reaches them as a change notification built from the input, as a
// line of the simulated TV's change journal (which any process on the host
// can write), or as a value file of the simulated TV read back through
// vconf. After each change the state must follow the rules the modes
// depend on.
#include <fuzzer/FuzzedDataProvider.h>
#include <glib.h>
#include <stdlib.h>
#include <vconf.h>

#include <string>
#include <vector>

#include "ChangeJournal.h"
#include "DLFDataCollector.h"
#include "FuzzSupport.h"
#include "PlatformStore.h"
#include "StateManager.h"
#include "VconfKeynode.h"
#include "VconfStore.h"

using fuzzsupport::Check;

namespace {

const char kKeyMotionSensor[] = "memory/motion-sensor-service/motion_sensor_state";
const char kKeyRotation[] = "db/sysman/rotation_state";
const char kKeyAgreement[] = "db/homedatacontrol/disclaimeragrees";
const char kKeyCountry[] = "db/comss/countrycode";
const char kKeyReady[] = "memory/data-service/ready";
const char* const kKeys[] = {kKeyMotionSensor, kKeyRotation, kKeyAgreement, kKeyCountry, kKeyReady};
const char* const kTypeNames[] = {"int", "string", "bool", "double"};
const int kTypes[] = {VCONF_TYPE_INT, VCONF_TYPE_STRING, VCONF_TYPE_BOOL, VCONF_TYPE_DOUBLE,
                      VCONF_TYPE_NONE};
const char* const kStrings[] = {
    R"({"presence":"true"})", R"({"presence":"false"})", "US", "KR", "AA", "XX", ""};
const int kMaxChanges = 16;
const size_t kMaxText = 1024;

StateManager* s_state = nullptr;

std::string Key(FuzzedDataProvider& input) {
    if (input.ConsumeIntegralInRange(0, 7) != 0) {
        return input.PickValueInArray(kKeys);
    }
    return input.ConsumeRandomLengthString(64);
}

std::string Value(FuzzedDataProvider& input) {
    if (input.ConsumeBool()) {
        return input.PickValueInArray(kStrings);
    }
    return input.ConsumeRandomLengthString(kMaxText);
}

// A notification as the platform builds it from the new value.
bool DirectNode(FuzzedDataProvider& input, keynode_t* node) {
    // A key's name is a C string.
    node->name = Key(input).c_str();
    node->type = input.PickValueInArray(kTypes);
    node->intValue =
        input.ConsumeBool() ? input.ConsumeIntegralInRange(-1, 3) : input.ConsumeIntegral<int>();
    node->doubleValue = input.ConsumeFloatingPoint<double>();
    node->boolValue = input.ConsumeBool();
    node->stringValue = Value(input);
    return true;
}

// A change as another process journals it and every watcher decodes it.
bool JournalNode(FuzzedDataProvider& input, keynode_t* node) {
    std::vector<std::string> fields;
    if (input.ConsumeBool()) {
        fields = {Key(input), input.PickValueInArray(kTypeNames), Value(input)};
    } else if (!ChangeJournal::DecodeLine(input.ConsumeRandomLengthString(kMaxText), &fields)) {
        return false;
    }
    std::string key;
    PlatformStore::Value value;
    if (!VconfStore::ParseChange(fields, &key, &value)) {
        return false;
    }
    *node = _keynode_t::FromValue(key, value);
    return true;
}

// A value file of the simulated TV, read back as the service reads the keys
// when it starts.
bool StoredNode(FuzzedDataProvider& input, keynode_t* node) {
    const char* key = input.PickValueInArray(kKeys);
    const std::string content = input.ConsumeRandomLengthString(kMaxText);
    const std::string path = PlatformStore::PathOf(VconfStore::kArea, key);
    if (PlatformStore::WriteFileAtomic(path, content) != 0) {
        return false;
    }
    node->name = key;
    int number = 0;
    if (vconf_get_int(key, &number) == VCONF_OK) {
        node->type = VCONF_TYPE_INT;
        node->intValue = number;
    } else if (char* text = vconf_get_str(key)) {
        node->type = VCONF_TYPE_STRING;
        node->stringValue = text;
        free(text);
    } else {
        return false;
    }
    return true;
}

void RunMainContext() {
    while (g_main_context_iteration(nullptr, FALSE)) {
    }
}

// Every input starts from the same state: the radar not claimed, landscape,
// no agreement, no country, so no statistics.
void Reset() {
    const keynode_t defaults[] = {
        {kKeyMotionSensor, VCONF_TYPE_INT, StateManager::kSensorNormal, 0.0, false, ""},
        {kKeyRotation, VCONF_TYPE_INT, 1, 0.0, false, ""},
        {kKeyAgreement, VCONF_TYPE_STRING, 0, 0.0, false, ""},
        {kKeyCountry, VCONF_TYPE_STRING, 0, 0.0, false, ""},
    };
    for (const keynode_t& node : defaults) {
        s_state->OnVconfChangeCb(const_cast<keynode_t*>(&node));
    }
    Check(!s_state->HasKPIManager(), "no statistics without agreement and country");
}

void CheckState(const keynode_t& node, int sensorBefore, int rotationBefore) {
    const std::string& name = node.name;
    const int number = vconf_keynode_get_int(&node);
    if (name == kKeyMotionSensor) {
        const bool accepted =
            number == StateManager::kSensorNormal || number == StateManager::kSensorClaimed;
        Check(s_state->GetMotionSensorState() == (accepted ? number : sensorBefore),
              "the radar claim takes 0 and 2 and nothing else");
    } else {
        Check(s_state->GetMotionSensorState() == sensorBefore,
              "only the claim key changes the claim");
    }
    if (name == kKeyRotation) {
        Check(s_state->isLandscapeMode() == (number == 1), "landscape is rotation 1");
    } else {
        Check(s_state->isLandscapeMode() == (rotationBefore == 1),
              "only the rotation key changes the rotation");
    }
    if (name == kKeyAgreement) {
        Check(
            s_state->isKPIAgreed() == StateManager::CheckKPIAgreement(vconf_keynode_get_str(&node)),
            "the agreement is what the key's document says");
    }
    Check(s_state->HasKPIManager() == (s_state->isKPIAgreed() && s_state->isKPITargetCountry()),
          "statistics run exactly with agreement and a listed country");
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    fuzzsupport::PrivatePlatform();
    // Statistics are made and given up on the main context.
    g_main_context_acquire(nullptr);
    s_state = new StateManager();
    for (const char* key : kKeys) {
        const std::string path = PlatformStore::PathOf(VconfStore::kArea, key);
        PlatformStore::MakeDirs(path.substr(0, path.rfind('/')));
    }
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Reset();
    // Waits for the data service until the readiness key says it is there.
    DLFDataCollector collector;
    FuzzedDataProvider input(data, size);
    for (int i = 0; i < kMaxChanges && input.remaining_bytes() > 0; ++i) {
        keynode_t node;
        bool built = false;
        switch (input.ConsumeIntegralInRange(0, 3)) {
            case 0:
            case 1:
                built = DirectNode(input, &node);
                break;
            case 2:
                built = JournalNode(input, &node);
                break;
            default:
                built = StoredNode(input, &node);
                break;
        }
        if (!built) {
            continue;
        }
        const int sensorBefore = s_state->GetMotionSensorState();
        const int rotationBefore = s_state->isLandscapeMode() ? 1 : 0;
        s_state->OnVconfChangeCb(&node);
        collector.OnVconfChangeCb(&node);
        CheckState(node, sensorBefore, rotationBefore);
    }
    // Answers to what the collector asked for when it turned ready reach it
    // (stopped, it drops them) before it goes.
    collector.Stop();
    RunMainContext();
    return 0;
}
