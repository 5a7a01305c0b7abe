#pragma once
// The live controller behind the settings page: one ISensorController on a
// device root, initialised as the shell does (POSIX port, simulated ISP,
// sensor thread running), with its activity log, the watch that notices
// scheme switches, and the state the page shows (scheme mode, clock,
// day/night). Host actions run one at a time; reads run alongside each
// other; both go through the controller's own locking.
#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <nlohmann/json.hpp>

#include "controller/ISensorController.h"
#include "tools/sensorctl/Device.h"
#include "tools/sensorctl/serve/ActivityLog.h"

namespace sensorctl {
namespace serve {

// Scheme modes as the value of KEY_SCHEME_MODE (8000) in scheme 0 sets them.
constexpr int kSchemeModeUnknown = -1;
constexpr int kSchemeModeOff = 0;
constexpr int kSchemeModeTimePlan = 1;
constexpr int kSchemeModeDayNight = 2;
// Name of a scheme mode: "off", "time plan", "day/night" or "unknown".
const char* schemeModeName(int p_nMode);

// Shared/exclusive hold on the controller object: shared while it is used,
// exclusive while it is replaced. A waiting exclusive hold goes first, so
// a stream of readers cannot keep a reload waiting.
class ControllerHold {
public:
    void lockShared();
    void unlockShared();
    void lock();
    void unlock();

private:
    std::mutex m_mutex;
    std::condition_variable m_cond;
    int m_nReaders = 0;
    int m_nWaitingWriters = 0;
    bool m_bWriter = false;
};

class LiveChannel {
public:
    // The outcome of a host action: what the action returns (JSON) and the
    // ISP calls and notifications it caused.
    struct Outcome {
        nlohmann::json result;
        Capture capture;
    };
    using Action = std::function<nlohmann::json(ISensorController&)>;
    using Read = std::function<void(ISensorController&)>;

    // Initialises the controller of the device's channel and starts the
    // switch watch. The log must outlive the channel.
    LiveChannel(Device& p_objDevice, ActivityLog& p_objLog);
    // Stops the watch and shuts the controller down (uinit).
    ~LiveChannel();
    LiveChannel(const LiveChannel&) = delete;
    LiveChannel& operator=(const LiveChannel&) = delete;

    Device& device() { return m_objDevice; }
    ActivityLog& log() { return m_objLog; }

    // Runs p_fnRead on the controller alongside other reads and actions. The
    // ISP calls it makes are logged as one read entry named p_strWhat.
    void read(const std::string& p_strWhat, const Read& p_fnRead);
    // Runs a host action: one at a time, its ISP calls and notifications
    // captured and logged as one entry named p_strAction with p_strDetail.
    // A scheme switch is the host's only when the action says so (below);
    // any other change of the scheme is the sensor thread's.
    Outcome act(const std::string& p_strAction, const std::string& p_strDetail, const Action& p_fnAction);
    // Inside an action, around the host's own switch (setParamScheme,
    // resetParameters): a change made before it is the sensor thread's, the
    // one it makes the host's. p_nTo: the scheme the host's call put in
    // force (-1: the current one), so that a switch of the sensor thread
    // right after it is not taken for the host's.
    void beforeHostSwitch(ISensorController& p_objController);
    void afterHostSwitch(ISensorController& p_objController, int p_nTo = -1);
    // setParameters(text, true) inside an action. When the text holds the
    // scheme mode (key 8000), switching is held for the call so that the
    // scheme the record meets is known: the mode takes effect in scheme 0.
    int applyText(ISensorController& p_objController, const std::string& p_strText, bool p_bHasSchemeMode);
    // resetParameters inside an action, keeping the scheme mode known.
    bool resetChannel(ISensorController& p_objController);
    // Re-initialises the channel as an action: the module configuration is
    // read again and a new controller is initialised on the root's files
    // (style, diversity, scheme files). Throws ToolError, changing nothing,
    // when the module configuration cannot be read.
    Outcome reload();

    // Inside an action: the device clock, fixed at HH:MM or the host's
    // local time; the simulated ISP's day/night state (command 153: 0 day,
    // 1 night).
    void fixClock(int p_nHour, int p_nMinute);
    void releaseClock();
    void setNight(bool p_bNight);

    // What the status bar shows.
    nlohmann::json state();
    // Number of user schemes (the factory scheme has this number).
    u32 schemeCount();

    // Number of value changes seen (host actions and scheme switches); the
    // page reloads the values when it changes.
    uint64_t generation() const { return m_nGeneration.load(); }

private:
    void startController();
    void stopController();
    // A changed scheme is logged as a switch by p_szBy.
    void noteSwitch(ISensorController& p_objController, const char* p_szBy);
    // Logs the host switches an action recorded.
    void logHostSwitches();
    // The scheme mode as init found it in scheme 0's file.
    void readSchemeModeFromFile();
    void watchLoop();

    Device& m_objDevice;
    ActivityLog& m_objLog;
    ActivityVideo m_objVideo;
    std::unique_ptr<ISensorController> m_pController;
    ControllerHold m_objHold;
    // Serialises host actions with each other and with the switch watch.
    std::mutex m_actionMutex;

    // Guarded by m_actionMutex.
    int m_nKnownScheme = -1;
    std::vector<std::pair<int, int>> m_vecHostSwitches;   // (from, to) of the running action
    bool m_bClockFixed = false;
    int m_nClockHour = 0;
    int m_nClockMinute = 0;

    std::atomic<int> m_nSchemeMode{kSchemeModeUnknown};
    std::atomic<uint64_t> m_nGeneration{0};
    std::atomic<uint64_t> m_nStyleGeneration{0};
    std::atomic<uint64_t> m_nSwitches{0};

    std::thread m_objWatch;
    std::mutex m_watchMutex;
    std::condition_variable m_watchCond;
    bool m_bStopWatch = false;
};

} // namespace serve
} // namespace sensorctl
