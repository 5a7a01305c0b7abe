// sensorctl end to end, the controller commands: each run initialises the
// channel on a copy of a sample device tree, acts and shuts it down; what it
// changed stays in the tree's files for the next run.
#include <gtest/gtest.h>

#include <fstream>
#include <string>

#include "tools/SensorctlFixture.h"

using namespace sensorctl_test;

namespace {

const char* const kScheme0 = "/mnt/mtd/code/config_file/sensor1_0.cfg";
const char* const kScheme1 = "/mnt/mtd/code/config_file/sensor1_1.cfg";

class SensorctlControllerTest : public SensorctlBoxTest {
protected:
    void appendToProfile(const std::string& p_strLine) const {
        std::ofstream out(camPath("/isp/profile.conf"), std::ios::app);
        out << p_strLine << "\n";
    }
};

} // namespace

TEST_F(SensorctlControllerTest, FirstRunCreatesTheSchemeFilesAndTheVersionStamp) {
    EXPECT_FALSE(camFileExists(kScheme0));
    RunResult r = onCam({"scheme"});
    ASSERT_EQ(0, r.code) << r.err;
    EXPECT_EQ("", r.err);
    EXPECT_TRUE(hasLine(r.out, "sensorctl: scheme 0 (user schemes 0-3, factory scheme 4)")) << r.out;
    for (int s = 0; s < 4; ++s) {
        std::string file = "/mnt/mtd/code/config_file/sensor1_" + std::to_string(s) + ".cfg";
        EXPECT_TRUE(camFileExists(file)) << file;
        EXPECT_EQ(50, valueOf(camRecords(file), 34)) << file;
    }
    EXPECT_FALSE(camFileExists("/mnt/mtd/code/config_file/sensor1_4.cfg"));
    std::string stamp = slurp(camPath("/mnt/mtd/code/config_file/snsversion.cfg"));
    ASSERT_EQ(4u, stamp.size());
    u32 version = 0;
    std::memcpy(&version, stamp.data(), 4);
    EXPECT_EQ(8u, version);
}

TEST_F(SensorctlControllerTest, SetAppliesTheTypicalRequestAndStoresTheScheme) {
    RunResult r = onCam({"--log", "set", "(34,60)(2337,45)"});
    ASSERT_EQ(0, r.code) << r.err;
    EXPECT_EQ("", r.err);
    std::vector<std::string> own = linesStartingWith(r.out, "sensorctl: ");
    std::vector<std::string> expected = {
        "sensorctl: set (34,60)(2337,45) -> 0",
        "sensorctl: flush -> 0: scheme 0 stored in /mnt/mtd/code/config_file/sensor1_0.cfg",
        "sensorctl: isp ch0 set 34 KEY_BRIGHTNESS 60 -> 0",
        "sensorctl: isp ch0 set 2337 KEY_SATURATION 45 -> 0",
        "sensorctl: log: 2 ISP calls (2 set), 0 video notifications",
        logLine(),
    };
    EXPECT_EQ(expected, own) << r.out;
    // Only sensorctl's own lines reach stdout; the library's are in the log.
    EXPECT_EQ(own, lines(r.out));
    std::vector<KeyVal> scheme0 = camRecords(kScheme0);
    EXPECT_EQ(60, valueOf(scheme0, 34));
    EXPECT_EQ(45, valueOf(scheme0, 2337));
    EXPECT_EQ(50, valueOf(camRecords(kScheme1), 34));
    // The ISP's new values are kept for the next run.
    std::string state = slurp(camPath("/isp/state.conf"));
    EXPECT_NE(std::string::npos, state.find("\nvalue 34 60")) << state;
    EXPECT_NE(std::string::npos, state.find("\nvalue 2337 45")) << state;

    // A later run reads them back, and the same request again sends nothing.
    r = onCam({"get", "(34,2337)"});
    ASSERT_EQ(0, r.code) << r.err;
    EXPECT_EQ((std::vector<std::string>{"sensorctl: get (34,2337) -> (34,60)(2337,45)",
                                        "sensorctl:   (34,60)  KEY_BRIGHTNESS", "sensorctl:   (2337,45)  KEY_SATURATION",
                                        logLine()}),
              linesStartingWith(r.out, "sensorctl: "));
    r = onCam({"--log", "set", "(34,60)(2337,45)"});
    ASSERT_EQ(0, r.code) << r.err;
    EXPECT_TRUE(hasLine(r.out, "sensorctl: log: 0 ISP calls (0 set), 0 video notifications")) << r.out;
}

