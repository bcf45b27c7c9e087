// The simulated TV's data service: reads answered from stored JSON, now or
// later on the main context, and published events that reach the
// subscribers of every process.
#include <DSF.h>
#include <stdlib.h>

#include <string>
#include <vector>

#include "DsfStore.h"
#include "MainContextSupport.h"
#include "PlatformStore.h"

using maincontext::PlatformDirTest;
using maincontext::RunTool;
using maincontext::RunUntil;

namespace {

struct Delivery {
    int result;
    std::string subject;
    std::string data;
    void* user;
};

// Every callback of a test, in order (they all run on the test's thread).
std::vector<Delivery> g_deliveries;

void Collect(int result, const char* subject, char* data, void* user) {
    g_deliveries.push_back(
        {result, subject != nullptr ? subject : "(null)", data != nullptr ? data : "(null)", user});
}

std::vector<std::string> DataOf(const std::string& subject) {
    std::vector<std::string> data;
    for (const Delivery& d : g_deliveries) {
        if (d.subject == subject) {
            data.push_back(d.data);
        }
    }
    return data;
}

class DsfTest : public PlatformDirTest {
protected:
    void SetUp() override {
        PlatformDirTest::SetUp();
        g_deliveries.clear();
    }

    void Answer(const char* subject, const char* argument, const std::string& json) {
        ASSERT_EQ(DsfStore::SetAnswer(subject, argument, json), 0) << subject;
    }

    // Publishes on the sentinel subject (subscribed by the test) and runs the
    // main context until it arrives: earlier events have been handled then.
    void Flush() {
        size_t before = DataOf(kSentinel).size();
        ASSERT_EQ(DsfStore::Publish(kSentinel, "{}"), 0);
        ASSERT_TRUE(RunUntil([&] { return DataOf(kSentinel).size() > before; }));
    }

    static constexpr const char* kSentinel = "P/Test/Sentinel";
};

}  // namespace

TEST_F(DsfTest, SyncReadsAnswerTheArgumentsOwnAnswerElseTheSubjects) {
    const char* subject = "R/Source/Hdmi/PortStatus";
    const char* port1 = "db/device-detector-service/port1_change_flag";
    Answer(subject, nullptr, R"({"all":1})");
    Answer(subject, port1, R"({"Port":"HDMI1"})");

    char* out = nullptr;
    ASSERT_EQ(DSF_Read_Sync(subject, port1, &out), DSF_OK);
    EXPECT_STREQ(out, R"({"Port":"HDMI1"})");
    free(out);
    ASSERT_EQ(DSF_Read_Sync(subject, "db/device-detector-service/port2_change_flag", &out), DSF_OK);
    EXPECT_STREQ(out, R"({"all":1})");
    free(out);
    ASSERT_EQ(DSF_Read_Sync(subject, nullptr, &out), DSF_OK);
    EXPECT_STREQ(out, R"({"all":1})");
    free(out);
    // Arguments are any text, none of it a way out of the store.
    ASSERT_EQ(DSF_Read_Sync(subject, "../../../etc/passwd #%", &out), DSF_OK);
    EXPECT_STREQ(out, R"({"all":1})");
    free(out);

    out = reinterpret_cast<char*>(&out);
    EXPECT_EQ(DSF_Read_Sync("R/Never/Set", port1, &out), DSF_ERROR_NO_DATA);
    EXPECT_EQ(out, nullptr);
    EXPECT_EQ(DSF_Read_Sync(nullptr, nullptr, &out), DSF_ERROR_INVALID_PARAMETER);
    EXPECT_EQ(DSF_Read_Sync("../escape", nullptr, &out), DSF_ERROR_INVALID_PARAMETER);
    EXPECT_EQ(DSF_Read_Sync(subject, nullptr, nullptr), DSF_ERROR_INVALID_PARAMETER);

    ASSERT_EQ(PlatformStore::Write("dsf", "read/R/Typed", {PlatformStore::Type::Int, "1"}), 0);
    EXPECT_EQ(DSF_Read_Sync("R/Typed", nullptr, &out), DSF_ERROR_IO);
    EXPECT_EQ(out, nullptr);

    ASSERT_EQ(DsfStore::RemoveAnswer(subject, port1), 0);
    ASSERT_EQ(DSF_Read_Sync(subject, port1, &out), DSF_OK);
    EXPECT_STREQ(out, R"({"all":1})");
    free(out);
}

