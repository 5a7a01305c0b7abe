// SensorCheck: a raw ISP query (command 2816) given as a key-list text.
#include <regex>

#include "scheme/SchemeFixture.h"

namespace scheme_test {
namespace {

class SensorCheckTest : public SchemeTest {};

TEST_F(SensorCheckTest, SecondNumberTwoReadsTheAnswerIntoTheText) {
    // The simulated ISP answers with the stored value of command a.
    ispsim::setValue(0, 5, 77);
    ispsim::clearCalls();
    std::string str = "(5,2,9)";
    EXPECT_EQ(0, ctl().SensorCheck(str));
    EXPECT_EQ("77", str);
    auto calls = ispsim::calls();
    ASSERT_EQ(1u, calls.size());
    EXPECT_EQ(0, calls[0].channel);
    EXPECT_EQ(2816u, calls[0].cmd);
    EXPECT_EQ(1u, calls[0].opt);
    EXPECT_EQ((std::vector<uint32_t>{5, 2, 9, 0}), calls[0].data);
}

TEST_F(SensorCheckTest, AnswerIsWrittenAsSignedDecimal) {
    ispsim::setValue(0, 5, 0xFFFFFFFFu);
    std::string str = "(5,2,0)";
    EXPECT_EQ(0, ctl().SensorCheck(str));
    EXPECT_EQ("-1", str);
}

TEST_F(SensorCheckTest, OtherSecondNumberSetsAndLeavesTheTextUnchanged) {
    std::string str = "(7,1,3)";
    EXPECT_EQ(0, ctl().SensorCheck(str));
    EXPECT_EQ("(7,1,3)", str);
    auto calls = ispsim::calls();
    ASSERT_EQ(1u, calls.size());
    EXPECT_EQ(2816u, calls[0].cmd);
    EXPECT_EQ(0u, calls[0].opt);
    EXPECT_EQ((std::vector<uint32_t>{7, 1, 3, 0}), calls[0].data);
}

TEST_F(SensorCheckTest, IspResultIsReturnedAndTheTextStillReplaced) {
    ispsim::setFailure(0, 2816, -1, -3);
    std::string str = "(5,2,0)";
    EXPECT_EQ(-3, ctl().SensorCheck(str));
    EXPECT_EQ("0", str);
    std::string other = "(5,0,0)";
    EXPECT_EQ(-3, ctl().SensorCheck(other));
    EXPECT_EQ("(5,0,0)", other);
}

TEST_F(SensorCheckTest, MalformedTextPrintsAndReturnsZero) {
    captureStdout();
    std::string str = "5,2,0";
    EXPECT_EQ(0, ctl().SensorCheck(str));
    std::string out = capturedStdout();
    EXPECT_TRUE(std::regex_search(out, std::regex("ISensorController\\.cpp[0-9]+ getParameters fail p_strIds = "
                                                  "5,2,0 \n")))
        << out;
    EXPECT_EQ("5,2,0", str);
    EXPECT_TRUE(ispsim::calls().empty());

    std::string empty = "()";
    EXPECT_EQ(0, ctl().SensorCheck(empty));
    EXPECT_TRUE(ispsim::calls().empty());
}

TEST_F(SensorCheckTest, MissingNumbersCountAsZero) {
    std::string str = "(5)";
    EXPECT_EQ(0, ctl().SensorCheck(str));
    EXPECT_EQ("(5)", str);
    auto calls = ispsim::calls();
    ASSERT_EQ(1u, calls.size());
    EXPECT_EQ(0u, calls[0].opt);
    EXPECT_EQ((std::vector<uint32_t>{5, 0, 0, 0}), calls[0].data);
}

TEST_F(SensorCheckTest, UsesTheChannelsIspChannel) {
    ctl().setChannelID(2);
    ispsim::setValue(1, 5, 12);
    std::string str = "(5,2,0)";
    EXPECT_EQ(0, ctl().SensorCheck(str));
    EXPECT_EQ("12", str);
    ASSERT_EQ(1u, ispsim::calls().size());
    EXPECT_EQ(1, ispsim::calls()[0].channel);
}

} // namespace
} // namespace scheme_test
