// Text form of parameter lists.
#include <gtest/gtest.h>

#include <chrono>

#include "engine/KeyValText.h"

namespace {

std::vector<KeyVal> parse(const std::string& text) {
    std::vector<KeyVal> records(keyval_count(text) + 1, KeyVal{0xAAAAAAAAu, 0xAAAAAAAAu});
    u32 nCount = 12345;
    keyval_str2st(text, records.data(), &nCount);
    EXPECT_EQ(keyval_count(text), nCount) << text;
    // Nothing is written past the records counted.
    EXPECT_EQ(0xAAAAAAAAu, records[nCount].key) << text;
    records.resize(nCount);
    return records;
}

bool same(const std::vector<KeyVal>& a, const std::vector<KeyVal>& b) {
    if (a.size() != b.size()) {
        return false;
    }
    for (size_t i = 0; i < a.size(); ++i) {
        if (a[i].key != b[i].key || a[i].value != b[i].value) {
            return false;
        }
    }
    return true;
}

TEST(KeyValTextTest, RecordsBackToBack) {
    EXPECT_TRUE(same({{2368, 1}, {2369, 50}}, parse("(2368,1)(2369,50)")));
    EXPECT_TRUE(same({{34, 60}, {2337, 45}}, parse("(34,60)(2337,45)")));
}

TEST(KeyValTextTest, NegativeValueIsStoredAsItsUnsignedPattern) {
    EXPECT_TRUE(same({{2368, 0xFFFFFFFFu}}, parse("(2368,-1)")));
}

TEST(KeyValTextTest, UnscannableValueKeepsThePreviousValue) {
    EXPECT_TRUE(same({{1, 2}, {3, 2}}, parse("(1,2)(3,x)")));
}

TEST(KeyValTextTest, UnscannableRecordRepeatsThePreviousNumbers) {
    EXPECT_TRUE(same({{1, 2}, {1, 2}}, parse("(1,2)(x,y)")));
    // At the start the numbers are 0,0.
    EXPECT_TRUE(same({{0, 0}, {5, 6}}, parse("(x)(5,6)")));
}

TEST(KeyValTextTest, MissingClosingBracketYieldsNoRecord) {
    EXPECT_TRUE(parse("(5,6").empty());
    EXPECT_TRUE(same({{1, 2}}, parse("(1,2)(5,6")));
}

TEST(KeyValTextTest, OpeningBracketAsLastCharacterEndsTheText) {
    EXPECT_TRUE(same({{1, 2}}, parse("(1,2)(")));
}

TEST(KeyValTextTest, TextWithoutBracketsYieldsNoRecords) {
    EXPECT_TRUE(parse("").empty());
    EXPECT_TRUE(parse("2368,1").empty());
}

TEST(KeyValTextTest, ClosingBracketBeforeTheOpeningOneYieldsNoRecordForThatPair) {
    // The ")" at 0 and the "(" at 1 form no record; the search resumes after
    // the ")" and then finds (7,8).
    EXPECT_TRUE(same({{7, 8}}, parse(")(7,8)")));
    EXPECT_TRUE(same({{1, 2}, {9, 9}}, parse("(1,2))(9,9)")));
}

TEST(KeyValTextTest, ManyClosingBracketsBeforeARecordAreWalkedOnce) {
    // Every ")" before the "(" ends a pair without a record; the text is
    // walked in one pass, so a long run of them is cheap.
    std::string text(1000000, ')');
    text += "(3,4)";
    auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(1u, keyval_count(text));
    EXPECT_TRUE(same({{3, 4}}, parse(text)));
    auto elapsed = std::chrono::steady_clock::now() - start;
    EXPECT_LT(std::chrono::duration_cast<std::chrono::milliseconds>(elapsed).count(), 5000);
    // Mixed with records the result is that of the records alone.
    EXPECT_TRUE(same({{1, 2}, {5, 6}}, parse("(1,2))))(5,6)")));
}

TEST(KeyValTextTest, TextBetweenRecordsIsIgnored) {
    EXPECT_TRUE(same({{1, 2}, {3, 4}}, parse("ab(1,2) , (3,4)zz")));
}

TEST(KeyValTextTest, CapacityBoundsTheRecordsWritten) {
    std::string text = "(1,1)(2,2)(3,3)(4,4)(5,5)";
    EXPECT_EQ(5u, keyval_count(text));
    KeyVal records[4] = {{0, 0}, {0, 0}, {0xAA, 0xAA}, {0xBB, 0xBB}};
    u32 nCount = 0;
    keyval_str2st(text, records, &nCount, 2);
    EXPECT_EQ(2u, nCount);
    EXPECT_EQ(1u, records[0].key);
    EXPECT_EQ(2u, records[1].key);
    EXPECT_EQ(0xAAu, records[2].key);
    EXPECT_EQ(0xBBu, records[3].key);

    keyval_str2st(text, records, &nCount, 0);
    EXPECT_EQ(0u, nCount);
}

TEST(KeyValTextTest, CountMatchesTheUnboundedParse) {
    for (const char* text :
         {"", "(1,2)", "(1,2)(3,x)", ")(7,8)", "(5,6", "((1,2)", "(1,2)((3,4))", "()()()"}) {
        parse(text);
    }
}

TEST(KeyValTextTest, RecordsAreWrittenSigned) {
    KeyVal records[3] = {{2368, 1}, {2369, 0xFFFFFFFFu}, {0x80000000u, 0x80000000u}};
    std::string text;
    keyval_st2str(text, records, 3);
    EXPECT_EQ("(2368,1)(2369,-1)(-2147483648,-2147483648)", text);
}

TEST(KeyValTextTest, RecordsAreAppended) {
    KeyVal records[2] = {{34, 60}, {2337, 45}};
    std::string text = "(1,2)";
    keyval_st2str(text, records, 2);
    EXPECT_EQ("(1,2)(34,60)(2337,45)", text);
    keyval_st2str(text, records, 0);
    EXPECT_EQ("(1,2)(34,60)(2337,45)", text);
}

TEST(KeyValTextTest, TextRoundTrip) {
    KeyVal records[3] = {{8000, 2}, {34, 0}, {2384, 3}};
    std::string text;
    keyval_st2str(text, records, 3);
    EXPECT_TRUE(same({{8000, 2}, {34, 0}, {2384, 3}}, parse(text)));
}

TEST(KeyListTest, SplitsTheItemsBetweenTheBrackets) {
    std::vector<std::string> items;
    EXPECT_TRUE(parseSensorParameter("(2368,2369,112)", items));
    EXPECT_EQ((std::vector<std::string>{"2368", "2369", "112"}), items);
}

TEST(KeyListTest, SingleItem) {
    std::vector<std::string> items;
    EXPECT_TRUE(parseSensorParameter("(2368)", items));
    EXPECT_EQ((std::vector<std::string>{"2368"}), items);
    items.clear();
    EXPECT_TRUE(parseSensorParameter("(abc)", items));
    EXPECT_EQ((std::vector<std::string>{"abc"}), items);
}

TEST(KeyListTest, MalformedListsFail) {
    std::vector<std::string> items;
    EXPECT_FALSE(parseSensorParameter("", items));
    EXPECT_FALSE(parseSensorParameter("()", items));
    EXPECT_FALSE(parseSensorParameter("2368)", items));
    EXPECT_FALSE(parseSensorParameter("(2368", items));
    EXPECT_FALSE(parseSensorParameter("(1)(2)", items));
    EXPECT_FALSE(parseSensorParameter(" (1)", items));
    EXPECT_FALSE(parseSensorParameter("(1) ", items));
    EXPECT_TRUE(items.empty());
}

} // namespace
