#include "bench/day/DaySimulation.h"

#include <time.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <set>

#include "controller/KeyCatalogue.h"
#include "ispsim/ispsim.h"
#include "platform/posix/HostTree.h"
#include "platform/posix/PlatformControl.h"
#include "storage/FileOps.h"
#include "support/CountingFileOps.h"

using namespace tarnix::keys;

namespace tarnix_bench {

namespace {

const long kSecondsPerDay = 24 * 3600;
// Idle passes timed back to back after the day, in blocks of kIdleBlock.
const long kIdleRun = 20000;
const long kIdleBlock = 1000;
// Events whose mismatch is described in the result; the rest are counted.
const size_t kMismatchesKept = 5;

// The key the host keeps adjusting, and the image keys in which the user
// schemes differ from one another.
const u32 kHostKey = KEY_BRIGHTNESS;
const u32 kSchemeKeys[] = {KEY_SATURATION,   KEY_CONTRAST,     KEY_SHARPNESS,    KEY_2D_NR_STRG_A,
                           KEY_2D_NR_STRG_M, KEY_3D_NR_STRG_A, KEY_3D_NR_STRG_M, KEY_R_GAIN,
                           KEY_B_GAIN,       KEY_WB_RG,        KEY_WB_BG};

// The time plan: scheme s holds window s; together they cover the day.
struct Window {
    u32 startHour, startMin, endHour, endMin;
};
const Window kWindows[] = {{0, 0, 6, 0}, {6, 0, 12, 0}, {12, 0, 18, 0}, {18, 0, 24, 0}};
// Keys of the plan's schemes that differ from the factory values (the first
// n of kSchemeKeys, each raised by the scheme's number).
const size_t kTimePlanChanged[] = {0, 5, 8, 11};
static_assert(sizeof(kSchemeKeys) / sizeof(kSchemeKeys[0]) == 11, "scheme 3 of the plan changes every scheme key");

// Dawn and dusk of the day/night variant, in seconds of the day.
const long kDawn = 6 * 3600 + 30 * 60;
const long kDusk = 19 * 3600;

// The value the host sets at its k-th set: a slider that moves every 90 s
// between three positions.
u32 hostValue(long p_nSet) { return 50u + 4u * static_cast<u32>((p_nSet / 9) % 3); }

double threadCpuSeconds() {
    struct timespec ts;
    ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &ts);
    return static_cast<double>(ts.tv_sec) + static_cast<double>(ts.tv_nsec) * 1e-9;
}

// The cost of one reading of the thread's CPU clock (the median of many).
double timerOverhead() {
    std::vector<double> vec;
    for (int i = 0; i < 2001; ++i) {
        const double d0 = threadCpuSeconds();
        const double d1 = threadCpuSeconds();
        vec.push_back(d1 - d0);
    }
    std::nth_element(vec.begin(), vec.begin() + vec.size() / 2, vec.end());
    return vec[vec.size() / 2];
}

std::string pairText(u32 p_nKey, u32 p_nValue) {
    return "(" + std::to_string(p_nKey) + "," + std::to_string(p_nValue) + ")";
}

u32 valueIn(const std::vector<KeyVal>& p_vecRow, u32 p_nKey) {
    for (const KeyVal& stRecord : p_vecRow) {
        if (stRecord.key == p_nKey) {
            return stRecord.value;
        }
    }
    std::fprintf(stderr, "day: key %u is not in the box camera's schemes\n", p_nKey);
    std::exit(1);
}

// Keys in which two rows differ, not counting those kept only in the cache.
long differingKeys(const std::vector<KeyVal>& a, const std::vector<KeyVal>& b) {
    long nDiff = 0;
    for (size_t i = 0; i < a.size() && i < b.size(); ++i) {
        if (a[i].key == b[i].key && a[i].value != b[i].value && !isStoredOnlyKey(a[i].key)) {
            ++nDiff;
        }
    }
    return nDiff;
}

std::string clockText(long p_nSecond) {
    char szText[64];
    std::snprintf(szText, sizeof(szText), "%02ld:%02ld:%02ld", p_nSecond / 3600, p_nSecond / 60 % 60, p_nSecond % 60);
    return szText;
}

void fail(const std::string& p_strWhat) {
    std::fprintf(stderr, "day: %s\n", p_strWhat.c_str());
    std::exit(1);
}

// Counts the simulated ISP's calls: sets (option 0) and everything else.
class IspCounter {
public:
    IspCounter() {
        ispsim::setCallObserver([this](const ispsim::Call& call, const std::vector<uint32_t>&) {
            if (call.opt == 0) {
                ++m_nSets;
            } else {
                ++m_nReads;
            }
        });
    }
    ~IspCounter() { ispsim::setCallObserver(ispsim::CallObserver()); }
    // Calls since the last take; the simulator's call log is emptied too.
    void take(long& p_nSets, long& p_nReads) {
        p_nSets = m_nSets;
        p_nReads = m_nReads;
        m_nSets = 0;
        m_nReads = 0;
        ispsim::clearCalls();
    }

private:
    long m_nSets = 0;
    long m_nReads = 0;
};

class Day {
public:
    Day(const BoxCamera& p_camera, const DayOptions& p_options)
        : m_camera(p_camera), m_options(p_options), m_files(false) {
        m_result.policy = p_options.policy;
    }

