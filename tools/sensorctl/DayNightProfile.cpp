// Day/night profiles of the timeline replay.
#include "tools/sensorctl/DayNightProfile.h"

#include <sys/stat.h>

#include <algorithm>
#include <fstream>
#include <sstream>

#include "tools/sensorctl/Args.h"
#include "tools/sensorctl/Output.h"

namespace sensorctl {

namespace {

// A profile is a few lines; anything this large is not one.
constexpr long long kMaxProfileBytes = 64 * 1024;

} // namespace

DayNightProfile DayNightProfile::read(const std::string& p_strPath) {
    struct stat st;
    if (::stat(p_strPath.c_str(), &st) != 0 || !S_ISREG(st.st_mode)) {
        usageError("cannot read the day/night profile " + p_strPath);
    }
    if (st.st_size > kMaxProfileBytes) {
        usageError(format("the day/night profile %s has %lld bytes; a profile has at most %lld", p_strPath.c_str(),
                          static_cast<long long>(st.st_size), kMaxProfileBytes));
    }
    std::ifstream in(p_strPath, std::ios::binary);
    std::stringstream text;
    text << in.rdbuf();
    if (!in) {
        usageError("cannot read the day/night profile " + p_strPath);
    }
    return parse(text.str(), p_strPath);
}

DayNightProfile DayNightProfile::parse(const std::string& p_strText, const std::string& p_strName) {
    DayNightProfile objProfile;
    std::istringstream in(p_strText);
    std::string strLine;
    int nLine = 0;
    while (std::getline(in, strLine)) {
        ++nLine;
        const size_t nFirst = strLine.find_first_not_of(" \t\r");
        if (nFirst == std::string::npos || strLine[nFirst] == '#') {
            continue;
        }
        std::istringstream words(strLine);
        std::string strTime;
        std::string strState;
        std::string strExtra;
        words >> strTime >> strState >> strExtra;
        int nHour = 0;
        int nMinute = 0;
        const bool bState = strState == "day" || strState == "night";
        if (!parseClockText(strTime, nHour, nMinute) || !bState || !strExtra.empty()) {
            usageError(format("%s line %d: expected 'HH:MM day' or 'HH:MM night', got '%s'", p_strName.c_str(), nLine,
                              strLine.size() > 80 ? (strLine.substr(0, 80) + "...").c_str() : strLine.c_str()));
        }
        const int nAt = nHour * 60 + nMinute;
        for (const Entry& stEntry : objProfile.m_vecEntries) {
            if (stEntry.minute == nAt) {
                usageError(format("%s line %d: %s is given twice", p_strName.c_str(), nLine, strTime.c_str()));
            }
        }
        objProfile.m_vecEntries.push_back({nAt, strState == "day" ? 0 : 1});
    }
    if (objProfile.m_vecEntries.empty()) {
        usageError(p_strName + ": the day/night profile has no 'HH:MM day|night' line");
    }
    std::sort(objProfile.m_vecEntries.begin(), objProfile.m_vecEntries.end(),
              [](const Entry& a, const Entry& b) { return a.minute < b.minute; });
    return objProfile;
}

int DayNightProfile::stateAt(int p_nMinute) const {
    int nState = m_vecEntries.back().state;
    for (const Entry& stEntry : m_vecEntries) {
        if (stEntry.minute > p_nMinute) {
            break;
        }
        nState = stEntry.state;
    }
    return nState;
}

} // namespace sensorctl
