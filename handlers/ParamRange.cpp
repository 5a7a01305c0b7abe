// Range query: the discrete values the ISP currently accepts for a small set
// of commands, and the default among them.
#define SNS_SOURCE_FILE "ISensorController.cpp"

#include <cstdio>
#include <cstring>
#include <string>

#include "controller/ISensorController.h"
#include "controller/KeyCatalogue.h"
#include "handlers/ParamRange.h"

using namespace tarnix::keys;
#include "controller/SensorDebug.h"

namespace {

template <typename T> T clampCount(T p_nCount, T p_nMax) {
    if (p_nCount < 0) {
        return 0;
    }
    return p_nCount > p_nMax ? p_nMax : p_nCount;
}

} // namespace

namespace tarnix {

// The shutter limits, the iris position and the auto-focus near limit.
bool isRangeQueryable(int p_nCmd) {
    switch (p_nCmd) {
    case KEY_MAX_SHUTTER:
    case KEY_FIX_SHUTTER:
    case KEY_MIN_SHUTTER:
    case KEY_MIN_SHUTTER_NIGHT:
    case KEY_MAX_SHUTTER_NIGHT:
    case KEY_IRIS_POSITION:
    case KEY_AUTO_FOCUS_NEAR_LIMIT:
        return true;
    default:
        return false;
    }
}

} // namespace tarnix

bool ISensorController::getSensorParamRange(int cmd, int& defaultValue, std::string& range) {
    ia_dynamic_cmd_list_st dnaCmdList;
    int nRet = readDynamicCommandList(m_nCameraID - 1, dnaCmdList);
    SENSOR_ASSERT_T(
        SNS_SUCCESS == nRet,
        "SNS_SUCCESS == ia_ioctrl_v2(m_nCameraID-1, IA_CMD_DYNAMIC_PARAMS_CMDS_GET, IA_CMD_OPT_GET, "
        "(void*)(&dnaCmdList))",
        "");
    bool bListed = false;
    for (int32_t i = 0; i < dnaCmdList.cmd_cnt; ++i) {
        if (static_cast<int>(dnaCmdList.cmd_list[i]) == cmd && tarnix::isRangeQueryable(cmd)) {
            bListed = true;
            break;
        }
    }
    if (!bListed) {
        return false;
    }

    ia_dynamic_params_attr_st stDynamicParam;
    std::memset(&stDynamicParam, 0, sizeof(stDynamicParam));
    nRet = doIaCmd(static_cast<unsigned int>(cmd), IA_CMD_OPT_GET_PARAM_RNAGE,
                   static_cast<void*>(&stDynamicParam));
    SENSOR_ASSERT_T(SNS_SUCCESS == nRet,
                    "SNS_SUCCESS == doIaCmd(p_nCmd, IA_CMD_OPT_GET_PARAM_RNAGE, (void*)(&stDynamicParam))",
                    "");
    if (nRet != SNS_SUCCESS) {
        std::memset(&stDynamicParam, 0, sizeof(stDynamicParam));
    }

    // Only a list of discrete values has a range text.
    if (stDynamicParam.attr != 0) {
        return true;
    }
    defaultValue = stDynamicParam.def_val;
    const int32_t nItems = clampCount<int32_t>(stDynamicParam.items_cnt, IA_DYNAMIC_ITEM_MAX);
    char szItem[16];
    for (int32_t i = 0; i < nItems; ++i) {
        std::snprintf(szItem, sizeof(szItem), "%d", stDynamicParam.item[i]);
        range.append(szItem);
        if (i != nItems - 1) {
            range.append(" ");
        }
    }
    std::printf("cmd=%d DefaltParam=%d strParamRange=%s\n", cmd, defaultValue, range.c_str());
    return true;
}