    DayResult run() {
        const auto tStart = std::chrono::steady_clock::now();
        tarnix::storage::setFileOps(&m_files);
        m_camera.resetIsp();
        IspCounter objIsp;
        m_pIsp = &objIsp;

        // The evening before: the channel starts at 23:59, by night.
        platform::setClock(23, 59);
        setNight(true);
        initWithoutThread(m_controller, m_camera);
        // From here on this thread runs the passes, one per simulated
        // second; their one-second wait lasts nothing.
        platform::setTimeScale(0.0);
        prepareSchemes();
        pass(-1); // the last pass of the evening puts the night's scheme in force
        takeCounts();
        m_files.take();

        m_result.timerOverheadSeconds = timerOverhead();
        for (long t = 0; t < m_options.passes; ++t) {
            second(t);
        }
        idlePassesInARow();
        m_controller.uinit();
        m_pIsp = nullptr;
        tarnix::storage::setFileOps(nullptr);
        m_result.wallSeconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - tStart).count();
        return m_result;
    }

private:
    void setNight(bool p_bNight) { ispsim::setValue(0, IA_CMD_DN_STATE, p_bNight ? 1u : 0u); }

    int currentScheme() {
        int nScheme = -1;
        m_controller.getParamScheme(nScheme);
        return nScheme;
    }

    void takeCounts() {
        long nSets = 0;
        long nReads = 0;
        m_pIsp->take(nSets, nReads);
    }

    void mismatch(long p_nSecond, const std::string& p_strWhat) {
        ++m_result.mismatchCount;
        if (m_result.mismatches.size() < kMismatchesKept) {
            m_result.mismatches.push_back(clockText(p_nSecond) + " " + p_strWhat);
        }
    }

    void apply(const std::string& p_strText) {
        if (m_controller.setParameters(p_strText, true) != 0) {
            fail("the box camera refused " + p_strText);
        }
    }

    // The user schemes of the day's policy, stored.
    void prepareSchemes() {
        const std::vector<KeyVal> vecFactory = schemeRow(m_controller, schemeCount(m_controller));
        if (m_options.policy == DayPolicy::TimePlan) {
            if (schemeCount(m_controller) < 4) {
                fail("the box camera has fewer than four user schemes");
            }
            for (u32 s = 0; s < 4; ++s) {
                if (!m_controller.setParamScheme(static_cast<int>(s))) {
                    fail("cannot select scheme " + std::to_string(s));
                }
                const Window& w = kWindows[s];
                std::string strText = pairText(KEY_SCHEME_START_HOUR, w.startHour) +
                                      pairText(KEY_SCHEME_START_MIN, w.startMin) +
                                      pairText(KEY_SCHEME_END_HOUR, w.endHour) +
                                      pairText(KEY_SCHEME_END_MIN, w.endMin);
                for (size_t i = 0; i < kTimePlanChanged[s]; ++i) {
                    strText += pairText(kSchemeKeys[i], valueIn(vecFactory, kSchemeKeys[i]) + s);
                }
                apply(strText);
            }
            m_controller.setParamScheme(0);
            apply(pairText(KEY_SCHEME_MODE, 1));
        } else {
            m_controller.setParamScheme(1);
            std::string strText;
            for (u32 nKey : kSchemeKeys) {
                strText += pairText(nKey, valueIn(vecFactory, nKey) + 1);
            }
            apply(strText);
            m_controller.setParamScheme(0);
            apply(pairText(KEY_SCHEME_MODE, 2));
        }
        if (m_controller.flush() != 0) {
            fail("storing the prepared schemes failed");
        }
    }

