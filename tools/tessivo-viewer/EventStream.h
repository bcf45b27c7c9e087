// The page's push stream: server-sent events (text/event-stream) to every
// open page, on the GLib main loop through libsoup. A page that stops
// reading is dropped once too many events wait for it, so a stuck browser
// cannot make the viewer grow without end.
#ifndef TESSIVO_TOOLS_VIEWER_EVENTSTREAM_H
#define TESSIVO_TOOLS_VIEWER_EVENTSTREAM_H

#include <json/json.h>
#include <libsoup/soup.h>

#include <functional>
#include <string>
#include <vector>

class CEventStream {
public:
    // Events that may wait for one page before it is dropped: ten seconds of
    // frames and everything else that comes with them.
    static constexpr int kMaxPending = 200;

    // Called for each new page, before any broadcast reaches it: the events
    // that bring it up to date.
    using Greeting = std::function<void(SoupServerMessage* message)>;

    CEventStream() = default;
    ~CEventStream();
    CEventStream(const CEventStream&) = delete;
    CEventStream& operator=(const CEventStream&) = delete;

    void SetGreeting(Greeting greeting) { m_greeting = std::move(greeting); }
    // Takes over a GET of the stream's path. \context Main thread only.
    void Open(SoupServerMessage* message);
    // One event to every page. \context Main thread only.
    void Broadcast(const std::string& event, const Json::Value& data);
    // One event to one page (from the greeting). \context Main thread only.
    void Send(SoupServerMessage* message, const std::string& event, const Json::Value& data);
    size_t Clients() const { return m_clients.size(); }

    // "event: NAME\ndata: JSON\n\n"; the compact JSON never holds a newline.
    static std::string Format(const std::string& event, const Json::Value& data);

private:
    struct Client {
        SoupServerMessage* message;
        int pending;
        CEventStream* owner;
    };

    Client* _Find(SoupServerMessage* message);
    void _Append(Client* client, const std::string& text);
    void _Drop(SoupServerMessage* message, bool finish);
    static void _OnWroteChunk(SoupServerMessage* message, gpointer user);
    static void _OnGone(SoupServerMessage* message, gpointer user);

    std::vector<Client*> m_clients;
    Greeting m_greeting;
};

#endif
