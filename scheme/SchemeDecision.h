#pragma once
// The record of one scheme decision: why the scheme in force is the one it
// is. A controller fills one record after each pass of its "SensorThread"
// and after each host operation that decides a scheme (init, setParamScheme,
// setParamMode, resetParameters, and a scheme that a video module asked for
// from inside a busy operation), from the very values the decision used.
// A host receives them through ISensorController::setDecisionObserver and
// reads the latest ones with getDecisionHistory (docs/host-integration.md).
#include <string>

#include "controller/SensorTypes.h"
#include "platform/PXDeviceTime.h"

namespace tarnix {

// What made the decision.
enum class DecisionSource : u8 {
    SensorPass,    // one pass of "SensorThread" (also the pass init runs itself)
    Init,          // init: scheme 0 when no automatic policy is in force
    SetScheme,     // setParamScheme
    SetMode,       // setParamMode
    FactoryReset,  // resetParameters
    ModuleRequest, // a setParamScheme made from inside a busy operation, carried out when it ended
};

// The automatic policy in force (the scheme mode of scheme 0). With both
// policy flags set, day/night is the one that acts.
enum class SchemePolicy : u8 {
    None,     // no automatic switching
    TimePlan, // the scheme whose time window holds the clock
    DayNight, // scheme 0 by day, scheme 1 by night
};

enum class DecisionOutcome : u8 {
    NoChange,      // the scheme in force stays
    Switched,      // a switch from `from` to `to`, forced (every entry sent) or differential
    SkippedBusy,   // a switch was due, but a busy flag (busyFlags) held it back
    HeldSuspended, // automatic switching is suspended (mode 0)
    Deferred,      // setParamScheme from inside a busy operation: carried out when that ends
    Postponed,     // the pass did not get the controller within one pass period; the next pass decides
};

// One scheme's time window as the time plan compared it, hhmm = hour * 100 + minute.
struct SchemeWindow {
    u32 start = 0;
    u32 end = 0;
    bool holdsNow = false; // start <= now < end
};

struct DecisionRecord {
    // Windows kept per record; further schemes are counted in windowCount only.
    static const u32 kMaxWindows = 16;

    unsigned long long sequence = 0; // 1, 2, ... per controller, in the order the decisions ended
    DecisionSource source = DecisionSource::SensorPass;
    PXDateTime time = {};            // the platform clock at the decision

    // Policy in force.
    SchemePolicy policy = SchemePolicy::None;
    bool lprDevice = false;          // plate-recognition device
    int mode = 1;                    // m_nMode: 0 suspends automatic switching
    u32 schemeCount = 0;             // user schemes; the factory scheme has this index

    // Inputs that mattered.
    bool dnStateRead = false;        // the day/night state was read from the ISP
    bool dnReadFailed = false;       // ... and the read failed (counts as day)
    int dnState = 0;                 // 0 day, anything else night
    bool windowsRead = false;        // the time plan compared the clock with the windows
    u32 now = 0;                     // the clock as hhmm, as compared
    u32 windowCount = 0;             // windows compared: up to and including the first that holds now
    SchemeWindow windows[kMaxWindows];
    int matchedWindow = -1;          // the scheme whose window holds now, -1 for none
    int schedule = 0;                // nSchedule: 1 inside a window, 0 outside every window
    u32 lastSchedule = 0;            // m_nLastSchedule before the decision (plate recognition)
    u32 lastScheduleAfter = 0;       // m_nLastSchedule after it
    int selected = -1;               // the scheme the decision selected, -1 when it selected none
    int requested = 0;               // SetScheme, SetMode, ModuleRequest: the scheme or mode asked for
    u32 busyWaits = 0;               // SetScheme, SetMode: 0.5 s waits for the busy flags

    // Outcome.
    DecisionOutcome outcome = DecisionOutcome::NoChange;
    int from = 0;                    // scheme in force before
    int to = 0;                      // scheme in force after (SkippedBusy: the selected one stays due)
    bool forced = false;             // Switched: every entry sent, not only those that differ
    bool dnModeZeroed = false;       // Switched by the plate-recognition day/night apply (KEY_DN_MODE sent as 0)
    u8 busyFlags = 0;                // SkippedBusy: the busy flags found set (ISensorController::FLAG_*)
    u32 ispCalls = 0;                // ISP calls the switch sent

    // History only: a run of equal decisions of the sensor thread that
    // change nothing is kept as one entry; passes counts them and lastTime is
    // the time of the last. 1 and `time` in records given to the observer.
    u32 passes = 1;
    PXDateTime lastTime = {};
};

// Names of the values, as the tools print them ("pass", "time plan", ...).
const char* decisionSourceName(DecisionSource p_eSource);
const char* schemePolicyName(SchemePolicy p_ePolicy);
const char* decisionOutcomeName(DecisionOutcome p_eOutcome);

// Why the decision came out as it did, in one sentence, from the record's
// fields ("the window 18:00-22:00 of scheme 1 holds 18:00").
std::string decisionReason(const DecisionRecord& p_stRecord);
// One line: time, source, outcome and reason
// ("18:00 pass: switched 0 -> 1 (differential, 3 ISP calls): the window ...").
std::string decisionSummary(const DecisionRecord& p_stRecord);
// "HH:MM" of an hhmm value (24:00 stays 24:00).
std::string hhmmText(u32 p_nHhmm);

} // namespace tarnix
