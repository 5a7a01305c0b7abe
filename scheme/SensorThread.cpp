// The background pass of "SensorThread": once a second it carries out a
// pending cross-channel field-of-view sync and keeps the scheme in force in
// line with the day/night state of the ISP or with the time schedule. Also
// SensorCheck, a raw ISP query by text for diagnosis.
#define SNS_SOURCE_FILE "ISensorController.cpp"
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "controller/ISensorController.h"
#include "platform/QuorvelTime.h"

namespace {

// The one cross-channel action: bring the visible lens to the thermal field of view.
const int kKeySyncFov = 8104;

// Scheme 0 serves as the day scheme, scheme 1 as the night scheme.
int dayNightScheme(int p_nState) { return p_nState == 0 ? 0 : 1; }

} // namespace

int ISensorController::sensorThread() {
    // While a reset runs the pass does not sleep.
    if (!testFlag(FLAG_RESETTING)) {
        QuorvelTime::wait(QuorvelTime(1, 0));
    }
    // A host that is applying parameters holds the gate: the thread never
    // waits for it, the switch is simply decided again next second.
    std::unique_lock<std::recursive_mutex> gate(m_applyGate, std::try_to_lock);
    if (!gate.owns_lock()) {
        // During a reset the pass skips its sleep; a short pause here keeps
        // the thread from spinning on the gate until the reset is done.
        if (testFlag(FLAG_RESETTING)) {
            QuorvelTime::wait(QuorvelTime(0, 50000));
        }
        return 0;
    }
    sensorPass();
    return 0;
}

// A non-forced switch to nScheme unless it is already current or a busy
// flag holds scheme changes back.
void ISensorController::switchIfNeeded(int nScheme) {
    if (nScheme == m_nCurScheme.load() || isBusy()) {
        return;
    }
    SENSOR_ASSERT_T(SNS_SUCCESS == switch_to(nScheme, false), "SNS_SUCCESS == switch_to(nScheme)", "nScheme(%d)\n",
                    nScheme);
}

void ISensorController::sensorPass() {
    // Pending action posted by any channel's doIoCrtl; it belongs to one channel.
    if (m_nCameraID == m_nChanneldDosomething.load()) {
        if (m_nPassKeycmd.load() == kKeySyncFov) {
            sync_fov();
        }
        m_nChanneldDosomething = -1;
        m_nPassKeycmd = -1;
    }

    if (m_nMode.load() == 0) {
        return;
    }

    int nScheme = 0;
    int nSchedule = 0;

    // Day/night policy: it takes precedence over the time schedule.
    if (m_bDNScheme.load()) {
        int nState = 0;
        if (!getDNState(nState)) {
            nState = 0; // a failed read counts as day
        }
        switchIfNeeded(dayNightScheme(nState));
        return;
    }

    if (!m_bTimeScheme.load()) {
        return;
    }

    SENSOR_ASSERT_T(SNS_SUCCESS == judgeCurScheme(nScheme, nSchedule),
                    "SNS_SUCCESS == judgeCurScheme(nScheme, nSchedule)", "nScheme(%d)\n", nScheme);

    if (!m_bLprMode) {
        switchIfNeeded(nScheme);
        return;
    }

    // Plate recognition: the timed schemes take precedence over day/night;
    // entering a window forces a full apply, and outside every window the
    // day (0) or night (1) scheme is applied in full with day/night mode 0.
    if (nSchedule != 0) {
        if (static_cast<u32>(nSchedule) == m_nLastSchedule && nScheme == m_nCurScheme.load()) {
            return;
        }
        if (isBusy()) {
            return;
        }
        if (static_cast<u32>(nSchedule) == m_nLastSchedule) {
            // Still inside a window, but another scheme is current.
            SENSOR_ASSERT_T(SNS_SUCCESS == switch_to(nScheme, false), "SNS_SUCCESS == switch_to(nScheme)",
                            "nScheme(%d)\n", nScheme);
        } else {
            // The window has just begun.
            SENSOR_ASSERT_T(SNS_SUCCESS == switch_to(nScheme, true), "SNS_SUCCESS == switch_to(nScheme, true)",
                            "nScheme(%d)\n", nScheme);
        }
    } else {
        int nState = 0;
        if (!getDNState(nState)) {
            nState = 0;
        }
        nScheme = dayNightScheme(nState);
        if (m_nLastSchedule == 0 && nScheme == m_nCurScheme.load()) {
            return;
        }
        if (isBusy()) {
            return;
        }
        LPR_switch_to(nScheme);
    }
    m_nLastSchedule = static_cast<u32>(nSchedule);
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
