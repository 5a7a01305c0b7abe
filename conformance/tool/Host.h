#pragma once
// The seam between tarnix-conformance and the system it runs on. On a
// device the program uses the device's own paths and ISP, and the host part
// adds nothing (device/DeviceHost.cpp). On a development host, built with
// the POSIX port, it adds --root and --isp-profile, points the platform at
// the device root and loads the simulated ISP (host/PosixHost.cpp). Only
// these two files know which one they are.
#include <CLI/CLI.hpp>
#include <string>
#include <vector>

#include "conformance/PlatformPort.h"

namespace conformance {

struct HostOptions {
    std::string root;         // device root on a development host
    std::string ispProfile;   // simulated ISP profile; "" = <root>/isp/profile.conf
};

// Adds the host's own options to the command line.
void addHostOptions(CLI::App& p_objApp, HostOptions& p_stOptions);
// Readies the platform and the ISP for a run. False with a one-line reason
// when that is impossible. p_vecNotes receives lines for the report header.
bool prepareHost(const HostOptions& p_stOptions, std::string& p_strError, std::vector<std::string>& p_vecNotes);
// The controls the port offers beyond what the library needs.
PortControls hostControls();

} // namespace conformance
