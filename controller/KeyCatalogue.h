#pragma once
// The key catalogue: every image key the host can read or change, declared
// once. Each line is one row of the key-command table, in table order; the
// order is part of the interface (a lookup returns the row index), so rows
// are only ever appended in the spare capacity, never moved.
//
//   ROW(name, key id, ISP command, handler)  a key served by a member of
//                                            ISensorController with that
//                                            ISP command as first argument
//   STORED(name, key id)                     a key that is only stored in the
//                                            scheme cache (no handler, ISP
//                                            command 0)
//
// Everything that names keys is generated from this list: the key-command
// table (controller/KeyCmdTable.cpp), the KeyId constants below, the key
// names of sensorctl and docs/keys.md (tools/keydoc). The names are the
// table's own; the table keeps the first 32 characters of each.
#include <cstddef>

#include "controller/SensorTypes.h"

// clang-format off
#define TARNIX_KEY_CATALOGUE(ROW, STORED) \
    ROW(KEY__DDE_MANUAL_STRG, 8240, 8240, doIaCmd)                             /*   0 */ \
    ROW(KEY_BRIGHTNESS, 34, 34, doIaCmd)                                       /*   1 */ \
    ROW(KEY_SATURATION, 2337, 2337, doIaCmd)                                   /*   2 */ \
    ROW(KEY_CONTRAST, 2353, 2353, doIaCmd)                                     /*   3 */ \
    ROW(KEY_SHARPNESS, 2321, 2321, doIaCmd)                                    /*   4 */ \
    ROW(KEY_METER_AREA, 96, 96, doIaCmd)                                       /*   5 */ \
    ROW(KEY_EXPOSE_MODE, 16, 16, doIaCmd)                                      /*   6 */ \
    ROW(KEY_MAX_SHUTTER, 49, 49, doIaCmd)                                      /*   7 */ \
    ROW(KEY_FIX_SHUTTER, 50, 50, doIaCmd)                                      /*   8 */ \
    ROW(KEY_MIN_SHUTTER, 51, 51, doIaCmd)                                      /*   9 */ \
    ROW(KEY_TRAFFIC_LEVEL, 52, 52, doIaCmd)                                    /*  10 */ \
    ROW(KEY_MIN_SHUTTER_NIGHT, 55, 55, doIaCmd)                                /*  11 */ \
    ROW(KEY_MAX_SHUTTER_NIGHT, 56, 56, doIaCmd)                                /*  12 */ \
    ROW(KEY_MAX_GAIN_NIGHT, 57, 57, doIaCmd)                                   /*  13 */ \
    ROW(KEY_MAX_GAIN, 65, 65, doIaCmd)                                         /*  14 */ \
    ROW(KEY_FIX_GAIN, 66, 66, doIaCmd)                                         /*  15 */ \
    ROW(KEY_IRIS_SWITCH, 80, 80, doIaCmd)                                      /*  16 */ \
    ROW(KEY_IRIS_SPEED, 81, 81, doIaCmd)                                       /*  17 */ \
    ROW(KEY_IRIS_POSITION, 82, 82, doIaCmd)                                    /*  18 */ \
    ROW(KEY_IRIS_SIZE, 83, 85, doIaCmd)                                        /*  19 */ \
    ROW(KEY_IRIS_UP, 17, 83, doIaCmd_User)                                     /*  20 */ \
    ROW(KEY_IRIS_DOWN, 18, 84, doIaCmd_User)                                   /*  21 */ \
    ROW(KEY_WB_MODE, 768, 768, doIaCmd)                                        /*  22 */ \
    ROW(KEY_R_GAIN, 770, 770, doIaCmd)                                         /*  23 */ \
    ROW(KEY_B_GAIN, 771, 771, doIaCmd)                                         /*  24 */ \
    ROW(KEY_DN_MODE, 144, 144, doIaCmd)                                        /*  25 */ \
    ROW(KEY_DELAY, 147, 147, doIaCmd)                                          /*  26 */ \
    ROW(KEY_IR_SWITCH, 160, 160, doIaCmd)                                      /*  27 */ \
    ROW(KEY_IR_MODE, 161, 161, doIaCmd)                                        /*  28 */ \
    ROW(KEY_IR_AUTO_STRG_NEAR, 162, 162, doIaCmd)                              /*  29 */ \
    ROW(KEY_IR_MANUAL_STRG_NEAR, 163, 163, doIaCmd)                            /*  30 */ \
    ROW(KEY_IR_AUTO_STRG_MEDIUM, 164, 164, doIaCmd)                            /*  31 */ \
    ROW(KEY_IR_MANUAL_STRG_MEDIUM, 165, 165, doIaCmd)                          /*  32 */ \
    ROW(KEY_IR_AUTO_STRG_FAR, 166, 166, doIaCmd)                               /*  33 */ \
    ROW(KEY_IR_MANUAL_STRG_FAR, 167, 167, doIaCmd)                             /*  34 */ \
    ROW(KEY_IR_ANTI_OVEREXP, 155, 155, doIaCmd)                                /*  35 */ \
    ROW(KEY_WHITE_SWITCH, 170, 168, doIaCmd)                                   /*  36 */ \
    ROW(KEY_WHITE_MODE, 171, 169, doIaCmd)                                     /*  37 */ \
    ROW(KEY_WHITE_MANUAL_STRG, 172, 170, doIaCmd)                              /*  38 */ \
    ROW(KEY_WHITE_MANUAL_STRG_MEDIUM, 173, 171, doIaCmd)                       /*  39 */ \
    ROW(KEY_WHITE_MANUAL_STRG_FAR, 174, 172, doIaCmd)                          /*  40 */ \
    ROW(KEY_2D_NR_SWITCH, 2304, 2304, doIaCmd)                                 /*  41 */ \
    ROW(KEY_2D_NR_MODE, 2305, 2305, doIaCmd)                                   /*  42 */ \
    ROW(KEY_2D_NR_STRG_A, 2306, 2306, doIaCmd)                                 /*  43 */ \
    ROW(KEY_2D_NR_STRG_M, 2307, 2307, doIaCmd)                                 /*  44 */ \
    ROW(KEY_3D_NR_SWITCH, 2308, 2308, doIaCmd)                                 /*  45 */ \
    ROW(KEY_3D_NR_MODE, 2309, 2309, doIaCmd)                                   /*  46 */ \
    ROW(KEY_3D_NR_STRG_A, 2312, 2312, doIaCmd)                                 /*  47 */ \
    ROW(KEY_3D_NR_STRG_M, 2313, 2313, doIaCmd)                                 /*  48 */ \
    ROW(KEY_WDR_MODE, 2368, 2368, doHwdr)                                      /*  49 */ \
    ROW(KEY_WDR_STRG, 2369, 2369, doIaCmd)                                     /*  50 */ \
    ROW(KEY_HLC_SWITCH, 112, 112, doIaCmd)                                     /*  51 */ \
    ROW(KEY_HLC_STRG, 113, 113, doIaCmd)                                       /*  52 */ \
    ROW(KEY_BLC_SWITCH, 128, 128, doIaCmd)                                     /*  53 */ \
    ROW(KEY_BLC_MODE, 129, 129, doIaCmd)                                       /*  54 */ \
    ROW(KEY_BLC_STRG, 130, 130, doIaCmd)                                       /*  55 */ \
    ROW(KEY_ANTI_SHAKE_SWITCH, 2416, 2416, doDIS)                              /*  56 */ \
    ROW(KEY_ANTI_SHAKE_STRG, 2417, 2417, doIaCmd)                              /*  57 */ \
    ROW(KEY_DEFLG_SWITCH, 2400, 2400, doIaCmd)                                 /*  58 */ \
    ROW(KEY_DEFLG_STRG, 2401, 2401, doIaCmd)                                   /*  59 */ \
    ROW(KEY_IN_OUT_SIDE, 176, 176, doIaCmd)                                    /*  60 */ \
    ROW(KEY_TEST_PARAM1, 190, 190, test_debugParam)                            /*  61 */ \
    ROW(KEY_TEST_PARAM2, 191, 191, test_debugParam)                            /*  62 */ \
    ROW(KEY_TEST_PARAM3, 192, 192, test_debugParam)                            /*  63 */ \
    ROW(KEY_TEST_PARAM4, 193, 193, test_debugParam)                            /*  64 */ \
    ROW(KEY_MIRROR, 2384, 2384, doMirror)                                      /*  65 */ \
    ROW(KEY_BEAWAY, 2385, 2385, doBeaway)                                      /*  66 */ \
    ROW(KEY_FISHEYE_ROTATE, 2386, 2386, doFisheyeRotate)                       /*  67 */ \
    ROW(KEY_DTN_THR, 145, 145, doDNThr)                                        /*  68 */ \
    ROW(KEY_NTD_THR, 146, 146, doDNThr)                                        /*  69 */ \
    ROW(KEY_DN_SENSITIVITY, 154, 154, doDNThr)                                 /*  70 */ \
    ROW(KEY_DTN_H, 149, 149, doDNTime)                                         /*  71 */ \
    ROW(KEY_DTN_M, 150, 150, doDNTime)                                         /*  72 */ \
    ROW(KEY_NTD_H, 151, 151, doDNTime)                                         /*  73 */ \
    ROW(KEY_NTD_M, 152, 152, doDNTime)                                         /*  74 */ \
    ROW(KEY_AUTO_FOCUS_MODE, 1536, 1536, doIaCmd)                              /*  75 */ \
    ROW(KEY_AUTO_FOCUS_NEAR_LIMIT, 1537, 1537, doIaCmd)                        /*  76 */ \
    ROW(KEY_AUTO_FOCUS_SENSITIVITY, 1538, 1538, doIaCmd)                       /*  77 */ \
    ROW(KEY_AUTO_FOCUS_ONCE, 1539, 1539, doIaCmd_User)                         /*  78 */ \
    ROW(KEY_LENS_RESET, 1616, 1616, doIaCmd_User)                              /*  79 */ \
    ROW(KEY_DIGITAL_ZOOM, 1584, 1584, doIaCmd)                                 /*  80 */ \
    ROW(KEY_MZOOM_SPEED, 1571, 1571, doIaCmd)                                  /*  81 */ \
    ROW(KEY_ZOOM_OUT, 1570, 1570, doIaCmd_User)                                /*  82 */ \
    ROW(KEY_ZOOM_IN, 1569, 1569, doIaCmd_User)                                 /*  83 */ \
    ROW(KEY_FOCUS_NEAR, 1553, 1553, doIaCmd_User)                              /*  84 */ \
    ROW(KEY_FOCUS_FAR, 1554, 1554, doIaCmd_User)                               /*  85 */ \
    ROW(KEY_MIXSTREAM_THERMAL_TO_VISION_SYNC_FOV, 8104, 8104, doIoCrtl)        /*  86 */ \
    ROW(KEY_MIXSTREAM_DISTANCE, 8100, 8100, doIaCmd_PanoTuning)                /*  87 */ \
    ROW(KEY_MIXSTREAM_DISTANCE_Y_OFFSET, 8101, 8101, doIaCmd_PanoTuning)       /*  88 */ \
    ROW(KEY_MIXSTREAM_DISTANCE_WIDTH_OFFSET, 8102, 8102, doIaCmd_PanoTuning)   /*  89 */ \
    ROW(KEY_MIXSTREAM_DISTANCE_HEIGHT_OFFSET, 8103, 8103, doIaCmd_PanoTuning)  /*  90 */ \
    ROW(KEY_MIXSTREAM_TYPE, 8105, 8105, doIaCmd_PanoTuning)                    /*  91 */ \
    STORED(KEY_SCHEME_MODE, 8000)                                              /*  92 */ \
    STORED(KEY_SCHEME_START_HOUR, 8001)                                        /*  93 */ \
    STORED(KEY_SCHEME_START_MIN, 8002)                                         /*  94 */ \
    STORED(KEY_SCHEME_END_HOUR, 8003)                                          /*  95 */ \
    STORED(KEY_SCHEME_END_MIN, 8004)                                           /*  96 */ \
    STORED(KEY_EMPTY1, 10)                                                     /*  97 */ \
    STORED(KEY_EMPTY2, 11)                                                     /*  98 */ \
    STORED(KEY_EMPTY3, 13)                                                     /*  99 */ \
    ROW(KEY_MF_POSITION, 1552, 1552, doIaCmd)                                  /* 100 */ \
    ROW(KEY_MZ_POSITION, 1568, 1568, doIaCmd)                                  /* 101 */ \
    ROW(KEY_CAP_OFF_ADJ_DIRECTION, 2432, 2432, doImageAdjust)                  /* 102 */ \
    ROW(KEY_CAP_OFF_ADJ_STEP, 2433, 2433, doIaCmd)                             /* 103 */ \
    ROW(KEY_CAP_OFF_ADJ_H_MIN, 2434, 2434, doIaCmd)                            /* 104 */ \
    ROW(KEY_CAP_OFF_ADJ_H_MAX, 2435, 2435, doIaCmd)                            /* 105 */ \
    ROW(KEY_CAP_OFF_ADJ_H_CUR, 2436, 2436, doImageAdjust)                      /* 106 */ \
    ROW(KEY_CAP_OFF_ADJ_V_MIN, 2437, 2437, doIaCmd)                            /* 107 */ \
    ROW(KEY_CAP_OFF_ADJ_V_MAX, 2438, 2438, doIaCmd)                            /* 108 */ \
    ROW(KEY_CAP_OFF_ADJ_V_CUR, 2439, 2439, doImageAdjust)                      /* 109 */ \
    ROW(KEY_FREEZE, 2512, 2512, doIaCmd)                                       /* 110 */ \
    ROW(KEY_GAMMA, 2528, 2528, doIaCmd)                                        /* 111 */ \
    ROW(KEY_DN_AF_MODE, 2560, 2560, doIaCmd)                                   /* 112 */ \
    ROW(KEY_NONE_COLOR_MODE, 8201, 8201, doIaCmd)                              /* 113 */ \
    ROW(KEY_DVE_MODE, 8202, 8202, doIaCmd)                                     /* 114 */ \
    ROW(KEY_AUTO_TIME, 8203, 8203, doIaCmd)                                    /* 115 */ \
    ROW(KEY_AUTO_TEMPR, 8209, 8209, doIaCmd)                                   /* 116 */ \
    ROW(KEY_CONTROL_FFC_MODE, 8204, 8204, doIaCmd)                             /* 117 */ \
    ROW(KEY_IMAGES_ADJUST, 8205, 8205, doIaCmd)                                /* 118 */ \
    ROW(KEY_IMAGES_REGULATE, 8206, 8206, doIaCmd)                              /* 119 */ \
    ROW(KEY_FOCUS_SPEED_LEVEL, 8207, 8207, doIaCmd)                            /* 120 */ \
    ROW(KEY_DVE_TYPE, 8208, 8208, doIaCmd)                                     /* 121 */ \
    ROW(KEY_TEMPERATURE_STRIP_SWITCH, 8217, 8217, doIaCmd)                     /* 122 */ \
    ROW(KEY_SHUTTER_ADJUST, 8211, 8211, doIaCmdShutter)                        /* 123 */ \
    ROW(KEY_SENSOR_FPS, 2497, 2464, doIaCmd_User)                              /* 124 */ \
    ROW(KEY_BACKGROUND_ADJUST, 8212, 8212, doIaCmd_User)                       /* 125 */ \
    ROW(IA_CMD_UI_SHUTTER_RESET, 8231, 8231, doIaCmd_User)                     /* 126 */ \
    ROW(KEY_PANO_STITCH_DIST, 9000, 9000, doIaCmd_PanoTuning)                  /* 127 */ \
    ROW(KEY_PANO_SAVE, 9001, 9001, doIaCmd_PanoTuning)                         /* 128 */ \
    ROW(KEY_PANO_RESET, 9002, 9002, doIaCmd_PanoTuning)                        /* 129 */ \
    ROW(KEY_PANO_PREVIEW, 9003, 9003, doIaCmd_PanoTuning)                      /* 130 */ \
    ROW(KEY_PANO_ADJUST_EN, 9004, 9004, doIaCmd_PanoTuning)                    /* 131 */ \
    ROW(KEY_PANO_ID, 9005, 9005, doIaCmd_PanoTuning)                           /* 132 */ \
    ROW(KEY_PANO_ADJUST_EN_1, 9101, 9101, doIaCmd_PanoTuning)                  /* 133 */ \
    ROW(KEY_PANO_YAW_1, 9102, 9102, doIaCmd_PanoTuning)                        /* 134 */ \
    ROW(KEY_PANO_PITCH_1, 9103, 9103, doIaCmd_PanoTuning)                      /* 135 */ \
    ROW(KEY_PANO_ROLL_1, 9104, 9104, doIaCmd_PanoTuning)                       /* 136 */ \
    ROW(KEY_PANO_OFFSETX_1, 9105, 9105, doIaCmd_PanoTuning)                    /* 137 */ \
    ROW(KEY_PANO_OFFSETY_1, 9106, 9106, doIaCmd_PanoTuning)                    /* 138 */ \
    ROW(KEY_PANO_ADJUST_EN_2, 9201, 9201, doIaCmd_PanoTuning)                  /* 139 */ \
    ROW(KEY_PANO_YAW_2, 9202, 9202, doIaCmd_PanoTuning)                        /* 140 */ \
    ROW(KEY_PANO_PITCH_2, 9203, 9203, doIaCmd_PanoTuning)                      /* 141 */ \
    ROW(KEY_PANO_ROLL_2, 9204, 9204, doIaCmd_PanoTuning)                       /* 142 */ \
    ROW(KEY_PANO_OFFSETX_2, 9205, 9205, doIaCmd_PanoTuning)                    /* 143 */ \
    ROW(KEY_PANO_OFFSETY_2, 9206, 9206, doIaCmd_PanoTuning)                    /* 144 */ \
    ROW(KEY_PANO_ADJUST_EN_3, 9301, 9301, doIaCmd_PanoTuning)                  /* 145 */ \
    ROW(KEY_PANO_YAW_3, 9302, 9302, doIaCmd_PanoTuning)                        /* 146 */ \
    ROW(KEY_PANO_PITCH_3, 9303, 9303, doIaCmd_PanoTuning)                      /* 147 */ \
    ROW(KEY_PANO_ROLL_3, 9304, 9304, doIaCmd_PanoTuning)                       /* 148 */ \
    ROW(KEY_PANO_OFFSETX_3, 9305, 9305, doIaCmd_PanoTuning)                    /* 149 */ \
    ROW(KEY_PANO_OFFSETY_3, 9306, 9306, doIaCmd_PanoTuning)                    /* 150 */ \
    ROW(KEY_PANO_ADJUST_EN_4, 9401, 9401, doIaCmd_PanoTuning)                  /* 151 */ \
    ROW(KEY_PANO_YAW_4, 9402, 9402, doIaCmd_PanoTuning)                        /* 152 */ \
    ROW(KEY_PANO_PITCH_4, 9403, 9403, doIaCmd_PanoTuning)                      /* 153 */ \
    ROW(KEY_PANO_ROLL_4, 9404, 9404, doIaCmd_PanoTuning)                       /* 154 */ \
    ROW(KEY_PANO_OFFSETX_4, 9405, 9405, doIaCmd_PanoTuning)                    /* 155 */ \
    ROW(KEY_PANO_OFFSETY_4, 9406, 9406, doIaCmd_PanoTuning)                    /* 156 */ \
    STORED(KEY_IR_MODE_INTELL, 168)                                            /* 157 */ \
    STORED(KEY_WHITE_MODE_INTELL, 175)                                         /* 158 */ \
    STORED(KEY_IR_MANUAL_STRG_NEAR_INTELL, 200)                                /* 159 */ \
    STORED(KEY_WHITE_MANUAL_STRG_INTELL, 203)                                  /* 160 */ \
    ROW(KEY_LIGHT_TYPE, 224, 224, doIaCmd)                                     /* 161 */ \
    ROW(KEY_LDC_SWITCH, 2048, 2048, doIaCmd)                                   /* 162 */ \
    ROW(KEY_LDC_STRG, 2064, 2064, doIaCmd)                                     /* 163 */ \
    ROW(KEY_WB_RG, 772, 772, doIaCmd)                                          /* 164 */ \
    ROW(KEY_WB_BG, 773, 773, doIaCmd)                                          /* 165 */
