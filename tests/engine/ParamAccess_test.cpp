// Single parameter access: setParameter, getParameter and the named accessors.
#include <gtest/gtest.h>

#include <cstring>
#include <functional>

#include "config/sensor.h"
#include "support/BareController.h"
#include "support/RecordingVideoModule.h"
#include "support/TestEnv.h"

namespace {

using tarnix_test::BareController;
using tarnix_test::setCommands;

class ParamAccessTest : public tarnix_test::TarnixTest {};

TEST_F(ParamAccessTest, SetParameterAppliesOneRecordWithTheCallersFlag) {
    BareController bare(tarnix_test::typicalFactoryList(), 4);
    setDebugMarker("6");
    captureStdout();
    EXPECT_EQ(0, bare->setParameter(34, 66, true));
    std::string out = capturedStdout();
    EXPECT_NE(std::string::npos, out.find("[sensor dbg] file:ISensorController.cpp fun:setParameter line:"));
    EXPECT_NE(std::string::npos, out.find("p_Parameters22222222222(34, 66)\n"));
    EXPECT_EQ((std::vector<unsigned int>{34}), setCommands());
    EXPECT_EQ(66u, bare.value(0, 34));

    // Unchanged with the cache flag: skipped; without it: sent again, not written back.
    ispsim::clearCalls();
    EXPECT_EQ(0, bare->setParameter(34, 66, true));
    EXPECT_TRUE(ispsim::calls().empty());
    EXPECT_EQ(0, bare->setParameter(34, 67, false));
    EXPECT_EQ((std::vector<unsigned int>{34}), setCommands());
    EXPECT_EQ(66u, bare.value(0, 34));
}

TEST_F(ParamAccessTest, SetParameterReturnsMinusTheKeyOnFailure) {
    BareController bare(tarnix_test::typicalFactoryList(), 4);
    ispsim::setFailure(-1, 2337, 0, -1);
    EXPECT_EQ(-2337, bare->setParameter(2337, 1, true));
    EXPECT_EQ(50u, bare.value(0, 2337));
}

TEST_F(ParamAccessTest, CachedKeyIsReadWithoutTheIsp) {
    BareController bare(tarnix_test::typicalFactoryList(), 4);
    bare.set(3, 2369, 77);
    bare.setCurScheme(3);
    ispsim::setValue(0, 2369, 12);
    setDebugMarker("6");
    int nValue = 0;
    captureStdout();
    EXPECT_TRUE(bare->getParameter(2369, nValue));
    std::string out = capturedStdout();
    EXPECT_EQ(77, nValue);
    EXPECT_TRUE(ispsim::calls().empty());
    EXPECT_NE(std::string::npos, out.find("[sensor dbg] file:ISensorController.cpp fun:getParameter line:"));
    EXPECT_NE(std::string::npos, out.find("p_nKey(2369)\n"));
}

TEST_F(ParamAccessTest, UncachedIrKeysAnswerMinusOneWithoutTheIsp) {
    BareController bare({{34, 50}}, 2);
    for (int nKey : {160, 161, 163, 165, 167}) {
        int nValue = 0;
        EXPECT_TRUE(bare->getParameter(nKey, nValue)) << nKey;
        EXPECT_EQ(-1, nValue) << nKey;
    }
    EXPECT_TRUE(ispsim::calls().empty());
}

TEST_F(ParamAccessTest, OtherUncachedKeysAreReadFromTheIspAndNotCached) {
    BareController bare({{34, 50}}, 2);
    ispsim::setValue(0, 162, 41);
    ispsim::setValue(0, 164, 42);
    ispsim::setValue(0, 166, 43);
    int nValue = 0;
    EXPECT_TRUE(bare->getParameter(162, nValue));
    EXPECT_EQ(41, nValue);
    EXPECT_TRUE(bare->getParameter(164, nValue));
    EXPECT_EQ(42, nValue);
    EXPECT_TRUE(bare->getParameter(166, nValue));
    EXPECT_EQ(43, nValue);
    auto calls = ispsim::calls();
    ASSERT_EQ(3u, calls.size());
    EXPECT_EQ(162u, calls[0].cmd);
    EXPECT_EQ(1u, calls[0].opt);
    EXPECT_EQ(166u, calls[2].cmd);
    EXPECT_FALSE(bare.has(0, 162));
}

TEST_F(ParamAccessTest, ReadOfARecordCommandGivesItsFirstWord) {
    BareController bare({{34, 50}}, 2);
    // 145 answers with the three-word threshold record, 2496 with a 56-byte
    // text: the value is the first word, nothing is written past the buffer.
    ispsim::setValue(0, 145, 30);
    ispsim::setValue(0, 146, 60);
    int nValue = 0;
    EXPECT_TRUE(bare->getParameter(145, nValue));
    EXPECT_EQ(30, nValue);
    EXPECT_TRUE(bare->getParameter(2496, nValue));
    uint32_t nFirstWord = 0;
    std::memcpy(&nFirstWord, "ISPS", 4);
    EXPECT_EQ(static_cast<int>(nFirstWord), nValue);
}

TEST_F(ParamAccessTest, FailedIspReadLeavesTheOutputAndReturnsFalse) {
    BareController bare({{34, 50}}, 2);
    ispsim::setFailure(-1, 2528, 1, -1);
    int nValue = 1234;
    captureStdout();
    EXPECT_FALSE(bare->getParameter(2528, nValue));
    std::string out = capturedStdout();
    EXPECT_EQ(1234, nValue);
    EXPECT_NE(std::string::npos,
              out.find("[sensor assert] file:ISensorController.cpp fun:getParameter line:"));
    EXPECT_NE(std::string::npos,
              out.find("SNS_SUCCESS == doIaCmd(p_nKey, IA_CMD_OPT_GET, &p_nVal)   ~~~Assertion failed.\n"));
    EXPECT_NE(std::string::npos, out.find("\033[0m\033[31mget key(2528) val from 2a err\033[0m"));
}

TEST_F(ParamAccessTest, UnchangedWdrSwitchSucceedsWithoutTheIsp) {
    BareController bare(tarnix_test::typicalFactoryList(), 4);
    RecordingVideoModule video;
    bare->setVideoStreamModule(&video);
    int nValue = 0;
    EXPECT_TRUE(bare->setWDRSwitch(nValue));
    EXPECT_TRUE(ispsim::calls().empty());
    EXPECT_TRUE(video.notifications().empty());
}

TEST_F(ParamAccessTest, DayNightModeGetterAlwaysReportsSuccess) {
    BareController bare({{34, 50}}, 2);
    ispsim::setFailure(-1, 144, 1, -1);
    int nValue = 9;
    EXPECT_TRUE(bare->getDNMode(nValue));
    EXPECT_EQ(9, nValue);
    // The same failure through a plain getter is reported as such.
    ispsim::setFailure(-1, 2368, 1, -1);
    EXPECT_FALSE(bare->getWDRSwitch(nValue));
}

TEST_F(ParamAccessTest, DayNightModeSetterTakesItsValueByValue) {
    BareController bare(tarnix_test::typicalFactoryList(), 4);
    EXPECT_TRUE(bare->setDNMode(2));
    EXPECT_EQ((std::vector<unsigned int>{144}), setCommands());
    EXPECT_EQ(2u, bare.value(0, 144));
    int nValue = -1;
    EXPECT_TRUE(bare->getDNMode(nValue));
    EXPECT_EQ(2, nValue);
}

struct Accessor {
    u32 key;
    std::function<bool(ISensorController&, int&)> get;
    std::function<bool(ISensorController&, int&)> set;
};

std::vector<Accessor> accessors() {
    using C = ISensorController;
    return {
        {2368, &C::getWDRSwitch, &C::setWDRSwitch},
        {2369, &C::getWDRStrength, &C::setWDRStrength},
        {112, &C::getHLCSwitch, &C::setHLCSwitch},
        {113, &C::getHLCStrength, &C::setHLCStrength},
        {128, &C::getBLCSwitch, &C::setBLCSwitch},
        {130, &C::getBLCStrength, &C::setBLCStrength},
        {2400, &C::getDefogSwitch, &C::setDefogSwitch},
        {2401, &C::getDefogStrength, &C::setDefogStrength},
        {2304, &C::get2DSwitch, &C::set2DSwitch},
        {2305, &C::get2DMode, &C::set2DMode},
        {2306, &C::get2DAutoMaxStrength, &C::set2DAutoMaxStrength},
        {2307, &C::get2DManualMaxStrength, &C::set2DManualMaxStrength},
        {2308, &C::get3DSwitch, &C::set3DSwitch},
        {2309, &C::get3DMode, &C::set3DMode},
        {2312, &C::get3DAutoMaxStrength, &C::set3DAutoMaxStrength},
        {2313, &C::get3DManualMaxStrength, &C::set3DManualMaxStrength},
        {2385, &C::getBeaway, &C::setBeaway},
        {2384, &C::getMirrorValue, nullptr},
    };
}

std::vector<KeyVal> accessorFactory() {
    std::vector<KeyVal> list;
    for (const Accessor& a : accessors()) {
        list.push_back({a.key, 0});
    }
    return list;
}

TEST_F(ParamAccessTest, NamedAccessorsUseTheirKeys) {
    BareController bare(accessorFactory(), 2);
    u32 nValue = 1;
    for (const Accessor& a : accessors()) {
        ++nValue;
        bare.set(0, a.key, nValue);
        int nRead = 0;
        EXPECT_TRUE(a.get(bare.ctl(), nRead)) << a.key;
        EXPECT_EQ(static_cast<int>(nValue), nRead) << a.key;
    }
    EXPECT_TRUE(ispsim::calls().empty());

    for (const Accessor& a : accessors()) {
        if (!a.set) {
            continue;
        }
        ++nValue;
        int nSet = static_cast<int>(nValue);
        ispsim::clearCalls();
        EXPECT_TRUE(a.set(bare.ctl(), nSet)) << a.key;
        EXPECT_EQ(nValue, bare.value(0, a.key)) << a.key;
        std::vector<unsigned int> cmds = setCommands();
        ASSERT_FALSE(cmds.empty()) << a.key;
        EXPECT_EQ(a.key, cmds.back()) << a.key;
    }
}

TEST_F(ParamAccessTest, NamedSettersReportFailure) {
    BareController bare(accessorFactory(), 2);
    ispsim::setFailure(-1, 113, 0, -1);
    int nValue = 5;
    EXPECT_FALSE(bare->setHLCStrength(nValue));
    EXPECT_EQ(0u, bare.value(0, 113));
}

TEST_F(ParamAccessTest, ShowFlagsAreReadBack) {
    BareController bare({{34, 50}}, 2);
    bool bShow = true;
    bare->setShowWDRFalg(false);
    EXPECT_TRUE(bare->getShowWDRFalg(bShow));
    EXPECT_FALSE(bShow);
    bare->setShowWDRFalg(true);
    EXPECT_TRUE(bare->getShowWDRFalg(bShow));
    EXPECT_TRUE(bShow);

    bare->setShowBeawayFalg(false);
    EXPECT_FALSE(getshowBeawayFalg());
    EXPECT_TRUE(bare->getShowBeawayFalg(bShow));
    EXPECT_FALSE(bShow);
    setshowBeawayFalg(true);
    EXPECT_TRUE(bare->getShowBeawayFalg(bShow));
    EXPECT_TRUE(bShow);
}

TEST_F(ParamAccessTest, ZoomFocusRecordIsCopiedButBothDirectionsReportFalse) {
    BareController bare({{34, 50}}, 2);
    SensorZoomFocusParam stIn;
    stIn.setLockZoomFocusEnable(true);
    EXPECT_FALSE(bare->setSensorZoomFocusParam(stIn));
    SensorZoomFocusParam stOut;
    EXPECT_FALSE(bare->getSensorZoomFocusParam(stOut));
    EXPECT_TRUE(stOut.getLockZoomFocusEnable());
    // The copied lock is in force: lens commands are accepted and ignored.
    EXPECT_TRUE(bare->zoomIn());
    EXPECT_TRUE(ispsim::calls().empty());
}

} // namespace
