// The key-command table: one row per image key, giving the ISP command the
// key drives, its handler and the key's and handler's names for traces.
#define SNS_SOURCE_FILE "ISensorController.cpp"
#include <cstdlib>
#include <cstring>

#include "controller/ISensorController.h"
#include "controller/SensorDebug.h"

namespace {

struct KeyCmdRowDef {
    u32 key;
    u32 ia_cmd;
    KeyCmdHandler fun;
    const char* szKeyName;
    const char* szFuncName;
};

#define KC(key, cmd, handler, name) {key, cmd, &ISensorController::handler, name, "&ISensorController::" #handler}
#define KC_NONE(key, name) {key, 0, nullptr, name, "NULL"}

// Row order is part of the interface: lookups return the row index.
const KeyCmdRowDef kKeyCmdRows[KEYCMD_ROWS] = {
    /*   0 */ KC(8240, 8240, doIaCmd, "KEY__DDE_MANUAL_STRG"),
    /*   1 */ KC(34, 34, doIaCmd, "KEY_BRIGHTNESS"),
    /*   2 */ KC(2337, 2337, doIaCmd, "KEY_SATURATION"),
    /*   3 */ KC(2353, 2353, doIaCmd, "KEY_CONTRAST"),
    /*   4 */ KC(2321, 2321, doIaCmd, "KEY_SHARPNESS"),
    /*   5 */ KC(96, 96, doIaCmd, "KEY_METER_AREA"),
    /*   6 */ KC(16, 16, doIaCmd, "KEY_EXPOSE_MODE"),
    /*   7 */ KC(49, 49, doIaCmd, "KEY_MAX_SHUTTER"),
    /*   8 */ KC(50, 50, doIaCmd, "KEY_FIX_SHUTTER"),
    /*   9 */ KC(51, 51, doIaCmd, "KEY_MIN_SHUTTER"),
    /*  10 */ KC(52, 52, doIaCmd, "KEY_TRAFFIC_LEVEL"),
    /*  11 */ KC(55, 55, doIaCmd, "KEY_MIN_SHUTTER_NIGHT"),
    /*  12 */ KC(56, 56, doIaCmd, "KEY_MAX_SHUTTER_NIGHT"),
    /*  13 */ KC(57, 57, doIaCmd, "KEY_MAX_GAIN_NIGHT"),
    /*  14 */ KC(65, 65, doIaCmd, "KEY_MAX_GAIN"),
    /*  15 */ KC(66, 66, doIaCmd, "KEY_FIX_GAIN"),
    /*  16 */ KC(80, 80, doIaCmd, "KEY_IRIS_SWITCH"),
    /*  17 */ KC(81, 81, doIaCmd, "KEY_IRIS_SPEED"),
    /*  18 */ KC(82, 82, doIaCmd, "KEY_IRIS_POSITION"),
    /*  19 */ KC(83, 85, doIaCmd, "KEY_IRIS_SIZE"),
    /*  20 */ KC(17, 83, doIaCmd_User, "KEY_IRIS_UP"),
    /*  21 */ KC(18, 84, doIaCmd_User, "KEY_IRIS_DOWN"),
    /*  22 */ KC(768, 768, doIaCmd, "KEY_WB_MODE"),
    /*  23 */ KC(770, 770, doIaCmd, "KEY_R_GAIN"),
    /*  24 */ KC(771, 771, doIaCmd, "KEY_B_GAIN"),
    /*  25 */ KC(144, 144, doIaCmd, "KEY_DN_MODE"),
    /*  26 */ KC(147, 147, doIaCmd, "KEY_DELAY"),
    /*  27 */ KC(160, 160, doIaCmd, "KEY_IR_SWITCH"),
    /*  28 */ KC(161, 161, doIaCmd, "KEY_IR_MODE"),
    /*  29 */ KC(162, 162, doIaCmd, "KEY_IR_AUTO_STRG_NEAR"),
    /*  30 */ KC(163, 163, doIaCmd, "KEY_IR_MANUAL_STRG_NEAR"),
    /*  31 */ KC(164, 164, doIaCmd, "KEY_IR_AUTO_STRG_MEDIUM"),
    /*  32 */ KC(165, 165, doIaCmd, "KEY_IR_MANUAL_STRG_MEDIUM"),
    /*  33 */ KC(166, 166, doIaCmd, "KEY_IR_AUTO_STRG_FAR"),
    /*  34 */ KC(167, 167, doIaCmd, "KEY_IR_MANUAL_STRG_FAR"),
    /*  35 */ KC(155, 155, doIaCmd, "KEY_IR_ANTI_OVEREXP"),
    /*  36 */ KC(170, 168, doIaCmd, "KEY_WHITE_SWITCH"),
    /*  37 */ KC(171, 169, doIaCmd, "KEY_WHITE_MODE"),
    /*  38 */ KC(172, 170, doIaCmd, "KEY_WHITE_MANUAL_STRG"),
    /*  39 */ KC(173, 171, doIaCmd, "KEY_WHITE_MANUAL_STRG_MEDIUM"),
    /*  40 */ KC(174, 172, doIaCmd, "KEY_WHITE_MANUAL_STRG_FAR"),
    /*  41 */ KC(2304, 2304, doIaCmd, "KEY_2D_NR_SWITCH"),
    /*  42 */ KC(2305, 2305, doIaCmd, "KEY_2D_NR_MODE"),
    /*  43 */ KC(2306, 2306, doIaCmd, "KEY_2D_NR_STRG_A"),
    /*  44 */ KC(2307, 2307, doIaCmd, "KEY_2D_NR_STRG_M"),
    /*  45 */ KC(2308, 2308, doIaCmd, "KEY_3D_NR_SWITCH"),
    /*  46 */ KC(2309, 2309, doIaCmd, "KEY_3D_NR_MODE"),
    /*  47 */ KC(2312, 2312, doIaCmd, "KEY_3D_NR_STRG_A"),
    /*  48 */ KC(2313, 2313, doIaCmd, "KEY_3D_NR_STRG_M"),
    /*  49 */ KC(2368, 2368, doHwdr, "KEY_WDR_MODE"),
    /*  50 */ KC(2369, 2369, doIaCmd, "KEY_WDR_STRG"),
    /*  51 */ KC(112, 112, doIaCmd, "KEY_HLC_SWITCH"),
    /*  52 */ KC(113, 113, doIaCmd, "KEY_HLC_STRG"),
    /*  53 */ KC(128, 128, doIaCmd, "KEY_BLC_SWITCH"),
    /*  54 */ KC(129, 129, doIaCmd, "KEY_BLC_MODE"),
    /*  55 */ KC(130, 130, doIaCmd, "KEY_BLC_STRG"),
    /*  56 */ KC(2416, 2416, doDIS, "KEY_ANTI_SHAKE_SWITCH"),
    /*  57 */ KC(2417, 2417, doIaCmd, "KEY_ANTI_SHAKE_STRG"),
    /*  58 */ KC(2400, 2400, doIaCmd, "KEY_DEFLG_SWITCH"),
    /*  59 */ KC(2401, 2401, doIaCmd, "KEY_DEFLG_STRG"),
    /*  60 */ KC(176, 176, doIaCmd, "KEY_IN_OUT_SIDE"),
    /*  61 */ KC(190, 190, test_debugParam, "KEY_TEST_PARAM1"),
    /*  62 */ KC(191, 191, test_debugParam, "KEY_TEST_PARAM2"),
    /*  63 */ KC(192, 192, test_debugParam, "KEY_TEST_PARAM3"),
    /*  64 */ KC(193, 193, test_debugParam, "KEY_TEST_PARAM4"),
    /*  65 */ KC(2384, 2384, doMirror, "KEY_MIRROR"),
    /*  66 */ KC(2385, 2385, doBeaway, "KEY_BEAWAY"),
    /*  67 */ KC(2386, 2386, doFisheyeRotate, "KEY_FISHEYE_ROTATE"),
    /*  68 */ KC(145, 145, doDNThr, "KEY_DTN_THR"),
    /*  69 */ KC(146, 146, doDNThr, "KEY_NTD_THR"),
    /*  70 */ KC(154, 154, doDNThr, "KEY_DN_SENSITIVITY"),
    /*  71 */ KC(149, 149, doDNTime, "KEY_DTN_H"),
    /*  72 */ KC(150, 150, doDNTime, "KEY_DTN_M"),
    /*  73 */ KC(151, 151, doDNTime, "KEY_NTD_H"),
    /*  74 */ KC(152, 152, doDNTime, "KEY_NTD_M"),
    /*  75 */ KC(1536, 1536, doIaCmd, "KEY_AUTO_FOCUS_MODE"),
    /*  76 */ KC(1537, 1537, doIaCmd, "KEY_AUTO_FOCUS_NEAR_LIMIT"),
    /*  77 */ KC(1538, 1538, doIaCmd, "KEY_AUTO_FOCUS_SENSITIVITY"),
    /*  78 */ KC(1539, 1539, doIaCmd_User, "KEY_AUTO_FOCUS_ONCE"),
    /*  79 */ KC(1616, 1616, doIaCmd_User, "KEY_LENS_RESET"),
    /*  80 */ KC(1584, 1584, doIaCmd, "KEY_DIGITAL_ZOOM"),
    /*  81 */ KC(1571, 1571, doIaCmd, "KEY_MZOOM_SPEED"),
    /*  82 */ KC(1570, 1570, doIaCmd_User, "KEY_ZOOM_OUT"),
    /*  83 */ KC(1569, 1569, doIaCmd_User, "KEY_ZOOM_IN"),
    /*  84 */ KC(1553, 1553, doIaCmd_User, "KEY_FOCUS_NEAR"),
    /*  85 */ KC(1554, 1554, doIaCmd_User, "KEY_FOCUS_FAR"),
    /*  86 */ KC(8104, 8104, doIoCrtl, "KEY_MIXSTREAM_THERMAL_TO_VISION_SYNC_FOV"),
    /*  87 */ KC(8100, 8100, doIaCmd_PanoTuning, "KEY_MIXSTREAM_DISTANCE"),
    /*  88 */ KC(8101, 8101, doIaCmd_PanoTuning, "KEY_MIXSTREAM_DISTANCE_Y_OFFSET"),
    /*  89 */ KC(8102, 8102, doIaCmd_PanoTuning, "KEY_MIXSTREAM_DISTANCE_WIDTH_OFFSET"),
    /*  90 */ KC(8103, 8103, doIaCmd_PanoTuning, "KEY_MIXSTREAM_DISTANCE_HEIGHT_OFFSET"),
    /*  91 */ KC(8105, 8105, doIaCmd_PanoTuning, "KEY_MIXSTREAM_TYPE"),
    /*  92 */ KC_NONE(8000, "KEY_SCHEME_MODE"),
    /*  93 */ KC_NONE(8001, "KEY_SCHEME_START_HOUR"),
    /*  94 */ KC_NONE(8002, "KEY_SCHEME_START_MIN"),
    /*  95 */ KC_NONE(8003, "KEY_SCHEME_END_HOUR"),
    /*  96 */ KC_NONE(8004, "KEY_SCHEME_END_MIN"),
    /*  97 */ KC_NONE(10, "KEY_EMPTY1"),
    /*  98 */ KC_NONE(11, "KEY_EMPTY2"),
    /*  99 */ KC_NONE(13, "KEY_EMPTY3"),
    /* 100 */ KC(1552, 1552, doIaCmd, "KEY_MF_POSITION"),
    /* 101 */ KC(1568, 1568, doIaCmd, "KEY_MZ_POSITION"),
    /* 102 */ KC(2432, 2432, doImageAdjust, "KEY_CAP_OFF_ADJ_DIRECTION"),
    /* 103 */ KC(2433, 2433, doIaCmd, "KEY_CAP_OFF_ADJ_STEP"),
    /* 104 */ KC(2434, 2434, doIaCmd, "KEY_CAP_OFF_ADJ_H_MIN"),
    /* 105 */ KC(2435, 2435, doIaCmd, "KEY_CAP_OFF_ADJ_H_MAX"),
    /* 106 */ KC(2436, 2436, doImageAdjust, "KEY_CAP_OFF_ADJ_H_CUR"),
    /* 107 */ KC(2437, 2437, doIaCmd, "KEY_CAP_OFF_ADJ_V_MIN"),
    /* 108 */ KC(2438, 2438, doIaCmd, "KEY_CAP_OFF_ADJ_V_MAX"),
    /* 109 */ KC(2439, 2439, doImageAdjust, "KEY_CAP_OFF_ADJ_V_CUR"),
    /* 110 */ KC(2512, 2512, doIaCmd, "KEY_FREEZE"),
    /* 111 */ KC(2528, 2528, doIaCmd, "KEY_GAMMA"),
    /* 112 */ KC(2560, 2560, doIaCmd, "KEY_DN_AF_MODE"),
    /* 113 */ KC(8201, 8201, doIaCmd, "KEY_NONE_COLOR_MODE"),
    /* 114 */ KC(8202, 8202, doIaCmd, "KEY_DVE_MODE"),
    /* 115 */ KC(8203, 8203, doIaCmd, "KEY_AUTO_TIME"),
    /* 116 */ KC(8209, 8209, doIaCmd, "KEY_AUTO_TEMPR"),
    /* 117 */ KC(8204, 8204, doIaCmd, "KEY_CONTROL_FFC_MODE"),
    /* 118 */ KC(8205, 8205, doIaCmd, "KEY_IMAGES_ADJUST"),
    /* 119 */ KC(8206, 8206, doIaCmd, "KEY_IMAGES_REGULATE"),
    /* 120 */ KC(8207, 8207, doIaCmd, "KEY_FOCUS_SPEED_LEVEL"),
    /* 121 */ KC(8208, 8208, doIaCmd, "KEY_DVE_TYPE"),
    /* 122 */ KC(8217, 8217, doIaCmd, "KEY_TEMPERATURE_STRIP_SWITCH"),
    /* 123 */ KC(8211, 8211, doIaCmdShutter, "KEY_SHUTTER_ADJUST"),
    /* 124 */ KC(2497, 2464, doIaCmd_User, "KEY_SENSOR_FPS"),
    /* 125 */ KC(8212, 8212, doIaCmd_User, "KEY_BACKGROUND_ADJUST"),
    /* 126 */ KC(8231, 8231, doIaCmd_User, "IA_CMD_UI_SHUTTER_RESET"),
    /* 127 */ KC(9000, 9000, doIaCmd_PanoTuning, "KEY_PANO_STITCH_DIST"),
    /* 128 */ KC(9001, 9001, doIaCmd_PanoTuning, "KEY_PANO_SAVE"),
    /* 129 */ KC(9002, 9002, doIaCmd_PanoTuning, "KEY_PANO_RESET"),
    /* 130 */ KC(9003, 9003, doIaCmd_PanoTuning, "KEY_PANO_PREVIEW"),
    /* 131 */ KC(9004, 9004, doIaCmd_PanoTuning, "KEY_PANO_ADJUST_EN"),
    /* 132 */ KC(9005, 9005, doIaCmd_PanoTuning, "KEY_PANO_ID"),
    /* 133 */ KC(9101, 9101, doIaCmd_PanoTuning, "KEY_PANO_ADJUST_EN_1"),
    /* 134 */ KC(9102, 9102, doIaCmd_PanoTuning, "KEY_PANO_YAW_1"),
    /* 135 */ KC(9103, 9103, doIaCmd_PanoTuning, "KEY_PANO_PITCH_1"),
    /* 136 */ KC(9104, 9104, doIaCmd_PanoTuning, "KEY_PANO_ROLL_1"),
    /* 137 */ KC(9105, 9105, doIaCmd_PanoTuning, "KEY_PANO_OFFSETX_1"),
    /* 138 */ KC(9106, 9106, doIaCmd_PanoTuning, "KEY_PANO_OFFSETY_1"),
    /* 139 */ KC(9201, 9201, doIaCmd_PanoTuning, "KEY_PANO_ADJUST_EN_2"),
    /* 140 */ KC(9202, 9202, doIaCmd_PanoTuning, "KEY_PANO_YAW_2"),
    /* 141 */ KC(9203, 9203, doIaCmd_PanoTuning, "KEY_PANO_PITCH_2"),
    /* 142 */ KC(9204, 9204, doIaCmd_PanoTuning, "KEY_PANO_ROLL_2"),
    /* 143 */ KC(9205, 9205, doIaCmd_PanoTuning, "KEY_PANO_OFFSETX_2"),
    /* 144 */ KC(9206, 9206, doIaCmd_PanoTuning, "KEY_PANO_OFFSETY_2"),
    /* 145 */ KC(9301, 9301, doIaCmd_PanoTuning, "KEY_PANO_ADJUST_EN_3"),
    /* 146 */ KC(9302, 9302, doIaCmd_PanoTuning, "KEY_PANO_YAW_3"),
    /* 147 */ KC(9303, 9303, doIaCmd_PanoTuning, "KEY_PANO_PITCH_3"),
    /* 148 */ KC(9304, 9304, doIaCmd_PanoTuning, "KEY_PANO_ROLL_3"),
    /* 149 */ KC(9305, 9305, doIaCmd_PanoTuning, "KEY_PANO_OFFSETX_3"),
    /* 150 */ KC(9306, 9306, doIaCmd_PanoTuning, "KEY_PANO_OFFSETY_3"),
    /* 151 */ KC(9401, 9401, doIaCmd_PanoTuning, "KEY_PANO_ADJUST_EN_4"),
    /* 152 */ KC(9402, 9402, doIaCmd_PanoTuning, "KEY_PANO_YAW_4"),
    /* 153 */ KC(9403, 9403, doIaCmd_PanoTuning, "KEY_PANO_PITCH_4"),
    /* 154 */ KC(9404, 9404, doIaCmd_PanoTuning, "KEY_PANO_ROLL_4"),
    /* 155 */ KC(9405, 9405, doIaCmd_PanoTuning, "KEY_PANO_OFFSETX_4"),
    /* 156 */ KC(9406, 9406, doIaCmd_PanoTuning, "KEY_PANO_OFFSETY_4"),
    /* 157 */ KC_NONE(168, "KEY_IR_MODE_INTELL"),
    /* 158 */ KC_NONE(175, "KEY_WHITE_MODE_INTELL"),
    /* 159 */ KC_NONE(200, "KEY_IR_MANUAL_STRG_NEAR_INTELL"),
    /* 160 */ KC_NONE(203, "KEY_WHITE_MANUAL_STRG_INTELL"),
    /* 161 */ KC(224, 224, doIaCmd, "KEY_LIGHT_TYPE"),
    /* 162 */ KC(2048, 2048, doIaCmd, "KEY_LDC_SWITCH"),
    /* 163 */ KC(2064, 2064, doIaCmd, "KEY_LDC_STRG"),
    /* 164 */ KC(772, 772, doIaCmd, "KEY_WB_RG"),
    /* 165 */ KC(773, 773, doIaCmd, "KEY_WB_BG"),
};

#undef KC
#undef KC_NONE

} // namespace

