#pragma once
// Tarnix: image sensor and ISP control for one camera channel.
//
// A host creates one ISensorController per channel, calls setChannelID,
// optionally setVideoStreamModule, then init; it reads and sets parameters
// while the controller's "SensorThread" switches schemes; finally uinit.
#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "config/DnaStyle.h"
#include "config/FactoryDefaults.h"
#include "config/SensorKeyVal.h"
#include "config/StyleXml.h"
#include "config/sensor.h"
#include "controller/PXRuntimeError.h"
#include "controller/DebugSwitches.h"
#include "controller/SensorTypes.h"
#include "controller/function.h"
#include "engine/KeyValText.h"
#include "platform/GThread.h"
#include "platform/MachineInfo.h"
#include "platform/ModuleConfigure.h"
#include "platform/PXMutex.h"
#include "platform/SensorZoomFocusParam.h"
#include "platform/VideoStreamModule.h"
#include "platform/ia_ioctrl.h"
#include "scheme/SchemeDecision.h"
#include "storage/SensorFile.h"

class ISensorControllerTestPeer;
namespace tarnix {
class DecisionLog;
class ParamLock;
namespace diag {
struct Site;
}
}

class ISensorController {
public:
    // Bits of the status flags byte.
    enum StatusBit : u8 {
        FLAG_INITING = 0x01,
        FLAG_UNINITING = 0x02,
        FLAG_INITED = 0x04,
        FLAG_RESETTING = 0x08,
        FLAG_RESTORING = 0x10,
        FLAG_SWITCHING = 0x20,
    };
    // Bulk-apply mask: initialising, resetting, restoring or switching.
    static constexpr u8 BULK_APPLY_MASK = 0x39;
    // Busy flags that hold back scheme changes: switching, resetting, restoring.
    static constexpr u8 BUSY_MASK = 0x38;

    ISensorController();
    virtual ~ISensorController();
    ISensorController(const ISensorController&) = delete;
    ISensorController& operator=(const ISensorController&) = delete;

    // ---- controller object ----
    void setChannelID(int id);
    int getSensorType();
    int getSensorStatus();
    int paramCheck();
    void printDebugMsg();

    // ---- initialisation and shutdown ----
    bool init(const ModuleConfigure& p_objModuleConfigure);
    void uinit();

    // ---- key-command table ----
    int findFromKeyCmdMap(const keycmd* table, unsigned int key, keycmd& out);

    // ---- parameter cache and apply ----
    int setKeyValToCache(u32 p_nScheme, u32 p_nKey, u32 p_nValue, bool p_bForce);
    int getKeyValFromCache(u32 p_nScheme, u32 p_nKey, u32& p_nValue);
    bool isKeyValSame(const KeyVal& p_stKeyVal);
    int setParameters(KeyVal* p_pKeyval, u32 p_nCount, bool p_bCache);
    bool getParamScheme(int& p_nScheme);
    bool getParamMode(int& p_nMode);

    // ---- single parameter access ----
    int setParameter(int p_nKey, int p_nVal, bool p_bCache);
    bool getParameter(int p_nKey, int& p_nVal);
    bool getDNMode(int& v);
    bool setDNMode(int v);
    bool getWDRSwitch(int& v);
    bool setWDRSwitch(int& v);
    bool getWDRStrength(int& v);
    bool setWDRStrength(int& v);
    bool getHLCSwitch(int& v);
    bool setHLCSwitch(int& v);
    bool getHLCStrength(int& v);
    bool setHLCStrength(int& v);
    bool getBLCSwitch(int& v);
    bool setBLCSwitch(int& v);
    bool getBLCStrength(int& v);
    bool setBLCStrength(int& v);
    bool getDefogSwitch(int& v);
    bool setDefogSwitch(int& v);
    bool getDefogStrength(int& v);
    bool setDefogStrength(int& v);
    bool get2DSwitch(int& v);
    bool set2DSwitch(int& v);
    bool get2DMode(int& v);
    bool set2DMode(int& v);
    bool get2DAutoMaxStrength(int& v);
    bool set2DAutoMaxStrength(int& v);
    bool get2DManualMaxStrength(int& v);
    bool set2DManualMaxStrength(int& v);
    bool get3DSwitch(int& v);
    bool set3DSwitch(int& v);
    bool get3DMode(int& v);
    bool set3DMode(int& v);
    bool get3DAutoMaxStrength(int& v);
    bool set3DAutoMaxStrength(int& v);
    bool get3DManualMaxStrength(int& v);
    bool set3DManualMaxStrength(int& v);
    bool getBeaway(int& v);
    bool setBeaway(int& v);
    bool getMirrorValue(int& v);
    void setShowWDRFalg(bool show);
    bool getShowWDRFalg(bool& show);
    void setShowBeawayFalg(bool show);
    bool getShowBeawayFalg(bool& show);
    bool getSensorZoomFocusParam(SensorZoomFocusParam& param);
    bool setSensorZoomFocusParam(SensorZoomFocusParam& param);

