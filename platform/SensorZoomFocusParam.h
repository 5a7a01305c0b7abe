#pragma once

// Zoom and focus settings handed over by the host.
class SensorZoomFocusParam {
public:
    SensorZoomFocusParam() : m_bLockZoomFocusEnable(false) {}
    ~SensorZoomFocusParam() {}
    SensorZoomFocusParam(const SensorZoomFocusParam&) = default;
    SensorZoomFocusParam& operator=(const SensorZoomFocusParam&) = default;
    // True when zoom and focus are locked.
    bool getLockZoomFocusEnable() const { return m_bLockZoomFocusEnable; }
    void setLockZoomFocusEnable(bool enable) { m_bLockZoomFocusEnable = enable; }

private:
    bool m_bLockZoomFocusEnable;
};
