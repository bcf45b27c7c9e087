// The only code that talks to the radar module: wraps the motion-sensor
// library with logging, decodes presence reports, pairs the two slices of each
// streamed frame, unpacks them and hands the frame to the segmentation
// pipeline. Also carries the SPI diagnostics used during bring-up.
#ifndef TESSIVO_SEGMENTATION_RADARFETCH_H
#define TESSIVO_SEGMENTATION_RADARFETCH_H

#include <stdint.h>

class ActivitySegment;

// Unpacks 12-bit samples packed in pairs (three bytes per pair) into 16-bit
// values; a trailing partial group is read as a whole group.
void unpack_raw12(const uint8_t* in, uint32_t byteCount, uint16_t* out);
// Next word of the 12-bit SPI test sequence (seed 1).
uint16_t get_next_test_word();

class RadarFetch {
public:
    // Packed bytes of one slice (half a frame) and samples of one frame.
    static constexpr uint32_t kSliceBytes = 12288;
    static constexpr uint32_t kFrameSamples = 16384;

    RadarFetch() {}
    ~RadarFetch() {}

    // \context Any thread; the library serialises module access.
    static void Init();
    // Re-aligns slice pairing, then starts streaming. \context Mode thread.
    static void Start();
    // \context Mode thread.
    static void Stop();
    static void RegistCallback();
    static void SetActivitySegmentObj(ActivitySegment* activitySegment);
    // 1 with the three outputs set, 0 (outputs untouched) when the read
    // fails. \context Mode thread.
    static int FetchPresenceData(int* presence, double* distance, int* level);
    static int GetSensitivity();
    static float GetFirmwareVersion();
    static int SpiValidationCheck();
    // Aborts the process on the first byte that breaks the test ramp.
    static void TestSpiPattern(void* slice);
    // \context Sensor library's callback thread.
    static void FetchRadarSliceCB(void* slice);
};

#endif
