// ModuleConfigureParser: the module configuration document and its matching
// rules.
#include <chrono>
#include <string>
#include <vector>

#include "platform/ModuleConfigure.h"
#include "platform/ModuleConfigureParser.h"
#include "support/TestEnv.h"

namespace {

const char* kPath = "/hd1/moduleConfig/moduleConfig.xml";

class ModuleConfigTest : public tarnix_test::TarnixTest {
protected:
    std::vector<ModuleConfigure> parse(const std::string& model, const std::string& code, bool expectOk = true) {
        std::vector<ModuleConfigure> out;
        EXPECT_EQ(ModuleConfigureParser::parse(kPath, model, code, out), expectOk);
        return out;
    }
    std::vector<int> ids(const std::vector<ModuleConfigure>& entries) {
        std::vector<int> out;
        for (const auto& e : entries) {
            out.push_back(e.getModuleId());
        }
        return out;
    }
};

const char* kDocument = R"(<?xml version="1.0" encoding="UTF-8"?>
<!-- module configuration of the camera -->
<moduleConfig>
  <module id="1" hardwareModel="Hi3516AV200" hardwareCode="*">
    <detail>(sensor=imx327)(lens=fixed)(max_scheme=4)(isInfrared=1)</detail>
    <parameters>(lensId=0)</parameters>
  </module>
  <module id="2" hardwareModel="Hi3516AV200" hardwareCode="HC-7">
    <detail>(sensor=imx327)(isInfrared=17)</detail>
    <parameters>(lensId=3)</parameters>
  </module>
  <module id="3" hardwareCode="HC-7">
    <detail>(any model, code HC-7)</detail>
  </module>
  <module id="4">
    <parameters>(lensId=9)</parameters>
  </module>
  <module id="5" hardwareModel="Hi3519" hardwareCode="*">
    <detail>(sensor=os05a)</detail>
  </module>
  <other id="6"/>
</moduleConfig>
)";

TEST_F(ModuleConfigTest, EntriesMatchingModelAndCode) {
    writeFile(kPath, kDocument);
    std::vector<ModuleConfigure> entries = parse("Hi3516AV200", "HC-7");
    ASSERT_EQ(ids(entries), (std::vector<int>{1, 2, 3, 4}));
    EXPECT_EQ(entries[0].getDetail(), "(sensor=imx327)(lens=fixed)(max_scheme=4)(isInfrared=1)");
    EXPECT_EQ(entries[0].getParameters(), "(lensId=0)");
    EXPECT_EQ(entries[1].getDetail(), "(sensor=imx327)(isInfrared=17)");
    EXPECT_EQ(entries[1].getParameters(), "(lensId=3)");
    EXPECT_EQ(entries[2].getDetail(), "(any model, code HC-7)");
    EXPECT_EQ(entries[2].getParameters(), "");
    EXPECT_EQ(entries[3].getDetail(), "");
    EXPECT_EQ(entries[3].getParameters(), "(lensId=9)");
}

TEST_F(ModuleConfigTest, ExampleOfThePortDocumentation) {
    writeFile(kPath, R"(<?xml version="1.0" encoding="UTF-8"?>
<moduleConfig>
  <!-- every camera of this model, any hardware code -->
  <module id="1" hardwareModel="Hi3516AV200" hardwareCode="*">
    <detail>(sensor=imx327)(lens=fixed)(max_scheme=4)(isInfrared=1)</detail>
    <parameters>(lensId=0)</parameters>
  </module>
  <!-- one hardware code only -->
  <module id="2" hardwareModel="Hi3516AV200" hardwareCode="HC-7">
    <detail>(sensor=imx327)(isInfrared=17)</detail>
    <parameters>(lensId=3)</parameters>
  </module>
  <!-- no hardware attributes: every machine -->
  <module id="9">
    <detail>(max_scheme=2)</detail>
  </module>
</moduleConfig>
)");
    EXPECT_EQ(ids(parse("Hi3516AV200", "HC-7")), (std::vector<int>{1, 2, 9}));
    EXPECT_EQ(ids(parse("Hi3516AV200", "HC-1")), (std::vector<int>{1, 9}));
    EXPECT_EQ(ids(parse("Hi3519", "HC-7")), (std::vector<int>{9}));
}

TEST_F(ModuleConfigTest, WildcardAndAbsentAttributesMatchAnything) {
    writeFile(kPath, kDocument);
    EXPECT_EQ(ids(parse("Hi3516AV200", "OTHER")), (std::vector<int>{1, 4}));
    EXPECT_EQ(ids(parse("Hi3519", "HC-7")), (std::vector<int>{3, 4, 5}));
    EXPECT_EQ(ids(parse("", "")), (std::vector<int>{4}));
    // Matching is exact: no case folding, no prefixes.
    EXPECT_EQ(ids(parse("hi3516av200", "HC-7")), (std::vector<int>{3, 4}));
    EXPECT_EQ(ids(parse("Hi3516", "HC")), (std::vector<int>{4}));
}

TEST_F(ModuleConfigTest, ResultReplacesTheVector) {
    writeFile(kPath, kDocument);
    std::vector<ModuleConfigure> out(3);
    ASSERT_TRUE(ModuleConfigureParser::parse(kPath, "Hi3519", "X", out));
    EXPECT_EQ(ids(out), (std::vector<int>{4, 5}));
}

