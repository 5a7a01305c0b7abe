// Narrowing of the style to the ISP's dynamic ranges.
#include <cstring>
#include <string>

#include "ConfigTestUtil.h"
#include "config/DnaStyle.h"
#include "config/StyleXml.h"

namespace {

using config_test::ConfigTest;
using config_test::choicesOf;
using config_test::findId;
using config_test::valueOf;

std::string choices(std::initializer_list<int> indexes) {
    std::string out;
    for (int index : indexes) {
        out += "<ci index=\"" + std::to_string(index) + "\"/>";
    }
    return out;
}

std::string item(int id, int value, const std::string& children = "") {
    return "<item id=\"" + std::to_string(id) + "\" value=\"" + std::to_string(value) + "\">" + children + "</item>";
}

std::string style(const std::string& items) { return "<style><tab key=\"t\">" + items + "</tab></style>"; }

class DnaStyleTest : public ConfigTest {
protected:
    // Narrows the text for channel 1 (ISP channel 0) and parses the result.
    TiXmlElement* narrow(const std::string& text, bool wdr = true, bool ldc = true, int channel = 1) {
        m_out.clear();
        EXPECT_EQ(0, getDnaStyle(channel, text.c_str(), m_out, wdr, ldc));
        m_doc.Clear();
        return config_test::parse(m_doc, m_out);
    }

