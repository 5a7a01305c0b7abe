// Reader of the machine description file ("key=value" lines).
#include "platform/SystemInfoParser.h"

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <vector>

#include "platform/PXFile.h"

namespace {

std::string trimmed(const std::string& p_strText) {
    const char* kBlanks = " \t\r\n\f\v";
    size_t nFirst = p_strText.find_first_not_of(kBlanks);
    if (nFirst == std::string::npos) {
        return std::string();
    }
    size_t nLast = p_strText.find_last_not_of(kBlanks);
    return p_strText.substr(nFirst, nLast - nFirst + 1);
}

bool toInt(const std::string& p_strText, int& p_nValue) {
    if (p_strText.empty()) {
        return false;
    }
    errno = 0;
    char* pEnd = nullptr;
    long nValue = std::strtol(p_strText.c_str(), &pEnd, 10);
    if (errno != 0 || pEnd == p_strText.c_str() || *pEnd != '\0' || nValue < INT_MIN || nValue > INT_MAX) {
        return false;
    }
    p_nValue = static_cast<int>(nValue);
    return true;
}

} // namespace

bool SystemInfoParser::parseMachineInfo(const std::string& path, MachineInfo& info) {
    PXFile file;
    if (!file.open(path.c_str(), PXFile::modeRead)) {
        return false;
    }
    std::vector<std::string> lines = file.ReadLines();
    file.close();

    bool bHaveType = false;
    bool bFirst = true;
    for (std::string strLine : lines) {
        // A UTF-8 byte order mark before the first line is not part of it.
        if (bFirst && strLine.compare(0, 3, "\xEF\xBB\xBF") == 0) {
            strLine.erase(0, 3);
        }
        bFirst = false;
        strLine = trimmed(strLine);
        if (strLine.empty() || strLine[0] == '#' || strLine[0] == ';' || strLine[0] == '[') {
            continue;
        }
        size_t nEq = strLine.find('=');
        if (nEq == std::string::npos) {
            continue;
        }
        std::string strKey = trimmed(strLine.substr(0, nEq));
        std::string strValue = trimmed(strLine.substr(nEq + 1));
        if (strKey == "DeviceType") {
            int nType = 0;
            if (toInt(strValue, nType)) {
                info.setDeviceType(nType);
                bHaveType = true;
            }
        } else if (strKey == "HardwareModel") {
            info.setHardwareModel(strValue);
        } else if (strKey == "HardwareCode") {
            info.setHardwareCode(strValue);
        }
    }
    return bHaveType;
}
