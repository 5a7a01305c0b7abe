// Diagnostics: switches from the marker file, gated traces, assertion reports.
#define SNS_SOURCE_FILE "DiagTest.cpp"
#include <gtest/gtest.h>

#include <string>

#include "platform/PXRuntimeError.h"
#include "controller/SensorDebug.h"
#include "support/TestEnv.h"

using tarnix_test::countOccurrences;

namespace {

class DiagnosticsTest : public tarnix_test::TarnixTest {};

void failingAssertWithDetail() { SENSOR_ASSERT_AT(123, 1 == 2, "1 == 2", "detail(%d)\n", 42); }

void failingAssertEmptyDetail() { SENSOR_ASSERT_AT(77, false, "m_pSensorThread->stop()", ""); }

} // namespace

TEST_F(DiagnosticsTest, MissingMarkerResetsSwitchesToDefaults) {
    g_nDebugLevel = 9;
    g_bEnAssert = true;
    updateDebugLevel();
    EXPECT_EQ(1, g_nDebugLevel.load());
    EXPECT_FALSE(g_bEnAssert.load());
}

TEST_F(DiagnosticsTest, MarkerLinesSetLevelAndAbortSwitch) {
    setDebugMarker("7", "1");
    updateDebugLevel();
    EXPECT_EQ(7, g_nDebugLevel.load());
    EXPECT_TRUE(g_bEnAssert.load());
}

TEST_F(DiagnosticsTest, EmptySecondLineClearsAbortSwitch) {
    g_bEnAssert = true;
    writeFile("/tmp/Debug.sign", "4\n\n");
    updateDebugLevel();
    EXPECT_EQ(4, g_nDebugLevel.load());
    EXPECT_FALSE(g_bEnAssert.load());
}

TEST_F(DiagnosticsTest, EmptyFirstLineMeansLevelOne) {
    writeFile("/tmp/Debug.sign", "\n1\n");
    updateDebugLevel();
    EXPECT_EQ(1, g_nDebugLevel.load());
    EXPECT_TRUE(g_bEnAssert.load());
}

TEST_F(DiagnosticsTest, NonNumericLevelReadsAsZero) {
    writeFile("/tmp/Debug.sign", "verbose\n0\n");
    updateDebugLevel();
    EXPECT_EQ(0, g_nDebugLevel.load());
    EXPECT_FALSE(g_bEnAssert.load());
}

TEST_F(DiagnosticsTest, UnreadableMarkerLeavesSwitchesUnchanged) {
    // A directory in place of the marker exists but cannot be read as a file.
    makeDir("/tmp/Debug.sign");
    g_nDebugLevel = 5;
    g_bEnAssert = false;
    updateDebugLevel();
    EXPECT_EQ(5, g_nDebugLevel.load());
    EXPECT_FALSE(g_bEnAssert.load());
}

TEST_F(DiagnosticsTest, AssertionWithoutMarkerPrintsAndLogsButDoesNotAbort) {
    captureStdout();
    failingAssertWithDetail();
    std::string out = capturedStdout();
    EXPECT_EQ(std::string("\033[0m\033[31m[sensor assert] file:DiagTest.cpp fun:failingAssertWithDetail line:123\n"
                          "1 == 2   ~~~Assertion failed.\n\033[0m"
                          "\033[0m\033[31mdetail(42)\n\033[0m"),
              out);
    std::string log = errorLog();
    EXPECT_NE(std::string::npos, log.find("[sensor assert]"));
    EXPECT_NE(std::string::npos, log.find("file:DiagTest.cpp fun:failingAssertWithDetail line:123"));
    EXPECT_NE(std::string::npos, log.find("1 == 2   ~~~Assertion failed."));
    EXPECT_NE(std::string::npos, log.find("detail(42)"));
    EXPECT_EQ(3u, countOccurrences(log, "[sensor assert]"));
}

TEST_F(DiagnosticsTest, EmptyDetailPrintsNothingBetweenPrefixAndResetButIsStillLogged) {
    captureStdout();
    failingAssertEmptyDetail();
    std::string out = capturedStdout();
    EXPECT_EQ(std::string("\033[0m\033[31m[sensor assert] file:DiagTest.cpp fun:failingAssertEmptyDetail line:77\n"
                          "m_pSensorThread->stop()   ~~~Assertion failed.\n\033[0m\033[0m\033[31m\033[0m"),
              out);
    EXPECT_EQ(3u, countOccurrences(errorLog(), "[sensor assert]"));
}

TEST_F(DiagnosticsTest, NegativeLevelSuppressesEvenAssertions) {
    setDebugMarker("-1");
    captureStdout();
    failingAssertWithDetail();
    EXPECT_EQ("", capturedStdout());
    EXPECT_FALSE(fileExists("/mnt/mtd/log/SensorError.log"));
}

TEST_F(DiagnosticsTest, WarningsAndTracesSilentAtDefaultLevel) {
    captureStdout();
    SENSOR_TRACE(TRACE_WARN, "warn %d\n", 1);
    SENSOR_TRACE(TRACE_ERR, "err %d\n", 2);
    SENSOR_TRACE(TRACE_DBG, "dbg %d\n", 3);
    SENSOR_TRACE(TRACE_INFO, "info %d\n", 4);
    SENSOR_LINE(5, 31, "line %d\n", 5);
    EXPECT_EQ("", capturedStdout());
    EXPECT_FALSE(fileExists("/mnt/mtd/log/SensorError.log"));
}

