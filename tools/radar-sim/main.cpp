// radar-sim: writes a radar recording and its ground truth from a scene.
#include <stdio.h>
#include <unistd.h>

#include <fstream>
#include <string>
#include <vector>

#include "RadarFrameFormat.h"
#include "RadarSimOptions.h"
#include "RandomRoom.h"
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

bool WriteSceneFile(const std::string& path, const radar::Scene& scene, std::string* error) {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    if (!out) {
        *error = "cannot create " + path;
        return false;
    }
    out << radar::SceneToJson(scene);
    out.close();
    if (!out) {
        unlink(path.c_str());
        *error = "cannot write " + path;
        return false;
    }
    return true;
}

bool WriteRecording(const RadarSimOptions& options, const radar::Scene& scene, std::string* error) {
    radar::SceneSynthesizer synthesizer(scene, scene.seed);
    radar::RecordingWriter writer;
    if (!writer.Open(options.output, true, error)) {
        return false;
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
    if (!writer.Close(error) || !written) {
        // A cut-short recording would pass for a real one: leave none.
        unlink(options.output.c_str());
        unlink(radar::TruthPathFor(options.output).c_str());
        if (error->empty()) {
            *error = "cannot write " + options.output;
        }
        return false;
    }
    return true;
}

int Run(const RadarSimOptions& options) {
    std::string error;
    radar::Scene scene;
    if (options.random) {
        scene = radar::RandomRoom(options.randomSeed);
    } else {
        std::string scenePath;
        if (!radar::ResolveScenePath(options.scene, &scenePath, &error) ||
            !radar::LoadScene(scenePath, &scene, &error)) {
            return Fail(error);
        }
    }
    if (options.hasSeed) {
        // The written scene then carries the seed that made the recording.
        scene.seed = options.seed;
    }
    if (!options.sceneOut.empty() && !WriteSceneFile(options.sceneOut, scene, &error)) {
        return Fail(error);
    }
    if (!options.output.empty() && !WriteRecording(options, scene, &error)) {
        if (!options.sceneOut.empty()) {
            unlink(options.sceneOut.c_str());
        }
        return Fail(error);
    }
    if (!options.output.empty()) {
        printf("%s: %lld frames of scene %s (seed %llu) in %s and %s\n", kProgram,
               static_cast<long long>(options.frames), scene.name.c_str(),
               static_cast<unsigned long long>(scene.seed), options.output.c_str(),
               radar::TruthPathFor(options.output).c_str());
    }
    if (!options.sceneOut.empty()) {
        printf("%s: scene %s in %s\n", kProgram, scene.name.c_str(), options.sceneOut.c_str());
    }
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
