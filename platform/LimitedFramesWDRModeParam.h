#pragma once

// Limited-frames WDR and lens-distortion-correction options of a channel, as
// the host's video module reports them.
class LimitedFramesWDRModeParam {
public:
    LimitedFramesWDRModeParam() : m_nLimitFramesModeId(0), m_nLimitWdr(0), m_bLDCSupport(false), m_bLDCSwitch(false) {}
    ~LimitedFramesWDRModeParam() {}
    int getLimitFramesModeId() const { return m_nLimitFramesModeId; }
    void setLimitFramesModeId(int id) { m_nLimitFramesModeId = id; }
    int getLimitWdr() const { return m_nLimitWdr; }
    void setLimitWdr(int value) { m_nLimitWdr = value; }
    bool getLDCSupport() const { return m_bLDCSupport; }
    void setLDCSupport(bool support) { m_bLDCSupport = support; }
    bool getLDCSwitch() const { return m_bLDCSwitch; }
    void setLDCSwitch(bool on) { m_bLDCSwitch = on; }

private:
    int m_nLimitFramesModeId;
    int m_nLimitWdr;
    bool m_bLDCSupport;
    bool m_bLDCSwitch;
};
