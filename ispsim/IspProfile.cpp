// Loader of simulator profiles: a line-based text file that presets values,
// dynamic parameters, exposure, version text, command status and failures
// of the simulated ISP (format in docs/simulator.md).
#include <sys/stat.h>

#include <cstdint>
#include <fstream>
#include <map>
#include <string>
#include <vector>

#include "ispsim/IspSimInternal.h"
#include "ispsim/ispsim.h"

namespace ispsim {

namespace {

bool isBlank(char p_c) { return p_c == ' ' || p_c == '\t' || p_c == '\r' || p_c == '\v' || p_c == '\f'; }

// Drops a comment (a '#' at the start of the line or after a blank) and the
// blanks around the rest.
std::string stripLine(const std::string& p_strLine) {
    size_t end = p_strLine.size();
    for (size_t i = 0; i < p_strLine.size(); ++i) {
        if (p_strLine[i] == '#' && (i == 0 || isBlank(p_strLine[i - 1]))) {
            end = i;
            break;
        }
    }
    size_t begin = 0;
    while (begin < end && isBlank(p_strLine[begin])) {
        ++begin;
    }
    while (end > begin && isBlank(p_strLine[end - 1])) {
        --end;
    }
    return p_strLine.substr(begin, end - begin);
}

std::vector<std::string> splitWords(const std::string& p_strText) {
    std::vector<std::string> words;
    size_t i = 0;
    while (i < p_strText.size()) {
        while (i < p_strText.size() && isBlank(p_strText[i])) {
            ++i;
        }
        size_t start = i;
        while (i < p_strText.size() && !isBlank(p_strText[i])) {
            ++i;
        }
        if (i > start) {
            words.push_back(p_strText.substr(start, i - start));
        }
    }
    return words;
}

// A whole-word integer: optional sign, then decimal digits or 0x and hex
// digits; the result must lie in [p_nMin, p_nMax].
bool parseInteger(const std::string& p_strWord, int64_t p_nMin, int64_t p_nMax, int64_t& p_nOut) {
    size_t i = 0;
    bool negative = false;
    if (i < p_strWord.size() && (p_strWord[i] == '-' || p_strWord[i] == '+')) {
        negative = p_strWord[i] == '-';
        ++i;
    }
    int base = 10;
    if (i + 1 < p_strWord.size() && p_strWord[i] == '0' && (p_strWord[i + 1] == 'x' || p_strWord[i + 1] == 'X')) {
        base = 16;
        i += 2;
    }
    if (i >= p_strWord.size()) {
        return false;
    }
    int64_t magnitude = 0;
    for (; i < p_strWord.size(); ++i) {
        char c = p_strWord[i];
        int digit;
        if (c >= '0' && c <= '9') {
            digit = c - '0';
        } else if (base == 16 && c >= 'a' && c <= 'f') {
            digit = c - 'a' + 10;
        } else if (base == 16 && c >= 'A' && c <= 'F') {
            digit = c - 'A' + 10;
        } else {
            return false;
        }
        magnitude = magnitude * base + digit;
        if (magnitude > (int64_t(1) << 33)) {   // far beyond every accepted range
            return false;
        }
    }
    int64_t value = negative ? -magnitude : magnitude;
    if (value < p_nMin || value > p_nMax) {
        return false;
    }
    p_nOut = value;
    return true;
}

// A 32-bit word given as signed or unsigned number (-5 and 0xFFFFFFFB agree).
bool parseWord(const std::string& p_strWord, uint32_t& p_nOut) {
    int64_t value = 0;
    if (!parseInteger(p_strWord, INT32_MIN, UINT32_MAX, value)) {
        return false;
    }
    p_nOut = static_cast<uint32_t>(value);
    return true;
}

bool parseInt32(const std::string& p_strWord, int32_t& p_nOut) {
    uint32_t word = 0;
    if (!parseWord(p_strWord, word)) {
        return false;
    }
    p_nOut = static_cast<int32_t>(word);
    return true;
}

// `dynamic CMD default D items V1 V2 ... [type T] [min M] [max N]`: the
// clauses after the items in any order, each at most once.
bool parseDynamic(const std::vector<std::string>& p_vecWords, int p_nChannel) {
    uint32_t cmd = 0;
    int32_t def = 0;
    if (p_vecWords.size() < 5 || !parseWord(p_vecWords[1], cmd) || p_vecWords[2] != "default" ||
        !parseInt32(p_vecWords[3], def) || p_vecWords[4] != "items") {
        return false;
    }
    auto isClause = [](const std::string& p_strWord) {
        return p_strWord == "type" || p_strWord == "min" || p_strWord == "max";
    };
    std::vector<int32_t> items;
    size_t i = 5;
    for (; i < p_vecWords.size() && !isClause(p_vecWords[i]); ++i) {
        int32_t item = 0;
        if (!parseInt32(p_vecWords[i], item)) {
            return false;
        }
        items.push_back(item);
    }
    std::map<std::string, int32_t> clauses;
    for (; i < p_vecWords.size(); i += 2) {
        int32_t value = 0;
        if (!isClause(p_vecWords[i]) || i + 1 >= p_vecWords.size() || clauses.count(p_vecWords[i]) != 0 ||
            !parseInt32(p_vecWords[i + 1], value)) {
            return false;
        }
        clauses[p_vecWords[i]] = value;
    }
    setDynamicParam(p_nChannel, cmd, def, items, clauses.count("type") != 0 ? clauses["type"] : 0);
    internal::editChannel(p_nChannel, [&](internal::ChannelState& p_stState) {
        internal::DynamicParam& param = p_stState.mapDynamic[cmd];
        param.bHasMin = clauses.count("min") != 0;
        param.nMin = param.bHasMin ? clauses["min"] : 0;
        param.bHasMax = clauses.count("max") != 0;
        param.nMax = param.bHasMax ? clauses["max"] : 0;
    });
    return true;
}

// `defect NAME ...`: one seeded fault (docs/simulator.md lists them).
bool parseDefect(const std::vector<std::string>& p_vecWords, int p_nChannel) {
    if (p_vecWords.size() < 2) {
        return false;
    }
    const std::string& name = p_vecWords[1];
    const size_t nArgs = p_vecWords.size() - 2;
    auto word = [&](size_t p_nIndex, uint32_t& p_nOut) { return parseWord(p_vecWords[2 + p_nIndex], p_nOut); };
    auto number = [&](size_t p_nIndex, int64_t p_nMin, int64_t p_nMax, int64_t& p_nOut) {
        return parseInteger(p_vecWords[2 + p_nIndex], p_nMin, p_nMax, p_nOut);
    };
    using internal::ChannelState;
    using internal::GlobalDefects;
    if (name == "accept-unknown" || name == "shared-channels") {
        if (nArgs != 0) {
            return false;
        }
        const bool bUnknown = name == "accept-unknown";
        internal::editDefects([bUnknown](GlobalDefects& p_stDefects) {
            (bUnknown ? p_stDefects.bAcceptUnknown : p_stDefects.bSharedChannels) = true;
        });
        return true;
    }
    if (name == "uncapped-list") {
        if (nArgs != 0) {
            return false;
        }
        internal::editChannel(p_nChannel, [](ChannelState& p_stState) { p_stState.defects.bUncappedList = true; });
        return true;
    }
    if (name == "ignore-set") {
        uint32_t cmd = 0;
        if (nArgs != 1 || !word(0, cmd)) {
            return false;
        }
        internal::editChannel(p_nChannel,
                              [cmd](ChannelState& p_stState) { p_stState.defects.setIgnoredSets.insert(cmd); });
        return true;
    }
    if (name == "overrun") {
        uint32_t cmd = 0;
        int64_t opt = 0;
        int64_t count = 0;
        if (nArgs != 3 || !word(0, cmd) || !number(1, 0, INT32_MAX, opt) ||
            !number(2, 1, internal::kMaxOverrunWords, count)) {
            return false;
        }
        internal::editChannel(p_nChannel, [&](ChannelState& p_stState) {
            p_stState.defects.mapOverrun[std::make_pair(cmd, static_cast<unsigned int>(opt))] =
                static_cast<uint32_t>(count);
        });
        return true;
    }
    if (name == "delay" || name == "busy") {
        const bool bDelay = name == "delay";
        uint32_t cmd = 0;
        int64_t micros = 0;
        const size_t nWanted = bDelay ? 2 : 1;
        if (nArgs != nWanted || (bDelay && !word(0, cmd)) || !number(nWanted - 1, 1, 10000000, micros)) {
            return false;
        }
        internal::editChannel(p_nChannel, [&](ChannelState& p_stState) {
            if (bDelay) {
                p_stState.defects.mapDelayMicros[cmd] = static_cast<uint32_t>(micros);
            } else {
                p_stState.defects.nBusyMicros = static_cast<uint32_t>(micros);
            }
        });
        return true;
    }
    if (name == "correct-to" || name == "items-count") {
        uint32_t cmd = 0;
        int32_t value = 0;
        if (nArgs != 2 || !word(0, cmd) || !parseInt32(p_vecWords[3], value)) {
            return false;
        }
        const bool bCorrect = name == "correct-to";
        internal::editChannel(p_nChannel, [&](ChannelState& p_stState) {
            (bCorrect ? p_stState.defects.mapCorrectTo : p_stState.defects.mapItemsCount)[cmd] = value;
        });
        return true;
    }
    return false;
}

// One stripped, non-empty line. p_nChannel is the channel of `channel` lines.
bool parseLine(const std::string& p_strLine, int& p_nChannel) {
    std::vector<std::string> words = splitWords(p_strLine);
    const std::string& keyword = words[0];
    if (keyword == "channel") {
        int64_t channel = 0;
        if (words.size() != 2 || !parseInteger(words[1], 0, INT32_MAX, channel)) {
            return false;
        }
        p_nChannel = static_cast<int>(channel);
        return true;
    }
    if (keyword == "value" || keyword == "status") {
        uint32_t cmd = 0;
        uint32_t value = 0;
        if (words.size() != 3 || !parseWord(words[1], cmd) || !parseWord(words[2], value)) {
            return false;
        }
        if (keyword == "value") {
            setValue(p_nChannel, cmd, value);
        } else {
            internal::setStatus(p_nChannel, cmd, value);
        }
        return true;
    }
    if (keyword == "dynamic") {
        return parseDynamic(words, p_nChannel);
    }
    if (keyword == "defect") {
        return parseDefect(words, p_nChannel);
    }
    if (keyword == "exposure") {
        std::vector<uint32_t> record(3, 0);
        if (words.size() != 4) {
            return false;
        }
        for (size_t i = 0; i < 3; ++i) {
            if (!parseWord(words[i + 1], record[i])) {
                return false;
            }
        }
        internal::setRecord(p_nChannel, 17, record);
        return true;
    }
    if (keyword == "version") {
        // The rest of the line, inner blanks kept.
        size_t pos = keyword.size();
        while (pos < p_strLine.size() && isBlank(p_strLine[pos])) {
            ++pos;
        }
        internal::setVersion(p_nChannel, p_strLine.substr(pos));
        return true;
    }
    if (keyword == "fail") {
        uint32_t cmd = 0;
        int64_t opt = 0;
        int64_t result = 0;
        if (words.size() != 4 || !parseWord(words[1], cmd) || !parseInteger(words[2], -1, INT32_MAX, opt) ||
            !parseInteger(words[3], INT32_MIN, INT32_MAX, result) || result == 0) {
            return false;
        }
        setFailure(p_nChannel, cmd, static_cast<int>(opt), static_cast<int>(result));
        return true;
    }
    return false;
}

} // namespace

namespace {

// Deepest chain of included profiles; deeper (or circular) includes fail.
const int kMaxIncludeDepth = 8;

// The file named by an include line, relative to the including file's
// directory unless absolute.
std::string includedPath(const std::string& p_strIncluder, const std::string& p_strName) {
    if (!p_strName.empty() && p_strName[0] == '/') {
        return p_strName;
    }
    size_t slash = p_strIncluder.rfind('/');
    return slash == std::string::npos ? p_strName : p_strIncluder.substr(0, slash + 1) + p_strName;
}

bool loadFile(const std::string& p_strPath, int p_nDepth) {
    struct stat st;
    if (p_nDepth > kMaxIncludeDepth || ::stat(p_strPath.c_str(), &st) != 0 || !S_ISREG(st.st_mode)) {
        return false;
    }
    std::ifstream in(p_strPath, std::ios::binary);
    if (!in) {
        return false;
    }
    int channel = 0;
    std::string line;
    while (std::getline(in, line)) {
        std::string text = stripLine(line);
        if (text.empty()) {
            continue;
        }
        std::vector<std::string> words = splitWords(text);
        if (words[0] == "include") {
            // The rest of the line names the file; it is read like a profile
            // of its own and leaves this file's channel as it was.
            std::string name = stripLine(text.substr(words[0].size()));
            if (name.empty() || !loadFile(includedPath(p_strPath, name), p_nDepth + 1)) {
                return false;
            }
            continue;
        }
        if (!parseLine(text, channel)) {
            return false;
        }
    }
    return !in.bad();
}

} // namespace

bool loadProfile(const std::string& path) { return loadFile(path, 0); }

} // namespace ispsim
