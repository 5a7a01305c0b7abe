#pragma once
// A scheme decision record as JSON, for scripts and the settings page.
#include <nlohmann/json.hpp>

#include "scheme/SchemeDecision.h"

namespace sensorctl {

// Every field of the record under its own name, the names of the source,
// policy and outcome as sensorctl prints them, and the reason sentence.
nlohmann::json decisionJson(const tarnix::DecisionRecord& p_stRecord);

} // namespace sensorctl
