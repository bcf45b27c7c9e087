// The simulated radar module as the service sees it: presence reports that
// follow the scene, the module's answers and its faults on demand.
#include <errno.h>

#include "RadarTestSupport.h"
#include "SimulatedMotionSensor.h"

using radartest::RadarTest;

namespace {

struct Report {
    int result = 0;
    int32_t length = 0;
    uint8_t bytes[12] = {};
};

Report ReadPresence(IMotionSensor& sensor) {
    Report report;
    report.length = 12;
    memset(report.bytes, 0xEE, sizeof(report.bytes));
    report.result = sensor.getPresenceReport(1, report.bytes, &report.length);
    return report;
}

// Result, detection (byte 4), distance in 0.32 m steps (byte 5) and motion
// level (byte 9) of a read.
std::vector<int> Fields(const Report& report) {
    return {report.result, report.bytes[4], report.bytes[5], report.bytes[9]};
}

std::string StandingAt(double x, double y, int id = 1) {
    return "{\"id\": " + std::to_string(id) + ", \"at\": [" + std::to_string(x) + ", " +
           std::to_string(y) + "]}";
}

std::string SceneOf(const std::string& people) {
    return "{\"name\": \"test\", \"seed\": 5, \"people\": [" + people + "]}";
}

std::string Walking(double speed) {
    return SceneOf("{\"id\": 1, \"path\": [[-2, 3], [2, 3]], \"speed\": " + std::to_string(speed) +
                   ", \"loop\": true}");
}

}  // namespace

TEST_F(RadarTest, PresenceReportsTheNearestPersonWithinReach) {
    SetString(RadarConfig::kScene,
              WriteScene("two", SceneOf(StandingAt(1.0, 4.0, 2) + ", " + StandingAt(0.0, 2.0))));
    SimulatedMotionSensor sensor;
    ASSERT_EQ(sensor.init(), 0);
    Report report = ReadPresence(sensor);
    ASSERT_EQ(report.result, 0);
    EXPECT_EQ(report.length, 12);
    for (int i = 0; i < 12; ++i) {
        int expected = i == 4 ? 1 : i == 5 ? 6 : i == 9 ? 1 : 0;  // 2.0 m / 0.32 = 6.25, still
        EXPECT_EQ(report.bytes[i], expected) << "byte " << i;
    }

    // The level says how much the nearest person moves; a new scene is picked
    // up by the next read.
    SetString(RadarConfig::kScene, WriteScene("walker", Walking(1.2)));
    report = ReadPresence(sensor);
    EXPECT_EQ(Fields(report), (std::vector<int>{0, 1, report.bytes[5], 3}));
    EXPECT_GE(report.bytes[5], 9);  // 3.0 .. 3.6 m
    EXPECT_LE(report.bytes[5], 12);
    SetString(RadarConfig::kScene, WriteScene("stroll", Walking(0.4)));
    EXPECT_EQ(ReadPresence(sensor).bytes[9], 2);
}

TEST_F(RadarTest, NobodyWithinReachMeansNoDetection) {
    SimulatedMotionSensor sensor;
    ASSERT_EQ(sensor.init(), 0);
    Report report = ReadPresence(sensor);  // the empty scene of the fixture
    ASSERT_EQ(report.result, 0);
    for (int i = 0; i < 12; ++i) {
        EXPECT_EQ(report.bytes[i], 0) << "byte " << i;
    }
    // 5.5 m: beyond the medium sensitivity's 5 m, within the high one's 6 m.
    SetString(RadarConfig::kScene, WriteScene("far", SceneOf(StandingAt(0.0, 5.5))));
    EXPECT_EQ(Fields(ReadPresence(sensor)), (std::vector<int>{0, 0, 0, 0}));
    ASSERT_EQ(sensor.setSensitivity(1), 0);
    EXPECT_EQ(Fields(ReadPresence(sensor)), (std::vector<int>{0, 1, 17, 1}));  // 5.5 / 0.32 = 17.2
}

