// Device service operations: time, services, capabilities, identity.
#include <ctime>

#include <tinyxml.h>

#include "onvif/OnvifNamespaces.h"
#include "onvif/OnvifService.h"
#include "onvif/OnvifServiceInternal.h"
#include "onvif/SoapXml.h"

namespace tarnix {
namespace onvif {

namespace {

// The ONVIF release whose operations this device follows.
const char kVersion[] = "<tt:Major>2</tt:Major><tt:Minor>60</tt:Minor>";

std::string element(const char* name, const std::string& content) {
    return std::string("<") + name + ">" + content + "</" + name + ">";
}

std::string dateTimeXml(const std::tm& t) {
    return element("tt:Time", element("tt:Hour", decimal(t.tm_hour)) + element("tt:Minute", decimal(t.tm_min)) +
                                  element("tt:Second", decimal(t.tm_sec))) +
           element("tt:Date", element("tt:Year", decimal(t.tm_year + 1900)) +
                                  element("tt:Month", decimal(t.tm_mon + 1)) + element("tt:Day", decimal(t.tm_mday)));
}

const char kDeviceCapabilities[] =
    "<tt:Network><tt:IPFilter>false</tt:IPFilter><tt:ZeroConfiguration>false</tt:ZeroConfiguration>"
    "<tt:IPVersion6>false</tt:IPVersion6><tt:DynDNS>false</tt:DynDNS></tt:Network>"
    "<tt:System><tt:DiscoveryResolve>false</tt:DiscoveryResolve><tt:DiscoveryBye>false</tt:DiscoveryBye>"
    "<tt:RemoteDiscovery>false</tt:RemoteDiscovery><tt:SystemBackup>false</tt:SystemBackup>"
    "<tt:SystemLogging>false</tt:SystemLogging><tt:FirmwareUpgrade>false</tt:FirmwareUpgrade>"
    "<tt:SupportedVersions><tt:Major>2</tt:Major><tt:Minor>60</tt:Minor></tt:SupportedVersions></tt:System>"
    "<tt:Security><tt:TLS1.1>false</tt:TLS1.1><tt:TLS1.2>false</tt:TLS1.2>"
    "<tt:OnboardKeyGeneration>false</tt:OnboardKeyGeneration><tt:AccessPolicyConfig>false</tt:AccessPolicyConfig>"
    "<tt:X.509Token>false</tt:X.509Token><tt:SAMLToken>false</tt:SAMLToken>"
    "<tt:KerberosToken>false</tt:KerberosToken><tt:RELToken>false</tt:RELToken></tt:Security>";

const char kStreamingCapabilities[] =
    "<tt:StreamingCapabilities><tt:RTPMulticast>false</tt:RTPMulticast><tt:RTP_TCP>false</tt:RTP_TCP>"
    "<tt:RTP_RTSP_TCP>false</tt:RTP_RTSP_TCP></tt:StreamingCapabilities>";

} // namespace

SoapReply OnvifService::getSystemDateAndTime() {
    std::time_t now = m_config.clock();
    std::tm utc{};
    gmtime_r(&now, &utc);
    std::string xml = "<tds:GetSystemDateAndTimeResponse><tds:SystemDateAndTime>"
                      "<tt:DateTimeType>Manual</tt:DateTimeType><tt:DaylightSavings>false</tt:DaylightSavings>"
                      "<tt:TimeZone><tt:TZ>UTC0</tt:TZ></tt:TimeZone>";
    xml += element("tt:UTCDateTime", dateTimeXml(utc));
    xml += element("tt:LocalDateTime", dateTimeXml(utc));
    xml += "</tds:SystemDateAndTime></tds:GetSystemDateAndTimeResponse>";
    return soapResponse(xml);
}

SoapReply OnvifService::getServices(const TiXmlElement* request, const std::string& host) {
    std::string include = elementText(childElement(request, kNsDevice, "IncludeCapability"));
    bool withCapabilities = include == "true" || include == "1";
    bool stabilisation = offersStabilisation("GetServices");
    struct ServiceEntry {
        const char* ns;
        const char* path;
        std::string capabilities;
    };
    const ServiceEntry services[] = {
        {kNsDevice, kDevicePath,
         "<tds:Capabilities><tds:Network/><tds:Security UsernameToken=\"true\"/><tds:System/></tds:Capabilities>"},
        {kNsMedia, kMediaPath,
         "<trt:Capabilities SnapshotUri=\"false\" Rotation=\"false\"><trt:ProfileCapabilities "
         "MaximumNumberOfProfiles=\"" +
             decimal(static_cast<long long>(m_channels.size())) +
             "\"/><trt:StreamingCapabilities RTPMulticast=\"false\" RTP_TCP=\"false\" RTP_RTSP_TCP=\"false\"/>"
             "</trt:Capabilities>"},
        {kNsImaging, kImagingPath,
         std::string("<timg:Capabilities ImageStabilization=\"") + (stabilisation ? "true" : "false") +
             "\" Presets=\"false\"/>"},
    };
    std::string xml = "<tds:GetServicesResponse>";
    for (const ServiceEntry& service : services) {
        xml += "<tds:Service><tds:Namespace>";
        xml += service.ns;
        xml += "</tds:Namespace><tds:XAddr>" + serviceAddress(host, service.path) + "</tds:XAddr>";
        if (withCapabilities) {
            xml += "<tds:Capabilities>" + service.capabilities + "</tds:Capabilities>";
        }
        xml += std::string("<tds:Version>") + kVersion + "</tds:Version></tds:Service>";
    }
    xml += "</tds:GetServicesResponse>";
    return soapResponse(xml);
}

SoapReply OnvifService::getCapabilities(const TiXmlElement* request, const std::string& host) {
    bool device = false;
    bool imaging = false;
    bool media = false;
    bool any = false;
    for (const TiXmlElement* category = request->FirstChildElement(); category != nullptr;
         category = category->NextSiblingElement()) {
        if (!isElement(category, kNsDevice, "Category")) {
            continue;
        }
        any = true;
        std::string name = elementText(category);
        if (name == "All") {
            device = imaging = media = true;
        } else if (name == "Device") {
            device = true;
        } else if (name == "Imaging") {
            imaging = true;
        } else if (name == "Media") {
            media = true;
        } else {
            return soapFault("env:Receiver", "ter:ActionNotSupported", "ter:NoSuchService",
                             "This device has no " + name + " service");
        }
    }
    if (!any) {
        device = imaging = media = true;
    }
    std::string xml = "<tds:GetCapabilitiesResponse><tds:Capabilities>";
    if (device) {
        xml += "<tt:Device><tt:XAddr>" + serviceAddress(host, kDevicePath) + "</tt:XAddr>" + kDeviceCapabilities +
               "</tt:Device>";
    }
    if (imaging) {
        xml += "<tt:Imaging><tt:XAddr>" + serviceAddress(host, kImagingPath) + "</tt:XAddr></tt:Imaging>";
    }
    if (media) {
        xml += "<tt:Media><tt:XAddr>" + serviceAddress(host, kMediaPath) + "</tt:XAddr>" + kStreamingCapabilities +
               "</tt:Media>";
    }
    xml += "</tds:Capabilities></tds:GetCapabilitiesResponse>";
    return soapResponse(xml);
}

SoapReply OnvifService::getDeviceInformation() {
    const DeviceInformation& info = m_config.device;
    std::string xml = "<tds:GetDeviceInformationResponse>";
    xml += element("tds:Manufacturer", xmlEscape(info.manufacturer));
    xml += element("tds:Model", xmlEscape(info.model));
    xml += element("tds:FirmwareVersion", xmlEscape(info.firmwareVersion));
    xml += element("tds:SerialNumber", xmlEscape(info.serialNumber));
    xml += element("tds:HardwareId", xmlEscape(info.hardwareId));
    xml += "</tds:GetDeviceInformationResponse>";
    return soapResponse(xml);
}

} // namespace onvif
} // namespace tarnix
