#include "RadarEvalOptions.h"

#include <errno.h>
#include <math.h>
#include <stdlib.h>

#include <limits>

#include "RadarFrameFormat.h"
#include "WholeNumber.h"

namespace {

bool ParseWhole(const std::string& text, int64_t low, int64_t high, int64_t* value) {
    uint64_t parsed = 0;
    if (!ParseUnsigned(text, &parsed) || parsed < static_cast<uint64_t>(low) ||
        parsed > static_cast<uint64_t>(high)) {
        return false;
    }
    *value = static_cast<int64_t>(parsed);
    return true;
}

// A plain decimal number (no hex, no infinities, nothing around it).
bool ParseDecimal(const std::string& text, double* value) {
    if (text.empty() || text.find_first_not_of("0123456789.") != std::string::npos) {
        return false;
    }
    errno = 0;
    char* end = nullptr;
    const double parsed = strtod(text.c_str(), &end);
    if (errno != 0 || end == nullptr || *end != '\0' || !isfinite(parsed)) {
        return false;
    }
    *value = parsed;
    return true;
}

std::string Got(const std::string& value) {
    return " (got \"" + value + "\")";
}

}  // namespace

bool ParseRadarEvalOptions(const std::vector<std::string>& args, RadarEvalOptions* options,
                           std::string* error) {
    for (const std::string& arg : args) {
        if (arg == "-h" || arg == "--help") {
            *options = RadarEvalOptions();
            options->help = true;
            return true;
        }
    }
    RadarEvalOptions parsed;
    bool roomsGiven = false;
    for (size_t i = 0; i < args.size(); ++i) {
        std::string arg = args[i];
        std::string value;
        bool inlineValue = false;
        if (arg.compare(0, 2, "--") == 0 && arg.find('=') != std::string::npos) {
            value = arg.substr(arg.find('=') + 1);
            arg = arg.substr(0, arg.find('='));
            inlineValue = true;
        }
        const bool takesValue = arg == "--rooms" || arg == "--first-seed" || arg == "--seconds" ||
                                arg == "--scene" || arg == "--jobs" || arg == "-j" ||
                                arg == "--json" || arg == "--worst";
        if (takesValue && !inlineValue) {
            if (i + 1 >= args.size()) {
                *error = arg + " needs a value";
                return false;
            }
            value = args[++i];
        }
        if (arg == "--rooms") {
            if (!ParseWhole(value, 0, kRadarEvalMaxRooms, &parsed.rooms)) {
                *error = "--rooms: expected a whole number from 0 to " +
                         std::to_string(kRadarEvalMaxRooms) + Got(value);
                return false;
            }
            roomsGiven = true;
        } else if (arg == "--first-seed") {
            if (!ParseUnsigned(value, &parsed.firstSeed)) {
                *error =
                    "--first-seed: expected a whole number from 0 to "
                    "18446744073709551615" +
                    Got(value);
                return false;
            }
        } else if (arg == "--seconds") {
            if (!ParseDecimal(value, &parsed.seconds) || parsed.seconds < radar::kFramePeriodS ||
                parsed.seconds > kRadarEvalMaxSeconds) {
                *error = "--seconds: expected a number from 0.1 to 86400" + Got(value);
                return false;
            }
        } else if (arg == "--no-scenes" && !inlineValue) {
            parsed.shippedScenes = false;
        } else if (arg == "--scene") {
            if (value.empty()) {
                *error = "--scene needs the name of a shipped scene or a scene file";
                return false;
            }
            parsed.scenes.push_back(value);
        } else if (arg == "--jobs" || arg == "-j") {
            int64_t jobs = 0;
            if (!ParseWhole(value, 1, kRadarEvalMaxJobs, &jobs)) {
                *error = "--jobs: expected a whole number from 1 to " +
                         std::to_string(kRadarEvalMaxJobs) + Got(value);
                return false;
            }
            parsed.jobs = static_cast<int>(jobs);
        } else if (arg == "--json") {
            if (value.empty()) {
                *error = "--json needs a file name, or - for standard output";
                return false;
            }
            parsed.jsonPath = value;
        } else if (arg == "--worst") {
            if (!ParseWhole(value, 0, kRadarEvalMaxRooms, &parsed.worst)) {
                *error = "--worst: expected a whole number from 0 to " +
                         std::to_string(kRadarEvalMaxRooms) + Got(value);
                return false;
            }
        } else if (arg.size() > 1 && arg[0] == '-') {
            *error = "unknown option " + args[i];
            return false;
        } else {
            *error = "unexpected argument \"" + arg + "\" (scenes go after --scene)";
            return false;
        }
    }
    if (!parsed.shippedScenes && !parsed.scenes.empty()) {
        *error = "--no-scenes and --scene contradict each other: give one";
        return false;
    }
    if (!parsed.scenes.empty() && !roomsGiven) {
        parsed.rooms = 0;
    }
    if (parsed.rooms > 0 && parsed.firstSeed > std::numeric_limits<uint64_t>::max() -
                                                   static_cast<uint64_t>(parsed.rooms - 1)) {
        *error = "--first-seed: the seeds of " + std::to_string(parsed.rooms) +
                 " rooms would pass 18446744073709551615";
        return false;
    }
    if (!parsed.shippedScenes && parsed.rooms == 0) {
        *error = "nothing to run: --no-scenes with --rooms 0";
        return false;
    }
    *options = parsed;
    return true;
}

int64_t RadarEvalFrames(const RadarEvalOptions& options) {
    const int64_t frames = llround(options.seconds * radar::kFrameRateHz);
    return frames > 0 ? frames : 1;
}

std::string RadarEvalUsage(const char* program) {
    const std::string p = program;
    return "Usage: " + p +
           " [--rooms N] [--first-seed S] [--seconds S] [--no-scenes | --scene NAME ...]\n"
           "       [--jobs J] [--json FILE] [--worst K]\n"
           "\n"
           "Measures the segmentation on the shipped scenes and on random living rooms:\n"
           "each room is synthesised in process, run through the service's per-frame\n"
           "pipeline and scored against its truth, with every false track given its\n"
           "cause (a mover, a person's wall echo, elsewhere). Prints per scenario class\n"
           "the median and the worst 10% of rooms of each figure beside its target, and\n"
           "the worst rooms with the commands that reproduce them.\n"
           "\n"
           "  --rooms N        random rooms, default 100 (0: none)\n"
           "  --first-seed S   seed of the first random room, default 1 (then S+1, ...)\n"
           "  --seconds S      length of each room, default 30\n"
           "  --no-scenes      leave out the shipped scenes\n"
           "  --scene NAME     only this shipped scene (or scene file); repeatable;\n"
           "                   random rooms then run only when --rooms is given\n"
           "  -j, --jobs J     rooms run at once, each on its own thread, default 1\n"
           "  --json FILE      also write every room's figures and the distributions\n"
           "                   as JSON to FILE ('-': standard output, the table then\n"
           "                   goes to standard error)\n"
           "  --worst K        worst rooms listed, default 10\n"
           "  -h, --help       this text\n"
           "\n"
           "Progress goes to standard error. Exit status: 0 when every room ran (missed\n"
           "targets included), 1 on a failure, 2 on a bad command line.\n";
}

std::string RadarEvalShortUsage(const char* program) {
    const std::string p = program;
    return "Usage: " + p +
           " [--rooms N] [--first-seed S] [--seconds S] [--no-scenes | --scene NAME ...]\n"
           "       [--jobs J] [--json FILE] [--worst K]\n"
           "Try '" +
           p + " --help' for more.\n";
}
