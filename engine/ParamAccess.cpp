// Single parameter access: one key at a time, and the named accessors.
#define SNS_SOURCE_FILE "ISensorController.cpp"

#include <cstddef>

#include "controller/ISensorController.h"
#include "controller/KeyCatalogue.h"
#include "controller/LockRank.h"
#include "controller/ParamLock.h"
#include "controller/SensorDebug.h"

using namespace tarnix::keys;

namespace {

// IR keys that answer -1 instead of asking the ISP when they are not cached.
bool isUncachedIrKey(int p_nKey) {
    switch (p_nKey) {
    case KEY_IR_SWITCH:
    case KEY_IR_MODE:
    case KEY_IR_MANUAL_STRG_NEAR:
    case KEY_IR_MANUAL_STRG_MEDIUM:
    case KEY_IR_MANUAL_STRG_FAR:
        return true;
    default:
        return false;
    }
}

} // namespace

int ISensorController::setParameter(int p_nKey, int p_nVal, bool p_bCache) {
    tarnix::ParamLock objLock(*this, __LINE__);
    SENSOR_TRACE(TRACE_DBG, "p_Parameters22222222222(%d, %d)\n", p_nKey, p_nVal);
    KeyVal stKeyVal;
    stKeyVal.key = static_cast<u32>(p_nKey);
    stKeyVal.value = static_cast<u32>(p_nVal);
    return setParameters(&stKeyVal, 1, p_bCache);
}

bool ISensorController::getParameter(int p_nKey, int& p_nVal) {
    tarnix::ParamLock objLock(*this, __LINE__);
    SENSOR_TRACE(TRACE_DBG, "p_nKey(%d)\n", p_nKey);

    u32 nCached = static_cast<u32>(-1);
    if (getKeyValFromCache(static_cast<u32>(m_nCurScheme.load()), static_cast<u32>(p_nKey), nCached) >= 0) {
        p_nVal = static_cast<int>(nCached);
        return true;
    }
    if (isUncachedIrKey(p_nKey)) {
        p_nVal = -1;
        return true;
    }
    // Read from the ISP; the value read is not cached. A failed read leaves
    // the output as the ISP left it. The key comes from the host and some
    // commands answer with a whole record; the value is the first word.
    u32 aValue[tarnix::kValueBufferWords] = {};
    aValue[0] = static_cast<u32>(p_nVal);
    int nRet = doIaCmd(static_cast<unsigned int>(p_nKey), IA_CMD_OPT_GET, aValue);
    p_nVal = static_cast<int>(aValue[0]);
    SENSOR_ASSERT_T(SNS_SUCCESS == nRet, "SNS_SUCCESS == doIaCmd(p_nKey, IA_CMD_OPT_GET, &p_nVal)",
                    "get key(%d) val from 2a err", p_nKey);
    return nRet == SNS_SUCCESS;
}

bool ISensorController::getDNMode(int& v) {
    // Always reports success, whatever the read gave.
    getParameter(KEY_DN_MODE, v);
    return true;
}

bool ISensorController::setDNMode(int v) {
    return setParameter(KEY_DN_MODE, v, true) == SNS_SUCCESS;
}

