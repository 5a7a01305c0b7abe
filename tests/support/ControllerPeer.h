#pragma once
// Access to an ISensorController's internals for tests.
#include "controller/ISensorController.h"
#include "controller/LockRank.h"

class ISensorControllerTestPeer {
public:
    using C = ISensorController;
    static SysConfig& sysConf(C& c) { return c.m_stSysConf; }
    static int& cameraId(C& c) { return c.m_nCameraID; }
    static GThread* thread(C& c) { return c.m_pSensorThread; }
    static std::atomic<int>& lastScheme(C& c) { return c.m_nLastScheme; }
    static std::atomic<int>& curScheme(C& c) { return c.m_nCurScheme; }
    static std::atomic<int>& mode(C& c) { return c.m_nMode; }
    static KeyVal**& userKeyVal(C& c) { return c.m_ppUserKeyVal; }
    static KeyVal*& keyValText(C& c) { return c.m_pstKeyValText; }
    static KeyVal*& fctKeyVal(C& c) { return c.m_pFctKeyVal; }
    static u32& keyValSum(C& c) { return c.m_nKeyValSum; }
    static KeyVal*& keyValTmp(C& c) { return c.m_pstKeyValTmp; }
    static keycmd*& keyCmdMap(C& c) { return c.m_pKeyCmdMap; }
    static u32& keyCmdSum(C& c) { return c.m_nKeyCmdSum; }
    static u32& version(C& c) { return c.m_nVersion; }
    static MachineInfo& machineInfo(C& c) { return c.m_objMachineInfo; }
    static u8 flags(C& c) { return c.m_nStatusFlags.load(); }
    static void setFlag(C& c, u8 bits, bool on) { c.setFlag(bits, on); }
    static u32& lastDNState(C& c) { return c.m_nLastDNState; }
    static std::atomic<bool>& lprMode(C& c) { return c.m_bLprMode; }
    static std::atomic<bool>& showWDR(C& c) { return c.m_bShowWDRFalg; }
    static std::atomic<bool>& timeScheme(C& c) { return c.m_bTimeScheme; }
    static std::atomic<bool>& dnScheme(C& c) { return c.m_bDNScheme; }
    static std::atomic<bool>& limitedIrPower(C& c) { return c.m_bisLimitedIrPower; }
    static std::atomic<bool>& hasLens(C& c) { return c.m_bHasLens; }
    static std::atomic<bool>& shutterResetPass(C& c) { return c.m_bShutterResetPass; }
    static std::atomic<bool>& thermal(C& c) { return c.m_bThermal; }
    static std::atomic<bool>& showLDC(C& c) { return c.m_bShowLDCFlag; }
    static SensorZoomFocusParam& zoomFocus(C& c) { return c.m_stZoomFocusParam; }
    static std::atomic<u32>& lastSchedule(C& c) { return c.m_nLastSchedule; }
    static KeyVal*& keyValLpr(C& c) { return c.m_pstKeyValLpr; }
    static void buildKeyCmdMap(C& c) { c.initKeyCmdMap(); }
    static std::string schemeFileName(C& c, u32 s) { return c.schemeFileName(s); }
    // The number of user schemes, as init sets it (the configuration and the
    // copy read without a lock).
    static void setSchemeSum(C& c, u32 n) {
        c.m_stSysConf.nSchemeSum = n;
        c.m_nSchemeSumSeen = n;
    }
    // Takes or releases the controller's m_paramMutex alone, as another
    // thread inside a parameter operation holds it.
    static void lockParamMutex(C& c) {
        tarnix::lockrank::acquire(tarnix::lockrank::PARAM);
        c.m_paramMutex.Lock("ISensorController.cpp", __LINE__);
        c.m_paramMutexOwner = std::this_thread::get_id();
    }
    static void unlockParamMutex(C& c) {
        c.m_paramMutexOwner = std::thread::id();
        c.m_paramMutex.Unlock("ISensorController.cpp", __LINE__);
        tarnix::lockrank::release(tarnix::lockrank::PARAM);
    }
    static std::atomic<bool>& stopRequested(C& c) { return c.m_bStopRequested; }
};
