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

bool OnvifService::offersFocus(ISensorController& controller) {
    ImagingMapping mapping(controller);
    const ImagingField* field = fieldBySettingsPath("Focus/AutoFocusMode");
    return field != nullptr && mapping.offered(*field);
}

bool OnvifService::offersStabilisation(const char* operation) {
    const ImagingField* field = fieldBySettingsPath("Extension/ImageStabilization/Mode");
    bool offered = false;
    for (const auto& channel : m_channels) {
        if (field == nullptr || offered || (channel->video.controller == nullptr && !m_config.access)) {
            continue;
        }
        onController(*channel, operation, false, [field, &offered](ISensorController& controller) {
            offered = ImagingMapping(controller).offered(*field);
            return SoapReply();
        });
    }
    return offered;
}

SoapReply OnvifService::getImagingServiceCapabilities() {
    bool stabilisation = offersStabilisation("GetServiceCapabilities");
    return soapResponse(std::string("<timg:GetServiceCapabilitiesResponse><timg:Capabilities ImageStabilization=\"") +
                        (stabilisation ? "true" : "false") +
                        "\" Presets=\"false\"/></timg:GetServiceCapabilitiesResponse>");
}

SoapReply OnvifService::getImagingSettings(const TiXmlElement* request) {
    Channel* channel = channelOf(request);
    if (channel == nullptr) {
        return faultNoSource();
    }
    return onController(*channel, "GetImagingSettings", false, [](ISensorController& controller) {
        ImagingMapping mapping(controller);
        return soapResponse("<timg:GetImagingSettingsResponse><timg:ImagingSettings>" + settingsXml(mapping.read()) +
                            "</timg:ImagingSettings></timg:GetImagingSettingsResponse>");
    });
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
    return onController(*channel, "SetImagingSettings", true, [&fields, persist](ISensorController& controller) {
        ImagingMapping mapping(controller);
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
    });
}

SoapReply OnvifService::getOptions(const TiXmlElement* request) {
    Channel* channel = channelOf(request);
    if (channel == nullptr) {
        return faultNoSource();
    }
    return onController(*channel, "GetOptions", false, [](ISensorController& controller) {
        ImagingMapping mapping(controller);
        return soapResponse("<timg:GetOptionsResponse><timg:ImagingOptions>" + optionsXml(mapping.allOptions()) +
                            "</timg:ImagingOptions></timg:GetOptionsResponse>");
    });
}

SoapReply OnvifService::getMoveOptions(const TiXmlElement* request) {
    Channel* channel = channelOf(request);
    if (channel == nullptr) {
        return faultNoSource();
    }
    const int positionMax = channel->video.focusPositionMax;
    return onController(*channel, "GetMoveOptions", false, [positionMax](ISensorController& controller) {
        if (!offersFocus(controller)) {
            return faultNoFocus();
        }
        std::string xml = "<timg:GetMoveOptionsResponse><timg:MoveOptions>";
        if (positionMax > 0) {
            xml += "<tt:Absolute><tt:Position><tt:Min>0</tt:Min><tt:Max>" + decimal(positionMax) +
                   "</tt:Max></tt:Position></tt:Absolute>";
        }
        xml += "<tt:Continuous><tt:Speed><tt:Min>-1</tt:Min><tt:Max>1</tt:Max></tt:Speed></tt:Continuous>";
        xml += "</timg:MoveOptions></timg:GetMoveOptionsResponse>";
        return soapResponse(xml);
    });
}

SoapReply OnvifService::move(const TiXmlElement* request) {
    Channel* channel = channelOf(request);
    if (channel == nullptr) {
        return faultNoSource();
    }
    const TiXmlElement* focus = childElement(request, kNsImaging, "Focus");
    const TiXmlElement* continuous = childElement(focus, kNsSchema, "Continuous");
    const TiXmlElement* absolute = childElement(focus, kNsSchema, "Absolute");
    const int positionMax = channel->video.focusPositionMax;
    return onController(*channel, "Move", true, [&](ISensorController& controller) {
        if (!offersFocus(controller)) {
            return faultNoFocus();
        }
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
            if (positionMax <= 0) {
                return faultInvalidArgVal("ter:SettingsInvalid", "This video source takes continuous focus moves only");
            }
            if (!parseNumber(elementText(childElement(absolute, kNsSchema, "Position")), position) || position < 0 ||
                position > positionMax) {
                return faultInvalidArgVal("ter:SettingsInvalid", "Focus position must lie in 0 .. " + decimal(positionMax));
            }
            if (!controller.setFocusValue(static_cast<int>(std::lround(position)))) {
                return faultLens("focus position");
            }
            channel->focusMoving = false;
            return soapResponse("<timg:MoveResponse/>");
        }
        return faultInvalidArgVal("ter:SettingsInvalid", "Only continuous and absolute focus moves are offered");
    });
}

SoapReply OnvifService::stop(const TiXmlElement* request) {
    Channel* channel = channelOf(request);
    if (channel == nullptr) {
        return faultNoSource();
    }
    return onController(*channel, "Stop", true, [channel](ISensorController& controller) {
        if (!offersFocus(controller)) {
            return faultNoFocus();
        }
        if (controller.setParameters(std::string(kFocusStop), false) != 0) {
            return faultLens("stop");
        }
        channel->focusMoving = false;
        return soapResponse("<timg:StopResponse/>");
    });
}

SoapReply OnvifService::getStatus(const TiXmlElement* request) {
    Channel* channel = channelOf(request);
    if (channel == nullptr) {
        return faultNoSource();
    }
    return onController(*channel, "GetStatus", false, [channel](ISensorController& controller) {
        if (!offersFocus(controller)) {
            return faultNoFocus();
        }
        int position = 0;
        if (!controller.getFocusValue(position)) {
            return faultLens("position query");
        }
        return soapResponse("<timg:GetStatusResponse><timg:Status><tt:FocusStatus20><tt:Position>" +
                            decimal(position) + "</tt:Position><tt:MoveStatus>" +
                            (channel->focusMoving ? "MOVING" : "IDLE") +
                            "</tt:MoveStatus></tt:FocusStatus20></timg:Status></timg:GetStatusResponse>");
    });
}

} // namespace onvif
} // namespace tarnix
