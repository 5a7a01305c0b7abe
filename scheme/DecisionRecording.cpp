// The controller's side of the scheme decision records: starting a record
// with the policy in force, noting a switch, handing the record to the
// history and the observer, and the host's calls that set the observer and
// read the history.
#define SNS_SOURCE_FILE "ISensorController.cpp"
#include "controller/ApplyGate.h"
#include "controller/ISensorController.h"
#include "platform/PXDeviceTime.h"
#include "scheme/DecisionLog.h"

tarnix::DecisionRecord ISensorController::startDecision(tarnix::DecisionSource p_eSource) const {
    tarnix::DecisionRecord stRecord;
    stRecord.source = p_eSource;
    // With both policy flags set, day/night is the one that acts.
    if (m_bDNScheme.load()) {
        stRecord.policy = tarnix::SchemePolicy::DayNight;
    } else if (m_bTimeScheme.load()) {
        stRecord.policy = tarnix::SchemePolicy::TimePlan;
    }
    stRecord.lprDevice = m_bLprMode.load();
    stRecord.mode = m_nMode.load();
    stRecord.schemeCount = m_nSchemeSumSeen.load();
    stRecord.from = m_nCurScheme.load();
    stRecord.to = stRecord.from;
    stRecord.lastSchedule = m_nLastSchedule.load();
    stRecord.lastScheduleAfter = stRecord.lastSchedule;
    return stRecord;
}

void ISensorController::noteSwitch(tarnix::DecisionRecord& p_stRecord, bool p_bForced) {
    p_stRecord.outcome = tarnix::DecisionOutcome::Switched;
    p_stRecord.to = m_nCurScheme.load();
    p_stRecord.forced = p_bForced;
    p_stRecord.ispCalls = m_nSwitchIspCalls;
}

void ISensorController::endDecision(tarnix::DecisionRecord& p_stRecord) {
    tarnix::DecisionLog& objLog = *m_pDecisions;
    if (!objLog.wanted()) {
        return;
    }
    if (!p_stRecord.windowsRead) {
        // The time plan stamps the clock it compared; every other decision
        // is stamped here.
        p_stRecord.time = PXDeviceTime::getCurrentTime();
    }
    objLog.add(p_stRecord);
    deliverDecisions();
}

void ISensorController::deliverDecisions() {
    if (!m_pDecisions->observed() || testFlag(FLAG_INITING) || !tarnix::ApplyGate::instance().heldByThisThread()) {
        return;
    }
    m_pDecisions->deliver();
}

bool ISensorController::insideOwnDecisionObserver() const { return tarnix::DecisionLog::insideObserverOf(this); }

void ISensorController::setDecisionObserver(std::function<void(const tarnix::DecisionRecord&)> p_fnObserver) {
    // Records are delivered only by the gate's owner: once the gate is held
    // here, no other thread is inside the old observer.
    tarnix::GateLock objGate;
    m_pDecisions->setObserver(std::move(p_fnObserver));
}

void ISensorController::setDecisionHistorySize(u32 p_nRecords) { m_pDecisions->setHistorySize(p_nRecords); }

std::vector<tarnix::DecisionRecord> ISensorController::getDecisionHistory() const { return m_pDecisions->history(); }
