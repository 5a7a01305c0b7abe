// Shutter stepping over the ISP's list of maximum-shutter values.
#include <gtest/gtest.h>

#include "handlers/ShutterList.h"
#include "support/BareController.h"
#include "support/TestEnv.h"

namespace {

using tarnix_test::BareController;

class ShutterTest : public tarnix_test::TarnixTest {};

const std::vector<int32_t> kShutters = {1, 2, 3, 6, 12, 25, 50, 100};

// Set calls of KEY_MAX_SHUTTER, as values.
std::vector<uint32_t> shutterSets() {
    std::vector<uint32_t> out;
    for (const auto& call : tarnix_test::callsWithOpt(0)) {
        if (call.cmd == 49) {
            out.push_back(call.data.at(0));
        }
    }
    return out;
}

std::vector<int> parsed(const std::string& text) {
    tarnix::ShutterList stList;
    tarnix::parseShutterList(text, stList);
    return std::vector<int>(stList.values, stList.values + stList.count);
}

TEST(ShutterListTest, BlankSeparatedValues) {
    EXPECT_EQ((std::vector<int>{100, 200, 400}), parsed("100 200 400"));
    EXPECT_EQ((std::vector<int>{-5}), parsed("-5"));
}

TEST(ShutterListTest, TrailingBlankAddsNoEntry) {
    EXPECT_EQ((std::vector<int>{100, 200}), parsed("100 200 "));
    EXPECT_TRUE(parsed("").empty());
}

TEST(ShutterListTest, AtMostThirtyEntries) {
    std::string text;
    for (int i = 1; i <= 31; ++i) {
        text += (i == 1 ? "" : " ") + std::to_string(i);
    }
    std::vector<int> list = parsed(text);
    ASSERT_EQ(30u, list.size());
    EXPECT_EQ(30, list.back());
}

TEST(ShutterListTest, EmptyOrUnreadablePiecesBecomeZero) {
    EXPECT_EQ((std::vector<int>{1, 0, 2}), parsed("1  2"));
    EXPECT_EQ((std::vector<int>{0, 7}), parsed("x 7"));
}

TEST_F(ShutterTest, IndexOfTheCurrentMaximumShutter) {
    BareController bare({{49, 12}}, 2);
    ispsim::setDynamicParam(0, 49, 12, kShutters);
    ispsim::setValue(0, 49, 12);
    int nIndex = -1;
    captureStdout();
    EXPECT_TRUE(bare->getShutterValue(nIndex));
    EXPECT_EQ("cmd=49 DefaltParam=12 strParamRange=1 2 3 6 12 25 50 100\n", capturedStdout());
    EXPECT_EQ(4, nIndex);
    // One range query, then one read.
    auto calls = ispsim::calls();
    ASSERT_EQ(3u, calls.size());
    EXPECT_EQ(4112u, calls[0].cmd);
    EXPECT_EQ(49u, calls[1].cmd);
    EXPECT_EQ(2u, calls[1].opt);
    EXPECT_EQ(49u, calls[2].cmd);
    EXPECT_EQ(1u, calls[2].opt);
}

TEST_F(ShutterTest, DuplicateValuesTakeTheFirstOccurrence) {
    BareController bare({{49, 12}}, 2);
    ispsim::setDynamicParam(0, 49, 12, {100, 200, 100, 300});
    ispsim::setValue(0, 49, 100);
    int nIndex = -1;
    EXPECT_TRUE(bare->getShutterValue(nIndex));
    EXPECT_EQ(0, nIndex);
}

TEST_F(ShutterTest, ValueNotInTheListFails) {
    BareController bare({{49, 12}}, 2);
    ispsim::setDynamicParam(0, 49, 12, kShutters);
    ispsim::setValue(0, 49, 13);
    int nIndex = -1;
    EXPECT_FALSE(bare->getShutterValue(nIndex));
    EXPECT_EQ(-1, nIndex);
    EXPECT_FALSE(bare->shutterUp());
    EXPECT_FALSE(bare->shutterDown());
    EXPECT_TRUE(shutterSets().empty());
}

TEST_F(ShutterTest, FailedReadFails) {
    BareController bare({{49, 12}}, 2);
    ispsim::setDynamicParam(0, 49, 12, kShutters);
    ispsim::setValue(0, 49, 12);
    ispsim::setFailure(-1, 49, 1, -1);
    int nIndex = -1;
    EXPECT_FALSE(bare->getShutterValue(nIndex));
    EXPECT_FALSE(bare->shutterUp());
    EXPECT_FALSE(bare->shutterDown());
    EXPECT_TRUE(shutterSets().empty());
}

TEST_F(ShutterTest, WithoutAListEverythingFails) {
    BareController bare({{49, 12}}, 2);
    ispsim::setValue(0, 49, 12);
    int nIndex = -1;
    EXPECT_FALSE(bare->getShutterValue(nIndex));
    EXPECT_FALSE(bare->setShutterValue(0));
    EXPECT_FALSE(bare->shutterUp());
    EXPECT_FALSE(bare->shutterDown());
    EXPECT_TRUE(shutterSets().empty());
}

TEST_F(ShutterTest, SetByIndexGoesThroughTheCache) {
    BareController bare({{49, 12}}, 2);
    ispsim::setDynamicParam(0, 49, 12, kShutters);
    EXPECT_TRUE(bare->setShutterValue(6));
    EXPECT_EQ((std::vector<uint32_t>{50}), shutterSets());
    EXPECT_EQ(50u, bare.value(0, 49));
    // The same index again: unchanged, skipped, still a success.
    EXPECT_TRUE(bare->setShutterValue(6));
    EXPECT_EQ((std::vector<uint32_t>{50}), shutterSets());
}

TEST_F(ShutterTest, SetByIndexRefusesIndicesOutsideTheList) {
    BareController bare({{49, 12}}, 2);
    ispsim::setDynamicParam(0, 49, 12, kShutters);
    EXPECT_FALSE(bare->setShutterValue(8));
    EXPECT_FALSE(bare->setShutterValue(-1));
    EXPECT_FALSE(bare->setShutterValue(-2147483647 - 1));
    EXPECT_TRUE(shutterSets().empty());
    EXPECT_TRUE(bare->setShutterValue(7));
    EXPECT_EQ((std::vector<uint32_t>{100}), shutterSets());
}

TEST_F(ShutterTest, OnlyTheFirstThirtyOfThirtyOneValuesAreUsed) {
    BareController bare({{49, 12}}, 2);
    std::vector<int32_t> items;
    for (int i = 1; i <= 31; ++i) {
        items.push_back(i * 10);
    }
    ispsim::setDynamicParam(0, 49, 10, items);
    EXPECT_FALSE(bare->setShutterValue(30));
    EXPECT_TRUE(shutterSets().empty());
    EXPECT_TRUE(bare->setShutterValue(29));
    EXPECT_EQ((std::vector<uint32_t>{300}), shutterSets());

    // The 31st value is not in the list, so it cannot be found either.
    ispsim::setValue(0, 49, 310);
    int nIndex = -1;
    EXPECT_FALSE(bare->getShutterValue(nIndex));
}

TEST_F(ShutterTest, SetByIndexReportsAFailedApply) {
    BareController bare({{49, 12}}, 2);
    ispsim::setDynamicParam(0, 49, 12, kShutters);
    ispsim::setFailure(-1, 49, 0, -1);
    EXPECT_FALSE(bare->setShutterValue(2));
    EXPECT_EQ(12u, bare.value(0, 49));
}

TEST_F(ShutterTest, StepUpAndDownMoveOneEntry) {
    BareController bare({{49, 12}}, 2);
    ispsim::setDynamicParam(0, 49, 12, kShutters);
    ispsim::setValue(0, 49, 12);
    EXPECT_TRUE(bare->shutterUp());
    EXPECT_EQ((std::vector<uint32_t>{25}), shutterSets());
    EXPECT_EQ(25u, bare.value(0, 49));
    EXPECT_TRUE(bare->shutterDown());
    EXPECT_TRUE(bare->shutterDown());
    EXPECT_EQ((std::vector<uint32_t>{25, 12, 6}), shutterSets());
    EXPECT_EQ(6u, bare.value(0, 49));
}

TEST_F(ShutterTest, StepPastTheEndIsASuccessfulNoOp) {
    BareController bare({{49, 100}}, 2);
    ispsim::setDynamicParam(0, 49, 12, kShutters);
    ispsim::setValue(0, 49, 100);
    EXPECT_TRUE(bare->shutterUp());
    EXPECT_TRUE(shutterSets().empty());
    EXPECT_EQ(100u, bare.value(0, 49));
}

TEST_F(ShutterTest, StepBelowTheStartIsASuccessfulNoOp) {
    BareController bare({{49, 1}}, 2);
    ispsim::setDynamicParam(0, 49, 12, kShutters);
    ispsim::setValue(0, 49, 1);
    EXPECT_TRUE(bare->shutterDown());
    EXPECT_TRUE(shutterSets().empty());
}

TEST_F(ShutterTest, StepAtTheEndHandsTheUnchangedValueOn) {
    // When the cache does not hold the ISP's value, the unchanged value is
    // applied like any other: the step is not refused at the end.
    BareController bare({{49, 12}}, 2);
    ispsim::setDynamicParam(0, 49, 12, kShutters);
    ispsim::setValue(0, 49, 100);
    EXPECT_TRUE(bare->shutterUp());
    EXPECT_EQ((std::vector<uint32_t>{100}), shutterSets());
    EXPECT_EQ(100u, bare.value(0, 49));
}

} // namespace
