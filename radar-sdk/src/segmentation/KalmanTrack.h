// The motion model of one tracked person: a Kalman filter on position and
// velocity in the room (x, y, vx, vy), constant velocity with a random
// acceleration. Measurements are positions whose uncertainty comes in polar
// form (range good to centimetres, angle to degrees) and is turned into the
// room's axes, so that a far person's sideways uncertainty grows with range.
#ifndef TESSIVO_RADARSDK_KALMANTRACK_H
#define TESSIVO_RADARSDK_KALMANTRACK_H

namespace radar_sdk {

class KalmanTrack {
public:
    // Starts at a measured position; the velocity is known only along the
    // line of sight (radialMps), the sideways part starts at zero with
    // velocitySigma of doubt.
    void Start(float rangeM, float angleDeg, float radialMps, float rangeSigmaM,
               float angleSigmaDeg, float velocitySigmaMps);
    // Moves the state dt seconds on; accelerationSigma (m/s^2) is how hard
    // a person may change course.
    void Predict(float dt, float accelerationSigma);
    // A measured position in polar form.
    void Update(float rangeM, float angleDeg, float rangeSigmaM, float angleSigmaDeg);
    // Makes the velocity sigmaMps less certain, as of the last prediction:
    // a person who turned round, whom the next update should follow at once.
    void OpenVelocity(float sigmaMps);
    // Slows a track that is not being measured, so that it coasts to a stop.
    void DampVelocity(float factor);

    float X() const { return static_cast<float>(m_s[0]); }
    float Y() const { return static_cast<float>(m_s[1]); }
    float Vx() const { return static_cast<float>(m_s[2]); }
    float Vy() const { return static_cast<float>(m_s[3]); }
    float RangeM() const;
    float AngleDeg() const;
    // Speed along the line of sight, positive moving away.
    float RadialMps() const;
    float Speed() const;
    // Square root of the larger position variance: how far off the
    // prediction may be.
    float PositionSigma() const;

private:
    static void _PolarCovariance(float rangeM, float angleDeg, float rangeSigmaM,
                                 float angleSigmaDeg, double* xx, double* xy, double* yy);

    double m_s[4] = {0.0, 0.0, 0.0, 0.0};
    double m_lastDt = 0.0;  // of the last prediction
    double m_p[4][4] = {};
};

}  // namespace radar_sdk

#endif
