// Per-channel system configuration: module texts, scheme count, device type
// and the channel's merged UI style; plus the process-wide style flags.
#define SNS_SOURCE_FILE "sensor.cpp"

#include "config/sensor.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "config/StyleXml.h"
#include "controller/SensorDebug.h"
#include "platform/DeviceType.h"
#include "platform/MachineInfo.h"
#include "platform/SystemInfoParser.h"
#include "storage/SensorFile.h"

std::atomic<bool> g_bShoWBeawayFalg(true);
std::atomic<bool> g_bShoWFisheyeRotateFlag(true);

void setshowBeawayFalg(bool show) {
    g_bShoWBeawayFalg = show;
}

bool getshowBeawayFalg() {
    return g_bShoWBeawayFalg;
}

void setshowFisheyeRotateFlag(bool show) {
    g_bShoWFisheyeRotateFlag = show;
}

namespace {

const u32 kDefaultSchemeSum = 4;

bool isKnownDeviceType(int p_nType) {
    switch (p_nType) {
    case DeviceType::IPCAMERA:
    case DeviceType::FACE_DETECT:
    case DeviceType::VEHICLE_DETECT:
    case DeviceType::AIMULTI_OBJECT_DETECT:
    case DeviceType::IPDOME:
    case DeviceType::LPR:
    case DeviceType::IPP:
    case DeviceType::HUMAN_TEMPERATURE:
    case DeviceType::THERMAL_DEVICE:
    case DeviceType::THERMAL_DOUBLE_SENSOR_DEVICE:
    case DeviceType::FISHEYE:
    case DeviceType::DOMECORE:
    case DeviceType::THERMAL_DOUBLE_SENSOR_DOME_DEVICE:
    case DeviceType::BINOCULAR_DEVICE:
    case DeviceType::THERMAL_IPDOME:
    case DeviceType::DOMECORE_THERMAL_DEVICE:
        return true;
    default:
        return false;
    }
}

// Box-style devices use the plain style files; domes and everything else
// (unknown types included) the dome files.
bool usesBoxStyle(int p_nType) {
    switch (p_nType) {
    case 1:
    case 8:
    case 9:
    case 11:
    case 13:
    case 14:
    case 15:
    case 16:
    case 17:
    case 18:
    case 22:
        return true;
    default:
        return false;
    }
}

// Devices whose second channel is the thermal sensor.
bool hasThermalSecondChannel(int p_nType) {
    return p_nType == 13 || p_nType == 14 || p_nType == 17 || p_nType == 19 || p_nType == 23;
}

// One of the three variants of a style file name ("Style" -> "Style.xml",
// "Style_dome.xml", "Style_Thermal.xml").
std::string styleFileName(const char* p_szDir, const char* p_szBase, int p_nChannelID, int p_nType) {
    std::string strName = std::string(p_szDir) + p_szBase;
    if (p_nChannelID == 2 && hasThermalSecondChannel(p_nType)) {
        return strName + "_Thermal.xml";
    }
    return strName + (usesBoxStyle(p_nType) ? ".xml" : "_dome.xml");
}

// Reads a whole file into a new zero-terminated heap buffer. The file's
// length is asked for twice, once to size the buffer and once for the read,
// so a missing file is reported by each; the read never takes more than the
// buffer holds. *p_pnRead gets loadFromFile's result. The buffer is never
// null unless memory runs out.
char* readWholeFile(const std::string& p_strName, int* p_pnRead) {
    INT64 nSize = getFileLen(p_strName.c_str());
    if (nSize < 0) {
        nSize = 0;
    }
    char* pBuffer = static_cast<char*>(std::calloc(static_cast<size_t>(nSize) + 1, 1));
    if (pBuffer == nullptr) {
        *p_pnRead = -1;
        return nullptr;
    }
    INT64 nLen = getFileLen(p_strName.c_str());
    if (nLen > nSize) {
        nLen = nSize;
    }
    *p_pnRead = loadFromFile(p_strName.c_str(), pBuffer, nLen < 0 ? 0 : nLen);
    return pBuffer;
}

// Copies a module text into a fixed field, cut to fit.
void copyField(char* p_szField, size_t p_nSize, const std::string& p_strText) {
    std::snprintf(p_szField, p_nSize, "%s", p_strText.c_str());
}


// The module's identity and texts, and the scheme count its detail names.
void readModuleConfig(const ModuleConfigure& p_objModuleConfigure, SysConfig* p_stSysConf) {
    copyField(p_stSysConf->moduleConfig.szLabel1, sizeof(p_stSysConf->moduleConfig.szLabel1), "xxx");
    copyField(p_stSysConf->moduleConfig.szLabel2, sizeof(p_stSysConf->moduleConfig.szLabel2), "xxx");
    p_stSysConf->moduleConfig.nModuleId = static_cast<u32>(p_objModuleConfigure.getModuleId());
    copyField(p_stSysConf->moduleConfig.szDetail, sizeof(p_stSysConf->moduleConfig.szDetail),
              p_objModuleConfigure.getDetail());
    copyField(p_stSysConf->moduleConfig.szParameters, sizeof(p_stSysConf->moduleConfig.szParameters),
              p_objModuleConfigure.getParameters());
    if (0 != getDetailFieldTou32(p_stSysConf->moduleConfig.szDetail, "max_scheme", &p_stSysConf->nSchemeSum)) {
        p_stSysConf->nSchemeSum = kDefaultSchemeSum;
    }
}

// The device type from the machine description, checked against the known
// types (reports name initSysConf).
void readDeviceType(const tarnix::diag::Site& p_stSite, SysConfig* p_stSysConf) {
    MachineInfo machineInfo;
    const bool bParsed = SystemInfoParser::parseMachineInfo(SENSOR_MACHINEINFO_FILE, machineInfo);
    SENSOR_ASSERT_FOR(p_stSite, 39, bParsed,
                      "SystemInfoParser::parseMachineInfo(\"/mnt/mtd/code/factory_setting/machineinfo.ini\", "
                      "machineInfo)",
                      "");
    p_stSysConf->nDeviceType = machineInfo.getDeviceType();
    SENSOR_ASSERT_FOR(p_stSite, 41, isKnownDeviceType(p_stSysConf->nDeviceType),
                      "DeviceType::IPCAMERA == p_stSysConf->nDeviceType || "
                      "DeviceType::FACE_DETECT == p_stSysConf->nDeviceType || "
                      "DeviceType::VEHICLE_DETECT == p_stSysConf->nDeviceType || "
                      "DeviceType::AIMULTI_OBJECT_DETECT == p_stSysConf->nDeviceType || "
                      "DeviceType::IPDOME == p_stSysConf->nDeviceType || "
                      "DeviceType::LPR == p_stSysConf->nDeviceType || "
                      "DeviceType::IPP == p_stSysConf->nDeviceType || "
                      "DeviceType::HUMAN_TEMPERATURE == p_stSysConf->nDeviceType || "
                      "DeviceType::THERMAL_DEVICE == p_stSysConf->nDeviceType || "
                      "DeviceType::THERMAL_DOUBLE_SENSOR_DEVICE == p_stSysConf->nDeviceType || "
                      "DeviceType::FISHEYE == p_stSysConf->nDeviceType || "
                      "DeviceType::DOMECORE == p_stSysConf->nDeviceType || "
                      "DeviceType::THERMAL_DOUBLE_SENSOR_DOME_DEVICE == p_stSysConf->nDeviceType || "
                      "DeviceType::BINOCULAR_DEVICE == p_stSysConf->nDeviceType || "
                      "DeviceType::THERMAL_IPDOME == p_stSysConf->nDeviceType || "
                      "DeviceType::DOMECORE_THERMAL_DEVICE == p_stSysConf->nDeviceType",
                      // The message names the original five types only; it stays as it is.
                      "machineinfo, devicetype(%d) error, must be 1 or 4 or 8 or 9 or 13\n",
                      p_stSysConf->nDeviceType);
}

} // namespace

