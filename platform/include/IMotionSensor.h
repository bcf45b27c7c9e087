/*
 * The motion-sensor library: the process-wide object through which the radar
 * module is reached. Every operation returns 0 on success.
 */
#ifndef TESSIVO_PLATFORM_IMOTIONSENSOR_H
#define TESSIVO_PLATFORM_IMOTIONSENSOR_H

#include <stdint.h>

// Receives one slice: half a frame, kSliceBytes of packed 12-bit samples. It
// runs on the library's own thread.
typedef void (*MotionSliceCallback)(void* slice);

class IMotionSensor {
public:
    static IMotionSensor* getInstance();

    // Request code of getPresenceReport for the presence report.
    static const int kPresenceReport = 1;
    // Size of the presence report buffer.
    static const int kPresenceReportSize = 12;

    virtual ~IMotionSensor() = default;

    // Fills buffer with the report of the given request; *length is the
    // buffer's size on the way in and the report's on the way out.
    virtual int getPresenceReport(int request, uint8_t* buffer, int32_t* length) = 0;
    // State of the module: 0 idle, 1 streaming (the service does not use it).
    virtual int getState(int32_t* state) = 0;
    virtual int init() = 0;
    virtual int start() = 0;
    virtual int stop() = 0;
    // Detection sensitivity: 1 high, 2 medium, 3 low.
    virtual int getSensitivity(int32_t* sensitivity) = 0;
    virtual int setSensitivity(int32_t sensitivity) = 0;
    virtual int getFirmwareVersion(float* version) = 0;
    virtual int motion_register_callback(MotionSliceCallback callback) = 0;
    // Checks the SPI link to the module; non-zero when it works.
    virtual int spiValidationCheck() = 0;
};

#endif
