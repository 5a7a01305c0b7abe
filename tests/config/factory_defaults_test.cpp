// Factory values read out of the narrowed style.
#include <memory>
#include <string>
#include <vector>

#include "ConfigTestUtil.h"
#include "config/DnaStyle.h"
#include "config/FactoryDefaults.h"

namespace {

using config_test::ConfigTest;

std::string item(int id, int value, const std::string& children = "") {
    return "<item id=\"" + std::to_string(id) + "\" value=\"" + std::to_string(value) + "\">" + children + "</item>";
}

std::string style(const std::string& items) { return "<style><tab key=\"t\">" + items + "</tab></style>"; }

std::vector<std::pair<u32, u32>> pairs(const KeyVal* records, u32 count) {
    std::vector<std::pair<u32, u32>> out;
    for (u32 i = 0; i < count; ++i) {
        out.emplace_back(records[i].key, records[i].value);
    }
    return out;
}

std::vector<std::pair<u32, u32>> pairs(const std::vector<KeyVal>& records) {
    return pairs(records.data(), static_cast<u32>(records.size()));
}

class FactoryTest : public ConfigTest {
protected:
    // The exported 6-argument form into a caller's array of 400 records.
    std::vector<std::pair<u32, u32>> factory(const std::string& text, bool wdr = true, bool ldc = true) {
        std::unique_ptr<KeyVal[]> records(new KeyVal[400]);
        std::vector<char> buffer(text.begin(), text.end());
        buffer.push_back('\0');
        m_nCount = 12345;
        EXPECT_EQ(0, getFctData(1, buffer.data(), records.get(), &m_nCount, wdr, ldc));
        return pairs(records.get(), m_nCount);
    }

