// Scheme selection and switching: which user scheme the time of day selects,
// the switch itself (a whole scheme sent through the apply path), the host's
// requests to force a scheme or to suspend automatic switching, and the two
// day/night handlers whose ISP records are completed from the current scheme.
#define SNS_SOURCE_FILE "ISensorController.cpp"
#include <cstring>

#include "controller/ApplyGate.h"
#include "controller/ISensorController.h"
#include "controller/KeyCatalogue.h"
#include "controller/ParamLock.h"
#include "controller/SensorDebug.h"
#include "controller/WorkArray.h"
#include "handlers/IspCallCount.h"
#include "platform/PXDeviceTime.h"
#include "platform/QuorvelTime.h"

using namespace tarnix::keys;

namespace {

// Positions of the time window inside every scheme row.
const u32 kEntryStartHour = 1;
const u32 kEntryStartMin = 2;
const u32 kEntryEndHour = 3;
const u32 kEntryEndMin = 4;
const u32 kWindowEntries = 5; // a row needs entries 0 to 4 to carry a window

// Pause between two looks at the busy flags.
const long kBusyWaitUsec = 500000;

} // namespace

int ISensorController::judgeCurScheme(int& nScheme, int& nSchedule) { return judgeScheme(nScheme, nSchedule, nullptr); }

int ISensorController::judgeScheme(int& nScheme, int& nSchedule, tarnix::DecisionRecord* p_pRecord) {
    tarnix::GateLock objGate;
    PXDateTime stNow = PXDeviceTime::getCurrentTime();
    const u32 nNow = static_cast<u32>(stNow.hour) * 100u + static_cast<u32>(stNow.minute);
    if (p_pRecord != nullptr) {
        p_pRecord->windowsRead = true;
        p_pRecord->time = stNow;
        p_pRecord->now = nNow;
    }

    nSchedule = 0;
    if (m_nKeyValSum >= kWindowEntries) {
        for (u32 i = 0; i < m_stSysConf.nSchemeSum; ++i) {
            const KeyVal* pRow = schemeRow(i);
            if (pRow == nullptr) {
                break;
            }
            // A window never wraps past midnight: start > end matches nothing.
            const u32 nStart = pRow[kEntryStartHour].value * 100u + pRow[kEntryStartMin].value;
            const u32 nEnd = pRow[kEntryEndHour].value * 100u + pRow[kEntryEndMin].value;
            const bool bHolds = nStart <= nNow && nNow < nEnd;
            if (p_pRecord != nullptr) {
                if (i < tarnix::DecisionRecord::kMaxWindows) {
                    p_pRecord->windows[i].start = nStart;
                    p_pRecord->windows[i].end = nEnd;
                    p_pRecord->windows[i].holdsNow = bHolds;
                }
                p_pRecord->windowCount = i + 1;
            }
            if (bHolds) {
                nScheme = static_cast<int>(i);
                nSchedule = 1;
                if (p_pRecord != nullptr) {
                    p_pRecord->matchedWindow = nScheme;
                }
                return SNS_SUCCESS;
            }
        }
    }
    // No window holds the time: scheme 0 is the fallback.
    nScheme = 0;
    nSchedule = 0;
    return SNS_SUCCESS;
}

int ISensorController::switch_to(int nScheme, bool bForce) {
    tarnix::GateLock objGate;
    raiseBusy(FLAG_SWITCHING);
    m_nLastScheme = m_nCurScheme.load();
    m_nCurScheme = nScheme;
    const unsigned long long nCallsBefore = tarnix::ispCallsOnThisThread();

    // An index without a row (beyond the factory row) becomes current but
    // has nothing to apply.
    KeyVal* pRow = schemeRow(static_cast<u32>(nScheme));
    if (pRow != nullptr) {
        if (bForce) {
            // Every entry is sent again, whatever the ISP holds.
            setParameters(pRow, m_nKeyValSum, false);
        } else {
            // Only the entries that differ from the previous scheme are sent.
            int nRet = setParameters(pRow, m_nKeyValSum, true);
            SENSOR_ASSERT_T(SNS_SUCCESS == nRet,
                            "SNS_SUCCESS == setParameters(m_ppUserKeyVal[m_nCurScheme], m_nKeyValSum, true)",
                            "m_nCurScheme(%d) m_nKeyValSum(%d)\n", m_nCurScheme.load(),
                            static_cast<int>(m_nKeyValSum));
        }
    }

    m_nSwitchIspCalls = static_cast<u32>(tarnix::ispCallsOnThisThread() - nCallsBefore);
    clearBusy(FLAG_SWITCHING);
    // The switch counts as done even when the apply failed: the new index is
    // already current.
    return SNS_SUCCESS;
}

