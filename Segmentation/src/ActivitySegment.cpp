#include "ActivitySegment.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <algorithm>
#include <string>

#include "ActivityResult.h"
#include "ContextAutoLock.h"
#include "ContextClock.h"
#include "ContextLog.h"
#include "KaeInterface.h"
#include "RadarCube.h"
#include "RadarFetch.h"

namespace {

const char kDetectionKey[] = "detection";
const char kDistanceKey[] = "distance";
// The distance text is formatted into a buffer of this size.
const size_t kDistanceTextSize = 10;

// The idle thread wakes every 2 seconds, but looks at its running flag more
// often so that Stop() does not wait for a whole period.
const int64_t kIdlePeriodUs = 2000000;
const int64_t kIdleStepUs = 100000;

// Full scale of a 12-bit sample: it maps to exactly 1.0.
const ifx_Float_t kFullScale = 4095.0f;
// Columns a track row needs: id, range, angle, velocity.
const uint32_t kTrackColumns = 4;

segmentation_t s_segmentation;
ifx_Frame_R_t* s_pFrame = nullptr;
// Set on the main thread during start-up and read by the sensor callback.
std::atomic<IContextEventSink*> s_pDispatcher{nullptr};
std::atomic<IContextEventSink*> s_pStateManager{nullptr};
// Wall time of the last published result (0: none yet), for the status.
std::atomic<int64_t> s_nLastResultUs{0};
// Pairing state of ActivitySegment::FetchRadarSliceCB, sensor thread only.
int s_nLocalSliceCount = 0;
uint16_t s_localFrameBuffer[RadarFetch::kFrameSamples];

// Hands a private copy of text to sink as event id. A copy that nobody takes
// (no receiver attached, or its queue refused it) is released here.
void HandOver(IContextEventSink* sink, int id, const std::string& text) {
    char* copy = strdup(text.c_str());
    if (copy == nullptr) {
        KAE_LOGE("Memory Allocation Fail");
        return;
    }
    if (sink == nullptr || !sink->PushEvent(id, copy, ActivitySegment::kResultPriority)) {
        free(copy);
    }
}

// A malloc'ed copy of text stored through out; false when memory is short.
bool CopyOut(const char* text, char** out) {
    char* copy = strdup(text);
    if (copy == nullptr) {
        KAE_LOGE("Memory Allocation Fail");
        return false;
    }
    *out = copy;
    return true;
}

}  // namespace

ActivitySegment::ActivitySegment(IContextEventSink* dispatcher)
    : m_deviceConfig(),
      m_nPresence(-1),
      m_nDemoViewerSubscribe(0),
      m_bStreaming(false),
      m_nLastPresenceUs(0),
      m_nPresenceLevel(-1) {
    g_mutex_init(&m_mutex);
    s_pDispatcher = dispatcher;
    // The presence document starts empty, as an unparsed text leaves it.
    m_presenceData.MakeData(nullptr);
    KAE_LOGI("Infineon SDK version : %s", ifx_sdk_get_version_string_full());

    RadarFetch::Init();
    RadarFetch::RegistCallback();

    m_deviceConfig = kDefaultDeviceConfig;
    RadarFetch::SetActivitySegmentObj(this);

    memset(&s_segmentation, 0, sizeof(s_segmentation));
    // A pipeline that could not be built fails every run later, and each
    // such frame is logged there.
    static_cast<void>(ConfigSegment(&s_segmentation, &kDefaultDeviceConfig));
    s_pFrame = ifx_frame_create_r(kRawAntennas, kDefaultDeviceConfig.num_chirps_per_frame,
                                  kDefaultDeviceConfig.num_samples_per_chirp);
    KAE_LOGI("num antennas:%d, num_chirps:%d, num samples:%d", static_cast<int>(kRawAntennas),
             static_cast<int>(kDefaultDeviceConfig.num_chirps_per_frame),
             static_cast<int>(kDefaultDeviceConfig.num_samples_per_chirp));
}

