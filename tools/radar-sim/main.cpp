// radar-sim: writes a radar recording and its ground truth from a scene.
#include <stdio.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "RadarFrameFormat.h"
#include "RadarSimOptions.h"
#include "Recording.h"
#include "Scene.h"
#include "SceneLibrary.h"
#include "SceneSynthesizer.h"

namespace {

const char kProgram[] = "radar-sim";

int Fail(const std::string& message) {
    fprintf(stderr, "%s: %s\n", kProgram, message.c_str());
    return kRadarSimExitFailure;
}

int Run(const RadarSimOptions& options) {
    std::string error;
    std::string scenePath;
    if (!radar::ResolveScenePath(options.scene, &scenePath, &error)) {
        return Fail(error);
    }
    radar::Scene scene;
    if (!radar::LoadScene(scenePath, &scene, &error)) {
        return Fail(error);
    }
    const uint64_t seed = options.hasSeed ? options.seed : scene.seed;
    radar::SceneSynthesizer synthesizer(scene, seed);
    radar::RecordingWriter writer;
    if (!writer.Open(options.output, true, &error)) {
        return Fail(error);
    }
    std::vector<uint16_t> samples(radar::kFrameSamples);
    std::vector<uint8_t> packed(radar::kFrameBytes);
    bool written = true;
    for (int64_t frame = 0; frame < options.frames && written; ++frame) {
        synthesizer.SynthesizeFrame(frame, samples.data());
        radar::PackFrame(samples.data(), packed.data());
        written = writer.WriteSlice(packed.data()) &&
                  writer.WriteSlice(packed.data() + radar::kSliceBytes) &&
                  writer.WriteTruth(frame, synthesizer.TruthAt(radar::FrameTimeS(frame)));
    }
    if (!writer.Close(&error) || !written) {
        // A cut-short recording would pass for a real one: leave none.
        unlink(options.output.c_str());
        unlink(radar::TruthPathFor(options.output).c_str());
        return Fail(error.empty() ? "cannot write " + options.output : error);
    }
    printf("%s: %lld frames of scene %s (seed %llu) in %s and %s\n", kProgram,
           static_cast<long long>(options.frames), scene.name.c_str(),
           static_cast<unsigned long long>(seed), options.output.c_str(),
           radar::TruthPathFor(options.output).c_str());
    return kRadarSimExitOk;
}

}  // namespace

int main(int argc, char** argv) {
    std::vector<std::string> args(argv + (argc > 0 ? 1 : 0), argv + argc);
    RadarSimOptions options;
    std::string error;
    if (!ParseRadarSimOptions(args, &options, &error)) {
        fprintf(stderr, "%s: %s\n%s", kProgram, error.c_str(),
                RadarSimShortUsage(kProgram).c_str());
        return kRadarSimExitUsage;
    }
    if (options.help) {
        fputs(RadarSimUsage(kProgram).c_str(), stdout);
        return kRadarSimExitOk;
    }
    return Run(options);
}
