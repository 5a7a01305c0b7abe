#pragma once
// ISP calls on guarded buffers: the record the call moves, followed by guard
// words. An ISP that writes past the record writes into the guard, not past
// the checker's memory (as long as it stays within kGuardWords), and the
// damage tells by how many words it overran.
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "conformance/Check.h"

namespace conformance {

class Probe {
public:
    // Guard words behind every record: more than the library's largest
    // value buffer, so any overrun the library could suffer is measured.
    static constexpr size_t kGuardWords = 256;

    // A buffer for a record of p_nWords words, zero-filled like the
    // library's own buffers.
    explicit Probe(size_t p_nWords);

    uint32_t* data() { return m_vecWords.data(); }
    uint32_t& operator[](size_t p_nIndex) { return m_vecWords[p_nIndex]; }
    size_t words() const { return m_nWords; }

    // Zero-fills the record and restores the guard.
    void clear();
    // ia_ioctrl_v2 on the buffer; the result as the ISP returned it.
    int call(const IspCall& p_fnIsp, int p_nChannel, uint32_t p_nCmd, unsigned int p_nOpt);
    // Words written past the record by the last call: the index of the last
    // changed guard word plus one, 0 when the guard is intact.
    size_t overrun() const;

private:
    size_t m_nWords;
    std::vector<uint32_t> m_vecWords;
};

// Reads one 32-bit value (option 1); false when the ISP reports failure.
bool readValue(const IspCall& p_fnIsp, int p_nChannel, uint32_t p_nCmd, uint32_t& p_nValue, int* p_pResult = nullptr);
// Sets one 32-bit value (option 0); the ISP's result.
int setValue(const IspCall& p_fnIsp, int p_nChannel, uint32_t p_nCmd, uint32_t p_nValue);

// The ISP's dynamic command list and one range record, as the library reads
// them.
struct CommandList {
    int result = -1;
    int32_t count = 0;
    std::vector<uint32_t> commands;   // the entries the library reads: at most maxDynamicCommands()
};
CommandList readCommandList(const IspCall& p_fnIsp, int p_nChannel);

struct RangeRecord {
    int result = -1;
    int32_t type = 0;
    int32_t def = 0;
    int32_t min = 0;
    int32_t max = 0;
    int32_t count = 0;
    std::vector<int32_t> items;   // the first count entries, at most maxRangeItems()
};
RangeRecord readRange(const IspCall& p_fnIsp, int p_nChannel, uint32_t p_nCmd);

// Text helpers for one-line messages.
// "a, b, c and N more" after p_nShown entries.
std::string listText(const std::vector<std::string>& p_vecItems, size_t p_nShown = 6);
// The keys of cmd, or "command N" when no key drives it.
std::string commandText(uint32_t p_nCmd);
std::string hexText(uint32_t p_nValue);

} // namespace conformance
