// Command-line parsing and the checks of argument texts.
#include "tools/sensorctl/Args.h"

#include <cerrno>
#include <climits>
#include <cstdlib>

#include "tools/sensorctl/Output.h"

namespace sensorctl {

namespace {

// Options that take a value, and flags.
const char* const kValueOptions[] = {"root", "channel", "clock", "time-scale", "model", "devices",
                                     "out",  "style",   "diversity", "detail", "bind", "port",
                                     "onvif-user", "onvif-password"};
// Options of the replays (timeline, explain) that take a value.
const char* const kReplayValueOptions[] = {"from", "to", "days", "step", "daynight", "svg", "json", "at"};
const char* const kFlagOptions[] = {"log", "help", "summary", "verbose", "onvif"};

bool isValueOption(const std::string& p_strName) {
    for (const char* name : kValueOptions) {
        if (p_strName == name) {
            return true;
        }
    }
    for (const char* name : kReplayValueOptions) {
        if (p_strName == name) {
            return true;
        }
    }
    return false;
}

bool isFlagOption(const std::string& p_strName) {
    for (const char* name : kFlagOptions) {
        if (p_strName == name) {
            return true;
        }
    }
    return false;
}

void setOption(Options& p_stOptions, const std::string& p_strName, const std::string& p_strValue) {
    if (p_strName == "root") {
        if (p_strValue.empty()) {
            usageError("--root needs a directory");
        }
        p_stOptions.root = p_strValue;
    } else if (p_strName == "channel") {
        p_stOptions.channel = static_cast<int>(integerArg(p_strValue, 1, 16, "--channel (1 to 16)"));
    } else if (p_strName == "clock") {
        if (!parseClockText(p_strValue, p_stOptions.clockHour, p_stOptions.clockMinute)) {
            usageError("--clock needs HH:MM (00:00 to 23:59), got '" + p_strValue + "'");
        }
    } else if (p_strName == "time-scale") {
        char* pEnd = nullptr;
        errno = 0;
        double scale = std::strtod(p_strValue.c_str(), &pEnd);
        if (p_strValue.empty() || errno != 0 || pEnd == nullptr || *pEnd != '\0' || !(scale >= 0.0) ||
            scale > 10.0) {
            usageError("--time-scale needs a number from 0 to 10, got '" + p_strValue + "'");
        }
        p_stOptions.timeScale = scale;
    } else if (p_strName == "model") {
        p_stOptions.model = p_strValue;
    } else if (p_strName == "devices") {
        p_stOptions.devicesDir = p_strValue;
    } else if (p_strName == "out") {
        if (p_strValue.empty()) {
            usageError("--out needs a file name");
        }
        p_stOptions.out = p_strValue;
    } else if (p_strName == "style") {
        p_stOptions.styleFile = p_strValue;
    } else if (p_strName == "diversity") {
        p_stOptions.diversityFile = p_strValue;
    } else if (p_strName == "detail") {
        p_stOptions.detail = p_strValue;
    } else if (p_strName == "bind") {
        if (p_strValue.empty()) {
            usageError("--bind needs an address");
        }
        p_stOptions.bind = p_strValue;
    } else if (p_strName == "port") {
        p_stOptions.port = static_cast<int>(integerArg(p_strValue, 0, 65535, "--port (0 to 65535)"));
    } else if (p_strName == "onvif") {
        p_stOptions.onvif = true;
    } else if (p_strName == "onvif-user") {
        if (p_strValue.empty()) {
            usageError("--onvif-user needs a user name");
        }
        p_stOptions.onvifUser = p_strValue;
    } else if (p_strName == "onvif-password") {
        p_stOptions.onvifPassword = p_strValue;
    } else if (p_strName == "log") {
        p_stOptions.log = true;
    } else if (p_strName == "verbose") {
        p_stOptions.verbose = true;
    } else if (p_strName == "from" || p_strName == "to" || p_strName == "at") {
        int nHour = 0;
        int nMinute = 0;
        const bool bEndOfDay = p_strName == "to" && p_strValue == "24:00";
        if (!bEndOfDay && !parseClockText(p_strValue, nHour, nMinute)) {
            usageError("--" + p_strName + " needs HH:MM (00:00 to 23:59" + (p_strName == "to" ? ", or 24:00" : "") +
                       "), got '" + p_strValue + "'");
        }
        if (p_strName == "at") {
            p_stOptions.atHour = nHour;
            p_stOptions.atMinute = nMinute;
        } else if (p_strName == "from") {
            p_stOptions.fromMinute = nHour * 60 + nMinute;
        } else {
            p_stOptions.toMinute = bEndOfDay ? 24 * 60 : nHour * 60 + nMinute;
        }
    } else if (p_strName == "days") {
        p_stOptions.days = static_cast<int>(integerArg(p_strValue, 1, 31, "--days (1 to 31)"));
    } else if (p_strName == "step") {
        p_stOptions.stepMinutes = static_cast<int>(integerArg(p_strValue, 1, 1440, "--step (1 to 1440 minutes)"));
    } else if (p_strName == "daynight" || p_strName == "svg" || p_strName == "json") {
        if (p_strValue.empty()) {
            usageError("--" + p_strName + " needs a file name");
        }
        (p_strName == "daynight" ? p_stOptions.dayNightFile
                                 : p_strName == "svg" ? p_stOptions.svgFile : p_stOptions.jsonFile) = p_strValue;
    } else if (p_strName == "help") {
        p_stOptions.help = true;
    } else if (p_strName == "summary") {
        p_stOptions.summary = true;
    }
}

// Reads "(" numbers separated by "," ")" starting at p_nPos; no blanks.
bool parseGroup(const std::string& p_strText, size_t& p_nPos, std::vector<long long>& p_vecOut) {
    if (p_nPos >= p_strText.size() || p_strText[p_nPos] != '(') {
        return false;
    }
    size_t nClose = p_strText.find(')', p_nPos);
    if (nClose == std::string::npos) {
        return false;
    }
    std::string inner = p_strText.substr(p_nPos + 1, nClose - p_nPos - 1);
    p_vecOut.clear();
    size_t nStart = 0;
    while (true) {
        size_t nComma = inner.find(',', nStart);
        std::string item = inner.substr(nStart, nComma == std::string::npos ? std::string::npos : nComma - nStart);
        long long value = 0;
        if (!parseInteger(item, INT32_MIN, INT32_MAX, value)) {
            return false;
        }
        p_vecOut.push_back(value);
        if (nComma == std::string::npos) {
            break;
        }
        nStart = nComma + 1;
    }
    p_nPos = nClose + 1;
    return true;
}

} // namespace

bool parseInteger(const std::string& p_strText, long long p_nMin, long long p_nMax, long long& p_nOut) {
    size_t i = 0;
    if (i < p_strText.size() && (p_strText[i] == '-' || p_strText[i] == '+')) {
        ++i;
    }
    if (i >= p_strText.size() || p_strText.size() - i > 12) {
        return false;
    }
    for (size_t j = i; j < p_strText.size(); ++j) {
        if (p_strText[j] < '0' || p_strText[j] > '9') {
            return false;
        }
    }
    long long value = std::strtoll(p_strText.c_str(), nullptr, 10);
    if (value < p_nMin || value > p_nMax) {
        return false;
    }
    p_nOut = value;
    return true;
}

long long integerArg(const std::string& p_strText, long long p_nMin, long long p_nMax, const std::string& p_strWhat) {
    long long value = 0;
    if (!parseInteger(p_strText, p_nMin, p_nMax, value)) {
        usageError("bad " + p_strWhat + ": '" + p_strText + "'");
    }
    return value;
}

bool parseClockText(const std::string& p_strText, int& p_nHour, int& p_nMinute) {
    size_t nColon = p_strText.find(':');
    if (nColon == std::string::npos || nColon == 0 || nColon > 2 || p_strText.size() - nColon - 1 != 2) {
        return false;
    }
    long long hour = 0;
    long long minute = 0;
    if (!parseInteger(p_strText.substr(0, nColon), 0, 23, hour) || p_strText[0] == '-' || p_strText[0] == '+' ||
        !parseInteger(p_strText.substr(nColon + 1), 0, 59, minute) || p_strText[nColon + 1] == '-' ||
        p_strText[nColon + 1] == '+') {
        return false;
    }
    p_nHour = static_cast<int>(hour);
    p_nMinute = static_cast<int>(minute);
    return true;
}

Options parseOptions(const std::vector<std::string>& p_vecArgs) {
    Options stOptions;
    bool bOptionsEnded = false;
    for (size_t i = 0; i < p_vecArgs.size(); ++i) {
        const std::string& arg = p_vecArgs[i];
        if (bOptionsEnded) {
            stOptions.words.push_back(arg);
            continue;
        }
        if (arg == "--") {
            bOptionsEnded = true;
            continue;
        }
        if (arg == "-h") {
            stOptions.help = true;
            stOptions.given.insert("help");
            continue;
        }
        if (arg.size() > 2 && arg[0] == '-' && arg[1] == '-') {
            std::string name = arg.substr(2);
            std::string value;
            bool bHasValue = false;
            size_t nEq = name.find('=');
            if (nEq != std::string::npos) {
                value = name.substr(nEq + 1);
                name = name.substr(0, nEq);
                bHasValue = true;
            }
            if (isFlagOption(name)) {
                if (bHasValue) {
                    usageError("option --" + name + " takes no value");
                }
            } else if (isValueOption(name)) {
                if (!bHasValue) {
                    if (i + 1 >= p_vecArgs.size()) {
                        usageError("option --" + name + " needs a value");
                    }
                    value = p_vecArgs[++i];
                }
            } else {
                usageError("unknown option '" + arg + "' (see sensorctl --help)");
            }
            stOptions.given.insert(name);
            setOption(stOptions, name, value);
            continue;
        }
        if (arg.size() > 1 && arg[0] == '-' && !(arg[1] >= '0' && arg[1] <= '9')) {
            usageError("unknown option '" + arg + "' (see sensorctl --help)");
        }
        stOptions.words.push_back(arg);
    }
    return stOptions;
}

void allowOnly(const Options& p_stOptions, const std::string& p_strCommand,
               const std::vector<std::string>& p_vecAllowed) {
    for (const std::string& name : p_stOptions.given) {
        if (name == "help") {
            continue;
        }
        bool bAllowed = false;
        for (const std::string& allowed : p_vecAllowed) {
            bAllowed = bAllowed || allowed == name;
        }
        if (!bAllowed) {
            usageError("option --" + name + " does not apply to '" + p_strCommand + "'");
        }
    }
}

void expectArgs(const Options& p_stOptions, size_t p_nSkip, size_t p_nMin, size_t p_nMax,
                const std::string& p_strUsage) {
    size_t nCount = p_stOptions.words.size() > p_nSkip ? p_stOptions.words.size() - p_nSkip : 0;
    if (nCount < p_nMin || nCount > p_nMax) {
        usageError(std::string(nCount < p_nMin ? "missing argument" : "too many arguments") + "; usage: " +
                   p_strUsage);
    }
}

std::vector<KeyVal> recordTextArg(const std::string& p_strText) {
    std::vector<KeyVal> records;
    size_t nPos = 0;
    std::vector<long long> numbers;
    while (nPos < p_strText.size()) {
        if (!parseGroup(p_strText, nPos, numbers) || numbers.size() != 2 || numbers[0] < 0) {
            usageError("bad parameter text '" + p_strText + "': expected records (key,value)(key,value)... " +
                       "with decimal numbers and no blanks");
        }
        records.push_back({static_cast<u32>(numbers[0]), static_cast<u32>(static_cast<int32_t>(numbers[1]))});
    }
    if (records.empty()) {
        usageError("bad parameter text '': expected records (key,value)(key,value)...");
    }
    return records;
}

std::vector<int> keyListArg(const std::string& p_strText) {
    size_t nPos = 0;
    std::vector<long long> numbers;
    bool bOk = parseGroup(p_strText, nPos, numbers) && nPos == p_strText.size();
    for (long long n : numbers) {
        bOk = bOk && n >= 0;
    }
    if (!bOk) {
        usageError("bad key list '" + p_strText + "': expected (key,key,...) with decimal keys and no blanks");
    }
    return std::vector<int>(numbers.begin(), numbers.end());
}

std::vector<int> checkTextArg(const std::string& p_strText) {
    size_t nPos = 0;
    std::vector<long long> numbers;
    if (!parseGroup(p_strText, nPos, numbers) || nPos != p_strText.size() || numbers.size() != 3) {
        usageError("bad check text '" + p_strText + "': expected (a,b,c) with three decimal numbers");
    }
    return std::vector<int>(numbers.begin(), numbers.end());
}

bool splitLine(const std::string& p_strLine, std::vector<std::string>& p_vecWords) {
    p_vecWords.clear();
    std::string word;
    bool bInWord = false;
    char cQuote = 0;
    for (char c : p_strLine) {
        if (cQuote != 0) {
            if (c == cQuote) {
                cQuote = 0;
            } else {
                word += c;
            }
            continue;
        }
        if (c == '\'' || c == '"') {
            cQuote = c;
            bInWord = true;
        } else if (c == ' ' || c == '\t' || c == '\r' || c == '\n') {
            if (bInWord) {
                p_vecWords.push_back(word);
                word.clear();
                bInWord = false;
            }
        } else {
            word += c;
            bInWord = true;
        }
    }
    if (cQuote != 0) {
        return false;
    }
    if (bInWord) {
        p_vecWords.push_back(word);
    }
    return true;
}

} // namespace sensorctl
