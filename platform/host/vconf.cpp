// vconf of the simulated TV: typed keys in the platform store, and change
// notifications that reach every watching process through the area's change
// journal (VconfStore, VconfWatchers).
#include <errno.h>
#include <stdlib.h>
#include <string.h>
#include <vconf.h>

#include "VconfKeynode.h"
#include "VconfStore.h"
#include "VconfWatchers.h"

namespace {

bool ReadTyped(const char* key, PlatformStore::Type type, PlatformStore::Value* value) {
    return key != nullptr && VconfStore::Read(key, value) == 0 && value->type == type;
}

}  // namespace

extern "C" int vconf_get_int(const char* in_key, int* intval) {
    PlatformStore::Value value;
    if (intval == nullptr || !ReadTyped(in_key, PlatformStore::Type::Int, &value) ||
        !PlatformStore::ParseInt(value.text, intval)) {
        return VCONF_ERROR;
    }
    return VCONF_OK;
}

extern "C" char* vconf_get_str(const char* in_key) {
    PlatformStore::Value value;
    if (!ReadTyped(in_key, PlatformStore::Type::String, &value)) {
        return nullptr;
    }
    return strdup(value.text.c_str());
}

extern "C" int vconf_set_int(const char* in_key, const int intval) {
    if (in_key == nullptr) {
        return VCONF_ERROR;
    }
    return VconfStore::Set(in_key, {PlatformStore::Type::Int, std::to_string(intval)}) == 0
               ? VCONF_OK
               : VCONF_ERROR;
}

extern "C" int vconf_set_str(const char* in_key, const char* strval) {
    if (in_key == nullptr || strval == nullptr) {
        return VCONF_ERROR;
    }
    return VconfStore::Set(in_key, {PlatformStore::Type::String, strval}) == 0 ? VCONF_OK
                                                                               : VCONF_ERROR;
}

extern "C" int vconf_notify_key_changed(const char* in_key, vconf_callback_fn cb, void* user_data) {
    if (in_key == nullptr || cb == nullptr || !PlatformStore::IsValidKey(in_key)) {
        return VCONF_ERROR;
    }
    return VconfWatchers::Get().Add(in_key, cb, user_data) == 0 ? VCONF_OK : VCONF_ERROR;
}

extern "C" int vconf_ignore_key_changed(const char* in_key, vconf_callback_fn cb) {
    if (in_key == nullptr || cb == nullptr) {
        return VCONF_ERROR;
    }
    return VconfWatchers::Get().Remove(in_key, cb) == 0 ? VCONF_OK : VCONF_ERROR;
}

extern "C" char* vconf_keynode_get_name(keynode_t* keynode) {
    return keynode == nullptr ? nullptr : const_cast<char*>(keynode->name.c_str());
}

extern "C" int vconf_keynode_get_type(keynode_t* keynode) {
    return keynode == nullptr ? VCONF_TYPE_NONE : keynode->type;
}

extern "C" int vconf_keynode_get_int(const keynode_t* keynode) {
    return keynode != nullptr && keynode->type == VCONF_TYPE_INT ? keynode->intValue : 0;
}

extern "C" char* vconf_keynode_get_str(const keynode_t* keynode) {
    if (keynode == nullptr || keynode->type != VCONF_TYPE_STRING) {
        return nullptr;
    }
    return const_cast<char*>(keynode->stringValue.c_str());
}
