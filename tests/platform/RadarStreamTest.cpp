// The simulated radar module's stream: slice pairs at the frame rate on the
// module's thread, start and stop, and the slice faults.
#include <future>

#include "RadarTestSupport.h"
#include "Scene.h"
#include "SceneSynthesizer.h"
#include "SimulatedMotionSensor.h"

using radartest::RadarTest;
using radartest::SliceCollector;
using namespace std::chrono_literals;

namespace {

std::vector<uint8_t> Half(const std::vector<uint8_t>& frame, int half) {
    return std::vector<uint8_t>(frame.begin() + half * radar::kSliceBytes,
                                frame.begin() + (half + 1) * radar::kSliceBytes);
}

class RadarStreamTest : public RadarTest {
protected:
    void SetUp() override {
        RadarTest::SetUp();
        m_recording = WriteRecording("pattern.rec", 20, false);
        SetString(RadarConfig::kSource, "recording");
        SetString(RadarConfig::kRecording, m_recording);
        SetBool(RadarConfig::kLoop, true);
        ASSERT_EQ(m_sensor.motion_register_callback(SliceCollector::Callback), 0);
    }
    void TearDown() override {
        // A test that failed half-way may leave the stream running.
        SliceCollector::Get().Release();
        m_sensor.stop();
        RadarTest::TearDown();
    }

    // Slice i of the test recording (frame i / 2, half i % 2).
    static std::vector<uint8_t> FileSlice(int64_t i) { return Half(PatternFrame(i / 2), i % 2); }

    std::string m_recording;
    SimulatedMotionSensor m_sensor;
};

}  // namespace

TEST_F(RadarTest, SceneFramesArriveAsSlicePairsAtTheFrameRate) {
    std::string scene = WriteScene(
        "one", "{\"name\": \"one\", \"seed\": 9, \"people\": [{\"id\": 1, \"at\": [0.5, 2.0]}]}");
    SetString(RadarConfig::kScene, scene);
    SimulatedMotionSensor sensor;
    Prepare(sensor);
    auto before = std::chrono::steady_clock::now();
    std::vector<radartest::DeliveredSlice> slices = Collect(sensor, 20);
    // Ten frames cannot come sooner than ten frame periods after the start.
    EXPECT_GE(std::chrono::steady_clock::now() - before, 10 * SimulatedMotionSensor::kFramePeriod);

    // Each pair is one synthesised frame, slice 0 first, frames in order.
    radar::Scene parsed;
    std::string error;
    ASSERT_TRUE(radar::LoadScene(scene, &parsed, &error)) << error;
    radar::SceneSynthesizer synthesizer(parsed, 9);
    std::vector<uint16_t> samples(radar::kFrameSamples);
    std::vector<uint8_t> packed(radar::kFrameBytes);
    auto frameBytes = [&](int64_t frame) {
        synthesizer.SynthesizeFrame(frame, samples.data());
        radar::PackFrame(samples.data(), packed.data());
        return packed;
    };
    int64_t first = -1;
    for (int64_t frame = 0; frame < 20 && first < 0; ++frame) {
        if (Half(frameBytes(frame), 0) == slices[0].bytes) {
            first = frame;
        }
    }
    ASSERT_GE(first, 0) << "the first slice is no synthesised frame of the scene";
    for (int64_t k = 0; k < 3; ++k) {
        std::vector<uint8_t> expected = frameBytes(first + k);
        EXPECT_EQ(slices[2 * k].bytes, Half(expected, 0)) << "frame " << k;
        EXPECT_EQ(slices[2 * k + 1].bytes, Half(expected, 1)) << "frame " << k;
    }
}

