#pragma once
// Replays time on a live controller: sets the device clock (and the
// simulated ISP's day/night state), lets one sensor pass decide, and hands
// back the decision record of that moment.
//
// While a replay lasts, automatic switching is suspended between the
// moments it replays: the clock and the day/night state change together,
// then switching is turned on for the one pass that decides and off again.
// So the controller's own "SensorThread" never decides on half a moment.
// The pass of each moment runs on the calling thread without the sensor
// thread's one-second sleep. A controller whose switching the host has
// suspended (mode 0) stays suspended: every pass then holds.
//
// At the end the mode, the time scale and the day/night state are put back
// and the replay's observer is removed; the device clock is left to the
// caller.
#include <mutex>
#include <vector>

#include "tools/sensorctl/Device.h"

namespace sensorctl {

class SchemeReplay {
public:
    explicit SchemeReplay(Session& p_objSession);
    ~SchemeReplay();
    SchemeReplay(const SchemeReplay&) = delete;
    SchemeReplay& operator=(const SchemeReplay&) = delete;

    // The decision at hour:minute (a negative hour keeps the clock as it is)
    // with the day/night state p_nDayNight (0 day, 1 night; negative keeps
    // the ISP's state). Of the passes that decided at that moment, the one
    // that switched, if any; otherwise the last.
    tarnix::DecisionRecord decideAt(int p_nHour, int p_nMinute, int p_nDayNight);

    // The ISP's day/night state now (command 153 of the controller's channel).
    int dayNightState() const;

private:
    // The records the observer collected after sequence p_nAfter.
    std::vector<tarnix::DecisionRecord> recordsAfter(unsigned long long p_nAfter);
    // The sequence of the latest record of the source collected so far.
    unsigned long long latest(tarnix::DecisionSource p_eSource);
    // A sensor pass on this thread, repeated until it decided.
    void passOnThisThread();

    Session& m_objSession;
    int m_nModeBefore = 1;
    double m_dScaleBefore = 0.01;
    uint32_t m_nDayNightBefore = 0;
    bool m_bDayNightKnown = false;
    std::mutex m_mutex;
    std::vector<tarnix::DecisionRecord> m_vecRecords; // guarded by m_mutex
};

} // namespace sensorctl
