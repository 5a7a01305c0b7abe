// The decision record: exactly one record per sensor pass and per host scheme
// operation, filled from the values the decision used, handed to the host's
// observer and kept in a bounded history.
#include <atomic>
#include <chrono>
#include <future>
#include <mutex>
#include <thread>
#include <vector>

#include "controller/ApplyGate.h"
#include "scheme/SchemeFixture.h"
#include "support/CallbackVideoModule.h"

namespace scheme_test {
namespace {

using tarnix::DecisionOutcome;
using tarnix::DecisionRecord;
using tarnix::DecisionSource;
using tarnix::SchemePolicy;

class DecisionRecordTest : public SchemeTest {
protected:
    void SetUp() override {
        SchemeTest::SetUp();
        ctl().setDecisionObserver([this](const DecisionRecord& r) {
            std::lock_guard<std::mutex> lock(m_mutex);
            m_vecSeen.push_back(r);
        });
    }

    void night(bool on) { ispsim::setValue(0, 153, on ? 1u : 0u); }

    // One pass; the record it left (exactly one).
    DecisionRecord pass() {
        const size_t nBefore = seen().size();
        EXPECT_EQ(0, ctl().sensorThread());
        std::vector<DecisionRecord> vec = seen();
        EXPECT_EQ(nBefore + 1, vec.size()) << "one record per pass";
        return vec.empty() ? DecisionRecord() : vec.back();
    }

    std::vector<DecisionRecord> seen() {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_vecSeen;
    }

    // The record is a switch from p_nFrom to p_nTo, forced or differential.
    static void expectSwitch(const DecisionRecord& r, int p_nFrom, int p_nTo, bool p_bForced) {
        EXPECT_EQ(DecisionOutcome::Switched, r.outcome);
        EXPECT_EQ(p_nFrom, r.from);
        EXPECT_EQ(p_nTo, r.to);
        EXPECT_EQ(p_bForced, r.forced);
    }

    // ISP calls of the simulator's log since the last clear.
    static u32 loggedCalls() { return static_cast<u32>(ispsim::calls().size()); }

