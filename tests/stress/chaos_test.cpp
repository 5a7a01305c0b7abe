// The chaos run: two channels, eight host threads calling every public
// operation of ISensorController in random order with random valid and
// malformed arguments, video modules that call back into either controller
// from their notifications (on host threads and on "SensorThread"), while
// the fake clock and the simulated ISP's day/night state keep flipping.
//
// A watchdog fails the run when any thread makes no progress for 2 s. At the
// end every scheme file holds exactly the bytes of one of the contents that
// were saved to it, and both controllers still work.
//
// TARNIX_STRESS_SECONDS sets the duration (default 30), TARNIX_STRESS_SEED
// the seed (default: from the time; printed, so a run can be repeated).
// scripts/stress.sh runs it for minutes. Under an instruction-set emulator,
// where rebuilding a controller alone takes seconds, the AArch64 script
// widens the watchdog's limit with TARNIX_STRESS_WATCHDOG_MS.
#include <gtest/gtest.h>

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <mutex>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "controller/ApplyGate.h"
#include "controller/KeyCatalogue.h"
#include "integration/integration_fixture.h"
#include "support/CallbackVideoModule.h"
#include "support/ProgressWatchdog.h"
#include "support/RecordingFileOps.h"

namespace stress_test {
namespace {

using Clock = std::chrono::steady_clock;
using Peer = ISensorControllerTestPeer;
using Rng = std::mt19937;

const int kHostThreads = 8;

// Keys the rows hold, keys the library treats specially, and some it does not know.
const int kKeys[] = {34,   2337, 2353, 2384, 2385, 2386, 144,  145,  146,  149,  150,  151,  152,  154,
                     160,  161,  163,  165,  167,  168,  170,  171,  172,  200,  224,  2368, 2369, 112,
                     113,  128,  130,  2400, 2401, 2304, 2305, 2306, 2307, 2308, 2309, 2312, 2313, 49,
                     51,   16,   1536, 1539, 1552, 1568, 1569, 8000, 8001, 8002, 8003, 8004, 8104, 8201,
                     8217, 10,   11,   13,   2416, 0,    -1,   99999};

long long nowMs() {
    return std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now().time_since_epoch()).count();
}

int pick(Rng& rng, int p_nBound) { return static_cast<int>(rng() % static_cast<unsigned>(p_nBound)); }

int randomKey(Rng& rng) {
    return pick(rng, 8) == 0 ? static_cast<int>(rng()) : kKeys[pick(rng, sizeof(kKeys) / sizeof(kKeys[0]))];
}

int randomValue(Rng& rng) {
    switch (pick(rng, 6)) {
    case 0:
        return -1 - pick(rng, 5);
    case 1:
        return static_cast<int>(rng());
    case 2:
        return pick(rng, 2);
    default:
        return pick(rng, 101);
    }
}

// A record text: mostly well formed, sometimes broken in the ways web pages
// break it.
std::string randomText(Rng& rng) {
    std::string strText;
    const int nRecords = pick(rng, 12);
    for (int i = 0; i < nRecords; ++i) {
        switch (pick(rng, 10)) {
        case 0:
            strText += "(" + std::to_string(randomKey(rng)) + ",x)";
            break;
        case 1:
            strText += ")(" + std::to_string(randomKey(rng));
            break;
        case 2:
            strText += "(((,,," + std::string(static_cast<size_t>(pick(rng, 40)), '9');
            break;
        case 3:
            strText += std::string(static_cast<size_t>(pick(rng, 30)), static_cast<char>(' ' + pick(rng, 90)));
            break;
        default:
            strText += "(" + std::to_string(randomKey(rng)) + "," + std::to_string(randomValue(rng)) + ")";
            break;
        }
    }
    return strText;
}

// A key list for getParameters / SensorCheck: well formed or not.
std::string randomIds(Rng& rng) {
    switch (pick(rng, 5)) {
    case 0:
        return "()";
    case 1:
        return randomText(rng);
    case 2:
        return "(" + std::string(static_cast<size_t>(pick(rng, 200)), ',') + ")";
    default: {
        std::string strIds = "(";
        const int n = 1 + pick(rng, 6);
        for (int i = 0; i < n; ++i) {
            strIds += (i > 0 ? "," : "") + std::to_string(randomKey(rng));
        }
        return strIds + ")";
    }
    }
}

// Operation counts, by name.
class Counts {
public:
    void add(const char* p_szName) {
        std::lock_guard<std::mutex> lock(m_mutex);
        ++m_map[p_szName];
    }
    std::map<std::string, long> snapshot() const {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_map;
    }

private:
    mutable std::mutex m_mutex;
    std::map<std::string, long> m_map;
};

struct Channel {
    ISensorController* ctl = nullptr;
    CallbackVideoModule* module = nullptr;
    ModuleConfigure config;
};

class ChaosRun {
public:
    ChaosRun(std::array<Channel, 2>& p_channels, unsigned p_nSeed) : m_channels(p_channels), m_nSeed(p_nSeed) {}

