// Restore of single keys, re-apply of the current scheme's file, flush and
// the mirror setter (the factory reset runs a whole init and is covered by
// the integration tests).
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "controller/ISensorController.h"
#include "support/BareController.h"
#include "support/ControllerPeer.h"
#include "support/TestEnv.h"

namespace {

using tarnix_test::BareController;
using Peer = ISensorControllerTestPeer;
using tarnix_test::SetCall;
using tarnix_test::setCalls;


std::string bytesOf(const std::vector<KeyVal>& p_vec) {
    return std::string(reinterpret_cast<const char*>(p_vec.data()), p_vec.size() * sizeof(KeyVal));
}

// A factory list with the scheme window at entries 1 to 4, exposure and
// focus keys, and the mirror.
std::vector<KeyVal> restoreFactoryList() {
    return {
        {8000, 0},  {8001, 8}, {8002, 0}, {8003, 20}, {8004, 30}, {34, 50},
        {2337, 50}, {16, 1},   {1536, 2}, {49, 40},   {2384, 0},  {2353, 50},
    };
}

class RestoreTest : public tarnix_test::TarnixTest {
protected:
    void SetUp() override {
        TarnixTest::SetUp();
        makeDir("/mnt/mtd/code/config_file");
        makeDir("/mnt/mtd/log");
        m_pBare.reset(new BareController(restoreFactoryList(), 3));
        ispsim::clearCalls();
    }
    void TearDown() override {
        m_pBare.reset();
        TarnixTest::TearDown();
    }
    BareController& bare() { return *m_pBare; }
    ISensorController& ctl() { return m_pBare->ctl(); }

