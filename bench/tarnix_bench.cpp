// Benchmarks of the controller's main operations on channel 1 of the sample
// box camera (devices/box), with the simulated ISP behind it.
//
// Every benchmark times the library operation and, in the same loop, a
// baseline of the work the operation cannot avoid: the very ISP calls it
// made, sent raw through ia_ioctrl_v2 (recorded once, replayed each
// iteration), and TinyXML parsing the style texts it has to read. The
// reported time is the library's (manual timing); the counters give the
// baseline per iteration (base_us) and the ratio library / baseline (ratio),
// plus the ISP calls per operation (isp_calls) and, for the scheme switch,
// the number of keys in which the two schemes differ (diff_keys). A summary
// table follows the benchmark output.
//
// Waits of the platform are scaled by 0.001 (platform::setTimeScale), so the
// one-second sleep at the start of the sensor thread's pass, which init runs
// once synchronously, lasts 1 ms.
#include <benchmark/benchmark.h>
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ext/stdio_filebuf.h>
#include <fstream>
#include <iostream>
#include <map>
#include <memory>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include <tinyxml.h>

#include "bench/support/BoxCamera.h"
#include "controller/ISensorController.h"
#include "controller/KeyCatalogue.h"
#include "engine/KeyValText.h"
#include "ispsim/ispsim.h"
#include "platform/GThread.h"
#include "platform/QuorvelTime.h"
#include "platform/ia_ioctrl.h"
#include "platform/posix/HostTree.h"
#include "platform/posix/PlatformControl.h"

using namespace tarnix::keys;

namespace {

using Clock = std::chrono::steady_clock;

const double kTimeScale = 0.001;

// ---------------------------------------------------------------- files

using platform::readHostFile;


// ---------------------------------------------------------------- device

// A private copy of the box camera's tree as the device root, its simulator
// profile loaded and its module configuration read (bench/support), with the
// platform's waits scaled down.
class Device {
public:
    static Device& instance() {
        static Device* s_pDevice = new Device; // lives until exit
        return *s_pDevice;
    }

    const ModuleConfigure& module() const { return m_pCamera->module(); }
    std::string host(const std::string& p_strDevicePath) const { return m_pCamera->host(p_strDevicePath); }
    // The ISP in its power-on state.
    void resetIsp() const { m_pCamera->resetIsp(); }
    // Removes the device root (unless TARNIX_KEEP_ROOT is set).
    void cleanUp() { m_pCamera.reset(); }

private:
    Device() : m_pCamera(new tarnix_bench::BoxCamera) { platform::setTimeScale(kTimeScale); }

