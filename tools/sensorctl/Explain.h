#pragma once
// sensorctl explain: why the scheme in force is the one it is, in plain
// sentences built from a decision record: the policy in force, the
// day/night state, every scheme's window and whether it holds the time,
// the plate-recognition state, the resulting scheme and the record's fields.
#include <string>
#include <vector>

#include "tools/sensorctl/Args.h"
#include "tools/sensorctl/Device.h"

namespace sensorctl {

// A scheme's window as its stored file holds it (entries 1 to 4).
struct StoredWindow {
    bool known = false; // the file exists and holds the entries
    u32 start = 0;      // hhmm
    u32 end = 0;
};

// The windows of the user schemes as stored in the device root's files.
std::vector<StoredWindow> storedWindows(const Device& p_objDevice);

// The explanation, one sentence per line. Windows the time plan did not
// compare (an earlier one held the time) are shown from p_vecStored.
std::vector<std::string> explainDecision(const tarnix::DecisionRecord& p_stRecord, int p_nChannel,
                                         const std::vector<StoredWindow>& p_vecStored);

// The command: one pass at --at HH:MM (or at the clock as it is) and its explanation.
void runExplain(Session& p_objSession, const Options& p_stOptions);

} // namespace sensorctl
