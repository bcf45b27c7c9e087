#include "WebServer.h"

#include <gio/gio.h>

#include <memory>

#include "EventStream.h"

namespace {

const char kResourcePrefix[] = "/com/norvale/tessivo/viewer/";

struct PageFile {
    const char* path;
    const char* resource;
    const char* type;
};

const PageFile kPageFiles[] = {
    {"/", "index.html", "text/html; charset=utf-8"},
    {"/index.html", "index.html", "text/html; charset=utf-8"},
    {"/viewer.css", "viewer.css", "text/css; charset=utf-8"},
    {"/viewer.js", "viewer.js", "text/javascript; charset=utf-8"},
};

std::string CompactJson(const Json::Value& value) {
    Json::StreamWriterBuilder writer;
    writer["indentation"] = "";
    return Json::writeString(writer, value);
}

}  // namespace

CWebServer::CWebServer(CEventStream* events, ApiHandler api)
    : m_events(events), m_api(std::move(api)) {}

CWebServer::~CWebServer() {
    if (m_server != nullptr) {
        soup_server_disconnect(m_server);
        g_object_unref(m_server);
    }
}

bool CWebServer::Listen(const std::string& address, int port, std::string* error) {
    GInetAddress* inet = g_inet_address_new_from_string(address.c_str());
    if (inet == nullptr) {
        *error = "\"" + address + "\" is not an IP address";
        return false;
    }
    m_server = soup_server_new("server-header", "tessivo-viewer", nullptr);
    soup_server_add_handler(m_server, nullptr, _OnRequest, this, nullptr);
    GSocketAddress* socketAddress = g_inet_socket_address_new(inet, static_cast<guint16>(port));
    g_object_unref(inet);
    GError* gerror = nullptr;
    gboolean ok = soup_server_listen(m_server, socketAddress,
                                     static_cast<SoupServerListenOptions>(0), &gerror);
    g_object_unref(socketAddress);
    if (!ok) {
        *error = "cannot listen on " + address + ":" + std::to_string(port) + ": " +
                 (gerror != nullptr ? gerror->message : "unknown error");
        g_clear_error(&gerror);
        return false;
    }
    GSList* uris = soup_server_get_uris(m_server);
    m_port = uris != nullptr ? g_uri_get_port(static_cast<GUri*>(uris->data)) : port;
    g_slist_free_full(uris, reinterpret_cast<GDestroyNotify>(g_uri_unref));
    return true;
}

void CWebServer::Reply(SoupServerMessage* message, const Json::Value& body) {
    const std::string text = CompactJson(body);
    soup_server_message_set_status(message, SOUP_STATUS_OK, nullptr);
    soup_message_headers_replace(soup_server_message_get_response_headers(message), "Cache-Control",
                                 "no-store");
    soup_server_message_set_response(message, "application/json", SOUP_MEMORY_COPY, text.data(),
                                     text.size());
}

void CWebServer::Fail(SoupServerMessage* message, unsigned status, const std::string& reason) {
    Json::Value body(Json::objectValue);
    body["error"] = reason;
    const std::string text = CompactJson(body);
    soup_server_message_set_status(message, status, nullptr);
    soup_server_message_set_response(message, "application/json", SOUP_MEMORY_COPY, text.data(),
                                     text.size());
}

void CWebServer::_OnRequest(SoupServer* server, SoupServerMessage* message, const char* path,
                            GHashTable* query, gpointer user) {
    auto* self = static_cast<CWebServer*>(user);
    const std::string method = soup_server_message_get_method(message);
    const std::string where = path != nullptr ? path : "/";
    if (where == "/events") {
        if (method != "GET") {
            Fail(message, SOUP_STATUS_METHOD_NOT_ALLOWED, "the event stream is read with GET");
            return;
        }
        self->m_events->Open(message);
        return;
    }
    if (where.rfind("/api/", 0) == 0) {
        self->_ServeApi(message, method, where.substr(5));
        return;
    }
    if (method != "GET" && method != "HEAD") {
        Fail(message, SOUP_STATUS_METHOD_NOT_ALLOWED, "the page is read with GET");
        return;
    }
    self->_ServePage(message, where);
}

void CWebServer::_ServePage(SoupServerMessage* message, const std::string& path) {
    for (const PageFile& file : kPageFiles) {
        if (path != file.path) {
            continue;
        }
        GBytes* bytes =
            g_resources_lookup_data((std::string(kResourcePrefix) + file.resource).c_str(),
                                    G_RESOURCE_LOOKUP_FLAGS_NONE, nullptr);
        if (bytes == nullptr) {
            Fail(message, SOUP_STATUS_INTERNAL_SERVER_ERROR,
                 std::string("the page's ") + file.resource + " is not built in");
            return;
        }
        soup_server_message_set_status(message, SOUP_STATUS_OK, nullptr);
        soup_message_headers_set_content_type(soup_server_message_get_response_headers(message),
                                              file.type, nullptr);
        soup_message_body_append_bytes(soup_server_message_get_response_body(message), bytes);
        g_bytes_unref(bytes);
        return;
    }
    Fail(message, SOUP_STATUS_NOT_FOUND, "no page " + path);
}

void CWebServer::_ServeApi(SoupServerMessage* message, const std::string& method,
                           const std::string& path) {
    Json::Value body;
    if (method == "POST") {
        // A JSON type keeps other sites' pages out: a browser sends it
        // cross-origin only after a preflight that this server never grants.
        const char* type = soup_message_headers_get_content_type(
            soup_server_message_get_request_headers(message), nullptr);
        if (type == nullptr || g_ascii_strcasecmp(type, "application/json") != 0) {
            Fail(message, SOUP_STATUS_UNSUPPORTED_MEDIA_TYPE,
                 "the API takes application/json bodies");
            return;
        }
        SoupMessageBody* request = soup_server_message_get_request_body(message);
        if (request->length > static_cast<goffset>(kMaxBody)) {
            Fail(message, SOUP_STATUS_REQUEST_ENTITY_TOO_LARGE, "the body is too large");
            return;
        }
        Json::CharReaderBuilder builder;
        std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
        std::string errors;
        const char* data = request->data != nullptr ? request->data : "";
        if (!reader->parse(data, data + request->length, &body, &errors) || !body.isObject()) {
            Fail(message, SOUP_STATUS_BAD_REQUEST, "the body is not a JSON object");
            return;
        }
    } else if (method != "GET") {
        Fail(message, SOUP_STATUS_METHOD_NOT_ALLOWED, "the API takes GET and POST");
        return;
    }
    m_api(message, method, path, body);
}
