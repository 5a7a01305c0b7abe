// The apply loop: coupling rules between keys, the table lookup, handler
// results and the cache write-back, observed through the simulated ISP, the
// recording video module and the console.
#include <gtest/gtest.h>

#include <limits>

#include "support/BareController.h"
#include "support/RecordingVideoModule.h"
#include "support/TestEnv.h"

namespace {

using tarnix_test::BareController;
using tarnix_test::setCommands;

class ApplyLoopTest : public tarnix_test::TarnixTest {};

const char* const kRed = "\033[0m\033[31m";
const char* const kGreen = "\033[0m\033[32m";
const char* const kReset = "\033[0m";

std::string setLine(const std::string& name, int key, int value, const std::string& func, int cmd) {
    return std::string(kRed) + "====================== set " + name + " (" + std::to_string(key) + "," +
           std::to_string(value) + ") func:" + func + " ia_cmd:" + std::to_string(cmd) +
           " =====================\n" + kReset;
}

// Set calls of the log as (command, first word).
std::vector<std::pair<unsigned int, uint32_t>> setCalls() {
    std::vector<std::pair<unsigned int, uint32_t>> out;
    for (const auto& call : tarnix_test::callsWithOpt(0)) {
        out.emplace_back(call.cmd, call.data.empty() ? 0xFFFFFFFFu : call.data[0]);
    }
    return out;
}

using CallList = std::vector<std::pair<unsigned int, uint32_t>>;

TEST_F(ApplyLoopTest, ZeroRecordsPrintOneNewlineAndSucceed) {
    BareController bare(tarnix_test::typicalFactoryList(), 4);
    captureStdout();
    EXPECT_EQ(0, bare->setParameters(static_cast<KeyVal*>(nullptr), 0, true));
    KeyVal none[1] = {{34, 1}};
    EXPECT_EQ(0, bare->setParameters(none, 0, false));
    EXPECT_EQ("\n\n", capturedStdout());
    EXPECT_TRUE(ispsim::calls().empty());
}

TEST_F(ApplyLoopTest, AppliedRecordIsSentTracedAndCached) {
    BareController bare(tarnix_test::typicalFactoryList(), 4);
    bare.setCurScheme(1);
    setDebugMarker("6");
    KeyVal rec[2] = {{34, 60}, {2337, 45}};
    captureStdout();
    EXPECT_EQ(0, bare->setParameters(rec, 2, true));
    std::string out = capturedStdout();
    EXPECT_EQ(setLine("KEY_BRIGHTNESS", 34, 60, "&ISensorController::doIaCmd", 34) +
                  setLine("KEY_SATURATION", 2337, 45, "&ISensorController::doIaCmd", 2337) + "\n",
              out);
    EXPECT_EQ((CallList{{34, 60}, {2337, 45}}), setCalls());
    for (const auto& call : ispsim::calls()) {
        EXPECT_EQ(0, call.channel);
    }
    EXPECT_EQ(60u, bare.value(1, 34));
    EXPECT_EQ(45u, bare.value(1, 2337));
    EXPECT_EQ(50u, bare.value(0, 34));
    EXPECT_EQ(50u, bare.value(4, 34));
}

TEST_F(ApplyLoopTest, ChannelTwoTalksToIspChannelOne) {
    BareController bare(tarnix_test::typicalFactoryList(), 4, 2);
    KeyVal rec = {34, 61};
    EXPECT_EQ(0, bare->setParameters(&rec, 1, true));
    ASSERT_EQ(1u, ispsim::calls().size());
    EXPECT_EQ(1, ispsim::calls()[0].channel);
}

TEST_F(ApplyLoopTest, UnchangedRecordIsSkippedOnlyWithTheCacheFlag) {
    BareController bare(tarnix_test::typicalFactoryList(), 4);
    setDebugMarker("6");
    KeyVal rec = {34, 50};
    captureStdout();
    EXPECT_EQ(0, bare->setParameters(&rec, 1, true));
    EXPECT_EQ("\n", capturedStdout());
    EXPECT_TRUE(ispsim::calls().empty());

    captureStdout();
    EXPECT_EQ(0, bare->setParameters(&rec, 1, false));
    EXPECT_EQ(setLine("KEY_BRIGHTNESS", 34, 50, "&ISensorController::doIaCmd", 34) + "\n", capturedStdout());
    EXPECT_EQ((CallList{{34, 50}}), setCalls());
}

TEST_F(ApplyLoopTest, WithoutTheCacheFlagNothingIsWrittenBack) {
    BareController bare(tarnix_test::typicalFactoryList(), 4);
    KeyVal rec = {34, 90};
    EXPECT_EQ(0, bare->setParameters(&rec, 1, false));
    EXPECT_EQ((CallList{{34, 90}}), setCalls());
    EXPECT_EQ(50u, bare.value(0, 34));
}

TEST_F(ApplyLoopTest, DuringASwitchUnchangedMeansEqualToTheLastScheme) {
    BareController bare(tarnix_test::typicalFactoryList(), 4);
    bare.set(1, 34, 10);
    bare.set(2, 34, 20);
    bare.setCurScheme(2);
    bare.setLastScheme(1);
    bare.setFlag(ISensorController::FLAG_SWITCHING, true);
    KeyVal rec[2] = {{34, 10}, {34, 20}};
    EXPECT_EQ(0, bare->setParameters(rec, 2, true));
    // The value the ISP already holds (scheme 1's) is skipped; the other is sent.
    EXPECT_EQ((CallList{{34, 20}}), setCalls());
}

TEST_F(ApplyLoopTest, SchemeModeOnSchemeZeroSetsTheDayNightPolicy) {
    BareController bare(tarnix_test::typicalFactoryList(), 4);
    KeyVal rec = {8000, 2};
    EXPECT_EQ(0, bare->setParameters(&rec, 1, true));
    EXPECT_TRUE(ISensorControllerTestPeer::dnScheme(bare.ctl()));
    EXPECT_FALSE(ISensorControllerTestPeer::timeScheme(bare.ctl()));
    for (u32 s = 0; s < 4; ++s) {
        EXPECT_EQ(2u, bare.value(s, 8000)) << "scheme " << s;
    }
    EXPECT_EQ(0u, bare.value(4, 8000)); // the factory row is not a user scheme
    EXPECT_TRUE(ispsim::calls().empty());
}

TEST_F(ApplyLoopTest, SchemeModeOneSetsTheTimePolicy) {
    BareController bare(tarnix_test::typicalFactoryList(), 3);
    bare.setDNScheme(true);
    KeyVal rec = {8000, 1};
    EXPECT_EQ(0, bare->setParameters(&rec, 1, true));
    EXPECT_TRUE(ISensorControllerTestPeer::timeScheme(bare.ctl()));
    EXPECT_FALSE(ISensorControllerTestPeer::dnScheme(bare.ctl()));
    EXPECT_EQ(1u, bare.value(1, 8000));
    EXPECT_EQ(1u, bare.value(2, 8000));
    EXPECT_TRUE(ispsim::calls().empty());
}

TEST_F(ApplyLoopTest, OtherSchemeModeClearsBothPoliciesAndSpreadsZero) {
    BareController bare(tarnix_test::typicalFactoryList(), 4);
    bare.setEverywhere(8000, 2);
    bare.setTimeScheme(true);
    bare.setDNScheme(true);
    KeyVal rec = {8000, 7};
    EXPECT_EQ(0, bare->setParameters(&rec, 1, true));
    EXPECT_FALSE(ISensorControllerTestPeer::timeScheme(bare.ctl()));
    EXPECT_FALSE(ISensorControllerTestPeer::dnScheme(bare.ctl()));
    EXPECT_EQ(7u, bare.value(0, 8000)); // the current scheme keeps the record's own value
    EXPECT_EQ(0u, bare.value(1, 8000));
    EXPECT_EQ(0u, bare.value(3, 8000));
    EXPECT_EQ(2u, bare.value(4, 8000));
}

TEST_F(ApplyLoopTest, SchemeModeOnAnotherSchemeIsOnlyCached) {
    BareController bare(tarnix_test::typicalFactoryList(), 4);
    bare.setCurScheme(2);
    KeyVal rec = {8000, 2};
    EXPECT_EQ(0, bare->setParameters(&rec, 1, true));
    EXPECT_FALSE(ISensorControllerTestPeer::dnScheme(bare.ctl()));
    EXPECT_EQ(2u, bare.value(2, 8000));
    EXPECT_EQ(0u, bare.value(0, 8000));
    EXPECT_EQ(0u, bare.value(1, 8000));
    EXPECT_EQ(0u, bare.value(3, 8000));

    // Without the cache flag the record changes nothing at all.
    KeyVal rec2 = {8000, 1};
    EXPECT_EQ(0, bare->setParameters(&rec2, 1, false));
    EXPECT_EQ(2u, bare.value(2, 8000));
    EXPECT_FALSE(ISensorControllerTestPeer::timeScheme(bare.ctl()));
    EXPECT_TRUE(ispsim::calls().empty());
}

TEST_F(ApplyLoopTest, CacheOnlyKeysNeverReachTheIsp) {
    BareController bare(tarnix_test::typicalFactoryList(), 4);
    setDebugMarker("6");
    KeyVal rec[6] = {{8001, 6}, {8002, 30}, {8003, 20}, {8004, 15}, {10, 1}, {11, 1}};
    captureStdout();
    EXPECT_EQ(0, bare->setParameters(rec, 6, true));
    EXPECT_EQ("\n", capturedStdout());
    EXPECT_TRUE(ispsim::calls().empty());
    EXPECT_EQ(6u, bare.value(0, 8001));
    EXPECT_EQ(30u, bare.value(0, 8002));
    EXPECT_EQ(20u, bare.value(0, 8003));
    EXPECT_EQ(15u, bare.value(0, 8004));
    EXPECT_EQ(1u, bare.value(0, 10));
    EXPECT_EQ(1u, bare.value(0, 11));
}

TEST_F(ApplyLoopTest, EmptyKeyThirteenIsCacheOnlyEvenWhenNotCached) {
    BareController bare(tarnix_test::typicalFactoryList(), 4);
    setDebugMarker("6");
    KeyVal rec = {13, 1};
    captureStdout();
    EXPECT_EQ(0, bare->setParameters(&rec, 1, true));
    std::string out = capturedStdout();
    EXPECT_TRUE(ispsim::calls().empty());
    // Not in the cache rows: only the debug line of the failed cache write.
    EXPECT_NE(std::string::npos, out.find("SET_KEY_VAL FAILED, m_nCurScheme(0), p_pKeyval[0].key(13), "
                                          "p_pKeyval[0].value(1),  maybe jixin\n"));
    EXPECT_NE(std::string::npos, out.find("[sensor dbg] file:ISensorController.cpp fun:setParameters line:"));
}

TEST_F(ApplyLoopTest, DayNightKeyOnSchemeZeroIsAppliedAndHandedToSchemeOne) {
    BareController bare(tarnix_test::typicalFactoryList(), 4);
    bare.setDNScheme(true);
    KeyVal rec[2] = {{145, 40}, {144, 1}};
    EXPECT_EQ(0, bare->setParameters(rec, 2, true));
    std::vector<unsigned int> cmds = setCommands();
    EXPECT_EQ((std::vector<unsigned int>{145, 144}), cmds);
    EXPECT_EQ(40u, bare.value(0, 145));
    EXPECT_EQ(40u, bare.value(1, 145));
    EXPECT_EQ(1u, bare.value(0, 144));
    EXPECT_EQ(1u, bare.value(1, 144));
    EXPECT_EQ(30u, bare.value(2, 145));
}

TEST_F(ApplyLoopTest, DayNightKeyOnAnotherSchemeIsOnlyCached) {
    BareController bare(tarnix_test::typicalFactoryList(), 4);
    bare.setDNScheme(true);
    bare.setCurScheme(1);
    KeyVal rec[3] = {{145, 40}, {149, 19}, {34, 70}};
    EXPECT_EQ(0, bare->setParameters(rec, 3, true));
    EXPECT_EQ((CallList{{34, 70}}), setCalls());
    EXPECT_EQ(40u, bare.value(1, 145));
    EXPECT_EQ(19u, bare.value(1, 149));
    EXPECT_EQ(30u, bare.value(0, 145));
}

TEST_F(ApplyLoopTest, DayNightKeyWithoutTheDayNightPolicyIsApplied) {
    BareController bare(tarnix_test::typicalFactoryList(), 4);
    bare.setCurScheme(2);
    KeyVal rec = {144, 2};
    EXPECT_EQ(0, bare->setParameters(&rec, 1, true));
    EXPECT_EQ((CallList{{144, 2}}), setCalls());
    EXPECT_EQ(2u, bare.value(2, 144));
    EXPECT_EQ(0u, bare.value(1, 144));
}

TEST_F(ApplyLoopTest, IntelligentLightTypeSkipsThePlainKeyEntirely) {
    BareController bare(tarnix_test::typicalFactoryList(), 4);
    bare.set(0, 224, 2);
    bare.set(0, 161, 0);
    bare.set(0, 168, 0);
    setDebugMarker("6");
    KeyVal rec = {161, 1};
    captureStdout();
    EXPECT_EQ(0, bare->setParameters(&rec, 1, true));
    EXPECT_EQ("\n", capturedStdout());
    EXPECT_TRUE(ispsim::calls().empty());
    EXPECT_EQ(0u, bare.value(0, 161));
    EXPECT_EQ(0u, bare.value(0, 168));
}

TEST_F(ApplyLoopTest, IntelligentTwinIsAppliedThroughThePlainRowAndStoredUnderBoth) {
    BareController bare(tarnix_test::typicalFactoryList(), 4);
    bare.set(0, 224, 2);
    setDebugMarker("6");
    KeyVal rec = {168, 3};
    captureStdout();
    EXPECT_EQ(0, bare->setParameters(&rec, 1, true));
    EXPECT_EQ(setLine("KEY_IR_MODE", 161, 3, "&ISensorController::doIaCmd", 161) + "\n", capturedStdout());
    EXPECT_EQ((CallList{{161, 3}}), setCalls());
    EXPECT_EQ(3u, bare.value(0, 161));
    EXPECT_EQ(3u, bare.value(0, 168));
}

TEST_F(ApplyLoopTest, PlainLightKeyIsLiveOtherwiseAndCopiedToItsTwin) {
    BareController bare(tarnix_test::typicalFactoryList(), 4);
    KeyVal rec[3] = {{172, 80}, {175, 1}, {171, 2}};
    EXPECT_EQ(0, bare->setParameters(rec, 3, true));
    // KEY_WHITE_MANUAL_STRG drives ISP 170, KEY_WHITE_MODE drives 169; the twin 175 is skipped.
    EXPECT_EQ((CallList{{170, 80}, {169, 2}}), setCalls());
    EXPECT_EQ(80u, bare.value(0, 172));
    EXPECT_EQ(80u, bare.value(0, 203));
    EXPECT_EQ(2u, bare.value(0, 171));
    EXPECT_EQ(2u, bare.value(0, 175));
}

TEST_F(ApplyLoopTest, TwinWritesHappenWithoutTheCacheFlag) {
    BareController bare(tarnix_test::typicalFactoryList(), 4);
    KeyVal rec = {163, 45};
    EXPECT_EQ(0, bare->setParameters(&rec, 1, false));
    EXPECT_EQ((CallList{{163, 45}}), setCalls());
    EXPECT_EQ(50u, bare.value(0, 163)); // own key not written back
    EXPECT_EQ(45u, bare.value(0, 200)); // twin written all the same
}

TEST_F(ApplyLoopTest, TwinsWithoutATableRowFindNothingToWrite) {
    BareController bare(tarnix_test::typicalFactoryList(), 4);
    bare.set(0, 224, 2);
    // 201 has no table row: as a live twin it goes through KEY_IR_MANUAL_STRG_MEDIUM.
    KeyVal rec = {201, 33};
    EXPECT_EQ(0, bare->setParameters(&rec, 1, true));
    EXPECT_EQ((CallList{{165, 33}}), setCalls());
    EXPECT_EQ(33u, bare.value(0, 165));
}

TEST_F(ApplyLoopTest, IrCapRefusesASumAboveOneHundredWithTheFirstRecordsKey) {
    BareController bare(tarnix_test::typicalFactoryList(), 4);
    bare.setLimitedIrPower(true);
    bare.set(0, 163, 60);
    KeyVal rec = {167, 50};
    EXPECT_EQ(-167, bare->setParameters(&rec, 1, true));
    EXPECT_TRUE(ispsim::calls().empty());
    EXPECT_EQ(30u, bare.value(0, 167));
}

TEST_F(ApplyLoopTest, IrCapReturnsMinusTheFirstRecordsKeyNotTheCurrentOne) {
    BareController bare(tarnix_test::typicalFactoryList(), 4);
    bare.setLimitedIrPower(true);
    bare.set(0, 163, 60);
    KeyVal rec[3] = {{34, 70}, {167, 50}, {2337, 10}};
    EXPECT_EQ(-34, bare->setParameters(rec, 3, true));
    // Records before the capped one stay applied and cached; nothing after it.
    EXPECT_EQ((CallList{{34, 70}}), setCalls());
    EXPECT_EQ(70u, bare.value(0, 34));
    EXPECT_EQ(30u, bare.value(0, 167));
    EXPECT_EQ(50u, bare.value(0, 2337));
}

TEST_F(ApplyLoopTest, IrCapAllowsASumOfExactlyOneHundred) {
    BareController bare(tarnix_test::typicalFactoryList(), 4);
    bare.setLimitedIrPower(true);
    bare.set(0, 163, 60);
    KeyVal rec = {167, 40};
    EXPECT_EQ(0, bare->setParameters(&rec, 1, true));
    EXPECT_EQ((CallList{{167, 40}}), setCalls());
    EXPECT_EQ(40u, bare.value(0, 167));
}

TEST_F(ApplyLoopTest, IrCapOnlyWhenPowerIsLimited) {
    BareController bare(tarnix_test::typicalFactoryList(), 4);
    bare.set(0, 163, 60);
    KeyVal rec = {167, 90};
    EXPECT_EQ(0, bare->setParameters(&rec, 1, true));
    EXPECT_EQ((CallList{{167, 90}}), setCalls());
}

TEST_F(ApplyLoopTest, IrCapChecksTheNearKeyAgainstTheFarKey) {
    BareController bare(tarnix_test::typicalFactoryList(), 4);
    bare.setLimitedIrPower(true);
    bare.set(0, 167, 70);
    KeyVal rec = {163, 31};
    EXPECT_EQ(-163, bare->setParameters(&rec, 1, true));
    rec.value = 30;
    EXPECT_EQ(0, bare->setParameters(&rec, 1, true));
    EXPECT_EQ((CallList{{163, 30}}), setCalls());
}

TEST_F(ApplyLoopTest, IrCapIsCheckedBeforeTheTwinRule) {
    BareController bare(tarnix_test::typicalFactoryList(), 4);
    bare.setLimitedIrPower(true);
    bare.set(0, 224, 2);
    bare.set(0, 163, 60);
    // Under the intelligent light type the plain far key is not live, but the
    // cap still refuses it first.
    KeyVal rec = {167, 50};
    EXPECT_EQ(-167, bare->setParameters(&rec, 1, true));
    EXPECT_TRUE(ispsim::calls().empty());
    EXPECT_EQ(30u, bare.value(0, 167));
    // Within the cap it is skipped by the twin rule: not applied, not cached.
    rec.value = 40;
    captureStdout();
    EXPECT_EQ(0, bare->setParameters(&rec, 1, true));
    EXPECT_EQ("\n", capturedStdout());
    EXPECT_TRUE(ispsim::calls().empty());
    EXPECT_EQ(30u, bare.value(0, 167));
}

TEST_F(ApplyLoopTest, IrCapReadsTheIspWithTheOwnKeyWhenThePartnerIsNotCached) {
    // No KEY_IR_MANUAL_STRG_NEAR in the rows.
    BareController bare({{167, 10}, {34, 50}}, 2);
    bare.setLimitedIrPower(true);
    ispsim::setValue(0, 167, 55);
    KeyVal rec = {167, 50};
    captureStdout();
    EXPECT_EQ(-167, bare->setParameters(&rec, 1, true));
    std::string out = capturedStdout();
    // The message names the partner key, the read used the record's own key.
    EXPECT_EQ("### KEY_IR_MANUAL_STRG_NEAR doIaCmd sucess\n", out);
    ASSERT_EQ(1u, ispsim::calls().size());
    EXPECT_EQ(167u, ispsim::calls()[0].cmd);
    EXPECT_EQ(1u, ispsim::calls()[0].opt);
    EXPECT_EQ(10u, bare.value(0, 167));
}

TEST_F(ApplyLoopTest, IrCapReadOfTheNearKeyNamesTheFarKey) {
    BareController bare({{163, 10}, {34, 50}}, 2);
    bare.setLimitedIrPower(true);
    ispsim::setValue(0, 163, 20);
    KeyVal rec = {163, 50};
    captureStdout();
    EXPECT_EQ(0, bare->setParameters(&rec, 1, true));
    EXPECT_EQ("### KEY_IR_MANUAL_STRG_FAR doIaCmd sucess\n\n", capturedStdout());
    ASSERT_EQ(2u, ispsim::calls().size());
    EXPECT_EQ(163u, ispsim::calls()[0].cmd);
    EXPECT_EQ(1u, ispsim::calls()[0].opt);
    EXPECT_EQ(163u, ispsim::calls()[1].cmd);
    EXPECT_EQ(0u, ispsim::calls()[1].opt);
    EXPECT_EQ(50u, bare.value(0, 163));
}

TEST_F(ApplyLoopTest, IrCapFailedReadIsReportedAndTheRecordPasses) {
    BareController bare({{163, 10}, {34, 50}}, 2);
    bare.setLimitedIrPower(true);
    ispsim::setFailure(-1, 163, 1, -1);
    makeDir("/mnt/mtd/log");
    KeyVal rec = {163, 95};
    captureStdout();
    EXPECT_EQ(0, bare->setParameters(&rec, 1, true));
    std::string out = capturedStdout();
    EXPECT_NE(std::string::npos,
              out.find("[sensor assert] file:ISensorController.cpp fun:setParameters line:"));
    EXPECT_NE(
        std::string::npos,
        out.find("SNS_SUCCESS == doIaCmd(p_pKeyval[i].key, IA_CMD_OPT_GET, &nVal)   ~~~Assertion failed.\n"));
    // The detail prints the value slot (still -1), not the key.
    EXPECT_NE(std::string::npos, out.find(std::string(kRed) + "get key(-1) val from 2a err" + kReset));
    EXPECT_NE(std::string::npos, out.find("### KEY_IR_MANUAL_STRG_FAR doIaCmd error\n"));
    EXPECT_EQ(95u, bare.value(0, 163));
    EXPECT_NE(std::string::npos, errorLog().find("get key(-1) val from 2a err"));
}

TEST_F(ApplyLoopTest, HandlerFailureOfMinusThreeFailsSilently) {
    BareController bare(tarnix_test::typicalFactoryList(), 4);
    setDebugMarker("6");
    ispsim::setFailure(-1, 2337, 0, -3);
    KeyVal rec = {2337, 70};
    captureStdout();
    EXPECT_EQ(-2337, bare->setParameters(&rec, 1, true));
    std::string out = capturedStdout();
    EXPECT_EQ(setLine("KEY_SATURATION", 2337, 70, "&ISensorController::doIaCmd", 2337), out);
    EXPECT_EQ(50u, bare.value(0, 2337));
}

TEST_F(ApplyLoopTest, HandlerFailuresMinusFiveFourAndOneWriteTheErrorLine) {
    for (int nResult : {-5, -4, -1}) {
        BareController bare(tarnix_test::typicalFactoryList(), 4);
        setDebugMarker("6");
        ispsim::clearCalls();
        ispsim::setFailure(-1, 2337, 0, nResult);
        KeyVal rec = {2337, 70};
        captureStdout();
        EXPECT_EQ(-2337, bare->setParameters(&rec, 1, true));
        std::string out = capturedStdout();
        EXPECT_NE(std::string::npos,
                  out.find("[sensor err] file:ISensorController.cpp fun:setParameters line:"));
        EXPECT_NE(std::string::npos, out.find("set KEY_SATURATION (2337,70) func:&ISensorController::doIaCmd "
                                              "ia_cmd:2337 ~~~failed ia_ret=" +
                                              std::to_string(nResult) + "\n"));
        // The error line ends the output: no final newline after a failure.
        std::string tail = "~~~failed ia_ret=" + std::to_string(nResult) + "\n" + kReset;
        ASSERT_GE(out.size(), tail.size());
        EXPECT_EQ(tail, out.substr(out.size() - tail.size()));
        EXPECT_EQ(50u, bare.value(0, 2337));
    }
}

TEST_F(ApplyLoopTest, ErrorLineIsQuietAtTheDefaultLevel) {
    BareController bare(tarnix_test::typicalFactoryList(), 4);
    ispsim::setFailure(-1, 2337, 0, -1);
    KeyVal rec = {2337, 70};
    captureStdout();
    EXPECT_EQ(-2337, bare->setParameters(&rec, 1, true));
    EXPECT_EQ("", capturedStdout());
}

TEST_F(ApplyLoopTest, FailureReturnsTheRowKeyOfALiveTwin) {
    BareController bare(tarnix_test::typicalFactoryList(), 4);
    bare.set(0, 224, 2);
    ispsim::setFailure(-1, 161, 0, -2);
    KeyVal rec = {168, 1};
    EXPECT_EQ(-161, bare->setParameters(&rec, 1, true));
    // The partner write comes before the apply, so it stays; the record's
    // own key is not written back.
    EXPECT_EQ(1u, bare.value(0, 161));
    EXPECT_EQ(0u, bare.value(0, 168));
}

TEST_F(ApplyLoopTest, HandlerFailureStopsTheLoopAndKeepsEarlierRecords) {
    BareController bare(tarnix_test::typicalFactoryList(), 4);
    ispsim::setFailure(-1, 2353, 0, -7);
    KeyVal rec[4] = {{34, 61}, {2337, 62}, {2353, 63}, {2321, 64}};
    captureStdout();
    EXPECT_EQ(-2353, bare->setParameters(rec, 4, true));
    EXPECT_EQ("", capturedStdout());
    // The failing record was tried; the record after it was never handled.
    EXPECT_EQ((CallList{{34, 61}, {2337, 62}, {2353, 63}}), setCalls());
    EXPECT_EQ(-7, ispsim::calls().back().result);
    EXPECT_EQ(61u, bare.value(0, 34));
    EXPECT_EQ(62u, bare.value(0, 2337));
    EXPECT_EQ(50u, bare.value(0, 2353));
    EXPECT_EQ(50u, bare.value(0, 2321));
    uint32_t nIsp = 0;
    EXPECT_TRUE(ispsim::getValue(0, 2337, nIsp));
    EXPECT_EQ(62u, nIsp);
    EXPECT_FALSE(ispsim::getValue(0, 2321, nIsp));
}

TEST_F(ApplyLoopTest, UnknownKeyIsSentWithItsOwnNumber) {
    BareController bare(tarnix_test::typicalFactoryList(), 4);
    setDebugMarker("6");
    makeDir("/mnt/mtd/log");
    KeyVal rec = {4242, 5};
    captureStdout();
    EXPECT_EQ(0, bare->setParameters(&rec, 1, true));
    std::string out = capturedStdout();
    EXPECT_NE(std::string::npos,
              out.find("[sensor assert] file:ISensorController.cpp fun:setParameters line:"));
    EXPECT_NE(std::string::npos,
              out.find("-1 != findFromKeyCmdMap(m_pKeyCmdMap, nKey, stKeyCmdTmp)   ~~~Assertion failed.\n"));
    EXPECT_NE(std::string::npos, out.find(std::string(kRed) + "p_pKeyval[0].key(4242)" + kReset));
    EXPECT_NE(std::string::npos, out.find(std::string(kGreen) + "not find (4242) \n" + kReset));
    EXPECT_NE(std::string::npos,
              out.find(setLine("unknow key", 4242, 5, "ISensorController::doIaCmd", 4242)));
    EXPECT_EQ((CallList{{4242, 5}}), setCalls());
    EXPECT_TRUE(out.find("not find (4242)") < out.find("====================== set unknow key"));
    EXPECT_NE(std::string::npos, errorLog().find("p_pKeyval[0].key(4242)"));
}

// A record whose key is beyond INT_MAX fails with the key negated in
// two's complement: key 0x80000000 gives INT_MIN, key 0xFFFFFFFF gives 1.
TEST_F(ApplyLoopTest, AFailedKeyBeyondIntMaxIsNegatedWithoutOverflow) {
    BareController bare(tarnix_test::typicalFactoryList(), 4);
    ispsim::setFailure(-1, 0x80000000u, 0, -7);
    ispsim::setFailure(-1, 0xFFFFFFFFu, 0, -7);
    KeyVal recLow = {0x80000000u, 5};
    KeyVal recHigh = {0xFFFFFFFFu, 5};
    captureStdout();
    EXPECT_EQ(std::numeric_limits<int>::min(), bare->setParameters(&recLow, 1, true));
    EXPECT_EQ(1, bare->setParameters(&recHigh, 1, true));
    capturedStdout();
}

// The loop's steps report under the loop's own name: an aborting report
// carries the signature of setParameters(KeyVal*, u32, bool).
TEST_F(ApplyLoopTest, AnAbortingReportOfAStepNamesTheApplyLoop) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    BareController bare(tarnix_test::typicalFactoryList(), 4);
    setDebugMarker("1", "1");
    KeyVal rec = {4242, 5};
    EXPECT_DEATH(bare->setParameters(&rec, 1, true),
                 "int ISensorController::setParameters\\(KeyVal\\*, u32, bool\\): Assertion `bRet' failed");
}