int ISensorController::LPR_switch_to(int nScheme) {
    tarnix::GateLock objGate;
    raiseBusy(FLAG_SWITCHING);
    m_nLastScheme = m_nCurScheme.load();
    m_nCurScheme = nScheme;
    const unsigned long long nCallsBefore = tarnix::ispCallsOnThisThread();

    const KeyVal* pRow = schemeRow(static_cast<u32>(nScheme));
    if (pRow != nullptr && m_pstKeyValLpr != nullptr && m_nKeyValSum > 0) {
        // Work on a copy: the day/night mode is forced to 0 for the apply
        // only, the stored scheme keeps its own value.
        u32 nCapacity = m_nKeyValSum;
        tarnix::WorkArray objWork(m_pstKeyValLpr, nCapacity, m_nKeyValLprUsers, m_nKeyValSum, false);
        KeyVal* pWork = objWork.data();
        std::memcpy(pWork, pRow, sizeof(KeyVal) * m_nKeyValSum);
        for (u32 i = 0; i < m_nKeyValSum; ++i) {
            if (pWork[i].key == KEY_DN_MODE) {
                pWork[i].value = 0;
                break;
            }
        }
        setParameters(pWork, m_nKeyValSum, false);
    }

    m_nSwitchIspCalls = static_cast<u32>(tarnix::ispCallsOnThisThread() - nCallsBefore);
    clearBusy(FLAG_SWITCHING);
    return SNS_SUCCESS;
}

bool ISensorController::setParamScheme(int p_nScheme) {
    tarnix::ParamLock objLock(*this, __LINE__);
    // A bad index is reported but still switched to.
    SENSOR_ASSERT_T(p_nScheme >= 0 && static_cast<u32>(p_nScheme) <= m_stSysConf.nSchemeSum,
                    "p_nScheme >= 0 && (u32)p_nScheme <= m_stSysConf.nSchemeSum", "p_nScheme(%d)\n", p_nScheme);
    tarnix::DecisionRecord stRecord = startDecision(tarnix::DecisionSource::SetScheme);
    stRecord.requested = p_nScheme;
    stRecord.selected = p_nScheme;
    if (busyRaisedHere()) {
        // Called from a module callback inside this controller's own switch,
        // restore or reset: waiting for it to end would never end. The
        // request is kept and carried out, as a non-forced switch, when the
        // outermost busy operation ends; the switch reports success anyway.
        m_nRequestedScheme = p_nScheme;
        m_bSchemeRequested = true;
        stRecord.outcome = tarnix::DecisionOutcome::Deferred;
        endDecision(stRecord);
        return true;
    }
    while (isBusy()) {
        QuorvelTime::wait(QuorvelTime(0, kBusyWaitUsec));
        ++stRecord.busyWaits;
    }
    int nRet = switch_to(p_nScheme, false);
    noteSwitch(stRecord, false);
    endDecision(stRecord);
    return SNS_SUCCESS == nRet;
}

bool ISensorController::setParamMode(int p_nMode) {
    tarnix::ParamLock objLock(*this, __LINE__);
    // Any non-zero mode keeps automatic switching on; an unexpected one is
    // reported and stored as given.
    SENSOR_ASSERT_T(static_cast<u32>(p_nMode) <= 1, "0 == p_nMode || 1 == p_nMode", "p_nMode(%d)\n", p_nMode);
    // From a module callback inside this controller's own busy operation the
    // mode is stored at once: it is read only at the start of a pass.
    tarnix::DecisionRecord stRecord = startDecision(tarnix::DecisionSource::SetMode);
    stRecord.requested = p_nMode;
    while (isBusy() && !busyRaisedHere()) {
        QuorvelTime::wait(QuorvelTime(0, kBusyWaitUsec));
        ++stRecord.busyWaits;
    }
    m_nMode = p_nMode;
    stRecord.mode = p_nMode;
    stRecord.outcome = p_nMode == 0 ? tarnix::DecisionOutcome::HeldSuspended : tarnix::DecisionOutcome::NoChange;
    endDecision(stRecord);
    return true;
}

