// The background pass of "SensorThread": once a second it carries out a
// pending cross-channel field-of-view sync and keeps the scheme in force in
// line with the day/night state of the ISP or with the time schedule. Also
// SensorCheck, a raw ISP query by text for diagnosis. Every pass leaves a
// decision record (scheme/SchemeDecision.h) filled from the values it
// decided with.
#define SNS_SOURCE_FILE "ISensorController.cpp"
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "controller/ApplyGate.h"
#include "controller/ISensorController.h"
#include "controller/KeyCatalogue.h"
#include "controller/SensorDebug.h"
#include "platform/QuorvelTime.h"
#include "scheme/DecisionLog.h"

namespace {

// Scheme 0 serves as the day scheme, scheme 1 as the night scheme.
int dayNightScheme(int p_nState) { return p_nState == 0 ? 0 : 1; }

// A due switch held back by the busy flags set in p_nFlags.
void noteBusy(tarnix::DecisionRecord& p_stRecord, u8 p_nFlags) {
    p_stRecord.outcome = tarnix::DecisionOutcome::SkippedBusy;
    p_stRecord.busyFlags = static_cast<u8>(p_nFlags & ISensorController::BUSY_MASK);
}

// Reads the day/night state for a pass, as the record shows it.
int passDayNightState(ISensorController& p_objCtl, tarnix::DecisionRecord& p_stRecord) {
    int nState = 0;
    if (!p_objCtl.getDNState(nState)) {
        nState = 0; // a failed read counts as day
        p_stRecord.dnReadFailed = true;
    }
    p_stRecord.dnStateRead = true;
    p_stRecord.dnState = nState;
    return nState;
}

} // namespace

int ISensorController::sensorThread() {
    // While a reset runs the pass does not sleep.
    if (!testFlag(FLAG_RESETTING)) {
        QuorvelTime::wait(QuorvelTime(1, 0));
    }
    // The pending field-of-view action runs in every pass, whatever the
    // hosts are doing, and takes no lock.
    runPendingAction();

    tarnix::ApplyGate& objGate = tarnix::ApplyGate::instance();
    if (m_nMode.load() == 0) {
        if (m_pDecisions->wanted()) {
            tarnix::DecisionRecord stRecord = startDecision(tarnix::DecisionSource::SensorPass);
            stRecord.outcome = tarnix::DecisionOutcome::HeldSuspended;
            endDecision(stRecord);
            // The observer is called with the gate held, as from every
            // other pass; only to call it is the gate taken here.
            if (m_pDecisions->observed() && !objGate.heldByThisThread() && objGate.lockForPass(m_bStopRequested)) {
                deliverDecisions();
                objGate.unlock();
            }
        }
        return 0;
    }
    // The scheme decision needs the apply gate. The pass waits for it ahead
    // of every host, but for one pass period at most and not once the thread
    // is being stopped; a pass that did not get it leaves the decision to
    // the next one.
    if (!objGate.lockForPass(m_bStopRequested)) {
        if (m_pDecisions->wanted() && !m_bStopRequested.load()) {
            // Kept, and handed to the observer with the next record.
            tarnix::DecisionRecord stRecord = startDecision(tarnix::DecisionSource::SensorPass);
            stRecord.outcome = tarnix::DecisionOutcome::Postponed;
            endDecision(stRecord);
        }
        return 0;
    }
    tarnix::DecisionRecord stRecord = startDecision(tarnix::DecisionSource::SensorPass);
    sensorPass(stRecord);
    endDecision(stRecord);
    objGate.unlock();
    return 0;
}

void ISensorController::runPendingAction() {
    // One post (doIoCrtl) is carried out at most once: the channel mark is
    // taken back first, then the key, each in one atomic step. A post that
    // races with the take may be lost, never run twice.
    int nChannel = m_nCameraID;
    if (!m_nChanneldDosomething.compare_exchange_strong(nChannel, -1)) {
        return;
    }
    // The one cross-channel action: bring the visible lens to the thermal
    // field of view.
    if (m_nPassKeycmd.exchange(-1) == tarnix::keys::KEY_MIXSTREAM_THERMAL_TO_VISION_SYNC_FOV) {
        sync_fov();
    }
}

// A non-forced switch to nScheme unless it is already current or a busy
// flag holds scheme changes back.
void ISensorController::switchIfNeeded(int nScheme, tarnix::DecisionRecord& p_stRecord) {
    p_stRecord.selected = nScheme;
    if (nScheme == m_nCurScheme.load()) {
        return;
    }
    if (isBusy()) {
        noteBusy(p_stRecord, m_nStatusFlags.load());
        return;
    }
    int nRet = switch_to(nScheme, false);
    noteSwitch(p_stRecord, false);
    SENSOR_ASSERT_T(SNS_SUCCESS == nRet, "SNS_SUCCESS == switch_to(nScheme)", "nScheme(%d)\n", nScheme);
}

