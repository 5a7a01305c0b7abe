#pragma once
// sensorctl timeline: a day (or several) of the device clock replayed on the
// real controller of a device root, one sensor pass per step, and what the
// passes decided: every change of scheme with its reason, the time spent in
// each scheme, and switches that follow each other within five minutes.
#include <map>
#include <string>
#include <vector>

#include "tools/sensorctl/Args.h"
#include "tools/sensorctl/DayNightProfile.h"
#include "tools/sensorctl/Device.h"

namespace sensorctl {

// Switches closer than this to the switch before them are flips.
constexpr int kFlipMinutes = 5;

// What a replay covers: the minutes of each day, how many days, the step.
struct TimelineRange {
    int fromMinute = 0;                       // first moment of each day
    int toMinute = 24 * 60;                   // end of each day's replay (not replayed)
    int days = 1;
    int stepMinutes = 1;
    const DayNightProfile* profile = nullptr; // none: the ISP's state stays as it is
};

struct TimelineChange {
    int day = 0;
    int minute = 0;                 // minute of the day
    tarnix::DecisionRecord record;  // the pass that switched
    std::vector<u32> keys;          // keys whose values differ between the two schemes
    bool flip = false;              // within kFlipMinutes of the switch before it
};

// One replayed moment, for the chart.
struct TimelineSample {
    int day = 0;
    int minute = 0;
    int scheme = 0;   // in force after the moment's pass
    int dayNight = 0; // 0 day, 1 night
};

struct TimelineResult {
    TimelineRange range;
    int channel = 1;
    tarnix::DecisionRecord start;        // the first moment's decision
    std::vector<TimelineChange> changes;
    std::vector<TimelineSample> samples;
    std::map<int, long> minutesInScheme; // scheme -> minutes in force
    size_t flips = 0;
};

// Replays the range on the session's controller.
TimelineResult replayTimeline(Session& p_objSession, const TimelineRange& p_stRange);

// "06:00 scheme 0 -> 1 (...): reason; keys ..." ("day 1 06:00 ..." over several days).
std::string timelineChangeLine(const TimelineResult& p_stResult, const TimelineChange& p_stChange);
// The report as JSON: {"changes": [...], "summary": {...}}.
std::string timelineJson(const TimelineResult& p_stResult);
// The chart as an SVG document: time across, scheme up, night shaded, switches marked.
std::string timelineSvg(const TimelineResult& p_stResult);

// The command: replays the options' range and prints the changes and the summary.
void runTimeline(Session& p_objSession, const Options& p_stOptions);

// "HH:MM" of a minute of the day (24:00 for the end of the day).
std::string minuteText(int p_nMinute);

} // namespace sensorctl
