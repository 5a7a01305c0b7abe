// Media service operations: one video source and one profile per channel.
#include "onvif/OnvifService.h"
#include "onvif/OnvifServiceInternal.h"
#include "onvif/SoapXml.h"

namespace tarnix {
namespace onvif {

SoapReply OnvifService::getVideoSources() {
    std::string xml = "<trt:GetVideoSourcesResponse>";
    for (const auto& channel : m_channels) {
        const VideoChannel& v = channel->video;
        xml += "<trt:VideoSources token=\"" + channel->sourceToken + "\"><tt:Framerate>" + decimal(v.framerate) +
               "</tt:Framerate><tt:Resolution><tt:Width>" + decimal(v.width) + "</tt:Width><tt:Height>" +
               decimal(v.height) + "</tt:Height></tt:Resolution></trt:VideoSources>";
    }
    xml += "</trt:GetVideoSourcesResponse>";
    return soapResponse(xml);
}

SoapReply OnvifService::getProfiles() {
    std::string xml = "<trt:GetProfilesResponse>";
    for (const auto& channel : m_channels) {
        const VideoChannel& v = channel->video;
        std::string n = decimal(v.channel);
        std::string width = decimal(v.width);
        std::string height = decimal(v.height);
        xml += "<trt:Profiles token=\"" + channel->profileToken + "\" fixed=\"true\"><tt:Name>Channel " + n +
               "</tt:Name>";
        xml += "<tt:VideoSourceConfiguration token=\"VideoSourceConfig_" + n + "\"><tt:Name>Video source " + n +
               "</tt:Name><tt:UseCount>1</tt:UseCount><tt:SourceToken>" + channel->sourceToken +
               "</tt:SourceToken><tt:Bounds x=\"0\" y=\"0\" width=\"" + width + "\" height=\"" + height +
               "\"/></tt:VideoSourceConfiguration>";
        xml += "<tt:VideoEncoderConfiguration token=\"VideoEncoderConfig_" + n + "\"><tt:Name>Main stream " + n +
               "</tt:Name><tt:UseCount>1</tt:UseCount><tt:Encoding>H264</tt:Encoding><tt:Resolution><tt:Width>" +
               width + "</tt:Width><tt:Height>" + height +
               "</tt:Height></tt:Resolution><tt:Quality>5</tt:Quality><tt:RateControl><tt:FrameRateLimit>" +
               decimal(v.framerate) + "</tt:FrameRateLimit><tt:EncodingInterval>1</tt:EncodingInterval>" +
               "<tt:BitrateLimit>" + decimal(v.bitrateKbps) + "</tt:BitrateLimit></tt:RateControl>" +
               "<tt:H264><tt:GovLength>" + decimal(2 * v.framerate) +
               "</tt:GovLength><tt:H264Profile>Main</tt:H264Profile></tt:H264>"
               "<tt:Multicast><tt:Address><tt:Type>IPv4</tt:Type><tt:IPv4Address>0.0.0.0</tt:IPv4Address>"
               "</tt:Address><tt:Port>0</tt:Port><tt:TTL>0</tt:TTL><tt:AutoStart>false</tt:AutoStart>"
               "</tt:Multicast><tt:SessionTimeout>PT60S</tt:SessionTimeout></tt:VideoEncoderConfiguration>";
        xml += "</trt:Profiles>";
    }
    xml += "</trt:GetProfilesResponse>";
    return soapResponse(xml);
}

} // namespace onvif
} // namespace tarnix