// clang-format on

namespace tarnix {
namespace keys {

// Key ids by their table names, for code that refers to a key
// ("using namespace tarnix::keys;" in a source file).
enum KeyId : u32 {
#define TARNIX_KEY_ID_ROW(name, id, cmd, handler) name = id,
#define TARNIX_KEY_ID_STORED(name, id) name = id,
    TARNIX_KEY_CATALOGUE(TARNIX_KEY_ID_ROW, TARNIX_KEY_ID_STORED)
#undef TARNIX_KEY_ID_ROW
#undef TARNIX_KEY_ID_STORED

    // The intelligent twins of the medium and far light strengths. They have
    // no row in the table and usually no record in the scheme rows: writes
    // to them find nothing, by design.
    KEY_IR_MANUAL_STRG_MEDIUM_INTELL = 201,
    KEY_IR_MANUAL_STRG_FAR_INTELL = 202,
    KEY_WHITE_MANUAL_STRG_MEDIUM_INTELL = 204,
    KEY_WHITE_MANUAL_STRG_FAR_INTELL = 205,
};

} // namespace keys

// Rows of the catalogue (the rows init fills in the key-command table).
constexpr std::size_t kKeyCatalogueRows = 0
#define TARNIX_KEY_COUNT_ROW(name, id, cmd, handler) +1
#define TARNIX_KEY_COUNT_STORED(name, id) +1
    TARNIX_KEY_CATALOGUE(TARNIX_KEY_COUNT_ROW, TARNIX_KEY_COUNT_STORED);
#undef TARNIX_KEY_COUNT_ROW
#undef TARNIX_KEY_COUNT_STORED
static_assert(kKeyCatalogueRows == KEYCMD_ROWS, "the key-command table has 166 rows");

// Words of the value buffer a key handler or an ISP read is given. Most
// commands carry one 32-bit value, but an unknown key reaches the ISP with its
// own number and some commands move whole records; the buffer holds any record
// the ISP exchanges, so nothing is read or written past it.
constexpr std::size_t kValueBufferWords = SNS_VALUE_BUFFER_WORDS;

} // namespace tarnix
