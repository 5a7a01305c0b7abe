// init and uinit on a device tree written by the test: the order of the
// steps, the scheme cache and its files, the version stamp, the module and
// video-module options, and the release of everything init allocated.
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "config/sensor.h"
#include "engine/lifecycle_fixture.h"
#include "storage/FileOps.h"
#include "support/RecordingVideoModule.h"

namespace lifecycle_test {
namespace {

using C = ISensorController;

std::vector<KeyVal> withValue(std::vector<KeyVal> p_vec, u32 p_nKey, u32 p_nValue) {
    for (KeyVal& kv : p_vec) {
        if (kv.key == p_nKey) {
            kv.value = p_nValue;
            return p_vec;
        }
    }
    ADD_FAILURE() << "key " << p_nKey << " missing";
    return p_vec;
}

std::vector<KeyVal> without(std::vector<KeyVal> p_vec, u32 p_nKey) {
    std::vector<KeyVal> out;
    for (const KeyVal& kv : p_vec) {
        if (kv.key != p_nKey) {
            out.push_back(kv);
        }
    }
    return out;
}

bool hasSetCall(unsigned int p_nCmd, uint32_t p_nValue) {
    for (const auto& call : tarnix_test::callsWithOpt(0)) {
        if (call.cmd == p_nCmd && !call.data.empty() && call.data[0] == p_nValue) {
            return true;
        }
    }
    return false;
}

// ---- the cache, the files and the table ----

TEST_F(LifecycleTest, InitBuildsEverythingFromTheStyle) {
    writeMiniTree(1);
    C c;
    c.setChannelID(1);
    ASSERT_TRUE(c.init(module("(max_scheme=3)")));

    EXPECT_EQ(1, c.getSensorStatus());
    EXPECT_EQ(C::FLAG_INITED, Peer::flags(c) & (C::FLAG_INITED | C::FLAG_INITING | C::FLAG_UNINITING));
    EXPECT_EQ(3u, Peer::sysConf(c).nSchemeSum);
    const std::vector<KeyVal> vecFactory = miniFactory();
    ASSERT_EQ(vecFactory.size(), Peer::keyValSum(c));

    // One block of nSchemeSum + 1 rows, row i at entry i * m_nKeyValSum, the
    // factory row last.
    KeyVal** pp = Peer::userKeyVal(c);
    ASSERT_NE(nullptr, pp);
    for (u32 s = 0; s <= 3; ++s) {
        EXPECT_EQ(pp[0] + s * Peer::keyValSum(c), pp[s]);
        EXPECT_TRUE(sameRecords(vecFactory, row(c, s))) << "row " << s;
    }
    EXPECT_EQ(pp[3], Peer::fctKeyVal(c));

    // The scheme files were created from the factory values, the stamp says 8.
    for (int s = 0; s < 3; ++s) {
        EXPECT_TRUE(sameBytes(bytesOf(vecFactory), readFile(schemePath(1, s)))) << s;
    }
    EXPECT_FALSE(fileExists(schemePath(1, 3)));
    u32 nStamp = 8;
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(&nStamp), 4),
              readFile("/mnt/mtd/code/config_file/snsversion.cfg"));

    // Table and work arrays.
    EXPECT_NE(nullptr, Peer::keyCmdMap(c));
    EXPECT_EQ(166u, Peer::keyCmdSum(c));
    EXPECT_NE(nullptr, Peer::keyValTmp(c));
    EXPECT_NE(nullptr, Peer::keyValText(c));
    EXPECT_NE(nullptr, Peer::keyValLpr(c));

    // No policy: init switches to scheme 0. The switch compares with the
    // scheme in force before it, which is scheme 0 itself, so nothing differs
    // and nothing is sent. The thread runs.
    int nScheme = -1;
    EXPECT_TRUE(c.getParamScheme(nScheme));
    EXPECT_EQ(0, nScheme);
    EXPECT_EQ(0, Peer::lastScheme(c).load());
    EXPECT_TRUE(tarnix_test::setCommands().empty());
    EXPECT_TRUE(Peer::thread(c)->isRunning());
    // The merged style was written for the channel.
    EXPECT_TRUE(fileExists("/tmp/merge_style_ch1.xml"));
    c.uinit();
}

