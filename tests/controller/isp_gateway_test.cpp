// The ISP gateway: doIaCmd and its filtered variants, the cross-channel
// trigger and the notifications to the video module.
#include <gtest/gtest.h>

#include <memory>

#include "controller/ISensorController.h"
#include "support/ControllerPeer.h"
#include "support/RecordingVideoModule.h"
#include "support/TestEnv.h"

using Peer = ISensorControllerTestPeer;

namespace {

class IspGatewayTest : public tarnix_test::TarnixTest {
protected:
    void setDeviceType(int type) {
        writeFile("/mnt/mtd/code/factory_setting/machineinfo.ini", "DeviceType=" + std::to_string(type) + "\n");
    }
    size_t callCount() { return ispsim::calls().size(); }
};

} // namespace

TEST_F(IspGatewayTest, DoIaCmdCallsTheIspOnChannelMinusOne) {
    ISensorController c;
    c.setChannelID(2);
    u32 value = 60;
    EXPECT_EQ(0, c.doIaCmd(34, 0, &value));
    auto calls = ispsim::calls();
    ASSERT_EQ(1u, calls.size());
    EXPECT_EQ(1, calls[0].channel);
    EXPECT_EQ(34u, calls[0].cmd);
    EXPECT_EQ(0u, calls[0].opt);
    ASSERT_EQ(1u, calls[0].data.size());
    EXPECT_EQ(60u, calls[0].data[0]);
    u32 read = 0;
    EXPECT_EQ(0, c.doIaCmd(34, IA_CMD_OPT_GET, &read));
    EXPECT_EQ(60u, read);
}

TEST_F(IspGatewayTest, DoIaCmdReturnsTheIspResultUnchanged) {
    ISensorController c;
    ispsim::setFailure(-1, 34, -1, -5);
    u32 value = 1;
    EXPECT_EQ(-5, c.doIaCmd(34, 0, &value));
}

TEST_F(IspGatewayTest, LockedLensIgnoresLensCommandsOnly) {
    ISensorController c;
    SensorZoomFocusParam locked;
    locked.setLockZoomFocusEnable(true);
    EXPECT_FALSE(c.setSensorZoomFocusParam(locked));
    u32 value = 1;
    EXPECT_EQ(0, c.doIaCmd(1536, 0, &value));
    EXPECT_EQ(0, c.doIaCmd(1616, 0, &value));
    EXPECT_EQ(0, c.doIaCmd(1569, 0, &value));
    EXPECT_EQ(0u, callCount());
    c.doIaCmd(1535, 0, &value);
    c.doIaCmd(1617, 0, &value);
    auto calls = ispsim::calls();
    ASSERT_EQ(2u, calls.size());
    EXPECT_EQ(1535u, calls[0].cmd);
    EXPECT_EQ(1617u, calls[1].cmd);
}

TEST_F(IspGatewayTest, UnlockedLensPassesLensCommands) {
    ISensorController c;
    u32 value = 1;
    c.doIaCmd(1536, 0, &value);
    EXPECT_EQ(1u, callCount());
}

TEST_F(IspGatewayTest, UserKeysAreDroppedDuringBulkApply) {
    ISensorController c;
    u32 value = 1;
    Peer::setFlag(c, ISensorController::FLAG_INITING, true);
    EXPECT_EQ(0, c.doIaCmd_User(1569, 0, &value));
    EXPECT_EQ(0u, callCount());
    for (u8 bit : {ISensorController::FLAG_RESETTING, ISensorController::FLAG_RESTORING,
                   ISensorController::FLAG_SWITCHING}) {
        Peer::setFlag(c, ISensorController::FLAG_INITING, false);
        Peer::setFlag(c, bit, true);
        EXPECT_EQ(0, c.doIaCmd_User(1569, 0, &value));
        Peer::setFlag(c, bit, false);
    }
    EXPECT_EQ(0u, callCount());
    // Uniniting and inited are not bulk-apply bits.
    Peer::setFlag(c, ISensorController::FLAG_INITED, true);
    Peer::setFlag(c, ISensorController::FLAG_UNINITING, true);
    EXPECT_EQ(0, c.doIaCmd_User(1569, 0, &value));
    EXPECT_EQ(1u, callCount());
}

TEST_F(IspGatewayTest, AutoFocusOnceZeroIsDroppedOnVisibleAndPassedOnThermal) {
    ISensorController c;
    u32 zero = 0;
    u32 one = 1;
    EXPECT_EQ(0, c.doIaCmd_User(1539, 0, &zero));
    EXPECT_EQ(0u, callCount());
    c.doIaCmd_User(1539, 0, &one);
    EXPECT_EQ(1u, callCount());
    Peer::thermal(c) = true;
    c.doIaCmd_User(1539, 0, &zero);
    EXPECT_EQ(2u, callCount());
}

