// The key node a vconf notification hands to its callback: the changed key,
// its type and the value that was set (not whatever the key holds by the
// time the callback runs).
#ifndef TESSIVO_PLATFORM_HOST_VCONFKEYNODE_H
#define TESSIVO_PLATFORM_HOST_VCONFKEYNODE_H

#include <vconf.h>

#include <string>

#include "PlatformStore.h"

struct _keynode_t {
    std::string name;
    int type = VCONF_TYPE_NONE;
    int intValue = 0;
    double doubleValue = 0.0;
    bool boolValue = false;
    std::string stringValue;

    // A node for a value of the store (one that fits its type).
    static _keynode_t FromValue(const std::string& key, const PlatformStore::Value& value) {
        _keynode_t node;
        node.name = key;
        switch (value.type) {
            case PlatformStore::Type::Int:
                node.type = VCONF_TYPE_INT;
                PlatformStore::ParseInt(value.text, &node.intValue);
                break;
            case PlatformStore::Type::Double:
                node.type = VCONF_TYPE_DOUBLE;
                PlatformStore::ParseDouble(value.text, &node.doubleValue);
                break;
            case PlatformStore::Type::Bool:
                node.type = VCONF_TYPE_BOOL;
                PlatformStore::ParseBool(value.text, &node.boolValue);
                break;
            case PlatformStore::Type::String:
                node.type = VCONF_TYPE_STRING;
                node.stringValue = value.text;
                break;
        }
        return node;
    }
};

#endif
