// Calls from two threads and on two channels. The library calls the ISP
// from the host's threads and from each channel's "SensorThread" at once,
// and one controller per channel: calls must neither fail nor leak into one
// another.
#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "conformance/IspChecks.h"
#include "conformance/LibraryFacts.h"

namespace conformance {

namespace {

const int kRounds = 200;

// One worker: sets its command to two values in turn and reads each back.
struct Worker {
    int channel;
    uint32_t cmd;
    uint32_t values[2];
    std::string problem;   // the first thing that went wrong, "" when none

    void run(const IspCall& p_fnIsp) {
        for (int i = 0; i < kRounds && problem.empty(); ++i) {
            const uint32_t nValue = values[i % 2];
            const int nSet = setValue(p_fnIsp, channel, cmd, nValue);
            uint32_t nBack = 0;
            int nRead = 0;
            if (nSet != 0) {
                problem = "a set of command " + std::to_string(cmd) + " on ISP channel " + std::to_string(channel) +
                          " failing with " + std::to_string(nSet);
            } else if (!readValue(p_fnIsp, channel, cmd, nBack, &nRead)) {
                problem = "a read of command " + std::to_string(cmd) + " on ISP channel " + std::to_string(channel) +
                          " failing with " + std::to_string(nRead);
            } else if (nBack != nValue) {
                problem = "command " + std::to_string(cmd) + " on ISP channel " + std::to_string(channel) +
                          " reading " + std::to_string(static_cast<int32_t>(nBack)) + " right after a set of " +
                          std::to_string(static_cast<int32_t>(nValue));
            }
        }
    }
};

// Runs the workers at once, each on its own thread.
void runTogether(const IspCall& p_fnIsp, std::vector<Worker>& p_vecWorkers) {
    std::atomic<int> nReady(0);
    std::vector<std::thread> threads;
    for (Worker& worker : p_vecWorkers) {
        threads.emplace_back([&p_fnIsp, &worker, &nReady, &p_vecWorkers] {
            // Start together, so that the calls really overlap.
            nReady.fetch_add(1);
            while (nReady.load() < static_cast<int>(p_vecWorkers.size())) {
                std::this_thread::yield();
            }
            worker.run(p_fnIsp);
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

bool originalAndOther(const IspCall& p_fnIsp, int p_nChannel, uint32_t p_nCmd, uint32_t& p_nOriginal,
                      uint32_t& p_nOther) {
    if (!readValue(p_fnIsp, p_nChannel, p_nCmd, p_nOriginal)) {
        return false;
    }
    auto ranges = listedRanges(p_fnIsp, p_nChannel);
    auto range = ranges.find(p_nCmd);
    p_nOther = otherValue(p_nOriginal, range == ranges.end() ? nullptr : &range->second);
    return true;
}

} // namespace

Result checkIspThreads(Context& p_stContext) {
    const int nChannel = p_stContext.options.ispChannel();
    std::vector<uint32_t> cmds = storedCommands(p_stContext.isp, nChannel, 2);
    if (cmds.size() < 2) {
        return skip("fewer than two commands keep a set value (see isp.roundtrip)");
    }
    std::vector<Worker> workers;
    std::vector<uint32_t> originals;
    for (uint32_t cmd : cmds) {
        uint32_t nOriginal = 0;
        uint32_t nOther = 0;
        if (!originalAndOther(p_stContext.isp, nChannel, cmd, nOriginal, nOther)) {
            return skip("command " + std::to_string(cmd) + " no longer reads");
        }
        originals.push_back(nOriginal);
        workers.push_back(Worker{nChannel, cmd, {nOther, nOriginal}, ""});
    }
    runTogether(p_stContext.isp, workers);
    for (size_t i = 0; i < cmds.size(); ++i) {
        setValue(p_stContext.isp, nChannel, cmds[i], originals[i]);
    }
    for (const Worker& worker : workers) {
        if (!worker.problem.empty()) {
            return fail("calls from two threads at once (commands " + std::to_string(cmds[0]) + " and " +
                            std::to_string(cmds[1]) + ", " + std::to_string(kRounds) + " set-and-read rounds each) "
                            "to work as one after the other",
                        worker.problem,
                        "every host call racing the channel's SensorThread (scheme switches, day/night reads): "
                        "values are lost or calls fail at random");
        }
    }
    return ok(std::to_string(2 * kRounds) + " set-and-read rounds on two threads");
}

Result checkIspChannels(Context& p_stContext) {
    const int nFirst = p_stContext.options.ispChannel();
    const int nSecond = p_stContext.options.otherIspChannel();
    if (nSecond < 0) {
        return skip("no second channel to compare with (--other-channel 0)");
    }
    std::vector<uint32_t> cmds = storedCommands(p_stContext.isp, nFirst, 1);
    if (cmds.empty()) {
        return skip("no command keeps a set value (see isp.roundtrip)");
    }
    const uint32_t cmd = cmds.front();
    uint32_t nFirstOriginal = 0;
    uint32_t nFirstOther = 0;
    uint32_t nSecondOriginal = 0;
    uint32_t nSecondOther = 0;
    if (!originalAndOther(p_stContext.isp, nFirst, cmd, nFirstOriginal, nFirstOther)) {
        return skip("command " + std::to_string(cmd) + " no longer reads");
    }
    if (!originalAndOther(p_stContext.isp, nSecond, cmd, nSecondOriginal, nSecondOther)) {
        return skip("ISP channel " + std::to_string(nSecond) + " does not answer command " + std::to_string(cmd) +
                    " (a camera with one channel?)");
    }
    // Two different values, one per channel.
    const uint32_t nFirstValue = nFirstOther;
    uint32_t nSecondValue = nSecondOriginal != nFirstValue ? nSecondOriginal : nSecondOther;
    if (nSecondValue == nFirstValue) {
        nSecondValue = otherValue(nFirstValue, nullptr);
    }
    const std::string strExpected = "command " + std::to_string(cmd) + " to keep a value per channel (ISP channels " +
                                    std::to_string(nFirst) + " and " + std::to_string(nSecond) + ")";
    const std::string strAffects =
        "one controller per channel: a setting of one channel changes the other, and each channel's cache and "
        "scheme files no longer match its image";

    std::string strProblem;
    uint32_t nBack = 0;
    if (setValue(p_stContext.isp, nFirst, cmd, nFirstValue) != 0 ||
        setValue(p_stContext.isp, nSecond, cmd, nSecondValue) != 0) {
        strProblem = "a set failing";
    } else if (!readValue(p_stContext.isp, nFirst, cmd, nBack) || nBack != nFirstValue) {
        strProblem = "ISP channel " + std::to_string(nFirst) + " reading " + std::to_string(static_cast<int32_t>(nBack)) +
                     " after " + std::to_string(static_cast<int32_t>(nFirstValue)) + " was set on it and " +
                     std::to_string(static_cast<int32_t>(nSecondValue)) + " on channel " + std::to_string(nSecond);
    }
    if (strProblem.empty()) {
        std::vector<Worker> workers = {Worker{nFirst, cmd, {nFirstValue, nFirstOriginal}, ""},
                                       Worker{nSecond, cmd, {nSecondValue, nSecondOther}, ""}};
        runTogether(p_stContext.isp, workers);
        strProblem = !workers[0].problem.empty() ? workers[0].problem : workers[1].problem;
    }
    setValue(p_stContext.isp, nFirst, cmd, nFirstOriginal);
    setValue(p_stContext.isp, nSecond, cmd, nSecondOriginal);
    if (!strProblem.empty()) {
        return fail(strExpected, strProblem, strAffects);
    }
    return ok("ISP channels " + std::to_string(nFirst) + " and " + std::to_string(nSecond) + " keep their own values");
}

} // namespace conformance
