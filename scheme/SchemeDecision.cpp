// Names and sentences of a scheme decision record, built from its fields.
#include "scheme/SchemeDecision.h"

#include <cstdarg>
#include <cstdio>

#include "controller/ISensorController.h"

namespace tarnix {

namespace {

std::string format(const char* p_szFormat, ...) __attribute__((format(printf, 1, 2)));
std::string format(const char* p_szFormat, ...) {
    char szText[512];
    va_list args;
    va_start(args, p_szFormat);
    std::vsnprintf(szText, sizeof(szText), p_szFormat, args);
    va_end(args);
    return szText;
}

const char* dayOrNight(int p_nState) { return p_nState == 0 ? "day" : "night"; }

// "switching, resetting" of the busy flags set.
std::string busyNames(u8 p_nFlags) {
    std::string strNames;
    const struct {
        u8 bit;
        const char* name;
    } kFlags[] = {{ISensorController::FLAG_SWITCHING, "switching"},
                  {ISensorController::FLAG_RESETTING, "resetting"},
                  {ISensorController::FLAG_RESTORING, "restoring"}};
    for (const auto& stFlag : kFlags) {
        if ((p_nFlags & stFlag.bit) != 0) {
            strNames += (strNames.empty() ? "" : ", ") + std::string(stFlag.name);
        }
    }
    return strNames.empty() ? "none" : strNames;
}

// What the time plan found: the window that holds the clock, or none.
std::string windowFinding(const DecisionRecord& p_stRecord) {
    const int nMatch = p_stRecord.matchedWindow;
    if (nMatch >= 0) {
        if (static_cast<u32>(nMatch) < DecisionRecord::kMaxWindows) {
            const SchemeWindow& stWindow = p_stRecord.windows[nMatch];
            return format("the window %s-%s of scheme %d holds %s", hhmmText(stWindow.start).c_str(),
                          hhmmText(stWindow.end).c_str(), nMatch, hhmmText(p_stRecord.now).c_str());
        }
        return format("the window of scheme %d holds %s", nMatch, hhmmText(p_stRecord.now).c_str());
    }
    return format("no window holds %s", hhmmText(p_stRecord.now).c_str());
}

std::string dayNightFinding(const DecisionRecord& p_stRecord) {
    if (p_stRecord.dnReadFailed) {
        return "the day/night state could not be read, which counts as day";
    }
    return format("the ISP reports %s", dayOrNight(p_stRecord.dnState));
}

// The reason of a sensor pass that got to its decision.
std::string passReason(const DecisionRecord& p_stRecord) {
    switch (p_stRecord.policy) {
    case SchemePolicy::None:
        return "no automatic policy is in force";
    case SchemePolicy::DayNight:
        return "day/night policy: " + dayNightFinding(p_stRecord) +
               format(", which selects scheme %d", p_stRecord.dnState == 0 ? 0 : 1);
    case SchemePolicy::TimePlan:
        break;
    }
    std::string strReason = "time plan: " + windowFinding(p_stRecord);
    if (!p_stRecord.lprDevice) {
        if (p_stRecord.matchedWindow < 0) {
            strReason += ", so scheme 0 applies by default";
        }
        return strReason;
    }
    if (p_stRecord.schedule != 0) {
        if (p_stRecord.outcome == DecisionOutcome::Switched) {
            strReason += p_stRecord.forced ? "; the window has just begun, so it is applied in full"
                                           : "; the window was in force already, its scheme is applied again";
        }
        return strReason + " (plate recognition)";
    }
    strReason += "; outside every window " + dayNightFinding(p_stRecord) +
                 format(", which selects scheme %d", p_stRecord.dnState == 0 ? 0 : 1);
    if (p_stRecord.outcome == DecisionOutcome::Switched) {
        strReason += ", applied in full with day/night mode 0";
    }
    return strReason + " (plate recognition)";
}

} // namespace

std::string hhmmText(u32 p_nHhmm) { return format("%02u:%02u", p_nHhmm / 100u, p_nHhmm % 100u); }

const char* decisionSourceName(DecisionSource p_eSource) {
    switch (p_eSource) {
    case DecisionSource::SensorPass:
        return "pass";
    case DecisionSource::Init:
        return "init";
    case DecisionSource::SetScheme:
        return "setParamScheme";
    case DecisionSource::SetMode:
        return "setParamMode";
    case DecisionSource::FactoryReset:
        return "resetParameters";
    case DecisionSource::ModuleRequest:
        return "module request";
    }
    return "?";
}

const char* schemePolicyName(SchemePolicy p_ePolicy) {
    switch (p_ePolicy) {
    case SchemePolicy::None:
        return "none";
    case SchemePolicy::TimePlan:
        return "time plan";
    case SchemePolicy::DayNight:
        return "day/night";
    }
    return "?";
}

const char* decisionOutcomeName(DecisionOutcome p_eOutcome) {
    switch (p_eOutcome) {
    case DecisionOutcome::NoChange:
        return "no change";
    case DecisionOutcome::Switched:
        return "switched";
    case DecisionOutcome::SkippedBusy:
        return "skipped (busy)";
    case DecisionOutcome::HeldSuspended:
        return "held (suspended)";
    case DecisionOutcome::Deferred:
        return "deferred";
    case DecisionOutcome::Postponed:
        return "postponed";
    }
    return "?";
}

std::string decisionReason(const DecisionRecord& p_stRecord) {
    const DecisionRecord& r = p_stRecord;
    switch (r.source) {
    case DecisionSource::SetScheme:
        if (r.outcome == DecisionOutcome::Deferred) {
            return format("the host asked for scheme %d from inside a busy operation; it is switched to when that "
                          "operation ends",
                          r.requested);
        }
        if (r.requested >= 0 && static_cast<u32>(r.requested) == r.schemeCount) {
            return format("the host asked for scheme %d, the factory scheme", r.requested);
        }
        if (r.requested < 0 || static_cast<u32>(r.requested) > r.schemeCount) {
            return format("the host asked for scheme %d, which is not a scheme of this channel", r.requested);
        }
        if (r.outcome == DecisionOutcome::Switched && r.to != r.requested) {
            // A video module asked for another scheme from inside this
            // switch; its own record comes first.
            return format("the host asked for scheme %d; scheme %d, which a video module asked for during the "
                          "switch, is in force since it ended",
                          r.requested, r.to);
        }
        return format("the host asked for scheme %d", r.requested);
    case DecisionSource::SetMode:
        if (r.mode == 0) {
            return "the host suspended automatic switching (mode 0)";
        }
        return format("the host set mode %d: automatic switching by the %s policy", r.mode,
                      schemePolicyName(r.policy));
    case DecisionSource::FactoryReset:
        return format("factory reset: the factory scheme %u was applied, the stored schemes deleted and the channel "
                      "initialised again with scheme %d in force",
                      r.schemeCount, r.to);
    case DecisionSource::ModuleRequest:
        return format("a video module asked for scheme %d during a busy operation, carried out when it ended",
                      r.requested);
    case DecisionSource::Init:
        if (r.policy == SchemePolicy::None) {
            return "no automatic policy is in force, so init puts scheme 0 in force";
        }
        return format("the %s policy is in force: the first pass decides", schemePolicyName(r.policy));
    case DecisionSource::SensorPass:
        break;
    }
    switch (r.outcome) {
    case DecisionOutcome::HeldSuspended:
        return "automatic switching is suspended (mode 0)";
    case DecisionOutcome::Postponed:
        return "the controller stayed busy for a whole pass period; the next pass decides";
    case DecisionOutcome::SkippedBusy:
        return passReason(r) + format(", but a busy operation (%s) held the switch to scheme %d back",
                                      busyNames(r.busyFlags).c_str(), r.selected);
    default:
        return passReason(r);
    }
}

std::string decisionSummary(const DecisionRecord& p_stRecord) {
    const DecisionRecord& r = p_stRecord;
    std::string strLine = format("%02d:%02d %s: ", r.time.hour, r.time.minute, decisionSourceName(r.source));
    switch (r.outcome) {
    case DecisionOutcome::Switched:
        strLine += format("switched %d -> %d (%s, %u ISP calls)", r.from, r.to, r.forced ? "forced" : "differential",
                          r.ispCalls);
        break;
    case DecisionOutcome::NoChange:
        strLine += format("no change, scheme %d", r.to);
        break;
    default:
        strLine += format("%s, scheme %d", decisionOutcomeName(r.outcome), r.to);
        break;
    }
    return strLine + ": " + decisionReason(r);
}

} // namespace tarnix
