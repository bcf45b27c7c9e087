// Recordings: the recording reader as radar-segment and the simulated radar
// module's replay use it, and what a recording's frames then go through,
// the service's per-frame path (unpacking, the cube, the segmentation and
// the activity result document). The input gives the number of frames, how
// far the file's size is off a whole number of frames, and a pattern of
// bytes that fills the frames: real frames are 24 KiB, too large to mutate
// byte by byte, and a repeating pattern makes the strong tones and
// saturated samples that stress the segmentation.
#include <fuzzer/FuzzedDataProvider.h>

#include <cmath>
#include <string>
#include <vector>

#include "FramePipeline.h"
#include "FuzzSupport.h"
#include "RadarFrameFormat.h"
#include "Recording.h"
#include "SegmentMode.h"

using fuzzsupport::Check;

namespace {

const int kMaxFrames = 3;
// Sizes a broken recording may have beside whole frames.
const long kSizeErrors[] = {0, 0, 0, 0, 1, -1, radar::kSliceBytes};

std::string RecordingPath() {
    return fuzzsupport::ScratchDir() + "/recording.raw";
}

void CheckFrame(const std::string& document, const radar::SegmentationOutput& output) {
    int detection = -1;
    double distance = -1.0;
    Check(SegmentMode::ParseResult(document.c_str(), &detection, &distance),
          "the service reads every result document the pipeline makes");
    Check(detection >= 0 && std::isfinite(distance), "a result gives a count and a distance");
    for (const radar::OutputTrack& track : output.tracks) {
        Check(std::isfinite(track.id) && std::isfinite(track.range) && std::isfinite(track.angle) &&
                  std::isfinite(track.velocity),
              "a track is made of numbers");
    }
    for (double segment : output.segments) {
        Check(std::isfinite(segment), "a segment value is a number");
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    FuzzedDataProvider input(data, size);
    const int frames = input.ConsumeIntegralInRange(0, kMaxFrames);
    const long sizeError = input.PickValueInArray(kSizeErrors);
    const std::vector<uint8_t> pattern = input.ConsumeRemainingBytes<uint8_t>();

    const long fileSize = static_cast<long>(frames) * radar::kFrameBytes + sizeError;
    std::vector<uint8_t> file(static_cast<size_t>(fileSize > 0 ? fileSize : 0));
    for (size_t i = 0; !pattern.empty() && i < file.size(); ++i) {
        file[i] = pattern[i % pattern.size()];
    }
    const std::string path = RecordingPath();
    Check(fuzzsupport::WriteFile(path, file.data(), file.size()), "the scratch file is written");

    radar::RecordingReader reader;
    std::string error;
    const bool whole = !file.empty() && file.size() % radar::kFrameBytes == 0;
    const bool opened = reader.Open(path, &error);
    Check(opened == whole, "a recording opens exactly when it holds whole frames");
    if (!opened) {
        Check(!error.empty(), "a refused recording says why");
        return 0;
    }
    Check(reader.FrameCount() == static_cast<int64_t>(file.size() / radar::kFrameBytes),
          "a recording has as many frames as its size holds");

    std::vector<uint8_t> packed(radar::kFrameBytes);
    Check(!reader.ReadFrame(-1, packed.data()) &&
              !reader.ReadFrame(reader.FrameCount(), packed.data()),
          "there is no frame outside the recording");

    FramePipeline pipeline;
    Check(pipeline.Open(&error), "the pipeline sets up");
    for (int64_t frame = 0; frame < reader.FrameCount(); ++frame) {
        Check(reader.ReadFrame(frame, packed.data()), "every frame of a recording reads");
        std::string document;
        radar::SegmentationOutput output;
        if (pipeline.Process(packed.data(), &document, &output, &error)) {
            CheckFrame(document, output);
        }
    }
    return 0;
}
