// The field table and its value conversions, the number texts, the style
// reader and the request guards, without a controller.
#include <gtest/gtest.h>

#include <set>
#include <string>

#include <tinyxml.h>

#include "onvif/ImagingFields.h"
#include "onvif/SoapXml.h"
#include "onvif/StyleItems.h"
#include "onvif/WsSecurity.h"

namespace {

using namespace tarnix::onvif;

TEST(ImagingFieldsTest, TableIsDeclaredOnceInSchemaOrderWithContiguousGroups) {
    std::set<std::string> paths;
    std::set<unsigned int> keys;
    std::set<std::string> closedGroups;
    std::string currentGroup;
    for (const ImagingField& field : imagingFields()) {
        EXPECT_TRUE(paths.insert(field.settingsPath).second) << field.settingsPath;
        EXPECT_TRUE(keys.insert(field.key).second) << field.key;
        std::string group = groupOf(field.settingsPath);
        if (group != currentGroup) {
            // Top-level fields stand between the groups; a group is never split.
            EXPECT_TRUE(group.empty() || closedGroups.count(group) == 0u) << "group " << group << " is split";
            closedGroups.insert(currentGroup);
            currentGroup = group;
            // A group opens with its mode.
            if (!group.empty()) {
                EXPECT_TRUE(field.head) << field.settingsPath;
            }
        }
        EXPECT_EQ((field.conversion == Conversion::Enumeration), (field.entryCount > 0)) << field.settingsPath;
    }
    // The fields the mapping covers.
    for (const char* path : {"Brightness", "ColorSaturation", "Contrast", "Sharpness", "IrCutFilter",
                              "Exposure/Mode", "Exposure/MinExposureTime", "Exposure/MaxExposureTime",
                              "Exposure/ExposureTime", "Exposure/MaxGain", "Exposure/Gain", "Exposure/Iris",
                              "Focus/AutoFocusMode", "Focus/NearLimit", "Focus/DefaultSpeed",
                              "WideDynamicRange/Mode", "WideDynamicRange/Level", "BacklightCompensation/Mode",
                              "BacklightCompensation/Level", "WhiteBalance/Mode", "WhiteBalance/CrGain",
                              "WhiteBalance/CbGain", "Extension/ImageStabilization/Mode",
                              "Extension/ImageStabilization/Level", "Extension/Extension/Extension/Defogging/Mode",
                              "Extension/Extension/Extension/Defogging/Level",
                              "Extension/Extension/Extension/NoiseReduction/Level"}) {
        EXPECT_NE(fieldBySettingsPath(path), nullptr) << path;
    }
    EXPECT_EQ(fieldBySettingsPath("Exposure/Priority"), nullptr);
}

TEST(ImagingFieldsTest, KeysOfTheMainFields) {
    EXPECT_EQ(fieldBySettingsPath("Brightness")->key, 34u);
    EXPECT_EQ(fieldBySettingsPath("ColorSaturation")->key, 2337u);
    EXPECT_EQ(fieldBySettingsPath("IrCutFilter")->key, 144u);
    EXPECT_EQ(fieldBySettingsPath("WideDynamicRange/Mode")->key, 2368u);
    EXPECT_EQ(fieldBySettingsPath("Exposure/MaxExposureTime")->key, 49u);
    EXPECT_EQ(fieldBySettingsPath("Exposure/MinExposureTime")->key, 51u);
    EXPECT_EQ(fieldBySettingsPath("Exposure/ExposureTime")->key, 50u);
    EXPECT_EQ(fieldBySettingsPath("Exposure/Iris")->key, 82u);
    EXPECT_EQ(fieldBySettingsPath("Focus/NearLimit")->key, 1537u);
    EXPECT_STREQ(fieldBySettingsPath("WhiteBalance/CrGain")->optionsPath, "WhiteBalance/YrGain");
    EXPECT_STREQ(fieldBySettingsPath("IrCutFilter")->optionsPath, "IrCutFilterModes");
}

TEST(ImagingFieldsTest, ShutterIndexesAreExposureTimesInMicroseconds) {
    double us = 0;
    ASSERT_TRUE(shutterIndexToMicroseconds(0, us));
    EXPECT_EQ(us, 1000000);
    ASSERT_TRUE(shutterIndexToMicroseconds(2, us));
    EXPECT_EQ(us, 333333);
    ASSERT_TRUE(shutterIndexToMicroseconds(5, us));
    EXPECT_EQ(us, 40000);
    ASSERT_TRUE(shutterIndexToMicroseconds(8, us));
    EXPECT_EQ(us, 16667);
    ASSERT_TRUE(shutterIndexToMicroseconds(22, us));
    EXPECT_EQ(us, 10);
    EXPECT_FALSE(shutterIndexToMicroseconds(23, us));
    EXPECT_FALSE(shutterIndexToMicroseconds(-1, us));
}

TEST(ImagingFieldsTest, NearLimitsInMetresAndIrisAsFNumber) {
    double m = 0;
    ASSERT_TRUE(nearLimitIndexToMetres(1, m));
    EXPECT_DOUBLE_EQ(m, 0.1);
    ASSERT_TRUE(nearLimitIndexToMetres(9, m));
    EXPECT_DOUBLE_EQ(m, 10);
    EXPECT_FALSE(nearLimitIndexToMetres(0, m));
    EXPECT_FALSE(nearLimitIndexToMetres(10, m));
    EXPECT_DOUBLE_EQ(irisPositionToFNumber(1024), 4.0);
    EXPECT_DOUBLE_EQ(irisPositionToFNumber(716), 2.796875);
}

TEST(ImagingFieldsTest, EnumerationsBothWays) {
    const ImagingField& irCut = *fieldBySettingsPath("IrCutFilter");
    EXPECT_STREQ(keyToToken(irCut, 0), "AUTO");
    EXPECT_STREQ(keyToToken(irCut, 1), "ON");
    EXPECT_STREQ(keyToToken(irCut, 2), "OFF");
    EXPECT_STREQ(keyToToken(irCut, 3), "AUTO");
    EXPECT_EQ(keyToToken(irCut, 4), nullptr);
    const ImagingField& wdr = *fieldBySettingsPath("WideDynamicRange/Mode");
    EXPECT_STREQ(keyToToken(wdr, 2), "ON");
    const ImagingField& focus = *fieldBySettingsPath("Focus/AutoFocusMode");
    EXPECT_STREQ(keyToToken(focus, 2), "AUTO");
}

TEST(ImagingFieldsTest, NormalisedLevels) {
    const ImagingField& defog = *fieldBySettingsPath("Extension/Extension/Extension/Defogging/Level");
    double v = 0;
    ASSERT_TRUE(keyToOnvif(defog, 37, 0, 100, v));
    EXPECT_DOUBLE_EQ(v, 0.37);
    ASSERT_TRUE(keyToOnvif(defog, 1, 1, 11, v));
    EXPECT_DOUBLE_EQ(v, 0.0);
    EXPECT_FALSE(keyToOnvif(defog, 101, 0, 100, v));
    EXPECT_FALSE(keyToOnvif(defog, 5, 5, 5, v));
}

TEST(ImagingFieldsTest, NumberTexts) {
    EXPECT_EQ(formatNumber(50), "50");
    EXPECT_EQ(formatNumber(-3), "-3");
    EXPECT_EQ(formatNumber(0.5), "0.5");
    EXPECT_EQ(formatNumber(2.796875), "2.796875");
    EXPECT_EQ(formatNumber(409 / 256.0), "1.597656");
    EXPECT_EQ(formatNumber(1000000), "1000000");
    EXPECT_EQ(formatNumber(-0.0000001), "0");
    EXPECT_EQ(formatNumber(1e300), "1e+300");
    EXPECT_EQ(formatNumber(-2.5e20), "-2.5e+20");
    double v = 0;
    EXPECT_TRUE(parseNumber("42", v));
    EXPECT_EQ(v, 42);
    EXPECT_TRUE(parseNumber("-1.5", v));
    EXPECT_EQ(v, -1.5);
    EXPECT_TRUE(parseNumber("1E3", v));
    EXPECT_EQ(v, 1000);
    for (const char* bad : {"", "abc", "1,5", "12x", "0x10", "inf", "NaN", "-INF", "1e999", " "}) {
        EXPECT_FALSE(parseNumber(bad, v)) << bad;
    }
    EXPECT_FALSE(parseNumber(std::string(100, '1'), v));
}

TEST(StyleItemsTest, ChoicesRangesAndTheLastOfTwoEqualIds) {
    StyleItems items = StyleItems::fromStyle(
        "<style><tab key=\"a\"><item id=\"34\" value=\"5\" min=\"0\" max=\"100\"/>"
        "<group><item id=\"49\" value=\"1\"><o index=\"3\"/><o index=\"7\"/><o name=\"no index\"/></item></group>"
        "<item id=\"65\" value=\"1\" min=\"x\" max=\"3\"/><item id=\"66\" min=\"9\" max=\"3\"/>"
        "<item id=\"34\" value=\"5\" min=\"10\" max=\"20\"/></tab></style>");
    ASSERT_NE(items.find(34), nullptr);
    EXPECT_TRUE(items.find(34)->hasRange);
    EXPECT_EQ(items.find(34)->min, 10);
    EXPECT_EQ(items.find(34)->max, 20);
    ASSERT_NE(items.find(49), nullptr);
    EXPECT_EQ(items.find(49)->choices, std::vector<int>({3, 7}));
    EXPECT_TRUE(items.find(49)->allows(7));
    EXPECT_FALSE(items.find(49)->allows(5));
    EXPECT_FALSE(items.find(65)->bounded());
    EXPECT_FALSE(items.find(66)->bounded());
    EXPECT_EQ(items.find(1), nullptr);
    EXPECT_EQ(StyleItems::fromStyle("<broken").size(), 0u);
}

// A style whose last bytes are a UTF-8 lead byte parses within its own
// text: the sanitizer builds fail on any read past it.
TEST(StyleItemsTest, ALeadByteAtTheEndOfAStyleStaysInsideIt) {
    for (const char* tail : {"\xF4", "\xE2\x82", "<\xF0", "<item id=\"\xF8"}) {
        const std::string style = std::string("<style><tab key=\"a\"><item id=\"34\" min=\"0\" max=\"9\"/>") + tail;
        StyleItems items = StyleItems::fromStyle(style);
        EXPECT_EQ(items.size(), 0u) << style;
    }
    // The same style, closed, is read.
    EXPECT_NE(StyleItems::fromStyle("<style><tab key=\"a\"><item id=\"34\" min=\"0\" max=\"9\"/></tab></style>").find(34),
              nullptr);
}

TEST(SoapXmlTest, ElementStartCountNeverUndercounts) {
    EXPECT_EQ(elementStartCount("<a><b/><c x='<d'>text &lt; < 1</c></a>"), 4u);
    EXPECT_EQ(elementStartCount("<_a>< b><\xC3\xA9/>"), 2u);
    // Every element TinyXML builds is counted.
    std::string doc = "<r>";
    for (int i = 0; i < 30; ++i) {
        doc += "<e" + std::to_string(i) + " a=\"/>\">";
    }
    for (int i = 29; i >= 0; --i) {
        doc += "</e" + std::to_string(i) + ">";
    }
    doc += "</r>";
    TiXmlDocument parsed;
    ASSERT_EQ(parseRequest(doc, 100000, parsed), ParseStatus::Ok);
    EXPECT_GE(elementStartCount(doc), 31u);
}

TEST(SoapXmlTest, LimitsComeBeforeParsing) {
    TiXmlDocument doc;
    EXPECT_EQ(parseRequest(std::string(101, ' '), 100, doc), ParseStatus::TooLarge);
    std::string deep;
    for (size_t i = 0; i <= kMaxRequestElements; ++i) {
        deep += "<a>";
    }
    EXPECT_EQ(parseRequest(deep, 1 << 20, doc), ParseStatus::TooDeep);
    std::string flat = "<r>";
    for (size_t i = 0; i + 1 < kMaxRequestElements; ++i) {
        flat += "<a/>";
    }
    flat += "</r>";
    TiXmlDocument ok;
    EXPECT_EQ(parseRequest(flat, 1 << 20, ok), ParseStatus::Ok);
    TiXmlDocument bad;
    EXPECT_EQ(parseRequest("<a><b></a>", 100, bad), ParseStatus::Malformed);
    TiXmlDocument zero;
    EXPECT_EQ(parseRequest(std::string("<a>\0</a>", 8), 100, zero), ParseStatus::Malformed);
    TiXmlDocument empty;
    EXPECT_EQ(parseRequest("", 100, empty), ParseStatus::Malformed);
}

TEST(SoapXmlTest, OnlyWellFormedUtf8IsParsed) {
    EXPECT_TRUE(isUtf8(""));
    EXPECT_TRUE(isUtf8("plain \xC3\xA9 \xE2\x82\xAC \xF0\x9F\x93\xB7"));
    EXPECT_FALSE(isUtf8("\xEB"));
    EXPECT_FALSE(isUtf8("ab\xE2\x82"));
    EXPECT_FALSE(isUtf8("\x80"));
    EXPECT_FALSE(isUtf8("\xC0\xAF"));
    EXPECT_FALSE(isUtf8("\xED\xA0\x80"));
    EXPECT_FALSE(isUtf8("\xF5\x80\x80\x80"));
    // A lead byte at the very end of an unterminated attribute value or text:
    // TinyXML would step over the terminating zero. Refused before parsing.
    for (const char* text : {"<a b=\"x\xEB", "<a>x\xF0", "<a>\xD4<\xEB", "<a b=\"\xE2\x82\"/>"}) {
        TiXmlDocument doc;
        EXPECT_EQ(parseRequest(text, 1000, doc), ParseStatus::Malformed) << text;
    }
    TiXmlDocument ok;
    ASSERT_EQ(parseRequest("<a b=\"\xC3\xA9\">\xE2\x82\xAC</a>", 1000, ok), ParseStatus::Ok);
    EXPECT_STREQ(ok.RootElement()->GetText(), "\xE2\x82\xAC");
}

TEST(SoapXmlTest, EscapedTextIsAlwaysWellFormedUtf8) {
    const std::string kFffd = "\xEF\xBF\xBD";
    EXPECT_EQ(xmlEscape("a&b<c>d\"e'f"), "a&amp;b&lt;c&gt;d&quot;e&apos;f");
    // Well-formed characters of every length pass unchanged, tab/LF/CR too.
    const std::string wellFormed = "\xC3\xA9 \xE2\x82\xAC \xF0\x9F\x93\xB7 \xEF\xBF\xBD\t\n\r";
    EXPECT_EQ(xmlEscape(wellFormed), wellFormed);
    // Each byte that starts no well-formed sequence becomes U+FFFD.
    EXPECT_EQ(xmlEscape("Get\xF0"), "Get" + kFffd);
    EXPECT_EQ(xmlEscape("\xF0\x9F\x93"), kFffd + kFffd + kFffd);
    EXPECT_EQ(xmlEscape("\x80x"), kFffd + "x");
    EXPECT_EQ(xmlEscape("\xC0\xAF"), kFffd + kFffd);                 // overlong '/'
    EXPECT_EQ(xmlEscape("\xED\xA0\x80"), kFffd + kFffd + kFffd);      // surrogate
    EXPECT_EQ(xmlEscape("\xF4\x90\x80\x80"), kFffd + kFffd + kFffd + kFffd); // above U+10FFFF
    EXPECT_EQ(xmlEscape("\xFF"), kFffd);
    // Characters XML does not allow become U+FFFD as well.
    EXPECT_EQ(xmlEscape(std::string("a\0b\x01\x1F", 5)), "a" + kFffd + "b" + kFffd + kFffd);
    EXPECT_EQ(xmlEscape("\xEF\xBF\xBE\xEF\xBF\xBF"), kFffd + kFffd);    // U+FFFE, U+FFFF
    // A lone lead byte right before markup no longer takes the markup into
    // its sequence: the text reads back whole and the element closes.
    for (const char* tail : {"\xF0", "\xE2\x82", "\xC3", "\xF8"}) {
        TiXmlDocument doc;
        std::string text = std::string("x") + tail;
        doc.Parse(("<a>" + xmlEscape(text) + "</a>").c_str(), nullptr, TIXML_ENCODING_UTF8);
        ASSERT_FALSE(doc.Error()) << text;
        ASSERT_NE(doc.RootElement()->GetText(), nullptr);
        EXPECT_EQ(std::string(doc.RootElement()->GetText()).substr(0, 1 + kFffd.size()), "x" + kFffd);
    }
}

TEST(SoapXmlTest, NamespacesByPrefixAndDefault) {
    TiXmlDocument doc;
    ASSERT_EQ(parseRequest("<s:E xmlns:s=\"urn:s\" xmlns=\"urn:d\"><B><s:C xmlns:s=\"urn:t\"/><D xmlns=\"\"/></B></s:E>",
                           1000, doc),
              ParseStatus::Ok);
    const TiXmlElement* e = doc.RootElement();
    EXPECT_EQ(localName(e), "E");
    EXPECT_EQ(namespaceOf(e), "urn:s");
    const TiXmlElement* b = e->FirstChildElement();
    EXPECT_EQ(namespaceOf(b), "urn:d");
    EXPECT_TRUE(isElement(b->FirstChildElement(), "urn:t", "C"));
    EXPECT_EQ(namespaceOf(b->FirstChildElement()->NextSiblingElement()), "");
    EXPECT_EQ(childElement(b, "urn:t", "C"), b->FirstChildElement());
    EXPECT_EQ(childElement(b, "urn:s", "C"), nullptr);
    EXPECT_EQ(xmlEscape("a<b>&\"c'"), "a&lt;b&gt;&amp;&quot;c&apos;");
}

TEST(WsSecurityTest, DigestOfAKnownToken) {
    std::string nonce;
    ASSERT_TRUE(base64Decode("AAECAwQFBgcICQoLDA0ODw==", nonce));
    ASSERT_EQ(nonce.size(), 16u);
    EXPECT_EQ(nonce[15], '\x0f');
    // Computed independently: base64(sha1(bytes 0..15 + created + "secret")).
    EXPECT_EQ(passwordDigest(nonce, "2024-05-01T12:00:00.000Z", "secret"), "bISOH0hMPPxgwEOJNlRsak8+Z58=");
    EXPECT_EQ(base64Encode(nonce), "AAECAwQFBgcICQoLDA0ODw==");
    std::string out;
    EXPECT_TRUE(base64Decode("YQ==", out));
    EXPECT_EQ(out, "a");
    EXPECT_TRUE(base64Decode("YWI=", out));
    EXPECT_EQ(out, "ab");
    EXPECT_TRUE(base64Decode("", out));
    EXPECT_EQ(out, "");
    for (const char* bad : {"YQ=", "Y===", "Y=Q=", "****", "YQ==YQ=="}) {
        EXPECT_FALSE(base64Decode(bad, out)) << bad;
    }
}

} // namespace