TEST_F(ModuleConfigTest, NoMatchingEntryIsStillSuccess) {
    writeFile(kPath, "<moduleConfig><module id=\"1\" hardwareModel=\"A\"/></moduleConfig>");
    EXPECT_TRUE(parse("B", "C").empty());
    writeFile(kPath, "<moduleConfig/>");
    EXPECT_TRUE(parse("B", "C").empty());
}

TEST_F(ModuleConfigTest, EntitiesAndCdataInTexts) {
    writeFile(kPath,
              "<moduleConfig><module id=\" 12 \" hardwareModel=\"A&amp;B\">"
              "<detail>(a=1)&amp;(b=&lt;2&gt;)</detail>"
              "<parameters><![CDATA[(lensId=4)<raw>]]></parameters>"
              "</module></moduleConfig>");
    std::vector<ModuleConfigure> entries = parse("A&B", "x");
    ASSERT_EQ(entries.size(), 1u);
    EXPECT_EQ(entries[0].getModuleId(), 12);
    EXPECT_EQ(entries[0].getDetail(), "(a=1)&(b=<2>)");
    EXPECT_EQ(entries[0].getParameters(), "(lensId=4)<raw>");
}

TEST_F(ModuleConfigTest, MissingIdIsZeroBadIdIsMalformed) {
    writeFile(kPath, "<moduleConfig><module><detail>d</detail></module></moduleConfig>");
    std::vector<ModuleConfigure> entries = parse("A", "B");
    ASSERT_EQ(entries.size(), 1u);
    EXPECT_EQ(entries[0].getModuleId(), 0);
    writeFile(kPath, "<moduleConfig><module id=\"7x\"/></moduleConfig>");
    parse("A", "B", false);
    writeFile(kPath, "<moduleConfig><module id=\"\"/></moduleConfig>");
    parse("A", "B", false);
}

TEST_F(ModuleConfigTest, MissingFileFails) {
    std::vector<ModuleConfigure> out(1);
    EXPECT_FALSE(ModuleConfigureParser::parse(kPath, "A", "B", out));
    EXPECT_TRUE(out.empty());
}

TEST_F(ModuleConfigTest, MalformedDocumentsFail) {
    const char* bad[] = {
        "",
        "not xml at all",
        "<moduleConfig><module id=\"1\"></moduleConfig>",
        "<moduleConfig><module id=\"1\">",
        "<moduleConfig><module id=1\"></module></moduleConfig>",
        "<otherRoot><module id=\"1\"/></otherRoot>",
        "<!-- only a comment -->",
    };
    for (const char* text : bad) {
        writeFile(kPath, text);
        std::vector<ModuleConfigure> out;
        EXPECT_FALSE(ModuleConfigureParser::parse(kPath, "A", "B", out)) << text;
        EXPECT_TRUE(out.empty()) << text;
    }
}

TEST_F(ModuleConfigTest, EmbeddedZeroByteFails) {
    std::string text = "<moduleConfig>";
    text.push_back('\0');
    text += "<module id=\"1\"/></moduleConfig>";
    writeFile(kPath, text);
    parse("A", "B", false);
}

std::string nested(int depth, const std::string& inner = "") {
    // The root counts as the first level.
    std::string text = "<moduleConfig>";
    for (int i = 1; i < depth; ++i) {
        text += "<n>";
    }
    text += inner;
    for (int i = 1; i < depth; ++i) {
        text += "</n>";
    }
    return text + "</moduleConfig>";
}

TEST_F(ModuleConfigTest, NestingUpToTwoHundredIsRead) {
    writeFile(kPath, nested(200));
    EXPECT_TRUE(parse("A", "B").empty());
}

TEST_F(ModuleConfigTest, NestingBeyondTwoHundredIsRefused) {
    writeFile(kPath, nested(201));
    parse("A", "B", false);
}

TEST_F(ModuleConfigTest, VeryDeepDocumentIsRefusedQuickly) {
    std::string text;
    for (int i = 0; i < 500000; ++i) {
        text += "<a x='1'>";
    }
    writeFile(kPath, text);
    auto start = std::chrono::steady_clock::now();
    parse("A", "B", false);
    EXPECT_LT(std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - start).count(),
              1000);
}

TEST_F(ModuleConfigTest, SelfClosingCommentsAndQuotedMarkupDoNotNest) {
    std::string text = "<moduleConfig>";
    for (int i = 0; i < 500; ++i) {
        text += "<e a=\"</x>\"/><!-- <n> --><![CDATA[<n>]]><?pi <n>?>";
    }
    text += "<module id=\"3\"/></moduleConfig>";
    writeFile(kPath, text);
    EXPECT_EQ(ids(parse("A", "B")), (std::vector<int>{3}));
}

TEST_F(ModuleConfigTest, EndTagsHiddenInQuotesDoNotLowerTheCount) {
    // "</n>" inside attribute values are not end tags; the document nests
    // 300 deep and must be refused.
    std::string text = "<moduleConfig>";
    for (int i = 0; i < 300; ++i) {
        text += "<n v=\"</n>\">";
    }
    writeFile(kPath, text);
    parse("A", "B", false);
}

TEST_F(ModuleConfigTest, QuotedDeclarationInsideAnElementIsRefused) {
    // A declaration inside the tree whose quoted value spans markup could
    // hide end tags from a quick scan; such documents are refused.
    std::string text = nested(150, "<?xml version=\"></n></n>\"?>");
    writeFile(kPath, text);
    parse("A", "B", false);
    // Without quotes it is harmless markup.
    writeFile(kPath, nested(10, "<?xml version=1.0?>"));
    EXPECT_TRUE(parse("A", "B").empty());
}

} // namespace
