// How points that two people share are handled: a contested or mixed point
// counts less, the detector keeps peaks before flanks, only peaks start
// tracks, two people crossing keep two tracks and their ids, the mix of two
// people at one range and speed starts no third, a turn is followed, a
// fan or a turntable holds no track, and neither a seated person's nor a
// walker's wall echo holds one.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

#include "AngleEstimator.h"
#include "CfarDetector.h"
#include "KalmanTrack.h"
#include "PointShare.h"
#include "Tracker.h"

namespace {

constexpr double kPi = 3.141592653589793;

radar_sdk::Detection PointAt(float x, float y, float velocity, float weight = 1.0f) {
    radar_sdk::Detection point;
    point.x = x;
    point.y = y;
    point.rangeM = std::hypot(x, y);
    point.angleDeg = static_cast<float>(std::atan2(x, y) * 180.0 / kPi);
    point.velocityMps = velocity;
    point.weight = weight;
    point.snr = 1e6f;
    // One echo: |rx0| = |rx1|, so |rx1 rx0*| is half the summed power.
    point.cross = radar_sdk::CrossForAngle(point.angleDeg) * (0.5f * weight);
    return point;
}

// A walker: the body (a peak) and limbs whose Doppler lies `spread` apart
// round the body's radial speed.
void AddWalker(std::vector<radar_sdk::Detection>* points, float x, float y, float radial,
               float spread, float weight) {
    for (int limb = -2; limb <= 2; ++limb) {
        radar_sdk::Detection point = PointAt(x, y, radial + spread * limb, weight);
        point.peak = limb == 0;
        points->push_back(point);
    }
}

TEST(PointShare, ContestedMixedAndAmbiguousPointsCountLess) {
    const radar_sdk::ShareConfig config;
    const radar_sdk::Detection point = PointAt(0.0f, 2.0f, 0.5f);
    EXPECT_NEAR(radar_sdk::PointPurity(point), 1.0f, 1e-5f);
    const radar_sdk::ShareTrack best{0.1f, 2.0f, 0.5f};
    EXPECT_NEAR(radar_sdk::PointShare(point, best, nullptr, config), 1.0f, 1e-4f);

    // Another track fits as well, in range too: at most a quarter.
    radar_sdk::ShareTrack second{0.1f, 2.0f, 1.5f};
    const float contested = radar_sdk::PointShare(point, best, &second, config);
    EXPECT_LT(contested, 0.3f);
    EXPECT_GT(contested, 0.05f);
    // A much worse runner-up leaves the point almost whole.
    second.cost = 20.0f;
    second.rangeM = 2.6f;
    EXPECT_GT(radar_sdk::PointShare(point, best, &second, config), 0.9f);
    // Both tracks' radial speed: the bodies of two people in one cell.
    second.radialMps = 0.55f;
    EXPECT_LT(radar_sdk::PointShare(point, best, &second, config), 0.02f);

    // Two echoes from different angles in one cell: unequal amplitudes at
    // the receivers, the point hardly counts.
    radar_sdk::Detection mixed = point;
    const std::complex<float> rx0(1.0f, 0.0f);
    const std::complex<float> rx1 =
        rx0 * radar_sdk::CrossForAngle(-30.0f) + 0.8f * radar_sdk::CrossForAngle(30.0f);
    mixed.weight = std::norm(rx0) + std::norm(rx1);
    mixed.cross = rx1 * std::conj(rx0);
    EXPECT_LT(radar_sdk::PointPurity(mixed), 0.9f);
    EXPECT_LT(radar_sdk::PointShare(mixed, best, nullptr, config), 0.2f);
}

TEST(PointShare, FlatCrossWeighsByAmplitudeNotPower) {
    radar_sdk::PointSum sum;
    // A strong point at +20 degrees and a weaker one (1/100 of the power)
    // at -20: by power the strong one decides, flattened the weak one counts.
    sum.Add(PointAt(2.0f * std::sin(0.349f), 2.0f * std::cos(0.349f), 0.5f, 100.0f), 1.0f, 0.0f);
    sum.Add(PointAt(-2.0f * std::sin(0.349f), 2.0f * std::cos(0.349f), 0.5f, 1.0f), 1.0f, 0.0f);
    EXPECT_GT(radar_sdk::AngleFromCross(sum.cross), 18.0f);
    EXPECT_NEAR(radar_sdk::AngleFromCross(sum.flatCross), 0.0f, 1.0f);
    EXPECT_NEAR(sum.range / sum.weight, 2.0f, 1e-4f);
}

TEST(CfarDetector, MarksPeaksAndKeepsThemBeforeFlanks) {
    constexpr int kBins = 40, kColumns = 16;
    radar_sdk::CfarConfig config;
    config.peaksOnly = false;
    config.capacity = 3;
    std::string error;
    auto cfar = radar_sdk::CfarDetector::Create(kBins, kColumns, config, &error);
    ASSERT_TRUE(cfar) << error;
    std::vector<float> map(kBins * kColumns, 1.0f);
    // A strong person with flanks over three Doppler columns, and a weak one.
    map[10 * kColumns + 4] = 1e6f;
    map[10 * kColumns + 3] = 1e5f;
    map[10 * kColumns + 5] = 1e5f;
    map[30 * kColumns + 9] = 1e3f;
    ASSERT_EQ(cfar->Execute(map.data(), 0, kBins - 1, -1), 3);
    std::vector<int> peaks;
    for (int i = 0; i < cfar->Count(); ++i) {
        if (cfar->Cells()[i].peak) {
            peaks.push_back(cfar->Cells()[i].bin);
        }
    }
    std::sort(peaks.begin(), peaks.end());
    EXPECT_EQ(peaks, (std::vector<int>{10, 30}));
}

TEST(Tracker, FlanksAloneStartNothing) {
    std::string error;
    auto tracker = radar_sdk::Tracker::Create(radar_sdk::TrackerConfig(), 16, &error);
    ASSERT_TRUE(tracker) << error;
    radar_sdk::TrackReport reports[4];
    for (int frame = 0; frame < 30; ++frame) {
        radar_sdk::Detection point = PointAt(0.5f, 2.0f, 0.3f);
        point.peak = false;
        tracker->Execute(&point, 1, 0.1f);
    }
    EXPECT_EQ(tracker->Report(reports, 4), 0);
}

TEST(Tracker, TwoPeopleCrossingKeepTwoTracksAndTheirIds) {
    std::string error;
    auto tracker = radar_sdk::Tracker::Create(radar_sdk::TrackerConfig(), 16, &error);
    ASSERT_TRUE(tracker) << error;
    radar_sdk::TrackReport reports[4];
    int leftId = 0, rightId = 0;
    // Across the room towards each other at 0.8 m/s, 2.5 m out; where they
    // are closer than 0.3 m the module sees one point between them.
    for (int frame = 0; frame < 40; ++frame) {
        const float a = -1.6f + 0.08f * frame, b = 1.6f - 0.08f * frame, y = 2.5f;
        const float ra = 0.8f * a / std::hypot(a, y), rb = -0.8f * b / std::hypot(b, y);
        std::vector<radar_sdk::Detection> points;
        if (std::fabs(a - b) < 0.3f) {
            points.push_back(PointAt(0.5f * (a + b), y, 0.5f * (ra + rb), 2.0f));
        } else {
            points.push_back(PointAt(a, y, ra));
            points.push_back(PointAt(b, y, rb));
        }
        tracker->Execute(points.data(), static_cast<int>(points.size()), 0.1f);
        const int count = tracker->Report(reports, 4);
        if (frame == 8) {
            ASSERT_EQ(count, 2);
            leftId = reports[0].x < reports[1].x ? reports[0].id : reports[1].id;
            rightId = reports[0].x < reports[1].x ? reports[1].id : reports[0].id;
        }
    }
    // After the crossing the one who came from the left is on the right.
    ASSERT_EQ(tracker->Report(reports, 4), 2);
    const radar_sdk::TrackReport& onRight = reports[0].x > reports[1].x ? reports[0] : reports[1];
    const radar_sdk::TrackReport& onLeft = reports[0].x > reports[1].x ? reports[1] : reports[0];
    EXPECT_EQ(onRight.id, leftId);
    EXPECT_EQ(onLeft.id, rightId);
    EXPECT_NEAR(onRight.x, 1.52f, 0.25f);
    EXPECT_NEAR(onLeft.x, -1.52f, 0.25f);
}

TEST(Tracker, TheMixOfTwoPeopleAtOneRangeAndSpeedStartsNoThird) {
    std::string error;
    auto tracker = radar_sdk::Tracker::Create(radar_sdk::TrackerConfig(), 16, &error);
    ASSERT_TRUE(tracker) << error;
    radar_sdk::TrackReport reports[4];
    const float s = static_cast<float>(std::sin(25.0 * kPi / 180.0));
    const float c = static_cast<float>(std::cos(25.0 * kPi / 180.0));
    for (int frame = 0; frame < 30; ++frame) {
        // Both walk away at 0.5 m/s, 3 m out at -25 and +25 degrees; from
        // frame 10 on, cells that hold both report an angle between them.
        const float r = 3.0f + 0.05f * frame;
        std::vector<radar_sdk::Detection> points = {PointAt(-r * s, r * c, 0.5f),
                                                    PointAt(r * s, r * c, 0.5f)};
        if (frame >= 10) {
            points.push_back(PointAt(0.1f * r * s, r, 0.5f, 0.5f));
        }
        tracker->Execute(points.data(), static_cast<int>(points.size()), 0.1f);
    }
    ASSERT_EQ(tracker->Report(reports, 4), 2);
    EXPECT_NEAR(std::fabs(reports[0].angleDeg), 25.0, 2.0);
    EXPECT_NEAR(std::fabs(reports[1].angleDeg), 25.0, 2.0);
}

// A fan's blade tips fold their Doppler over the whole speed axis in every
// frame at one place, and a turntable's points come closer and go away at
// once: that place holds no reported track, while a breathing seated person
// beside it and a walker whose limbs spread its Doppler are kept.
// narrowFrames: frames in which the fan shows only a body-like cluster
// first, so that it is taken for a person and must lose that.
TEST(Tracker, AFanOrATurntableHoldsNoTrackButPeopleBesideItAreKept) {
    struct Case {
        const char* name;
        bool turntable;
        int narrowFrames;
        bool seated;
        bool walker;
        int people;
    };
    const Case cases[] = {
        {"fan beside a seated person", false, 0, true, false, 1},
        {"fan that looked like a person at first", false, 10, false, false, 0},
        {"walker past a fan", false, 0, false, true, 1},
        {"turntable beside a seated person", true, 0, true, false, 1},
        {"walker past a turntable", true, 0, false, true, 1},
    };
    constexpr float kFanX = 0.9f, kFanY = 1.0f;
    constexpr int kFrames = 80, kSettleFrames = 30;
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        std::string error;
        auto tracker = radar_sdk::Tracker::Create(radar_sdk::TrackerConfig(), 64, &error);
        ASSERT_TRUE(tracker) << error;
        radar_sdk::TrackReport reports[4];
        int count = 0, wrongCount = 0, onFan = 0;
        for (int frame = 0; frame < kFrames; ++frame) {
            std::vector<radar_sdk::Detection> points;
            const int blades = frame < c.narrowFrames ? 2 : 16;
            for (int k = 0; k < blades && !c.turntable; ++k) {
                const float v = frame < c.narrowFrames ? 0.5f + 0.1f * k : -3.0f + 0.4f * k;
                points.push_back(PointAt(kFanX + 0.1f * std::sin(0.7f * (k + frame)),
                                         kFanY + 0.1f * std::cos(1.3f * (k + frame)), v));
            }
            for (int k = 0; k < 4 && c.turntable; ++k) {
                // Four points 0.2 m round its axis at 0.8 turns a second:
                // 1 m/s along the circle, its radial part sin(angle).
                const float angle = static_cast<float>(kPi) * (0.5f * k + 0.16f * frame);
                points.push_back(PointAt(kFanX + 0.2f * std::cos(angle),
                                         kFanY + 0.2f * std::sin(angle), std::cos(angle)));
            }
            if (c.seated) {
                radar_sdk::Detection chest = PointAt(-0.8f, 2.6f, 0.0f);
                chest.still = true;
                points.push_back(chest);
            }
            if (c.walker) {
                // Across the room at 0.75 m/s, 1.5 m behind the fan; the
                // limbs spread its Doppler 1 m/s either way.
                const float x = -3.0f + 0.075f * frame, y = 2.5f;
                AddWalker(&points, x, y, x / std::hypot(x, y), 0.5f, 0.3f);
            }
            tracker->Execute(points.data(), static_cast<int>(points.size()), 0.1f);
            count = tracker->Report(reports, 4);
            if (frame < kSettleFrames) {
                continue;
            }
            wrongCount += count != c.people ? 1 : 0;
            for (int i = 0; i < count; ++i) {
                onFan += std::hypot(reports[i].x - kFanX, reports[i].y - kFanY) < 0.7f ? 1 : 0;
            }
        }
        EXPECT_EQ(wrongCount, 0);
        EXPECT_EQ(onFan, 0);
        if (c.seated) {
            ASSERT_EQ(count, 1);
            EXPECT_NEAR(reports[0].x, -0.8f, 0.15f);
            EXPECT_NEAR(reports[0].y, 2.6f, 0.15f);
        }
    }
}