TEST_F(ApplyLoopTest, UnknownKeyFailsOnlyWhenTheIspFails) {
    BareController bare(tarnix_test::typicalFactoryList(), 4);
    ispsim::setFailure(-1, 4242, 0, -4);
    KeyVal rec[2] = {{4242, 5}, {34, 1}};
    EXPECT_EQ(-4242, bare->setParameters(rec, 2, true));
    EXPECT_EQ((CallList{{4242, 5}}), setCalls());
}

TEST_F(ApplyLoopTest, UnknownKeyOfARecordCommandGetsAWholeRecordToRead) {
    BareController bare(tarnix_test::typicalFactoryList(), 4);
    // 2816 and 178 have no row; the ISP takes a four-word record for both.
    KeyVal rec[2] = {{2816, 1}, {178, 7}};
    EXPECT_EQ(0, bare->setParameters(rec, 2, false));
    auto calls = ispsim::calls();
    ASSERT_EQ(2u, calls.size());
    EXPECT_EQ(2816u, calls[0].cmd);
    EXPECT_EQ((std::vector<uint32_t>{1, 0, 0, 0}), calls[0].data);
    EXPECT_EQ(178u, calls[1].cmd);
    EXPECT_EQ((std::vector<uint32_t>{7, 0, 0, 0}), calls[1].data);
    EXPECT_EQ(1u, rec[0].value);
    EXPECT_EQ(7u, rec[1].value);
}

