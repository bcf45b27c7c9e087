#include "SimulatedMotionSensor.h"

#include <inttypes.h>
#include <math.h>
#include <string.h>
#include <sys/stat.h>

#include <system_error>
#include <vector>

#include "MotionSensorLog.h"
#include "PlatformStore.h"
#include "RadarFrameFormat.h"
#include "RadarPresence.h"
#include "RadarRecorder.h"
#include "RadarTruthFile.h"

namespace {

using Clock = std::chrono::steady_clock;

// A stream that falls further behind than this (the process was stopped, a
// callback took very long) resumes from now instead of delivering a burst.
constexpr std::chrono::seconds kMaxLateness{1};

double SecondsBetween(Clock::time_point from, Clock::time_point to) {
    return std::chrono::duration<double>(to - from).count();
}

bool SameFile(const std::string& a, const std::string& b) {
    struct stat sa;
    struct stat sb;
    if (stat(a.c_str(), &sa) != 0 || stat(b.c_str(), &sb) != 0) {
        return a == b;
    }
    return sa.st_dev == sb.st_dev && sa.st_ino == sb.st_ino;
}

const char* KindName(const RadarSourceSettings& settings) {
    return settings.kind == RadarSourceSettings::Kind::Scene ? "scene" : "recording";
}

}  // namespace

struct SimulatedMotionSensor::StreamPlan {
    std::shared_ptr<const RadarSource> source;
    std::unique_ptr<RadarFrameProducer> producer;
    std::unique_ptr<RadarRecorder> recorder;
    std::string recordPath;
    int64_t firstFrame = 0;  // on the source's clock
    Clock::time_point origin;
    int64_t tick = 0;    // frame periods since origin
    int64_t slices = 0;  // slices made since start, delivered or not
    std::vector<uint8_t> frame = std::vector<uint8_t>(radar::kFrameBytes);
    std::vector<radar::TruthTarget> people;  // in `frame`, when hasTruth
    bool hasTruth = false;
    bool truthFailureLogged = false;
};

IMotionSensor* IMotionSensor::getInstance() {
    static SimulatedMotionSensor instance;
    return &instance;
}

SimulatedMotionSensor::SimulatedMotionSensor() : m_origin(Clock::now()) {}

SimulatedMotionSensor::~SimulatedMotionSensor() {
    stop();
}

void SimulatedMotionSensor::_RefreshSource(bool force) {
    RadarSourceSettings settings = RadarConfig::ReadSourceSettings();
    if (!force && m_source && settings == m_sourceSettings) {
        return;
    }
    m_sourceSettings = settings;
    std::string error;
    std::string warning;
    m_source = RadarSource::Load(settings, false, &error, &warning);
    if (!m_source) {
        MOTION_LOGE("cannot load the %s: %s; showing an empty room", KindName(settings),
                    error.c_str());
        m_source = RadarSource::EmptyRoom();
    } else if (!warning.empty()) {
        MOTION_LOGE("%s", warning.c_str());
    }
    m_origin = Clock::now();
    if (m_source->IsRecording()) {
        MOTION_LOGI("source: recording %s, %" PRId64 " frames%s%s", settings.path.c_str(),
                    m_source->FrameCount(), settings.loop ? ", looping" : "",
                    m_source->HasTruth() ? ", with truth" : "");
    } else {
        MOTION_LOGI("source: scene %s", settings.path.empty() ? "(none)" : settings.path.c_str());
    }
}

int SimulatedMotionSensor::getPresenceReport(int request, uint8_t* buffer, int32_t* length) {
    if (request != kPresenceReport || buffer == nullptr || length == nullptr ||
        *length < RadarPresence::kReportSize) {
        MOTION_LOGE("getPresenceReport: bad arguments (request %d, buffer %p, length %d)", request,
                    static_cast<void*>(buffer), length != nullptr ? *length : -1);
        return kErrorInvalid;
    }
    bool fault = RadarConfig::ReadFault(RadarConfig::kFaultPresence);
    double reach = RadarPresence::ReachForSensitivity(RadarConfig::ReadSensitivity());

    std::vector<radar::TruthTarget> now;
    std::vector<radar::TruthTarget> other;
    {
        std::lock_guard<std::mutex> lock(m_stateMutex);
        if (!m_initialised || fault) {
            if (!m_presenceFailureLogged) {
                MOTION_LOGE("presence reads fail: %s", !m_initialised
                                                           ? "the module is not initialised"
                                                           : "fault radar/fault/presence is on");
                m_presenceFailureLogged = true;
            }
            return !m_initialised ? kErrorNotInitialised : kErrorFailed;
        }
        if (m_presenceFailureLogged) {
            MOTION_LOGI("presence reads work again");
            m_presenceFailureLogged = false;
        }
        if (!m_streamActive) {
            _RefreshSource(false);
        }
        double seconds = SecondsBetween(m_origin, Clock::now());
        now = m_source->PeopleAt(seconds);
        other = m_source->PeopleAt(seconds >= RadarPresence::kSpeedWindowS
                                       ? seconds - RadarPresence::kSpeedWindowS
                                       : seconds + RadarPresence::kSpeedWindowS);
    }
    RadarPresence::Build(now, other, reach, buffer);
    *length = RadarPresence::kReportSize;
    return 0;
}

