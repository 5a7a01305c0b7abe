// The UI texts a controller hands to the host's web pages: the narrowed style
// of the image settings page, and the common and language files of the UI
// file table.
#define SNS_SOURCE_FILE "ISensorController.cpp"

#include <string>

#include "config/DnaStyle.h"
#include "config/sensor.h"
#include "controller/ISensorController.h"
#include "controller/ParamLock.h"
#include "controller/ModuleCall.h"
#include "controller/SensorDebug.h"
#include "platform/DeviceType.h"
#include "platform/QuorvelTime.h"

namespace {

// The video module may still be setting up its streams: ask at most this
// many times, pausing between answers.
const int kBusyQueries = 30;
const long kBusyPauseUs = 50000;

// The fisheye rotation answer before the module fills it in.
const int kFisheyeRotateUnset = 100;

// The record with the given id, else the first record; null for an empty table.
const UIFileRecord* findUIFile(const SysConfig& p_stSysConf, int p_nId) {
    if (p_stSysConf.pUIFiles == nullptr || p_stSysConf.nUIFileSum == 0) {
        return nullptr;
    }
    for (u32 i = 0; i < p_stSysConf.nUIFileSum; ++i) {
        if (p_stSysConf.pUIFiles[i].id == static_cast<u32>(p_nId)) {
            return &p_stSysConf.pUIFiles[i];
        }
    }
    return &p_stSysConf.pUIFiles[0];
}

std::string textOf(const char* p_szText) {
    return p_szText != nullptr ? std::string(p_szText) : std::string();
}

} // namespace

std::string ISensorController::getUIStyleFile() {
    const VideoStreamModule* pModule = m_pVideoStreamModule.load();
    if (pModule != nullptr) {
        tarnix::ModuleCall objModuleCall(this);
        for (int i = 0; i < kBusyQueries; ++i) {
            if (pModule->isBusy() == 0) {
                break;
            }
            QuorvelTime::wait(QuorvelTime(0, kBusyPauseUs));
        }
    }

    // A fisheye shows the rotation item only while the module reports no rotation.
    if (m_objMachineInfo.getDeviceType() == DeviceType::FISHEYE && pModule != nullptr) {
        int nRotate = kFisheyeRotateUnset;
        tarnix::ModuleCall objModuleCall(this);
        pModule->getFisheyeRotate(m_nCameraID, &nRotate);
        setshowFisheyeRotateFlag(nRotate == 0);
    }

    std::string strTmp;
    {
        tarnix::ParamLock objLock(*this, __LINE__);
        const int nRet =
            getDnaStyle(m_nCameraID, m_stSysConf.szUIStyle, strTmp, m_bShowWDRFalg, m_bShowLDCFlag);
        SENSOR_ASSERT_AT(620, SNS_SUCCESS == nRet,
                         "SNS_SUCCESS == getDnaStyle(m_nCameraID,m_stSysConf.szUIStyle, "
                         "strTmp,m_bShowWDRFalg,m_bShowLDCFlag)",
                         "");
    }
    return strTmp;
}

std::string ISensorController::getUICommonFile(int id) {
    tarnix::ParamLock objLock(*this, __LINE__);
    const UIFileRecord* pRecord = findUIFile(m_stSysConf, id);
    return pRecord != nullptr ? textOf(pRecord->szCommonFile) : std::string();
}

std::string ISensorController::getUILanguageFile(int id) {
    tarnix::ParamLock objLock(*this, __LINE__);
    const UIFileRecord* pRecord = findUIFile(m_stSysConf, id);
    return pRecord != nullptr ? textOf(pRecord->szLanguageFile) : std::string();
}