TEST_F(LifecycleTest, InitTracesSuccessAtDebugLevel6) {
    writeMiniTree(1);
    setDebugMarker("6");
    C c;
    captureStdout();
    c.init(module("(max_scheme=1)"));
    std::string out = capturedStdout();
    EXPECT_NE(std::string::npos, out.find("ISensorController::initSensor  success\n")) << out.substr(0, 300);
    c.uinit();
}

TEST_F(LifecycleTest, InitNeverAbortsWithoutStyleFiles) {
    // No machine information and no styles: every step reports and the next
    // one runs; the cache has no records.
    C c;
    captureStdout();
    EXPECT_TRUE(c.init(module("(max_scheme=2)")));
    std::string out = capturedStdout();
    EXPECT_NE(std::string::npos, out.find("[sensor assert]"));
    EXPECT_EQ(0u, Peer::keyValSum(c));
    EXPECT_EQ(1, c.getSensorStatus());
    EXPECT_TRUE(Peer::thread(c)->isRunning());
    // The API still answers on the empty cache.
    EXPECT_EQ(0, c.setParameters(std::string("(34,1)"), true));
    EXPECT_EQ(0, c.flush());
    c.uinit();
    EXPECT_FALSE(Peer::thread(c)->isRunning());
}

TEST_F(LifecycleTest, InitReportsEachFailedStepWithItsOwnText) {
    // No configuration files and no parameter directory. The configuration
    // step reports its own failures and still returns 0, so init's check of
    // it stays quiet; the version stamp cannot be written and init reports
    // that with its own text, then goes on to the end.
    C c;
    captureStdout();
    EXPECT_TRUE(c.init(module("(max_scheme=1)")));
    capturedStdout();
    const std::string log = errorLog();
    EXPECT_NE(std::string::npos, log.find("fun:initSysConf")) << log.substr(0, 2000);
    EXPECT_EQ(std::string::npos, log.find("SNS_SUCCESS == initSysConf(")) << log.substr(0, 2000);
    EXPECT_NE(std::string::npos, log.find("SNS_SUCCESS == setVersion(m_nVersion)   ~~~Assertion failed."))
        << log.substr(0, 2000);
    EXPECT_NE(std::string::npos, log.find("m_nVersion(8)\n")) << log.substr(0, 2000);
    EXPECT_NE(std::string::npos, log.find("fun:init")) << log.substr(0, 2000);
    EXPECT_EQ(1, c.getSensorStatus());
    c.uinit();
}

TEST_F(LifecycleTest, MissingSchemeZeroFileStartsWithoutPolicy) {
    // The style's scheme mode is 1, but a new scheme 0 starts with mode 0 and
    // the factory row keeps that 0 (and so do the schemes written after it).
    writeMiniTree(1, withValue(miniFactory(), 8000, 1));
    C c;
    c.init(module("(max_scheme=3)"));
    EXPECT_FALSE(Peer::timeScheme(c).load());
    EXPECT_FALSE(Peer::dnScheme(c).load());
    EXPECT_EQ(0u, valueOf(row(c, 3), 8000));
    for (int s = 0; s < 3; ++s) {
        EXPECT_EQ(0u, valueOf(readScheme(schemePath(1, s)), 8000)) << s;
    }
    c.uinit();
}

