// What the D-Bus server hands its method calls to, and what the sensing side
// publishes through.
#ifndef TESSIVO_SERVICEMANAGER_IDISPATCHER_H
#define TESSIVO_SERVICEMANAGER_IDISPATCHER_H

#include <gio/gio.h>

class IServer;

class IDispatcher {
public:
    virtual ~IDispatcher() = default;
    virtual bool Start(IServer* server) = 0;
    virtual bool Stop() = 0;
    virtual void OnPublish(const char* subject, int result, const char* data) = 0;
    virtual void OnResponse(const char* subject, int result, const char* output,
                            void* requester) = 0;
    virtual void OnResponse(const char* subject, int result, void* variant, void* requester) = 0;
    // \context Main loop thread.
    virtual void OnMethodCallSync(const char* sender, GVariant* parameters,
                                  GDBusMethodInvocation* invocation) = 0;
    // \context Main loop thread.
    virtual void OnMethodWriteAsync(const char* sender, GVariant* parameters,
                                    GDBusMethodInvocation* invocation) = 0;
};

#endif
