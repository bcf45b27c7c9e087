#include "Requester.h"

#include <stdlib.h>

#include "ContextLog.h"
#include "DBusServer.h"

namespace {

const char* OrEmpty(const char* text) {
    return text != nullptr ? text : "";
}

}  // namespace

CRequester::CRequester(const char* sender, int type, int reqId, const char* subject,
                       const char* input, int pid, GDBusMethodInvocation* invocation)
    : m_sender(OrEmpty(sender)),
      m_type(type),
      m_reqId(reqId),
      m_subject(OrEmpty(subject)),
      m_input(OrEmpty(input)),
      m_pData(nullptr),
      m_reserved(0),
      m_pid(pid),
      m_invocation(invocation) {}

CRequester::~CRequester() {
    free(m_pData);
    // GDBus hands each method call to its handler with one reference; a call
    // that is never answered must still give it back.
    if (m_invocation != nullptr) {
        g_object_unref(m_invocation);
        m_invocation = nullptr;
    }
}

bool CRequester::operator==(const CRequester& other) const {
    return m_sender == other.m_sender && m_subject == other.m_subject;
}

void CRequester::Reply(int result, const char* output) {
    __Send(g_variant_new("(is)", result, OrEmpty(output)));
}

void CRequester::Reply(int result, const char* subject, const char* output) {
    __Send(g_variant_new("(iss)", result, OrEmpty(subject), OrEmpty(output)));
}

void CRequester::ReplyResponse(int result, const char* subject, const char* output) {
    Reply(result, subject, output);
}

void CRequester::ReplyResponse(int result, const char* subject, void* variant) {
    GVariant* value =
        variant != nullptr ? static_cast<GVariant*>(variant) : g_variant_new("(s)", "NULL");
    __Send(g_variant_new("(isv)", result, OrEmpty(subject), value));
}

void CRequester::ReplyNull() {
    __Send(nullptr);
}

void CRequester::ReplyError(int code, const char* message) {
    if (m_invocation != nullptr) {
        // Takes over the invocation's reference. Thread-safe in GDBus.
        g_dbus_method_invocation_return_error_literal(m_invocation, G_DBUS_ERROR, code,
                                                      OrEmpty(message));
        m_invocation = nullptr;
    }
}

void CRequester::__Send(GVariant* parameters) {
    CDBusServer* server = CDBusServer::GetInstance();
    if (server != nullptr) {
        // The reply takes over the invocation's reference (a null invocation
        // sends nothing).
        server->OnSend(m_invocation, parameters);
    } else {
        if (parameters != nullptr) {
            g_variant_unref(g_variant_ref_sink(parameters));
        }
        if (m_invocation != nullptr) {
            // No server left to answer through: the call is dropped and its
            // caller runs into its own time-out.
            g_object_unref(m_invocation);
        }
    }
    m_invocation = nullptr;
}
