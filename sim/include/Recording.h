// Radar recordings: a file of packed slices (two per frame, nothing else) and
// an optional ground-truth sidecar NAME.truth.jsonl with one line per frame.
#ifndef TESSIVO_SIM_RECORDING_H
#define TESSIVO_SIM_RECORDING_H

#include <stdint.h>
#include <stdio.h>

#include <string>
#include <vector>

#include "SceneSynthesizer.h"

namespace radar {

// The sidecar of a recording: the recording's path, extension and all, with
// ".truth.jsonl" added ("walk.raw" -> "walk.raw.truth.jsonl").
// \context Thread-safe.
std::string TruthPathFor(const std::string& recordingPath);

// One sidecar line: {"frame":N,"targets":[{"id":..,"range":..,...}]}, no
// newline; metres to 0.1 mm, degrees to 0.001.
// \context Thread-safe.
std::string TruthLine(int64_t frame, const std::vector<TruthTarget>& targets);
// \context Thread-safe.
bool ParseTruthLine(const std::string& line, int64_t* frame, std::vector<TruthTarget>* targets,
                    std::string* error);

// Writes one recording. Not shared between threads: one thread at a time
// uses a writer.
class RecordingWriter {
public:
    ~RecordingWriter();
    // withTruth: also write the sidecar; without it an older sidecar of the
    // same name is removed, since it would not describe this recording.
    // False with a message on failure.
    bool Open(const std::string& path, bool withTruth, std::string* error);
    // Appends whole slices (kSliceBytes each). False once a write failed;
    // Close then says why.
    bool WriteSlice(const uint8_t* slice);
    // Appends the sidecar line of one frame; false without a sidecar.
    bool WriteTruth(int64_t frame, const std::vector<TruthTarget>& targets);
    // Flushes and closes; false when any write failed or the data ends in the
    // middle of a frame (an odd number of slices).
    bool Close(std::string* error);

private:
    FILE* m_data = nullptr;
    FILE* m_truth = nullptr;
    bool m_failed = false;
    std::string m_failure;
    std::string m_path;
    int64_t m_slices = 0;
};

// Reads one recording. Not shared between threads: one thread at a time uses
// a reader.
class RecordingReader {
public:
    ~RecordingReader();
    // Fails on a missing file, an empty one or one whose size is not a whole
    // number of frames.
    bool Open(const std::string& path, std::string* error);
    int64_t FrameCount() const { return m_frames; }
    // Reads frame number `frame` (both slices, kFrameBytes).
    bool ReadFrame(int64_t frame, uint8_t* out);
    // Ground truth of every frame, when a sidecar exists; false and a message
    // for a malformed one (including one whose frames are not 0, 1, 2, ...
    // or whose count differs from the recording's), true with an empty list
    // when there is none.
    bool LoadTruth(std::vector<std::vector<TruthTarget>>* truth, std::string* error) const;

private:
    std::string m_path;
    FILE* m_data = nullptr;
    int64_t m_frames = 0;
};

}  // namespace radar

#endif
