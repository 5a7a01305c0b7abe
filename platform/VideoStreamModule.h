#pragma once
#include <vector>

#include "platform/AVStreamParam.h"
#include "platform/LimitedFramesWDRModeParam.h"

// The host's video module, handed to a controller with setVideoStreamModule.
class VideoStreamModule {
public:
    virtual ~VideoStreamModule();
    virtual int notifySensorParam(int channel, int key, int value) const = 0;   // 0 = accepted
    virtual int getVideoStreamParams(int channel, std::vector<AVStreamParam>& streams) const = 0;
    virtual int getLimitedFramesWDRModeParam(int channel, LimitedFramesWDRModeParam& param) const = 0;
    virtual int getFisheyeRotate(int channel, int* value) const = 0;
    virtual int isBusy() const = 0;                                               // 0 = ready
};
