// Recordings through the simulated radar module: replayed bit for bit, once
// or looping, with presence from their truth; and what the module delivers,
// recorded.
#include "RadarTestSupport.h"
#include "SimulatedMotionSensor.h"

using radartest::DeliveredSlice;
using radartest::RadarTest;
using radartest::SliceCollector;
using namespace std::chrono_literals;

namespace {

std::vector<uint8_t> Concatenated(const std::vector<DeliveredSlice>& slices) {
    std::vector<uint8_t> all;
    for (const DeliveredSlice& slice : slices) {
        EXPECT_FALSE(slice.null);
        all.insert(all.end(), slice.bytes.begin(), slice.bytes.end());
    }
    return all;
}

std::vector<uint8_t> FileSlice(const std::vector<uint8_t>& file, size_t i) {
    return std::vector<uint8_t>(file.begin() + i * radar::kSliceBytes,
                                file.begin() + (i + 1) * radar::kSliceBytes);
}

int Detection(IMotionSensor& sensor, int* distanceSteps = nullptr) {
    uint8_t report[12] = {};
    int32_t length = 12;
    if (sensor.getPresenceReport(1, report, &length) != 0) {
        return -1;
    }
    if (distanceSteps != nullptr) {
        *distanceSteps = report[5];
    }
    return report[4];
}

class RadarReplayTest : public RadarTest {
protected:
    void Replay(const std::string& path, bool loop) {
        SetString(RadarConfig::kSource, "recording");
        SetString(RadarConfig::kRecording, path);
        SetBool(RadarConfig::kLoop, loop);
    }
};

}  // namespace

TEST_F(RadarReplayTest, RecordingReplaysBitForBitAndStopsAtItsEnd) {
    std::string path = WriteRecording("four.rec", 4, true);
    std::vector<uint8_t> file = ReadFile(path);
    Replay(path, false);
    SimulatedMotionSensor sensor;
    Prepare(sensor);
    int steps = 0;
    EXPECT_EQ(Detection(sensor, &steps), 1) << "the truth has somebody 2 m away";
    EXPECT_EQ(steps, 6);

    ASSERT_EQ(sensor.start(), 0);
    ASSERT_TRUE(SliceCollector::Get().WaitFor(8));
    EXPECT_FALSE(SliceCollector::Get().WaitFor(9, 500ms)) << "slices after the last frame";
    int32_t state = -1;
    ASSERT_EQ(sensor.getState(&state), 0);
    EXPECT_EQ(state, 0);
    EXPECT_EQ(Concatenated(SliceCollector::Get().Slices()), file);
    EXPECT_EQ(Detection(sensor), 0) << "past the end of the recording nobody is there";
    ASSERT_EQ(sensor.stop(), 0);

    // The next start replays it from its first frame again.
    std::vector<DeliveredSlice> again = Collect(sensor, 2);
    EXPECT_EQ(again[0].bytes, FileSlice(file, 0));
    EXPECT_EQ(again[1].bytes, FileSlice(file, 1));
}

TEST_F(RadarReplayTest, LoopingRecordingStartsOverAndWithoutTruthNobodyIsThere) {
    std::string path = WriteRecording("three.rec", 3, false);
    std::vector<uint8_t> file = ReadFile(path);
    Replay(path, true);
    SimulatedMotionSensor sensor;
    Prepare(sensor);
    EXPECT_EQ(Detection(sensor), 0);
    std::vector<DeliveredSlice> slices = Collect(sensor, 14);
    for (size_t i = 0; i < slices.size(); ++i) {
        EXPECT_EQ(slices[i].bytes, FileSlice(file, i % 6)) << "slice " << i;
    }
}

