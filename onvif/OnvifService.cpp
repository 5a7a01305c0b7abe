// Request handling of the ONVIF services: limits, envelope, security and
// the dispatch to the operations.
#include "onvif/OnvifService.h"

#include <tinyxml.h>

#include "onvif/OnvifNamespaces.h"
#include "onvif/OnvifServiceInternal.h"
#include "onvif/SoapXml.h"
#include "onvif/WsSecurity.h"

namespace tarnix {
namespace onvif {

namespace {

// A Host header longer than this is not used in service addresses.
constexpr size_t kMaxHostLength = 255;
// No lens has more focus motor positions than this.
constexpr long kMaxFocusSteps = 1000000;

} // namespace

int focusStepsOf(const std::string& moduleParameters) {
    const std::string name = "(focusSteps=";
    size_t pos = moduleParameters.find(name);
    if (pos == std::string::npos) {
        return 0;
    }
    long steps = 0;
    for (size_t i = pos + name.size(); i < moduleParameters.size() && moduleParameters[i] != ')'; ++i) {
        char c = moduleParameters[i];
        if (c < '0' || c > '9' || steps > kMaxFocusSteps) {
            return 0;
        }
        steps = steps * 10 + (c - '0');
    }
    return steps > kMaxFocusSteps ? 0 : static_cast<int>(steps);
}

OnvifService::OnvifService(ServiceConfig config, std::vector<VideoChannel> channels) : m_config(std::move(config)) {
    if (!m_config.clock) {
        m_config.clock = [] { return std::time(nullptr); };
    }
    for (const VideoChannel& video : channels) {
        std::unique_ptr<Channel> channel(new Channel);
        channel->video = video;
        channel->sourceToken = "VideoSource_" + decimal(video.channel);
        channel->profileToken = "Profile_" + decimal(video.channel);
        m_channels.push_back(std::move(channel));
    }
}

OnvifService::~OnvifService() = default;

std::string OnvifService::serviceAddress(const std::string& host, const char* path) const {
    const std::string& name = (host.empty() || host.size() > kMaxHostLength) ? m_config.defaultHost : host;
    return xmlEscape("http://" + name + path);
}

SoapReply OnvifService::handle(const std::string& path, const std::string& body, const std::string& host) {
    if (path != kDevicePath && path != kMediaPath && path != kImagingPath) {
        return soapFault("env:Sender", "ter:InvalidArgVal", "", "No ONVIF service at " + path, 404);
    }
    TiXmlDocument doc;
    switch (parseRequest(body, m_config.maxRequestBytes, doc)) {
    case ParseStatus::TooLarge:
        return faultTooLarge(m_config.maxRequestBytes);
    case ParseStatus::TooDeep:
        return faultWellFormed("The request has more elements than any operation of this device takes");
    case ParseStatus::Malformed:
        return faultWellFormed("The request is not well-formed XML");
    case ParseStatus::Ok:
        break;
    }
    const TiXmlElement* envelope = doc.RootElement();
    if (localName(envelope) != "Envelope" || namespaceOf(envelope) != kNsSoapEnv) {
        return faultVersionMismatch();
    }
    const TiXmlElement* header = childElement(envelope, kNsSoapEnv, "Header");
    const TiXmlElement* bodyElement = childElement(envelope, kNsSoapEnv, "Body");
    const TiXmlElement* operation = firstChildElement(bodyElement);
    if (operation == nullptr) {
        return faultWellFormed("The envelope has no operation in its body");
    }
    bool open = isElement(operation, kNsDevice, "GetSystemDateAndTime");
    if (!open && !m_config.user.empty() && !checkUsernameToken(header, m_config.user, m_config.password)) {
        return faultNotAuthorized();
    }
    return dispatch(operation, host);
}

SoapReply OnvifService::dispatch(const TiXmlElement* operation, const std::string& host) {
    const std::string ns = namespaceOf(operation);
    const std::string name = localName(operation);
    if (ns == kNsDevice) {
        if (name == "GetSystemDateAndTime") {
            return getSystemDateAndTime();
        }
        if (name == "GetServices") {
            return getServices(operation, host);
        }
        if (name == "GetCapabilities") {
            return getCapabilities(operation, host);
        }
        if (name == "GetDeviceInformation") {
            return getDeviceInformation();
        }
    } else if (ns == kNsMedia) {
        if (name == "GetProfiles") {
            return getProfiles();
        }
        if (name == "GetVideoSources") {
            return getVideoSources();
        }
    } else if (ns == kNsImaging) {
        if (name == "GetServiceCapabilities") {
            return getImagingServiceCapabilities();
        }
        if (name == "GetImagingSettings") {
            return getImagingSettings(operation);
        }
        if (name == "SetImagingSettings") {
            return setImagingSettings(operation);
        }
        if (name == "GetOptions") {
            return getOptions(operation);
        }
        if (name == "GetMoveOptions") {
            return getMoveOptions(operation);
        }
        if (name == "Move") {
            return move(operation);
        }
        if (name == "Stop") {
            return stop(operation);
        }
        if (name == "GetStatus") {
            return getStatus(operation);
        }
    }
    return faultActionNotSupported(name);
}

OnvifService::Channel* OnvifService::channelOf(const TiXmlElement* request) {
    std::string token = elementText(childElement(request, kNsImaging, "VideoSourceToken"));
    for (const auto& channel : m_channels) {
        if (channel->sourceToken == token && (channel->video.controller != nullptr || m_config.access)) {
            return channel.get();
        }
    }
    return nullptr;
}

SoapReply OnvifService::onController(Channel& channel, const char* operation, bool changes,
                                     const ControllerCall& run) {
    if (m_config.access) {
        return m_config.access(channel.video, operation, changes, run);
    }
    return run(*channel.video.controller);
}

} // namespace onvif
} // namespace tarnix
