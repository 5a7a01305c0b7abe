// How long each call takes. The library applies a whole scheme key by key
// under its parameter lock and the sensor thread reads the day/night state
// every second: a slow command stalls every host call behind it.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "conformance/IspChecks.h"
#include "conformance/LibraryFacts.h"

namespace conformance {

namespace {

struct Timed {
    uint32_t cmd;
    unsigned int opt;
    size_t words;
    double medianMs;
    double p99Ms;
};

// The value at rank ceil(p * n) of the sorted samples (nearest rank).
double percentile(const std::vector<double>& p_vecSorted, double p_dShare) {
    size_t nRank = static_cast<size_t>(p_dShare * static_cast<double>(p_vecSorted.size()) + 0.999999);
    nRank = std::min(std::max<size_t>(nRank, 1), p_vecSorted.size());
    return p_vecSorted[nRank - 1];
}

std::string msText(double p_dMs) {
    char szText[32];
    if (p_dMs < 0.1) {
        std::snprintf(szText, sizeof(szText), "%.1f us", p_dMs * 1000.0);
    } else {
        std::snprintf(szText, sizeof(szText), "%.3g ms", p_dMs);
    }
    return szText;
}

} // namespace

Result checkIspLatency(Context& p_stContext) {
    const int nChannel = p_stContext.options.ispChannel();
    const int nCalls = std::max(1, p_stContext.options.latencyCalls);

    // The reads the library makes: table commands, direct reads, the
    // command list and the listed ranges.
    std::vector<std::pair<uint32_t, unsigned int>> vecCalls;
    std::vector<size_t> vecWords;
    std::set<std::pair<uint32_t, unsigned int>> seen;
    auto add = [&](uint32_t p_nCmd, unsigned int p_nOpt, size_t p_nWords) {
        if (seen.insert(std::make_pair(p_nCmd, p_nOpt)).second) {
            vecCalls.push_back(std::make_pair(p_nCmd, p_nOpt));
            vecWords.push_back(p_nWords);
        }
    };
    for (const TableCommand& command : tableCommands()) {
        add(command.cmd, 1, command.words);
    }
    for (const DirectRead& read : directReads()) {
        add(read.cmd, 1, read.words);
    }
    add(commandListCommand(), 1, commandListWords());
    for (uint32_t cmd : readCommandList(p_stContext.isp, nChannel).commands) {
        add(cmd, 2, rangeRecordWords());
    }

    std::vector<Timed> vecTimed;
    for (size_t i = 0; i < vecCalls.size(); ++i) {
        std::vector<double> samples;
        Probe probe(vecWords[i]);
        for (int n = 0; n < nCalls; ++n) {
            probe.clear();
            auto start = std::chrono::steady_clock::now();
            probe.call(p_stContext.isp, nChannel, vecCalls[i].first, vecCalls[i].second);
            auto end = std::chrono::steady_clock::now();
            samples.push_back(std::chrono::duration<double, std::milli>(end - start).count());
        }
        std::sort(samples.begin(), samples.end());
        vecTimed.push_back(
            Timed{vecCalls[i].first, vecCalls[i].second, vecWords[i], percentile(samples, 0.5), percentile(samples, 0.99)});
    }

    nlohmann::json table = nlohmann::json::array();
    std::vector<std::string> vecSlow;
    std::vector<std::string> vecDetails;
    const Timed* pSlowest = nullptr;
    for (const Timed& timed : vecTimed) {
        table.push_back({{"cmd", timed.cmd},
                         {"opt", timed.opt},
                         {"median_ms", timed.medianMs},
                         {"p99_ms", timed.p99Ms},
                         {"keys", keysOf(timed.cmd)}});
        if (pSlowest == nullptr || timed.medianMs > pSlowest->medianMs) {
            pSlowest = &timed;
        }
        if (timed.medianMs > p_stContext.options.slowMs) {
            std::string strWhat = "command " + std::to_string(timed.cmd) + " (option " + std::to_string(timed.opt) +
                                  ") median " + msText(timed.medianMs) + ", p99 " + msText(timed.p99Ms);
            vecSlow.push_back(strWhat);
            vecDetails.push_back(strWhat + ": " + commandText(timed.cmd));
        }
    }
    Result result;
    if (vecSlow.empty()) {
        result = ok(std::to_string(vecTimed.size()) + " calls x " + std::to_string(nCalls) +
                    (pSlowest != nullptr ? ", slowest median " + msText(pSlowest->medianMs) + " (command " +
                                               std::to_string(pSlowest->cmd) + ")"
                                         : std::string()));
    } else {
        std::vector<std::string> vecKeys;
        for (const Timed& timed : vecTimed) {
            if (timed.medianMs > p_stContext.options.slowMs) {
                vecKeys.push_back(commandText(timed.cmd));
            }
        }
        result = warn(listText(vecSlow) + " above " + msText(p_stContext.options.slowMs) + "; affects " +
                      listText(vecKeys) + ": every scheme switch and host call that applies them waits as long");
        result.details = vecDetails;
    }
    result.data["calls_per_command"] = nCalls;
    result.data["slow_ms"] = p_stContext.options.slowMs;
    result.data["latency"] = table;
    return result;
}

} // namespace conformance
