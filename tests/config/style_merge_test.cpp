// Style merge: selectors, the three tab operations, detail fields, the saved
// merge file, and the element searches shared by the style readers.
#include <cstdlib>
#include <cstring>
#include <string>

#include "ConfigTestUtil.h"
#include "config/StyleXml.h"

namespace {

using config_test::ConfigTest;
using config_test::tabKeys;

const char* const kBaseStyle =
    "<style>"
    "<tab key=\"image\"><item id=\"34\" value=\"50\"/></tab>"
    "<tab key=\"exposure\"><item id=\"49\" value=\"5\"/></tab>"
    "<tab key=\"wb\"><item id=\"64\" value=\"0\"/></tab>"
    "</style>";

class MergeTest : public ConfigTest {
protected:
    void TearDown() override {
        std::free(m_szStyle);
        ConfigTest::TearDown();
    }

    // Merges kBaseStyle (or the given style) with a diversity text for a
    // detail text; the merged style's tab keys.
    std::vector<std::string> merge(const std::string& detail, const std::string& diversity,
                                   const std::string& style = kBaseStyle, int channel = 1) {
        std::free(m_szStyle);
        m_szStyle = config_test::heapText(style);
        ModuleConfig module;
        std::memset(&module, 0, sizeof(module));
        std::snprintf(module.szDetail, sizeof(module.szDetail), "%s", detail.c_str());
        std::vector<char> div(diversity.begin(), diversity.end());
        div.push_back('\0');
        EXPECT_EQ(0, mergeStyle(channel, &module, &m_szStyle, div.data()));
        m_doc.Clear();
        return tabKeys(config_test::parse(m_doc, m_szStyle));
    }