    std::unique_ptr<tarnix_bench::BoxCamera> m_pCamera;
};

// An initialised controller of channel 1; uinit and destroyed at scope end.
class Controller {
public:
    explicit Controller(bool p_bAutoSwitch = false) : m_pController(new ISensorController) {
        Device::instance().resetIsp();
        m_pController->setChannelID(1);
        m_pController->init(Device::instance().module());
        if (!p_bAutoSwitch) {
            m_pController->setParamMode(0); // no scheme switches from the sensor thread
        }
    }
    ~Controller() { m_pController->uinit(); }
    ISensorController* operator->() { return m_pController.get(); }
    ISensorController& operator*() { return *m_pController; }

private:
    std::unique_ptr<ISensorController> m_pController;
};

// ---------------------------------------------------------------- baseline

// ISP calls recorded from the simulator's log and sent again as they were.
class IspReplay {
public:
    IspReplay() {}
    explicit IspReplay(const std::vector<ispsim::Call>& p_vecCalls) : m_vecCalls(p_vecCalls) {}
    size_t size() const { return m_vecCalls.size(); }
    void run() const {
        for (const ispsim::Call& stCall : m_vecCalls) {
            std::memset(m_aBuffer, 0, sizeof(m_aBuffer));
            size_t nWords = stCall.data.size() < kWords ? stCall.data.size() : kWords;
            if (nWords > 0) {
                std::memcpy(m_aBuffer, stCall.data.data(), nWords * sizeof(uint32_t));
            }
            ia_ioctrl_v2(stCall.channel, static_cast<ia_cmd_e>(stCall.cmd), stCall.opt, m_aBuffer);
        }
    }

private:
    static const size_t kWords = 128; // larger than every ISP record
    std::vector<ispsim::Call> m_vecCalls;
    mutable uint32_t m_aBuffer[kWords];
};

// TinyXML parsing texts from memory, nothing else.
void parseXml(const std::vector<std::string>& p_vecTexts) {
    for (const std::string& strText : p_vecTexts) {
        TiXmlDocument doc;
        doc.Parse(strText.c_str(), nullptr, TIXML_ENCODING_UTF8);
        benchmark::DoNotOptimize(doc.RootElement());
    }
}

template <typename F>
double timed(F p_fn) {
    Clock::time_point t0 = Clock::now();
    p_fn();
    return std::chrono::duration<double>(Clock::now() - t0).count();
}

// Sums of one benchmark run: library and baseline seconds.
struct Pair {
    double dLib = 0;
    double dBase = 0;
    void finish(benchmark::State& p_state) const {
        double dIters = static_cast<double>(p_state.iterations());
        if (dIters > 0) {
            p_state.counters["base_us"] = dBase / dIters * 1e6;
            p_state.counters["ratio"] = dBase > 0 ? dLib / dBase : 0;
        }
    }
};

std::vector<KeyVal> parseRecords(const std::string& p_strText) {
    std::vector<KeyVal> vec(keyval_count(p_strText));
    u32 nCount = 0;
    keyval_str2st(p_strText, vec.data(), &nCount, static_cast<u32>(vec.size()));
    vec.resize(nCount);
    return vec;
}

std::string keyList(const std::vector<KeyVal>& p_vecRecords) {
    std::string strText = "(";
    for (size_t i = 0; i < p_vecRecords.size(); ++i) {
        strText += (i == 0 ? "" : ",") + std::to_string(p_vecRecords[i].key);
    }
    return strText + ")";
}

// The whole current scheme as record text.
std::string currentScheme(ISensorController& p_controller) {
    std::string strText;
    p_controller.getAllParameters(strText);
    return strText;
}

// ---------------------------------------------------------------- benchmarks

// setParameters(text, false) of the full current scheme: every record goes to
// its handler and the ISP, none is skipped.
void BM_SetParametersFullScheme(benchmark::State& state) {
    Controller c;
    const std::string strScheme = currentScheme(*c);
    ispsim::clearCalls();
    if (c->setParameters(strScheme, false) != 0) {
        state.SkipWithError("the full scheme did not apply");
        return;
    }
    const IspReplay replay(ispsim::calls());
    Pair pair;
    for (auto _ : state) {
        ispsim::clearCalls();
        double dLib = timed([&] { benchmark::DoNotOptimize(c->setParameters(strScheme, false)); });
        state.SetIterationTime(dLib);
        pair.dLib += dLib;
        ispsim::clearCalls();
        pair.dBase += timed([&] { replay.run(); });
    }
    pair.finish(state);
    state.counters["records"] = static_cast<double>(keyval_count(strScheme));
    state.counters["isp_calls"] = static_cast<double>(replay.size());
}

// setParameters(text, true) of the same scheme as cached: every record is
// skipped. The baseline is parsing the text into records.
void BM_SetParametersUnchanged(benchmark::State& state) {
    Controller c;
    const std::string strScheme = currentScheme(*c);
    ispsim::clearCalls();
    c->setParameters(strScheme, true);
    const size_t nCalls = ispsim::calls().size();
    std::vector<KeyVal> vecWork(keyval_count(strScheme));
    Pair pair;
    for (auto _ : state) {
        double dLib = timed([&] { benchmark::DoNotOptimize(c->setParameters(strScheme, true)); });
        state.SetIterationTime(dLib);
        pair.dLib += dLib;
        pair.dBase += timed([&] {
            u32 nCount = 0;
            keyval_str2st(strScheme, vecWork.data(), &nCount, static_cast<u32>(vecWork.size()));
            benchmark::DoNotOptimize(nCount);
        });
    }
    ispsim::clearCalls();
    pair.finish(state);
    state.counters["records"] = static_cast<double>(vecWork.size());
    state.counters["isp_calls"] = static_cast<double>(nCalls);
}

// Image keys whose values the scheme switch benchmark changes in scheme 1.
const u32 kSwitchKeys[] = {KEY_BRIGHTNESS,   KEY_SATURATION,   KEY_CONTRAST,     KEY_SHARPNESS,
                           KEY_2D_NR_STRG_A, KEY_2D_NR_STRG_M, KEY_3D_NR_STRG_A, KEY_3D_NR_STRG_M,
                           KEY_R_GAIN,       KEY_B_GAIN,       KEY_WB_RG,        KEY_WB_BG};

// setParamScheme back and forth between schemes 0 and 1, which differ in the
// image keys above: the switch applies only the keys that differ.
void BM_SchemeSwitchDifferential(benchmark::State& state) {
    Controller c;
    const std::vector<KeyVal> vecScheme = parseRecords(currentScheme(*c));
    std::string strChange;
    for (const KeyVal& stRecord : vecScheme) {
        for (u32 nKey : kSwitchKeys) {
            if (stRecord.key == nKey) {
                strChange += "(" + std::to_string(nKey) + "," + std::to_string(stRecord.value + 1) + ")";
            }
        }
    }
    c->setParamScheme(1);
    c->setParameters(strChange, true);

    // Differing keys, read through the public interface in both schemes.
    const std::string strKeys = keyList(vecScheme);
    std::string strIn1;
    std::string strIn0;
    c->getParameters(strKeys, strIn1);
    c->setParamScheme(0);
    c->getParameters(strKeys, strIn0);
    const std::vector<KeyVal> vec1 = parseRecords(strIn1);
    const std::vector<KeyVal> vec0 = parseRecords(strIn0);
    size_t nDiff = 0;
    for (size_t i = 0; i < vec0.size() && i < vec1.size(); ++i) {
        nDiff += (vec0[i].key == vec1[i].key && vec0[i].value != vec1[i].value) ? 1 : 0;
    }

    ispsim::clearCalls();
    c->setParamScheme(1);
    const IspReplay replayTo1(ispsim::calls());
    ispsim::clearCalls();
    c->setParamScheme(0);
    const IspReplay replayTo0(ispsim::calls());

    Pair pair;
    int nTarget = 1;
    for (auto _ : state) {
        ispsim::clearCalls();
        double dLib = timed([&] { benchmark::DoNotOptimize(c->setParamScheme(nTarget)); });
        state.SetIterationTime(dLib);
        pair.dLib += dLib;
        ispsim::clearCalls();
        const IspReplay& replay = nTarget == 1 ? replayTo1 : replayTo0;
        pair.dBase += timed([&] { replay.run(); });
        nTarget = 1 - nTarget;
    }
    ispsim::clearCalls();
    pair.finish(state);
    state.counters["diff_keys"] = static_cast<double>(nDiff);
    state.counters["isp_calls"] = static_cast<double>(replayTo1.size() + replayTo0.size()) / 2.0;
}

// The style texts init reads: the base style and its diversity file.
std::vector<std::string> initStyleTexts() {
    Device& d = Device::instance();
    return {readHostFile(d.host("/hd1/moduleConfig/sensorConfig/style/Style.xml")),
            readHostFile(d.host("/hd1/moduleConfig/sensorConfig/styleDiversity/StyleDiversity.xml"))};
}

// init of channel 1 with its scheme files present (the state after the first
// start of a camera). The baseline parses the style and diversity texts and
// replays init's ISP calls; an init on an up-to-date device writes no file
// (its saves find the bytes already there). uinit runs outside the timing.
void BM_Init(benchmark::State& state) {
    Device::instance().resetIsp();
    const std::vector<std::string> vecTexts = initStyleTexts();
    ISensorController c;
    c.setChannelID(1);
    c.init(Device::instance().module()); // creates the scheme files
    c.uinit();
    ispsim::clearCalls();
    c.init(Device::instance().module());
    const IspReplay replay(ispsim::calls());
    c.uinit();
    Pair pair;
    for (auto _ : state) {
        ispsim::clearCalls();
        double dLib = timed([&] { benchmark::DoNotOptimize(c.init(Device::instance().module())); });
        state.SetIterationTime(dLib);
        pair.dLib += dLib;
        c.uinit();
        ispsim::clearCalls();
        pair.dBase += timed([&] {
            parseXml(vecTexts);
            replay.run();
        });
    }
    ispsim::clearCalls();
    pair.finish(state);
    state.counters["isp_calls"] = static_cast<double>(replay.size());
    state.counters["sleep_us"] = 1e6 * kTimeScale; // the scaled wait of the synchronous pass
}

std::atomic<bool> g_bIdleWaiting(false);

int idleThreadBody() {
    g_bIdleWaiting = true;
    QuorvelTime::wait(QuorvelTime(1, 0));
    return 0;
}

// Lets a freshly started thread reach its wait, as it has long done when a
// host shuts a channel down.
void settle() { ::usleep(static_cast<useconds_t>(2 * 1e6 * kTimeScale)); }

// uinit of an initialised channel 1: stopping the sensor thread and freeing
// the arrays. The baseline stops a bare platform thread that waits like the
// sensor thread (the thread stop is the part uinit cannot avoid).
void BM_Uinit(benchmark::State& state) {
    Device::instance().resetIsp();
    ISensorController c;
    c.setChannelID(1);
    GThread objIdle(function<int>(&idleThreadBody), "IdleThread", function<int>(&GThread::emptyFun),
                    function<int>(&GThread::emptyFun));
    Pair pair;
    for (auto _ : state) {
        c.init(Device::instance().module());
        settle();
        ispsim::clearCalls();
        double dLib = timed([&] { c.uinit(); });
        state.SetIterationTime(dLib);
        pair.dLib += dLib;
        g_bIdleWaiting = false;
        objIdle.start();
        while (!g_bIdleWaiting.load()) {
            std::this_thread::yield();
        }
        settle();
        pair.dBase += timed([&] { objIdle.stop(); });
    }
    ispsim::clearCalls();
    pair.finish(state);
}

// Times p_fnLib against a baseline that parses the merged style and replays
// the ISP calls recorded since the caller last cleared the call log (the
// calls one run of p_fnLib makes).
template <typename Fn>
void timeAgainstStyleReplay(benchmark::State& state, Fn p_fnLib) {
    const std::vector<std::string> vecTexts = {readHostFile(Device::instance().host("/tmp/merge_style_ch1.xml"))};
    const IspReplay replay(ispsim::calls());
    Pair pair;
    for (auto _ : state) {
        ispsim::clearCalls();
        double dLib = timed(p_fnLib);
        state.SetIterationTime(dLib);
        pair.dLib += dLib;
        ispsim::clearCalls();
        pair.dBase += timed([&] {
            parseXml(vecTexts);
            replay.run();
        });
    }
    ispsim::clearCalls();
    pair.finish(state);
    state.counters["isp_calls"] = static_cast<double>(replay.size());
}

// getUIStyleFile: the merged style narrowed to the ISP's ranges. The
// baseline parses the merged style and replays the ISP's range queries.
void BM_GetUIStyleFile(benchmark::State& state) {
    Controller c;
    ispsim::clearCalls();
    const size_t nLen = c->getUIStyleFile().size();
    timeAgainstStyleReplay(state, [&] { benchmark::DoNotOptimize(c->getUIStyleFile()); });
    state.counters["style_bytes"] = static_cast<double>(nLen);
}

// getAllParameters: the current scheme as text, corrected to the ISP's
// ranges. The baseline parses the merged style and replays the corrections.
void BM_GetAllParameters(benchmark::State& state) {
    Controller c;
    ispsim::clearCalls();
    const size_t nRecords = keyval_count(currentScheme(*c));
    timeAgainstStyleReplay(state, [&] {
        std::string strOut;
        benchmark::DoNotOptimize(c->getAllParameters(strOut));
    });
    state.counters["records"] = static_cast<double>(nRecords);
}

BENCHMARK(BM_SetParametersFullScheme)->UseManualTime()->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_SetParametersUnchanged)->UseManualTime()->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_SchemeSwitchDifferential)->UseManualTime()->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_Init)->UseManualTime()->Unit(benchmark::kMicrosecond);
// A fixed count: every iteration needs an untimed init, far longer than uinit.
BENCHMARK(BM_Uinit)->UseManualTime()->Unit(benchmark::kMicrosecond)->Iterations(200);
BENCHMARK(BM_GetUIStyleFile)->UseManualTime()->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_GetAllParameters)->UseManualTime()->Unit(benchmark::kMicrosecond);

