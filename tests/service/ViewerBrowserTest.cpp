// tessivo-viewer's page in a real headless Chromium, driven through the
// DevTools protocol over a WebSocket (libsoup's client): the page loads,
// lists the tracks of the walking people, a click on a control changes the
// simulated TV and the status on the page follows. A screenshot is written
// to the build directory as the test's artifact (the README's picture).
#include <gio/gio.h>
#include <json/json.h>
#include <libsoup/soup.h>
#include <unistd.h>

#include <fstream>
#include <memory>

#include "ServiceTest.h"

namespace {

// One page of the browser: evaluate JavaScript, take a screenshot.
class DevToolsPage {
public:
    ~DevToolsPage() {
        if (m_socket != nullptr) {
            soup_websocket_connection_close(m_socket, SOUP_WEBSOCKET_CLOSE_NORMAL, nullptr);
            g_object_unref(m_socket);
        }
        if (m_session != nullptr) {
            g_object_unref(m_session);
        }
    }

    bool Connect(const std::string& url, std::string* error) {
        m_session = soup_session_new();
        SoupMessage* message = soup_message_new("GET", url.c_str());
        bool done = false;
        struct Ctx {
            DevToolsPage* self;
            bool* done;
            std::string* error;
        } ctx{this, &done, error};
        soup_session_websocket_connect_async(
            m_session, message, nullptr, nullptr, G_PRIORITY_DEFAULT, nullptr,
            [](GObject* source, GAsyncResult* result, gpointer user) {
                auto* c = static_cast<Ctx*>(user);
                GError* gerror = nullptr;
                c->self->m_socket =
                    soup_session_websocket_connect_finish(SOUP_SESSION(source), result, &gerror);
                if (gerror != nullptr) {
                    *c->error = gerror->message;
                    g_error_free(gerror);
                }
                *c->done = true;
            },
            &ctx);
        g_object_unref(message);
        Wait([&] { return done; }, 10000);
        if (m_socket == nullptr) {
            return false;
        }
        soup_websocket_connection_set_max_incoming_payload_size(m_socket, 0);
        g_signal_connect(m_socket, "message", G_CALLBACK(_OnMessage), this);
        return true;
    }

    // Runs a method and returns its "result" (null on an error or time-out).
    Json::Value Call(const std::string& method, const Json::Value& params) {
        Json::Value request(Json::objectValue);
        const int id = ++m_lastId;
        request["id"] = id;
        request["method"] = method;
        request["params"] = params;
        Json::StreamWriterBuilder writer;
        writer["indentation"] = "";
        soup_websocket_connection_send_text(m_socket, Json::writeString(writer, request).c_str());
        Wait([&] { return m_replies.count(id) > 0; }, 20000);
        Json::Value reply = m_replies[id];
        m_replies.erase(id);
        return reply["result"];
    }

    // The value of a JavaScript expression (JSON-able).
    Json::Value Evaluate(const std::string& expression) {
        Json::Value params(Json::objectValue);
        params["expression"] = expression;
        params["returnByValue"] = true;
        return Call("Runtime.evaluate", params)["result"]["value"];
    }

    static void Wait(const std::function<bool()>& done, int timeoutMs) {
        const gint64 deadline = g_get_monotonic_time() + timeoutMs * 1000LL;
        guint guard = g_timeout_add(
            20, [](gpointer) -> gboolean { return G_SOURCE_CONTINUE; }, nullptr);
        while (!done() && g_get_monotonic_time() < deadline) {
            g_main_context_iteration(nullptr, TRUE);
        }
        g_source_remove(guard);
    }

private:
    static void _OnMessage(SoupWebsocketConnection*, gint type, GBytes* bytes, gpointer user) {
        auto* self = static_cast<DevToolsPage*>(user);
        gsize size = 0;
        const char* data = static_cast<const char*>(g_bytes_get_data(bytes, &size));
        Json::Value message;
        Json::CharReaderBuilder builder;
        std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
        if (reader->parse(data, data + size, &message, nullptr) && message["id"].isInt()) {
            self->m_replies[message["id"].asInt()] = message;
        }
    }

    SoupSession* m_session = nullptr;
    SoupWebsocketConnection* m_socket = nullptr;
    int m_lastId = 0;
    std::map<int, Json::Value> m_replies;
};

class ViewerBrowserTest : public ServiceTest {
protected:
    void SetUp() override {
        ServiceTest::SetUp();
        m_env["TESSIVO_TIME_SCALE"] = "50";
        m_profile = m_platformDir + "-chromium";
    }

