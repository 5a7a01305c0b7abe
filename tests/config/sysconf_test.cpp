// System configuration: module texts, scheme count, device type, the choice
// of style and diversity files per device type and channel, release, flags.
#include <cstdlib>
#include <cstring>
#include <string>

#include "ConfigTestUtil.h"
#include "config/sensor.h"

namespace {

using config_test::ConfigTest;
using config_test::makeModule;

// Taken before main runs: no setter has run yet.
const bool s_bBeawayAtStart = g_bShoWBeawayFalg.load();
const bool s_bFisheyeAtStart = g_bShoWFisheyeRotateFlag.load();
const bool s_bBeawayGetterAtStart = getshowBeawayFalg();

const char* const kStyleDir = "/hd1/moduleConfig/sensorConfig/style/";
const char* const kDivDir = "/hd1/moduleConfig/sensorConfig/styleDiversity/";

class SysConfTest : public ConfigTest {
protected:
    void SetUp() override {
        ConfigTest::SetUp();
        std::memset(&m_conf, 0, sizeof(m_conf));
    }
    void TearDown() override {
        uinitSysConf(&m_conf);
        ConfigTest::TearDown();
    }

    // Each base style holds one tab named after its file; each diversity
    // file adds, after whichever of those tabs is there, a tab named after
    // itself, for modules whose sensor is imx291.
    void installStyles() const {
        const char* bases[][2] = {{"Style.xml", "box"}, {"Style_dome.xml", "dome"}, {"Style_Thermal.xml", "thermal"}};
        for (auto& base : bases) {
            writeFile(std::string(kStyleDir) + base[0],
                      std::string("<style><tab key=\"") + base[1] + "\"><item id=\"34\" value=\"50\"/></tab></style>");
        }
        const char* divs[][2] = {{"StyleDiversity.xml", "div-box"},
                                 {"StyleDiversity_dome.xml", "div-dome"},
                                 {"StyleDiversity_Thermal.xml", "div-thermal"}};
        for (auto& div : divs) {
            std::string tab = std::string("<tab key=\"") + div[1] + "\"/>";
            writeFile(std::string(kDivDir) + div[0],
                      "<sel sensor=\"imx291\">"
                      "<AddAfter tab_key=\"box\">" + tab + "</AddAfter>"
                      "<AddAfter tab_key=\"dome\">" + tab + "</AddAfter>"
                      "<AddAfter tab_key=\"thermal\">" + tab + "</AddAfter>"
                      "</sel>");
        }
    }

    // Base and diversity chosen for a device type and channel, read from
    // the merged style ("box+div-box" ...).
    std::string chosenFiles(int deviceType, int channel) {
        writeMachineInfo(deviceType);
        uinitSysConf(&m_conf);
        EXPECT_EQ(0, initSysConf(channel, makeModule("(sensor=imx291)"), &m_conf));
        TiXmlDocument doc;
        std::vector<std::string> keys = config_test::tabKeys(config_test::parse(doc, m_conf.szUIStyle));
        std::string out;
        for (const std::string& key : keys) {
            out += (out.empty() ? "" : "+") + key;
        }
        return out;
    }