    std::mutex m_mutex;
    std::vector<DecisionRecord> m_vecSeen;
};

// ---- time plan, ordinary device ----

TEST_F(DecisionRecordTest, TimePlanOutsideEnteringStayingAndLeavingAWindow) {
    buildCache(3);
    policy(1);
    window(1, 6, 0, 8, 0);
    window(2, 8, 0, 12, 0);
    put(2, K_BRIGHTNESS, 70);
    put(2, K_SATURATION, 40);

    // 05:00: no window holds the time, scheme 0 is the fallback and current.
    platform::setClock(5, 0);
    DecisionRecord r = pass();
    EXPECT_EQ(DecisionSource::SensorPass, r.source);
    EXPECT_EQ(SchemePolicy::TimePlan, r.policy);
    EXPECT_FALSE(r.lprDevice);
    EXPECT_EQ(1, r.mode);
    EXPECT_EQ(3u, r.schemeCount);
    EXPECT_TRUE(r.windowsRead);
    EXPECT_FALSE(r.dnStateRead);
    EXPECT_EQ(500u, r.now);
    EXPECT_EQ(5, r.time.hour);
    EXPECT_EQ(0, r.time.minute);
    EXPECT_EQ(3u, r.windowCount);
    EXPECT_EQ(0u, r.windows[0].start);
    EXPECT_EQ(0u, r.windows[0].end);
    EXPECT_EQ(600u, r.windows[1].start);
    EXPECT_EQ(800u, r.windows[1].end);
    EXPECT_EQ(800u, r.windows[2].start);
    EXPECT_EQ(1200u, r.windows[2].end);
    EXPECT_FALSE(r.windows[0].holdsNow || r.windows[1].holdsNow || r.windows[2].holdsNow);
    EXPECT_EQ(-1, r.matchedWindow);
    EXPECT_EQ(0, r.schedule);
    EXPECT_EQ(0, r.selected);
    EXPECT_EQ(DecisionOutcome::NoChange, r.outcome);
    EXPECT_EQ(0, r.from);
    EXPECT_EQ(0, r.to);
    EXPECT_EQ(0u, r.ispCalls);
    EXPECT_EQ("time plan: no window holds 05:00, so scheme 0 applies by default", tarnix::decisionReason(r));

    // 09:30: scheme 2's window begins to hold; a differential switch sends
    // the two keys in which the schemes differ.
    platform::setClock(9, 30);
    ispsim::clearCalls();
    r = pass();
    EXPECT_EQ(930u, r.now);
    EXPECT_EQ(3u, r.windowCount);
    EXPECT_TRUE(r.windows[2].holdsNow);
    EXPECT_EQ(2, r.matchedWindow);
    EXPECT_EQ(1, r.schedule);
    EXPECT_EQ(2, r.selected);
    expectSwitch(r, 0, 2, false);
    EXPECT_EQ(2u, r.ispCalls);
    EXPECT_EQ(loggedCalls(), r.ispCalls);
    EXPECT_EQ("09:30 pass: switched 0 -> 2 (differential, 2 ISP calls): time plan: the window 08:00-12:00 of "
              "scheme 2 holds 09:30",
              tarnix::decisionSummary(r));

    // Staying: nothing to do.
    platform::setClock(11, 59);
    r = pass();
    EXPECT_EQ(DecisionOutcome::NoChange, r.outcome);
    EXPECT_EQ(2, r.from);
    EXPECT_EQ(2, r.to);
    EXPECT_EQ(2, r.matchedWindow);

    // 12:00, the window's end: outside again, back to scheme 0.
    platform::setClock(12, 0);
    ispsim::clearCalls();
    r = pass();
    EXPECT_EQ(-1, r.matchedWindow);
    EXPECT_EQ(0, r.schedule);
    expectSwitch(r, 2, 0, false);
    EXPECT_EQ(loggedCalls(), r.ispCalls);
    EXPECT_EQ(2u, r.ispCalls);
}

TEST_F(DecisionRecordTest, FirstMatchingWindowIsTheLastOneCompared) {
    buildCache(3);
    policy(1);
    window(0, 6, 0, 18, 0);
    window(1, 8, 0, 10, 0);
    platform::setClock(9, 0);
    DecisionRecord r = pass();
    // Scheme 0's window holds 09:00: the schemes after it are not looked at.
    EXPECT_EQ(1u, r.windowCount);
    EXPECT_EQ(0, r.matchedWindow);
    EXPECT_TRUE(r.windows[0].holdsNow);
    EXPECT_EQ(DecisionOutcome::NoChange, r.outcome);
    EXPECT_EQ("time plan: the window 06:00-18:00 of scheme 0 holds 09:00", tarnix::decisionReason(r));
}

// ---- time plan, plate-recognition device ----

class LprDecisionTest : public DecisionRecordTest {
protected:
    void SetUp() override {
        DecisionRecordTest::SetUp();
        plateRecognitionTimePlan();
    }
};

TEST_F(LprDecisionTest, EnteringStayingAndReturningInsideAWindow) {
    platform::setClock(10, 0);
    DecisionRecord r = pass();
    EXPECT_TRUE(r.lprDevice);
    EXPECT_EQ(1, r.schedule);
    EXPECT_EQ(0u, r.lastSchedule);
    EXPECT_EQ(1u, r.lastScheduleAfter);
    expectSwitch(r, 0, 2, true);
    EXPECT_FALSE(r.dnModeZeroed);
    // A forced apply sends every entry of the scheme that has an ISP command.
    EXPECT_EQ(loggedCalls(), r.ispCalls);
    EXPECT_EQ(11u, r.ispCalls);
    EXPECT_NE(std::string::npos, tarnix::decisionReason(r).find("the window has just begun"));

    // Staying: nothing recorded in m_nLastSchedule, nothing sent.
    r = pass();
    EXPECT_EQ(DecisionOutcome::NoChange, r.outcome);
    EXPECT_EQ(1u, r.lastSchedule);
    EXPECT_EQ(1u, r.lastScheduleAfter);

    // The host picks scheme 0 inside the window: the next pass switches back,
    // differential, since the window was in force already.
    EXPECT_TRUE(ctl().setParamScheme(0));
    ispsim::clearCalls();
    r = pass();
    expectSwitch(r, 0, 2, false);
    EXPECT_EQ(1u, r.ispCalls);
    EXPECT_EQ(loggedCalls(), r.ispCalls);
}

TEST_F(LprDecisionTest, LeavingTheWindowAppliesTheDayNightSchemeWithModeZero) {
    platform::setClock(10, 0);
    pass();
    ispsim::clearCalls();
    platform::setClock(13, 0);
    night(true);
    DecisionRecord r = pass();
    EXPECT_EQ(-1, r.matchedWindow);
    EXPECT_EQ(0, r.schedule);
    EXPECT_TRUE(r.dnStateRead);
    EXPECT_EQ(1, r.dnState);
    EXPECT_EQ(1u, r.lastSchedule);
    EXPECT_EQ(0u, r.lastScheduleAfter);
    EXPECT_EQ(1, r.selected);
    expectSwitch(r, 2, 1, true);
    EXPECT_TRUE(r.dnModeZeroed);
    // The day/night read is the pass's own, not the switch's.
    EXPECT_EQ(loggedCalls() - 1, r.ispCalls);
    EXPECT_EQ("time plan: no window holds 13:00; outside every window the ISP reports night, which selects "
              "scheme 1, applied in full with day/night mode 0 (plate recognition)",
              tarnix::decisionReason(r));

    // Outside, night, scheme 1 in force: nothing.
    r = pass();
    EXPECT_EQ(DecisionOutcome::NoChange, r.outcome);
    EXPECT_EQ(1, r.to);
    EXPECT_EQ(0u, r.lastSchedule);
}

// ---- day/night policy ----

TEST_F(DecisionRecordTest, DayNightPolicyWithAFlip) {
    buildCache(3);
    policy(2);
    put(1, K_BRIGHTNESS, 60);
    platform::setClock(17, 58);

    night(false);
    DecisionRecord r = pass();
    EXPECT_EQ(SchemePolicy::DayNight, r.policy);
    EXPECT_FALSE(r.windowsRead);
    EXPECT_TRUE(r.dnStateRead);
    EXPECT_EQ(0, r.dnState);
    EXPECT_EQ(DecisionOutcome::NoChange, r.outcome);
    EXPECT_EQ(17, r.time.hour);
    EXPECT_EQ(58, r.time.minute);

    night(true);
    ispsim::clearCalls();
    r = pass();
    EXPECT_EQ(1, r.dnState);
    EXPECT_EQ(1, r.selected);
    expectSwitch(r, 0, 1, false);
    EXPECT_EQ(1u, r.ispCalls);
    EXPECT_EQ(loggedCalls() - 1, r.ispCalls); // besides the state read
    EXPECT_EQ("day/night policy: the ISP reports night, which selects scheme 1", tarnix::decisionReason(r));

    night(false);
    r = pass();
    expectSwitch(r, 1, 0, false);
}

TEST_F(DecisionRecordTest, FailedDayNightReadIsRecorded) {
    buildCache(3);
    policy(2);
    Peer::curScheme(ctl()) = 1;
    ispsim::setFailure(0, 153, -1, -1);
    DecisionRecord r = pass();
    EXPECT_TRUE(r.dnReadFailed);
    EXPECT_EQ(0, r.dnState);
    EXPECT_EQ(DecisionOutcome::Switched, r.outcome);
    EXPECT_EQ(0, r.to);
    EXPECT_NE(std::string::npos, tarnix::decisionReason(r).find("could not be read"));
}

// ---- suspended, busy, no policy ----

TEST_F(DecisionRecordTest, SuspendedModeHoldsEveryPass) {
    buildCache(3);
    policy(1);
    window(2, 8, 0, 12, 0);
    platform::setClock(10, 0);
    EXPECT_TRUE(ctl().setParamMode(0));
    DecisionRecord r = seen().back();
    EXPECT_EQ(DecisionSource::SetMode, r.source);
    EXPECT_EQ(0, r.requested);
    EXPECT_EQ(0, r.mode);
    EXPECT_EQ(DecisionOutcome::HeldSuspended, r.outcome);

    for (int i = 0; i < 3; ++i) {
        r = pass();
        EXPECT_EQ(DecisionOutcome::HeldSuspended, r.outcome);
        EXPECT_EQ(0, r.mode);
        EXPECT_FALSE(r.windowsRead);
        EXPECT_EQ(0, r.to);
    }
    EXPECT_EQ("automatic switching is suspended (mode 0)", tarnix::decisionReason(r));
    EXPECT_EQ(0, cur());

    EXPECT_TRUE(ctl().setParamMode(1));
    EXPECT_EQ(DecisionOutcome::NoChange, seen().back().outcome);
    EXPECT_EQ(1, seen().back().mode);
    r = pass();
    EXPECT_EQ(DecisionOutcome::Switched, r.outcome);
    EXPECT_EQ(2, r.to);
}

TEST_F(DecisionRecordTest, BusyFlagSkipsTheDueSwitch) {
    buildCache(3);
    policy(1);
    window(2, 8, 0, 12, 0);
    platform::setClock(10, 0);
    Peer::setFlag(ctl(), ISensorController::FLAG_RESTORING, true);
    DecisionRecord r = pass();
    Peer::setFlag(ctl(), ISensorController::FLAG_RESTORING, false);
    EXPECT_EQ(DecisionOutcome::SkippedBusy, r.outcome);
    EXPECT_EQ(ISensorController::FLAG_RESTORING, r.busyFlags);
    EXPECT_EQ(2, r.selected);
    EXPECT_EQ(0, r.from);
    EXPECT_EQ(0, r.to);
    EXPECT_EQ(0u, r.ispCalls);
    EXPECT_EQ("time plan: the window 08:00-12:00 of scheme 2 holds 10:00, but a busy operation (restoring) held "
              "the switch to scheme 2 back",
              tarnix::decisionReason(r));
    EXPECT_EQ(0, cur());
}

TEST_F(LprDecisionTest, BusyFlagSkipsAndLeavesTheLastScheduleAlone) {
    platform::setClock(10, 0);
    Peer::setFlag(ctl(), ISensorController::FLAG_RESETTING, true);
    DecisionRecord r = pass();
    Peer::setFlag(ctl(), ISensorController::FLAG_RESETTING, false);
    EXPECT_EQ(DecisionOutcome::SkippedBusy, r.outcome);
    EXPECT_EQ(ISensorController::FLAG_RESETTING, r.busyFlags);
    EXPECT_EQ(0u, r.lastScheduleAfter);
    EXPECT_EQ(0u, Peer::lastSchedule(ctl()).load());
}

TEST_F(DecisionRecordTest, NoPolicyChangesNothing) {
    buildCache(3);
    DecisionRecord r = pass();
    EXPECT_EQ(SchemePolicy::None, r.policy);
    EXPECT_EQ(DecisionOutcome::NoChange, r.outcome);
    EXPECT_EQ(-1, r.selected);
    EXPECT_EQ("no automatic policy is in force", tarnix::decisionReason(r));
}

// ---- host scheme operations ----

TEST_F(DecisionRecordTest, HostSetParamSchemeLeavesOneRecord) {
    buildCache(3);
    put(1, K_BRIGHTNESS, 61);
    put(1, K_CONTRAST, 62);
    put(1, K_SATURATION, 63);
    ispsim::clearCalls();
    EXPECT_TRUE(ctl().setParamScheme(1));
    std::vector<DecisionRecord> vec = seen();
    ASSERT_EQ(1u, vec.size());
    const DecisionRecord& r = vec[0];
    EXPECT_EQ(DecisionSource::SetScheme, r.source);
    EXPECT_EQ(1, r.requested);
    expectSwitch(r, 0, 1, false);
    EXPECT_EQ(3u, r.ispCalls);
    EXPECT_EQ(loggedCalls(), r.ispCalls);
    EXPECT_EQ(0u, r.busyWaits);
    EXPECT_EQ("the host asked for scheme 1", tarnix::decisionReason(r));

    // The factory scheme, and an index that is not a scheme (reported, kept).
    EXPECT_TRUE(ctl().setParamScheme(3));
    EXPECT_EQ("the host asked for scheme 3, the factory scheme", tarnix::decisionReason(seen().back()));
    EXPECT_TRUE(ctl().setParamScheme(9));
    EXPECT_EQ(9, seen().back().to);
    EXPECT_EQ("the host asked for scheme 9, which is not a scheme of this channel",
              tarnix::decisionReason(seen().back()));
    EXPECT_EQ(3u, seen().size());
    EXPECT_EQ(1u, seen()[0].sequence);
    EXPECT_EQ(3u, seen()[2].sequence);
}

TEST_F(DecisionRecordTest, SchemeAskedForInsideASwitchHasRecordsOfItsOwn) {
    const u32 kMirror = 2384;
    std::vector<KeyVal> base = defaultRow();
    base.push_back({kMirror, 0});
    buildCache(ctl(), 3, base);
    put(1, kMirror, 1);
    put(2, K_BRIGHTNESS, 70);
    CallbackVideoModule module;
    std::atomic<int> nRequests(0);
    module.setHook([&](int, int key, int) {
        if (key == static_cast<int>(kMirror) && nRequests.fetch_add(1) == 0) {
            EXPECT_TRUE(ctl().setParamScheme(2));
        }
    });
    ctl().setVideoStreamModule(&module);
    ispsim::clearCalls();
    EXPECT_TRUE(ctl().setParamScheme(1));
    std::vector<DecisionRecord> vec = seen();
    ASSERT_EQ(3u, vec.size());
    // The request made inside the switch to 1, kept for later.
    EXPECT_EQ(DecisionSource::SetScheme, vec[0].source);
    EXPECT_EQ(DecisionOutcome::Deferred, vec[0].outcome);
    EXPECT_EQ(2, vec[0].requested);
    // Carried out when the switch to 1 ended: mirror back and brightness.
    EXPECT_EQ(DecisionSource::ModuleRequest, vec[1].source);
    EXPECT_EQ(DecisionOutcome::Switched, vec[1].outcome);
    EXPECT_EQ(1, vec[1].from);
    EXPECT_EQ(2, vec[1].to);
    EXPECT_EQ(2u, vec[1].ispCalls);
    // The host's own switch, with its own ISP call (the mirror); the scheme
    // in force when it returns is the module's.
    EXPECT_EQ(DecisionSource::SetScheme, vec[2].source);
    EXPECT_EQ(DecisionOutcome::Switched, vec[2].outcome);
    EXPECT_EQ(0, vec[2].from);
    EXPECT_EQ(2, vec[2].to);
    EXPECT_EQ(1, vec[2].requested);
    EXPECT_EQ(1u, vec[2].ispCalls);
    EXPECT_EQ(loggedCalls(), vec[1].ispCalls + vec[2].ispCalls);
    EXPECT_EQ("the host asked for scheme 1; scheme 2, which a video module asked for during the switch, is in "
              "force since it ended",
              tarnix::decisionReason(vec[2]));
    ctl().setVideoStreamModule(nullptr);
}

// ---- observer and history ----

TEST_F(DecisionRecordTest, ObserverRunsOnTheDecidingThreadWithTheControllerHeld) {
    buildCache(3);
    policy(2);
    night(true);
    bool bHeld = false;
    bool bNested = false;
    int nSchemeSeen = -1;
    std::atomic<int> nDepth{0};
    ctl().setDecisionObserver([&](const DecisionRecord& r) {
        bNested = bNested || nDepth.fetch_add(1) != 0;
        bHeld = tarnix::ApplyGate::instance().heldByThisThread();
        // Calling back into the controller is allowed; a scheme operation
        // made here is delivered after this call returns, not inside it.
        ctl().getParamScheme(nSchemeSeen);
        if (r.source == DecisionSource::SensorPass && r.outcome == DecisionOutcome::Switched) {
            EXPECT_TRUE(ctl().setParamScheme(2));
        }
        std::lock_guard<std::mutex> lock(m_mutex);
        m_vecSeen.push_back(r);
        nDepth.fetch_sub(1);
    });
    EXPECT_EQ(0, ctl().sensorThread());
    std::vector<DecisionRecord> vec = seen();
    ASSERT_EQ(2u, vec.size());
    EXPECT_EQ(DecisionSource::SensorPass, vec[0].source);
    EXPECT_EQ(1, vec[0].to);
    EXPECT_EQ(DecisionSource::SetScheme, vec[1].source);
    EXPECT_EQ(1, vec[1].from);
    EXPECT_EQ(2, vec[1].to);
    EXPECT_EQ(vec[0].sequence + 1, vec[1].sequence);
    EXPECT_TRUE(bHeld);
    EXPECT_FALSE(bNested);
    EXPECT_EQ(2, nSchemeSeen);
    EXPECT_FALSE(tarnix::ApplyGate::instance().heldByThisThread());
}

TEST_F(DecisionRecordTest, ObserverOnTheSensorThreadCallsBackWhileHostsWork) {
    buildCache(3);
    policy(2);
    std::atomic<int> nCalls{0};
    std::atomic<int> nSwitches{0};
    ctl().setDecisionObserver([&](const DecisionRecord& r) {
        int nScheme = -1;
        ctl().getParamScheme(nScheme);
        int nValue = 0;
        ctl().getParameter(K_BRIGHTNESS, nValue);
        nCalls.fetch_add(1);
        if (r.outcome == DecisionOutcome::Switched) {
            nSwitches.fetch_add(1);
        }
    });
    ASSERT_TRUE(Peer::thread(ctl())->start());
    // A host flips the day/night state and picks schemes meanwhile.
    auto host = std::async(std::launch::async, [&] {
        for (int i = 0; i < 40; ++i) {
            night(i % 2 == 1);
            ctl().setParamScheme(i % 3);
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
        }
    });
    ASSERT_EQ(std::future_status::ready, host.wait_for(std::chrono::seconds(60)));
    const auto tEnd = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    while (nCalls.load() < 45 && std::chrono::steady_clock::now() < tEnd) {
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    EXPECT_TRUE(Peer::thread(ctl())->stop());
    EXPECT_GE(nCalls.load(), 45);
    EXPECT_GE(nSwitches.load(), 40);
}

TEST_F(DecisionRecordTest, ClearedObserverIsNotCalledAgain) {
    buildCache(3);
    ctl().setDecisionObserver(nullptr);
    ctl().sensorThread();
    ctl().setParamScheme(1);
    EXPECT_TRUE(seen().empty());
    // The history still has them.
    EXPECT_EQ(2u, ctl().getDecisionHistory().size());
}

TEST_F(DecisionRecordTest, HistoryNeverGrowsPastItsSize) {
    buildCache(3);
    ctl().setDecisionHistorySize(5);
    for (int i = 0; i < 20; ++i) {
        ctl().setParamScheme(i % 3);
        EXPECT_LE(ctl().getDecisionHistory().size(), 5u);
    }
    std::vector<DecisionRecord> vec = ctl().getDecisionHistory();
    ASSERT_EQ(5u, vec.size());
    for (size_t i = 0; i < vec.size(); ++i) {
        EXPECT_EQ(16u + i, vec[i].sequence) << i; // the newest, oldest first
    }
    // Smaller keeps the newest; 0 keeps none.
    ctl().setDecisionHistorySize(2);
    vec = ctl().getDecisionHistory();
    ASSERT_EQ(2u, vec.size());
    EXPECT_EQ(19u, vec[0].sequence);
    EXPECT_EQ(20u, vec[1].sequence);
    ctl().setDecisionHistorySize(0);
    ctl().setParamScheme(1);
    EXPECT_TRUE(ctl().getDecisionHistory().empty());
    // The observer still sees every record.
    EXPECT_EQ(21u, seen().size());
    // A size beyond the largest keeps the largest: 65537 records leave 65536.
    ctl().setDecisionObserver(nullptr);
    ctl().setDecisionHistorySize(0xFFFFFFFFu);
    for (int i = 0; i < 65537; ++i) {
        ctl().setParamScheme(i % 2);
    }
    EXPECT_EQ(65536u, ctl().getDecisionHistory().size());
}

TEST_F(DecisionRecordTest, DefaultHistoryKeeps256AndFoldsIdlePasses) {
    buildCache(3);
    policy(1);
    window(1, 6, 0, 8, 0);
    platform::setClock(5, 0);
    platform::setTimeScale(0);
    for (int i = 0; i < 300; ++i) {
        ctl().setParamScheme(0);
    }
    EXPECT_EQ(256u, ctl().getDecisionHistory().size());
    // Idle passes that decide alike are one entry with their count.
    ctl().setDecisionHistorySize(10);
    for (int i = 0; i < 4; ++i) {
        platform::setClock(5, i);
        pass();
    }
    std::vector<DecisionRecord> vec = ctl().getDecisionHistory();
    ASSERT_EQ(10u, vec.size());
    const DecisionRecord& r = vec.back();
    EXPECT_EQ(DecisionSource::SensorPass, r.source);
    EXPECT_EQ(4u, r.passes);
    EXPECT_EQ(0, r.time.minute);
    EXPECT_EQ(3, r.lastTime.minute);
    // The observer got all four.
    EXPECT_EQ(304u, seen().size());
    // A switch is an entry of its own.
    platform::setClock(7, 0);
    pass();
    vec = ctl().getDecisionHistory();
    EXPECT_EQ(DecisionOutcome::Switched, vec.back().outcome);
    EXPECT_EQ(1u, vec.back().passes);
}

TEST_F(DecisionRecordTest, NothingIsRecordedWhenNothingIsWanted) {
    buildCache(3);
    ctl().setDecisionObserver(nullptr);
    ctl().setDecisionHistorySize(0);
    ctl().sensorThread();
    ctl().setParamScheme(1);
    EXPECT_TRUE(ctl().getDecisionHistory().empty());
    EXPECT_EQ(1, cur());
    // Records start again with the history back on, numbered on from there.
    ctl().setDecisionHistorySize(4);
    ctl().setParamScheme(2);
    ASSERT_EQ(1u, ctl().getDecisionHistory().size());
    EXPECT_EQ(1u, ctl().getDecisionHistory()[0].sequence);
}

TEST_F(DecisionRecordTest, ObserverExceptionDoesNotStopTheDecisions) {
    buildCache(3);
    int nCalls = 0;
    ctl().setDecisionObserver([&](const DecisionRecord&) {
        ++nCalls;
        throw std::runtime_error("host failure");
    });
    EXPECT_TRUE(ctl().setParamScheme(1));
    EXPECT_TRUE(ctl().setParamScheme(2));
    EXPECT_EQ(2, nCalls);
    EXPECT_EQ(2, cur());
}

} // namespace
} // namespace scheme_test
