// Recovery and save: re-apply one stored key, re-apply the current scheme's
// file, return the channel to its factory state, and save the current scheme.
#define SNS_SOURCE_FILE "ISensorController.cpp"
#include "controller/ISensorController.h"
#include "controller/KeyCatalogue.h"
#include "controller/ParamLock.h"
#include "controller/ApplyGate.h"
#include "controller/SensorDebug.h"
#include "controller/WorkArray.h"

#include <string>
#include <vector>

#include "platform/MachineInfo.h"
#include "platform/ModuleConfigureParser.h"
#include "platform/SystemInfoParser.h"

using namespace tarnix::keys;

int ISensorController::restore(int p_nKey) {
    tarnix::ParamLock objLock(*this, __LINE__);
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
    if (m_bHasLens.load() && restore(KEY_AUTO_FOCUS_MODE) != SNS_SUCCESS) {
        return false;
    }
    if (m_bThermal) {
        return true;
    }
    return restore(KEY_EXPOSE_MODE) == SNS_SUCCESS;
}

bool ISensorController::resetToLastParameters() {
    // The factory row has no file: nothing to do, and no lock is taken. Both
    // values are atomics, so a factory reset on another thread is no hazard.
    if (static_cast<u32>(m_nCurScheme.load()) >= m_nSchemeSumSeen.load()) {
        return true;
    }
    tarnix::ParamLock objLock(*this, __LINE__);
    // Checked again under the lock against the configuration itself.
    const u32 nCurScheme = static_cast<u32>(m_nCurScheme.load());
    if (nCurScheme >= m_stSysConf.nSchemeSum) {
        return true;
    }
    raiseBusy(FLAG_RESTORING);

    int nRet = SNS_SUCCESS;
    {
        tarnix::WorkArray objWork(m_pstKeyValTmp, m_nKeyValTmpCap, m_nKeyValTmpUsers, m_nKeyValSum, true);
        KeyVal* pWork = objWork.data();
        readSchemeFile(SENSOR_SITE(), nCurScheme, pWork);

        // Only records that differ from the cache reach the ISP; the cache
        // takes the file's values.
        nRet = setParameters(pWork, m_nKeyValSum, true);
    }

    clearBusy(FLAG_RESTORING);
    return nRet == SNS_SUCCESS;
}

bool ISensorController::resetParameters() {
    if (refusedInsideOwnCallback(SENSOR_SITE(), "resetParameters()")) {
        return false;
    }
    tarnix::ParamLock objLock(*this, __LINE__);
    raiseBusy(FLAG_RESETTING);

    const u32 nSchemeSum = m_stSysConf.nSchemeSum;
    tarnix::DecisionRecord stRecord = startDecision(tarnix::DecisionSource::FactoryReset);
    stRecord.selected = static_cast<int>(nSchemeSum);
    int nRet = switch_to(static_cast<int>(nSchemeSum), false);
    noteSwitch(stRecord, false);
    SENSOR_ASSERT_T(SNS_SUCCESS == nRet, "SNS_SUCCESS == switch_to(m_stSysConf.nSchemeSum)",
                    "m_stSysConf.nSchemeSum(%d)\n", static_cast<int>(nSchemeSum));

    // The stored schemes 0 to 3 of this channel go; init recreates them.
    deleteStoredSchemes();

    const int nMode = m_nMode.load();
    uinit();
    const ModuleConfigure objModuleConfigure = moduleForReset();
    bool bInit = init(objModuleConfigure);
    SENSOR_ASSERT_T(bInit, "init(objModuleConfigure)", "");

    m_nMode = nMode;
    m_nCurScheme = 0;
    clearBusy(FLAG_RESETTING);
    // The reset ends with scheme 0 in force.
    stRecord.to = m_nCurScheme.load();
    endDecision(stRecord);
    return true;
}

// Reads the file of user scheme p_nScheme into p_pRecords (m_nKeyValSum
// records). A failed read is reported under the caller's name; the records
// the file did not cover keep what they held.
void ISensorController::readSchemeFile(const tarnix::diag::Site& p_stSite, u32 p_nScheme, KeyVal* p_pRecords) {
    std::string strName = schemeFileName(p_nScheme);
    const int nRet = keyValFromFile(&strName[0], p_pRecords, m_nKeyValSum);
    SENSOR_ASSERT_FOR(p_stSite, __LINE__, SNS_SUCCESS == nRet,
                      "SNS_SUCCESS == keyValFromFile(szTmp, m_pstKeyValTmp, m_nKeyValSum)",
                      "szTmp(%s), m_nKeyValSum(%d)\n", strName.c_str(), static_cast<int>(m_nKeyValSum));
}

// The module configuration a factory reset initialises with. At high debug
// levels the module file is read again, so an edited file takes effect;
// otherwise the identity of the last init is used.
ModuleConfigure ISensorController::moduleForReset() const {
    ModuleConfigure objModuleConfigure;
    if (g_nDebugLevel.load() <= 5) {
        objModuleConfigure.setDetail(m_strModuleDetail);
        objModuleConfigure.setModuleId(m_nModuleId);
        objModuleConfigure.setParameters(m_strModuleParameters);
        return objModuleConfigure;
    }
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
    return objModuleConfigure;
}

int ISensorController::flush() {
    tarnix::ParamLock objLock(*this, __LINE__);
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
    nRet = keyValToFile(&strName[0], pRow, m_nKeyValSum);

    // The sensor thread may have switched schemes between a host's set and
    // this flush: the values set in the scheme that was current then would
    // never reach its file. Every other user scheme is stored as well; a
    // file that already holds the row's bytes is left untouched, so only
    // rows that differ from their files are written.
    for (u32 s = 0; s < m_stSysConf.nSchemeSum; ++s) {
        KeyVal* pOther = schemeRow(s);
        if (s == nCurScheme || pOther == nullptr) {
            continue;
        }
        std::string strOther = schemeFileName(s);
        keyValToFile(&strOther[0], pOther, m_nKeyValSum);
    }
    return nRet;
}

bool ISensorController::setMirrorMode(int p_nMode) {
    if (setParameter(KEY_MIRROR, p_nMode, true) != SNS_SUCCESS) {
        return false;
    }
    flush();
    return true;
}
