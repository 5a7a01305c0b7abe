// Narrowing of the merged style to what this sensor's ISP offers.
//
// The ISP lists the commands whose ranges are known only at run time; for
// each, the matching style item gets the ISP's default as its "value" and
// loses the choices the ISP does not offer. A few style values carry a
// meaning of their own: 100 asks for the ISP default, and on the maximum
// shutter (49) a value of 200 or more keeps the style's own choices and
// stands for the value minus 200.
#define SNS_SOURCE_FILE "SensorKeyVal.cpp"

#include "config/DnaStyle.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "config/StyleXml.h"
#include "config/sensor.h"
#include "controller/SensorDebug.h"
#include "controller/KeyCatalogue.h"
#include "controller/SensorTypes.h"

using namespace tarnix::keys;

namespace {

// The style value that asks for the ISP's own default.
const int kStyleUseIspDefault = 100;
// On the maximum shutter, values from here up keep the style's choices.
const int kStyleOwnChoicesBase = 200;

// Commands whose style value may override the ISP default: the shutter
// limits and the auto-focus near limit.
bool styleValueMayOverride(u32 p_nCmd) {
    switch (p_nCmd) {
    case KEY_MAX_SHUTTER:
    case KEY_FIX_SHUTTER:
    case KEY_MIN_SHUTTER:
    case KEY_MIN_SHUTTER_NIGHT:
    case KEY_MAX_SHUTTER_NIGHT:
    case KEY_AUTO_FOCUS_NEAR_LIMIT:
        return true;
    default:
        return false;
    }
}

// Entries of the record's list that are valid and inside the array.
int validItems(const ia_dynamic_params_attr_st* p_pAttr) {
    int nCount = p_pAttr->items_cnt;
    if (nCount < 0) {
        return 0;
    }
    return nCount > IA_DYNAMIC_ITEM_MAX ? IA_DYNAMIC_ITEM_MAX : nCount;
}

bool listContains(const ia_dynamic_params_attr_st* p_pAttr, int p_nValue) {
    const int nCount = validItems(p_pAttr);
    for (int i = 0; i < nCount; ++i) {
        if (p_pAttr->item[i] == p_nValue) {
            return true;
        }
    }
    return false;
}

void removeItem(TiXmlElement* p_pRoot, int p_nId) {
    TiXmlElement* pFound = nullptr;
    getNodebyCmdId(p_pRoot, p_nId, pFound);
    DeleteNode(p_pRoot, pFound);
}

// The style's own value of a command that may override the ISP default
// stands when the ISP offers it (100 asks for the ISP's default instead); on
// the maximum shutter a value of 200 or more keeps the style's own choices
// and stands for the value minus 200.
void applyStyleValue(TiXmlElement* p_pRoot, int p_nIndex, u32 p_nCmd, ia_dynamic_params_attr_st& p_stList) {
    int nVal = 0;
    getDnaValbyCmdId(p_pRoot, static_cast<int>(p_nCmd), nVal);
    if (nVal == kStyleUseIspDefault) {
        return;
    }
    std::printf("dnaCmdList.cmd_list[%d] = dnaParamList.items_cnt(%d)\n", p_nIndex, p_stList.items_cnt);
    for (int j = 0; j < p_stList.items_cnt; ++j) {
        std::printf(" dnaParamList.item[%d] = %d nVal = %d \n", j, p_stList.item[j], nVal);
        if (p_stList.item[j] == nVal) {
            p_stList.def_val = nVal;
            break;
        }
    }
    if (nVal >= kStyleOwnChoicesBase && p_nCmd == IA_CMD_MAX_SHUTTER) {
        doCustomizeStyle(p_pRoot, IA_CMD_MAX_SHUTTER, &p_stList);
        p_stList.def_val = nVal - kStyleOwnChoicesBase;
    }
}

// Removes the items this channel does not show. Item 10 (KEY_EMPTY1) goes
// whatever the WDR flag says, and a true beaway flag removes item 11
// (KEY_EMPTY2): both are intended.
void removeHiddenItems(TiXmlElement* p_pRoot, bool p_bShowWDRFalg, bool p_bShowLDCFlag) {
    if (p_bShowWDRFalg) {
        removeItem(p_pRoot, KEY_EMPTY1);
    } else {
        removeItem(p_pRoot, KEY_EMPTY1);
        removeItem(p_pRoot, KEY_WDR_MODE);
        removeItem(p_pRoot, KEY_WDR_STRG);
    }
    if (!p_bShowLDCFlag) {
        removeItem(p_pRoot, KEY_LDC_SWITCH);
        removeItem(p_pRoot, KEY_LDC_STRG);
    }
    if (g_bShoWBeawayFalg) {
        removeItem(p_pRoot, KEY_EMPTY2);
    }
    if (!g_bShoWFisheyeRotateFlag) {
        removeItem(p_pRoot, KEY_FISHEYE_ROTATE);
    }
}

} // namespace