// ---------------------------------------------------------------- decision record

// One idle sensor-thread pass under a time plan whose window holds the clock
// (the pass compares the windows and changes nothing), timed on the
// benchmark's thread without the pass's one-second sleep, in three set-ups:
// 0 nothing records the decision (no observer, history off), 1 the history
// keeps it (the default), 2 an observer is called as well. Baseline: the
// clock read the pass cannot do without.
void BM_IdleSensorPass(benchmark::State& state) {
    Controller c(true);
    c->setParameters(std::string("(8000,1)"), true); // scheme 0: time plan, window 00:00-24:00
    // The controller's own thread goes to sleep for good (stop() wakes it),
    // so that only the benchmark's passes run while the time scale is 0.
    platform::setTimeScale(1e6);
    ::usleep(50000);
    const int nSetup = static_cast<int>(state.range(0));
    c->setDecisionHistorySize(nSetup == 0 ? 0 : 256); // 256: the default
    std::atomic<unsigned long long> nSeen(0);
    if (nSetup == 2) {
        c->setDecisionObserver([&nSeen](const tarnix::DecisionRecord&) { nSeen.fetch_add(1); });
    }
    platform::setTimeScale(0);
    Pair pair;
    for (auto _ : state) {
        double dLib = timed([&] { benchmark::DoNotOptimize(c->sensorThread()); });
        state.SetIterationTime(dLib);
        pair.dLib += dLib;
        pair.dBase += timed([&] { benchmark::DoNotOptimize(PXDeviceTime::getCurrentTime()); });
    }
    platform::setTimeScale(kTimeScale);
    c->setDecisionObserver(nullptr);
    pair.finish(state);
    state.counters["observed"] = static_cast<double>(nSeen.load());
    int nScheme = -1;
    c->getParamScheme(nScheme);
    if (nScheme != 0) {
        state.SkipWithError("the idle pass switched schemes");
    }
}