TEST_F(LifecycleTest, StoredSchemeModeOneSelectsTheTimePolicy) {
    writeMiniTree(1);
    writeStamp(8);
    writeScheme(schemePath(1, 0), withValue(miniFactory(), 8000, 1));
    platform::setClock(10, 0);
    C c;
    c.init(module("(max_scheme=2)"));
    EXPECT_TRUE(Peer::timeScheme(c).load());
    EXPECT_FALSE(Peer::dnScheme(c).load());
    // With a policy in force init does not apply scheme 0 itself, and the
    // first pass finds scheme 0 (00:00-24:00) already current.
    EXPECT_TRUE(tarnix_test::setCommands().empty());
    c.uinit();
}

TEST_F(LifecycleTest, StoredSchemeModeTwoSelectsDayNightAndTheFirstPassSwitches) {
    writeMiniTree(1);
    writeStamp(8);
    writeScheme(schemePath(1, 0), withValue(miniFactory(), 8000, 2));
    writeScheme(schemePath(1, 1), withValue(withValue(miniFactory(), 8000, 2), 34, 20));
    ispsim::setValue(0, 153, 1); // night
    C c;
    c.init(module("(max_scheme=2)"));
    EXPECT_TRUE(Peer::dnScheme(c).load());
    EXPECT_FALSE(Peer::timeScheme(c).load());
    // The synchronous pass inside init already switched to the night scheme.
    EXPECT_EQ(1, Peer::curScheme(c).load());
    EXPECT_TRUE(hasSetCall(34, 20));
    c.uinit();
}

TEST_F(LifecycleTest, OtherSchemeModeValuesClearBothPolicies) {
    writeMiniTree(1);
    writeStamp(8);
    writeScheme(schemePath(1, 0), withValue(miniFactory(), 8000, 3));
    C c;
    c.init(module("(max_scheme=1)"));
    EXPECT_FALSE(Peer::timeScheme(c).load());
    EXPECT_FALSE(Peer::dnScheme(c).load());
    c.uinit();
}

TEST_F(LifecycleTest, ShortOrDamagedFilesLeaveFactoryValues) {
    writeMiniTree(1);
    writeStamp(8);
    // Scheme 1: two records only; scheme 2: empty; scheme 0: one extra record.
    std::vector<KeyVal> vecShort = {{8000, 0}, {8001, 7}};
    writeScheme(schemePath(1, 1), vecShort);
    writeFile(schemePath(1, 2), "");
    std::vector<KeyVal> vecLong = withValue(miniFactory(), 34, 77);
    vecLong.push_back({9999, 9});
    writeScheme(schemePath(1, 0), vecLong);
    C c;
    c.init(module("(max_scheme=3)"));
    EXPECT_TRUE(sameRecords(withValue(miniFactory(), 8001, 7), row(c, 1)));
    EXPECT_TRUE(sameRecords(miniFactory(), row(c, 2)));
    vecLong.pop_back();
    EXPECT_TRUE(sameRecords(vecLong, row(c, 0)));
    // Existing files are not rewritten by init.
    EXPECT_EQ(16u, readFile(schemePath(1, 1)).size());
    EXPECT_EQ(0u, readFile(schemePath(1, 2)).size());
    c.uinit();
}

// ---- version stamp ----

TEST_F(LifecycleTest, OtherVersionDeletesTheChannelsFilesFirst) {
    writeMiniTree(1);
    writeStamp(5);
    const std::vector<KeyVal> vecOld = withValue(miniFactory(), 34, 99);
    for (int s = 0; s < 5; ++s) {
        writeScheme(schemePath(1, s), vecOld);
    }
    writeScheme(schemePath(2, 0), vecOld);
    setDebugMarker("4");
    captureStdout();
    C c;
    c.init(module("(max_scheme=5)"));
    std::string out = capturedStdout();
    EXPECT_NE(std::string::npos,
              out.find("check the sensor version,   local(5) --> libtarnix.so(8), source the cmd: rm -rf "
                       "/mnt/mtd/code/config*/sensor*\n"))
        << out.substr(0, 500);
    EXPECT_NE(std::string::npos, errorLog().find("check the sensor version"));
    // Schemes 0 to 3 start from the factory values again.
    for (int s = 0; s < 4; ++s) {
        EXPECT_TRUE(sameBytes(bytesOf(miniFactory()), readFile(schemePath(1, s)))) << s;
        EXPECT_TRUE(sameRecords(miniFactory(), row(c, s))) << s;
    }
    // The delete pattern covers schemes 0 to 3 of this channel only.
    EXPECT_TRUE(sameBytes(bytesOf(vecOld), readFile(schemePath(1, 4))));
    EXPECT_TRUE(sameRecords(vecOld, row(c, 4)));
    EXPECT_TRUE(sameBytes(bytesOf(vecOld), readFile(schemePath(2, 0))));
    u32 nStamp = 8;
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(&nStamp), 4),
              readFile("/mnt/mtd/code/config_file/snsversion.cfg"));
    c.uinit();
}