TEST_F(SensorctlControllerTest, ApplyChangesTheIspButNotTheFileAndFlushStores) {
    RunResult r = onCam({"--log", "apply", "(34,61)"});
    ASSERT_EQ(0, r.code) << r.err;
    EXPECT_TRUE(hasLine(r.out, "sensorctl: apply (34,61) -> 0"));
    EXPECT_TRUE(hasLine(r.out, "sensorctl: isp ch0 set 34 KEY_BRIGHTNESS 61 -> 0"));
    EXPECT_EQ(50, valueOf(camRecords(kScheme0), 34));
    EXPECT_NE(std::string::npos, slurp(camPath("/isp/state.conf")).find("value 34 61"));
    r = onCam({"flush"});
    ASSERT_EQ(0, r.code) << r.err;
    EXPECT_TRUE(hasLine(r.out, "sensorctl: flush -> 0: scheme 0 stored in /mnt/mtd/code/config_file/sensor1_0.cfg"));
    EXPECT_EQ(50, valueOf(camRecords(kScheme0), 34));   // a new run starts from the file
}

TEST_F(SensorctlControllerTest, SetRejectsBadTextBeforeTouchingTheDevice) {
    for (const char* text : {"(34,60", "(34 ,60)", "", "abc", "(34,60,1)", "(-1,5)", "(34,60)x", "(34,99999999999)"}) {
        RunResult r = onCam({"set", text});
        expectError(r, 2, "bad parameter text");
    }
    EXPECT_FALSE(camFileExists(kScheme0)) << "no run initialised the channel";
    expectError(onCam({"set"}), 2, "missing argument; usage: set TEXT");
    expectError(onCam({"set", "(34,60)", "(1,1)"}), 2, "too many arguments");
}

TEST_F(SensorctlControllerTest, SetReportsARefusedKeyAndAnInvalidTimeWindow) {
    appendToProfile("fail 34 0 -3");
    RunResult r = onCam({"set", "(2337,40)(34,61)"});
    expectError(r, 1, "the ISP refused key 34 (result -34); keys before it were applied");
    EXPECT_TRUE(hasLine(r.out, "sensorctl: set (2337,40)(34,61) -> -34"));
    EXPECT_EQ(50, valueOf(camRecords(kScheme0), 34));
    EXPECT_EQ(50, valueOf(camRecords(kScheme0), 2337)) << "nothing is stored after a failed apply";

    r = onCam({"set", "(8001,20)(8003,8)"});
    expectError(r, 1, "flush of scheme 0 failed with 507 (the current scheme's time window is not valid)");
    EXPECT_EQ(24, valueOf(camRecords(kScheme0), 8003));
}

TEST_F(SensorctlControllerTest, MissingOrBrokenRootsAreClearErrors) {
    expectError(run({"all"}), 2, "no device root given: use --root DIR");
    expectError(run({"--root", hostPath("/nowhere"), "all"}), 1, "device root '" + hostPath("/nowhere") + "' does not exist");
    makeDir("/plain");
    expectError(run({"--root", hostPath("/plain"), "all"}), 1, "is not a device root");
    // TARNIX_ROOT stands in for --root.
    RunResult r = run({"--clock", tarnix_test::pinnedClockText(), "scheme"}, "", {"TARNIX_ROOT=" + m_strCam});
    EXPECT_EQ(0, r.code) << r.err;
    EXPECT_TRUE(hasLine(r.out, "sensorctl: scheme 0 (user schemes 0-3, factory scheme 4)"));

    std::ofstream(camPath("/isp/state.conf")) << "value x y\n";
    expectError(onCam({"scheme"}), 1, "cannot load the kept ISP state");
    std::ofstream(camPath("/isp/state.conf"), std::ios::trunc) << "value 34 55\n";
    EXPECT_EQ(0, onCam({"scheme"}).code);
    std::ofstream(camPath("/isp/profile.conf"), std::ios::app) << "bogus line\n";
    expectError(onCam({"scheme"}), 1, "cannot load the ISP profile");
}

