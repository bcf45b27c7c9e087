// One client request: who asked (unique bus name, the pid it claims), what it
// asked for, and the pending method call through which it is answered.
#ifndef TESSIVO_SERVICEMANAGER_REQUESTER_H
#define TESSIVO_SERVICEMANAGER_REQUESTER_H

#include <gio/gio.h>
#include <stdint.h>

#include <string>

class CRequester {
public:
    // Copies every string; a null string is taken as empty. invocation may be
    // null (nothing is then ever sent).
    CRequester(const char* sender, int type, int reqId, const char* subject, const char* input,
               int pid, GDBusMethodInvocation* invocation);
    // A pending call that was never answered is released without a reply.
    ~CRequester();

    CRequester(const CRequester&) = delete;
    CRequester& operator=(const CRequester&) = delete;

    const std::string& GetSender() const { return m_sender; }
    const std::string& GetSenderPort() const { return m_senderPort; }
    const std::string& GetSubject() const { return m_subject; }
    const std::string& GetInput() const { return m_input; }
    int GetPid() const { return m_pid; }
    int GetCMD() const { return m_type; }

    // Same client and same subject: one client holds at most one
    // subscription per subject.
    bool operator==(const CRequester& other) const;

    // The reply forms. Each completes the pending call at most once: the
    // invocation is spent afterwards, whether or not a reply could be sent.
    // \context Any thread, one at a time per requester.
    void Reply(int result, const char* output);
    void Reply(int result, const char* subject, const char* output);
    void ReplyResponse(int result, const char* subject, const char* output);
    // variant: a GVariant* (a floating one is consumed); null sends ("NULL",).
    void ReplyResponse(int result, const char* subject, void* variant);
    void ReplyNull();
    // Completes the pending call with a D-Bus error of the G_DBUS_ERROR
    // domain (code) and a message for the caller.
    void ReplyError(int code, const char* message);

private:
    void __Send(GVariant* parameters);

    std::string m_sender;
    std::string m_senderPort;
    int32_t m_type;
    int32_t m_reqId;
    std::string m_subject;
    std::string m_input;
    char* m_pData;
    int32_t m_reserved;
    int32_t m_pid;
    GDBusMethodInvocation* m_invocation;
};

#endif
