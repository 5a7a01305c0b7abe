#pragma once
// Internals of the simulated ISP shared by its translation units: the
// per-channel state, the buffer layouts of the commands and the few setters
// that only the profile loader needs. Not part of the public API.
#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace ispsim {
namespace internal {

// Text returned by command 2496 until a profile sets another one.
extern const char* const kDefaultVersion;
// Longest call log kept; older calls are dropped first.
constexpr size_t kMaxLoggedCalls = 100000;

// A command registered with setDynamicParam.
struct DynamicParam {
    int32_t nDefault = 0;
    int32_t nType = 0;
    std::vector<int32_t> vecItems;   // at most IA_DYNAMIC_ITEM_MAX values
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

} // namespace internal
} // namespace ispsim
