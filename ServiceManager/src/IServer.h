// The server side as the dispatcher sees it: started and stopped by the
// controller, asked to emit "Response" signals.
#ifndef TESSIVO_SERVICEMANAGER_ISERVER_H
#define TESSIVO_SERVICEMANAGER_ISERVER_H

#include <gio/gio.h>

class IServer {
public:
    virtual ~IServer() = default;
    virtual bool Start() = 0;
    virtual bool Stop() = 0;
    // destination: a unique bus name, or null to broadcast; parameters "(iss)".
    // \context Thread-safe.
    virtual bool OnPublish(const char* destination, GVariant* parameters) = 0;
};

#endif
