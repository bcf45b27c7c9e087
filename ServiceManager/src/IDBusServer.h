#ifndef TESSIVO_SERVICEMANAGER_IDBUSSERVER_H
#define TESSIVO_SERVICEMANAGER_IDBUSSERVER_H

#include <gio/gio.h>

class IDBusServer {
public:
    virtual ~IDBusServer() = default;
    // \context Thread-safe.
    virtual bool OnPublish(const char* destination, GVariant* parameters) = 0;
};

#endif
