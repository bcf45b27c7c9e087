// The segmentation pipeline between a scripted sensor, a recording engine and
// two capturing receivers of its result documents.
#include "ActivitySegment.h"

#include <gtest/gtest.h>
#include <stdlib.h>
#include <string.h>

#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "ContextManualClock.h"
#include "PipelineFakes.h"
#include "RadarFetch.h"

namespace {

// The published document for segments 0,1,0,0,0,0 and one track.
const char kOneTrackDocument[] =
    "{\"result\":[{\"segments\":[{\"num_of_segment\":6,\"segment\":\"0,1,0,0,0,0\"}],"
    "\"tracks\":[{\"angle\":-12.5,\"id\":1.0,\"range\":1.75,\"velocity\":0.25}]}],"
    "\"status\":\"success\"}";

class ActivitySegmentTest : public ::testing::Test {
protected:
    void SetUp() override {
        g_sensor = &m_sensor;
        RadarFetch::Start();  // slice pairing starts from a clean frame
        m_sensor.startCalls = 0;
        g_engine.segments = {0.0f, 1.0f, 0.0f, 0.0f, 0.0f, 0.0f};
        g_engine.tracks = {{0.0f, 9.0f, 9.0f, 9.0f}, {1.0f, 1.75f, -12.5f, 0.25f}};
    }
    void TearDown() override { g_sensor = nullptr; }

    // Builds the pipeline, wired to both receivers, with its log captured.
    void Build() {
        m_log = StderrOf([&] { m_pipeline.reset(new ActivitySegment(&m_dispatcher)); });
        m_pipeline->SetStateManager(&m_stateManager);
    }
    // One frame through RadarFetch, as the sensor library delivers it.
    static void DeliverFrame() {
        std::vector<uint8_t> slice(RadarFetch::kSliceBytes, 0x11);
        RadarFetch::FetchRadarSliceCB(slice.data());
        RadarFetch::FetchRadarSliceCB(slice.data());
    }