    std::string m_out;
    TiXmlDocument m_doc;
};

TEST_F(DnaStyleTest, StyleValueStandsWhenTheIspOffersIt) {
    ispsim::setDynamicParam(0, 50, 5, {0, 3, 5});
    EXPECT_EQ("3", valueOf(narrow(style(item(50, 3))), 50));
    EXPECT_EQ("5", valueOf(narrow(style(item(50, 4))), 50));
}

TEST_F(DnaStyleTest, OverrideListIsPrintedOnStdout) {
    ispsim::setDynamicParam(0, 50, 5, {0, 3, 5});
    captureStdout();
    narrow(style(item(50, 3)));
    std::string out = capturedStdout();
    EXPECT_NE(std::string::npos,
              out.find("dnaCmdList.cmd_list[0] = dnaParamList.items_cnt(3)\n"
                       " dnaParamList.item[0] = 0 nVal = 3 \n"
                       " dnaParamList.item[1] = 3 nVal = 3 \n"));
    EXPECT_EQ(std::string::npos, out.find("dnaParamList.item[2]"));
}

TEST_F(DnaStyleTest, OnlyTheSixOverrideCommandsKeepTheStyleValue) {
    for (int cmd : {49, 50, 51, 55, 56, 1537}) {
        ispsim::setDynamicParam(0, cmd, 1, {1, 2});
    }
    ispsim::setDynamicParam(0, 52, 1, {1, 2});
    TiXmlElement* root = narrow(style(item(49, 2) + item(50, 2) + item(51, 2) + item(55, 2) + item(56, 2) +
                                      item(1537, 2) + item(52, 2)));
    for (int cmd : {49, 50, 51, 55, 56, 1537}) {
        EXPECT_EQ("2", valueOf(root, cmd)) << cmd;
    }
    EXPECT_EQ("1", valueOf(root, 52));
}

TEST_F(DnaStyleTest, MaxShutterFrom200KeepsTheStyleChoices) {
    ispsim::setDynamicParam(0, 49, 10, {1, 5, 10});
    TiXmlElement* root = narrow(style(item(49, 205, choices({0, 1, 2}))));
    EXPECT_EQ("5", valueOf(root, 49));
    EXPECT_EQ((std::vector<std::string>{"0", "1", "2"}), choicesOf(findId(root, 49)));
}

TEST_F(DnaStyleTest, ValueFrom200OnOtherCommandsIsNotSpecial) {
    ispsim::setDynamicParam(0, 50, 10, {1, 5, 10});
    TiXmlElement* root = narrow(style(item(50, 205, choices({0, 1, 5}))));
    EXPECT_EQ("10", valueOf(root, 50));
    EXPECT_EQ((std::vector<std::string>{"1", "5"}), choicesOf(findId(root, 50)));
}

TEST_F(DnaStyleTest, Value100TakesTheIspDefaultSilently) {
    ispsim::setDynamicParam(0, 55, 7, {7, 100});
    captureStdout();
    TiXmlElement* root = narrow(style(item(55, 100)));
    std::string out = capturedStdout();
    EXPECT_EQ("7", valueOf(root, 55));
    EXPECT_EQ(std::string::npos, out.find("dnaParamList"));
}

TEST_F(DnaStyleTest, ChoicesTheIspDoesNotListAreRemoved) {
    ispsim::setDynamicParam(0, 64, 1, {1, 2});
    TiXmlElement* root = narrow(style(item(64, 0, choices({0, 1, 2}))));
    EXPECT_EQ((std::vector<std::string>{"1", "2"}), choicesOf(findId(root, 64)));
    EXPECT_EQ("1", valueOf(root, 64));
}

TEST_F(DnaStyleTest, DeletedChoicesAreTracedAtLevelAboveFive) {
    ispsim::setDynamicParam(0, 64, 1, {1, 2});
    setDebugMarker("6");
    captureStdout();
    narrow(style(item(64, 0, choices({0, 1, 2}))));
    std::string out = capturedStdout();
    EXPECT_NE(std::string::npos, out.find("_________________delete comboitem(0)__________________\n"));
    EXPECT_NE(std::string::npos, out.find("_________________cmd(64) default(1)__________________\n"));
    EXPECT_NE(std::string::npos, out.find("dnaCmdList.cmd_cnt(1)\n"));
    EXPECT_NE(std::string::npos, out.find("dnaCmdList.cmd_list[0] = cmd(64)\n"));
    EXPECT_NE(std::string::npos, out.find("[sensor dbg] file:SensorKeyVal.cpp fun:doDnaStyle line:"));
}

TEST_F(DnaStyleTest, ChoiceWithoutIndexReportsAndLeavesTheRestAlone) {
    ispsim::setDynamicParam(0, 64, 1, {1, 2});
    ispsim::setDynamicParam(0, 65, 4, {4});
    TiXmlElement* root = narrow(
        style(item(64, 0, "<ci index=\"0\"/><ci/><ci index=\"7\"/>") + item(65, 0, choices({3, 4}))));
    EXPECT_EQ((std::vector<std::string>{"<none>", "7"}), choicesOf(findId(root, 64)));
    EXPECT_EQ("1", valueOf(root, 64));
    // The loop goes on with the next command.
    EXPECT_EQ((std::vector<std::string>{"4"}), choicesOf(findId(root, 65)));
    std::string log = errorLog();
    EXPECT_NE(std::string::npos, log.find("file:SensorKeyVal.cpp fun:getDnaStyle line:504"));
    EXPECT_NE(std::string::npos,
              log.find("SNS_SUCCESS == doDnaStyle(objStyleXmlDoc.RootElement(), dnaCmdList.cmd_list[i], "
                       "&dnaParamList)   ~~~Assertion failed."));
}

TEST_F(DnaStyleTest, ItemsWithoutChoicesOnlyGetTheirValue) {
    ispsim::setDynamicParam(0, 34, 60, {});
    TiXmlElement* root = narrow(style(item(34, 50)));
    EXPECT_EQ("60", valueOf(root, 34));
    EXPECT_TRUE(choicesOf(findId(root, 34)).empty());
}

TEST_F(DnaStyleTest, EveryItemWithTheIdIsNarrowed) {
    ispsim::setDynamicParam(0, 64, 2, {2});
    TiXmlElement* root = narrow("<style><tab key=\"a\">" + item(64, 0, choices({1, 2})) + "</tab><tab key=\"b\">" +
                                item(64, 0, choices({2, 3})) + "</tab></style>");
    ASSERT_EQ(2, config_test::countId(root, 64));
    TiXmlElement* second = findId(root->FirstChildElement()->NextSiblingElement(), 64);
    EXPECT_EQ((std::vector<std::string>{"2"}), choicesOf(findId(root, 64)));
    EXPECT_EQ((std::vector<std::string>{"2"}), choicesOf(second));
    EXPECT_STREQ("2", second->Attribute("value"));
}

const std::string kRemovableItems =
    item(10, 1) + item(11, 1) + item(2048, 1) + item(2064, 1) + item(2368, 1) + item(2369, 1) + item(2386, 1) +
    item(34, 50);

TEST_F(DnaStyleTest, WdrItemTenGoesInBothCases) {
    setshowBeawayFalg(false);
    TiXmlElement* root = narrow(style(kRemovableItems), true, true);
    EXPECT_EQ(nullptr, findId(root, 10));
    EXPECT_NE(nullptr, findId(root, 2368));
    EXPECT_NE(nullptr, findId(root, 2369));
    root = narrow(style(kRemovableItems), false, true);
    EXPECT_EQ(nullptr, findId(root, 10));
    EXPECT_EQ(nullptr, findId(root, 2368));
    EXPECT_EQ(nullptr, findId(root, 2369));
    EXPECT_NE(nullptr, findId(root, 34));
}

TEST_F(DnaStyleTest, LdcItemsGoWhenLdcIsNotShown) {
    TiXmlElement* root = narrow(style(kRemovableItems), true, true);
    EXPECT_NE(nullptr, findId(root, 2048));
    EXPECT_NE(nullptr, findId(root, 2064));
    root = narrow(style(kRemovableItems), true, false);
    EXPECT_EQ(nullptr, findId(root, 2048));
    EXPECT_EQ(nullptr, findId(root, 2064));
}

TEST_F(DnaStyleTest, TrueBeawayFlagRemovesItemEleven) {
    setshowBeawayFalg(true);
    EXPECT_EQ(nullptr, findId(narrow(style(kRemovableItems)), 11));
    setshowBeawayFalg(false);
    EXPECT_NE(nullptr, findId(narrow(style(kRemovableItems)), 11));
}

TEST_F(DnaStyleTest, FalseFisheyeFlagRemovesItem2386) {
    EXPECT_NE(nullptr, findId(narrow(style(kRemovableItems)), 2386));
    setshowFisheyeRotateFlag(false);
    EXPECT_EQ(nullptr, findId(narrow(style(kRemovableItems)), 2386));
}

TEST_F(DnaStyleTest, RemovalTakesTheLastItemWithTheId) {
    TiXmlElement* root = narrow(style(item(10, 1) + item(10, 2)));
    ASSERT_EQ(1, config_test::countId(root, 10));
    EXPECT_EQ("1", valueOf(root, 10));
}

TEST_F(DnaStyleTest, WithoutDynamicParametersOnlyTheRemovalsApply) {
    const std::string text = style(item(34, 50, choices({1, 2})) + item(10, 1));
    TiXmlElement* root = narrow(text);
    EXPECT_EQ("50", valueOf(root, 34));
    EXPECT_EQ((std::vector<std::string>{"1", "2"}), choicesOf(findId(root, 34)));
    EXPECT_EQ(nullptr, findId(root, 10));
    EXPECT_EQ("", errorLog());
}

TEST_F(DnaStyleTest, FailedCommandListQueryReportsAndGoesOn) {
    ispsim::setDynamicParam(0, 34, 60, {});
    ispsim::setFailure(-1, IA_CMD_DYNAMIC_PARAMS_CMDS_GET, -1, -5);
    TiXmlElement* root = narrow(style(item(34, 50) + item(10, 1)));
    EXPECT_EQ("50", valueOf(root, 34));
    EXPECT_EQ(nullptr, findId(root, 10));
    std::string log = errorLog();
    EXPECT_NE(std::string::npos, log.find("fun:getDnaStyle line:448"));
    EXPECT_NE(std::string::npos,
              log.find("SNS_SUCCESS == ia_ioctrl_v2(p_channelID-1, IA_CMD_DYNAMIC_PARAMS_CMDS_GET, IA_CMD_OPT_GET, "
                       "(void*)(&dnaCmdList))   ~~~Assertion failed."));
}

TEST_F(DnaStyleTest, FailedRangeQueryReusesThePreviousRecord) {
    ispsim::setDynamicParam(0, 64, 3, {3, 4});
    ispsim::setDynamicParam(0, 65, 9, {9});
    ispsim::setFailure(0, 65, IA_CMD_OPT_GET_PARAM_RNAGE, -2);
    TiXmlElement* root = narrow(style(item(64, 0, choices({3, 9})) + item(65, 0, choices({3, 4, 9}))));
    EXPECT_EQ("3", valueOf(root, 64));
    // One record serves all commands and is not cleared in between.
    EXPECT_EQ("3", valueOf(root, 65));
    EXPECT_EQ((std::vector<std::string>{"3", "4"}), choicesOf(findId(root, 65)));
    std::string log = errorLog();
    EXPECT_NE(std::string::npos, log.find("fun:getDnaStyle line:460"));
    EXPECT_NE(std::string::npos,
              log.find("SNS_SUCCESS == ia_ioctrl_v2(p_channelID-1, (ia_cmd_e)dnaCmdList.cmd_list[i], "
                       "IA_CMD_OPT_GET_PARAM_RNAGE, (void*)(&dnaParamList))"));
}

TEST_F(DnaStyleTest, IspChannelIsTheChannelMinusOne) {
    ispsim::setDynamicParam(1, 34, 61, {});
    ispsim::setDynamicParam(0, 34, 60, {});
    EXPECT_EQ("61", valueOf(narrow(style(item(34, 50)), true, true, 2), 34));
    for (const ispsim::Call& call : ispsim::calls()) {
        EXPECT_EQ(1, call.channel);
    }
    ispsim::clearCalls();
    EXPECT_EQ("60", valueOf(narrow(style(item(34, 50)), true, true, 1), 34));
    ASSERT_EQ(2u, ispsim::calls().size());
    EXPECT_EQ(IA_CMD_DYNAMIC_PARAMS_CMDS_GET, ispsim::calls()[0].cmd);
    EXPECT_EQ(unsigned(IA_CMD_OPT_GET), ispsim::calls()[0].opt);
    EXPECT_EQ(34u, ispsim::calls()[1].cmd);
    EXPECT_EQ(unsigned(IA_CMD_OPT_GET_PARAM_RNAGE), ispsim::calls()[1].opt);
}

TEST_F(DnaStyleTest, UnparsableStyleReportsAndGivesAnEmptyText) {
    ispsim::setDynamicParam(0, 34, 60, {});
    std::string out = "previous";
    EXPECT_EQ(0, getDnaStyle(1, "<style><tab>", out, true, true));
    EXPECT_EQ("", out);
    EXPECT_EQ(0, getDnaStyle(1, nullptr, out, false, false));
    EXPECT_EQ("", out);
    std::string log = errorLog();
    EXPECT_NE(std::string::npos, log.find("fun:getDnaStyle line:452"));
    EXPECT_NE(std::string::npos, log.find("objStyleXmlDoc.LoadMem(szStyle, TIXML_ENCODING_UTF8)   ~~~Assertion failed."));
}

TEST_F(DnaStyleTest, TheStyleTextIsNotChanged) {
    ispsim::setDynamicParam(0, 64, 1, {1});
    const std::string text = style(item(64, 0, choices({0, 1})) + item(10, 1));
    std::string copy = text;
    narrow(copy);
    EXPECT_EQ(text, copy);
}

TEST_F(DnaStyleTest, MoreThanSixtyFourStyleChoicesStopAtSixtyFour) {
    std::string many;
    for (int i = 0; i < 80; ++i) {
        many += "<ci index=\"" + std::to_string(i) + "\"/>";
    }
    ispsim::setDynamicParam(0, 49, 1, {1});
    TiXmlElement* root = narrow(style(item(49, 203, many)));
    EXPECT_EQ("3", valueOf(root, 49));
    std::vector<std::string> kept = choicesOf(findId(root, 49));
    ASSERT_EQ(64u, kept.size());
    EXPECT_EQ("0", kept.front());
    EXPECT_EQ("63", kept.back());
}

TEST_F(DnaStyleTest, MoreThanSixteenCommandsUseTheFirstSixteen) {
    config_test::setIspHook([](int, unsigned int cmd, unsigned int opt, void* data, int& result) {
        if (cmd == IA_CMD_DYNAMIC_PARAMS_CMDS_GET) {
            auto* list = static_cast<ia_dynamic_cmd_list_st*>(data);
            list->cmd_cnt = 1000;
            for (int i = 0; i < IA_DYNAMIC_CMD_MAX; ++i) {
                list->cmd_list[i] = 300 + i;
            }
            result = 0;
            return true;
        }
        if (opt == IA_CMD_OPT_GET_PARAM_RNAGE) {
            auto* record = static_cast<ia_dynamic_params_attr_st*>(data);
            std::memset(record, 0, sizeof(*record));
            record->def_val = static_cast<int32_t>(cmd) + 1;
            result = 0;
            return true;
        }
        return false;
    });
    std::string items;
    for (int i = 0; i < 20; ++i) {
        items += item(300 + i, 0);
    }
    setDebugMarker("6");
    captureStdout();
    TiXmlElement* root = narrow(style(items));
    std::string out = capturedStdout();
    EXPECT_NE(std::string::npos, out.find("dnaCmdList.cmd_cnt(16)\n"));
    for (int i = 0; i < 16; ++i) {
        EXPECT_EQ(std::to_string(301 + i), valueOf(root, 300 + i));
    }
    for (int i = 16; i < 20; ++i) {
        EXPECT_EQ("0", valueOf(root, 300 + i));
    }
}

TEST_F(DnaStyleTest, NegativeCommandCountMeansNoCommands) {
    int rangeQueries = 0;
    config_test::setIspHook([&rangeQueries](int, unsigned int cmd, unsigned int opt, void* data, int& result) {
        if (cmd == IA_CMD_DYNAMIC_PARAMS_CMDS_GET) {
            auto* list = static_cast<ia_dynamic_cmd_list_st*>(data);
            list->cmd_cnt = -3;
            list->cmd_list[0] = 34;
            result = 0;
            return true;
        }
        if (opt == IA_CMD_OPT_GET_PARAM_RNAGE) {
            ++rangeQueries;
        }
        return false;
    });
    EXPECT_EQ("50", valueOf(narrow(style(item(34, 50))), 34));
    EXPECT_EQ(0, rangeQueries);
}

TEST_F(DnaStyleTest, MoreThanSixtyFourListValuesUseTheFirstSixtyFour) {
    config_test::setIspHook([](int, unsigned int cmd, unsigned int opt, void* data, int& result) {
        if (cmd == IA_CMD_DYNAMIC_PARAMS_CMDS_GET) {
            auto* list = static_cast<ia_dynamic_cmd_list_st*>(data);
            list->cmd_cnt = 1;
            list->cmd_list[0] = 50;
            result = 0;
            return true;
        }
        if (opt == IA_CMD_OPT_GET_PARAM_RNAGE) {
            auto* record = static_cast<ia_dynamic_params_attr_st*>(data);
            record->def_val = 0;
            record->items_cnt = 100000;
            for (int i = 0; i < IA_DYNAMIC_ITEM_MAX; ++i) {
                record->item[i] = i;
            }
            result = 0;
            return true;
        }
        return false;
    });
    captureStdout();
    TiXmlElement* root = narrow(style(item(50, 70, choices({1, 63, 64, 70}))));
    std::string out = capturedStdout();
    EXPECT_NE(std::string::npos, out.find("dnaParamList.items_cnt(64)\n"));
    EXPECT_NE(std::string::npos, out.find(" dnaParamList.item[63] = 63 nVal = 70 \n"));
    EXPECT_EQ(std::string::npos, out.find("dnaParamList.item[64]"));
    EXPECT_EQ("0", valueOf(root, 50));
    EXPECT_EQ((std::vector<std::string>{"1", "63"}), choicesOf(findId(root, 50)));
}

// ---- the two walks on their own ----

class DnaWalkTest : public ConfigTest {};

TEST_F(DnaWalkTest, CustomizeCollectsTheStyleChoices) {
    TiXmlDocument doc;
    TiXmlElement* root = config_test::parse(doc, style(item(49, 0, "<ci index=\"4\"/><ci/><ci index=\"2\"/>"
                                                                   "<ci index=\"9\"/>")));
    ia_dynamic_params_attr_st record;
    std::memset(&record, 0, sizeof(record));
    record.min_val = -1;
    EXPECT_EQ(0, doCustomizeStyle(root, 49, &record));
    EXPECT_EQ(3, record.items_cnt);
    EXPECT_EQ(4, record.item[0]);
    EXPECT_EQ(2, record.item[1]);
    EXPECT_EQ(9, record.item[2]);
    EXPECT_EQ(4, record.min_val); // the first collected
    EXPECT_EQ(9, record.max_val); // the last collected
}

TEST_F(DnaWalkTest, CustomizeWithoutChoicesEmptiesTheList) {
    TiXmlDocument doc;
    TiXmlElement* root = config_test::parse(doc, style(item(49, 0)));
    ia_dynamic_params_attr_st record;
    std::memset(&record, 0, sizeof(record));
    record.items_cnt = 3;
    record.min_val = 1;
    record.max_val = 8;
    EXPECT_EQ(0, doCustomizeStyle(root, 49, &record));
    EXPECT_EQ(0, record.items_cnt);
    EXPECT_EQ(1, record.min_val);
    EXPECT_EQ(8, record.max_val);
}

TEST_F(DnaWalkTest, NarrowSetsValueAndFiltersChoices) {
    TiXmlDocument doc;
    TiXmlElement* root = config_test::parse(doc, style(item(64, 0, choices({0, 1, 2}))));
    ia_dynamic_params_attr_st record;
    std::memset(&record, 0, sizeof(record));
    record.def_val = 2;
    record.items_cnt = 2;
    record.item[0] = 2;
    record.item[1] = 0;
    EXPECT_EQ(0, doDnaStyle(root, 64, &record));
    EXPECT_EQ("2", valueOf(root, 64));
    EXPECT_EQ((std::vector<std::string>{"0", "2"}), choicesOf(findId(root, 64)));
    EXPECT_EQ(-1, doDnaStyle(root, 64, nullptr));
    EXPECT_EQ(0, doDnaStyle(nullptr, 64, &record));
}

} // namespace
