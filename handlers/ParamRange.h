#pragma once
// The commands whose discrete ranges getSensorParamRange reports.

namespace tarnix {

// True for the commands the range query accepts: 49 (KEY_MAX_SHUTTER), 50,
// 51, 55, 56, 82 and 1537. Any other command is refused even when the ISP
// lists it among its dynamic parameters.
bool isRangeQueryable(int p_nCmd);

} // namespace tarnix
