// radar-segment: runs the service's segmentation pipeline over a recording as
// fast as it can, prints each frame's activity result document, and scores
// the output against the ground truth.
#include <json/json.h>
#include <stdio.h>

#include <chrono>
#include <string>
#include <vector>

#include "FramePipeline.h"
#include "RadarFrameFormat.h"
#include "RadarSegmentOptions.h"
#include "Recording.h"
#include "SegmentationScore.h"
#include "TruthFile.h"

namespace {

const char kProgram[] = "radar-segment";

// The tool measures its own speed: a plain monotonic clock, unaffected by
// the service's time scaling.
using SteadyClock = std::chrono::steady_clock;

int Fail(const std::string& message) {
    fprintf(stderr, "%s: %s\n", kProgram, message.c_str());
    return kRadarSegmentExitFailure;
}

double Seconds(SteadyClock::duration duration) {
    return std::chrono::duration<double>(duration).count();
}

int Run(const RadarSegmentOptions& options) {
    std::string error;
    radar::RecordingReader reader;
    if (!reader.Open(options.recording, &error)) {
        return Fail(error);
    }
    const int64_t frames = reader.FrameCount();
    std::vector<std::vector<radar::TruthTarget>> truth;
    if (options.score) {
        const std::string truthPath =
            options.truthPath.empty() ? radar::TruthPathFor(options.recording) : options.truthPath;
        if (!LoadTruthFile(truthPath, frames, &truth, &error)) {
            return Fail(error);
        }
    }
    FramePipeline pipeline;
    if (!pipeline.Open(&error)) {
        return Fail(error);
    }

    radar::SegmentationScorer scorer;
    std::vector<uint8_t> packed(radar::kFrameBytes);
    std::string document;
    radar::SegmentationOutput output;
    SteadyClock::duration pipelineTime{};
    const SteadyClock::time_point start = SteadyClock::now();
    int64_t failed = 0;
    for (int64_t frame = 0; frame < frames; ++frame) {
        if (!reader.ReadFrame(frame, packed.data())) {
            return Fail("cannot read frame " + std::to_string(frame) + " of " + options.recording);
        }
        const SteadyClock::time_point before = SteadyClock::now();
        const bool done = pipeline.Process(packed.data(), &document, &output, &error);
        pipelineTime += SteadyClock::now() - before;
        if (!done) {
            // As in the service: the frame publishes nothing, the next one
            // is processed normally.
            ++failed;
            fprintf(stderr, "%s: frame %lld: %s\n", kProgram, static_cast<long long>(frame),
                    error.c_str());
        } else if (!options.quiet) {
            fwrite(document.data(), 1, document.size(), stdout);
            fputc('\n', stdout);
        }
        if (options.score) {
            scorer.AddFrame(truth[static_cast<size_t>(frame)], output);
        }
    }
    const double elapsed = Seconds(SteadyClock::now() - start);
    const double pipelineSeconds = Seconds(pipelineTime);
    const double framesPerSecond =
        pipelineSeconds > 0.0 ? static_cast<double>(frames) / pipelineSeconds : 0.0;

    fprintf(stderr,
            "%s: %lld frames in %.3f s, per-frame path %.3f s: %.0f frames per second "
            "(target %.0f)\n",
            kProgram, static_cast<long long>(frames), elapsed, pipelineSeconds, framesPerSecond,
            radar::kTargetFramesPerSecond);
    const radar::SegmentationScore score = scorer.Result();
    if (options.json) {
        Json::Value summary(Json::objectValue);
        summary["frames"] = static_cast<Json::Int64>(frames);
        summary["failedFrames"] = static_cast<Json::Int64>(failed);
        summary["seconds"] = elapsed;
        summary["pipelineSeconds"] = pipelineSeconds;
        summary["framesPerSecond"] = framesPerSecond;
        if (options.score) {
            summary["score"] = radar::ScoreToJson(score);
        }
        Json::StreamWriterBuilder writer;
        writer["indentation"] = "";
        const std::string text = Json::writeString(writer, summary);
        fwrite(text.data(), 1, text.size(), stdout);
        fputc('\n', stdout);
    } else if (options.score) {
        fputs(radar::ScoreReport(score).c_str(), stderr);
    }
    if (fflush(stdout) != 0 || ferror(stdout)) {
        return Fail("cannot write the output");
    }
    if (failed > 0) {
        return Fail(std::to_string(failed) + " of " + std::to_string(frames) +
                    " frames failed in the segmentation");
    }
    if (options.score && !score.passed) {
        fprintf(stderr, "%s: verdict fail: a target was missed\n", kProgram);
        return kRadarSegmentExitMissed;
    }
    return kRadarSegmentExitOk;
}

}  // namespace

int main(int argc, char** argv) {
    std::vector<std::string> args(argv + (argc > 0 ? 1 : 0), argv + argc);
    RadarSegmentOptions options;
    std::string error;
    if (!ParseRadarSegmentOptions(args, &options, &error)) {
        fprintf(stderr, "%s: %s\n%s", kProgram, error.c_str(),
                RadarSegmentShortUsage(kProgram).c_str());
        return kRadarSegmentExitUsage;
    }
    if (options.help) {
        fputs(RadarSegmentUsage(kProgram).c_str(), stdout);
        return kRadarSegmentExitOk;
    }
    return Run(options);
}