ActivitySegment::~ActivitySegment() {
    // Frames that still come in are dropped rather than run on freed objects.
    RadarFetch::SetActivitySegmentObj(nullptr);
    if (s_pFrame != nullptr) {
        ifx_frame_destroy_r(s_pFrame);
        s_pFrame = nullptr;
    }
    CleanupSegment(&s_segmentation);
    s_pDispatcher = nullptr;
    s_pStateManager = nullptr;
    g_mutex_clear(&m_mutex);
}

bool ActivitySegment::Start() {
    ContextThread::Start();
    return true;
}

bool ActivitySegment::Stop() {
    ContextThread::Stop();
    return true;
}

void ActivitySegment::OnThread() {
    while (IsRunning()) {
        const int64_t deadline = ContextClock::MonotonicUs() + kIdlePeriodUs;
        for (int64_t now = ContextClock::MonotonicUs(); IsRunning() && now < deadline;
             now = ContextClock::MonotonicUs()) {
            ContextClock::SleepUs(std::min(kIdleStepUs, deadline - now));
        }
    }
}

void ActivitySegment::InitSensor() {
    RadarFetch::Init();
}

void ActivitySegment::StartSensor() {
    RadarFetch::Start();
    m_bStreaming = true;
    KAE_LOGI("sensor started!!");
}

void ActivitySegment::StopSensor() {
    RadarFetch::Stop();
    m_bStreaming = false;
    KAE_LOGI("sensor stopped!!");
}

int ActivitySegment::SpiValidationCheck() {
    return RadarFetch::SpiValidationCheck();
}

int ActivitySegment::ReadPresence(int* presence, double* distance) {
    if (presence == nullptr || distance == nullptr) {
        KAE_LOGE("presence or distance is null");
        return 0;
    }
    int level = -1;
    const int result = RadarFetch::FetchPresenceData(presence, distance, &level);
    if (result == 1) {
        ContextAutoLock lock(&m_mutex);
        m_nPresenceLevel = level;
    }
    return result;
}

void ActivitySegment::SetStateManager(IContextEventSink* stateManager) {
    s_pStateManager = stateManager;
}

void ActivitySegment::SetDemoViewerSubscribe(int subscribe) {
    m_nDemoViewerSubscribe = subscribe;
}

int ActivitySegment::GetDemoViewerSubscribe() {
    return m_nDemoViewerSubscribe;
}

ifx_Error_t ActivitySegment::ConfigSegment(segmentation_t* seg, const ifx_Device_Config_t* device) {
    return ConfigSegmentPipeline(seg, device);
}

int ActivitySegment::InitSegment(segmentation_t* seg) {
    if (seg == nullptr) {
        ifx_error_set(IFX_ERROR_ARGUMENT_NULL);
        return IFX_ERROR_ARGUMENT_NULL;
    }
    memset(seg, 0, sizeof(*seg));
    return 0;
}

void ActivitySegment::GetNextFrame(unsigned short* raw, segmentation_t* seg, ifx_Frame_R_t* frame) {
    if (seg == nullptr || frame == nullptr || frame->rx_data == nullptr ||
        frame->rx_data[0] == nullptr) {
        ifx_error_set(IFX_ERROR_ARGUMENT_NULL);
        return;
    }
    // The frame object gives the geometry; the cube is filled for the one
    // geometry the raw frames have.
    const ifx_Matrix_R_t* first = frame->rx_data[0];
    if (frame->num_rx != kRawAntennas || mRows(first) != kRawChirps ||
        mCols(first) != kRawSamples) {
        ifx_error_set(IFX_ERROR_DIMENSION_MISMATCH);
        return;
    }
    RawFrameToCube(raw, seg->cube);
}

