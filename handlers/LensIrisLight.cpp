// Direct operations for the motorised lens, the iris, day/night state,
// infrared and white light, and a few ISP status reads.
#define SNS_SOURCE_FILE "ISensorController.cpp"

#include <cstring>

#include "controller/ISensorController.h"
#include "controller/KeyCatalogue.h"

using namespace tarnix::keys;
#include "controller/SensorDebug.h"

namespace {

// Zoom motor positions at the ratios 1x, 2x, .. 16x.
const u32 kZoomRatioTable[16] = {16384, 24576, 27264, 28672, 29056, 29440, 29728, 30016,
                                 30208, 30400, 30560, 30720, 30912, 31104, 31232, 31424};

// Exposure mode value under which the iris is driven by hand.
const u32 kExposeModeManualIris = 3;

// Accepted iris range and the replacement values outside it. The upper
// replacement lies far above the range on purpose.
const int kIrisMin = 256;
const int kIrisLowLimit = 255;
const int kIrisHighLimit = 25600;
const int kIrisAboveRange = 1048576;

// Highest light type the ISP knows.
const u32 kLightTypeMax = 3;

// Sends one value with the set option; true on success.
bool sendValue(ISensorController& p_objCtl, unsigned int p_nCmd, u32 p_nValue) {
    return p_objCtl.doIaCmd(p_nCmd, IA_CMD_OPT_SET, &p_nValue) == SNS_SUCCESS;
}

// Reads a value (or record) with the get option into p_pOut; true on success.
bool readValue(ISensorController& p_objCtl, unsigned int p_nCmd, void* p_pOut) {
    return p_objCtl.doIaCmd(p_nCmd, IA_CMD_OPT_GET, p_pOut) == SNS_SUCCESS;
}

// A focus step: focus mode 1 first (its result does not matter), then the
// step command, whose result does.
bool focusStep(ISensorController& p_objCtl, unsigned int p_nStepCmd) {
    sendValue(p_objCtl, IA_CMD_AUTO_FOCUS_MODE, 1);
    return sendValue(p_objCtl, p_nStepCmd, 1);
}

// The iris is driven by hand: exposure mode 3 first, then the iris command.
bool driveIris(ISensorController& p_objCtl, unsigned int p_nIrisCmd, u32 p_nValue) {
    if (!sendValue(p_objCtl, IA_CMD_EXPOSE_MODE, kExposeModeManualIris)) {
        return false;
    }
    return sendValue(p_objCtl, p_nIrisCmd, p_nValue);
}

// Infrared and white light are never on together: switching one light on
// first reads the other one's live state (p_nOtherStateCmd) and switches it
// off if it is on. The light's own key goes through setParameter.
bool switchLightExclusively(ISensorController& p_objCtl, int p_nValue, u32 p_nKey, unsigned int p_nOtherStateCmd,
                            bool (ISensorController::*p_pfnSwitchOther)(int)) {
    if (p_nValue == 1) {
        int nOther = 0;
        if (p_objCtl.doIaCmd(p_nOtherStateCmd, IA_CMD_OPT_GET, &nOther) != SNS_SUCCESS) {
            return false;
        }
        if (nOther == 1 && !(p_objCtl.*p_pfnSwitchOther)(0)) {
            return false;
        }
    }
    return p_objCtl.setParameter(static_cast<int>(p_nKey), p_nValue, true) == SNS_SUCCESS;
}

} // namespace

// ---- lens ----

bool ISensorController::zoomIn() {
    return sendValue(*this, IA_CMD_ZOOM_IN, 1);
}

bool ISensorController::zoomOut() {
    return sendValue(*this, IA_CMD_ZOOM_OUT, 1);
}

bool ISensorController::setZoomValue(int v) {
    if (!m_bHasLens) {
        return true;
    }
    return sendValue(*this, IA_CMD_MZ_POSITION, static_cast<u32>(v));
}

bool ISensorController::getZoomValue(int& pos, int& ratio) {
    if (!m_bHasLens) {
        pos = 0;
        return true;
    }
    if (doIaCmd(IA_CMD_MZ_POSITION, IA_CMD_OPT_GET, &pos) != SNS_SUCCESS) {
        return false;
    }
    if (pos <= static_cast<int>(kZoomRatioTable[0])) {
        ratio = 1000;
        return true;
    }
    // Linear interpolation between (k+1)x and (k+2)x, in thousandths. Beyond
    // the last position no segment matches and the ratio stays as it was.
    const u32 nPos = static_cast<u32>(pos);
    for (u32 k = 0; k < 15; ++k) {
        if (kZoomRatioTable[k] < nPos && nPos <= kZoomRatioTable[k + 1]) {
            u32 nRatio = (k + 2) * 1000 - (kZoomRatioTable[k + 1] - nPos) * 1000 /
                                              (kZoomRatioTable[k + 1] - kZoomRatioTable[k]);
            ratio = static_cast<int>(nRatio);
            break;
        }
    }
    return true;
}

bool ISensorController::setPTZRunState(int v) {
    if (!m_bHasLens) {
        return true;
    }
    return sendValue(*this, IA_CMD_PTZ_RUN_STATE, static_cast<u32>(v));
}

bool ISensorController::setFocusValue(int v) {
    if (!m_bHasLens) {
        return true;
    }
    return sendValue(*this, IA_CMD_MF_POSITION, static_cast<u32>(v));
}

bool ISensorController::getFocusValue(int& v) {
    if (!m_bHasLens) {
        v = 0;
        return true;
    }
    return readValue(*this, IA_CMD_MF_POSITION, &v);
}