int ISensorController::getParamSchemeTime(int key) {
    u32 nEntry = 0;
    switch (key) {
    case KEY_SCHEME_START_HOUR:
        nEntry = kEntryStartHour;
        break;
    case KEY_SCHEME_START_MIN:
        nEntry = kEntryStartMin;
        break;
    case KEY_SCHEME_END_HOUR:
        nEntry = kEntryEndHour;
        break;
    case KEY_SCHEME_END_MIN:
        nEntry = kEntryEndMin;
        break;
    default:
        return -1;
    }
    tarnix::GateLock objGate;
    const KeyVal* pRow = schemeRow(static_cast<u32>(m_nCurScheme.load()));
    if (pRow == nullptr || nEntry >= m_nKeyValSum) {
        return -1;
    }
    return static_cast<int>(pRow[nEntry].value);
}

int ISensorController::doDNThr(unsigned int cmd, unsigned int opt, void* value) {
    const u32 nCurScheme = static_cast<u32>(m_nCurScheme.load());
    const u32 nValue = (value != nullptr) ? *static_cast<u32*>(value) : 0;

    // Only the field(s) the key names are filled; the others stay 0.
    dn_thr_st stThr;
    std::memset(&stThr, 0, sizeof(stThr));
    if (cmd == KEY_DTN_THR) {
        stThr.d2n_thr = nValue;
        getKeyValFromCache(nCurScheme, KEY_NTD_THR, stThr.n2d_thr);
    } else if (cmd == KEY_NTD_THR) {
        getKeyValFromCache(nCurScheme, KEY_DTN_THR, stThr.d2n_thr);
        stThr.n2d_thr = nValue;
    } else if (cmd == KEY_DN_SENSITIVITY) {
        stThr.dn_sensitivity = nValue;
    }

    SENSOR_TRACE(TRACE_DBG, "m_nCurScheme(%u) dn_thr_st.d2n_thr(%u) dn_thr_st.n2d_thr(%u)  dn_thr_st.dn_sensitivity(%u)\n",
                 nCurScheme, stThr.d2n_thr, stThr.n2d_thr, stThr.dn_sensitivity);

    int nRet = doIaCmd(cmd, opt, &stThr);
    if (testFlag(FLAG_RESTORING)) {
        // A restore replays stored values; a refused threshold does not stop it.
        return 0;
    }
    return nRet;
}

int ISensorController::doDNTime(unsigned int cmd, unsigned int opt, void* value) {
    const u32 nCurScheme = static_cast<u32>(m_nCurScheme.load());
    const u32 nValue = (value != nullptr) ? *static_cast<u32*>(value) : 0;

    // The ISP takes both switching times at once: the three fields not being
    // set come from the current scheme.
    dn_time_st stTime;
    std::memset(&stTime, 0, sizeof(stTime));
    getKeyValFromCache(nCurScheme, KEY_DTN_H, stTime.d2n_hour);
    getKeyValFromCache(nCurScheme, KEY_DTN_M, stTime.d2n_min);
    getKeyValFromCache(nCurScheme, KEY_NTD_H, stTime.n2d_hour);
    getKeyValFromCache(nCurScheme, KEY_NTD_M, stTime.n2d_min);
    if (cmd == KEY_DTN_H) {
        stTime.d2n_hour = nValue;
    } else if (cmd == KEY_DTN_M) {
        stTime.d2n_min = nValue;
    } else if (cmd == KEY_NTD_H) {
        stTime.n2d_hour = nValue;
    } else {
        stTime.n2d_min = nValue;
    }

    SENSOR_TRACE(TRACE_DBG,
                 "m_nCurScheme(%u) dn_time_st.d2n_hour(%u) dn_time_st.d2n_min(%u) dn_time_st.n2d_hour(%u) "
                 "dn_time_st.n2d_min(%u) \n",
                 nCurScheme, stTime.d2n_hour, stTime.d2n_min, stTime.n2d_hour, stTime.n2d_min);

    return doIaCmd(cmd, opt, &stTime);
}