TEST_F(SensorctlControllerTest, AModuleFileWithoutAnEntryIsAWarning) {
    ::unlink(camPath("/hd1/moduleConfig/moduleConfig.xml").c_str());
    RunResult r = onCam({"scheme"});
    EXPECT_EQ(0, r.code);
    EXPECT_EQ("sensorctl: warning: the root has no /hd1/moduleConfig/moduleConfig.xml; using an empty module "
              "configuration\n",
              r.err);
}

TEST_F(SensorctlControllerTest, GetReadsKeysAndReportsUnreadableOnes) {
    appendToProfile("fail 1570 1 -1");
    RunResult r = onCam({"get", "(34,1570)"});
    expectError(r, 1, "could not read key(s) 1570");
    EXPECT_TRUE(hasLine(r.out, "sensorctl: get (34,1570) -> (34,50)")) << r.out;
    // The library's report of the failed read is summarised.
    EXPECT_EQ((std::vector<std::string>{"sensorctl: warning: the library raised 1 assertion report in getParameter: "
                                        "SNS_SUCCESS == doIaCmd(p_nKey, IA_CMD_OPT_GET, &p_nVal) (see " +
                                        m_strCam + "/sensorctl.log)"}),
              warnings(r));
    for (const char* ids : {"()", "(a)", "34", "(34,)", "(34;2337)", "(-5)"}) {
        expectError(onCam({"get", ids}), 2, "bad key list");
    }
}

TEST_F(SensorctlControllerTest, AllListsTheCurrentSchemeWithKeyNames) {
    RunResult r = onCam({"all"});
    ASSERT_EQ(0, r.code) << r.err;
    std::vector<KeyVal> file = camRecords(kScheme0);
    ASSERT_FALSE(file.empty());
    std::vector<std::string> own = linesStartingWith(r.out, "sensorctl: ");
    ASSERT_EQ(file.size() + 2, own.size()) << r.out;
    EXPECT_EQ(logLine(), own.back());
    EXPECT_EQ("sensorctl: scheme 0: " + std::to_string(file.size()) + " parameters", own[0]);
    for (size_t i = 0; i < file.size(); ++i) {
        std::string prefix = "sensorctl:   (" + std::to_string(file[i].key) + "," +
                             std::to_string(static_cast<int32_t>(file[i].value)) + ")  ";
        EXPECT_EQ(0u, own[i + 1].find(prefix)) << own[i + 1];
    }
    EXPECT_TRUE(hasLine(r.out, "sensorctl:   (34,50)  KEY_BRIGHTNESS"));
    EXPECT_TRUE(hasLine(r.out, "sensorctl:   (8000,0)  KEY_SCHEME_MODE"));
    expectError(onCam({"all", "extra"}), 2, "too many arguments");
}

