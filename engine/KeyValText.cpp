// Text form of parameter lists: "(key,value)" records back to back, and key
// lists "(k1,k2,...)".
#include "engine/KeyValText.h"

#include <cstdio>
#include <cstring>
#include <limits>

#include "platform/StringHandler.h"

namespace {

// Walks the record text and hands every record to p_fnStore until it
// refuses (returns false) or the text ends.
//
// Both brackets are searched from the current position. Scanning starts
// from one local record set once, so a record that does not scan repeats the
// numbers of the one before it (0,0 at the start), and a record whose value
// does not scan keeps the previous value.
//
// When the ")" found lies before the "(" (as in ")(7,8)"), that pair yields
// no record: the search simply resumes after the ")".
template <typename Store> void walkRecords(const std::string& p_strText, Store p_fnStore) {
    int nKey = 0;
    int nValue = 0;
    size_t nPos = 0;
    const size_t nLength = p_strText.length();
    // The "(" found last. When a ")" before it ends a pair, the next search
    // from just after that ")" finds this same "(" again; keeping it avoids
    // rescanning the text up to it once per such ")".
    size_t nOpen = std::string::npos;
    while (nPos < nLength) {
        if (nOpen == std::string::npos || nOpen < nPos) {
            nOpen = p_strText.find('(', nPos);
        }
        if (nOpen == std::string::npos || nOpen == nLength - 1) {
            break;
        }
        size_t nClose = p_strText.find(')', nPos);
        if (nClose == std::string::npos) {
            break;
        }
        nPos = nClose + 1;
        if (nClose < nOpen) {
            continue;
        }
        std::string strRecord = p_strText.substr(nOpen, nClose - nOpen + 1);
        std::sscanf(strRecord.c_str(), "(%d,%d)", &nKey, &nValue);
        KeyVal stRecord;
        stRecord.key = static_cast<u32>(nKey);
        stRecord.value = static_cast<u32>(nValue);
        if (!p_fnStore(stRecord)) {
            break;
        }
    }
}

} // namespace

u32 keyval_count(const std::string& text) {
    u32 nCount = 0;
    walkRecords(text, [&nCount](const KeyVal&) {
        ++nCount;
        return true;
    });
    return nCount;
}

void keyval_str2st(const std::string& text, KeyVal* records, u32* count) {
    keyval_str2st(text, records, count, std::numeric_limits<u32>::max());
}

void keyval_str2st(const std::string& text, KeyVal* records, u32* count, u32 capacity) {
    u32 nCount = 0;
    if (records != nullptr) {
        walkRecords(text, [&](const KeyVal& stRecord) {
            if (nCount >= capacity) {
                return false;
            }
            records[nCount] = stRecord;
            ++nCount;
            return true;
        });
    }
    if (count != nullptr) {
        *count = nCount;
    }
}

void keyval_st2str(std::string& text, KeyVal* records, u32 count) {
    // Room for the longest record, "(-2147483648,-2147483648)".
    char szBuffer[32];
    std::memset(szBuffer, 0, sizeof(szBuffer));
    if (records == nullptr) {
        return;
    }
    for (u32 i = 0; i < count; ++i) {
        std::snprintf(szBuffer, sizeof(szBuffer), "(%d,%d)", static_cast<int>(records[i].key),
                      static_cast<int>(records[i].value));
        text.append(szBuffer);
    }
}

bool parseSensorParameter(const std::string& text, std::vector<std::string>& items) {
    if (text.empty() || text[0] != '(') {
        return false;
    }
    size_t nClose = text.find(')');
    if (nClose == std::string::npos || nClose != text.length() - 1 || nClose <= 1) {
        return false;
    }
    StringHandler::split(text.substr(1, nClose - 1), items, ",");
    return !items.empty();
}
