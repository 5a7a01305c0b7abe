#pragma once
// A day/night profile: what the ISP's light sensor reports over a day, as
// lines "HH:MM day" or "HH:MM night" (blank lines and lines starting with
// '#' are skipped). The state of a minute is that of the last line at or
// before it; before the first line the last line of the day holds, as it
// did at the end of the day before.
#include <string>
#include <vector>

namespace sensorctl {

class DayNightProfile {
public:
    // Reads and checks a profile file. Throws a usage error naming the line
    // of a malformed entry, a time given twice, or an empty profile.
    static DayNightProfile read(const std::string& p_strPath);
    // The same from text; p_strName names it in errors.
    static DayNightProfile parse(const std::string& p_strText, const std::string& p_strName);

    // 0 for day, 1 for night, at a minute of the day (0 to 1439).
    int stateAt(int p_nMinute) const;

private:
    struct Entry {
        int minute;
        int state;
    };
    std::vector<Entry> m_vecEntries; // ordered by minute
};

} // namespace sensorctl
