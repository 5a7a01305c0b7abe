// Direct operations for the motorised lens, the iris, day/night state,
// infrared and white light, and a few ISP status reads.
#define SNS_SOURCE_FILE "ISensorController.cpp"

#include <cstring>

#include "controller/ISensorController.h"
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

// Keys of the stored light parameters.
const int kKeyIrSwitch = 160;
const int kKeyWhiteSwitch = 170;
const int kKeyWhiteMode = 171;
const int kKeyLightType = 224;

} // namespace

// ---- lens ----

bool ISensorController::zoomIn() {
    u32 nVal = 1;
    return doIaCmd(IA_CMD_ZOOM_IN, IA_CMD_OPT_SET, &nVal) == SNS_SUCCESS;
}

bool ISensorController::zoomOut() {
    u32 nVal = 1;
    return doIaCmd(IA_CMD_ZOOM_OUT, IA_CMD_OPT_SET, &nVal) == SNS_SUCCESS;
}

bool ISensorController::setZoomValue(int v) {
    if (!m_bHasLens) {
        return true;
    }
    u32 nVal = static_cast<u32>(v);
    return doIaCmd(IA_CMD_MZ_POSITION, IA_CMD_OPT_SET, &nVal) == SNS_SUCCESS;
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
    u32 nVal = static_cast<u32>(v);
    return doIaCmd(IA_CMD_PTZ_RUN_STATE, IA_CMD_OPT_SET, &nVal) == SNS_SUCCESS;
}

bool ISensorController::setFocusValue(int v) {
    if (!m_bHasLens) {
        return true;
    }
    u32 nVal = static_cast<u32>(v);
    return doIaCmd(IA_CMD_MF_POSITION, IA_CMD_OPT_SET, &nVal) == SNS_SUCCESS;
}

bool ISensorController::getFocusValue(int& v) {
    if (!m_bHasLens) {
        v = 0;
        return true;
    }
    return doIaCmd(IA_CMD_MF_POSITION, IA_CMD_OPT_GET, &v) == SNS_SUCCESS;
}

bool ISensorController::setFocusMode(int v) {
    u32 nVal = static_cast<u32>(v);
    return doIaCmd(IA_CMD_AUTO_FOCUS_MODE, IA_CMD_OPT_SET, &nVal) == SNS_SUCCESS;
}

bool ISensorController::getFocusMode(int& v) {
    return doIaCmd(IA_CMD_AUTO_FOCUS_MODE, IA_CMD_OPT_GET, &v) == SNS_SUCCESS;
}

bool ISensorController::getFocus(int& v) {
    return doIaCmd(IA_CMD_FOCUS_VALUE, IA_CMD_OPT_GET, &v) == SNS_SUCCESS;
}

bool ISensorController::getAFStatistic(unsigned int& v) {
    return doIaCmd(IA_CMD_AF_STATISTIC, IA_CMD_OPT_GET, &v) == SNS_SUCCESS;
}

bool ISensorController::focusFar() {
    if (!m_bHasLens) {
        return true;
    }
    u32 nMode = 1;
    doIaCmd(IA_CMD_AUTO_FOCUS_MODE, IA_CMD_OPT_SET, &nMode);
    u32 nVal = 1;
    return doIaCmd(IA_CMD_FOCUS_FAR, IA_CMD_OPT_SET, &nVal) == SNS_SUCCESS;
}

bool ISensorController::focusNear() {
    if (!m_bHasLens) {
        return true;
    }
    u32 nMode = 1;
    doIaCmd(IA_CMD_AUTO_FOCUS_MODE, IA_CMD_OPT_SET, &nMode);
    u32 nVal = 1;
    return doIaCmd(IA_CMD_FOCUS_NEAR, IA_CMD_OPT_SET, &nVal) == SNS_SUCCESS;
}

// ---- iris ----

bool ISensorController::irisUp() {
    u32 nMode = kExposeModeManualIris;
    if (doIaCmd(IA_CMD_EXPOSE_MODE, IA_CMD_OPT_SET, &nMode) != SNS_SUCCESS) {
        return false;
    }
    u32 nVal = 1;
    return doIaCmd(IA_CMD_IRIS_UP, IA_CMD_OPT_SET, &nVal) == SNS_SUCCESS;
}

bool ISensorController::irisDown() {
    u32 nMode = kExposeModeManualIris;
    if (doIaCmd(IA_CMD_EXPOSE_MODE, IA_CMD_OPT_SET, &nMode) != SNS_SUCCESS) {
        return false;
    }
    u32 nVal = 1;
    return doIaCmd(IA_CMD_IRIS_DOWN, IA_CMD_OPT_SET, &nVal) == SNS_SUCCESS;
}