TEST_F(SensorctlControllerTest, StylePrintsTheNarrowedXmlASummaryOrAFile) {
    RunResult r = onCam({"style"});
    ASSERT_EQ(0, r.code) << r.err;
    EXPECT_NE(std::string::npos, r.out.find("id=\"34\"")) << r.out;
    EXPECT_TRUE(linesStartingWith(r.out, "sensorctl: ").empty());

    r = onCam({"style", "--summary"});
    ASSERT_EQ(0, r.code) << r.err;
    std::vector<std::string> own = linesStartingWith(r.out, "sensorctl: ");
    ASSERT_FALSE(own.empty());
    EXPECT_EQ(0u, own[0].find("sensorctl: style: ")) << own[0];
    EXPECT_NE(std::string::npos, own[0].find(" tabs, ")) << own[0];
    bool imageTab = false;
    for (const std::string& line : own) {
        imageTab = imageTab || line.find("tab image: ") != std::string::npos;
    }
    EXPECT_TRUE(imageTab) << r.out;
    EXPECT_EQ(std::string::npos, r.out.find("<?xml"));

    r = onCam({"style", "--out", hostPath("/style.xml")});
    ASSERT_EQ(0, r.code) << r.err;
    std::string xml = readFile("/style.xml");
    EXPECT_NE(std::string::npos, xml.find("id=\"2337\""));
    EXPECT_TRUE(hasLine(r.out, "sensorctl: style: " + std::to_string(xml.size()) + " bytes written to " +
                                   hostPath("/style.xml")));
    expectError(onCam({"style", "--out", hostPath("/no/such/dir/style.xml")}), 1, "cannot write");
}

TEST_F(SensorctlControllerTest, FactoryListsTheFactoryValuesWhateverTheSchemeHolds) {
    ASSERT_EQ(0, onCam({"set", "(34,60)"}).code);
    RunResult r = onCam({"factory"});
    ASSERT_EQ(0, r.code) << r.err;
    std::vector<std::string> own = linesStartingWith(r.out, "sensorctl: ");
    ASSERT_FALSE(own.empty());
    EXPECT_EQ("sensorctl: factory values of channel 1: " + std::to_string(camRecords(kScheme0).size()) + " parameters",
              own[0]);
    EXPECT_TRUE(hasLine(r.out, "sensorctl:   (34,50)  KEY_BRIGHTNESS")) << r.out;
}

TEST_F(SensorctlControllerTest, SchemeShowsAndSwitchesSendingOnlyTheDifferingKeys) {
    ASSERT_EQ(0, onCam({"set", "(34,60)"}).code);
    RunResult r = onCam({"--log", "scheme", "1"});
    ASSERT_EQ(0, r.code) << r.err;
    EXPECT_EQ((std::vector<std::string>{"sensorctl: scheme 1 -> switched, current scheme 1",
                                        "sensorctl: isp ch0 set 34 KEY_BRIGHTNESS 50 -> 0",
                                        "sensorctl: log: 1 ISP calls (1 set), 0 video notifications", logLine()}),
              linesStartingWith(r.out, "sensorctl: "));
    // The factory scheme is accepted as well.
    r = onCam({"scheme", "4"});
    EXPECT_EQ(0, r.code);
    EXPECT_TRUE(hasLine(r.out, "sensorctl: scheme 4 -> switched, current scheme 4"));
    // Beyond the factory scheme the library reports and still switches (kept
    // as it is); sensorctl says so, and summarises the library's report.
    r = onCam({"scheme", "9"});
    EXPECT_EQ(0, r.code) << r.err;
    EXPECT_TRUE(hasLine(r.out, "sensorctl: scheme 9 -> switched, current scheme 9")) << r.out;
    EXPECT_EQ((std::vector<std::string>{
                  "sensorctl: warning: scheme 9 is not a scheme of this channel (user schemes 0-3, factory scheme "
                  "4); the library keeps it as the current scheme",
                  "sensorctl: warning: the library raised 1 assertion report in setParamScheme: p_nScheme >= 0 && "
                  "(u32)p_nScheme <= m_stSysConf.nSchemeSum (see " + m_strCam + "/sensorctl.log)"}),
              lines(r.err));
    EXPECT_EQ(std::string::npos, r.out.find("[sensor assert]"));
    EXPECT_NE(std::string::npos, slurp(camPath("/sensorctl.log")).find("[sensor assert] file:ISensorController.cpp "
                                                                         "fun:setParamScheme line:"));
    expectError(onCam({"scheme", "one"}), 2, "bad scheme number: 'one'");
    expectError(onCam({"scheme", "1", "2"}), 2, "too many arguments");
}

