#pragma once
// Fixture of tarnix-conformance's end-to-end tests: a fresh device root per
// test holding a copy of a sample device tree, and the built program run on
// it as a subprocess (through the emulator in a cross build). The JSON report
// is read back to check each check's status.
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "platform/posix/HostTree.h"
#include "support/RunProgram.h"
#include "support/TestEnv.h"

namespace conformance_test {

using tarnix_test::RunResult;

class ConformanceRunTest : public tarnix_test::TarnixTest {
protected:
    void SetUp() override {
        TarnixTest::SetUp();
        std::string emulator;
#ifdef CONFORMANCE_EMULATOR
        emulator = CONFORMANCE_EMULATOR;
#endif
        m_strProgram = tarnix_test::programThroughEmulator(CONFORMANCE_PATH, emulator, root() + "/conformance-emulated");
        m_strCam = root() + "/cam";
    }

    // Lays the sample device tree devices/<model>/ down at <cam>.
    void layDown(const std::string& p_strModel = "box") const {
        platform::copyHostTree(std::string(TARNIX_DEVICES_DIR) + "/" + p_strModel, m_strCam);
    }

    RunResult run(const std::vector<std::string>& p_vecArgs) const {
        return tarnix_test::runProgram(m_strProgram, p_vecArgs, "", root(), root());
    }

    // Runs on <cam> with --json and returns the parsed report (null when the
    // program wrote none).
    nlohmann::json runJson(std::vector<std::string> p_vecArgs, RunResult& p_stRun) const {
        const std::string strJson = root() + "/report.json";
        ::unlink(strJson.c_str());
        p_vecArgs.insert(p_vecArgs.begin(), {"--root", m_strCam, "--json", strJson});
        p_stRun = run(p_vecArgs);
        std::string strText = tarnix_test::slurp(strJson);
        if (strText.empty()) {
            return nlohmann::json();
        }
        return nlohmann::json::parse(strText);
    }

    // Status of every check of a report, by id.
    static std::map<std::string, std::string> statuses(const nlohmann::json& p_objReport) {
        std::map<std::string, std::string> out;
        for (const auto& check : p_objReport.at("checks")) {
            out[check.at("id").get<std::string>()] = check.at("status").get<std::string>();
        }
        return out;
    }

    std::string m_strProgram;
    std::string m_strCam;
};

} // namespace conformance_test
