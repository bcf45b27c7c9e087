#include "RadarSimOptions.h"

#include "WholeNumber.h"

bool ParseRadarSimOptions(const std::vector<std::string>& args, RadarSimOptions* options,
                          std::string* error) {
    RadarSimOptions parsed;
    for (const std::string& arg : args) {
        if (arg == "-h" || arg == "--help") {
            options->help = true;
            return true;
        }
    }
    for (size_t i = 0; i < args.size(); ++i) {
        std::string arg = args[i];
        std::string value;
        bool inlineValue = false;
        if (arg.compare(0, 2, "--") == 0 && arg.find('=') != std::string::npos) {
            value = arg.substr(arg.find('=') + 1);
            arg = arg.substr(0, arg.find('='));
            inlineValue = true;
        }
        const bool takesValue = arg == "-o" || arg == "--output" || arg == "--frames" ||
                                arg == "--seed" || arg == "--random" || arg == "--scene-out";
        if (takesValue && !inlineValue) {
            if (i + 1 >= args.size()) {
                *error = arg + " needs a value";
                return false;
            }
            value = args[++i];
        }
        if (arg == "-o" || arg == "--output" || arg == "--scene-out") {
            if (value.empty()) {
                *error = arg + " needs a file name";
                return false;
            }
            if (arg == "--scene-out") {
                parsed.sceneOut = value;
            } else {
                parsed.output = value;
            }
        } else if (arg == "--random") {
            if (!ParseUnsigned(value, &parsed.randomSeed)) {
                *error =
                    "--random: expected a whole number from 0 to 18446744073709551615 (got \"" +
                    value + "\")";
                return false;
            }
            parsed.random = true;
        } else if (arg == "--frames") {
            uint64_t frames = 0;
            if (!ParseUnsigned(value, &frames) || frames < 1 ||
                frames > static_cast<uint64_t>(kRadarSimMaxFrames)) {
                *error = "--frames: expected a whole number from 1 to " +
                         std::to_string(kRadarSimMaxFrames) + " (got \"" + value + "\")";
                return false;
            }
            parsed.frames = static_cast<int64_t>(frames);
        } else if (arg == "--seed") {
            if (!ParseUnsigned(value, &parsed.seed)) {
                *error = "--seed: expected a whole number from 0 to 18446744073709551615 (got \"" +
                         value + "\")";
                return false;
            }
            parsed.hasSeed = true;
        } else if (inlineValue || (arg.size() > 1 && arg[0] == '-')) {
            *error = "unknown option " + args[i];
            return false;
        } else if (!parsed.scene.empty()) {
            *error = "one scene only (got \"" + parsed.scene + "\" and \"" + arg + "\")";
            return false;
        } else {
            parsed.scene = arg;
        }
    }
    if (parsed.random && !parsed.scene.empty()) {
        *error = "a scene or --random, not both (got \"" + parsed.scene + "\" and --random)";
        return false;
    }
    if (parsed.scene.empty() && !parsed.random) {
        *error = "no scene given (SCENE or --random SEED)";
        return false;
    }
    if (parsed.output.empty() && parsed.sceneOut.empty()) {
        *error = "no recording given (-o RECORDING; or --scene-out FILE for the scene alone)";
        return false;
    }
    *options = parsed;
    return true;
}

std::string RadarSimUsage(const char* program) {
    const std::string p = program;
    return "Usage: " + p +
           " SCENE -o RECORDING [--frames N] [--seed S] [--scene-out FILE]\n"
           "       " +
           p +
           " --random SEED -o RECORDING [--frames N] [--seed S] [--scene-out FILE]\n"
           "\n"
           "Synthesises the radar frames of a scene and writes them as a recording of\n"
           "packed slices, with its ground truth beside it in RECORDING.truth.jsonl.\n"
           "\n"
           "  SCENE            a scene file, or the name of a shipped scene (with or\n"
           "                   without .json): " +
           "see sim/scenes/\n"
           "  --random SEED    a random living room instead of a scene: the same SEED\n"
           "                   gives the same room\n"
           "  -o, --output F   the recording to write (replaced when it exists)\n"
           "  --scene-out F    also write the scene as a scene file, which replays the\n"
           "                   same recording; without -o only this file is written\n"
           "  --frames N       frames to write, 10 a second (default " +
           std::to_string(kRadarSimDefaultFrames) +
           ")\n"
           "  --seed S         seed of the noise and the small motions (default: the\n"
           "                   scene's own)\n"
           "  -h, --help       this text\n"
           "\n"
           "Exit status: 0 written, 1 failure (bad scene, cannot write), 2 bad command line.\n";
}

std::string RadarSimShortUsage(const char* program) {
    const std::string p = program;
    return "Usage: " + p + " SCENE -o RECORDING [--frames N] [--seed S] [--scene-out FILE]\n" +
           "       " + p + " --random SEED -o RECORDING [...]\n" + "Try '" + p +
           " --help' for more.\n";
}
