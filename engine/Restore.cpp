// Recovery and save: re-apply one stored key, re-apply the current scheme's
// file, return the channel to its factory state, and save the current scheme.
#define SNS_SOURCE_FILE "ISensorController.cpp"
#include "controller/ISensorController.h"

#include <cstdio>
#include <string>
#include <vector>

#include "platform/MachineInfo.h"
#include "platform/ModuleConfigureParser.h"
#include "platform/SystemInfoParser.h"
#include "platform/sy_system.h"

namespace {

const int kKeyExposeMode = 16;
const int kKeyAutoFocusMode = 1536;
const int kKeyMirror = 2384;

// Time limit, in seconds, of the shell command that deletes the files.
const int kShellTimeLimit = 30;

} // namespace

int ISensorController::restore(int p_nKey) {
    SENSOR_PARAM_LOCK();
    KeyVal* pRow = schemeRow(static_cast<u32>(m_nCurScheme.load()));
    int nPos = -1;
    if (pRow != nullptr) {
        for (u32 i = 0; i < m_nKeyValSum; ++i) {
            if (pRow[i].key == static_cast<u32>(p_nKey)) {
                nPos = static_cast<int>(i);
                break;
            }
        }
    }
    if (nPos == -1) {
        SENSOR_ASSERT_T(-1 != nPos, "-1 != nPos", "restore key(%d) failed! make sure it is sensor ui key \n",
                        p_nKey);
        return -1;
    }
    // The stored value goes to the ISP again; the cache already holds it.
    return setParameters(&pRow[nPos], 1, false);
}

bool ISensorController::restoreAeMode() {
    // The lens flag is rewritten by init (a factory reset on another host
    // thread); read it under the gate.
    bool bHasLens = false;
    {
        std::lock_guard<std::recursive_mutex> objGate(m_applyGate);
        bHasLens = m_bHasLens;
    }
    if (bHasLens && restore(kKeyAutoFocusMode) != SNS_SUCCESS) {
        return false;
    }
    if (m_bThermal) {
        return true;
    }
    return restore(kKeyExposeMode) == SNS_SUCCESS;
}

bool ISensorController::resetToLastParameters() {
    // The lock comes first: the scheme count is rebuilt by a factory reset
    // running on another host thread.
    SENSOR_PARAM_LOCK();
    const u32 nCurScheme = static_cast<u32>(m_nCurScheme.load());
    if (nCurScheme >= m_stSysConf.nSchemeSum) {
        // The factory row has no file.
        return true;
    }
    std::string strName = schemeFileName(nCurScheme);
    setFlag(FLAG_RESTORING, true);

    std::vector<KeyVal> vecLocal;
    KeyVal* pWork = nullptr;
    if (m_pstKeyValTmp != nullptr) {
        reserveKeyValTmp(m_nKeyValSum);
        pWork = m_pstKeyValTmp;
    } else {
        vecLocal.resize(m_nKeyValSum);
        pWork = vecLocal.data();
    }
    int nRet = keyValFromFile(&strName[0], pWork, m_nKeyValSum);
    SENSOR_ASSERT_T(SNS_SUCCESS == nRet, "SNS_SUCCESS == keyValFromFile(szTmp, m_pstKeyValTmp, m_nKeyValSum)",
                    "szTmp(%s), m_nKeyValSum(%d)\n", strName.c_str(), static_cast<int>(m_nKeyValSum));

    // Only records that differ from the cache reach the ISP; the cache takes
    // the file's values.
    nRet = setParameters(pWork, m_nKeyValSum, true);

    setFlag(FLAG_RESTORING, false);
    return nRet == SNS_SUCCESS;
}

bool ISensorController::resetParameters() {
    SENSOR_PARAM_LOCK();
    setFlag(FLAG_RESETTING, true);

    const u32 nSchemeSum = m_stSysConf.nSchemeSum;
    int nRet = switch_to(static_cast<int>(nSchemeSum), false);
    SENSOR_ASSERT_T(SNS_SUCCESS == nRet, "SNS_SUCCESS == switch_to(m_stSysConf.nSchemeSum)",
                    "m_stSysConf.nSchemeSum(%d)\n", static_cast<int>(nSchemeSum));

    // The stored schemes 0 to 3 of this channel go; init recreates them.
    char szCmd[128];
    if (m_bThermal) {
        std::snprintf(szCmd, sizeof(szCmd), "rm -rf /mnt/mtd/code/config*/sensor-thermal*.cfg");
    } else {
        std::snprintf(szCmd, sizeof(szCmd), "rm -rf /mnt/mtd/code/config*/sensor%d_[0-3].cfg", m_nCameraID);
    }
    sy_system(szCmd, kShellTimeLimit);

    const int nMode = m_nMode.load();
    uinit();

    // At high debug levels the module file is read again, so an edited file
    // takes effect; otherwise the identity of the last init is used.
    ModuleConfigure objModuleConfigure;
    if (g_nDebugLevel.load() > 5) {
        MachineInfo objMachineInfo;
        SystemInfoParser::parseMachineInfo(SENSOR_MACHINEINFO_FILE, objMachineInfo);
        std::vector<ModuleConfigure> vecModules;
        ModuleConfigureParser::parse(SENSOR_MODULECONFIG_FILE, objMachineInfo.getHardwareModel(),
                                     objMachineInfo.getHardwareCode(), vecModules);
        if (!vecModules.empty()) {
            objModuleConfigure.setModuleId(vecModules[0].getModuleId());
            objModuleConfigure.setDetail(vecModules[0].getDetail());
            objModuleConfigure.setParameters(vecModules[0].getParameters());
        }
    } else {
        objModuleConfigure.setDetail(m_strModuleDetail);
        objModuleConfigure.setModuleId(m_nModuleId);
        objModuleConfigure.setParameters(m_strModuleParameters);
    }

    bool bInit = init(objModuleConfigure);
    SENSOR_ASSERT_T(bInit, "init(objModuleConfigure)", "");

    m_nMode = nMode;
    m_nCurScheme = 0;
    setFlag(FLAG_RESETTING, false);
    return true;
}

int ISensorController::flush() {
    SENSOR_PARAM_LOCK();
    const u32 nCurScheme = static_cast<u32>(m_nCurScheme.load());
    if (nCurScheme >= m_stSysConf.nSchemeSum) {
        // The factory row is never written.
        return 0;
    }
    int nRet = paramCheck();
    if (nRet != 0) {
        return nRet;
    }
    KeyVal* pRow = schemeRow(nCurScheme);
    if (pRow == nullptr) {
        // Nothing cached (not initialised): the file stays as it is.
        return 0;
    }
    std::string strName = schemeFileName(nCurScheme);
    return keyValToFile(&strName[0], pRow, m_nKeyValSum);
}

bool ISensorController::setMirrorMode(int p_nMode) {
    if (setParameter(kKeyMirror, p_nMode, true) != SNS_SUCCESS) {
        return false;
    }
    flush();
    return true;
}
