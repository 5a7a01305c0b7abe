// Composite handlers: WDR, capture offset, stabiliser, panorama, fisheye,
// mirror and beaway, through the apply loop and directly.
#include <gtest/gtest.h>

#include "config/sensor.h"
#include "support/BareController.h"
#include "support/TestEnv.h"
#include "tests/handlers/Timeline.h"

namespace {

using tarnix_test::BareController;
using tarnix_test::TimelineVideoModule;
using Lines = std::vector<std::string>;

class CompositeHandlersTest : public tarnix_test::TarnixTest {
protected:
    void SetUp() override {
        tarnix_test::TarnixTest::SetUp();
        makeDir("/mnt/mtd/log");
    }
};

// ---- WDR ----

TEST_F(CompositeHandlersTest, WdrIsBracketedByTheVideoNotifications) {
    BareController bare(tarnix_test::typicalFactoryList(), 4);
    TimelineVideoModule video;
    bare->setVideoStreamModule(&video);
    KeyVal rec = {2368, 1};
    EXPECT_EQ(0, bare->setParameters(&rec, 1, true));
    EXPECT_EQ((Lines{"video 1 2370 0", "video 1 2368 1", "isp 2368 opt0 1", "video 1 2370 1"}),
              video.timeline());
    EXPECT_EQ(1u, bare.value(0, 2368));
}

TEST_F(CompositeHandlersTest, WdrSwitchedOffByTheProductIsCachedAsZeroAndNothingIsSent) {
    BareController bare(tarnix_test::typicalFactoryList(), 4);
    bare.set(0, 2368, 1);
    TimelineVideoModule video;
    bare->setVideoStreamModule(&video);
    bare.setShowWDR(false);
    KeyVal rec = {2368, 2};
    EXPECT_EQ(0, bare->setParameters(&rec, 1, true));
    EXPECT_EQ(0u, bare.value(0, 2368));
    EXPECT_TRUE(ispsim::calls().empty());
    EXPECT_TRUE(video.notifications().empty());
}

TEST_F(CompositeHandlersTest, WdrResultIsTheVideoModulesAnswer) {
    BareController bare(tarnix_test::typicalFactoryList(), 4);
    TimelineVideoModule video;
    video.setNotifyResult(2368, -9);
    bare->setVideoStreamModule(&video);
    u32 nValue = 1;
    EXPECT_EQ(-9, bare->doHwdr(2368, 0, &nValue));
    // Everything is still sent, the closing notification included.
    EXPECT_EQ((Lines{"video 1 2370 0", "video 1 2368 1", "isp 2368 opt0 1", "video 1 2370 1"}),
              video.timeline());
}

TEST_F(CompositeHandlersTest, WdrIspFailureIsReportedButNotReturned) {
    BareController bare(tarnix_test::typicalFactoryList(), 4);
    TimelineVideoModule video;
    bare->setVideoStreamModule(&video);
    ispsim::setFailure(-1, 2368, 0, -1);
    u32 nValue = 1;
    captureStdout();
    EXPECT_EQ(0, bare->doHwdr(2368, 0, &nValue));
    std::string out = capturedStdout();
    EXPECT_NE(std::string::npos, out.find("[sensor assert] file:ISensorController.cpp fun:doHwdr line:"));
    EXPECT_NE(std::string::npos,
              out.find("SNS_SUCCESS == doIaCmd(p_nKey, p_nDir, p_pVal)   ~~~Assertion failed.\n"));
    EXPECT_EQ((Lines{"video 1 2370 0", "video 1 2368 1", "isp 2368 opt0 1", "video 1 2370 1"}),
              video.timeline());
}

// ---- capture offset ----

TEST_F(CompositeHandlersTest, ImageAdjustSendsToTheIspFirstThenTellsTheVideoModule) {
    BareController bare(tarnix_test::typicalFactoryList(), 4);
    TimelineVideoModule video;
    bare->setVideoStreamModule(&video);
    KeyVal rec[2] = {{2432, 3}, {2436, 120}};
    EXPECT_EQ(0, bare->setParameters(rec, 2, true));
    EXPECT_EQ((Lines{"isp 2432 opt0 3", "video 1 2432 3", "isp 2436 opt0 120", "video 1 2436 120"}),
              video.timeline());
}

TEST_F(CompositeHandlersTest, ImageAdjustTellsTheVideoModuleWhatTheIspWroteBack) {
    BareController bare(tarnix_test::typicalFactoryList(), 4);
    TimelineVideoModule video;
    bare->setVideoStreamModule(&video);
    ispsim::setValue(0, 2439, 77);
    u32 nValue = 5;
    EXPECT_EQ(0, bare->doImageAdjust(2439, IA_CMD_OPT_GET, &nValue));
    EXPECT_EQ(77u, nValue);
    EXPECT_EQ((std::vector<Notification>{{1, 2439, 77}}), video.notifications());
}

TEST_F(CompositeHandlersTest, ImageAdjustNotifiesEvenWhenTheIspFails) {
    BareController bare(tarnix_test::typicalFactoryList(), 4);
    TimelineVideoModule video;
    video.setNotifyResult(2436, -2);
    bare->setVideoStreamModule(&video);
    ispsim::setFailure(-1, 2436, 0, -1);
    u32 nValue = 9;
    captureStdout();
    EXPECT_EQ(-2, bare->doImageAdjust(2436, 0, &nValue));
    std::string out = capturedStdout();
    EXPECT_NE(std::string::npos, out.find("fun:doImageAdjust"));
    EXPECT_NE(std::string::npos,
              out.find("SNS_SUCCESS == doIaCmd(p_nKey, p_nDir, p_pVal)   ~~~Assertion failed.\n"));
    EXPECT_EQ((std::vector<Notification>{{1, 2436, 9}}), video.notifications());
}

// ---- stabiliser ----

TEST_F(CompositeHandlersTest, AntiShakeTellsTheVideoModuleFirstThenTheIsp) {
    BareController bare(tarnix_test::typicalFactoryList(), 4);
    TimelineVideoModule video;
    bare->setVideoStreamModule(&video);
    KeyVal rec = {2416, 1};
    EXPECT_EQ(0, bare->setParameters(&rec, 1, true));
    EXPECT_EQ((Lines{"video 1 2416 1", "isp 2416 opt0 1"}), video.timeline());
}

TEST_F(CompositeHandlersTest, AntiShakeReportsARefusalAndReturnsTheIspResult) {
    BareController bare(tarnix_test::typicalFactoryList(), 4);
    TimelineVideoModule video;
    video.setNotifyResult(2416, -1);
    bare->setVideoStreamModule(&video);
    u32 nValue = 1;
    captureStdout();
    EXPECT_EQ(0, bare->doDIS(2416, 0, &nValue));
    std::string out = capturedStdout();
    EXPECT_NE(std::string::npos, out.find("fun:doDIS"));
    EXPECT_NE(std::string::npos,
              out.find("SNS_SUCCESS == notifyToVideo(p_nKey, *(u32*)p_pVal)   ~~~Assertion failed.\n"));
    EXPECT_EQ((Lines{"video 1 2416 1", "isp 2416 opt0 1"}), video.timeline());

    ispsim::setFailure(-1, 2416, 0, -6);
    EXPECT_EQ(-6, bare->doDIS(2416, 0, &nValue));
}

// ---- panorama and fisheye ----

TEST_F(CompositeHandlersTest, PanoramaGoesToTheVideoModuleOnly) {
    BareController bare(tarnix_test::typicalFactoryList(), 4);
    TimelineVideoModule video;
    bare->setVideoStreamModule(&video);
    KeyVal rec[3] = {{9000, 12}, {9203, 45}, {8102, 7}};
    EXPECT_EQ(0, bare->setParameters(rec, 3, true));
    EXPECT_TRUE(ispsim::calls().empty());
    EXPECT_EQ((std::vector<Notification>{{1, 9000, 12}, {1, 9203, 45}, {1, 8102, 7}}), video.notifications());
}

TEST_F(CompositeHandlersTest, PanoramaSucceedsEvenWhenTheVideoModuleRefuses) {
    BareController bare(tarnix_test::typicalFactoryList(), 4);
    TimelineVideoModule video;
    video.setNotifyResult(9001, -1);
    bare->setVideoStreamModule(&video);
    u32 nValue = 1;
    captureStdout();
    EXPECT_EQ(0, bare->doIaCmd_PanoTuning(9001, 0, &nValue));
    std::string out = capturedStdout();
    EXPECT_NE(std::string::npos, out.find("fun:doIaCmd_PanoTuning"));
    EXPECT_NE(std::string::npos,
              out.find("SNS_SUCCESS == notifyToVideo(nKey, nVal)   ~~~Assertion failed.\n"));
    EXPECT_TRUE(ispsim::calls().empty());
}

TEST_F(CompositeHandlersTest, FisheyeRotateReturnsTheVideoModulesAnswer) {
    BareController bare(tarnix_test::typicalFactoryList(), 4);
    TimelineVideoModule video;
    bare->setVideoStreamModule(&video);
    u32 nValue = 2;
    EXPECT_EQ(0, bare->doFisheyeRotate(2386, 0, &nValue));
    video.setNotifyResult(2386, -3);
    EXPECT_EQ(-3, bare->doFisheyeRotate(2386, 0, &nValue));
    EXPECT_TRUE(ispsim::calls().empty());
    EXPECT_EQ((std::vector<Notification>{{1, 2386, 2}, {1, 2386, 2}}), video.notifications());
}

TEST_F(CompositeHandlersTest, WithoutAVideoModuleNotificationsSucceed) {
    BareController bare(tarnix_test::typicalFactoryList(), 4);
    u32 nValue = 2;
    EXPECT_EQ(0, bare->doFisheyeRotate(2386, 0, &nValue));
    EXPECT_EQ(0, bare->doIaCmd_PanoTuning(9000, 0, &nValue));
    EXPECT_EQ(0, bare->doHwdr(2368, 0, &nValue));
}

// ---- mirror and beaway ----

TEST_F(CompositeHandlersTest, MirrorIsSwappedForIspAndVideoWhileTheCacheKeepsTheUsersValue) {
    BareController bare(tarnix_test::typicalFactoryList(), 4);
    bare.set(0, 2385, 1);
    TimelineVideoModule video;
    bare->setVideoStreamModule(&video);
    KeyVal rec = {2384, 1};
    EXPECT_EQ(0, bare->setParameters(&rec, 1, true));
    EXPECT_EQ((Lines{"video 1 2384 2", "isp 2384 opt0 2"}), video.timeline());
    EXPECT_EQ(1u, rec.value);
    EXPECT_EQ(1u, bare.value(0, 2384));

    uint32_t nIsp = 0;
    rec.value = 2;
    EXPECT_EQ(0, bare->setParameters(&rec, 1, true));
    EXPECT_TRUE(ispsim::getValue(0, 2384, nIsp));
    EXPECT_EQ(1u, nIsp);
    EXPECT_EQ(2u, bare.value(0, 2384));
}

TEST_F(CompositeHandlersTest, MirrorValuesOtherThanOneAndTwoPassUnchanged) {
    BareController bare(tarnix_test::typicalFactoryList(), 4);
    bare.set(0, 2385, 1);
    TimelineVideoModule video;
    bare->setVideoStreamModule(&video);
    KeyVal rec[2] = {{2384, 3}, {2384, 0}};
    EXPECT_EQ(0, bare->setParameters(rec, 2, true));
    EXPECT_EQ((Lines{"video 1 2384 3", "isp 2384 opt0 3", "video 1 2384 0", "isp 2384 opt0 0"}),
              video.timeline());
}

TEST_F(CompositeHandlersTest, MirrorWithoutBeawayIsNotSwapped) {
    BareController bare(tarnix_test::typicalFactoryList(), 4);
    TimelineVideoModule video;
    bare->setVideoStreamModule(&video);
    KeyVal rec = {2384, 1};
    EXPECT_EQ(0, bare->setParameters(&rec, 1, true));
    EXPECT_EQ((Lines{"video 1 2384 1", "isp 2384 opt0 1"}), video.timeline());
}

TEST_F(CompositeHandlersTest, MirrorReadsBeawayFromTheCurrentScheme) {
    BareController bare(tarnix_test::typicalFactoryList(), 4);
    bare.set(1, 2385, 1);
    bare.setCurScheme(1);
    TimelineVideoModule video;
    bare->setVideoStreamModule(&video);
    u32 nValue = 2;
    EXPECT_EQ(0, bare->doMirror(2384, 0, &nValue));
    EXPECT_EQ(2u, nValue);
    EXPECT_EQ((Lines{"video 1 2384 1", "isp 2384 opt0 1"}), video.timeline());
}

TEST_F(CompositeHandlersTest, MirrorRefusedByTheVideoModuleIsReportedAndStillSent) {
    BareController bare(tarnix_test::typicalFactoryList(), 4);
    TimelineVideoModule video;
    video.setNotifyResult(2384, -1);
    bare->setVideoStreamModule(&video);
    u32 nValue = 1;
    captureStdout();
    EXPECT_EQ(0, bare->doMirror(2384, 0, &nValue));
    std::string out = capturedStdout();
    EXPECT_NE(std::string::npos, out.find("fun:doMirror"));
    EXPECT_NE(std::string::npos,
              out.find("SNS_SUCCESS == notifyToVideo(p_nKey, nMirror)   ~~~Assertion failed.\n"));
    EXPECT_EQ((Lines{"video 1 2384 1", "isp 2384 opt0 1"}), video.timeline());
}

TEST_F(CompositeHandlersTest, BeawayOnResendsTheMirrorSwapped) {
    BareController bare(tarnix_test::typicalFactoryList(), 4);
    bare.set(0, 2384, 1);
    TimelineVideoModule video;
    bare->setVideoStreamModule(&video);
    KeyVal rec = {2385, 1};
    EXPECT_EQ(0, bare->setParameters(&rec, 1, true));
    EXPECT_EQ((Lines{"video 1 2384 2", "video 1 2385 1", "isp 2384 opt0 2", "isp 2385 opt0 1"}),
              video.timeline());
    EXPECT_EQ(1u, bare.value(0, 2385));
    EXPECT_EQ(1u, bare.value(0, 2384));
}

TEST_F(CompositeHandlersTest, BeawayOffResendsTheMirrorUnswapped) {
    BareController bare(tarnix_test::typicalFactoryList(), 4);
    bare.set(0, 2384, 2);
    bare.set(0, 2385, 1);
    TimelineVideoModule video;
    bare->setVideoStreamModule(&video);
    KeyVal rec = {2385, 0};
    EXPECT_EQ(0, bare->setParameters(&rec, 1, true));
    EXPECT_EQ((Lines{"video 1 2384 2", "video 1 2385 0", "isp 2384 opt0 2", "isp 2385 opt0 0"}),
              video.timeline());
}

TEST_F(CompositeHandlersTest, BeawayHiddenByTheProductIsCachedAsZeroAndNothingIsSent) {
    BareController bare(tarnix_test::typicalFactoryList(), 4);
    setshowBeawayFalg(false);
    TimelineVideoModule video;
    bare->setVideoStreamModule(&video);
    KeyVal rec = {2385, 1};
    EXPECT_EQ(0, bare->setParameters(&rec, 1, true));
    EXPECT_EQ(0u, rec.value);
    EXPECT_EQ(0u, bare.value(0, 2385));
    EXPECT_TRUE(ispsim::calls().empty());
    EXPECT_TRUE(video.notifications().empty());
}

TEST_F(CompositeHandlersTest, BeawayResultIsTheBeawayCommandsAndTheMirrorsIsIgnored) {
    BareController bare(tarnix_test::typicalFactoryList(), 4);
    TimelineVideoModule video;
    video.setNotifyResult(2384, -1);
    video.setNotifyResult(2385, -1);
    bare->setVideoStreamModule(&video);
    ispsim::setFailure(-1, 2384, 0, -4);
    u32 nValue = 1;
    captureStdout();
    EXPECT_EQ(0, bare->doBeaway(2385, 0, &nValue));
    std::string out = capturedStdout();
    EXPECT_NE(std::string::npos,
              out.find("SNS_SUCCESS == notifyToVideo(IA_CMD_UI_MIRROR, nMirror)   ~~~Assertion failed.\n"));
    EXPECT_NE(std::string::npos,
              out.find("SNS_SUCCESS == notifyToVideo(p_nKey, nBeaway)   ~~~Assertion failed.\n"));
    EXPECT_EQ((Lines{"video 1 2384 0", "video 1 2385 1", "isp 2384 opt0 0", "isp 2385 opt0 1"}),
              video.timeline());

    ispsim::setFailure(-1, 2385, 0, -5);
    EXPECT_EQ(-5, bare->doBeaway(2385, 0, &nValue));
}

TEST_F(CompositeHandlersTest, MirrorAndBeawayGiveTheSameResultInEitherOrder) {
    for (bool bMirrorFirst : {true, false}) {
        BareController bare(tarnix_test::typicalFactoryList(), 4);
        ispsim::reset();
        KeyVal mirror = {2384, 1};
        KeyVal beaway = {2385, 1};
        KeyVal rec[2] = {bMirrorFirst ? mirror : beaway, bMirrorFirst ? beaway : mirror};
        EXPECT_EQ(0, bare->setParameters(rec, 2, true));
        uint32_t nIsp = 0;
        EXPECT_TRUE(ispsim::getValue(0, 2384, nIsp));
        EXPECT_EQ(2u, nIsp) << (bMirrorFirst ? "mirror first" : "beaway first");
        EXPECT_TRUE(ispsim::getValue(0, 2385, nIsp));
        EXPECT_EQ(1u, nIsp);
        EXPECT_EQ(1u, bare.value(0, 2384));
        EXPECT_EQ(1u, bare.value(0, 2385));
    }
}

} // namespace
