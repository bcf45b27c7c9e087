// Stage 7: people from points. Every track is a Kalman filter (KalmanTrack).
// Each frame the tracks are predicted; each point joins the track it fits
// best (distance to the prediction within a gate that grows with the track's
// uncertainty, plus the difference between the point's radial speed and the
// track's), so that two people side by side, or crossing, keep their own
// points instead of being merged into one blob; a point that two tracks'
// gates hold counts only in part (PointShare). A track measures the weighted
// centroid of its points: range as a power-weighted mean, angle from the
// summed cross products of the receivers (a walker's at a flatter weight, so
// that its limbs' Doppler columns count). A walker whose Doppler speed
// leaves the prediction has turned: its velocity is opened up. Only peaks
// start candidates; the flanks of a peak feed confirmed tracks only. A
// moving cluster between two tracks of its range and speed is their mix and
// starts nothing. Slow-time points (zero Doppler, radial speed 0) join like
// the others: a person who stops and sits keeps the track and the id, and a
// walker crossing the line of sight is measured by them (while a walker has
// Doppler points of its own, its slow-time points, the trail it leaves in
// the clutter map, do not pull it back). Points that nobody claims are grouped (within a person's
// size and speed spread) into tentative tracks, which become real tracks
// with a new id after a few consistent hits. A still-born candidate (slow-time
// points only) needs more hits and may not start where a moving track passed
// within the slow-time window: the slow-time path sees the trail a walker
// leaves. Tracks die after missing for a while (still ones later than moving
// ones) or when they are hit in too few of the recent frames (a track kept
// alive by stray points); two tracks that sit on one person for several
// frames, at one velocity, are merged into the older id (two people crossing
// walk at different velocities and keep theirs). A walker's track that lost
// its walker and coasted to a stop hands its id to the young walker's track
// that started next to it. A mover that is not a person (a fan, whose blade
// tips fold their Doppler over the whole speed axis in every frame, at one
// place) is never confirmed, nor is one that turns (a turntable, a mobile:
// part of it comes closer while the rest goes away): a candidate whose place
// (every Doppler point within a gate of it: a fan's Doppler is split among
// several candidates by speed at first) fills most of the speed axis, out to
// both folded ends, or holds speeds well away from zero on both sides, in
// most of its frames since it last travelled is a mover. It is never
// reported, takes the points of its place by distance alone (they come at
// every speed), and is not ended by a person passing it, so that the fan's
// points start nothing else and drag no one's track. A confirmed track whose
// own points do so for seconds without travelling loses its id and becomes
// such a candidate. A seated person's wall echo (EchoGate: farther than a
// still confirmed track, and far fainter than a person there could be or
// breathing with it) is held as such a candidate too.
#ifndef TESSIVO_RADARSDK_TRACKER_H
#define TESSIVO_RADARSDK_TRACKER_H

#include <memory>
#include <string>
#include <vector>

#include "Detection.h"
#include "EchoGate.h"
#include "KalmanTrack.h"
#include "PointShare.h"
#include "WallMap.h"

namespace radar_sdk {

struct TrackerConfig {
    int capacity = 24;                  // tracks followed at once, tentative ones included
    float gateM = 0.7f;                 // a point this far from a prediction may join it
    float maxGateM = 1.0f;              // however uncertain the track
    float positionScaleM = 0.35f;       // association cost: distance per unit
    float speedScaleMps = 0.8f;         // association cost: radial speed per unit
    float spawnRadiusM = 0.5f;          // unclaimed points this close form one candidate
    float spawnSpeedMps = 1.2f;         // and differ in radial speed by no more
    float stillSpawnClearanceM = 1.0f;  // no still-born candidate nearer a track
    float seedSnr = 100.0f;             // a candidate starts from a point this far above noise
    int confirmHits = 3;                // hits with moving points that confirm a candidate
    int confirmStillHits = 10;          // hits that confirm a still-born candidate
    int tentativeMisses = 2;            // misses that drop a candidate
    int movingMisses = 12;              // misses that end a moving track
    int stillMisses = 40;               // misses that end a still track
    int reportMisses = 5;               // a moving track missing longer is not reported
    int recentFrames = 20;              // a confirmed track hit in fewer than
    int recentHits = 6;                 // recentHits of the last recentFrames dies
    int trailFrames = 29;          // how long a moving track's path blocks still-born candidates
    float trailRadiusM = 0.75f;    // and how wide
    float areaM = 6.0f;            // extent of the trail map: +-areaM across, areaM out
    float stillSpeedMps = 0.25f;   // slower counts as still
    float mergeDistanceM = 0.35f;  // two tracks this close for mergeFrames merge
    int mergeFrames = 4;
    float accelerationSigma = 2.0f;       // m/s^2
    float stillAccelerationSigma = 0.5f;  // m/s^2 for a still track: steadier
    float rangeSigmaM = 0.12f;            // measurement noise of a centroid
    float angleSigmaDeg = 4.0f;
    float coastDamping = 0.85f;   // velocity kept per missed frame
    float foldSpeedMps = 3.125f;  // unambiguous radial speed: the Doppler axis is +-this
    int wideBands = 6;            // of 8 bands across the axis: a frame's Doppler is wide
    float travelM = 0.7f;         // farther from where it settled, a track has travelled
    int moverFrames = 14;         // wide frames of recentFrames that demote a confirmed track
};

// One track as the engine reports it.
struct TrackReport {
    int id = 0;
    float rangeM = 0.0f;
    float angleDeg = 0.0f;
    float velocityMps = 0.0f;
    float x = 0.0f, y = 0.0f;
};

class Tracker {
public:
    // Null with *error naming the bad argument. pointCapacity: most points
    // per frame.
    static std::unique_ptr<Tracker> Create(const TrackerConfig& config, int pointCapacity,
                                           std::string* error);

