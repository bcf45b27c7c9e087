#include "TruthFile.h"

#include <errno.h>
#include <string.h>

#include <fstream>
#include <set>

#include "Recording.h"

bool LoadTruthFile(const std::string& path, int64_t frames,
                   std::vector<std::vector<radar::TruthTarget>>* truth, std::string* error) {
    std::ifstream in(path);
    if (!in) {
        *error = "cannot open " + path + ": " + strerror(errno);
        return false;
    }
    std::vector<std::vector<radar::TruthTarget>> loaded;
    std::string line;
    int64_t lineNumber = 0;
    while (std::getline(in, line)) {
        ++lineNumber;
        const std::string where = path + ":" + std::to_string(lineNumber) + ": ";
        int64_t frame = 0;
        std::vector<radar::TruthTarget> targets;
        std::string why;
        if (!radar::ParseTruthLine(line, &frame, &targets, &why)) {
            *error = where + why;
            return false;
        }
        if (frame != static_cast<int64_t>(loaded.size())) {
            *error = where + "frame " + std::to_string(frame) + " where frame " +
                     std::to_string(loaded.size()) + " was expected";
            return false;
        }
        std::set<int> ids;
        for (const radar::TruthTarget& target : targets) {
            if (!ids.insert(target.id).second) {
                *error = where + "id " + std::to_string(target.id) + " twice in one frame";
                return false;
            }
        }
        loaded.push_back(std::move(targets));
    }
    if (in.bad()) {
        *error = "cannot read " + path;
        return false;
    }
    if (static_cast<int64_t>(loaded.size()) != frames) {
        *error = path + ": ground truth for " + std::to_string(loaded.size()) +
                 " frames, but the recording has " + std::to_string(frames);
        return false;
    }
    *truth = std::move(loaded);
    return true;
}
