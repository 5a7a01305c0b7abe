// sensorctl explain: a decision record in plain sentences.
#include "tools/sensorctl/Explain.h"

#include <sys/stat.h>

#include "tools/sensorctl/Commands.h"
#include "tools/sensorctl/DecisionJson.h"
#include "tools/sensorctl/Output.h"
#include "tools/sensorctl/SchemeFile.h"
#include "tools/sensorctl/SchemeReplay.h"

namespace sensorctl {

namespace {

// Positions of the window inside every scheme row.
constexpr size_t kEntryStartHour = 1;
constexpr size_t kEntryEndMin = 4;

using tarnix::DecisionOutcome;
using tarnix::DecisionRecord;
using tarnix::DecisionSource;
using tarnix::SchemePolicy;

std::string clockText(const PXDateTime& p_stTime) { return format("%02d:%02d", p_stTime.hour, p_stTime.minute); }

std::string windowText(u32 p_nStart, u32 p_nEnd) {
    return tarnix::hhmmText(p_nStart) + "-" + tarnix::hhmmText(p_nEnd);
}

// Does the window hold the time, and if not, why not.
std::string holdsText(u32 p_nStart, u32 p_nEnd, u32 p_nNow, bool p_bHolds) {
    if (p_bHolds) {
        return "holds " + tarnix::hhmmText(p_nNow);
    }
    if (p_nStart >= p_nEnd) {
        return "holds no time (a window ends after it starts and never wraps past midnight)";
    }
    return "does not hold " + tarnix::hhmmText(p_nNow);
}

std::string policyLine(const DecisionRecord& r) {
    std::string strPolicy;
    switch (r.policy) {
    case SchemePolicy::TimePlan:
        strPolicy = "time plan: the first scheme whose window holds the clock, scheme 0 when none does";
        break;
    case SchemePolicy::DayNight:
        strPolicy = "day/night: scheme 0 by day, scheme 1 by night";
        break;
    case SchemePolicy::None:
        strPolicy = "none: the scheme changes only when the host picks one";
        break;
    }
    return "policy: " + strPolicy + " (scheme mode, key 8000, of scheme 0); automatic switching " +
           (r.mode == 0 ? std::string("is suspended (mode 0)") : format("is on (mode %d)", r.mode));
}

std::string dayNightLine(const DecisionRecord& r) {
    if (r.dnStateRead) {
        if (r.dnReadFailed) {
            return "day/night: the ISP's state could not be read (command 153); that counts as day";
        }
        return format("day/night: the ISP reports %s (command 153 reads %d)", r.dnState == 0 ? "day" : "night",
                      r.dnState);
    }
    if (r.source != DecisionSource::SensorPass) {
        return "day/night: not read; a host operation decided";
    }
    if (r.outcome == DecisionOutcome::HeldSuspended || r.outcome == DecisionOutcome::Postponed) {
        return "day/night: not read; the pass did not get to a decision";
    }
    if (r.policy == SchemePolicy::TimePlan && r.lprDevice) {
        return "day/night: not read; a window holds the time, and windows come first on a plate-recognition device";
    }
    if (r.policy == SchemePolicy::TimePlan) {
        return "day/night: not read; the time plan alone decides on this device";
    }
    return "day/night: not read; no automatic policy is in force";
}

void windowLines(const DecisionRecord& r, const std::vector<StoredWindow>& p_vecStored,
                 std::vector<std::string>& p_vecLines) {
    if (!r.windowsRead) {
        p_vecLines.push_back(r.policy == SchemePolicy::TimePlan
                                 ? std::string("windows: not compared in this decision")
                                 : "windows: not consulted under the " + std::string(tarnix::schemePolicyName(r.policy)) +
                                       " policy");
        return;
    }
    p_vecLines.push_back("windows compared with " + tarnix::hhmmText(r.now) +
                         ", in scheme order (the first that holds it wins):");
    const u32 nSchemes = r.schemeCount;
    for (u32 i = 0; i < nSchemes; ++i) {
        if (i < r.windowCount && i < DecisionRecord::kMaxWindows) {
            const tarnix::SchemeWindow& w = r.windows[i];
            p_vecLines.push_back(format("  scheme %u: %s %s", i, windowText(w.start, w.end).c_str(),
                                        holdsText(w.start, w.end, r.now, w.holdsNow).c_str()));
        } else if (i < r.windowCount) {
            p_vecLines.push_back(format("  scheme %u: compared, but records keep the first %u windows only", i,
                                        DecisionRecord::kMaxWindows));
        } else if (i < p_vecStored.size() && p_vecStored[i].known) {
            const StoredWindow& w = p_vecStored[i];
            const bool bHolds = w.start <= r.now && r.now < w.end;
            p_vecLines.push_back(format("  scheme %u: %s as stored, not compared: scheme %d came first (it %s)", i,
                                        windowText(w.start, w.end).c_str(), r.matchedWindow,
                                        bHolds ? ("would hold " + tarnix::hhmmText(r.now)).c_str()
                                               : holdsText(w.start, w.end, r.now, false).c_str()));
        } else {
            p_vecLines.push_back(format("  scheme %u: not compared: scheme %d came first", i, r.matchedWindow));
        }
    }
    if (r.matchedWindow < 0) {
        p_vecLines.push_back("  no window holds " + tarnix::hhmmText(r.now) + ": scheme 0 applies by default");
    }
}

std::string plateLine(const DecisionRecord& r) {
    if (!r.lprDevice) {
        return "plate recognition: no, an ordinary device";
    }
    return format("plate recognition: yes; windows come first, outside them the day/night state picks scheme 0 or 1 "
                  "and applies it in full with day/night mode 0; the last schedule (m_nLastSchedule) was %u and is "
                  "%u",
                  r.lastSchedule, r.lastScheduleAfter);
}

std::string recordLine(const DecisionRecord& r) {
    std::string strLine = format("record: sequence %llu, %s at %s, outcome %s", r.sequence,
                                 tarnix::decisionSourceName(r.source), clockText(r.time).c_str(),
                                 tarnix::decisionOutcomeName(r.outcome));
    if (r.outcome == DecisionOutcome::Switched) {
        strLine += format(" %d -> %d (%s, %u ISP calls)", r.from, r.to, r.forced ? "forced" : "differential",
                          r.ispCalls);
    } else {
        strLine += format(", scheme %d stays", r.to);
    }
    strLine += format(", selected %d, schedule %d", r.selected, r.schedule);
    if (r.passes > 1) {
        strLine += format(", the same in %u passes until %s", r.passes, clockText(r.lastTime).c_str());
    }
    return strLine;
}

} // namespace

std::vector<StoredWindow> storedWindows(const Device& p_objDevice) {
    std::vector<StoredWindow> vecOut;
    for (u32 s = 0; s < p_objDevice.schemeCount() && s < DecisionRecord::kMaxWindows * 16; ++s) {
        StoredWindow stWindow;
        const std::string strPath = p_objDevice.hostPath(p_objDevice.schemeFile(static_cast<int>(s)));
        struct stat st;
        if (::stat(strPath.c_str(), &st) == 0) {
            try {
                const std::vector<KeyVal> vecRecords = readSchemeRecords(strPath);
                if (vecRecords.size() > kEntryEndMin) {
                    stWindow.known = true;
                    stWindow.start = vecRecords[kEntryStartHour].value * 100u + vecRecords[kEntryStartHour + 1].value;
                    stWindow.end = vecRecords[kEntryStartHour + 2].value * 100u + vecRecords[kEntryEndMin].value;
                }
            } catch (const ToolError&) {
                // An unreadable file leaves the window unknown.
            }
        }
        vecOut.push_back(stWindow);
    }
    return vecOut;
}

std::vector<std::string> explainDecision(const DecisionRecord& p_stRecord, int p_nChannel,
                                         const std::vector<StoredWindow>& p_vecStored) {
    const DecisionRecord& r = p_stRecord;
    std::vector<std::string> vecLines;
    vecLines.push_back(format("explain: channel %d at %s: scheme %d is in force", p_nChannel,
                              clockText(r.time).c_str(), r.to));
    vecLines.push_back(policyLine(r));
    vecLines.push_back(dayNightLine(r));
    windowLines(r, p_vecStored, vecLines);
    vecLines.push_back(plateLine(r));
    vecLines.push_back(format("result: scheme %d: ", r.to) + tarnix::decisionReason(r));
    vecLines.push_back(recordLine(r));
    return vecLines;
}

void runExplain(Session& p_objSession, const Options& p_stOptions) {
    DecisionRecord stRecord;
    {
        SchemeReplay objReplay(p_objSession);
        stRecord = p_stOptions.has("at") ? objReplay.decideAt(p_stOptions.atHour, p_stOptions.atMinute, -1)
                                         : objReplay.decideAt(-1, -1, -1);
    }
    const std::vector<std::string> vecLines =
        explainDecision(stRecord, p_objSession.device().cameraId(), storedWindows(p_objSession.device()));
    for (const std::string& strLine : vecLines) {
        say("%s", strLine.c_str());
    }
    if (p_stOptions.has("json")) {
        nlohmann::json jReport = {{"record", decisionJson(stRecord)}, {"explanation", vecLines}};
        writeTextFile(p_stOptions.jsonFile, jReport.dump(2) + "\n");
        say("explain: JSON written to %s", p_stOptions.jsonFile.c_str());
    }
}

} // namespace sensorctl
