// Scheme decision records as JSON.
#include "tools/sensorctl/DecisionJson.h"

#include <cstdio>

namespace sensorctl {

namespace {

std::string clockText(const PXDateTime& p_stTime) {
    char szText[16];
    std::snprintf(szText, sizeof(szText), "%02d:%02d:%02d", p_stTime.hour, p_stTime.minute, p_stTime.second);
    return szText;
}

} // namespace

nlohmann::json decisionJson(const tarnix::DecisionRecord& r) {
    using nlohmann::json;
    json jWindows = json::array();
    const u32 nKept = r.windowCount < tarnix::DecisionRecord::kMaxWindows ? r.windowCount
                                                                          : tarnix::DecisionRecord::kMaxWindows;
    for (u32 i = 0; i < nKept; ++i) {
        jWindows.push_back({{"scheme", i},
                            {"start", tarnix::hhmmText(r.windows[i].start)},
                            {"end", tarnix::hhmmText(r.windows[i].end)},
                            {"holds_now", r.windows[i].holdsNow}});
    }
    return {{"sequence", r.sequence},
            {"source", tarnix::decisionSourceName(r.source)},
            {"time", clockText(r.time)},
            {"policy", tarnix::schemePolicyName(r.policy)},
            {"plate_recognition", r.lprDevice},
            {"mode", r.mode},
            {"scheme_count", r.schemeCount},
            {"daynight_read", r.dnStateRead},
            {"daynight_read_failed", r.dnReadFailed},
            {"daynight_state", r.dnState},
            {"windows_read", r.windowsRead},
            {"now", tarnix::hhmmText(r.now)},
            {"window_count", r.windowCount},
            {"windows", jWindows},
            {"matched_window", r.matchedWindow},
            {"schedule", r.schedule},
            {"last_schedule", r.lastSchedule},
            {"last_schedule_after", r.lastScheduleAfter},
            {"selected", r.selected},
            {"requested", r.requested},
            {"busy_waits", r.busyWaits},
            {"outcome", tarnix::decisionOutcomeName(r.outcome)},
            {"from", r.from},
            {"to", r.to},
            {"forced", r.forced},
            {"daynight_mode_zeroed", r.dnModeZeroed},
            {"busy_flags", r.busyFlags},
            {"isp_calls", r.ispCalls},
            {"passes", r.passes},
            {"last_time", clockText(r.lastTime)},
            {"reason", tarnix::decisionReason(r)},
            {"summary", tarnix::decisionSummary(r)}};
}

} // namespace sensorctl
