#pragma once
// The narrowed style (getUIStyleFile's XML) as the JSON the settings page
// and scripts read: its tabs in order, each with its items in document
// order (items in groups or inside other items included).
#include <string>

#include <nlohmann/json.hpp>

namespace sensorctl {
namespace serve {

// {"root": {attributes of the root}, "tabs": [{"key", "name", "items": [
//   {"id", "keyName", "type", "name", "value", "min", "max", "unit", "group",
//    "options": [{"index", "name"}]}]}]}.
// Absent attributes are null ("" for the texts). Numbers are read as the
// library reads them (leading decimal digits, as atoi). False when the text
// is not a style document (p_objOut then names the problem in "error").
bool styleToJson(const std::string& p_strXml, nlohmann::json& p_objOut);

} // namespace serve
} // namespace sensorctl