TEST_F(LifecycleTest, TextStampIsUnreadableAndDeletesTheFiles) {
    writeMiniTree(1);
    writeFile("/mnt/mtd/code/config_file/snsversion.cfg", "5");
    writeScheme(schemePath(1, 0), withValue(miniFactory(), 34, 99));
    setDebugMarker("4");
    captureStdout();
    C c;
    c.init(module("(max_scheme=1)"));
    std::string out = capturedStdout();
    EXPECT_NE(std::string::npos, out.find("local(0) --> libtarnix.so(8)")) << out.substr(0, 500);
    EXPECT_TRUE(sameBytes(bytesOf(miniFactory()), readFile(schemePath(1, 0))));
    EXPECT_EQ(4u, readFile("/mnt/mtd/code/config_file/snsversion.cfg").size());
    c.uinit();
}

TEST_F(LifecycleTest, MatchingStampKeepsTheFilesAndIsQuiet) {
    writeMiniTree(1);
    writeStamp(8);
    writeScheme(schemePath(1, 0), withValue(miniFactory(), 34, 99));
    setDebugMarker("4");
    captureStdout();
    C c;
    c.init(module("(max_scheme=1)"));
    std::string out = capturedStdout();
    EXPECT_EQ(std::string::npos, out.find("check the sensor version")) << out.substr(0, 500);
    EXPECT_EQ(99u, valueOf(row(c, 0), 34));
    c.uinit();
}

TEST_F(LifecycleTest, ThermalChannelUsesItsOwnFiles) {
    // Device type 13: the single controller drives the thermal channel 2.
    writeMiniTree(13);
    writeStamp(3);
    const std::vector<KeyVal> vecOld = withValue(miniFactory(), 34, 99);
    writeScheme(thermalPath(0), vecOld);
    writeScheme(schemePath(2, 0), vecOld);
    C c;
    c.setChannelID(1);
    ASSERT_TRUE(Peer::thermal(c));
    ASSERT_EQ(2, Peer::cameraId(c));
    c.init(module("(max_scheme=2)"));
    EXPECT_TRUE(sameBytes(bytesOf(miniFactory()), readFile(thermalPath(0))));
    EXPECT_TRUE(sameBytes(bytesOf(miniFactory()), readFile(thermalPath(1))));
    // The visible channel's files are not the thermal channel's.
    EXPECT_TRUE(sameBytes(bytesOf(vecOld), readFile(schemePath(2, 0))));
    EXPECT_FALSE(fileExists(schemePath(2, 1)));
    EXPECT_TRUE(fileExists("/tmp/merge_style_ch2.xml"));
    c.uinit();
}

// ---- module options ----

TEST_F(LifecycleTest, LensIdDecidesWhetherALensIsFitted) {
    writeMiniTree(1);
    struct Case {
        const char* parameters;
        bool hasLens;
    };
    const Case cases[] = {
        {"(lensId=3)", true}, {"(x=1)(lensId=12)", true}, {"(lensId=0)", false}, {"", false},
        {"(lens=3)", false},  {"(lensId=)", false},       {"(lensId=5", false},  {"lensId", false},
    };
    for (const Case& k : cases) {
        C c;
        c.init(module("(max_scheme=1)", k.parameters));
        EXPECT_EQ(k.hasLens, Peer::hasLens(c)) << k.parameters;
        c.uinit();
    }
}

