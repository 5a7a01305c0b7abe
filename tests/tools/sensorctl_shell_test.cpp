// sensorctl end to end, the shell on one live controller with its sensor
// thread running (fake clock, day/night state, waits, logs), and the scripted
// session of the demo.
#include <gtest/gtest.h>

#include <string>

#include "tools/SensorctlFixture.h"

using namespace sensorctl_test;

namespace {

class SensorctlShellTest : public SensorctlBoxTest {
protected:
    // Index of the first line equal to p_strLine at or after p_nFrom; -1 when none.
    static long indexOf(const std::vector<std::string>& p_vecLines, const std::string& p_strLine, size_t p_nFrom = 0) {
        for (size_t i = p_nFrom; i < p_vecLines.size(); ++i) {
            if (p_vecLines[i] == p_strLine) {
                return static_cast<long>(i);
            }
        }
        return -1;
    }
};

} // namespace

TEST_F(SensorctlShellTest, RunsCommandsOnOneLiveControllerAndEchoesThem) {
    RunResult r = onCam({"shell"}, "# a comment\n\nset (34,60)\nget (34)\n  scheme  \nlog\nquit\nscheme 1\n");
    ASSERT_EQ(0, r.code) << r.err;
    EXPECT_EQ("", r.err);
    std::vector<std::string> own = linesStartingWith(r.out, "sensorctl");
    std::vector<std::string> expected = {
        "sensorctl: shell: channel 1 of " + m_strCam + " initialised: scheme 0, mode 1; init made 12 ISP calls (0 set), 0 "
        "video notifications",
        "sensorctl> set (34,60)",
        "sensorctl: set (34,60) -> 0",
        "sensorctl: flush -> 0: scheme 0 stored in /mnt/mtd/code/config_file/sensor1_0.cfg",
        "sensorctl> get (34)",
        "sensorctl: get (34) -> (34,60)",
        "sensorctl:   (34,60)  KEY_BRIGHTNESS",
        "sensorctl> scheme",
        "sensorctl: scheme 0 (user schemes 0-3, factory scheme 4)",
        "sensorctl> log",
        "sensorctl: isp ch0 set 34 KEY_BRIGHTNESS 60 -> 0",
        "sensorctl: log: 1 ISP calls (1 set), 0 video notifications",
        "sensorctl> quit",
        "sensorctl: shell: 4 commands, 0 failed",
        logLine(),
    };
    // The number of ISP calls of init depends on the sample tree; compare the rest exactly.
    ASSERT_EQ(expected.size(), own.size()) << r.out;
    EXPECT_EQ(0u, own[0].find("sensorctl: shell: channel 1 of " + m_strCam + " initialised: scheme 0, mode 1; init made "));
    for (size_t i = 1; i < expected.size(); ++i) {
        EXPECT_EQ(expected[i], own[i]);
    }
    EXPECT_EQ(60, valueOf(camRecords("/mnt/mtd/code/config_file/sensor1_0.cfg"), 34));
}

TEST_F(SensorctlShellTest, SwitchesSchemesAsTheFakeClockMoves) {
    const std::string session =
        "mode 0\n"
        "scheme 1\n"
        "set (8001,8)(8002,0)(8003,20)(8004,0)(34,75)\n"
        "scheme 0\n"
        "set (8000,1)(8003,8)(8004,0)\n"
        "clock 07:59\n"
        "mode 1\n"
        "wait 2\n"
        "log\n"
        "clock 08:00\n"
        "wait 2\n"
        "scheme\n"
        "log\n"
        "clock 20:00\n"
        "wait 2\n"
        "scheme\n"
        "clock off\n"
        "clock\n";
    RunResult r = onCam({"shell"}, session);
    ASSERT_EQ(0, r.code) << r.out << r.err;
    std::vector<std::string> own = linesStartingWith(r.out, "sensorctl");
    long at0800 = indexOf(own, "sensorctl: clock 08:00");
    ASSERT_GE(at0800, 0) << r.out;
    long scheme1 = indexOf(own, "sensorctl: scheme 1 (user schemes 0-3, factory scheme 4)", at0800);
    ASSERT_GT(scheme1, at0800) << r.out;
    // Entering the 08:00 window sends exactly the keys that differ: brightness (75 vs 50).
    EXPECT_EQ("sensorctl> log", own[scheme1 + 1]);
    EXPECT_EQ("sensorctl: isp ch0 set 34 KEY_BRIGHTNESS 75 -> 0", own[scheme1 + 2]) << r.out;
    EXPECT_EQ("sensorctl: log: 1 ISP calls (1 set), 0 video notifications", own[scheme1 + 3]) << r.out;
    // At 20:00 no window but the always-open ones of schemes 2 and 3 holds: the first match, scheme 2.
    long at2000 = indexOf(own, "sensorctl: clock 20:00");
    EXPECT_GE(indexOf(own, "sensorctl: scheme 2 (user schemes 0-3, factory scheme 4)", static_cast<size_t>(at2000)), 0)
        << r.out;
    EXPECT_GE(indexOf(own, "sensorctl: clock real (the host's local time)"), 0);
    EXPECT_GE(indexOf(own, "sensorctl: wait 2: 2 sensor-thread passes (20 ms)"), 0);
}

