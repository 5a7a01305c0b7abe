// The dynamic ranges: the command list (4112), the range record of each
// listed command (option 2), value correction (option 3) and the shutter
// list the shutter stepping works on. The library narrows the settings page
// with these records, takes the factory values from them and corrects
// stored values with them.
#include <algorithm>
#include <cstdint>
#include <set>
#include <string>
#include <vector>

#include "conformance/IspChecks.h"
#include "conformance/LibraryFacts.h"

namespace conformance {

namespace {

const char* const kStyleUse =
    "the settings page narrowed to the ISP's ranges (getUIStyleFile), the factory values read from it and "
    "value correction (getAllParameters)";

std::string num(int64_t p_nValue) { return std::to_string(p_nValue); }

// The listed commands whose range record reads, or a skip when there is
// nothing to look at.
bool usableRanges(Context& p_stContext, std::map<uint32_t, RangeRecord>& p_mapRanges, Result& p_stSkip) {
    const int nChannel = p_stContext.options.ispChannel();
    CommandList list = readCommandList(p_stContext.isp, nChannel);
    if (list.result != 0) {
        p_stSkip = skip("the dynamic command list does not read (see isp.cmdlist)");
        return false;
    }
    // Records that do not read, or count more values than they hold, are
    // isp.range.layout's findings; their values mean nothing.
    const int32_t nMaxItems = static_cast<int32_t>(maxRangeItems());
    for (const auto& entry : listedRanges(p_stContext.isp, nChannel)) {
        if (entry.second.result == 0 && entry.second.count >= 0 && entry.second.count <= nMaxItems) {
            p_mapRanges.insert(entry);
        }
    }
    if (p_mapRanges.empty()) {
        p_stSkip = skip("no listed command has a usable range record (see isp.range.layout)");
        return false;
    }
    return true;
}

// A failure from per-command findings: the first one in the line, every one
// in the details.
Result failFromFindings(const std::string& p_strExpected, const std::vector<std::string>& p_vecGot,
                        const std::vector<uint32_t>& p_vecCmds, const std::string& p_strAffects) {
    std::vector<std::string> vecKeys;
    for (uint32_t cmd : p_vecCmds) {
        vecKeys.push_back(commandText(cmd));
    }
    std::string strGot = p_vecGot.front();
    if (p_vecGot.size() > 1) {
        strGot += " (and " + num(static_cast<int64_t>(p_vecGot.size()) - 1) + " more, see --verbose)";
    }
    Result result = fail(p_strExpected, strGot, listText(vecKeys) + ": " + p_strAffects);
    result.details = p_vecGot;
    return result;
}

std::string itemsText(const std::vector<int32_t>& p_vecItems) {
    std::string text;
    for (size_t i = 0; i < p_vecItems.size(); ++i) {
        text += (i == 0 ? "" : " ") + num(p_vecItems[i]);
    }
    return text;
}

} // namespace

Result checkIspCommandList(Context& p_stContext) {
    const int nChannel = p_stContext.options.ispChannel();
    CommandList list = readCommandList(p_stContext.isp, nChannel);
    if (list.result != 0) {
        return fail("result 0 from the dynamic command list (command " + num(commandListCommand()) + ", option 1)",
                    num(list.result), std::string(kStyleUse) + ": no item is narrowed to the ISP's ranges");
    }
    const int64_t nMax = static_cast<int64_t>(maxDynamicCommands());
    if (list.count < 0 || list.count > nMax) {
        return fail("a dynamic command list of 0 to " + num(nMax) + " commands (the record holds " + num(nMax) + ")",
                    num(list.count) + " commands",
                    std::string(kStyleUse) + ": the library reads the first " + num(nMax) +
                        " and the ranges of the others are never applied");
    }
    Result result = ok(num(list.count) + " dynamic commands");
    result.data["commands"] = list.commands;
    return result;
}

Result checkIspRangeLayout(Context& p_stContext) {
    const int nChannel = p_stContext.options.ispChannel();
    CommandList list = readCommandList(p_stContext.isp, nChannel);
    if (list.result != 0) {
        return skip("the dynamic command list does not read (see isp.cmdlist)");
    }
    const int64_t nMaxItems = static_cast<int64_t>(maxRangeItems());
    std::vector<std::string> vecGot;
    std::vector<uint32_t> vecCmds;
    for (const auto& entry : listedRanges(p_stContext.isp, nChannel)) {
        const uint32_t cmd = entry.first;
        const RangeRecord& range = entry.second;
        std::string strProblem;
        if (range.result != 0) {
            strProblem = "a range read (option 2) of command " + num(cmd) + " gave " + num(range.result);
        } else if (range.count < 0 || range.count > nMaxItems) {
            strProblem = "command " + num(cmd) + " with " + num(range.count) + " values";
        } else if (isRangeQueryable(cmd) && range.type != 0) {
            strProblem = "command " + num(cmd) + " with type " + num(range.type) +
                         ", which getSensorParamRange answers without a range text";
        }
        if (!strProblem.empty()) {
            vecGot.push_back(strProblem);
            vecCmds.push_back(cmd);
        }
    }
    if (vecGot.empty()) {
        return ok(num(static_cast<int64_t>(list.commands.size())) + " range records read");
    }
    return failFromFindings("result 0 and a record of 0 to " + num(nMaxItems) +
                                " values (type 0, a list, for the range query's commands) from each listed command",
                            vecGot, vecCmds, kStyleUse);
}

namespace {

// A check of every usable range record: p_fnProblem says what is wrong with
// one record ("" when nothing is).
template <typename F>
Result checkEachRange(Context& p_stContext, const std::string& p_strExpected, const std::string& p_strAffects,
                      F p_fnProblem) {
    std::map<uint32_t, RangeRecord> ranges;
    Result skipped;
    if (!usableRanges(p_stContext, ranges, skipped)) {
        return skipped;
    }
    std::vector<std::string> vecGot;
    std::vector<uint32_t> vecCmds;
    for (const auto& entry : ranges) {
        std::string strProblem = p_fnProblem(entry.second);
        if (!strProblem.empty()) {
            vecGot.push_back("command " + num(entry.first) + " with " + strProblem);
            vecCmds.push_back(entry.first);
        }
    }
    if (vecGot.empty()) {
        return ok();
    }
    return failFromFindings(p_strExpected, vecGot, vecCmds, p_strAffects);
}

} // namespace

Result checkIspRangeBounds(Context& p_stContext) {
    return checkEachRange(p_stContext, "min <= max and every listed value inside [min, max] in each range record",
                          kStyleUse, [](const RangeRecord& p_stRange) -> std::string {
                              if (p_stRange.min > p_stRange.max) {
                                  return "min " + num(p_stRange.min) + " above max " + num(p_stRange.max);
                              }
                              for (int32_t item : p_stRange.items) {
                                  if (item < p_stRange.min || item > p_stRange.max) {
                                      return "the value " + num(item) + " outside [" + num(p_stRange.min) + ", " +
                                             num(p_stRange.max) + "]";
                                  }
                              }
                              return "";
                          });
}

Result checkIspRangeDefault(Context& p_stContext) {
    return checkEachRange(
        p_stContext, "the default of each range record among its values (inside [min, max] without values)",
        "the factory value becomes the ISP's default, a value the settings page does not offer",
        [](const RangeRecord& p_stRange) -> std::string {
            const std::string strDefault = "the default " + num(p_stRange.def) + " ";
            if (!p_stRange.items.empty()) {
                bool bAmong = std::find(p_stRange.items.begin(), p_stRange.items.end(), p_stRange.def) !=
                              p_stRange.items.end();
                return bAmong ? "" : strDefault + "not among its values " + itemsText(p_stRange.items);
            }
            bool bInside = p_stRange.min <= p_stRange.def && p_stRange.def <= p_stRange.max;
            return bInside ? "" : strDefault + "outside [" + num(p_stRange.min) + ", " + num(p_stRange.max) + "]";
        });
}

Result checkIspRangeUnique(Context& p_stContext) {
    return checkEachRange(p_stContext, "no value twice in a range list",
                          "the range query's text (getSensorParamRange) repeats the value, and the shutter stepping "
                          "sticks at a repeated shutter value",
                          [](const RangeRecord& p_stRange) -> std::string {
                              std::set<int32_t> seen;
                              for (int32_t item : p_stRange.items) {
                                  if (!seen.insert(item).second) {
                                      return num(item) + " twice";
                                  }
                              }
                              return "";
                          });
}

Result checkIspCorrect(Context& p_stContext) {
    std::map<uint32_t, RangeRecord> ranges;
    Result skipped;
    if (!usableRanges(p_stContext, ranges, skipped)) {
        return skipped;
    }
    const int nChannel = p_stContext.options.ispChannel();
    std::vector<std::string> vecGot;
    std::vector<uint32_t> vecCmds;
    size_t nProbes = 0;
    for (const auto& entry : ranges) {
        const uint32_t cmd = entry.first;
        const RangeRecord& range = entry.second;
        if (range.items.empty() && range.min > range.max) {
            continue;   // no range to correct into (see isp.range.bounds)
        }
        // Every allowed value, the midpoints between neighbours and one
        // value beyond each end.
        std::vector<int64_t> vecProbes;
        std::vector<int32_t> sorted = range.items;
        std::sort(sorted.begin(), sorted.end());
        if (sorted.empty()) {
            vecProbes = {range.min, range.max, static_cast<int64_t>(range.min) - 1, static_cast<int64_t>(range.max) + 1};
        } else {
            for (size_t i = 0; i < sorted.size(); ++i) {
                vecProbes.push_back(sorted[i]);
                if (i + 1 < sorted.size()) {
                    vecProbes.push_back((static_cast<int64_t>(sorted[i]) + sorted[i + 1]) / 2);
                }
            }
            vecProbes.push_back(static_cast<int64_t>(sorted.front()) - 1);
            vecProbes.push_back(static_cast<int64_t>(sorted.back()) + 1);
        }
        for (int64_t nProbe : vecProbes) {
            if (nProbe < INT32_MIN || nProbe > INT32_MAX) {
                continue;
            }
            ++nProbes;
            Probe value(1);
            value[0] = static_cast<uint32_t>(static_cast<int32_t>(nProbe));
            const int nResult = value.call(p_stContext.isp, nChannel, cmd, 3);
            const int32_t nCorrected = static_cast<int32_t>(value[0]);
            bool bInside = sorted.empty() ? (range.min <= nCorrected && nCorrected <= range.max)
                                          : std::binary_search(sorted.begin(), sorted.end(), nCorrected);
            if (nResult != 0) {
                vecGot.push_back("command " + num(cmd) + ": correcting " + num(nProbe) + " gave " + num(nResult));
            } else if (!bInside) {
                vecGot.push_back("command " + num(cmd) + ": " + num(nProbe) + " corrected to " + num(nCorrected) +
                                 ", outside its range");
            } else {
                continue;
            }
            vecCmds.push_back(cmd);
            break;
        }
    }
    if (vecGot.empty()) {
        return ok(num(static_cast<int64_t>(nProbes)) + " corrections inside the reported ranges");
    }
    return failFromFindings("value correction (option 3) to give result 0 and a value inside the reported range",
                            vecGot, vecCmds,
                            "getAllParameters reports and keeps the corrected values, which the ISP does not accept");
}

Result checkIspShutter(Context& p_stContext) {
    const int nChannel = p_stContext.options.ispChannel();
    const uint32_t nShutter = shutterCommand();
    const std::string strUse = "shutter stepping (getShutterValue, setShutterValue, shutterUp, shutterDown)";
    CommandList list = readCommandList(p_stContext.isp, nChannel);
    if (list.result != 0) {
        return skip("the dynamic command list does not read (see isp.cmdlist)");
    }
    if (std::find(list.commands.begin(), list.commands.end(), nShutter) == list.commands.end()) {
        return warn(commandText(nShutter) + " is not a listed dynamic command: " + strUse +
                    " reports failure on this channel");
    }
    RangeRecord range = readRange(p_stContext.isp, nChannel, nShutter);
    const int64_t nMaxItems = static_cast<int64_t>(maxRangeItems());
    if (range.result != 0 || range.type != 0 || range.count < 0 || range.count > nMaxItems) {
        return skip("the range record of command " + num(nShutter) + " is not usable (see isp.range.layout)");
    }
    const int64_t nMaxShutter = static_cast<int64_t>(shutterListMax());
    if (range.count < 1 || range.count > nMaxShutter) {
        return fail("1 to " + num(nMaxShutter) + " shutter values in the range of command " + num(nShutter),
                    num(range.count) + " values",
                    strUse + (range.count < 1 ? ": there is no value to step to"
                                              : ": the values past the " + num(nMaxShutter) +
                                                    "th cannot be reached"));
    }
    uint32_t nCurrent = 0;
    int nResult = 0;
    if (!readValue(p_stContext.isp, nChannel, nShutter, nCurrent, &nResult)) {
        return fail("result 0 from a read of the shutter (command " + num(nShutter) + ")", num(nResult), strUse);
    }
    if (std::find(range.items.begin(), range.items.end(), static_cast<int32_t>(nCurrent)) == range.items.end()) {
        return fail("the current shutter among the listed values " + itemsText(range.items),
                    num(static_cast<int32_t>(nCurrent)), strUse + ": the current value is not found in the list");
    }
    Result result = ok(num(range.count) + " shutter values, current " + num(static_cast<int32_t>(nCurrent)));
    result.data["values"] = range.items;
    return result;
}

} // namespace conformance