int SimulatedMotionSensor::getState(int32_t* state) {
    if (state == nullptr) {
        return kErrorInvalid;
    }
    *state = m_delivering.load() ? 1 : 0;
    return 0;
}

int SimulatedMotionSensor::init() {
    std::lock_guard<std::mutex> control(m_controlMutex);
    if (m_started) {
        MOTION_LOGI("init while streaming: nothing to do");
        return 0;
    }
    bool fault = RadarConfig::ReadFault(RadarConfig::kFaultInit);
    std::lock_guard<std::mutex> lock(m_stateMutex);
    if (fault) {
        MOTION_LOGE("init failed: fault radar/fault/init is on");
        m_initialised = false;
        return kErrorFailed;
    }
    _RefreshSource(true);
    m_initialised = true;
    m_presenceFailureLogged = false;
    MOTION_LOGI("initialised");
    return 0;
}

bool SimulatedMotionSensor::_OpenRecorder(const RadarSource& source, StreamPlan* plan) {
    std::string path = RadarConfig::ReadRecordPath();
    if (path.empty()) {
        return true;
    }
    if (source.IsRecording() && SameFile(path, source.Settings().path)) {
        MOTION_LOGE("not recording to %s: it is the recording being replayed", path.c_str());
        return false;
    }
    // A path recorded by the previous stream gathers this one too.
    bool append = path == m_lastRecordPath;
    std::unique_ptr<RadarRecorder> recorder(new RadarRecorder());
    std::string error;
    if (!recorder->Open(path, append, &error)) {
        MOTION_LOGE("not recording: %s", error.c_str());
        return false;
    }
    MOTION_LOGI("recording what is delivered to %s%s", path.c_str(), append ? " (appending)" : "");
    m_lastRecordPath = path;
    plan->recorder = std::move(recorder);
    plan->recordPath = path;
    return true;
}

int SimulatedMotionSensor::start() {
    std::lock_guard<std::mutex> control(m_controlMutex);
    if (m_started) {
        MOTION_LOGD("start: already started");
        return 0;
    }
    auto plan = std::make_shared<StreamPlan>();
    {
        std::lock_guard<std::mutex> lock(m_stateMutex);
        if (!m_initialised) {
            MOTION_LOGE("start failed: the module is not initialised");
            return kErrorNotInitialised;
        }
        _RefreshSource(false);
        Clock::time_point now = Clock::now();
        if (m_source->IsRecording()) {
            m_origin = now;  // a replay starts from its first frame
        }
        plan->source = m_source;
        plan->origin = now;
        plan->firstFrame =
            static_cast<int64_t>(floor(SecondsBetween(m_origin, now) * radar::kFrameRateHz));
    }
    std::string error;
    plan->producer = plan->source->NewProducer(&error);
    if (!plan->producer) {
        MOTION_LOGE("start failed: %s", error.c_str());
        return kErrorFailed;
    }
    _OpenRecorder(*plan->source, plan.get());

    {
        std::lock_guard<std::mutex> lock(m_streamMutex);
        m_stopRequested = false;
    }
    m_delivering = true;
    try {
        m_thread = std::thread(&SimulatedMotionSensor::_Stream, this, plan);
    } catch (const std::system_error& e) {
        m_delivering = false;
        MOTION_LOGE("start failed: no thread: %s", e.what());
        return kErrorFailed;
    }
    {
        std::lock_guard<std::mutex> lock(m_stateMutex);
        m_streamActive = true;
    }
    m_started = true;
    MOTION_LOGI("streaming started");
    return 0;
}

int SimulatedMotionSensor::stop() {
    std::lock_guard<std::mutex> control(m_controlMutex);
    if (!m_started) {
        MOTION_LOGD("stop: already stopped");
        return 0;
    }
    {
        std::lock_guard<std::mutex> lock(m_streamMutex);
        m_stopRequested = true;
    }
    m_streamWake.notify_all();
    m_thread.join();
    m_started = false;
    {
        std::lock_guard<std::mutex> lock(m_stateMutex);
        m_streamActive = false;
    }
    MOTION_LOGI("streaming stopped");
    return 0;
}

