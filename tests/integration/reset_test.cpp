// Factory reset of a channel on the sample trees: its files are deleted and
// rebuilt by a whole uinit/init cycle, and scheme 0 is current afterwards.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "integration/integration_fixture.h"

namespace integration_test {
namespace {

using lifecycle_test::bytesOf;
using lifecycle_test::sameBytes;
using lifecycle_test::schemePath;
using lifecycle_test::thermalPath;

ModuleConfigure withSchemes(ModuleConfigure p_obj, int p_nSchemes) {
    std::string strDetail = p_obj.getDetail();
    size_t nPos = strDetail.find("(max_scheme=");
    if (nPos != std::string::npos) {
        strDetail.erase(nPos, strDetail.find(')', nPos) - nPos + 1);
    }
    p_obj.setDetail(strDetail + "(max_scheme=" + std::to_string(p_nSchemes) + ")");
    return p_obj;
}

class ResetTest : public IntegrationTest {
protected:
    void editScheme(ISensorController& c, int p_nScheme, const std::string& p_strText) {
        ASSERT_TRUE(c.setParamScheme(p_nScheme));
        ASSERT_EQ(0, c.setParameters(p_strText, true));
        ASSERT_EQ(0, c.flush());
    }
};

TEST_F(ResetTest, ResetReturnsTheChannelToFactoryFilesAndSchemeZero) {
    installDeviceTree("box");
    ISensorController c;
    c.setChannelID(1);
    ASSERT_TRUE(c.init(firstModule()));
    ASSERT_TRUE(c.setParamMode(0));
    editScheme(c, 0, "(34,60)");
    editScheme(c, 2, "(2337,45)");
    ispsim::clearCalls();

    EXPECT_TRUE(c.resetParameters());
    // The factory set of this init (the first init of a controller still
    // shows the lens-distortion items, later ones follow the video module).
    const std::string strFactory = bytesOf(row(c, 4));

    EXPECT_EQ(0, scheme(c));
    int nMode = -1;
    EXPECT_TRUE(c.getParamMode(nMode));
    EXPECT_EQ(0, nMode); // the switching mode is kept
    EXPECT_EQ(0, Peer::flags(c) & ISensorController::FLAG_RESETTING);
    EXPECT_TRUE(Peer::thread(c)->isRunning());
    EXPECT_EQ(4u, Peer::sysConf(c).nSchemeSum);
    EXPECT_TRUE(Peer::hasLens(c)); // the module identity of the last init
    for (int s = 0; s < 4; ++s) {
        EXPECT_TRUE(sameBytes(strFactory, readFile(schemePath(1, s)))) << s;
        EXPECT_TRUE(sameBytes(strFactory, bytesOf(row(c, static_cast<u32>(s))))) << s;
    }
    std::string strValues;
    EXPECT_TRUE(c.getParameters("(34,2337)", strValues));
    EXPECT_EQ("(34,50)(2337,50)", strValues);
    // Leaving scheme 2 for the factory values sent the saturation back.
    EXPECT_TRUE(hasSetCall(0, 2337, 50));
    c.uinit();
}

TEST_F(ResetTest, SchemeFilesFromFourOnSurviveTheDelete) {
    installDeviceTree("box");
    const ModuleConfigure objModule = withSchemes(firstModule(), 6);
    ISensorController c;
    c.setChannelID(1);
    ASSERT_TRUE(c.init(objModule));
    ASSERT_EQ(6u, Peer::sysConf(c).nSchemeSum);
    ASSERT_TRUE(c.setParamMode(0));
    editScheme(c, 3, "(34,33)");
    editScheme(c, 4, "(34,44)");
    const std::string strScheme4 = readFile(schemePath(1, 4));

    const std::string strScheme5 = readFile(schemePath(1, 5));
    EXPECT_TRUE(c.resetParameters());
    const std::string strFactory = bytesOf(row(c, 6));
    EXPECT_TRUE(sameBytes(strFactory, readFile(schemePath(1, 3))));
    // Schemes 4 and 5 lie outside the delete pattern and init does not
    // rewrite an existing file, so their values come back (as far as the
    // factory set of this init reaches).
    EXPECT_TRUE(sameBytes(strScheme4, readFile(schemePath(1, 4))));
    EXPECT_TRUE(sameBytes(strScheme5, readFile(schemePath(1, 5))));
    const std::string strRow4 = bytesOf(row(c, 4));
    ASSERT_LE(strRow4.size(), strScheme4.size());
    EXPECT_TRUE(strScheme4.compare(0, strRow4.size(), strRow4) == 0);
    int nBrightness = -1;
    ASSERT_TRUE(c.setParamScheme(4));
    EXPECT_TRUE(c.getParameter(34, nBrightness));
    EXPECT_EQ(44, nBrightness);
    c.uinit();
}

TEST_F(ResetTest, ResetOfChannelTwoLeavesChannelOneAlone) {
    installDeviceTree("box");
    ISensorController c1;
    c1.setChannelID(1);
    ISensorController c2;
    c2.setChannelID(2);
    ASSERT_TRUE(c1.init(firstModule()));
    ASSERT_TRUE(c2.init(firstModule()));
    ASSERT_TRUE(c1.setParamMode(0));
    ASSERT_TRUE(c2.setParamMode(0));
    editScheme(c1, 0, "(34,61)");
    editScheme(c2, 0, "(34,62)");
    const std::string strChannel1 = readFile(schemePath(1, 0));

    EXPECT_TRUE(c2.resetParameters());
    EXPECT_TRUE(sameBytes(strChannel1, readFile(schemePath(1, 0))));
    EXPECT_TRUE(sameBytes(bytesOf(row(c2, 4)), readFile(schemePath(2, 0))));
    std::string strValues;
    c1.getParameters("(34)", strValues);
    EXPECT_EQ("(34,61)", strValues);
    c2.uinit();
    c1.uinit();
}

TEST_F(ResetTest, ThermalResetDeletesTheThermalFiles) {
    installDeviceTree("thermal");
    ISensorController c;
    c.setChannelID(1);
    ASSERT_TRUE(c.init(moduleWith("vox384")));
    ASSERT_TRUE(c.setParamMode(0));
    editScheme(c, 1, "(34,70)");
    writeFile(schemePath(2, 0), "visible");
    EXPECT_TRUE(c.resetParameters());
    EXPECT_TRUE(sameBytes(bytesOf(row(c, 2)), readFile(thermalPath(1))));
    EXPECT_EQ("visible", readFile(schemePath(2, 0)));
    EXPECT_EQ(0, scheme(c));
    c.uinit();
}

TEST_F(ResetTest, HighDebugLevelReadsTheModuleFileAgain) {
    installDeviceTree("box");
    ISensorController c;
    c.setChannelID(1);
    ASSERT_TRUE(c.init(firstModule()));
    ASSERT_EQ(4u, Peer::sysConf(c).nSchemeSum);
    // The module file is edited after init.
    std::string strXml = readFile("/hd1/moduleConfig/moduleConfig.xml");
    size_t nPos = 0;
    while ((nPos = strXml.find("(max_scheme=4)", nPos)) != std::string::npos) {
        strXml.replace(nPos, 14, "(max_scheme=2)");
    }
    writeFile("/hd1/moduleConfig/moduleConfig.xml", strXml);

    // At the default level the identity kept from init is used.
    EXPECT_TRUE(c.resetParameters());
    EXPECT_EQ(4u, Peer::sysConf(c).nSchemeSum);

    // Above level 5 the edited file is read.
    setDebugMarker("6");
    g_nDebugLevel = 6;
    captureStdout();
    EXPECT_TRUE(c.resetParameters());
    capturedStdout();
    EXPECT_EQ(2u, Peer::sysConf(c).nSchemeSum);
    removeFile("/tmp/Debug.sign");
    c.uinit();
}

TEST_F(ResetTest, ResetOfAnUninitialisedControllerInitialisesIt) {
    installDeviceTree("box");
    ISensorController c;
    c.setChannelID(1);
    captureStdout();
    EXPECT_TRUE(c.resetParameters());
    capturedStdout();
    EXPECT_EQ(1, c.getSensorStatus());
    EXPECT_EQ(0, scheme(c));
    EXPECT_TRUE(Peer::thread(c)->isRunning());
    c.uinit();
}

} // namespace
} // namespace integration_test
