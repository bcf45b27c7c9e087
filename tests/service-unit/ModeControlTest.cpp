// Mode control on the simulated TV with a manual clock: the mode timer, how
// segment mode reads a result, the state manager's view of the TV's
// configuration, the sensor claim answered by the mode thread, and the rule
// that gives presence reading up after four minutes of failures. No radar
// pipeline is attached, so every presence read fails.
#include <gtest/gtest.h>

#include <stdlib.h>
#include <vconf.h>

#include <functional>
#include <memory>
#include <string>

#include "ContextManualClock.h"
#include "MainContextWait.h"
#include "ModeTimer.h"
#include "PresenceMode.h"
#include "SegmentMode.h"
#include "StateManager.h"

namespace {

const char kSensorKey[] = "memory/motion-sensor-service/motion_sensor_state";
const char kRotationKey[] = "db/sysman/rotation_state";
const char kAgreementKey[] = "db/homedatacontrol/disclaimeragrees";
const char kCountryKey[] = "db/comss/countrycode";
const char kAgreed[] = "{\"presence\":\"true\"}";

class ModeControlTest : public ::testing::Test {
protected:
    void SetUp() override {
        char templ[] = "/tmp/tessivo-modes-XXXXXX";
        ASSERT_NE(mkdtemp(templ), nullptr);
        m_dir = templ;
        setenv("TESSIVO_PLATFORM_DIR", m_dir.c_str(), 1);
        ContextClock::SetSource(&m_clock);
    }
    void TearDown() override {
        if (m_manager && m_manager->IsRunning()) {
            m_clock.Release();
            m_manager->Stop();
        }
        m_manager.reset();
        ContextClock::SetSource(nullptr);
        unsetenv("TESSIVO_PLATFORM_DIR");
        ASSERT_EQ(system(("rm -rf '" + m_dir + "'").c_str()), 0);
    }

    // A TV that lets the service leave presence mode once the boot period
    // is over: statistics country, agreed, landscape, sensor free.
    void SeedOpenTv(const char* country = "US") {
        ASSERT_EQ(vconf_set_str(kCountryKey, country), VCONF_OK);
        ASSERT_EQ(vconf_set_str(kAgreementKey, kAgreed), VCONF_OK);
        ASSERT_EQ(vconf_set_int(kRotationKey, 1), VCONF_OK);
        ASSERT_EQ(vconf_set_int(kSensorKey, 0), VCONF_OK);
    }
    StateManager& Make() {
        m_manager.reset(new StateManager());
        return *m_manager;
    }
    // Serves the main context (vconf notifications) until done() holds;
    // while the mode thread sleeps, advance moves the clock on by one
    // presence period so that it makes another pass.
    bool Pump(const std::function<bool()>& done, bool advance = false) {
        return maincontext::RunUntil([&] {
            if (done()) {
                return true;
            }
            if (advance && m_clock.WaitForSleepers(1, 20)) {
                m_clock.Advance(250000);
            }
            return false;
        });
    }

    std::string m_dir;
    ContextManualClock m_clock;
    std::unique_ptr<StateManager> m_manager;
};

}  // namespace

TEST(ModeTimerTest, ElapsedTimeBorrowsASecondWhenTheNanosecondsRunUnder) {
    ContextManualClock clock;
    ContextClock::SetSource(&clock);
    clock.Advance(900000 - clock.MonotonicUs() % 1000000);  // at x.9 s
    ModeTimer timer;
    clock.Advance(1300000);  // at (x+2).2 s
    ModeElapsed elapsed = timer.GetElapsedTime();
    EXPECT_EQ(elapsed.sec, 1);
    EXPECT_EQ(elapsed.nsec, 300000000);
    timer.RecordTime();
    clock.Advance(59999999);
    EXPECT_EQ(timer.GetElapsedTime().sec, 59);
    clock.Advance(1);
    EXPECT_EQ(timer.GetElapsedTime().sec, 60);
    ContextClock::SetSource(nullptr);
}

