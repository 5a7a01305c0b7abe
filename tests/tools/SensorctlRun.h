#pragma once
// Runs the built sensorctl program as a subprocess for the end-to-end tests
// (support/RunProgram.h) and reads its output.
#include <sstream>
#include <string>
#include <vector>

#include "support/RunProgram.h"
#include "support/TestEnv.h"

namespace sensorctl_test {

using tarnix_test::RunResult;
using tarnix_test::runProgram;
using tarnix_test::slurp;

// The text without the colour codes ("\033[...m") of the library's console
// reports: a report ends with a colour reset and no line end, so the next
// line of sensorctl starts right after it.
inline std::string withoutColours(const std::string& p_strText) {
    std::string out;
    for (size_t i = 0; i < p_strText.size(); ++i) {
        if (p_strText[i] == '\033' && i + 1 < p_strText.size() && p_strText[i + 1] == '[') {
            size_t end = p_strText.find('m', i);
            if (end != std::string::npos) {
                i = end;
                continue;
            }
        }
        out += p_strText[i];
    }
    return out;
}

// Lines of a text, colour codes removed.
inline std::vector<std::string> lines(const std::string& p_strText) {
    std::vector<std::string> out;
    std::stringstream ss(withoutColours(p_strText));
    std::string line;
    while (std::getline(ss, line)) {
        out.push_back(line);
    }
    return out;
}

// Lines that start with p_strPrefix.
inline std::vector<std::string> linesStartingWith(const std::string& p_strText, const std::string& p_strPrefix) {
    std::vector<std::string> out;
    for (const std::string& line : lines(p_strText)) {
        if (line.compare(0, p_strPrefix.size(), p_strPrefix) == 0) {
            out.push_back(line);
        }
    }
    return out;
}

inline bool hasLine(const std::string& p_strText, const std::string& p_strLine) {
    for (const std::string& line : lines(p_strText)) {
        if (line == p_strLine) {
            return true;
        }
    }
    return false;
}

} // namespace sensorctl_test