TEST_F(DiagnosticsTest, WarningPrintsAboveThreeAndIsLogged) {
    setDebugMarker("4");
    captureStdout();
    SENSOR_TRACE_AT(TRACE_WARN, -1, 55, "check the sensor version %u\n", 7u);
    SENSOR_TRACE_AT(TRACE_ERR, -1, 56, "quiet error\n");
    std::string out = capturedStdout();
    EXPECT_EQ("\033[0m\033[0m[sensor warn] file:DiagTest.cpp fun:TestBody line:55\ncheck the sensor version 7\n\033[0m",
              out);
    std::string log = errorLog();
    EXPECT_EQ(2u, countOccurrences(log, "[sensor warn]"));
    EXPECT_NE(std::string::npos, log.find("file:DiagTest.cpp fun:TestBody line:55"));
    EXPECT_NE(std::string::npos, log.find("check the sensor version 7"));
}

TEST_F(DiagnosticsTest, ErrorTraceIsAsQuietAsDebugTraceAndNeverLogged) {
    setDebugMarker("5");
    captureStdout();
    SENSOR_TRACE_AT(TRACE_ERR, -1, 10, "e\n");
    EXPECT_EQ("", capturedStdout());
    setDebugMarker("6");
    captureStdout();
    SENSOR_TRACE_AT(TRACE_ERR, -1, 11, "e\n");
    SENSOR_TRACE_AT(TRACE_DBG, -1, 12, "d\n");
    SENSOR_TRACE_AT(TRACE_INFO, -1, 13, "i\n");
    EXPECT_EQ("\033[0m\033[0m[sensor err] file:DiagTest.cpp fun:TestBody line:11\ne\n\033[0m"
              "\033[0m\033[0m[sensor dbg] file:DiagTest.cpp fun:TestBody line:12\nd\n\033[0m",
              capturedStdout());
    EXPECT_FALSE(fileExists("/mnt/mtd/log/SensorError.log"));
}

TEST_F(DiagnosticsTest, InfoTracePrintsInColour35AboveSix) {
    setDebugMarker("7");
    captureStdout();
    SENSOR_TRACE_AT(TRACE_INFO, -1, 20, "%s\n", "merged");
    EXPECT_EQ("\033[0m\033[35m[sensor info] file:DiagTest.cpp fun:TestBody line:20\nmerged\n\033[0m", capturedStdout());
}

TEST_F(DiagnosticsTest, UntaggedLineUsesItsOwnThresholdAndColour) {
    setDebugMarker("6");
    captureStdout();
    SENSOR_LINE(5, 32, "not find (%d) \n", 12);
    SENSOR_LINE(6, 31, "hidden\n");
    EXPECT_EQ("\033[0m\033[32mnot find (12) \n\033[0m", capturedStdout());
}

TEST_F(DiagnosticsTest, LevelChangesWhileRunningAreSeenAtTheNextReport) {
    captureStdout();
    SENSOR_TRACE(TRACE_DBG, "first\n");
    setDebugMarker("6");
    SENSOR_TRACE(TRACE_DBG, "second\n");
    removeFile("/tmp/Debug.sign");
    SENSOR_TRACE(TRACE_DBG, "third\n");
    std::string out = capturedStdout();
    EXPECT_EQ(std::string::npos, out.find("first"));
    EXPECT_NE(std::string::npos, out.find("second"));
    EXPECT_EQ(std::string::npos, out.find("third"));
}

TEST_F(DiagnosticsTest, LongMessagesReachTheConsoleWholeAndTheLogCut) {
    setDebugMarker("6");
    std::string huge(100000, 'x');
    captureStdout();
    SENSOR_TRACE(TRACE_WARN, "%s\n", huge.c_str());
    SENSOR_ASSERT_AT(9, false, "false", "%s", huge.c_str());
    std::string out = capturedStdout();
    EXPECT_EQ(2u, countOccurrences(out, huge));
    std::string log = errorLog();
    EXPECT_EQ(std::string::npos, log.find(huge));
    EXPECT_NE(std::string::npos, log.find(std::string(tarnix::diag::kMaxMessage - 1, 'x')));
}

TEST_F(DiagnosticsTest, ReportLineUnderAssertTagWithoutAbort) {
    setDebugMarker("0", "1");
    captureStdout();
    SENSOR_REPORT_AT(80, "cmd_list[%d]=%d\n", 0, 49);
    EXPECT_EQ("\033[0m\033[31m[sensor assert] file:DiagTest.cpp fun:TestBody line:80\ncmd_list[0]=49\n\033[0m",
              capturedStdout());
    std::string log = errorLog();
    EXPECT_NE(std::string::npos, log.find("cmd_list[0]=49"));
}

using DiagnosticsDeathTest = DiagnosticsTest;

TEST_F(DiagnosticsDeathTest, EnabledAbortSwitchAbortsWithBRet) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    setDebugMarker("7", "1");
    EXPECT_DEATH(failingAssertWithDetail(), "DiagTest.cpp:123: void \\{anonymous\\}::failingAssertWithDetail\\(\\): "
                                            "Assertion `bRet' failed");
}

TEST_F(DiagnosticsDeathTest, NegativeLevelWithAbortSwitchStillAborts) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    setDebugMarker("-1", "1");
    EXPECT_DEATH(failingAssertEmptyDetail(), "Assertion `bRet' failed");
}

TEST(PXRuntimeErrorTest, NullCharPointerGivesEmptyMessage) {
    const char* null = nullptr;
    PXRuntimeError error(null);
    EXPECT_STREQ("", error.what());
}

TEST(PXRuntimeErrorTest, KeepsItsMessage) {
    const char* text = "not valid pointer in dec_reference";
    EXPECT_STREQ("not valid pointer in dec_reference", PXRuntimeError(text).what());
    EXPECT_STREQ("abc", PXRuntimeError(std::string("abc")).what());
    try {
        throw PXRuntimeError(std::string("thrown"));
    } catch (const std::exception& e) {
        EXPECT_STREQ("thrown", e.what());
    }
}