int doDnaStyle(TiXmlElement* start, int cmd, const ia_dynamic_params_attr_st* attr) {
    if (start == nullptr) {
        return 0;
    }
    if (attr == nullptr) {
        return -1;
    }
    const char* szId = start->Attribute("id");
    if (szId == nullptr || std::atoi(szId) != cmd) {
        for (TiXmlElement* pChild = start->FirstChildElement(); pChild != nullptr;
             pChild = pChild->NextSiblingElement()) {
            if (doDnaStyle(pChild, cmd, attr) != 0) {
                return -1;
            }
        }
        return 0;
    }

    // The matching item: its value becomes the default, and only the choices
    // the ISP lists stay.
    SENSOR_TRACE(TRACE_DBG, "_________________cmd(%d) default(%d)__________________\n", cmd, attr->def_val);
    start->SetAttribute("value", attr->def_val);
    TiXmlElement* pChild = start->FirstChildElement();
    while (pChild != nullptr) {
        TiXmlElement* pNext = pChild->NextSiblingElement();
        const char* szIndex = pChild->Attribute("index");
        if (szIndex == nullptr) {
            return -1;
        }
        if (!listContains(attr, std::atoi(szIndex))) {
            SENSOR_LINE(5, 0, "_________________delete comboitem(%s)__________________\n", szIndex);
            start->RemoveChild(pChild);
        }
        pChild = pNext;
    }
    return 0;
}

int doCustomizeStyle(TiXmlElement* start, int cmd, ia_dynamic_params_attr_st* attr) {
    if (start == nullptr || attr == nullptr) {
        return 0;
    }
    const char* szId = start->Attribute("id");
    if (szId == nullptr || std::atoi(szId) != cmd) {
        for (TiXmlElement* pChild = start->FirstChildElement(); pChild != nullptr;
             pChild = pChild->NextSiblingElement()) {
            doCustomizeStyle(pChild, cmd, attr);
        }
        return 0;
    }

    // The item's own choices become the list; the record holds at most
    // IA_DYNAMIC_ITEM_MAX of them.
    int nCount = 0;
    for (TiXmlElement* pChild = start->FirstChildElement(); pChild != nullptr; pChild = pChild->NextSiblingElement()) {
        const char* szIndex = pChild->Attribute("index");
        if (szIndex == nullptr) {
            continue;
        }
        if (nCount == IA_DYNAMIC_ITEM_MAX) {
            break;
        }
        attr->item[nCount++] = std::atoi(szIndex);
    }
    attr->items_cnt = nCount;
    if (nCount > 0) {
        attr->max_val = attr->item[nCount - 1];
        attr->min_val = attr->item[0];
    }
    return 0;
}

