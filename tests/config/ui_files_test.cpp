// The controller's UI texts: the narrowed style and the UI file table.
#include <cstdlib>
#include <memory>
#include <string>
#include <thread>

#include "ConfigTestUtil.h"
#include "controller/ISensorController.h"
#include "support/ControllerPeer.h"
#include "support/RecordingVideoModule.h"

namespace {

using config_test::ConfigTest;
using config_test::findId;
using Peer = ISensorControllerTestPeer;

const char* const kStyle =
    "<style><tab key=\"image\">"
    "<item id=\"34\" value=\"50\"/>"
    "<item id=\"64\" value=\"0\"><ci index=\"0\"/><ci index=\"1\"/><ci index=\"2\"/></item>"
    "<item id=\"2368\" value=\"0\"/>"
    "<item id=\"2386\" value=\"0\"/>"
    "</tab></style>";

class UIFilesTest : public ConfigTest {
protected:
    void TearDown() override {
        if (m_pController) {
            SysConfig& conf = Peer::sysConf(*m_pController);
            uinitSysConf(&conf);
            // The texts went with the record; the table array is the filler's.
            std::free(conf.pUIFiles);
            conf.pUIFiles = nullptr;
            conf.nUIFileSum = 0;
            m_pController.reset();
        }
        ConfigTest::TearDown();
    }

    // A controller of the given device type whose style is kStyle.
    ISensorController& controller(int deviceType, int channel = 1) {
        writeMachineInfo(deviceType);
        m_pController.reset(new ISensorController());
        Peer::cameraId(*m_pController) = channel;
        Peer::sysConf(*m_pController).szUIStyle = config_test::heapText(kStyle);
        return *m_pController;
    }

    TiXmlElement* styleOf(ISensorController& c) {
        m_doc.Clear();
        return config_test::parse(m_doc, c.getUIStyleFile());
    }

    // A UI file table with the given ids; texts "common<id>" and "language<id>".
    void setTable(ISensorController& c, std::initializer_list<u32> ids) {
        SysConfig& conf = Peer::sysConf(c);
        conf.nUIFileSum = static_cast<u32>(ids.size());
        conf.pUIFiles = static_cast<UIFileRecord*>(std::calloc(ids.size(), sizeof(UIFileRecord)));
        u32 i = 0;
        for (u32 id : ids) {
            conf.pUIFiles[i].id = id;
            conf.pUIFiles[i].szCommonFile = config_test::heapText("common" + std::to_string(id));
            conf.pUIFiles[i].szLanguageFile = config_test::heapText("language" + std::to_string(id));
            ++i;
        }
    }

