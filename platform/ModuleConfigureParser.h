#pragma once
#include <string>
#include <vector>

#include "platform/ModuleConfigure.h"

// Reads the module configuration file ("/hd1/moduleConfig/moduleConfig.xml")
// and returns the entries that apply to the given hardware. The format is
// described in docs/file-formats.md.
class ModuleConfigureParser {
public:
    static bool parse(const std::string& file, const std::string& hardwareModel,
                      const std::string& hardwareCode, std::vector<ModuleConfigure>& out);
};