TEST_F(RadarTest, PresenceReadsFailBeforeInitOnDemandAndOnBadArguments) {
    SimulatedMotionSensor sensor;
    EXPECT_EQ(ReadPresence(sensor).result, SimulatedMotionSensor::kErrorNotInitialised);
    ASSERT_EQ(sensor.init(), 0);
    EXPECT_EQ(ReadPresence(sensor).result, 0);

    SetBool(RadarConfig::kFaultPresence, true);
    Report failed = ReadPresence(sensor);
    EXPECT_EQ(failed.result, SimulatedMotionSensor::kErrorFailed);
    EXPECT_EQ(failed.bytes[4], 0xEE) << "a failed read leaves the buffer alone";
    SetBool(RadarConfig::kFaultPresence, false);
    EXPECT_EQ(ReadPresence(sensor).result, 0);

    uint8_t buffer[12];
    int32_t length = 12;
    EXPECT_EQ(sensor.getPresenceReport(2, buffer, &length), -EINVAL);
    EXPECT_EQ(sensor.getPresenceReport(1, nullptr, &length), -EINVAL);
    EXPECT_EQ(sensor.getPresenceReport(1, buffer, nullptr), -EINVAL);
    length = 11;
    EXPECT_EQ(sensor.getPresenceReport(1, buffer, &length), -EINVAL);
}

TEST_F(RadarTest, InitFaultLeavesTheModuleUnusableUntilAnInitSucceeds) {
    SimulatedMotionSensor sensor;
    SetBool(RadarConfig::kFaultInit, true);
    EXPECT_NE(sensor.init(), 0);
    EXPECT_NE(sensor.start(), 0);
    EXPECT_NE(ReadPresence(sensor).result, 0);

    SetBool(RadarConfig::kFaultInit, false);
    ASSERT_EQ(sensor.init(), 0);
    EXPECT_EQ(ReadPresence(sensor).result, 0);
    EXPECT_EQ(sensor.start(), 0);
    EXPECT_EQ(sensor.stop(), 0);

    // A failing init takes back an earlier success.
    SetBool(RadarConfig::kFaultInit, true);
    EXPECT_NE(sensor.init(), 0);
    EXPECT_NE(ReadPresence(sensor).result, 0);
}

// The SPI answer and the firmware version come from the configuration as
// they are; the tool's tests set and read them through the module.
TEST_F(RadarTest, SensitivityFollowsTheConfigurationWithinOneToThree) {
    SimulatedMotionSensor sensor;
    int32_t sensitivity = 0;
    SetInt(RadarConfig::kSensitivity, 3);
    ASSERT_EQ(sensor.getSensitivity(&sensitivity), 0);
    EXPECT_EQ(sensitivity, 3);
    ASSERT_EQ(sensor.setSensitivity(1), 0);
    PlatformStore::Value stored;
    ASSERT_EQ(PlatformStore::Read(RadarConfig::kArea, RadarConfig::kSensitivity, &stored), 0);
    EXPECT_EQ(stored.text, "1");
    EXPECT_EQ(sensor.setSensitivity(0), -EINVAL);
    EXPECT_EQ(sensor.setSensitivity(4), -EINVAL);
    ASSERT_EQ(sensor.getSensitivity(&sensitivity), 0);
    EXPECT_EQ(sensitivity, 1);

    EXPECT_EQ(sensor.getSensitivity(nullptr), -EINVAL);
    EXPECT_EQ(sensor.getFirmwareVersion(nullptr), -EINVAL);
    EXPECT_EQ(sensor.getState(nullptr), -EINVAL);
}

TEST_F(RadarTest, BrokenConfigurationFallsBackToDefaults) {
    SetString(RadarConfig::kSensitivity, "high");
    ASSERT_EQ(PlatformStore::Remove(RadarConfig::kArea, RadarConfig::kSpi), 0);
    Set(RadarConfig::kFirmware, PlatformStore::Type::Int, "3");
    SetString(RadarConfig::kFaultPresence, "maybe");
    SetString(RadarConfig::kSource, "banana");
    SetString(RadarConfig::kScene, m_dir + "/no-such-scene.json");

    SimulatedMotionSensor sensor;
    int32_t sensitivity = 0;
    ASSERT_EQ(sensor.getSensitivity(&sensitivity), 0);
    EXPECT_EQ(sensitivity, 2);
    EXPECT_NE(sensor.spiValidationCheck(), 0);
    float version = 0.0f;
    ASSERT_EQ(sensor.getFirmwareVersion(&version), 0);
    EXPECT_FLOAT_EQ(version, 1.0f);

    // No scene to show: an empty room, whose frames still come.
    Prepare(sensor);
    EXPECT_EQ(Fields(ReadPresence(sensor)), (std::vector<int>{0, 0, 0, 0}));
    Collect(sensor, 2);
}

TEST_F(RadarTest, TheLibraryObjectIsOneForTheProcess) {
    IMotionSensor* sensor = IMotionSensor::getInstance();
    ASSERT_NE(sensor, nullptr);
    EXPECT_EQ(sensor, IMotionSensor::getInstance());
    EXPECT_NE(dynamic_cast<SimulatedMotionSensor*>(sensor), nullptr);
}
