// Compare-before-replace: a save whose bytes the file already holds writes
// nothing; any other file is replaced as before, with the same results.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "storage/SameContent.h"
#include "storage/SensorFile.h"
#include "support/PowerCutFileOps.h"
#include "support/TestEnv.h"

namespace {

using tarnix_test::FileOpsGuard;
using tarnix_test::PowerCutFileOps;

const char* const kScheme = "/mnt/mtd/code/config_file/sensor1_0.cfg";

std::string bytesOf(const std::vector<KeyVal>& p_vec) {
    return std::string(reinterpret_cast<const char*>(p_vec.data()), p_vec.size() * sizeof(KeyVal));
}

class SameContentTest : public tarnix_test::TarnixTest {
protected:
    void SetUp() override {
        TarnixTest::SetUp();
        makeDir("/mnt/mtd/code/config_file");
    }
    std::vector<KeyVal> m_vecRows = {{34, 60}, {2337, 45}, {8000, 1}};
};

TEST_F(SameContentTest, KeyValSaveOfTheSameBytesWritesNothing) {
    writeFile(kScheme, bytesOf(m_vecRows));
    PowerCutFileOps ops;
    std::string strName = kScheme;
    {
        FileOpsGuard guard(&ops);
        EXPECT_EQ(0, keyValToFile(&strName[0], m_vecRows.data(), 3));
    }
    EXPECT_TRUE(ops.steps().empty());
    EXPECT_EQ(bytesOf(m_vecRows), readFile(kScheme));
}

TEST_F(SameContentTest, MissingShortLongerOrDifferentFilesAreReplaced) {
    const std::vector<std::string> vecBefore = {
        "",                                         // missing (removed below)
        bytesOf(m_vecRows).substr(0, 20),           // short
        bytesOf(m_vecRows) + "x",                   // one byte too many
        bytesOf({{34, 61}, {2337, 45}, {8000, 1}}), // one value differs
    };
    for (size_t i = 0; i < vecBefore.size(); ++i) {
        SCOPED_TRACE(i);
        if (i == 0) {
            removeFile(kScheme);
        } else {
            writeFile(kScheme, vecBefore[i]);
        }
        PowerCutFileOps ops;
        std::string strName = kScheme;
        {
            FileOpsGuard guard(&ops);
            EXPECT_EQ(0, keyValToFile(&strName[0], m_vecRows.data(), 3));
        }
        EXPECT_EQ(5u, ops.steps().size());
        EXPECT_EQ(bytesOf(m_vecRows), readFile(kScheme));
    }
}

TEST_F(SameContentTest, RawSaveAndVersionStampCompareFirst) {
    std::string strName = "/mnt/mtd/code/config_file/raw.bin";
    char aData[] = "abcdef";
    writeFile(strName, "abcdef");
    PowerCutFileOps ops;
    {
        FileOpsGuard guard(&ops);
        // Same result as a write: the count of bytes.
        EXPECT_EQ(6, saveToFile(&strName[0], aData, 6));
        EXPECT_TRUE(ops.steps().empty());
        EXPECT_EQ(0, setVersion(8));
        EXPECT_EQ(5u, ops.steps().size()); // no stamp yet: written
        EXPECT_EQ(0, setVersion(8));
        EXPECT_EQ(5u, ops.steps().size()); // the same stamp: nothing
        EXPECT_EQ(0, setVersion(9));
        EXPECT_EQ(10u, ops.steps().size());
    }
    u32 nVersion = 0;
    EXPECT_EQ(0, getVersion(&nVersion));
    EXPECT_EQ(9u, nVersion);
}

TEST_F(SameContentTest, TheCompareReadsTheWholeFile) {
    std::string strBig(10000, 'q');
    writeFile("/big", strBig);
    EXPECT_TRUE(tarnix::storage::fileHoldsBytes("/big", strBig.data(), strBig.size()));
    std::string strOther = strBig;
    strOther[9999] = 'r';
    EXPECT_FALSE(tarnix::storage::fileHoldsBytes("/big", strOther.data(), strOther.size()));
    EXPECT_FALSE(tarnix::storage::fileHoldsBytes("/big", strBig.data(), strBig.size() - 1));
    EXPECT_FALSE(tarnix::storage::fileHoldsBytes("/none", strBig.data(), 0));
    EXPECT_FALSE(tarnix::storage::fileHoldsBytes(nullptr, strBig.data(), 1));
    writeFile("/empty", "");
    EXPECT_TRUE(tarnix::storage::fileHoldsBytes("/empty", nullptr, 0));
}

} // namespace
