// The activity segmentation pipeline: owns the radar SDK objects that turn
// each radar frame into the occupancy of six segments and up to ten tracked
// targets, publishes every result to the request dispatcher and the state
// manager, fronts the sensor for the mode logic and keeps the latest presence
// result for clients.
//
// Exactly one object exists. Frames arrive on the sensor library's callback
// thread (RadarFetch pairs the slices) and are processed there synchronously;
// the object's own thread only idles.
#ifndef TESSIVO_SEGMENTATION_ACTIVITYSEGMENT_H
#define TESSIVO_SEGMENTATION_ACTIVITYSEGMENT_H

#include <glib.h>
#include <ifxRadarSDK.h>

#include <atomic>

#include "ContextData.h"
#include "ContextThread.h"
#include "IContextEventSink.h"
#include "SegmentationConfig.h"

class ActivitySegment : public ContextThread {
public:
    // Events that carry an activity result document (a malloc'ed,
    // NUL-terminated text the receiver frees with free()).
    static constexpr int kDispatcherResultEvent = 10;
    static constexpr int kStateManagerResultEvent = 0;
    static constexpr int kResultPriority = 10;

    // Read results.
    static constexpr int kReadDone = 0;
    static constexpr int kReadUnknownSubject = -1;
    static constexpr int kReadNoPresence = -4;

    // Initialises the sensor and registers the slice callback (streaming does
    // not start), configures the pipeline and becomes RadarFetch's frame
    // receiver. dispatcher receives every result document. \context Main thread.
    explicit ActivitySegment(IContextEventSink* dispatcher);
    // Releases the SDK objects and stops receiving frames; the sensor should
    // not be streaming any more. \context Main thread.
    ~ActivitySegment() override;

    // Start and stop the idle thread; always true. \context Main thread.
    bool Start();
    bool Stop();

    // \context Mode thread.
    void InitSensor();
    // Streaming on and off: every second slice then runs one pipeline step.
    // \context Mode thread.
    void StartSensor();
    void StopSensor();
    // Whether the service has the radar streaming. \context Thread-safe.
    bool IsStreaming() const { return m_bStreaming.load(); }
    // \context Main thread (service start-up).
    int SpiValidationCheck();
    // One presence report: 1 with presence and distance set, 0 (outputs
    // untouched) when the read fails. \context Mode threads.
    int ReadPresence(int* presence, double* distance);
    // Second receiver of result documents; null detaches it.
    // \context Main thread, before streaming starts.
    void SetStateManager(IContextEventSink* stateManager);

    // The track-segment subscription flag, kept for the dispatcher.
    // \context Thread-safe.
    void SetDemoViewerSubscribe(int subscribe);
    // \context Thread-safe.
    int GetDemoViewerSubscribe();

    // The latest presence result: detection value and distance (formatted
    // with two decimals). \context Thread-safe.
    void SetPresenceResult(int detection, double distance);
    // Answers "KAE/GET/PRESENCE/" (the detection value as decimal text) and
    // "KAE/GET/PRESENCE_DISTANCE/" (the presence document) through *out, a
    // malloc'ed text the caller frees. Returns kReadDone, kReadUnknownSubject
    // (*out untouched) or kReadNoPresence (null subject or a stored detection
    // value of -4; *out untouched). arg is not used. \context Thread-safe.
    int Read(const char* subject, const char* arg, char** out);
    // Wall times in microseconds since the epoch (0: never) of the last
    // presence reading stored for clients (failed reads are none) and of the
    // last result document published. \context Thread-safe.
    int64_t GetLastPresenceTimeUs() const { return m_nLastPresenceUs.load(); }
    static int64_t GetLastResultTimeUs();

    // Pipeline steps on a record of SDK objects; each returns (or leaves)
    // ifx_error_get(). \context One thread at a time per record.
    static ifx_Error_t ConfigSegment(segmentation_t* seg, const ifx_Device_Config_t* device);
    // Zero-fills the record: 0, or IFX_ERROR_ARGUMENT_NULL for null.
    static int InitSegment(segmentation_t* seg);
    // The raw frame (kRawFrameSamples samples) scaled by 1/4095 into the
    // record's cube, receiver 0 in slice 1 and receiver 1 in slice 0. frame
    // must have the raw frame's geometry (2 x 64 x 128).
    static void GetNextFrame(unsigned short* raw, segmentation_t* seg, ifx_Frame_R_t* frame);
    // The raw frame scaled by 1/4095 into the frame's antenna matrices, in
    // order. The frame may hold at most the raw frame's samples.
    static void GetNextFrame(unsigned short* raw, ifx_Frame_R_t* frame);
    // One segmentation run on the record's cube; frame is not used.
    static ifx_Error_t ProcessSegment(segmentation_t* seg, ifx_Frame_R_t* frame);
    static ifx_Error_t CleanupSegment(segmentation_t* seg);
    // Recordings are not read by the service: only reports the last error.
    static ifx_Error_t GetDataFromFile(segmentation_t* seg, const ifx_Device_Config_t* device);

    // One pipeline step on a raw frame: cube, segmentation, publication.
    // \context Sensor library's callback thread.
    static void FetchRadarFrameCB(unsigned short* raw);
    // A slice callback with its own pairing, not registered by the service.
    // \context Sensor library's callback thread.
    static void FetchRadarSliceCB(void* slice);

    // Sends the result document of one frame, one copy to the dispatcher
    // (event kDispatcherResultEvent) and one to the state manager (event
    // kStateManagerResultEvent). Null containers record
    // IFX_ERROR_ARGUMENT_NULL and send nothing. A copy that no receiver takes
    // is freed here. \context Sensor library's callback thread.
    static void PublishResult(ifx_Vector_R_s* segments, ifx_Matrix_R_s* tracks);
    // Logs the same data. \context Any thread that owns the containers.
    static void PrintResult(ifx_Vector_R_s* segments, ifx_Matrix_R_s* tracks);

protected:
    // Idles in 2-second sleeps while running.
    void OnThread() override;

private:
    GMutex m_mutex;
    ifx_Device_Config_t m_deviceConfig;
    ContextData m_presenceData;  // guarded by m_mutex
    int m_nPresence;             // guarded by m_mutex
    std::atomic<int> m_nDemoViewerSubscribe;
    std::atomic<bool> m_bStreaming;
    std::atomic<int64_t> m_nLastPresenceUs;
    int m_nPresenceLevel;  // guarded by m_mutex
};

#endif
