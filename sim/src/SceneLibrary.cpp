// Finding scenes by name in the folder of shipped scenes.
#include "SceneLibrary.h"

#include <dirent.h>
#include <stdlib.h>
#include <sys/stat.h>

#include <algorithm>

namespace radar {

namespace {

const char kJsonSuffix[] = ".json";

bool EndsWith(const std::string& text, const std::string& suffix) {
    return text.size() > suffix.size() &&
           text.compare(text.size() - suffix.size(), suffix.size(), suffix) == 0;
}

bool IsRegularFile(const std::string& path) {
    struct stat info;
    return stat(path.c_str(), &info) == 0 && S_ISREG(info.st_mode);
}

}  // namespace

std::string SceneDirectory() {
    const char* fromEnvironment = getenv("TESSIVO_SCENE_DIR");
    if (fromEnvironment != nullptr && fromEnvironment[0] != '\0') {
        return fromEnvironment;
    }
    return TESSIVO_SCENE_DIR;
}

std::vector<std::string> ShippedSceneNames() {
    std::vector<std::string> names;
    const std::string directory = SceneDirectory();
    DIR* dir = opendir(directory.c_str());
    if (dir == nullptr) {
        return names;
    }
    while (struct dirent* entry = readdir(dir)) {
        const std::string file = entry->d_name;
        if (EndsWith(file, kJsonSuffix) && IsRegularFile(directory + "/" + file)) {
            names.push_back(file.substr(0, file.size() - (sizeof(kJsonSuffix) - 1)));
        }
    }
    closedir(dir);
    std::sort(names.begin(), names.end());
    return names;
}

bool ResolveScenePath(const std::string& nameOrPath, std::string* path, std::string* error) {
    if (nameOrPath.empty()) {
        *error = "no scene given";
        return false;
    }
    if (IsRegularFile(nameOrPath)) {
        *path = nameOrPath;
        return true;
    }
    const std::string directory = SceneDirectory();
    if (nameOrPath.find('/') == std::string::npos) {
        for (const std::string& candidate :
             {directory + "/" + nameOrPath, directory + "/" + nameOrPath + kJsonSuffix}) {
            if (IsRegularFile(candidate)) {
                *path = candidate;
                return true;
            }
        }
    }
    std::string list;
    for (const std::string& name : ShippedSceneNames()) {
        list += (list.empty() ? "" : ", ") + name;
    }
    *error = "no scene file " + nameOrPath + ", nor a shipped scene of that name (in " + directory +
             ": " + (list.empty() ? "none" : list) + ")";
    return false;
}

}  // namespace radar