// A wall mirrors a seated person: a still echo farther off that breathes
// with the person (its power, or its path moving with the chest, the other
// way round for a wall behind him), or one far fainter than anyone at its
// range could be, holds no reported track while its source is tracked; a
// real person seated behind, breathing at a rate of his own, is kept.
TEST(Tracker, ASeatedPersonsWallEchoHoldsNoTrackButAPersonBehindIsKept) {
    struct Case {
        const char* name;
        float power;     // of the second still thing, against the person's
        bool ownBreath;  // its power breathes at its own rate, not with the person
        float follows;   // its phase steps are the person's times this (0: its own)
        int people;
    };
    const Case cases[] = {
        {"echo breathing with the person", 0.3f, false, 0.0f, 1},
        {"echo moving against the person's chest", 0.3f, true, -0.7f, 1},
        {"faint echo", 0.004f, true, 0.0f, 1},
        {"person seated behind", 0.3f, true, 0.0f, 2},
    };
    constexpr float kPersonY = 2.0f, kBehindX = 1.2f, kBehindY = 3.0f;
    constexpr int kFrames = 120, kSettleFrames = 60;
    auto breath = [](float hz, float phase, int frame) {
        return 1.0f + 0.8f * static_cast<float>(std::sin(2.0 * kPi * hz * 0.1 * frame + phase));
    };
    // A chest's phase step since the last frame: 4 mm of breathing.
    auto step = [&breath](float hz, float phase, int frame) {
        return 6.0f * (breath(hz, phase, frame) - breath(hz, phase, frame - 1));
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        std::string error;
        auto tracker = radar_sdk::Tracker::Create(radar_sdk::TrackerConfig(), 16, &error);
        ASSERT_TRUE(tracker) << error;
        radar_sdk::TrackReport reports[4];
        int wrongCount = 0, onPerson = 0;
        for (int frame = 0; frame < kFrames; ++frame) {
            const float own = breath(0.25f, 0.0f, frame);
            // 0.4 Hz against 0.25 Hz: rates that drift apart within a breath.
            const float behind = c.ownBreath ? breath(0.4f, 1.0f, frame) : own;
            radar_sdk::Detection points[2] = {PointAt(0.0f, kPersonY, 0.0f, own),
                                              PointAt(kBehindX, kBehindY, 0.0f, c.power * behind)};
            for (radar_sdk::Detection& point : points) {
                point.still = true;
            }
            points[0].step = step(0.25f, 0.0f, frame);
            points[1].step =
                c.follows != 0.0f ? c.follows * points[0].step : step(0.4f, 1.0f, frame);
            tracker->Execute(points, 2, 0.1f);
            const int count = tracker->Report(reports, 4);
            if (frame < kSettleFrames) {
                continue;
            }
            wrongCount += count != c.people ? 1 : 0;
            for (int i = 0; i < count; ++i) {
                onPerson += std::hypot(reports[i].x, reports[i].y - kPersonY) < 0.3f ? 1 : 0;
            }
        }
        EXPECT_EQ(wrongCount, 0);
        EXPECT_EQ(onPerson, kFrames - kSettleFrames);
    }
}