TEST_F(LifecycleTest, InfraredSeventeenLimitsTheIrPower) {
    writeMiniTree(1);
    {
        C c;
        captureStdout();
        c.init(module("(max_scheme=1)(isInfrared=17)"));
        std::string out = capturedStdout();
        EXPECT_NE(std::string::npos, out.find("#### m_bisLimitedIrPower is true!")) << out.substr(0, 300);
        EXPECT_TRUE(Peer::limitedIrPower(c));
        c.uinit();
    }
    {
        C c;
        captureStdout();
        c.init(module("(max_scheme=1)(isInfrared=1)"));
        std::string out = capturedStdout();
        EXPECT_EQ(std::string::npos, out.find("m_bisLimitedIrPower is true"));
        EXPECT_FALSE(Peer::limitedIrPower(c));
        c.uinit();
    }
}

TEST_F(LifecycleTest, PlateRecognitionModelWritesItsNightScheme) {
    // The factory set has no KEY_METER_AREA: that change is skipped.
    const std::vector<KeyVal> vecFactory = withValue(without(miniFactory(), 96), 8000, 1);
    writeMiniTree(8, vecFactory);
    platform::setClock(12, 0);
    C c;
    c.init(module("(max_scheme=3)"));
    EXPECT_TRUE(Peer::lprMode(c));
    // Scheme 0 is the factory set as it stands (its scheme mode kept).
    EXPECT_TRUE(sameBytes(bytesOf(vecFactory), readFile(schemePath(1, 0))));
    EXPECT_EQ(1u, valueOf(row(c, 3), 8000));
    EXPECT_TRUE(Peer::timeScheme(c).load());
    // Scheme 1 is the night scheme.
    std::vector<KeyVal> vecNight = vecFactory;
    vecNight = withValue(vecNight, 144, 0);
    vecNight = withValue(vecNight, 49, 18);
    vecNight = withValue(vecNight, 51, 20);
    vecNight = withValue(vecNight, 161, 2);
    vecNight = withValue(vecNight, 163, 40);
    EXPECT_TRUE(sameBytes(bytesOf(vecNight), readFile(schemePath(1, 1))));
    EXPECT_TRUE(sameBytes(bytesOf(vecFactory), readFile(schemePath(1, 2))));
    c.uinit();
}

TEST_F(LifecycleTest, InfraredMarkerMeansNoPlateRecognition) {
    writeMiniTree(8);
    for (const char* szDetail : {"(max_scheme=2)(isInfrared=0)", "(max_scheme=2)(isInfrared=1)"}) {
        removeFile(schemePath(1, 0));
        removeFile(schemePath(1, 1));
        C c;
        c.init(module(szDetail));
        EXPECT_FALSE(Peer::lprMode(c)) << szDetail;
        EXPECT_TRUE(sameBytes(bytesOf(miniFactory()), readFile(schemePath(1, 1)))) << szDetail;
        c.uinit();
    }
    // Plate recognition is a device type 8 feature only.
    writeMiniTree(1);
    C c;
    c.init(module("(max_scheme=2)"));
    EXPECT_FALSE(Peer::lprMode(c));
    c.uinit();
}