TEST_F(SensorctlControllerTest, ClockOptionDrivesTheTimeSchedule) {
    // Scheme 0 holds 00:00-08:00 and the time schedule; the other schemes keep 00:00-24:00.
    // At 20:27 the set moves scheme 0 out of its own window: the sensor thread
    // may switch to scheme 1 before sensorctl's flush, which still stores
    // scheme 0's new values.
    ASSERT_EQ(0, onCam({"--clock", "20:27", "set", "(8000,1)(8003,8)"}).code);
    EXPECT_EQ(1, valueOf(camRecords(kScheme0), 8000));
    EXPECT_EQ(8, valueOf(camRecords(kScheme0), 8003));
    RunResult r = onCam({"--clock", "09:00", "scheme"});
    EXPECT_TRUE(hasLine(r.out, "sensorctl: scheme 1 (user schemes 0-3, factory scheme 4)")) << r.out;
    r = onCam({"--clock", "07:59", "scheme"});
    EXPECT_TRUE(hasLine(r.out, "sensorctl: scheme 0 (user schemes 0-3, factory scheme 4)")) << r.out;
}

TEST_F(SensorctlControllerTest, ModeShowsAndSets) {
    RunResult r = onCam({"mode"});
    EXPECT_EQ(0, r.code);
    EXPECT_TRUE(hasLine(r.out, "sensorctl: mode 1 (automatic scheme switching)"));
    r = onCam({"mode", "0"});
    EXPECT_EQ(0, r.code);
    EXPECT_TRUE(hasLine(r.out, "sensorctl: mode 0 (automatic scheme switching suspended)"));
    expectError(onCam({"mode", "2"}), 2, "bad mode (0 or 1): '2'");
}

TEST_F(SensorctlControllerTest, RestoreResendsTheStoredValue) {
    RunResult r = onCam({"--log", "restore", "34"});
    ASSERT_EQ(0, r.code) << r.err;
    EXPECT_TRUE(hasLine(r.out, "sensorctl: restore 34 KEY_BRIGHTNESS -> 0"));
    EXPECT_TRUE(hasLine(r.out, "sensorctl: isp ch0 set 34 KEY_BRIGHTNESS 50 -> 0")) << r.out;
    r = onCam({"restore", "12"});
    expectError(r, 1, "key 12 is not in the current scheme");
    EXPECT_TRUE(hasLine(r.out, "sensorctl: restore 12 - -> -1"));
    appendToProfile("fail 34 0 -3");
    expectError(onCam({"restore", "34"}), 1, "the ISP refused key 34 (result -34)");
    expectError(onCam({"restore", "KEY_BRIGHTNESS"}), 2, "bad key");
}

TEST_F(SensorctlControllerTest, ResetReturnsTheChannelToFactoryValues) {
    ASSERT_EQ(0, onCam({"set", "(34,60)(2337,45)"}).code);
    ASSERT_EQ(60, valueOf(camRecords(kScheme0), 34));
    RunResult r = onCam({"reset"});
    ASSERT_EQ(0, r.code) << r.err;
    std::vector<std::string> own = linesStartingWith(r.out, "sensorctl: ");
    ASSERT_EQ(6u, own.size()) << r.out;
    EXPECT_EQ("sensorctl: reset -> done: channel 1 back to factory values, scheme 0", own[0]);
    EXPECT_EQ(logLine(), own[5]);
    EXPECT_EQ(0u, own[1].find("sensorctl:   /mnt/mtd/code/config_file/sensor1_0.cfg ("));
    EXPECT_EQ(50, valueOf(camRecords(kScheme0), 34));
    EXPECT_EQ(50, valueOf(camRecords(kScheme0), 2337));
    r = onCam({"get", "(34)"});
    EXPECT_TRUE(hasLine(r.out, "sensorctl: get (34) -> (34,50)")) << r.out;
}

