// radar-eval: measures the segmentation on the shipped scenes and on many
// random living rooms, synthesised in process, and prints the distributions
// of its figures per scenario class beside their targets.
#include <stdio.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

#include "EvalReport.h"
#include "EvalRoom.h"
#include "RadarEvalOptions.h"
#include "RandomRoom.h"
#include "Scene.h"
#include "SceneLibrary.h"

namespace {

const char kProgram[] = "radar-eval";

int Fail(const std::string& message) {
    fprintf(stderr, "%s: %s\n", kProgram, message.c_str());
    return kRadarEvalExitFailure;
}

// The rooms in the order they are reported: the scenes, then the random
// rooms by seed.
bool MakeRooms(const RadarEvalOptions& options, std::vector<EvalRoom>* rooms, std::string* error) {
    std::vector<std::string> scenes = options.scenes;
    if (options.shippedScenes && scenes.empty()) {
        scenes = radar::ShippedSceneNames();
        if (scenes.empty()) {
            *error = "no shipped scenes in " + radar::SceneDirectory();
            return false;
        }
    }
    for (const std::string& name : scenes) {
        EvalRoom room;
        std::string path;
        if (!radar::ResolveScenePath(name, &path, error) ||
            !radar::LoadScene(path, &room.scene, error)) {
            return false;
        }
        room.source = name;
        rooms->push_back(room);
    }
    for (int64_t i = 0; i < options.rooms; ++i) {
        EvalRoom room;
        room.random = true;
        room.randomSeed = options.firstSeed + static_cast<uint64_t>(i);
        room.scene = radar::RandomRoom(room.randomSeed);
        std::string invalid;
        if (!radar::ValidateScene(room.scene, &invalid)) {
            *error = "random room " + std::to_string(room.randomSeed) + ": " + invalid;
            return false;
        }
        rooms->push_back(room);
    }
    return true;
}

// Every job takes the next room not yet taken; results land at the room's
// index, so the report does not depend on which job ran what.
std::vector<EvalRoomResult> RunRooms(const std::vector<EvalRoom>& rooms, int64_t frames, int jobs) {
    std::vector<EvalRoomResult> results(rooms.size());
    std::atomic<size_t> next{0};
    std::atomic<size_t> done{0};
    auto work = [&]() {
        for (size_t r = next++; r < rooms.size(); r = next++) {
            results[r] = RunEvalRoom(rooms[r], frames);
            const EvalRoomResult& result = results[r];
            const size_t finished = ++done;
            if (!result.error.empty()) {
                fprintf(stderr, "%s: [%zu/%zu] %s: %s\n", kProgram, finished, rooms.size(),
                        rooms[r].scene.name.c_str(), result.error.c_str());
            } else {
                fprintf(stderr, "%s: [%zu/%zu] %s: %.2f false tracks /100 frames, %.0f fps\n",
                        kProgram, finished, rooms.size(), rooms[r].scene.name.c_str(),
                        result.score.falseTracksPer100Frames, result.FramesPerSecond());
            }
        }
    };
    const size_t threads = std::min(rooms.size(), static_cast<size_t>(jobs));
    std::vector<std::thread> workers;
    for (size_t i = 1; i < threads; ++i) {
        try {
            workers.emplace_back(work);
        } catch (const std::system_error& error) {
            // Fewer jobs than asked: those running take the remaining rooms.
            fprintf(stderr, "%s: runs %zu jobs, cannot start more: %s\n", kProgram, i,
                    error.what());
            break;
        }
    }
    work();
    for (std::thread& worker : workers) {
        worker.join();
    }
    return results;
}

bool WriteJson(const std::string& path, const Json::Value& json, std::string* error) {
    Json::StreamWriterBuilder writer;
    writer["indentation"] = " ";
    // A figure that is not a number must not pass for one that does not apply
    // (null).
    writer["useSpecialFloats"] = true;
    const std::string text = Json::writeString(writer, json) + "\n";
    if (path == "-") {
        fwrite(text.data(), 1, text.size(), stdout);
        return true;
    }
    FILE* file = fopen(path.c_str(), "w");
    if (file == nullptr) {
        *error = "cannot write " + path;
        return false;
    }
    const bool written = fwrite(text.data(), 1, text.size(), file) == text.size();
    if (fclose(file) != 0 || !written) {
        *error = "cannot write " + path;
        return false;
    }
    return true;
}

int Run(const RadarEvalOptions& options) {
    std::string error;
    std::vector<EvalRoom> rooms;
    if (!MakeRooms(options, &rooms, &error)) {
        return Fail(error);
    }
    EvalRun run;
    run.frames = RadarEvalFrames(options);
    run.jobs = options.jobs;
    run.worst = static_cast<size_t>(options.worst);
    const auto start = std::chrono::steady_clock::now();
    const std::vector<EvalRoomResult> results = RunRooms(rooms, run.frames, options.jobs);
    run.wallSeconds =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();

    // With the JSON on standard output the table must not mix with it.
    FILE* table = options.jsonPath == "-" ? stderr : stdout;
    const std::string text = ReportText(run, rooms, results);
    fwrite(text.data(), 1, text.size(), table);
    bool ok = true;
    if (!options.jsonPath.empty() &&
        !WriteJson(options.jsonPath, ReportJson(run, rooms, results), &error)) {
        fprintf(stderr, "%s: %s\n", kProgram, error.c_str());
        ok = false;
    }
    if (fflush(stdout) != 0 || ferror(stdout)) {
        fprintf(stderr, "%s: cannot write the output\n", kProgram);
        ok = false;
    }
    for (const EvalRoomResult& result : results) {
        if (!result.error.empty() || result.failedFrames > 0) {
            ok = false;
        }
    }
    return ok ? kRadarEvalExitOk : kRadarEvalExitFailure;
}

}  // namespace

int main(int argc, char** argv) {
    std::vector<std::string> args(argv + (argc > 0 ? 1 : 0), argv + argc);
    RadarEvalOptions options;
    std::string error;
    if (!ParseRadarEvalOptions(args, &options, &error)) {
        fprintf(stderr, "%s: %s\n%s", kProgram, error.c_str(),
                RadarEvalShortUsage(kProgram).c_str());
        return kRadarEvalExitUsage;
    }
    if (options.help) {
        fputs(RadarEvalUsage(kProgram).c_str(), stdout);
        return kRadarEvalExitOk;
    }
    return Run(options);
}
