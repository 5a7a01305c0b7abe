// The records the library exchanges with the ISP (sizes and overruns), the
// day/night state and the answer to a command the ISP does not have.
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "conformance/IspChecks.h"
#include "conformance/LibraryFacts.h"

namespace conformance {

namespace {

// One call the library makes, with the buffer it passes.
struct Exchange {
    uint32_t cmd;
    unsigned int opt;
    size_t words;
    std::string record;
    std::string use;
    std::vector<uint32_t> input;   // words preset before the call
};

std::vector<Exchange> libraryExchanges(const IspCall& p_fnIsp, int p_nChannel) {
    std::vector<Exchange> exchanges;
    std::set<std::pair<uint32_t, unsigned int>> seen;
    auto add = [&](Exchange p_stExchange) {
        if (seen.insert(std::make_pair(p_stExchange.cmd, p_stExchange.opt)).second) {
            exchanges.push_back(std::move(p_stExchange));
        }
    };
    const std::string strStyle = "the settings page narrowed to the ISP's ranges and the factory values";
    add({commandListCommand(), 1, commandListWords(), "ia_dynamic_cmd_list_st", strStyle + ", value correction", {}});
    for (uint32_t cmd : readCommandList(p_fnIsp, p_nChannel).commands) {
        add({cmd, 2, rangeRecordWords(), "ia_dynamic_params_attr_st",
             strStyle + (isRangeQueryable(cmd) ? " and getSensorParamRange" : ""), {}});
        add({cmd, 3, 1, "one value", "value correction (getAllParameters)", {}});
    }
    for (const DirectRead& read : directReads()) {
        add({read.cmd, 1, read.words, read.record, read.use, read.input});
    }
    for (const TableCommand& command : tableCommands()) {
        std::string strRecord = command.words == 1 ? "one value" : std::to_string(command.words) + "-word record";
        add({command.cmd, 1, command.words, strRecord, keysOf(command.cmd), {}});
    }
    return exchanges;
}

} // namespace

Result checkIspRecords(Context& p_stContext) {
    const int nChannel = p_stContext.options.ispChannel();
    std::vector<std::string> vecGot;
    std::vector<std::string> vecUses;
    nlohmann::json overruns = nlohmann::json::array();
    const std::vector<Exchange> exchanges = libraryExchanges(p_stContext.isp, nChannel);
    for (const Exchange& exchange : exchanges) {
        Probe probe(exchange.words);
        for (size_t i = 0; i < exchange.input.size() && i < exchange.words; ++i) {
            probe[i] = exchange.input[i];
        }
        probe.call(p_stContext.isp, nChannel, exchange.cmd, exchange.opt);
        const size_t nPast = probe.overrun();
        if (nPast == 0) {
            continue;
        }
        vecGot.push_back("command " + std::to_string(exchange.cmd) + " (option " + std::to_string(exchange.opt) +
                         ") writing " + std::to_string(nPast) + " words past its " + std::to_string(exchange.words) +
                         "-word " + exchange.record);
        vecUses.push_back(exchange.use);
        overruns.push_back({{"cmd", exchange.cmd}, {"opt", exchange.opt}, {"words", exchange.words}, {"past", nPast}});
    }
    if (vecGot.empty()) {
        Result result = ok(std::to_string(exchanges.size()) + " exchanges within their records");
        result.data["exchanges"] = exchanges.size();
        return result;
    }
    std::string strGot = vecGot.front();
    if (vecGot.size() > 1) {
        strGot += " (and " + std::to_string(vecGot.size() - 1) + " more, see --verbose)";
    }
    Result result = fail("every record the library exchanges written no further than its size", strGot,
                         listText(vecUses) +
                             ": the library's buffer ends with the record, so the ISP overwrites the caller's memory");
    result.details = vecGot;
    result.data["overruns"] = overruns;
    return result;
}

Result checkIspDayNight(Context& p_stContext) {
    const int nChannel = p_stContext.options.ispChannel();
    const uint32_t nCmd = dayNightCommand();
    const std::string strUse =
        "the day/night scheme policy (scheme 0 by day, 1 by night) and the plate-recognition fallback, which take "
        "every answer but 0 for night";
    uint32_t nState = 0;
    int nResult = 0;
    if (!readValue(p_stContext.isp, nChannel, nCmd, nState, &nResult)) {
        return fail("result 0 from a read of the day/night state (command " + std::to_string(nCmd) + ")",
                    std::to_string(nResult), strUse + ": a failed read counts as day");
    }
    if (nState > 1) {
        return fail("0 (day) or 1 (night) from the day/night state (command " + std::to_string(nCmd) + ")",
                    std::to_string(static_cast<int32_t>(nState)), strUse);
    }
    return ok(nState == 0 ? "day" : "night");
}

Result checkIspUnknown(Context& p_stContext) {
    const int nChannel = p_stContext.options.ispChannel();
    // Ids far outside every command the library or ia_ioctrl.h names.
    const uint32_t aUnknown[] = {0x00FFFFF0u, 0x7FFFFFF0u};
    std::vector<std::string> vecGot;
    size_t nCalls = 0;
    for (uint32_t cmd : aUnknown) {
        if (tableCommand(cmd) != nullptr) {
            continue;
        }
        const unsigned int aOptions[] = {0, 1, 2};
        for (unsigned int opt : aOptions) {
            Probe probe(opt == 2 ? rangeRecordWords() : 1);
            const int nResult = probe.call(p_stContext.isp, nChannel, cmd, opt);
            ++nCalls;
            if (nResult == 0) {
                vecGot.push_back("0 from command " + hexText(cmd) + " with option " + std::to_string(opt));
            }
        }
    }
    if (vecGot.empty()) {
        return ok(std::to_string(nCalls) + " calls of unknown commands failed cleanly");
    }
    Result result = fail("a non-zero result from every call of an unknown command", listText(vecGot),
                         "every key the ISP lacks, which looks supported, and keys no table row knows, which the "
                         "host's parameter text passes to the ISP as commands and which are then reported as "
                         "applied");
    result.details = vecGot;
    return result;
}

} // namespace conformance
