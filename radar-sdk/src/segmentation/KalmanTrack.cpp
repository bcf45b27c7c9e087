#include "KalmanTrack.h"

#include <cmath>

namespace radar_sdk {

namespace {

constexpr double kRadPerDeg = 3.141592653589793 / 180.0;

}  // namespace

void KalmanTrack::_PolarCovariance(float rangeM, float angleDeg, float rangeSigmaM,
                                   float angleSigmaDeg, double* xx, double* xy, double* yy) {
    // x = r sin a, y = r cos a: J = [[sin a, r cos a], [cos a, -r sin a]].
    const double a = angleDeg * kRadPerDeg;
    const double s = std::sin(a), c = std::cos(a);
    const double vr = static_cast<double>(rangeSigmaM) * rangeSigmaM;
    const double sa = angleSigmaDeg * kRadPerDeg;
    const double vt = static_cast<double>(rangeM) * rangeM * sa * sa;
    *xx = s * s * vr + c * c * vt;
    *xy = s * c * vr - s * c * vt;
    *yy = c * c * vr + s * s * vt;
}

void KalmanTrack::Start(float rangeM, float angleDeg, float radialMps, float rangeSigmaM,
                        float angleSigmaDeg, float velocitySigmaMps) {
    const double a = angleDeg * kRadPerDeg;
    m_s[0] = rangeM * std::sin(a);
    m_s[1] = rangeM * std::cos(a);
    m_s[2] = radialMps * std::sin(a);
    m_s[3] = radialMps * std::cos(a);
    for (auto& row : m_p) {
        for (double& v : row) {
            v = 0.0;
        }
    }
    _PolarCovariance(rangeM, angleDeg, rangeSigmaM, angleSigmaDeg, &m_p[0][0], &m_p[0][1],
                     &m_p[1][1]);
    m_p[1][0] = m_p[0][1];
    const double vv = static_cast<double>(velocitySigmaMps) * velocitySigmaMps;
    m_p[2][2] = vv;
    m_p[3][3] = vv;
}

void KalmanTrack::Predict(float dt, float accelerationSigma) {
    const double t = dt;
    m_lastDt = t;
    m_s[0] += t * m_s[2];
    m_s[1] += t * m_s[3];
    // P = F P F' with F = [[I, tI], [0, I]].
    double p[4][4];
    for (int i = 0; i < 4; ++i) {
        for (int j = 0; j < 4; ++j) {
            p[i][j] = m_p[i][j];
        }
    }
    for (int j = 0; j < 4; ++j) {
        p[0][j] += t * m_p[2][j];
        p[1][j] += t * m_p[3][j];
    }
    for (int i = 0; i < 4; ++i) {
        m_p[i][0] = p[i][0] + t * p[i][2];
        m_p[i][1] = p[i][1] + t * p[i][3];
        m_p[i][2] = p[i][2];
        m_p[i][3] = p[i][3];
    }
    // White acceleration noise, per axis [[t^4/4, t^3/2], [t^3/2, t^2]] q.
    const double q = static_cast<double>(accelerationSigma) * accelerationSigma;
    const double q00 = 0.25 * t * t * t * t * q, q02 = 0.5 * t * t * t * q, q22 = t * t * q;
    for (int axis = 0; axis < 2; ++axis) {
        m_p[axis][axis] += q00;
        m_p[axis][axis + 2] += q02;
        m_p[axis + 2][axis] += q02;
        m_p[axis + 2][axis + 2] += q22;
    }
}

void KalmanTrack::Update(float rangeM, float angleDeg, float rangeSigmaM, float angleSigmaDeg) {
    const double a = angleDeg * kRadPerDeg;
    const double zx = rangeM * std::sin(a), zy = rangeM * std::cos(a);
    double rxx, rxy, ryy;
    _PolarCovariance(rangeM, angleDeg, rangeSigmaM, angleSigmaDeg, &rxx, &rxy, &ryy);
    const double ex = zx - m_s[0], ey = zy - m_s[1];
    // S = H P H' + R, H picks the position.
    const double s00 = m_p[0][0] + rxx, s01 = m_p[0][1] + rxy, s11 = m_p[1][1] + ryy;
    const double det = s00 * s11 - s01 * s01;
    if (!(det > 0.0)) {
        return;
    }
    const double i00 = s11 / det, i01 = -s01 / det, i11 = s00 / det;
    // K = P H' S^-1: 4 x 2.
    double k[4][2];
    for (int i = 0; i < 4; ++i) {
        k[i][0] = m_p[i][0] * i00 + m_p[i][1] * i01;
        k[i][1] = m_p[i][0] * i01 + m_p[i][1] * i11;
    }
    for (int i = 0; i < 4; ++i) {
        m_s[i] += k[i][0] * ex + k[i][1] * ey;
    }
    // P = (I - K H) P.
    double p[4][4];
    for (int i = 0; i < 4; ++i) {
        for (int j = 0; j < 4; ++j) {
            p[i][j] = m_p[i][j] - k[i][0] * m_p[0][j] - k[i][1] * m_p[1][j];
        }
    }
    // Kept symmetric against rounding.
    for (int i = 0; i < 4; ++i) {
        for (int j = 0; j < 4; ++j) {
            m_p[i][j] = 0.5 * (p[i][j] + p[j][i]);
        }
    }
}

void KalmanTrack::OpenVelocity(float sigmaMps) {
    const double vv = static_cast<double>(sigmaMps) * sigmaMps;
    const double t = m_lastDt;
    // As if the velocity had been that much less certain a step ago: its
    // doubt and the position doubt it caused over the step.
    m_p[2][2] += vv;
    m_p[3][3] += vv;
    m_p[0][0] += t * t * vv;
    m_p[1][1] += t * t * vv;
    m_p[0][2] += t * vv;
    m_p[2][0] += t * vv;
    m_p[1][3] += t * vv;
    m_p[3][1] += t * vv;
}

void KalmanTrack::DampVelocity(float factor) {
    m_s[2] *= factor;
    m_s[3] *= factor;
}

float KalmanTrack::RangeM() const {
    return static_cast<float>(std::hypot(m_s[0], m_s[1]));
}

float KalmanTrack::AngleDeg() const {
    return static_cast<float>(std::atan2(m_s[0], m_s[1]) / kRadPerDeg);
}

float KalmanTrack::RadialMps() const {
    const double r = std::hypot(m_s[0], m_s[1]);
    if (!(r > 0.0)) {
        return 0.0f;
    }
    return static_cast<float>((m_s[0] * m_s[2] + m_s[1] * m_s[3]) / r);
}

float KalmanTrack::Speed() const {
    return static_cast<float>(std::hypot(m_s[2], m_s[3]));
}

float KalmanTrack::PositionSigma() const {
    return static_cast<float>(std::sqrt(m_p[0][0] > m_p[1][1] ? m_p[0][0] : m_p[1][1]));
}

}  // namespace radar_sdk
