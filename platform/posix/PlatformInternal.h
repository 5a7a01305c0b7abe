#pragma once
// Helpers shared by the POSIX port's sources; not part of its interface.
#include <string>

namespace platform {
// The fixed clock, if one is set (setClock or TARNIX_CLOCK).
bool fixedClock(int& p_nHour, int& p_nMinute);
// Parses "HH:MM" (00:00 to 23:59).
bool parseClock(const char* p_szText, int& p_nHour, int& p_nMinute);
} // namespace platform