namespace {

// Reads again from inside an answer: that answer comes later too.
void ReadAgain(int result, const char* subject, char* data, void* user) {
    Collect(result, subject, data, user);
    size_t before = g_deliveries.size();
    EXPECT_EQ(DSF_Read_Async("R/Time/Valid", nullptr, Collect, nullptr), DSF_OK);
    EXPECT_EQ(g_deliveries.size(), before);
}

}  // namespace

TEST_F(DsfTest, AsyncReadsAreAnsweredLaterOnTheMainContextInOrder) {
    Answer("R/App/Current", nullptr, R"({"AppId":"org.tizen.tv-viewer"})");
    Answer("R/Time/Valid", nullptr, R"({"valid":1})");
    int user = 0;
    ASSERT_EQ(DSF_Read_Async("R/App/Current", nullptr, Collect, &user), DSF_OK);
    ASSERT_EQ(DSF_Read_Async("R/Power/Reset", nullptr, Collect, &user), DSF_OK);
    ASSERT_EQ(DSF_Read_Async("R/Time/Valid", "any", ReadAgain, &user), DSF_OK);
    EXPECT_TRUE(g_deliveries.empty()) << "never inside the call";
    EXPECT_EQ(DSF_Read_Async(nullptr, nullptr, Collect, nullptr), DSF_ERROR_INVALID_PARAMETER);
    EXPECT_EQ(DSF_Read_Async("R/App/Current", nullptr, nullptr, nullptr),
              DSF_ERROR_INVALID_PARAMETER);

    ASSERT_TRUE(RunUntil([] { return g_deliveries.size() >= 4; }));
    ASSERT_EQ(g_deliveries.size(), 4u);
    EXPECT_EQ(g_deliveries[0].result, DSF_OK);
    EXPECT_EQ(g_deliveries[0].subject, "R/App/Current");
    EXPECT_EQ(g_deliveries[0].data, R"({"AppId":"org.tizen.tv-viewer"})");
    EXPECT_EQ(g_deliveries[0].user, &user);
    EXPECT_EQ(g_deliveries[1].result, DSF_ERROR_NO_DATA);
    EXPECT_EQ(g_deliveries[1].subject, "R/Power/Reset");
    EXPECT_EQ(g_deliveries[1].data, "{}");
    EXPECT_EQ(g_deliveries[2].data, R"({"valid":1})");
    EXPECT_EQ(g_deliveries[3].subject, "R/Time/Valid");
    EXPECT_EQ(g_deliveries[3].user, nullptr);
}

