// The typical request on the sample trees: the web page's text reaches the
// ISP, the cache and, after flush, the scheme file.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "integration/integration_fixture.h"

namespace integration_test {
namespace {

using lifecycle_test::bytesOf;
using lifecycle_test::recordsOf;
using lifecycle_test::sameBytes;
using lifecycle_test::schemePath;
using lifecycle_test::thermalPath;

// Indexes of the records in which two record lists differ.
std::vector<size_t> differingRecords(const std::vector<KeyVal>& a, const std::vector<KeyVal>& b) {
    std::vector<size_t> out;
    for (size_t i = 0; i < a.size() && i < b.size(); ++i) {
        if (a[i].key != b[i].key || a[i].value != b[i].value) {
            out.push_back(i);
        }
    }
    return out;
}

TEST_F(IntegrationTest, BoxTypicalRequestReachesIspCacheAndFile) {
    installDeviceTree("box");
    ISensorController c;
    c.setChannelID(1);
    ASSERT_TRUE(c.init(firstModule()));
    const u32 nSum = Peer::keyValSum(c);
    ASSERT_GT(nSum, 20u);
    const std::string strBefore = readFile(schemePath(1, 0));
    ASSERT_EQ(nSum * 8u, strBefore.size());
    ispsim::clearCalls();

    EXPECT_EQ(0, c.setParameters(std::string("(34,60)(2337,45)"), true));
    std::vector<SetCall> expected = {{0, 34, 60}, {0, 2337, 45}};
    EXPECT_EQ(expected, setCalls());
    uint32_t nIsp = 0;
    EXPECT_TRUE(ispsim::getValue(0, 34, nIsp));
    EXPECT_EQ(60u, nIsp);

    std::string strValues;
    EXPECT_TRUE(c.getParameters("(34,2337)", strValues));
    EXPECT_EQ("(34,60)(2337,45)", strValues);
    // The file is written by flush only.
    EXPECT_TRUE(sameBytes(strBefore, readFile(schemePath(1, 0))));

    EXPECT_EQ(0, c.flush());
    const std::string strAfter = readFile(schemePath(1, 0));
    ASSERT_EQ(nSum * 8u, strAfter.size());
    EXPECT_TRUE(sameBytes(bytesOf(row(c, 0)), strAfter));
    const std::vector<KeyVal> vecBefore = recordsOf(strBefore);
    const std::vector<KeyVal> vecAfter = recordsOf(strAfter);
    std::vector<size_t> vecDiff = differingRecords(vecBefore, vecAfter);
    ASSERT_EQ(2u, vecDiff.size());
    EXPECT_EQ(34u, vecAfter[vecDiff[0]].key);
    EXPECT_EQ(60u, vecAfter[vecDiff[0]].value);
    EXPECT_EQ(2337u, vecAfter[vecDiff[1]].key);
    EXPECT_EQ(45u, vecAfter[vecDiff[1]].value);
    // Only scheme 0 was touched.
    EXPECT_TRUE(sameBytes(strBefore, readFile(schemePath(1, 1))));

    // The same request again changes nothing: equal values are skipped.
    ispsim::clearCalls();
    EXPECT_EQ(0, c.setParameters(std::string("(34,60)(2337,45)"), true));
    EXPECT_TRUE(setCalls().empty());
    c.uinit();

    // A new controller finds the saved values.
    ISensorController c2;
    c2.setChannelID(1);
    c2.init(firstModule());
    strValues.clear();
    EXPECT_TRUE(c2.getParameters("(34,2337)", strValues));
    EXPECT_EQ("(34,60)(2337,45)", strValues);
    c2.uinit();
}

TEST_F(IntegrationTest, DomeTypicalRequest) {
    installDeviceTree("dome");
    ISensorController c;
    c.setChannelID(1);
    ASSERT_TRUE(c.init(firstModule()));
    ispsim::clearCalls();
    EXPECT_EQ(0, c.setParameters(std::string("(34,60)(2337,45)"), true));
    std::vector<SetCall> expected = {{0, 34, 60}, {0, 2337, 45}};
    EXPECT_EQ(expected, setCalls());
    EXPECT_EQ(0, c.flush());
    EXPECT_TRUE(sameBytes(bytesOf(row(c, 0)), readFile(schemePath(1, 0))));
    c.uinit();
}

TEST_F(IntegrationTest, GetAllParametersOnTheBoxTree) {
    installDeviceTree("box");
    ISensorController c;
    c.setChannelID(1);
    c.init(firstModule());
    c.setParameters(std::string("(34,60)"), true);
    std::string strAll;
    captureStdout();
    EXPECT_TRUE(c.getAllParameters(strAll));
    capturedStdout();
    // The box style's slowest shutter is an index below 200: the cache is
    // reported, corrected against the ISP's ranges.
    std::string strRow;
    std::vector<KeyVal> vecRow = row(c, 0);
    keyval_st2str(strRow, vecRow.data(), static_cast<u32>(vecRow.size()));
    EXPECT_EQ(strRow, strAll);
    EXPECT_NE(std::string::npos, strAll.find("(34,60)"));
    c.uinit();
}

TEST_F(IntegrationTest, VersionStampOtherThanEightDeletesTheChannelsFiles) {
    installDeviceTree("box");
    {
        ISensorController c;
        c.setChannelID(1);
        c.init(firstModule());
        c.setParameters(std::string("(34,60)"), true);
        c.flush();
        c.uinit();
    }
    const std::string strSaved = readFile(schemePath(1, 0));
    writeStamp(7);
    ISensorController c;
    c.setChannelID(1);
    c.init(firstModule());
    // The saved scheme is gone: all schemes start from the factory values.
    EXPECT_NE(strSaved, readFile(schemePath(1, 0)));
    EXPECT_TRUE(sameBytes(bytesOf(row(c, 4)), readFile(schemePath(1, 0))));
    std::string strValues;
    c.getParameters("(34)", strValues);
    EXPECT_EQ("(34,50)", strValues);
    u32 nStamp = 8;
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(&nStamp), 4),
              readFile("/mnt/mtd/code/config_file/snsversion.cfg"));
    c.uinit();
}

