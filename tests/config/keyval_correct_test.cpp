// Correction of KeyVal arrays against the ISP's dynamic ranges.
#include <cstring>
#include <string>
#include <vector>

#include "ConfigTestUtil.h"
#include "config/SensorKeyVal.h"

namespace {

using config_test::ConfigTest;

class CorrectTest : public ConfigTest {};

TEST_F(CorrectTest, ListedKeysAreBroughtIntoRange) {
    ispsim::setDynamicParam(0, 49, 5, {1, 5, 10});
    ispsim::setDynamicParam(0, 50, 0, {0, 2, 4});
    KeyVal records[] = {{34, 999}, {50, 3}, {49, 7}};
    EXPECT_EQ(0, keyval_correct(0, records, 3));
    EXPECT_EQ(999u, records[0].value); // not a dynamic command: untouched
    EXPECT_EQ(2u, records[1].value);   // nearest item, lower on a tie
    EXPECT_EQ(5u, records[2].value);
    EXPECT_EQ("", errorLog());
}

TEST_F(CorrectTest, ChannelIsPassedUnchanged) {
    ispsim::setDynamicParam(2, 49, 5, {1, 5, 10});
    KeyVal records[] = {{49, 9}};
    EXPECT_EQ(0, keyval_correct(2, records, 1));
    EXPECT_EQ(10u, records[0].value);
    for (const ispsim::Call& call : ispsim::calls()) {
        EXPECT_EQ(2, call.channel);
    }
    std::vector<ispsim::Call> corrections = tarnix_test::callsWithOpt(IA_CMD_OPT_CORRECT_PARAM);
    ASSERT_EQ(1u, corrections.size());
    EXPECT_EQ(49u, corrections[0].cmd);
}

TEST_F(CorrectTest, OnlyTheFirstEntryOfAKeyIsCorrected) {
    ispsim::setDynamicParam(0, 49, 5, {1, 5, 10});
    KeyVal records[] = {{49, 7}, {49, 7}};
    EXPECT_EQ(0, keyval_correct(0, records, 2));
    EXPECT_EQ(5u, records[0].value);
    EXPECT_EQ(7u, records[1].value);
}

TEST_F(CorrectTest, EmptyArrayReportsEveryListedCommand) {
    ispsim::setDynamicParam(0, 49, 5, {1, 5});
    ispsim::setDynamicParam(0, 1537, 0, {0, 1});
    KeyVal records[] = {{49, 7}};
    captureStdout();
    EXPECT_EQ(0, keyval_correct(0, records, 0));
    std::string out = capturedStdout();
    EXPECT_EQ(7u, records[0].value);
    EXPECT_NE(std::string::npos, out.find("[sensor assert] file:SensorKeyVal.cpp fun:keyval_correct line:80\n"));
    EXPECT_NE(std::string::npos, out.find("cmd_list[0]=49\n"));
    EXPECT_NE(std::string::npos, out.find("cmd_list[1]=1537\n"));
    std::string log = errorLog();
    EXPECT_NE(std::string::npos, log.find("[sensor assert] file:SensorKeyVal.cpp fun:keyval_correct line:80"));
    EXPECT_NE(std::string::npos, log.find("cmd_list[1]=1537"));
}

TEST_F(CorrectTest, MissingKeyReportDoesNotAbort) {
    ispsim::setDynamicParam(0, 49, 5, {1, 5});
    setDebugMarker("0", "1");
    KeyVal records[] = {{34, 7}};
    EXPECT_EQ(0, keyval_correct(0, records, 1));
    EXPECT_NE(std::string::npos, errorLog().find("cmd_list[0]=49"));
}

TEST_F(CorrectTest, MissingKeyReportIsSilentBelowLevelZero) {
    ispsim::setDynamicParam(0, 49, 5, {1, 5});
    setDebugMarker("-1");
    KeyVal records[] = {{34, 7}};
    EXPECT_EQ(0, keyval_correct(0, records, 1));
    EXPECT_EQ("", errorLog());
}

TEST_F(CorrectTest, NullArrayReportsAndFails) {
    EXPECT_EQ(-1, keyval_correct(0, nullptr, 5));
    std::string log = errorLog();
    EXPECT_NE(std::string::npos, log.find("fun:keyval_correct line:50"));
    EXPECT_NE(std::string::npos, log.find("NULL != p_pKeyval   ~~~Assertion failed."));
    EXPECT_TRUE(ispsim::calls().empty());
}

TEST_F(CorrectTest, FailedListQueryReportsAndChangesNothing) {
    ispsim::setDynamicParam(0, 49, 5, {1, 5});
    ispsim::setFailure(-1, IA_CMD_DYNAMIC_PARAMS_CMDS_GET, -1, -1);
    KeyVal records[] = {{49, 7}};
    EXPECT_EQ(0, keyval_correct(0, records, 1));
    EXPECT_EQ(7u, records[0].value);
    std::string log = errorLog();
    EXPECT_NE(std::string::npos, log.find("fun:keyval_correct line:63"));
    EXPECT_NE(std::string::npos,
              log.find("SNS_SUCCESS == ia_ioctrl_v2(p_nChannel_id, IA_CMD_DYNAMIC_PARAMS_CMDS_GET, IA_CMD_OPT_GET, "
                       "(void*)(&dnaCmdList))"));
}

TEST_F(CorrectTest, FailedCorrectionReportsAndGoesOn) {
    ispsim::setDynamicParam(0, 49, 5, {1, 5});
    ispsim::setDynamicParam(0, 50, 0, {0, 2});
    ispsim::setFailure(0, 49, IA_CMD_OPT_CORRECT_PARAM, -4);
    KeyVal records[] = {{49, 7}, {50, 3}};
    EXPECT_EQ(0, keyval_correct(0, records, 2));
    EXPECT_EQ(7u, records[0].value);
    EXPECT_EQ(2u, records[1].value);
    std::string log = errorLog();
    EXPECT_NE(std::string::npos, log.find("fun:keyval_correct line:74"));
    EXPECT_NE(std::string::npos,
              log.find("SNS_SUCCESS == ia_ioctrl_v2(p_nChannel_id, (ia_cmd_e)p_pKeyval[index].key, "
                       "IA_CMD_OPT_CORRECT_PARAM, &p_pKeyval[index].value)   ~~~Assertion failed."));
}

TEST_F(CorrectTest, DebugLinesShowBeforeAndAfter) {
    ispsim::setDynamicParam(0, 49, 5, {1, 5, 10});
    setDebugMarker("6");
    KeyVal records[] = {{49, 7}};
    captureStdout();
    keyval_correct(0, records, 1);
    std::string out = capturedStdout();
    size_t before = out.find("before correct: (49,7)\n");
    size_t after = out.find("after correct: (49,5)\n");
    ASSERT_NE(std::string::npos, before);
    ASSERT_NE(std::string::npos, after);
    EXPECT_LT(before, after);
}

TEST_F(CorrectTest, MoreThanSixteenCommandsUseTheFirstSixteen) {
    config_test::setIspHook([](int, unsigned int cmd, unsigned int, void* data, int& result) {
        if (cmd != IA_CMD_DYNAMIC_PARAMS_CMDS_GET) {
            return false;
        }
        auto* list = static_cast<ia_dynamic_cmd_list_st*>(data);
        list->cmd_cnt = 40;
        for (int i = 0; i < IA_DYNAMIC_CMD_MAX; ++i) {
            list->cmd_list[i] = 100 + i;
        }
        result = 0;
        return true;
    });
    for (int i = 0; i < 20; ++i) {
        ispsim::setDynamicParam(0, 100 + i, 0, {0});
    }
    std::vector<KeyVal> records;
    for (int i = 0; i < 20; ++i) {
        records.push_back(KeyVal{static_cast<u32>(100 + i), 5});
    }
    EXPECT_EQ(0, keyval_correct(0, records.data(), static_cast<u32>(records.size())));
    for (int i = 0; i < 16; ++i) {
        EXPECT_EQ(0u, records[i].value) << i;
    }
    for (int i = 16; i < 20; ++i) {
        EXPECT_EQ(5u, records[i].value) << i;
    }
}

TEST_F(CorrectTest, NegativeCommandCountCorrectsNothing) {
    config_test::setIspHook([](int, unsigned int cmd, unsigned int, void* data, int& result) {
        if (cmd != IA_CMD_DYNAMIC_PARAMS_CMDS_GET) {
            return false;
        }
        auto* list = static_cast<ia_dynamic_cmd_list_st*>(data);
        list->cmd_cnt = -1;
        list->cmd_list[0] = 49;
        result = 0;
        return true;
    });
    ispsim::setDynamicParam(0, 49, 5, {1, 5});
    KeyVal records[] = {{49, 7}};
    EXPECT_EQ(0, keyval_correct(0, records, 1));
    EXPECT_EQ(7u, records[0].value);
    EXPECT_EQ("", errorLog());
}

} // namespace
