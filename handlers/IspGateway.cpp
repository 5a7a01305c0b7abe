// The gateway to the ISP and to the host's video module. Every key handler
// ends in doIaCmd, which calls ia_ioctrl_v2 on this channel's ISP channel.
#define SNS_SOURCE_FILE "ISensorController.cpp"
#include "controller/ISensorController.h"
#include "controller/KeyCatalogue.h"
#include "controller/LockRank.h"
#include "controller/ModuleCall.h"
#include "handlers/IspCallCount.h"
#include "platform/DeviceType.h"

int ISensorController::doIaCmd(unsigned int p_nCmd, unsigned int p_nOpt, void* p_pVal) {
    bool bLocked = false;
    {
        tarnix::lockrank::LeafScope objRank;
        std::lock_guard<std::mutex> lock(m_zoomFocusMutex);
        bLocked = m_stZoomFocusParam.getLockZoomFocusEnable();
    }
    // A locked lens silently accepts and ignores the lens commands
    // (auto-focus, focus, zoom, lens reset).
    if (bLocked && p_nCmd >= IA_CMD_AUTO_FOCUS_MODE && p_nCmd <= IA_CMD_LENS_RESET) {
        return 0;
    }
    tarnix::countIspCall();
    return ia_ioctrl_v2(m_nCameraID - 1, static_cast<ia_cmd_e>(p_nCmd), p_nOpt, p_pVal);
}

int ISensorController::doIaCmdShutter(unsigned int p_nCmd, unsigned int p_nOpt, void* p_pVal) {
    if (!m_bShutterResetPass.load() && testFlag(BULK_APPLY_MASK)) {
        return 0;
    }
    m_bShutterResetPass = false;
    return doIaCmd(p_nCmd, p_nOpt, p_pVal);
}

int ISensorController::doIaCmd_User(unsigned int p_nCmd, unsigned int p_nOpt, void* p_pVal) {
    // Momentary actions are never replayed while parameters are applied in
    // bulk (initialisation, reset, restore, scheme switch).
    if (testFlag(BULK_APPLY_MASK)) {
        return 0;
    }
    if (p_nCmd != IA_CMD_AUTO_FOCUS_ONCE) {
        return doIaCmd(p_nCmd, p_nOpt, p_pVal);
    }
    if (!m_bHasLens) {
        return 0;
    }
    if (m_bThermal || (p_pVal != nullptr && *static_cast<u32*>(p_pVal) != 0)) {
        return doIaCmd(p_nCmd, p_nOpt, p_pVal);
    }
    return 0;
}

int ISensorController::doIoCrtl(unsigned int p_nCmd, unsigned int, void*) {
    if (p_nCmd == tarnix::keys::KEY_MIXSTREAM_THERMAL_TO_VISION_SYNC_FOV) {
        // The field-of-view sync always runs on channel 1's sensor thread,
        // whichever channel received the key. The key goes first: a pass
        // that sees the channel mark finds the key already posted.
        m_nPassKeycmd = tarnix::keys::KEY_MIXSTREAM_THERMAL_TO_VISION_SYNC_FOV;
        m_nChanneldDosomething = 1;
    }
    return 0;
}

int ISensorController::test_debugParam(unsigned int p_nCmd, unsigned int, void* p_pVal) {
    u32 nVal = p_pVal != nullptr ? *static_cast<u32*>(p_pVal) : 0;
    notifyToVideo(static_cast<int>(p_nCmd), static_cast<int>(nVal));
    return 0;
}

int ISensorController::notifyToVideo(int p_nKey, int p_nVal) {
    const VideoStreamModule* pModule = m_pVideoStreamModule.load();
    if (pModule == nullptr) {
        return 0;
    }
    // The two-sensor thermal model drives channel 2 and names it channel 1.
    int nChannel = m_objMachineInfo.getDeviceType() == DeviceType::THERMAL_DOUBLE_SENSOR_DEVICE ? 1 : m_nCameraID;
    // The module may call back into any controller from here.
    tarnix::ModuleCall objModuleCall(this);
    return pModule->notifySensorParam(nChannel, p_nKey, p_nVal);
}

void ISensorController::setVideoStreamModule(const VideoStreamModule* p_pModule) { m_pVideoStreamModule = p_pModule; }
