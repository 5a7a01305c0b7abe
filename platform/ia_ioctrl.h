#pragma once
// The ISP control call and its data layouts.
#include <cstdint>

// ISP command ids. Most image keys of the library use the key id itself as
// the command id; the names below are the ones the library refers to, listed
// once as X(name, id) so that tools can print them.
#define IA_CMD_LIST(X) \
    X(IA_CMD_EXPOSE_MODE, 16)               \
    X(IA_CMD_EXPOSURE_INFO, 17)             \
    X(IA_CMD_MAX_SHUTTER, 49)               \
    X(IA_CMD_IRIS_UP, 83)                   \
    X(IA_CMD_IRIS_DOWN, 84)                 \
    X(IA_CMD_IRIS_POSITION, 82)             \
    X(IA_CMD_DN_STATE, 153)                 \
    X(IA_CMD_IR_SWITCH, 160)                \
    X(IA_CMD_WHITE_SWITCH, 168)             \
    X(IA_CMD_WHITE_MODE, 169)               \
    X(IA_CMD_IR_LED_INFO, 178)              \
    X(IA_CMD_LIGHT_TYPE, 224)               \
    X(IA_CMD_EXPOSURE_STRATEGY, 225)        \
    X(IA_CMD_AUTO_FOCUS_MODE, 1536)         \
    X(IA_CMD_AUTO_FOCUS_ONCE, 1539)         \
    X(IA_CMD_MF_POSITION, 1552)             \
    X(IA_CMD_FOCUS_NEAR, 1553)              \
    X(IA_CMD_FOCUS_FAR, 1554)               \
    X(IA_CMD_MZ_POSITION, 1568)             \
    X(IA_CMD_ZOOM_IN, 1569)                 \
    X(IA_CMD_ZOOM_OUT, 1570)                \
    X(IA_CMD_FOCUS_VALUE, 1603)             \
    X(IA_CMD_HEAT_STATUS, 1606)             \
    X(IA_CMD_TEMP_VALUE, 1607)              \
    X(IA_CMD_LENS_RESET, 1616)              \
    X(IA_CMD_PTZ_RUN_STATE, 1632)           \
    X(IA_CMD_AF_STATISTIC, 1648)            \
    X(IA_CMD_WDR_MODE, 2368)                \
    X(IA_CMD_WDR_NOTIFY, 2370)              \
    X(IA_CMD_UI_MIRROR, 2384)               \
    X(IA_CMD_CAMERA_VERSION, 2496)          \
    X(IA_CMD_SYNC_CHECK, 2816)              \
    X(IA_CMD_DYNAMIC_PARAMS_CMDS_GET, 4112) \
    X(IA_CMD_UI_SHUTTER_RESET, 8231)

enum ia_cmd_e : uint32_t {
#define IA_CMD_ENUMERATOR(name, id) name = id,
    IA_CMD_LIST(IA_CMD_ENUMERATOR)
#undef IA_CMD_ENUMERATOR
};

// Option values of ia_ioctrl_v2.
enum {
    IA_CMD_OPT_SET = 0,
    IA_CMD_OPT_GET = 1,
    IA_CMD_OPT_GET_PARAM_RNAGE = 2,
    IA_CMD_OPT_CORRECT_PARAM = 3,
    IA_CMD_OPT_GET_STATUS = 4,
};

// Most commands carry one 32-bit value; the records below are the exceptions.

// Day/night thresholds (commands 145, 146, 154).
struct dn_thr_st {
    uint32_t d2n_thr;
    uint32_t n2d_thr;
    uint32_t dn_sensitivity;
};

// Day/night switching times (commands 149 to 152).
struct dn_time_st {
    uint32_t d2n_hour;
    uint32_t d2n_min;
    uint32_t n2d_hour;
    uint32_t n2d_min;
};

// List of commands with dynamic ranges (command 4112, get).
#define IA_DYNAMIC_CMD_MAX 16
struct ia_dynamic_cmd_list_st {
    int32_t cmd_cnt;
    uint32_t cmd_list[IA_DYNAMIC_CMD_MAX];
};

// Range record of one dynamic command (option IA_CMD_OPT_GET_PARAM_RNAGE).
// attr 0 means a list of discrete values in item[].
#define IA_DYNAMIC_ITEM_MAX 64
struct ia_dynamic_params_attr_st {
    int32_t attr;
    int32_t def_val;
    int32_t min_val;
    int32_t max_val;
    int32_t items_cnt;
    int32_t item[IA_DYNAMIC_ITEM_MAX];
};

// Exposure information (command 17, get).
struct ia_exposure_info_st {
    uint32_t f0;
    uint32_t f1;
    uint32_t f2;
};

// Camera version text (command 2496, get).
#define IA_VERSION_TEXT_LEN 56

// Field-of-view check record (command 2816).
struct ia_sync_check_st {
    uint32_t a;
    uint32_t b;
    uint32_t c;
    uint32_t result;
};

// IR LED record (command 178, set).
struct ia_ir_led_info_st {
    uint32_t mode;
    uint32_t near_strength;
    uint32_t medium_strength;
    uint32_t far_strength;
};

// channel: zero-based ISP channel. Returns 0 on success.
extern "C" int ia_ioctrl_v2(int channel, ia_cmd_e cmd, unsigned int opt, void* data);