TEST_F(SensorctlControllerTest, RangeShowsTheIspList) {
    RunResult r = onCam({"range", "49"});
    ASSERT_EQ(0, r.code) << r.err;
    EXPECT_TRUE(hasLine(r.out, "sensorctl: range 49 KEY_MAX_SHUTTER: default 6, values: 2 3 4 5 6 7 8 9 10 11 12 13 14 15 "
                               "16 17 18 19 20 21 22"))
        << r.out;
    expectError(onCam({"range", "52"}), 1, "command 52 has no range");
    expectError(onCam({"range", "shutter"}), 2, "bad command: 'shutter'");
}

TEST_F(SensorctlControllerTest, ShutterStepsThroughTheIspList) {
    // A fresh ISP holds the power-on default of its list (6, index 4).
    RunResult r = onCam({"shutter", "get"});
    ASSERT_EQ(0, r.code) << r.err;
    EXPECT_TRUE(hasLine(r.out, "sensorctl: shutter index 4")) << r.out;
    r = onCam({"shutter", "set", "4"});
    ASSERT_EQ(0, r.code) << r.err;
    EXPECT_TRUE(hasLine(r.out, "sensorctl: shutter set -> index 4")) << r.out;
    EXPECT_TRUE(hasLine(r.out, "sensorctl: flush -> 0: scheme 0 stored in /mnt/mtd/code/config_file/sensor1_0.cfg"));
    EXPECT_EQ(6, valueOf(camRecords(kScheme0), 49));
    r = onCam({"shutter", "get"});
    EXPECT_TRUE(hasLine(r.out, "sensorctl: shutter index 4")) << r.out;
    r = onCam({"shutter", "up"});
    EXPECT_TRUE(hasLine(r.out, "sensorctl: shutter up -> index 5")) << r.out;
    EXPECT_EQ(7, valueOf(camRecords(kScheme0), 49));
    r = onCam({"shutter", "down"});
    EXPECT_TRUE(hasLine(r.out, "sensorctl: shutter down -> index 4")) << r.out;
    expectError(onCam({"shutter", "set", "99"}), 1, "shutter set failed");
    expectError(onCam({"shutter", "set", "-1"}), 1, "shutter set failed");
    // A maximum shutter the ISP does not list cannot be located.
    ASSERT_EQ(0, onCam({"set", "(49,1)"}).code);
    expectError(onCam({"shutter", "get"}), 1, "not in its list of shutter values");
    expectError(onCam({"shutter", "left"}), 2, "unknown shutter action 'left'");
    expectError(onCam({"shutter", "set"}), 2, "usage: shutter set N");
    expectError(onCam({"shutter"}), 2, "missing argument");
}

TEST_F(SensorctlControllerTest, ZoomShowsAndMovesTheLens) {
    RunResult r = onCam({"zoom"});
    ASSERT_EQ(0, r.code) << r.err;
    EXPECT_TRUE(hasLine(r.out, "sensorctl: zoom position 16384, ratio 1.000x")) << r.out;
    r = onCam({"--log", "zoom", "set", "20480"});
    ASSERT_EQ(0, r.code) << r.err;
    EXPECT_TRUE(hasLine(r.out, "sensorctl: zoom set -> done"));
    EXPECT_TRUE(hasLine(r.out, "sensorctl: isp ch0 set 1568 KEY_MZ_POSITION 20480 -> 0")) << r.out;
    r = onCam({"zoom"});
    EXPECT_TRUE(hasLine(r.out, "sensorctl: zoom position 20480, ratio 1.500x")) << r.out;
    EXPECT_EQ("# ISP values kept by sensorctl between runs: the simulated ISP's values that differ\n"
              "# from isp/profile.conf, loaded after it. Same format as the profile.\n"
              "channel 0\n"
              "value 1568 20480   # KEY_MZ_POSITION\n",
              slurp(camPath("/isp/state.conf")));
    // Back at the profile's value nothing differs any more: the state file goes.
    ASSERT_EQ(0, onCam({"--time-scale", "0", "zoom", "set", "16384"}).code);
    EXPECT_FALSE(camFileExists("/isp/state.conf"));
    r = onCam({"--log", "zoom", "in"});
    EXPECT_EQ(0, r.code);
    EXPECT_TRUE(hasLine(r.out, "sensorctl: isp ch0 set 1569 KEY_ZOOM_IN 1 -> 0")) << r.out;
    expectError(onCam({"zoom", "tilt"}), 2, "unknown zoom action 'tilt'");
    appendToProfile("fail 1568 1 -1");
    expectError(onCam({"zoom"}), 1, "reading the zoom position failed");
}