    // One random operation on channel p_nChannel. Inside a callback the
    // operations that rebuild a controller are left out.
    void operate(Rng& rng, int p_nChannel, bool p_bInCallback) {
        ISensorController& c = *m_channels[static_cast<size_t>(p_nChannel)].ctl;
        const int nOps = p_bInCallback ? 31 : 33;
        switch (pick(rng, nOps)) {
        case 0: {
            count("setParameters(text)");
            c.setParameters(randomText(rng), pick(rng, 2) == 0);
            break;
        }
        case 1: {
            count("getParameters");
            std::string strOut;
            c.getParameters(randomIds(rng), strOut);
            break;
        }
        case 2: {
            count("getAllParameters");
            std::string strOut = pick(rng, 2) == 0 ? "" : "(1,1)";
            c.getAllParameters(strOut);
            break;
        }
        case 3: {
            count("setParameter");
            c.setParameter(randomKey(rng), randomValue(rng), pick(rng, 2) == 0);
            break;
        }
        case 4: {
            count("getParameter");
            int v = randomValue(rng);
            c.getParameter(randomKey(rng), v);
            break;
        }
        case 5:
            namedAccessor(rng, c);
            break;
        case 6: {
            count("restore");
            c.restore(randomKey(rng));
            break;
        }
        case 7: {
            count("restoreAeMode");
            c.restoreAeMode();
            break;
        }
        case 8: {
            count("resetToLastParameters");
            c.resetToLastParameters();
            break;
        }
        case 9: {
            count("flush");
            c.flush();
            break;
        }
        case 10: {
            count("setMirrorMode");
            c.setMirrorMode(pick(rng, 5) - 1);
            break;
        }
        case 11: {
            count("setParamScheme");
            c.setParamScheme(pick(rng, 9) - 2);
            break;
        }
        case 12: {
            count("setParamMode");
            c.setParamMode(pick(rng, 8) == 0 ? pick(rng, 5) - 1 : pick(rng, 2));
            break;
        }
        case 13: {
            count("getParamScheme/Mode/SchemeTime");
            int v = 0;
            c.getParamScheme(v);
            c.getParamMode(v);
            c.getParamSchemeTime(7999 + pick(rng, 7));
            break;
        }
        case 14:
            lensOperation(rng, c);
            break;
        case 15: {
            count("shutter");
            int v = 0;
            switch (pick(rng, 4)) {
            case 0:
                c.getShutterValue(v);
                break;
            case 1:
                c.setShutterValue(pick(rng, 40) - 5);
                break;
            case 2:
                c.shutterUp();
                break;
            default:
                c.shutterDown();
                break;
            }
            break;
        }
        case 16: {
            count("getSensorParamRange");
            int nDefault = 0;
            std::string strRange;
            c.getSensorParamRange(randomKey(rng), nDefault, strRange);
            break;
        }
        case 17: {
            count("SensorCheck");
            std::string str = randomIds(rng);
            c.SensorCheck(str);
            break;
        }
        case 18: {
            count("getUICommonFile/LanguageFile");
            c.getUICommonFile(pick(rng, 5) - 1);
            c.getUILanguageFile(pick(rng, 5) - 1);
            break;
        }
        case 19: {
            count("show flags and zoom/focus record");
            bool b = false;
            c.setShowWDRFalg(pick(rng, 4) != 0);
            c.getShowWDRFalg(b);
            c.setShowBeawayFalg(pick(rng, 4) != 0);
            c.getShowBeawayFalg(b);
            SensorZoomFocusParam stParam;
            c.getSensorZoomFocusParam(stParam);
            c.setSensorZoomFocusParam(stParam);
            break;
        }
        case 20: {
            count("setVideoStreamModule");
            c.setVideoStreamModule(pick(rng, 5) == 0 ? nullptr : m_channels[static_cast<size_t>(p_nChannel)].module);
            break;
        }
        case 21: {
            count("doIoCrtl/doIaCmd/notifyToVideo/test_debugParam");
            u32 aBuffer[tarnix::kValueBufferWords] = {};
            aBuffer[0] = static_cast<u32>(randomValue(rng));
            c.doIoCrtl(pick(rng, 2) == 0 ? 8104u : static_cast<unsigned>(randomKey(rng)), 0, aBuffer);
            c.doIaCmd(static_cast<unsigned>(randomKey(rng)), 1, aBuffer);
            c.doIaCmd_User(static_cast<unsigned>(1536 + pick(rng, 80)), 0, aBuffer);
            c.doIaCmdShutter(static_cast<unsigned>(randomKey(rng)), 0, aBuffer);
            c.notifyToVideo(randomKey(rng), randomValue(rng));
            c.test_debugParam(static_cast<unsigned>(randomKey(rng)), 0, aBuffer);
            break;
        }
        case 22: {
            count("getSensorType/Status/paramCheck/findFromKeyCmdMap");
            c.getSensorType();
            c.getSensorStatus();
            c.paramCheck();
            c.printDebugMsg();
            keycmd stRow;
            c.findFromKeyCmdMap(nullptr, static_cast<unsigned>(randomKey(rng)), stRow);
            break;
        }
        case 23: {
            count("switch_to/LPR_switch_to/judgeCurScheme");
            int nScheme = 0;
            int nSchedule = 0;
            c.judgeCurScheme(nScheme, nSchedule);
            if (pick(rng, 2) == 0) {
                c.switch_to(pick(rng, 7) - 1, pick(rng, 2) == 0);
            } else {
                c.LPR_switch_to(pick(rng, 6));
            }
            break;
        }
        case 24: {
            count("sync_fov");
            c.sync_fov();
            break;
        }
        case 25: {
            count("setParameters(records)");
            std::vector<KeyVal> vecRecords(static_cast<size_t>(pick(rng, 6)));
            for (KeyVal& kv : vecRecords) {
                kv.key = static_cast<u32>(randomKey(rng));
                kv.value = static_cast<u32>(randomValue(rng));
            }
            c.setParameters(vecRecords.data(), static_cast<u32>(vecRecords.size()), pick(rng, 2) == 0);
            break;
        }
        case 26:
        case 27:
            // The other channel, as a module for channel 1 may well do.
            operate(rng, 1 - p_nChannel, p_bInCallback);
            break;
        case 28: {
            if (heavyBegin()) {
                count("getUIStyleFile");
                c.getUIStyleFile();
                heavyEnd();
            }
            break;
        }
        case 29: {
            count("keyed handlers");
            if (p_bInCallback && tarnix::ApplyGate::instance().heldByThisThread()) {
                // Inside an operation that holds the lock (not a handler a
                // host called directly): the cache accessors and the
                // handlers that read the cache run under it.
                u32 nValue = static_cast<u32>(randomValue(rng));
                const u32 nScheme = static_cast<u32>(pick(rng, 7));
                c.getKeyValFromCache(nScheme, static_cast<u32>(randomKey(rng)), nValue);
                c.setKeyValToCache(nScheme, static_cast<u32>(randomKey(rng)), nValue, false);
                c.isKeyValSame(KeyVal{static_cast<u32>(randomKey(rng)), nValue});
                c.doMirror(2384, 0, &nValue);
                c.doBeaway(2385, 0, &nValue);
                // Each handler with the commands its table rows give it.
                const unsigned kThrCmds[] = {145, 146, 154};
                c.doDNThr(kThrCmds[pick(rng, 3)], 0, &nValue);
                c.doDNTime(static_cast<unsigned>(149 + pick(rng, 4)), 0, &nValue);
            }
            // Handlers that hand the caller's buffer to the ISP get one that
            // holds any record the ISP exchanges, as doIaCmd's callers do.
            u32 aValue[tarnix::kValueBufferWords] = {};
            aValue[0] = static_cast<u32>(randomValue(rng));
            c.doHwdr(2368, 0, aValue);
            c.doImageAdjust(static_cast<unsigned>(randomKey(rng)), 0, aValue);
            c.doDIS(2416, 0, aValue);
            c.doIaCmd_PanoTuning(static_cast<unsigned>(randomKey(rng)), 0, aValue);
            c.doFisheyeRotate(2386, 0, aValue);
            break;
        }
        case 30: {
            count("setIrLedInfo");
            u32 aInfo[tarnix::kValueBufferWords] = {};
            c.setIrLedInfo(aInfo);
            break;
        }
        case 31: {
            if (heavyBegin()) {
                count("resetParameters");
                c.resetParameters();
                heavyEnd();
            }
            break;
        }
        default: {
            if (heavyBegin()) {
                count("uinit+init");
                c.uinit();
                c.init(m_channels[static_cast<size_t>(p_nChannel)].config);
                heavyEnd();
            }
            break;
        }
        }
    }

