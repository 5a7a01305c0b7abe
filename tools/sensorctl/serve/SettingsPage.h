#pragma once
// The settings page (tools/sensorctl/web/settings.html), built into the
// program: the build turns the file into SettingsPage.cpp, so the server
// never reads a page from disk.
#include <cstddef>

namespace sensorctl {
namespace serve {

extern const unsigned char kSettingsPage[];
extern const size_t kSettingsPageSize;

} // namespace serve
} // namespace sensorctl
