// The walls of the room, learned from their echoes. A flat wall mirrors
// everything in front of it: besides a person's own echo at (R, A) there is
// the echo that goes out or comes back by the wall, (R + R') / 2 away, whose
// two paths are equally long and so reach the receivers as one echo with the
// phase difference of their sum (between A and the mirror direction A', or
// flipped to the other side when those are more than half a turn apart), and
// the mirror image itself at (R', A'), fainter by the wall's reflectivity
// twice over. Any one far thing is the echo of a nearer one for some wall;
// what gives a wall away is that it stays where it is while the person
// walks. So every frame each far track with Doppler of its own is held, for
// each kind of wall (left, right, behind) and each path, against each
// walking person: the wall distance that would make it that person's echo,
// and whether its Doppler is the rate at which that echo's path changes.
// While the distance stays put for the frames in which the person walks a
// few tens of centimetres, the track moves in step with the person, and the
// wall gets a vote; a second person's distance drifts as the two walk their
// own ways. Where the echo would come from the person's own direction (a
// wall straight behind), anyone farther on that line fits some wall, and
// nothing is learned. Whatever is seen with nothing in front of it stands in
// front of every wall: walls nearer than that lose their votes. Once a wall
// has enough votes, a track it explains is an echo from the first frame on,
// whoever's echo it is, walking or seated.
#ifndef TESSIVO_RADARSDK_WALLMAP_H
#define TESSIVO_RADARSDK_WALLMAP_H

#include <memory>
#include <string>
#include <vector>

namespace radar_sdk {

struct WallConfig {
    float binM = 0.15f;               // resolution of a wall's distance
    float maxM = 8.0f;                // farthest wall followed
    float clearanceM = 0.2f;          // a wall stands at least this far beyond its person
    float phaseToleranceRad = 0.45f;  // receivers' phase difference: a track's angle to degrees
    // The mirror image is the wall's reflectivity squared (at most 0.6) of
    // a person there; a real person is not that much fainter than another.
    float imagePowerRatio = 0.25f;
    float stepToleranceM = 0.3f;  // how far the wall's distance may wander meanwhile
    int stepFrames = 6;           // frames a wall's distance stays put before it counts
    float stepTravelM = 0.3f;     // while the person walks this far
    float stepSpeedMps = 0.3f;    // an echo's radial speed is the path's to this
    float keep = 0.998f;          // votes kept per frame: a wrong wall fades in a minute
    float knownVotes = 5.0f;      // a wall is known at this many votes (three bins)
    float maxVotes = 40.0f;       // votes a bin holds at most
};

// A track as the wall map sees it. `slot` and `serial` name it: the slot is
// its place among the tracker's tracks, the serial changes whenever the
// slot holds a new track.
struct WallTrack {
    int slot = 0;
    int serial = 0;
    float x = 0.0f, y = 0.0f;    // room axes: x across, y out
    float vx = 0.0f, vy = 0.0f;  // its velocity
    float radialMps = 0.0f;      // along the line of sight, moving away positive
    float power = 0.0f;          // measured lately, the points' units
};

class WallMap {
public:
    // Null with *error naming the bad setting. tracks: slots of the tracker.
    static std::unique_ptr<WallMap> Create(const WallConfig& config, int tracks,
                                           std::string* error);

    void Reset();
    // A new frame: older votes fade.
    void Fade();
    // `echo` is farther than `source`, a person on the move this frame.
    void Learn(const WallTrack& source, const WallTrack& echo);
    // `thing` is seen directly (nothing nearer could have cast it): no wall
    // stands between it and the module.
    void Clear(const WallTrack& thing);
    // Whether a known wall makes `echo` the echo of `source`.
    bool Explains(const WallTrack& source, const WallTrack& echo) const;

private:
    enum Side { kLeft, kRight, kBehind, kSides };
    static constexpr int kPaths = 2 * kSides;  // one bounce or two, off each wall

    // One source and echo pair along one path: the wall distance it had
    // when it began, where the source was then, and for how many frames.
    struct Step {
        int sourceSerial = -1, echoSerial = -1;
        float wallM[kPaths] = {};
        float fromX[kPaths] = {}, fromY[kPaths] = {};
        int frames[kPaths] = {};
    };

    WallMap() = default;
    // Calls found(path, distance) for every wall and path that make `echo`
    // the echo of `source`; learning asks more of the fit.
    template <class Found>
    void _Walls(const WallTrack& source, const WallTrack& echo, bool learning, Found&& found) const;
    int _Bin(float wallM) const;

    WallConfig m_config;
    int m_bins = 0;
    int m_tracks = 0;
    std::vector<float> m_votes;  // per side, per bin of the wall's distance
    std::vector<Step> m_steps;   // per source slot, per echo slot
};

}  // namespace radar_sdk

#endif
