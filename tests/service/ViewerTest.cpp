// tessivo-viewer against the real kae-service on a private system bus: its
// event stream (read with curl, a client that is not ours) carries the
// service's status, presence and, while the viewer holds segment mode, the
// tracks of the simulated people with their truth; its control endpoints
// change the simulated TV and the service follows; bad requests are refused
// with a reason.
#include <json/json.h>

#include "ServiceTest.h"

namespace {

class ViewerTest : public ServiceTest {
protected:
    void SetUp() override {
        ServiceTest::SetUp();
        // The boot period (300 s of service time) passes in 6 s.
        m_env["TESSIVO_TIME_SCALE"] = "50";
    }

    // Starts the viewer on a free port and returns its page's address.
    std::string StartViewer() {
        Subprocess& viewer = StartClient({Bin("tessivo-viewer"), "--listen", "127.0.0.1:0"});
        if (!viewer.WaitForStdout("/\n", kWaitMs)) {
            return "";
        }
        const std::string out = viewer.Stdout();
        const size_t start = out.find("http://");
        return out.substr(start, out.find('\n', start) - start);
    }

    CommandResult Post(const std::string& url, const std::string& body,
                       const std::string& type = "application/json") {
        return Run({"curl", "-s", "-w", "\n%{http_code}", "-X", "POST", "-H",
                    "Content-Type: " + type, "--data-binary", body, url});
    }

    // The events of one name seen so far on a stream, parsed.
    static std::vector<Json::Value> Events(const std::string& stream, const std::string& name) {
        std::vector<Json::Value> events;
        const std::string head = "event: " + name + "\ndata: ";
        for (size_t at = stream.find(head); at != std::string::npos;
             at = stream.find(head, at + 1)) {
            const size_t start = at + head.size();
            const size_t end = stream.find('\n', start);
            if (end == std::string::npos) {
                break;  // still arriving
            }
            Json::Value value;
            Json::Reader().parse(stream.substr(start, end - start), value);
            events.push_back(value);
        }
        return events;
    }
};

}  // namespace

TEST_F(ViewerTest, TheStreamCarriesTheServiceAndTheTracksWhileTheViewerHoldsSegmentMode) {
    Subprocess& service = StartService();
    ASSERT_TRUE(WaitUntilServing(service)) << service.Stderr();
    const std::string page = StartViewer();
    ASSERT_FALSE(page.empty());
    Subprocess& stream = StartClient({"curl", "-sN", page + "events"});

    // A new page learns everything at once: the service, the simulated TV.
    ASSERT_TRUE(stream.WaitForStdout("event: tv\n", kWaitMs)) << stream.Stderr();
    ASSERT_TRUE(stream.WaitForStdout("event: presence\n", kWaitMs));
    const std::vector<Json::Value> services = Events(stream.Stdout(), "service");
    ASSERT_FALSE(services.empty());
    EXPECT_EQ(services.front()["status"]["Shape"], "full");
    EXPECT_EQ(Events(stream.Stdout(), "simulated").front()["present"], true);
    EXPECT_EQ(Events(stream.Stdout(), "tv").front()["app"], "tv-viewer");
    EXPECT_EQ(CountOccurrences(stream.Stdout(), "event: result\n"), 0)
        << "no tracks before the viewer holds segment mode";

    // The switch subscribes; the service goes to segment mode and the
    // tracks of the walking people come, next to their truth.
    CommandResult hold = Post(page + "api/hold", "{\"on\":true}");
    ASSERT_EQ(hold.exitCode, 0) << hold.err;
    EXPECT_NE(hold.out.find("\"subscribed\":true"), std::string::npos) << hold.out;
    ASSERT_TRUE(PollUntil(kWaitMs, [&] {
        for (const Json::Value& result : Events(stream.Stdout(), "result")) {
            if (!result["tracks"].empty()) {
                return true;
            }
        }
        return false;
    })) << stream.Stdout().substr(0, 4000);
    ASSERT_TRUE(stream.WaitForStdout("\"Mode\":\"segment\"", kWaitMs));
    const std::vector<Json::Value> truths = Events(stream.Stdout(), "truth");
    ASSERT_FALSE(truths.empty());
    EXPECT_EQ(truths.back()["truth"], true);
    EXPECT_FALSE(truths.back()["people"].empty());
    ASSERT_TRUE(stream.WaitForStdout("event: score\n", kWaitMs));

    // A control of the simulated TV: a streaming app in front takes the
    // service back to presence mode, and the stream says why.
    CommandResult app = Post(page + "api/tv", "{\"control\":\"app\",\"value\":\"netflix\"}");
    ASSERT_EQ(app.exitCode, 0);
    EXPECT_NE(app.out.find("\"app\":\"netflix\""), std::string::npos) << app.out;
    EXPECT_TRUE(stream.WaitForStdout("\"Reason\":\"app\"", kWaitMs)) << service.Stderr();
    EXPECT_EQ(Platform({"dsf", "get", "R/App/Current"}).out,
              "{\"AppId\":\"org.tizen.netflix-app\"}\n");

    // Letting go unsubscribes: the service counts nobody.
    ASSERT_EQ(Post(page + "api/hold", "{\"on\":false}").exitCode, 0);
    EXPECT_TRUE(PollUntil(kWaitMs, [&] { return StatusProperties()["Subscribers"] == 0; }));
}

