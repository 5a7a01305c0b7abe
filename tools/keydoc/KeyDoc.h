#pragma once
// The reference of the image keys, docs/keys.md, as generated from the key
// catalogue and the sample styles of a devices/ folder.
#include <string>

namespace keydoc {

// The whole document (Markdown). p_strDevicesDir holds one sample device
// tree per folder (devices/box, devices/dome, ...).
std::string keyDocument(const std::string& p_strDevicesDir);

} // namespace keydoc
