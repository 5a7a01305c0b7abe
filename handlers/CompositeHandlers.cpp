// Key handlers that combine an ISP command with notifications to the video
// module, with another cached key, or with a product feature switch.
#define SNS_SOURCE_FILE "ISensorController.cpp"

#include "controller/ISensorController.h"
#include "controller/KeyCatalogue.h"

using namespace tarnix::keys;
#include "controller/SensorDebug.h"

namespace {

// With the beaway mode on, the two single-axis mirror settings trade places.
u32 swapMirror(u32 p_nMirror) {
    if (p_nMirror == 1) {
        return 2;
    }
    if (p_nMirror == 2) {
        return 1;
    }
    return p_nMirror;
}

} // namespace

int ISensorController::doHwdr(unsigned int p_nKey, unsigned int p_nDir, void* p_pVal) {
    if (p_pVal == nullptr) {
        return -1;
    }
    u32* pValue = static_cast<u32*>(p_pVal);
    if (!m_bShowWDRFalg) {
        // WDR is not offered on this product: force it off, send nothing.
        *pValue = 0;
        return SNS_SUCCESS;
    }
    // The video module hears of a WDR change before and after it.
    notifyToVideo(IA_CMD_WDR_NOTIFY, 0);
    int nRet = notifyToVideo(static_cast<int>(p_nKey), static_cast<int>(*pValue));
    const int nIspRet = doIaCmd(p_nKey, p_nDir, p_pVal);
    SENSOR_ASSERT_T(SNS_SUCCESS == nIspRet, "SNS_SUCCESS == doIaCmd(p_nKey, p_nDir, p_pVal)", "");
    notifyToVideo(IA_CMD_WDR_NOTIFY, 1);
    // The video module's answer decides.
    return nRet;
}

int ISensorController::doImageAdjust(unsigned int p_nKey, unsigned int p_nDir, void* p_pVal) {
    if (p_pVal == nullptr) {
        return -1;
    }
    const int nIspRet = doIaCmd(p_nKey, p_nDir, p_pVal);
    SENSOR_ASSERT_T(SNS_SUCCESS == nIspRet, "SNS_SUCCESS == doIaCmd(p_nKey, p_nDir, p_pVal)", "");
    // After the ISP call, so the video module sees what the ISP may have
    // written back.
    return notifyToVideo(static_cast<int>(p_nKey), static_cast<int>(*static_cast<u32*>(p_pVal)));
}

int ISensorController::doDIS(unsigned int p_nKey, unsigned int p_nDir, void* p_pVal) {
    if (p_pVal == nullptr) {
        return -1;
    }
    // Video module first, ISP second.
    const int nNotifyRet = notifyToVideo(static_cast<int>(p_nKey), static_cast<int>(*static_cast<u32*>(p_pVal)));
    SENSOR_ASSERT_T(SNS_SUCCESS == nNotifyRet, "SNS_SUCCESS == notifyToVideo(p_nKey, *(u32*)p_pVal)", "");
    return doIaCmd(p_nKey, p_nDir, p_pVal);
}

int ISensorController::doIaCmd_PanoTuning(unsigned int p_nKey, unsigned int p_nDir, void* p_pVal) {
    (void)p_nDir;
    if (p_pVal == nullptr) {
        return -1;
    }
    // Panorama stitching and mixed-stream distance are the video module's
    // business alone; nothing goes to the ISP.
    int nKey = static_cast<int>(p_nKey);
    int nVal = static_cast<int>(*static_cast<u32*>(p_pVal));
    const int nNotifyRet = notifyToVideo(nKey, nVal);
    SENSOR_ASSERT_T(SNS_SUCCESS == nNotifyRet, "SNS_SUCCESS == notifyToVideo(nKey, nVal)", "");
    return SNS_SUCCESS;
}

int ISensorController::doFisheyeRotate(unsigned int p_nKey, unsigned int p_nDir, void* p_pVal) {
    (void)p_nDir;
    if (p_pVal == nullptr) {
        return -1;
    }
    return notifyToVideo(static_cast<int>(p_nKey), static_cast<int>(*static_cast<u32*>(p_pVal)));
}

int ISensorController::doMirror(unsigned int p_nKey, unsigned int p_nDir, void* p_pVal) {
    if (p_pVal == nullptr) {
        return -1;
    }
    u32 nMirror = *static_cast<u32*>(p_pVal);
    u32 nBeaway = 0;
    getKeyValFromCache(static_cast<u32>(m_nCurScheme.load()), KEY_BEAWAY, nBeaway);
    if (nBeaway != 0) {
        nMirror = swapMirror(nMirror);
    }
    const int nNotifyRet = notifyToVideo(static_cast<int>(p_nKey), static_cast<int>(nMirror));
    SENSOR_ASSERT_T(SNS_SUCCESS == nNotifyRet, "SNS_SUCCESS == notifyToVideo(p_nKey, nMirror)", "");
    // Only the ISP and the video module see the swapped value; the caller's
    // value, and so the cache, keeps the user's setting.
    return doIaCmd(p_nKey, p_nDir, &nMirror);
}

int ISensorController::doBeaway(unsigned int p_nKey, unsigned int p_nDir, void* p_pVal) {
    if (p_pVal == nullptr) {
        return -1;
    }
    if (!getshowBeawayFalg()) {
        // Beaway is not offered on this product: force it off, send nothing.
        *static_cast<u32*>(p_pVal) = 0;
        return SNS_SUCCESS;
    }
    u32 nBeaway = *static_cast<u32*>(p_pVal);
    u32 nMirror = 0;
    getKeyValFromCache(static_cast<u32>(m_nCurScheme.load()), KEY_MIRROR, nMirror);
    if (nBeaway != 0) {
        nMirror = swapMirror(nMirror);
    }
    // Re-send the mirror with the swap applied or removed.
    const int nMirrorRet = notifyToVideo(static_cast<int>(IA_CMD_UI_MIRROR), static_cast<int>(nMirror));
    SENSOR_ASSERT_T(SNS_SUCCESS == nMirrorRet, "SNS_SUCCESS == notifyToVideo(IA_CMD_UI_MIRROR, nMirror)", "");
    const int nBeawayRet = notifyToVideo(static_cast<int>(p_nKey), static_cast<int>(nBeaway));
    SENSOR_ASSERT_T(SNS_SUCCESS == nBeawayRet, "SNS_SUCCESS == notifyToVideo(p_nKey, nBeaway)", "");
    doIaCmd(IA_CMD_UI_MIRROR, p_nDir, &nMirror);
    return doIaCmd(p_nKey, p_nDir, &nBeaway);
}