    // One second of the day: the clock moves on, the ISP sees dawn or dusk,
    // the pass runs, then the host acts.
    void second(long t) {
        const long nOfDay = t % kSecondsPerDay;
        platform::setClock(static_cast<int>(nOfDay / 3600), static_cast<int>(nOfDay / 60 % 60));
        if (m_options.policy == DayPolicy::DayNight) {
            setNight(nOfDay < kDawn || nOfDay >= kDusk);
        }
        pass(nOfDay);
        if (t % m_options.setEvery == 0) {
            hostSet(nOfDay, t / m_options.setEvery);
        }
        if (t % m_options.storeEvery == m_options.storeEvery - 1) {
            store(nOfDay);
        }
    }

    void pass(long p_nSecond) {
        const int nBefore = currentScheme();
        const double d0 = threadCpuSeconds();
        m_controller.sensorThread();
        const double d1 = threadCpuSeconds();
        const int nAfter = currentScheme();
        long nSets = 0;
        long nReads = 0;
        m_pIsp->take(nSets, nReads);
        if (p_nSecond < 0) {
            return; // before the day
        }
        const double dCpu = std::max(0.0, d1 - d0 - m_result.timerOverheadSeconds);
        ++m_result.passes;
        m_result.cpuSeconds += dCpu;

        const long nReadsNeeded = m_options.policy == DayPolicy::DayNight ? 1 : 0;
        m_result.ispRead.add(nReads, nReadsNeeded);
        if (nReads != nReadsNeeded) {
            mismatch(p_nSecond, "pass: " + std::to_string(nReads) + " ISP reads, " + std::to_string(nReadsNeeded) +
                                    " needed");
        }
        if (nBefore == nAfter) {
            ++m_result.idlePasses;
            m_result.cpuIdleSeconds += dCpu;
            m_result.ispOther.add(nSets, 0);
            if (nSets != 0) {
                mismatch(p_nSecond, "idle pass: " + std::to_string(nSets) + " ISP sets");
            }
            return;
        }
        ++m_result.switches;
        const long nDiff = differingKeys(schemeRow(m_controller, static_cast<u32>(nBefore)),
                                         schemeRow(m_controller, static_cast<u32>(nAfter)));
        m_result.ispSwitch.add(nSets, nDiff);
        if (nSets != nDiff) {
            mismatch(p_nSecond, "switch " + std::to_string(nBefore) + " -> " + std::to_string(nAfter) + ": " +
                                    std::to_string(nSets) + " ISP sets, " + std::to_string(nDiff) +
                                    " keys differ");
        }
    }

    void hostSet(long p_nSecond, long p_nSet) {
        const u32 nValue = hostValue(p_nSet);
        u32 nHeld = 0;
        m_controller.getKeyValFromCache(static_cast<u32>(currentScheme()), kHostKey, nHeld);
        const long nNeeded = nHeld != nValue ? 1 : 0;
        apply(pairText(kHostKey, nValue));
        long nSets = 0;
        long nReads = 0;
        m_pIsp->take(nSets, nReads);
        ++m_result.hostSets;
        m_result.hostChanges += nNeeded;
        m_result.ispHost.add(nSets + nReads, nNeeded);
        if (nSets + nReads != nNeeded) {
            mismatch(p_nSecond, "host set: " + std::to_string(nSets + nReads) + " ISP calls, " +
                                    std::to_string(nNeeded) + " needed");
        }
    }