    // The module hook: sometimes calls back into a controller.
    void callback(int p_nChannel) {
        thread_local int t_nDepth = 0;
        thread_local Rng t_rng(m_nSeed ^ static_cast<unsigned>(std::hash<std::thread::id>()(std::this_thread::get_id())));
        if (t_nDepth >= 2 || pick(t_rng, 4) != 0 || m_bQuiet.load()) {
            return;
        }
        ++t_nDepth;
        count(currentThreadName() == "SensorThread" ? "callbacks on SensorThread" : "callbacks on host threads");
        operate(t_rng, pick(t_rng, 3) == 0 ? 1 - p_nChannel : p_nChannel, true);
        --t_nDepth;
    }

    void count(const char* p_szName) { m_counts.add(p_szName); }
    const Counts& counts() const { return m_counts; }
    // Callbacks stop calling back (for the final checks).
    void quiet() { m_bQuiet = true; }

private:
    void namedAccessor(Rng& rng, ISensorController& c) {
        count("named accessors");
        int v = randomValue(rng);
        switch (pick(rng, 20)) {
        case 0: c.getDNMode(v); c.setDNMode(v); break;
        case 1: c.getWDRSwitch(v); c.setWDRSwitch(v); break;
        case 2: c.getWDRStrength(v); c.setWDRStrength(v); break;
        case 3: c.getHLCSwitch(v); c.setHLCSwitch(v); break;
        case 4: c.getHLCStrength(v); c.setHLCStrength(v); break;
        case 5: c.getBLCSwitch(v); c.setBLCSwitch(v); break;
        case 6: c.getBLCStrength(v); c.setBLCStrength(v); break;
        case 7: c.getDefogSwitch(v); c.setDefogSwitch(v); break;
        case 8: c.getDefogStrength(v); c.setDefogStrength(v); break;
        case 9: c.get2DSwitch(v); c.set2DSwitch(v); break;
        case 10: c.get2DMode(v); c.set2DMode(v); break;
        case 11: c.get2DAutoMaxStrength(v); c.set2DAutoMaxStrength(v); break;
        case 12: c.get2DManualMaxStrength(v); c.set2DManualMaxStrength(v); break;
        case 13: c.get3DSwitch(v); c.set3DSwitch(v); break;
        case 14: c.get3DMode(v); c.set3DMode(v); break;
        case 15: c.get3DAutoMaxStrength(v); c.set3DAutoMaxStrength(v); break;
        case 16: c.get3DManualMaxStrength(v); c.set3DManualMaxStrength(v); break;
        case 17: c.getBeaway(v); c.setBeaway(v); break;
        default: c.getMirrorValue(v); break;
        }
    }