TEST_F(SensorctlShellTest, SwitchesSchemesByTheSimulatedDayNightState) {
    const std::string session =
        "set (34,55)\n"
        "scheme 1\n"
        "set (34,45)\n"
        "scheme 0\n"
        "set (8000,2)\n"
        "log\n"
        "daynight night\n"
        "wait 2\n"
        "scheme\n"
        "log\n"
        "daynight day\n"
        "wait 2\n"
        "scheme\n";
    RunResult r = onCam({"shell"}, session);
    ASSERT_EQ(0, r.code) << r.out << r.err;
    std::vector<std::string> own = linesStartingWith(r.out, "sensorctl");
    long night = indexOf(own, "sensorctl: daynight night: ISP channel 0 reports 1 on command 153");
    ASSERT_GE(night, 0) << r.out;
    long scheme1 = indexOf(own, "sensorctl: scheme 1 (user schemes 0-3, factory scheme 4)", static_cast<size_t>(night));
    ASSERT_GT(scheme1, night) << r.out;
    long logged = indexOf(own, "sensorctl: isp ch0 set 34 KEY_BRIGHTNESS 45 -> 0", static_cast<size_t>(scheme1));
    EXPECT_GT(logged, scheme1) << r.out;
    // The thread's reads of the day/night state show the value read: night.
    bool nightRead = false;
    for (size_t i = static_cast<size_t>(night); i < own.size(); ++i) {
        nightRead = nightRead || own[i].find("sensorctl: isp ch0 get 153 IA_CMD_DN_STATE = 1 (ok)") == 0;
    }
    EXPECT_TRUE(nightRead) << r.out;
    long day = indexOf(own, "sensorctl: daynight day: ISP channel 0 reports 0 on command 153");
    EXPECT_GE(indexOf(own, "sensorctl: scheme 0 (user schemes 0-3, factory scheme 4)", static_cast<size_t>(day)), 0)
        << r.out;
    // The simulated ISP's day/night state is kept for the next run.
    EXPECT_NE(std::string::npos, slurp(camPath("/isp/state.conf")).find("value 34 55")) << r.out;
}

TEST_F(SensorctlShellTest, LogShowsVideoNotificationsAndCollapsesRepeatedCalls) {
    RunResult r = onCam({"shell"}, "log\nset (2384,1)\nlog\nset (8000,2)\nwait 3\nlog\n");
    ASSERT_EQ(0, r.code) << r.out << r.err;
    std::vector<std::string> own = linesStartingWith(r.out, "sensorctl");
    EXPECT_GE(indexOf(own, "sensorctl: log: 0 ISP calls (0 set), 0 video notifications"), 0) << r.out;
    bool notified = false;
    for (const std::string& line : own) {
        notified = notified || line.find("sensorctl: video ch1 notify 2384 KEY_MIRROR 1") == 0;
    }
    EXPECT_TRUE(notified) << r.out;
    // The day/night policy reads the state every pass: one line with a count.
    bool collapsed = false;
    for (const std::string& line : own) {
        collapsed = collapsed || (line.find("sensorctl: isp ch0 get 153 IA_CMD_DN_STATE = 0 (ok)   (x") == 0);
    }
    EXPECT_TRUE(collapsed) << r.out;
}

