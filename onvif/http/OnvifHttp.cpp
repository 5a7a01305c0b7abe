// The httplib routes of the ONVIF services.
#include "onvif/http/OnvifHttp.h"

#include <httplib.h>

#include "onvif/OnvifService.h"
#include "onvif/SoapMessage.h"

namespace tarnix {
namespace onvif {

void addOnvifRoutes(httplib::Server& server, OnvifService& service) {
    for (const char* path : {OnvifService::kDevicePath, OnvifService::kMediaPath, OnvifService::kImagingPath}) {
        std::string route = path;
        server.Post(route, [&service, route](const httplib::Request& request, httplib::Response& response,
                                             const httplib::ContentReader& reader) {
            const size_t limit = service.maxRequestBytes();
            std::string body;
            bool tooLarge = false;
            // Stops reading at the first byte past the limit, so an oversized
            // body never sits in memory whole.
            bool read = reader([&](const char* data, size_t length) {
                if (body.size() + length > limit) {
                    tooLarge = true;
                    return false;
                }
                body.append(data, length);
                return true;
            });
            SoapReply reply;
            // The server's own body limit (a server shared with other
            // routes may set one) ends the read early with 413.
            if (tooLarge || (!read && response.status == 413)) {
                reply = faultTooLarge(limit);
                response.set_header("Connection", "close");
            } else if (!read) {
                reply = faultWellFormed("The request body could not be read whole");
                response.set_header("Connection", "close");
            } else {
                reply = service.handle(route, body, request.get_header_value("Host"));
            }
            response.status = reply.status;
            response.set_content(reply.body, "application/soap+xml; charset=utf-8");
        });
    }
}

} // namespace onvif
} // namespace tarnix
