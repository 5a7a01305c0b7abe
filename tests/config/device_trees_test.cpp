// The sample device trees under devices/: merged style, narrowed style and
// factory values of each, through the configuration functions alone.
#include <algorithm>
#include <cstring>
#include <fstream>
#include <iostream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "ConfigTestUtil.h"
#include "config/DnaStyle.h"
#include "config/FactoryDefaults.h"
#include "config/StyleXml.h"
#include "config/sensor.h"
#include "platform/MachineInfo.h"
#include "platform/ModuleConfigureParser.h"
#include "platform/SystemInfoParser.h"

namespace {

using config_test::ConfigTest;
using config_test::choicesOf;
using config_test::findId;
using config_test::valueOf;

std::string printed(const TiXmlElement& element) {
    TiXmlPrinter printer;
    element.Accept(&printer);
    return printer.Str();
}

// Items with both "id" and "value", in document order, read without the
// library's own walk.
void collectItems(const TiXmlElement* node, std::vector<std::pair<u32, u32>>& out) {
    const char* id = node->Attribute("id");
    const char* value = node->Attribute("value");
    if (id != nullptr && value != nullptr) {
        out.emplace_back(static_cast<u32>(std::stoul(id)), static_cast<u32>(std::stol(value)));
    }
    for (const TiXmlElement* child = node->FirstChildElement(); child != nullptr; child = child->NextSiblingElement()) {
        collectItems(child, out);
    }
}

// The value of a detail field as a selector sees it: up to ")" and at most
// nine characters.
bool detailField(const std::string& detail, const std::string& name, std::string& value) {
    size_t pos = detail.find(name);
    if (pos == std::string::npos) {
        return false;
    }
    size_t equals = detail.find('=', pos + name.size());
    size_t close = equals == std::string::npos ? std::string::npos : detail.find(')', equals);
    if (close == std::string::npos) {
        return false;
    }
    value = detail.substr(equals + 1, std::min<size_t>(close - equals - 1, 9));
    return true;
}

bool selectorMatches(const TiXmlElement& selector, const std::string& detail) {
    for (const TiXmlAttribute* attr = selector.FirstAttribute(); attr != nullptr; attr = attr->Next()) {
        std::string value;
        if (!detailField(detail, attr->Name(), value)) {
            continue;
        }
        std::stringstream pieces(attr->Value());
        std::string piece;
        while (std::getline(pieces, piece, ',')) {
            if (piece.compare(0, 5, value, 0, 5) == 0) {
                return true;
            }
        }
    }
    return false;
}

int tabCount(const TiXmlElement* root, const std::string& key) {
    int count = 0;
    for (const TiXmlElement* tab = root->FirstChildElement(); tab != nullptr; tab = tab->NextSiblingElement()) {
        const char* tabKey = tab->Attribute("key");
        count += (tabKey != nullptr && key == tabKey) ? 1 : 0;
    }
    return count;
}

struct Tree {
    const char* model;
    int channel;           // controller channel
    const char* style;     // base style file
    const char* diversity; // diversity file
    size_t factoryCount;   // entries with WDR and LDC shown
};

const Tree kTrees[] = {
    {"box", 1, "Style.xml", "StyleDiversity.xml", 87},
    {"dome", 1, "Style_dome.xml", "StyleDiversity_dome.xml", 73},
    {"thermal", 2, "Style_Thermal.xml", "StyleDiversity_Thermal.xml", 38},
    {"lpr", 1, "Style.xml", "StyleDiversity.xml", 78},
    {"fisheye", 1, "Style.xml", "StyleDiversity.xml", 68},
};

class DeviceTreeTest : public ConfigTest, public ::testing::WithParamInterface<Tree> {
protected:
    void TearDown() override {
        uinitSysConf(&m_conf);
        ConfigTest::TearDown();
    }

    // Installs the tree and runs the system configuration of its channel.
    void configure(const Tree& tree) {
        installDeviceTree(tree.model);
        MachineInfo machine;
        ASSERT_TRUE(SystemInfoParser::parseMachineInfo(SENSOR_MACHINEINFO_FILE, machine));
        std::vector<ModuleConfigure> modules;
        ASSERT_TRUE(ModuleConfigureParser::parse(SENSOR_MODULECONFIG_FILE, machine.getHardwareModel(),
                                                 machine.getHardwareCode(), modules));
        bool found = false;
        for (const ModuleConfigure& module : modules) {
            if (module.getModuleId() == tree.channel) {
                m_module = module;
                found = true;
                break;
            }
        }
        ASSERT_TRUE(found) << "no module for channel " << tree.channel;
        std::memset(&m_conf, 0, sizeof(m_conf));
        ASSERT_EQ(0, initSysConf(tree.channel, m_module, &m_conf));
        ASSERT_NE(nullptr, m_conf.szUIStyle);
    }