    void lensOperation(Rng& rng, ISensorController& c) {
        count("lens, iris and light");
        int v = randomValue(rng);
        int w = 0;
        unsigned int u = 0;
        bool b = false;
        std::string s;
        switch (pick(rng, 24)) {
        case 0: c.zoomIn(); c.zoomOut(); break;
        case 1: c.setZoomValue(v); c.getZoomValue(v, w); break;
        case 2: c.setPTZRunState(v); break;
        case 3: c.setFocusValue(v); c.getFocusValue(w); break;
        case 4: c.setFocusMode(v); c.getFocusMode(w); break;
        case 5: c.getFocus(w); c.getAFStatistic(u); break;
        case 6: c.focusFar(); c.focusNear(); break;
        case 7: c.irisUp(); c.irisDown(); break;
        case 8: c.setIrisValue(v); c.getIrisValue(w); break;
        case 9: c.setDNState(v); c.getDNState(w); break;
        case 10: c.getWDR(w); c.setExposureStrategy(v); break;
        case 11: c.getCmdExecStatus(randomKey(rng), w); break;
        case 12: c.setIRSwitch(v); c.getIRSwitch(w); break;
        case 13: c.setWhiteSwitch(v); c.getWhiteSwitch(w); break;
        case 14: c.setWhiteMode(v); c.getWhiteMode(w); break;
        case 15: c.setLightType(v); c.getLightType(w); break;
        case 16: c.getHeatStatus(b); c.getTempValue(w); break;
        case 17: c.getAutoExposureInfo(v, w, v); break;
        default: c.getCameraVerInf(s); break;
        }
    }

