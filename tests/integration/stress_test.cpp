// Several host threads use one controller at once while its sensor thread
// switches schemes (time windows with a moving clock, and day/night with the
// ISP's state toggling). Nothing may deadlock, and the ThreadSanitizer build
// must find no race. A watchdog ends the process if the run hangs.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "integration/integration_fixture.h"

namespace integration_test {
namespace {

using lifecycle_test::bytesOf;
using lifecycle_test::sameBytes;
using lifecycle_test::schemePath;

// Fails the process when the guarded run does not finish in time: a hung
// run would otherwise block the test program for ever.
class Watchdog {
public:
    explicit Watchdog(std::chrono::seconds p_limit) : m_thread([this, p_limit] { watch(p_limit); }) {}
    ~Watchdog() {
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            m_bDone = true;
        }
        m_cond.notify_all();
        m_thread.join();
    }

private:
    void watch(std::chrono::seconds p_limit) {
        std::unique_lock<std::mutex> lock(m_mutex);
        if (!m_cond.wait_for(lock, p_limit, [this] { return m_bDone; })) {
            std::fprintf(stderr, "stress run still busy after %lld s: deadlock\n",
                         static_cast<long long>(p_limit.count()));
            std::fflush(stderr);
            std::abort();
        }
    }
    std::mutex m_mutex;
    std::condition_variable m_cond;
    bool m_bDone = false;
    std::thread m_thread;
};

// Windows 00:00-08:00, 08:00-16:00 and 16:00-24:00 on schemes 0 to 2, each
// with its own brightness; scheme 0 carries the policy (1 time, 2 day/night).
void setUpSchemes(ISensorController& c, int p_nPolicy) {
    const char* const kTexts[] = {
        "(8001,0)(8002,0)(8003,8)(8004,0)(34,10)",
        "(8001,8)(8002,0)(8003,16)(8004,0)(34,20)",
        "(8001,16)(8002,0)(8003,24)(8004,0)(34,30)",
    };
    for (int s = 2; s >= 0; --s) {
        c.setParamScheme(s);
        c.setParameters(std::string(kTexts[s]), true);
        c.flush();
    }
    c.setParameters("(8000," + std::to_string(p_nPolicy) + ")", true);
}

TEST_F(IntegrationTest, StressHostThreadsWhileTheSensorThreadSwitches) {
    installDeviceTree("box");
    platform::setClock(3, 0);
    ISensorController c;
    c.setChannelID(1);
    ASSERT_TRUE(c.init(firstModule()));
    setUpSchemes(c, 1);
    ASSERT_TRUE(Peer::timeScheme(c).load());
    ispsim::clearCalls();
    captureStdout();

    const auto tEnd = std::chrono::steady_clock::now() + std::chrono::milliseconds(1500);
    auto running = [tEnd] { return std::chrono::steady_clock::now() < tEnd; };
    std::atomic<int> nResets(0);
    std::atomic<int> nApplied(0);
    std::atomic<int> nFailures(0);
    {
        Watchdog watchdog(std::chrono::seconds(60));
        std::vector<std::thread> vecThreads;

        // The clock moves through the three windows.
        vecThreads.emplace_back([&] {
            const int kHours[] = {3, 10, 20, 12, 5, 17};
            for (int i = 0; running(); ++i) {
                platform::setClock(kHours[i % 6], i % 60);
                std::this_thread::sleep_for(std::chrono::milliseconds(2));
            }
        });
        // The ISP's day/night state toggles.
        vecThreads.emplace_back([&] {
            for (uint32_t n = 0; running(); ++n) {
                ispsim::setValue(0, 153, n & 1u);
                std::this_thread::sleep_for(std::chrono::milliseconds(3));
            }
        });
        // The text API.
        vecThreads.emplace_back([&] {
            std::mt19937 rng(1);
            while (running()) {
                std::string strText = "(34," + std::to_string(rng() % 100) + ")(2337," +
                                      std::to_string(rng() % 100) + ")(2353," + std::to_string(rng() % 100) +
                                      ")";
                if (c.setParameters(strText, (rng() & 1u) != 0) == 0) {
                    ++nApplied;
                }
                std::string strOut;
                if (!c.getParameters("(34,2337,2353)", strOut) || strOut.empty()) {
                    ++nFailures;
                }
                if (rng() % 16 == 0) {
                    std::string strAll;
                    c.getAllParameters(strAll);
                }
            }
        });
        // Single setters, restore and re-apply of the file.
        vecThreads.emplace_back([&] {
            std::mt19937 rng(2);
            while (running()) {
                int v = static_cast<int>(rng() % 100);
                c.setParameter(2321, v, true);
                c.setWDRStrength(v);
                c.set3DManualMaxStrength(v);
                int nRead = 0;
                c.getParameter(2321, nRead);
                c.restore(34);
                c.restoreAeMode();
                if (rng() % 4 == 0) {
                    c.resetToLastParameters();
                }
            }
        });
        // Forced schemes and the switching mode.
        vecThreads.emplace_back([&] {
            std::mt19937 rng(3);
            while (running()) {
                c.setParamScheme(static_cast<int>(rng() % 5));
                int nScheme = 0;
                c.getParamScheme(nScheme);
                if (rng() % 8 == 0) {
                    c.setParamMode(0);
                    std::this_thread::sleep_for(std::chrono::milliseconds(1));
                    c.setParamMode(1);
                }
                c.getParamSchemeTime(8001);
                std::this_thread::sleep_for(std::chrono::microseconds(500));
            }
        });
        // Saves.
        vecThreads.emplace_back([&] {
            while (running()) {
                c.flush();
                c.setMirrorMode(static_cast<int>(nApplied.load() & 1));
                std::this_thread::sleep_for(std::chrono::milliseconds(1));
            }
        });
        // Factory resets, each followed by new windows and the other policy.
        vecThreads.emplace_back([&] {
            while (running()) {
                std::this_thread::sleep_for(std::chrono::milliseconds(120));
                if (!c.resetParameters()) {
                    ++nFailures;
                }
                int n = ++nResets;
                setUpSchemes(c, (n % 2) != 0 ? 2 : 1);
            }
        });
        for (std::thread& t : vecThreads) {
            t.join();
        }
    }
    capturedStdout();
    RecordProperty("resets", nResets.load());
    RecordProperty("text_calls_applied", nApplied.load());

    EXPECT_EQ(0, nFailures.load());
    EXPECT_GT(nResets.load(), 2);
    EXPECT_GT(nApplied.load(), 10);

    // The controller is intact: a plain request and a save still work.
    ASSERT_TRUE(c.setParamMode(0));
    ASSERT_TRUE(c.setParamScheme(1));
    ispsim::clearCalls();
    EXPECT_EQ(0, c.setParameters(std::string("(34,61)(2337,46)"), true));
    std::vector<SetCall> expected = {{0, 34, 61}, {0, 2337, 46}};
    EXPECT_EQ(expected, setCalls());
    EXPECT_EQ(0, c.flush());
    EXPECT_TRUE(sameBytes(bytesOf(row(c, 1)), readFile(schemePath(1, 1))));
    c.uinit();
}

// The sensor thread's own switches keep going under host load: with the
// clock moving, the scheme follows it between the host's calls.
TEST_F(IntegrationTest, StressSensorThreadSwitchesUnderHostLoad) {
    installDeviceTree("box");
    platform::setClock(3, 0);
    ISensorController c;
    c.setChannelID(1);
    ASSERT_TRUE(c.init(firstModule()));
    setUpSchemes(c, 1);
    captureStdout();
    std::atomic<bool> bStop(false);
    std::thread host([&] {
        std::mt19937 rng(4);
        while (!bStop.load()) {
            c.setParameters("(2321," + std::to_string(rng() % 100) + ")", true);
            std::string strOut;
            c.getParameters("(2321)", strOut);
        }
    });
    bool bAllSeen = true;
    {
        Watchdog watchdog(std::chrono::seconds(60));
        const int kHours[] = {10, 20, 3, 12, 17, 1};
        const int kSchemes[] = {1, 2, 0, 1, 2, 0};
        for (int i = 0; i < 6; ++i) {
            platform::setClock(kHours[i], 0);
            bAllSeen = bAllSeen && waitFor([&] { return scheme(c) == kSchemes[i]; }, 10000);
        }
        bStop = true;
        host.join();
    }
    capturedStdout();
    EXPECT_TRUE(bAllSeen);
    c.uinit();
}

} // namespace
} // namespace integration_test