TEST_F(ApplyLoopTest, LongKeyNameRunsOnIntoTheHandlerNameInTheTrace) {
    BareController bare(tarnix_test::typicalFactoryList(), 4);
    setDebugMarker("6");
    KeyVal rec = {8104, 1};
    captureStdout();
    EXPECT_EQ(0, bare->setParameters(&rec, 1, false));
    std::string out = capturedStdout();
    EXPECT_EQ(setLine("KEY_MIXSTREAM_THERMAL_TO_VISION_&ISensorController::doIoCrtl", 8104, 1,
                      "&ISensorController::doIoCrtl", 8104) +
                  "\n",
              out);
    EXPECT_TRUE(ispsim::calls().empty());
    EXPECT_EQ(1, ISensorController::m_nChanneldDosomething.load());
    EXPECT_EQ(8104, ISensorController::m_nPassKeycmd.load());
}

TEST_F(ApplyLoopTest, HandlerMayChangeTheValueBeforeItIsCached) {
    BareController bare(tarnix_test::typicalFactoryList(), 4);
    bare.setShowWDR(false);
    KeyVal rec = {2368, 1};
    EXPECT_EQ(0, bare->setParameters(&rec, 1, true));
    EXPECT_EQ(0u, rec.value);
    EXPECT_EQ(0u, bare.value(0, 2368));
    EXPECT_TRUE(ispsim::calls().empty());
}

