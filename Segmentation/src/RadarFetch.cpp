#include "RadarFetch.h"

#include <IMotionSensor.h>
#include <assert.h>
#include <stdlib.h>
#include <string.h>

#include <atomic>

#include "ActivitySegment.h"
#include "ContextLog.h"

namespace {

// Offsets in the 12-byte presence report.
const int kPresenceByte = 4;
const int kDistanceByte = 5;
const int kLevelByte = 9;
const double kDistanceStep = 0.32;

// Bring-up pattern: each block of the slice is a byte ramp 0..255 repeated.
const uint32_t kTestBlockBytes = 3072;

ActivitySegment* s_pActivitySegment = nullptr;
// Written by the library's callback thread and reset by Start() on a mode
// thread, which may come while the module still streams.
std::atomic<int32_t> s_nSliceCount{0};
uint16_t s_frameBuffer[RadarFetch::kFrameSamples];
uint16_t s_testWord = 1;

IMotionSensor* Sensor() {
    return IMotionSensor::getInstance();
}

}  // namespace

void unpack_raw12(const uint8_t* in, uint32_t byteCount, uint16_t* out) {
    for (uint32_t i = 0; i < byteCount; i += 3) {
        const uint8_t b0 = in[i];
        const uint8_t b1 = in[i + 1];
        const uint8_t b2 = in[i + 2];
        *out++ = static_cast<uint16_t>((b0 << 4) | (b1 >> 4));
        *out++ = static_cast<uint16_t>(((b1 & 0x0F) << 8) | b2);
    }
}

uint16_t get_next_test_word() {
    const uint16_t s = s_testWord;
    const uint16_t feedback =
        static_cast<uint16_t>(((s << 11) ^ (s << 10) ^ (s << 9) ^ (s << 3)) & 0x800);
    s_testWord = static_cast<uint16_t>(feedback | (s >> 1));
    return s;
}

void RadarFetch::Init() {
    if (Sensor()->init() != 0) {
        KAE_LOGE("MotionSensor Init failed");
    }
}

void RadarFetch::Start() {
    s_nSliceCount = 0;
    if (Sensor()->start() != 0) {
        KAE_LOGE("MotionSensor Start failed");
    }
}

void RadarFetch::Stop() {
    if (Sensor()->stop() != 0) {
        KAE_LOGE("MotionSensor Stop failed");
    }
}

void RadarFetch::RegistCallback() {
    if (Sensor()->motion_register_callback(FetchRadarSliceCB) != 0) {
        KAE_LOGE("MotionSensor motion_register_callback failed");
    }
}

void RadarFetch::SetActivitySegmentObj(ActivitySegment* activitySegment) {
    s_pActivitySegment = activitySegment;
}

int RadarFetch::FetchPresenceData(int* presence, double* distance, int* level) {
    uint8_t report[IMotionSensor::kPresenceReportSize];
    memset(report, 0, sizeof(report));
    int32_t length = IMotionSensor::kPresenceReportSize;
    if (Sensor()->getPresenceReport(IMotionSensor::kPresenceReport, report, &length) != 0) {
        return 0;
    }
    *presence = report[kPresenceByte];
    *distance = report[kDistanceByte] * kDistanceStep;
    const int rawLevel = report[kLevelByte];
    *level = rawLevel >= 1 && rawLevel <= 3 ? rawLevel : -1;
    return 1;
}

int RadarFetch::GetSensitivity() {
    int32_t sensitivity = 0;
    if (Sensor()->getSensitivity(&sensitivity) == 0 && sensitivity >= 1 && sensitivity <= 3) {
        return sensitivity;
    }
    KAE_LOGE("GetSensitivity failed");
    return -1;
}

float RadarFetch::GetFirmwareVersion() {
    float version = 0.0f;
    if (Sensor()->getFirmwareVersion(&version) == 0) {
        KAE_LOGI("sensor f/w version: %f", static_cast<double>(version));
    } else {
        KAE_LOGE("GetFirmwareVersion failed");
    }
    return version;
}

int RadarFetch::SpiValidationCheck() {
    int result = Sensor()->spiValidationCheck();
    KAE_LOGI("SPI Validation Check : %d", result);
    return result;
}

void RadarFetch::TestSpiPattern(void* slice) {
    const uint8_t* bytes = static_cast<const uint8_t*>(slice);
    for (uint32_t block = 0; block < kSliceBytes / kTestBlockBytes; ++block) {
        for (uint32_t i = 0; i < kTestBlockBytes; ++i) {
            const uint8_t found = bytes[block * kTestBlockBytes + i];
            if (found != (i & 0xFF)) {
                KAE_LOGE("@@@ error test_word[%d] = %d [%d]", static_cast<int>(i & 0xFF),
                         static_cast<int>(found), static_cast<int>(i));
                // A broken SPI link at bring-up is not something to run on.
                assert(false);
                abort();
            }
        }
    }
    KAE_LOGI("SPI slice ok");
}

void RadarFetch::FetchRadarSliceCB(void* slice) {
    if (slice == nullptr) {
        KAE_LOGE("slice data is null");
        return;
    }
    const uint8_t* bytes = static_cast<const uint8_t*>(slice);
    if (s_nSliceCount == 0) {
        unpack_raw12(bytes, kSliceBytes, s_frameBuffer);
        s_nSliceCount = 1;
    } else if (s_nSliceCount == 1) {
        unpack_raw12(bytes, kSliceBytes, s_frameBuffer + kFrameSamples / 2);
        if (s_pActivitySegment != nullptr) {
            ActivitySegment::FetchRadarFrameCB(s_frameBuffer);
        }
        s_nSliceCount = 0;
    }
}
