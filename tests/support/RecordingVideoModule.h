#pragma once
// A VideoStreamModule that records every notification and answers queries
// from fields a test sets.
#include <map>
#include <mutex>
#include <tuple>
#include <vector>

#include "platform/VideoStreamModule.h"

struct Notification {
    int channel;
    int key;
    int value;
    bool operator==(const Notification& o) const {
        return channel == o.channel && key == o.key && value == o.value;
    }
};

class RecordingVideoModule : public VideoStreamModule {
public:
    int notifySensorParam(int channel, int key, int value) const override;
    int getVideoStreamParams(int channel, std::vector<AVStreamParam>& streams) const override;
    int getLimitedFramesWDRModeParam(int channel, LimitedFramesWDRModeParam& param) const override;
    int getFisheyeRotate(int channel, int* value) const override;
    int isBusy() const override;

    std::vector<Notification> notifications() const;
    void clear();
    // Result returned for notifications of a key (default 0).
    void setNotifyResult(int key, int result);

    std::vector<AVStreamParam> streams;
    LimitedFramesWDRModeParam wdrParam;
    int fisheyeValue = 0;            // written by getFisheyeRotate
    bool fisheyeAnswers = true;      // false: leave the caller's value untouched
    mutable int busyAnswers = 0;     // isBusy answers 1 this many times, then 0
    mutable int busyQueries = 0;

private:
    mutable std::mutex m_mutex;
    mutable std::vector<Notification> m_notifications;
    std::map<int, int> m_results;
};
