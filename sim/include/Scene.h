// A scene for the simulated radar: people walking along paths or sitting and
// breathing, static clutter, and the receiver's imperfections. Scenes are
// JSON files (see sim/scenes/ and sim/README.md).
#ifndef TESSIVO_SIM_SCENE_H
#define TESSIVO_SIM_SCENE_H

#include <stdint.h>

#include <string>
#include <vector>

namespace radar {

// A point in the room, metres: x across (positive towards rx 1's side), y
// straight out of the screen.
struct ScenePoint {
    double x = 0.0;
    double y = 0.0;
};

struct ScenePerson {
    int id = 0;                      // > 0, unique in the scene; the truth's id
    std::vector<ScenePoint> path;    // one point: standing or seated there
    double speedMps = 1.0;           // along the path
    bool loop = false;               // back to the first point, round again
    double startS = 0.0;             // enters the scene at this time
    double endS = -1.0;              // leaves at this time; < 0: never
    bool seated = false;             // still, breathing
    double breathingDepthM = 0.004;  // chest displacement, peak to peak
    double breathingRateHz = 0.3;    // breaths per second
    double rcsM2 = 1.0;              // radar cross-section
    int scatterers = 0;              // 1..6 points; 0: the posture's default
    double swayM = -1.0;             // rms sway of each point; < 0: default
};

// Limits of a person's scattering points.
constexpr int kMaxScatterersPerPerson = 6;
constexpr int kDefaultWalkerScatterers = 5;  // torso, two arms, two legs
constexpr int kDefaultSeatedScatterers = 4;  // chest, head, two knees
constexpr double kDefaultSwayM = 0.002;
constexpr double kDefaultSeatedSwayM = 0.0003;

struct SceneClutter {
    ScenePoint at;
    double rcsM2 = 5.0;
};

struct Scene {
    std::string name;
    uint64_t seed = 1;
    std::vector<ScenePerson> people;
    std::vector<SceneClutter> clutter;
    double noiseRms = 2.0;   // receiver noise, ADC counts
    double adcOffset = 0.0;  // added to the 2048 mid-scale, ADC counts
    double gain = 1.0;       // overall amplitude scale
};

// Parses a scene document; false with a message naming the bad field.
// \context Thread-safe.
bool ParseScene(const std::string& json, Scene* scene, std::string* error);
// Reads and parses a scene file; the name defaults to the file's name
// without ".json". Messages start with the path.
// \context Thread-safe.
bool LoadScene(const std::string& path, Scene* scene, std::string* error);
// Checks a scene built in code against the same limits as a parsed one;
// false with a message naming the bad field (as in the JSON).
// \context Thread-safe.
bool ValidateScene(const Scene& scene, std::string* error);

}  // namespace radar

#endif