TEST_F(ViewerTest, BadRequestsAreRefusedWithAReasonAndTheViewerGoesOn) {
    Subprocess& service = StartService();
    ASSERT_TRUE(WaitUntilServing(service)) << service.Stderr();
    const std::string page = StartViewer();
    ASSERT_FALSE(page.empty());

    struct Case {
        std::string path;
        std::string body;
        std::string type;
        std::string status;
        std::string reason;
    };
    const std::vector<Case> cases = {
        {"api/tv", "{\"control\":\"app\",\"value\":\"bogus\"}", "application/json", "400",
         "is not one of"},
        {"api/tv", "{\"control\":\"volume\",\"value\":\"11\"}", "application/json", "400",
         "unknown control"},
        {"api/tv", "{\"control\":\"scene\",\"value\":\"../../etc/passwd\"}", "application/json",
         "400", "no shipped scene"},
        {"api/tv", "{\"control\":\"country\",\"value\":\"usa\"}", "application/json", "400",
         "two capital letters"},
        {"api/tv", "{\"control\":\"fault\",\"value\":\"init maybe\"}", "application/json", "400",
         "is not"},
        {"api/tv", "{\"control\":\"recording\",\"value\":\"/nonexistent.rec\"}", "application/json",
         "400", "cannot replay"},
        {"api/tv", "{\"control\":1}", "application/json", "400", "needs"},
        {"api/tv", "[1,2", "application/json", "400", "not a JSON object"},
        {"api/tv", "{\"control\":\"app\",\"value\":\"netflix\"}", "text/plain", "415",
         "application/json"},
        {"api/hold", "{\"on\":\"yes\"}", "application/json", "400", "needs"},
        {"api/nothing", "{}", "application/json", "404", "no POST"},
        {"api/tv", std::string(20000, ' '), "application/json", "413", "too large"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.path + " " + c.body.substr(0, 60));
        CommandResult reply = Post(page + c.path, c.body, c.type);
        ASSERT_EQ(reply.exitCode, 0) << reply.err;
        const size_t split = reply.out.rfind('\n');
        EXPECT_EQ(reply.out.substr(split + 1), c.status);
        EXPECT_NE(reply.out.find(c.reason), std::string::npos) << reply.out;
    }
    // Nothing was changed, and the viewer still serves.
    EXPECT_EQ(Platform({"dsf", "get", "R/App/Current"}).out,
              "{\"AppId\":\"org.tizen.tv-viewer\"}\n");
    EXPECT_EQ(Platform({"vconf", "get", "db/comss/countrycode"}).out, "US\n");
    CommandResult state = Run({"curl", "-sf", page + "api/state"});
    EXPECT_EQ(state.exitCode, 0);
    EXPECT_NE(state.out.find("\"Shape\":\"full\""), std::string::npos) << state.out;
}
