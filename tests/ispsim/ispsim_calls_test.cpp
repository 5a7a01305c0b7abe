// The simulated ISP's call contract: set, get, status and unknown options,
// the multi-word records, the call log and injected failures.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "ispsim/ispsim.h"
#include "platform/ia_ioctrl.h"

namespace {

class IspSimCallsTest : public ::testing::Test {
protected:
    void SetUp() override { ispsim::reset(); }
    void TearDown() override { ispsim::reset(); }
};

int ioctl(int channel, unsigned int cmd, unsigned int opt, void* data) {
    return ia_ioctrl_v2(channel, static_cast<ia_cmd_e>(cmd), opt, data);
}

std::vector<uint32_t> words(std::initializer_list<uint32_t> list) { return std::vector<uint32_t>(list); }

TEST_F(IspSimCallsTest, SetStoresAndGetReadsBack) {
    uint32_t value = 60;
    EXPECT_EQ(0, ioctl(0, 34, IA_CMD_OPT_SET, &value));
    uint32_t stored = 0;
    ASSERT_TRUE(ispsim::getValue(0, 34, stored));
    EXPECT_EQ(60u, stored);

    uint32_t read = 12345;
    EXPECT_EQ(0, ioctl(0, 34, IA_CMD_OPT_GET, &read));
    EXPECT_EQ(60u, read);
}

TEST_F(IspSimCallsTest, GetOfNeverSetCommandGivesZeroAndSuccess) {
    uint32_t read = 0xDEADBEEF;
    EXPECT_EQ(0, ioctl(0, 2337, IA_CMD_OPT_GET, &read));
    EXPECT_EQ(0u, read);
    uint32_t stored = 7;
    EXPECT_FALSE(ispsim::getValue(0, 2337, stored));
    EXPECT_EQ(7u, stored);
}

TEST_F(IspSimCallsTest, SetValueIsSeenByGet) {
    ispsim::setValue(1, 153, 1);
    uint32_t read = 0;
    EXPECT_EQ(0, ioctl(1, IA_CMD_DN_STATE, IA_CMD_OPT_GET, &read));
    EXPECT_EQ(1u, read);
}

TEST_F(IspSimCallsTest, ChannelsKeepSeparateValues) {
    uint32_t value = 5;
    ASSERT_EQ(0, ioctl(0, 34, IA_CMD_OPT_SET, &value));
    value = 9;
    ASSERT_EQ(0, ioctl(3, 34, IA_CMD_OPT_SET, &value));
    uint32_t read = 0;
    EXPECT_TRUE(ispsim::getValue(0, 34, read));
    EXPECT_EQ(5u, read);
    EXPECT_TRUE(ispsim::getValue(3, 34, read));
    EXPECT_EQ(9u, read);
    EXPECT_FALSE(ispsim::getValue(1, 34, read));
    EXPECT_FALSE(ispsim::getValue(-1, 34, read));
}

TEST_F(IspSimCallsTest, NegativeChannelFailsWithoutEffect) {
    uint32_t value = 5;
    EXPECT_EQ(-1, ioctl(-1, 34, IA_CMD_OPT_SET, &value));
    uint32_t read = 77;
    EXPECT_EQ(-1, ioctl(-2, 34, IA_CMD_OPT_GET, &read));
    EXPECT_EQ(77u, read);
    ispsim::setValue(-1, 34, 3);
    EXPECT_FALSE(ispsim::getValue(-1, 34, read));

    auto log = ispsim::calls();
    ASSERT_EQ(2u, log.size());
    EXPECT_EQ(-1, log[0].channel);
    EXPECT_EQ(words({5}), log[0].data);
    EXPECT_EQ(-1, log[0].result);
    EXPECT_EQ(-2, log[1].channel);
    EXPECT_EQ(words({77}), log[1].data);
}

TEST_F(IspSimCallsTest, NullDataIsLoggedWithEmptyDataAndFails) {
    EXPECT_EQ(-1, ioctl(0, 34, IA_CMD_OPT_SET, nullptr));
    EXPECT_EQ(-1, ioctl(0, IA_CMD_DYNAMIC_PARAMS_CMDS_GET, IA_CMD_OPT_GET, nullptr));
    auto log = ispsim::calls();
    ASSERT_EQ(2u, log.size());
    EXPECT_EQ(34u, log[0].cmd);
    EXPECT_TRUE(log[0].data.empty());
    EXPECT_EQ(-1, log[0].result);
    EXPECT_EQ(4112u, log[1].cmd);
    EXPECT_TRUE(log[1].data.empty());
    uint32_t read = 0;
    EXPECT_FALSE(ispsim::getValue(0, 34, read));
}

TEST_F(IspSimCallsTest, UnknownOptionFailsWithoutEffect) {
    uint32_t value = 42;
    EXPECT_EQ(-1, ioctl(0, 34, 5, &value));
    EXPECT_EQ(-1, ioctl(0, 34, 0xFFFFFFFFu, &value));
    EXPECT_EQ(42u, value);
    uint32_t read = 0;
    EXPECT_FALSE(ispsim::getValue(0, 34, read));
    auto log = ispsim::calls();
    ASSERT_EQ(2u, log.size());
    EXPECT_EQ(5u, log[0].opt);
    EXPECT_EQ(words({42}), log[0].data);
    EXPECT_EQ(-1, log[0].result);
}

TEST_F(IspSimCallsTest, StatusIsZeroByDefault) {
    uint32_t status = 7;
    EXPECT_EQ(0, ioctl(0, IA_CMD_AUTO_FOCUS_ONCE, IA_CMD_OPT_GET_STATUS, &status));
    EXPECT_EQ(0u, status);
    auto log = ispsim::calls();
    ASSERT_EQ(1u, log.size());
    EXPECT_EQ(words({7}), log[0].data);
    EXPECT_EQ(4u, log[0].opt);
}

TEST_F(IspSimCallsTest, DnThrSetOfThresholdStoresBothThresholds) {
    dn_thr_st thr{10, 20, 30};
    EXPECT_EQ(0, ioctl(0, 145, IA_CMD_OPT_SET, &thr));
    uint32_t read = 0;
    ASSERT_TRUE(ispsim::getValue(0, 145, read));
    EXPECT_EQ(10u, read);
    ASSERT_TRUE(ispsim::getValue(0, 146, read));
    EXPECT_EQ(20u, read);
    EXPECT_FALSE(ispsim::getValue(0, 154, read));   // word 2 is not the sensitivity of a threshold set

    dn_thr_st thr2{11, 21, 31};
    EXPECT_EQ(0, ioctl(0, 146, IA_CMD_OPT_SET, &thr2));
    ASSERT_TRUE(ispsim::getValue(0, 145, read));
    EXPECT_EQ(11u, read);
    ASSERT_TRUE(ispsim::getValue(0, 146, read));
    EXPECT_EQ(21u, read);
    EXPECT_FALSE(ispsim::getValue(0, 154, read));

    auto log = ispsim::calls();
    ASSERT_EQ(2u, log.size());
    EXPECT_EQ(words({10, 20, 30}), log[0].data);
    EXPECT_EQ(words({11, 21, 31}), log[1].data);
}

TEST_F(IspSimCallsTest, DnThrSetOfSensitivityStoresOnlyWordTwo) {
    ispsim::setValue(0, 145, 100);
    ispsim::setValue(0, 146, 200);
    dn_thr_st thr{1, 2, 77};
    EXPECT_EQ(0, ioctl(0, 154, IA_CMD_OPT_SET, &thr));
    uint32_t read = 0;
    ASSERT_TRUE(ispsim::getValue(0, 154, read));
    EXPECT_EQ(77u, read);
    ASSERT_TRUE(ispsim::getValue(0, 145, read));
    EXPECT_EQ(100u, read);
    ASSERT_TRUE(ispsim::getValue(0, 146, read));
    EXPECT_EQ(200u, read);
}

TEST_F(IspSimCallsTest, DnThrGetFillsTheWholeRecord) {
    ispsim::setValue(0, 145, 10);
    ispsim::setValue(0, 146, 20);
    ispsim::setValue(0, 154, 3);
    for (unsigned int cmd : {145u, 146u, 154u}) {
        dn_thr_st thr{0xA1, 0xA2, 0xA3};
        EXPECT_EQ(0, ioctl(0, cmd, IA_CMD_OPT_GET, &thr));
        EXPECT_EQ(10u, thr.d2n_thr);
        EXPECT_EQ(20u, thr.n2d_thr);
        EXPECT_EQ(3u, thr.dn_sensitivity);
    }
    auto log = ispsim::calls();
    ASSERT_EQ(3u, log.size());
    for (const auto& call : log) {
        EXPECT_EQ(words({0xA1, 0xA2, 0xA3}), call.data);   // as passed in, not as filled
    }
}

TEST_F(IspSimCallsTest, DnTimeSetStoresAllFourAndGetFillsThem) {
    dn_time_st time{18, 30, 6, 45};
    EXPECT_EQ(0, ioctl(0, 150, IA_CMD_OPT_SET, &time));
    const uint32_t expected[] = {18, 30, 6, 45};
    for (unsigned int cmd = 149; cmd <= 152; ++cmd) {
        uint32_t read = 0;
        ASSERT_TRUE(ispsim::getValue(0, cmd, read));
        EXPECT_EQ(expected[cmd - 149], read);
    }
    dn_time_st out{9, 9, 9, 9};
    EXPECT_EQ(0, ioctl(0, 152, IA_CMD_OPT_GET, &out));
    EXPECT_EQ(18u, out.d2n_hour);
    EXPECT_EQ(30u, out.d2n_min);
    EXPECT_EQ(6u, out.n2d_hour);
    EXPECT_EQ(45u, out.n2d_min);

    auto log = ispsim::calls();
    ASSERT_EQ(2u, log.size());
    EXPECT_EQ(words({18, 30, 6, 45}), log[0].data);
    EXPECT_EQ(words({9, 9, 9, 9}), log[1].data);
}

TEST_F(IspSimCallsTest, IrLedRecordIsStoredWhole) {
    ia_ir_led_info_st led{1, 20, 30, 40};
    EXPECT_EQ(0, ioctl(0, IA_CMD_IR_LED_INFO, IA_CMD_OPT_SET, &led));
    uint32_t read = 0;
    ASSERT_TRUE(ispsim::getValue(0, 178, read));
    EXPECT_EQ(1u, read);
    ia_ir_led_info_st back{0, 0, 0, 0};
    EXPECT_EQ(0, ioctl(0, IA_CMD_IR_LED_INFO, IA_CMD_OPT_GET, &back));
    EXPECT_EQ(1u, back.mode);
    EXPECT_EQ(20u, back.near_strength);
    EXPECT_EQ(30u, back.medium_strength);
    EXPECT_EQ(40u, back.far_strength);
    auto log = ispsim::calls();
    ASSERT_EQ(2u, log.size());
    EXPECT_EQ(words({1, 20, 30, 40}), log[0].data);
    EXPECT_EQ(words({0, 0, 0, 0}), log[1].data);
}

TEST_F(IspSimCallsTest, SyncCheckSetStoresRecordAndGetAnswersWithValueOfA) {
    ia_sync_check_st set{1568, 0, 3, 4};
    EXPECT_EQ(0, ioctl(0, IA_CMD_SYNC_CHECK, IA_CMD_OPT_SET, &set));
    uint32_t read = 0;
    ASSERT_TRUE(ispsim::getValue(0, 2816, read));
    EXPECT_EQ(1568u, read);

    ispsim::setValue(0, 2368, 5);
    ispsim::setValue(1, 2368, 6);
    ia_sync_check_st get{2368, 2, 9, 999};
    EXPECT_EQ(0, ioctl(0, IA_CMD_SYNC_CHECK, IA_CMD_OPT_GET, &get));
    EXPECT_EQ(2368u, get.a);
    EXPECT_EQ(2u, get.b);
    EXPECT_EQ(9u, get.c);
    EXPECT_EQ(5u, get.result);

    ia_sync_check_st unset{4000, 2, 0, 999};
    EXPECT_EQ(0, ioctl(0, IA_CMD_SYNC_CHECK, IA_CMD_OPT_GET, &unset));
    EXPECT_EQ(0u, unset.result);

    auto log = ispsim::calls();
    ASSERT_EQ(3u, log.size());
    EXPECT_EQ(words({1568, 0, 3, 4}), log[0].data);
    EXPECT_EQ(words({2368, 2, 9, 999}), log[1].data);
}

TEST_F(IspSimCallsTest, ExposureGetFillsThreeWords) {
    ia_exposure_info_st info{7, 8, 9};
    EXPECT_EQ(0, ioctl(0, IA_CMD_EXPOSURE_INFO, IA_CMD_OPT_GET, &info));
    EXPECT_EQ(0u, info.f0);
    EXPECT_EQ(0u, info.f1);
    EXPECT_EQ(0u, info.f2);
    auto log = ispsim::calls();
    ASSERT_EQ(1u, log.size());
    EXPECT_EQ(words({7, 8, 9}), log[0].data);
}

TEST_F(IspSimCallsTest, VersionTextIsZeroTerminatedInFiftySixBytes) {
    char text[IA_VERSION_TEXT_LEN];
    std::memset(text, 'x', sizeof(text));
    EXPECT_EQ(0, ioctl(0, IA_CMD_CAMERA_VERSION, IA_CMD_OPT_GET, text));
    EXPECT_STREQ("ISPSIM 1.0", text);
    for (size_t i = std::strlen("ISPSIM 1.0"); i < sizeof(text); ++i) {
        EXPECT_EQ('\0', text[i]) << i;
    }
    auto log = ispsim::calls();
    ASSERT_EQ(1u, log.size());
    ASSERT_EQ(14u, log[0].data.size());
    EXPECT_EQ(0x78787878u, log[0].data[0]);
    EXPECT_EQ(0x78787878u, log[0].data[13]);
}

TEST_F(IspSimCallsTest, LogRecordsEveryCallInOrderWithTheWordsAsPassedIn) {
    uint32_t value = 3;
    ioctl(2, 16, IA_CMD_OPT_SET, &value);
    uint32_t read = 0xCAFE;
    ioctl(2, 16, IA_CMD_OPT_GET, &read);
    ASSERT_EQ(3u, read);
    ia_dynamic_cmd_list_st list;
    std::memset(&list, 0x11, sizeof(list));
    ioctl(2, IA_CMD_DYNAMIC_PARAMS_CMDS_GET, IA_CMD_OPT_GET, &list);
    ia_dynamic_params_attr_st attr;
    std::memset(&attr, 0x22, sizeof(attr));
    ioctl(2, 49, IA_CMD_OPT_GET_PARAM_RNAGE, &attr);
    uint32_t correct = 17;
    ioctl(2, 49, IA_CMD_OPT_CORRECT_PARAM, &correct);

    auto log = ispsim::calls();
    ASSERT_EQ(5u, log.size());
    EXPECT_EQ(2, log[0].channel);
    EXPECT_EQ(16u, log[0].cmd);
    EXPECT_EQ(0u, log[0].opt);
    EXPECT_EQ(words({3}), log[0].data);
    EXPECT_EQ(0, log[0].result);

    EXPECT_EQ(1u, log[1].opt);
    EXPECT_EQ(words({0xCAFE}), log[1].data);
    EXPECT_EQ(0, log[1].result);

    EXPECT_EQ(4112u, log[2].cmd);
    EXPECT_EQ(std::vector<uint32_t>(17, 0x11111111u), log[2].data);
    EXPECT_EQ(0, log[2].result);

    EXPECT_EQ(2u, log[3].opt);
    EXPECT_EQ(std::vector<uint32_t>(69, 0x22222222u), log[3].data);
    EXPECT_EQ(-1, log[3].result);   // 49 not registered

    EXPECT_EQ(3u, log[4].opt);
    EXPECT_EQ(words({17}), log[4].data);
    EXPECT_EQ(0, log[4].result);
}

TEST_F(IspSimCallsTest, ClearCallsEmptiesOnlyTheLog) {
    uint32_t value = 3;
    ioctl(0, 16, IA_CMD_OPT_SET, &value);
    ispsim::clearCalls();
    EXPECT_TRUE(ispsim::calls().empty());
    uint32_t read = 0;
    EXPECT_TRUE(ispsim::getValue(0, 16, read));
    EXPECT_EQ(3u, read);
}

TEST_F(IspSimCallsTest, LogKeepsOnlyTheLatestHundredThousandCalls) {
    const uint32_t total = 100005;
    for (uint32_t i = 0; i < total; ++i) {
        uint32_t value = i;
        ioctl(0, 34, IA_CMD_OPT_SET, &value);
    }
    auto log = ispsim::calls();
    ASSERT_EQ(100000u, log.size());
    EXPECT_EQ(words({5}), log.front().data);
    EXPECT_EQ(words({total - 1}), log.back().data);
}

TEST_F(IspSimCallsTest, FailureMakesMatchingCallsFailWithoutEffect) {
    ispsim::setValue(0, 34, 50);
    ispsim::setFailure(0, 34, IA_CMD_OPT_SET, -7);
    uint32_t value = 60;
    EXPECT_EQ(-7, ioctl(0, 34, IA_CMD_OPT_SET, &value));
    uint32_t read = 0;
    ASSERT_TRUE(ispsim::getValue(0, 34, read));
    EXPECT_EQ(50u, read);
    // Other option, other channel and other command are not affected.
    read = 0;
    EXPECT_EQ(0, ioctl(0, 34, IA_CMD_OPT_GET, &read));
    EXPECT_EQ(50u, read);
    EXPECT_EQ(0, ioctl(1, 34, IA_CMD_OPT_SET, &value));
    EXPECT_EQ(0, ioctl(0, 35, IA_CMD_OPT_SET, &value));

    auto log = ispsim::calls();
    ASSERT_EQ(4u, log.size());
    EXPECT_EQ(-7, log[0].result);
    EXPECT_EQ(words({60}), log[0].data);
}

TEST_F(IspSimCallsTest, FailedGetLeavesTheBufferUntouched) {
    ispsim::setValue(0, 145, 10);
    ispsim::setFailure(0, 145, IA_CMD_OPT_GET, 3);
    dn_thr_st thr{1, 2, 3};
    EXPECT_EQ(3, ioctl(0, 145, IA_CMD_OPT_GET, &thr));
    EXPECT_EQ(1u, thr.d2n_thr);
    EXPECT_EQ(2u, thr.n2d_thr);
    EXPECT_EQ(3u, thr.dn_sensitivity);

    ispsim::setDynamicParam(0, 49, 1, {1, 2});
    ispsim::setFailure(0, 49, IA_CMD_OPT_CORRECT_PARAM, -1);
    uint32_t value = 7;
    EXPECT_EQ(-1, ioctl(0, 49, IA_CMD_OPT_CORRECT_PARAM, &value));
    EXPECT_EQ(7u, value);
}

TEST_F(IspSimCallsTest, FailureWildcardsMatchAnyChannelAndAnyOption) {
    ispsim::setFailure(-1, 34, IA_CMD_OPT_GET, 11);
    ispsim::setFailure(1, 35, -1, 12);
    ispsim::setFailure(-1, 36, -1, 13);
    uint32_t value = 0;
    EXPECT_EQ(11, ioctl(0, 34, IA_CMD_OPT_GET, &value));
    EXPECT_EQ(11, ioctl(5, 34, IA_CMD_OPT_GET, &value));
    EXPECT_EQ(0, ioctl(5, 34, IA_CMD_OPT_SET, &value));

    EXPECT_EQ(12, ioctl(1, 35, IA_CMD_OPT_SET, &value));
    EXPECT_EQ(12, ioctl(1, 35, IA_CMD_OPT_GET_STATUS, &value));
    EXPECT_EQ(0, ioctl(0, 35, IA_CMD_OPT_SET, &value));

    EXPECT_EQ(13, ioctl(0, 36, IA_CMD_OPT_SET, &value));
    EXPECT_EQ(13, ioctl(7, 36, IA_CMD_OPT_GET, &value));
    EXPECT_EQ(0, ioctl(7, 37, IA_CMD_OPT_GET, &value));
    // A negative channel still fails with -1, whatever the failures say.
    EXPECT_EQ(-1, ioctl(-1, 36, IA_CMD_OPT_GET, &value));
}

TEST_F(IspSimCallsTest, MoreSpecificFailureWins) {
    ispsim::setFailure(-1, 34, -1, 1);
    ispsim::setFailure(-1, 34, IA_CMD_OPT_GET, 2);
    ispsim::setFailure(0, 34, -1, 3);
    ispsim::setFailure(0, 34, IA_CMD_OPT_GET, 4);
    uint32_t value = 0;
    EXPECT_EQ(4, ioctl(0, 34, IA_CMD_OPT_GET, &value));
    EXPECT_EQ(3, ioctl(0, 34, IA_CMD_OPT_SET, &value));
    EXPECT_EQ(2, ioctl(1, 34, IA_CMD_OPT_GET, &value));
    EXPECT_EQ(1, ioctl(1, 34, IA_CMD_OPT_SET, &value));
}

TEST_F(IspSimCallsTest, FailureCanBeReplacedRemovedAndCleared) {
    ispsim::setFailure(0, 34, IA_CMD_OPT_SET, 5);
    ispsim::setFailure(0, 34, IA_CMD_OPT_SET, 6);
    uint32_t value = 1;
    EXPECT_EQ(6, ioctl(0, 34, IA_CMD_OPT_SET, &value));
    ispsim::setFailure(0, 34, IA_CMD_OPT_SET, 0);   // result 0 removes the entry
    EXPECT_EQ(0, ioctl(0, 34, IA_CMD_OPT_SET, &value));

    ispsim::setFailure(-1, 34, -1, 9);
    ispsim::setFailure(0, 35, -1, 9);
    ispsim::clearFailures();
    EXPECT_EQ(0, ioctl(0, 34, IA_CMD_OPT_SET, &value));
    EXPECT_EQ(0, ioctl(0, 35, IA_CMD_OPT_SET, &value));
}

TEST_F(IspSimCallsTest, ResetRestoresPowerOnState) {
    ispsim::setValue(0, 34, 1);
    ispsim::setDynamicParam(0, 49, 1, {1, 2});
    ispsim::setFailure(-1, 16, -1, 4);
    uint32_t value = 2;
    ioctl(0, 35, IA_CMD_OPT_SET, &value);

    ispsim::reset();

    EXPECT_TRUE(ispsim::calls().empty());
    uint32_t read = 0;
    EXPECT_FALSE(ispsim::getValue(0, 34, read));
    EXPECT_FALSE(ispsim::getValue(0, 35, read));
    EXPECT_EQ(0, ioctl(0, 16, IA_CMD_OPT_SET, &value));
    ia_dynamic_cmd_list_st list;
    std::memset(&list, 0xFF, sizeof(list));
    EXPECT_EQ(0, ioctl(0, IA_CMD_DYNAMIC_PARAMS_CMDS_GET, IA_CMD_OPT_GET, &list));
    EXPECT_EQ(0, list.cmd_cnt);
    ia_dynamic_params_attr_st attr;
    EXPECT_EQ(-1, ioctl(0, 49, IA_CMD_OPT_GET_PARAM_RNAGE, &attr));
}

} // namespace