// A present max_scheme is taken as it is: 100 user schemes have their files
// up to sensor1_99.cfg and the factory row is row 100.
TEST_F(LifecycleTest, HundredSchemesAreTakenAsTheyAre) {
    writeMiniTree(1);
    C c;
    c.init(module("(max_scheme=100)"));
    EXPECT_EQ(100u, Peer::sysConf(c).nSchemeSum);
    EXPECT_EQ(Peer::userKeyVal(c)[100], Peer::fctKeyVal(c));
    EXPECT_TRUE(sameRecords(miniFactory(), row(c, 100)));
    for (int s = 0; s < 100; ++s) {
        EXPECT_TRUE(fileExists(schemePath(1, s))) << s;
    }
    EXPECT_FALSE(fileExists(schemePath(1, 100)));
    EXPECT_EQ("", errorLog());
    // Every scheme is a scheme of the cache, the factory scheme included.
    EXPECT_TRUE(c.setParamScheme(99));
    int nScheme = -1;
    EXPECT_TRUE(c.getParamScheme(nScheme));
    EXPECT_EQ(99, nScheme);
    EXPECT_TRUE(c.setParamScheme(100));
    c.uinit();
}

// Only a count whose rows cannot be held is bounded: one beyond the scheme
// numbers (-1 reads as 4294967295), or one whose rows exceed the machine's
// memory, is reported and the usual four schemes are used.
TEST_F(LifecycleTest, SchemeCountWhoseRowsCannotBeHeldIsReported) {
    writeMiniTree(1);
    for (const char* szCount : {"-1", "999999999"}) {
        removeFile("/mnt/mtd/log/SensorError.log");
        C c;
        c.init(module(std::string("(max_scheme=") + szCount + ")"));
        EXPECT_EQ(4u, Peer::sysConf(c).nSchemeSum) << szCount;
        EXPECT_EQ(Peer::userKeyVal(c)[4], Peer::fctKeyVal(c));
        EXPECT_TRUE(sameRecords(miniFactory(), row(c, 4)));
        std::string log = errorLog();
        EXPECT_NE(std::string::npos,
                  log.find("NULL != (m_pKeyValBlock = new KeyVal[(m_stSysConf.nSchemeSum + 1) * m_nKeyValSum])   "
                           "~~~Assertion failed."))
            << log;
        EXPECT_NE(std::string::npos,
                  log.find(std::string("nSchemeSum(") + (szCount[0] == '-' ? "4294967295" : szCount) +
                           ") m_nKeyValSum(" +
                           std::to_string(miniFactory().size()) +
                           "): the scheme rows cannot be allocated, 4 schemes used"))
            << log;
        c.uinit();
    }
}

TEST_F(LifecycleTest, NoUserSchemesLeavesOnlyTheFactoryRow) {
    writeMiniTree(1);
    C c;
    c.init(module("(max_scheme=0)"));
    EXPECT_EQ(0u, Peer::sysConf(c).nSchemeSum);
    EXPECT_EQ(Peer::userKeyVal(c)[0], Peer::fctKeyVal(c));
    EXPECT_FALSE(fileExists(schemePath(1, 0)));
    EXPECT_EQ(0, c.flush());
    EXPECT_TRUE(c.resetToLastParameters());
    c.uinit();
}

// ---- video module options ----

class VideoOptionsTest : public LifecycleTest {
protected:
    void initWith(int p_nDeviceType, const std::string& p_strModel = "Hi3516EV300", bool p_bModule = true) {
        writeMiniTree(p_nDeviceType, miniFactory(), p_strModel);
        m_pCtl.reset(new C());
        if (p_bModule) {
            m_pCtl->setVideoStreamModule(&m_video);
        }
        m_pCtl->init(module("(max_scheme=1)"));
    }
    void TearDown() override {
        if (m_pCtl) {
            m_pCtl->uinit();
            m_pCtl.reset();
        }
        LifecycleTest::TearDown();
    }
    static AVStreamParam stream(int p_nType, int p_nHeight) {
        AVStreamParam s;
        s.setVideoEncoderType(p_nType);
        s.setVideoHeight(p_nHeight);
        return s;
    }
    C& ctl() { return *m_pCtl; }

    RecordingVideoModule m_video;
    std::unique_ptr<C> m_pCtl;
};