TEST_F(RadarStreamTest, StartAndStopAreIdempotent) {
    EXPECT_EQ(m_sensor.start(), SimulatedMotionSensor::kErrorNotInitialised);
    ASSERT_EQ(m_sensor.init(), 0);
    EXPECT_EQ(m_sensor.stop(), 0);
    int32_t state = -1;
    ASSERT_EQ(m_sensor.getState(&state), 0);
    EXPECT_EQ(state, 0);

    ASSERT_EQ(m_sensor.start(), 0);
    ASSERT_EQ(m_sensor.start(), 0);
    ASSERT_EQ(m_sensor.getState(&state), 0);
    EXPECT_EQ(state, 1);
    ASSERT_TRUE(SliceCollector::Get().WaitFor(6));
    EXPECT_EQ(m_sensor.stop(), 0);
    EXPECT_EQ(m_sensor.stop(), 0);
    ASSERT_EQ(m_sensor.getState(&state), 0);
    EXPECT_EQ(state, 0);

    // One stream only: the slices follow the recording without repeats.
    std::vector<radartest::DeliveredSlice> slices = SliceCollector::Get().Slices();
    for (size_t i = 0; i < slices.size(); ++i) {
        EXPECT_EQ(slices[i].bytes, FileSlice(static_cast<int64_t>(i))) << "slice " << i;
    }
}

TEST_F(RadarStreamTest, StopWaitsForARunningCallbackAndNoneRunsAfterIt) {
    ASSERT_EQ(m_sensor.init(), 0);
    SliceCollector::Get().HoldNext();
    ASSERT_EQ(m_sensor.start(), 0);
    ASSERT_TRUE(SliceCollector::Get().WaitUntilHeld());

    std::future<int> stopped = std::async(std::launch::async, [this] { return m_sensor.stop(); });
    EXPECT_EQ(stopped.wait_for(300ms), std::future_status::timeout)
        << "stop returned while a callback was still running";
    SliceCollector::Get().Release();
    EXPECT_EQ(stopped.get(), 0);

    EXPECT_EQ(SliceCollector::Get().Inside(), 0);
    size_t delivered = SliceCollector::Get().Count();
    EXPECT_FALSE(SliceCollector::Get().WaitFor(delivered + 1, 350ms))
        << "a slice came after stop returned";
}

TEST_F(RadarStreamTest, NullSliceFaultReplacesEveryNthSlice) {
    SetInt(RadarConfig::kFaultNullSliceEvery, 3);
    ASSERT_EQ(m_sensor.init(), 0);
    std::vector<radartest::DeliveredSlice> slices = Collect(m_sensor, 12);
    for (size_t i = 0; i < slices.size(); ++i) {
        const bool null = (i + 1) % 3 == 0;
        EXPECT_EQ(slices[i].null, null) << "slice " << i;
        EXPECT_EQ(slices[i].bytes, null ? std::vector<uint8_t>() : FileSlice(i)) << "slice " << i;
    }
}

TEST_F(RadarStreamTest, DropSliceFaultLeavesEveryNthSliceOut) {
    SetInt(RadarConfig::kFaultDropSliceEvery, 2);
    ASSERT_EQ(m_sensor.init(), 0);
    // Every second slice is missing: only the first halves arrive.
    std::vector<radartest::DeliveredSlice> slices = Collect(m_sensor, 4);
    for (size_t i = 0; i < slices.size(); ++i) {
        ASSERT_FALSE(slices[i].null);
        EXPECT_EQ(slices[i].bytes, FileSlice(static_cast<int64_t>(2 * i))) << "slice " << i;
    }
}

TEST_F(RadarStreamTest, NoStreamFaultStartsButDeliversNothingUntilItIsLifted) {
    SetBool(RadarConfig::kFaultNoStream, true);
    ASSERT_EQ(m_sensor.init(), 0);
    ASSERT_EQ(m_sensor.start(), 0);
    EXPECT_FALSE(SliceCollector::Get().WaitFor(1, 500ms));

    SetBool(RadarConfig::kFaultNoStream, false);
    EXPECT_TRUE(SliceCollector::Get().WaitFor(2));
    EXPECT_EQ(m_sensor.stop(), 0);
}

TEST_F(RadarStreamTest, ANewCallbackTakesOverAndNullDeliversNothing) {
    ASSERT_EQ(m_sensor.init(), 0);
    ASSERT_EQ(m_sensor.motion_register_callback(nullptr), 0);
    ASSERT_EQ(m_sensor.start(), 0);
    EXPECT_FALSE(SliceCollector::Get().WaitFor(1, 300ms));
    ASSERT_EQ(m_sensor.motion_register_callback(SliceCollector::Callback), 0);
    EXPECT_TRUE(SliceCollector::Get().WaitFor(2));
    EXPECT_EQ(m_sensor.stop(), 0);
}