TEST(SegmentResultTest, PresenceIsTheTrackCountAndTheNearestRange) {
    int detection = -1;
    double distance = -1.0;
    ASSERT_TRUE(SegmentMode::ParseResult(
        R"({"result":[{"segments":[{"num_of_segment":6,"segment":"0,1,0,0,0,0"}],)"
        R"("tracks":[{"id":1.0,"range":3.2},{"id":2.0,"range":1.5},{"id":3.0,"range":2.0}]}],)"
        R"("status":"success"})",
        &detection, &distance));
    EXPECT_EQ(detection, 3);
    EXPECT_DOUBLE_EQ(distance, 1.5);

    // Beyond the radar's reach the distance is the single-precision ceiling.
    ASSERT_TRUE(SegmentMode::ParseResult(R"({"result":[{"tracks":[{"range":12.0}]}]})", &detection,
                                         &distance));
    EXPECT_EQ(detection, 1);
    EXPECT_EQ(distance, 9.59000015258789);

    ASSERT_TRUE(SegmentMode::ParseResult(R"({"result":[{"tracks":[]}]})", &detection, &distance));
    EXPECT_EQ(detection, 0);
    EXPECT_EQ(distance, 0.0);

    // Odd documents are read as far as they go; only non-JSON is refused.
    ASSERT_TRUE(
        SegmentMode::ParseResult(R"({"result":[{"tracks":{"a":1}}]})", &detection, &distance));
    EXPECT_EQ(detection, 1);
    EXPECT_EQ(distance, 0.0);
    ASSERT_TRUE(SegmentMode::ParseResult(R"({"result":{"tracks":[{"range":1.0}]}})", &detection,
                                         &distance));
    EXPECT_EQ(detection, 0);
    EXPECT_FALSE(SegmentMode::ParseResult("{\"result\":", &detection, &distance));
    EXPECT_FALSE(SegmentMode::ParseResult(nullptr, &detection, &distance));
}

TEST(AgreementTest, OnlyAJsonObjectGrantingPresenceExactlyCounts) {
    EXPECT_TRUE(StateManager::CheckKPIAgreement(kAgreed));
    EXPECT_TRUE(StateManager::CheckKPIAgreement("{\"presence\":\"true\",\"voice\":\"false\"}"));
    EXPECT_FALSE(StateManager::CheckKPIAgreement("{\"presence\":\"TRUE\"}"));
    EXPECT_FALSE(StateManager::CheckKPIAgreement("{\"presence\":true}"));
    EXPECT_FALSE(StateManager::CheckKPIAgreement("presence=true"));
    EXPECT_FALSE(StateManager::CheckKPIAgreement("[\"presence\"]"));
    EXPECT_FALSE(StateManager::CheckKPIAgreement(nullptr));
}

TEST_F(ModeControlTest, ConfigurationIsReadAtConstructionWithFallbacks) {
    StateManager& bare = Make();
    // Nothing stored: portrait is not assumed, nothing is allowed.
    EXPECT_TRUE(bare.isLandscapeMode());
    EXPECT_FALSE(bare.isKPITargetCountry());
    EXPECT_FALSE(bare.isKPIAgreed());
    EXPECT_EQ(bare.GetMotionSensorState(), 0);
    EXPECT_TRUE(bare.isPresenceModeForcedOnBoot());
    EXPECT_FALSE(bare.HasKPIManager());

    SeedOpenTv("AA");
    ASSERT_EQ(vconf_set_int(kRotationKey, 0), VCONF_OK);
    ASSERT_EQ(vconf_set_int(kSensorKey, 2), VCONF_OK);
    StateManager& seeded = Make();
    EXPECT_TRUE(seeded.isKPITargetCountry());
    EXPECT_TRUE(seeded.isKPIAgreed());
    EXPECT_FALSE(seeded.isLandscapeMode());
    EXPECT_EQ(seeded.GetMotionSensorState(), 2);
    EXPECT_TRUE(seeded.HasKPIManager()) << "\"AA\" is on the list on purpose";
}

