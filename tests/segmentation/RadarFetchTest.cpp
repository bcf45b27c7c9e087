// RadarFetch against a scripted motion sensor. Assembled frames are seen as
// the segmentation engine receives them.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "ActivitySegment.h"
#include "PipelineFakes.h"
#include "RadarFetch.h"

namespace {

class RadarFetchTest : public ::testing::Test {
protected:
    void SetUp() override {
        g_sensor = &m_sensor;
        RadarFetch::SetActivitySegmentObj(nullptr);
        RadarFetch::Start();  // slice pairing starts from a clean frame
    }
    void TearDown() override {
        RadarFetch::SetActivitySegmentObj(nullptr);
        g_sensor = nullptr;
    }
    // A slice whose every packed pair holds (value, value + 1).
    static std::vector<uint8_t> Slice(uint16_t value) {
        std::vector<uint8_t> bytes(RadarFetch::kSliceBytes);
        for (size_t i = 0; i < bytes.size(); i += 3) {
            uint16_t p = value, q = static_cast<uint16_t>(value + 1);
            bytes[i] = static_cast<uint8_t>(p >> 4);
            bytes[i + 1] = static_cast<uint8_t>(((p & 0xF) << 4) | (q >> 8));
            bytes[i + 2] = static_cast<uint8_t>(q & 0xFF);
        }
        return bytes;
    }
    static void Deliver(std::vector<uint8_t>& slice) {
        RadarFetch::FetchRadarSliceCB(slice.data());
    }
    ScriptedSensor m_sensor;
};

// Both halves of a frame: first half from slice a, second from slice b.
void ExpectFrameOf(const std::vector<uint16_t>& frame, uint16_t a, uint16_t b) {
    ASSERT_EQ(frame.size(), RadarFetch::kFrameSamples);
    EXPECT_EQ(frame[0], a);
    EXPECT_EQ(frame[1], a + 1);
    EXPECT_EQ(frame[8191], a + 1);
    EXPECT_EQ(frame[8192], b);
    EXPECT_EQ(frame[16383], b + 1);
}

}  // namespace

TEST(RadarFetchUnpack, TwelveBitPairsComeOutInOrder) {
    const uint8_t packed[] = {0xAB, 0xCD, 0xEF, 0x00, 0x0F, 0xFF};
    uint16_t out[4] = {1, 1, 1, 1};
    unpack_raw12(packed, sizeof(packed), out);
    EXPECT_EQ(out[0], 0xABC);
    EXPECT_EQ(out[1], 0xDEF);
    EXPECT_EQ(out[2], 0x000);
    EXPECT_EQ(out[3], 0xFFF);
    uint16_t untouched = 7;
    unpack_raw12(packed, 0, &untouched);
    EXPECT_EQ(untouched, 7);
}

TEST(RadarFetchTestWord, TwelveBitSequenceFromSeedOne) {
    EXPECT_EQ(get_next_test_word(), 1);
    EXPECT_EQ(get_next_test_word(), 2048);
    EXPECT_EQ(get_next_test_word(), 1024);
    EXPECT_EQ(get_next_test_word(), 512);
    // A maximal-length register never falls into zero and stays in 12 bits.
    for (int i = 0; i < 5000; ++i) {
        uint16_t word = get_next_test_word();
        ASSERT_NE(word, 0);
        ASSERT_LT(word, 4096);
    }
}

TEST_F(RadarFetchTest, SlicesPairByArrivalOrderAcrossStartsNullsAndNoPipeline) {
    ScopedRecordingEngine engine;
    ActivitySegment pipeline(nullptr);
    RadarFetch::SetActivitySegmentObj(nullptr);
    RadarFetch::Start();
    const std::vector<std::vector<uint16_t>>& frames = g_engine.frames;
    std::vector<std::vector<uint8_t>> slices;
    for (uint16_t value = 100; value <= 800; value += 100) {
        slices.push_back(Slice(value));
    }
    // Without a pipeline frames are dropped, but the pairing goes on.
    Deliver(slices[0]);
    Deliver(slices[1]);
    RadarFetch::SetActivitySegmentObj(&pipeline);
    Deliver(slices[2]);
    EXPECT_TRUE(frames.empty());
    Deliver(slices[3]);
    // A start between halves makes the next slice a first half.
    Deliver(slices[4]);
    RadarFetch::Start();
    Deliver(slices[5]);
    Deliver(slices[6]);
    // A null slice is logged and skipped.
    Deliver(slices[7]);
    std::string log = StderrOf([] { RadarFetch::FetchRadarSliceCB(nullptr); });
    EXPECT_NE(log.find("slice data is null"), std::string::npos) << log;
    EXPECT_EQ(frames.size(), 2u);
    Deliver(slices[0]);
    ASSERT_EQ(frames.size(), 3u);
    ExpectFrameOf(frames[0], 300, 400);
    ExpectFrameOf(frames[1], 600, 700);
    ExpectFrameOf(frames[2], 800, 100);
}

