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

// One step of a person's plan: walk on through waypoints, stand still or sit
// down for a while. Each step starts where the previous one ended.
enum class ActivityKind { kWalk, kStand, kSit };
struct PlanStep {
    ActivityKind kind = ActivityKind::kWalk;
    std::vector<ScenePoint> to;  // walk: the waypoints, in order
    double speedMps = -1.0;      // walk: < 0: the person's own speed
    double durationS = -1.0;     // stand, sit: how long; < 0: for good (last step only)
};

struct ScenePerson {
    int id = 0;                      // > 0, unique in the scene; the truth's id
    std::vector<ScenePoint> path;    // one point: standing or seated there; with a plan: the start
    std::vector<PlanStep> plan;      // empty: walk the path (or stay at its point)
    double speedMps = 1.0;           // along the path
    bool loop = false;               // back to the first point, round again
    double startS = 0.0;             // enters the scene at this time
    double endS = -1.0;              // leaves at this time; < 0: never
    bool seated = false;             // still, breathing
    double breathingDepthM = 0.004;  // chest displacement, peak to peak
    double breathingRateHz = 0.3;    // breaths per second
    double rcsM2 = 1.0;              // radar cross-section
    double size = 1.0;               // scale of the body's layout (a child is smaller)
    int scatterers = 0;              // 1..6 points; 0: the posture's default
    double swayM = -1.0;             // rms sway of each point; < 0: default
    std::string label;               // free text, for people reading the scene
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
    std::string label;
};

// A flat reflecting surface: a side wall (the plane x = position) or a back
// wall (y = position). It mirrors every moving thing in front of it.
enum class WallAxis { kX, kY };
struct SceneWall {
    WallAxis axis = WallAxis::kX;
    double positionM = 0.0;
    double reflectivity = 0.4;  // one-bounce echo amplitude relative to the direct one
    std::string label;
};

// Things that move without going anywhere.
enum class MoverKind {
    kFan,        // blades turning fast around a static housing, head oscillating
    kTurntable,  // points on a circle turning slowly (a turntable, a hanging mobile)
    kPendulum,   // one point swinging to and fro
    kCurtain,    // points along a line swaying irregularly (a curtain)
    kPlant,      // points in a small cluster swaying irregularly (a plant)
};
struct SceneMover {
    MoverKind kind = MoverKind::kFan;
    ScenePoint at;
    double rcsM2 = -1.0;          // of each moving point; < 0: the kind's default
    double rateHz = -1.0;         // turns (fan, turntable), swings or sway per second; < 0: default
    double radiusM = -1.0;        // blade, circle or swing radius; < 0: default
    int blades = 4;               // fan
    int points = -1;              // turntable, curtain, plant; < 0: default
    double facingDeg = 0.0;       // fan: its axis; 0 blows along y, into the room
    double housingRcsM2 = 0.5;    // fan: the static motor housing
    double oscillationDeg = 0.0;  // fan: head swing either side of its facing
    double oscillationPeriodS = 15.0;
    double widthM = -1.0;  // curtain, plant: extent; < 0: default
    double swayM = -1.0;   // curtain, plant: peak displacement; < 0: default
    std::string label;
};

// The module's own imperfections. All off by default: the clean module.
struct SceneModule {
    double leakageAmplitude = 0.0;      // transmitter leakage at the converter, counts; 0: none
    double leakageRangeM = 0.04;        // its apparent distance
    double highPassHz = 0.0;            // corner of the first-order IF high-pass; 0: none
    double patternExponent = 0.0;       // two-way power gain cos(A)^p; 0: flat field of view
    double rxGainDb = 0.0;              // rx 1's gain relative to rx 0
    double adcOffsets[2] = {0.0, 0.0};  // per receiver, on top of the scene's adcOffset
};

struct Scene {
    std::string name;
    std::string description;  // free text
    uint64_t seed = 1;
    std::vector<ScenePerson> people;
    std::vector<SceneClutter> clutter;
    std::vector<SceneWall> walls;
    std::vector<SceneMover> movers;
    SceneModule module;
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
// The scene as a document that ParseScene reads back to the same scene
// (numbers with every digit, defaults written out).
// \context Thread-safe.
std::string SceneToJson(const Scene& scene);
// Checks a scene built in code against the same limits as a parsed one;
// false with a message naming the bad field (as in the JSON).
// \context Thread-safe.
bool ValidateScene(const Scene& scene, std::string* error);

}  // namespace radar

#endif