    // ---- parameter text API ----
    int setParameters(const std::string& p_strParameters, bool p_bCache);
    bool getParameters(const std::string& p_strIds, std::string& p_strOut);
    bool getAllParameters(std::string& p_strOut);

    // ---- restore, reset and flush ----
    int restore(int p_nKey);
    bool restoreAeMode();
    bool resetToLastParameters();
    bool resetParameters();
    int flush();
    bool setMirrorMode(int p_nMode);

    // ---- ISP gateway and key handlers ----
    int doIaCmd(unsigned int p_nCmd, unsigned int p_nOpt, void* p_pVal);
    int doIaCmdShutter(unsigned int p_nCmd, unsigned int p_nOpt, void* p_pVal);
    int doIaCmd_User(unsigned int p_nCmd, unsigned int p_nOpt, void* p_pVal);
    int doIoCrtl(unsigned int p_nCmd, unsigned int p_nOpt, void* p_pVal);
    int test_debugParam(unsigned int p_nCmd, unsigned int p_nOpt, void* p_pVal);
    int notifyToVideo(int p_nKey, int p_nVal);
    void setVideoStreamModule(const VideoStreamModule* p_pModule);

    // ---- composite image handlers ----
    int doHwdr(unsigned int p_nKey, unsigned int p_nDir, void* p_pVal);
    int doImageAdjust(unsigned int p_nKey, unsigned int p_nDir, void* p_pVal);
    int doDIS(unsigned int p_nKey, unsigned int p_nDir, void* p_pVal);
    int doIaCmd_PanoTuning(unsigned int p_nKey, unsigned int p_nDir, void* p_pVal);
    int doMirror(unsigned int p_nKey, unsigned int p_nDir, void* p_pVal);
    int doBeaway(unsigned int p_nKey, unsigned int p_nDir, void* p_pVal);
    int doFisheyeRotate(unsigned int p_nKey, unsigned int p_nDir, void* p_pVal);

    // ---- lens, iris and light ----
    bool zoomIn();
    bool zoomOut();
    bool setZoomValue(int v);
    bool getZoomValue(int& pos, int& ratio);
    bool setPTZRunState(int v);
    bool setFocusValue(int v);
    bool getFocusValue(int& v);
    bool setFocusMode(int v);
    bool getFocusMode(int& v);
    bool getFocus(int& v);
    bool getAFStatistic(unsigned int& v);
    bool focusFar();
    bool focusNear();
    bool irisUp();
    bool irisDown();
    bool setIrisValue(int v);
    bool getIrisValue(int& v);
    bool setDNState(int v);
    bool getDNState(int& v);
    bool getWDR(int& v);
    bool setExposureStrategy(int& v);
    bool getCmdExecStatus(int cmd, int& status);
    bool setIRSwitch(int v);
    bool getIRSwitch(int& v);
    bool setWhiteSwitch(int v);
    bool getWhiteSwitch(int& v);
    bool setWhiteMode(int v);
    bool getWhiteMode(int& v);
    bool setLightType(int v);
    bool getLightType(int& v);
    bool getHeatStatus(bool& v);
    bool getTempValue(int& v);
    bool setIrLedInfo(void* info);
    bool getAutoExposureInfo(int& a, int& b, int& c);
    bool getCameraVerInf(std::string& s);

