// Range query of the dynamic parameters the ISP publishes.
#include <gtest/gtest.h>

#include "support/BareController.h"
#include "support/TestEnv.h"

namespace {

using tarnix_test::BareController;

class ParamRangeTest : public tarnix_test::TarnixTest {
protected:
    void SetUp() override {
        tarnix_test::TarnixTest::SetUp();
        makeDir("/mnt/mtd/log");
    }
};

TEST_F(ParamRangeTest, DiscreteListGivesDefaultAndBlankSeparatedValues) {
    BareController bare({{49, 200}}, 2);
    ispsim::setDynamicParam(0, 49, 200, {100, 200, 400});
    int nDefault = -1;
    std::string strRange;
    captureStdout();
    EXPECT_TRUE(bare->getSensorParamRange(49, nDefault, strRange));
    EXPECT_EQ("cmd=49 DefaltParam=200 strParamRange=100 200 400\n", capturedStdout());
    EXPECT_EQ(200, nDefault);
    EXPECT_EQ("100 200 400", strRange);

    auto calls = ispsim::calls();
    ASSERT_EQ(2u, calls.size());
    EXPECT_EQ(4112u, calls[0].cmd);
    EXPECT_EQ(1u, calls[0].opt);
    EXPECT_EQ(17u, calls[0].data.size());
    EXPECT_EQ(49u, calls[1].cmd);
    EXPECT_EQ(2u, calls[1].opt);
    EXPECT_EQ(69u, calls[1].data.size());
    EXPECT_EQ(0, calls[1].channel);
}

TEST_F(ParamRangeTest, TextIsAppendedToTheCallersString) {
    BareController bare({{49, 200}}, 2);
    ispsim::setDynamicParam(0, 49, 200, {100, 200, 400});
    int nDefault = -1;
    std::string strRange;
    EXPECT_TRUE(bare->getSensorParamRange(49, nDefault, strRange));
    captureStdout();
    EXPECT_TRUE(bare->getSensorParamRange(49, nDefault, strRange));
    EXPECT_EQ("100 200 400100 200 400", strRange);
    EXPECT_EQ("cmd=49 DefaltParam=200 strParamRange=100 200 400100 200 400\n", capturedStdout());
}

TEST_F(ParamRangeTest, CommandOutsideTheQueryableSetIsRefusedEvenWhenListed) {
    BareController bare({{49, 200}}, 2);
    ispsim::setDynamicParam(0, 52, 1, {1, 2, 3});
    int nDefault = -1;
    std::string strRange = "keep";
    captureStdout();
    EXPECT_FALSE(bare->getSensorParamRange(52, nDefault, strRange));
    EXPECT_EQ("", capturedStdout());
    EXPECT_EQ(-1, nDefault);
    EXPECT_EQ("keep", strRange);
    ASSERT_EQ(1u, ispsim::calls().size());
    EXPECT_EQ(4112u, ispsim::calls()[0].cmd);
}

TEST_F(ParamRangeTest, EveryQueryableCommandIsQueried) {
    BareController bare({{49, 200}}, 2);
    for (int nCmd : {49, 50, 51, 55, 56, 82, 1537}) {
        ispsim::setDynamicParam(0, static_cast<unsigned int>(nCmd), nCmd, {nCmd, nCmd + 1});
    }
    for (int nCmd : {49, 50, 51, 55, 56, 82, 1537}) {
        int nDefault = -1;
        std::string strRange;
        EXPECT_TRUE(bare->getSensorParamRange(nCmd, nDefault, strRange)) << nCmd;
        EXPECT_EQ(nCmd, nDefault);
        EXPECT_EQ(std::to_string(nCmd) + " " + std::to_string(nCmd + 1), strRange);
    }
    for (int nCmd : {48, 52, 53, 54, 57, 81, 83, 1536, 1538}) {
        ispsim::setDynamicParam(0, static_cast<unsigned int>(nCmd), 0, {1});
        int nDefault = -1;
        std::string strRange;
        EXPECT_FALSE(bare->getSensorParamRange(nCmd, nDefault, strRange)) << nCmd;
    }
}

TEST_F(ParamRangeTest, CommandTheIspDoesNotListIsRefused) {
    BareController bare({{49, 200}}, 2);
    ispsim::setDynamicParam(0, 50, 1, {1, 2});
    int nDefault = 7;
    std::string strRange;
    EXPECT_FALSE(bare->getSensorParamRange(49, nDefault, strRange));
    EXPECT_EQ(7, nDefault);
    EXPECT_EQ("", strRange);
}

TEST_F(ParamRangeTest, OnlyTheFirstSixteenListedCommandsCount) {
    BareController bare({{49, 200}}, 2);
    for (unsigned int nCmd = 3000; nCmd < 3016; ++nCmd) {
        ispsim::setDynamicParam(0, nCmd, 0, {1});
    }
    ispsim::setDynamicParam(0, 49, 5, {5});
    int nDefault = -1;
    std::string strRange;
    EXPECT_FALSE(bare->getSensorParamRange(49, nDefault, strRange));
}

TEST_F(ParamRangeTest, RecordOfAnotherTypeLeavesTheOutputs) {
    BareController bare({{49, 200}}, 2);
    ispsim::setDynamicParam(0, 82, 300, {256, 512}, 1);
    int nDefault = -1;
    std::string strRange = "x";
    captureStdout();
    EXPECT_TRUE(bare->getSensorParamRange(82, nDefault, strRange));
    EXPECT_EQ("", capturedStdout());
    EXPECT_EQ(-1, nDefault);
    EXPECT_EQ("x", strRange);
}

TEST_F(ParamRangeTest, FailedListReadIsReportedAndFindsNothing) {
    BareController bare({{49, 200}}, 2);
    ispsim::setDynamicParam(0, 49, 200, {100});
    ispsim::setFailure(-1, 4112, 1, -1);
    int nDefault = -1;
    std::string strRange;
    captureStdout();
    EXPECT_FALSE(bare->getSensorParamRange(49, nDefault, strRange));
    std::string out = capturedStdout();
    EXPECT_NE(std::string::npos,
              out.find("[sensor assert] file:ISensorController.cpp fun:getSensorParamRange line:"));
    EXPECT_NE(
        std::string::npos,
        out.find("SNS_SUCCESS == ia_ioctrl_v2(m_nCameraID-1, IA_CMD_DYNAMIC_PARAMS_CMDS_GET, IA_CMD_OPT_GET, "
                 "(void*)(&dnaCmdList))   ~~~Assertion failed.\n"));
    EXPECT_NE(std::string::npos, errorLog().find("IA_CMD_DYNAMIC_PARAMS_CMDS_GET"));
}

TEST_F(ParamRangeTest, FailedRecordReadIsReportedAndGivesAZeroDefault) {
    BareController bare({{49, 200}}, 2);
    ispsim::setDynamicParam(0, 49, 200, {100, 200});
    ispsim::setFailure(-1, 49, 2, -1);
    int nDefault = -1;
    std::string strRange = "old";
    captureStdout();
    EXPECT_TRUE(bare->getSensorParamRange(49, nDefault, strRange));
    std::string out = capturedStdout();
    EXPECT_NE(
        std::string::npos,
        out.find("SNS_SUCCESS == doIaCmd(p_nCmd, IA_CMD_OPT_GET_PARAM_RNAGE, (void*)(&stDynamicParam))   "
                 "~~~Assertion failed.\n"));
    EXPECT_EQ(0, nDefault);
    EXPECT_EQ("old", strRange);
    EXPECT_NE(std::string::npos, out.find("cmd=49 DefaltParam=0 strParamRange=old\n"));
}

TEST_F(ParamRangeTest, EmptyListGivesAnEmptyText) {
    BareController bare({{49, 200}}, 2);
    ispsim::setDynamicParam(0, 56, 9, {});
    int nDefault = -1;
    std::string strRange;
    captureStdout();
    EXPECT_TRUE(bare->getSensorParamRange(56, nDefault, strRange));
    EXPECT_EQ("cmd=56 DefaltParam=9 strParamRange=\n", capturedStdout());
    EXPECT_EQ("", strRange);
}

TEST_F(ParamRangeTest, SixtyFourValuesAtMost) {
    BareController bare({{49, 200}}, 2);
    std::vector<int32_t> items;
    std::string strExpected;
    for (int i = 0; i < 70; ++i) {
        items.push_back(i);
        if (i < 64) {
            strExpected += (i == 0 ? "" : " ") + std::to_string(i);
        }
    }
    ispsim::setDynamicParam(0, 49, 0, items);
    int nDefault = -1;
    std::string strRange;
    EXPECT_TRUE(bare->getSensorParamRange(49, nDefault, strRange));
    EXPECT_EQ(strExpected, strRange);
}

TEST_F(ParamRangeTest, NegativeValuesArePrintedSigned) {
    BareController bare({{49, 200}}, 2);
    ispsim::setDynamicParam(0, 51, -3, {-3, 0, 3});
    int nDefault = 0;
    std::string strRange;
    EXPECT_TRUE(bare->getSensorParamRange(51, nDefault, strRange));
    EXPECT_EQ(-3, nDefault);
    EXPECT_EQ("-3 0 3", strRange);
}

TEST_F(ParamRangeTest, ChannelTwoAsksIspChannelOne) {
    BareController bare({{49, 200}}, 2, 2);
    ispsim::setDynamicParam(1, 49, 200, {100, 200});
    int nDefault = -1;
    std::string strRange;
    EXPECT_TRUE(bare->getSensorParamRange(49, nDefault, strRange));
    EXPECT_EQ("100 200", strRange);
    for (const auto& call : ispsim::calls()) {
        EXPECT_EQ(1, call.channel);
    }
}

} // namespace