    SysConfig m_conf;
};

TEST(SysConfFlags, BothFlagsAreTrueBeforeAnySetterRuns) {
    EXPECT_TRUE(s_bBeawayAtStart);
    EXPECT_TRUE(s_bFisheyeAtStart);
    EXPECT_TRUE(s_bBeawayGetterAtStart);
}

TEST_F(SysConfTest, FlagSettersAndGetter) {
    setshowBeawayFalg(false);
    EXPECT_FALSE(getshowBeawayFalg());
    EXPECT_FALSE(g_bShoWBeawayFalg.load());
    setshowBeawayFalg(true);
    EXPECT_TRUE(getshowBeawayFalg());
    setshowFisheyeRotateFlag(false);
    EXPECT_FALSE(g_bShoWFisheyeRotateFlag.load());
    setshowFisheyeRotateFlag(true);
    EXPECT_TRUE(g_bShoWFisheyeRotateFlag.load());
}

TEST_F(SysConfTest, ModuleTextsLabelsAndId) {
    installStyles();
    writeMachineInfo(1);
    ASSERT_EQ(0, initSysConf(1, makeModule("(sensor=imx291)(max_scheme=2)", "lensId=3)", 42), &m_conf));
    EXPECT_EQ(42u, m_conf.moduleConfig.nModuleId);
    EXPECT_STREQ("xxx", m_conf.moduleConfig.szLabel1);
    EXPECT_STREQ("xxx", m_conf.moduleConfig.szLabel2);
    EXPECT_STREQ("(sensor=imx291)(max_scheme=2)", m_conf.moduleConfig.szDetail);
    EXPECT_STREQ("lensId=3)", m_conf.moduleConfig.szParameters);
    EXPECT_EQ(1, m_conf.nDeviceType);
    EXPECT_EQ(0u, m_conf.nUIFileSum);
    EXPECT_EQ(nullptr, m_conf.pUIFiles);
    ASSERT_NE(nullptr, m_conf.szUIStyle);
    EXPECT_EQ("", errorLog());
}

TEST_F(SysConfTest, SchemeCountFromDetail) {
    installStyles();
    writeMachineInfo(1);
    ASSERT_EQ(0, initSysConf(1, makeModule("(sensor=imx291)(max_scheme=2)"), &m_conf));
    EXPECT_EQ(2u, m_conf.nSchemeSum);

    uinitSysConf(&m_conf);
    ASSERT_EQ(0, initSysConf(1, makeModule("(sensor=imx291)"), &m_conf));
    EXPECT_EQ(4u, m_conf.nSchemeSum);

    uinitSysConf(&m_conf);
    ASSERT_EQ(0, initSysConf(1, makeModule("(max_scheme=abc)"), &m_conf));
    EXPECT_EQ(0u, m_conf.nSchemeSum);

    // No bounds here: the controller bounds the count where it allocates.
    uinitSysConf(&m_conf);
    ASSERT_EQ(0, initSysConf(1, makeModule("(max_scheme=100000)"), &m_conf));
    EXPECT_EQ(100000u, m_conf.nSchemeSum);
}

TEST_F(SysConfTest, OverlongModuleTextsAreCutToTheirFields) {
    installStyles();
    writeMachineInfo(1);
    std::string detail = "(max_scheme=3)" + std::string(700, 'd');
    std::string parameters = std::string(400, 'p');
    ASSERT_EQ(0, initSysConf(1, makeModule(detail, parameters), &m_conf));
    EXPECT_EQ(511u, std::strlen(m_conf.moduleConfig.szDetail));
    EXPECT_EQ(detail.substr(0, 511), m_conf.moduleConfig.szDetail);
    EXPECT_EQ(255u, std::strlen(m_conf.moduleConfig.szParameters));
    EXPECT_EQ(parameters.substr(0, 255), m_conf.moduleConfig.szParameters);
    EXPECT_EQ(3u, m_conf.nSchemeSum);

    // Texts that just fit are copied whole.
    uinitSysConf(&m_conf);
    detail = std::string(511, 'e');
    parameters = std::string(255, 'q');
    ASSERT_EQ(0, initSysConf(1, makeModule(detail, parameters), &m_conf));
    EXPECT_EQ(detail, m_conf.moduleConfig.szDetail);
    EXPECT_EQ(parameters, m_conf.moduleConfig.szParameters);
}

TEST_F(SysConfTest, BoxTypesTakeThePlainFiles) {
    installStyles();
    for (int type : {1, 8, 9, 11, 13, 14, 15, 16, 17, 18, 22}) {
        EXPECT_EQ("box+div-box", chosenFiles(type, 1)) << "device type " << type;
    }
}

TEST_F(SysConfTest, DomeAndOtherTypesTakeTheDomeFiles) {
    installStyles();
    for (int type : {4, 19, 20, 23, 104}) {
        EXPECT_EQ("dome+div-dome", chosenFiles(type, 1)) << "device type " << type;
    }
    EXPECT_EQ("", errorLog());
}

TEST_F(SysConfTest, ThermalFilesOnlyForChannelTwoOfThermalTypes) {
    installStyles();
    for (int type : {13, 14, 17, 19, 23}) {
        EXPECT_EQ("thermal+div-thermal", chosenFiles(type, 2)) << "device type " << type;
    }
    EXPECT_EQ("box+div-box", chosenFiles(13, 1));
    EXPECT_EQ("box+div-box", chosenFiles(9, 2));
    EXPECT_EQ("dome+div-dome", chosenFiles(4, 2));
    EXPECT_EQ("dome+div-dome", chosenFiles(104, 2));
    EXPECT_EQ("dome+div-dome", chosenFiles(19, 1));
    EXPECT_EQ("box+div-box", chosenFiles(13, 3));
}

TEST_F(SysConfTest, UnknownDeviceTypeReportsTheFiveTypeMessageAndTakesDomeFiles) {
    installStyles();
    captureStdout();
    EXPECT_EQ("dome+div-dome", chosenFiles(5, 1));
    std::string out = capturedStdout();
    EXPECT_EQ(5, m_conf.nDeviceType);
    // The message names five types although sixteen are accepted: kept so.
    EXPECT_NE(std::string::npos, out.find("machineinfo, devicetype(5) error, must be 1 or 4 or 8 or 9 or 13\n"));
    EXPECT_NE(std::string::npos, out.find("[sensor assert] file:sensor.cpp fun:initSysConf line:41\n"));
    EXPECT_NE(std::string::npos, out.find("DeviceType::IPCAMERA == p_stSysConf->nDeviceType || "
                                          "DeviceType::FACE_DETECT == p_stSysConf->nDeviceType || "));
    EXPECT_NE(std::string::npos, out.find("DeviceType::DOMECORE_THERMAL_DEVICE == p_stSysConf->nDeviceType   "
                                          "~~~Assertion failed.\n"));
    std::string log = errorLog();
    EXPECT_NE(std::string::npos, log.find("file:sensor.cpp fun:initSysConf line:41"));
    EXPECT_NE(std::string::npos, log.find("machineinfo, devicetype(5) error, must be 1 or 4 or 8 or 9 or 13"));
}

TEST_F(SysConfTest, MissingMachineInfoReportsAndGoesOn) {
    installStyles();
    ASSERT_EQ(0, initSysConf(1, makeModule("(sensor=imx291)"), &m_conf));
    std::string log = errorLog();
    EXPECT_NE(std::string::npos, log.find("file:sensor.cpp fun:initSysConf line:39"));
    EXPECT_NE(std::string::npos,
              log.find("SystemInfoParser::parseMachineInfo(\"/mnt/mtd/code/factory_setting/machineinfo.ini\", "
                       "machineInfo)   ~~~Assertion failed."));
    // The unparsed record's type is then rejected too, and the dome files used.
    EXPECT_NE(std::string::npos, log.find("line:41"));
    EXPECT_EQ(0, m_conf.nDeviceType);
    EXPECT_NE(nullptr, std::strstr(m_conf.szUIStyle, "key=\"dome\""));
}

TEST_F(SysConfTest, MissingStyleFileReportsAndLeavesAnEmptyStyle) {
    writeMachineInfo(1);
    writeFile(std::string(kDivDir) + "StyleDiversity.xml", "<sel sensor=\"imx291\"/>");
    ASSERT_EQ(0, initSysConf(1, makeModule("(sensor=imx291)"), &m_conf));
    std::string log = errorLog();
    EXPECT_NE(std::string::npos, log.find("file:sensor.cpp fun:initSysConf line:87"));
    EXPECT_NE(std::string::npos,
              log.find("loadFromFile(strStyleFileName.c_str(), p_stSysConf->szUIStyle, "
                       "getFileLen(strStyleFileName.c_str())) > 0   ~~~Assertion failed."));
    // Its length is asked for twice (to size the buffer, then to read it),
    // and each attempt reports the missing file.
    const std::string name = std::string("file_name(") + kStyleDir + "Style.xml)";
    size_t first = log.find(name);
    ASSERT_NE(std::string::npos, first) << log;
    size_t second = log.find(name, first + 1);
    ASSERT_NE(std::string::npos, second) << log;
    EXPECT_EQ(std::string::npos, log.find(name, second + 1)) << log;
    EXPECT_NE(std::string::npos, log.find("fun:getFileLen line:25")) << log;
    // The merge then fails to parse the empty style.
    EXPECT_NE(std::string::npos, log.find("doc_style.LoadMem(*ui_style, TIXML_ENCODING_UTF8)"));
    ASSERT_NE(nullptr, m_conf.szUIStyle);
    EXPECT_STREQ("", m_conf.szUIStyle);
}

TEST_F(SysConfTest, MissingDiversityFileReportsAndKeepsTheBaseStyle) {
    installStyles();
    removeFile(std::string(kDivDir) + "StyleDiversity.xml");
    writeMachineInfo(1);
    ASSERT_EQ(0, initSysConf(1, makeModule("(sensor=imx291)"), &m_conf));
    std::string log = errorLog();
    EXPECT_NE(std::string::npos, log.find("file:sensor.cpp fun:initSysConf line:116"));
    EXPECT_NE(std::string::npos,
              log.find("loadFromFile(strStyleDivFileName.c_str(), ui_styleDiversity, "
                       "getFileLen(strStyleDivFileName.c_str())) > 0"));
    EXPECT_NE(std::string::npos, log.find("doc_style_div.LoadMem(ui_styleDiversity, TIXML_ENCODING_UTF8)"));
    TiXmlDocument doc;
    EXPECT_EQ(std::vector<std::string>{"box"}, config_test::tabKeys(config_test::parse(doc, m_conf.szUIStyle)));
}

TEST_F(SysConfTest, StyleTextIsTheSavedMergeFile) {
    installStyles();
    writeMachineInfo(1);
    ASSERT_EQ(0, initSysConf(1, makeModule("(sensor=imx291)"), &m_conf));
    EXPECT_EQ(readFile("/tmp/merge_style_ch1.xml"), std::string(m_conf.szUIStyle));
}

TEST_F(SysConfTest, AssertionsEnabledAbortOnUnknownDeviceType) {
    installStyles();
    writeMachineInfo(5);
    setDebugMarker("1", "1");
    SysConfig* conf = &m_conf;
    EXPECT_DEATH(initSysConf(1, makeModule("(sensor=imx291)"), conf), "bRet");
}

TEST_F(SysConfTest, UinitReleasesTheUIFileTextsAndLeavesTheTable) {
    installStyles();
    writeMachineInfo(1);
    ASSERT_EQ(0, initSysConf(1, makeModule("(sensor=imx291)"), &m_conf));
    UIFileRecord* table = static_cast<UIFileRecord*>(std::calloc(2, sizeof(UIFileRecord)));
    m_conf.nUIFileSum = 2;
    m_conf.pUIFiles = table;
    table[0].id = 3;
    table[0].szCommonFile = config_test::heapText("common");
    table[0].szLanguageFile = config_test::heapText("language");
    table[1].id = 5;
    table[1].szCommonFile = nullptr;
    table[1].szLanguageFile = config_test::heapText("lang2");
    uinitSysConf(&m_conf);
    EXPECT_EQ(nullptr, m_conf.szUIStyle);
    // The texts are released; the table array and the count stay as they are.
    EXPECT_EQ(table, m_conf.pUIFiles);
    EXPECT_EQ(2u, m_conf.nUIFileSum);
    EXPECT_EQ(3u, table[0].id);
    EXPECT_EQ(5u, table[1].id);
    EXPECT_EQ(nullptr, table[0].szCommonFile);
    EXPECT_EQ(nullptr, table[0].szLanguageFile);
    EXPECT_EQ(nullptr, table[1].szLanguageFile);
    uinitSysConf(&m_conf); // a second release does nothing
    EXPECT_EQ(table, m_conf.pUIFiles);
    EXPECT_EQ(nullptr, m_conf.szUIStyle);
    // The array is released by whoever filled it.
    std::free(table);
    m_conf.pUIFiles = nullptr;
    m_conf.nUIFileSum = 0;
}

TEST_F(SysConfTest, ManyInitUinitCycles) {
    installStyles();
    writeMachineInfo(13);
    for (int i = 0; i < 1000; ++i) {
        ASSERT_EQ(0, initSysConf(2, makeModule("(sensor=imx291)(max_scheme=3)"), &m_conf));
        ASSERT_NE(nullptr, m_conf.szUIStyle);
        uinitSysConf(&m_conf);
        ASSERT_EQ(nullptr, m_conf.szUIStyle);
        // A fresh merge file each time: rewriting one in place waits for the
        // disk on some file systems, and the test is about memory.
        removeFile("/tmp/merge_style_ch2.xml");
    }
    EXPECT_EQ("", errorLog());
}

TEST_F(SysConfTest, WorksOnARootWithoutTmp) {
    installStyles();
    writeMachineInfo(1);
    ASSERT_FALSE(fileExists("/tmp"));
    ASSERT_EQ(0, initSysConf(1, makeModule("(sensor=imx291)"), &m_conf));
    EXPECT_TRUE(fileExists("/tmp/merge_style_ch1.xml"));
    EXPECT_EQ("", errorLog());
}

} // namespace