void SimulatedMotionSensor::_Stream(std::shared_ptr<StreamPlan> plan) {
    bool stalled = false;
    for (plan->tick = 1;; ++plan->tick) {
        Clock::time_point deadline = plan->origin + plan->tick * kFramePeriod;
        {
            std::unique_lock<std::mutex> lock(m_streamMutex);
            if (m_streamWake.wait_until(lock, deadline, [this] { return m_stopRequested; })) {
                break;
            }
        }
        Clock::duration late = Clock::now() - deadline;
        if (late > kMaxLateness) {
            MOTION_LOGW("stream %lld ms late, going on from now",
                        static_cast<long long>(
                            std::chrono::duration_cast<std::chrono::milliseconds>(late).count()));
            plan->origin += late;
        }

        RadarStreamFaults faults = RadarConfig::ReadStreamFaults();
        if (faults.noStream != stalled) {
            stalled = faults.noStream;
            if (stalled) {
                MOTION_LOGE("fault radar/fault/no_stream is on: delivering nothing");
            } else {
                MOTION_LOGI("fault radar/fault/no_stream is off: delivering again");
            }
        }
        if (stalled) {
            continue;
        }
        int64_t frame = plan->source->SourceFrame(plan->firstFrame + plan->tick - 1);
        if (frame < 0) {
            MOTION_LOGI("end of the recording after %" PRId64
                        " frames: nothing more is delivered until the next start",
                        plan->source->FrameCount());
            break;
        }
        std::string error;
        if (!plan->producer->Produce(frame, plan->frame.data(), &plan->people, &plan->hasTruth,
                                     &error)) {
            MOTION_LOGE("stream ends: %s", error.c_str());
            break;
        }
        _PublishTruth(plan.get());
        _DeliverFrame(plan.get(), faults);
    }
    m_delivering = false;
    if (plan->recorder) {
        int64_t slices = plan->recorder->SlicesWritten();
        std::string error;
        if (!plan->recorder->Close(&error)) {
            MOTION_LOGE("%s", error.c_str());
        } else {
            MOTION_LOGI("%s now holds %" PRId64 " slices", plan->recordPath.c_str(), slices);
        }
    }
}

void SimulatedMotionSensor::_PublishTruth(StreamPlan* plan) {
    RadarTruthFrame truth;
    truth.frame = plan->tick;
    truth.hasTruth = plan->hasTruth;
    if (plan->hasTruth) {
        truth.people = plan->people;
    }
    int ret = RadarTruthFile::Write(truth);
    // Readers only look on; a directory they cannot get is said once.
    if (ret != 0 && !plan->truthFailureLogged) {
        MOTION_LOGW("cannot write %s: %s", RadarTruthFile::PathOf().c_str(), strerror(-ret));
        plan->truthFailureLogged = true;
    }
}

void SimulatedMotionSensor::_DeliverFrame(StreamPlan* plan, const RadarStreamFaults& faults) {
    bool frameBegun = false;
    for (int half = 0; half < 2; ++half) {
        ++plan->slices;
        if (faults.dropSliceEvery > 0 && plan->slices % faults.dropSliceEvery == 0) {
            MOTION_LOGD("fault: slice %" PRId64 " dropped", plan->slices);
            if (plan->recorder) {
                plan->recorder->LoseAlignment();
            }
            continue;
        }
        uint8_t* data = plan->frame.data() + half * radar::kSliceBytes;
        if (faults.nullSliceEvery > 0 && plan->slices % faults.nullSliceEvery == 0) {
            MOTION_LOGD("fault: slice %" PRId64 " delivered as null", plan->slices);
            data = nullptr;
        }
        MotionSliceCallback callback = m_callback.load();
        if (callback == nullptr) {
            continue;
        }
        callback(data);
        if (!plan->recorder) {
            continue;
        }
        if (data == nullptr) {
            plan->recorder->LoseAlignment();
            continue;
        }
        if (!frameBegun) {
            plan->recorder->BeginFrame(plan->hasTruth ? &plan->people : nullptr);
            frameBegun = true;
        }
        if (!plan->recorder->WriteSlice(data)) {
            std::string error;
            plan->recorder->Close(&error);
            MOTION_LOGE("recording stopped: %s", error.c_str());
            plan->recorder.reset();
        }
    }
}

int SimulatedMotionSensor::getSensitivity(int32_t* sensitivity) {
    if (sensitivity == nullptr) {
        return kErrorInvalid;
    }
    *sensitivity = RadarConfig::ReadSensitivity();
    return 0;
}

int SimulatedMotionSensor::setSensitivity(int32_t sensitivity) {
    if (sensitivity < 1 || sensitivity > 3) {
        MOTION_LOGE("setSensitivity: %d is not 1, 2 or 3", sensitivity);
        return kErrorInvalid;
    }
    int ret = PlatformStore::Write(RadarConfig::kArea, RadarConfig::kSensitivity,
                                   {PlatformStore::Type::Int, std::to_string(sensitivity)});
    if (ret != 0) {
        MOTION_LOGE("setSensitivity: cannot store it (%d)", ret);
        return kErrorFailed;
    }
    return 0;
}

int SimulatedMotionSensor::getFirmwareVersion(float* version) {
    if (version == nullptr) {
        return kErrorInvalid;
    }
    *version = static_cast<float>(RadarConfig::ReadFirmware());
    return 0;
}

int SimulatedMotionSensor::motion_register_callback(MotionSliceCallback callback) {
    m_callback = callback;
    return 0;
}

int SimulatedMotionSensor::spiValidationCheck() {
    bool passes = RadarConfig::ReadSpiPasses();
    MOTION_LOGI("SPI validation check: %s", passes ? "pass" : "fail");
    return passes ? 1 : 0;
}