    ScriptedSensor m_sensor;
    ScopedRecordingEngine m_engine;
    CapturingSink m_dispatcher;
    CapturingSink m_stateManager;
    std::unique_ptr<ActivitySegment> m_pipeline;  // goes before the sinks
    std::string m_log;
};

TEST_F(ActivitySegmentTest, ConstructionPreparesTheSensorAndPipelineWithoutStreaming) {
    Build();
    const std::string version =
        std::string("Infineon SDK version : ") + ifx_sdk_get_version_string_full();
    const size_t versionAt = m_log.find(version);
    const size_t geometryAt = m_log.find("num antennas:2, num_chirps:64, num samples:128");
    ASSERT_NE(versionAt, std::string::npos) << m_log;
    ASSERT_NE(geometryAt, std::string::npos) << m_log;
    EXPECT_LT(versionAt, geometryAt);
    EXPECT_EQ(m_sensor.initCalls, 1);
    EXPECT_EQ(m_sensor.registered, &RadarFetch::FetchRadarSliceCB);
    EXPECT_EQ(m_sensor.startCalls, 0);
    EXPECT_EQ(g_engine.created, 1);
    EXPECT_EQ(m_pipeline->GetDemoViewerSubscribe(), 0);

    const std::string log = StderrOf([&] {
        m_pipeline->StartSensor();
        m_pipeline->StopSensor();
    });
    EXPECT_EQ(m_sensor.startCalls, 1);
    EXPECT_EQ(m_sensor.stopCalls, 1);
    EXPECT_LT(log.find("sensor started!!"), log.find("sensor stopped!!")) << log;
}

TEST_F(ActivitySegmentTest, EachFrameSendsOneSeparateCopyToEachReceiver) {
    Build();
    DeliverFrame();
    ASSERT_EQ(m_dispatcher.events.size(), 1u);
    ASSERT_EQ(m_stateManager.events.size(), 1u);
    const CapturingSink::Event& toDispatcher = m_dispatcher.events[0];
    const CapturingSink::Event& toStateManager = m_stateManager.events[0];
    EXPECT_EQ(toDispatcher.id, 10);
    EXPECT_EQ(toDispatcher.priority, 10);
    EXPECT_EQ(toStateManager.id, 0);
    EXPECT_EQ(toStateManager.priority, 10);
    EXPECT_NE(toDispatcher.text, toStateManager.text);
    EXPECT_STREQ(toDispatcher.text, kOneTrackDocument);
    EXPECT_STREQ(toStateManager.text, kOneTrackDocument);
    // The frame reached the engine with the raw samples scaled and swapped
    // back by the SDK: 0x111 from the packed bytes 0x11 0x11 0x11.
    ASSERT_EQ(g_engine.frames.size(), 1u);
    EXPECT_EQ(g_engine.frames[0], std::vector<uint16_t>(RadarFetch::kFrameSamples, 0x111));
}

TEST_F(ActivitySegmentTest, CopiesThatNoReceiverTakesAreReleased) {
    // Leaks would show in the sanitizer build.
    Build();
    m_pipeline->SetStateManager(nullptr);
    DeliverFrame();
    EXPECT_EQ(m_dispatcher.events.size(), 1u);
    m_dispatcher.refuse = true;
    m_pipeline->SetStateManager(&m_stateManager);
    m_stateManager.refuse = true;
    DeliverFrame();
    EXPECT_EQ(m_dispatcher.events.size(), 1u);
    EXPECT_TRUE(m_stateManager.events.empty());
    EXPECT_EQ(g_engine.frames.size(), 2u);
}

TEST_F(ActivitySegmentTest, NullContainersRecordAnErrorAndPublishNothing) {
    Build();
    ifx_Vector_R_t* segments = ifx_vec_create_r(6);
    ifx_Matrix_R_t* tracks = ifx_mat_create_r(10, 4);
    const struct {
        ifx_Vector_R_t* segments;
        ifx_Matrix_R_t* tracks;
    } cases[] = {{nullptr, tracks}, {segments, nullptr}, {nullptr, nullptr}};
    for (const auto& c : cases) {
        ifx_error_set(IFX_OK);
        ActivitySegment::PublishResult(c.segments, c.tracks);
        EXPECT_EQ(ifx_error_get(), 0x10001);
        ifx_error_set(IFX_OK);
        ActivitySegment::PrintResult(c.segments, c.tracks);
        EXPECT_EQ(ifx_error_get(), 0x10001);
    }
    EXPECT_TRUE(m_dispatcher.events.empty());
    EXPECT_TRUE(m_stateManager.events.empty());

    vAt(segments, 0) = 1.9f;
    vAt(segments, 1) = -1.9f;
    mAt(tracks, 3, 0) = 2.0f;
    mAt(tracks, 3, 1) = 1.75f;
    mAt(tracks, 3, 2) = -12.5f;
    mAt(tracks, 3, 3) = 0.25f;
    const std::string log = StderrOf([&] { ActivitySegment::PrintResult(segments, tracks); });
    EXPECT_NE(log.find("segments : 1, -1, 0, 0, 0, 0"), std::string::npos) << log;
    EXPECT_NE(log.find("tracks : 2,  1.75, -12.50,  0.25"), std::string::npos) << log;
    EXPECT_EQ(CountOf(log, "tracks : "), 1u);
    ifx_mat_destroy_r(tracks);
    ifx_vec_destroy_r(segments);
}

TEST_F(ActivitySegmentTest, AFailedRunIsLoggedOnceAndOnlyThatFrameIsDropped) {
    Build();
    g_engine.refuseFrames = true;
    const std::string log = StderrOf([] { DeliverFrame(); });
    const std::string line =
        std::string("Error: ") + ifx_error_to_string(IFX_ERROR_ARGUMENT_INVALID) + " (65538) ";
    EXPECT_EQ(CountOf(log, line), 1u) << log;
    EXPECT_EQ(CountOf(log, "Error: "), 1u) << log;
    EXPECT_TRUE(m_dispatcher.events.empty());
    EXPECT_TRUE(m_stateManager.events.empty());

    g_engine.refuseFrames = false;
    DeliverFrame();
    EXPECT_EQ(m_dispatcher.events.size(), 1u);
    EXPECT_EQ(m_stateManager.events.size(), 1u);
}

TEST_F(ActivitySegmentTest, APipelineWithoutHandleDropsEveryFrameAndIsDestroyedCleanly) {
    g_engine.refuseCreate = true;
    Build();
    const std::string log = StderrOf([] {
        DeliverFrame();
        DeliverFrame();
    });
    EXPECT_EQ(CountOf(log, "Error: "), 2u) << log;
    EXPECT_TRUE(m_dispatcher.events.empty());
    m_pipeline.reset();
    // No pipeline any more: frames are dropped by RadarFetch itself.
    EXPECT_EQ(StderrOf([] { DeliverFrame(); }), "");
}

TEST_F(ActivitySegmentTest, TheAlternativeSliceCallbackPairsOnItsOwn) {
    Build();
    std::vector<uint8_t> slice(RadarFetch::kSliceBytes, 0x22);
    RadarFetch::FetchRadarSliceCB(slice.data());  // RadarFetch holds half a frame
    EXPECT_NE(
        StderrOf([] { ActivitySegment::FetchRadarSliceCB(nullptr); }).find("slice data is null"),
        std::string::npos);
    ActivitySegment::FetchRadarSliceCB(slice.data());
    EXPECT_TRUE(m_dispatcher.events.empty());
    ActivitySegment::FetchRadarSliceCB(slice.data());
    EXPECT_EQ(m_dispatcher.events.size(), 1u);
    ASSERT_EQ(g_engine.frames.size(), 1u);
    EXPECT_EQ(g_engine.frames[0][1], 0x222);
}

TEST(ActivitySegmentFrames, RawSamplesAreScaledAndTheReceiversSwappedInTheCube) {
    segmentation_t seg;
    memset(&seg, 0xA5, sizeof(seg));
    ASSERT_EQ(ActivitySegment::InitSegment(&seg), 0);
    EXPECT_EQ(seg.cube, nullptr);
    ASSERT_EQ(ActivitySegment::ConfigSegment(&seg, &kDefaultDeviceConfig), IFX_OK);
    ifx_Frame_R_t* frame = ifx_frame_create_r(2, 64, 128);
    ASSERT_NE(frame, nullptr);

    std::vector<unsigned short> raw(RadarFetch::kFrameSamples);
    for (size_t i = 0; i < raw.size(); ++i) {
        raw[i] = static_cast<unsigned short>(i % 4096);
    }
    raw[0] = 4095;  // antenna 0, chirp 0, sample 0
    raw[1] = 0;     // antenna 1
    ActivitySegment::GetNextFrame(raw.data(), &seg, frame);
    ASSERT_EQ(ifx_error_get(), IFX_OK);
    EXPECT_EQ(cAt(seg.cube, 0, 0, 1), 1.0f);
    EXPECT_EQ(cAt(seg.cube, 0, 0, 0), 0.0f);
    // Chirp 3, sample 5: raw elements 2 * (3 * 128 + 5) and the one after.
    EXPECT_EQ(cAt(seg.cube, 3, 5, 1), 778.0f / 4095.0f);
    EXPECT_EQ(cAt(seg.cube, 3, 5, 0), 779.0f / 4095.0f);

    // The frame's own matrices keep the receivers in order.
    ActivitySegment::GetNextFrame(raw.data(), frame);
    ASSERT_EQ(ifx_error_get(), IFX_OK);
    EXPECT_EQ(mAt(frame->rx_data[0], 0, 0), 1.0f);
    EXPECT_EQ(mAt(frame->rx_data[1], 3, 5), 779.0f / 4095.0f);

    // A frame of another geometry fills nothing.
    ifx_Frame_R_t* other = ifx_frame_create_r(3, 64, 128);
    ASSERT_NE(other, nullptr);
    raw[0] = 7;
    ActivitySegment::GetNextFrame(raw.data(), &seg, other);
    EXPECT_EQ(ifx_error_get(), IFX_ERROR_DIMENSION_MISMATCH);
    ActivitySegment::GetNextFrame(raw.data(), other);
    EXPECT_EQ(ifx_error_get(), IFX_ERROR_DIMENSION_MISMATCH);
    EXPECT_EQ(cAt(seg.cube, 0, 0, 1), 1.0f);
    EXPECT_EQ(mAt(other->rx_data[0], 0, 0), 0.0f);

    ActivitySegment::CleanupSegment(&seg);
    EXPECT_EQ(ActivitySegment::ProcessSegment(&seg, frame), IFX_ERROR_ARGUMENT_NULL);
    ifx_frame_destroy_r(other);
    ifx_frame_destroy_r(frame);
}

TEST_F(ActivitySegmentTest, ReadServesTheLatestPresenceResult) {
    Build();
    const char* kPresence = "KAE/GET/PRESENCE/";
    const char* kDistance = "KAE/GET/PRESENCE_DISTANCE/";
    const struct {
        bool set;
        int detection;
        double distance;
        const char* subject;
        int status;
        const char* answer;  // null: the caller's pointer stays as it was
    } cases[] = {
        {false, 0, 0, kPresence, 0, "-1"},
        {true, 1, 1.284, kPresence, 0, "1"},
        {false, 0, 0, kDistance, 0, "{\"detection\":1,\"distance\":\"1.28\"}"},
        {false, 0, 0, "KAE/GET/SOMETHING/", -1, nullptr},
        {true, 0, 12.345, kDistance, 0, "{\"detection\":0,\"distance\":\"12.35\"}"},
        {true, -4, 2.0, kPresence, -4, nullptr},
        {false, 0, 0, kDistance, -4, nullptr},
        {false, 0, 0, "KAE/GET/SOMETHING/", -4, nullptr},
        {false, 0, 0, nullptr, -4, nullptr},
    };
    char sentinel[] = "untouched";
    for (const auto& c : cases) {
        SCOPED_TRACE(c.subject != nullptr ? c.subject : "(null)");
        if (c.set) {
            m_pipeline->SetPresenceResult(c.detection, c.distance);
        }
        char* out = sentinel;
        std::string log;
        log = StderrOf([&] { EXPECT_EQ(m_pipeline->Read(c.subject, "ignored", &out), c.status); });
        if (c.answer == nullptr) {
            EXPECT_EQ(out, sentinel);
            continue;
        }
        ASSERT_NE(out, sentinel);
        EXPECT_STREQ(out, c.answer);
        EXPECT_NE(log.find(c.answer), std::string::npos) << log;
        free(out);
    }
    std::string log = StderrOf([&] { m_pipeline->Read(nullptr, nullptr, nullptr); });
    EXPECT_NE(log.find("subject is null"), std::string::npos);
}

TEST_F(ActivitySegmentTest, SensorFrontForwardsToTheModule) {
    Build();
    m_sensor.report[4] = 1;
    m_sensor.report[5] = 4;
    int presence = -9;
    double distance = -9;
    EXPECT_EQ(m_pipeline->ReadPresence(&presence, &distance), 1);
    EXPECT_EQ(presence, 1);
    EXPECT_DOUBLE_EQ(distance, 1.28);
    m_sensor.presenceStatus = -1;
    EXPECT_EQ(m_pipeline->ReadPresence(&presence, &distance), 0);
    m_sensor.spiResult = 3;
    EXPECT_EQ(m_pipeline->SpiValidationCheck(), 3);
    m_pipeline->InitSensor();
    EXPECT_EQ(m_sensor.initCalls, 2);
}

TEST_F(ActivitySegmentTest, PresenceAndSubscriptionFlagAreSharedAcrossThreads) {
    Build();
    std::thread writer([&] {
        for (int i = 0; i < 500; ++i) {
            m_pipeline->SetPresenceResult(i % 2, 0.5);
            m_pipeline->SetDemoViewerSubscribe(1);
        }
    });
    for (int i = 0; i < 500; ++i) {
        char* out = nullptr;
        ASSERT_EQ(m_pipeline->Read("KAE/GET/PRESENCE_DISTANCE/", nullptr, &out), 0);
        const std::string answer = out;
        free(out);
        EXPECT_TRUE(answer == "null" || answer.find("\"distance\":\"0.50\"") != std::string::npos)
            << answer;
        const int flag = m_pipeline->GetDemoViewerSubscribe();
        EXPECT_TRUE(flag == 0 || flag == 1);
    }
    writer.join();
    EXPECT_EQ(m_pipeline->GetDemoViewerSubscribe(), 1);
}

TEST_F(ActivitySegmentTest, TheIdleThreadEndsWithinOneSleepStep) {
    ContextManualClock clock;
    ContextClock::SetSource(&clock);
    Build();
    EXPECT_TRUE(m_pipeline->Start());
    ASSERT_TRUE(clock.WaitForSleepers(1));
    clock.AdvanceSeconds(2);  // a full period: it keeps idling
    ASSERT_TRUE(clock.WaitForSleepers(1));

    std::mutex mutex;
    std::condition_variable stopped;
    bool done = false;
    std::thread stopper([&] {
        EXPECT_TRUE(m_pipeline->Stop());
        std::lock_guard<std::mutex> lock(mutex);
        done = true;
        stopped.notify_all();
    });
    // Stop clears the flag at once; the sleeper then needs less than a
    // period to notice.
    int64_t advancedUs = 0;
    {
        std::unique_lock<std::mutex> lock(mutex);
        while (!done && advancedUs < 2000000) {
            lock.unlock();
            clock.Advance(100000);
            advancedUs += 100000;
            lock.lock();
            stopped.wait_for(lock, std::chrono::milliseconds(50), [&] { return done; });
        }
    }
    if (!done) {
        clock.Release();
    }
    stopper.join();
    EXPECT_LT(advancedUs, 2000000);
    EXPECT_FALSE(m_pipeline->IsRunning());
    EXPECT_TRUE(m_pipeline->Stop());  // stopping twice still succeeds
    ContextClock::SetSource(nullptr);
}

}  // namespace
