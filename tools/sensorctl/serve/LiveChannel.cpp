// The live controller behind the settings page.
#include "tools/sensorctl/serve/LiveChannel.h"

#include <sys/stat.h>

#include <chrono>
#include <cstring>
#include <fstream>
#include <vector>

#include "controller/KeyCatalogue.h"
#include "platform/ia_ioctrl.h"
#include "platform/posix/PlatformControl.h"
#include "tools/sensorctl/Output.h"

namespace sensorctl {
namespace serve {

namespace {

// How often the watch looks at the current scheme (host time, not scaled:
// a sensor-thread pass takes 10 ms at sensorctl's default time scale).
constexpr std::chrono::milliseconds kWatchPeriod(20);
constexpr unsigned long kPollsPerLogClear = 50;
// Far above any scheme file; a bigger file is not read.
constexpr off_t kMaxSchemeFileBytes = 1 << 20;

// Holds ControllerHold shared (or exclusive) for a scope.
class SharedHold {
public:
    explicit SharedHold(ControllerHold& p_objHold) : m_objHold(p_objHold) { m_objHold.lockShared(); }
    ~SharedHold() { m_objHold.unlockShared(); }
    SharedHold(const SharedHold&) = delete;
    SharedHold& operator=(const SharedHold&) = delete;

private:
    ControllerHold& m_objHold;
};

class ExclusiveHold {
public:
    explicit ExclusiveHold(ControllerHold& p_objHold) : m_objHold(p_objHold) { m_objHold.lock(); }
    ~ExclusiveHold() { m_objHold.unlock(); }
    ExclusiveHold(const ExclusiveHold&) = delete;
    ExclusiveHold& operator=(const ExclusiveHold&) = delete;

private:
    ControllerHold& m_objHold;
};

int currentScheme(ISensorController& p_objController) {
    int nScheme = -1;
    p_objController.getParamScheme(nScheme);
    return nScheme;
}

} // namespace

const char* schemeModeName(int p_nMode) {
    switch (p_nMode) {
    case kSchemeModeUnknown:
        return "unknown";
    case kSchemeModeTimePlan:
        return "time plan";
    case kSchemeModeDayNight:
        return "day/night";
    default:
        // Any other value switches nothing.
        return "off";
    }
}

// ---------------------------------------------------------------- ControllerHold

void ControllerHold::lockShared() {
    std::unique_lock<std::mutex> lock(m_mutex);
    m_cond.wait(lock, [this] { return !m_bWriter && m_nWaitingWriters == 0; });
    ++m_nReaders;
}

void ControllerHold::unlockShared() {
    std::lock_guard<std::mutex> lock(m_mutex);
    if (--m_nReaders == 0) {
        m_cond.notify_all();
    }
}

void ControllerHold::lock() {
    std::unique_lock<std::mutex> lock(m_mutex);
    ++m_nWaitingWriters;
    m_cond.wait(lock, [this] { return !m_bWriter && m_nReaders == 0; });
    --m_nWaitingWriters;
    m_bWriter = true;
}

void ControllerHold::unlock() {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_bWriter = false;
    m_cond.notify_all();
}

// ---------------------------------------------------------------- LiveChannel

LiveChannel::LiveChannel(Device& p_objDevice, ActivityLog& p_objLog)
    : m_objDevice(p_objDevice), m_objLog(p_objLog), m_objVideo(p_objLog) {
    Capture capture;
    {
        ActivityLog::CaptureScope scope(capture);
        startController();
    }
    m_nKnownScheme = currentScheme(*m_pController);
    m_objLog.addAction("init", format("channel %d of %s, scheme %d", m_objDevice.cameraId(),
                                      m_objDevice.root().c_str(), m_nKnownScheme),
                       nullptr, capture);
    m_objWatch = std::thread([this] { watchLoop(); });
}

LiveChannel::~LiveChannel() {
    {
        std::lock_guard<std::mutex> lock(m_watchMutex);
        m_bStopWatch = true;
    }
    m_watchCond.notify_all();
    if (m_objWatch.joinable()) {
        m_objWatch.join();
    }
    std::lock_guard<std::mutex> lock(m_actionMutex);
    ExclusiveHold hold(m_objHold);
    Capture capture;
    ActivityLog::CaptureScope scope(capture);
    stopController();
}

void LiveChannel::startController() {
    m_pController.reset(new ISensorController());
    m_pController->setChannelID(m_objDevice.channel());
    m_pController->setVideoStreamModule(&m_objVideo);
    m_pController->init(m_objDevice.module());
    readSchemeModeFromFile();
}

void LiveChannel::stopController() {
    if (m_pController) {
        m_pController->uinit();
        m_pController.reset();
    }
}

void LiveChannel::readSchemeModeFromFile() {
    // init takes the scheme mode from scheme 0's file; the cache of scheme 0
    // holds it from then on, but only while scheme 0 is current can it be read
    // through the controller.
    int nMode = kSchemeModeUnknown;
    std::string strPath = m_objDevice.hostPath(m_objDevice.schemeFile(0));
    struct stat st;
    if (::stat(strPath.c_str(), &st) == 0 && S_ISREG(st.st_mode) && st.st_size <= kMaxSchemeFileBytes) {
        std::ifstream in(strPath, std::ios::binary);
        std::vector<char> bytes(static_cast<size_t>(st.st_size));
        in.read(bytes.data(), static_cast<std::streamsize>(bytes.size()));
        size_t nRecords = static_cast<size_t>(in.gcount()) / sizeof(KeyVal);
        for (size_t i = 0; i < nRecords; ++i) {
            KeyVal kv;
            std::memcpy(&kv, bytes.data() + i * sizeof(KeyVal), sizeof(KeyVal));
            if (kv.key == tarnix::keys::KEY_SCHEME_MODE) {
                nMode = static_cast<int>(kv.value);
                break;
            }
        }
    }
    if (nMode == kSchemeModeUnknown && currentScheme(*m_pController) == 0) {
        int nValue = 0;
        if (m_pController->getParameter(static_cast<int>(tarnix::keys::KEY_SCHEME_MODE), nValue)) {
            nMode = nValue;
        }
    }
    m_nSchemeMode = nMode;
}

void LiveChannel::read(const std::string& p_strWhat, const Read& p_fnRead) {
    SharedHold hold(m_objHold);
    Capture capture;
    {
        ActivityLog::CaptureScope scope(capture);
        p_fnRead(*m_pController);
    }
    if (!capture.calls.empty() || !capture.notes.empty()) {
        m_objLog.addAction(p_strWhat, "", nullptr, capture, true);
    }
}

LiveChannel::Outcome LiveChannel::act(const std::string& p_strAction, const std::string& p_strDetail,
                                      const Action& p_fnAction) {
    std::lock_guard<std::mutex> lock(m_actionMutex);
    SharedHold hold(m_objHold);
    // What changed since the watch last looked is the sensor thread's.
    noteSwitch(*m_pController, "sensor thread");
    Outcome outcome;
    {
        ActivityLog::CaptureScope scope(outcome.capture);
        outcome.result = p_fnAction(*m_pController);
    }
    m_objLog.addAction(p_strAction, p_strDetail, outcome.result, outcome.capture);
    logHostSwitches();
    ++m_nGeneration;
    return outcome;
}

int LiveChannel::applyText(ISensorController& p_objController, const std::string& p_strText, bool p_bHasSchemeMode) {
    if (!p_bHasSchemeMode) {
        return p_objController.setParameters(p_strText, true);
    }
    // Hold automatic switching for the call (a pass in progress ends first:
    // setParamMode waits for it), so that the sensor thread cannot move the
    // channel between the look at the scheme and the apply.
    int nMode = 1;
    p_objController.getParamMode(nMode);
    bool bHold = nMode == 1;
    if (bHold) {
        p_objController.setParamMode(0);
    }
    int nScheme = currentScheme(p_objController);
    int nRet = p_objController.setParameters(p_strText, true);
    if (nScheme == 0) {
        int nValue = 0;
        if (p_objController.getParameter(static_cast<int>(tarnix::keys::KEY_SCHEME_MODE), nValue)) {
            m_nSchemeMode = nValue;
        }
    }
    if (bHold) {
        p_objController.setParamMode(nMode);
    }
    return nRet;
}

bool LiveChannel::resetChannel(ISensorController& p_objController) {
    beforeHostSwitch(p_objController);
    bool bOk = p_objController.resetParameters();
    // A reset ends with scheme 0 in force.
    afterHostSwitch(p_objController, 0);
    // The reset's init rebuilt the scheme files from the factory values.
    readSchemeModeFromFile();
    ++m_nStyleGeneration;
    return bOk;
}

LiveChannel::Outcome LiveChannel::reload() {
    std::lock_guard<std::mutex> lock(m_actionMutex);
    ExclusiveHold hold(m_objHold);
    // Read first: a file that cannot be read leaves the running channel alone.
    m_objDevice.readModuleConfiguration();
    noteSwitch(*m_pController, "sensor thread");
    Outcome outcome;
    {
        ActivityLog::CaptureScope scope(outcome.capture);
        stopController();
        startController();
    }
    afterHostSwitch(*m_pController);
    int nScheme = currentScheme(*m_pController);
    outcome.result = {{"scheme", nScheme}, {"channel", m_objDevice.cameraId()}};
    m_objLog.addAction("reload", format("channel %d re-initialised, scheme %d", m_objDevice.cameraId(), nScheme),
                       outcome.result, outcome.capture);
    logHostSwitches();
    ++m_nStyleGeneration;
    ++m_nGeneration;
    return outcome;
}

void LiveChannel::beforeHostSwitch(ISensorController& p_objController) {
    noteSwitch(p_objController, "sensor thread");
}

void LiveChannel::afterHostSwitch(ISensorController& p_objController, int p_nTo) {
    // Called with m_actionMutex held, inside an action.
    int nScheme = p_nTo >= 0 ? p_nTo : currentScheme(p_objController);
    if (nScheme != m_nKnownScheme) {
        m_vecHostSwitches.emplace_back(m_nKnownScheme, nScheme);
        m_nKnownScheme = nScheme;
    }
}

void LiveChannel::logHostSwitches() {
    for (const auto& change : m_vecHostSwitches) {
        m_objLog.addSwitch(change.first, change.second, "host");
        ++m_nSwitches;
    }
    m_vecHostSwitches.clear();
}

void LiveChannel::noteSwitch(ISensorController& p_objController, const char* p_szBy) {
    // Called with m_actionMutex and a hold on the controller.
    int nScheme = currentScheme(p_objController);
    if (nScheme != m_nKnownScheme) {
        m_objLog.addSwitch(m_nKnownScheme, nScheme, p_szBy);
        m_nKnownScheme = nScheme;
        ++m_nSwitches;
        ++m_nGeneration;
    }
}

void LiveChannel::watchLoop() {
    unsigned long nPolls = 0;
    std::unique_lock<std::mutex> wait(m_watchMutex);
    while (!m_watchCond.wait_for(wait, kWatchPeriod, [this] { return m_bStopWatch; })) {
        wait.unlock();
        {
            std::lock_guard<std::mutex> lock(m_actionMutex);
            SharedHold hold(m_objHold);
            noteSwitch(*m_pController, "sensor thread");
        }
        // Nothing here reads the simulator's own call log (the activity log
        // gets every call as it happens); keep it from growing.
        if (++nPolls % kPollsPerLogClear == 0) {
            ispsim::clearCalls();
        }
        wait.lock();
    }
}

void LiveChannel::fixClock(int p_nHour, int p_nMinute) {
    platform::setClock(p_nHour, p_nMinute);
    m_bClockFixed = true;
    m_nClockHour = p_nHour;
    m_nClockMinute = p_nMinute;
}

void LiveChannel::releaseClock() {
    platform::clearClock();
    m_bClockFixed = false;
}

void LiveChannel::setNight(bool p_bNight) {
    ispsim::setValue(m_objDevice.ispChannel(), IA_CMD_DN_STATE, p_bNight ? 1u : 0u);
}

u32 LiveChannel::schemeCount() {
    // The device's configuration changes under a reload.
    SharedHold hold(m_objHold);
    return m_objDevice.schemeCount();
}

nlohmann::json LiveChannel::state() {
    std::lock_guard<std::mutex> lock(m_actionMutex);
    SharedHold hold(m_objHold);
    ISensorController& ctl = *m_pController;
    // A switch the watch has not seen yet is in the log before the state
    // that shows it.
    noteSwitch(ctl, "sensor thread");
    int nScheme = m_nKnownScheme;
    int nMode = -1;
    ctl.getParamMode(nMode);
    uint32_t nDayNight = 0;
    // A state never set reads as the ISP's power-on 0 (day).
    ispsim::getValue(m_objDevice.ispChannel(), IA_CMD_DN_STATE, nDayNight);
    int nSchemeMode = m_nSchemeMode.load();
    return {{"channel", m_objDevice.cameraId()},
            {"root", m_objDevice.root()},
            {"scheme", nScheme},
            {"userSchemes", m_objDevice.schemeCount()},
            {"factoryScheme", m_objDevice.schemeCount()},
            {"schemeMode", nSchemeMode},
            {"schemeModeName", schemeModeName(nSchemeMode)},
            {"mode", nMode},
            {"switching", nMode != 0 ? "on" : "suspended"},
            {"clock", deviceClockText()},
            {"clockFixed", m_bClockFixed},
            {"dayNight", nDayNight},
            {"dayNightName", nDayNight == 0 ? "day" : "night"},
            {"generation", m_nGeneration.load()},
            {"styleGeneration", m_nStyleGeneration.load()},
            {"switches", m_nSwitches.load()},
            {"logNext", m_objLog.nextSeq()}};
}

} // namespace serve
} // namespace sensorctl
