// Dynamic parameters of the simulated ISP: the command list (4112), the
// range records (option 2) and the correction to the nearest item (option 3).
#include <gtest/gtest.h>

#include <climits>
#include <cstring>
#include <vector>

#include "ispsim/ispsim.h"
#include "platform/ia_ioctrl.h"

namespace {

class IspSimDynamicTest : public ::testing::Test {
protected:
    void SetUp() override { ispsim::reset(); }
    void TearDown() override { ispsim::reset(); }
};

int ioctl(int channel, unsigned int cmd, unsigned int opt, void* data) {
    return ia_ioctrl_v2(channel, static_cast<ia_cmd_e>(cmd), opt, data);
}

ia_dynamic_cmd_list_st readList(int channel) {
    ia_dynamic_cmd_list_st list;
    std::memset(&list, 0xEE, sizeof(list));
    EXPECT_EQ(0, ioctl(channel, IA_CMD_DYNAMIC_PARAMS_CMDS_GET, IA_CMD_OPT_GET, &list));
    return list;
}

uint32_t corrected(int channel, unsigned int cmd, uint32_t value, int expectedResult = 0) {
    EXPECT_EQ(expectedResult, ioctl(channel, cmd, IA_CMD_OPT_CORRECT_PARAM, &value));
    return value;
}

int32_t correctedSigned(int channel, unsigned int cmd, int32_t value) {
    return static_cast<int32_t>(corrected(channel, cmd, static_cast<uint32_t>(value)));
}

TEST_F(IspSimDynamicTest, RangeRecordOfRegisteredCommand) {
    ispsim::setDynamicParam(0, 49, 3, {5, -2, 9});
    ia_dynamic_params_attr_st attr;
    std::memset(&attr, 0xAB, sizeof(attr));
    ASSERT_EQ(0, ioctl(0, 49, IA_CMD_OPT_GET_PARAM_RNAGE, &attr));
    EXPECT_EQ(0, attr.attr);
    EXPECT_EQ(3, attr.def_val);
    EXPECT_EQ(-2, attr.min_val);
    EXPECT_EQ(9, attr.max_val);
    ASSERT_EQ(3, attr.items_cnt);
    EXPECT_EQ(5, attr.item[0]);
    EXPECT_EQ(-2, attr.item[1]);
    EXPECT_EQ(9, attr.item[2]);
    for (int i = 3; i < IA_DYNAMIC_ITEM_MAX; ++i) {
        EXPECT_EQ(0, attr.item[i]) << i;
    }
}

TEST_F(IspSimDynamicTest, RangeRecordCarriesTheType) {
    ispsim::setDynamicParam(0, 1537, 10, {0, 100}, 2);
    ia_dynamic_params_attr_st attr;
    ASSERT_EQ(0, ioctl(0, 1537, IA_CMD_OPT_GET_PARAM_RNAGE, &attr));
    EXPECT_EQ(2, attr.attr);
    EXPECT_EQ(10, attr.def_val);
    EXPECT_EQ(0, attr.min_val);
    EXPECT_EQ(100, attr.max_val);
    EXPECT_EQ(2, attr.items_cnt);
}

TEST_F(IspSimDynamicTest, RangeRecordWithoutItemsHasZeroBounds) {
    ispsim::setDynamicParam(0, 50, -4, {});
    ia_dynamic_params_attr_st attr;
    std::memset(&attr, 0xAB, sizeof(attr));
    ASSERT_EQ(0, ioctl(0, 50, IA_CMD_OPT_GET_PARAM_RNAGE, &attr));
    EXPECT_EQ(-4, attr.def_val);
    EXPECT_EQ(0, attr.min_val);
    EXPECT_EQ(0, attr.max_val);
    EXPECT_EQ(0, attr.items_cnt);
}

TEST_F(IspSimDynamicTest, RangeOfUnregisteredCommandFailsAndLeavesBuffer) {
    ispsim::setDynamicParam(1, 49, 3, {1});
    ia_dynamic_params_attr_st attr;
    std::memset(&attr, 0xAB, sizeof(attr));
    ia_dynamic_params_attr_st before = attr;
    EXPECT_EQ(-1, ioctl(0, 49, IA_CMD_OPT_GET_PARAM_RNAGE, &attr));   // other channel
    EXPECT_EQ(-1, ioctl(1, 50, IA_CMD_OPT_GET_PARAM_RNAGE, &attr));   // other command
    EXPECT_EQ(0, std::memcmp(&before, &attr, sizeof(attr)));
}

TEST_F(IspSimDynamicTest, ItemsBeyondSixtyFourAreCut) {
    std::vector<int32_t> items;
    for (int i = 0; i < 70; ++i) {
        items.push_back(i * 10);
    }
    ispsim::setDynamicParam(0, 49, 0, items);
    ia_dynamic_params_attr_st attr;
    ASSERT_EQ(0, ioctl(0, 49, IA_CMD_OPT_GET_PARAM_RNAGE, &attr));
    EXPECT_EQ(64, attr.items_cnt);
    EXPECT_EQ(0, attr.min_val);
    EXPECT_EQ(630, attr.max_val);
    EXPECT_EQ(630, attr.item[63]);
    // The cut items are not correction targets either.
    EXPECT_EQ(630u, corrected(0, 49, 690));
}

TEST_F(IspSimDynamicTest, ReRegistrationReplacesAndKeepsListPosition) {
    ispsim::setDynamicParam(0, 49, 1, {1, 2});
    ispsim::setDynamicParam(0, 1537, 1, {1});
    ispsim::setDynamicParam(0, 50, 1, {1});
    ispsim::setDynamicParam(0, 49, 7, {7, 8, 9}, 1);

    ia_dynamic_cmd_list_st list = readList(0);
    ASSERT_EQ(3, list.cmd_cnt);
    EXPECT_EQ(49u, list.cmd_list[0]);
    EXPECT_EQ(1537u, list.cmd_list[1]);
    EXPECT_EQ(50u, list.cmd_list[2]);
    for (int i = 3; i < IA_DYNAMIC_CMD_MAX; ++i) {
        EXPECT_EQ(0u, list.cmd_list[i]) << i;
    }

    ia_dynamic_params_attr_st attr;
    ASSERT_EQ(0, ioctl(0, 49, IA_CMD_OPT_GET_PARAM_RNAGE, &attr));
    EXPECT_EQ(1, attr.attr);
    EXPECT_EQ(7, attr.def_val);
    EXPECT_EQ(3, attr.items_cnt);
    EXPECT_EQ(9, attr.max_val);
}

TEST_F(IspSimDynamicTest, CommandListIsCappedAtSixteen) {
    for (unsigned int cmd = 1000; cmd < 1020; ++cmd) {
        ispsim::setDynamicParam(0, cmd, 0, {1});
    }
    ia_dynamic_cmd_list_st list = readList(0);
    ASSERT_EQ(16, list.cmd_cnt);
    for (int i = 0; i < 16; ++i) {
        EXPECT_EQ(1000u + i, list.cmd_list[i]);
    }
    // The commands past the list are still registered for range queries.
    ia_dynamic_params_attr_st attr;
    EXPECT_EQ(0, ioctl(0, 1019, IA_CMD_OPT_GET_PARAM_RNAGE, &attr));
}

TEST_F(IspSimDynamicTest, CommandListIsPerChannel) {
    ispsim::setDynamicParam(1, 49, 0, {1});
    ia_dynamic_cmd_list_st list0 = readList(0);
    EXPECT_EQ(0, list0.cmd_cnt);
    for (int i = 0; i < IA_DYNAMIC_CMD_MAX; ++i) {
        EXPECT_EQ(0u, list0.cmd_list[i]);
    }
    ia_dynamic_cmd_list_st list1 = readList(1);
    ASSERT_EQ(1, list1.cmd_cnt);
    EXPECT_EQ(49u, list1.cmd_list[0]);
}

TEST_F(IspSimDynamicTest, CorrectionPicksTheNearestItem) {
    ispsim::setDynamicParam(0, 49, 0, {20, 0, 10});
    EXPECT_EQ(10u, corrected(0, 49, 14));
    EXPECT_EQ(20u, corrected(0, 49, 16));
    EXPECT_EQ(10u, corrected(0, 49, 10));
    EXPECT_EQ(20u, corrected(0, 49, 1000));
    EXPECT_EQ(0, correctedSigned(0, 49, -100));
}

TEST_F(IspSimDynamicTest, CorrectionTieGoesToTheLowerItem) {
    ispsim::setDynamicParam(0, 49, 0, {20, 10});
    EXPECT_EQ(10u, corrected(0, 49, 15));
    ispsim::setDynamicParam(0, 50, 0, {10, 20});
    EXPECT_EQ(10u, corrected(0, 50, 15));
}

TEST_F(IspSimDynamicTest, CorrectionComparesAsSignedValues) {
    ispsim::setDynamicParam(0, 49, 0, {10, -10});
    EXPECT_EQ(-10, correctedSigned(0, 49, 0));    // tie: the lower as signed
    EXPECT_EQ(-10, correctedSigned(0, 49, -1));   // 0xFFFFFFFF is -1, not a huge value
    EXPECT_EQ(10, correctedSigned(0, 49, 3));

    ispsim::setDynamicParam(0, 50, 0, {INT32_MIN, INT32_MAX});
    EXPECT_EQ(INT32_MAX, correctedSigned(0, 50, 0));
    EXPECT_EQ(INT32_MIN, correctedSigned(0, 50, -1));
    EXPECT_EQ(INT32_MIN, correctedSigned(0, 50, INT32_MIN + 1));
}

TEST_F(IspSimDynamicTest, CorrectionLeavesUnregisteredOrEmptyCommandsAlone) {
    EXPECT_EQ(12345u, corrected(0, 49, 12345));
    ispsim::setDynamicParam(0, 50, 3, {});
    EXPECT_EQ(12345u, corrected(0, 50, 12345));
    ispsim::setDynamicParam(1, 51, 3, {1, 2});
    EXPECT_EQ(12345u, corrected(0, 51, 12345));
}

TEST_F(IspSimDynamicTest, CorrectionDoesNotChangeStoredValues) {
    ispsim::setValue(0, 49, 77);
    ispsim::setDynamicParam(0, 49, 0, {1, 2});
    EXPECT_EQ(2u, corrected(0, 49, 50));
    uint32_t stored = 0;
    ASSERT_TRUE(ispsim::getValue(0, 49, stored));
    EXPECT_EQ(77u, stored);
}

} // namespace

TEST(IspSimPowerOn, UnsetDynamicCommandReadsItsDefault) {
    ispsim::reset();
    ispsim::setDynamicParam(0, 49, 5, {1, 3, 5, 7});
    uint32_t value = 99;
    ASSERT_EQ(0, ia_ioctrl_v2(0, static_cast<ia_cmd_e>(49), 1, &value));
    EXPECT_EQ(5u, value);
    uint32_t set = 7;
    ASSERT_EQ(0, ia_ioctrl_v2(0, static_cast<ia_cmd_e>(49), 0, &set));
    ASSERT_EQ(0, ia_ioctrl_v2(0, static_cast<ia_cmd_e>(49), 1, &value));
    EXPECT_EQ(7u, value);
    uint32_t plain = 99;
    ASSERT_EQ(0, ia_ioctrl_v2(0, static_cast<ia_cmd_e>(34), 1, &plain));
    EXPECT_EQ(0u, plain);
}
