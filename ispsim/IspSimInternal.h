#pragma once
// Internals of the simulated ISP shared by its translation units: the
// per-channel state, the buffer layouts of the commands and the few setters
// that only the profile loader needs. Not part of the public API.
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace ispsim {
namespace internal {

// Text returned by command 2496 until a profile sets another one.
extern const char* const kDefaultVersion;
// Longest call log kept; older calls are dropped first.
constexpr size_t kMaxLoggedCalls = 100000;
// Command ids are 16-bit: a larger id names no command and fails.
constexpr uint32_t kLastCommand = 0xFFFF;
// Most words a seeded overrun writes past a record.
constexpr uint32_t kMaxOverrunWords = 64;
// Result of a call that arrives while the channel is still busy with one.
constexpr int kBusyResult = -16;

// A command registered with setDynamicParam.
struct DynamicParam {
    int32_t nDefault = 0;
    int32_t nType = 0;
    std::vector<int32_t> vecItems;   // at most IA_DYNAMIC_ITEM_MAX values
    // Bounds reported in the range record; without them the smallest and
    // largest item.
    bool bHasMin = false;
    bool bHasMax = false;
    int32_t nMin = 0;
    int32_t nMax = 0;
};

// Faults seeded into one channel by profile "defect" lines, so that a tool
// that checks an ISP against what the library needs can be shown to catch
// them. None is active unless a profile asks for it.
struct ChannelDefects {
    std::set<uint32_t> setIgnoredSets;                           // sets succeed, nothing is stored
    std::map<std::pair<uint32_t, unsigned int>, uint32_t> mapOverrun; // (cmd, opt) -> words written past the record
    std::map<uint32_t, uint32_t> mapDelayMicros;                 // every call of the command takes this long
    std::map<uint32_t, int32_t> mapCorrectTo;                    // option 3 answers this value
    std::map<uint32_t, int32_t> mapItemsCount;                   // range record reports this item count
    bool bUncappedList = false;                                  // 4112 counts every dynamic command
    uint32_t nBusyMicros = 0;                                    // calls take this long and may not overlap
};

// Faults of the whole simulated ISP.
struct GlobalDefects {
    bool bAcceptUnknown = false;   // ids above kLastCommand act like any other command
    bool bSharedChannels = false;  // every channel is channel 0
};

// Everything the ISP keeps for one channel.
struct ChannelState {
    // Stored words per command: one word for most commands, the whole
    // record for the record commands (17 exposure, 178 IR LED).
    std::map<uint32_t, std::vector<uint32_t>> mapValues;
    std::map<uint32_t, DynamicParam> mapDynamic;
    std::vector<uint32_t> vecDynamicOrder;      // first-registration order
    std::map<uint32_t, uint32_t> mapStatus;     // option 4 answers (default 0)
    std::string strVersion = kDefaultVersion;
    ChannelDefects defects;
    bool bInCall = false;                       // a call is being carried out (busy defect)
};

// Number of 32-bit words the buffer of (cmd, opt) holds.
size_t bufferWords(uint32_t p_nCmd, unsigned int p_nOpt);

// Carries out one call on a channel. p_vecWords holds the caller's buffer
// (bufferWords() words) and receives what the ISP writes; p_bWrite tells
// whether it must be copied back. Returns the call's result.
int execute(ChannelState& p_stChannel, uint32_t p_nCmd, unsigned int p_nOpt, std::vector<uint32_t>& p_vecWords,
            bool& p_bWrite);

// Nearest allowed value of p_nValue among p_vecItems (ties: the lower item);
// p_vecItems must not be empty.
int32_t nearestItem(const std::vector<int32_t>& p_vecItems, int32_t p_nValue);

// Setters used by the profile loader (locking, thread-safe).
void setRecord(int p_nChannel, uint32_t p_nCmd, const std::vector<uint32_t>& p_vecWords);
void setVersion(int p_nChannel, const std::string& p_strText);
void setStatus(int p_nChannel, uint32_t p_nCmd, uint32_t p_nStatus);
// Runs p_fnEdit on the channel's state (created when new) under the lock.
void editChannel(int p_nChannel, const std::function<void(ChannelState&)>& p_fnEdit);
// Runs p_fnEdit on the simulator-wide defects under the lock.
void editDefects(const std::function<void(GlobalDefects&)>& p_fnEdit);

} // namespace internal
} // namespace ispsim
