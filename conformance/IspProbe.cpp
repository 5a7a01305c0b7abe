// Guarded ISP calls and the reads of the dynamic command list and range
// records, bounded exactly as the library bounds them.
#include "conformance/IspProbe.h"

#include <algorithm>
#include <cstdio>

#include "conformance/LibraryFacts.h"

namespace conformance {

namespace {

// Guard word i: a pattern no ISP writes by chance, different per word.
uint32_t guardWord(size_t p_nIndex) { return 0xC0DEF00Du ^ static_cast<uint32_t>(p_nIndex * 0x9E3779B1u); }

} // namespace

Probe::Probe(size_t p_nWords) : m_nWords(p_nWords), m_vecWords(p_nWords + kGuardWords, 0u) { clear(); }

void Probe::clear() {
    std::fill(m_vecWords.begin(), m_vecWords.begin() + static_cast<std::ptrdiff_t>(m_nWords), 0u);
    for (size_t i = 0; i < kGuardWords; ++i) {
        m_vecWords[m_nWords + i] = guardWord(i);
    }
}

int Probe::call(const IspCall& p_fnIsp, int p_nChannel, uint32_t p_nCmd, unsigned int p_nOpt) {
    return p_fnIsp(p_nChannel, p_nCmd, p_nOpt, m_vecWords.data());
}

size_t Probe::overrun() const {
    for (size_t i = kGuardWords; i > 0; --i) {
        if (m_vecWords[m_nWords + i - 1] != guardWord(i - 1)) {
            return i;
        }
    }
    return 0;
}

bool readValue(const IspCall& p_fnIsp, int p_nChannel, uint32_t p_nCmd, uint32_t& p_nValue, int* p_pResult) {
    Probe probe(1);
    int nResult = probe.call(p_fnIsp, p_nChannel, p_nCmd, 1);
    if (p_pResult != nullptr) {
        *p_pResult = nResult;
    }
    if (nResult != 0) {
        return false;
    }
    p_nValue = probe[0];
    return true;
}

int setValue(const IspCall& p_fnIsp, int p_nChannel, uint32_t p_nCmd, uint32_t p_nValue) {
    Probe probe(1);
    probe[0] = p_nValue;
    return probe.call(p_fnIsp, p_nChannel, p_nCmd, 0);
}

CommandList readCommandList(const IspCall& p_fnIsp, int p_nChannel) {
    Probe probe(commandListWords());
    CommandList list;
    list.result = probe.call(p_fnIsp, p_nChannel, commandListCommand(), 1);
    if (list.result != 0) {
        return list;
    }
    list.count = static_cast<int32_t>(probe[0]);
    const size_t nEntries = list.count < 0 ? 0 : std::min(static_cast<size_t>(list.count), maxDynamicCommands());
    for (size_t i = 0; i < nEntries; ++i) {
        list.commands.push_back(probe[1 + i]);
    }
    return list;
}

RangeRecord readRange(const IspCall& p_fnIsp, int p_nChannel, uint32_t p_nCmd) {
    Probe probe(rangeRecordWords());
    RangeRecord record;
    record.result = probe.call(p_fnIsp, p_nChannel, p_nCmd, 2);
    if (record.result != 0) {
        return record;
    }
    record.type = static_cast<int32_t>(probe[0]);
    record.def = static_cast<int32_t>(probe[1]);
    record.min = static_cast<int32_t>(probe[2]);
    record.max = static_cast<int32_t>(probe[3]);
    record.count = static_cast<int32_t>(probe[4]);
    const size_t nItems = record.count < 0 ? 0 : std::min(static_cast<size_t>(record.count), maxRangeItems());
    for (size_t i = 0; i < nItems; ++i) {
        record.items.push_back(static_cast<int32_t>(probe[5 + i]));
    }
    return record;
}

std::string listText(const std::vector<std::string>& p_vecItems, size_t p_nShown) {
    std::string text;
    const size_t nShown = std::min(p_nShown, p_vecItems.size());
    for (size_t i = 0; i < nShown; ++i) {
        text += (i == 0 ? "" : ", ") + p_vecItems[i];
    }
    if (p_vecItems.size() > nShown) {
        text += " and " + std::to_string(p_vecItems.size() - nShown) + " more";
    }
    return text;
}

std::string commandText(uint32_t p_nCmd) {
    std::string keys = keysOf(p_nCmd);
    return keys.empty() ? "command " + std::to_string(p_nCmd) : keys;
}

std::string hexText(uint32_t p_nValue) {
    char szText[16];
    std::snprintf(szText, sizeof(szText), "0x%x", p_nValue);
    return szText;
}

} // namespace conformance
