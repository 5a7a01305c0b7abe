// The device side of the host seam: the platform and the ISP are the
// device's own, found where the library finds them; nothing to prepare.
#include "conformance/tool/Host.h"

namespace conformance {

void addHostOptions(CLI::App& p_objApp, HostOptions& p_stOptions) {
    (void)p_objApp;
    (void)p_stOptions;
}

bool prepareHost(const HostOptions& p_stOptions, std::string& p_strError, std::vector<std::string>& p_vecNotes) {
    (void)p_stOptions;
    (void)p_strError;
    p_vecNotes.push_back("device paths and the device's ISP");
    return true;
}

PortControls hostControls() { return PortControls(); }

} // namespace conformance