TEST_F(SensorctlControllerTest, CheckSendsTheRawIspQuery) {
    RunResult r = onCam({"check", "(1568,2,0)"});
    ASSERT_EQ(0, r.code) << r.err;
    EXPECT_TRUE(hasLine(r.out, "sensorctl: check (1568,2,0) -> 0, answer 16384")) << r.out;
    r = onCam({"--log", "check", "(1,1,1)"});
    EXPECT_EQ(0, r.code);
    EXPECT_TRUE(hasLine(r.out, "sensorctl: check (1,1,1) -> 0"));
    EXPECT_TRUE(hasLine(r.out, "sensorctl: isp ch0 set 2816 IA_CMD_SYNC_CHECK [1 1 1 0] -> 0")) << r.out;
    appendToProfile("fail 2816 -1 -7");
    expectError(onCam({"check", "(1,1,1)"}), 1, "the ISP check failed with -7");
    expectError(onCam({"check", "(1,2)"}), 2, "bad check text");
}

TEST_F(SensorctlControllerTest, OtherChannelsAndTheThermalTreeUseTheirOwnFiles) {
    RunResult r = onCam({"--channel", "2", "--log", "set", "(34,61)"});
    ASSERT_EQ(0, r.code) << r.err;
    EXPECT_TRUE(hasLine(r.out, "sensorctl: flush -> 0: scheme 0 stored in /mnt/mtd/code/config_file/sensor2_0.cfg"));
    EXPECT_TRUE(hasLine(r.out, "sensorctl: isp ch1 set 34 KEY_BRIGHTNESS 61 -> 0")) << r.out;
    EXPECT_EQ(61, valueOf(camRecords("/mnt/mtd/code/config_file/sensor2_0.cfg"), 34));

    m_strCam = root() + "/thermal";
    initCam("thermal");
    r = onCam({"--log", "set", "(34,61)"});
    ASSERT_EQ(0, r.code) << r.err;
    EXPECT_TRUE(hasLine(r.out, "sensorctl: flush -> 0: scheme 0 stored in /mnt/mtd/code/config_file/sensor-thermal0.cfg"))
        << r.out;
    EXPECT_TRUE(hasLine(r.out, "sensorctl: isp ch1 set 34 KEY_BRIGHTNESS 61 -> 0")) << r.out;
    r = onCam({"scheme"});
    EXPECT_TRUE(hasLine(r.out, "sensorctl: scheme 0 (user schemes 0-1, factory scheme 2)")) << r.out;
}

TEST_F(SensorctlControllerTest, LibraryOutputGoesToTheLogAndWithVerboseToStdoutToo) {
    RunResult r = onCam({"scheme"});
    ASSERT_EQ(0, r.code) << r.err;
    EXPECT_EQ((std::vector<std::string>{"sensorctl: scheme 0 (user schemes 0-3, factory scheme 4)", logLine()}),
              lines(r.out));
    std::string log = slurp(camPath("/sensorctl.log"));
    EXPECT_NE(std::string::npos, log.find("dnaCmdList.cmd_list[")) << log.substr(0, 400);
    EXPECT_EQ(std::string::npos, log.find('\033')) << "the log holds no colour codes";
    EXPECT_EQ(std::string::npos, log.find("sensorctl: ")) << "nor sensorctl's own lines";

    r = onCam({"--verbose", "scheme"});
    ASSERT_EQ(0, r.code) << r.err;
    EXPECT_NE(std::string::npos, r.out.find("dnaCmdList.cmd_list[")) << r.out.substr(0, 400);
    EXPECT_EQ(std::string::npos, r.out.find('\033')) << "stdout is not a terminal: no colour codes";
    std::vector<std::string> own = linesStartingWith(r.out, "sensorctl: ");
    EXPECT_EQ((std::vector<std::string>{"sensorctl: scheme 0 (user schemes 0-3, factory scheme 4)", logLine()}), own);
    EXPECT_EQ("", r.err);
}

