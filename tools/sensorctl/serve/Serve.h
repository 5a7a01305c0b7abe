#pragma once
// sensorctl serve: the live settings page of a channel.
#include "tools/sensorctl/Args.h"

namespace sensorctl {

// Runs until SIGINT or SIGTERM; returns the exit code. Throws ToolError.
int runServe(const Options& p_stOptions);

} // namespace sensorctl