TEST_F(VideoOptionsTest, DefaultsWithoutModule) {
    setshowBeawayFalg(false);
    initWith(1, "Hi3516AV200", false);
    EXPECT_TRUE(Peer::showWDR(ctl()).load());
    EXPECT_FALSE(Peer::showLDC(ctl()).load());
    EXPECT_TRUE(getshowBeawayFalg());
}

TEST_F(VideoOptionsTest, LimitedFramesWdrHidesWdr) {
    m_video.wdrParam.setLimitFramesModeId(0);
    m_video.wdrParam.setLimitWdr(1);
    initWith(1);
    EXPECT_FALSE(Peer::showWDR(ctl()).load());
}

TEST_F(VideoOptionsTest, OtherLimitedFramesModeKeepsWdr) {
    m_video.wdrParam.setLimitFramesModeId(1);
    m_video.wdrParam.setLimitWdr(1);
    initWith(1);
    EXPECT_TRUE(Peer::showWDR(ctl()).load());
}

TEST_F(VideoOptionsTest, LdcShownWhenSupportedAndSwitchedOn) {
    m_video.wdrParam.setLDCSupport(true);
    m_video.wdrParam.setLDCSwitch(true);
    initWith(1);
    EXPECT_TRUE(Peer::showLDC(ctl()).load());
}

TEST_F(VideoOptionsTest, LdcSupportAloneKeepsItHidden) {
    m_video.wdrParam.setLDCSupport(true);
    initWith(1);
    EXPECT_FALSE(Peer::showLDC(ctl()).load());
}

TEST_F(VideoOptionsTest, NarrowStreamOnHi3516AV200HidesBeaway) {
    m_video.streams = {stream(0, 1080), stream(1, 240)};
    initWith(1, "Hi3516AV200");
    EXPECT_FALSE(getshowBeawayFalg());
}

TEST_F(VideoOptionsTest, NarrowStreamOnThermalModelHidesBeaway) {
    m_video.streams = {stream(1, 255)};
    initWith(1, "Hi3516AV200Thermal");
    EXPECT_FALSE(getshowBeawayFalg());
}

TEST_F(VideoOptionsTest, BeawayStaysForOtherStreamsAndModels) {
    m_video.streams = {stream(1, 256), stream(0, 100)};
    initWith(1, "Hi3516AV200");
    EXPECT_TRUE(getshowBeawayFalg());
}

TEST_F(VideoOptionsTest, BeawayStaysOnOtherModels) {
    m_video.streams = {stream(1, 100)};
    initWith(1, "Hi3519");
    EXPECT_TRUE(getshowBeawayFalg());
}

TEST_F(VideoOptionsTest, FisheyeRotationShownWhenTheModuleAnswersZero) {
    setshowFisheyeRotateFlag(false);
    m_video.fisheyeValue = 0;
    initWith(9);
    EXPECT_TRUE(g_bShoWFisheyeRotateFlag.load());
}

TEST_F(VideoOptionsTest, FisheyeRotationHiddenForOtherAnswers) {
    m_video.fisheyeValue = 2;
    initWith(9);
    EXPECT_FALSE(g_bShoWFisheyeRotateFlag.load());
}

TEST_F(VideoOptionsTest, FisheyeRotationHiddenWhenTheModuleDoesNotAnswer) {
    m_video.fisheyeAnswers = false;
    initWith(9);
    EXPECT_FALSE(g_bShoWFisheyeRotateFlag.load());
}

TEST_F(VideoOptionsTest, FisheyeFlagUntouchedOnOtherDevices) {
    setshowFisheyeRotateFlag(false);
    m_video.fisheyeValue = 0;
    initWith(1);
    EXPECT_FALSE(g_bShoWFisheyeRotateFlag.load());
}

// ---- uinit ----