TEST_F(SensorctlControllerTest, TheLogShowsWhatAReadReturned) {
    RunResult r = onCam({"--log", "zoom"});
    ASSERT_EQ(0, r.code) << r.err;
    EXPECT_TRUE(hasLine(r.out, "sensorctl: isp ch0 get 1568 KEY_MZ_POSITION = 16384 (ok)")) << r.out;
    appendToProfile("fail 1568 1 -1");
    r = onCam({"--log", "zoom"});
    EXPECT_EQ(1, r.code);
    EXPECT_TRUE(hasLine(r.out, "sensorctl: isp ch0 get 1568 KEY_MZ_POSITION (failed -1)")) << r.out;
}

TEST_F(SensorctlControllerTest, KeysOutsideTheKeyTableAreNamed) {
    RunResult r = onCam({"set", "(34,55)(54321,1)"});
    ASSERT_EQ(0, r.code) << r.err;
    EXPECT_EQ((std::vector<std::string>{
                  "sensorctl: warning: key 54321 is not in the key table; the library sends it to the ISP as command "
                  "54321",
                  "sensorctl: warning: the library raised 1 assertion report in setParameters: -1 != "
                  "findFromKeyCmdMap(m_pKeyCmdMap, nKey, stKeyCmdTmp) (see " + m_strCam + "/sensorctl.log)"}),
              lines(r.err));
    EXPECT_EQ(55, valueOf(camRecords(kScheme0), 34));

    // A read of such a key fails the command, whatever the ISP answers.
    r = onCam({"get", "(34,54321)"});
    expectError(r, 1, "could not read key(s) 54321 (not in the key table: 54321)");
    EXPECT_EQ("sensorctl: warning: key 54321 is not in the key table", lines(r.err).front());
    EXPECT_TRUE(hasLine(r.out, "sensorctl:   (34,55)  KEY_BRIGHTNESS")) << r.out;
    // The twins without a row are outside the table as well.
    r = onCam({"get", "(201)"});
    expectError(r, 1, "could not read key(s) 201 (not in the key table: 201)");
}

TEST_F(SensorctlControllerTest, ValuesOutsideTheSettingsPageAreNamedAndStillApplied) {
    RunResult r = onCam({"--log", "set", "(34,150)(2528,7)"});
    ASSERT_EQ(0, r.code) << r.err;
    EXPECT_EQ((std::vector<std::string>{
                  "sensorctl: warning: value 150 of key 34 KEY_BRIGHTNESS is outside the range 0 to 100 of the "
                  "settings page; the library applies it",
                  "sensorctl: warning: value 7 of key 2528 KEY_GAMMA is not one of the choices 0, 1, 2, 3 of the "
                  "settings page; the library applies it"}),
              lines(r.err));
    EXPECT_EQ(150, valueOf(camRecords(kScheme0), 34));
    EXPECT_EQ(7, valueOf(camRecords(kScheme0), 2528));
    // The check reads the narrowed style; its ISP queries stay out of the log.
    EXPECT_TRUE(hasLine(r.out, "sensorctl: log: 2 ISP calls (2 set), 0 video notifications")) << r.out;

    r = onCam({"set", "(34,100)(2528,3)"});
    ASSERT_EQ(0, r.code);
    EXPECT_EQ("", r.err);
}