TEST_F(SensorctlShellTest, ErrorsInTheShellAreReportedAndTheShellGoesOn) {
    const std::string session =
        "bogus\n"
        "set (34,\n"
        "set '(34,61)'\n"
        "clock 24:00\n"
        "daynight dusk\n"
        "wait x\n"
        "wait 1 2\n"
        "log extra\n"
        "init-root /x --model box\n"
        "shell\n"
        "style merge --style a --diversity b --detail c\n"
        "set (34,62) --root /\n"
        "get 'unterminated\n"
        "cfg dump /mnt/mtd/code/config_file/nothing.cfg\n"
        "get (34)\n";
    RunResult r = onCam({"shell"}, session);
    EXPECT_EQ(1, r.code) << r.out << r.err;
    std::vector<std::string> errors = lines(r.err);
    std::vector<std::string> expected = {
        "sensorctl: error: unknown command 'bogus' (type help)",
        "sensorctl: error: bad parameter text '(34,': expected records (key,value)(key,value)... with decimal numbers "
        "and no blanks",
        "sensorctl: error: bad clock '24:00': expected HH:MM (00:00 to 23:59) or off",
        "sensorctl: error: bad day/night state 'dusk': expected day or night",
        "sensorctl: error: bad number of passes (0 to 3600): 'x'",
        "sensorctl: error: too many arguments; usage: wait N",
        "sensorctl: error: too many arguments; usage: log",
        "sensorctl: error: 'init-root' is not available in the shell",
        "sensorctl: error: 'shell' is not available in the shell",
        "sensorctl: error: 'style merge' is not available in the shell",
        "sensorctl: error: option --root does not apply to 'set'",
        "sensorctl: error: unterminated quote",
        "sensorctl: error: cannot read /mnt/mtd/code/config_file/nothing.cfg: No such file or directory",
    };
    EXPECT_EQ(expected, errors);
    EXPECT_TRUE(hasLine(r.out, "sensorctl: set (34,61) -> 0"));
    EXPECT_TRUE(hasLine(r.out, "sensorctl: get (34) -> (34,61)"));
    EXPECT_TRUE(hasLine(r.out, "sensorctl: shell: 15 commands, 13 failed")) << r.out;
}

TEST_F(SensorctlShellTest, HelpAndCfgWorkInTheShell) {
    RunResult r = onCam({"shell"}, "help\nhelp set\nhelp style merge\nset --help\ncfg dump /mnt/mtd/code/config_file/sensor1_0.cfg\n");
    ASSERT_EQ(0, r.code) << r.err;
    EXPECT_TRUE(hasLine(r.out, "sensorctl: shell commands:"));
    EXPECT_TRUE(hasLine(r.out, "usage: sensorctl set TEXT"));
    EXPECT_TRUE(hasLine(r.out, "usage: sensorctl style merge --style F --diversity F --detail TEXT [--channel N] [--out "
                               "FILE]"));
    EXPECT_TRUE(hasLine(r.out, "sensorctl: " + m_strCam + "/mnt/mtd/code/config_file/sensor1_0.cfg: " +
                                   std::to_string(camRecords("/mnt/mtd/code/config_file/sensor1_0.cfg").size()) +
                                   " records"))
        << r.out;
}

TEST_F(SensorctlShellTest, ShellOptionErrors) {
    expectError(onCam({"shell", "now"}), 2, "too many arguments; usage: shell");
    expectError(onCam({"shell", "--log"}), 2, "option --log does not apply to 'shell'");
    expectError(run({"shell"}), 2, "no device root given");
}

