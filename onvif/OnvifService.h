#pragma once
// The ONVIF device, media and imaging services of a camera whose channels
// are ISensorControllers, independent of any HTTP server: a request path and
// SOAP body go in, an HTTP status and SOAP body come out.
//
// Served: device GetSystemDateAndTime, GetServices, GetCapabilities,
// GetDeviceInformation; media GetProfiles, GetVideoSources (one video source
// and one profile per channel); imaging GetServiceCapabilities,
// GetImagingSettings, SetImagingSettings, GetOptions, GetMoveOptions, Move,
// Stop, GetStatus. Every operation but GetSystemDateAndTime needs a
// WS-Security UsernameToken with a password digest when a user is set.
#include <atomic>
#include <cstddef>
#include <ctime>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "onvif/SoapMessage.h"

class ISensorController;
class TiXmlElement;

namespace tarnix {
namespace onvif {

struct DeviceInformation {
    std::string manufacturer = "Tarnix";
    std::string model;
    std::string firmwareVersion;
    std::string serialNumber;
    std::string hardwareId;
};

// One camera channel: its controller (initialised, owned by the host) and
// the description of its main stream that the media service reports.
struct VideoChannel {
    int channel = 1; // tokens "VideoSource_<channel>", "Profile_<channel>"
    // May stay null when ServiceConfig::access hands the controller over.
    ISensorController* controller = nullptr;
    int width = 1920;
    int height = 1080;
    int framerate = 25;
    int bitrateKbps = 4096;
    // Highest focus motor position for absolute focus moves; 0: the channel
    // offers continuous focus moves only.
    int focusPositionMax = 0;
};

// The highest focus motor position a lens module's parameter text gives:
// N of "(focusSteps=N)" in "(lensId=3)(zoomSteps=2400)(focusSteps=3100)"; 0
// when the text has none (continuous focus moves only).
int focusStepsOf(const std::string& moduleParameters);

// Answers an operation on the controller given.
using ControllerCall = std::function<SoapReply(ISensorController& controller)>;
// Runs run on the controller of channel and returns its answer. operation
// is the ONVIF operation's name; changes is true for the operations that
// change settings or move the lens (SetImagingSettings, Move, Stop).
using ChannelAccess = std::function<SoapReply(const VideoChannel& channel, const std::string& operation,
                                              bool changes, const ControllerCall& run)>;

struct ServiceConfig {
    // Credentials of the one ONVIF user; an empty user turns the check off.
    std::string user;
    std::string password;
    DeviceInformation device;
    // Longest request body taken; longer ones get a fault.
    size_t maxRequestBytes = 64 * 1024;
    // host[:port] in the service addresses when a request names no Host.
    std::string defaultHost = "127.0.0.1";
    // UTC clock of GetSystemDateAndTime (tests pin it).
    std::function<std::time_t()> clock;
    // How operations reach a channel's controller. Unset, they call
    // VideoChannel::controller directly. A host that replaces a channel's
    // controller while serving (a re-initialisation), or that serialises
    // or records what changes it, passes every call through here; each
    // call then uses the controller it is given and nothing else.
    ChannelAccess access;
};

class OnvifService {
public:
    static constexpr const char* kDevicePath = "/onvif/device_service";
    static constexpr const char* kMediaPath = "/onvif/media_service";
    static constexpr const char* kImagingPath = "/onvif/imaging_service";

    OnvifService(ServiceConfig config, std::vector<VideoChannel> channels);
    ~OnvifService();
    OnvifService(const OnvifService&) = delete;
    OnvifService& operator=(const OnvifService&) = delete;

    // Answers one request. host is the request's Host header ("" for the
    // configured default); it goes into the service addresses. Callable from
    // several threads at once.
    SoapReply handle(const std::string& path, const std::string& body, const std::string& host = "");

    size_t maxRequestBytes() const { return m_config.maxRequestBytes; }

private:
    struct Channel;

    SoapReply dispatch(const TiXmlElement* operation, const std::string& host);

    // Device service.
    SoapReply getSystemDateAndTime();
    SoapReply getServices(const TiXmlElement* request, const std::string& host);
    SoapReply getCapabilities(const TiXmlElement* request, const std::string& host);
    SoapReply getDeviceInformation();
    // Media service.
    SoapReply getProfiles();
    SoapReply getVideoSources();
    // Imaging service.
    SoapReply getImagingServiceCapabilities();
    SoapReply getImagingSettings(const TiXmlElement* request);
    SoapReply setImagingSettings(const TiXmlElement* request);
    SoapReply getOptions(const TiXmlElement* request);
    SoapReply getMoveOptions(const TiXmlElement* request);
    SoapReply move(const TiXmlElement* request);
    SoapReply stop(const TiXmlElement* request);
    SoapReply getStatus(const TiXmlElement* request);

    // The channel named by the request's VideoSourceToken (null if none).
    Channel* channelOf(const TiXmlElement* request);
    // Runs an operation on the channel's controller (through access when
    // set).
    SoapReply onController(Channel& channel, const char* operation, bool changes, const ControllerCall& run);
    // Whether the controller's style offers focus (its focus mode item).
    static bool offersFocus(ISensorController& controller);
    // Whether any channel offers image stabilisation (asked for operation).
    bool offersStabilisation(const char* operation);
    std::string serviceAddress(const std::string& host, const char* path) const;

    ServiceConfig m_config;
    std::vector<std::unique_ptr<Channel>> m_channels;
};

} // namespace onvif
} // namespace tarnix