// A wall beside a walker mirrors him: the one-bounce echo, halfway between
// his range and his mirror image's, heard at the phase of both directions
// together, walks in step with him. Once the room has shown that wall it
// holds no reported track; a second person walking a path of his own (so
// never in step) and a person seated behind the walker's path, whom he
// passes again and again, are kept all along.
TEST(Tracker, AWalkersWallEchoHoldsNoTrackButOthersAreKept) {
    struct Case {
        const char* name;
        bool echo;
        bool second;
        bool seated;
        int people;
    };
    const Case cases[] = {
        {"walker beside a wall", true, false, false, 1},
        {"walker beside a wall, a second walker", true, true, false, 2},
        {"two walkers, no wall", false, true, false, 2},
        {"walker beside a wall, passing a seated person", true, false, true, 2},
    };
    constexpr float kWallX = 2.2f, kWalkY = 1.8f;
    constexpr int kFrames = 160, kSettleFrames = 40;
    // Back and forth across the room at 0.8 m/s.
    auto walkerX = [](int frame) {
        const float along = std::fmod(0.08f * frame, 5.0f);
        return along < 2.5f ? -1.5f + along : 3.5f - along;
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        std::string error;
        auto tracker = radar_sdk::Tracker::Create(radar_sdk::TrackerConfig(), 64, &error);
        ASSERT_TRUE(tracker) << error;
        radar_sdk::TrackReport reports[4];
        int wrongCount = 0;
        float lastEchoRange = 0.0f;
        for (int frame = 0; frame < kFrames; ++frame) {
            std::vector<radar_sdk::Detection> points;
            const float x = walkerX(frame);
            const float range = std::hypot(x, kWalkY);
            const float radial = x * (walkerX(frame + 1) - x) / 0.1f / range;
            AddWalker(&points, x, kWalkY, radial, 0.3f, 1.0f);
            if (c.echo) {
                const float imageX = 2.0f * kWallX - x;
                const float image = std::hypot(imageX, kWalkY);
                const float echoRange = 0.5f * (range + image);
                const float phase =
                    std::arg(std::polar(1.0f, static_cast<float>(kPi) * x / range) +
                             std::polar(1.0f, static_cast<float>(kPi) * imageX / image));
                const float angle = std::asin(phase / static_cast<float>(kPi));
                const float echoRadial = frame == 0 ? 0.0f : (echoRange - lastEchoRange) / 0.1f;
                lastEchoRange = echoRange;
                const float scale = range / echoRange;
                AddWalker(&points, echoRange * std::sin(angle), echoRange * std::cos(angle),
                          echoRadial, 0.3f, 0.3f * scale * scale * scale * scale);
            }
            if (c.second) {
                // Towards the screen and back on the other side, at 0.5 m/s.
                const float along = std::fmod(0.05f * frame, 3.0f);
                const float y = along < 1.5f ? 4.0f - along : 1.0f + along;
                const float speed = along < 1.5f ? -0.5f : 0.5f;
                AddWalker(&points, -1.2f, y, y * speed / std::hypot(1.2f, y), 0.3f, 0.6f);
            }
            if (c.seated) {
                radar_sdk::Detection chest =
                    PointAt(0.3f, 3.0f, 0.0f,
                            0.4f + 0.3f * static_cast<float>(std::sin(2.0 * kPi * 0.025 * frame)));
                chest.still = true;
                points.push_back(chest);
            }
            tracker->Execute(points.data(), static_cast<int>(points.size()), 0.1f);
            const int count = tracker->Report(reports, 4);
            wrongCount += frame >= kSettleFrames && count != c.people ? 1 : 0;
        }
        EXPECT_EQ(wrongCount, 0);
    }
}

TEST(KalmanTrack, OpenedVelocityFollowsATurnAtOnce) {
    // Walking +x at 1 m/s for 3 s, then back at once; measured well.
    auto run = [](bool open) {
        radar_sdk::KalmanTrack track;
        track.Start(2.0f, -30.0f, 0.0f, 0.05f, 1.0f, 1.0f);
        float x = -1.0f;
        const float y = 2.0f;
        for (int i = 1; i <= 40; ++i) {
            const bool back = i > 30;
            x += back ? -0.1f : 0.1f;
            track.Predict(0.1f, 2.0f);
            if (open && i == 31) {
                track.OpenVelocity(0.7f);
            }
            track.Update(std::hypot(x, y), static_cast<float>(std::atan2(x, y) * 180.0 / kPi),
                         0.05f, 1.0f);
            if (i == 33) {
                return std::fabs(track.X() - x);
            }
        }
        return 1e9f;
    };
    const float lagging = run(false), following = run(true);
    EXPECT_LT(following, 0.5f * lagging);
    EXPECT_LT(following, 0.06f);
}

}  // namespace