TEST_F(LifecycleTest, UinitReleasesEverythingButKeepsTheInitedStatus) {
    writeMiniTree(1);
    C c;
    c.init(module("(max_scheme=2)"));
    c.setParamMode(0);
    Peer::lastScheme(c) = 1;
    c.uinit();

    EXPECT_FALSE(Peer::thread(c)->isRunning());
    EXPECT_EQ(nullptr, Peer::userKeyVal(c));
    EXPECT_EQ(nullptr, Peer::fctKeyVal(c));
    EXPECT_EQ(nullptr, Peer::keyValTmp(c));
    EXPECT_EQ(nullptr, Peer::keyValText(c));
    EXPECT_EQ(nullptr, Peer::keyValLpr(c));
    EXPECT_EQ(nullptr, Peer::keyCmdMap(c));
    EXPECT_EQ(nullptr, Peer::sysConf(c).szUIStyle);
    EXPECT_EQ(0u, Peer::keyValSum(c));
    EXPECT_EQ(-1, Peer::lastScheme(c).load());
    EXPECT_EQ(1, Peer::mode(c).load());
    EXPECT_TRUE(Peer::shutterResetPass(c).load());
    EXPECT_EQ(0, Peer::flags(c) & C::FLAG_UNINITING);
    // Kept as it stands: the status still reads 1 after uinit.
    EXPECT_EQ(1, c.getSensorStatus());
    // A second uinit finds nothing to release.
    c.uinit();
    EXPECT_EQ(nullptr, Peer::userKeyVal(c));
}

TEST_F(LifecycleTest, UinitBeforeInitDoesNothing) {
    C c;
    c.uinit();
    EXPECT_EQ(0, c.getSensorStatus());
    EXPECT_FALSE(Peer::shutterResetPass(c).load());
    EXPECT_EQ(-1, Peer::lastScheme(c).load());
}

TEST_F(LifecycleTest, InitAgainWithoutUinitReplacesTheArrays) {
    writeMiniTree(1);
    C c;
    c.init(module("(max_scheme=2)"));
    writeScheme(schemePath(1, 1), withValue(miniFactory(), 34, 12));
    c.init(module("(max_scheme=3)"));
    EXPECT_EQ(3u, Peer::sysConf(c).nSchemeSum);
    EXPECT_EQ(12u, valueOf(row(c, 1), 34));
    EXPECT_EQ(Peer::userKeyVal(c)[3], Peer::fctKeyVal(c));
    EXPECT_TRUE(Peer::thread(c)->isRunning());
    EXPECT_EQ(166u, Peer::keyCmdSum(c));
    c.uinit();
}

TEST_F(LifecycleTest, DestructorReleasesAControllerLeftInitialised) {
    writeMiniTree(1);
    C* pCtl = new C();
    pCtl->init(module("(max_scheme=2)"));
    delete pCtl; // LeakSanitizer checks that nothing stays behind
    SUCCEED();
}

// Saves without the flushes to storage: the cycles below test memory, not
// durability, and a thousand flushes of the version stamp would dominate
// the run time.
class NoSyncFileOps : public tarnix::storage::FileOps {
public:
    bool sync(PXFile&) override { return true; }
    bool syncDir(const char*) override { return true; }
};

TEST_F(LifecycleTest, ThousandInitUinitCyclesLeakNothing) {
    writeMiniTree(1);
    NoSyncFileOps objOps;
    tarnix::storage::setFileOps(&objOps);
    C c;
    c.setChannelID(1);
    const ModuleConfigure objModule = module("(max_scheme=2)");
    for (int i = 0; i < 1000; ++i) {
        ASSERT_TRUE(c.init(objModule)) << i;
        ASSERT_EQ(miniFactory().size(), Peer::keyValSum(c)) << i;
        ASSERT_TRUE(Peer::thread(c)->isRunning()) << i;
        c.uinit();
        ASSERT_EQ(nullptr, Peer::userKeyVal(c)) << i;
        ASSERT_FALSE(Peer::thread(c)->isRunning()) << i;
        if (i % 100 == 0) {
            ispsim::clearCalls();
        }
    }
    tarnix::storage::setFileOps(nullptr);
}

} // namespace
} // namespace lifecycle_test
