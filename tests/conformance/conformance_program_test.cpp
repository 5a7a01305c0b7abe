// tarnix-conformance run as a program: against the unmodified POSIX port and
// simulator every check passes; against each seeded ISP defect exactly the
// matching check fails (or warns, for the slow command); the command line,
// the report lines, the JSON report and the exit codes.
#include <dirent.h>

#include <algorithm>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "conformance/Check.h"
#include "tests/conformance/ConformanceRun.h"

namespace conformance_test {

namespace {

std::vector<std::string> linesOf(const std::string& p_strText) {
    std::vector<std::string> lines;
    size_t nStart = 0;
    while (nStart < p_strText.size()) {
        size_t nEnd = p_strText.find('\n', nStart);
        if (nEnd == std::string::npos) {
            nEnd = p_strText.size();
        }
        lines.push_back(p_strText.substr(nStart, nEnd - nStart));
        nStart = nEnd + 1;
    }
    return lines;
}

// Relative host paths of every file below a directory.
void filesBelow(const std::string& p_strDir, const std::string& p_strPrefix, std::set<std::string>& p_setOut) {
    DIR* pDir = ::opendir(p_strDir.c_str());
    if (pDir == nullptr) {
        return;
    }
    while (dirent* pEntry = ::readdir(pDir)) {
        std::string strName = pEntry->d_name;
        if (strName == "." || strName == "..") {
            continue;
        }
        p_setOut.insert(p_strPrefix + strName);
        filesBelow(p_strDir + "/" + strName, p_strPrefix + strName + "/", p_setOut);
    }
    ::closedir(pDir);
}

size_t ispCheckCount() {
    size_t n = 0;
    for (const conformance::CheckDef& def : conformance::allChecks()) {
        n += std::string(def.id).compare(0, 4, "isp.") == 0 ? 1 : 0;
    }
    return n;
}

} // namespace

using ConformanceProgramTest = ConformanceRunTest;

TEST_F(ConformanceProgramTest, EveryCheckPassesOnThePosixPortAndTheSimulator) {
    layDown("box");
    std::set<std::string> before;
    filesBelow(m_strCam, "", before);
    RunResult r;
    nlohmann::json report = runJson({}, r);
    ASSERT_EQ(0, r.code) << r.out << r.err;
    EXPECT_EQ("", r.err);
    ASSERT_FALSE(report.is_null());
    const auto& checks = conformance::allChecks();
    ASSERT_EQ(checks.size(), report.at("checks").size());
    for (const auto& check : report.at("checks")) {
        EXPECT_EQ("ok", check.at("status").get<std::string>())
            << check.at("id").get<std::string>() << ": " << check.at("message").get<std::string>();
    }
    EXPECT_EQ(checks.size(), report.at("summary").at("ok").get<size_t>());
    EXPECT_EQ(0u, report.at("summary").at("fail").get<size_t>());
    // One line per check, in order, then the summary.
    std::vector<std::string> lines = linesOf(r.out);
    ASSERT_EQ(checks.size() + 2, lines.size()) << r.out;
    EXPECT_EQ(0u, lines[0].find("tarnix-conformance 1.0.0: channel 1 (ISP channel 0); root ")) << lines[0];
    for (size_t i = 0; i < checks.size(); ++i) {
        EXPECT_EQ(0u, lines[i + 1].find(checks[i].id)) << lines[i + 1];
        EXPECT_NE(std::string::npos, lines[i + 1].find(" ok")) << lines[i + 1];
    }
    EXPECT_EQ(0u, lines.back().find(std::to_string(checks.size()) + " checks: " + std::to_string(checks.size()) +
                                    " ok, 0 FAIL, 0 warn, 0 skip ("))
        << lines.back();
    // The scratch files are gone: the tree is as it was laid down.
    std::set<std::string> after;
    filesBelow(m_strCam, "", after);
    EXPECT_EQ(before, after);
}

// One seeded defect: the profile under conformance/defects/, the check that
// must catch it and how.
struct Defect {
    const char* profile;
    const char* check;
    const char* status;
    const char* text;   // part of the check's line
};

const Defect kDefects[] = {
    {"min-above-max.conf", "isp.range.bounds", "fail", "command 82 with min 4096 above max 409"},
    {"default-outside-range.conf", "isp.range.default", "fail", "command 50 with the default 99 not among"},
    {"duplicate-value.conf", "isp.range.unique", "fail", "command 1537 with 4 twice"},
    {"too-many-dynamic.conf", "isp.cmdlist", "fail", "got 17 commands"},
    {"item-count.conf", "isp.range.layout", "fail", "command 56 with 65 values"},
    {"range-type.conf", "isp.range.layout", "fail", "command 51 with type 1"},
    {"ignores-set.conf", "isp.roundtrip", "fail", "command 2321 to read back"},
    {"read-overrun.conf", "isp.records", "fail", "command 17 (option 1) writing 2 words past its 3-word"},
    {"slow-command.conf", "isp.latency", "warn", "command 2353 (option 1) median"},
    {"daynight-seven.conf", "isp.daynight", "fail", "from the day/night state (command 153), got 7"},
    {"unknown-accepted.conf", "isp.unknown", "fail", "got 0 from command 0xfffff0 with option 0"},
    {"correction-outside.conf", "isp.correct", "fail", "corrected to 999, outside its range"},
    {"shared-channels.conf", "isp.channels", "fail", "to keep a value per channel"},
    {"not-reentrant.conf", "isp.threads", "fail", "failing with -16"},
    {"read-unsupported.conf", "isp.read", "fail", "2401 (result -1); affects keys KEY_DEFLG_STRG (2401)"},
    {"long-shutter-list.conf", "isp.shutter", "fail", "got 31 values"},
};

class SeededDefectTest : public ConformanceRunTest, public ::testing::WithParamInterface<Defect> {};

TEST_P(SeededDefectTest, OnlyTheMatchingCheckCatchesIt) {
    const Defect& defect = GetParam();
    layDown("box");
    RunResult r;
    nlohmann::json report =
        runJson({"--isp-profile", std::string(CONFORMANCE_DEFECTS_DIR) + "/" + defect.profile, "--only", "isp.*"}, r);
    ASSERT_FALSE(report.is_null()) << r.out << r.err;
    const bool bFails = std::string(defect.status) == "fail";
    EXPECT_EQ(bFails ? 1 : 0, r.code) << r.out << r.err;
    std::map<std::string, std::string> status = statuses(report);
    ASSERT_EQ(ispCheckCount(), status.size());
    for (const auto& entry : status) {
        EXPECT_EQ(entry.first == defect.check ? defect.status : "ok", entry.second) << entry.first << "\n" << r.out;
    }
    // The check's line says what was expected, what came and what it affects.
    bool bFound = false;
    for (const std::string& strLine : linesOf(r.out)) {
        if (strLine.compare(0, std::string(defect.check).size() + 1, std::string(defect.check) + " ") != 0) {
            continue;
        }
        bFound = true;
        EXPECT_NE(std::string::npos, strLine.find(bFails ? " FAIL: expected " : " warn: ")) << strLine;
        EXPECT_NE(std::string::npos, strLine.find("; affects ")) << strLine;
        EXPECT_NE(std::string::npos, strLine.find(defect.text)) << strLine;
    }
    EXPECT_TRUE(bFound) << r.out;
}

INSTANTIATE_TEST_SUITE_P(EveryProfile, SeededDefectTest, ::testing::ValuesIn(kDefects),
                         [](const ::testing::TestParamInfo<Defect>& p_stInfo) {
                             std::string strName = p_stInfo.param.profile;
                             strName = strName.substr(0, strName.find('.'));
                             std::replace(strName.begin(), strName.end(), '-', '_');
                             return strName;
                         });

TEST(SeededDefects, EveryProfileHasItsTest) {
    std::set<std::string> files;
    DIR* pDir = ::opendir(CONFORMANCE_DEFECTS_DIR);
    ASSERT_NE(nullptr, pDir);
    while (dirent* pEntry = ::readdir(pDir)) {
        std::string strName = pEntry->d_name;
        if (strName.size() > 5 && strName.compare(strName.size() - 5, 5, ".conf") == 0) {
            files.insert(strName);
        }
    }
    ::closedir(pDir);
    std::set<std::string> tested;
    for (const Defect& defect : kDefects) {
        tested.insert(defect.profile);
    }
    EXPECT_EQ(files, tested);
}

TEST_F(ConformanceProgramTest, ListNamesEveryCheckOnce) {
    RunResult r = run({"--list"});
    ASSERT_EQ(0, r.code) << r.err;
    std::vector<std::string> lines = linesOf(r.out);
    const auto& checks = conformance::allChecks();
    ASSERT_EQ(checks.size(), lines.size());
    std::set<std::string> ids;
    for (size_t i = 0; i < checks.size(); ++i) {
        EXPECT_EQ(0u, lines[i].find(checks[i].id));
        EXPECT_NE(std::string::npos, lines[i].find(checks[i].title));
        ids.insert(checks[i].id);
    }
    EXPECT_EQ(checks.size(), ids.size());
}

TEST_F(ConformanceProgramTest, OnlyRunsTheMatchingChecks) {
    layDown("box");
    RunResult r;
    nlohmann::json report = runJson({"--only", "platform.file.*,isp.daynight"}, r);
    ASSERT_EQ(0, r.code) << r.out << r.err;
    std::map<std::string, std::string> status = statuses(report);
    std::set<std::string> ids;
    for (const auto& entry : status) {
        ids.insert(entry.first);
    }
    EXPECT_EQ((std::set<std::string>{"isp.daynight", "platform.file.modes", "platform.file.length",
                                     "platform.file.readwrite", "platform.file.lines", "platform.file.replace"}),
              ids);
    EXPECT_NE(std::string::npos, r.out.find("6 checks: 6 ok, 0 FAIL, 0 warn, 0 skip ("));
}

TEST_F(ConformanceProgramTest, VerboseListsEveryFinding) {
    layDown("box");
    const std::string strProfile = root() + "/two-unsupported.conf";
    writeFile("/two-unsupported.conf", "include " + std::string(TARNIX_DEVICES_DIR) +
                                           "/box/isp/profile.conf\nfail 2401 1 -1\nfail 2400 1 -5\n");
    RunResult r = run({"--root", m_strCam, "--isp-profile", strProfile, "--only", "isp.read", "--verbose"});
    EXPECT_EQ(1, r.code) << r.out << r.err;
    EXPECT_NE(std::string::npos,
              r.out.find("    - command 2400: a read (option 1) gave -5; unsupported: KEY_DEFLG_SWITCH (2400) and the "
                         "style items with these ids\n"))
        << r.out;
    EXPECT_NE(std::string::npos, r.out.find("    - command 2401: a read (option 1) gave -1;")) << r.out;
    EXPECT_NE(std::string::npos, r.out.find("got a failure from 2: 2400 (result -5), 2401 (result -1); affects keys "
                                            "KEY_DEFLG_SWITCH (2400), KEY_DEFLG_STRG (2401)"))
        << r.out;
}

TEST_F(ConformanceProgramTest, JsonCarriesTheFindingAndTheLatencyFigures) {
    layDown("box");
    RunResult r;
    nlohmann::json report = runJson({"--isp-profile", std::string(CONFORMANCE_DEFECTS_DIR) + "/slow-command.conf",
                                     "--only", "isp.latency,isp.daynight", "--calls", "5", "--slow-ms", "10"},
                                    r);
    ASSERT_EQ(0, r.code) << r.out << r.err;
    EXPECT_EQ(1, report.at("channel").get<int>());
    EXPECT_EQ(0, report.at("isp_channel").get<int>());
    EXPECT_EQ(10.0, report.at("slow_ms").get<double>());
    EXPECT_EQ(1u, report.at("summary").at("warn").get<size_t>());
    const nlohmann::json* pLatency = nullptr;
    for (const auto& check : report.at("checks")) {
        if (check.at("id") == "isp.latency") {
            pLatency = &check;
        }
    }
    ASSERT_NE(nullptr, pLatency);
    EXPECT_EQ("warn", pLatency->at("status").get<std::string>());
    EXPECT_EQ(5, pLatency->at("data").at("calls_per_command").get<int>());
    bool bSeen = false;
    for (const auto& row : pLatency->at("data").at("latency")) {
        if (row.at("cmd").get<unsigned>() == 2353 && row.at("opt").get<unsigned>() == 1) {
            bSeen = true;
            EXPECT_GE(row.at("median_ms").get<double>(), 20.0);
            EXPECT_GE(row.at("p99_ms").get<double>(), row.at("median_ms").get<double>());
            EXPECT_EQ("KEY_CONTRAST (2353)", row.at("keys").get<std::string>());
        } else {
            EXPECT_LT(row.at("median_ms").get<double>(), 10.0) << row.dump();
        }
    }
    EXPECT_TRUE(bSeen);
}

TEST_F(ConformanceProgramTest, AFailureCarriesExpectedGotAndAffectsInTheJson) {
    layDown("box");
    RunResult r;
    nlohmann::json report =
        runJson({"--isp-profile", std::string(CONFORMANCE_DEFECTS_DIR) + "/daynight-seven.conf", "--only", "isp.daynight"},
                r);
    ASSERT_EQ(1, r.code) << r.out;
    const auto& check = report.at("checks").at(0);
    EXPECT_EQ("fail", check.at("status").get<std::string>());
    EXPECT_EQ("0 (day) or 1 (night) from the day/night state (command 153)",
              check.at("data").at("expected").get<std::string>());
    EXPECT_EQ("7", check.at("data").at("got").get<std::string>());
    EXPECT_NE(std::string::npos, check.at("data").at("affects").get<std::string>().find("day/night scheme policy"));
}

TEST_F(ConformanceProgramTest, ChannelSelectsTheIspChannel) {
    layDown("thermal");
    RunResult r;
    nlohmann::json report = runJson({"--channel", "2", "--only", "isp.*"}, r);
    ASSERT_EQ(0, r.code) << r.out << r.err;
    EXPECT_NE(std::string::npos, r.out.find(": channel 2 (ISP channel 1); root ")) << r.out;
    EXPECT_EQ(1, report.at("isp_channel").get<int>());
    EXPECT_EQ(2, report.at("other_isp_channel").get<int>());
    std::map<std::string, std::string> status = statuses(report);
    // The thermal core has no shutter list: stepping is unavailable there.
    EXPECT_EQ("warn", status["isp.shutter"]);
    for (const auto& entry : status) {
        if (entry.first != "isp.shutter") {
            EXPECT_EQ("ok", entry.second) << entry.first << "\n" << r.out;
        }
    }
    EXPECT_NE(std::string::npos, r.out.find("isp.cmdlist             ok (5 dynamic commands)")) << r.out;
}

TEST_F(ConformanceProgramTest, UsageErrorsAreOneLineOnStderrWithExitCode2) {
    layDown("box");
    struct Case {
        std::vector<std::string> args;
        const char* text;
    };
    const Case cases[] = {
        {{"--root", m_strCam, "--only", "nothing.*"}, "no check matches 'nothing.*' (see --list)"},
        {{}, "no device root given: use --root DIR (or set TARNIX_ROOT)"},
        {{"--root", m_strCam + "/missing"}, "does not exist or is not a directory"},
        {{"--root", m_strCam, "--channel", "0"}, "--channel"},
        {{"--root", m_strCam, "--no-such-option"}, "--no-such-option"},
        {{"--root", m_strCam, "--isp-profile", m_strCam + "/missing.conf"}, "cannot load the ISP profile"},
        {{"--root", m_strCam, "--channel", "2", "--other-channel", "2"}, "--other-channel must differ from --channel"},
        {{"--root", m_strCam, "--scratch", "tmp/x"}, "--scratch needs an absolute device path, not 'tmp/x'"},
    };
    for (const Case& c : cases) {
        RunResult r = run(c.args);
        EXPECT_EQ(2, r.code) << c.text << "\n" << r.out << r.err;
        std::vector<std::string> errLines = linesOf(r.err);
        ASSERT_EQ(1u, errLines.size()) << r.err;
        EXPECT_EQ(0u, errLines[0].find("tarnix-conformance: ")) << errLines[0];
        EXPECT_NE(std::string::npos, errLines[0].find(c.text)) << errLines[0];
        EXPECT_EQ("", r.out);
    }
}

TEST_F(ConformanceProgramTest, OtherChannelZeroLeavesTheChannelCheckOut) {
    layDown("box");
    RunResult r = run({"--root", m_strCam, "--only", "isp.channels", "--other-channel", "0"});
    EXPECT_EQ(0, r.code) << r.out << r.err;
    EXPECT_NE(std::string::npos,
              r.out.find("isp.channels            skip: no second channel to compare with (--other-channel 0)\n"))
        << r.out;
    r = run({"--root", m_strCam, "--only", "isp.channels", "--other-channel", "4"});
    EXPECT_NE(std::string::npos, r.out.find("ok (ISP channels 0 and 3 keep their own values)")) << r.out;
}

TEST_F(ConformanceProgramTest, AScratchDirectoryOfTheUsersIsKept) {
    layDown("box");
    RunResult r = run({"--root", m_strCam, "--only", "platform.file.modes,platform.logger", "--scratch", "/mnt/mtd/log"});
    EXPECT_EQ(0, r.code) << r.out << r.err;
    std::set<std::string> files;
    filesBelow(m_strCam + "/mnt/mtd/log", "", files);
    EXPECT_EQ((std::set<std::string>{".keep"}), files);
    r = run({"--root", m_strCam, "--only", "platform.file.modes", "--scratch", "/var/conformance/scratch"});
    EXPECT_EQ(0, r.code) << r.out << r.err;
    // Made by the run, removed by it (its parents stay).
    EXPECT_FALSE(fileExists("/cam/var/conformance/scratch"));
}

TEST_F(ConformanceProgramTest, ARootFromTheEnvironmentIsUsed) {
    layDown("box");
    RunResult r = tarnix_test::runProgram(m_strProgram, {"--only", "isp.daynight"}, "", root(), root(),
                                          {"TARNIX_ROOT=" + m_strCam});
    EXPECT_EQ(0, r.code) << r.out << r.err;
    EXPECT_NE(std::string::npos, r.out.find("isp.daynight            ok (day)")) << r.out;
}

} // namespace conformance_test