TEST_F(IspGatewayTest, AutoFocusOnceWithoutLensIsAlwaysDropped) {
    ISensorController c;
    Peer::hasLens(c) = false;
    Peer::thermal(c) = true;
    u32 one = 1;
    EXPECT_EQ(0, c.doIaCmd_User(1539, 0, &one));
    EXPECT_EQ(0u, callCount());
    // Other user keys still pass without a lens.
    c.doIaCmd_User(1570, 0, &one);
    EXPECT_EQ(1u, callCount());
}

TEST_F(IspGatewayTest, ShutterCommandFilteredDuringBulkApplyUnlessOnePassIsGranted) {
    ISensorController c;
    u32 value = 3;
    Peer::setFlag(c, ISensorController::FLAG_SWITCHING, true);
    EXPECT_EQ(0, c.doIaCmdShutter(8211, 0, &value));
    EXPECT_EQ(0u, callCount());
    Peer::shutterResetPass(c) = true;
    c.doIaCmdShutter(8211, 0, &value);
    EXPECT_EQ(1u, callCount());
    EXPECT_FALSE(Peer::shutterResetPass(c).load());
    c.doIaCmdShutter(8211, 0, &value);
    EXPECT_EQ(1u, callCount());
    Peer::setFlag(c, ISensorController::FLAG_SWITCHING, false);
    c.doIaCmdShutter(8211, 0, &value);
    EXPECT_EQ(2u, callCount());
}

TEST_F(IspGatewayTest, SyncFovRequestOnChannelTwoTargetsChannelOne) {
    ISensorController c;
    c.setChannelID(2);
    u32 value = 1;
    EXPECT_EQ(0, c.doIoCrtl(8104, 0, &value));
    EXPECT_EQ(1, ISensorController::m_nChanneldDosomething.load());
    EXPECT_EQ(8104, ISensorController::m_nPassKeycmd.load());
    EXPECT_EQ(0u, callCount());
}

TEST_F(IspGatewayTest, DoIoCrtlWithOtherCommandChangesNothing) {
    ISensorController c;
    u32 value = 1;
    EXPECT_EQ(0, c.doIoCrtl(8105, 0, &value));
    EXPECT_EQ(-1, ISensorController::m_nChanneldDosomething.load());
    EXPECT_EQ(-1, ISensorController::m_nPassKeycmd.load());
    EXPECT_EQ(0u, callCount());
}

TEST_F(IspGatewayTest, NotifyWithoutModuleReturnsZero) {
    ISensorController c;
    EXPECT_EQ(0, c.notifyToVideo(2384, 1));
}

TEST_F(IspGatewayTest, NotifyReportsTheChannelAndTheModulesAnswer) {
    ISensorController c;
    c.setChannelID(3);
    RecordingVideoModule video;
    video.setNotifyResult(2385, 7);
    c.setVideoStreamModule(&video);
    EXPECT_EQ(0, c.notifyToVideo(2384, 1));
    EXPECT_EQ(7, c.notifyToVideo(2385, 0));
    auto notes = video.notifications();
    ASSERT_EQ(2u, notes.size());
    EXPECT_EQ((Notification{3, 2384, 1}), notes[0]);
    EXPECT_EQ((Notification{3, 2385, 0}), notes[1]);
    c.setVideoStreamModule(nullptr);
    EXPECT_EQ(0, c.notifyToVideo(2384, 1));
    EXPECT_EQ(2u, video.notifications().size());
}

TEST_F(IspGatewayTest, DeviceType13AlwaysNotifiesChannelOne) {
    setDeviceType(13);
    ISensorController c;
    c.setChannelID(1);
    ASSERT_EQ(2, Peer::cameraId(c));
    RecordingVideoModule video;
    c.setVideoStreamModule(&video);
    c.notifyToVideo(8201, 2);
    ASSERT_EQ(1u, video.notifications().size());
    EXPECT_EQ(1, video.notifications()[0].channel);
}

TEST_F(IspGatewayTest, TestParamNotifiesAndAlwaysSucceeds) {
    ISensorController c;
    RecordingVideoModule video;
    video.setNotifyResult(191, -3);
    c.setVideoStreamModule(&video);
    u32 value = 0xFFFFFFFFu;
    EXPECT_EQ(0, c.test_debugParam(191, 0, &value));
    ASSERT_EQ(1u, video.notifications().size());
    EXPECT_EQ((Notification{1, 191, -1}), video.notifications()[0]);
    EXPECT_EQ(0u, callCount());
}