int initSysConf(int p_nChannelID, const ModuleConfigure& p_objModuleConfigure, SysConfig* p_stSysConf) {
    if (p_stSysConf == nullptr) {
        return SNS_SUCCESS;
    }
    std::memset(p_stSysConf, 0, sizeof(SysConfig));
    readModuleConfig(p_objModuleConfigure, p_stSysConf);
    readDeviceType(SENSOR_SITE(), p_stSysConf);

    const int nType = p_stSysConf->nDeviceType;
    const std::string strStyleFileName = styleFileName(SENSOR_STYLE_DIR, "Style", p_nChannelID, nType);
    int nRead = -1;
    p_stSysConf->szUIStyle = readWholeFile(strStyleFileName, &nRead);
    SENSOR_ASSERT_AT(87, nRead > 0,
                     "loadFromFile(strStyleFileName.c_str(), p_stSysConf->szUIStyle, "
                     "getFileLen(strStyleFileName.c_str())) > 0",
                     "");

    const std::string strStyleDivFileName =
        styleFileName(SENSOR_STYLE_DIVERSITY_DIR, "StyleDiversity", p_nChannelID, nType);
    char* ui_styleDiversity = readWholeFile(strStyleDivFileName, &nRead);
    SENSOR_ASSERT_AT(116, nRead > 0,
                     "loadFromFile(strStyleDivFileName.c_str(), ui_styleDiversity, "
                     "getFileLen(strStyleDivFileName.c_str())) > 0",
                     "");

    const int nMerged = mergeStyle(p_nChannelID, &p_stSysConf->moduleConfig, &p_stSysConf->szUIStyle,
                                   ui_styleDiversity);
    SENSOR_ASSERT_AT(119, SNS_SUCCESS == nMerged,
                     "SNS_SUCCESS == mergeStyle(p_nChannelID,&p_stSysConf->moduleConfig, &p_stSysConf->szUIStyle, "
                     "ui_styleDiversity)",
                     "");

    std::free(ui_styleDiversity);
    return SNS_SUCCESS;
}

void uinitSysConf(SysConfig* p_stSysConf) {
    if (p_stSysConf == nullptr) {
        return;
    }
    if (p_stSysConf->pUIFiles != nullptr) {
        for (u32 i = 0; i < p_stSysConf->nUIFileSum; ++i) {
            UIFileRecord& rec = p_stSysConf->pUIFiles[i];
            if (rec.szCommonFile != nullptr) {
                std::free(rec.szCommonFile);
                rec.szCommonFile = nullptr;
            }
            if (rec.szLanguageFile != nullptr) {
                std::free(rec.szLanguageFile);
                rec.szLanguageFile = nullptr;
            }
        }
        // The texts go; the table array and its count are left in place. The
        // cleared pointers keep a later lookup from reaching a released text.
    }
    if (p_stSysConf->szUIStyle != nullptr) {
        std::free(p_stSysConf->szUIStyle);
        p_stSysConf->szUIStyle = nullptr;
    }
}
