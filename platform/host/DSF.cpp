// The data service of the simulated TV: reads answer from stored JSON
// (DsfStore), asynchronous answers and published events arrive on the
// default GLib main context (DsfAsyncReads, DsfSubscriptions).
#include <DSF.h>
#include <stdlib.h>
#include <string.h>

#include <string>

#include "DsfAsyncReads.h"
#include "DsfStore.h"
#include "DsfSubscriptions.h"

extern "C" int DSF_Subscribe(const char* subject, DSF_Callback callback, void* user) {
    if (!DsfStore::IsValidSubject(subject) || callback == nullptr) {
        return DSF_ERROR_INVALID_PARAMETER;
    }
    return DsfSubscriptions::Get().Add(subject, callback, user) == 0 ? DSF_OK : DSF_ERROR_IO;
}

extern "C" int DSF_UnSubscribe(const char* subject) {
    if (!DsfStore::IsValidSubject(subject)) {
        return DSF_ERROR_INVALID_PARAMETER;
    }
    return DsfSubscriptions::Get().Remove(subject) == 0 ? DSF_OK : DSF_ERROR_NOT_SUBSCRIBED;
}

extern "C" int DSF_Read_Async(const char* subject, const char* argument, DSF_Callback callback,
                              void* user) {
    return DsfAsyncReads::Get().Queue(subject, argument, callback, user);
}

extern "C" int DSF_Read_Sync(const char* subject, const char* argument, char** out) {
    if (out == nullptr) {
        return DSF_ERROR_INVALID_PARAMETER;
    }
    *out = nullptr;
    std::string json;
    int ret = DsfStore::Answer(subject, argument, &json);
    if (ret != DSF_OK) {
        return ret;
    }
    *out = strdup(json.c_str());
    return *out != nullptr ? DSF_OK : DSF_ERROR_IO;
}
