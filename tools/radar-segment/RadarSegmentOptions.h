// The command line of radar-segment, parsed apart from the work so that it
// can be checked alone.
#ifndef TESSIVO_TOOLS_RADARSEGMENT_RADARSEGMENTOPTIONS_H
#define TESSIVO_TOOLS_RADARSEGMENT_RADARSEGMENTOPTIONS_H

#include <string>
#include <vector>

// Exit codes of the tool.
constexpr int kRadarSegmentExitOk = 0;
// Bad input (missing or unreadable recording, a size that is not whole
// frames, a malformed or mismatched truth), a pipeline that cannot be set up,
// or frames that the segmentation failed on.
constexpr int kRadarSegmentExitFailure = 1;
constexpr int kRadarSegmentExitUsage = 2;
// Scored, and at least one target that applies was missed: scripts can tell
// a failed verdict from a run that could not be done.
constexpr int kRadarSegmentExitMissed = 3;

struct RadarSegmentOptions {
    bool help = false;
    std::string recording;
    // Score against the truth: truthPath, or the recording's own sidecar
    // when truthPath is empty.
    bool score = false;
    std::string truthPath;
    bool json = false;   // the summary (and score) as one JSON object on stdout
    bool quiet = false;  // no per-frame documents
};

// Parses the arguments after the program name: one RECORDING, "--truth FILE"
// (or "--truth=FILE"), "--score" (the recording's sidecar), "--json",
// "--quiet". False with a one-line reason on a bad command line; "--help"
// anywhere wins.
bool ParseRadarSegmentOptions(const std::vector<std::string>& args, RadarSegmentOptions* options,
                              std::string* error);

std::string RadarSegmentUsage(const char* program);
std::string RadarSegmentShortUsage(const char* program);

#endif
