#include "EventStream.h"

#include <algorithm>

CEventStream::~CEventStream() {
    while (!m_clients.empty()) {
        _Drop(m_clients.back()->message, true);
    }
}

std::string CEventStream::Format(const std::string& event, const Json::Value& data) {
    Json::StreamWriterBuilder writer;
    writer["indentation"] = "";
    // Non-ASCII as \u escapes: one line whatever the text.
    writer["emitUTF8"] = false;
    // Millimetres and tenths of a degree are plenty for a picture.
    writer["precision"] = 6;
    return "event: " + event + "\ndata: " + Json::writeString(writer, data) + "\n\n";
}

void CEventStream::Open(SoupServerMessage* message) {
    soup_server_message_set_status(message, SOUP_STATUS_OK, nullptr);
    SoupMessageHeaders* headers = soup_server_message_get_response_headers(message);
    soup_message_headers_set_encoding(headers, SOUP_ENCODING_CHUNKED);
    soup_message_headers_set_content_type(headers, "text/event-stream", nullptr);
    soup_message_headers_replace(headers, "Cache-Control", "no-store");
    // Written chunks are not kept: the stream lasts as long as the page.
    soup_message_body_set_accumulate(soup_server_message_get_response_body(message), FALSE);

    auto* client = new Client{message, 0, this};
    m_clients.push_back(client);
    g_signal_connect(message, "wrote-chunk", G_CALLBACK(_OnWroteChunk), client);
    g_signal_connect(message, "finished", G_CALLBACK(_OnGone), client);
    g_signal_connect(message, "disconnected", G_CALLBACK(_OnGone), client);
    // A comment first, so the page sees the stream open at once.
    _Append(client, ": tessivo-viewer\n\n");
    if (m_greeting) {
        m_greeting(message);
    }
}

CEventStream::Client* CEventStream::_Find(SoupServerMessage* message) {
    for (Client* client : m_clients) {
        if (client->message == message) {
            return client;
        }
    }
    return nullptr;
}

void CEventStream::_Append(Client* client, const std::string& text) {
    SoupMessageBody* body = soup_server_message_get_response_body(client->message);
    soup_message_body_append(body, SOUP_MEMORY_COPY, text.data(), text.size());
    ++client->pending;
    soup_server_message_unpause(client->message);
}

void CEventStream::Send(SoupServerMessage* message, const std::string& event,
                        const Json::Value& data) {
    Client* client = _Find(message);
    if (client != nullptr) {
        _Append(client, Format(event, data));
    }
}

void CEventStream::Broadcast(const std::string& event, const Json::Value& data) {
    if (m_clients.empty()) {
        return;
    }
    const std::string text = Format(event, data);
    std::vector<SoupServerMessage*> stuck;
    for (Client* client : m_clients) {
        if (client->pending >= kMaxPending) {
            stuck.push_back(client->message);
            continue;
        }
        _Append(client, text);
    }
    for (SoupServerMessage* message : stuck) {
        g_printerr("tessivo-viewer: a page stopped reading its events; it is dropped\n");
        _Drop(message, true);
    }
}

void CEventStream::_Drop(SoupServerMessage* message, bool finish) {
    auto it = std::find_if(m_clients.begin(), m_clients.end(),
                           [message](const Client* client) { return client->message == message; });
    if (it == m_clients.end()) {
        return;
    }
    Client* client = *it;
    m_clients.erase(it);
    g_signal_handlers_disconnect_by_data(message, client);
    if (finish) {
        // Ends the chunked body; libsoup closes the exchange when it can.
        soup_message_body_complete(soup_server_message_get_response_body(message));
        soup_server_message_unpause(message);
    }
    delete client;
}

void CEventStream::_OnWroteChunk(SoupServerMessage* message, gpointer user) {
    auto* client = static_cast<Client*>(user);
    if (client->pending > 0) {
        --client->pending;
    }
}

void CEventStream::_OnGone(SoupServerMessage* message, gpointer user) {
    auto* client = static_cast<Client*>(user);
    client->owner->_Drop(message, false);
}
