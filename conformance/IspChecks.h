#pragma once
// The ISP checks: how the library uses ia_ioctrl_v2 on one channel, command
// by command, and what the ISP must answer for it to work.
#include <cstdint>
#include <map>
#include <vector>

#include "conformance/Check.h"
#include "conformance/IspProbe.h"

namespace conformance {

Result checkIspRead(Context& p_stContext);
Result checkIspRoundTrip(Context& p_stContext);
Result checkIspCommandList(Context& p_stContext);
Result checkIspRangeLayout(Context& p_stContext);
Result checkIspRangeBounds(Context& p_stContext);
Result checkIspRangeDefault(Context& p_stContext);
Result checkIspRangeUnique(Context& p_stContext);
Result checkIspCorrect(Context& p_stContext);
Result checkIspShutter(Context& p_stContext);
Result checkIspRecords(Context& p_stContext);
Result checkIspDayNight(Context& p_stContext);
Result checkIspUnknown(Context& p_stContext);
Result checkIspThreads(Context& p_stContext);
Result checkIspChannels(Context& p_stContext);
Result checkIspLatency(Context& p_stContext);

// The range records of the commands the ISP lists as dynamic (the first
// maxDynamicCommands(), as the library reads them), by command.
std::map<uint32_t, RangeRecord> listedRanges(const IspCall& p_fnIsp, int p_nChannel);

// A value other than p_nCurrent that the ISP should accept for the command:
// another entry of its range list when it has one, else the next lower
// value (1 for 0).
uint32_t otherValue(uint32_t p_nCurrent, const RangeRecord* p_pRange);

// Commands of one stored value that survive a set and a read on channel
// p_nChannel (motor positions left alone), at most p_nWanted, in table order.
std::vector<uint32_t> storedCommands(const IspCall& p_fnIsp, int p_nChannel, size_t p_nWanted);

} // namespace conformance
