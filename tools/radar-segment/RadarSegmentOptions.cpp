#include "RadarSegmentOptions.h"

bool ParseRadarSegmentOptions(const std::vector<std::string>& args, RadarSegmentOptions* options,
                              std::string* error) {
    for (const std::string& arg : args) {
        if (arg == "-h" || arg == "--help") {
            *options = RadarSegmentOptions();
            options->help = true;
            return true;
        }
    }
    RadarSegmentOptions parsed;
    bool sidecar = false;
    for (size_t i = 0; i < args.size(); ++i) {
        const std::string& arg = args[i];
        if (arg == "--truth" || arg.compare(0, 8, "--truth=") == 0) {
            std::string value;
            if (arg == "--truth") {
                if (i + 1 >= args.size()) {
                    *error = "--truth needs a file (--score takes the recording's own)";
                    return false;
                }
                value = args[++i];
            } else {
                value = arg.substr(8);
            }
            if (value.empty()) {
                *error = "--truth needs a file (--score takes the recording's own)";
                return false;
            }
            if (!parsed.truthPath.empty()) {
                *error = "one --truth only";
                return false;
            }
            parsed.truthPath = value;
            parsed.score = true;
        } else if (arg == "--score") {
            sidecar = true;
            parsed.score = true;
        } else if (arg == "--json") {
            parsed.json = true;
        } else if (arg == "--quiet" || arg == "-q") {
            parsed.quiet = true;
        } else if (arg.size() > 1 && arg[0] == '-') {
            *error = "unknown option " + arg;
            return false;
        } else if (!parsed.recording.empty()) {
            *error = "one recording only (got \"" + parsed.recording + "\" and \"" + arg + "\")";
            return false;
        } else {
            parsed.recording = arg;
        }
    }
    if (sidecar && !parsed.truthPath.empty()) {
        *error = "--score and --truth both name the truth: give one";
        return false;
    }
    if (parsed.recording.empty()) {
        *error = "no recording given";
        return false;
    }
    *options = parsed;
    return true;
}

std::string RadarSegmentUsage(const char* program) {
    const std::string p = program;
    return "Usage: " + p +
           " RECORDING [--truth TRUTH | --score] [--json] [--quiet]\n"
           "\n"
           "Runs the segmentation pipeline (unpacking, scaling into the cube,\n"
           "segmentation, result document) over every frame of a recording as fast as\n"
           "it can, and prints each frame's activity result document as one JSON line.\n"
           "\n"
           "  RECORDING      packed slices, two per frame (as radar-sim writes them)\n"
           "  --truth TRUTH  score the output against this ground truth (JSON lines,\n"
           "                 one per frame) and print the figures and the verdict\n"
           "  --score        the same against the recording's own RECORDING.truth.jsonl\n"
           "  --json         print the summary (frames, speed, figures, verdict) as one\n"
           "                 JSON object, the last line on standard output\n"
           "  -q, --quiet    no per-frame documents\n"
           "  -h, --help     this text\n"
           "\n"
           "The speed (frames per second of the per-frame path) and, without --json,\n"
           "the figures go to standard error. Exit status: 0 done (scored: every\n"
           "target met), 1 bad input or a frame the segmentation failed on, 2 bad\n"
           "command line, 3 scored and a target missed (the figures are printed).\n";
}

std::string RadarSegmentShortUsage(const char* program) {
    const std::string p = program;
    return "Usage: " + p + " RECORDING [--truth TRUTH | --score] [--json] [--quiet]\n" + "Try '" +
           p + " --help' for more.\n";
}