    std::unique_ptr<BareController> m_pBare;
};

// ---- restore ----

TEST_F(RestoreTest, RestoreSendsTheStoredValueAgain) {
    bare().set(0, 34, 61);
    EXPECT_EQ(0, ctl().restore(34));
    // Sent although the cache already holds it.
    std::vector<SetCall> expected = {{0, 34, 61}};
    EXPECT_EQ(expected, setCalls());
    EXPECT_EQ(61u, bare().value(0, 34));
}

TEST_F(RestoreTest, RestoreUsesTheCurrentScheme) {
    bare().set(2, 34, 12);
    bare().setCurScheme(2);
    EXPECT_EQ(0, ctl().restore(34));
    std::vector<SetCall> expected = {{0, 34, 12}};
    EXPECT_EQ(expected, setCalls());
}

TEST_F(RestoreTest, RestoreOfKeyOutsideTheSchemeReportsAndFails) {
    captureStdout();
    EXPECT_EQ(-1, ctl().restore(2368));
    std::string out = capturedStdout();
    EXPECT_NE(std::string::npos, out.find("-1 != nPos   ~~~Assertion failed.")) << out;
    EXPECT_NE(std::string::npos, out.find("restore key(2368) failed! make sure it is sensor ui key \n"))
        << out;
    EXPECT_NE(std::string::npos, out.find("fun:restore")) << out;
    EXPECT_TRUE(setCalls().empty());
    EXPECT_NE(std::string::npos, errorLog().find("restore key(2368) failed!"));
}

TEST_F(RestoreTest, RestoreWithFailingHandlerReturnsNegatedKeyAndKeepsCache) {
    bare().set(0, 2337, 33);
    ispsim::setFailure(0, 2337, 0, -3);
    EXPECT_EQ(-2337, ctl().restore(2337));
    EXPECT_EQ(33u, bare().value(0, 2337));
}

TEST_F(RestoreTest, RestoreOnTheFactoryRow) {
    bare().set(3, 34, 44);
    bare().setCurScheme(3);
    EXPECT_EQ(0, ctl().restore(34));
    std::vector<SetCall> expected = {{0, 34, 44}};
    EXPECT_EQ(expected, setCalls());
}

TEST_F(RestoreTest, RestoreBeyondTheFactoryRowFindsNothing) {
    bare().setCurScheme(7);
    EXPECT_EQ(-1, ctl().restore(34));
    EXPECT_TRUE(setCalls().empty());
}

// ---- restoreAeMode ----

TEST_F(RestoreTest, RestoreAeModeWithLensRestoresFocusThenExposure) {
    EXPECT_TRUE(ctl().restoreAeMode());
    std::vector<SetCall> expected = {{0, 1536, 2}, {0, 16, 1}};
    EXPECT_EQ(expected, setCalls());
}

TEST_F(RestoreTest, RestoreAeModeWithoutLensRestoresExposureOnly) {
    bare().setHasLens(false);
    EXPECT_TRUE(ctl().restoreAeMode());
    std::vector<SetCall> expected = {{0, 16, 1}};
    EXPECT_EQ(expected, setCalls());
}

TEST_F(RestoreTest, RestoreAeModeFocusFailureStops) {
    ispsim::setFailure(0, 1536, 0, -1);
    EXPECT_FALSE(ctl().restoreAeMode());
    for (const auto& c : setCalls()) {
        EXPECT_NE(16u, c.cmd);
    }
}

TEST_F(RestoreTest, RestoreAeModeExposureFailureFails) {
    ispsim::setFailure(0, 16, 0, -1);
    EXPECT_FALSE(ctl().restoreAeMode());
}

TEST_F(RestoreTest, RestoreAeModeOnThermalWithoutLensNeverReachesTheIsp) {
    bare().setThermal(true);
    bare().setHasLens(false);
    EXPECT_TRUE(ctl().restoreAeMode());
    EXPECT_TRUE(ispsim::calls().empty());
}

TEST_F(RestoreTest, RestoreAeModeOnThermalWithLensRestoresFocusOnly) {
    bare().setThermal(true);
    EXPECT_TRUE(ctl().restoreAeMode());
    std::vector<SetCall> expected = {{0, 1536, 2}};
    EXPECT_EQ(expected, setCalls());
}

// ---- resetToLastParameters ----

TEST_F(RestoreTest, ResetToLastOnTheFactoryRowDoesNothing) {
    bare().setCurScheme(3);
    EXPECT_TRUE(ctl().resetToLastParameters());
    EXPECT_TRUE(ispsim::calls().empty());
    EXPECT_EQ(0, Peer::flags(ctl()) & ISensorController::FLAG_RESTORING);
}

TEST_F(RestoreTest, ResetToLastAppliesOnlyWhatDiffersFromTheFile) {
    // The file of scheme 1 holds brightness 50 and saturation 70; the cache
    // has unsaved changes of brightness (61) and contrast (40).
    std::vector<KeyVal> vecFile = bare().rowCopy(1);
    vecFile[6].value = 70; // 2337
    writeFile("/mnt/mtd/code/config_file/sensor1_1.cfg", bytesOf(vecFile));
    bare().setCurScheme(1);
    bare().set(1, 34, 61);
    bare().set(1, 2353, 40);
    EXPECT_TRUE(ctl().resetToLastParameters());
    std::vector<SetCall> expected = {{0, 34, 50}, {0, 2337, 70}, {0, 2353, 50}};
    EXPECT_EQ(expected, setCalls());
    EXPECT_EQ(bare().rowCopy(1).size(), vecFile.size());
    std::vector<KeyVal> vecRow = bare().rowCopy(1);
    EXPECT_EQ(bytesOf(vecFile), bytesOf(vecRow));
    EXPECT_EQ(0, Peer::flags(ctl()) & ISensorController::FLAG_RESTORING);
}

TEST_F(RestoreTest, ResetToLastReportsAFailedApply) {
    std::vector<KeyVal> vecFile = bare().rowCopy(0);
    vecFile[5].value = 1; // 34
    writeFile("/mnt/mtd/code/config_file/sensor1_0.cfg", bytesOf(vecFile));
    ispsim::setFailure(0, 34, 0, -1);
    EXPECT_FALSE(ctl().resetToLastParameters());
    EXPECT_EQ(0, Peer::flags(ctl()) & ISensorController::FLAG_RESTORING);
}

TEST_F(RestoreTest, ResetToLastUsesTheThermalFileName) {
    bare().setThermal(true);
    std::vector<KeyVal> vecFile = bare().rowCopy(2);
    vecFile[11].value = 9; // 2353
    writeFile("/mnt/mtd/code/config_file/sensor-thermal2.cfg", bytesOf(vecFile));
    bare().setCurScheme(2);
    EXPECT_TRUE(ctl().resetToLastParameters());
    std::vector<SetCall> expected = {{0, 2353, 9}};
    EXPECT_EQ(expected, setCalls());
}

TEST_F(RestoreTest, ResetToLastWithMissingFileReportsAndAppliesTheWorkArray) {
    // No file: the loader reports and leaves the work array as it was; it is
    // applied all the same (a zeroed array of key 0 records here, which the
    // apply loop sends to the ISP as command 0). The loader's result is
    // always 0, so only its own reports show the problem.
    captureStdout();
    EXPECT_TRUE(ctl().resetToLastParameters());
    std::string out = capturedStdout();
    EXPECT_NE(std::string::npos, out.find("file.open(file_name)   ~~~Assertion failed.")) << out;
    EXPECT_NE(std::string::npos, out.find("nSize == sizeof(KeyVal)*p_nKeyValNum   ~~~Assertion failed."))
        << out;
    EXPECT_EQ(std::string::npos, out.find("SNS_SUCCESS == keyValFromFile(szTmp")) << out;
    auto calls = tarnix_test::callsWithOpt(0);
    ASSERT_EQ(12u, calls.size());
    EXPECT_EQ(0u, calls[0].cmd);
    EXPECT_EQ(0, Peer::flags(ctl()) & ISensorController::FLAG_RESTORING);
    // The cache has no key 0: it keeps its values.
    EXPECT_EQ(50u, bare().value(0, 34));
}

TEST_F(RestoreTest, ResetToLastWithShortFileKeepsTheRestOfTheWorkArray) {
    // The work array holds the previous text call's records; a short file
    // covers only its first two.
    Peer::keyValTmp(ctl()) = new KeyVal[KEYCMD_CAPACITY];
    ctl().setParameters(std::string("(8000,0)(8001,8)(8002,0)(8003,20)(8004,30)(34,50)(2337,50)(16,1)(1536,2)"
                                    "(49,40)(2384,0)(2353,50)"),
                        true);
    std::vector<KeyVal> vecShort = {{8000, 0}, {8001, 8}};
    writeFile("/mnt/mtd/code/config_file/sensor1_0.cfg", bytesOf(vecShort));
    bare().set(0, 34, 77);
    ispsim::clearCalls();
    EXPECT_TRUE(ctl().resetToLastParameters());
    std::vector<SetCall> expected = {{0, 34, 50}};
    EXPECT_EQ(expected, setCalls());
    EXPECT_EQ(50u, bare().value(0, 34));
}

// ---- flush ----

TEST_F(RestoreTest, FlushWritesTheCurrentSchemeBytes) {
    bare().setCurScheme(2);
    bare().set(2, 34, 66);
    EXPECT_EQ(0, ctl().flush());
    std::string strFile = readFile("/mnt/mtd/code/config_file/sensor1_2.cfg");
    EXPECT_EQ(12u * 8u, strFile.size());
    EXPECT_EQ(bytesOf(bare().rowCopy(2)), strFile);
    // The other user schemes, whose files do not hold their rows yet, are
    // stored too; the factory row never is.
    EXPECT_EQ(bytesOf(bare().rowCopy(0)), readFile("/mnt/mtd/code/config_file/sensor1_0.cfg"));
    EXPECT_EQ(bytesOf(bare().rowCopy(1)), readFile("/mnt/mtd/code/config_file/sensor1_1.cfg"));
    EXPECT_FALSE(fileExists("/mnt/mtd/code/config_file/sensor1_3.cfg"));
    EXPECT_FALSE(fileExists("/mnt/mtd/code/config_file/sensor1_2.cfg.tmp"));
}

TEST_F(RestoreTest, FlushOnChannelTwoAndThermal) {
    BareController ch2(restoreFactoryList(), 3, 2);
    EXPECT_EQ(0, ch2->flush());
    EXPECT_TRUE(fileExists("/mnt/mtd/code/config_file/sensor2_0.cfg"));
    bare().setThermal(true);
    bare().setCurScheme(1);
    EXPECT_EQ(0, ctl().flush());
    EXPECT_TRUE(fileExists("/mnt/mtd/code/config_file/sensor-thermal1.cfg"));
    EXPECT_FALSE(fileExists("/mnt/mtd/code/config_file/sensor1_1.cfg"));
}

TEST_F(RestoreTest, FlushOnTheFactoryRowWritesNothing) {
    bare().setCurScheme(3);
    EXPECT_EQ(0, ctl().flush());
    EXPECT_FALSE(fileExists("/mnt/mtd/code/config_file/sensor1_3.cfg"));
    bare().setCurScheme(9);
    EXPECT_EQ(0, ctl().flush());
    EXPECT_FALSE(fileExists("/mnt/mtd/code/config_file/sensor1_9.cfg"));
}

TEST_F(RestoreTest, FlushPassesOnTheWindowCheck) {
    // Start 08:00, end 08:00.
    bare().set(0, 8003, 8);
    bare().set(0, 8004, 0);
    EXPECT_EQ(507, ctl().flush());
    EXPECT_FALSE(fileExists("/mnt/mtd/code/config_file/sensor1_0.cfg"));
    // End 24:01.
    bare().set(0, 8003, 24);
    bare().set(0, 8004, 1);
    EXPECT_EQ(506, ctl().flush());
    // Start 25:00.
    bare().set(0, 8001, 25);
    EXPECT_EQ(505, ctl().flush());
    EXPECT_FALSE(fileExists("/mnt/mtd/code/config_file/sensor1_0.cfg"));
    // A valid window again.
    bare().set(0, 8001, 0);
    bare().set(0, 8003, 24);
    bare().set(0, 8004, 0);
    EXPECT_EQ(0, ctl().flush());
    EXPECT_TRUE(fileExists("/mnt/mtd/code/config_file/sensor1_0.cfg"));
}

// ---- setMirrorMode ----

TEST_F(RestoreTest, SetMirrorModeAppliesAndSaves) {
    EXPECT_TRUE(ctl().setMirrorMode(1));
    bool bSent = false;
    for (const auto& c : setCalls()) {
        bSent = bSent || c.cmd == 2384;
    }
    EXPECT_TRUE(bSent);
    EXPECT_EQ(1u, bare().value(0, 2384));
    std::string strFile = readFile("/mnt/mtd/code/config_file/sensor1_0.cfg");
    EXPECT_EQ(bytesOf(bare().rowCopy(0)), strFile);
}

TEST_F(RestoreTest, SetMirrorModeUnchangedValueStillSaves) {
    EXPECT_TRUE(ctl().setMirrorMode(0));
    EXPECT_TRUE(setCalls().empty());
    EXPECT_TRUE(fileExists("/mnt/mtd/code/config_file/sensor1_0.cfg"));
}

TEST_F(RestoreTest, SetMirrorModeFailureDoesNotSave) {
    ispsim::setFailure(0, 2384, 0, -1);
    EXPECT_FALSE(ctl().setMirrorMode(1));
    EXPECT_FALSE(fileExists("/mnt/mtd/code/config_file/sensor1_0.cfg"));
    EXPECT_EQ(0u, bare().value(0, 2384));
}

TEST_F(RestoreTest, SetMirrorModeWithBadWindowAppliesButDoesNotSave) {
    bare().set(0, 8001, 21);
    EXPECT_TRUE(ctl().setMirrorMode(1));
    EXPECT_EQ(1u, bare().value(0, 2384));
    EXPECT_FALSE(fileExists("/mnt/mtd/code/config_file/sensor1_0.cfg"));
}

} // namespace
