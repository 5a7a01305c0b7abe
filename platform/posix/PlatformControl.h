#pragma once
// Controls of the POSIX port for development hosts and tests.
#include <string>

namespace platform {
// Every absolute device path (files, logger, existence tests, paths inside
// sy_system commands) resolves under dir; empty means the real filesystem.
// The environment variable TARNIX_ROOT sets it at start.
void setRoot(const std::string& dir);
std::string root();
// A fixed local time for PXDeviceTime (also TARNIX_CLOCK=HH:MM).
void setClock(int hour, int minute);
void clearClock();
// Every QuorvelTime wait lasts scale times as long (also TARNIX_TIME_SCALE).
void setTimeScale(double scale);
double timeScale();
} // namespace platform