TEST_F(ApplyLoopTest, ThermalMirrorGoesToTheMirrorHandlerAndIsCachedEvenOnFailure) {
    BareController bare(tarnix_test::typicalFactoryList(), 4, 2);
    bare.setThermal(true);
    RecordingVideoModule video;
    bare->setVideoStreamModule(&video);
    ispsim::setFailure(-1, 2384, 0, -1);
    KeyVal rec[2] = {{2384, 1}, {34, 77}};
    EXPECT_EQ(0, bare->setParameters(rec, 2, true));
    EXPECT_EQ((CallList{{2384, 1}, {34, 77}}), setCalls());
    EXPECT_EQ((std::vector<Notification>{{2, 2384, 1}}), video.notifications());
    EXPECT_EQ(1u, bare.value(0, 2384));
    EXPECT_EQ(77u, bare.value(0, 34));
}

TEST_F(ApplyLoopTest, ThermalAntiShakeGoesToTheStabiliserHandlerAndIgnoresItsResult) {
    BareController bare(tarnix_test::typicalFactoryList(), 4, 2);
    bare.setThermal(true);
    RecordingVideoModule video;
    bare->setVideoStreamModule(&video);
    ispsim::setFailure(-1, 2416, 0, -5);
    KeyVal rec = {2416, 1};
    EXPECT_EQ(0, bare->setParameters(&rec, 1, true));
    EXPECT_EQ((CallList{{2416, 1}}), setCalls());
    EXPECT_EQ((std::vector<Notification>{{2, 2416, 1}}), video.notifications());
    EXPECT_EQ(1u, bare.value(0, 2416));
}

