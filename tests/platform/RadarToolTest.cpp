// `tessivo-platform radar ...` drives the simulated radar module.
#include <stdio.h>
#include <sys/wait.h>

#include "RadarTestSupport.h"
#include "SimulatedMotionSensor.h"

using radartest::RadarTest;

namespace {

struct ToolResult {
    int exitCode = -1;
    std::string out;
};

ToolResult RunTool(const std::string& arguments) {
    ToolResult result;
    std::string command = std::string(TESSIVO_PLATFORM_TOOL) + " " + arguments + " 2>/dev/null";
    FILE* pipe = popen(command.c_str(), "r");
    if (pipe == nullptr) {
        return result;
    }
    char buffer[512];
    size_t n;
    while ((n = fread(buffer, 1, sizeof(buffer), pipe)) > 0) {
        result.out.append(buffer, n);
    }
    int status = pclose(pipe);
    result.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return result;
}

std::string Stored(const char* key) {
    PlatformStore::Value value;
    return PlatformStore::Read(RadarConfig::kArea, key, &value) == 0 ? value.text : "(unset)";
}

bool EndsWith(const std::string& text, const std::string& tail) {
    return text.size() >= tail.size() &&
           text.compare(text.size() - tail.size(), tail.size(), tail) == 0;
}

}  // namespace

TEST_F(RadarTest, ToolInitSeedsAWorkingRadarWithPeopleWalking) {
    SetBool(RadarConfig::kFaultInit, true);
    ASSERT_EQ(RunTool("init").exitCode, 0);
    EXPECT_EQ(Stored(RadarConfig::kSource), "scene");
    EXPECT_TRUE(EndsWith(Stored(RadarConfig::kScene), "/two-crossing.json"))
        << Stored(RadarConfig::kScene);
    EXPECT_EQ(Stored(RadarConfig::kFaultInit), "false");

    SimulatedMotionSensor sensor;
    EXPECT_NE(sensor.spiValidationCheck(), 0);
    EXPECT_EQ(sensor.init(), 0);
    int32_t sensitivity = 0;
    ASSERT_EQ(sensor.getSensitivity(&sensitivity), 0);
    EXPECT_EQ(sensitivity, 2);

    ToolResult status = RunTool("radar status");
    EXPECT_EQ(status.exitCode, 0);
    EXPECT_NE(status.out.find("source: scene\n"), std::string::npos) << status.out;
    EXPECT_NE(status.out.find("spi: true\n"), std::string::npos) << status.out;
    EXPECT_NE(status.out.find("record: (not set)\n"), std::string::npos) << status.out;
}

TEST_F(RadarTest, ToolSwitchesTheSpiAnswerAndTheFaults) {
    SimulatedMotionSensor sensor;
    ASSERT_EQ(RunTool("radar spi fail").exitCode, 0);
    EXPECT_EQ(sensor.spiValidationCheck(), 0);
    ASSERT_EQ(RunTool("radar spi pass").exitCode, 0);
    EXPECT_NE(sensor.spiValidationCheck(), 0);
    EXPECT_EQ(RunTool("radar spi maybe").exitCode, 2);

    ASSERT_EQ(sensor.init(), 0);
    uint8_t report[12];
    int32_t length = 12;
    ASSERT_EQ(RunTool("radar fault presence on").exitCode, 0);
    EXPECT_NE(sensor.getPresenceReport(1, report, &length), 0);
    ASSERT_EQ(RunTool("radar fault null-slices 4").exitCode, 0);
    EXPECT_EQ(Stored(RadarConfig::kFaultNullSliceEvery), "4");
    EXPECT_EQ(RunTool("radar fault null-slices -1").exitCode, 2);
    EXPECT_EQ(RunTool("radar fault sparks on").exitCode, 2);
    ASSERT_EQ(RunTool("radar fault clear").exitCode, 0);
    EXPECT_EQ(sensor.getPresenceReport(1, report, &length), 0);
    EXPECT_EQ(Stored(RadarConfig::kFaultNullSliceEvery), "0");

    ASSERT_EQ(RunTool("radar sensitivity 3").exitCode, 0);
    EXPECT_EQ(RunTool("radar sensitivity 4").exitCode, 2);
    EXPECT_EQ(Stored(RadarConfig::kSensitivity), "3");
    ASSERT_EQ(RunTool("radar firmware 1.25").exitCode, 0);
    float version = 0.0f;
    ASSERT_EQ(sensor.getFirmwareVersion(&version), 0);
    EXPECT_FLOAT_EQ(version, 1.25f);
}

TEST_F(RadarTest, ToolRefusesSourcesThatDoNotExistOrDoNotParse) {
    std::string before = Stored(RadarConfig::kScene);
    EXPECT_EQ(RunTool("radar scene no-such-scene").exitCode, 1);
    EXPECT_EQ(RunTool("radar scene '" + WriteScene("bad", "{\"people\": 3}") + "'").exitCode, 1);
    EXPECT_EQ(Stored(RadarConfig::kScene), before);

    ASSERT_EQ(RunTool("radar scene one-walker").exitCode, 0);
    EXPECT_TRUE(EndsWith(Stored(RadarConfig::kScene), "/one-walker.json"));

    std::string notRecording = WriteScene("text", "not a recording");
    EXPECT_EQ(RunTool("radar replay '" + notRecording + "'").exitCode, 1);
    EXPECT_EQ(RunTool("radar replay '" + m_dir + "/missing.rec'").exitCode, 1);
    EXPECT_EQ(Stored(RadarConfig::kSource), "scene");

    std::string recording = WriteRecording("ok.rec", 2, true);
    std::ofstream(radar::TruthPathFor(recording)) << "{\"frame\": 0}\n";
    EXPECT_EQ(RunTool("radar replay '" + recording + "'").exitCode, 1) << "broken truth";
    WriteRecording("ok.rec", 2, true);
    ASSERT_EQ(RunTool("radar replay '" + recording + "' --loop").exitCode, 0);
    EXPECT_EQ(Stored(RadarConfig::kSource), "recording");
    EXPECT_EQ(Stored(RadarConfig::kRecording), recording);
    EXPECT_EQ(Stored(RadarConfig::kLoop), "true");

    EXPECT_EQ(RunTool("radar record '" + recording + "'").exitCode, 1)
        << "recording over the replayed file";
    EXPECT_EQ(RunTool("radar record '" + m_dir + "/no/such/dir/x.rec'").exitCode, 1);
    ASSERT_EQ(RunTool("radar record '" + m_dir + "/out.rec'").exitCode, 0);
    EXPECT_EQ(Stored(RadarConfig::kRecord), m_dir + "/out.rec");
    ASSERT_EQ(RunTool("radar record off").exitCode, 0);
    EXPECT_EQ(Stored(RadarConfig::kRecord), "(unset)");
}
