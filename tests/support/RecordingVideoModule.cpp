#include "support/RecordingVideoModule.h"

int RecordingVideoModule::notifySensorParam(int channel, int key, int value) const {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_notifications.push_back({channel, key, value});
    auto it = m_results.find(key);
    return it == m_results.end() ? 0 : it->second;
}

int RecordingVideoModule::getVideoStreamParams(int, std::vector<AVStreamParam>& out) const {
    std::lock_guard<std::mutex> lock(m_mutex);
    out = streams;
    return 0;
}

int RecordingVideoModule::getLimitedFramesWDRModeParam(int, LimitedFramesWDRModeParam& param) const {
    std::lock_guard<std::mutex> lock(m_mutex);
    param = wdrParam;
    return 0;
}

int RecordingVideoModule::getFisheyeRotate(int, int* value) const {
    std::lock_guard<std::mutex> lock(m_mutex);
    if (fisheyeAnswers && value != nullptr) {
        *value = fisheyeValue;
    }
    return 0;
}

int RecordingVideoModule::isBusy() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    ++busyQueries;
    if (busyAnswers > 0) {
        --busyAnswers;
        return 1;
    }
    return 0;
}

std::vector<Notification> RecordingVideoModule::notifications() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_notifications;
}

void RecordingVideoModule::clear() {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_notifications.clear();
}

void RecordingVideoModule::setNotifyResult(int key, int result) {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_results[key] = result;
}