bool ISensorController::setFocusMode(int v) {
    return sendValue(*this, IA_CMD_AUTO_FOCUS_MODE, static_cast<u32>(v));
}

bool ISensorController::getFocusMode(int& v) {
    return readValue(*this, IA_CMD_AUTO_FOCUS_MODE, &v);
}

bool ISensorController::getFocus(int& v) {
    return readValue(*this, IA_CMD_FOCUS_VALUE, &v);
}

bool ISensorController::getAFStatistic(unsigned int& v) {
    return readValue(*this, IA_CMD_AF_STATISTIC, &v);
}

bool ISensorController::focusFar() {
    return m_bHasLens ? focusStep(*this, IA_CMD_FOCUS_FAR) : true;
}

bool ISensorController::focusNear() {
    return m_bHasLens ? focusStep(*this, IA_CMD_FOCUS_NEAR) : true;
}

// ---- iris ----

bool ISensorController::irisUp() {
    return driveIris(*this, IA_CMD_IRIS_UP, 1);
}

bool ISensorController::irisDown() {
    return driveIris(*this, IA_CMD_IRIS_DOWN, 1);
}

bool ISensorController::setIrisValue(int v) {
    if (v <= kIrisLowLimit) {
        v = kIrisMin;
    } else if (v > kIrisHighLimit) {
        v = kIrisAboveRange;
    }
    return driveIris(*this, IA_CMD_IRIS_POSITION, static_cast<u32>(v));
}

bool ISensorController::getIrisValue(int& v) {
    return readValue(*this, IA_CMD_IRIS_POSITION, &v);
}

// ---- day/night and status reads ----

bool ISensorController::setDNState(int v) {
    return sendValue(*this, IA_CMD_DN_STATE, static_cast<u32>(v));
}

bool ISensorController::getDNState(int& v) {
    return readValue(*this, IA_CMD_DN_STATE, &v);
}

bool ISensorController::getWDR(int& v) {
    return readValue(*this, IA_CMD_WDR_MODE, &v);
}

bool ISensorController::setExposureStrategy(int& v) {
    return sendValue(*this, IA_CMD_EXPOSURE_STRATEGY, static_cast<u32>(v));
}

bool ISensorController::getCmdExecStatus(int cmd, int& status) {
    return doIaCmd(static_cast<unsigned int>(cmd), IA_CMD_OPT_GET_STATUS, &status) == SNS_SUCCESS;
}

bool ISensorController::getHeatStatus(bool& v) {
    u32 nVal = 0;
    if (doIaCmd(IA_CMD_HEAT_STATUS, IA_CMD_OPT_GET, &nVal) != SNS_SUCCESS) {
        return false;
    }
    v = (nVal != 0);
    return true;
}

bool ISensorController::getTempValue(int& v) {
    return readValue(*this, IA_CMD_TEMP_VALUE, &v);
}

bool ISensorController::getAutoExposureInfo(int& a, int& b, int& c) {
    ia_exposure_info_st stInfo;
    std::memset(&stInfo, 0, sizeof(stInfo));
    if (doIaCmd(IA_CMD_EXPOSURE_INFO, IA_CMD_OPT_GET, &stInfo) != SNS_SUCCESS) {
        return false;
    }
    a = static_cast<int>(stInfo.f2);
    b = static_cast<int>(stInfo.f0);
    c = static_cast<int>(stInfo.f1);
    return true;
}

bool ISensorController::getCameraVerInf(std::string& s) {
    char szVersion[IA_VERSION_TEXT_LEN];
    std::memset(szVersion, 0, sizeof(szVersion));
    if (doIaCmd(IA_CMD_CAMERA_VERSION, IA_CMD_OPT_GET, szVersion) != SNS_SUCCESS) {
        return false;
    }
    s.assign(szVersion, strnlen(szVersion, sizeof(szVersion)));
    return true;
}

// ---- infrared and white light ----

bool ISensorController::getIRSwitch(int& v) {
    return readValue(*this, IA_CMD_IR_SWITCH, &v);
}

bool ISensorController::getWhiteSwitch(int& v) {
    // The live state of the white light, not the stored key 170.
    return readValue(*this, IA_CMD_WHITE_SWITCH, &v);
}

bool ISensorController::getWhiteMode(int& v) {
    // The live state, not the stored key 171.
    return readValue(*this, IA_CMD_WHITE_MODE, &v);
}

bool ISensorController::getLightType(int& v) {
    return readValue(*this, IA_CMD_LIGHT_TYPE, &v);
}

bool ISensorController::setIrLedInfo(void* info) {
    return doIaCmd(IA_CMD_IR_LED_INFO, IA_CMD_OPT_SET, info) == SNS_SUCCESS;
}

bool ISensorController::setWhiteMode(int v) {
    return setParameter(KEY_WHITE_MODE, v, true) == SNS_SUCCESS;
}

bool ISensorController::setLightType(int v) {
    if (static_cast<u32>(v) > kLightTypeMax) {
        return false;
    }
    return setParameter(KEY_LIGHT_TYPE, v, true) == SNS_SUCCESS;
}

bool ISensorController::setIRSwitch(int v) {
    return switchLightExclusively(*this, v, KEY_IR_SWITCH, IA_CMD_WHITE_SWITCH, &ISensorController::setWhiteSwitch);
}

bool ISensorController::setWhiteSwitch(int v) {
    return switchLightExclusively(*this, v, KEY_WHITE_SWITCH, IA_CMD_IR_SWITCH, &ISensorController::setIRSwitch);
}
