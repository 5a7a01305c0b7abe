// The development-host side of the host seam, built only with the POSIX
// port: --root DIR is the device root of the platform port (as for
// sensorctl), and the simulated ISP is loaded from <root>/isp/profile.conf
// or from --isp-profile FILE. The run uses the real clock at time scale 1;
// the port's fixed clock and time scale are offered to the fake-clock check.
#include <limits.h>
#include <stdlib.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "conformance/tool/Host.h"
#include "ispsim/ispsim.h"
#include "platform/posix/HostTree.h"
#include "platform/posix/PlatformControl.h"

namespace conformance {

namespace {

void setClock(int p_nHour, int p_nMinute) { platform::setClock(p_nHour, p_nMinute); }
void clearClock() { platform::clearClock(); }
void setTimeScale(double p_dScale) { platform::setTimeScale(p_dScale); }

} // namespace

void addHostOptions(CLI::App& p_objApp, HostOptions& p_stOptions) {
    p_objApp.add_option("--root", p_stOptions.root,
                        "device root directory (as for sensorctl; default: $TARNIX_ROOT)")
        ->type_name("DIR");
    p_objApp.add_option("--isp-profile", p_stOptions.ispProfile,
                        "simulated ISP profile to load (default: <root>/isp/profile.conf)")
        ->type_name("FILE");
}

bool prepareHost(const HostOptions& p_stOptions, std::string& p_strError, std::vector<std::string>& p_vecNotes) {
    std::string strRoot = p_stOptions.root;
    if (strRoot.empty()) {
        const char* szEnv = std::getenv("TARNIX_ROOT");
        strRoot = szEnv != nullptr ? szEnv : "";
    }
    if (strRoot.empty()) {
        p_strError = "no device root given: use --root DIR (or set TARNIX_ROOT)";
        return false;
    }
    if (!platform::isHostDir(strRoot)) {
        p_strError = "device root '" + strRoot + "' does not exist or is not a directory";
        return false;
    }
    char szReal[PATH_MAX];
    if (::realpath(strRoot.c_str(), szReal) == nullptr) {
        p_strError = "cannot resolve device root '" + strRoot + "': " + std::strerror(errno);
        return false;
    }
    if (std::string(szReal) == "/") {
        p_strError = "refusing to use '/' as device root: the checks write scratch files under it";
        return false;
    }
    platform::setRoot(szReal);
    platform::clearClock();
    platform::setTimeScale(1.0);

    ispsim::reset();
    std::string strProfile = p_stOptions.ispProfile;
    if (strProfile.empty()) {
        strProfile = std::string(szReal) + "/isp/profile.conf";
        if (!platform::isHostFile(strProfile)) {
            p_vecNotes.push_back("root " + std::string(szReal) + ", no ISP profile: the simulated ISP starts empty");
            return true;
        }
    }
    if (!ispsim::loadProfile(strProfile)) {
        p_strError = "cannot load the ISP profile " + strProfile;
        return false;
    }
    p_vecNotes.push_back("root " + std::string(szReal) + ", simulated ISP from " + strProfile);
    return true;
}

PortControls hostControls() {
    PortControls controls;
    controls.available = true;
    controls.setClock = &setClock;
    controls.clearClock = &clearClock;
    controls.setTimeScale = &setTimeScale;
    return controls;
}

} // namespace conformance