BENCHMARK(BM_IdleSensorPass)->Arg(0)->Arg(1)->Arg(2)->UseManualTime()->Unit(benchmark::kMicrosecond);

// ---------------------------------------------------------------- output

// Console output as usual, and a summary table of library time, baseline
// and ratio per benchmark (the median when repetitions are asked for).
class SummaryReporter : public benchmark::ConsoleReporter {
public:
    explicit SummaryReporter(bool p_bColour) : benchmark::ConsoleReporter(p_bColour ? OO_ColorTabular : OO_Tabular) {}

    void ReportRuns(const std::vector<Run>& p_vecRuns) override {
        for (const Run& run : p_vecRuns) {
            if (run.error_occurred) {
                m_mapErrors[run.run_name.function_name] = run.error_message;
                continue;
            }
            bool bAggregate = run.run_type == Run::RT_Aggregate;
            if (bAggregate && run.aggregate_name != "median") {
                continue;
            }
            Row& row = m_mapRows[run.run_name.function_name];
            if (row.bFromMedian && !bAggregate) {
                continue;
            }
            row.bFromMedian = bAggregate;
            row.dLibUs = run.GetAdjustedRealTime(); // microseconds (the benchmarks' unit)
            row.counters.clear();
            for (const auto& entry : run.counters) {
                row.counters[entry.first] = entry.second.value;
            }
            if (std::find(m_vecOrder.begin(), m_vecOrder.end(), run.run_name.function_name) == m_vecOrder.end()) {
                m_vecOrder.push_back(run.run_name.function_name);
            }
        }
        benchmark::ConsoleReporter::ReportRuns(p_vecRuns);
    }

