// Initialisation and shutdown of a controller: configuration and style,
// factory values, the scheme cache and its files, the key-command table, the
// scheme in force and the sensor thread; and the release of all of it.
#define SNS_SOURCE_FILE "ISensorController.cpp"
#include "controller/ISensorController.h"

#include "controller/ApplyGate.h"
#include "controller/KeyCatalogue.h"
#include "controller/ModuleCall.h"
#include "controller/SensorDebug.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "platform/DeviceType.h"
#include "platform/PXFileSystem.h"
#include "platform/SystemInfoParser.h"
#include "platform/sy_system.h"

using namespace tarnix::keys;

namespace {

// Time limit, in seconds, of the shell commands that delete stale files.
const int kShellTimeLimit = 30;

// Values that scheme 1 of a plate-recognition model starts from (the first
// record of each key in the factory set is changed).
struct KeyValDefault {
    u32 key;
    u32 value;
};
const KeyValDefault kLprScheme1[] = {
    {KEY_DN_MODE, 0},    {KEY_MAX_SHUTTER, 18}, {KEY_MIN_SHUTTER, 20},
    {KEY_METER_AREA, 1}, {KEY_IR_MODE, 2},      {KEY_IR_MANUAL_STRG_NEAR, 40},
};

// Hardware models whose narrow low-resolution streams cannot show beaway.
bool isBeawayLimitedModel(const std::string& p_strModel) {
    return p_strModel == "Hi3516AV200" || p_strModel == "Hi3516AV200Thermal";
}

// True when the parameter text names a lens: "lensId", then "=", a ")"
// after the "=" and a non-zero number right after the "="; false otherwise.
bool hasLens(const std::string& p_strParameters) {
    size_t nName = p_strParameters.find("lensId");
    if (nName == std::string::npos) {
        return false;
    }
    size_t nEqual = p_strParameters.find('=', nName);
    if (nEqual == std::string::npos) {
        return false;
    }
    size_t nClose = p_strParameters.find(')', nEqual);
    if (nClose == std::string::npos) {
        return false;
    }
    std::string strNumber = p_strParameters.substr(nEqual + 1, nClose - nEqual - 1);
    return std::atoi(strNumber.c_str()) != 0;
}

// Releases the arrays a controller owns between init and uinit. Each pointer
// is reset so that a second release does nothing.
void releaseArrays(KeyVal*& p_pText, keycmd*& p_pKeyCmdMap, KeyVal**& p_ppRows, KeyVal*& p_pBlock,
                   KeyVal*& p_pTmp, u32& p_nTmpCap, KeyVal*& p_pLpr) {
    delete[] p_pText;
    p_pText = nullptr;
    std::free(p_pKeyCmdMap);
    p_pKeyCmdMap = nullptr;
    delete[] p_ppRows;
    p_ppRows = nullptr;
    delete[] p_pBlock;
    p_pBlock = nullptr;
    delete[] p_pTmp;
    p_pTmp = nullptr;
    p_nTmpCap = 0;
    delete[] p_pLpr;
    p_pLpr = nullptr;
}

} // namespace

bool ISensorController::init(const ModuleConfigure& p_objModuleConfigure) {
    if (refusedInsideOwnCallback(SENSOR_SITE(), "init()")) {
        return false;
    }
    // Host calls and sensor passes wait for a whole init.
    tarnix::GateLock objGate;

    releaseEarlierInit();

    // 1. In progress; the module identity is kept for a later factory reset.
    setFlag(FLAG_INITING, true);
    setFlag(FLAG_INITED, false);
    m_nModuleId = p_objModuleConfigure.getModuleId();
    m_strModuleDetail = p_objModuleConfigure.getDetail();
    m_strModuleParameters = p_objModuleConfigure.getParameters();

    // 2. Configuration and merged style.
    int nRet = initSysConf(m_nCameraID, p_objModuleConfigure, &m_stSysConf);
    SENSOR_ASSERT_T(SNS_SUCCESS == nRet,
                    "SNS_SUCCESS == initSysConf(m_nCameraID,p_objModuleConfigure, &m_stSysConf)", "");

    // 3. to 5. Factory values and the scheme cache built from them.
    buildSchemeCache(SENSOR_SITE());

    // 6. to 8. Stale files go, module features, then the scheme files.
    deleteFilesOfOtherLayout(SENSOR_SITE());
    MachineInfo objMachineInfo;
    SystemInfoParser::parseMachineInfo(SENSOR_MACHINEINFO_FILE, objMachineInfo);
    readModuleFeatures(p_objModuleConfigure, objMachineInfo);
    loadSchemeFiles();

    // 9. to 11. Version stamp, key-command table and work arrays.
    finishLayout(SENSOR_SITE());

    // 12. Without an automatic policy scheme 0 is the one in force; with
    // one, the pass below decides. Either way init leaves a decision record
    // (handed to the observer when init ends).
    tarnix::DecisionRecord stRecord = startDecision(tarnix::DecisionSource::Init);
    if (!m_bDNScheme && !m_bTimeScheme) {
        stRecord.selected = 0;
        switch_to(0, false);
        noteSwitch(stRecord, false);
    }
    endDecision(stRecord);

    // 13. One pass at once, so the right scheme is in force before init
    // returns; then the thread takes over.
    m_bStopRequested = false;
    sensorThread();
    bool bStarted = m_pSensorThread != nullptr && m_pSensorThread->start();
    SENSOR_ASSERT_T(bStarted, "m_pSensorThread->start()", "");

    // 14. UI options that depend on the video module.
    readVideoModuleOptions(objMachineInfo);

    // 15. Done.
    setFlag(FLAG_INITING, false);
    setFlag(FLAG_INITED, true);
    SENSOR_TRACE(TRACE_DBG, "ISensorController::initSensor  success\n");
    // The records of step 12 and of the first pass.
    deliverDecisions();
    return true;
}