TEST_F(RadarFetchTest, PresenceReportIsDecoded) {
    m_sensor.report[4] = 1;
    m_sensor.report[5] = 10;
    m_sensor.report[9] = 2;
    int presence = -9, level = -9;
    double distance = -9;
    ASSERT_EQ(RadarFetch::FetchPresenceData(&presence, &distance, &level), 1);
    EXPECT_EQ(m_sensor.lastRequest, 1);
    EXPECT_EQ(m_sensor.lastLength, 12);
    EXPECT_EQ(presence, 1);
    EXPECT_DOUBLE_EQ(distance, 3.2);
    EXPECT_EQ(level, 2);

    m_sensor.report[5] = 255;
    for (uint8_t bad : {0, 4, 255}) {
        m_sensor.report[9] = bad;
        ASSERT_EQ(RadarFetch::FetchPresenceData(&presence, &distance, &level), 1);
        EXPECT_EQ(level, -1) << static_cast<int>(bad);
    }
    EXPECT_DOUBLE_EQ(distance, 255 * 0.32);
}

TEST_F(RadarFetchTest, FailedPresenceReadLeavesTheOutputsAlone) {
    m_sensor.presenceStatus = -5;
    int presence = 7, level = 7;
    double distance = 7.5;
    EXPECT_EQ(StderrOf([&] {
                  EXPECT_EQ(RadarFetch::FetchPresenceData(&presence, &distance, &level), 0);
              }),
              "");
    EXPECT_EQ(presence, 7);
    EXPECT_DOUBLE_EQ(distance, 7.5);
    EXPECT_EQ(level, 7);
}

TEST_F(RadarFetchTest, SensitivityOutsideOneToThreeOrAFailedCallIsMinusOne) {
    EXPECT_EQ(RadarFetch::GetSensitivity(), 2);
    std::string log = StderrOf([&] {
        m_sensor.sensitivity = 4;
        EXPECT_EQ(RadarFetch::GetSensitivity(), -1);
        m_sensor.sensitivity = 3;
        m_sensor.sensitivityStatus = -1;
        EXPECT_EQ(RadarFetch::GetSensitivity(), -1);
    });
    size_t first = log.find("GetSensitivity failed");
    ASSERT_NE(first, std::string::npos);
    size_t second = log.find("GetSensitivity failed", first + 1);
    ASSERT_NE(second, std::string::npos);
    EXPECT_EQ(log.find("GetSensitivity failed", second + 1), std::string::npos);
}

TEST_F(RadarFetchTest, LibraryFailuresAreLoggedOnce) {
    m_sensor.initStatus = m_sensor.startStatus = m_sensor.stopStatus = -1;
    m_sensor.registerStatus = m_sensor.firmwareStatus = -1;
    std::string log = StderrOf([] {
        RadarFetch::Init();
        RadarFetch::Start();
        RadarFetch::Stop();
        RadarFetch::RegistCallback();
        RadarFetch::GetFirmwareVersion();
    });
    for (const char* line :
         {"MotionSensor Init failed", "MotionSensor Start failed", "MotionSensor Stop failed",
          "MotionSensor motion_register_callback failed", "GetFirmwareVersion failed"}) {
        EXPECT_NE(log.find(line), std::string::npos) << line;
    }
    EXPECT_EQ(m_sensor.registered, &RadarFetch::FetchRadarSliceCB);
}

TEST_F(RadarFetchTest, SpiCheckAndFirmwareVersionAreReportedAsTheModuleSaysThem) {
    std::string log = StderrOf([&] {
        m_sensor.spiResult = 0;
        EXPECT_EQ(RadarFetch::SpiValidationCheck(), 0);
        m_sensor.spiResult = 7;
        EXPECT_EQ(RadarFetch::SpiValidationCheck(), 7);
        EXPECT_FLOAT_EQ(RadarFetch::GetFirmwareVersion(), 1.5f);
    });
    EXPECT_NE(log.find("SPI Validation Check : 0"), std::string::npos);
    EXPECT_NE(log.find("SPI Validation Check : 7"), std::string::npos);
    EXPECT_NE(log.find("sensor f/w version: 1.500000"), std::string::npos);
}

TEST(RadarFetchSpiPattern, ARampSliceIsAcceptedAndTheFirstWrongByteAborts) {
    std::vector<uint8_t> slice(RadarFetch::kSliceBytes);
    for (size_t i = 0; i < slice.size(); ++i) {
        slice[i] = static_cast<uint8_t>((i % 3072) & 0xFF);
    }
    EXPECT_NE(StderrOf([&] { RadarFetch::TestSpiPattern(slice.data()); }).find("SPI slice ok"),
              std::string::npos);

    slice[2 * 3072 + 300] = 7;  // index 300 of the third block should hold 44
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_DEATH(RadarFetch::TestSpiPattern(slice.data()),
                 "@@@ error test_word\\[44\\] = 7 \\[300\\]");
}