TEST_F(ModeControlTest, WatchedKeysUpdateTheFlags) {
    SeedOpenTv();
    StateManager& manager = Make();
    ASSERT_TRUE(manager.isKPITargetCountry());

    ASSERT_TRUE(manager.HasKPIManager());

    // Statistics exist only for a listed country with the agreement.
    ASSERT_EQ(vconf_set_str(kCountryKey, "JP"), VCONF_OK);
    EXPECT_TRUE(Pump([&] { return !manager.isKPITargetCountry(); }));
    EXPECT_FALSE(manager.HasKPIManager());
    ASSERT_EQ(vconf_set_str(kCountryKey, "GB_EN"), VCONF_OK);
    EXPECT_TRUE(Pump([&] { return manager.isKPITargetCountry(); }));
    EXPECT_TRUE(manager.HasKPIManager());

    ASSERT_EQ(vconf_set_int(kRotationKey, 0), VCONF_OK);
    EXPECT_TRUE(Pump([&] { return !manager.isLandscapeMode(); }));

    ASSERT_EQ(vconf_set_str(kAgreementKey, "{\"presence\":\"false\"}"), VCONF_OK);
    EXPECT_TRUE(Pump([&] { return !manager.isKPIAgreed(); }));
    EXPECT_FALSE(manager.HasKPIManager());
    ASSERT_EQ(vconf_set_str(kCountryKey, "JP"), VCONF_OK);
    ASSERT_TRUE(Pump([&] { return !manager.isKPITargetCountry(); }));
    ASSERT_EQ(vconf_set_str(kCountryKey, "KR"), VCONF_OK);
    ASSERT_TRUE(Pump([&] { return manager.isKPITargetCountry(); }));
    EXPECT_FALSE(manager.HasKPIManager()) << "a country alone is not enough";
    ASSERT_EQ(vconf_set_str(kAgreementKey, kAgreed), VCONF_OK);
    EXPECT_TRUE(Pump([&] { return manager.isKPIAgreed(); }));
    EXPECT_TRUE(manager.HasKPIManager());

    AppSessionInfo netflix;
    netflix.appId = "org.tizen.netflix-app";
    AppSessionInfo none;
    manager.StateManagerAppSessionChangeCB(&netflix, &none);
    EXPECT_TRUE(manager.isNetflix());
    EXPECT_FALSE(manager.isKivMode());
}

TEST_F(ModeControlTest, SensorKeyStoresClaimsAndReleasesOnly) {
    SeedOpenTv();
    StateManager& manager = Make();
    ASSERT_EQ(vconf_set_int(kSensorKey, 2), VCONF_OK);
    ASSERT_TRUE(Pump([&] { return manager.GetMotionSensorState() == 2; }));
    // The service's own answer and a value nobody defined leave it alone;
    // the release that follows them proves both were handled in order.
    ASSERT_EQ(vconf_set_int(kSensorKey, 1), VCONF_OK);
    ASSERT_EQ(vconf_set_int(kSensorKey, 5), VCONF_OK);
    ASSERT_EQ(vconf_set_int(kSensorKey, 0), VCONF_OK);
    int seen = -1;
    ASSERT_TRUE(Pump([&] {
        if (manager.GetMotionSensorState() != 2) {
            seen = manager.GetMotionSensorState();
            return true;
        }
        return false;
    }));
    EXPECT_EQ(seen, 0);
}

TEST_F(ModeControlTest, TheModeThreadAnswersAClaimAndKeepsTheClaimStored) {
    SeedOpenTv();
    StateManager& manager = Make();
    ASSERT_TRUE(manager.Start("StateManager"));
    ASSERT_EQ(vconf_set_int(kSensorKey, 2), VCONF_OK);
    int value = -1;
    ASSERT_TRUE(
        Pump([&] { return vconf_get_int(kSensorKey, &value) == VCONF_OK && value == 1; }, true));
    // The answer's own notification has been served by now: still claimed.
    ASSERT_TRUE(Pump([&] { return true; }));
    EXPECT_EQ(manager.GetMotionSensorState(), 2);

    ASSERT_EQ(vconf_set_int(kSensorKey, 0), VCONF_OK);
    ASSERT_TRUE(Pump([&] { return manager.GetMotionSensorState() == 0; }));
    m_clock.Release();
    EXPECT_TRUE(manager.Stop());
    EXPECT_FALSE(manager.Stop());
    // The service answered once; the release is nobody's to answer.
    ASSERT_EQ(vconf_get_int(kSensorKey, &value), VCONF_OK);
    EXPECT_EQ(value, 0);
}