    void printSummary(std::ostream& p_out) const {
        char szLine[256];
        p_out << "\nSummary (library time, baseline of unavoidable work, ratio)\n";
        std::snprintf(szLine, sizeof(szLine), "%-30s %12s %12s %8s %10s %10s\n", "benchmark", "library us",
                      "baseline us", "ratio", "isp_calls", "diff_keys");
        p_out << szLine;
        for (const std::string& strName : m_vecOrder) {
            const Row& row = m_mapRows.at(strName);
            std::snprintf(szLine, sizeof(szLine), "%-30s %12.1f %12.1f %8.2f %10s %10s\n", strName.c_str(),
                          row.dLibUs, row.counter("base_us"), row.counter("ratio"), row.text("isp_calls").c_str(),
                          row.text("diff_keys").c_str());
            p_out << szLine;
        }
        for (const auto& entry : m_mapErrors) {
            p_out << entry.first << ": ERROR " << entry.second << "\n";
        }
        p_out.flush();
    }

    bool failed() const { return !m_mapErrors.empty(); }

private:
    struct Row {
        bool bFromMedian = false;
        double dLibUs = 0;
        std::map<std::string, double> counters;
        double counter(const std::string& p_strName) const {
            auto it = counters.find(p_strName);
            return it == counters.end() ? 0 : it->second;
        }
        std::string text(const std::string& p_strName) const {
            auto it = counters.find(p_strName);
            if (it == counters.end()) {
                return "-";
            }
            char szValue[32];
            std::snprintf(szValue, sizeof(szValue), "%.1f", it->second);
            return szValue;
        }
    };
    std::map<std::string, Row> m_mapRows;
    std::vector<std::string> m_vecOrder;
    std::map<std::string, std::string> m_mapErrors;
};

} // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return 1;
    }
    // The library prints on standard output (values read, trace lines); that
    // goes to /dev/null, and the report to the original standard output.
    std::fflush(stdout);
    int nReportFd = ::dup(STDOUT_FILENO);
    int nNull = ::open("/dev/null", O_WRONLY);
    if (nReportFd < 0 || nNull < 0 || ::dup2(nNull, STDOUT_FILENO) < 0) {
        std::perror("tarnix_bench: redirecting stdout");
        return 1;
    }
    ::close(nNull);
    __gnu_cxx::stdio_filebuf<char> reportBuf(nReportFd, std::ios::out);
    std::ostream report(&reportBuf);

    Device::instance();
    SummaryReporter reporter(::isatty(nReportFd) != 0);
    reporter.SetOutputStream(&report);
    reporter.SetErrorStream(&std::cerr);
    benchmark::RunSpecifiedBenchmarks(&reporter);
    reporter.printSummary(report);
    report.flush();
    benchmark::Shutdown();
    Device::instance().cleanUp();
    return reporter.failed() ? 1 : 0;
}
