// Names of the controller's image keys, in the order of its key-command
// table, and of the ISP commands that no key drives.
#include "tools/sensorctl/KeyNames.h"

#include "platform/ia_ioctrl.h"

namespace sensorctl {

namespace {

// Key id, ISP command, name. Rows whose ISP command differs from the key id
// are the white-light keys, the iris keys and the frame-rate key.
const KeyName kKeys[] = {
    {8240, 8240, "KEY__DDE_MANUAL_STRG"},
    {34, 34, "KEY_BRIGHTNESS"},
    {2337, 2337, "KEY_SATURATION"},
    {2353, 2353, "KEY_CONTRAST"},
    {2321, 2321, "KEY_SHARPNESS"},
    {96, 96, "KEY_METER_AREA"},
    {16, 16, "KEY_EXPOSE_MODE"},
    {49, 49, "KEY_MAX_SHUTTER"},
    {50, 50, "KEY_FIX_SHUTTER"},
    {51, 51, "KEY_MIN_SHUTTER"},
    {52, 52, "KEY_TRAFFIC_LEVEL"},
    {55, 55, "KEY_MIN_SHUTTER_NIGHT"},
    {56, 56, "KEY_MAX_SHUTTER_NIGHT"},
    {57, 57, "KEY_MAX_GAIN_NIGHT"},
    {65, 65, "KEY_MAX_GAIN"},
    {66, 66, "KEY_FIX_GAIN"},
    {80, 80, "KEY_IRIS_SWITCH"},
    {81, 81, "KEY_IRIS_SPEED"},
    {82, 82, "KEY_IRIS_POSITION"},
    {83, 85, "KEY_IRIS_SIZE"},
    {17, 83, "KEY_IRIS_UP"},
    {18, 84, "KEY_IRIS_DOWN"},
    {768, 768, "KEY_WB_MODE"},
    {770, 770, "KEY_R_GAIN"},
    {771, 771, "KEY_B_GAIN"},
    {144, 144, "KEY_DN_MODE"},
    {147, 147, "KEY_DELAY"},
    {160, 160, "KEY_IR_SWITCH"},
    {161, 161, "KEY_IR_MODE"},
    {162, 162, "KEY_IR_AUTO_STRG_NEAR"},
    {163, 163, "KEY_IR_MANUAL_STRG_NEAR"},
    {164, 164, "KEY_IR_AUTO_STRG_MEDIUM"},
    {165, 165, "KEY_IR_MANUAL_STRG_MEDIUM"},
    {166, 166, "KEY_IR_AUTO_STRG_FAR"},
    {167, 167, "KEY_IR_MANUAL_STRG_FAR"},
    {155, 155, "KEY_IR_ANTI_OVEREXP"},
    {170, 168, "KEY_WHITE_SWITCH"},
    {171, 169, "KEY_WHITE_MODE"},
    {172, 170, "KEY_WHITE_MANUAL_STRG"},
    {173, 171, "KEY_WHITE_MANUAL_STRG_MEDIUM"},
    {174, 172, "KEY_WHITE_MANUAL_STRG_FAR"},
    {2304, 2304, "KEY_2D_NR_SWITCH"},
    {2305, 2305, "KEY_2D_NR_MODE"},
    {2306, 2306, "KEY_2D_NR_STRG_A"},
    {2307, 2307, "KEY_2D_NR_STRG_M"},
    {2308, 2308, "KEY_3D_NR_SWITCH"},
    {2309, 2309, "KEY_3D_NR_MODE"},
    {2312, 2312, "KEY_3D_NR_STRG_A"},
    {2313, 2313, "KEY_3D_NR_STRG_M"},
    {2368, 2368, "KEY_WDR_MODE"},
    {2369, 2369, "KEY_WDR_STRG"},
    {112, 112, "KEY_HLC_SWITCH"},
    {113, 113, "KEY_HLC_STRG"},
    {128, 128, "KEY_BLC_SWITCH"},
    {129, 129, "KEY_BLC_MODE"},
    {130, 130, "KEY_BLC_STRG"},
    {2416, 2416, "KEY_ANTI_SHAKE_SWITCH"},
    {2417, 2417, "KEY_ANTI_SHAKE_STRG"},
    {2400, 2400, "KEY_DEFLG_SWITCH"},
    {2401, 2401, "KEY_DEFLG_STRG"},
    {190, 190, "KEY_TEST_PARAM1"},
    {191, 191, "KEY_TEST_PARAM2"},
    {192, 192, "KEY_TEST_PARAM3"},
    {193, 193, "KEY_TEST_PARAM4"},
    {2384, 2384, "KEY_MIRROR"},
    {2385, 2385, "KEY_BEAWAY"},
    {2386, 2386, "KEY_FISHEYE_ROTATE"},
    {145, 145, "KEY_DTN_THR"},
    {146, 146, "KEY_NTD_THR"},
    {154, 154, "KEY_DN_SENSITIVITY"},
    {149, 149, "KEY_DTN_H"},
    {150, 150, "KEY_DTN_M"},
    {151, 151, "KEY_NTD_H"},
    {152, 152, "KEY_NTD_M"},
    {176, 176, "KEY_IN_OUT_SIDE"},
    {1536, 1536, "KEY_AUTO_FOCUS_MODE"},
    {1537, 1537, "KEY_AUTO_FOCUS_NEAR_LIMIT"},
    {1538, 1538, "KEY_AUTO_FOCUS_SENSITIVITY"},
    {1539, 1539, "KEY_AUTO_FOCUS_ONCE"},
    {1616, 1616, "KEY_LENS_RESET"},
    {1584, 1584, "KEY_DIGITAL_ZOOM"},
    {1570, 1570, "KEY_ZOOM_OUT"},
    {1569, 1569, "KEY_ZOOM_IN"},
    {1553, 1553, "KEY_FOCUS_NEAR"},
    {1554, 1554, "KEY_FOCUS_FAR"},
    {8104, 8104, "KEY_MIXSTREAM_THERMAL_TO_VISION_SYNC_FOV"},
    {8100, 8100, "KEY_MIXSTREAM_DISTANCE"},
    {8101, 8101, "KEY_MIXSTREAM_DISTANCE_Y_OFFSET"},
    {8102, 8102, "KEY_MIXSTREAM_DISTANCE_WIDTH_OFFSET"},
    {8103, 8103, "KEY_MIXSTREAM_DISTANCE_HEIGHT_OFFSET"},
    {8105, 8105, "KEY_MIXSTREAM_TYPE"},
    {8000, 0, "KEY_SCHEME_MODE"},
    {8001, 0, "KEY_SCHEME_START_HOUR"},
    {8002, 0, "KEY_SCHEME_START_MIN"},
    {8003, 0, "KEY_SCHEME_END_HOUR"},
    {8004, 0, "KEY_SCHEME_END_MIN"},
    {10, 0, "KEY_EMPTY1"},
    {11, 0, "KEY_EMPTY2"},
    {13, 0, "KEY_EMPTY3"},
    {1571, 1571, "KEY_MZOOM_SPEED"},
    {1552, 1552, "KEY_MF_POSITION"},
    {1568, 1568, "KEY_MZ_POSITION"},
    {2432, 2432, "KEY_CAP_OFF_ADJ_DIRECTION"},
    {2433, 2433, "KEY_CAP_OFF_ADJ_STEP"},
    {2434, 2434, "KEY_CAP_OFF_ADJ_H_MIN"},
    {2435, 2435, "KEY_CAP_OFF_ADJ_H_MAX"},
    {2436, 2436, "KEY_CAP_OFF_ADJ_H_CUR"},
    {2437, 2437, "KEY_CAP_OFF_ADJ_V_MIN"},
    {2438, 2438, "KEY_CAP_OFF_ADJ_V_MAX"},
    {2439, 2439, "KEY_CAP_OFF_ADJ_V_CUR"},
    {2512, 2512, "KEY_FREEZE"},
    {2528, 2528, "KEY_GAMMA"},
    {2497, 2464, "KEY_SENSOR_FPS"},
    {2560, 2560, "KEY_DN_AF_MODE"},
    {8201, 8201, "KEY_NONE_COLOR_MODE"},
    {8202, 8202, "KEY_DVE_MODE"},
    {8203, 8203, "KEY_AUTO_TIME"},
    {8209, 8209, "KEY_AUTO_TEMPR"},
    {8204, 8204, "KEY_CONTROL_FFC_MODE"},
    {8205, 8205, "KEY_IMAGES_ADJUST"},
    {8206, 8206, "KEY_IMAGES_REGULATE"},
    {8207, 8207, "KEY_FOCUS_SPEED_LEVEL"},
    {8208, 8208, "KEY_DVE_TYPE"},
    {8211, 8211, "KEY_SHUTTER_ADJUST"},
    {8212, 8212, "KEY_BACKGROUND_ADJUST"},
    {8217, 8217, "KEY_TEMPERATURE_STRIP_SWITCH"},
    {8231, 8231, "IA_CMD_UI_SHUTTER_RESET"},
    {224, 224, "KEY_LIGHT_TYPE"},
    {9000, 9000, "KEY_PANO_STITCH_DIST"},
    {9001, 9001, "KEY_PANO_SAVE"},
    {9002, 9002, "KEY_PANO_RESET"},
    {9003, 9003, "KEY_PANO_PREVIEW"},
    {9004, 9004, "KEY_PANO_ADJUST_EN"},
    {9005, 9005, "KEY_PANO_ID"},
    {9101, 9101, "KEY_PANO_ADJUST_EN_1"},
    {9102, 9102, "KEY_PANO_YAW_1"},
    {9103, 9103, "KEY_PANO_PITCH_1"},
    {9104, 9104, "KEY_PANO_ROLL_1"},
    {9105, 9105, "KEY_PANO_OFFSETX_1"},
    {9106, 9106, "KEY_PANO_OFFSETY_1"},
    {9201, 9201, "KEY_PANO_ADJUST_EN_2"},
    {9202, 9202, "KEY_PANO_YAW_2"},
    {9203, 9203, "KEY_PANO_PITCH_2"},
    {9204, 9204, "KEY_PANO_ROLL_2"},
    {9205, 9205, "KEY_PANO_OFFSETX_2"},
    {9206, 9206, "KEY_PANO_OFFSETY_2"},
    {9301, 9301, "KEY_PANO_ADJUST_EN_3"},
    {9302, 9302, "KEY_PANO_YAW_3"},
    {9303, 9303, "KEY_PANO_PITCH_3"},
    {9304, 9304, "KEY_PANO_ROLL_3"},
    {9305, 9305, "KEY_PANO_OFFSETX_3"},
    {9306, 9306, "KEY_PANO_OFFSETY_3"},
    {9401, 9401, "KEY_PANO_ADJUST_EN_4"},
    {9402, 9402, "KEY_PANO_YAW_4"},
    {9403, 9403, "KEY_PANO_PITCH_4"},
    {9404, 9404, "KEY_PANO_ROLL_4"},
    {9405, 9405, "KEY_PANO_OFFSETX_4"},
    {9406, 9406, "KEY_PANO_OFFSETY_4"},
    {168, 0, "KEY_IR_MODE_INTELL"},
    {175, 0, "KEY_WHITE_MODE_INTELL"},
    {200, 0, "KEY_IR_MANUAL_STRG_NEAR_INTELL"},
    {203, 0, "KEY_WHITE_MANUAL_STRG_INTELL"},
    {2048, 2048, "KEY_LDC_SWITCH"},
    {2064, 2064, "KEY_LDC_STRG"},
    {772, 772, "KEY_WB_RG"},
    {773, 773, "KEY_WB_BG"},
};

// ISP commands that the library sends outside the key table.
const KeyName kIspCommands[] = {
    {0, 16, "IA_CMD_EXPOSE_MODE"},
    {0, 17, "IA_CMD_EXPOSURE_INFO"},
    {0, 49, "IA_CMD_MAX_SHUTTER"},
    {0, 82, "IA_CMD_IRIS_POSITION"},
    {0, 83, "IA_CMD_IRIS_UP"},
    {0, 84, "IA_CMD_IRIS_DOWN"},
    {0, 153, "IA_CMD_DN_STATE"},
    {0, 160, "IA_CMD_IR_SWITCH"},
    {0, 168, "IA_CMD_WHITE_SWITCH"},
    {0, 169, "IA_CMD_WHITE_MODE"},
    {0, 178, "IA_CMD_IR_LED_INFO"},
    {0, 224, "IA_CMD_LIGHT_TYPE"},
    {0, 225, "IA_CMD_EXPOSURE_STRATEGY"},
    {0, 1536, "IA_CMD_AUTO_FOCUS_MODE"},
    {0, 1539, "IA_CMD_AUTO_FOCUS_ONCE"},
    {0, 1552, "IA_CMD_MF_POSITION"},
    {0, 1553, "IA_CMD_FOCUS_NEAR"},
    {0, 1554, "IA_CMD_FOCUS_FAR"},
    {0, 1568, "IA_CMD_MZ_POSITION"},
    {0, 1569, "IA_CMD_ZOOM_IN"},
    {0, 1570, "IA_CMD_ZOOM_OUT"},
    {0, 1603, "IA_CMD_FOCUS_VALUE"},
    {0, 1606, "IA_CMD_HEAT_STATUS"},
    {0, 1607, "IA_CMD_TEMP_VALUE"},
    {0, 1616, "IA_CMD_LENS_RESET"},
    {0, 1632, "IA_CMD_PTZ_RUN_STATE"},
    {0, 1648, "IA_CMD_AF_STATISTIC"},
    {0, 2368, "IA_CMD_WDR_MODE"},
    {0, 2370, "IA_CMD_WDR_NOTIFY"},
    {0, 2384, "IA_CMD_UI_MIRROR"},
    {0, 2496, "IA_CMD_CAMERA_VERSION"},
    {0, 2816, "IA_CMD_SYNC_CHECK"},
    {0, 4112, "IA_CMD_DYNAMIC_PARAMS_CMDS_GET"},
    {0, 8231, "IA_CMD_UI_SHUTTER_RESET"},
};

} // namespace

const KeyName* keyNames(size_t& count) {
    count = sizeof(kKeys) / sizeof(kKeys[0]);
    return kKeys;
}

const char* keyName(uint32_t key) {
    for (const KeyName& row : kKeys) {
        if (row.key == key) {
            return row.name;
        }
    }
    return nullptr;
}

const char* ispCommandName(uint32_t cmd) {
    if (cmd == 0) {
        return nullptr;
    }
    for (const KeyName& row : kKeys) {
        if (row.ispCmd == cmd) {
            return row.name;
        }
    }
    for (const KeyName& row : kIspCommands) {
        if (row.ispCmd == cmd) {
            return row.name;
        }
    }
    return nullptr;
}

const char* ispOptionName(unsigned int opt) {
    switch (opt) {
    case IA_CMD_OPT_SET:
        return "set";
    case IA_CMD_OPT_GET:
        return "get";
    case IA_CMD_OPT_GET_PARAM_RNAGE:
        return "range";
    case IA_CMD_OPT_CORRECT_PARAM:
        return "correct";
    case IA_CMD_OPT_GET_STATUS:
        return "status";
    default:
        return "opt?";
    }
}

} // namespace sensorctl
