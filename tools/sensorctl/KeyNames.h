#pragma once
// Names of the image keys and ISP commands, for sensorctl's listings.
#include <cstddef>
#include <cstdint>

namespace sensorctl {

struct KeyName {
    uint32_t key;
    uint32_t ispCmd;   // ISP command the key drives; 0 for keys that are only stored
    const char* name;  // full name (the library's trace field keeps 32 characters)
};

// The 166 keys of the controller's key-command table.
const KeyName* keyNames(size_t& count);
// Name of a key, nullptr when the key has no row.
const char* keyName(uint32_t key);
// Name of an ISP command: the key that drives it, else the ISP's own name
// (IA_CMD_...), else nullptr.
const char* ispCommandName(uint32_t cmd);
// Name of an ISP call's option: set, get, range, correct, status; "opt?" for
// any other.
const char* ispOptionName(unsigned int opt);

} // namespace sensorctl
