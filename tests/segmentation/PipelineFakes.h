// Stand-ins for what surrounds the segmentation pipeline in these tests: a
// scripted motion sensor (this program supplies IMotionSensor::getInstance()
// itself, so the simulated module is not linked), a segmentation engine that
// records the frames it is given and answers as scripted, and event receivers
// that keep what is pushed to them.
#ifndef TESSIVO_TESTS_SEGMENTATION_PIPELINEFAKES_H
#define TESSIVO_TESTS_SEGMENTATION_PIPELINEFAKES_H

#include <IMotionSensor.h>
#include <gtest/gtest.h>
#include <stdint.h>

#include <array>
#include <string>
#include <vector>

#include "IContextEventSink.h"

class ScriptedSensor : public IMotionSensor {
public:
    int getPresenceReport(int request, uint8_t* buffer, int32_t* length) override;
    int getState(int32_t* state) override;
    int init() override;
    int start() override;
    int stop() override;
    int getSensitivity(int32_t* value) override;
    int setSensitivity(int32_t) override { return 0; }
    int getFirmwareVersion(float* version) override;
    int motion_register_callback(MotionSliceCallback callback) override;
    int spiValidationCheck() override { return spiResult; }

    uint8_t report[12] = {};
    int presenceStatus = 0, initStatus = 0, startStatus = 0, stopStatus = 0;
    int sensitivity = 2, sensitivityStatus = 0;
    float firmware = 1.5f;
    int firmwareStatus = 0, registerStatus = 0, spiResult = 1;
    int lastRequest = 0;
    int32_t lastLength = 0;
    int initCalls = 0, startCalls = 0, stopCalls = 0;
    MotionSliceCallback registered = nullptr;
};

// The sensor IMotionSensor::getInstance() returns; null outside a test.
extern ScriptedSensor* g_sensor;

// What the recording engine saw and what it answers. Reset by each
// ScopedRecordingEngine.
struct EngineScript {
    bool refuseCreate = false;
    bool refuseFrames = false;  // runs fail as for a frame that is not finite
    std::vector<float> segments = std::vector<float>(6, 0.0f);
    std::vector<std::array<float, 4>> tracks;  // further rows get id 0
    int created = 0;
    std::vector<std::vector<uint16_t>> frames;  // raw frames rebuilt from the cube
};
extern EngineScript g_engine;

// Puts the recording engine behind ifx_segmentation_create for its lifetime.
class ScopedRecordingEngine {
public:
    ScopedRecordingEngine();
    ~ScopedRecordingEngine();
};

// Keeps every pushed payload (a malloc'ed text) and frees it on destruction,
// as a real receiver would after handling it. refuse makes it turn pushes
// down, as a full queue does.
class CapturingSink : public IContextEventSink {
public:
    ~CapturingSink() override;
    bool PushEvent(int id, void* data, int priority) override;

    struct Event {
        int id;
        int priority;
        char* text;
    };
    bool refuse = false;
    std::vector<Event> events;
};

// Runs body with standard error (the host log) captured; returns the log.
template <typename Body>
std::string StderrOf(Body&& body) {
    testing::internal::CaptureStderr();
    body();
    return testing::internal::GetCapturedStderr();
}

// Occurrences of needle in text.
size_t CountOf(const std::string& text, const std::string& needle);

#endif
