// Scheme switches, the host's scheme and mode requests and the window reader.
#include <atomic>
#include <chrono>
#include <thread>

#include "scheme/SchemeFixture.h"

namespace scheme_test {
namespace {

using Calls = std::vector<std::pair<unsigned int, uint32_t>>;
using tarnix_test::setCommands;

// Every key of the default row that has a table row, in row order.
const std::vector<unsigned int> kAllAppliedCommands = {34, 2337, 144, 145, 146, 154, 149, 150, 151, 152, 2353};

class SwitchTest : public SchemeTest {
protected:
    void SetUp() override {
        SchemeTest::SetUp();
        buildCache(3);
        ispsim::clearCalls();
    }

    // Polls until the error log contains text (up to about two seconds).
    bool waitForLog(const std::string& text) {
        for (int i = 0; i < 2000; ++i) {
            if (errorLog().find(text) != std::string::npos) {
                return true;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        return false;
    }
};

// ---- switch_to ----

TEST_F(SwitchTest, NonForcedSwitchSendsOnlyTheKeysThatDiffer) {
    put(1, K_BRIGHTNESS, 60);
    put(1, K_CONTRAST, 70);
    EXPECT_EQ(SNS_SUCCESS, ctl().switch_to(1));
    EXPECT_EQ((Calls{{34, 60}, {2353, 70}}), setCalls());
    EXPECT_EQ(1, cur());
    EXPECT_EQ(0, last());
    EXPECT_EQ(0, Peer::flags(ctl()) & ISensorController::FLAG_SWITCHING);
    EXPECT_EQ("", errorLog());
}

TEST_F(SwitchTest, NonForcedSwitchComparesWithThePreviousScheme) {
    // The ISP holds the values of the scheme in force before the switch
    // (scheme 1): only what differs from it is sent, not what differs from 0.
    put(2, K_BRIGHTNESS, 60);
    put(1, K_SATURATION, 10);
    put(2, K_SATURATION, 10);
    Peer::curScheme(ctl()) = 1;
    EXPECT_EQ(SNS_SUCCESS, ctl().switch_to(2));
    EXPECT_EQ((Calls{{34, 60}}), setCalls());
    EXPECT_EQ(2, cur());
    EXPECT_EQ(1, last());
}

TEST_F(SwitchTest, NonForcedSwitchCompletesThresholdRecordFromTheNewScheme) {
    put(1, K_DTN_THR, 30);
    put(1, K_NTD_THR, 60);
    ASSERT_EQ(SNS_SUCCESS, ctl().switch_to(1));
    auto calls = tarnix_test::callsWithOpt(0);
    ASSERT_EQ(1u, calls.size());
    EXPECT_EQ(145u, calls[0].cmd);
    EXPECT_EQ((std::vector<uint32_t>{30, 60, 0}), calls[0].data);
}

TEST_F(SwitchTest, ForcedSwitchSendsEveryKey) {
    EXPECT_EQ(SNS_SUCCESS, ctl().switch_to(1, true));
    // Scheme mode and window keys never reach the ISP.
    EXPECT_EQ(kAllAppliedCommands, setCommands());
    EXPECT_EQ(1, cur());
    EXPECT_EQ(0, last());
    EXPECT_EQ(0, Peer::flags(ctl()) & ISensorController::FLAG_SWITCHING);
}

TEST_F(SwitchTest, ForcedSwitchToTheCurrentSchemeSendsEverythingAgain) {
    EXPECT_EQ(SNS_SUCCESS, ctl().switch_to(0, true));
    EXPECT_EQ(kAllAppliedCommands, setCommands());
    EXPECT_EQ(0, cur());
    EXPECT_EQ(0, last());
}

TEST_F(SwitchTest, FailedNonForcedApplyIsReportedAndStillSucceeds) {
    put(1, K_BRIGHTNESS, 60);
    put(1, K_CONTRAST, 70);
    ispsim::setFailure(0, 34, 0, -1);
    EXPECT_EQ(SNS_SUCCESS, ctl().switch_to(1));
    // The switch counts as done.
    EXPECT_EQ(1, cur());
    EXPECT_EQ(0, Peer::flags(ctl()) & ISensorController::FLAG_SWITCHING);
    // The apply stopped at the failing key.
    EXPECT_EQ((std::vector<unsigned int>{34}), setCommands());
    std::string log = errorLog();
    EXPECT_NE(std::string::npos,
              log.find("SNS_SUCCESS == setParameters(m_ppUserKeyVal[m_nCurScheme], m_nKeyValSum, true)   "
                       "~~~Assertion failed."));
    EXPECT_NE(std::string::npos, log.find("m_nCurScheme(1) m_nKeyValSum(16)\n"));
    EXPECT_NE(std::string::npos, log.find("fun:switch_to"));
}

TEST_F(SwitchTest, FailedForcedApplyIsIgnored) {
    ispsim::setFailure(0, 34, 0, -1);
    EXPECT_EQ(SNS_SUCCESS, ctl().switch_to(1, true));
    EXPECT_EQ(1, cur());
    EXPECT_EQ("", errorLog());
}

TEST_F(SwitchTest, SwitchToTheFactoryRowAppliesTheFactoryValues) {
    put(3, K_BRIGHTNESS, 45);
    EXPECT_EQ(SNS_SUCCESS, ctl().switch_to(3));
    EXPECT_EQ((Calls{{34, 45}}), setCalls());
    EXPECT_EQ(3, cur());
}

TEST_F(SwitchTest, SwitchBeyondTheFactoryRowOnlySetsTheIndex) {
    EXPECT_EQ(SNS_SUCCESS, ctl().switch_to(4, true));
    EXPECT_EQ(4, cur());
    EXPECT_EQ(0, last());
    EXPECT_EQ(SNS_SUCCESS, ctl().switch_to(-1));
    EXPECT_EQ(-1, cur());
    EXPECT_EQ(4, last());
    EXPECT_TRUE(ispsim::calls().empty());
    EXPECT_EQ(0, Peer::flags(ctl()) & ISensorController::FLAG_SWITCHING);
}

TEST_F(SwitchTest, SwitchOnUninitialisedControllerAppliesNothing) {
    ISensorController& other = extraController();
    EXPECT_EQ(SNS_SUCCESS, other.switch_to(1, true));
    EXPECT_EQ(SNS_SUCCESS, other.switch_to(0));
    EXPECT_EQ(0, Peer::curScheme(other).load());
    EXPECT_EQ(1, Peer::lastScheme(other).load());
    EXPECT_TRUE(ispsim::calls().empty());
}

// ---- LPR_switch_to ----

TEST_F(SwitchTest, LprSwitchAppliesEverythingWithDayNightModeZero) {
    put(1, K_DN_MODE, 2);
    EXPECT_EQ(SNS_SUCCESS, ctl().LPR_switch_to(1));
    EXPECT_EQ(kAllAppliedCommands, setCommands());
    for (const auto& call : setCalls()) {
        if (call.first == K_DN_MODE) {
            EXPECT_EQ(0u, call.second);
        }
    }
    // The stored scheme keeps its own value.
    EXPECT_EQ(2u, get(1, K_DN_MODE));
    EXPECT_EQ(1, cur());
    EXPECT_EQ(0, last());
    EXPECT_EQ(0, Peer::flags(ctl()) & ISensorController::FLAG_SWITCHING);
}

TEST_F(SwitchTest, LprSwitchZeroesOnlyTheFirstDayNightModeEntry) {
    ISensorController& other = extraController();
    std::vector<KeyVal> base = defaultRow();
    base.push_back({K_DN_MODE, 2});
    buildCache(other, 2, base);
    KeyVal* pRow = row(other, 1);
    pRow[7].value = 1; // the first K_DN_MODE entry
    ispsim::clearCalls();
    EXPECT_EQ(SNS_SUCCESS, other.LPR_switch_to(1));
    std::vector<uint32_t> dnValues;
    for (const auto& call : setCalls()) {
        if (call.first == K_DN_MODE) {
            dnValues.push_back(call.second);
        }
    }
    EXPECT_EQ((std::vector<uint32_t>{0, 2}), dnValues);
    EXPECT_EQ(1u, row(other, 1)[7].value);
}

TEST_F(SwitchTest, LprSwitchWithoutWorkCopyOrRowAppliesNothing) {
    ISensorController& other = extraController();
    buildCache(other, 2, defaultRow(), false);
    ispsim::clearCalls();
    EXPECT_EQ(SNS_SUCCESS, other.LPR_switch_to(1));
    EXPECT_EQ(1, Peer::curScheme(other).load());
    EXPECT_TRUE(ispsim::calls().empty());

    EXPECT_EQ(SNS_SUCCESS, ctl().LPR_switch_to(7));
    EXPECT_EQ(7, cur());
    EXPECT_EQ(0, last());
    EXPECT_TRUE(ispsim::calls().empty());
}

// ---- setParamScheme ----

TEST_F(SwitchTest, SetParamSchemeSwitchesWithoutReport) {
    put(1, K_BRIGHTNESS, 60);
    EXPECT_TRUE(ctl().setParamScheme(1));
    EXPECT_EQ(1, cur());
    EXPECT_EQ((Calls{{34, 60}}), setCalls());
    EXPECT_EQ("", errorLog());
}

TEST_F(SwitchTest, SetParamSchemeAcceptsTheFactoryRow) {
    put(3, K_BRIGHTNESS, 45);
    EXPECT_TRUE(ctl().setParamScheme(3));
    EXPECT_EQ(3, cur());
    EXPECT_EQ((Calls{{34, 45}}), setCalls());
    EXPECT_EQ("", errorLog());
}

TEST_F(SwitchTest, SetParamSchemeBeyondTheFactoryRowReportsAndStillSwitches) {
    EXPECT_TRUE(ctl().setParamScheme(4));
    EXPECT_EQ(4, cur());
    EXPECT_EQ(0, last());
    EXPECT_TRUE(ispsim::calls().empty());
    std::string log = errorLog();
    EXPECT_NE(std::string::npos,
              log.find("p_nScheme >= 0 && (u32)p_nScheme <= m_stSysConf.nSchemeSum   ~~~Assertion failed."));
    EXPECT_NE(std::string::npos, log.find("p_nScheme(4)\n"));
}

TEST_F(SwitchTest, SetParamSchemeNegativeReportsAndStillSwitches) {
    EXPECT_TRUE(ctl().setParamScheme(-1));
    EXPECT_EQ(-1, cur());
    EXPECT_NE(std::string::npos, errorLog().find("p_nScheme(-1)\n"));
    EXPECT_TRUE(ispsim::calls().empty());
}

TEST_F(SwitchTest, SetParamSchemeReportsFirstThenWaitsForTheBusyFlags) {
    put(1, K_BRIGHTNESS, 60);
    for (u8 flag : {ISensorController::FLAG_RESETTING, ISensorController::FLAG_RESTORING,
                    ISensorController::FLAG_SWITCHING}) {
        Peer::curScheme(ctl()) = 0;
        removeFile("/mnt/mtd/log/SensorError.log");
        ispsim::clearCalls();
        Peer::setFlag(ctl(), flag, true);
        std::atomic<bool> bDone(false);
        bool bResult = false;
        std::thread host([&] {
            bResult = ctl().setParamScheme(5);
            bDone = true;
        });
        // The out-of-range report comes before the wait.
        EXPECT_TRUE(waitForLog("p_nScheme(5)\n"));
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        EXPECT_FALSE(bDone.load());
        EXPECT_EQ(0, cur());
        Peer::setFlag(ctl(), flag, false);
        host.join();
        EXPECT_TRUE(bResult);
        EXPECT_EQ(5, cur());
    }
}

// ---- setParamMode ----

TEST_F(SwitchTest, SetParamModeStoresZeroAndOneWithoutReport) {
    EXPECT_TRUE(ctl().setParamMode(0));
    EXPECT_EQ(0, Peer::mode(ctl()).load());
    EXPECT_TRUE(ctl().setParamMode(1));
    EXPECT_EQ(1, Peer::mode(ctl()).load());
    EXPECT_EQ("", errorLog());
}

TEST_F(SwitchTest, SetParamModeTwoReportsAndStoresTwo) {
    EXPECT_TRUE(ctl().setParamMode(2));
    EXPECT_EQ(2, Peer::mode(ctl()).load());
    std::string log = errorLog();
    EXPECT_NE(std::string::npos, log.find("0 == p_nMode || 1 == p_nMode   ~~~Assertion failed."));
    EXPECT_NE(std::string::npos, log.find("p_nMode(2)\n"));
    int nMode = 0;
    EXPECT_TRUE(ctl().getParamMode(nMode));
    EXPECT_EQ(2, nMode);
}

TEST_F(SwitchTest, SetParamModeNegativeIsOutOfRangeAsUnsigned) {
    EXPECT_TRUE(ctl().setParamMode(-1));
    EXPECT_EQ(-1, Peer::mode(ctl()).load());
    EXPECT_NE(std::string::npos, errorLog().find("p_nMode(-1)\n"));
}

TEST_F(SwitchTest, SetParamModeWaitsForTheBusyFlags) {
    Peer::setFlag(ctl(), ISensorController::FLAG_RESTORING, true);
    std::atomic<bool> bDone(false);
    std::thread host([&] {
        ctl().setParamMode(0);
        bDone = true;
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(30));
    EXPECT_FALSE(bDone.load());
    EXPECT_EQ(1, Peer::mode(ctl()).load());
    Peer::setFlag(ctl(), ISensorController::FLAG_RESTORING, false);
    host.join();
    EXPECT_EQ(0, Peer::mode(ctl()).load());
}

// ---- getParamSchemeTime ----

TEST_F(SwitchTest, SchemeTimeReadsTheCurrentWindow) {
    window(0, 7, 15, 19, 45);
    window(1, 1, 2, 3, 4);
    EXPECT_EQ(7, ctl().getParamSchemeTime(8001));
    EXPECT_EQ(15, ctl().getParamSchemeTime(8002));
    EXPECT_EQ(19, ctl().getParamSchemeTime(8003));
    EXPECT_EQ(45, ctl().getParamSchemeTime(8004));
    Peer::curScheme(ctl()) = 1;
    EXPECT_EQ(1, ctl().getParamSchemeTime(8001));
    EXPECT_EQ(4, ctl().getParamSchemeTime(8004));
}

TEST_F(SwitchTest, SchemeTimeOfOtherKeysIsMinusOne) {
    window(0, 7, 15, 19, 45);
    EXPECT_EQ(-1, ctl().getParamSchemeTime(8000));
    EXPECT_EQ(-1, ctl().getParamSchemeTime(8005));
    EXPECT_EQ(-1, ctl().getParamSchemeTime(0));
}

TEST_F(SwitchTest, SchemeTimeReadsByPositionNotByKey) {
    ISensorController& other = extraController();
    std::vector<KeyVal> base = defaultRow();
    base[1] = {999, 5};  // not KEY_SCHEME_START_HOUR
    base[6] = {8001, 9}; // KEY_SCHEME_START_HOUR at another place
    buildCache(other, 1, base);
    EXPECT_EQ(5, other.getParamSchemeTime(8001));
}

TEST_F(SwitchTest, SchemeTimeWithoutARowIsMinusOne) {
    Peer::curScheme(ctl()) = 9;
    EXPECT_EQ(-1, ctl().getParamSchemeTime(8001));
    ISensorController& other = extraController();
    EXPECT_EQ(-1, other.getParamSchemeTime(8003));
}

} // namespace
} // namespace scheme_test
