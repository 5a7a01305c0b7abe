// The strict check of posted "(key,value)" texts.
#include "tools/sensorctl/serve/RecordText.h"

#include <cstdint>

#include "tools/sensorctl/Output.h"

namespace sensorctl {
namespace serve {

namespace {

bool isBlank(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }
bool isDigit(char c) { return c >= '0' && c <= '9'; }

// Reads a decimal number at p_nPos (optionally negative) within
// [p_nMin, p_nMax]; at most 10 digits.
bool readNumber(const std::string& p_strText, size_t& p_nPos, bool p_bSigned, long long p_nMin, long long p_nMax,
                long long& p_nOut) {
    bool bNegative = false;
    if (p_bSigned && p_nPos < p_strText.size() && p_strText[p_nPos] == '-') {
        bNegative = true;
        ++p_nPos;
    }
    size_t nStart = p_nPos;
    long long value = 0;
    while (p_nPos < p_strText.size() && isDigit(p_strText[p_nPos])) {
        if (p_nPos - nStart >= 10) {
            return false;
        }
        value = value * 10 + (p_strText[p_nPos] - '0');
        ++p_nPos;
    }
    if (p_nPos == nStart) {
        return false;
    }
    value = bNegative ? -value : value;
    if (value < p_nMin || value > p_nMax) {
        return false;
    }
    p_nOut = value;
    return true;
}

} // namespace

bool checkRecordText(const std::string& p_strBody, RecordText& p_stOut, std::string& p_strError) {
    size_t nBegin = 0;
    size_t nEnd = p_strBody.size();
    while (nBegin < nEnd && isBlank(p_strBody[nBegin])) {
        ++nBegin;
    }
    while (nEnd > nBegin && isBlank(p_strBody[nEnd - 1])) {
        --nEnd;
    }
    p_stOut.text = p_strBody.substr(nBegin, nEnd - nBegin);
    p_stOut.records.clear();
    const std::string& text = p_stOut.text;
    if (text.empty()) {
        p_strError = "empty parameter text: expected records (key,value)(key,value)...";
        return false;
    }
    size_t nPos = 0;
    while (nPos < text.size()) {
        long long key = 0;
        long long value = 0;
        const char* szWhat = nullptr;
        if (text[nPos] != '(') {
            szWhat = "'(' to open a record";
        } else if (!readNumber(text, ++nPos, false, 0, INT32_MAX, key)) {
            szWhat = "a key (decimal, 0 to 2147483647)";
        } else if (nPos >= text.size() || text[nPos] != ',') {
            szWhat = "',' after the key";
        } else if (!readNumber(text, ++nPos, true, INT32_MIN, INT32_MAX, value)) {
            szWhat = "a value (decimal, -2147483648 to 2147483647)";
        } else if (nPos >= text.size() || text[nPos] != ')') {
            szWhat = "')' to close the record";
        }
        if (szWhat != nullptr) {
            p_strError = format("bad parameter text at character %zu (record %zu): expected %s; the text is records "
                                "(key,value)(key,value)... with decimal numbers and no blanks",
                                nBegin + (nPos < text.size() ? nPos : text.size()) + 1, p_stOut.records.size() + 1,
                                szWhat);
            return false;
        }
        ++nPos;
        p_stOut.records.push_back({static_cast<u32>(key), static_cast<u32>(static_cast<int32_t>(value))});
    }
    return true;
}

} // namespace serve
} // namespace sensorctl
