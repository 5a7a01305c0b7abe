// One pass of the sensor thread: the pending field-of-view sync, day/night
// switching, time-window switching (ordinary and plate-recognition devices),
// and how a pass meets a host that is applying parameters.
#include <atomic>
#include <chrono>
#include <future>
#include <thread>

#include "controller/ApplyGate.h"
#include "scheme/SchemeFixture.h"

namespace scheme_test {
namespace {

using Calls = std::vector<std::pair<unsigned int, uint32_t>>;
using tarnix_test::setCommands;

const std::vector<unsigned int> kAllAppliedCommands = {34, 2337, 144, 145, 146, 154, 149, 150, 151, 152, 2353};

class SensorThreadTest : public SchemeTest {
protected:
    void night(bool on) { ispsim::setValue(0, 153, on ? 1u : 0u); }

    void pass() { EXPECT_EQ(0, ctl().sensorThread()); }

    void writeSyncFov() { writeFile("/mnt/mtd/hd1/program/config/sync_fov.ini", "zoom1=20000,\nfocus1=300,\n"); }

    std::atomic<u32>& lastSchedule() { return Peer::lastSchedule(ctl()); }

    // Values of the K_DN_MODE records sent to the ISP.
    std::vector<uint32_t> sentDnModes() {
        std::vector<uint32_t> out;
        for (const auto& call : setCalls()) {
            if (call.first == K_DN_MODE) {
                out.push_back(call.second);
            }
        }
        return out;
    }
};

// ---- pending cross-channel action ----

TEST_F(SensorThreadTest, ModeZeroStopsSwitchingButRunsThePendingFovSync) {
    buildCache(3);
    policy(1);
    window(2, 8, 0, 12, 0);
    platform::setClock(10, 0);
    Peer::mode(ctl()) = 0;
    writeSyncFov();
    ISensorController::m_nChanneldDosomething = 1;
    ISensorController::m_nPassKeycmd = 8104;
    pass();
    EXPECT_EQ(0, cur());
    EXPECT_EQ(-1, ISensorController::m_nChanneldDosomething.load());
    EXPECT_EQ(-1, ISensorController::m_nPassKeycmd.load());
    EXPECT_EQ((Calls{{1568, 20000}}), setCalls());
}

TEST_F(SensorThreadTest, FovSyncPostedOnChannelTwoRunsOnChannelOne) {
    writeSyncFov();
    ISensorController& ch2 = extraController();
    ch2.setChannelID(2);
    EXPECT_EQ(0, ch2.doIoCrtl(8104, 0, nullptr));
    EXPECT_EQ(1, ISensorController::m_nChanneldDosomething.load());
    EXPECT_EQ(8104, ISensorController::m_nPassKeycmd.load());

    // Channel 2's own pass leaves the action alone.
    EXPECT_EQ(0, ch2.sensorThread());
    EXPECT_EQ(1, ISensorController::m_nChanneldDosomething.load());
    EXPECT_TRUE(ispsim::calls().empty());

    // Channel 1 carries it out on its ISP channel 0 and consumes it.
    pass();
    EXPECT_EQ(-1, ISensorController::m_nChanneldDosomething.load());
    EXPECT_EQ(-1, ISensorController::m_nPassKeycmd.load());
    auto calls = tarnix_test::callsWithOpt(0);
    ASSERT_EQ(1u, calls.size());
    EXPECT_EQ(0, calls[0].channel);
    EXPECT_EQ(1568u, calls[0].cmd);
    EXPECT_EQ(20000u, calls[0].data.at(0));

    // Consumed: the next pass does nothing.
    ispsim::clearCalls();
    pass();
    EXPECT_TRUE(ispsim::calls().empty());
}

TEST_F(SensorThreadTest, OtherPendingKeyIsConsumedWithoutAction) {
    writeSyncFov();
    ISensorController::m_nChanneldDosomething = 1;
    ISensorController::m_nPassKeycmd = 8105;
    pass();
    EXPECT_EQ(-1, ISensorController::m_nChanneldDosomething.load());
    EXPECT_EQ(-1, ISensorController::m_nPassKeycmd.load());
    EXPECT_TRUE(ispsim::calls().empty());
}

// ---- day/night policy ----

TEST_F(SensorThreadTest, DayNightPolicyFollowsTheIspState) {
    buildCache(3);
    policy(2);
    put(1, K_BRIGHTNESS, 60);
    ispsim::clearCalls();

    night(true);
    pass();
    EXPECT_EQ(1, cur());
    EXPECT_EQ((Calls{{34, 60}}), setCalls());
    // The state was read with the get option of command 153.
    auto reads = tarnix_test::callsWithOpt(1);
    ASSERT_EQ(1u, reads.size());
    EXPECT_EQ(153u, reads[0].cmd);

    // Unchanged state: nothing to do.
    ispsim::clearCalls();
    pass();
    EXPECT_EQ(1, cur());
    EXPECT_TRUE(setCalls().empty());

    night(false);
    pass();
    EXPECT_EQ(0, cur());
    EXPECT_EQ((Calls{{34, 50}}), setCalls());

    // Any non-zero state is night.
    ispsim::setValue(0, 153, 2);
    pass();
    EXPECT_EQ(1, cur());
}

TEST_F(SensorThreadTest, DayNightPolicySkipsWhileBusy) {
    buildCache(3);
    policy(2);
    night(true);
    for (u8 flag : {ISensorController::FLAG_RESETTING, ISensorController::FLAG_RESTORING,
                    ISensorController::FLAG_SWITCHING}) {
        ispsim::clearCalls();
        Peer::setFlag(ctl(), flag, true);
        pass();
        EXPECT_EQ(0, cur());
        EXPECT_TRUE(setCalls().empty());
        Peer::setFlag(ctl(), flag, false);
    }
    pass();
    EXPECT_EQ(1, cur());
}

TEST_F(SensorThreadTest, FailedDayNightReadCountsAsDay) {
    buildCache(3);
    policy(2);
    Peer::curScheme(ctl()) = 1;
    night(true);
    ispsim::setFailure(0, 153, 1, -1);
    pass();
    EXPECT_EQ(0, cur());
}

TEST_F(SensorThreadTest, WithBothPoliciesOnlyDayNightActs) {
    buildCache(3);
    policy(2);
    Peer::timeScheme(ctl()) = true;
    window(2, 8, 0, 12, 0);
    platform::setClock(10, 0);
    night(false);
    pass();
    EXPECT_EQ(0, cur());
    EXPECT_TRUE(ispsim::calls().size() == 1u); // only the day/night read
    night(true);
    pass();
    EXPECT_EQ(1, cur());
}

TEST_F(SensorThreadTest, ModeTwoKeepsAutomaticSwitching) {
    buildCache(3);
    policy(2);
    EXPECT_TRUE(ctl().setParamMode(2));
    night(true);
    pass();
    EXPECT_EQ(1, cur());
}

TEST_F(SensorThreadTest, ModeZeroStopsDayNightSwitching) {
    buildCache(3);
    policy(2);
    EXPECT_TRUE(ctl().setParamMode(0));
    night(true);
    pass();
    EXPECT_EQ(0, cur());
    EXPECT_TRUE(ispsim::calls().empty());
}

TEST_F(SensorThreadTest, NoPolicyNoSwitch) {
    buildCache(3);
    window(2, 8, 0, 12, 0);
    platform::setClock(10, 0);
    night(true);
    pass();
    EXPECT_EQ(0, cur());
    EXPECT_TRUE(ispsim::calls().empty());
}

// ---- time policy, ordinary device ----

TEST_F(SensorThreadTest, TimePolicyFollowsTheWindows) {
    buildCache(3);
    policy(1);
    window(2, 8, 0, 12, 0);
    window(1, 13, 0, 14, 0);
    put(2, K_BRIGHTNESS, 70);
    lastSchedule() = 7;
    ispsim::clearCalls();

    platform::setClock(10, 0);
    pass();
    EXPECT_EQ(2, cur());
    EXPECT_EQ((Calls{{34, 70}}), setCalls());

    ispsim::clearCalls();
    pass();
    EXPECT_EQ(2, cur());
    EXPECT_TRUE(ispsim::calls().empty());

    platform::setClock(13, 30);
    pass();
    EXPECT_EQ(1, cur());

    // Outside every window: scheme 0.
    platform::setClock(20, 0);
    pass();
    EXPECT_EQ(0, cur());
    // Ordinary devices do not use the last schedule.
    EXPECT_EQ(7u, lastSchedule());
    // The day/night state is never read under the time policy.
    EXPECT_TRUE(tarnix_test::callsWithOpt(1).empty());
}

TEST_F(SensorThreadTest, TimePolicySkipsWhileBusy) {
    buildCache(3);
    policy(1);
    window(2, 8, 0, 12, 0);
    platform::setClock(10, 0);
    Peer::setFlag(ctl(), ISensorController::FLAG_RESTORING, true);
    pass();
    EXPECT_EQ(0, cur());
    Peer::setFlag(ctl(), ISensorController::FLAG_RESTORING, false);
    pass();
    EXPECT_EQ(2, cur());
}

// ---- time policy, plate-recognition device ----

class LprThreadTest : public SensorThreadTest {
protected:
    void SetUp() override {
        SensorThreadTest::SetUp();
        plateRecognitionTimePlan();
    }
};

TEST_F(LprThreadTest, EnteringAWindowForcesAFullApply) {
    platform::setClock(10, 0);
    pass();
    EXPECT_EQ(2, cur());
    EXPECT_EQ(kAllAppliedCommands, setCommands());
    EXPECT_EQ(1u, lastSchedule());

    // Staying in the window with its scheme in force: nothing.
    ispsim::clearCalls();
    pass();
    EXPECT_EQ(2, cur());
    EXPECT_TRUE(ispsim::calls().empty());
    EXPECT_EQ(1u, lastSchedule());
}

TEST_F(LprThreadTest, UserSchemeInsideAWindowIsSwitchedBackNonForced) {
    platform::setClock(10, 0);
    pass();
    ASSERT_EQ(2, cur());
    EXPECT_TRUE(ctl().setParamScheme(0));
    ASSERT_EQ(0, cur());

    ispsim::clearCalls();
    pass();
    EXPECT_EQ(2, cur());
    // Only the difference between scheme 0 and scheme 2.
    EXPECT_EQ((Calls{{34, 70}}), setCalls());
    EXPECT_EQ(1u, lastSchedule());
}

TEST_F(LprThreadTest, MovingIntoAnAdjacentWindowIsNonForced) {
    window(1, 8, 0, 10, 0);
    window(2, 10, 0, 12, 0);
    platform::setClock(9, 0);
    pass();
    EXPECT_EQ(1, cur());
    EXPECT_EQ(kAllAppliedCommands, setCommands());

    ispsim::clearCalls();
    platform::setClock(10, 0);
    pass();
    EXPECT_EQ(2, cur());
    EXPECT_EQ((Calls{{34, 70}}), setCalls());
}

TEST_F(LprThreadTest, LeavingTheWindowFallsBackByDayNightWithModeZero) {
    put(0, K_DN_MODE, 2);
    put(1, K_DN_MODE, 2);
    platform::setClock(10, 0);
    pass();
    ASSERT_EQ(2, cur());

    ispsim::clearCalls();
    platform::setClock(13, 0);
    night(false);
    pass();
    EXPECT_EQ(0, cur());
    EXPECT_EQ(2, last());
    EXPECT_EQ(kAllAppliedCommands, setCommands());
    EXPECT_EQ((std::vector<uint32_t>{0}), sentDnModes());
    EXPECT_EQ(2u, get(0, K_DN_MODE));
    EXPECT_EQ(0u, lastSchedule());

    // Outside, day, scheme 0 in force: nothing.
    ispsim::clearCalls();
    pass();
    EXPECT_EQ(0, cur());
    EXPECT_TRUE(setCalls().empty());

    // Night outside every window: scheme 1 in full, day/night mode 0.
    night(true);
    pass();
    EXPECT_EQ(1, cur());
    EXPECT_EQ(kAllAppliedCommands, setCommands());
    EXPECT_EQ((std::vector<uint32_t>{0}), sentDnModes());
    EXPECT_EQ(2u, get(1, K_DN_MODE));
}

TEST_F(LprThreadTest, LeavingAWindowOfSchemeZeroStillAppliesInFull) {
    window(0, 8, 0, 12, 0);
    platform::setClock(10, 0);
    pass();
    ASSERT_EQ(0, cur());
    ASSERT_EQ(1u, lastSchedule());

    ispsim::clearCalls();
    platform::setClock(12, 0);
    night(false);
    pass();
    EXPECT_EQ(0, cur());
    EXPECT_EQ(kAllAppliedCommands, setCommands());
    EXPECT_EQ(0u, lastSchedule());
}

TEST_F(LprThreadTest, BusyPassRecordsNothing) {
    platform::setClock(10, 0);
    Peer::setFlag(ctl(), ISensorController::FLAG_RESETTING, true);
    pass();
    EXPECT_EQ(0, cur());
    EXPECT_EQ(0u, lastSchedule());
    Peer::setFlag(ctl(), ISensorController::FLAG_RESETTING, false);

    pass();
    ASSERT_EQ(2, cur());
    ASSERT_EQ(1u, lastSchedule());

    platform::setClock(13, 0);
    Peer::setFlag(ctl(), ISensorController::FLAG_SWITCHING, true);
    ispsim::clearCalls();
    pass();
    EXPECT_EQ(2, cur());
    EXPECT_EQ(1u, lastSchedule());
    EXPECT_TRUE(setCalls().empty());
}

TEST_F(LprThreadTest, DayNightPolicyStillTakesPrecedence) {
    policy(2);
    Peer::timeScheme(ctl()) = true;
    platform::setClock(10, 0);
    night(true);
    pass();
    EXPECT_EQ(1, cur());
    EXPECT_EQ(0u, lastSchedule());
}

// ---- robustness ----

TEST_F(SensorThreadTest, PassOnAnUninitialisedControllerDoesNoHarm) {
    night(true);
    platform::setClock(10, 0);
    Peer::dnScheme(ctl()) = true;
    pass();
    Peer::dnScheme(ctl()) = false;
    Peer::timeScheme(ctl()) = true;
    pass();
    Peer::lprMode(ctl()) = true;
    pass();
    night(false);
    pass();
    EXPECT_TRUE(setCalls().empty());
}

TEST_F(SensorThreadTest, PassSleepsOneSecondUnlessResetting) {
    platform::setTimeScale(0.1);
    auto t0 = std::chrono::steady_clock::now();
    pass();
    auto slept = std::chrono::steady_clock::now() - t0;
    EXPECT_GE(slept, std::chrono::milliseconds(95));

    Peer::setFlag(ctl(), ISensorController::FLAG_RESETTING, true);
    t0 = std::chrono::steady_clock::now();
    pass();
    EXPECT_LT(std::chrono::steady_clock::now() - t0, std::chrono::milliseconds(50));
}

// ---- the pass and the hosts' lock ----

TEST_F(SensorThreadTest, PassRunsInsideTheGateHeldByItsOwnThread) {
    // As during init, which runs the first pass while holding the gate.
    buildCache(3);
    policy(2);
    night(true);
    tarnix::GateLock lock;
    pass();
    EXPECT_EQ(1, cur());
}

TEST_F(SensorThreadTest, RunningThreadAndHostsNeverDeadlock) {
    buildCache(3);
    policy(2);
    put(1, K_BRIGHTNESS, 60);
    put(2, K_BRIGHTNESS, 70);
    ASSERT_TRUE(Peer::thread(ctl())->start());

    std::atomic<bool> bStop(false);
    std::vector<std::thread> hosts;
    hosts.emplace_back([&] {
        for (int i = 0; !bStop.load(); ++i) {
            ctl().setParamScheme(i % 3);
        }
    });
    hosts.emplace_back([&] {
        for (int i = 0; !bStop.load(); ++i) {
            ctl().setParameter(static_cast<int>(K_CONTRAST), 40 + i % 20, true);
            int nScheme = 0;
            ctl().getParamScheme(nScheme);
            ctl().getParamSchemeTime(8001);
        }
    });
    hosts.emplace_back([&] {
        for (int i = 0; !bStop.load(); ++i) {
            night(i % 2 == 0);
            ctl().setParamMode(1);
            std::this_thread::sleep_for(std::chrono::microseconds(300));
        }
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    bStop = true;
    for (auto& t : hosts) {
        t.join();
    }
    EXPECT_TRUE(Peer::thread(ctl())->stop());
    EXPECT_EQ(0, Peer::flags(ctl()) & ISensorController::BUSY_MASK);
    int nCur = cur();
    EXPECT_GE(nCur, 0);
    EXPECT_LE(nCur, 2);
}

} // namespace
} // namespace scheme_test
