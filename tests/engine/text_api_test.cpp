// The text API members: parameter lists as text to set, key lists to read,
// and the current scheme as text.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "controller/ISensorController.h"
#include "support/BareController.h"
#include "support/ControllerPeer.h"
#include "support/TestEnv.h"

namespace {

using tarnix_test::BareController;
using Peer = ISensorControllerTestPeer;
using tarnix_test::SetCall;
using tarnix_test::setCalls;


std::string repeatRecords(u32 p_nKey, u32 p_nFirst, u32 p_nCount) {
    std::string text;
    text.reserve(p_nCount * 12);
    for (u32 i = 0; i < p_nCount; ++i) {
        text += "(" + std::to_string(p_nKey) + "," + std::to_string(p_nFirst + i) + ")";
    }
    return text;
}

class TextApiTest : public tarnix_test::TarnixTest {
protected:
    void SetUp() override {
        TarnixTest::SetUp();
        makeDir("/mnt/mtd/code/config_file");
        makeDir("/mnt/mtd/log");
        m_pBare.reset(new BareController(tarnix_test::typicalFactoryList(), 4));
        ispsim::clearCalls();
    }
    void TearDown() override {
        m_pBare.reset();
        TarnixTest::TearDown();
    }
    BareController& bare() { return *m_pBare; }
    ISensorController& ctl() { return m_pBare->ctl(); }

