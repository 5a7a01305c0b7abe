#pragma once
// The report of a run: one line per check, a summary line, and the same as
// JSON for CI.
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "conformance/Check.h"

namespace conformance {

struct Summary {
    size_t ok = 0;
    size_t fail = 0;
    size_t warn = 0;
    size_t skip = 0;
    size_t total() const { return ok + fail + warn + skip; }
};

Summary summarise(const std::vector<CheckRun>& p_vecRuns);

// "isp.read                 ok (132 commands answer a read)" or
// "isp.roundtrip            FAIL: expected ..., got ...; affects ...".
std::string checkLine(const CheckRun& p_stRun);
// Indented lines of every finding (--verbose).
std::vector<std::string> detailLines(const CheckRun& p_stRun);
// "31 checks: 29 ok, 1 FAIL, 1 warn, 0 skip (3.2 s)".
std::string summaryLine(const Summary& p_stSummary, double p_dElapsedMs);

// The whole run as JSON.
nlohmann::json reportJson(const Options& p_stOptions, const std::vector<std::string>& p_vecNotes,
                          const std::vector<CheckRun>& p_vecRuns, double p_dElapsedMs);

} // namespace conformance
