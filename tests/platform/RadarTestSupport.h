// Shared pieces of the simulated radar module's tests: a private platform
// directory per test, small scenes and recordings, and a slice callback that
// keeps what it is given.
#ifndef TESSIVO_TESTS_PLATFORM_RADARTESTSUPPORT_H
#define TESSIVO_TESTS_PLATFORM_RADARTESTSUPPORT_H

#include <gtest/gtest.h>
#include <stdlib.h>

#include <chrono>
#include <condition_variable>
#include <fstream>
#include <mutex>
#include <random>
#include <string>
#include <vector>

#include <IMotionSensor.h>
#include "PlatformStore.h"
#include "RadarConfig.h"
#include "RadarFrameFormat.h"
#include "Recording.h"

namespace radartest {

using namespace std::chrono_literals;

// Safety net of every wait: far longer than any correct run needs.
constexpr auto kPatience = 20s;

struct DeliveredSlice {
    bool null = false;
    std::vector<uint8_t> bytes;
};

// The slice callback of the tests: a plain function, so it keeps its state
// here. Optionally holds a callback inside until released.
class SliceCollector {
public:
    static SliceCollector& Get() {
        static SliceCollector collector;
        return collector;
    }

    static void Callback(void* slice) { Get()._Receive(slice); }

    void Reset() {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_slices.clear();
        m_hold = false;
        m_held = false;
        m_inside = 0;
    }

    // Waits until at least n slices arrived; false after `timeout`.
    bool WaitFor(size_t n, std::chrono::milliseconds timeout = kPatience) {
        std::unique_lock<std::mutex> lock(m_mutex);
        return m_changed.wait_for(lock, timeout, [&] { return m_slices.size() >= n; });
    }

    std::vector<DeliveredSlice> Slices() {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_slices;
    }

    size_t Count() {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_slices.size();
    }

    int Inside() {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_inside;
    }

    // The next callback stays inside until Release().
    void HoldNext() {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_hold = true;
        m_held = false;
    }
    bool WaitUntilHeld() {
        std::unique_lock<std::mutex> lock(m_mutex);
        return m_changed.wait_for(lock, kPatience, [&] { return m_held; });
    }
    void Release() {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_hold = false;
        m_changed.notify_all();
    }

private:
    void _Receive(void* slice) {
        std::unique_lock<std::mutex> lock(m_mutex);
        ++m_inside;
        DeliveredSlice delivered;
        delivered.null = slice == nullptr;
        if (slice != nullptr) {
            const uint8_t* bytes = static_cast<const uint8_t*>(slice);
            delivered.bytes.assign(bytes, bytes + radar::kSliceBytes);
        }
        m_slices.push_back(std::move(delivered));
        if (m_hold) {
            m_held = true;
            m_changed.notify_all();
            m_changed.wait(lock, [&] { return !m_hold; });
        }
        --m_inside;
        m_changed.notify_all();
    }

    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::vector<DeliveredSlice> m_slices;
    bool m_hold = false;
    bool m_held = false;
    int m_inside = 0;
};

// A private platform directory with a module that passes its check and
// looks at an empty scene.
class RadarTest : public ::testing::Test {
protected:
    void SetUp() override {
        char templ[] = "/tmp/tessivo-radar-XXXXXX";
        ASSERT_NE(mkdtemp(templ), nullptr);
        m_dir = templ;
        setenv("TESSIVO_PLATFORM_DIR", m_dir.c_str(), 1);
        SetString(RadarConfig::kSource, "scene");
        SetString(RadarConfig::kScene, WriteScene("empty", "{\"name\": \"empty\"}"));
        Set(RadarConfig::kSpi, PlatformStore::Type::Bool, "true");
        Set(RadarConfig::kSensitivity, PlatformStore::Type::Int, "2");
        Set(RadarConfig::kFirmware, PlatformStore::Type::Double, "1.0");
        SliceCollector::Get().Reset();
    }

    void TearDown() override {
        SliceCollector::Get().Release();
        unsetenv("TESSIVO_PLATFORM_DIR");
        std::string cmd = "rm -rf '" + m_dir + "'";
        ASSERT_EQ(system(cmd.c_str()), 0);
    }

    void Set(const char* key, PlatformStore::Type type, const std::string& text) {
        ASSERT_EQ(PlatformStore::Write(RadarConfig::kArea, key, {type, text}), 0) << key;
    }
    void SetString(const char* key, const std::string& text) {
        Set(key, PlatformStore::Type::String, text);
    }
    void SetBool(const char* key, bool on) {
        Set(key, PlatformStore::Type::Bool, on ? "true" : "false");
    }
    void SetInt(const char* key, int value) {
        Set(key, PlatformStore::Type::Int, std::to_string(value));
    }

    std::string WriteScene(const std::string& name, const std::string& json) {
        std::string path = m_dir + "/" + name + ".json";
        std::ofstream(path) << json;
        return path;
    }

    // Frame f of a test recording: bytes from a generator seeded by f, so
    // every slice is different and can be told apart.
    static std::vector<uint8_t> PatternFrame(int64_t frame) {
        std::mt19937 generator(static_cast<uint32_t>(frame * 7919 + 17));
        std::vector<uint8_t> bytes(radar::kFrameBytes);
        for (uint8_t& b : bytes) {
            b = static_cast<uint8_t>(generator());
        }
        return bytes;
    }

    // A recording of `frames` pattern frames; with truth, one person 2 m
    // straight ahead in every frame.
    std::string WriteRecording(const std::string& name, int frames, bool withTruth) {
        std::string path = m_dir + "/" + name;
        radar::RecordingWriter writer;
        std::string error;
        EXPECT_TRUE(writer.Open(path, withTruth, &error)) << error;
        for (int f = 0; f < frames; ++f) {
            std::vector<uint8_t> frame = PatternFrame(f);
            EXPECT_TRUE(writer.WriteSlice(frame.data()));
            EXPECT_TRUE(writer.WriteSlice(frame.data() + radar::kSliceBytes));
            if (withTruth) {
                radar::TruthTarget person;
                person.id = 1;
                person.range = 2.0;
                person.y = 2.0;
                EXPECT_TRUE(writer.WriteTruth(f, {person}));
            }
        }
        EXPECT_TRUE(writer.Close(&error)) << error;
        return path;
    }

    // Registers the collector as the slice callback and initialises.
    static void Prepare(IMotionSensor& sensor) {
        ASSERT_EQ(sensor.motion_register_callback(SliceCollector::Callback), 0);
        ASSERT_EQ(sensor.init(), 0);
    }

    // Streams into a fresh collector until n slices came, stops, and returns
    // what was delivered. When fewer came the test fails, and the list is
    // padded with empty slices so that callers may still look at n of them.
    static std::vector<DeliveredSlice> Collect(IMotionSensor& sensor, size_t n) {
        SliceCollector::Get().Reset();
        EXPECT_EQ(sensor.start(), 0);
        EXPECT_TRUE(SliceCollector::Get().WaitFor(n)) << "fewer than " << n << " slices";
        EXPECT_EQ(sensor.stop(), 0);
        std::vector<DeliveredSlice> slices = SliceCollector::Get().Slices();
        if (slices.size() < n) {
            slices.resize(n);
        }
        return slices;
    }

    static std::vector<uint8_t> ReadFile(const std::string& path) {
        std::ifstream in(path, std::ios::binary);
        return std::vector<uint8_t>(std::istreambuf_iterator<char>(in), {});
    }

    std::string m_dir;
};

}  // namespace radartest

#endif
