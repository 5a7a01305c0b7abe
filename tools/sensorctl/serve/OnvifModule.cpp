// The ONVIF services on the settings page's server.
#include "tools/sensorctl/serve/OnvifModule.h"

#include <httplib.h>

#include <nlohmann/json.hpp>

#include "onvif/OnvifService.h"
#include "onvif/http/OnvifHttp.h"
#include "tools/sensorctl/serve/LiveChannel.h"

namespace sensorctl {
namespace serve {

std::unique_ptr<tarnix::onvif::OnvifService> makeOnvifService(LiveChannel& p_objLive,
                                                              const OnvifCredentials& p_stCredentials) {
    Device& device = p_objLive.device();
    tarnix::onvif::ServiceConfig config;
    config.user = p_stCredentials.user;
    config.password = p_stCredentials.password;
    config.device.model = device.machine().getHardwareModel();
    config.device.hardwareId = device.machine().getHardwareCode();
    config.device.firmwareVersion = "simulated";
    config.device.serialNumber = "0";
    config.access = [&p_objLive](const tarnix::onvif::VideoChannel&, const std::string& p_strOperation, bool p_bChanges,
                                 const tarnix::onvif::ControllerCall& p_fnRun) {
        tarnix::onvif::SoapReply reply;
        const std::string strWhat = "onvif " + p_strOperation;
        if (p_bChanges) {
            p_objLive.act(strWhat, "", [&](ISensorController& p_objController) {
                reply = p_fnRun(p_objController);
                return nlohmann::json{{"result", reply.status == 200}, {"status", reply.status}};
            });
        } else {
            p_objLive.read(strWhat, [&](ISensorController& p_objController) { reply = p_fnRun(p_objController); });
        }
        return reply;
    };
    tarnix::onvif::VideoChannel channel;
    channel.channel = device.cameraId();
    channel.focusPositionMax = tarnix::onvif::focusStepsOf(device.module().getParameters());
    return std::unique_ptr<tarnix::onvif::OnvifService>(new tarnix::onvif::OnvifService(config, {channel}));
}

SettingsServer::RouteModule onvifRoutes(tarnix::onvif::OnvifService& p_objService) {
    return [&p_objService](httplib::Server& p_objServer, LiveChannel&) {
        tarnix::onvif::addOnvifRoutes(p_objServer, p_objService);
    };
}

} // namespace serve
} // namespace sensorctl
