// GThread, PXMutex and the clocks. The sensor thread calls its body again
// and again, each round waiting a second with QuorvelTime; uinit must stop
// it promptly, and resetParameters starts it again on the same object. Every
// public operation holds the controller's PXMutex through a PXMutexManager.
// The time-window policy reads the hour and minute of PXDeviceTime.
#include <atomic>
#include <chrono>
#include <cstdio>
#include <ctime>
#include <memory>
#include <string>
#include <thread>

#include "conformance/PlatformChecks.h"
#include "conformance/PlatformPort.h"

namespace conformance {

namespace {

using Clock = std::chrono::steady_clock;

double msSince(Clock::time_point p_tStart) {
    return std::chrono::duration<double, std::milli>(Clock::now() - p_tStart).count();
}

std::string msText(double p_dMs) {
    char szText[32];
    std::snprintf(szText, sizeof(szText), "%.0f ms", p_dMs);
    return szText;
}

// Waits up to p_dMs for p_fnDone, polling.
template <typename F>
bool waitFor(double p_dMs, F p_fnDone) {
    Clock::time_point tStart = Clock::now();
    while (!p_fnDone()) {
        if (msSince(tStart) > p_dMs) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return true;
}

// The body of the probe thread: counts its rounds, each waiting p_tWait
// through the port.
struct ThreadProbe {
    ThreadProbe(PlatformPort& p_objPort, long p_nSeconds, long p_nMicros)
        : port(&p_objPort), waitSeconds(p_nSeconds), waitMicros(p_nMicros), rounds(0), waiting(false) {}

    PlatformPort* port;
    long waitSeconds;
    long waitMicros;
    std::atomic<int> rounds;
    std::atomic<bool> waiting;

    int body() {
        rounds.fetch_add(1);
        waiting.store(true);
        port->wait(QuorvelTime(waitSeconds, waitMicros));
        waiting.store(false);
        return 0;
    }
};

const char* const kThreadUse = "the sensor thread (\"SensorThread\"): uinit and resetParameters stop it, and the "
                               "controller's shutdown waits as long as the stop takes";

// Longest a stop may take while the body waits; the wait is far longer.
const double kStopLimitMs = 1500.0;

} // namespace

Result checkThreadStop(Context& p_stContext) {
    PlatformPort& port = p_stContext.port;
    // Short rounds: the body must be called again and again.
    {
        ThreadProbe probe(port, 0, 10000);
        std::unique_ptr<GThread> thread = port.makeThread(bind_function(&ThreadProbe::body, &probe), "ConfThread");
        if (!port.threadStart(*thread)) {
            return fail("GThread::start() to succeed", "failure", kThreadUse);
        }
        const bool bRepeated = waitFor(3000, [&probe] { return probe.rounds.load() >= 3; });
        const bool bStopped = port.threadStop(*thread);
        if (!bRepeated) {
            return fail("the body called again and again (3 rounds of 10 ms within 3 s)",
                        std::to_string(probe.rounds.load()) + " rounds", kThreadUse);
        }
        if (!bStopped) {
            return fail("GThread::stop() to return true", "false", kThreadUse);
        }
        const int nAfterStop = probe.rounds.load();
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        if (probe.rounds.load() != nAfterStop) {
            return fail("no round after stop() returned", "more rounds", kThreadUse);
        }
    }
    // A long wait in progress: stop() must end it.
    ThreadProbe probe(port, 4, 0);
    std::unique_ptr<GThread> thread = port.makeThread(bind_function(&ThreadProbe::body, &probe), "ConfThread");
    for (int nStart = 1; nStart <= 2; ++nStart) {
        const int nRoundsBefore = probe.rounds.load();
        if (!port.threadStart(*thread)) {
            return fail(nStart == 1 ? "GThread::start() to succeed"
                                    : "GThread::start() to succeed again after stop() (resetParameters does this)",
                        "failure", kThreadUse);
        }
        if (!waitFor(3000, [&] { return probe.waiting.load() && probe.rounds.load() > nRoundsBefore; })) {
            port.threadStop(*thread);
            return fail("the body to start within 3 s", "it did not run", kThreadUse);
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        Clock::time_point tStop = Clock::now();
        const bool bStopped = port.threadStop(*thread);
        const double dMs = msSince(tStop);
        if (dMs > kStopLimitMs) {
            return fail("GThread::stop() to return within " + msText(kStopLimitMs) +
                            " while the body waits 4 s in QuorvelTime::wait",
                        "it took " + msText(dMs) + ": the stop does not interrupt the wait", kThreadUse);
        }
        if (!bStopped) {
            return fail("GThread::stop() to return true", "false", kThreadUse);
        }
    }
    return ok();
}

Result checkMutex(Context& p_stContext) {
    PlatformPort& port = p_stContext.port;
    const char* const kUse = "m_paramMutex, which every public operation holds for its whole run: two host calls "
                             "would change the scheme cache at once";
    // Two threads, each holding the lock for a while in every round: no
    // round may overlap another.
    {
        PXMutex mutex;
        std::atomic<int> nInside(0);
        std::atomic<int> nOverlaps(0);
        std::atomic<int> nReady(0);
        const int kRounds = 100;
        auto worker = [&] {
            nReady.fetch_add(1);
            while (nReady.load() < 2) {
                std::this_thread::yield();
            }
            for (int i = 0; i < kRounds; ++i) {
                port.lock(mutex, "ISensorController.cpp", __LINE__);
                if (nInside.fetch_add(1) != 0) {
                    nOverlaps.fetch_add(1);
                }
                std::this_thread::sleep_for(std::chrono::microseconds(100));
                nInside.fetch_sub(1);
                port.unlock(mutex, "ISensorController.cpp", __LINE__);
            }
        };
        std::thread first(worker);
        std::thread second(worker);
        first.join();
        second.join();
        if (nOverlaps.load() != 0) {
            return fail("PXMutex to let one thread in at a time (" + std::to_string(2 * kRounds) + " rounds)",
                        std::to_string(nOverlaps.load()) + " rounds with both threads inside", kUse);
        }
    }
    // Lock, then a guard that unlocks at the end of its scope, then again:
    // the library takes the mutex once per operation, never twice on one
    // thread. A second thread must get the lock after each release. The
    // mutex is left allocated if a thread stays blocked on it.
    // The flags are shared with the helper threads, which outlive this
    // check when they stay blocked.
    PXMutex* pMutex = new PXMutex();
    auto pDone = std::make_shared<std::atomic<bool>>(false);
    std::thread holder([&port, pMutex, pDone] {
        for (int i = 0; i < 2; ++i) {
            port.lock(*pMutex, "ISensorController.cpp", __LINE__);
            PXMutexManager guard(pMutex, "ISensorController.cpp", __LINE__);
        }
        pDone->store(true);
    });
    if (!waitFor(2000, [pDone] { return pDone->load(); })) {
        holder.detach();
        return fail("Lock() then a PXMutexManager guard to release the mutex at the end of the guard's scope, so "
                    "that the next Lock() succeeds",
                    "the second Lock() blocks", kUse);
    }
    holder.join();
    auto pOther = std::make_shared<std::atomic<bool>>(false);
    std::thread other([&port, pMutex, pOther] {
        port.lock(*pMutex, "ISensorController.cpp", __LINE__);
        port.unlock(*pMutex, "ISensorController.cpp", __LINE__);
        pOther->store(true);
    });
    if (!waitFor(2000, [pOther] { return pOther->load(); })) {
        other.detach();
        return fail("another thread to get the mutex after the guard released it", "it stays blocked", kUse);
    }
    other.join();
    delete pMutex;
    return ok();
}

Result checkTimeWait(Context& p_stContext) {
    PlatformPort& port = p_stContext.port;
    const char* const kUse = "the sensor thread's one-second round and the short pauses of the scheme setters "
                             "(0.5 s) and of getUIStyleFile (50 ms)";
    struct Case {
        long seconds;
        long micros;
        double ms;
    };
    const Case aCases[] = {{0, 50000, 50.0}, {0, 200000, 200.0}};
    for (const Case& c : aCases) {
        Clock::time_point tStart = Clock::now();
        port.wait(QuorvelTime(c.seconds, c.micros));
        const double dMs = msSince(tStart);
        if (dMs < c.ms * 0.9 || dMs > c.ms + 500.0) {
            return fail("QuorvelTime(" + std::to_string(c.seconds) + ", " + std::to_string(c.micros) +
                            ").wait to take about " + msText(c.ms),
                        msText(dMs), kUse);
        }
    }
    return ok();
}

namespace {

bool validTime(const PXDateTime& p_stTime) {
    return p_stTime.year >= 1970 && p_stTime.month >= 1 && p_stTime.month <= 12 && p_stTime.day >= 1 &&
           p_stTime.day <= 31 && p_stTime.hour >= 0 && p_stTime.hour <= 23 && p_stTime.minute >= 0 &&
           p_stTime.minute <= 59 && p_stTime.second >= 0 && p_stTime.second <= 60;
}

std::string timeText(const PXDateTime& p_stTime) {
    char szText[64];
    std::snprintf(szText, sizeof(szText), "%04d-%02d-%02d %02d:%02d:%02d", p_stTime.year, p_stTime.month, p_stTime.day,
                  p_stTime.hour, p_stTime.minute, p_stTime.second);
    return szText;
}

long long secondsOf(const PXDateTime& p_stTime) {
    struct tm stTm = {};
    stTm.tm_year = p_stTime.year - 1900;
    stTm.tm_mon = p_stTime.month - 1;
    stTm.tm_mday = p_stTime.day;
    stTm.tm_hour = p_stTime.hour;
    stTm.tm_min = p_stTime.minute;
    stTm.tm_sec = p_stTime.second;
    return static_cast<long long>(timegm(&stTm));
}

const char* const kClockUse = "the time-window scheme policy (judgeCurScheme reads the hour and minute every "
                              "second) and the time stamps of the error log";

} // namespace

Result checkClock(Context& p_stContext) {
    PlatformPort& port = p_stContext.port;
    const PXDateTime stFirst = port.now();
    std::this_thread::sleep_for(std::chrono::milliseconds(1100));
    const PXDateTime stSecond = port.now();
    if (!validTime(stFirst) || !validTime(stSecond)) {
        return fail("a valid date and time from PXDeviceTime::getCurrentTime()",
                    timeText(validTime(stFirst) ? stSecond : stFirst), kClockUse);
    }
    const long long nStep = secondsOf(stSecond) - secondsOf(stFirst);
    if (nStep < 1 || nStep > 3) {
        return fail("PXDeviceTime to move forward by about 1 s over 1.1 s",
                    timeText(stFirst) + " then " + timeText(stSecond), kClockUse);
    }
    return ok(timeText(stSecond));
}

Result checkFakeClock(Context& p_stContext) {
    PlatformPort& port = p_stContext.port;
    const PortControls& controls = port.controls();
    if (!controls.available || controls.setClock == nullptr || controls.clearClock == nullptr ||
        controls.setTimeScale == nullptr) {
        return skip("the port offers no fixed clock or time scale");
    }
    const char* const kUse = "hermetic tests and scripted sessions on this port (fixed time of day, fast waits)";
    const int aTimes[][2] = {{7, 45}, {23, 59}, {0, 0}};
    for (const auto& time : aTimes) {
        controls.setClock(time[0], time[1]);
        PXDateTime stNow = port.now();
        if (stNow.hour != time[0] || stNow.minute != time[1]) {
            controls.clearClock();
            return fail("PXDeviceTime to report the fixed clock " + std::to_string(time[0]) + ":" +
                            std::to_string(time[1]),
                        timeText(stNow), kUse);
        }
    }
    controls.clearClock();
    std::time_t tNow = std::time(nullptr);
    struct tm stLocal = {};
    localtime_r(&tNow, &stLocal);
    PXDateTime stNow = port.now();
    const int nDiff = (stNow.hour * 60 + stNow.minute) - (stLocal.tm_hour * 60 + stLocal.tm_min);
    if (nDiff < -1 || nDiff > 1) {
        return fail("PXDeviceTime back on local time after the fixed clock is cleared", timeText(stNow), kUse);
    }
    controls.setTimeScale(0.01);
    Clock::time_point tStart = Clock::now();
    port.wait(QuorvelTime(1, 0));
    const double dMs = msSince(tStart);
    controls.setTimeScale(1.0);
    if (dMs < 5.0 || dMs > 500.0) {
        return fail("a 1 s wait at time scale 0.01 to take about 10 ms", msText(dMs), kUse);
    }
    return ok();
}

} // namespace conformance
