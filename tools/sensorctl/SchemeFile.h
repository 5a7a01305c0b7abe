#pragma once
// Reading scheme files on the host: 8-byte KeyVal records back to back.
#include <string>
#include <vector>

#include "controller/SensorTypes.h"

namespace sensorctl {

// The whole records of a scheme file (a trailing part record is left out).
// Throws a failure error when the file cannot be read or is far too large
// for a scheme file.
std::vector<KeyVal> readSchemeRecords(const std::string& p_strHostPath);

} // namespace sensorctl
