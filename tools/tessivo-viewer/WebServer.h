// The viewer's web server: libsoup on the GLib main loop. It serves the page
// (HTML, CSS and JavaScript compiled into the program as GResources, so
// nothing is fetched from elsewhere), hands the event stream's path to the
// stream, and the API's paths to one handler.
#ifndef TESSIVO_TOOLS_VIEWER_WEBSERVER_H
#define TESSIVO_TOOLS_VIEWER_WEBSERVER_H

#include <json/json.h>
#include <libsoup/soup.h>

#include <functional>
#include <string>

class CEventStream;

class CWebServer {
public:
    // Request bodies larger than this are refused: the API takes a few words.
    static constexpr size_t kMaxBody = 16 * 1024;

    // The API: method, path below /api/, the request body parsed as a JSON
    // object (null for GET). Answers with Reply or Fail.
    using ApiHandler = std::function<void(SoupServerMessage* message, const std::string& method,
                                          const std::string& path, const Json::Value& body)>;

    CWebServer(CEventStream* events, ApiHandler api);
    ~CWebServer();
    CWebServer(const CWebServer&) = delete;
    CWebServer& operator=(const CWebServer&) = delete;

    // Listens on address:port (port 0: any free one). \context Main thread only.
    bool Listen(const std::string& address, int port, std::string* error);
    // The port actually listened on. \context Main thread only.
    int Port() const { return m_port; }

    static void Reply(SoupServerMessage* message, const Json::Value& body);
    static void Fail(SoupServerMessage* message, unsigned status, const std::string& reason);

private:
    static void _OnRequest(SoupServer* server, SoupServerMessage* message, const char* path,
                           GHashTable* query, gpointer user);
    void _ServePage(SoupServerMessage* message, const std::string& path);
    void _ServeApi(SoupServerMessage* message, const std::string& method, const std::string& path);

    SoupServer* m_server = nullptr;
    CEventStream* m_events;
    ApiHandler m_api;
    int m_port = 0;
};

#endif
