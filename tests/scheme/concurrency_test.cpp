// The concurrency contract a host relies on: video module callbacks may call
// any controller on any thread without deadlock, the sensor thread's switch
// and its field-of-view action are never held up by host traffic, and calls
// nested inside a callback are safe.
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <future>
#include <string>
#include <thread>
#include <vector>

#include "controller/ApplyGate.h"
#include "controller/LockRank.h"
#include "scheme/SchemeFixture.h"
#include "support/CallbackVideoModule.h"
#include "support/ProgressWatchdog.h"

namespace scheme_test {
namespace {

using Clock = std::chrono::steady_clock;

const u32 K_MIRROR = 2384;
const unsigned int kZoomCmd = 1568;

// The test rows with the mirror key added.
std::vector<KeyVal> rowWithMirror() {
    std::vector<KeyVal> row = defaultRow();
    row.push_back({K_MIRROR, 0});
    return row;
}

bool ispSawSet(unsigned int p_nCmd, uint32_t p_nValue) {
    for (const auto& call : setCalls()) {
        if (call.first == p_nCmd && call.second == p_nValue) {
            return true;
        }
    }
    return false;
}

// Holds the apply gate on a thread of its own, as a host operation does,
// until release().
class GateHolder {
public:
    GateHolder()
        : m_thread([this] {
              tarnix::GateLock lock;
              m_bHeld = true;
              while (!m_bRelease.load()) {
                  std::this_thread::sleep_for(std::chrono::milliseconds(1));
              }
          }) {
        while (!m_bHeld.load()) {
            std::this_thread::yield();
        }
    }
    ~GateHolder() { release(); }
    void release() {
        m_bRelease = true;
        if (m_thread.joinable()) {
            m_thread.join();
        }
    }

private:
    std::atomic<bool> m_bHeld{false};
    std::atomic<bool> m_bRelease{false};
    std::thread m_thread;
};

class ConcurrencyTest : public SchemeTest {
protected:
    void TearDown() override {
        // The module lives in the test body: no thread may call it later.
        Peer::thread(ctl())->stop();
        ctl().setVideoStreamModule(nullptr);
        SchemeTest::TearDown();
    }

