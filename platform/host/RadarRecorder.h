// Records what the simulated radar module delivers: the slices, byte for
// byte, in the recording format, and a ground-truth sidecar with one line per
// frame while every recorded frame's truth is known and the slices stay in
// whole frames. When that stops being so (a source without truth, a dropped
// or null slice), the sidecar is removed rather than left describing the
// wrong frames.
#ifndef TESSIVO_PLATFORM_HOST_RADARRECORDER_H
#define TESSIVO_PLATFORM_HOST_RADARRECORDER_H

#include <stdint.h>
#include <stdio.h>

#include <string>
#include <vector>

#include "SceneSynthesizer.h"

class RadarRecorder {
public:
    ~RadarRecorder();

    // Opens the recording, emptied (and its sidecar removed) unless append is
    // set, in which case new slices follow the frames already there. False
    // with a message on failure.
    bool Open(const std::string& path, bool append, std::string* error);
    // Announces the frame whose slices come next, with the people in it, or
    // null when they are not known.
    void BeginFrame(const std::vector<radar::TruthTarget>* people);
    // The slices no longer make whole frames: the sidecar goes.
    void LoseAlignment();
    // Appends one slice (kSliceBytes).
    bool WriteSlice(const uint8_t* slice);
    // Flushes and closes both files. False with a message when anything was
    // lost.
    bool Close(std::string* error);

    int64_t SlicesWritten() const { return m_slices; }
    bool HasTruth() const { return m_truthKept && m_truthLines > 0; }

private:
    void _DropTruth(const char* why);

    std::string m_path;
    FILE* m_data = nullptr;
    FILE* m_truth = nullptr;
    int64_t m_slices = 0;  // in the file, including those there before
    int64_t m_truthLines = 0;
    bool m_truthKept = true;
    bool m_failed = false;
};

#endif
