#pragma once
// The routes of the settings page: the page itself at "/" and its JSON API
// under "/api/" (docs/settings-page.md describes every endpoint).
namespace httplib {
class Server;
}

namespace sensorctl {
namespace serve {

class LiveChannel;

// Largest request body the API reads (a larger one gets 400).
constexpr unsigned long kMaxRequestBody = 64 * 1024;

void installSettingsRoutes(httplib::Server& p_objServer, LiveChannel& p_objLive);

} // namespace serve
} // namespace sensorctl