TEST_F(ModeControlTest, PresenceReadingIsGivenUpAfterMoreThan239SecondsOfFailures) {
    SeedOpenTv();
    StateManager& manager = Make();
    ASSERT_TRUE(manager.Start("StateManager"));
    // First pass: the first failed read starts the failure timer.
    ASSERT_TRUE(m_clock.WaitForSleepers(1));
    int64_t begun = m_clock.SleepsBegun();
    m_clock.Advance(250000);
    ASSERT_TRUE(m_clock.WaitForSleepsBegun(begun + 1));

    m_clock.AdvanceSeconds(239);
    ASSERT_TRUE(m_clock.WaitForSleepsBegun(begun + 2));
    EXPECT_FALSE(manager.isPresenceReadFailure()) << "239 s are not more than 239 s";
    m_clock.Advance(250000);
    ASSERT_TRUE(m_clock.WaitForSleepsBegun(begun + 3));
    EXPECT_FALSE(manager.isPresenceReadFailure());
    m_clock.AdvanceSeconds(1);
    ASSERT_TRUE(m_clock.WaitForSleepsBegun(begun + 4));
    EXPECT_TRUE(manager.isPresenceReadFailure());
    EXPECT_FALSE(manager.HasKPIManager()) << "the statistics go with presence reading";
}

TEST_F(ModeControlTest, SegmentModeLeavesAtItsTimeUpOrWhenTheTvCallsItBack) {
    SeedOpenTv();
    StateManager& manager = Make();
    SegmentMode* segment = manager.GetSegmentModeInstance();
    IMode* presence = manager.GetPresenceModeInstance();

    EXPECT_EQ(segment->GetNextMode(), segment);
    m_clock.AdvanceSeconds(59);
    EXPECT_EQ(segment->GetNextMode(), segment);
    m_clock.AdvanceSeconds(1);
    EXPECT_EQ(segment->GetNextMode(), presence) << "no subscription holds the mode at 60 s";
    EXPECT_EQ(segment->GetNextMode(), segment) << "the time-up re-armed the timer";

    AppSessionInfo none;
    AppSessionInfo kiv;
    kiv.appId = "org.tizen.kiv-app";
    manager.StateManagerAppSessionChangeCB(&kiv, &none);
    EXPECT_EQ(segment->GetNextMode(), presence);
    AppSessionInfo viewer;
    viewer.appId = "org.tizen.tv-viewer";
    manager.StateManagerAppSessionChangeCB(&viewer, &kiv);
    EXPECT_EQ(segment->GetNextMode(), segment);

    ASSERT_EQ(vconf_set_int(kRotationKey, 0), VCONF_OK);
    ASSERT_TRUE(Pump([&] { return !manager.isLandscapeMode(); }));
    EXPECT_EQ(segment->GetNextMode(), presence);
    // Presence mode is held by the boot period whatever else holds.
    EXPECT_TRUE(manager.GetPresenceModeInstance()->IsKeepPresenceMode());
}

TEST_F(ModeControlTest, SegmentModeQueueTakesResultsAndDropsThemWhenPaused) {
    SeedOpenTv();
    StateManager& manager = Make();
    SegmentMode* segment = manager.GetSegmentModeInstance();
    EXPECT_TRUE(manager.PushEvent(0, strdup("{\"result\":[{\"tracks\":[]}]}"), 10));
    EXPECT_TRUE(manager.PushEvent(0, strdup("not json"), 5));
    EXPECT_TRUE(manager.PushEvent(0, strdup("{\"result\":[{\"tracks\":[]}]}"), 10));
    EXPECT_EQ(segment->GetQueueLength(), 3);
    // The unparsable one comes first (priority 5) and is freed; the next is
    // kept, handed to the statistics (none here: freed) or dropped after a gap.
    segment->Run();
    segment->Run();
    segment->UpdateStat();
    EXPECT_EQ(segment->GetQueueLength(), 1);
    segment->Pause();
    EXPECT_EQ(segment->GetQueueLength(), 0);
}
