#pragma once
// ImagingSettings20 and ImagingOptions20 as XML, and the fields of a
// SetImagingSettings request.
#include <string>
#include <vector>

#include "onvif/ImagingMapping.h"

class TiXmlElement;

namespace tarnix {
namespace onvif {

// Elements of the values (in table order) with the "tt" prefix, nested by
// their paths: the content of an ImagingSettings element.
std::string settingsXml(const std::vector<FieldValue>& values);
// Elements of the options (in table order): the content of an
// ImagingOptions element.
std::string optionsXml(const std::vector<FieldOptions>& options);

// The leaf fields below an ImagingSettings element, with their paths from
// local names. False with a reason when an element is outside the ONVIF
// schema namespace.
bool requestedFields(const TiXmlElement* settings, std::vector<RequestedField>& out, std::string& reason);

} // namespace onvif
} // namespace tarnix
