// sensorctl timeline: the replay of days of the device clock, its change
// lines, its summary and its JSON report.
#include "tools/sensorctl/Timeline.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>

#include <nlohmann/json.hpp>

#include "engine/KeyValText.h"
#include "tools/sensorctl/Commands.h"
#include "tools/sensorctl/KeyNames.h"
#include "tools/sensorctl/Output.h"
#include "tools/sensorctl/SchemeReplay.h"

namespace sensorctl {

namespace {

// The current scheme's values as the controller lists them.
std::vector<KeyVal> currentValues(ISensorController& p_objCtl) {
    std::string strText;
    p_objCtl.getAllParameters(strText);
    std::vector<KeyVal> vecValues(keyval_count(strText));
    u32 nCount = 0;
    keyval_str2st(strText, vecValues.data(), &nCount, static_cast<u32>(vecValues.size()));
    vecValues.resize(nCount);
    return vecValues;
}

// Keys of p_vecNew whose value differs from p_vecOld (or that it lacks).
std::vector<u32> changedKeys(const std::vector<KeyVal>& p_vecOld, const std::vector<KeyVal>& p_vecNew) {
    std::vector<u32> vecKeys;
    for (const KeyVal& stNew : p_vecNew) {
        auto it = std::find_if(p_vecOld.begin(), p_vecOld.end(), [&](const KeyVal& o) { return o.key == stNew.key; });
        if (it == p_vecOld.end() || it->value != stNew.value) {
            vecKeys.push_back(stNew.key);
        }
    }
    return vecKeys;
}

// "12h05m" of minutes.
std::string durationText(long p_nMinutes) {
    return format("%ldh%02ldm", p_nMinutes / 60, p_nMinutes % 60);
}

std::string dayPrefix(const TimelineResult& p_stResult, int p_nDay) {
    return p_stResult.range.days > 1 ? format("day %d ", p_nDay) : std::string();
}

} // namespace

std::string minuteText(int p_nMinute) { return format("%02d:%02d", p_nMinute / 60, p_nMinute % 60); }

TimelineResult replayTimeline(Session& p_objSession, const TimelineRange& p_stRange) {
    TimelineResult stResult;
    stResult.range = p_stRange;
    stResult.channel = p_objSession.device().cameraId();
    ISensorController& ctl = p_objSession.controller();
    const bool bProgress = p_stRange.days > 1 && ::isatty(STDERR_FILENO) != 0;

    SchemeReplay objReplay(p_objSession);
    std::vector<KeyVal> vecValues;
    bool bStarted = false;
    bool bSwitchedBefore = false;
    long nLastSwitch = 0;
    const int nSpan = p_stRange.toMinute - p_stRange.fromMinute;
    for (int nDay = 0; nDay < p_stRange.days; ++nDay) {
        if (bProgress) {
            std::fprintf(stderr, "sensorctl: timeline: day %d of %d\r", nDay + 1, p_stRange.days);
            std::fflush(stderr);
        }
        for (int nMinute = p_stRange.fromMinute; nMinute < p_stRange.toMinute; nMinute += p_stRange.stepMinutes) {
            const int nDayNight = p_stRange.profile != nullptr ? p_stRange.profile->stateAt(nMinute) : -1;
            const tarnix::DecisionRecord stRecord = objReplay.decideAt(nMinute / 60, nMinute % 60, nDayNight);
            if (!bStarted) {
                stResult.start = stRecord;
                vecValues = currentValues(ctl);
                bStarted = true;
            } else if (stRecord.outcome == tarnix::DecisionOutcome::Switched) {
                TimelineChange stChange;
                stChange.day = nDay;
                stChange.minute = nMinute;
                stChange.record = stRecord;
                std::vector<KeyVal> vecNew = currentValues(ctl);
                stChange.keys = changedKeys(vecValues, vecNew);
                vecValues.swap(vecNew);
                const long nAt = static_cast<long>(nDay) * nSpan + (nMinute - p_stRange.fromMinute);
                stChange.flip = bSwitchedBefore && nAt - nLastSwitch <= kFlipMinutes;
                stResult.flips += stChange.flip ? 1 : 0;
                nLastSwitch = nAt;
                bSwitchedBefore = true;
                stResult.changes.push_back(stChange);
            }
            const int nHeld = std::min(p_stRange.stepMinutes, p_stRange.toMinute - nMinute);
            stResult.minutesInScheme[stRecord.to] += nHeld;
            TimelineSample stSample;
            stSample.day = nDay;
            stSample.minute = nMinute;
            stSample.scheme = stRecord.to;
            stSample.dayNight = nDayNight >= 0 ? nDayNight : objReplay.dayNightState();
            stResult.samples.push_back(stSample);
        }
    }
    if (bProgress) {
        std::fprintf(stderr, "%40s\r", "");
    }
    return stResult;
}

std::string timelineChangeLine(const TimelineResult& p_stResult, const TimelineChange& p_stChange) {
    const tarnix::DecisionRecord& r = p_stChange.record;
    std::string strLine = dayPrefix(p_stResult, p_stChange.day) + minuteText(p_stChange.minute) +
                          format(" scheme %d -> %d (%s, %u ISP calls): ", r.from, r.to,
                                 r.forced ? "forced" : "differential", r.ispCalls) +
                          tarnix::decisionReason(r);
    if (p_stChange.keys.empty()) {
        return strLine + "; no key differs";
    }
    strLine += "; keys";
    for (size_t i = 0; i < p_stChange.keys.size(); ++i) {
        const u32 nKey = p_stChange.keys[i];
        strLine += format("%s %u %s", i == 0 ? "" : ",", nKey, nameOrDash(keyName(nKey)));
    }
    return strLine;
}

std::string timelineJson(const TimelineResult& p_stResult) {
    using nlohmann::json;
    json jChanges = json::array();
    for (const TimelineChange& stChange : p_stResult.changes) {
        const tarnix::DecisionRecord& r = stChange.record;
        jChanges.push_back({{"day", stChange.day},
                            {"time", minuteText(stChange.minute)},
                            {"from", r.from},
                            {"to", r.to},
                            {"reason", tarnix::decisionReason(r)},
                            {"forced", r.forced},
                            {"isp_calls", r.ispCalls},
                            {"keys", stChange.keys},
                            {"flip", stChange.flip}});
    }
    json jMinutes = json::object();
    for (const auto& entry : p_stResult.minutesInScheme) {
        jMinutes[std::to_string(entry.first)] = entry.second;
    }
    const TimelineRange& range = p_stResult.range;
    json jSummary = {{"channel", p_stResult.channel},
                     {"from", minuteText(range.fromMinute)},
                     {"to", minuteText(range.toMinute)},
                     {"days", range.days},
                     {"step_minutes", range.stepMinutes},
                     {"daynight_profile", range.profile != nullptr},
                     {"policy", tarnix::schemePolicyName(p_stResult.start.policy)},
                     {"start",
                      {{"time", minuteText(range.fromMinute)},
                       {"scheme", p_stResult.start.to},
                       {"reason", tarnix::decisionReason(p_stResult.start)}}},
                     {"switches", p_stResult.changes.size()},
                     {"flips", p_stResult.flips},
                     {"flip_minutes", kFlipMinutes},
                     {"minutes_in_scheme", jMinutes}};
    json jReport = {{"changes", jChanges}, {"summary", jSummary}};
    return jReport.dump(2) + "\n";
}

void runTimeline(Session& p_objSession, const Options& p_stOptions) {
    TimelineRange stRange;
    stRange.fromMinute = p_stOptions.fromMinute;
    stRange.toMinute = p_stOptions.toMinute;
    stRange.days = p_stOptions.days;
    stRange.stepMinutes = p_stOptions.stepMinutes;
    if (stRange.fromMinute >= stRange.toMinute) {
        usageError(format("--from %s must come before --to %s", minuteText(stRange.fromMinute).c_str(),
                          minuteText(stRange.toMinute).c_str()));
    }
    DayNightProfile objProfile;
    std::string strProfile;
    if (p_stOptions.has("daynight")) {
        strProfile = resolveFileArg(p_stOptions.dayNightFile, p_objSession.device().root());
        objProfile = DayNightProfile::read(strProfile);
        stRange.profile = &objProfile;
    }

    const TimelineResult stResult = replayTimeline(p_objSession, stRange);
    const tarnix::DecisionRecord& stStart = stResult.start;
    say("timeline: channel %d, %s to %s in steps of %d min, %d day%s; policy %s%s; day/night %s",
        stResult.channel, minuteText(stRange.fromMinute).c_str(), minuteText(stRange.toMinute).c_str(),
        stRange.stepMinutes, stRange.days, stRange.days == 1 ? "" : "s", tarnix::schemePolicyName(stStart.policy),
        stStart.lprDevice ? " (plate recognition)" : "",
        stRange.profile != nullptr ? ("from " + p_stOptions.dayNightFile).c_str() : "as the ISP reports it");
    say("start %s scheme %d: %s", minuteText(stRange.fromMinute).c_str(), stStart.to,
        tarnix::decisionReason(stStart).c_str());
    for (const TimelineChange& stChange : stResult.changes) {
        say("%s", timelineChangeLine(stResult, stChange).c_str());
    }
    std::string strFlips;
    for (const TimelineChange& stChange : stResult.changes) {
        if (stChange.flip) {
            strFlips += (strFlips.empty() ? " (" : ", ") + dayPrefix(stResult, stChange.day) + minuteText(stChange.minute);
        }
    }
    say("summary: %zu switch%s, %zu flip%s within %d minutes of the switch before%s", stResult.changes.size(),
        stResult.changes.size() == 1 ? "" : "es", stResult.flips, stResult.flips == 1 ? "" : "s", kFlipMinutes,
        strFlips.empty() ? "" : (strFlips + ")").c_str());
    long nTotal = 0;
    for (const auto& entry : stResult.minutesInScheme) {
        nTotal += entry.second;
    }
    for (const auto& entry : stResult.minutesInScheme) {
        say("  scheme %d: %s (%.1f%%)", entry.first, durationText(entry.second).c_str(),
            nTotal > 0 ? 100.0 * static_cast<double>(entry.second) / static_cast<double>(nTotal) : 0.0);
    }
    if (p_stOptions.has("json")) {
        writeTextFile(p_stOptions.jsonFile, timelineJson(stResult));
        say("timeline: JSON report written to %s", p_stOptions.jsonFile.c_str());
    }
    if (p_stOptions.has("svg")) {
        writeTextFile(p_stOptions.svgFile, timelineSvg(stResult));
        say("timeline: chart written to %s", p_stOptions.svgFile.c_str());
    }
}

} // namespace sensorctl