TEST_F(ApplyLoopTest, ThermalPaletteKeysOnlyNotifyTheVideoModule) {
    BareController bare(tarnix_test::typicalFactoryList(), 4, 2);
    bare.setThermal(true);
    RecordingVideoModule video;
    video.setNotifyResult(8201, -1);
    bare->setVideoStreamModule(&video);
    KeyVal rec[2] = {{8201, 3}, {8217, 1}};
    EXPECT_EQ(0, bare->setParameters(rec, 2, true));
    EXPECT_TRUE(ispsim::calls().empty());
    EXPECT_EQ((std::vector<Notification>{{2, 8201, 3}, {2, 8217, 1}}), video.notifications());
    EXPECT_EQ(3u, bare.value(0, 8201));
    EXPECT_EQ(1u, bare.value(0, 8217));
}

TEST_F(ApplyLoopTest, ThermalKeysOnAVisibleChannelGoThroughTheTable) {
    BareController bare(tarnix_test::typicalFactoryList(), 4);
    RecordingVideoModule video;
    bare->setVideoStreamModule(&video);
    KeyVal rec[3] = {{8201, 3}, {2384, 1}, {2416, 1}};
    EXPECT_EQ(0, bare->setParameters(rec, 3, true));
    // 8201 by the plain ISP handler, the mirror and the stabiliser by their
    // handlers from the table.
    EXPECT_EQ((CallList{{8201, 3}, {2384, 1}, {2416, 1}}), setCalls());
    EXPECT_EQ((std::vector<Notification>{{1, 2384, 1}, {1, 2416, 1}}), video.notifications());
}

