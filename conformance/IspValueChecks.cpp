// The values of the key-command table: every command the table drives must
// answer a read, and every command whose value the library applies and
// caches must keep what was set.
#include <string>
#include <vector>

#include "conformance/IspChecks.h"
#include "conformance/LibraryFacts.h"

namespace conformance {

Result checkIspRead(Context& p_stContext) {
    const int nChannel = p_stContext.options.ispChannel();
    std::vector<std::string> vecFailed;
    std::vector<std::string> vecKeys;
    std::vector<std::string> vecDetails;
    nlohmann::json unsupported = nlohmann::json::array();
    for (const TableCommand& command : tableCommands()) {
        Probe probe(command.words);
        const int nResult = probe.call(p_stContext.isp, nChannel, command.cmd, 1);
        if (nResult == 0) {
            continue;
        }
        vecFailed.push_back(std::to_string(command.cmd) + " (result " + std::to_string(nResult) + ")");
        for (const KeyRow& key : command.keys) {
            vecKeys.push_back(key.name + " (" + std::to_string(key.key) + ")");
        }
        vecDetails.push_back("command " + std::to_string(command.cmd) + ": a read (option 1) gave " +
                             std::to_string(nResult) + "; unsupported: " + keysOf(command.cmd) +
                             " and the style items with these ids");
        unsupported.push_back({{"cmd", command.cmd}, {"result", nResult}, {"keys", keysOf(command.cmd)}});
    }
    const size_t nCommands = tableCommands().size();
    if (vecFailed.empty()) {
        return ok(std::to_string(nCommands) + " commands answer a read");
    }
    Result result = fail("result 0 from a read (option 1) of each of the " + std::to_string(nCommands) +
                             " commands of the key-command table",
                         "a failure from " + std::to_string(vecFailed.size()) + ": " + listText(vecFailed),
                         "keys " + listText(vecKeys) +
                             " and the style items with their ids: these keys are unsupported on this ISP");
    result.details = vecDetails;
    result.data["unsupported"] = unsupported;
    return result;
}

namespace {

// One round trip of a command: read, set another value, read it back, set
// the original again and read that back. Returns "" when all went well,
// else what went wrong.
std::string roundTrip(const IspCall& p_fnIsp, int p_nChannel, const TableCommand& p_stCommand,
                      const RangeRecord* p_pRange, bool& p_bTested) {
    p_bTested = false;
    const size_t nField = valueWordOf(p_stCommand.cmd);
    Probe original(p_stCommand.words);
    if (original.call(p_fnIsp, p_nChannel, p_stCommand.cmd, 1) != 0) {
        return "";   // unreadable: reported by the read check
    }
    p_bTested = true;
    const std::string strCmd = std::to_string(p_stCommand.cmd);
    const uint32_t nOriginal = original[nField];
    const uint32_t nOther = otherValue(nOriginal, p_pRange);

    auto setRecord = [&](uint32_t p_nValue) {
        Probe record(p_stCommand.words);
        for (size_t i = 0; i < p_stCommand.words; ++i) {
            record[i] = original[i];
        }
        record[nField] = p_nValue;
        return record.call(p_fnIsp, p_nChannel, p_stCommand.cmd, 0);
    };
    auto readBack = [&](uint32_t& p_nValue) {
        Probe record(p_stCommand.words);
        if (record.call(p_fnIsp, p_nChannel, p_stCommand.cmd, 1) != 0) {
            return false;
        }
        p_nValue = record[nField];
        return true;
    };

    std::string strProblem;
    uint32_t nBack = 0;
    int nSet = setRecord(nOther);
    if (nSet != 0) {
        strProblem = "command " + strCmd + ": a set (option 0) of " + std::to_string(static_cast<int32_t>(nOther)) +
                     " gave " + std::to_string(nSet);
    } else if (!readBack(nBack)) {
        strProblem = "command " + strCmd + ": the read after a set failed";
    } else if (nBack != nOther) {
        strProblem = "command " + strCmd + " to read back " + std::to_string(static_cast<int32_t>(nOther)) +
                     " after a set of it, got " + std::to_string(static_cast<int32_t>(nBack));
    }
    // Always put the original value back.
    nSet = setRecord(nOriginal);
    if (strProblem.empty()) {
        if (nSet != 0) {
            strProblem = "command " + strCmd + ": setting the original " +
                         std::to_string(static_cast<int32_t>(nOriginal)) + " back gave " + std::to_string(nSet);
        } else if (!readBack(nBack) || nBack != nOriginal) {
            strProblem = "command " + strCmd + " to read back the original " +
                         std::to_string(static_cast<int32_t>(nOriginal)) + " after setting it back, got " +
                         std::to_string(static_cast<int32_t>(nBack));
        }
    }
    return strProblem;
}

} // namespace

Result checkIspRoundTrip(Context& p_stContext) {
    const int nChannel = p_stContext.options.ispChannel();
    const std::map<uint32_t, RangeRecord> ranges = listedRanges(p_stContext.isp, nChannel);
    std::vector<std::string> vecProblems;
    std::vector<std::string> vecKeys;
    std::vector<std::string> vecUntested;
    std::vector<std::string> vecMotors;
    size_t nTested = 0;
    for (const TableCommand& command : tableCommands()) {
        // Momentary actions (zoom and focus steps, iris steps, one-push
        // focus ...) are not values: the library never replays them.
        if (command.kind == RowKind::Momentary) {
            continue;
        }
        if (isMotorPosition(command.cmd)) {
            vecMotors.push_back(std::to_string(command.cmd));
            continue;
        }
        auto range = ranges.find(command.cmd);
        bool bTested = false;
        std::string strProblem =
            roundTrip(p_stContext.isp, nChannel, command, range == ranges.end() ? nullptr : &range->second, bTested);
        if (!bTested) {
            vecUntested.push_back(std::to_string(command.cmd));
            continue;
        }
        ++nTested;
        if (!strProblem.empty()) {
            vecProblems.push_back(strProblem);
            vecKeys.push_back(keysOf(command.cmd));
        }
    }
    std::string strUntested;
    if (!vecMotors.empty()) {
        strUntested += "; motor positions left alone: " + listText(vecMotors);
    }
    if (!vecUntested.empty()) {
        strUntested += "; not tested, they do not answer a read (see isp.read): " + listText(vecUntested);
    }
    if (vecProblems.empty()) {
        Result result = ok(std::to_string(nTested) + " commands keep what is set" + strUntested);
        result.data["tested"] = nTested;
        return result;
    }
    std::string strMore = vecProblems.size() > 1 ? " (and " + std::to_string(vecProblems.size() - 1) +
                                                       " more commands, see --verbose)"
                                                 : "";
    // The first problem reads "command N to read back ..., got ..." or
    // "command N: what failed".
    const std::string& strFirst = vecProblems.front();
    size_t nGot = strFirst.find(", got ");
    std::string strExpected;
    std::string strGot;
    if (nGot != std::string::npos) {
        strExpected = strFirst.substr(0, nGot);
        strGot = strFirst.substr(nGot + 6) + strMore;
    } else {
        strExpected = "each command the library sets to keep the value set";
        strGot = strFirst + strMore;
    }
    Result result = fail(strExpected, strGot,
                         listText(vecKeys) + ": the ISP does not keep the value the library applies, caches and "
                                             "saves in the scheme files");
    result.details = vecProblems;
    result.data["tested"] = nTested;
    return result;
}

} // namespace conformance
