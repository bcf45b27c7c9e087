#include "RadarRecorder.h"

#include <errno.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>

#include "MotionSensorLog.h"
#include "RadarFrameFormat.h"
#include "Recording.h"

namespace {

int64_t CountLines(const std::string& path) {
    std::ifstream in(path);
    int64_t lines = 0;
    std::string line;
    while (std::getline(in, line)) {
        ++lines;
    }
    return lines;
}

}  // namespace

RadarRecorder::~RadarRecorder() {
    std::string ignored;
    Close(&ignored);
}

bool RadarRecorder::Open(const std::string& path, bool append, std::string* error) {
    std::string ignored;
    Close(&ignored);
    m_path = path;
    m_failed = false;
    m_slices = 0;
    m_truthLines = 0;
    m_truthKept = true;
    const std::string truthPath = radar::TruthPathFor(path);
    struct stat st;
    if (append && stat(path.c_str(), &st) == 0) {
        if (st.st_size % radar::kFrameBytes != 0) {
            *error = "\"" + path + "\" does not hold whole frames";
            return false;
        }
        m_slices = st.st_size / radar::kSliceBytes;
        bool sidecar = stat(truthPath.c_str(), &st) == 0;
        m_truthLines = sidecar ? CountLines(truthPath) : 0;
        // Frames already there without truth: no sidecar can describe them all.
        m_truthKept = m_truthLines == m_slices / 2;
    } else if (unlink(truthPath.c_str()) != 0 && errno != ENOENT) {
        *error = "cannot remove the old " + truthPath + ": " + strerror(errno);
        return false;
    }
    m_data = fopen(path.c_str(), append ? "ab" : "wb");
    if (m_data == nullptr) {
        *error = "cannot open \"" + path + "\": " + strerror(errno);
        return false;
    }
    if (!m_truthKept) {
        _DropTruth("it does not cover the frames already recorded");
    }
    return true;
}

void RadarRecorder::_DropTruth(const char* why) {
    if (m_truth != nullptr) {
        fclose(m_truth);
        m_truth = nullptr;
    }
    if (unlink(radar::TruthPathFor(m_path).c_str()) == 0 || m_truthKept) {
        MOTION_LOGW("recording %s goes on without truth: %s", m_path.c_str(), why);
    }
    m_truthKept = false;
    m_truthLines = 0;
}

void RadarRecorder::BeginFrame(const std::vector<radar::TruthTarget>* people) {
    if (m_data == nullptr || m_failed || !m_truthKept) {
        return;
    }
    if (m_slices % 2 != 0) {
        _DropTruth("its slices no longer make whole frames");
        return;
    }
    if (people == nullptr) {
        _DropTruth("the source does not know who is there");
        return;
    }
    if (m_truth == nullptr) {
        m_truth = fopen(radar::TruthPathFor(m_path).c_str(), "a");
        if (m_truth == nullptr) {
            _DropTruth("the truth file cannot be opened");
            return;
        }
    }
    std::string line = radar::TruthLine(m_slices / 2, *people) + "\n";
    if (fwrite(line.data(), 1, line.size(), m_truth) != line.size()) {
        _DropTruth("the truth file cannot be written");
        return;
    }
    ++m_truthLines;
}

void RadarRecorder::LoseAlignment() {
    if (m_data != nullptr && m_truthKept) {
        _DropTruth("a slice fault broke its frames");
    }
}

bool RadarRecorder::WriteSlice(const uint8_t* slice) {
    if (m_data == nullptr || m_failed) {
        return false;
    }
    if (fwrite(slice, 1, radar::kSliceBytes, m_data) != static_cast<size_t>(radar::kSliceBytes)) {
        m_failed = true;
        return false;
    }
    ++m_slices;
    return true;
}

bool RadarRecorder::Close(std::string* error) {
    if (m_data == nullptr) {
        return true;
    }
    bool ok = !m_failed;
    if (fclose(m_data) != 0) {
        ok = false;
    }
    m_data = nullptr;
    if (m_truth != nullptr && fclose(m_truth) != 0) {
        ok = false;
    }
    m_truth = nullptr;
    if (!ok) {
        *error = "writing \"" + m_path + "\" failed: the recording is incomplete";
    }
    m_failed = false;
    return ok;
}