    u32 m_nCount = 0;
};

using Pairs = std::vector<std::pair<u32, u32>>;

TEST_F(FactoryTest, ItemsInDocumentOrderWithNarrowedValues) {
    ispsim::setDynamicParam(0, 49, 5, {1, 5, 10});
    ispsim::setDynamicParam(0, 64, 1, {1, 2});
    EXPECT_EQ((Pairs{{34, 50}, {49, 5}, {64, 1}}),
              factory(style(item(34, 50) + item(49, 100) + item(64, 0, "<ci index=\"0\"/><ci index=\"1\"/>"))));
}

TEST_F(FactoryTest, RemovedItemsHaveNoEntry) {
    setshowBeawayFalg(true);
    setshowFisheyeRotateFlag(false);
    const std::string text = style(item(10, 1) + item(11, 1) + item(2048, 1) + item(2064, 1) + item(2368, 1) +
                                   item(2369, 1) + item(2386, 1) + item(34, 50));
    EXPECT_EQ((Pairs{{34, 50}}), factory(text, false, false));
    EXPECT_EQ((Pairs{{2048, 1}, {2064, 1}, {2368, 1}, {2369, 1}, {34, 50}}), factory(text, true, true));
}

TEST_F(FactoryTest, DroppedChoicesAddNothing) {
    ispsim::setDynamicParam(0, 64, 1, {1});
    EXPECT_EQ((Pairs{{64, 1}}),
              factory(style(item(64, 0, "<ci index=\"0\" id=\"900\" value=\"9\"/><ci index=\"1\"/>"))));
}

TEST_F(FactoryTest, ItemWithoutValueAddsNothingButItsChildrenCount) {
    EXPECT_EQ((Pairs{{35, 7}}), factory(style("<item id=\"34\">" + item(35, 7) + "</item>")));
}

TEST_F(FactoryTest, NestedItemsParentBeforeChild) {
    EXPECT_EQ((Pairs{{1, 10}, {2, 20}, {3, 30}, {4, 40}}),
              factory(style(item(1, 10, item(2, 20, item(3, 30))) + item(4, 40))));
}

TEST_F(FactoryTest, DuplicateIdsGiveTwoEntries) {
    EXPECT_EQ((Pairs{{34, 1}, {35, 0}, {34, 2}}), factory(style(item(34, 1) + item(35, 0) + item(34, 2))));
}

TEST_F(FactoryTest, TabsAndRootAddNothing) {
    EXPECT_EQ((Pairs{{34, 1}}),
              factory("<style id=\"1\"><tab key=\"t\" id=\"2\">" + item(34, 1) + "</tab></style>"));
}

TEST_F(FactoryTest, UnparsableStyleGivesAnEmptyList) {
    EXPECT_TRUE(factory("<style><tab>").empty());
    EXPECT_EQ(0u, m_nCount);
    std::string log = errorLog();
    EXPECT_NE(std::string::npos, log.find("fun:getDnaStyle line:452"));
    EXPECT_NE(std::string::npos, log.find("file:SensorKeyVal.cpp fun:getFctData line:589"));
    EXPECT_NE(std::string::npos,
              log.find("objDnaStyleDoc.LoadMem(strDnaStyle.c_str(), TIXML_ENCODING_UTF8)   ~~~Assertion failed."));
}

// The caller's array holds as many entries as the narrowed style has items:
// a 200-item style into a 400-entry array gives all 200, and nothing is
// reported.
TEST_F(FactoryTest, ArrayFormTakesEveryItemOfTheStyle) {
    std::string items;
    for (int i = 0; i < 200; ++i) {
        items += item(1000 + i, i);
    }
    Pairs got = factory(style(items));
    ASSERT_EQ(200u, got.size());
    EXPECT_EQ(200u, m_nCount);
    EXPECT_EQ(std::make_pair(1000u, 0u), got.front());
    EXPECT_EQ(std::make_pair(1199u, 199u), got.back());
    EXPECT_EQ("", errorLog());
}

TEST_F(FactoryTest, Style2KeyValTakesEveryItemAfterTheCount) {
    std::string items;
    for (int i = 0; i < 200; ++i) {
        items += item(1000 + i, i);
    }
    TiXmlDocument doc;
    TiXmlElement* root = config_test::parse(doc, style(items));
    std::unique_ptr<KeyVal[]> records(new KeyVal[400]);
    u32 count = 0;
    EXPECT_EQ(0, style2KeyVal(root, records.get(), &count));
    EXPECT_EQ(200u, count);
    EXPECT_EQ(0, style2KeyVal(root, records.get(), &count));
    EXPECT_EQ(400u, count);
    EXPECT_EQ(1199u, records[399].key);
    EXPECT_EQ(199u, records[399].value);
}

// The three forms share one body; a report still names the form that
// raised it, and an aborting one its own signature.
TEST_F(FactoryTest, EachFormReportsUnderItsOwnName) {
    KeyVal records[4];
    u32 count = 0;
    std::vector<char> bad = {'<', 's', '>', '\0'};
    getFctData(1, bad.data(), records, &count, true, true);
    std::vector<KeyVal> out;
    getFctData(1, "<s>", out, true, true);
    getFctData(1, "<s>", records, &count, 4, true, true);
    std::string log = errorLog();
    size_t first = log.find("file:SensorKeyVal.cpp fun:getFctData line:589");
    ASSERT_NE(std::string::npos, first) << log;
    size_t second = log.find("file:SensorKeyVal.cpp fun:getFctData line:589", first + 1);
    ASSERT_NE(std::string::npos, second) << log;
    EXPECT_NE(std::string::npos, log.find("file:SensorKeyVal.cpp fun:getFctData line:589", second + 1)) << log;

    GTEST_FLAG_SET(death_test_style, "threadsafe");
    setDebugMarker("1", "1");
    const std::string text = style(item(1, 1) + item(2, 2) + item(3, 3) + item(4, 4));
    EXPECT_DEATH(getFctData(1, text.c_str(), records, &count, 3, true, true),
                 "int getFctData\\(int, const char\\*, KeyVal\\*, u32\\*, u32, bool, bool\\): Assertion `bRet' failed");
}

TEST_F(FactoryTest, ArrayFormWithAGivenCapacity) {
    std::unique_ptr<KeyVal[]> records(new KeyVal[3]);
    u32 count = 0;
    const std::string text = style(item(1, 1) + item(2, 2) + item(3, 3) + item(4, 4));
    EXPECT_EQ(0, getFctData(1, text.c_str(), records.get(), &count, 3, true, true));
    EXPECT_EQ((Pairs{{1, 1}, {2, 2}, {3, 3}}), pairs(records.get(), count));
    // A style that fits raises nothing.
    removeFile("/mnt/mtd/log/SensorError.log");
    const std::string fits = style(item(1, 1) + item(2, 2) + item(3, 3));
    EXPECT_EQ(0, getFctData(1, fits.c_str(), records.get(), &count, 3, true, true));
    EXPECT_EQ(3u, count);
    EXPECT_EQ("", errorLog());
}

TEST_F(FactoryTest, VectorFormIsSizedFromTheStyle) {
    std::string items;
    for (int i = 0; i < 500; ++i) {
        items += item(2000 + i, i % 7);
    }
    std::vector<KeyVal> out;
    EXPECT_EQ(0, getFctData(1, style(items).c_str(), out, true, true));
    ASSERT_EQ(500u, out.size());
    EXPECT_EQ(2000u, out[0].key);
    EXPECT_EQ(2499u, out[499].key);
    EXPECT_EQ(499u % 7, out[499].value);
    EXPECT_EQ("", errorLog());
}

TEST_F(FactoryTest, VectorFormMatchesTheArrayForm) {
    ispsim::setDynamicParam(0, 64, 1, {1, 2});
    const std::string text = style(item(34, 50) + item(10, 1) + item(64, 0, "<ci index=\"1\"/>") + item(11, 1));
    std::vector<KeyVal> out;
    EXPECT_EQ(0, getFctData(1, text.c_str(), out, false, true));
    EXPECT_EQ(factory(text, false, true), pairs(out));
    out.assign(5, KeyVal{9, 9});
    EXPECT_EQ(0, getFctData(1, "not xml", out, true, true));
    EXPECT_TRUE(out.empty());
}

// The worked example of docs/style-format.md.
TEST_F(FactoryTest, DocumentedExample) {
    ispsim::setDynamicParam(0, 49, 6, {2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 17, 18, 19, 20, 21, 22});
    ispsim::setDynamicParam(0, 51, 22, {9, 10, 11, 12, 13, 14, 15, 16, 17, 18, 19, 20, 21, 22});
    const std::string text =
        "<style version=\"3.2\" product=\"IPC box\">"
        "<tab key=\"scheme\" name=\"Schemes\">"
        "<item id=\"8000\" value=\"0\" type=\"combo\" name=\"Scheme switching\">"
        "<option index=\"0\" name=\"Off\"/><option index=\"1\" name=\"Time plan\"/>"
        "<option index=\"2\" name=\"Day/night\"/></item>"
        "<item id=\"8001\" value=\"0\"/><item id=\"8002\" value=\"0\"/>"
        "<item id=\"8003\" value=\"24\"/><item id=\"8004\" value=\"0\"/>"
        "</tab>"
        "<tab key=\"exposure\" name=\"Exposure\">"
        "<item id=\"49\" value=\"5\"><option index=\"0\"/><option index=\"5\"/><option index=\"8\"/></item>"
        "<item id=\"51\" value=\"100\"><option index=\"9\"/><option index=\"22\"/></item>"
        "</tab></style>";
    EXPECT_EQ((Pairs{{8000, 0}, {8001, 0}, {8002, 0}, {8003, 24}, {8004, 0}, {49, 5}, {51, 22}}), factory(text));
    std::string narrowed;
    EXPECT_EQ(0, getDnaStyle(1, text.c_str(), narrowed, true, true));
    TiXmlDocument doc;
    TiXmlElement* root = config_test::parse(doc, narrowed);
    EXPECT_EQ((std::vector<std::string>{"5", "8"}), config_test::choicesOf(config_test::findId(root, 49)));
}

TEST_F(FactoryTest, Style2KeyValOnItsOwn) {
    TiXmlDocument doc;
    TiXmlElement* root = config_test::parse(doc, style(item(34, 50) + "<item id=\"x\" value=\"y\"/>"));
    KeyVal records[4];
    u32 count = 0;
    EXPECT_EQ(0, style2KeyVal(nullptr, records, &count));
    EXPECT_EQ(0u, count);
    EXPECT_EQ(0, style2KeyVal(root, records, &count));
    EXPECT_EQ((Pairs{{34, 50}, {0, 0}}), pairs(records, count));
    // Appends after what the count says.
    EXPECT_EQ(0, style2KeyVal(root, records, &count));
    EXPECT_EQ(4u, count);
    // No room: the walk stops with -1.
    EXPECT_EQ(-1, style2KeyVal(root, records, &count, 4));
    EXPECT_EQ(4u, count);
    EXPECT_EQ(-1, style2KeyVal(root, records, nullptr));
}

} // namespace