    // Idle passes back to back at the clock the day ended with, timed in
    // blocks: one reading of the CPU clock costs about as much as a pass.
    void idlePassesInARow() {
        const int nScheme = currentScheme();
        long nDone = 0;
        double dCpu = 0;
        while (nDone < kIdleRun) {
            const double d0 = threadCpuSeconds();
            for (long i = 0; i < kIdleBlock; ++i) {
                m_controller.sensorThread();
            }
            dCpu += threadCpuSeconds() - d0;
            nDone += kIdleBlock;
            ispsim::clearCalls();
        }
        long nSets = 0;
        long nReads = 0;
        m_pIsp->take(nSets, nReads);
        if (currentScheme() != nScheme || nSets != 0) {
            fail("the passes after the day were not idle");
        }
        m_result.idleRunPasses = nDone;
        m_result.idleRunSeconds = dCpu;
    }

    // The scheme files whose bytes differ from their cache rows.
    std::set<std::string> changedFiles(long& p_nBytes) {
        std::set<std::string> setFiles;
        p_nBytes = 0;
        for (u32 s = 0; s < schemeCount(m_controller); ++s) {
            const std::vector<KeyVal> vecRow = schemeRow(m_controller, s);
            const std::string strRow(reinterpret_cast<const char*>(vecRow.data()), vecRow.size() * sizeof(KeyVal));
            const std::string strPath = "/mnt/mtd/code/config_file/sensor1_" + std::to_string(s) + ".cfg";
            if (platform::readHostFile(m_camera.host(strPath)) != strRow) {
                setFiles.insert(strPath);
                p_nBytes += static_cast<long>(strRow.size());
            }
        }
        return setFiles;
    }

    void store(long p_nSecond) {
        long nBytesNeeded = 0;
        const std::set<std::string> setNeeded = changedFiles(nBytesNeeded);
        if (m_controller.flush() != 0) {
            fail("flush failed at " + clockText(p_nSecond));
        }
        const tarnix_test::StorageWork stWork = m_files.take();
        long nSets = 0;
        long nReads = 0;
        m_pIsp->take(nSets, nReads);
        ++m_result.stores;
        m_result.storesChanged += setNeeded.empty() ? 0 : 1;
        const long nFiles = static_cast<long>(stWork.placed.size());
        m_result.files.add(nFiles, static_cast<long>(setNeeded.size()));
        m_result.bytes.add(stWork.bytes, nBytesNeeded);
        m_result.syncs += stWork.syncs;
        m_result.dirSyncs += stWork.dirSyncs;
        m_result.ispOther.add(nSets + nReads, 0);
        const std::set<std::string> setPlaced(stWork.placed.begin(), stWork.placed.end());
        if (setPlaced != setNeeded || nFiles != static_cast<long>(setNeeded.size()) || stWork.bytes != nBytesNeeded ||
            stWork.syncs != nFiles || stWork.dirSyncs != nFiles) {
            mismatch(p_nSecond, "store: " + stWork.summary() + ", " + std::to_string(nFiles) + " files put in place; " +
                                    std::to_string(setNeeded.size()) + " files changed");
        }
        if (nSets + nReads != 0) {
            mismatch(p_nSecond, "store: " + std::to_string(nSets + nReads) + " ISP calls");
        }
    }

    const BoxCamera& m_camera;
    const DayOptions m_options;
    tarnix_test::CountingFileOps m_files;
    IspCounter* m_pIsp = nullptr;
    ISensorController m_controller;
    DayResult m_result;
};

} // namespace

const char* policyName(DayPolicy p_ePolicy) { return p_ePolicy == DayPolicy::TimePlan ? "time plan" : "day/night"; }

const char* policyKey(DayPolicy p_ePolicy) { return p_ePolicy == DayPolicy::TimePlan ? "time-plan" : "day-night"; }

Tally DayResult::isp() const {
    Tally stTotal;
    for (const Tally* p : {&ispSwitch, &ispRead, &ispHost, &ispOther}) {
        stTotal.add(p->actual, p->minimum);
    }
    return stTotal;
}

DayResult runDay(const BoxCamera& p_camera, const DayOptions& p_options) {
    std::unique_ptr<Day> pDay(new Day(p_camera, p_options));
    return pDay->run();
}

} // namespace tarnix_bench
