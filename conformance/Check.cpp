// Results, patterns and the run of a list of checks.
#include "conformance/Check.h"

#include <fnmatch.h>

#include <chrono>

#include "platform/ia_ioctrl.h"

namespace conformance {

const char* statusWord(Status p_eStatus) {
    switch (p_eStatus) {
    case Status::Ok:
        return "ok";
    case Status::Fail:
        return "FAIL";
    case Status::Warn:
        return "warn";
    case Status::Skip:
        return "skip";
    }
    return "?";
}

Result ok(const std::string& p_strNote) {
    Result result;
    result.status = Status::Ok;
    result.message = p_strNote;
    return result;
}

Result skip(const std::string& p_strWhy) {
    Result result;
    result.status = Status::Skip;
    result.message = p_strWhy;
    return result;
}

Result warn(const std::string& p_strWhat) {
    Result result;
    result.status = Status::Warn;
    result.message = p_strWhat;
    return result;
}

Result fail(const std::string& p_strExpected, const std::string& p_strGot, const std::string& p_strAffects) {
    Result result;
    result.status = Status::Fail;
    result.message = "expected " + p_strExpected + ", got " + p_strGot + "; affects " + p_strAffects;
    result.data["expected"] = p_strExpected;
    result.data["got"] = p_strGot;
    result.data["affects"] = p_strAffects;
    return result;
}

IspCall deviceIsp() {
    return [](int p_nChannel, uint32_t p_nCmd, unsigned int p_nOpt, void* p_pData) {
        return ia_ioctrl_v2(p_nChannel, static_cast<ia_cmd_e>(p_nCmd), p_nOpt, p_pData);
    };
}

bool matchesPattern(const std::string& p_strId, const std::string& p_strPatterns) {
    if (p_strPatterns.empty()) {
        return true;
    }
    size_t nStart = 0;
    while (nStart <= p_strPatterns.size()) {
        size_t nComma = p_strPatterns.find(',', nStart);
        std::string strPattern =
            p_strPatterns.substr(nStart, nComma == std::string::npos ? std::string::npos : nComma - nStart);
        if (!strPattern.empty() && ::fnmatch(strPattern.c_str(), p_strId.c_str(), 0) == 0) {
            return true;
        }
        if (nComma == std::string::npos) {
            break;
        }
        nStart = nComma + 1;
    }
    return false;
}

std::vector<CheckRun> runChecks(Context& p_stContext, const std::string& p_strPatterns,
                                const std::function<void(const CheckRun&)>& p_fnDone) {
    std::vector<CheckRun> runs;
    for (const CheckDef& def : allChecks()) {
        if (!matchesPattern(def.id, p_strPatterns)) {
            continue;
        }
        auto start = std::chrono::steady_clock::now();
        Result result = def.run(p_stContext);
        auto end = std::chrono::steady_clock::now();
        runs.push_back(CheckRun{&def, std::move(result), std::chrono::duration<double, std::milli>(end - start).count()});
        if (p_fnDone) {
            p_fnDone(runs.back());
        }
    }
    return runs;
}

} // namespace conformance