void ActivitySegment::GetNextFrame(unsigned short* raw, ifx_Frame_R_t* frame) {
    if (raw == nullptr || frame == nullptr || frame->rx_data == nullptr || frame->num_rx == 0 ||
        frame->rx_data[0] == nullptr) {
        ifx_error_set(IFX_ERROR_ARGUMENT_NULL);
        return;
    }
    const uint32_t antennas = frame->num_rx;
    const uint32_t chirps = mRows(frame->rx_data[0]);
    const uint32_t samples = mCols(frame->rx_data[0]);
    // Every index the layout can reach must lie inside the raw frame.
    if (static_cast<uint64_t>(antennas) * chirps * samples > kRawFrameSamples) {
        ifx_error_set(IFX_ERROR_DIMENSION_MISMATCH);
        return;
    }
    for (uint32_t a = 0; a < antennas; ++a) {
        const ifx_Matrix_R_t* matrix = frame->rx_data[a];
        if (matrix == nullptr || mDat(matrix) == nullptr) {
            ifx_error_set(IFX_ERROR_ARGUMENT_NULL);
            return;
        }
        if (mRows(matrix) != chirps || mCols(matrix) != samples) {
            ifx_error_set(IFX_ERROR_DIMENSION_MISMATCH);
            return;
        }
    }
    for (uint32_t a = 0; a < antennas; ++a) {
        ifx_Matrix_R_t* matrix = frame->rx_data[a];
        for (uint32_t c = 0; c < chirps; ++c) {
            for (uint32_t s = 0; s < samples; ++s) {
                mAt(matrix, c, s) =
                    static_cast<ifx_Float_t>(raw[a + antennas * (c * samples + s)]) / kFullScale;
            }
        }
    }
    ifx_error_set(IFX_OK);
}

ifx_Error_t ActivitySegment::ProcessSegment(segmentation_t* seg, ifx_Frame_R_t* frame) {
    static_cast<void>(frame);
    if (seg == nullptr) {
        ifx_error_set(IFX_ERROR_ARGUMENT_NULL);
        return IFX_ERROR_ARGUMENT_NULL;
    }
    ifx_segmentation_run(seg->handle, seg->cube, seg->segments, seg->tracks);
    return ifx_error_get();
}

ifx_Error_t ActivitySegment::CleanupSegment(segmentation_t* seg) {
    return CleanupSegmentPipeline(seg);
}

ifx_Error_t ActivitySegment::GetDataFromFile(segmentation_t* seg,
                                             const ifx_Device_Config_t* device) {
    static_cast<void>(seg);
    static_cast<void>(device);
    return ifx_error_get();
}

void ActivitySegment::FetchRadarFrameCB(unsigned short* raw) {
    GetNextFrame(raw, &s_segmentation, s_pFrame);
    ifx_Error_t err = ifx_error_get();
    if (err == IFX_OK) {
        err = ProcessSegment(&s_segmentation, s_pFrame);
    }
    if (err != IFX_OK) {
        KAE_LOGE("Error: %s (%d) ", ifx_error_to_string(err), err);
        return;
    }
    PublishResult(s_segmentation.segments, s_segmentation.tracks);
}

void ActivitySegment::FetchRadarSliceCB(void* slice) {
    if (slice == nullptr) {
        KAE_LOGE("slice data is null");
        return;
    }
    const uint8_t* bytes = static_cast<const uint8_t*>(slice);
    if (s_nLocalSliceCount == 0) {
        unpack_raw12(bytes, RadarFetch::kSliceBytes, s_localFrameBuffer);
        s_nLocalSliceCount = 1;
    } else if (s_nLocalSliceCount == 1) {
        unpack_raw12(bytes, RadarFetch::kSliceBytes,
                     s_localFrameBuffer + RadarFetch::kFrameSamples / 2);
        FetchRadarFrameCB(s_localFrameBuffer);
        s_nLocalSliceCount = 0;
    }
}

void ActivitySegment::PublishResult(ifx_Vector_R_s* segments, ifx_Matrix_R_s* tracks) {
    if (segments == nullptr) {
        ifx_error_set_internal(IFX_ERROR_ARGUMENT_NULL, __FILE__, __func__, __LINE__);
        return;
    }
    if (tracks == nullptr) {
        ifx_error_set_internal(IFX_ERROR_ARGUMENT_NULL, __FILE__, __func__, __LINE__);
        return;
    }
    std::string text;
    if (!MakeActivityResultText(segments, tracks, &text)) {
        return;
    }
    // Each receiver gets a copy of its own and frees it; the dispatcher
    // filters by subscription itself.
    HandOver(s_pDispatcher.load(), kDispatcherResultEvent, text);
    HandOver(s_pStateManager.load(), kStateManagerResultEvent, text);
    s_nLastResultUs = ContextClock::WallTimeUs();
}