    // ---- shutter stepping and range query ----
    bool getShutterValue(int& index);
    bool setShutterValue(int index);
    bool shutterUp();
    bool shutterDown();
    bool getSensorParamRange(int cmd, int& defaultValue, std::string& range);

    // ---- field-of-view sync ----
    bool sync_fov();

    // ---- schemes ----
    int judgeCurScheme(int& nScheme, int& nSchedule);
    int switch_to(int nScheme, bool bForce = false);
    int LPR_switch_to(int nScheme);
    bool setParamScheme(int p_nScheme);
    bool setParamMode(int p_nMode);
    int getParamSchemeTime(int key);
    int doDNThr(unsigned int cmd, unsigned int opt, void* value);
    int doDNTime(unsigned int cmd, unsigned int opt, void* value);

    // ---- sensor thread ----
    int sensorThread();
    int SensorCheck(std::string& str);

    // ---- scheme decisions: why the scheme in force is the one it is ----
    // The observer is called with a record after every sensor pass and every
    // host operation that decides a scheme, on the deciding thread with the
    // controller held, as a video module callback is (docs/host-integration.md).
    // An empty function removes it; no call of the old one is under way
    // on another thread when this returns.
    void setDecisionObserver(std::function<void(const tarnix::DecisionRecord&)> p_fnObserver);
    // Number of latest decision records kept (256 unless set; 0 keeps none;
    // at most 65536).
    void setDecisionHistorySize(u32 p_nRecords);
    // The decision records kept, oldest first.
    std::vector<tarnix::DecisionRecord> getDecisionHistory() const;

    // ---- UI files ----
    std::string getUIStyleFile();
    std::string getUICommonFile(int id);
    std::string getUILanguageFile(int id);

    // Process-wide pending cross-channel action (field-of-view sync).
    static std::atomic<int> m_nChanneldDosomething;
    static std::atomic<int> m_nPassKeycmd;

private:
    friend class ISensorControllerTestPeer;
    friend class tarnix::ParamLock;

    // Status flag helpers (the flags byte is shared with the sensor thread).
    bool testFlag(u8 bits) const { return (m_nStatusFlags.load() & bits) != 0; }
    void setFlag(u8 bits, bool on) {
        if (on) {
            m_nStatusFlags.fetch_or(bits);
        } else {
            m_nStatusFlags.fetch_and(static_cast<u8>(~bits));
        }
    }
    bool isBusy() const { return testFlag(BUSY_MASK); }
    // Busy flags are raised and cleared only by the thread that owns the
    // apply gate; raiseBusy records that thread. clearBusy is the one place
    // where they are cleared: when the last one goes, a scheme request that
    // a module callback made during the busy operation is carried out.
    void raiseBusy(u8 bits);
    void clearBusy(u8 bits);
    // True when a busy flag is raised by the calling thread: the caller is
    // nested inside that busy operation (a module callback).
    bool busyRaisedHere() const;
    // True when the calling thread is inside a video module call of this
    // controller; init, uinit and resetParameters then refuse to run.
    bool insideOwnModuleCall() const;
    // The pending cross-channel action of this channel, run without a lock.
    void runPendingAction();

    // Row of scheme p_nScheme (the factory row is nSchemeSum), or null when the
    // cache is not allocated or the index lies beyond the factory row.
    KeyVal* schemeRow(u32 p_nScheme) const {
        return (m_ppUserKeyVal != nullptr && p_nScheme <= m_stSysConf.nSchemeSum) ? m_ppUserKeyVal[p_nScheme]
                                                                                    : nullptr;
    }

