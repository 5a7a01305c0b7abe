#pragma once
// The report of simulated days: a table for people, JSON for scripts, and
// the check that every count met its minimum exactly.
#include <ostream>
#include <string>
#include <vector>

#include "bench/day/DaySimulation.h"

namespace tarnix_bench {

// The table of the days side by side, one column per day.
void printDayTable(std::ostream& p_out, const std::vector<DayResult>& p_vecDays, const DayOptions& p_options);
// The same figures as JSON text.
std::string dayJson(const std::vector<DayResult>& p_vecDays, const DayOptions& p_options);
// One line per count that differed from its minimum (and per event the day
// noted); empty when every count met its minimum exactly.
std::vector<std::string> dayFailures(const std::vector<DayResult>& p_vecDays);

} // namespace tarnix_bench