    std::unique_ptr<ISensorController> m_pController;
    TiXmlDocument m_doc;
};

TEST_F(UIFilesTest, StyleIsNarrowedForTheChannel) {
    ispsim::setDynamicParam(1, 64, 1, {1, 2});
    ispsim::setDynamicParam(1, 34, 60, {});
    ISensorController& c = controller(1, 2);
    TiXmlElement* root = styleOf(c);
    EXPECT_EQ("60", config_test::valueOf(root, 34));
    EXPECT_EQ((std::vector<std::string>{"1", "2"}), config_test::choicesOf(findId(root, 64)));
    // The stored style stays as it was.
    EXPECT_STREQ(kStyle, Peer::sysConf(c).szUIStyle);
    EXPECT_EQ("", errorLog());
}

TEST_F(UIFilesTest, ControllerWdrFlagIsUsed) {
    ISensorController& c = controller(1);
    EXPECT_NE(nullptr, findId(styleOf(c), 2368));
    Peer::showWDR(c) = false;
    EXPECT_EQ(nullptr, findId(styleOf(c), 2368));
}

TEST_F(UIFilesTest, OtherDeviceTypesLeaveTheFisheyeFlagAlone) {
    ISensorController& c = controller(1);
    RecordingVideoModule module;
    module.fisheyeValue = 5;
    c.setVideoStreamModule(&module);
    EXPECT_NE(nullptr, findId(styleOf(c), 2386));
    EXPECT_TRUE(g_bShoWFisheyeRotateFlag.load());
    setshowFisheyeRotateFlag(false);
    EXPECT_EQ(nullptr, findId(styleOf(c), 2386));
    EXPECT_FALSE(g_bShoWFisheyeRotateFlag.load());
}

TEST_F(UIFilesTest, FisheyeWithoutRotationShowsTheItem) {
    ISensorController& c = controller(9);
    RecordingVideoModule module;
    module.fisheyeValue = 0;
    c.setVideoStreamModule(&module);
    setshowFisheyeRotateFlag(false);
    EXPECT_NE(nullptr, findId(styleOf(c), 2386));
    EXPECT_TRUE(g_bShoWFisheyeRotateFlag.load());
}

TEST_F(UIFilesTest, FisheyeWithRotationHidesTheItem) {
    ISensorController& c = controller(9);
    RecordingVideoModule module;
    module.fisheyeValue = 1;
    c.setVideoStreamModule(&module);
    EXPECT_EQ(nullptr, findId(styleOf(c), 2386));
    EXPECT_FALSE(g_bShoWFisheyeRotateFlag.load());
}

TEST_F(UIFilesTest, FisheyeModuleThatLeavesThePresetHidesTheItem) {
    ISensorController& c = controller(9);
    RecordingVideoModule module;
    module.fisheyeAnswers = false; // the preset 100 stays
    c.setVideoStreamModule(&module);
    EXPECT_EQ(nullptr, findId(styleOf(c), 2386));
    EXPECT_FALSE(g_bShoWFisheyeRotateFlag.load());
}

TEST_F(UIFilesTest, FisheyeWithoutModuleSkipsTheQuery) {
    ISensorController& c = controller(9);
    setshowFisheyeRotateFlag(false);
    EXPECT_EQ(nullptr, findId(styleOf(c), 2386));
    EXPECT_FALSE(g_bShoWFisheyeRotateFlag.load());
}

TEST_F(UIFilesTest, WaitsForABusyModule) {
    ISensorController& c = controller(1);
    RecordingVideoModule module;
    module.busyAnswers = 5;
    c.setVideoStreamModule(&module);
    styleOf(c);
    EXPECT_EQ(6, module.busyQueries);
}

TEST_F(UIFilesTest, GivesUpWaitingAfterThirtyBusyAnswers) {
    ISensorController& c = controller(1);
    RecordingVideoModule module;
    module.busyAnswers = 1000;
    c.setVideoStreamModule(&module);
    TiXmlElement* root = styleOf(c);
    EXPECT_EQ(30, module.busyQueries);
    EXPECT_NE(nullptr, findId(root, 34));
}

TEST_F(UIFilesTest, NoModuleNoWait) {
    ISensorController& c = controller(1);
    EXPECT_NE(nullptr, findId(styleOf(c), 34));
}

TEST_F(UIFilesTest, ConcurrentCallersGetTheSameStyle) {
    ispsim::setDynamicParam(0, 64, 1, {1, 2});
    ISensorController& c = controller(1);
    std::string first;
    std::string second;
    std::thread other([&] {
        for (int i = 0; i < 20; ++i) {
            first = c.getUIStyleFile();
        }
    });
    for (int i = 0; i < 20; ++i) {
        second = c.getUIStyleFile();
    }
    other.join();
    EXPECT_EQ(first, second);
    EXPECT_NE(std::string::npos, first.find("<ci index=\"1\" />"));
}

TEST_F(UIFilesTest, UnknownIdFallsBackToTheFirstRecord) {
    ISensorController& c = controller(1);
    setTable(c, {3, 5});
    EXPECT_EQ("common3", c.getUICommonFile(7));
    EXPECT_EQ("language3", c.getUILanguageFile(7));
    EXPECT_EQ("common5", c.getUICommonFile(5));
    EXPECT_EQ("language5", c.getUILanguageFile(5));
    EXPECT_EQ("common3", c.getUICommonFile(3));
}

TEST_F(UIFilesTest, FirstRecordWithTheIdWins) {
    ISensorController& c = controller(1);
    setTable(c, {4, 8, 8});
    std::free(Peer::sysConf(c).pUIFiles[2].szCommonFile);
    Peer::sysConf(c).pUIFiles[2].szCommonFile = config_test::heapText("later");
    EXPECT_EQ("common8", c.getUICommonFile(8));
}

TEST_F(UIFilesTest, EmptyTableGivesEmptyTexts) {
    ISensorController& c = controller(1);
    EXPECT_EQ("", c.getUICommonFile(0));
    EXPECT_EQ("", c.getUILanguageFile(0));
    // A count without a table, too.
    Peer::sysConf(c).nUIFileSum = 3;
    EXPECT_EQ("", c.getUICommonFile(1));
}

TEST_F(UIFilesTest, NullTextsGiveEmptyTexts) {
    ISensorController& c = controller(1);
    setTable(c, {1});
    std::free(Peer::sysConf(c).pUIFiles[0].szLanguageFile);
    Peer::sysConf(c).pUIFiles[0].szLanguageFile = nullptr;
    EXPECT_EQ("", c.getUILanguageFile(1));
    EXPECT_EQ("common1", c.getUICommonFile(1));
}

} // namespace