    // Builds the key-command table (rows 0 to 165).
    void initKeyCmdMap();
    // Scheme file name of scheme s for this channel.
    std::string schemeFileName(u32 p_nScheme) const;
    // Makes sure m_pstKeyValTmp holds at least n records.
    void reserveKeyValTmp(u32 n);
    // The pass body of the sensor thread after the pending action, run with
    // the apply gate held; it fills the pass's decision record.
    void sensorPass(tarnix::DecisionRecord& p_stRecord);
    // The pass's non-forced switch to nScheme, skipped when it is current or busy.
    void switchIfNeeded(int nScheme, tarnix::DecisionRecord& p_stRecord);
    // The pass's time-plan step on a plate-recognition device, with the
    // scheme and schedule the time plan selected.
    void plateRecognitionPass(int nScheme, int nSchedule, tarnix::DecisionRecord& p_stRecord);
    // judgeCurScheme, noting in the record (when given) the clock and the
    // windows it compared.
    int judgeScheme(int& nScheme, int& nSchedule, tarnix::DecisionRecord* p_pRecord);
    // A decision record with the policy in force, the mode and the scheme in force.
    tarnix::DecisionRecord startDecision(tarnix::DecisionSource p_eSource) const;
    // The outcome of a switch just made: Switched, the scheme now in force,
    // forced or differential, and the ISP calls it sent.
    void noteSwitch(tarnix::DecisionRecord& p_stRecord, bool p_bForced);
    // Ends a record whose outcome is set: the clock (unless the time plan
    // read it), into the history, and to the observer when this thread holds
    // the apply gate. Nothing when no record is wanted.
    void endDecision(tarnix::DecisionRecord& p_stRecord);
    // Delivers the queued records to the observer, unless init is running
    // (init delivers its own at its end) or the gate is not held here.
    void deliverDecisions();
    // True when the calling thread is inside this controller's decision observer.
    bool insideOwnDecisionObserver() const;

    // ---- steps of the apply loop setParameters(KeyVal*, u32, bool) and of
    // the scheme cache (engine/ParamCache.cpp); reports name the caller ----
    void applySchemeMode(u32 p_nValue, u32 p_nCurScheme);
    bool applyOutsideTable(KeyVal& p_stRecord, u32 p_nCurScheme);
    bool copyDayNightKey(const KeyVal& p_stRecord, u32 p_nCurScheme);
    bool exceedsIrPowerCap(const tarnix::diag::Site& p_stSite, const KeyVal& p_stRecord, u32 p_nCurScheme);
    bool selectLiveLightKey(const KeyVal& p_stRecord, u32 p_nCurScheme, u32& p_nCmdKey);
    keycmd keyCmdRowFor(const tarnix::diag::Site& p_stSite, u32 p_nIndex, u32 p_nCmdKey);
    int callKeyHandler(const tarnix::diag::Site& p_stSite, const keycmd& p_stRow, KeyVal& p_stRecord);
    void cacheRecord(const tarnix::diag::Site& p_stSite, u32 p_nIndex, const KeyVal& p_stRecord, u32 p_nCurScheme);
    // Allocates the scheme cache for nSchemeSum user schemes and the factory
    // row, lowering nSchemeSum (with a report) when the rows cannot be held.
    void allocateSchemeCache();

    // ---- steps of init (controller/Lifecycle.cpp) ----
    void releaseEarlierInit();
    void buildSchemeCache(const tarnix::diag::Site& p_stSite);
    void deleteFilesOfOtherLayout(const tarnix::diag::Site& p_stSite);
    void readModuleFeatures(const ModuleConfigure& p_objModuleConfigure, const MachineInfo& p_objMachineInfo);
    void loadSchemeFiles();
    void createSchemeFile(u32 p_nScheme, std::string& p_strName);
    void finishLayout(const tarnix::diag::Site& p_stSite);
    void readVideoModuleOptions(const MachineInfo& p_objMachineInfo);
    // Deletes the channel's stored schemes 0 to 3 (init and resetParameters).
    void deleteStoredSchemes();
    // True (after an assertion report naming p_szCall) when the calling
    // thread is inside a video module callback or the decision observer of
    // this controller: init, uinit and resetParameters are refused there.
    bool refusedInsideOwnCallback(const tarnix::diag::Site& p_stSite, const char* p_szCall) const;
    // The module configuration resetParameters initialises with.
    ModuleConfigure moduleForReset() const;
    // Reads user scheme p_nScheme's file into p_pRecords, reporting a failed
    // read under the caller's name (getAllParameters, resetToLastParameters).
    void readSchemeFile(const tarnix::diag::Site& p_stSite, u32 p_nScheme, KeyVal* p_pRecords);

