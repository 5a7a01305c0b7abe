// Lens, iris, day/night, light and status operations.
#include <gtest/gtest.h>

#include <functional>

#include "support/BareController.h"
#include "support/TestEnv.h"

namespace {

using tarnix_test::BareController;

class LensIrisLightTest : public tarnix_test::TarnixTest {
protected:
    void loadProfile(const std::string& text) {
        writeFile("/isp/test-profile.conf", text);
        ASSERT_TRUE(ispsim::loadProfile(hostPath("/isp/test-profile.conf")));
        ispsim::clearCalls();
    }
};

// Every call of the log as "cmd/opt=word0".
std::vector<std::string> log() {
    std::vector<std::string> out;
    for (const auto& call : ispsim::calls()) {
        std::string text = std::to_string(call.cmd) + "/" + std::to_string(call.opt);
        if (!call.data.empty()) {
            text += "=" + std::to_string(static_cast<int32_t>(call.data[0]));
        }
        out.push_back(text);
    }
    return out;
}
using Log = std::vector<std::string>;

// ---- zoom ----

TEST_F(LensIrisLightTest, ZoomRatioIsInterpolatedBetweenTablePositions) {
    BareController bare({{34, 50}}, 2);
    struct Case {
        int pos;
        int ratio;
    };
    for (Case c :
         {Case{16384, 1000}, Case{24576, 2000}, Case{20480, 1500}, Case{100, 1000}, Case{-5, 1000},
          Case{16385, 1001}, Case{27264, 3000}, Case{28000, 3523}, Case{31424, 16000}, Case{31300, 15355}}) {
        ispsim::setValue(0, 1568, static_cast<uint32_t>(c.pos));
        int nPos = 0;
        int nRatio = -7;
        EXPECT_TRUE(bare->getZoomValue(nPos, nRatio)) << c.pos;
        EXPECT_EQ(c.pos, nPos);
        EXPECT_EQ(c.ratio, nRatio) << c.pos;
    }
    EXPECT_EQ(1u, ispsim::calls()[0].opt);
    EXPECT_EQ(1568u, ispsim::calls()[0].cmd);
}

TEST_F(LensIrisLightTest, ZoomBeyondTheLastPositionLeavesTheRatio) {
    BareController bare({{34, 50}}, 2);
    ispsim::setValue(0, 1568, 31425);
    int nPos = 0;
    int nRatio = 4321;
    EXPECT_TRUE(bare->getZoomValue(nPos, nRatio));
    EXPECT_EQ(31425, nPos);
    EXPECT_EQ(4321, nRatio);
}

TEST_F(LensIrisLightTest, ZoomReadFailureReturnsFalse) {
    BareController bare({{34, 50}}, 2);
    ispsim::setFailure(-1, 1568, 1, -1);
    int nPos = 3;
    int nRatio = 4;
    EXPECT_FALSE(bare->getZoomValue(nPos, nRatio));
    EXPECT_EQ(4, nRatio);
}

TEST_F(LensIrisLightTest, WithoutALensTheLensOperationsDoNothingAndSucceed) {
    BareController bare({{34, 50}}, 2);
    bare.setHasLens(false);
    int nPos = 9;
    int nRatio = 9;
    EXPECT_TRUE(bare->getZoomValue(nPos, nRatio));
    EXPECT_EQ(0, nPos);
    EXPECT_EQ(9, nRatio);
    EXPECT_TRUE(bare->setZoomValue(20000));
    EXPECT_TRUE(bare->setPTZRunState(1));
    EXPECT_TRUE(bare->setFocusValue(300));
    int nFocus = 9;
    EXPECT_TRUE(bare->getFocusValue(nFocus));
    EXPECT_EQ(0, nFocus);
    EXPECT_TRUE(bare->focusFar());
    EXPECT_TRUE(bare->focusNear());
    EXPECT_TRUE(ispsim::calls().empty());

    // Zoom steps are sent all the same.
    EXPECT_TRUE(bare->zoomIn());
    EXPECT_TRUE(bare->zoomOut());
    EXPECT_EQ((Log{"1569/0=1", "1570/0=1"}), log());
}

TEST_F(LensIrisLightTest, LensOperationsWithALens) {
    BareController bare({{34, 50}}, 2);
    ispsim::setValue(0, 1552, 345);
    EXPECT_TRUE(bare->setZoomValue(20000));
    EXPECT_TRUE(bare->setPTZRunState(1));
    EXPECT_TRUE(bare->setFocusValue(300));
    int nFocus = 0;
    EXPECT_TRUE(bare->getFocusValue(nFocus));
    EXPECT_EQ(300, nFocus);
    EXPECT_EQ((Log{"1568/0=20000", "1632/0=1", "1552/0=300", "1552/1=0"}), log());
}

TEST_F(LensIrisLightTest, FocusStepsSetTheFocusModeFirstAndIgnoreItsResult) {
    BareController bare({{34, 50}}, 2);
    ispsim::setFailure(-1, 1536, 0, -1);
    EXPECT_TRUE(bare->focusFar());
    EXPECT_TRUE(bare->focusNear());
    EXPECT_EQ((Log{"1536/0=1", "1554/0=1", "1536/0=1", "1553/0=1"}), log());
    ispsim::setFailure(-1, 1553, 0, -1);
    EXPECT_FALSE(bare->focusNear());
}

TEST_F(LensIrisLightTest, LockedLensIgnoresLensCommands) {
    BareController bare({{34, 50}}, 2);
    SensorZoomFocusParam stLock;
    stLock.setLockZoomFocusEnable(true);
    bare->setSensorZoomFocusParam(stLock);
    EXPECT_TRUE(bare->zoomIn());
    EXPECT_TRUE(bare->setZoomValue(100));
    EXPECT_TRUE(bare->focusFar());
    EXPECT_TRUE(ispsim::calls().empty());
}

// ---- iris ----

TEST_F(LensIrisLightTest, IrisValueIsClampedBeforeItIsSent) {
    BareController bare({{34, 50}}, 2);
    EXPECT_TRUE(bare->setIrisValue(25600));
    EXPECT_TRUE(bare->setIrisValue(25601));
    EXPECT_TRUE(bare->setIrisValue(-5));
    EXPECT_TRUE(bare->setIrisValue(255));
    EXPECT_TRUE(bare->setIrisValue(256));
    // Above the range the value becomes 1048576, far beyond it, as it always has.
    EXPECT_EQ((Log{"16/0=3", "82/0=25600", "16/0=3", "82/0=1048576", "16/0=3", "82/0=256", "16/0=3",
                   "82/0=256", "16/0=3", "82/0=256"}),
              log());
}

TEST_F(LensIrisLightTest, IrisValueFailsWhenTheExposureModeIsRefused) {
    BareController bare({{34, 50}}, 2);
    ispsim::setFailure(-1, 16, 0, -1);
    EXPECT_FALSE(bare->setIrisValue(1000));
    EXPECT_FALSE(bare->irisUp());
    EXPECT_FALSE(bare->irisDown());
    EXPECT_EQ((Log{"16/0=3", "16/0=3", "16/0=3"}), log());
}

TEST_F(LensIrisLightTest, IrisSteps) {
    BareController bare({{34, 50}}, 2);
    EXPECT_TRUE(bare->irisUp());
    EXPECT_TRUE(bare->irisDown());
    EXPECT_EQ((Log{"16/0=3", "83/0=1", "16/0=3", "84/0=1"}), log());
    ispsim::setFailure(-1, 84, 0, -1);
    EXPECT_FALSE(bare->irisDown());
}

// ---- one-call operations ----

struct OneCall {
    const char* name;
    std::function<bool(ISensorController&)> op;
    unsigned int cmd;
    unsigned int opt;
};

TEST_F(LensIrisLightTest, OneCallOperationsSendTheirCommand) {
    BareController bare({{34, 50}}, 2);
    int nOut = 0;
    unsigned int nUnsigned = 0;
    bool bOut = false;
    int nStrategy = 2;
    ia_ir_led_info_st stLed = {1, 2, 3, 4};
    std::vector<OneCall> cases = {
        {"zoomIn", [](ISensorController& c) { return c.zoomIn(); }, 1569, 0},
        {"zoomOut", [](ISensorController& c) { return c.zoomOut(); }, 1570, 0},
        {"setFocusMode", [](ISensorController& c) { return c.setFocusMode(1); }, 1536, 0},
        {"getFocusMode", [&](ISensorController& c) { return c.getFocusMode(nOut); }, 1536, 1},
        {"getFocus", [&](ISensorController& c) { return c.getFocus(nOut); }, 1603, 1},
        {"getAFStatistic", [&](ISensorController& c) { return c.getAFStatistic(nUnsigned); }, 1648, 1},
        {"setDNState", [](ISensorController& c) { return c.setDNState(1); }, 153, 0},
        {"getDNState", [&](ISensorController& c) { return c.getDNState(nOut); }, 153, 1},
        {"getWDR", [&](ISensorController& c) { return c.getWDR(nOut); }, 2368, 1},
        {"setExposureStrategy", [&](ISensorController& c) { return c.setExposureStrategy(nStrategy); }, 225,
         0},
        {"getCmdExecStatus", [&](ISensorController& c) { return c.getCmdExecStatus(1539, nOut); }, 1539, 4},
        {"getIRSwitch", [&](ISensorController& c) { return c.getIRSwitch(nOut); }, 160, 1},
        {"getWhiteSwitch", [&](ISensorController& c) { return c.getWhiteSwitch(nOut); }, 168, 1},
        {"getWhiteMode", [&](ISensorController& c) { return c.getWhiteMode(nOut); }, 169, 1},
        {"getLightType", [&](ISensorController& c) { return c.getLightType(nOut); }, 224, 1},
        {"getIrisValue", [&](ISensorController& c) { return c.getIrisValue(nOut); }, 82, 1},
        {"getHeatStatus", [&](ISensorController& c) { return c.getHeatStatus(bOut); }, 1606, 1},
        {"getTempValue", [&](ISensorController& c) { return c.getTempValue(nOut); }, 1607, 1},
        {"setIrLedInfo", [&](ISensorController& c) { return c.setIrLedInfo(&stLed); }, 178, 0},
    };
    for (const OneCall& c : cases) {
        ispsim::clearCalls();
        ispsim::clearFailures();
        EXPECT_TRUE(c.op(bare.ctl())) << c.name;
        auto calls = ispsim::calls();
        ASSERT_EQ(1u, calls.size()) << c.name;
        EXPECT_EQ(c.cmd, calls[0].cmd) << c.name;
        EXPECT_EQ(c.opt, calls[0].opt) << c.name;
        EXPECT_EQ(0, calls[0].channel) << c.name;

        ispsim::setFailure(-1, c.cmd, -1, -1);
        EXPECT_FALSE(c.op(bare.ctl())) << c.name;
    }
}

TEST_F(LensIrisLightTest, ReadsPassTheIspsValuesThrough) {
    BareController bare({{34, 50}}, 2);
    ispsim::setValue(0, 153, 1);
    ispsim::setValue(0, 1607, 0xFFFFFFF6u);
    ispsim::setValue(0, 1606, 1);
    int nOut = 0;
    EXPECT_TRUE(bare->getDNState(nOut));
    EXPECT_EQ(1, nOut);
    EXPECT_TRUE(bare->getTempValue(nOut));
    EXPECT_EQ(-10, nOut);
    bool bHeat = false;
    EXPECT_TRUE(bare->getHeatStatus(bHeat));
    EXPECT_TRUE(bHeat);
    ispsim::setValue(0, 1606, 0);
    EXPECT_TRUE(bare->getHeatStatus(bHeat));
    EXPECT_FALSE(bHeat);
}

TEST_F(LensIrisLightTest, IrLedRecordIsPassedThroughUnchanged) {
    BareController bare({{34, 50}}, 2);
    ia_ir_led_info_st stLed = {1, 20, 30, 40};
    EXPECT_TRUE(bare->setIrLedInfo(&stLed));
    ASSERT_EQ(1u, ispsim::calls().size());
    EXPECT_EQ((std::vector<uint32_t>{1, 20, 30, 40}), ispsim::calls()[0].data);
}

TEST_F(LensIrisLightTest, CommandStatusIsRead) {
    BareController bare({{34, 50}}, 2);
    loadProfile("status 1539 2\n");
    int nStatus = -1;
    EXPECT_TRUE(bare->getCmdExecStatus(1539, nStatus));
    EXPECT_EQ(2, nStatus);
}

TEST_F(LensIrisLightTest, AutoExposureInfoFieldsAreReordered) {
    BareController bare({{34, 50}}, 2);
    loadProfile("exposure 11 22 33\n");
    int a = 0;
    int b = 0;
    int c = 0;
    EXPECT_TRUE(bare->getAutoExposureInfo(a, b, c));
    EXPECT_EQ(33, a);
    EXPECT_EQ(11, b);
    EXPECT_EQ(22, c);
    ASSERT_EQ(1u, ispsim::calls().size());
    EXPECT_EQ(17u, ispsim::calls()[0].cmd);
    EXPECT_EQ(1u, ispsim::calls()[0].opt);

    ispsim::setFailure(-1, 17, 1, -1);
    a = 5;
    EXPECT_FALSE(bare->getAutoExposureInfo(a, b, c));
    EXPECT_EQ(5, a);
}

TEST_F(LensIrisLightTest, CameraVersionText) {
    BareController bare({{34, 50}}, 2);
    std::string strVersion = "old";
    EXPECT_TRUE(bare->getCameraVerInf(strVersion));
    EXPECT_EQ("ISPSIM 1.0", strVersion);
    loadProfile("version IMX327 ISP v2.3.1\n");
    EXPECT_TRUE(bare->getCameraVerInf(strVersion));
    EXPECT_EQ("IMX327 ISP v2.3.1", strVersion);
    ispsim::setFailure(-1, 2496, 1, -1);
    EXPECT_FALSE(bare->getCameraVerInf(strVersion));
    EXPECT_EQ("IMX327 ISP v2.3.1", strVersion);
}

// ---- stored light parameters ----

TEST_F(LensIrisLightTest, LightTypeAboveThreeIsRefusedWithoutACall) {
    BareController bare(tarnix_test::typicalFactoryList(), 4);
    EXPECT_FALSE(bare->setLightType(4));
    EXPECT_FALSE(bare->setLightType(-1));
    EXPECT_TRUE(ispsim::calls().empty());
    EXPECT_TRUE(bare->setLightType(3));
    EXPECT_EQ((Log{"224/0=3"}), log());
    EXPECT_EQ(3u, bare.value(0, 224));
    // Unchanged: skipped, still a success.
    EXPECT_TRUE(bare->setLightType(3));
    EXPECT_EQ(1u, ispsim::calls().size());
}

TEST_F(LensIrisLightTest, WhiteModeIsSetThroughItsKeyAndReadFromTheLiveState) {
    BareController bare(tarnix_test::typicalFactoryList(), 4);
    EXPECT_TRUE(bare->setWhiteMode(2));
    EXPECT_EQ(2u, bare.value(0, 171));
    ispsim::setValue(0, 169, 1);
    int nMode = 0;
    EXPECT_TRUE(bare->getWhiteMode(nMode));
    EXPECT_EQ(1, nMode);
    // KEY_WHITE_MODE (171) drives ISP command 169; the read asks 169 directly.
    EXPECT_EQ((Log{"169/0=2", "169/1=0"}), log());
}

TEST_F(LensIrisLightTest, IrOnSwitchesWhiteLightOffFirst) {
    BareController bare(tarnix_test::typicalFactoryList(), 4);
    bare.set(0, 170, 1);
    ispsim::setValue(0, 168, 1);
    ispsim::clearCalls();
    EXPECT_TRUE(bare->setIRSwitch(1));
    // Read the white light (168), switch it off (key 170 drives 168), then IR on.
    EXPECT_EQ((Log{"168/1=0", "168/0=0", "160/0=1"}), log());
    EXPECT_EQ(0u, bare.value(0, 170));
    EXPECT_EQ(1u, bare.value(0, 160));
}

TEST_F(LensIrisLightTest, IrOnWithWhiteLightOffOnlySwitchesIr) {
    BareController bare(tarnix_test::typicalFactoryList(), 4);
    EXPECT_TRUE(bare->setIRSwitch(1));
    EXPECT_EQ((Log{"168/1=0", "160/0=1"}), log());
}

TEST_F(LensIrisLightTest, IrOnFailsWhenTheWhiteLightCannotBeRead) {
    BareController bare(tarnix_test::typicalFactoryList(), 4);
    ispsim::setFailure(-1, 168, 1, -1);
    EXPECT_FALSE(bare->setIRSwitch(1));
    EXPECT_EQ((Log{"168/1=0"}), log());
    EXPECT_EQ(0u, bare.value(0, 160));
}

TEST_F(LensIrisLightTest, IrOnFailsWhenTheWhiteLightCannotBeSwitchedOff) {
    BareController bare(tarnix_test::typicalFactoryList(), 4);
    bare.set(0, 170, 1);
    ispsim::setValue(0, 168, 1);
    ispsim::setFailure(-1, 168, 0, -1);
    ispsim::clearCalls();
    EXPECT_FALSE(bare->setIRSwitch(1));
    EXPECT_EQ((Log{"168/1=0", "168/0=0"}), log());
    EXPECT_EQ(0u, bare.value(0, 160));
}

TEST_F(LensIrisLightTest, IrOffNeedsNoRead) {
    BareController bare(tarnix_test::typicalFactoryList(), 4);
    bare.set(0, 160, 1);
    EXPECT_TRUE(bare->setIRSwitch(0));
    EXPECT_EQ((Log{"160/0=0"}), log());
    EXPECT_TRUE(bare->setIRSwitch(2));
    EXPECT_EQ((Log{"160/0=0", "160/0=2"}), log());
}

TEST_F(LensIrisLightTest, WhiteLightOnSwitchesIrOffFirst) {
    BareController bare(tarnix_test::typicalFactoryList(), 4);
    bare.set(0, 160, 1);
    ispsim::setValue(0, 160, 1);
    ispsim::clearCalls();
    EXPECT_TRUE(bare->setWhiteSwitch(1));
    EXPECT_EQ((Log{"160/1=0", "160/0=0", "168/0=1"}), log());
    EXPECT_EQ(0u, bare.value(0, 160));
    EXPECT_EQ(1u, bare.value(0, 170));
}

TEST_F(LensIrisLightTest, WhiteLightOnFailsWhenIrCannotBeRead) {
    BareController bare(tarnix_test::typicalFactoryList(), 4);
    ispsim::setFailure(-1, 160, 1, -1);
    EXPECT_FALSE(bare->setWhiteSwitch(1));
    EXPECT_EQ((Log{"160/1=0"}), log());
}

TEST_F(LensIrisLightTest, WhiteLightOffNeedsNoRead) {
    BareController bare(tarnix_test::typicalFactoryList(), 4);
    bare.set(0, 170, 1);
    EXPECT_TRUE(bare->setWhiteSwitch(0));
    EXPECT_EQ((Log{"168/0=0"}), log());
    ispsim::setFailure(-1, 168, 0, -1);
    EXPECT_FALSE(bare->setWhiteSwitch(3));
}

} // namespace
