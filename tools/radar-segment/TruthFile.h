// Ground truth of a recording read from any file of truth lines.
#ifndef TESSIVO_TOOLS_RADARSEGMENT_TRUTHFILE_H
#define TESSIVO_TOOLS_RADARSEGMENT_TRUTHFILE_H

#include <stdint.h>

#include <string>
#include <vector>

#include "SceneSynthesizer.h"

// Reads path: one truth line per frame, frames 0, 1, 2, ... in order, each
// person's id once per frame, exactly `frames` lines. False with a message
// naming the file and line otherwise (a missing file included).
bool LoadTruthFile(const std::string& path, int64_t frames,
                   std::vector<std::vector<radar::TruthTarget>>* truth, std::string* error);

#endif