bool ISensorController::setIrisValue(int v) {
    if (v <= kIrisLowLimit) {
        v = kIrisMin;
    } else if (v > kIrisHighLimit) {
        v = kIrisAboveRange;
    }
    u32 nMode = kExposeModeManualIris;
    if (doIaCmd(IA_CMD_EXPOSE_MODE, IA_CMD_OPT_SET, &nMode) != SNS_SUCCESS) {
        return false;
    }
    u32 nVal = static_cast<u32>(v);
    return doIaCmd(IA_CMD_IRIS_POSITION, IA_CMD_OPT_SET, &nVal) == SNS_SUCCESS;
}

bool ISensorController::getIrisValue(int& v) {
    return doIaCmd(IA_CMD_IRIS_POSITION, IA_CMD_OPT_GET, &v) == SNS_SUCCESS;
}

// ---- day/night and status reads ----

bool ISensorController::setDNState(int v) {
    u32 nVal = static_cast<u32>(v);
    return doIaCmd(IA_CMD_DN_STATE, IA_CMD_OPT_SET, &nVal) == SNS_SUCCESS;
}

bool ISensorController::getDNState(int& v) {
    return doIaCmd(IA_CMD_DN_STATE, IA_CMD_OPT_GET, &v) == SNS_SUCCESS;
}

bool ISensorController::getWDR(int& v) {
    return doIaCmd(IA_CMD_WDR_MODE, IA_CMD_OPT_GET, &v) == SNS_SUCCESS;
}

bool ISensorController::setExposureStrategy(int& v) {
    u32 nVal = static_cast<u32>(v);
    return doIaCmd(IA_CMD_EXPOSURE_STRATEGY, IA_CMD_OPT_SET, &nVal) == SNS_SUCCESS;
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
    return doIaCmd(IA_CMD_TEMP_VALUE, IA_CMD_OPT_GET, &v) == SNS_SUCCESS;
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
    return doIaCmd(IA_CMD_IR_SWITCH, IA_CMD_OPT_GET, &v) == SNS_SUCCESS;
}

bool ISensorController::getWhiteSwitch(int& v) {
    // The live state of the white light, not the stored key 170.
    return doIaCmd(IA_CMD_WHITE_SWITCH, IA_CMD_OPT_GET, &v) == SNS_SUCCESS;
}

bool ISensorController::getWhiteMode(int& v) {
    // The live state, not the stored key 171.
    return doIaCmd(IA_CMD_WHITE_MODE, IA_CMD_OPT_GET, &v) == SNS_SUCCESS;
}

bool ISensorController::getLightType(int& v) {
    return doIaCmd(IA_CMD_LIGHT_TYPE, IA_CMD_OPT_GET, &v) == SNS_SUCCESS;
}

bool ISensorController::setIrLedInfo(void* info) {
    return doIaCmd(IA_CMD_IR_LED_INFO, IA_CMD_OPT_SET, info) == SNS_SUCCESS;
}

bool ISensorController::setWhiteMode(int v) {
    return setParameter(kKeyWhiteMode, v, true) == SNS_SUCCESS;
}

bool ISensorController::setLightType(int v) {
    if (static_cast<u32>(v) > 3) {
        return false;
    }
    return setParameter(kKeyLightType, v, true) == SNS_SUCCESS;
}

// Infrared and white light are never on together: switching one on first
// switches the other off.
bool ISensorController::setIRSwitch(int v) {
    if (v == 1) {
        int nWhite = 0;
        if (doIaCmd(IA_CMD_WHITE_SWITCH, IA_CMD_OPT_GET, &nWhite) != SNS_SUCCESS) {
            return false;
        }
        if (nWhite == 1 && !setWhiteSwitch(0)) {
            return false;
        }
        return setParameter(kKeyIrSwitch, 1, true) == SNS_SUCCESS;
    }
    return setParameter(kKeyIrSwitch, v, true) == SNS_SUCCESS;
}

bool ISensorController::setWhiteSwitch(int v) {
    if (v == 1) {
        int nIr = 0;
        if (doIaCmd(IA_CMD_IR_SWITCH, IA_CMD_OPT_GET, &nIr) != SNS_SUCCESS) {
            return false;
        }
        if (nIr == 1 && !setIRSwitch(0)) {
            return false;
        }
        return setParameter(kKeyWhiteSwitch, 1, true) == SNS_SUCCESS;
    }
    return setParameter(kKeyWhiteSwitch, v, true) == SNS_SUCCESS;
}