namespace {

struct Observed {
    ispsim::Call call;
    std::vector<uint32_t> buffer;
    std::thread::id thread;
};

class IspSimObserverTest : public ::testing::Test {
protected:
    void SetUp() override {
        ispsim::reset();
        ispsim::setCallObserver([this](const ispsim::Call& call, const std::vector<uint32_t>& buffer) {
            m_vecSeen.push_back({call, buffer, std::this_thread::get_id()});
        });
    }
    void TearDown() override {
        ispsim::setCallObserver(nullptr);
        ispsim::reset();
    }
    std::vector<Observed> m_vecSeen;   // written under the simulator's lock
};

TEST_F(IspSimObserverTest, SeesEveryCallWithWhatTheIspAnswered) {
    uint32_t value = 60;
    ASSERT_EQ(0, ioctl(0, 34, IA_CMD_OPT_SET, &value));
    uint32_t read = 7;
    ASSERT_EQ(0, ioctl(0, 34, IA_CMD_OPT_GET, &read));
    ASSERT_EQ(-1, ioctl(0, 34, IA_CMD_OPT_GET, nullptr));
    ispsim::setFailure(0, 35, IA_CMD_OPT_GET, -4);
    uint32_t failed = 9;
    ASSERT_EQ(-4, ioctl(0, 35, IA_CMD_OPT_GET, &failed));

    ASSERT_EQ(4u, m_vecSeen.size());
    EXPECT_EQ(34u, m_vecSeen[0].call.cmd);
    EXPECT_EQ(words({60}), m_vecSeen[0].call.data);
    EXPECT_EQ(words({60}), m_vecSeen[0].buffer);
    EXPECT_EQ(0, m_vecSeen[0].call.result);
    // A read: the log keeps the buffer as passed in, the observer also gets the answer.
    EXPECT_EQ(words({7}), m_vecSeen[1].call.data);
    EXPECT_EQ(words({60}), m_vecSeen[1].buffer);
    EXPECT_TRUE(m_vecSeen[2].call.data.empty());
    EXPECT_TRUE(m_vecSeen[2].buffer.empty());
    EXPECT_EQ(-1, m_vecSeen[2].call.result);
    // A failed read leaves the buffer as it was.
    EXPECT_EQ(words({9}), m_vecSeen[3].buffer);
    EXPECT_EQ(-4, m_vecSeen[3].call.result);
    // The log holds the same calls.
    EXPECT_EQ(4u, ispsim::calls().size());
}

TEST_F(IspSimObserverTest, RunsOnTheCallersThreadAndSurvivesReset) {
    ispsim::reset();
    uint32_t value = 1;
    std::thread other([&value] { ioctl(2, 34, IA_CMD_OPT_SET, &value); });
    other.join();
    ASSERT_EQ(1u, m_vecSeen.size());
    EXPECT_EQ(2, m_vecSeen[0].call.channel);
    EXPECT_NE(std::this_thread::get_id(), m_vecSeen[0].thread);

    ispsim::setCallObserver(nullptr);
    ASSERT_EQ(0, ioctl(0, 34, IA_CMD_OPT_SET, &value));
    EXPECT_EQ(1u, m_vecSeen.size());
}

} // namespace
