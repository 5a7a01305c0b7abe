// Choice of the user scheme whose time window holds the current time.
#include "scheme/SchemeFixture.h"

namespace scheme_test {
namespace {

class JudgeSchemeTest : public SchemeTest {
protected:
    // judgeCurScheme at hh:mm; returns {scheme, schedule}.
    std::pair<int, int> judgeAt(int hour, int minute) {
        platform::setClock(hour, minute);
        int nScheme = -7;
        int nSchedule = -7;
        EXPECT_EQ(SNS_SUCCESS, ctl().judgeCurScheme(nScheme, nSchedule));
        return {nScheme, nSchedule};
    }
};

TEST_F(JudgeSchemeTest, OverlappingWindowsChooseTheLowerIndex) {
    buildCache(3);
    window(1, 8, 0, 12, 0);
    window(2, 9, 0, 13, 0);
    EXPECT_EQ(std::make_pair(1, 1), judgeAt(10, 0));
    EXPECT_EQ(std::make_pair(1, 1), judgeAt(11, 59));
    // Only scheme 2 holds 12:30.
    EXPECT_EQ(std::make_pair(2, 1), judgeAt(12, 30));
}

TEST_F(JudgeSchemeTest, StartIsInsideAndEndIsOutside) {
    buildCache(3);
    window(1, 8, 30, 12, 15);
    EXPECT_EQ(std::make_pair(0, 0), judgeAt(8, 29));
    EXPECT_EQ(std::make_pair(1, 1), judgeAt(8, 30));
    EXPECT_EQ(std::make_pair(1, 1), judgeAt(12, 14));
    EXPECT_EQ(std::make_pair(0, 0), judgeAt(12, 15));
}

TEST_F(JudgeSchemeTest, WindowAcrossMidnightNeverMatches) {
    buildCache(3);
    window(2, 22, 0, 6, 0);
    EXPECT_EQ(std::make_pair(0, 0), judgeAt(23, 0));
    EXPECT_EQ(std::make_pair(0, 0), judgeAt(1, 0));
    EXPECT_EQ(std::make_pair(0, 0), judgeAt(22, 0));
}

TEST_F(JudgeSchemeTest, SchemeZeroAsMatchAndAsFallbackDifferInSchedule) {
    buildCache(3);
    window(0, 6, 0, 18, 0);
    EXPECT_EQ(std::make_pair(0, 1), judgeAt(7, 0));
    EXPECT_EQ(std::make_pair(0, 0), judgeAt(19, 0));
}

TEST_F(JudgeSchemeTest, NoUserSchemesAlwaysGiveSchemeZeroUnscheduled) {
    buildCache(0);
    // The factory row is never chosen by time, even with a window holding now.
    window(0, 0, 0, 24, 0);
    EXPECT_EQ(std::make_pair(0, 0), judgeAt(12, 0));
}

TEST_F(JudgeSchemeTest, FactoryRowIsNeverChosenByTime) {
    buildCache(2);
    window(2, 0, 0, 24, 0);
    EXPECT_EQ(std::make_pair(0, 0), judgeAt(12, 0));
}

TEST_F(JudgeSchemeTest, WindowValuesCompareUnsigned) {
    buildCache(3);
    // Start hour 0xFFFFFFFF: start = 0xFFFFFFFF * 100 wraps to 2^32 - 100, a
    // huge unsigned number; a signed comparison would have matched (-100 <= now).
    window(1, 0xFFFFFFFFu, 0, 24, 0);
    EXPECT_EQ(std::make_pair(0, 0), judgeAt(10, 0));
    // The end wraps the same way: end = 2^32 - 100 lies above every time.
    window(1, 0, 0, 0xFFFFFFFFu, 0);
    EXPECT_EQ(std::make_pair(1, 1), judgeAt(10, 0));
}

TEST_F(JudgeSchemeTest, WholeDayWindowHoldsMidnightAndLastMinute) {
    buildCache(2);
    window(1, 0, 0, 24, 0);
    EXPECT_EQ(std::make_pair(1, 1), judgeAt(0, 0));
    EXPECT_EQ(std::make_pair(1, 1), judgeAt(23, 59));
}

TEST_F(JudgeSchemeTest, UninitialisedControllerGivesSchemeZero) {
    EXPECT_EQ(std::make_pair(0, 0), judgeAt(12, 0));
}

} // namespace
} // namespace scheme_test
