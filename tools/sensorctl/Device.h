#pragma once
// A device root on disk driven like a camera: the platform pointed at it,
// the simulated ISP loaded from its profile and from the values kept from
// earlier runs, the module configuration read from its files, and a live
// controller with a recording video module.
#include <map>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "controller/ISensorController.h"
#include "ispsim/ispsim.h"
#include "platform/MachineInfo.h"
#include "platform/ModuleConfigure.h"
#include "platform/VideoStreamModule.h"
#include "tools/sensorctl/Args.h"

namespace sensorctl {

// Profile of the simulated ISP inside a device root, and the file in which
// sensorctl keeps the ISP's values between runs (same format).
#define SENSORCTL_PROFILE_FILE "/isp/profile.conf"
#define SENSORCTL_STATE_FILE "/isp/state.conf"
// The library's console output of the last run, inside a device root.
#define SENSORCTL_LOG_FILE "/sensorctl.log"

class Device {
public:
    // Checks the root, points the platform at it, sets time scale and clock,
    // loads the ISP profile and the kept ISP state, reads the machine
    // description and the module configuration. Throws ToolError.
    explicit Device(const Options& p_stOptions);

    const std::string& root() const { return m_strRoot; }
    // Host path of a device path.
    std::string hostPath(const std::string& p_strDevicePath) const { return m_strRoot + p_strDevicePath; }
    int channel() const { return m_nChannel; }
    // The channel number the controller works with (a two-sensor thermal
    // model drives channel 2 whatever channel is asked for).
    int cameraId() const;
    // Zero-based ISP channel of the controller.
    int ispChannel() const { return cameraId() - 1; }
    bool thermal() const;
    // Number of user schemes ("max_scheme" of the module detail, default 4).
    u32 schemeCount() const;
    // Device path of scheme s's parameter file.
    std::string schemeFile(int p_nScheme) const;
    const MachineInfo& machine() const { return m_objMachine; }
    const ModuleConfigure& module() const { return m_objModule; }

    // Reads the machine description and the module configuration of the root
    // again (the constructor does it once). Throws ToolError and then keeps
    // what it had.
    void readModuleConfiguration();

    // Writes the ISP values that differ from the profile into the state file
    // (removes it when none differ).
    void saveIspState();

private:
    using Snapshot = std::map<std::pair<int, unsigned int>, uint32_t>;
    static Snapshot snapshot();
    std::string resolveRoot(const Options& p_stOptions) const;
    void loadIsp();
    void readModule();

    std::string m_strRoot;
    int m_nChannel;
    MachineInfo m_objMachine;
    ModuleConfigure m_objModule;
    Snapshot m_mapProfileValues;   // the ISP as the profile alone sets it
};

// The video module sensorctl hands to the controller: answers with neutral
// values and records every notification.
class RecordingVideo : public VideoStreamModule {
public:
    struct Notification {
        int channel;
        int key;
        int value;
    };
    int notifySensorParam(int channel, int key, int value) const override;
    int getVideoStreamParams(int channel, std::vector<AVStreamParam>& streams) const override;
    int getLimitedFramesWDRModeParam(int channel, LimitedFramesWDRModeParam& param) const override;
    int getFisheyeRotate(int channel, int* value) const override;
    int isBusy() const override;
    // Notifications since the last call.
    std::vector<Notification> drain();

private:
    mutable std::mutex m_mutex;
    mutable std::vector<Notification> m_vecNotifications;
};

// One initialised controller on the device's channel; uinit on destruction.
class Session {
public:
    explicit Session(Device& p_objDevice);
    ~Session();
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    ISensorController& controller() { return m_objController; }
    Device& device() { return m_objDevice; }
    // Prints the ISP calls and video notifications since the last call.
    // Returns the number of lines printed.
    size_t printLog();
    // Forgets the ISP calls and notifications made so far; returns how many
    // ISP calls (and set calls among them) and notifications it dropped.
    void skipLog(size_t& p_nCalls, size_t& p_nSets, size_t& p_nNotifications);
    // Whether the narrowed settings page allows the value for the key: within
    // the item's min and max, or one of its choices. True for keys the page
    // does not show; when false, p_strAllowed says how the value misses
    // ("outside the range 0 to 100", "not one of the choices 0, 1").
    bool valueAllowed(u32 p_nKey, int p_nValue, std::string& p_strAllowed);

private:
    // What the settings page allows for one item.
    struct ValueLimits {
        bool bRange = false;
        int nMin = 0;
        int nMax = 0;
        std::vector<int> vecChoices;
    };

    std::vector<ispsim::Call> newCalls();
    // The limits of every item of the narrowed style, read once. The ISP
    // calls the narrowing makes are left out of the log.
    const std::map<u32, ValueLimits>& valueLimits();

    Device& m_objDevice;
    RecordingVideo m_objVideo;
    ISensorController m_objController;
    size_t m_nCallsSeen = 0;
    std::vector<ispsim::Call> m_vecPendingCalls; // calls not yet shown, kept across a left-out stretch
    bool m_bLimitsRead = false;
    std::map<u32, ValueLimits> m_mapLimits;
};

// Name of a key for listings ("-" when it has none).
const char* nameOrDash(const char* p_szName);

} // namespace sensorctl