// A controller initialised before gives up its old thread run, arrays and
// configuration first, so a second init leaks nothing.
void ISensorController::releaseEarlierInit() {
    if (m_pKeyValBlock == nullptr && m_ppUserKeyVal == nullptr && m_pKeyCmdMap == nullptr &&
        m_pstKeyValTmp == nullptr && m_pstKeyValText == nullptr && m_pstKeyValLpr == nullptr &&
        m_stSysConf.szUIStyle == nullptr) {
        return;
    }
    if (m_pSensorThread != nullptr && m_pSensorThread->isRunning()) {
        m_bStopRequested = true;
        m_pSensorThread->stop();
    }
    releaseArrays(m_pstKeyValText, m_pKeyCmdMap, m_ppUserKeyVal, m_pKeyValBlock, m_pstKeyValTmp, m_nKeyValTmpCap,
                  m_pstKeyValLpr);
    m_pFctKeyVal = nullptr;
    m_nKeyValSum = 0;
    uinitSysConf(&m_stSysConf);
    m_stSysConf.szUIStyle = nullptr;
}

// Factory values out of the narrowed style, as many as it has; the work
// array for the whole key table and every scheme row; one block of
// nSchemeSum + 1 rows, the last the factory set. Every row starts as the
// factory set, so records a short or damaged scheme file does not cover
// keep factory values. Reports name the caller, init.
void ISensorController::buildSchemeCache(const tarnix::diag::Site& p_stSite) {
    std::vector<KeyVal> vecFactory;
    const int nRet = getFctData(m_nCameraID, m_stSysConf.szUIStyle != nullptr ? m_stSysConf.szUIStyle : "",
                                vecFactory, m_bShowWDRFalg.load(), m_bShowLDCFlag.load());
    m_nKeyValSum = static_cast<u32>(vecFactory.size());
    SENSOR_ASSERT_FOR(p_stSite, __LINE__, SNS_SUCCESS == nRet,
                      "SNS_SUCCESS == getFctData(m_nCameraID,m_stSysConf.szUIStyle, m_pFctKeyVal, "
                      "&m_nKeyValSum,m_bShowWDRFalg,m_bShowLDCFlag)",
                      "m_nKeyValSum(%d)\n", static_cast<int>(m_nKeyValSum));

    reserveKeyValTmp(std::max<u32>(KEYCMD_CAPACITY, m_nKeyValSum));
    allocateSchemeCache();
    const u32 nSchemeSum = m_stSysConf.nSchemeSum;
    m_nSchemeSumSeen = nSchemeSum;
    const size_t nRows = static_cast<size_t>(nSchemeSum) + 1;
    for (size_t s = 0; s < nRows; ++s) {
        m_ppUserKeyVal[s] = m_pKeyValBlock + s * m_nKeyValSum;
        if (m_nKeyValSum > 0) {
            std::memcpy(m_ppUserKeyVal[s], vecFactory.data(), sizeof(KeyVal) * m_nKeyValSum);
        }
    }
    m_pFctKeyVal = m_ppUserKeyVal[nSchemeSum];
}