void ISensorController::initKeyCmdMap() {
    if (m_pKeyCmdMap != nullptr) {
        std::free(m_pKeyCmdMap);
    }
    m_nKeyCmdSum = KEYCMD_CAPACITY;
    m_pKeyCmdMap = static_cast<keycmd*>(std::calloc(m_nKeyCmdSum, sizeof(keycmd)));
    if (m_pKeyCmdMap == nullptr) {
        m_nKeyCmdSum = 0;
        return;
    }
    for (u32 i = 0; i < KEYCMD_ROWS; ++i) {
        const KeyCmdRowDef& def = kKeyCmdRows[i];
        keycmd& row = m_pKeyCmdMap[i];
        row.key = def.key;
        row.ia_cmd = def.ia_cmd;
        row.fun = def.fun;
        // The name field keeps the first 32 characters only; a longer name
        // fills it without a terminator and runs on into the handler name
        // when read as a C string. Traces of those keys show exactly that.
        size_t nameLen = std::strlen(def.szKeyName);
        std::memcpy(row.szKeyName, def.szKeyName, nameLen < KEYCMD_NAME_LEN ? nameLen : KEYCMD_NAME_LEN);
        size_t funcLen = std::strlen(def.szFuncName);
        std::memcpy(row.szFuncName, def.szFuncName, funcLen < KEYCMD_FUNC_LEN - 1 ? funcLen : KEYCMD_FUNC_LEN - 1);
    }
    m_nKeyCmdSum = KEYCMD_ROWS;
}

int ISensorController::findFromKeyCmdMap(const keycmd* table, unsigned int key, keycmd& out) {
    if (table != nullptr) {
        for (u32 i = 0; i < m_nKeyCmdSum; ++i) {
            if (table[i].key == key) {
                out = table[i];
                return static_cast<int>(i);
            }
        }
    }
    SENSOR_LINE(5, 0, "cand not find key-cmd while key=%d\n", key);
    return -1;
}