bool ISensorController::getWDRSwitch(int& v) {
    return getParameter(KEY_WDR_MODE, v);
}
bool ISensorController::setWDRSwitch(int& v) {
    return setParameter(KEY_WDR_MODE, v, true) == SNS_SUCCESS;
}
bool ISensorController::getWDRStrength(int& v) {
    return getParameter(KEY_WDR_STRG, v);
}
bool ISensorController::setWDRStrength(int& v) {
    return setParameter(KEY_WDR_STRG, v, true) == SNS_SUCCESS;
}
bool ISensorController::getHLCSwitch(int& v) {
    return getParameter(KEY_HLC_SWITCH, v);
}
bool ISensorController::setHLCSwitch(int& v) {
    return setParameter(KEY_HLC_SWITCH, v, true) == SNS_SUCCESS;
}
bool ISensorController::getHLCStrength(int& v) {
    return getParameter(KEY_HLC_STRG, v);
}
bool ISensorController::setHLCStrength(int& v) {
    return setParameter(KEY_HLC_STRG, v, true) == SNS_SUCCESS;
}
bool ISensorController::getBLCSwitch(int& v) {
    return getParameter(KEY_BLC_SWITCH, v);
}
bool ISensorController::setBLCSwitch(int& v) {
    return setParameter(KEY_BLC_SWITCH, v, true) == SNS_SUCCESS;
}
bool ISensorController::getBLCStrength(int& v) {
    return getParameter(KEY_BLC_STRG, v);
}
bool ISensorController::setBLCStrength(int& v) {
    return setParameter(KEY_BLC_STRG, v, true) == SNS_SUCCESS;
}
bool ISensorController::getDefogSwitch(int& v) {
    return getParameter(KEY_DEFLG_SWITCH, v);
}
bool ISensorController::setDefogSwitch(int& v) {
    return setParameter(KEY_DEFLG_SWITCH, v, true) == SNS_SUCCESS;
}
bool ISensorController::getDefogStrength(int& v) {
    return getParameter(KEY_DEFLG_STRG, v);
}
bool ISensorController::setDefogStrength(int& v) {
    return setParameter(KEY_DEFLG_STRG, v, true) == SNS_SUCCESS;
}
bool ISensorController::get2DSwitch(int& v) {
    return getParameter(KEY_2D_NR_SWITCH, v);
}
bool ISensorController::set2DSwitch(int& v) {
    return setParameter(KEY_2D_NR_SWITCH, v, true) == SNS_SUCCESS;
}
bool ISensorController::get2DMode(int& v) {
    return getParameter(KEY_2D_NR_MODE, v);
}
bool ISensorController::set2DMode(int& v) {
    return setParameter(KEY_2D_NR_MODE, v, true) == SNS_SUCCESS;
}
bool ISensorController::get2DAutoMaxStrength(int& v) {
    return getParameter(KEY_2D_NR_STRG_A, v);
}
bool ISensorController::set2DAutoMaxStrength(int& v) {
    return setParameter(KEY_2D_NR_STRG_A, v, true) == SNS_SUCCESS;
}
bool ISensorController::get2DManualMaxStrength(int& v) {
    return getParameter(KEY_2D_NR_STRG_M, v);
}
bool ISensorController::set2DManualMaxStrength(int& v) {
    return setParameter(KEY_2D_NR_STRG_M, v, true) == SNS_SUCCESS;
}
bool ISensorController::get3DSwitch(int& v) {
    return getParameter(KEY_3D_NR_SWITCH, v);
}
bool ISensorController::set3DSwitch(int& v) {
    return setParameter(KEY_3D_NR_SWITCH, v, true) == SNS_SUCCESS;
}
bool ISensorController::get3DMode(int& v) {
    return getParameter(KEY_3D_NR_MODE, v);
}
bool ISensorController::set3DMode(int& v) {
    return setParameter(KEY_3D_NR_MODE, v, true) == SNS_SUCCESS;
}
bool ISensorController::get3DAutoMaxStrength(int& v) {
    return getParameter(KEY_3D_NR_STRG_A, v);
}
bool ISensorController::set3DAutoMaxStrength(int& v) {
    return setParameter(KEY_3D_NR_STRG_A, v, true) == SNS_SUCCESS;
}
bool ISensorController::get3DManualMaxStrength(int& v) {
    return getParameter(KEY_3D_NR_STRG_M, v);
}
bool ISensorController::set3DManualMaxStrength(int& v) {
    return setParameter(KEY_3D_NR_STRG_M, v, true) == SNS_SUCCESS;
}
bool ISensorController::getBeaway(int& v) {
    return getParameter(KEY_BEAWAY, v);
}
bool ISensorController::setBeaway(int& v) {
    return setParameter(KEY_BEAWAY, v, true) == SNS_SUCCESS;
}
bool ISensorController::getMirrorValue(int& v) {
    return getParameter(KEY_MIRROR, v);
}

void ISensorController::setShowWDRFalg(bool show) {
    m_bShowWDRFalg = show;
}

bool ISensorController::getShowWDRFalg(bool& show) {
    show = m_bShowWDRFalg.load();
    return true;
}

void ISensorController::setShowBeawayFalg(bool show) {
    setshowBeawayFalg(show);
}

bool ISensorController::getShowBeawayFalg(bool& show) {
    show = getshowBeawayFalg();
    return true;
}

// The zoom/focus record is handed over whole; both directions report false,
// which is what hosts of this interface have always been given.
bool ISensorController::getSensorZoomFocusParam(SensorZoomFocusParam& param) {
    tarnix::lockrank::LeafScope objRank;
    std::lock_guard<std::mutex> objGuard(m_zoomFocusMutex);
    param = m_stZoomFocusParam;
    return false;
}

bool ISensorController::setSensorZoomFocusParam(SensorZoomFocusParam& param) {
    tarnix::lockrank::LeafScope objRank;
    std::lock_guard<std::mutex> objGuard(m_zoomFocusMutex);
    m_stZoomFocusParam = param;
    return false;
}