// Files of another parameter layout are deleted before they are read (the
// warning names the caller, init). The
// stamp is read into a scratch value so that a short stamp file never
// leaves part of its bytes in the version the warning shows.
void ISensorController::deleteFilesOfOtherLayout(const tarnix::diag::Site& p_stSite) {
    u32 nLocalVersion = 0;
    u32 nStamp = 0;
    const bool bStampRead = (getVersion(&nStamp) == SNS_SUCCESS);
    if (bStampRead) {
        nLocalVersion = nStamp;
    }
    if (bStampRead && nLocalVersion == m_nVersion) {
        return;
    }
    SENSOR_TRACE_FOR(p_stSite, TRACE_WARN,
                     "check the sensor version,   local(%u) --> libtarnix.so(%u), source the cmd: rm -rf "
                     "/mnt/mtd/code/config*/sensor*\n",
                     nLocalVersion, m_nVersion);
    deleteStoredSchemes();
}

// Deletes the channel's stored schemes 0 to 3 (on the thermal channel every
// thermal scheme file) through the platform's shell.
void ISensorController::deleteStoredSchemes() {
    char szCmd[128];
    if (m_bThermal) {
        std::snprintf(szCmd, sizeof(szCmd), "rm -rf /mnt/mtd/code/config*/sensor-thermal*.cfg");
    } else {
        std::snprintf(szCmd, sizeof(szCmd), "rm -rf /mnt/mtd/code/config*/sensor%d_[0-3].cfg", m_nCameraID);
    }
    sy_system(szCmd, kShellTimeLimit);
}

// init, uinit and resetParameters would free the scheme cache and the key
// table that the operation around a video module callback, or around the
// decision observer, of this controller is still using: called from inside
// one they are refused with an assertion report naming p_szCall.
bool ISensorController::refusedInsideOwnCallback(const tarnix::diag::Site& p_stSite, const char* p_szCall) const {
    const char* szInside = insideOwnModuleCall()         ? "a video module callback"
                           : insideOwnDecisionObserver() ? "the decision observer"
                                                         : nullptr;
    if (szInside == nullptr) {
        return false;
    }
    const std::string strText = std::string(p_szCall) + " called from inside " + szInside + " of the same controller";
    SENSOR_ASSERT_FOR(p_stSite, __LINE__, false, strText.c_str(), "");
    return true;
}

// What the module and the machine say about this channel: limited infrared
// power, a motorised lens, plate recognition. These features are only ever
// switched on (infrared limit, plate recognition) or off (lens) here; a flag
// is written only when it changes, so a repeated init leaves readers of an
// unchanged flag alone.
void ISensorController::readModuleFeatures(const ModuleConfigure& p_objModuleConfigure,
                                           const MachineInfo& p_objMachineInfo) {
    DeviceType objDeviceType;
    objDeviceType.setDeviceTypeId(p_objMachineInfo.getDeviceType());
    const std::string strDetail = p_objModuleConfigure.getDetail();
    if (strDetail.find("(isInfrared=17)") != std::string::npos) {
        std::printf("#### m_bisLimitedIrPower is true!\n");
        if (!m_bisLimitedIrPower) {
            m_bisLimitedIrPower = true;
        }
    }
    if (!hasLens(p_objModuleConfigure.getParameters()) && m_bHasLens) {
        m_bHasLens = false;
    }
    if (objDeviceType.getDeviceTypeId() == DeviceType::LPR &&
        strDetail.find("(isInfrared=0)") == std::string::npos &&
        strDetail.find("(isInfrared=1)") == std::string::npos && !m_bLprMode) {
        m_bLprMode = true;
    }
}

// Scheme files: a missing file is created from the factory values, then
// every scheme is loaded into its row; scheme 0's scheme mode sets the
// policy in force.
void ISensorController::loadSchemeFiles() {
    const u32 nSchemeSum = m_stSysConf.nSchemeSum;
    for (u32 i = 0; i < nSchemeSum; ++i) {
        std::string strName = schemeFileName(i);
        if (!pxfs::exists(strName)) {
            createSchemeFile(i, strName);
        }
        keyValFromFile(&strName[0], m_ppUserKeyVal[i], m_nKeyValSum);
    }
    if (nSchemeSum == 0) {
        return;
    }
    for (u32 n = 0; n < m_nKeyValSum; ++n) {
        if (m_ppUserKeyVal[0][n].key == KEY_SCHEME_MODE) {
            const u32 nMode = m_ppUserKeyVal[0][n].value;
            m_bTimeScheme = (nMode == 1);
            m_bDNScheme = (nMode == 2);
            break;
        }
    }
}