TEST_F(IntegrationTest, ThermalChannelUsesTheThermalFiles) {
    installDeviceTree("thermal");
    ISensorController c;
    // Type 13: the one controller drives the thermal channel 2.
    c.setChannelID(1);
    ASSERT_EQ(2, Peer::cameraId(c));
    ASSERT_TRUE(Peer::thermal(c));
    ASSERT_TRUE(c.init(moduleWith("vox384")));
    EXPECT_EQ(2u, Peer::sysConf(c).nSchemeSum);
    EXPECT_TRUE(fileExists(thermalPath(0)));
    EXPECT_TRUE(fileExists(thermalPath(1)));
    EXPECT_FALSE(fileExists(thermalPath(2)));
    EXPECT_FALSE(fileExists(schemePath(2, 0)));
    // The thermal style was merged for channel 2.
    std::string strStyle = readFile("/tmp/merge_style_ch2.xml");
    EXPECT_NE(std::string::npos, strStyle.find("fusion")) << strStyle.substr(0, 300);

    // A request on the thermal channel goes to ISP channel 1 and its file.
    ispsim::clearCalls();
    EXPECT_EQ(0, c.setParameters(std::string("(34,61)"), true));
    std::vector<SetCall> expected = {{1, 34, 61}};
    EXPECT_EQ(expected, setCalls());
    EXPECT_EQ(0, c.flush());
    EXPECT_TRUE(sameBytes(bytesOf(row(c, 0)), readFile(thermalPath(0))));

    // A stale stamp deletes the thermal files only.
    c.uinit();
    writeFile(schemePath(2, 0), "keep");
    writeStamp(3);
    ISensorController c2;
    c2.setChannelID(1);
    c2.init(moduleWith("vox384"));
    EXPECT_TRUE(sameBytes(bytesOf(row(c2, 2)), readFile(thermalPath(0))));
    EXPECT_EQ("keep", readFile(schemePath(2, 0)));
    c2.uinit();
}

TEST_F(IntegrationTest, MinimalHostSequenceOnEveryTree) {
    for (const char* szModel : {"box", "dome", "lpr", "fisheye"}) {
        SCOPED_TRACE(szModel);
        // A fresh simulator and no files of the previous model.
        ispsim::reset();
        for (int s = 0; s < 8; ++s) {
            removeFile(schemePath(1, s));
        }
        removeFile("/mnt/mtd/code/config_file/snsversion.cfg");
        installDeviceTree(szModel);
        ISensorController c;
        c.setChannelID(1);
        ASSERT_TRUE(c.init(firstModule()));
        // Every row keeps the factory order: the scheme mode first, then the
        // time window at entries 1 to 4, which are read by position.
        for (u32 s = 0; s <= Peer::sysConf(c).nSchemeSum; ++s) {
            std::vector<KeyVal> vecRow = row(c, s);
            ASSERT_GE(vecRow.size(), 5u);
            for (u32 i = 0; i < 5; ++i) {
                EXPECT_EQ(8000u + i, vecRow[i].key) << "scheme " << s;
            }
        }
        EXPECT_EQ(0, c.setParameters(std::string("(34,60)(2337,45)"), true));
        std::string strValues;
        EXPECT_TRUE(c.getParameters("(34,2337)", strValues));
        EXPECT_EQ("(34,60)(2337,45)", strValues);
        EXPECT_EQ(0, c.flush());
        c.uinit();
    }
}

} // namespace
} // namespace integration_test