int readDynamicCommandList(int p_nIspChannel, ia_dynamic_cmd_list_st& p_stList) {
    std::memset(&p_stList, 0, sizeof(p_stList));
    int nRet = ia_ioctrl_v2(p_nIspChannel, IA_CMD_DYNAMIC_PARAMS_CMDS_GET, IA_CMD_OPT_GET, (void*)(&p_stList));
    if (SNS_SUCCESS != nRet) {
        std::memset(&p_stList, 0, sizeof(p_stList));
    }
    // The list holds IA_DYNAMIC_CMD_MAX commands at most.
    if (p_stList.cmd_cnt < 0) {
        p_stList.cmd_cnt = 0;
    } else if (p_stList.cmd_cnt > IA_DYNAMIC_CMD_MAX) {
        p_stList.cmd_cnt = IA_DYNAMIC_CMD_MAX;
    }
    return nRet;
}

int getDnaStyle(int p_channelID, const char* szStyle, std::string& out, bool p_bShowWDRFalg, bool p_bShowLDCFlag) {
    ia_dynamic_cmd_list_st dnaCmdList;
    int nRet = readDynamicCommandList(p_channelID - 1, dnaCmdList);
    SENSOR_ASSERT_AT(448, SNS_SUCCESS == nRet,
                     "SNS_SUCCESS == ia_ioctrl_v2(p_channelID-1, IA_CMD_DYNAMIC_PARAMS_CMDS_GET, IA_CMD_OPT_GET, "
                     "(void*)(&dnaCmdList))",
                     "");

    TiXmlDocument objStyleXmlDoc;
    const bool bLoaded = LoadMem(objStyleXmlDoc, szStyle, TIXML_ENCODING_UTF8);
    SENSOR_ASSERT_AT(452, bLoaded,
                     "objStyleXmlDoc.LoadMem(szStyle, TIXML_ENCODING_UTF8)", "");
    TiXmlElement* pRoot = objStyleXmlDoc.RootElement();

    SENSOR_TRACE(TRACE_DBG, "dnaCmdList.cmd_cnt(%d)\n", dnaCmdList.cmd_cnt);

    // One range record serves every command and is not cleared in between.
    ia_dynamic_params_attr_st dnaParamList;
    std::memset(&dnaParamList, 0, sizeof(dnaParamList));
    for (int i = 0; i < dnaCmdList.cmd_cnt; ++i) {
        const u32 cmd = dnaCmdList.cmd_list[i];
        SENSOR_TRACE(TRACE_DBG, "dnaCmdList.cmd_list[%d] = cmd(%d)\n", i, static_cast<int>(cmd));
        const int nRangeRet = ia_ioctrl_v2(p_channelID - 1, (ia_cmd_e)dnaCmdList.cmd_list[i],
                                           IA_CMD_OPT_GET_PARAM_RNAGE, (void*)(&dnaParamList));
        SENSOR_ASSERT_AT(460, SNS_SUCCESS == nRangeRet,
                         "SNS_SUCCESS == ia_ioctrl_v2(p_channelID-1, (ia_cmd_e)dnaCmdList.cmd_list[i], "
                         "IA_CMD_OPT_GET_PARAM_RNAGE, (void*)(&dnaParamList))",
                         "");
        // The list holds IA_DYNAMIC_ITEM_MAX values at most.
        dnaParamList.items_cnt = validItems(&dnaParamList);
        if (styleValueMayOverride(cmd)) {
            applyStyleValue(pRoot, i, cmd, dnaParamList);
        }
        const int nNarrowRet = doDnaStyle(pRoot, static_cast<int>(cmd), &dnaParamList);
        SENSOR_ASSERT_AT(504, SNS_SUCCESS == nNarrowRet,
                         "SNS_SUCCESS == doDnaStyle(objStyleXmlDoc.RootElement(), dnaCmdList.cmd_list[i], "
                         "&dnaParamList)",
                         "");
    }
    removeHiddenItems(pRoot, p_bShowWDRFalg, p_bShowLDCFlag);

    // A document parsed from memory has no file name, so there is nothing
    // to save; the text goes to the caller.
    getXmlString(objStyleXmlDoc, out);
    return SNS_SUCCESS;
}
