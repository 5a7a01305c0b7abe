#pragma once
// Fixture of sensorctl's end-to-end tests: a fresh temporary directory per
// test (the TarnixTest root), in which sample device trees are laid down with
// "sensorctl init-root" and the program is run as a subprocess.
#include <gtest/gtest.h>

#include <sys/stat.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "controller/SensorTypes.h"
#include "support/KeyValFile.h"
#include "support/TestEnv.h"
#include "tools/SensorctlRun.h"

namespace sensorctl_test {

class SensorctlTest : public tarnix_test::TarnixTest {
protected:
    void SetUp() override {
        TarnixTest::SetUp();
#ifndef SENSORCTL_PATH
        GTEST_SKIP() << "sensorctl is not built (TARNIX_BUILD_TOOLS=OFF)";
#endif
        m_strCam = root() + "/cam";
        m_strProgram = makeProgram();
    }

    // The program to run: sensorctl itself, or for a cross build a small
    // script that runs it through the emulator.
    std::string makeProgram() const {
#ifdef SENSORCTL_PATH
        std::string emulator;
#ifdef SENSORCTL_EMULATOR
        emulator = SENSORCTL_EMULATOR;
#endif
        return tarnix_test::programThroughEmulator(SENSORCTL_PATH, emulator, root() + "/sensorctl-emulated");
#else
        return "";
#endif
    }

    const std::string& program() const { return m_strProgram; }

    // sensorctl with the arguments as given.
    RunResult run(const std::vector<std::string>& p_vecArgs, const std::string& p_strInput = "",
                  const std::vector<std::string>& p_vecEnv = {}) const {
        return runProgram(program(), p_vecArgs, p_strInput, root(), root(), p_vecEnv);
    }
    // sensorctl --root <cam> with the arguments, on the test's pinned clock
    // unless the arguments set one.
    RunResult onCam(std::vector<std::string> p_vecArgs, const std::string& p_strInput = "") const {
        if (std::find(p_vecArgs.begin(), p_vecArgs.end(), "--clock") == p_vecArgs.end()) {
            p_vecArgs.insert(p_vecArgs.begin(), {"--clock", tarnix_test::pinnedClockText()});
        }
        p_vecArgs.insert(p_vecArgs.begin(), {"--root", m_strCam});
        return run(p_vecArgs, p_strInput);
    }
    // Lays down a sample tree at <cam>.
    void initCam(const std::string& p_strModel = "box") const {
        RunResult r = run({"init-root", m_strCam, "--model", p_strModel});
        ASSERT_EQ(0, r.code) << r.out << r.err;
    }
    // Host path of a device path below <cam>.
    std::string camPath(const std::string& p_strDevicePath) const { return m_strCam + p_strDevicePath; }
    bool camFileExists(const std::string& p_strDevicePath) const {
        struct stat st;
        return ::stat(camPath(p_strDevicePath).c_str(), &st) == 0;
    }
    // Records of a scheme file below <cam>.
    std::vector<KeyVal> camRecords(const std::string& p_strDevicePath) const {
        return tarnix_test::readKeyValFile(camPath(p_strDevicePath));
    }
    // Value of a key in records; -12345 when absent.
    static long long valueOf(const std::vector<KeyVal>& p_vecRecords, u32 p_nKey) {
        return tarnix_test::keyValueOf(p_vecRecords, p_nKey);
    }
    // The run failed with the exit code and one error line on stderr, the
    // last, that contains the text; any line before it is a warning.
    static void expectError(const RunResult& p_stRun, int p_nCode, const std::string& p_strText) {
        EXPECT_EQ(p_nCode, p_stRun.code) << p_stRun.out << p_stRun.err;
        std::vector<std::string> errLines = lines(p_stRun.err);
        ASSERT_FALSE(errLines.empty()) << p_stRun.err;
        for (size_t i = 0; i + 1 < errLines.size(); ++i) {
            EXPECT_EQ(0u, errLines[i].find("sensorctl: warning: ")) << errLines[i];
        }
        EXPECT_EQ(0u, errLines.back().find("sensorctl: error: ")) << errLines.back();
        EXPECT_NE(std::string::npos, errLines.back().find(p_strText)) << errLines.back();
    }
    // The warning lines of a run's stderr.
    static std::vector<std::string> warnings(const RunResult& p_stRun) {
        return linesStartingWith(p_stRun.err, "sensorctl: warning: ");
    }
    // The last line of a run that kept the library's output in <cam>'s log.
    std::string logLine() const { return "sensorctl: library output in " + m_strCam + "/sensorctl.log"; }

    std::string m_strCam;
    std::string m_strProgram;
};

// A fixture whose <cam> holds the sample box camera from the start.
class SensorctlBoxTest : public SensorctlTest {
protected:
    void SetUp() override {
        SensorctlTest::SetUp();
        if (IsSkipped()) {
            return;
        }
        initCam("box");
    }
};

} // namespace sensorctl_test