    TiXmlElement* merged() {
        m_merged.Clear();
        EXPECT_TRUE(LoadMem(m_merged, m_conf.szUIStyle, TIXML_ENCODING_UTF8));
        return m_merged.RootElement();
    }

    TiXmlElement* narrowed(int channel) {
        std::string text;
        EXPECT_EQ(0, getDnaStyle(channel, m_conf.szUIStyle, text, true, true));
        m_narrowedText = text;
        m_narrowed.Clear();
        EXPECT_TRUE(LoadMem(m_narrowed, text.c_str(), TIXML_ENCODING_UTF8));
        return m_narrowed.RootElement();
    }

    std::vector<std::pair<u32, u32>> factory(int channel) {
        std::vector<KeyVal> records;
        EXPECT_EQ(0, getFctData(channel, m_conf.szUIStyle, records, true, true));
        std::vector<std::pair<u32, u32>> out;
        for (const KeyVal& record : records) {
            out.emplace_back(record.key, record.value);
        }
        return out;
    }

    SysConfig m_conf;
    ModuleConfigure m_module;
    TiXmlDocument m_merged;
    TiXmlDocument m_narrowed;
    std::string m_narrowedText;
};

TEST_P(DeviceTreeTest, MergeIsWellFormedAndAppliesTheMatchingEdits) {
    const Tree& tree = GetParam();
    configure(tree);
    TiXmlElement* root = merged();
    ASSERT_NE(nullptr, root);
    EXPECT_EQ("", errorLog());
    EXPECT_EQ(readFile("/tmp/merge_style_ch" + std::to_string(tree.channel) + ".xml"), std::string(m_conf.szUIStyle));

    // The first five items are the scheme keys, in order.
    std::vector<std::pair<u32, u32>> items;
    collectItems(root, items);
    ASSERT_GE(items.size(), 5u);
    for (u32 i = 0; i < 5; ++i) {
        EXPECT_EQ(8000u + i, items[i].first);
    }

    TiXmlDocument base;
    ASSERT_TRUE(loadXmlFile(base, (std::string(SENSOR_STYLE_DIR) + tree.style).c_str()));
    TiXmlDocument diversity;
    ASSERT_TRUE(loadXmlFile(diversity, (std::string(SENSOR_STYLE_DIVERSITY_DIR) + tree.diversity).c_str()));
    const std::string detail = m_module.getDetail();
    int applied = 0;
    int skipped = 0;
    for (const TiXmlElement* selector = diversity.RootElement(); selector != nullptr;
         selector = selector->NextSiblingElement()) {
        if (!selectorMatches(*selector, detail)) {
            ++skipped;
            continue;
        }
        for (const TiXmlElement* op = selector->FirstChildElement(); op != nullptr; op = op->NextSiblingElement()) {
            ++applied;
            const std::string name = op->Value();
            const std::string key = op->Attribute("tab_key");
            if (name == "Modify" || name == "AddAfter") {
                const TiXmlElement* tab = op->FirstChildElement();
                ASSERT_NE(nullptr, tab);
                // The tab stands in the merged style exactly as the edit gives it.
                bool present = false;
                for (const TiXmlElement* t = root->FirstChildElement(); t != nullptr; t = t->NextSiblingElement()) {
                    present = present || printed(*t) == printed(*tab);
                }
                EXPECT_TRUE(present) << tree.model << ": " << name << " " << key;
            } else if (name == "Delete") {
                EXPECT_LT(tabCount(root, key), tabCount(base.RootElement(), key)) << tree.model << ": Delete " << key;
            } else {
                ADD_FAILURE() << "unknown operation " << name;
            }
        }
    }
    EXPECT_GT(applied, 0) << tree.model;
    EXPECT_GT(skipped, 0) << tree.model;
}

TEST_P(DeviceTreeTest, FactoryValuesMatchTheNarrowedStyleItemForItem) {
    const Tree& tree = GetParam();
    configure(tree);
    TiXmlElement* root = narrowed(tree.channel);
    ASSERT_NE(nullptr, root);
    std::vector<std::pair<u32, u32>> expected;
    collectItems(root, expected);
    std::vector<std::pair<u32, u32>> got = factory(tree.channel);
    EXPECT_EQ(expected, got);
    EXPECT_EQ(tree.factoryCount, got.size());
    // The exported array form, into an array that holds every item, agrees.
    std::vector<KeyVal> records(got.size() + 1);
    u32 count = 0;
    EXPECT_EQ(0, getFctData(tree.channel, m_conf.szUIStyle, records.data(), &count, true, true));
    ASSERT_EQ(got.size(), count);
    for (u32 i = 0; i < count; ++i) {
        EXPECT_EQ(got[i], std::make_pair(records[i].key, records[i].value)) << i;
    }
    // Items removed by the narrowing are not there; the beaway flag is set.
    EXPECT_EQ(nullptr, findId(root, 10));
    EXPECT_EQ(nullptr, findId(root, 11));
    EXPECT_EQ("", errorLog());
}

// Shows the narrowed style and the factory list of each tree on the test
// output; the narrowed style goes to a file of the test's own root (removed
// with it), so a run leaves nothing behind.
TEST_P(DeviceTreeTest, ShowNarrowedStyleAndFactoryList) {
    const Tree& tree = GetParam();
    configure(tree);
    TiXmlElement* root = narrowed(tree.channel);
    ASSERT_NE(nullptr, root);
    const std::string devicePath = std::string("/narrowed-style-") + tree.model + ".xml";
    const std::string path = hostPath(devicePath);
    std::ofstream(path) << m_narrowedText;
    EXPECT_EQ(m_narrowedText, readFile(devicePath));
    std::ostringstream list;
    for (const auto& entry : factory(tree.channel)) {
        list << "(" << entry.first << "," << entry.second << ")";
    }
    std::cout << "[ " << tree.model << " ] narrowed style (" << m_narrowedText.size() << " bytes): " << path << "\n"
              << "[ " << tree.model << " ] tabs:";
    for (const std::string& key : config_test::tabKeys(root)) {
        std::cout << " " << key;
    }
    std::cout << "\n[ " << tree.model << " ] factory list: " << list.str() << "\n";
    EXPECT_FALSE(list.str().empty());
}

INSTANTIATE_TEST_SUITE_P(Trees, DeviceTreeTest, ::testing::ValuesIn(kTrees),
                         [](const ::testing::TestParamInfo<Tree>& info) { return std::string(info.param.model); });

// ---- concrete items per tree ----

class DeviceItemsTest : public DeviceTreeTest {};

TEST_F(DeviceItemsTest, Box) {
    configure(kTrees[0]);
    TiXmlElement* m = merged();
    EXPECT_EQ("70", valueOf(m, 2312)); // STARVIS noise tab (Modify)
    EXPECT_EQ("60", valueOf(m, 2306));
    std::vector<std::string> keys = config_test::tabKeys(m);
    auto exposure = std::find(keys.begin(), keys.end(), "exposure");
    ASSERT_NE(keys.end(), exposure);
    ASSERT_NE(keys.end(), exposure + 1);
    EXPECT_EQ("iris", *(exposure + 1)); // AddAfter exposure
    for (int id : {80, 81, 82, 83}) {
        EXPECT_NE(nullptr, findId(m, id)) << id;
    }

    TiXmlElement* n = narrowed(1);
    EXPECT_EQ("5", valueOf(n, 49)); // the style's 5 is offered by the ISP
    std::vector<std::string> shutters = choicesOf(findId(n, 49));
    EXPECT_EQ(shutters.end(), std::find(shutters.begin(), shutters.end(), "0"));
    EXPECT_EQ(shutters.end(), std::find(shutters.begin(), shutters.end(), "1"));
    EXPECT_EQ("22", valueOf(n, 51)); // 100: the ISP default
    EXPECT_EQ("3", valueOf(n, 56));
    EXPECT_EQ("4", valueOf(n, 1537));
    EXPECT_EQ("42", valueOf(n, 65));
    EXPECT_EQ("54", valueOf(n, 57));
    std::vector<std::string> iris = choicesOf(findId(n, 82));
    EXPECT_EQ(iris.end(), std::find(iris.begin(), iris.end(), "358")); // F1.4 not offered
    EXPECT_NE(iris.end(), std::find(iris.begin(), iris.end(), "716"));
    EXPECT_NE(nullptr, findId(n, 2385));
}

TEST_F(DeviceItemsTest, Dome) {
    configure(kTrees[1]);
    TiXmlElement* m = merged();
    std::vector<std::string> keys = config_test::tabKeys(m);
    EXPECT_EQ(keys.end(), std::find(keys.begin(), keys.end(), "whitelight")); // Delete
    EXPECT_EQ(keys.end(), std::find(keys.begin(), keys.end(), "smartlight"));
    auto lens = std::find(keys.begin(), keys.end(), "lens");
    ASSERT_NE(keys.end(), lens);
    ASSERT_NE(keys.end(), lens + 1);
    EXPECT_EQ("ptz", *(lens + 1)); // AddAfter lens
    EXPECT_NE(nullptr, findId(m, 2512));
    EXPECT_EQ("205", valueOf(m, 49));

    TiXmlElement* n = narrowed(1);
    EXPECT_EQ("5", valueOf(n, 49)); // 205: the style's own list, index 5
    std::vector<std::string> shutters = choicesOf(findId(n, 49));
    ASSERT_FALSE(shutters.empty());
    EXPECT_EQ("3", shutters.front());
    EXPECT_EQ("16", shutters.back());
    EXPECT_EQ("22", valueOf(n, 51));
    EXPECT_EQ("22", valueOf(n, 55));
    EXPECT_EQ("48", valueOf(n, 65));
    EXPECT_EQ(nullptr, findId(n, 2048)); // no lens-distortion items in this style
}

TEST_F(DeviceItemsTest, ThermalChannel) {
    configure(kTrees[2]);
    EXPECT_EQ(2u, m_conf.nSchemeSum);
    EXPECT_EQ(13, m_conf.nDeviceType);
    TiXmlElement* m = merged();
    EXPECT_EQ("5", valueOf(m, 8203)); // ffc tab (Modify)
    std::vector<std::string> keys = config_test::tabKeys(m);
    auto video = std::find(keys.begin(), keys.end(), "video");
    ASSERT_NE(keys.end(), video);
    ASSERT_NE(keys.end(), video + 1);
    EXPECT_EQ("focus", *(video + 1)); // AddAfter video
    EXPECT_NE(nullptr, findId(m, 8207));

    TiXmlElement* n = narrowed(2); // ISP channel 1
    EXPECT_EQ("2", valueOf(n, 8201));
    std::vector<std::string> palette = choicesOf(findId(n, 8201));
    EXPECT_EQ(palette.end(), std::find(palette.begin(), palette.end(), "10"));
    EXPECT_EQ(palette.end(), std::find(palette.begin(), palette.end(), "11"));
}

TEST_F(DeviceItemsTest, ThermalVisibleChannelUsesTheBoxPair) {
    installDeviceTree("thermal");
    MachineInfo machine;
    ASSERT_TRUE(SystemInfoParser::parseMachineInfo(SENSOR_MACHINEINFO_FILE, machine));
    std::vector<ModuleConfigure> modules;
    ASSERT_TRUE(ModuleConfigureParser::parse(SENSOR_MODULECONFIG_FILE, machine.getHardwareModel(),
                                             machine.getHardwareCode(), modules));
    ASSERT_FALSE(modules.empty());
    const ModuleConfigure* visible = nullptr;
    for (const ModuleConfigure& module : modules) {
        if (module.getModuleId() == 1) {
            visible = &module;
        }
    }
    ASSERT_NE(nullptr, visible);
    std::memset(&m_conf, 0, sizeof(m_conf));
    ASSERT_EQ(0, initSysConf(1, *visible, &m_conf));
    EXPECT_NE(nullptr, findId(merged(), 2312));
    EXPECT_EQ(nullptr, findId(merged(), 8201));
    EXPECT_EQ(77u, factory(1).size());
}

TEST_F(DeviceItemsTest, Lpr) {
    configure(kTrees[3]);
    TiXmlElement* m = merged();
    EXPECT_EQ("1", valueOf(m, 8000)); // time plan
    EXPECT_EQ("6", valueOf(m, 8001));
    EXPECT_EQ("18", valueOf(m, 8003));
    EXPECT_EQ("216", valueOf(m, 49));
    EXPECT_NE(nullptr, findId(m, 52)); // vehicle speed
    EXPECT_NE(nullptr, findId(m, 80)); // iris tab for vf1050

    TiXmlElement* n = narrowed(1);
    EXPECT_EQ("16", valueOf(n, 49)); // 216: the style's own list, index 16
    EXPECT_EQ("16", valueOf(n, 50));
    EXPECT_EQ("1024", valueOf(n, 82));
    EXPECT_EQ("6", valueOf(n, 1537));
}

TEST_F(DeviceItemsTest, Fisheye) {
    configure(kTrees[4]);
    TiXmlElement* m = merged();
    std::vector<std::string> keys = config_test::tabKeys(m);
    EXPECT_EQ(keys.end(), std::find(keys.begin(), keys.end(), "lens")); // Delete
    auto video = std::find(keys.begin(), keys.end(), "video");
    ASSERT_NE(keys.end(), video);
    ASSERT_NE(keys.end(), video + 1);
    EXPECT_EQ("fisheye", *(video + 1));

    TiXmlElement* n = narrowed(1);
    EXPECT_NE(nullptr, findId(n, 2386));
    std::vector<std::string> modes = choicesOf(findId(n, 16));
    EXPECT_EQ(modes.end(), std::find(modes.begin(), modes.end(), "3")); // no iris priority
    EXPECT_EQ("4", valueOf(n, 56));
    setshowFisheyeRotateFlag(false);
    EXPECT_EQ(nullptr, findId(narrowed(1), 2386));
}

} // namespace
