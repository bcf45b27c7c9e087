// The scenes shipped in sim/scenes/, found by name.
#ifndef TESSIVO_SIM_SCENELIBRARY_H
#define TESSIVO_SIM_SCENELIBRARY_H

#include <string>
#include <vector>

namespace radar {

// The folder of the shipped scenes: $TESSIVO_SCENE_DIR when set, else the
// one of the source tree this was built from.
// \context Thread-safe.
std::string SceneDirectory();

// Names of the shipped scenes (file names without ".json"), sorted.
// \context Thread-safe.
std::vector<std::string> ShippedSceneNames();

// A scene given as a path to a file, or as the name of a shipped scene with
// or without ".json". False with a message listing the shipped scenes when
// neither exists.
// \context Thread-safe.
bool ResolveScenePath(const std::string& nameOrPath, std::string* path, std::string* error);

}  // namespace radar

#endif
