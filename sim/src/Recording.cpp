// Recordings: packed slices back to back, and the ground-truth sidecar, one
// JSON line per frame. Numbers in the sidecar are written by hand with a fixed
// number of decimals so that the text does not depend on the locale.
#include "Recording.h"

#include <errno.h>
#include <json/json.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cmath>
#include <fstream>
#include <memory>

#include "RadarFrameFormat.h"

namespace radar {

namespace {

constexpr int kMetreDecimals = 4;  // 0.1 mm
constexpr int kAngleDecimals = 3;
constexpr int kSpeedDecimals = 4;

// value with `decimals` digits after the point, "-0.000" written as "0.000".
void AppendFixed(std::string* out, double value, int decimals) {
    if (!std::isfinite(value)) {
        // JSON has no infinities; the sidecar never needs them.
        value = 0.0;
    }
    long long scale = 1;
    for (int i = 0; i < decimals; ++i) {
        scale *= 10;
    }
    const long long scaled = std::llround(std::fabs(value) * static_cast<double>(scale));
    if (value < 0.0 && scaled != 0) {
        *out += '-';
    }
    *out += std::to_string(scaled / scale);
    if (decimals > 0) {
        std::string fraction = std::to_string(scaled % scale);
        *out += '.';
        out->append(static_cast<size_t>(decimals) - fraction.size(), '0');
        *out += fraction;
    }
}

std::string ErrnoText() {
    return strerror(errno);
}

}  // namespace

std::string TruthPathFor(const std::string& recordingPath) {
    return recordingPath + ".truth.jsonl";
}

std::string TruthLine(int64_t frame, const std::vector<TruthTarget>& targets) {
    std::string line = "{\"frame\":" + std::to_string(frame) + ",\"targets\":[";
    for (size_t i = 0; i < targets.size(); ++i) {
        const TruthTarget& target = targets[i];
        line += i == 0 ? "{\"id\":" : ",{\"id\":";
        line += std::to_string(target.id);
        line += ",\"range\":";
        AppendFixed(&line, target.range, kMetreDecimals);
        line += ",\"angle\":";
        AppendFixed(&line, target.angle, kAngleDecimals);
        line += ",\"velocity\":";
        AppendFixed(&line, target.velocity, kSpeedDecimals);
        line += ",\"x\":";
        AppendFixed(&line, target.x, kMetreDecimals);
        line += ",\"y\":";
        AppendFixed(&line, target.y, kMetreDecimals);
        line += '}';
    }
    line += "]}";
    return line;
}

bool ParseTruthLine(const std::string& line, int64_t* frame, std::vector<TruthTarget>* targets,
                    std::string* error) {
    std::string ignored;
    if (error == nullptr) {
        error = &ignored;
    }
    Json::CharReaderBuilder builder;
    builder["allowComments"] = false;
    builder["strictRoot"] = true;
    builder["failIfExtra"] = true;
    std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    Json::Value root;
    std::string parseErrors;
    if (!reader->parse(line.data(), line.data() + line.size(), &root, &parseErrors)) {
        *error = "not a JSON line";
        return false;
    }
    if (!root.isObject() || !root["frame"].isInt64() || root["frame"].asInt64() < 0) {
        *error = "\"frame\": expected a whole number from 0";
        return false;
    }
    const Json::Value& list = root["targets"];
    if (!list.isArray()) {
        *error = "\"targets\": expected a list";
        return false;
    }
    std::vector<TruthTarget> parsed;
    for (Json::ArrayIndex i = 0; i < list.size(); ++i) {
        const Json::Value& item = list[i];
        const std::string where = "targets[" + std::to_string(i) + "]";
        if (!item.isObject()) {
            *error = where + ": expected an object";
            return false;
        }
        if (!item["id"].isInt()) {
            *error = where + ".id: expected a whole number";
            return false;
        }
        TruthTarget target;
        target.id = item["id"].asInt();
        struct {
            const char* key;
            double* value;
        } numbers[] = {{"range", &target.range},
                       {"angle", &target.angle},
                       {"velocity", &target.velocity},
                       {"x", &target.x},
                       {"y", &target.y}};
        for (const auto& number : numbers) {
            if (!item[number.key].isNumeric()) {
                *error = where + "." + number.key + ": expected a number";
                return false;
            }
            *number.value = item[number.key].asDouble();
        }
        parsed.push_back(target);
    }
    *frame = root["frame"].asInt64();
    *targets = std::move(parsed);
    return true;
}

RecordingWriter::~RecordingWriter() {
    std::string ignored;
    Close(&ignored);
}

bool RecordingWriter::Open(const std::string& path, bool withTruth, std::string* error) {
    std::string ignored;
    if (error == nullptr) {
        error = &ignored;
    }
    if (m_data != nullptr) {
        *error = "a recording is already open";
        return false;
    }
    m_data = fopen(path.c_str(), "wb");
    if (m_data == nullptr) {
        *error = "cannot create " + path + ": " + ErrnoText();
        return false;
    }
    const std::string truthPath = TruthPathFor(path);
    if (withTruth) {
        m_truth = fopen(truthPath.c_str(), "w");
        if (m_truth == nullptr) {
            *error = "cannot create " + truthPath + ": " + ErrnoText();
            fclose(m_data);
            m_data = nullptr;
            return false;
        }
    } else if (unlink(truthPath.c_str()) != 0 && errno != ENOENT) {
        // An older sidecar would describe frames that are not in this file.
        *error = "cannot remove the old " + truthPath + ": " + ErrnoText();
        fclose(m_data);
        m_data = nullptr;
        return false;
    }
    m_failed = false;
    m_slices = 0;
    m_path = path;
    return true;
}

bool RecordingWriter::WriteSlice(const uint8_t* slice) {
    if (m_data == nullptr || m_failed) {
        return false;
    }
    if (fwrite(slice, 1, kSliceBytes, m_data) != static_cast<size_t>(kSliceBytes)) {
        m_failed = true;
        m_failure = ErrnoText();
        return false;
    }
    ++m_slices;
    return true;
}

bool RecordingWriter::WriteTruth(int64_t frame, const std::vector<TruthTarget>& targets) {
    if (m_truth == nullptr || m_failed) {
        return false;
    }
    const std::string line = TruthLine(frame, targets) + "\n";
    if (fwrite(line.data(), 1, line.size(), m_truth) != line.size()) {
        m_failed = true;
        m_failure = ErrnoText();
        return false;
    }
    return true;
}

bool RecordingWriter::Close(std::string* error) {
    std::string ignored;
    if (error == nullptr) {
        error = &ignored;
    }
    if (m_data == nullptr) {
        return true;
    }
    bool ok = !m_failed;
    std::string message = m_failed ? "cannot write " + m_path + ": " + m_failure : "";
    if (fclose(m_data) != 0 && ok) {
        ok = false;
        message = "cannot write " + m_path + ": " + ErrnoText();
    }
    m_data = nullptr;
    if (m_truth != nullptr) {
        if (fclose(m_truth) != 0 && ok) {
            ok = false;
            message = "cannot write " + TruthPathFor(m_path) + ": " + ErrnoText();
        }
        m_truth = nullptr;
    }
    if (ok && m_slices % 2 != 0) {
        ok = false;
        message = m_path + ": ends in the middle of a frame (" + std::to_string(m_slices) +
                  " slices written)";
    }
    if (!ok) {
        *error = message;
    }
    return ok;
}

RecordingReader::~RecordingReader() {
    if (m_data != nullptr) {
        fclose(m_data);
    }
}

bool RecordingReader::Open(const std::string& path, std::string* error) {
    std::string ignored;
    if (error == nullptr) {
        error = &ignored;
    }
    if (m_data != nullptr) {
        fclose(m_data);
        m_data = nullptr;
        m_frames = 0;
    }
    struct stat info;
    if (stat(path.c_str(), &info) != 0) {
        *error = "cannot open " + path + ": " + ErrnoText();
        return false;
    }
    if (!S_ISREG(info.st_mode)) {
        *error = path + ": not a recording (not a regular file)";
        return false;
    }
    if (info.st_size == 0 || info.st_size % kFrameBytes != 0) {
        *error = path + ": not a recording: its size (" + std::to_string(info.st_size) +
                 " bytes) is not a whole number of frames of " + std::to_string(kFrameBytes) +
                 " bytes";
        return false;
    }
    m_data = fopen(path.c_str(), "rb");
    if (m_data == nullptr) {
        *error = "cannot open " + path + ": " + ErrnoText();
        return false;
    }
    m_path = path;
    m_frames = static_cast<int64_t>(info.st_size / kFrameBytes);
    return true;
}

bool RecordingReader::ReadFrame(int64_t frame, uint8_t* out) {
    if (m_data == nullptr || frame < 0 || frame >= m_frames) {
        return false;
    }
    if (fseeko(m_data, static_cast<off_t>(frame) * kFrameBytes, SEEK_SET) != 0) {
        return false;
    }
    return fread(out, 1, kFrameBytes, m_data) == static_cast<size_t>(kFrameBytes);
}

bool RecordingReader::LoadTruth(std::vector<std::vector<TruthTarget>>* truth,
                                std::string* error) const {
    std::string ignored;
    if (error == nullptr) {
        error = &ignored;
    }
    truth->clear();
    if (m_data == nullptr) {
        *error = "no recording is open";
        return false;
    }
    const std::string truthPath = TruthPathFor(m_path);
    struct stat info;
    if (stat(truthPath.c_str(), &info) != 0 && errno == ENOENT) {
        return true;
    }
    std::ifstream in(truthPath);
    if (!in) {
        *error = "cannot open " + truthPath;
        return false;
    }
    std::vector<std::vector<TruthTarget>> loaded;
    std::string line;
    int64_t lineNumber = 0;
    while (std::getline(in, line)) {
        ++lineNumber;
        int64_t frame = 0;
        std::vector<TruthTarget> targets;
        std::string why;
        if (!ParseTruthLine(line, &frame, &targets, &why)) {
            *error = truthPath + ":" + std::to_string(lineNumber) + ": " + why;
            return false;
        }
        if (frame != static_cast<int64_t>(loaded.size())) {
            *error = truthPath + ":" + std::to_string(lineNumber) + ": frame " +
                     std::to_string(frame) + " where frame " + std::to_string(loaded.size()) +
                     " was expected";
            return false;
        }
        loaded.push_back(std::move(targets));
    }
    if (in.bad()) {
        *error = "cannot read " + truthPath;
        return false;
    }
    if (static_cast<int64_t>(loaded.size()) != m_frames) {
        *error = truthPath + ": ground truth for " + std::to_string(loaded.size()) +
                 " frames, but the recording has " + std::to_string(m_frames);
        return false;
    }
    *truth = std::move(loaded);
    return true;
}

}  // namespace radar
