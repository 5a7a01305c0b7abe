// StringHandler: splitting and decimal conversion.
#include <string>
#include <vector>

#include "platform/StringHandler.h"
#include "support/TestEnv.h"

namespace {

using Pieces = std::vector<std::string>;

Pieces split(const std::string& text, const std::string& separators = ",") {
    Pieces out;
    StringHandler::split(text, out, separators);
    return out;
}

class StringHandlerTest : public tarnix_test::TarnixTest {};

TEST_F(StringHandlerTest, SplitsAtEverySeparator) {
    EXPECT_EQ(split("34,60"), (Pieces{"34", "60"}));
    EXPECT_EQ(split("a,b,c"), (Pieces{"a", "b", "c"}));
    EXPECT_EQ(split("single"), (Pieces{"single"}));
}

TEST_F(StringHandlerTest, KeepsEmptyInnerPieces) {
    EXPECT_EQ(split("a,,b"), (Pieces{"a", "", "b"}));
    EXPECT_EQ(split(",a"), (Pieces{"", "a"}));
    EXPECT_EQ(split(",,"), (Pieces{"", ""}));
}

TEST_F(StringHandlerTest, DropsOnlyATrailingEmptyPiece) {
    EXPECT_EQ(split("a,"), (Pieces{"a"}));
    EXPECT_EQ(split("a,,"), (Pieces{"a", ""}));
    EXPECT_EQ(split(","), (Pieces{""}));
}

TEST_F(StringHandlerTest, EmptyTextGivesNothing) {
    EXPECT_TRUE(split("").empty());
    EXPECT_TRUE(split("", "").empty());
}

TEST_F(StringHandlerTest, AnyOfSeveralSeparators) {
    EXPECT_EQ(split("a,b;c d", ",; "), (Pieces{"a", "b", "c", "d"}));
    EXPECT_EQ(split("a;,b", ",;"), (Pieces{"a", "", "b"}));
    EXPECT_EQ(split("a,b", ""), (Pieces{"a,b"}));
}

TEST_F(StringHandlerTest, AppendsToWhatIsThere) {
    Pieces out{"x"};
    StringHandler::split("1,2", out, ",");
    EXPECT_EQ(out, (Pieces{"x", "1", "2"}));
}

TEST_F(StringHandlerTest, Str2TypeConvertsDecimals) {
    int value = -1;
    EXPECT_TRUE(StringHandler::str2type<int>("42", value));
    EXPECT_EQ(value, 42);
    EXPECT_TRUE(StringHandler::str2type<int>("  -7 trailing", value));
    EXPECT_EQ(value, -7);
    EXPECT_FALSE(StringHandler::str2type<int>("abc", value));
    EXPECT_FALSE(StringHandler::str2type<int>("", value));
}

} // namespace
