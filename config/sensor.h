#pragma once
// Per-channel system configuration and the process-wide style flags.
#include <atomic>

#include "controller/SensorTypes.h"
#include "platform/ModuleConfigure.h"

#define SENSOR_MACHINEINFO_FILE "/mnt/mtd/code/factory_setting/machineinfo.ini"
#define SENSOR_MODULECONFIG_FILE "/hd1/moduleConfig/moduleConfig.xml"
#define SENSOR_STYLE_DIR "/hd1/moduleConfig/sensorConfig/style/"
#define SENSOR_STYLE_DIVERSITY_DIR "/hd1/moduleConfig/sensorConfig/styleDiversity/"

#define MODULE_LABEL1_LEN 32
#define MODULE_LABEL2_LEN 10
#define MODULE_PARAMETERS_LEN 256
#define MODULE_DETAIL_LEN 512

struct ModuleConfig {
    u32 nModuleId;
    char szLabel1[MODULE_LABEL1_LEN];
    char szLabel2[MODULE_LABEL2_LEN];
    char szParameters[MODULE_PARAMETERS_LEN];
    char szDetail[MODULE_DETAIL_LEN];
};

// One record of the UI file table.
struct UIFileRecord {
    u32 id;
    u32 reserved;
    char* szLanguageFile;
    char* szCommonFile;
};

struct SysConfig {
    ModuleConfig moduleConfig;
    u32 nSchemeSum;
    u32 nUIFileSum;
    UIFileRecord* pUIFiles;
    char* szUIStyle;
    s32 nDeviceType;
};

int initSysConf(int p_nChannelID, const ModuleConfigure& p_objModuleConfigure, SysConfig* p_stSysConf);
void uinitSysConf(SysConfig* p_stSysConf);

// When true, the style item with id 11 is removed from the narrowed style.
extern std::atomic<bool> g_bShoWBeawayFalg;
// When false, the style item with id 2386 is removed.
extern std::atomic<bool> g_bShoWFisheyeRotateFlag;

void setshowBeawayFalg(bool show);
bool getshowBeawayFalg();
void setshowFisheyeRotateFlag(bool show);
