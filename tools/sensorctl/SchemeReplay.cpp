// Replaying moments of the device clock on a live controller.
#include "tools/sensorctl/SchemeReplay.h"

#include <chrono>
#include <thread>

#include "platform/ia_ioctrl.h"
#include "platform/posix/PlatformControl.h"
#include "tools/sensorctl/Output.h"

namespace sensorctl {

namespace {

// Time scale between the replayed moments: the controller's own thread
// sleeps a real second between its passes, so it seldom runs one.
constexpr double kQuietScale = 1.0;
// A pass that could not get the controller is repeated this often at most.
constexpr int kPassAttempts = 10000;
// Pause before such a repeat.
constexpr std::chrono::microseconds kRetryPause(200);

} // namespace

SchemeReplay::SchemeReplay(Session& p_objSession) : m_objSession(p_objSession) {
    ISensorController& ctl = m_objSession.controller();
    ctl.setDecisionObserver([this](const tarnix::DecisionRecord& r) {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_vecRecords.push_back(r);
    });
    ctl.getParamMode(m_nModeBefore);
    m_dScaleBefore = platform::timeScale();
    m_bDayNightKnown = ispsim::getValue(m_objSession.device().ispChannel(), IA_CMD_DN_STATE, m_nDayNightBefore);
    platform::setTimeScale(kQuietScale);
    if (m_nModeBefore != 0) {
        ctl.setParamMode(0);
    }
}

SchemeReplay::~SchemeReplay() {
    ISensorController& ctl = m_objSession.controller();
    ctl.setDecisionObserver(nullptr);
    if (m_bDayNightKnown) {
        ispsim::setValue(m_objSession.device().ispChannel(), IA_CMD_DN_STATE, m_nDayNightBefore);
    }
    if (m_nModeBefore != 0) {
        ctl.setParamMode(m_nModeBefore);
    }
    platform::setTimeScale(m_dScaleBefore);
}

int SchemeReplay::dayNightState() const {
    uint32_t nValue = 0;
    ispsim::getValue(m_objSession.device().ispChannel(), IA_CMD_DN_STATE, nValue);
    return nValue == 0 ? 0 : 1;
}

std::vector<tarnix::DecisionRecord> SchemeReplay::recordsAfter(unsigned long long p_nAfter) {
    std::lock_guard<std::mutex> lock(m_mutex);
    std::vector<tarnix::DecisionRecord> vecOut;
    for (const tarnix::DecisionRecord& r : m_vecRecords) {
        if (r.sequence > p_nAfter) {
            vecOut.push_back(r);
        }
    }
    return vecOut;
}

unsigned long long SchemeReplay::latest(tarnix::DecisionSource p_eSource) {
    std::lock_guard<std::mutex> lock(m_mutex);
    for (auto it = m_vecRecords.rbegin(); it != m_vecRecords.rend(); ++it) {
        if (it->source == p_eSource) {
            return it->sequence;
        }
    }
    return 0;
}

void SchemeReplay::passOnThisThread() {
    ISensorController& ctl = m_objSession.controller();
    // Without the one-second sleep; the controller's thread, if it wakes
    // meanwhile, runs a pass or two more, which decide alike.
    platform::setTimeScale(0);
    for (int i = 0; i < kPassAttempts; ++i) {
        const unsigned long long nBefore = latest(tarnix::DecisionSource::SensorPass);
        ctl.sensorThread();
        bool bDecided = false;
        for (const tarnix::DecisionRecord& r : recordsAfter(nBefore)) {
            bDecided = bDecided || (r.source == tarnix::DecisionSource::SensorPass &&
                                    r.outcome != tarnix::DecisionOutcome::Postponed);
        }
        if (bDecided) {
            break;
        }
        // The controller's thread owns the gate: give it time to finish
        // rather than filling the record queue with postponed passes.
        std::this_thread::sleep_for(kRetryPause);
    }
    platform::setTimeScale(kQuietScale);
}

tarnix::DecisionRecord SchemeReplay::decideAt(int p_nHour, int p_nMinute, int p_nDayNight) {
    ISensorController& ctl = m_objSession.controller();
    if (p_nHour >= 0) {
        platform::setClock(p_nHour, p_nMinute);
    }
    if (p_nDayNight >= 0) {
        ispsim::setValue(m_objSession.device().ispChannel(), IA_CMD_DN_STATE, p_nDayNight == 0 ? 0u : 1u);
    }
    unsigned long long nFrom = 0;
    if (m_nModeBefore != 0) {
        ctl.setParamMode(m_nModeBefore);
        nFrom = latest(tarnix::DecisionSource::SetMode);
    } else {
        nFrom = latest(tarnix::DecisionSource::SensorPass);
    }
    passOnThisThread();
    if (m_nModeBefore != 0) {
        ctl.setParamMode(0);
    }
    // The passes between the two mode changes decided at this moment.
    tarnix::DecisionRecord stDecision;
    bool bFound = false;
    for (const tarnix::DecisionRecord& r : recordsAfter(nFrom)) {
        if (r.source != tarnix::DecisionSource::SensorPass || r.outcome == tarnix::DecisionOutcome::Postponed ||
            (m_nModeBefore != 0 && r.mode == 0)) {
            continue;
        }
        if (!bFound || stDecision.outcome != tarnix::DecisionOutcome::Switched) {
            stDecision = r;
            bFound = true;
        }
    }
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_vecRecords.clear();
    }
    if (!bFound) {
        runtimeError("no sensor pass could decide: the controller stayed busy");
    }
    return stDecision;
}

} // namespace sensorctl
