// A wall mirrors every person: its echo arrives from farther, and a seated
// person's echo is still and breathes with exactly the person's breathing,
// so the slow-time path reports it as a seated person of its own, for as
// long as the person sits. Two real people breathe independently and a real
// person behind another is about as strong as the range allows. EchoHistory
// keeps the slow-time power and phase steps each track measured over the
// last seconds;
// JudgeEcho compares a still track with a nearer still one and says whether
// the farther one is only its echo.
#ifndef TESSIVO_RADARSDK_ECHOGATE_H
#define TESSIVO_RADARSDK_ECHOGATE_H

namespace radar_sdk {

struct EchoConfig {
    float marginM = 0.3f;         // an echo is at least this much farther than its source
    float stillSpeedMps = 0.25f;  // both slower: still
    int frames = 48;              // compared over the last frames (breaths of 2-7 s)
    int fastSamples = 10;         // frames both were measured in before anything is said
    int samples = 30;             // and before their breathing is compared
    // Power of the track against the source's scaled to the track's range
    // (1/R^4): a real person, however small or far off to the side, is not
    // this much fainter; the echo of a breath off a wall is.
    float faintRatio = 0.1f;
    float correlation = 0.8f;  // of the log slow-time power: breathes with the source
    // Of the phase steps, either sign: the echo's path follows the chest's
    // motion, shortening where the direct path lengthens for a wall behind.
    float stepCorrelation = 0.8f;
};

// Fixed-size history of one track's slow-time power, newest last: copying
// it (a track starting afresh) allocates nothing.
class EchoHistory {
public:
    static constexpr int kFrames = 64;

    // One frame's slow-time power of the track's points (0: none) and their
    // phase step since the previous frame (radians).
    void Push(float stillPower, float step);

    // Frame `back` before the newest (0 newest).
    bool Hit(int back) const { return back < m_count && m_power[_At(back)] > 0.0f; }
    float Power(int back) const { return m_power[_At(back)]; }
    float LogPower(int back) const { return m_logPower[_At(back)]; }
    float Step(int back) const { return m_step[_At(back)]; }
    int Count() const { return m_count; }

private:
    int _At(int back) const { return (m_head - 1 - back + 2 * kFrames) % kFrames; }

    float m_power[kFrames] = {};
    float m_logPower[kFrames] = {};
    float m_step[kFrames] = {};
    int m_head = 0;
    int m_count = 0;
};

enum class EchoVerdict {
    kClear,    // not this source's echo
    kPending,  // could be: too few frames measured to tell yet
    kEcho,     // the source's echo
};

struct EchoTrack {
    const EchoHistory* history = nullptr;
    float rangeM = 0.0f;
    float speedMps = 0.0f;  // the filter's speed
};

// Whether `track` is the wall echo of `source` (a confirmed person).
EchoVerdict JudgeEcho(const EchoTrack& track, const EchoTrack& source, const EchoConfig& config);

}  // namespace radar_sdk

#endif
