#pragma once
// The two process-wide diagnostics switches of the library, re-read from
// "/tmp/Debug.sign" before every report. The report and trace macros the
// library uses internally live in controller/SensorDebug.h.
#include <atomic>
#include <cstdint>

// Debug level: assertions print at >= 0, warnings at > 3, error and debug
// traces at > 5, info traces at > 6.
extern std::atomic<int32_t> g_nDebugLevel;
// When set, a failed assertion aborts the process.
extern std::atomic<bool> g_bEnAssert;

// Refreshes both switches from the marker file.
void updateDebugLevel();