int64_t ActivitySegment::GetLastResultTimeUs() {
    return s_nLastResultUs.load();
}

void ActivitySegment::PrintResult(ifx_Vector_R_s* segments, ifx_Matrix_R_s* tracks) {
    if (segments == nullptr || vDat(segments) == nullptr) {
        ifx_error_set_internal(IFX_ERROR_ARGUMENT_NULL, __FILE__, __func__, __LINE__);
        return;
    }
    if (tracks == nullptr || mDat(tracks) == nullptr) {
        ifx_error_set_internal(IFX_ERROR_ARGUMENT_NULL, __FILE__, __func__, __LINE__);
        return;
    }
    if (vLen(segments) < static_cast<uint32_t>(kActivityResultSegments) ||
        mCols(tracks) < kTrackColumns) {
        ifx_error_set_internal(IFX_ERROR_DIMENSION_MISMATCH, __FILE__, __func__, __LINE__);
        return;
    }
    KAE_LOGI("segments : %d, %d, %d, %d, %d, %d", TruncateResultValue(vAt(segments, 0)),
             TruncateResultValue(vAt(segments, 1)), TruncateResultValue(vAt(segments, 2)),
             TruncateResultValue(vAt(segments, 3)), TruncateResultValue(vAt(segments, 4)),
             TruncateResultValue(vAt(segments, 5)));
    for (uint32_t row = 0; row < mRows(tracks); ++row) {
        if (mAt(tracks, row, 0) == 0.0f) {
            continue;
        }
        KAE_LOGI("tracks : %d, %5.2f, %5.2f, %5.2f", TruncateResultValue(mAt(tracks, row, 0)),
                 static_cast<double>(mAt(tracks, row, 1)), static_cast<double>(mAt(tracks, row, 2)),
                 static_cast<double>(mAt(tracks, row, 3)));
    }
}

void ActivitySegment::SetPresenceResult(int detection, double distance) {
    if (detection != kReadNoPresence) {
        m_nLastPresenceUs = ContextClock::WallTimeUs();
    }
    ContextAutoLock lock(&m_mutex);
    char text[kDistanceTextSize];
    snprintf(text, sizeof(text), "%.2f", distance);
    m_nPresence = detection;
    ContextData document;
    document.SetValue(kDetectionKey, detection);
    document.SetValue(kDistanceKey, text);
    m_presenceData = std::move(document);
}

int ActivitySegment::Read(const char* subject, const char* arg, char** out) {
    static_cast<void>(arg);
    if (subject == nullptr) {
        KAE_LOGE("subject is null");
        return kReadNoPresence;
    }
    if (out == nullptr) {
        KAE_LOGE("out is null");
        return kReadNoPresence;
    }
    ContextAutoLock lock(&m_mutex);
    // A stored detection value of -4 is the module's "no data" and is
    // passed through as the status.
    if (m_nPresence == kReadNoPresence) {
        return kReadNoPresence;
    }
    if (strcmp(subject, KAE_SUBJECT_PRESENCE) == 0) {
        const std::string text = std::to_string(m_nPresence);
        if (!CopyOut(text.c_str(), out)) {
            return kReadNoPresence;
        }
        KAE_LOGI("presence : %s", *out);
        return kReadDone;
    }
    if (strcmp(subject, KAE_SUBJECT_PRESENCE_DISTANCE) == 0) {
        if (!CopyOut(m_presenceData.MakeStr(), out)) {
            return kReadNoPresence;
        }
        KAE_LOGI("presence, distance : %s", *out);
        return kReadDone;
    }
    return kReadUnknownSubject;
}