    // One frame's points, dt seconds after the previous frame. Allocates
    // nothing.
    void Execute(const Detection* points, int count, float dt);
    // Forgets every track; ids start again from 1.
    void Reset();

    // The confirmed tracks, in id order, at most capacity of them.
    int Report(TrackReport* out, int capacity) const;

private:
    struct Track {
        bool used = false;
        bool confirmed = false;
        bool stillBorn = false;
        bool mover = false;  // a candidate whose Doppler fills the axis in one place
        int id = 0;
        int serial = 0;  // changes whenever the slot holds a new track
        int hits = 0;
        int movingHits = 0;
        int lastWalkingFrame = 0;  // last frame the track moved at a walker's speed
        int misses = 0;
        int overlap = 0;
        int age = 0;              // frames since the start
        unsigned int recent = 0;  // hit (1) or missed (0) in the last frames, newest lowest
        // Doppler bands (fine ones) this frame's moving points fell in, and
        // per frame since the track settled at (anchorX, anchorY) whether
        // they filled the speed axis (wide) or came and went at once
        // (turning), newest lowest.
        unsigned int bands = 0;
        unsigned int wide = 0;
        unsigned int turning = 0;
        int settled = 0;  // frames since the track last travelled
        float anchorX = 0.0f, anchorY = 0.0f;
        // Its slow-time power lately, and whether it is held as a nearer
        // person's wall echo (frames judged one in a row, frames clear in a
        // row, and whether it may not be confirmed this frame).
        EchoHistory history;
        float power = 0.0f;  // of its points, smoothed over the frames it was hit
        bool echo = false;
        bool echoWait = false;
        int echoRun = 0, clearRun = 0;
        KalmanTrack filter;
        // This frame's measurement, accumulated from the points that joined,
        // moving-path and slow-time ones apart.
        PointSum moving, still;
        std::complex<float> steps;  // still points' phase steps, power-weighted
    };

    Tracker() = default;
    int _BestTrack(const Detection& point, float* share) const;
    void _Measure(Track* track);
    void _Spawn(const Detection* points, int count, float dt);
    void _Start(const Detection& centre, float speed, bool stillBorn, unsigned int bands);
    void _MergeAndRetire();
    bool _Alive(const Track& track) const;
    void _Settle(Track* track);
    bool _Mover(const Track& track) const;
    int _Band(float velocityMps) const;
    unsigned int _PlaceBands(const Detection* points, int count, float x, float y) const;
    EchoVerdict _EchoOf(const Track& track) const;
    void _LearnWalls();
    WallTrack _WallTrack(const Track& track) const;
    void _JudgeEcho(Track* track);
    bool _MixOfTwo(const Detection& centre, float speed) const;
    Track* _Stalled(const Track& candidate);
    void _MarkTrails();
    bool _OnTrail(float x, float y) const;
    int _Cell(float x, float y) const;

    TrackerConfig m_config;
    ShareConfig m_share;
    EchoConfig m_echo;
    std::unique_ptr<WallMap> m_walls;
    std::vector<Track> m_tracks;
    std::vector<int> m_owner;  // per point: the track it joined, or -1
    std::vector<int> m_order;  // scratch: unclaimed points, strongest first
    // Frame at which a moving track last passed each cell of a grid over
    // the room; a still-born candidate may not start on a recent trail.
    std::vector<int> m_trail;
    int m_trailColumns = 0, m_trailRows = 0;
    int m_frame = 0;
    int m_nextId = 1;
    int m_serial = 0;
};

}  // namespace radar_sdk

#endif
