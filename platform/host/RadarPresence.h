// The presence report of the simulated radar module, computed from where the
// people of the scene are.
//
// Layout (12 bytes, the rest zero):
//   byte 4  1 when somebody is within reach, else 0
//   byte 5  distance of the nearest person within reach in steps of 0.32 m,
//           rounded, at most 255; 0 when nobody is
//   byte 9  how much the nearest person within reach moves: 1 still (slower
//           than 0.2 m/s: seated, standing), 2 slow (below 0.7 m/s), 3 walking;
//           0 when nobody is
//
// Within reach means inside the field of view (-60..+60 degrees) and no
// further than the reach of the sensitivity: 6 m high (1), 5 m medium (2),
// 4 m low (3). The speed is the distance a person moves in half a second (the
// last one, or the next one in the first half second of the source's clock);
// for somebody who is not there at the other end of it, the radial speed.
#ifndef TESSIVO_PLATFORM_HOST_RADARPRESENCE_H
#define TESSIVO_PLATFORM_HOST_RADARPRESENCE_H

#include <stdint.h>

#include <vector>

#include "SceneSynthesizer.h"

class RadarPresence {
public:
    static constexpr int kReportSize = 12;
    static constexpr int kDetectionByte = 4;
    static constexpr int kDistanceByte = 5;
    static constexpr int kLevelByte = 9;
    static constexpr double kDistanceStepM = 0.32;
    // How far back the speed of a person is measured.
    static constexpr double kSpeedWindowS = 0.5;
    static constexpr double kStillBelowMps = 0.2;
    static constexpr double kSlowBelowMps = 0.7;

    // Reach in metres of a sensitivity 1..3 (anything else: medium).
    static double ReachForSensitivity(int sensitivity);

    // Fills report[0..11] from the people now and those kSpeedWindowS
    // earlier or later (`other`).
    static void Build(const std::vector<radar::TruthTarget>& now,
                      const std::vector<radar::TruthTarget>& other, double reachM, uint8_t* report);
};

#endif