    std::unique_ptr<BareController> m_pBare;
};

TEST_F(TextApiTest, TypicalRequestSendsTwoIspSetsAndCaches) {
    EXPECT_EQ(0, ctl().setParameters(std::string("(34,60)(2337,45)"), true));
    std::vector<SetCall> expected = {{0, 34, 60}, {0, 2337, 45}};
    EXPECT_EQ(expected, setCalls());
    EXPECT_EQ(60u, bare().value(0, 34));
    EXPECT_EQ(45u, bare().value(0, 2337));
    // Other schemes are untouched.
    EXPECT_EQ(50u, bare().value(1, 34));
    EXPECT_EQ(50u, bare().value(4, 34));
}

TEST_F(TextApiTest, CurrentSchemeReceivesTheValues) {
    bare().setCurScheme(2);
    EXPECT_EQ(0, ctl().setParameters(std::string("(34,61)"), true));
    EXPECT_EQ(61u, bare().value(2, 34));
    EXPECT_EQ(50u, bare().value(0, 34));
}

TEST_F(TextApiTest, CacheFlagSkipsUnchangedRecords) {
    EXPECT_EQ(0, ctl().setParameters(std::string("(34,50)(2337,50)"), true));
    EXPECT_TRUE(setCalls().empty());
    // Without the flag the stored values are sent again.
    EXPECT_EQ(0, ctl().setParameters(std::string("(34,50)(2337,50)"), false));
    std::vector<SetCall> expected = {{0, 34, 50}, {0, 2337, 50}};
    EXPECT_EQ(expected, setCalls());
}

TEST_F(TextApiTest, UncachedCallLeavesTheCacheAlone) {
    EXPECT_EQ(0, ctl().setParameters(std::string("(34,70)"), false));
    std::vector<SetCall> expected = {{0, 34, 70}};
    EXPECT_EQ(expected, setCalls());
    EXPECT_EQ(50u, bare().value(0, 34));
}

TEST_F(TextApiTest, UnscannableRecordRepeatsThePreviousValue) {
    // (1,2)(3,x) parses into {1,2} and {3,2}: keys 1 and 3 have no row and go
    // to the ISP with their own numbers.
    EXPECT_EQ(0, ctl().setParameters(std::string("(1,2)(3,x)"), true));
    std::vector<SetCall> expected = {{0, 1, 2}, {0, 3, 2}};
    EXPECT_EQ(expected, setCalls());
}

TEST_F(TextApiTest, UnclosedRecordAppliesNothing) {
    captureStdout();
    EXPECT_EQ(0, ctl().setParameters(std::string("(5,6"), true));
    std::string out = capturedStdout();
    EXPECT_TRUE(setCalls().empty());
    // The apply loop of zero records still ends with its newline.
    EXPECT_EQ("\n", out);
}

TEST_F(TextApiTest, CloseBracketBeforeTheFirstRecord) {
    // Both brackets are searched from the same position: the ")" found first
    // lies before the "(", that pair yields no record, and the search goes
    // on after it, so (7,8) is the one record.
    EXPECT_EQ(0, ctl().setParameters(std::string(")(7,8)"), true));
    std::vector<SetCall> expected = {{0, 7, 8}};
    EXPECT_EQ(expected, setCalls());
}

TEST_F(TextApiTest, NegativeValuesTravelAsTheirBitPattern) {
    EXPECT_EQ(0, ctl().setParameters(std::string("(34,-1)"), true));
    std::vector<SetCall> expected = {{0, 34, 0xFFFFFFFFu}};
    EXPECT_EQ(expected, setCalls());
    std::string outText;
    EXPECT_TRUE(ctl().getParameters("(34)", outText));
    EXPECT_EQ("(34,-1)", outText);
}

TEST_F(TextApiTest, TextWithoutBracketsAppliesNothing) {
    EXPECT_EQ(0, ctl().setParameters(std::string("brightness=60"), true));
    EXPECT_TRUE(setCalls().empty());
}

TEST_F(TextApiTest, FailingKeyEndsTheCallWithItsNegatedKey) {
    ispsim::setFailure(0, 2337, 0, -1);
    EXPECT_EQ(-2337, ctl().setParameters(std::string("(34,60)(2337,45)(2353,40)"), true));
    EXPECT_EQ(60u, bare().value(0, 34));
    EXPECT_EQ(50u, bare().value(0, 2337));
    EXPECT_EQ(50u, bare().value(0, 2353));
}

TEST_F(TextApiTest, DebugTraceShowsTheText) {
    setDebugMarker("6");
    captureStdout();
    ctl().setParameters(std::string("(34,60)"), true);
    std::string out = capturedStdout();
    EXPECT_NE(std::string::npos, out.find("p_Parameters1111111111((34,60))\n")) << out;
    EXPECT_NE(std::string::npos, out.find("[sensor dbg]")) << out;
}

// Ten thousand records: the work array grows to the text instead of being
// written past its end (the ASan build checks every write).
TEST_F(TextApiTest, TenThousandRecordsAreAllApplied) {
    // A small work array as init would have left it.
    Peer::keyValTmp(ctl()) = new KeyVal[KEYCMD_CAPACITY];
    std::string text = repeatRecords(34, 1, 10000);
    EXPECT_EQ(0, ctl().setParameters(text, true));
    std::vector<SetCall> calls = setCalls();
    ASSERT_EQ(10000u, calls.size());
    EXPECT_EQ((SetCall{0, 34, 1}), calls.front());
    EXPECT_EQ((SetCall{0, 34, 10000}), calls.back());
    EXPECT_EQ(10000u, bare().value(0, 34));
    // A second, shorter text still works with the grown array.
    ispsim::clearCalls();
    EXPECT_EQ(0, ctl().setParameters(std::string("(2337,7)"), true));
    std::vector<SetCall> expected = {{0, 2337, 7}};
    EXPECT_EQ(expected, setCalls());
}

TEST_F(TextApiTest, TenThousandRecordsWithoutWorkArray) {
    // Not initialised: no work array at all.
    ASSERT_EQ(nullptr, Peer::keyValTmp(ctl()));
    std::string text = repeatRecords(2337, 100, 10000);
    EXPECT_EQ(0, ctl().setParameters(text, true));
    EXPECT_EQ(10000u, setCalls().size());
    EXPECT_EQ(10099u, bare().value(0, 2337));
    EXPECT_EQ(nullptr, Peer::keyValTmp(ctl()));
}

// One call applies at most 65536 records; the rest of the text is ignored.
TEST_F(TextApiTest, RecordsBeyondTheCapAreIgnoredWithAWarning) {
    Peer::keyValTmp(ctl()) = new KeyVal[KEYCMD_CAPACITY];
    // 65535 records equal to the cache (skipped), record 65536 changes the
    // value, record 65537 would change it again.
    std::string text;
    text.reserve(70000 * 8);
    for (u32 i = 0; i < 65535; ++i) {
        text += "(34,50)";
    }
    text += "(34,7)";
    text += "(34,9)";
    text += "(2337,1)";
    setDebugMarker("4");
    captureStdout();
    EXPECT_EQ(0, ctl().setParameters(text, true));
    std::string out = capturedStdout();
    std::vector<SetCall> expected = {{0, 34, 7}};
    EXPECT_EQ(expected, setCalls());
    EXPECT_EQ(7u, bare().value(0, 34));
    EXPECT_EQ(50u, bare().value(0, 2337));
    EXPECT_NE(std::string::npos, out.find("[sensor warn]")) << out.substr(0, 400);
    EXPECT_NE(std::string::npos, out.find("65538 records, only the first 65536")) << out.substr(0, 400);
}

// ---- getParameters ----

TEST_F(TextApiTest, GetParametersEmptyListFails) {
    std::string outText = "unchanged";
    captureStdout();
    EXPECT_FALSE(ctl().getParameters("()", outText));
    std::string out = capturedStdout();
    EXPECT_EQ("unchanged", outText);
    EXPECT_EQ("ISensorController.cpp1947 getParameters fail p_strIds = () \n", out);
}

TEST_F(TextApiTest, GetParametersMalformedListsFail) {
    std::string outText = "x";
    EXPECT_FALSE(ctl().getParameters("", outText));
    EXPECT_FALSE(ctl().getParameters("34)", outText));
    EXPECT_FALSE(ctl().getParameters("(34", outText));
    EXPECT_FALSE(ctl().getParameters("(34)x", outText));
    EXPECT_EQ("x", outText);
}

TEST_F(TextApiTest, GetParametersReadsCachedValues) {
    bare().set(0, 2368, 1);
    std::string outText = "old";
    captureStdout();
    EXPECT_TRUE(ctl().getParameters("(2368)", outText));
    std::string out = capturedStdout();
    EXPECT_EQ("(2368,1)", outText);
    EXPECT_EQ("@@ out_Parameters = (2368,1) @@\n", out);
    // Cached keys never reach the ISP.
    EXPECT_TRUE(ispsim::calls().empty());
}

TEST_F(TextApiTest, GetParametersKeepsTheOrderOfTheList) {
    bare().set(0, 34, 11);
    bare().set(0, 2337, 22);
    std::string outText;
    EXPECT_TRUE(ctl().getParameters("(2337, 34,2337)", outText));
    EXPECT_EQ("(2337,22)(34,11)(2337,22)", outText);
}

TEST_F(TextApiTest, GetParametersNonNumericItemQueriesKeyZero) {
    ispsim::setValue(0, 0, 77);
    std::string outText;
    EXPECT_TRUE(ctl().getParameters("(abc)", outText));
    EXPECT_EQ("(0,77)", outText);
    auto gets = tarnix_test::callsWithOpt(1);
    ASSERT_EQ(1u, gets.size());
    EXPECT_EQ(0u, gets[0].cmd);
}

TEST_F(TextApiTest, GetParametersLeavesOutUnreadableKeys) {
    ispsim::setFailure(0, 7777, 1, -1);
    ispsim::setValue(0, 2417, 5);
    // 2417 is cached (50); 7777 is not and the ISP refuses it.
    std::string outText;
    EXPECT_TRUE(ctl().getParameters("(34,7777,2417)", outText));
    EXPECT_EQ("(34,50)(2417,50)", outText);
}

TEST_F(TextApiTest, GetParametersIrKeysWithoutCacheGiveMinusOne) {
    // A row without the IR keys: they answer -1 without asking the ISP.
    BareController small({{34, 1}}, 1);
    ispsim::clearCalls();
    std::string outText;
    EXPECT_TRUE(small->getParameters("(161,162)", outText));
    EXPECT_EQ("(161,-1)(162,0)", outText);
    auto gets = tarnix_test::callsWithOpt(1);
    ASSERT_EQ(1u, gets.size());
    EXPECT_EQ(162u, gets[0].cmd);
}

// ---- getAllParameters ----

std::string bytesOf(const std::vector<KeyVal>& p_vec) {
    return std::string(reinterpret_cast<const char*>(p_vec.data()), p_vec.size() * sizeof(KeyVal));
}

std::string textOf(std::vector<KeyVal> p_vec) {
    std::string text;
    keyval_st2str(text, p_vec.data(), static_cast<u32>(p_vec.size()));
    return text;
}

TEST_F(TextApiTest, GetAllParametersWithoutStyleReadsTheSchemeFile) {
    // No merged style: the report, then the empty document keeps the preset
    // 200 and the current scheme's file is read.
    std::vector<KeyVal> vecFile = bare().rowCopy(1);
    vecFile[5].value = 99;
    writeFile("/mnt/mtd/code/config_file/sensor1_1.cfg", bytesOf(vecFile));
    bare().setCurScheme(1);
    std::string outText = "head";
    captureStdout();
    EXPECT_TRUE(ctl().getAllParameters(outText));
    std::string out = capturedStdout();
    EXPECT_NE(std::string::npos,
              out.find("objStyleXmlDoc.LoadFile(filename, TIXML_ENCODING_UTF8)   ~~~Assertion failed."))
        << out;
    EXPECT_EQ("head" + textOf(vecFile), outText);
    // The cache is not touched.
    EXPECT_EQ(50u, bare().value(1, 34));
}

TEST_F(TextApiTest, GetAllParametersLargeMaxShutterReadsTheSchemeFile) {
    writeFile("/tmp/merge_style_ch1.xml",
              "<Style><tab key=\"exp\"><item id=\"49\" value=\"200\"/></tab></Style>");
    std::vector<KeyVal> vecFile = bare().rowCopy(0);
    vecFile[0].value = 1;
    writeFile("/mnt/mtd/code/config_file/sensor1_0.cfg", bytesOf(vecFile));
    std::string outText;
    captureStdout();
    EXPECT_TRUE(ctl().getAllParameters(outText));
    std::string out = capturedStdout();
    EXPECT_EQ(std::string::npos, out.find("Assertion failed")) << out;
    EXPECT_EQ(textOf(vecFile), outText);
}

TEST_F(TextApiTest, GetAllParametersMissingFileStillAppendsTheWorkArray) {
    writeFile("/tmp/merge_style_ch1.xml",
              "<Style><tab key=\"exp\"><item id=\"49\" value=\"205\"/></tab></Style>");
    std::vector<KeyVal> vecWork(bare().keyValSum(), KeyVal{0, 0});
    std::string outText;
    captureStdout();
    EXPECT_TRUE(ctl().getAllParameters(outText));
    std::string out = capturedStdout();
    // The loader reports the missing file itself; its result is always 0.
    EXPECT_NE(std::string::npos, out.find("file.open(file_name)   ~~~Assertion failed.")) << out;
    EXPECT_EQ(std::string::npos, out.find("SNS_SUCCESS == keyValFromFile(szTmp")) << out;
    EXPECT_EQ(bare().keyValSum(), static_cast<u32>(tarnix_test::countOccurrences(outText, "(")));
}

TEST_F(TextApiTest, GetAllParametersFactorySchemeWithFileModeGivesNothing) {
    bare().setCurScheme(4);
    std::string outText = "keep";
    EXPECT_TRUE(ctl().getAllParameters(outText));
    EXPECT_EQ("keep", outText);
}

TEST_F(TextApiTest, GetAllParametersSmallMaxShutterGivesTheCorrectedCache) {
    writeFile("/tmp/merge_style_ch1.xml",
              "<Style><tab key=\"exp\"><item id=\"49\" value=\"40\"/></tab></Style>");
    bare().set(0, 34, 61);
    std::string outText = "(1,1)";
    captureStdout();
    EXPECT_TRUE(ctl().getAllParameters(outText));
    std::string out = capturedStdout();
    EXPECT_EQ(std::string::npos, out.find("objStyleXmlDoc.LoadFile")) << out;
    // No range is known to the ISP here, so the row stays as it is.
    EXPECT_EQ("(1,1)" + textOf(bare().rowCopy(0)), outText);
    EXPECT_NE(std::string::npos, outText.find("(34,61)"));
}

TEST_F(TextApiTest, GetAllParametersCorrectsTheCacheAgainstIspRanges) {
    writeFile("/tmp/merge_style_ch1.xml",
              "<Style><tab key=\"exp\"><item id=\"49\" value=\"40\"/></tab></Style>");
    // The ISP allows brightness 0, 40 and 100 only: 61 becomes 40.
    ispsim::setDynamicParam(0, 34, 40, {0, 40, 100});
    bare().set(0, 34, 61);
    std::string outText;
    EXPECT_TRUE(ctl().getAllParameters(outText));
    EXPECT_EQ(40u, bare().value(0, 34));
    EXPECT_EQ(textOf(bare().rowCopy(0)), outText);
}

} // namespace
