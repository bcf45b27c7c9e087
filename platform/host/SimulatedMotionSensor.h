// The motion-sensor library of the simulated TV: a radar module that shows a
// scene synthesised live or replays a recording, configured in the "radar"
// area of the platform store (keys and when they are read: RadarConfig.h).
//
// Time: the source's clock starts when init() loads it (and again when a
// changed configuration is reloaded); start() rewinds a recording to its
// first frame, while a scene simply goes on. Presence reads follow the
// source's clock in real time; the stream delivers one frame per 0.1 s of
// the steady clock (absolute deadlines, so it does not drift; the service's
// time scale does not apply), slice 0 then slice 1 through the registered
// callback on the module's own thread. A recording that does not loop stops
// delivering after its last frame until the next start().
//
// Results: 0 on success, -EINVAL for bad arguments, -EPERM for presence reads
// and start() before a successful init(), -EIO for failures (faults set in
// the configuration, an unreadable source). spiValidationCheck() returns 1
// when the check passes and 0 when it fails.
#ifndef TESSIVO_PLATFORM_HOST_SIMULATEDMOTIONSENSOR_H
#define TESSIVO_PLATFORM_HOST_SIMULATEDMOTIONSENSOR_H

#include <IMotionSensor.h>
#include <errno.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include "RadarConfig.h"
#include "RadarSource.h"

class SimulatedMotionSensor : public IMotionSensor {
public:
    static constexpr int kErrorInvalid = -EINVAL;
    static constexpr int kErrorNotInitialised = -EPERM;
    static constexpr int kErrorFailed = -EIO;

    // How often a frame is delivered.
    static constexpr std::chrono::milliseconds kFramePeriod{100};

    SimulatedMotionSensor();
    // Stops streaming first.
    ~SimulatedMotionSensor() override;

    // \context Thread-safe.
    int getPresenceReport(int request, uint8_t* buffer, int32_t* length) override;
    // 1 while frames are being delivered (started, and a recording not at its end).
    // \context Thread-safe.
    int getState(int32_t* state) override;
    // Loads the configured source and restarts its clock; does nothing while
    // streaming.
    // \context Thread-safe.
    int init() override;
    // Idempotent. Fails before a successful init().
    // \context Thread-safe; not from the slice callback.
    int start() override;
    // Idempotent; returns when no callback runs any more.
    // \context Thread-safe; not from the slice callback.
    int stop() override;
    // \context Thread-safe.
    int getSensitivity(int32_t* sensitivity) override;
    // Stores 1..3 in the configuration.
    // \context Thread-safe.
    int setSensitivity(int32_t sensitivity) override;
    // \context Thread-safe.
    int getFirmwareVersion(float* version) override;
    // Takes effect from the next slice; null delivers nothing.
    // \context Thread-safe.
    int motion_register_callback(MotionSliceCallback callback) override;
    // \context Thread-safe.
    int spiValidationCheck() override;

private:
    struct StreamPlan;

    // Reloads the source when its configuration changed (or always when
    // forced). Called with m_stateMutex held.
    void _RefreshSource(bool force);
    bool _OpenRecorder(const RadarSource& source, StreamPlan* plan);
    void _Stream(std::shared_ptr<StreamPlan> plan);
    // Writes the frame's ground truth for readers of the platform directory
    // (RadarTruthFile.h), before the frame goes out.
    void _PublishTruth(StreamPlan* plan);
    void _DeliverFrame(StreamPlan* plan, const RadarStreamFaults& faults);

    // Serialises init, start and stop; held while stop joins the stream.
    std::mutex m_controlMutex;
    bool m_started = false;
    std::thread m_thread;
    std::string m_lastRecordPath;

    // Guards the source and its clock, shared with presence reads.
    std::mutex m_stateMutex;
    bool m_initialised = false;
    bool m_streamActive = false;
    std::shared_ptr<const RadarSource> m_source;
    RadarSourceSettings m_sourceSettings;
    std::chrono::steady_clock::time_point m_origin;
    bool m_presenceFailureLogged = false;

    // Wakes the stream for stop.
    std::mutex m_streamMutex;
    std::condition_variable m_streamWake;
    bool m_stopRequested = false;

    std::atomic<bool> m_delivering{false};
    std::atomic<MotionSliceCallback> m_callback{nullptr};
};

#endif
