#pragma once

// Parameters of one video stream of the host's video module.
class AVStreamParam {
public:
    AVStreamParam() : m_nVideoEncoderType(0), m_nVideoWidth(0), m_nVideoHeight(0) {}
    int getVideoEncoderType() const { return m_nVideoEncoderType; }
    void setVideoEncoderType(int type) { m_nVideoEncoderType = type; }
    int getVideoWidth() const { return m_nVideoWidth; }
    void setVideoWidth(int width) { m_nVideoWidth = width; }
    int getVideoHeight() const { return m_nVideoHeight; }
    void setVideoHeight(int height) { m_nVideoHeight = height; }

private:
    int m_nVideoEncoderType;
    int m_nVideoWidth;
    int m_nVideoHeight;
};