TEST_F(RadarReplayTest, RecordingSwitchWritesExactlyWhatWasDeliveredAndItReplays) {
    SetString(RadarConfig::kScene, WriteScene("person",
                                              "{\"name\": \"person\", \"people\": [{\"id\": 3, "
                                              "\"at\": [0.5, 2.0]}]}"));
    std::string recorded = m_dir + "/recorded.rec";
    SetString(RadarConfig::kRecord, recorded);
    SimulatedMotionSensor sensor;
    Prepare(sensor);
    std::vector<DeliveredSlice> all = Collect(sensor, 6);
    EXPECT_EQ(ReadFile(recorded), Concatenated(all));

    // The next stream to the same file follows on; the truth stays whole.
    for (const DeliveredSlice& slice : Collect(sensor, 4)) {
        all.push_back(slice);
    }
    std::vector<uint8_t> file = ReadFile(recorded);
    EXPECT_EQ(file, Concatenated(all));
    radar::RecordingReader reader;
    std::string error;
    ASSERT_TRUE(reader.Open(recorded, &error)) << error;
    std::vector<std::vector<radar::TruthTarget>> truth;
    ASSERT_TRUE(reader.LoadTruth(&truth, &error)) << error;
    ASSERT_EQ(truth.size(), all.size() / 2);
    for (const auto& people : truth) {
        ASSERT_EQ(people.size(), 1u);
        EXPECT_EQ(people[0].id, 3);
        EXPECT_NEAR(people[0].range, 2.06, 0.05);
    }

    // What was recorded replays through the module as it was delivered.
    SetString(RadarConfig::kRecord, "");
    Replay(recorded, false);
    ASSERT_EQ(sensor.init(), 0);
    EXPECT_EQ(Detection(sensor), 1);
    EXPECT_EQ(Concatenated(Collect(sensor, all.size())), file);
}

TEST_F(RadarReplayTest, SliceFaultsWhileRecordingKeepTheBytesAndDropTheTruth) {
    std::string recorded = m_dir + "/faulty.rec";
    SetString(RadarConfig::kRecord, recorded);
    SetInt(RadarConfig::kFaultNullSliceEvery, 3);
    SimulatedMotionSensor sensor;
    Prepare(sensor);
    std::vector<uint8_t> expected;
    for (const DeliveredSlice& slice : Collect(sensor, 6)) {
        expected.insert(expected.end(), slice.bytes.begin(), slice.bytes.end());
    }
    EXPECT_EQ(ReadFile(recorded), expected);
    EXPECT_FALSE(std::ifstream(radar::TruthPathFor(recorded)).good())
        << "a sidecar that no longer matches the frames";
}

TEST_F(RadarReplayTest, TheReplayedRecordingIsNeverRecordedOver) {
    std::string path = WriteRecording("keep.rec", 2, false);
    std::vector<uint8_t> file = ReadFile(path);
    Replay(path, true);
    SetString(RadarConfig::kRecord, path);
    SimulatedMotionSensor sensor;
    Prepare(sensor);
    Collect(sensor, 6);
    EXPECT_EQ(ReadFile(path), file);
}

TEST_F(RadarReplayTest, ARadarSimRecordingSetWithTheToolReplaysBitForBit) {
    const std::string path = m_dir + "/walk.raw";
    std::string command = std::string(RADAR_SIM_BIN) + " one-walker -o '" + path +
                          "' --frames 12 --seed 5 >/dev/null && " + TESSIVO_PLATFORM_TOOL +
                          " radar replay '" + path + "' >/dev/null";
    ASSERT_EQ(system(command.c_str()), 0);
    std::vector<uint8_t> file = ReadFile(path);
    ASSERT_EQ(file.size(), 12u * radar::kFrameBytes);

    SimulatedMotionSensor sensor;
    ASSERT_EQ(sensor.motion_register_callback(SliceCollector::Callback), 0);
    ASSERT_EQ(sensor.init(), 0);
    EXPECT_EQ(Detection(sensor), 1) << "the walker's truth comes with the recording";
    ASSERT_EQ(sensor.start(), 0);
    ASSERT_TRUE(SliceCollector::Get().WaitFor(24));
    ASSERT_EQ(sensor.stop(), 0);
    EXPECT_EQ(Concatenated(SliceCollector::Get().Slices()), file);
}