    std::string m_profile;
};

}  // namespace

TEST_F(ViewerBrowserTest, ThePageDrawsTheTracksAndItsControlsDriveTheTv) {
    Subprocess& service = StartService();
    ASSERT_TRUE(WaitUntilServing(service)) << service.Stderr();
    Subprocess& viewer = StartClient({Bin("tessivo-viewer"), "--listen", "127.0.0.1:0", "--hold"});
    ASSERT_TRUE(viewer.WaitForStdout("/\n", kWaitMs)) << viewer.Stderr();
    const std::string out = viewer.Stdout();
    const std::string page =
        out.substr(out.find("http://"), out.find("/\n") + 1 - out.find("http://"));

    Subprocess& browser = StartClient(
        {"chromium", "--headless", "--no-sandbox", "--disable-gpu", "--disable-quic",
         "--no-first-run", "--disable-background-networking", "--disable-component-update",
         "--disable-sync", "--disable-dev-shm-usage", "--user-data-dir=" + m_profile,
         "--remote-debugging-port=0", "--window-size=1280,900", page});
    // Chromium names its DevTools port in its profile. Its first start on a
    // machine builds its caches and can take far longer than the rest.
    std::string portFile;
    ASSERT_TRUE(PollUntil(3 * kWaitMs, [&] {
        std::ifstream in(m_profile + "/DevToolsActivePort");
        std::getline(in, portFile);
        return !portFile.empty();
    })) << browser.Stderr();
    // The page's own target: its WebSocket address from the target list.
    std::string target;
    ASSERT_TRUE(PollUntil(kWaitMs, [&] {
        CommandResult list = Run({"curl", "-sf", "http://127.0.0.1:" + portFile + "/json/list"});
        Json::Value targets;
        Json::Reader().parse(list.out, targets);
        for (const Json::Value& t : targets) {
            if (t["type"] == "page" && t["url"].asString().rfind(page, 0) == 0) {
                target = t["webSocketDebuggerUrl"].asString();
            }
        }
        return !target.empty();
    }));
    DevToolsPage devtools;
    std::string error;
    ASSERT_TRUE(devtools.Connect(target, &error)) << error;

    // The tracks of the walking people in the page's own list.
    Json::Value rows;
    ASSERT_TRUE(PollUntil(kWaitMs, [&] {
        rows = devtools.Evaluate(
            "[...document.querySelectorAll('#track-list tr')].map(r => r.dataset.trackId)");
        return rows.isArray() && rows.size() >= 1;
    })) << "the page listed no track";
    EXPECT_EQ(devtools.Evaluate("document.getElementById('status-mode').textContent"), "segment");
    EXPECT_EQ(devtools.Evaluate("document.querySelector('.simulated').hidden"), false);
    // Let the trails and the score fill in before the picture.
    DevToolsPage::Wait([] { return false; }, 2000);
    Json::Value shot = devtools.Call("Page.captureScreenshot", Json::Value(Json::objectValue));
    ASSERT_TRUE(shot["data"].isString());
    gsize size = 0;
    guchar* png = g_base64_decode(shot["data"].asString().c_str(), &size);
    const std::string artifact = std::string(TESSIVO_BIN_DIR) + "/../tessivo-viewer.png";
    ASSERT_TRUE(g_file_set_contents(artifact.c_str(), reinterpret_cast<const char*>(png),
                                    static_cast<gssize>(size), nullptr));
    g_free(png);
    EXPECT_GT(size, 10000u) << "a screenshot of a page that shows something";

    // A click on "Streaming app": the simulated TV changes and the page
    // shows the service's new mode and reason.
    devtools.Evaluate("document.getElementById('app-netflix').click()");
    EXPECT_TRUE(PollUntil(kWaitMs, [&] {
        return Platform({"dsf", "get", "R/App/Current"}).out ==
               "{\"AppId\":\"org.tizen.netflix-app\"}\n";
    }));
    Json::Value reason;
    EXPECT_TRUE(PollUntil(kWaitMs, [&] {
        reason = devtools.Evaluate("document.getElementById('status-reason').textContent");
        return reason.asString().rfind("app:", 0) == 0;
    })) << reason;
    EXPECT_EQ(devtools.Evaluate("document.getElementById('status-mode').textContent"), "presence");
    EXPECT_EQ(devtools.Evaluate("document.getElementById('status-streaming').textContent"),
              "not streaming");
}