void ISensorController::sensorPass(tarnix::DecisionRecord& p_stRecord) {
    if (m_nMode.load() == 0) {
        p_stRecord.outcome = tarnix::DecisionOutcome::HeldSuspended;
        return;
    }

    int nScheme = 0;
    int nSchedule = 0;

    // Day/night policy: it takes precedence over the time schedule.
    if (m_bDNScheme.load()) {
        const int nState = passDayNightState(*this, p_stRecord);
        switchIfNeeded(dayNightScheme(nState), p_stRecord);
        return;
    }

    if (!m_bTimeScheme.load()) {
        return;
    }

    int nRet = judgeScheme(nScheme, nSchedule, &p_stRecord);
    SENSOR_ASSERT_T(SNS_SUCCESS == nRet, "SNS_SUCCESS == judgeCurScheme(nScheme, nSchedule)", "nScheme(%d)\n",
                    nScheme);
    p_stRecord.schedule = nSchedule;

    if (!m_bLprMode.load()) {
        switchIfNeeded(nScheme, p_stRecord);
        return;
    }
    plateRecognitionPass(nScheme, nSchedule, p_stRecord);
}

// Plate recognition: the timed schemes take precedence over day/night;
// entering a window forces a full apply, and outside every window the day
// (0) or night (1) scheme is applied in full with day/night mode 0.
void ISensorController::plateRecognitionPass(int nScheme, int nSchedule, tarnix::DecisionRecord& p_stRecord) {
    int nRet = SNS_SUCCESS;
    const u32 nLastSchedule = m_nLastSchedule.load();
    if (nSchedule != 0) {
        p_stRecord.selected = nScheme;
        if (static_cast<u32>(nSchedule) == nLastSchedule && nScheme == m_nCurScheme.load()) {
            return;
        }
        if (isBusy()) {
            noteBusy(p_stRecord, m_nStatusFlags.load());
            return;
        }
        if (static_cast<u32>(nSchedule) == nLastSchedule) {
            // Still inside a window, but another scheme is current.
            nRet = switch_to(nScheme, false);
            noteSwitch(p_stRecord, false);
            SENSOR_ASSERT_T(SNS_SUCCESS == nRet, "SNS_SUCCESS == switch_to(nScheme)", "nScheme(%d)\n", nScheme);
        } else {
            // The window has just begun.
            nRet = switch_to(nScheme, true);
            noteSwitch(p_stRecord, true);
            SENSOR_ASSERT_T(SNS_SUCCESS == nRet, "SNS_SUCCESS == switch_to(nScheme, true)", "nScheme(%d)\n",
                            nScheme);
        }
    } else {
        const int nState = passDayNightState(*this, p_stRecord);
        nScheme = dayNightScheme(nState);
        p_stRecord.selected = nScheme;
        if (nLastSchedule == 0 && nScheme == m_nCurScheme.load()) {
            return;
        }
        if (isBusy()) {
            noteBusy(p_stRecord, m_nStatusFlags.load());
            return;
        }
        LPR_switch_to(nScheme);
        noteSwitch(p_stRecord, true);
        p_stRecord.dnModeZeroed = true;
    }
    m_nLastSchedule = static_cast<u32>(nSchedule);
    p_stRecord.lastScheduleAfter = static_cast<u32>(nSchedule);
}

int ISensorController::SensorCheck(std::string& str) {
    std::vector<std::string> vecItems;
    if (!parseSensorParameter(str, vecItems)) {
        std::printf("%s%d getParameters fail p_strIds = %s \n", "ISensorController.cpp", __LINE__, str.c_str());
        return 0;
    }
    // Three numbers are expected; missing ones count as 0.
    auto number = [&vecItems](size_t p_nIndex) -> u32 {
        return p_nIndex < vecItems.size() ? static_cast<u32>(std::atoi(vecItems[p_nIndex].c_str())) : 0u;
    };

    ia_sync_check_st stRecord;
    stRecord.a = number(0);
    stRecord.b = number(1);
    stRecord.c = number(2);
    stRecord.result = 0;

    const bool bRead = (stRecord.b == 2);
    int nRet = ia_ioctrl_v2(m_nCameraID - 1, IA_CMD_SYNC_CHECK, bRead ? IA_CMD_OPT_GET : IA_CMD_OPT_SET, &stRecord);
    if (bRead) {
        char szAnswer[16];
        std::snprintf(szAnswer, sizeof(szAnswer), "%d", static_cast<int>(stRecord.result));
        str = szAnswer;
    }
    return nRet;
}