TEST_F(DsfTest, EventsOfAnotherProcessReachTheSubscriberOnceInOrder) {
    // Published before anyone here subscribed, and before this subject was
    // (while the process follows the events already): not delivered.
    ASSERT_EQ(RunTool({"dsf", "publish", "P/App/Change", R"({"AppId":"early"})"}).exitCode, 0);
    ASSERT_EQ(DSF_Subscribe(kSentinel, Collect, nullptr), DSF_OK);
    ASSERT_EQ(DsfStore::Publish("P/App/Change", R"({"AppId":"not yet"})"), 0);
    int user = 0;
    ASSERT_EQ(DSF_Subscribe("P/App/Change", Collect, &user), DSF_OK);
    ASSERT_EQ(DSF_Subscribe("P/Time/Valid", Collect, nullptr), DSF_OK);

    const std::vector<std::string> events = {
        R"({"EventType":"Launch","AppId":"org.tizen.netflix-app"})",
        R"({"EventType":"Partial","AppId":"org.tizen.kiv-app"})",
        R"({"EventType":"Launch","AppId":"org.tizen.tv-viewer","Note":"tab\there"})"};
    for (const std::string& event : events) {
        ASSERT_EQ(RunTool({"dsf", "publish", "P/App/Change", event}).exitCode, 0);
    }
    ASSERT_EQ(RunTool({"dsf", "publish", "P/Other/Subject", "{}"}).exitCode, 0);
    Flush();
    EXPECT_EQ(DataOf("P/App/Change"), events);
    EXPECT_TRUE(DataOf("P/Time/Valid").empty());
    EXPECT_TRUE(DataOf("P/Other/Subject").empty());
    for (const Delivery& d : g_deliveries) {
        EXPECT_EQ(d.result, DSF_OK);
        if (d.subject == "P/App/Change") {
            EXPECT_EQ(d.user, &user);
        }
    }

    for (const char* subject : {"P/App/Change", "P/Time/Valid", kSentinel}) {
        EXPECT_EQ(DSF_UnSubscribe(subject), DSF_OK) << subject;
    }
}

namespace {

void UnsubscribeSelf(int result, const char* subject, char* data, void* user) {
    Collect(result, subject, data, user);
    EXPECT_EQ(DSF_UnSubscribe(subject), DSF_OK);
    EXPECT_EQ(DSF_Subscribe("P/Source/Status", Collect, nullptr), DSF_OK);
}

}  // namespace

TEST_F(DsfTest, UnsubscribingStopsDeliveryEvenOfEventsAlreadyPublished) {
    ASSERT_EQ(DSF_Subscribe(kSentinel, Collect, nullptr), DSF_OK);
    ASSERT_EQ(DSF_Subscribe("P/Time/Valid", Collect, nullptr), DSF_OK);
    ASSERT_EQ(DsfStore::Publish("P/Time/Valid", R"({"valid":0})"), 0);
    ASSERT_EQ(DSF_UnSubscribe("P/Time/Valid"), DSF_OK);
    Flush();
    EXPECT_TRUE(DataOf("P/Time/Valid").empty());
    EXPECT_EQ(DSF_UnSubscribe("P/Time/Valid"), DSF_ERROR_NOT_SUBSCRIBED);
    EXPECT_EQ(DSF_UnSubscribe(nullptr), DSF_ERROR_INVALID_PARAMETER);
    EXPECT_EQ(DSF_Subscribe("P/Time/Valid", nullptr, nullptr), DSF_ERROR_INVALID_PARAMETER);
    EXPECT_EQ(DSF_Subscribe("bad subject", Collect, nullptr), DSF_ERROR_INVALID_PARAMETER);

    // Subscribing again replaces the callback; a callback may unsubscribe
    // itself and subscribe to something else.
    ASSERT_EQ(DSF_Subscribe("P/Policy/ViewingPolicy", Collect, nullptr), DSF_OK);
    ASSERT_EQ(DSF_Subscribe("P/Policy/ViewingPolicy", UnsubscribeSelf, nullptr), DSF_OK);
    ASSERT_EQ(DsfStore::Publish("P/Policy/ViewingPolicy", R"({"state":1})"), 0);
    ASSERT_EQ(DsfStore::Publish("P/Policy/ViewingPolicy", R"({"state":0})"), 0);
    Flush();
    EXPECT_EQ(DataOf("P/Policy/ViewingPolicy"), (std::vector<std::string>{R"({"state":1})"}));
    ASSERT_EQ(DsfStore::Publish("P/Source/Status", R"({"HDMI2":[]})"), 0);
    Flush();
    EXPECT_EQ(DataOf("P/Source/Status"), (std::vector<std::string>{R"({"HDMI2":[]})"}));

    EXPECT_EQ(DSF_UnSubscribe("P/Source/Status"), DSF_OK);
    EXPECT_EQ(DSF_UnSubscribe(kSentinel), DSF_OK);
}
