// Imaging service operations: settings, options and focus moves of a channel.
#include <cmath>
#include <string>
#include <vector>

#include <tinyxml.h>

#include "controller/ISensorController.h"
#include "onvif/ImagingMapping.h"
#include "onvif/ImagingXml.h"
#include "onvif/OnvifNamespaces.h"
#include "onvif/OnvifService.h"
#include "onvif/OnvifServiceInternal.h"
#include "onvif/SoapXml.h"

namespace tarnix {
namespace onvif {

namespace {

// The momentary focus keys: the lens runs while one holds 1 and stops when
// it gets 0 (KEY_FOCUS_NEAR, KEY_FOCUS_FAR).
const char kFocusStop[] = "(1553,0)(1554,0)";

SoapReply faultNoSource() {
    return faultInvalidArgVal("ter:NoSource", "The video source token does not name a video source of this device");
}

SoapReply faultNoFocus() {
    return soapFault("env:Receiver", "ter:ActionNotSupported", "ter:NoImagingForSource",
                     "This video source has no focus control");
}

SoapReply faultLens(const char* what) {
    return soapFault("env:Receiver", "ter:Action", "", std::string("The lens did not take the ") + what);
}

} // namespace

bool OnvifService::offersFocus(Channel& channel) {
    ImagingMapping mapping(*channel.video.controller);
    const ImagingField* field = fieldBySettingsPath("Focus/AutoFocusMode");
    return field != nullptr && mapping.offered(*field);
}

bool OnvifService::offersStabilisation() {
    const ImagingField* field = fieldBySettingsPath("Extension/ImageStabilization/Mode");
    for (const auto& channel : m_channels) {
        if (field != nullptr && channel->video.controller != nullptr &&
            ImagingMapping(*channel->video.controller).offered(*field)) {
            return true;
        }
    }
    return false;
}

SoapReply OnvifService::getImagingServiceCapabilities() {
    bool stabilisation = offersStabilisation();
    return soapResponse(std::string("<timg:GetServiceCapabilitiesResponse><timg:Capabilities ImageStabilization=\"") +
                        (stabilisation ? "true" : "false") +
                        "\" Presets=\"false\"/></timg:GetServiceCapabilitiesResponse>");
}

SoapReply OnvifService::getImagingSettings(const TiXmlElement* request) {
    Channel* channel = channelOf(request);
    if (channel == nullptr) {
        return faultNoSource();
    }
    ImagingMapping mapping(*channel->video.controller);
    return soapResponse("<timg:GetImagingSettingsResponse><timg:ImagingSettings>" + settingsXml(mapping.read()) +
                        "</timg:ImagingSettings></timg:GetImagingSettingsResponse>");
}

SoapReply OnvifService::setImagingSettings(const TiXmlElement* request) {
    Channel* channel = channelOf(request);
    if (channel == nullptr) {
        return faultNoSource();
    }
    const TiXmlElement* settings = childElement(request, kNsImaging, "ImagingSettings");
    if (settings == nullptr) {
        return faultInvalidArgVal("ter:SettingsInvalid", "The request carries no ImagingSettings");
    }
    bool persist = true;
    const TiXmlElement* force = childElement(request, kNsImaging, "ForcePersistence");
    if (force != nullptr) {
        std::string text = elementText(force);
        if (text == "false" || text == "0") {
            persist = false;
        } else if (text != "true" && text != "1") {
            return faultInvalidArgVal("ter:SettingsInvalid", "ForcePersistence is not a boolean");
        }
    }
    std::vector<RequestedField> fields;
    std::string reason;
    if (!requestedFields(settings, fields, reason)) {
        return faultInvalidArgVal("ter:SettingsInvalid", reason);
    }
    ImagingMapping mapping(*channel->video.controller);
    ApplyResult result = mapping.apply(fields, persist);
    switch (result.status) {
    case ApplyResult::Status::Invalid:
        return faultInvalidArgVal("ter:SettingsInvalid", result.message);
    case ApplyResult::Status::Failed:
        return soapFault("env:Receiver", "ter:Action", "", result.message);
    case ApplyResult::Status::Applied:
        break;
    }
    return soapResponse("<timg:SetImagingSettingsResponse/>");
}

SoapReply OnvifService::getOptions(const TiXmlElement* request) {
    Channel* channel = channelOf(request);
    if (channel == nullptr) {
        return faultNoSource();
    }
    ImagingMapping mapping(*channel->video.controller);
    return soapResponse("<timg:GetOptionsResponse><timg:ImagingOptions>" + optionsXml(mapping.allOptions()) +
                        "</timg:ImagingOptions></timg:GetOptionsResponse>");
}

SoapReply OnvifService::getMoveOptions(const TiXmlElement* request) {
    Channel* channel = channelOf(request);
    if (channel == nullptr) {
        return faultNoSource();
    }
    if (!offersFocus(*channel)) {
        return faultNoFocus();
    }
    std::string xml = "<timg:GetMoveOptionsResponse><timg:MoveOptions>";
    if (channel->video.focusPositionMax > 0) {
        xml += "<tt:Absolute><tt:Position><tt:Min>0</tt:Min><tt:Max>" + decimal(channel->video.focusPositionMax) +
               "</tt:Max></tt:Position></tt:Absolute>";
    }
    xml += "<tt:Continuous><tt:Speed><tt:Min>-1</tt:Min><tt:Max>1</tt:Max></tt:Speed></tt:Continuous>";
    xml += "</timg:MoveOptions></timg:GetMoveOptionsResponse>";
    return soapResponse(xml);
}

SoapReply OnvifService::move(const TiXmlElement* request) {
    Channel* channel = channelOf(request);
    if (channel == nullptr) {
        return faultNoSource();
    }
    if (!offersFocus(*channel)) {
        return faultNoFocus();
    }
    ISensorController& controller = *channel->video.controller;
    const TiXmlElement* focus = childElement(request, kNsImaging, "Focus");
    const TiXmlElement* continuous = childElement(focus, kNsSchema, "Continuous");
    const TiXmlElement* absolute = childElement(focus, kNsSchema, "Absolute");
    if (continuous != nullptr) {
        double speed = 0;
        if (!parseNumber(elementText(childElement(continuous, kNsSchema, "Speed")), speed) || speed < -1.0 ||
            speed > 1.0) {
            return faultInvalidArgVal("ter:SettingsInvalid", "Continuous focus speed must lie in -1 .. 1");
        }
        bool ok = true;
        if (speed > 0) {
            ok = controller.focusFar();
        } else if (speed < 0) {
            ok = controller.focusNear();
        } else {
            ok = controller.setParameters(std::string(kFocusStop), false) == 0;
        }
        if (!ok) {
            return faultLens("focus move");
        }
        channel->focusMoving = speed != 0;
        return soapResponse("<timg:MoveResponse/>");
    }
    if (absolute != nullptr) {
        double position = 0;
        if (channel->video.focusPositionMax <= 0) {
            return faultInvalidArgVal("ter:SettingsInvalid", "This video source takes continuous focus moves only");
        }
        if (!parseNumber(elementText(childElement(absolute, kNsSchema, "Position")), position) || position < 0 ||
            position > channel->video.focusPositionMax) {
            return faultInvalidArgVal("ter:SettingsInvalid", "Focus position must lie in 0 .. " +
                                                                 decimal(channel->video.focusPositionMax));
        }
        if (!controller.setFocusValue(static_cast<int>(std::lround(position)))) {
            return faultLens("focus position");
        }
        channel->focusMoving = false;
        return soapResponse("<timg:MoveResponse/>");
    }
    return faultInvalidArgVal("ter:SettingsInvalid", "Only continuous and absolute focus moves are offered");
}

SoapReply OnvifService::stop(const TiXmlElement* request) {
    Channel* channel = channelOf(request);
    if (channel == nullptr) {
        return faultNoSource();
    }
    if (!offersFocus(*channel)) {
        return faultNoFocus();
    }
    if (channel->video.controller->setParameters(std::string(kFocusStop), false) != 0) {
        return faultLens("stop");
    }
    channel->focusMoving = false;
    return soapResponse("<timg:StopResponse/>");
}

SoapReply OnvifService::getStatus(const TiXmlElement* request) {
    Channel* channel = channelOf(request);
    if (channel == nullptr) {
        return faultNoSource();
    }
    if (!offersFocus(*channel)) {
        return faultNoFocus();
    }
    int position = 0;
    if (!channel->video.controller->getFocusValue(position)) {
        return faultLens("position query");
    }
    return soapResponse("<timg:GetStatusResponse><timg:Status><tt:FocusStatus20><tt:Position>" + decimal(position) +
                        "</tt:Position><tt:MoveStatus>" + (channel->focusMoving ? "MOVING" : "IDLE") +
                        "</tt:MoveStatus></tt:FocusStatus20></timg:Status></timg:GetStatusResponse>");
}

} // namespace onvif
} // namespace tarnix
