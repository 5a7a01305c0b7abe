#pragma once
// `sensorctl serve --onvif`: the ONVIF device, media and imaging services
// (tarnix_onvif) on the settings page's server and its live channel, so
// that a video management system on the development host manages the
// simulated camera while the page shows what it does.
//
// Operations that change settings or move the lens (SetImagingSettings,
// Move, Stop) run as host actions: one at a time, logged with the ISP calls
// and notifications they cause, and the open pages follow the new values.
// The others run as reads. Each operation uses the controller the live
// channel hands it, so a reload of the channel while a VMS is connected is
// safe.
#include <memory>
#include <string>

#include "tools/sensorctl/serve/SettingsServer.h"

namespace tarnix {
namespace onvif {
class OnvifService;
}
} // namespace tarnix

namespace sensorctl {
namespace serve {

class LiveChannel;

struct OnvifCredentials {
    // Empty user: no operation asks for a security header.
    std::string user;
    std::string password;
};

// The services for the live channel's video source (one channel, its
// number as the controller works with it; focus positions up to the
// module's focusSteps).
std::unique_ptr<tarnix::onvif::OnvifService> makeOnvifService(LiveChannel& p_objLive,
                                                              const OnvifCredentials& p_stCredentials);

// Route module serving the service at /onvif/device_service,
// /onvif/media_service and /onvif/imaging_service. The service must
// outlive the server.
SettingsServer::RouteModule onvifRoutes(tarnix::onvif::OnvifService& p_objService);

} // namespace serve
} // namespace sensorctl
