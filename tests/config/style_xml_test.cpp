// Parsing, printing, loading and saving of style documents, and the nesting
// limit that keeps hostile texts from exhausting the stack.
#include <cstring>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "ConfigTestUtil.h"
#include "config/StyleNesting.h"
#include "config/StyleXml.h"

namespace {

using config_test::ConfigTest;
using tarnix::style::parserNestingDepth;

class StyleXmlTest : public ConfigTest {};

std::string nested(int depth, const std::string& open = "<n>", const std::string& close = "</n>") {
    std::string out;
    for (int i = 0; i < depth; ++i) {
        out += open;
    }
    for (int i = 0; i < depth; ++i) {
        out += close;
    }
    return out;
}

// The text in a heap block of exactly its size, so that any read past the
// terminator is caught by the address sanitizer.
std::unique_ptr<char[]> exactCopy(const std::string& text) {
    std::unique_ptr<char[]> out(new char[text.size() + 1]);
    std::memcpy(out.get(), text.c_str(), text.size() + 1);
    return out;
}

TEST_F(StyleXmlTest, LoadMemParsesAndPrints) {
    TiXmlDocument doc;
    ASSERT_TRUE(LoadMem(doc, "<style><tab key=\"a\"><item id=\"34\" value=\"50\"/></tab></style>", TIXML_ENCODING_UTF8));
    std::string out;
    getXmlString(doc, out);
    EXPECT_EQ("<style>\n    <tab key=\"a\">\n        <item id=\"34\" value=\"50\" />\n    </tab>\n</style>\n", out);
}

TEST_F(StyleXmlTest, PrintingMatchesTheStockPrinter) {
    const std::string text =
        "<?xml version=\"1.0\" encoding=\"UTF-8\" ?><!-- c --><s a=\"&lt;&amp;\"><t>x y</t><![CDATA[<z>]]></s>";
    TiXmlDocument mine;
    ASSERT_TRUE(LoadMem(mine, text.c_str(), TIXML_ENCODING_UTF8));
    TiXmlDocument stock;
    stock.Parse(text.c_str(), nullptr, TIXML_ENCODING_UTF8);
    TiXmlPrinter printer;
    stock.Accept(&printer);
    std::string out;
    getXmlString(mine, out);
    EXPECT_EQ(printer.Str(), out);
}

TEST_F(StyleXmlTest, LoadMemFailures) {
    TiXmlDocument doc;
    EXPECT_FALSE(LoadMem(doc, "", TIXML_ENCODING_UTF8));
    EXPECT_FALSE(LoadMem(doc, nullptr, TIXML_ENCODING_UTF8));
    EXPECT_FALSE(LoadMem(doc, "<a><b></a>", TIXML_ENCODING_UTF8));
    EXPECT_FALSE(LoadMem(doc, "<a x=\"1\" x=\"2\"/>", TIXML_ENCODING_UTF8));
}

TEST_F(StyleXmlTest, LoadMemReplacesThePreviousContent) {
    TiXmlDocument doc;
    ASSERT_TRUE(LoadMem(doc, "<a/>", TIXML_ENCODING_UTF8));
    ASSERT_TRUE(LoadMem(doc, "<b/>", TIXML_ENCODING_UTF8));
    EXPECT_STREQ("b", doc.RootElement()->Value());
    EXPECT_EQ(nullptr, doc.RootElement()->NextSiblingElement());
    EXPECT_FALSE(LoadMem(doc, nested(300).c_str(), TIXML_ENCODING_UTF8));
    EXPECT_EQ(nullptr, doc.RootElement());
    EXPECT_TRUE(doc.Error());
}

TEST_F(StyleXmlTest, NestingUpToTheLimitIsAccepted) {
    TiXmlDocument doc;
    ASSERT_TRUE(LoadMem(doc, nested(STYLE_MAX_DEPTH).c_str(), TIXML_ENCODING_UTF8));
    EXPECT_EQ(STYLE_MAX_DEPTH, config_test::treeDepth(&doc));
    EXPECT_FALSE(LoadMem(doc, nested(STYLE_MAX_DEPTH + 1).c_str(), TIXML_ENCODING_UTF8));
}

TEST_F(StyleXmlTest, VeryDeepTextsAreRefusedQuickly) {
    TiXmlDocument doc;
    std::string deep;
    for (int i = 0; i < 500000; ++i) {
        deep += "<n a=\"1\">";
    }
    EXPECT_FALSE(LoadMem(doc, deep.c_str(), TIXML_ENCODING_UTF8));
    EXPECT_EQ(nullptr, doc.RootElement());
}

TEST_F(StyleXmlTest, WideDocumentsAreFine) {
    std::string wide = "<s>";
    for (int i = 0; i < 20000; ++i) {
        wide += "<i id=\"" + std::to_string(i) + "\"/>";
    }
    wide += "</s>";
    TiXmlDocument doc;
    ASSERT_TRUE(LoadMem(doc, wide.c_str(), TIXML_ENCODING_UTF8));
    EXPECT_EQ(2, config_test::treeDepth(&doc));
}

TEST_F(StyleXmlTest, LongTextsAndAttributesAreFine) {
    std::string value(1 << 20, 'v');
    std::string text = "<s a=\"" + value + "\">" + std::string(1 << 20, 't') + "</s>";
    TiXmlDocument doc;
    ASSERT_TRUE(LoadMem(doc, text.c_str(), TIXML_ENCODING_UTF8));
    EXPECT_EQ(value.size(), std::strlen(doc.RootElement()->Attribute("a")));
}

TEST_F(StyleXmlTest, CutUtf8SequenceAtTheEndStaysInBounds) {
    for (const char* text : {"<a>\xF0", "<a x='\xF0", "<a>\xE2\x82", "<a>&#x", "<a>&#", "\xEF\xBB", "<a>\xC3",
                             "<?xml version='\xF0", "<a x=\"&#x41;\xF4"}) {
        std::unique_ptr<char[]> copy = exactCopy(text);
        std::string padded(text);
        padded.append(16, '\0');
        TiXmlDocument stock;
        stock.Parse(padded.c_str(), nullptr, TIXML_ENCODING_UTF8);
        TiXmlDocument doc;
        EXPECT_EQ(!stock.Error(), LoadMem(doc, copy.get(), TIXML_ENCODING_UTF8)) << text;
        EXPECT_EQ(config_test::treeDepth(&stock), parserNestingDepth(copy.get(), 10)) << text;
    }
}

// Constructs the parser skips over in ways a plain tag counter would get
// wrong; the probe must see exactly the nesting the parser builds.
TEST_F(StyleXmlTest, ProbeFollowsTheParserThroughTrickyConstructs) {
    const std::vector<std::string> texts = {
        "<a>&#x<b><c>x41;</a>",             // numeric entity skipping over tags
        "<a>&#<b><c>#65;</a>",              // decimal entity skipping over tags
        "<a x=\"&#<b>#65;\"><b/></a>",      // the same inside a value
        "<a>\xF0<b>x<b><c></c></b></a>",    // a UTF-8 lead byte swallowing "<b>"
        "<a x=\"\xF0\"<b>\"><b><c/></b></a>", // one swallowing the closing quote
        "<?xml version=\"1>\" ?><a><b/></a>",
        "<?xml foo=\"1>\" ?><a><b/></a>",   // declaration ends at the first '>'
        "<a><?xml version='<b>' ?><b><c/></b></a>",
        "<a><!-- <b><c> --><b/></a>",
        "<a><![CDATA[<b><c>]]><b/></a>",
        "<a><!DOCTYPE <b> ><b/></a>",
        "<a><? <b> ?><b/></a>",
        "<a></ab></a>",
        "<a x=b/><b><c/></b>",
        "<a x=b><b/></a>",
        "<a/>junk<b><c/></b>",
        "<\xEF\xBB\xBF""a><b/></a>",
        "<_a><b.c-d:e/></_a>",
        "<\xC3\xA9><\xC3\xA9/></\xC3\xA9>",
        "<a >< b/></a>",
        "<a></a >",
        "<a><b></b ></a>",
        "<a x='\"'><b x=\"'\"/></a>",
        "<a><b>&amp;&lt;&gt;&quot;&apos;</b></a>",
        "\xEF\xBB\xBF<a><b/></a>",
        "<a><!--unterminated <b><c>",
        "<a><![CDATA[unterminated <b>",
        "<a><b x=\"unterminated><c><d>",
        "<a><b><c><d x='1' x='2'><e/></d></c></b></a>",
        "<A><B/></A><c><d><e/></d></c>",
    };
    for (const std::string& text : texts) {
        std::vector<char> padded(text.begin(), text.end());
        padded.resize(text.size() + 16, '\0');
        TiXmlDocument stock;
        stock.Parse(padded.data(), nullptr, TIXML_ENCODING_UTF8);
        EXPECT_EQ(config_test::treeDepth(&stock), parserNestingDepth(text.c_str(), 1000)) << text;
    }
}

// Random texts from pieces of markup, well formed or not: the probe agrees
// with the depth of the tree the parser leaves, including the partial tree
// it leaves when it gives up.
TEST_F(StyleXmlTest, ProbeAgreesWithTheParserOnRandomTexts) {
    const std::vector<std::string> pieces = {
        "<a>", "<a>", "<b x=\"1\">", "<b x='2'>", "<c y=v>", "</a>", "</b>", "</c>", "</a >", "<d/>", "<d />",
        "<e z=\"1\"/>", "text", " ", "\n", "&amp;", "&#x41;", "&#65;", "&#x", "x41;", "&#", "#66;", "&", ";",
        "\xF0", "\xE2\x82", "\xC3", "\xC3\xA9", "\xEF\xBB\xBF", "<!-- ", " -->", "<![CDATA[", "]]>",
        "<?xml version=\"", "<?xml foo=\"", "?>", "<!DOCTYPE ", ">", "/>", "/", "<", "\"", "'", "=", "x", "<!",
        "</", "<?", "<_u>", "</_u>", "<\xC3\xA9>", "</\xC3\xA9>", "<a x=\"1\" x=\"2\">", "<f ",
    };
    std::mt19937 random(20240607u);
    std::uniform_int_distribution<size_t> pick(0, pieces.size() - 1);
    std::uniform_int_distribution<int> length(1, 300);
    for (int round = 0; round < 4000; ++round) {
        std::string text;
        int count = length(random);
        for (int i = 0; i < count; ++i) {
            text += pieces[pick(random)];
        }
        std::vector<char> padded(text.begin(), text.end());
        padded.resize(text.size() + 16, '\0');
        TiXmlDocument stock;
        stock.Parse(padded.data(), nullptr, TIXML_ENCODING_UTF8);
        int depth = config_test::treeDepth(&stock);
        ASSERT_EQ(depth, parserNestingDepth(text.c_str(), 1000)) << "round " << round << ": " << text;
        // With a limit, anything deeper counts as one past it.
        int limit = 20;
        ASSERT_EQ(depth > limit ? limit + 1 : depth, parserNestingDepth(text.c_str(), limit)) << text;
        // LoadMem accepts exactly what the stock parser accepts below the limit.
        TiXmlDocument mine;
        bool loaded = LoadMem(mine, text.c_str(), TIXML_ENCODING_UTF8);
        if (depth <= STYLE_MAX_DEPTH) {
            ASSERT_EQ(!stock.Error(), loaded) << text;
        } else {
            ASSERT_FALSE(loaded) << text;
        }
        if (!loaded) {
            ASSERT_EQ(nullptr, mine.FirstChild()); // a failed parse leaves nothing behind
        }
    }
}

TEST_F(StyleXmlTest, ProbeOnNull) { EXPECT_EQ(0, parserNestingDepth(nullptr, 10)); }

TEST_F(StyleXmlTest, SaveAndLoadGoThroughTheDeviceRoot) {
    TiXmlDocument doc;
    ASSERT_TRUE(LoadMem(doc, "<s><t key=\"a\"/></s>", TIXML_ENCODING_UTF8));
    makeDir("/tmp");
    ASSERT_TRUE(saveXmlFile(doc, "/tmp/style_copy.xml"));
    EXPECT_EQ("<s>\n    <t key=\"a\" />\n</s>\n", readFile("/tmp/style_copy.xml"));
    TiXmlDocument back;
    ASSERT_TRUE(loadXmlFile(back, "/tmp/style_copy.xml"));
    EXPECT_STREQ("a", back.RootElement()->FirstChildElement()->Attribute("key"));
}

TEST_F(StyleXmlTest, LoadAndSaveFailures) {
    TiXmlDocument doc;
    EXPECT_FALSE(loadXmlFile(doc, "/tmp/none.xml"));
    EXPECT_FALSE(loadXmlFile(doc, nullptr));
    writeFile("/tmp/bad.xml", "<s><t></s>");
    EXPECT_FALSE(loadXmlFile(doc, "/tmp/bad.xml"));
    writeFile("/tmp/deep.xml", nested(STYLE_MAX_DEPTH + 1));
    EXPECT_FALSE(loadXmlFile(doc, "/tmp/deep.xml"));
    EXPECT_FALSE(saveXmlFile(doc, "/no/such/dir/x.xml"));
    EXPECT_FALSE(saveXmlFile(doc, nullptr));
}

} // namespace
