#pragma once
// The sample box camera (devices/box) for the day-in-the-life benchmark and
// the CI gate programs: a private copy of its device tree as the device root,
// its simulator profile loaded, its module configuration read, and helpers
// to drive channel 1 of it from the program's own thread.
#include <string>
#include <vector>

#include "controller/ISensorController.h"
#include "platform/ModuleConfigure.h"

namespace tarnix_bench {

class BoxCamera {
public:
    // p_strRoot: the directory to use as the device root (emptied and filled
    // with a fresh copy of the tree); empty: a new temporary directory,
    // removed again by the destructor unless TARNIX_KEEP_ROOT is set.
    // TARNIX_BENCH_DEVICES names another devices/ directory. Exits with a
    // one-line message when the tree cannot be laid down.
    explicit BoxCamera(const std::string& p_strRoot = "");
    ~BoxCamera();
    BoxCamera(const BoxCamera&) = delete;
    BoxCamera& operator=(const BoxCamera&) = delete;

    const ModuleConfigure& module() const { return m_objModule; }
    const std::string& root() const { return m_strRoot; }
    // Host path of a device path.
    std::string host(const std::string& p_strDevicePath) const { return m_strRoot + p_strDevicePath; }
    // The simulated ISP in its power-on state, call log empty.
    void resetIsp() const;

private:
    std::string m_strRoot;
    bool m_bTemporary = false;
    ModuleConfigure m_objModule;
};

// Stops the controller's "SensorThread" (it stays stopped until the next
// init), so that the program can run the passes itself, one per simulated
// second, in a fixed order with its host actions.
void stopSensorThread(ISensorController& p_controller);

// init of channel 1, after which "SensorThread" is stopped before it ran a
// single pass: waits last their full second during init, so the thread that
// init starts at its end is still in its first wait when it is stopped (and
// no pass of it changes the heap or the counts of what follows). The time
// scale is left at 1. Exits with a message when init fails.
void initWithoutThread(ISensorController& p_controller, const BoxCamera& p_camera);

// A first start of the camera (init and uinit of channel 1, as above): the
// scheme files and the version stamp are written, so that later inits find
// an up-to-date device.
void firstStart(const BoxCamera& p_camera);

// A copy of the cache row of a scheme (the factory row is schemeCount()).
std::vector<KeyVal> schemeRow(ISensorController& p_controller, u32 p_nScheme);
// Number of user schemes of the channel.
u32 schemeCount(ISensorController& p_controller);

// Keys the library keeps in the scheme cache only (the scheme's mode and
// window, the empty keys): they never reach the ISP.
bool isStoredOnlyKey(u32 p_nKey);

// Standard output goes to /dev/null (the library prints there); the
// returned descriptor is the original standard output, for the report.
// Returns -1 (with a message on stderr) when that cannot be arranged.
int quietStdout();

} // namespace tarnix_bench
