#pragma once
// The list of shutter values the ISP currently offers, taken from the range
// text of KEY_MAX_SHUTTER.
#include <string>

namespace tarnix {

// Longest shutter list; entries past it are dropped.
constexpr int kShutterListMax = 30;

struct ShutterList {
    int values[kShutterListMax];
    int count;
};

// Splits a range text of blank-separated decimal values into the list. A
// trailing blank adds no entry; entries past the 30th are dropped.
void parseShutterList(const std::string& p_strRange, ShutterList& p_stList);

} // namespace tarnix
