#pragma once
#include <string>
#include <vector>

#include "platform/ModuleConfigure.h"

// Reads the module configuration file ("/hd1/moduleConfig/moduleConfig.xml")
// and returns the entries that apply to the given hardware. The format is
// described in docs/platform-port.md. The entries found replace the content
// of out; false when the file cannot be read or is not a well-formed
// module configuration.
class ModuleConfigureParser {
public:
    static bool parse(const std::string& file, const std::string& hardwareModel,
                      const std::string& hardwareCode, std::vector<ModuleConfigure>& out);
};