    SysConfig m_stSysConf;
    int m_nCameraID;
    // Taken by the outermost public parameter operation of a thread, always
    // after the apply gate (tarnix::ParamLock); operations nested inside it
    // (module callbacks) are covered by the gate. The holder is kept so the
    // non-recursive lock is never taken twice on one thread.
    PXMutex m_paramMutex;
    std::atomic<std::thread::id> m_paramMutexOwner;
    GThread* m_pSensorThread;
    std::atomic<int> m_nLastScheme;
    std::atomic<int> m_nCurScheme;
    std::atomic<int> m_nMode;
    KeyVal** m_ppUserKeyVal;
    KeyVal* m_pstKeyValText;
    KeyVal* m_pFctKeyVal;
    u32 m_nKeyValSum;
    KeyVal* m_pstKeyValTmp;
    u32 m_nKeyValTmpCap;   // records m_pstKeyValTmp can hold
    u32 m_nKeyValTmpUsers; // operations using m_pstKeyValTmp (under the gate)
    keycmd* m_pKeyCmdMap;
    u32 m_nVersion;
    std::atomic<const VideoStreamModule*> m_pVideoStreamModule;
    MachineInfo m_objMachineInfo;
    std::atomic<u8> m_nStatusFlags;
    u32 m_nKeyCmdSum;
    u32 m_nLastDNState;
    std::atomic<bool> m_bLprMode;
    std::atomic<bool> m_bShowWDRFalg;
    std::atomic<bool> m_bTimeScheme;
    std::atomic<bool> m_bDNScheme;
    std::atomic<bool> m_bisLimitedIrPower;
    std::atomic<bool> m_bHasLens;
    std::atomic<bool> m_bShutterResetPass;
    std::atomic<bool> m_bThermal;
    std::atomic<bool> m_bShowLDCFlag;
    SensorZoomFocusParam m_stZoomFocusParam;
    mutable std::mutex m_zoomFocusMutex; // guards m_stZoomFocusParam only
    std::atomic<u32> m_nLastSchedule;
    KeyVal* m_pstKeyValLpr;
    u32 m_nKeyValLprUsers; // operations using m_pstKeyValLpr (under the gate)
    KeyVal* m_pKeyValBlock; // the one allocation behind m_ppUserKeyVal

    // Module identity kept from the last init, for resetParameters.
    int m_nModuleId;
    std::string m_strModuleDetail;
    std::string m_strModuleParameters;

    // The number of user schemes as last set by init/uinit, readable
    // without a lock (resetToLastParameters' early return).
    std::atomic<u32> m_nSchemeSumSeen;
    // Set by uinit and the destructor before they stop the sensor thread, so
    // that a pass waiting for the apply gate gives up at once.
    std::atomic<bool> m_bStopRequested;
    // Thread that raised the busy flags now set (none when no flag is set).
    std::atomic<std::thread::id> m_busyOwner;
    // A scheme requested with setParamScheme from inside a busy operation of
    // this controller, carried out when the operation ends (under the gate).
    std::atomic<bool> m_bSchemeRequested;
    std::atomic<int> m_nRequestedScheme;
    // ISP calls of the latest switch_to/LPR_switch_to apply (under the gate).
    u32 m_nSwitchIspCalls;
    // Decision history and observer; lives as long as the object.
    std::unique_ptr<tarnix::DecisionLog> m_pDecisions;
};