TEST_F(SensorctlShellTest, TheDemoSessionRunsTheWholeLifeOfAChannel) {
    // The session's commands without --clock run on the test's pinned clock.
    RunResult r = runProgram("/bin/bash", {TARNIX_DEMO_SESSION, m_strCam, program()}, "", root(), root(),
                             {"TARNIX_CLOCK=" + tarnix_test::pinnedClockText()});
    ASSERT_EQ(0, r.code) << r.out << r.err;
    EXPECT_EQ("", r.err);
    std::vector<std::string> all = lines(r.out);
    // Narration, the tool's results and the library's lines are apart.
    EXPECT_GE(indexOf(all, "==> Boot. Before the first init the flash holds no parameter files:"), 0);
    EXPECT_GE(indexOf(all, "==>   /mnt/mtd/code/config_file/sensor1_0.cfg (" +
                               std::to_string(camRecords("/mnt/mtd/code/config_file/sensor1_0.cfg").size() * 8) +
                               " bytes)"),
              0)
        << r.out;
    EXPECT_GE(indexOf(all, "==>   /mnt/mtd/code/config_file/snsversion.cfg (4 bytes)"), 0);
    EXPECT_GE(indexOf(all, "sensorctl: isp ch0 set 34 KEY_BRIGHTNESS 60 -> 0"), 0);
    EXPECT_GE(indexOf(all, "sensorctl: get (34,2337) -> (34,60)(2337,45)"), 0);
    EXPECT_GE(indexOf(all, "sensorctl:   (34,50) -> (34,60)  KEY_BRIGHTNESS"), 0);
    // The time-window switch at 08:00 sends only the differing keys.
    long at0800 = indexOf(all, "sensorctl: clock 08:00");
    ASSERT_GE(at0800, 0) << r.out;
    long scheme1 = indexOf(all, "sensorctl: scheme 1 (user schemes 0-3, factory scheme 4)", static_cast<size_t>(at0800));
    ASSERT_GT(scheme1, at0800) << r.out;
    EXPECT_EQ("sensorctl: isp ch0 set 34 KEY_BRIGHTNESS 75 -> 0", all[scheme1 + 2]) << r.out;
    EXPECT_EQ("sensorctl: isp ch0 set 2337 KEY_SATURATION 50 -> 0", all[scheme1 + 3]) << r.out;
    // Night selects scheme 1, day scheme 0 again.
    long night = indexOf(all, "sensorctl: daynight night: ISP channel 0 reports 1 on command 153");
    ASSERT_GE(night, 0) << r.out;
    EXPECT_GE(indexOf(all, "sensorctl: scheme 1 (user schemes 0-3, factory scheme 4)", static_cast<size_t>(night)), 0);
    long day = indexOf(all, "sensorctl: daynight day: ISP channel 0 reports 0 on command 153");
    EXPECT_GE(indexOf(all, "sensorctl: scheme 0 (user schemes 0-3, factory scheme 4)", static_cast<size_t>(day)), 0);
    // The style summary, then the factory reset.
    bool summary = false;
    for (const std::string& line : all) {
        summary = summary || line.find("sensorctl: style: ") == 0;
    }
    EXPECT_TRUE(summary);
    EXPECT_GE(indexOf(all, "sensorctl: reset -> done: channel 1 back to factory values, scheme 0"), 0);
    EXPECT_GE(indexOf(all, "sensorctl: get (34,2337,8000) -> (34,50)(2337,50)(8000,0)"), 0) << r.out;
    EXPECT_EQ(0u, withoutColours(r.out).find("\n==> Boot.")) << "the session starts with its narration";
    EXPECT_EQ(std::string::npos, r.out.find("sensorctl: error:"));
    EXPECT_EQ(std::string::npos, r.out.find("[sensor assert]")) << "a clean life raises no assertion report";
    // Only narration and sensorctl's own lines: the library's output is in the log.
    for (const std::string& line : all) {
        EXPECT_TRUE(line.empty() || line.compare(0, 3, "==>") == 0 || line.compare(0, 9, "sensorctl") == 0) << line;
    }
    EXPECT_NE(std::string::npos, slurp(camPath("/sensorctl.log")).find("dnaCmdList.cmd_list["));
    EXPECT_EQ(50, valueOf(camRecords("/mnt/mtd/code/config_file/sensor1_0.cfg"), 34));
}

TEST_F(SensorctlShellTest, TheDemoSessionNeedsItsTwoArguments) {
    RunResult r = runProgram("/bin/bash", {TARNIX_DEMO_SESSION, m_strCam}, "", root(), root());
    EXPECT_EQ(2, r.code);
    EXPECT_NE(std::string::npos, r.err.find("usage:"));
}
