#pragma once
// Shared between the files of OnvifService.
#include <atomic>
#include <string>

#include "onvif/OnvifService.h"

namespace tarnix {
namespace onvif {

struct OnvifService::Channel {
    VideoChannel video;
    std::string sourceToken;  // "VideoSource_<n>"
    std::string profileToken; // "Profile_<n>"
    // A continuous focus move is under way (set by Move, cleared by Stop).
    std::atomic<bool> focusMoving{false};
};

// Decimal text of an integer.
inline std::string decimal(long long value) { return std::to_string(value); }

} // namespace onvif
} // namespace tarnix
