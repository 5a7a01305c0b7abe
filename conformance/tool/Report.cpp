// Text and JSON forms of a run's results.
#include "conformance/tool/Report.h"

#include <cstdio>

namespace conformance {

namespace {

// Width of the check-id column.
const size_t kIdWidth = 24;

const char* jsonStatus(Status p_eStatus) {
    switch (p_eStatus) {
    case Status::Ok:
        return "ok";
    case Status::Fail:
        return "fail";
    case Status::Warn:
        return "warn";
    case Status::Skip:
        return "skip";
    }
    return "?";
}

} // namespace

Summary summarise(const std::vector<CheckRun>& p_vecRuns) {
    Summary summary;
    for (const CheckRun& run : p_vecRuns) {
        switch (run.result.status) {
        case Status::Ok:
            ++summary.ok;
            break;
        case Status::Fail:
            ++summary.fail;
            break;
        case Status::Warn:
            ++summary.warn;
            break;
        case Status::Skip:
            ++summary.skip;
            break;
        }
    }
    return summary;
}

std::string checkLine(const CheckRun& p_stRun) {
    std::string strLine = p_stRun.def->id;
    strLine += std::string(strLine.size() < kIdWidth ? kIdWidth - strLine.size() : 1, ' ');
    strLine += statusWord(p_stRun.result.status);
    const std::string& strMessage = p_stRun.result.message;
    if (!strMessage.empty()) {
        strLine += p_stRun.result.status == Status::Ok ? " (" + strMessage + ")" : ": " + strMessage;
    }
    return strLine;
}

std::vector<std::string> detailLines(const CheckRun& p_stRun) {
    std::vector<std::string> lines;
    for (const std::string& strDetail : p_stRun.result.details) {
        lines.push_back("    - " + strDetail);
    }
    return lines;
}

std::string summaryLine(const Summary& p_stSummary, double p_dElapsedMs) {
    char szTime[32];
    std::snprintf(szTime, sizeof(szTime), "%.1f s", p_dElapsedMs / 1000.0);
    return std::to_string(p_stSummary.total()) + (p_stSummary.total() == 1 ? " check: " : " checks: ") + std::to_string(p_stSummary.ok) + " ok, " +
           std::to_string(p_stSummary.fail) + " FAIL, " + std::to_string(p_stSummary.warn) + " warn, " +
           std::to_string(p_stSummary.skip) + " skip (" + szTime + ")";
}

nlohmann::json reportJson(const Options& p_stOptions, const std::vector<std::string>& p_vecNotes,
                          const std::vector<CheckRun>& p_vecRuns, double p_dElapsedMs) {
    const Summary summary = summarise(p_vecRuns);
    nlohmann::json doc;
    doc["program"] = "tarnix-conformance";
    doc["version"] = TARNIX_CONFORMANCE_VERSION;
    doc["channel"] = p_stOptions.channel;
    doc["isp_channel"] = p_stOptions.ispChannel();
    doc["other_isp_channel"] = p_stOptions.otherIspChannel();
    doc["slow_ms"] = p_stOptions.slowMs;
    doc["latency_calls"] = p_stOptions.latencyCalls;
    doc["notes"] = p_vecNotes;
    doc["elapsed_ms"] = p_dElapsedMs;
    doc["summary"] = {{"total", summary.total()},
                      {"ok", summary.ok},
                      {"fail", summary.fail},
                      {"warn", summary.warn},
                      {"skip", summary.skip}};
    nlohmann::json checks = nlohmann::json::array();
    for (const CheckRun& run : p_vecRuns) {
        checks.push_back({{"id", run.def->id},
                          {"title", run.def->title},
                          {"status", jsonStatus(run.result.status)},
                          {"message", run.result.message},
                          {"details", run.result.details},
                          {"data", run.result.data},
                          {"elapsed_ms", run.elapsedMs}});
    }
    doc["checks"] = checks;
    return doc;
}

} // namespace conformance