// The first file of scheme p_nScheme: the factory set, for scheme 0 of an
// ordinary model with the scheme mode 0 (kept in the factory set as well),
// for scheme 1 of a plate-recognition model with its night values.
void ISensorController::createSchemeFile(u32 p_nScheme, std::string& p_strName) {
    if (p_nScheme == 0 && !m_bLprMode) {
        setKeyValToCache(m_stSysConf.nSchemeSum, KEY_SCHEME_MODE, 0, true);
        keyValToFile(&p_strName[0], m_pFctKeyVal, m_nKeyValSum);
        return;
    }
    if (p_nScheme != 1 || !m_bLprMode) {
        keyValToFile(&p_strName[0], m_pFctKeyVal, m_nKeyValSum);
        return;
    }
    reserveKeyValTmp(m_nKeyValSum);
    if (m_nKeyValSum > 0) {
        std::memcpy(m_pstKeyValTmp, m_pFctKeyVal, sizeof(KeyVal) * m_nKeyValSum);
    }
    for (const KeyValDefault& stDefault : kLprScheme1) {
        for (u32 n = 0; n < m_nKeyValSum; ++n) {
            if (m_pstKeyValTmp[n].key == stDefault.key) {
                m_pstKeyValTmp[n].value = stDefault.value;
                break;
            }
        }
    }
    keyValToFile(&p_strName[0], m_pstKeyValTmp, m_nKeyValSum);
}

// The files now match this parameter layout: the version stamp; then the
// key-command table (166 rows) and the work arrays of the text API and of
// plate-recognition switches. Reports name the caller, init.
void ISensorController::finishLayout(const tarnix::diag::Site& p_stSite) {
    const int nRet = setVersion(m_nVersion);
    SENSOR_ASSERT_FOR(p_stSite, __LINE__, SNS_SUCCESS == nRet, "SNS_SUCCESS == setVersion(m_nVersion)",
                      "m_nVersion(%d)\n", static_cast<int>(m_nVersion));
    initKeyCmdMap();
    m_pstKeyValText = new KeyVal[m_nKeyValSum]();
    m_pstKeyValLpr = new KeyVal[m_nKeyValSum]();
}

// UI options that depend on the video module: beaway on the narrow streams
// of two models, WDR, lens-distortion correction and the fisheye rotation.
void ISensorController::readVideoModuleOptions(const MachineInfo& p_objMachineInfo) {
    m_bShowWDRFalg = true;
    m_bShowLDCFlag = false;
    setshowBeawayFalg(1);
    const VideoStreamModule* pModule = m_pVideoStreamModule.load();
    if (pModule == nullptr) {
        return;
    }
    tarnix::ModuleCall objModuleCall(this);
    std::vector<AVStreamParam> vecStreams;
    pModule->getVideoStreamParams(m_nCameraID, vecStreams);
    const std::string strModel = p_objMachineInfo.getHardwareModel();
    for (const AVStreamParam& objStream : vecStreams) {
        if (isBeawayLimitedModel(strModel) && objStream.getVideoEncoderType() == 1 &&
            objStream.getVideoHeight() < 256) {
            setshowBeawayFalg(0);
        }
    }
    LimitedFramesWDRModeParam objWdrParam;
    pModule->getLimitedFramesWDRModeParam(m_nCameraID, objWdrParam);
    if (objWdrParam.getLimitFramesModeId() == 0 && objWdrParam.getLimitWdr() == 1) {
        m_bShowWDRFalg = false;
    }
    if (objWdrParam.getLDCSupport() && objWdrParam.getLDCSwitch()) {
        m_bShowLDCFlag = true;
    }
    if (p_objMachineInfo.getDeviceType() == DeviceType::FISHEYE) {
        int nFisheye = 100;
        pModule->getFisheyeRotate(m_nCameraID, &nFisheye);
        setshowFisheyeRotateFlag(nFisheye == 0);
    }
}

void ISensorController::uinit() {
    if (!testFlag(FLAG_INITED)) {
        return;
    }
    if (refusedInsideOwnCallback(SENSOR_SITE(), "uinit()")) {
        return;
    }
    tarnix::GateLock objGate;
    setFlag(FLAG_UNINITING, true);
    m_bShutterResetPass = true;

    // A pass waiting for the gate gives up at once once the stop is asked
    // for, so the thread ends its pass and stops.
    m_bStopRequested = true;
    if (m_pSensorThread != nullptr) {
        bool bStopped = m_pSensorThread->stop();
        SENSOR_ASSERT_T(bStopped, "m_pSensorThread->stop()", "");
    }

    releaseArrays(m_pstKeyValText, m_pKeyCmdMap, m_ppUserKeyVal, m_pKeyValBlock, m_pstKeyValTmp,
                  m_nKeyValTmpCap, m_pstKeyValLpr);
    uinitSysConf(&m_stSysConf);
    m_stSysConf.szUIStyle = nullptr;
    m_nSchemeSumSeen = m_stSysConf.nSchemeSum;

    m_nLastScheme = -1;
    m_nMode = 1;
    m_pFctKeyVal = nullptr;
    m_nKeyValSum = 0;
    setFlag(FLAG_UNINITING, false);
    // FLAG_INITED stays set: getSensorStatus keeps reporting 1 after uinit.
}