    void writeSyncFov() { writeFile("/mnt/mtd/hd1/program/config/sync_fov.ini", "zoom1=20000,\nfocus1=300,\n"); }
};

// A module that reads a value back from inside a notification on
// "SensorThread", while a host thread keeps setting parameters and the clock
// flips between two schemes that differ in the mirror: nobody hangs.
TEST_F(ConcurrencyTest, ModuleReadingBackOnTheSensorThreadDoesNotBlockAHost) {
    buildCache(ctl(), 2, rowWithMirror());
    policy(1);
    window(0, 0, 0, 8, 0);
    window(1, 8, 0, 24, 0);
    put(1, K_MIRROR, 1);
    platform::setClock(3, 0);

    CallbackVideoModule module;
    std::atomic<long> nOnSensorThread(0);
    std::atomic<long> nReadBacks(0);
    module.setHook([&](int, int key, int) {
        if (key == static_cast<int>(K_MIRROR) && currentThreadName() == "SensorThread") {
            ++nOnSensorThread;
            // The module does some work of its own first; meanwhile the host
            // thread starts its next call.
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
            int v = 0;
            if (ctl().getParameter(static_cast<int>(K_BRIGHTNESS), v)) {
                ++nReadBacks;
            }
        }
    });
    ctl().setVideoStreamModule(&module);
    ASSERT_TRUE(Peer::thread(ctl())->start());

    std::atomic<long> nHostCalls(0);
    std::atomic<long> nClockFlips(0);
    std::atomic<bool> bStop(false);
    {
        tarnix_test::ProgressWatchdog watch({&nHostCalls, &nClockFlips}, std::chrono::milliseconds(2000));
        std::thread host([&] {
            for (int i = 0; !bStop.load(); ++i) {
                ctl().setParameter(static_cast<int>(K_BRIGHTNESS), 10 + i % 50, true);
                ++nHostCalls;
            }
        });
        const auto tEnd = Clock::now() + std::chrono::milliseconds(1500);
        for (int i = 0; Clock::now() < tEnd || nOnSensorThread.load() == 0; ++i) {
            platform::setClock(i % 2 == 0 ? 10 : 3, 0);
            ++nClockFlips;
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
            if (Clock::now() > tEnd + std::chrono::seconds(20)) {
                break;
            }
        }
        bStop = true;
        host.join();
    }
    Peer::thread(ctl())->stop();
    EXPECT_GT(nHostCalls.load(), 100);
    EXPECT_GE(nOnSensorThread.load(), 1);
    EXPECT_EQ(nOnSensorThread.load(), nReadBacks.load());
}

// Two host threads keep the parameter API saturated; every due switch of the
// time schedule still happens within three passes.
TEST_F(ConcurrencyTest, DueSwitchesHappenWithinThreePassesUnderHostLoad) {
    // A pass period of 50 ms: the pass waits up to that long for the gate,
    // far longer than any one host operation takes.
    platform::setTimeScale(0.05);
    buildCache(3);
    policy(1);
    window(0, 0, 0, 8, 0);
    window(1, 8, 0, 16, 0);
    window(2, 16, 0, 24, 0);
    put(1, K_BRIGHTNESS, 60);
    put(2, K_BRIGHTNESS, 70);
    platform::setClock(3, 0);

    std::atomic<bool> bStop(false);
    std::atomic<long> nHostCalls(0);
    std::vector<std::thread> hosts;
    hosts.emplace_back([&] {
        for (int i = 0; !bStop.load(); ++i) {
            ctl().setParameters("(2337," + std::to_string(i % 90) + ")(2353," + std::to_string(i % 80) + ")",
                                true);
            ++nHostCalls;
        }
    });
    hosts.emplace_back([&] {
        while (!bStop.load()) {
            int v = 0;
            ctl().getParameter(static_cast<int>(K_SATURATION), v);
            ctl().getParameter(static_cast<int>(K_CONTRAST), v);
            ++nHostCalls;
        }
    });
    // Let the hosts get going.
    while (nHostCalls.load() < 200) {
        std::this_thread::yield();
    }

    const int kHours[] = {10, 20, 3, 12, 17};
    const int kSchemes[] = {1, 2, 0, 1, 2};
    std::vector<int> vecPasses;
    for (int i = 0; i < 5; ++i) {
        platform::setClock(kHours[i], 0);
        int nPasses = 0;
        // Bounded, so that a starved thread ends the test instead of hanging.
        while (cur() != kSchemes[i] && nPasses < 1000) {
            ctl().sensorThread();
            ++nPasses;
        }
        vecPasses.push_back(nPasses);
    }
    bStop = true;
    for (auto& t : hosts) {
        t.join();
    }
    for (int i = 0; i < 5; ++i) {
        EXPECT_LE(vecPasses[i], 3) << "switch " << i << " to scheme " << kSchemes[i];
        EXPECT_GE(vecPasses[i], 1);
    }
    EXPECT_GT(nHostCalls.load(), 200);
}

// A host whose mirror change takes 800 ms inside a slow module does not hold
// up the field-of-view action posted meanwhile.
TEST_F(ConcurrencyTest, FieldOfViewActionRunsWhileAHostWaitsForASlowModule) {
    buildCache(ctl(), 2, rowWithMirror());
    writeSyncFov();
    CallbackVideoModule module;
    std::atomic<bool> bInside(false);
    module.setHook([&](int, int key, int) {
        if (key == static_cast<int>(K_MIRROR) && currentThreadName() != "SensorThread") {
            bInside = true;
            std::this_thread::sleep_for(std::chrono::milliseconds(800));
        }
    });
    ctl().setVideoStreamModule(&module);
    ASSERT_TRUE(Peer::thread(ctl())->start());

    std::atomic<bool> bZoomBeforeReturn(false);
    std::thread host([&] {
        EXPECT_EQ(0, ctl().setParameter(static_cast<int>(K_MIRROR), 1, true));
        bZoomBeforeReturn = ispSawSet(kZoomCmd, 20000);
    });
    while (!bInside.load()) {
        std::this_thread::yield();
    }
    ctl().doIoCrtl(8104, 0, nullptr);
    host.join();
    Peer::thread(ctl())->stop();
    EXPECT_TRUE(bZoomBeforeReturn.load());
    EXPECT_TRUE(ispSawSet(K_MIRROR, 1));
}

// One post of the field-of-view action is carried out once, however many
// passes follow.
TEST_F(ConcurrencyTest, OnePostRunsTheFieldOfViewActionOnce) {
    writeSyncFov();
    ctl().doIoCrtl(8104, 0, nullptr);
    ctl().sensorThread();
    ctl().sensorThread();
    int nZooms = 0;
    for (const auto& call : setCalls()) {
        nZooms += call.first == kZoomCmd ? 1 : 0;
    }
    EXPECT_EQ(1, nZooms);
    EXPECT_EQ(-1, ISensorController::m_nChanneldDosomething.load());
    EXPECT_EQ(-1, ISensorController::m_nPassKeycmd.load());
}

// With the factory row current, resetToLastParameters returns at once even
// while another thread holds the controller's m_paramMutex.
TEST_F(ConcurrencyTest, ResetToLastParametersOnTheFactoryRowTakesNoLock) {
    buildCache(3);
    Peer::curScheme(ctl()) = 3;
    std::atomic<bool> bHeld(false);
    std::atomic<bool> bRelease(false);
    std::thread holder([&] {
        Peer::lockParamMutex(ctl());
        bHeld = true;
        const auto tEnd = Clock::now() + std::chrono::seconds(2);
        while (!bRelease.load() && Clock::now() < tEnd) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        Peer::unlockParamMutex(ctl());
    });
    while (!bHeld.load()) {
        std::this_thread::yield();
    }
    const auto t0 = Clock::now();
    const bool bResult = ctl().resetToLastParameters();
    const auto elapsed = Clock::now() - t0;
    bRelease = true;
    holder.join();
    EXPECT_TRUE(bResult);
    EXPECT_LT(elapsed, std::chrono::milliseconds(50));
    EXPECT_TRUE(ispsim::calls().empty());
}

// ---- calls nested inside a module callback ----

// A module that sets a parameter text from inside the mirror notification of
// an outer text: the outer call goes on with its own records.
TEST_F(ConcurrencyTest, NestedTextCallDoesNotDisturbTheOuterOne) {
    buildCache(ctl(), 2, rowWithMirror());
    Peer::keyValTmp(ctl()) = new KeyVal[4]();
    CallbackVideoModule module;
    std::atomic<int> nNested(0);
    module.setHook([&](int, int key, int) {
        if (key == static_cast<int>(K_MIRROR) && nNested.fetch_add(1) == 0) {
            // Many records, so a shared work array would be reallocated.
            std::string strText;
            for (int i = 0; i < 64; ++i) {
                strText += "(2353," + std::to_string(i) + ")";
            }
            EXPECT_EQ(0, ctl().setParameters(strText, false));
        }
    });
    ctl().setVideoStreamModule(&module);
    ispsim::clearCalls();
    EXPECT_EQ(0, ctl().setParameters(std::string("(2384,1)(34,77)(2337,66)"), true));
    std::vector<std::pair<unsigned int, uint32_t>> vecCalls = setCalls();
    ASSERT_FALSE(vecCalls.empty());
    // The outer records after the mirror come last, unchanged.
    ASSERT_GE(vecCalls.size(), 3u);
    EXPECT_EQ((std::pair<unsigned int, uint32_t>(34, 77)), vecCalls[vecCalls.size() - 2]);
    EXPECT_EQ((std::pair<unsigned int, uint32_t>(2337, 66)), vecCalls[vecCalls.size() - 1]);
    EXPECT_EQ(77u, get(0, K_BRIGHTNESS));
    EXPECT_EQ(66u, get(0, K_SATURATION));
    EXPECT_EQ(1, nNested.load());
    delete[] Peer::keyValTmp(ctl());
    Peer::keyValTmp(ctl()) = nullptr;
}

// setParamScheme from inside a switch's notification cannot wait for that
// switch: the request is kept and carried out when the switch has ended.
TEST_F(ConcurrencyTest, SchemeRequestedInsideASwitchIsCarriedOutAfterIt) {
    buildCache(ctl(), 3, rowWithMirror());
    put(1, K_MIRROR, 1);
    put(2, K_BRIGHTNESS, 70);
    CallbackVideoModule module;
    std::atomic<int> nRequests(0);
    module.setHook([&](int, int key, int) {
        if (key == static_cast<int>(K_MIRROR) && nRequests.fetch_add(1) == 0) {
            EXPECT_TRUE(ctl().setParamScheme(2));
            // Nothing switched yet: the outer switch to 1 is still under way.
            EXPECT_EQ(1, cur());
        }
    });
    ctl().setVideoStreamModule(&module);
    auto pending = std::async(std::launch::async, [&] { return ctl().setParamScheme(1); });
    ASSERT_EQ(std::future_status::ready, pending.wait_for(std::chrono::seconds(10)));
    EXPECT_TRUE(pending.get());
    EXPECT_EQ(2, cur());
    EXPECT_EQ(1, last());
    EXPECT_TRUE(ispSawSet(K_BRIGHTNESS, 70));
    EXPECT_EQ(0, Peer::flags(ctl()) & ISensorController::BUSY_MASK);
}

// setParamMode from inside a switch's notification stores the mode at once.
TEST_F(ConcurrencyTest, ModeSetInsideASwitchIsStoredAtOnce) {
    buildCache(ctl(), 2, rowWithMirror());
    put(1, K_MIRROR, 1);
    CallbackVideoModule module;
    module.setHook([&](int, int key, int) {
        if (key == static_cast<int>(K_MIRROR)) {
            EXPECT_TRUE(ctl().setParamMode(0));
            int nMode = -1;
            EXPECT_TRUE(ctl().getParamMode(nMode));
            EXPECT_EQ(0, nMode);
        }
    });
    ctl().setVideoStreamModule(&module);
    auto pending = std::async(std::launch::async, [&] { return ctl().setParamScheme(1); });
    ASSERT_EQ(std::future_status::ready, pending.wait_for(std::chrono::seconds(10)));
    EXPECT_TRUE(pending.get());
    EXPECT_EQ(0, Peer::mode(ctl()).load());
}

// init, uinit and resetParameters of the same controller are refused from a
// module callback with an assertion report; the outer operation completes.
TEST_F(ConcurrencyTest, LifecycleCallsFromACallbackOfTheSameControllerAreRefused) {
    buildCache(ctl(), 2, rowWithMirror());
    CallbackVideoModule module;
    std::atomic<int> nCalls(0);
    module.setHook([&](int, int key, int) {
        if (key == static_cast<int>(K_MIRROR) && nCalls.fetch_add(1) == 0) {
            EXPECT_FALSE(ctl().resetParameters());
            EXPECT_FALSE(ctl().init(ModuleConfigure()));
            ctl().uinit();
        }
    });
    ctl().setVideoStreamModule(&module);
    Peer::setFlag(ctl(), ISensorController::FLAG_INITED, true);
    captureStdout();
    EXPECT_EQ(0, ctl().setParameter(static_cast<int>(K_MIRROR), 1, true));
    std::string strOut = capturedStdout();
    EXPECT_EQ(1, nCalls.load());
    EXPECT_NE(std::string::npos,
              strOut.find("resetParameters() called from inside a video module callback of the same controller"));
    EXPECT_NE(std::string::npos,
              strOut.find("init() called from inside a video module callback of the same controller"));
    EXPECT_NE(std::string::npos,
              strOut.find("uinit() called from inside a video module callback of the same controller"));
    // Nothing was torn down: the cache is still there and holds the value.
    ASSERT_NE(nullptr, Peer::userKeyVal(ctl()));
    EXPECT_EQ(1u, get(0, K_MIRROR));
    EXPECT_EQ(2u, Peer::sysConf(ctl()).nSchemeSum);
    std::string strLog = errorLog();
    EXPECT_NE(std::string::npos, strLog.find("uinit() called from inside a video module callback"));
}

// Two channels whose modules call the other channel from a notification,
// driven from two host threads at once: the cycle does not deadlock.
TEST_F(ConcurrencyTest, ModulesCallingTheOtherChannelDoNotDeadlock) {
    ISensorController& ctl2 = extraController();
    Peer::cameraId(ctl2) = 2;
    buildCache(ctl(), 2, rowWithMirror());
    buildCache(ctl2, 2, rowWithMirror());
    CallbackVideoModule module1;
    CallbackVideoModule module2;
    std::atomic<long> nCross(0);
    module1.setHook([&](int, int key, int) {
        int v = 0;
        if (key == static_cast<int>(K_MIRROR) && ctl2.getParameter(static_cast<int>(K_BRIGHTNESS), v)) {
            ++nCross;
        }
    });
    module2.setHook([&](int, int key, int) {
        int v = 0;
        if (key == static_cast<int>(K_MIRROR) && ctl().getParameter(static_cast<int>(K_BRIGHTNESS), v)) {
            ++nCross;
        }
    });
    ctl().setVideoStreamModule(&module1);
    ctl2.setVideoStreamModule(&module2);
    std::atomic<long> n1(0);
    std::atomic<long> n2(0);
    {
        tarnix_test::ProgressWatchdog watch({&n1, &n2}, std::chrono::milliseconds(2000));
        std::thread t1([&] {
            for (int i = 0; i < 2000; ++i) {
                ctl().setParameter(static_cast<int>(K_MIRROR), i % 3, true);
                ++n1;
            }
        });
        std::thread t2([&] {
            for (int i = 0; i < 2000; ++i) {
                ctl2.setParameter(static_cast<int>(K_MIRROR), i % 3, true);
                ++n2;
            }
        });
        t1.join();
        t2.join();
    }
    ctl2.setVideoStreamModule(nullptr);
    EXPECT_EQ(2000, n1.load());
    EXPECT_EQ(2000, n2.load());
    EXPECT_GT(nCross.load(), 1000);
}

// A pass waiting for the gate gives up at once when its controller is being
// stopped, so uinit's stop of the thread never waits for a host.
TEST_F(ConcurrencyTest, AWaitingPassGivesUpWhenTheStopIsRequested) {
    platform::setTimeScale(1.0);
    buildCache(3);
    policy(2);
    ispsim::setValue(0, 153, 1);
    Peer::setFlag(ctl(), ISensorController::FLAG_RESETTING, true); // no 1 s sleep
    GateHolder holder;
    auto pending = std::async(std::launch::async, [&] { return ctl().sensorThread(); });
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    Peer::stopRequested(ctl()) = true;
    EXPECT_EQ(std::future_status::ready, pending.wait_for(std::chrono::milliseconds(500)));
    holder.release();
    EXPECT_EQ(0, pending.get());
    // It did not decide: the night scheme is not in force.
    EXPECT_EQ(0, cur());
    Peer::stopRequested(ctl()) = false;
    Peer::setFlag(ctl(), ISensorController::FLAG_RESETTING, false);
}

// A pass that cannot get the gate within a period ends without deciding, and
// the next pass decides.
TEST_F(ConcurrencyTest, APassWaitsAtMostOnePeriodThenTheNextOneDecides) {
    buildCache(3);
    policy(2);
    ispsim::setValue(0, 153, 1);
    GateHolder holder;
    auto pending = std::async(std::launch::async, [&] { return ctl().sensorThread(); });
    ASSERT_EQ(std::future_status::ready, pending.wait_for(std::chrono::seconds(10)));
    EXPECT_EQ(0, pending.get());
    EXPECT_EQ(0, cur());
    holder.release();
    ctl().sensorThread();
    EXPECT_EQ(1, cur());
}

// ---- the lock order ----

TEST_F(ConcurrencyTest, TakingTheGateAfterAParamMutexFailsTheLockRankCheck) {
    if (!tarnix::lockrank::checked()) {
        GTEST_SKIP() << "the lock-rank check is compiled into Debug and sanitizer builds only";
    }
    buildCache(3);
    ::testing::FLAGS_gtest_death_test_style = "threadsafe";
    EXPECT_DEATH(
        {
            Peer::lockParamMutex(ctl());
            int v = 0;
            ctl().getParameter(static_cast<int>(K_BRIGHTNESS), v);
        },
        "lock order violated: the apply gate taken while holding a controller's m_paramMutex");
}

TEST_F(ConcurrencyTest, NestedControllerLocksInsideTheGatePassTheLockRankCheck) {
    ISensorController& ctl2 = extraController();
    buildCache(ctl2, 3);
    CallbackVideoModule module;
    int nRead = 0;
    module.setHook([&](int, int key, int) {
        int v = 0;
        if (key == static_cast<int>(K_MIRROR) && ctl2.getParameter(static_cast<int>(K_BRIGHTNESS), v) &&
            ctl().getParameter(static_cast<int>(K_BRIGHTNESS), v)) {
            ++nRead;
        }
    });
    buildCache(ctl(), 2, rowWithMirror());
    ctl().setVideoStreamModule(&module);
    EXPECT_EQ(0, ctl().setParameter(static_cast<int>(K_MIRROR), 2, true));
    EXPECT_EQ(1, nRead);
}

} // namespace
} // namespace scheme_test
