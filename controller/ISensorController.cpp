// The controller object: construction, destruction, channel and the check of
// the current scheme's time window.
#define SNS_SOURCE_FILE "ISensorController.cpp"
#include "controller/ISensorController.h"

#include <cstdio>
#include <cstring>

#include "controller/ApplyGate.h"
#include "controller/ModuleCall.h"
#include "controller/SensorDebug.h"
#include "platform/SystemInfoParser.h"
#include "scheme/DecisionLog.h"

std::atomic<int> ISensorController::m_nChanneldDosomething(-1);
std::atomic<int> ISensorController::m_nPassKeycmd(-1);

ISensorController::ISensorController()
    : m_nCameraID(1),
      m_paramMutexOwner(std::thread::id()),
      m_pSensorThread(nullptr),
      m_nLastScheme(-1),
      m_nCurScheme(0),
      m_nMode(1),
      m_ppUserKeyVal(nullptr),
      m_pstKeyValText(nullptr),
      m_pFctKeyVal(nullptr),
      m_nKeyValSum(0),
      m_pstKeyValTmp(nullptr),
      m_nKeyValTmpCap(0),
      m_nKeyValTmpUsers(0),
      m_pKeyCmdMap(nullptr),
      m_nVersion(8),
      m_pVideoStreamModule(nullptr),
      m_nStatusFlags(0),
      m_nKeyCmdSum(KEYCMD_CAPACITY),
      m_nLastDNState(255),
      m_bLprMode(false),
      m_bShowWDRFalg(true),
      m_bTimeScheme(false),
      m_bDNScheme(false),
      m_bisLimitedIrPower(false),
      m_bHasLens(true),
      m_bShutterResetPass(false),
      m_bThermal(false),
      m_bShowLDCFlag(true),
      m_nLastSchedule(0),
      m_pstKeyValLpr(nullptr),
      m_nKeyValLprUsers(0),
      m_pKeyValBlock(nullptr),
      m_nModuleId(0),
      m_nSchemeSumSeen(0),
      m_bStopRequested(false),
      m_busyOwner(std::thread::id()),
      m_bSchemeRequested(false),
      m_nRequestedScheme(0),
      m_nSwitchIspCalls(0),
      m_pDecisions(new tarnix::DecisionLog(this)) {
    std::memset(&m_stSysConf, 0, sizeof(m_stSysConf));
    m_pSensorThread = new GThread(bind_function(&ISensorController::sensorThread, this), "SensorThread",
                                  function<int>(&GThread::emptyFun), function<int>(&GThread::emptyFun));
    SystemInfoParser::parseMachineInfo(SENSOR_MACHINEINFO_FILE, m_objMachineInfo);
}

ISensorController::~ISensorController() {
    // The arrays belong to uinit; a controller destroyed without it (or one
    // whose parts were built without init) still gives its memory back.
    if (m_ppUserKeyVal != nullptr || m_pKeyCmdMap != nullptr || m_pstKeyValTmp != nullptr ||
        m_pstKeyValText != nullptr || m_pstKeyValLpr != nullptr || m_pKeyValBlock != nullptr ||
        m_stSysConf.szUIStyle != nullptr) {
        setFlag(FLAG_INITED, true);
        uinit();
    }
    if (m_pSensorThread != nullptr) {
        // A pass waiting for the apply gate gives up at once.
        m_bStopRequested = true;
        m_pSensorThread->stop();
        delete m_pSensorThread;
        m_pSensorThread = nullptr;
    }
}

void ISensorController::setChannelID(int id) {
    m_nCameraID = id;
    int nDeviceType = m_objMachineInfo.getDeviceType();
    if (nDeviceType == 13) {
        // On this model the single controller drives channel 2.
        m_nCameraID = 2;
    }
    if (m_nCameraID == 2 && (nDeviceType == 13 || nDeviceType == 14 || nDeviceType == 17 || nDeviceType == 19 ||
                             nDeviceType == 23)) {
        m_bThermal = true;
    }
}

int ISensorController::getSensorType() {
    // The configuration is rebuilt by init (also a factory reset on another thread).
    tarnix::GateLock objGate;
    return static_cast<int>(m_stSysConf.moduleConfig.nModuleId);
}

int ISensorController::getSensorStatus() { return testFlag(FLAG_INITED) ? 1 : 0; }

void ISensorController::printDebugMsg() {}

int ISensorController::paramCheck() {
    tarnix::GateLock objGate;
    // The window sits at entries 1 to 4 of every scheme row.
    const KeyVal* pScheme = schemeRow(static_cast<u32>(m_nCurScheme.load()));
    if (pScheme == nullptr || m_nKeyValSum < 5) {
        return 0;
    }
    u32 nStart = pScheme[1].value * 100 + pScheme[2].value;
    u32 nEnd = pScheme[3].value * 100 + pScheme[4].value;
    if (nStart > 2400) {
        return 505;
    }
    if (nEnd > 2400) {
        return 506;
    }
    if (nStart >= nEnd) {
        return 507;
    }
    return 0;
}

std::string ISensorController::schemeFileName(u32 p_nScheme) const {
    char szName[128];
    if (m_bThermal) {
        std::snprintf(szName, sizeof(szName), SENSOR_THERMAL_FILE_FMT, static_cast<int>(p_nScheme));
    } else {
        std::snprintf(szName, sizeof(szName), SENSOR_SCHEME_FILE_FMT, m_nCameraID, static_cast<int>(p_nScheme));
    }
    return szName;
}

void ISensorController::reserveKeyValTmp(u32 n) {
    if (m_pstKeyValTmp != nullptr && m_nKeyValTmpCap >= n) {
        return;
    }
    KeyVal* pNew = new KeyVal[n];
    std::memset(pNew, 0, sizeof(KeyVal) * n);
    if (m_pstKeyValTmp != nullptr) {
        std::memcpy(pNew, m_pstKeyValTmp, sizeof(KeyVal) * m_nKeyValTmpCap);
        delete[] m_pstKeyValTmp;
    }
    m_pstKeyValTmp = pNew;
    m_nKeyValTmpCap = n;
}

void ISensorController::raiseBusy(u8 bits) {
    m_busyOwner = std::this_thread::get_id();
    setFlag(bits, true);
}

void ISensorController::clearBusy(u8 bits) {
    setFlag(bits, false);
    if (isBusy()) {
        return;
    }
    m_busyOwner = std::thread::id();
    // The outermost busy operation has ended: a scheme that a module asked
    // for from inside it is switched to now, as setParamScheme would have.
    if (m_bSchemeRequested.exchange(false)) {
        // The switch has a record of its own; the ISP calls of the operation
        // that is ending stay as they were counted.
        const u32 nOuterCalls = m_nSwitchIspCalls;
        tarnix::DecisionRecord stRecord = startDecision(tarnix::DecisionSource::ModuleRequest);
        stRecord.requested = m_nRequestedScheme.load();
        stRecord.selected = stRecord.requested;
        switch_to(stRecord.requested, false);
        noteSwitch(stRecord, false);
        endDecision(stRecord);
        m_nSwitchIspCalls = nOuterCalls;
    }
}

bool ISensorController::busyRaisedHere() const {
    return isBusy() && m_busyOwner.load() == std::this_thread::get_id();
}

bool ISensorController::insideOwnModuleCall() const { return tarnix::ModuleCall::insideCallOf(this); }