TEST_F(ApplyLoopTest, SchemeSizedApplySendsOneCommandPerAppliedRecord) {
    std::vector<KeyVal> factory = tarnix_test::ordinaryFactoryList();
    ASSERT_EQ(100u, factory.size());
    BareController bare(factory, 4);
    bare.setCurScheme(2);

    // Expected command of each record from the key-command table.
    std::vector<unsigned int> expected;
    for (const KeyVal& rec : factory) {
        keycmd row;
        ASSERT_NE(-1, bare->findFromKeyCmdMap(ISensorControllerTestPeer::keyCmdMap(bare.ctl()), rec.key, row))
            << rec.key;
        expected.push_back(row.ia_cmd);
    }

    // Re-applying a stored scheme skips nothing.
    std::vector<KeyVal> list = factory;
    captureStdout();
    EXPECT_EQ(0, bare->setParameters(list.data(), static_cast<u32>(list.size()), false));
    EXPECT_EQ("\n", capturedStdout());
    EXPECT_EQ(expected, setCommands());
    EXPECT_EQ(100u, ispsim::calls().size());
    for (size_t i = 0; i < factory.size(); ++i) {
        EXPECT_EQ(factory[i].value, ispsim::calls()[i].data.at(0)) << "record " << i;
    }

    // With the cache flag only the changed half is sent, and cached.
    ispsim::clearCalls();
    std::vector<unsigned int> expectedChanged;
    for (size_t i = 0; i < list.size(); ++i) {
        if (i % 2 == 1) {
            list[i].value += 1000;
            expectedChanged.push_back(expected[i]);
        }
    }
    EXPECT_EQ(0, bare->setParameters(list.data(), static_cast<u32>(list.size()), true));
    EXPECT_EQ(expectedChanged, setCommands());
    EXPECT_EQ(50u, ispsim::calls().size());
    for (size_t i = 0; i < list.size(); ++i) {
        EXPECT_EQ(list[i].value, bare.value(2, list[i].key));
        EXPECT_EQ(factory[i].value, bare.value(0, list[i].key));
    }
}

TEST_F(ApplyLoopTest, BeforeInitAKeyIsSentWithItsOwnNumber) {
    ISensorController ctl;
    KeyVal rec = {34, 5};
    captureStdout();
    EXPECT_EQ(0, ctl.setParameters(&rec, 1, true));
    std::string out = capturedStdout();
    EXPECT_NE(std::string::npos, out.find("-1 != findFromKeyCmdMap(m_pKeyCmdMap, nKey, stKeyCmdTmp)"));
    EXPECT_EQ((CallList{{34, 5}}), setCalls());
}

TEST_F(ApplyLoopTest, WithoutATableKnownKeysTakeTheSubstitutePath) {
    BareController bare(tarnix_test::typicalFactoryList(), 4, 1, false);
    KeyVal rec = {170, 1}; // KEY_WHITE_SWITCH, whose table command would be 168
    EXPECT_EQ(0, bare->setParameters(&rec, 1, true));
    EXPECT_EQ((CallList{{170, 1}}), setCalls());
    EXPECT_EQ(1u, bare.value(0, 170));
}

} // namespace
