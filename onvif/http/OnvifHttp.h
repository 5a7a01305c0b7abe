#pragma once
// Serves an OnvifService on an httplib server: POST routes for
// /onvif/device_service, /onvif/media_service and /onvif/imaging_service.
// Request bodies are read only up to the service's size limit.
namespace httplib {
class Server;
}

namespace tarnix {
namespace onvif {

class OnvifService;

// Registers the three routes; the service must outlive the server.
void addOnvifRoutes(httplib::Server& server, OnvifService& service);

} // namespace onvif
} // namespace tarnix
