// Correction of stored values against the ranges the ISP reports: each
// dynamic command of the ISP rewrites, in place, the first value of the array
// that carries its key.
#define SNS_SOURCE_FILE "SensorKeyVal.cpp"

#include "config/SensorKeyVal.h"

#include <cstring>

#include "config/DnaStyle.h"
#include "controller/SensorDebug.h"
#include "platform/ia_ioctrl.h"

int keyval_correct(int p_nChannel_id, KeyVal* p_pKeyval, u32 count) {
    SENSOR_ASSERT_AT(50, NULL != p_pKeyval, "NULL != p_pKeyval", "");
    if (p_pKeyval == NULL) {
        return -1;
    }

    ia_dynamic_cmd_list_st dnaCmdList;
    int nRet = readDynamicCommandList(p_nChannel_id, dnaCmdList);
    SENSOR_ASSERT_AT(63, SNS_SUCCESS == nRet,
                     "SNS_SUCCESS == ia_ioctrl_v2(p_nChannel_id, IA_CMD_DYNAMIC_PARAMS_CMDS_GET, IA_CMD_OPT_GET, "
                     "(void*)(&dnaCmdList))",
                     "");

    for (int i = 0; i < dnaCmdList.cmd_cnt; ++i) {
        const u32 nCmd = dnaCmdList.cmd_list[i];
        u32 index = 0;
        while (index < count && p_pKeyval[index].key != nCmd) {
            ++index;
        }
        if (index == count) {
            SENSOR_REPORT_AT(80, "cmd_list[%d]=%d\n", i, static_cast<int>(nCmd));
            continue;
        }
        // Only the first entry with the key is corrected.
        SENSOR_TRACE(TRACE_DBG, "before correct: (%d,%d)\n", static_cast<int>(p_pKeyval[index].key),
                     static_cast<int>(p_pKeyval[index].value));
        const int nCorrectRet = ia_ioctrl_v2(p_nChannel_id, (ia_cmd_e)p_pKeyval[index].key, IA_CMD_OPT_CORRECT_PARAM,
                                             &p_pKeyval[index].value);
        SENSOR_ASSERT_AT(74, SNS_SUCCESS == nCorrectRet,
                         "SNS_SUCCESS == ia_ioctrl_v2(p_nChannel_id, (ia_cmd_e)p_pKeyval[index].key, "
                         "IA_CMD_OPT_CORRECT_PARAM, &p_pKeyval[index].value)",
                         "");
        SENSOR_TRACE(TRACE_DBG, "after correct: (%d,%d)\n", static_cast<int>(p_pKeyval[index].key),
                     static_cast<int>(p_pKeyval[index].value));
    }
    return SNS_SUCCESS;
}
