// Configuration of the simulated radar module: typed values in the "radar"
// area of the platform store, written by tessivo-platform and read by the
// module.
//
// Keys (area "radar"):
//   source                    string  "scene" or "recording"
//   scene                     string  path of the scene file (source scene)
//   recording                 string  path of the recording (source recording)
//   loop                      bool    replay the recording again from its start
//   seed                      int     noise seed of the synthesis; unset: the scene's own
//   record                    string  append what is delivered to this file; unset or
//                                     empty: do not record
//   spi                       bool    true: the SPI check passes
//   sensitivity               int     1 high, 2 medium, 3 low
//   firmware                  double  firmware version
//   fault/init                bool    init() fails
//   fault/presence            bool    presence reads fail
//   fault/no_stream           bool    start() succeeds but nothing is delivered
//   fault/null_slice_every    int     every Nth slice is delivered as a null pointer; 0 off
//   fault/drop_slice_every    int     every Nth slice is not delivered at all; 0 off
//
// When the module reads them:
//   source, scene, recording, loop, seed: at init(), at start(), and at each
//     presence read while not streaming (a change reloads the source and
//     restarts its clock); while streaming the stream keeps its source.
//   record: at start().
//   spi, sensitivity, firmware, fault/init, fault/presence: at each call.
//   fault/no_stream, fault/null_slice_every, fault/drop_slice_every: at each
//     frame of the stream.
//
// A required value that is missing or malformed (source and its path, spi,
// sensitivity, firmware) is logged once and replaced by its default; a
// malformed optional value (loop, seed, record, faults) is logged once and
// treated as unset. Missing optional values are not an error.
#ifndef TESSIVO_PLATFORM_HOST_RADARCONFIG_H
#define TESSIVO_PLATFORM_HOST_RADARCONFIG_H

#include <stdint.h>

#include <string>

struct RadarSourceSettings {
    enum class Kind { Scene, Recording };

    Kind kind = Kind::Scene;
    std::string path;  // empty: no usable path configured (an empty room)
    bool loop = false;
    bool hasSeed = false;
    int64_t seed = 0;

    bool operator==(const RadarSourceSettings& other) const {
        return kind == other.kind && path == other.path && loop == other.loop &&
               hasSeed == other.hasSeed && seed == other.seed;
    }
    bool operator!=(const RadarSourceSettings& other) const { return !(*this == other); }
};

struct RadarStreamFaults {
    bool noStream = false;
    int nullSliceEvery = 0;
    int dropSliceEvery = 0;
};

class RadarConfig {
public:
    static constexpr const char* kArea = "radar";

    static constexpr const char* kSource = "source";
    static constexpr const char* kScene = "scene";
    static constexpr const char* kRecording = "recording";
    static constexpr const char* kLoop = "loop";
    static constexpr const char* kSeed = "seed";
    static constexpr const char* kRecord = "record";
    static constexpr const char* kSpi = "spi";
    static constexpr const char* kSensitivity = "sensitivity";
    static constexpr const char* kFirmware = "firmware";
    static constexpr const char* kFaultInit = "fault/init";
    static constexpr const char* kFaultPresence = "fault/presence";
    static constexpr const char* kFaultNoStream = "fault/no_stream";
    static constexpr const char* kFaultNullSliceEvery = "fault/null_slice_every";
    static constexpr const char* kFaultDropSliceEvery = "fault/drop_slice_every";

    static constexpr const char* kSourceScene = "scene";
    static constexpr const char* kSourceRecording = "recording";

    static constexpr int kDefaultSensitivity = 2;
    static constexpr double kDefaultFirmware = 1.0;

    // The readers below log a problem with a key once, and again only after
    // the key was read fine in between or its problem changed.
    // \context Thread-safe.
    static RadarSourceSettings ReadSourceSettings();
    // \context Thread-safe.
    static RadarStreamFaults ReadStreamFaults();
    // Empty when not recording.
    // \context Thread-safe.
    static std::string ReadRecordPath();
    // \context Thread-safe.
    static bool ReadSpiPasses();
    // 1..3.
    // \context Thread-safe.
    static int ReadSensitivity();
    // \context Thread-safe.
    static double ReadFirmware();
    // \context Thread-safe.
    static bool ReadFault(const char* key);

private:
    static bool _ReadBool(const char* key, bool fallback, bool required);
    // *found (when given) tells whether the value was read fine.
    static int _ReadInt(const char* key, int fallback, int minimum, int maximum, bool required,
                        bool* found = nullptr);
    static double _ReadDouble(const char* key, double fallback, bool required);
    static std::string _ReadString(const char* key, const std::string& fallback, bool required);
    static void _Problem(const char* key, const std::string& problem);
    // A read that gave no usable value: an optional key that is not set
    // quietly takes the fallback; anything else is reported (once).
    static void _UseFallback(const char* key, int ret, const std::string& problem, bool required,
                             const std::string& fallbackText);
    static void _Fine(const char* key);
};

#endif