    // Rebuilding a controller or its style takes long (longer still under the
    // sanitizers): one such operation at a time, and the next one 250 ms after
    // the last has ended, so that eight threads queueing for the gate stay
    // well inside the watchdog's limit.
    bool heavyBegin() {
        bool bIdle = false;
        if (nowMs() - m_nLastHeavyEnd.load() < 250 || !m_bHeavyRunning.compare_exchange_strong(bIdle, true)) {
            return false;
        }
        return true;
    }
    void heavyEnd() {
        m_nLastHeavyEnd = nowMs();
        m_bHeavyRunning = false;
    }

    std::array<Channel, 2>& m_channels;
    unsigned m_nSeed;
    Counts m_counts;
    std::atomic<long long> m_nLastHeavyEnd{0};
    std::atomic<bool> m_bHeavyRunning{false};
    std::atomic<bool> m_bQuiet{false};
};

// Standard output goes to /dev/null for the run (the library reports every
// malformed request there), and comes back afterwards.
class QuietStdout {
public:
    QuietStdout() {
        std::fflush(stdout);
        m_nSaved = ::dup(1);
        int nNull = ::open("/dev/null", O_WRONLY);
        if (nNull >= 0) {
            ::dup2(nNull, 1);
            ::close(nNull);
        }
    }
    ~QuietStdout() {
        std::fflush(stdout);
        if (m_nSaved >= 0) {
            ::dup2(m_nSaved, 1);
            ::close(m_nSaved);
        }
    }

private:
    int m_nSaved = -1;
};

int envInt(const char* p_szName, int p_nDefault) {
    const char* sz = std::getenv(p_szName);
    if (sz == nullptr || *sz == '\0') {
        return p_nDefault;
    }
    char* pEnd = nullptr;
    long n = std::strtol(sz, &pEnd, 10);
    return (pEnd != nullptr && *pEnd == '\0' && n >= 0 && n < 1000000) ? static_cast<int>(n) : p_nDefault;
}

class ChaosTest : public integration_test::IntegrationTest {};

TEST_F(ChaosTest, TwoChannelsEightHostsAndCallbacksUnderFlippingClockAndDayNight) {
    const int nSeconds = envInt("TARNIX_STRESS_SECONDS", 30);
    const unsigned nSeed = static_cast<unsigned>(
        envInt("TARNIX_STRESS_SEED", static_cast<int>(static_cast<unsigned>(nowMs()) % 1000000u)));
    std::printf("chaos run: seed %u (TARNIX_STRESS_SEED=%u repeats it), %d s, watchdog %d ms\n", nSeed, nSeed,
                nSeconds, envInt("TARNIX_STRESS_WATCHDOG_MS", 2000));
    std::fflush(stdout);
    RecordProperty("seed", static_cast<int>(nSeed));

    installDeviceTree("box");
    platform::setClock(3, 0);
    // A pass every 10 ms: a hundred scheme decisions a second per channel.
    platform::setTimeScale(0.01);
    tarnix_test::RecordingFileOps recorder;
    tarnix::storage::setFileOps(&recorder);

    CallbackVideoModule module1;
    CallbackVideoModule module2;
    std::array<Channel, 2> channels;
    std::unique_ptr<ISensorController> pCtl1(new ISensorController());
    std::unique_ptr<ISensorController> pCtl2(new ISensorController());
    channels[0] = {pCtl1.get(), &module1, firstModule()};
    channels[1] = {pCtl2.get(), &module2, firstModule()};
    ChaosRun run(channels, nSeed);
    module1.setHook([&run](int, int, int) { run.callback(0); });
    module2.setHook([&run](int, int, int) { run.callback(1); });

    for (int i = 0; i < 2; ++i) {
        ISensorController& c = *channels[static_cast<size_t>(i)].ctl;
        c.setChannelID(i + 1);
        c.setVideoStreamModule(channels[static_cast<size_t>(i)].module);
        ASSERT_TRUE(c.init(channels[static_cast<size_t>(i)].config));
        // Windows that the flipping clock moves through, and the time policy.
        c.setParamScheme(1);
        c.setParameters(std::string("(8001,8)(8002,0)(8003,16)(8004,0)(34,20)(2384,1)"), true);
        c.setParamScheme(2);
        c.setParameters(std::string("(8001,16)(8002,0)(8003,24)(8004,0)(34,30)(2384,2)"), true);
        c.setParamScheme(0);
        c.setParameters(std::string("(8001,0)(8002,0)(8003,8)(8004,0)(34,10)(8000,1)"), true);
        EXPECT_EQ(0, c.flush());
    }

    // Threads 0-7: hosts; 8: the clock; 9: the ISP's day/night state.
    std::vector<std::atomic<long>> progress(kHostThreads + 2);
    for (auto& p : progress) {
        p = 0;
    }
    std::vector<std::atomic<long>*> vecWatched;
    for (auto& p : progress) {
        vecWatched.push_back(&p);
    }
    std::atomic<bool> bStop(false);
    {
        QuietStdout quiet;
        tarnix_test::ProgressWatchdog watchdog(vecWatched,
                                               std::chrono::milliseconds(envInt("TARNIX_STRESS_WATCHDOG_MS", 2000)));
        std::vector<std::thread> threads;
        for (int t = 0; t < kHostThreads; ++t) {
            threads.emplace_back([&, t] {
                Rng rng(nSeed * 31u + static_cast<unsigned>(t));
                while (!bStop.load()) {
                    run.operate(rng, pick(rng, 2), false);
                    ++progress[static_cast<size_t>(t)];
                }
            });
        }
        threads.emplace_back([&] {
            Rng rng(nSeed ^ 0x5a5au);
            while (!bStop.load()) {
                platform::setClock(pick(rng, 24), pick(rng, 60));
                ++progress[kHostThreads];
                std::this_thread::sleep_for(std::chrono::milliseconds(3));
            }
        });
        threads.emplace_back([&] {
            Rng rng(nSeed ^ 0xa5a5u);
            while (!bStop.load()) {
                ispsim::setValue(pick(rng, 2), 153, static_cast<uint32_t>(pick(rng, 2)));
                ++progress[kHostThreads + 1];
                std::this_thread::sleep_for(std::chrono::milliseconds(2));
            }
        });
        std::this_thread::sleep_for(std::chrono::seconds(nSeconds));
        bStop = true;
        for (std::thread& t : threads) {
            t.join();
        }
    }
    run.quiet();

    // Operation counts.
    long nTotal = 0;
    std::printf("chaos run: operation counts (seed %u)\n", nSeed);
    for (const auto& entry : run.counts().snapshot()) {
        std::printf("  %-48s %ld\n", entry.first.c_str(), entry.second);
        nTotal += entry.second;
    }
    std::printf("  %-48s %ld\n", "saves put in place", recorder.saves());
    std::fflush(stdout);
    EXPECT_GT(nTotal, 1000);
    std::map<std::string, long> mapCounts = run.counts().snapshot();
    EXPECT_GT(mapCounts["callbacks on host threads"], 0);

    // Every scheme file holds one of the contents saved to it.
    for (int i = 0; i < 2; ++i) {
        ISensorController& c = *channels[static_cast<size_t>(i)].ctl;
        const u32 nSchemeSum = Peer::sysConf(c).nSchemeSum;
        EXPECT_GT(nSchemeSum, 0u);
        for (u32 s = 0; s < nSchemeSum; ++s) {
            const std::string strPath = lifecycle_test::schemePath(i + 1, static_cast<int>(s));
            SCOPED_TRACE(strPath);
            ASSERT_TRUE(fileExists(strPath));
            const std::set<std::string> setVersions = recorder.versionsOf(strPath);
            EXPECT_EQ(1u, setVersions.count(readFile(strPath))) << setVersions.size() << " contents were saved";
            EXPECT_FALSE(fileExists(strPath + ".tmp"));
        }
    }

    // Both controllers still work: a plain request reaches the ISP, a save
    // writes the current scheme's row.
    for (int i = 0; i < 2; ++i) {
        ISensorController& c = *channels[static_cast<size_t>(i)].ctl;
        c.setVideoStreamModule(nullptr);
        ASSERT_TRUE(c.setParamMode(0));
        ASSERT_TRUE(c.setParamScheme(1));
        ispsim::clearCalls();
        EXPECT_EQ(0, c.setParameters(std::string("(34,61)(2337,46)"), false));
        std::vector<tarnix_test::SetCall> vecCalls = tarnix_test::setCalls();
        EXPECT_NE(vecCalls.end(), std::find(vecCalls.begin(), vecCalls.end(), tarnix_test::SetCall{i, 34, 61}));
        EXPECT_NE(vecCalls.end(), std::find(vecCalls.begin(), vecCalls.end(), tarnix_test::SetCall{i, 2337, 46}));
        EXPECT_EQ(0, c.setParameters(std::string("(8001,8)(8002,0)(8003,16)(8004,0)"), true));
        EXPECT_EQ(0, c.flush());
        EXPECT_TRUE(lifecycle_test::sameBytes(lifecycle_test::bytesOf(row(c, 1)),
                                              readFile(lifecycle_test::schemePath(i + 1, 1))));
    }
    pCtl1->uinit();
    pCtl2->uinit();
    pCtl1.reset();
    pCtl2.reset();
    tarnix::storage::setFileOps(nullptr);
}

} // namespace
} // namespace stress_test
