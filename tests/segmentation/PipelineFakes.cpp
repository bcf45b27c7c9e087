#include "PipelineFakes.h"

#include <gtest/gtest.h>
#include <math.h>
#include <stdlib.h>
#include <string.h>

#include <memory>

#include "SegmentationEngineFactory.h"

ScriptedSensor* g_sensor = nullptr;
EngineScript g_engine;

IMotionSensor* IMotionSensor::getInstance() {
    return g_sensor;
}

int ScriptedSensor::getPresenceReport(int request, uint8_t* buffer, int32_t* length) {
    lastRequest = request;
    lastLength = *length;
    if (presenceStatus != 0) {
        return presenceStatus;
    }
    memcpy(buffer, report, sizeof(report));
    return 0;
}

int ScriptedSensor::getState(int32_t* state) {
    *state = 0;
    return 0;
}

int ScriptedSensor::init() {
    ++initCalls;
    return initStatus;
}

int ScriptedSensor::start() {
    ++startCalls;
    return startStatus;
}

int ScriptedSensor::stop() {
    ++stopCalls;
    return stopStatus;
}

int ScriptedSensor::getSensitivity(int32_t* value) {
    *value = sensitivity;
    return sensitivityStatus;
}

int ScriptedSensor::getFirmwareVersion(float* version) {
    *version = firmware;
    return firmwareStatus;
}

int ScriptedSensor::motion_register_callback(MotionSliceCallback callback) {
    registered = callback;
    return registerStatus;
}

namespace {

using radar_sdk::MatrixView;
using radar_sdk::SegmentationEngine;
using radar_sdk::SegmentationSettings;

class RecordingEngine : public SegmentationEngine {
public:
    explicit RecordingEngine(size_t tracks) : m_tracks(tracks) {}

    // Receiver r's sample (c, s) came from raw element r + 2 * (c * cols + s),
    // scaled by 1/4095: scaling back and rounding gives the raw value again.
    bool Process(const MatrixView& rx0, const MatrixView& rx1, float* segments, float* tracks,
                 size_t trackStride) override {
        std::vector<uint16_t> raw(2 * rx0.rows * rx0.cols);
        const MatrixView* receivers[] = {&rx0, &rx1};
        for (size_t r = 0; r < 2; ++r) {
            for (size_t c = 0; c < rx0.rows; ++c) {
                for (size_t s = 0; s < rx0.cols; ++s) {
                    const float value = receivers[r]->data[c * receivers[r]->stride + s];
                    raw[r + 2 * (c * rx0.cols + s)] =
                        static_cast<uint16_t>(lroundf(value * 4095.0f));
                }
            }
        }
        g_engine.frames.push_back(raw);
        if (g_engine.refuseFrames) {
            return false;
        }
        for (size_t i = 0; i < g_engine.segments.size(); ++i) {
            segments[i] = g_engine.segments[i];
        }
        for (size_t row = 0; row < m_tracks; ++row) {
            for (size_t col = 0; col < 4; ++col) {
                tracks[row * trackStride + col] =
                    row < g_engine.tracks.size() ? g_engine.tracks[row][col] : 0.0f;
            }
        }
        return true;
    }
    void Reset() override {}

private:
    size_t m_tracks;
};

std::unique_ptr<SegmentationEngine> CreateRecordingEngine(const SegmentationSettings& settings,
                                                          std::string* error) {
    ++g_engine.created;
    if (g_engine.refuseCreate) {
        *error = "refused by the test";
        return nullptr;
    }
    return std::make_unique<RecordingEngine>(static_cast<size_t>(settings.maxTracks));
}

radar_sdk::SegmentationEngineFactory s_previousFactory = nullptr;

}  // namespace

ScopedRecordingEngine::ScopedRecordingEngine() {
    g_engine = EngineScript();
    s_previousFactory = radar_sdk::SetSegmentationEngineFactory(&CreateRecordingEngine);
}

ScopedRecordingEngine::~ScopedRecordingEngine() {
    radar_sdk::SetSegmentationEngineFactory(s_previousFactory);
}

CapturingSink::~CapturingSink() {
    for (const Event& event : events) {
        free(event.text);
    }
}

bool CapturingSink::PushEvent(int id, void* data, int priority) {
    if (refuse) {
        return false;
    }
    events.push_back({id, priority, static_cast<char*>(data)});
    return true;
}

size_t CountOf(const std::string& text, const std::string& needle) {
    size_t count = 0;
    for (size_t at = text.find(needle); at != std::string::npos; at = text.find(needle, at + 1)) {
        ++count;
    }
    return count;
}
