#pragma once
#include <string>

#include "platform/MachineInfo.h"

// Reads a machine description file: "key=value" lines with the keys
// DeviceType, HardwareModel and HardwareCode; "[section]" lines and lines
// starting with '#' or ';' are ignored. Returns false when the file cannot be
// read or holds no DeviceType.
class SystemInfoParser {
public:
    static bool parseMachineInfo(const std::string& path, MachineInfo& info);
};
