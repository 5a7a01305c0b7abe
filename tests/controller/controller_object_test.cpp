// The controller object: construction, channel and the scheme window check.
#include <gtest/gtest.h>

#include <memory>

#include "controller/ISensorController.h"
#include "support/ControllerPeer.h"
#include "support/TestEnv.h"

using Peer = ISensorControllerTestPeer;

namespace {

class ControllerObjectTest : public tarnix_test::TarnixTest {
protected:
    void setDeviceType(int type) {
        writeFile("/mnt/mtd/code/factory_setting/machineinfo.ini",
                  "[machine]\nDeviceType=" + std::to_string(type) + "\nHardwareModel=Hi3516DV300\nHardwareCode=A1\n");
    }
};

// A scheme cache of one user scheme plus factory, holding the five scheme keys.
struct WindowCache {
    KeyVal block[2][5];
    KeyVal* rows[2];
    WindowCache(ISensorController& c, u32 sh, u32 sm, u32 eh, u32 em) {
        u32 keys[5] = {8000, 8001, 8002, 8003, 8004};
        u32 values[5] = {0, sh, sm, eh, em};
        for (int r = 0; r < 2; ++r) {
            for (int i = 0; i < 5; ++i) {
                block[r][i] = {keys[i], values[i]};
            }
            rows[r] = block[r];
        }
        Peer::setSchemeSum(c, 1);
        Peer::userKeyVal(c) = rows;
        Peer::keyValSum(c) = 5;
        Peer::curScheme(c) = 0;
        controller = &c;
    }
    ~WindowCache() {
        Peer::userKeyVal(*controller) = nullptr;
        Peer::keyValSum(*controller) = 0;
    }
    ISensorController* controller;
};

} // namespace

TEST_F(ControllerObjectTest, InitialValuesAfterConstruction) {
    ISensorController c;
    EXPECT_EQ(1, Peer::cameraId(c));
    EXPECT_EQ(-1, Peer::lastScheme(c).load());
    EXPECT_EQ(0, Peer::curScheme(c).load());
    EXPECT_EQ(1, Peer::mode(c).load());
    EXPECT_EQ(nullptr, Peer::userKeyVal(c));
    EXPECT_EQ(nullptr, Peer::fctKeyVal(c));
    EXPECT_EQ(0u, Peer::keyValSum(c));
    EXPECT_EQ(8u, Peer::version(c));
    EXPECT_EQ(0, Peer::flags(c));
    EXPECT_EQ(170u, Peer::keyCmdSum(c));
    EXPECT_EQ(255u, Peer::lastDNState(c));
    EXPECT_FALSE(Peer::lprMode(c));
    EXPECT_TRUE(Peer::showWDR(c).load());
    EXPECT_FALSE(Peer::timeScheme(c).load());
    EXPECT_FALSE(Peer::dnScheme(c).load());
    EXPECT_FALSE(Peer::limitedIrPower(c));
    EXPECT_TRUE(Peer::hasLens(c));
    EXPECT_FALSE(Peer::shutterResetPass(c).load());
    EXPECT_FALSE(Peer::thermal(c));
    EXPECT_TRUE(Peer::showLDC(c).load());
    ASSERT_NE(nullptr, Peer::thread(c));
    EXPECT_FALSE(Peer::thread(c)->isRunning());
    EXPECT_EQ("SensorThread", Peer::thread(c)->name());
    EXPECT_EQ(0, c.getSensorStatus());
}

TEST_F(ControllerObjectTest, ConstructorReadsTheMachineInformation) {
    setDeviceType(9);
    ISensorController c;
    EXPECT_EQ(9, Peer::machineInfo(c).getDeviceType());
    EXPECT_EQ("Hi3516DV300", Peer::machineInfo(c).getHardwareModel());
    EXPECT_EQ("A1", Peer::machineInfo(c).getHardwareCode());
}

TEST_F(ControllerObjectTest, DeviceType13AlwaysDrivesThermalChannelTwo) {
    setDeviceType(13);
    ISensorController c;
    c.setChannelID(1);
    EXPECT_EQ(2, Peer::cameraId(c));
    EXPECT_TRUE(Peer::thermal(c));
}

TEST_F(ControllerObjectTest, ThermalChannelOnlyForChannelTwoOfThermalTypes) {
    for (int type : {14, 17, 19, 23}) {
        setDeviceType(type);
        ISensorController c;
        c.setChannelID(2);
        EXPECT_TRUE(Peer::thermal(c)) << type;
        ISensorController c1;
        c1.setChannelID(1);
        EXPECT_FALSE(Peer::thermal(c1)) << type;
    }
    for (int type : {1, 4, 8, 9}) {
        setDeviceType(type);
        ISensorController c;
        c.setChannelID(2);
        EXPECT_EQ(2, Peer::cameraId(c));
        EXPECT_FALSE(Peer::thermal(c)) << type;
    }
}

TEST_F(ControllerObjectTest, ThermalFlagIsNeverClearedBySetChannelId) {
    setDeviceType(14);
    ISensorController c;
    c.setChannelID(2);
    c.setChannelID(1);
    EXPECT_EQ(1, Peer::cameraId(c));
    EXPECT_TRUE(Peer::thermal(c));
}

TEST_F(ControllerObjectTest, SensorTypeIsTheModuleId) {
    ISensorController c;
    Peer::sysConf(c).moduleConfig.nModuleId = 42;
    EXPECT_EQ(42, c.getSensorType());
}

TEST_F(ControllerObjectTest, ParamCheckSameStartAndEndIs507) {
    ISensorController c;
    WindowCache cache(c, 8, 0, 8, 0);
    EXPECT_EQ(507, c.paramCheck());
}

TEST_F(ControllerObjectTest, ParamCheckEndPastMidnightIs506) {
    ISensorController c;
    WindowCache cache(c, 8, 0, 24, 1);
    EXPECT_EQ(506, c.paramCheck());
}

TEST_F(ControllerObjectTest, ParamCheckStartPastMidnightIs505) {
    ISensorController c;
    WindowCache cache(c, 24, 1, 24, 30);
    EXPECT_EQ(505, c.paramCheck());
}

TEST_F(ControllerObjectTest, ParamCheckAcceptsAFullDayAndRejectsAWrappedWindow) {
    ISensorController c;
    WindowCache cache(c, 0, 0, 24, 0);
    EXPECT_EQ(0, c.paramCheck());
    WindowCache wrapped(c, 22, 0, 6, 0);
    EXPECT_EQ(507, c.paramCheck());
}

TEST_F(ControllerObjectTest, ParamCheckUsesTheCurrentScheme) {
    ISensorController c;
    WindowCache cache(c, 8, 0, 18, 0);
    cache.block[1][3].value = 8; // factory row: 08:00 - 08:00
    Peer::curScheme(c) = 1;
    EXPECT_EQ(507, c.paramCheck());
    Peer::curScheme(c) = 0;
    EXPECT_EQ(0, c.paramCheck());
}

TEST_F(ControllerObjectTest, PrintDebugMsgDoesNothing) {
    ISensorController c;
    captureStdout();
    c.printDebugMsg();
    EXPECT_EQ("", capturedStdout());
}