    char* m_szStyle = nullptr;
    TiXmlDocument m_doc;
};

const std::vector<std::string> kUnchanged = {"image", "exposure", "wb"};

std::string addAfterImage(const std::string& selectorAttrs) {
    return "<sel " + selectorAttrs + "><AddAfter tab_key=\"image\"><tab key=\"extra\"/></AddAfter></sel>";
}

TEST_F(MergeTest, SelectorListMatchesOnFiveCharacters) {
    const std::string div = addAfterImage("sensor=\"imx291,imx327\"");
    const std::vector<std::string> added = {"image", "extra", "exposure", "wb"};
    EXPECT_EQ(added, merge("(sensor=imx327)", div));
    EXPECT_EQ(added, merge("(sensor=imx291)", div));
    // Five characters are compared on purpose: imx32 agrees with imx327.
    EXPECT_EQ(added, merge("(sensor=imx32)", div));
    EXPECT_EQ(added, merge("(sensor=imx29999)", div));
    EXPECT_EQ(kUnchanged, merge("(sensor=imx219)", div));
    EXPECT_EQ(kUnchanged, merge("(sensor=ov2)", div));
}

TEST_F(MergeTest, FamilyEntryCoversSeveralSensors) {
    const std::string div = addAfterImage("sensor=\"imx33\"");
    const std::vector<std::string> added = {"image", "extra", "exposure", "wb"};
    EXPECT_EQ(added, merge("(sensor=imx334)", div));
    EXPECT_EQ(added, merge("(sensor=imx335)", div));
}

TEST_F(MergeTest, WholeAttributeValueIsComparedWhenNoPieceAgrees) {
    // The split drops the trailing empty piece; the whole value still agrees.
    const std::string div = addAfterImage("sensor=\"abc,\"");
    EXPECT_EQ((std::vector<std::string>{"image", "extra", "exposure", "wb"}), merge("(sensor=abc,)", div));
}

TEST_F(MergeTest, EitherOfTwoAttributesSelects) {
    const std::string div = addAfterImage("sensor=\"imx291\" lens=\"L2812\"");
    const std::vector<std::string> added = {"image", "extra", "exposure", "wb"};
    EXPECT_EQ(added, merge("(sensor=imx291)(lens=L0400)", div));
    EXPECT_EQ(added, merge("(sensor=ov5640)(lens=L2812)", div));
    EXPECT_EQ(added, merge("(lens=L2812)", div));
    EXPECT_EQ(kUnchanged, merge("(sensor=ov5640)(lens=L0400)", div));
}

TEST_F(MergeTest, SelectorFieldAbsentFromDetailChangesNothingSilently) {
    EXPECT_EQ(kUnchanged, merge("(lens=L2812)", addAfterImage("sensor=\"imx291\"")));
    EXPECT_EQ("", errorLog());
}

TEST_F(MergeTest, ModifyReplacesTheTabInPlace) {
    const std::string div =
        "<sel sensor=\"imx291\"><Modify tab_key=\"exposure\"><tab key=\"exposure2\"><item id=\"49\" value=\"8\"/>"
        "</tab></Modify></sel>";
    EXPECT_EQ((std::vector<std::string>{"image", "exposure2", "wb"}), merge("(sensor=imx291)", div));
    EXPECT_EQ("8", config_test::valueOf(m_doc.RootElement(), 49));
}

TEST_F(MergeTest, AddAfterWithDuplicateKeyAddsAfterTheFirstOnly) {
    const std::string style = "<style><tab key=\"a\"/><tab key=\"dup\"/><tab key=\"b\"/><tab key=\"dup\"/></style>";
    const std::string div = "<sel sensor=\"imx291\"><AddAfter tab_key=\"dup\"><tab key=\"new\"/></AddAfter></sel>";
    EXPECT_EQ((std::vector<std::string>{"a", "dup", "new", "b", "dup"}), merge("(sensor=imx291)", div, style));
}

TEST_F(MergeTest, DeleteRemovesTheFirstTabWithTheKey) {
    const std::string div = "<sel sensor=\"imx291\"><Delete tab_key=\"image\"/></sel>";
    EXPECT_EQ((std::vector<std::string>{"exposure", "wb"}), merge("(sensor=imx291)", div));
}

TEST_F(MergeTest, OperationsApplyInOrderAcrossSelectors) {
    const std::string div =
        "<sel sensor=\"imx291\">"
        "<Delete tab_key=\"wb\"/>"
        "<AddAfter tab_key=\"image\"><tab key=\"lens\"/></AddAfter>"
        "</sel>"
        "<other board=\"B1\"><AddAfter tab_key=\"lens\"><tab key=\"ir\"/></AddAfter></other>"
        "<skipped board=\"B9\"><Delete tab_key=\"image\"/></skipped>";
    EXPECT_EQ((std::vector<std::string>{"image", "lens", "ir", "exposure"}),
              merge("(sensor=imx291)(board=B1)", div));
}

TEST_F(MergeTest, UnknownTabKeyOrOperationChangesNothingSilently) {
    const std::string div =
        "<sel sensor=\"imx291\">"
        "<Modify tab_key=\"nosuch\"><tab key=\"x\"/></Modify>"
        "<Rename tab_key=\"image\"><tab key=\"x\"/></Rename>"
        "</sel>";
    EXPECT_EQ(kUnchanged, merge("(sensor=imx291)", div));
    EXPECT_EQ("", errorLog());
}

TEST_F(MergeTest, OperationWithoutTabElementIsSkipped) {
    const std::string div =
        "<sel sensor=\"imx291\"><Modify tab_key=\"image\"/><AddAfter tab_key=\"wb\"/></sel>";
    EXPECT_EQ(kUnchanged, merge("(sensor=imx291)", div));
}

TEST_F(MergeTest, TabsWithoutKeyArePassedOver) {
    const std::string style = "<style><tab/><tab key=\"a\"/></style>";
    const std::string div = "<sel sensor=\"imx291\"><Delete tab_key=\"a\"/></sel>";
    EXPECT_EQ((std::vector<std::string>{"<none>"}), merge("(sensor=imx291)", div, style));
}

TEST_F(MergeTest, EmptyMatchingSelectorReportsLine189) {
    EXPECT_EQ(kUnchanged, merge("(sensor=imx291)", "<sel sensor=\"imx291\"/>"));
    std::string log = errorLog();
    EXPECT_NE(std::string::npos, log.find("file:SensorKeyVal.cpp fun:mergeStyle line:189"));
    EXPECT_NE(std::string::npos,
              log.find("NULL != (node_second = node_first->FirstChildElement())   ~~~Assertion failed."));
    // A selector that does not match is skipped without a report.
    removeFile("/mnt/mtd/log/SensorError.log");
    EXPECT_EQ(kUnchanged, merge("(sensor=imx219)", "<sel sensor=\"imx291\"/>"));
    EXPECT_EQ("", errorLog());
}

TEST_F(MergeTest, StyleWithoutTabsReportsLine112) {
    const std::string div = "<sel sensor=\"imx291\"><Delete tab_key=\"image\"/></sel>";
    merge("(sensor=imx291)", div, "<style/>");
    std::string log = errorLog();
    EXPECT_NE(std::string::npos, log.find("fun:updateStyleTab line:112"));
    EXPECT_NE(std::string::npos, log.find("NULL != (tab_node = doc_style->RootElement()->FirstChildElement())"));
}

TEST_F(MergeTest, UnparsableStyleReportsAndLeavesAnEmptyStyle) {
    const std::string div = "<sel sensor=\"imx291\"><Delete tab_key=\"image\"/></sel>";
    EXPECT_TRUE(merge("(sensor=imx291)", div, "<style><tab key=\"a\"></style>").empty());
    std::string log = errorLog();
    EXPECT_NE(std::string::npos, log.find("fun:mergeStyle line:146"));
    EXPECT_NE(std::string::npos, log.find("doc_style.LoadMem(*ui_style, TIXML_ENCODING_UTF8)   ~~~Assertion failed."));
    EXPECT_NE(std::string::npos, log.find("line:112"));
    // The empty document is saved and read back: nothing to read.
    EXPECT_NE(std::string::npos, log.find("fun:mergeStyle line:216"));
    EXPECT_NE(std::string::npos, log.find("loadFromFile(filename, *ui_style, file_len) > 0"));
    ASSERT_NE(nullptr, m_szStyle);
    EXPECT_STREQ("", m_szStyle);
}

TEST_F(MergeTest, UnparsableDiversityReportsAndKeepsTheStyle) {
    EXPECT_EQ(kUnchanged, merge("(sensor=imx291)", "<sel sensor=\"imx291\"><Delete tab_key=\"image\"/>"));
    std::string log = errorLog();
    EXPECT_NE(std::string::npos,
              log.find("doc_style_div.LoadMem(ui_styleDiversity, TIXML_ENCODING_UTF8)   ~~~Assertion failed."));
    EXPECT_NE(std::string::npos, log.find("fun:mergeStyle line:147"));
    EXPECT_NE(std::string::npos, log.find("fun:mergeStyle line:149"));
    EXPECT_NE(std::string::npos, log.find("NULL != (node_first = doc_style_div.RootElement())"));
}

TEST_F(MergeTest, EmptyDiversityTextReportsMissingRoot) {
    EXPECT_EQ(kUnchanged, merge("(sensor=imx291)", ""));
    std::string log = errorLog();
    EXPECT_NE(std::string::npos, log.find("line:147"));
    EXPECT_NE(std::string::npos, log.find("line:149"));
    EXPECT_EQ(std::string::npos, log.find("line:189"));
}

TEST_F(MergeTest, NullTextsTakeTheReportPath) {
    ModuleConfig module;
    std::memset(&module, 0, sizeof(module));
    char* style = nullptr;
    EXPECT_EQ(0, mergeStyle(1, &module, &style, nullptr));
    ASSERT_NE(nullptr, style);
    EXPECT_STREQ("", style);
    std::free(style);
    EXPECT_NE(std::string::npos, errorLog().find("line:146"));
}

TEST_F(MergeTest, MergedStyleIsSavedPerChannelAndBecomesTheStyleText) {
    merge("(sensor=imx291)", addAfterImage("sensor=\"imx291\""), kBaseStyle, 3);
    ASSERT_TRUE(fileExists("/tmp/merge_style_ch3.xml"));
    EXPECT_EQ(readFile("/tmp/merge_style_ch3.xml"), std::string(m_szStyle));
    EXPECT_FALSE(fileExists("/tmp/merge_style_ch1.xml"));
    // The file is rewritten at each run.
    merge("(sensor=imx291)", "<sel sensor=\"imx291\"><Delete tab_key=\"image\"/></sel>", kBaseStyle, 3);
    EXPECT_EQ(std::string::npos, readFile("/tmp/merge_style_ch3.xml").find("key=\"image\""));
}

TEST_F(MergeTest, MergeFileThatCannotBeWrittenReportsTheReadBack) {
    writeFile("/tmp", "a file where the directory should be");
    EXPECT_TRUE(merge("(sensor=imx291)", addAfterImage("sensor=\"imx291\"")).empty());
    std::string log = errorLog();
    EXPECT_NE(std::string::npos, log.find("fun:mergeStyle line:216"));
    EXPECT_STREQ("", m_szStyle);
}

TEST_F(MergeTest, DebugLinesShowEachAttributeTried) {
    setDebugMarker("6");
    captureStdout();
    merge("(sensor=imx327)(lens=L1)", "<sel lens=\"L2\" sensor=\"imx291,imx327\"><Delete tab_key=\"wb\"/></sel>");
    std::string out = capturedStdout();
    EXPECT_NE(std::string::npos, out.find("[sensor dbg] file:SensorKeyVal.cpp fun:mergeStyle line:"));
    EXPECT_NE(std::string::npos, out.find("modi_attr->Name()(lens), modi_attr->Value()(L2)\n"));
    EXPECT_NE(std::string::npos, out.find("modi_attr->Name()(lens), modi_attr->Value()(L2) nVal(L1)\n"));
    // The matching attribute: tried, matched, and framing the one operation.
    EXPECT_EQ(4u, tarnix_test::countOccurrences(out, "modi_attr->Name()(sensor), modi_attr->Value()(imx291,imx327)\n"));
    EXPECT_EQ(std::string::npos, out.find("[sensor info]"));
}

TEST_F(MergeTest, InfoTraceShowsTheMergedStyle) {
    setDebugMarker("7");
    captureStdout();
    merge("(sensor=imx291)", addAfterImage("sensor=\"imx291\""));
    std::string out = capturedStdout();
    size_t pos = out.find("[sensor info] file:SensorKeyVal.cpp fun:mergeStyle line:");
    ASSERT_NE(std::string::npos, pos);
    EXPECT_NE(std::string::npos, out.find("<tab key=\"extra\" />", pos));
    EXPECT_NE(std::string::npos, out.find("\033[0m\033[35m"));
}

TEST_F(MergeTest, LongDetailValuesAreCutToNineCharacters) {
    const std::string div = addAfterImage("sensor=\"imx29\"");
    std::string longValue = "(sensor=imx291" + std::string(300, 'z') + ")";
    EXPECT_EQ((std::vector<std::string>{"image", "extra", "exposure", "wb"}), merge(longValue, div));
}

TEST_F(MergeTest, ManySelectorsAndAttributes) {
    std::string div;
    for (int i = 0; i < 300; ++i) {
        div += "<sel a" + std::to_string(i) + "=\"v\" b=\"" + std::string(200, 'x') + "\"/>";
    }
    div += addAfterImage("sensor=\"imx291\"");
    EXPECT_EQ((std::vector<std::string>{"image", "extra", "exposure", "wb"}), merge("(sensor=imx291)", div));
}

TEST_F(MergeTest, DeeplyNestedDiversityIsRefused) {
    std::string div = "<sel sensor=\"imx291\"><Delete tab_key=\"image\"/>";
    for (int i = 0; i < 100000; ++i) {
        div += "<n>";
    }
    EXPECT_EQ(kUnchanged, merge("(sensor=imx291)", div));
    EXPECT_NE(std::string::npos, errorLog().find("line:147"));
}

// ---- detail fields ----

class DetailFieldTest : public ConfigTest {};

TEST_F(DetailFieldTest, ValueRunsFromEqualsToClosingParenthesis) {
    char value[10];
    std::memset(value, 0, sizeof(value));
    EXPECT_EQ(0, getDetailFieldToStr("(a=1)(sensor=imx291)(b=2)", "sensor", value));
    EXPECT_STREQ("imx291", value);
    u32 number = 99;
    EXPECT_EQ(0, getDetailFieldTou32("(a=1)(max_scheme=3)", "max_scheme", &number));
    EXPECT_EQ(3u, number);
}

TEST_F(DetailFieldTest, MissingFieldEqualsOrParenthesis) {
    char value[10];
    std::memset(value, 0, sizeof(value));
    EXPECT_EQ(-1, getDetailFieldToStr("(a=1)", "sensor", value));
    EXPECT_EQ(-1, getDetailFieldToStr("(sensor)", "sensor", value));
    EXPECT_EQ(-1, getDetailFieldToStr("(sensor=imx", "sensor", value));
    EXPECT_STREQ("", value);
    u32 number = 99;
    EXPECT_EQ(-1, getDetailFieldTou32("", "max_scheme", &number));
    EXPECT_EQ(99u, number);
    EXPECT_EQ(-1, getDetailFieldToStr(nullptr, "x", value));
}

TEST_F(DetailFieldTest, NameIsAPlainSubstring) {
    u32 number = 0;
    EXPECT_EQ(0, getDetailFieldTou32("(max_scheme=6)", "scheme", &number));
    EXPECT_EQ(6u, number);
    // The value starts at the first "=" after the name, wherever it is.
    char value[10];
    std::memset(value, 0, sizeof(value));
    EXPECT_EQ(0, getDetailFieldToStr("(sensor)(lens=L2)", "sensor", value));
    EXPECT_STREQ("L2", value);
}

TEST_F(DetailFieldTest, StringValueIsCopiedWithoutTerminator) {
    char value[10];
    std::memset(value, '#', sizeof(value));
    EXPECT_EQ(0, getDetailFieldToStr("(s=abc)", "s", value));
    EXPECT_EQ(0, std::memcmp(value, "abc#", 4));
}

// The exported three-argument form copies the whole value, without a
// terminator, into the caller's buffer.
TEST_F(DetailFieldTest, ThreeArgumentFormCopiesTheWholeValue) {
    char value[24];
    std::memset(value, '#', sizeof(value));
    EXPECT_EQ(0, getDetailFieldToStr("(a=1)(s=0123456789abcdef)(b=2)", "s", value));
    EXPECT_EQ(0, std::memcmp(value, "0123456789abcdef########", sizeof(value)));
    std::memset(value, 0, sizeof(value));
    EXPECT_EQ(0, getDetailFieldToStr("(sensor=imx291-long-name)", "sensor", value));
    EXPECT_STREQ("imx291-long-name", value);
}

// The bounded form of the library's own readers keeps a zeroed buffer
// terminated.
TEST_F(DetailFieldTest, BoundedFormCutsLongValuesToTheBuffer) {
    char value[16];
    std::memset(value, '#', sizeof(value));
    EXPECT_EQ(0, getDetailFieldToStr("(s=0123456789abcdef)", "s", value, 10));
    EXPECT_EQ(0, std::memcmp(value, "012345678##", 11));
    std::memset(value, '#', sizeof(value));
    EXPECT_EQ(0, getDetailFieldToStr("(s=0123456789abcdef)", "s", value, 4));
    EXPECT_EQ(0, std::memcmp(value, "012####", 7));
    u32 number = 0;
    EXPECT_EQ(0, getDetailFieldTou32("(n=12345678901234)", "n", &number));
    EXPECT_EQ(123456789u, number);
    EXPECT_EQ(0, getDetailFieldTou32("(n=abc)", "n", &number));
    EXPECT_EQ(0u, number);
}

// ---- searches ----

class StyleSearchTest : public ConfigTest {};

const char* const kSearchStyle =
    "<style>"
    "<tab key=\"a\">"
    "<item id=\"5\" value=\"1\"><item id=\"5\" value=\"99\"/><item id=\"6\" value=\"60\"/></item>"
    "<item id=\"7\"/>"
    "</tab>"
    "<tab key=\"b\"><item id=\"5\" value=\"2\"/><item id=\"112\" enable_list=\"112\"/>"
    "<item id=\"128\" enable_list=\"128\"/><item id=\"9\" enable_list=\"112\"/></tab>"
    "</style>";

TEST_F(StyleSearchTest, LastMatchWinsAndMatchedSubtreesAreNotEntered) {
    TiXmlDocument doc;
    TiXmlElement* root = config_test::parse(doc, kSearchStyle);
    TiXmlElement* found = nullptr;
    EXPECT_EQ(0, getNodebyCmdId(root, 5, found));
    ASSERT_NE(nullptr, found);
    EXPECT_STREQ("2", found->Attribute("value"));
    int value = -1;
    EXPECT_EQ(0, getDnaValbyCmdId(root, 5, value));
    EXPECT_EQ(2, value);
    // Item 6 sits inside a matched item 5 only for searches of 5.
    EXPECT_EQ(0, getDnaValbyCmdId(root, 6, value));
    EXPECT_EQ(60, value);
}

TEST_F(StyleSearchTest, NotFoundOrNoValueLeavesTheOutputAlone) {
    TiXmlDocument doc;
    TiXmlElement* root = config_test::parse(doc, kSearchStyle);
    TiXmlElement* found = nullptr;
    EXPECT_EQ(0, getNodebyCmdId(root, 404, found));
    EXPECT_EQ(nullptr, found);
    int value = 17;
    EXPECT_EQ(0, getDnaValbyCmdId(root, 7, value));
    EXPECT_EQ(17, value);
    EXPECT_EQ(0, getDnaValbyCmdId(root, 404, value));
    EXPECT_EQ(17, value);
    EXPECT_EQ(0, getDnaValbyCmdId(nullptr, 5, value));
    EXPECT_EQ(0, getNodebyCmdId(nullptr, 5, found));
    EXPECT_EQ(17, value);
}

TEST_F(StyleSearchTest, DeleteNode) {
    TiXmlDocument doc;
    TiXmlElement* root = config_test::parse(doc, kSearchStyle);
    EXPECT_EQ(-1, DeleteNode(nullptr, root));
    EXPECT_EQ(-1, DeleteNode(root, nullptr));
    TiXmlElement* found = config_test::findId(root, 6);
    ASSERT_NE(nullptr, found);
    EXPECT_EQ(0, DeleteNode(root, found));
    EXPECT_EQ(nullptr, config_test::findId(root, 6));
    // The root's parent is the document, not an element: nothing happens.
    EXPECT_EQ(0, DeleteNode(root, root));
    EXPECT_EQ(root, doc.RootElement());
}

TEST_F(StyleSearchTest, ModifySwapsTheListLayouts) {
    TiXmlDocument doc;
    TiXmlElement* root = config_test::parse(doc, kSearchStyle);
    EXPECT_EQ(0, ModifyNodebyCmdId(root, 112));
    EXPECT_STREQ("128", config_test::findId(root, 112)->Attribute("enable_list"));
    EXPECT_EQ(0, ModifyNodebyCmdId(root, 128));
    EXPECT_STREQ("112", config_test::findId(root, 128)->Attribute("enable_list"));
    EXPECT_EQ(0, ModifyNodebyCmdId(root, 9));
    EXPECT_STREQ("112", config_test::findId(root, 9)->Attribute("enable_list"));
}

} // namespace
