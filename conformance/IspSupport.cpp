// Helpers the ISP checks share: the listed range records, a second value to
// set, and commands that keep a stored value.
#include <algorithm>

#include "conformance/IspChecks.h"
#include "conformance/LibraryFacts.h"

namespace conformance {

std::map<uint32_t, RangeRecord> listedRanges(const IspCall& p_fnIsp, int p_nChannel) {
    std::map<uint32_t, RangeRecord> ranges;
    CommandList list = readCommandList(p_fnIsp, p_nChannel);
    for (uint32_t cmd : list.commands) {
        if (ranges.count(cmd) == 0) {
            ranges[cmd] = readRange(p_fnIsp, p_nChannel, cmd);
        }
    }
    return ranges;
}

uint32_t otherValue(uint32_t p_nCurrent, const RangeRecord* p_pRange) {
    if (p_pRange != nullptr && p_pRange->result == 0) {
        for (int32_t item : p_pRange->items) {
            if (static_cast<uint32_t>(item) != p_nCurrent) {
                return static_cast<uint32_t>(item);
            }
        }
    }
    return p_nCurrent == 0 ? 1u : p_nCurrent - 1;
}

std::vector<uint32_t> storedCommands(const IspCall& p_fnIsp, int p_nChannel, size_t p_nWanted) {
    std::vector<uint32_t> found;
    const std::map<uint32_t, RangeRecord> ranges = listedRanges(p_fnIsp, p_nChannel);
    for (const TableCommand& command : tableCommands()) {
        if (found.size() >= p_nWanted) {
            break;
        }
        if (command.kind != RowKind::Value || isMotorPosition(command.cmd)) {
            continue;
        }
        uint32_t original = 0;
        if (!readValue(p_fnIsp, p_nChannel, command.cmd, original)) {
            continue;
        }
        auto range = ranges.find(command.cmd);
        const uint32_t other = otherValue(original, range == ranges.end() ? nullptr : &range->second);
        uint32_t back = original;
        const bool bKept = setValue(p_fnIsp, p_nChannel, command.cmd, other) == 0 &&
                           readValue(p_fnIsp, p_nChannel, command.cmd, back) && back == other;
        setValue(p_fnIsp, p_nChannel, command.cmd, original);
        if (bKept) {
            found.push_back(command.cmd);
        }
    }
    return found;
}

} // namespace conformance
