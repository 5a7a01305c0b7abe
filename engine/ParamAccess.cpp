// Single parameter access: one key at a time, and the named accessors.
#define SNS_SOURCE_FILE "ISensorController.cpp"

#include <cstddef>

#include "controller/ISensorController.h"
#include "controller/LockRank.h"
#include "controller/ParamLock.h"
#include "controller/SensorDebug.h"

namespace {

const int kKeyDNMode = 144;
const int kKeyWdrMode = 2368;
const int kKeyWdrStrg = 2369;
const int kKeyHlcSwitch = 112;
const int kKeyHlcStrg = 113;
const int kKeyBlcSwitch = 128;
const int kKeyBlcStrg = 130;
const int kKeyDefogSwitch = 2400;
const int kKeyDefogStrg = 2401;
const int kKey2DNrSwitch = 2304;
const int kKey2DNrMode = 2305;
const int kKey2DNrStrgA = 2306;
const int kKey2DNrStrgM = 2307;
const int kKey3DNrSwitch = 2308;
const int kKey3DNrMode = 2309;
const int kKey3DNrStrgA = 2312;
const int kKey3DNrStrgM = 2313;
const int kKeyBeaway = 2385;
const int kKeyMirror = 2384;

// IR keys that answer -1 instead of asking the ISP when they are not cached:
// KEY_IR_SWITCH, KEY_IR_MODE, KEY_IR_MANUAL_STRG_NEAR, _MEDIUM and _FAR, as a
// bit mask over the keys 160 to 167.
const int kIrKeyBase = 160;
const unsigned int kIrUncachedMask = 0xAB;

bool isUncachedIrKey(int p_nKey) {
    if (p_nKey < kIrKeyBase || p_nKey > kIrKeyBase + 7) {
        return false;
    }
    return ((kIrUncachedMask >> (p_nKey - kIrKeyBase)) & 1u) != 0;
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
    u32 aValue[SNS_VALUE_BUFFER_WORDS] = {};
    aValue[0] = static_cast<u32>(p_nVal);
    int nRet = doIaCmd(static_cast<unsigned int>(p_nKey), IA_CMD_OPT_GET, aValue);
    p_nVal = static_cast<int>(aValue[0]);
    SENSOR_ASSERT_T(SNS_SUCCESS == nRet, "SNS_SUCCESS == doIaCmd(p_nKey, IA_CMD_OPT_GET, &p_nVal)",
                    "get key(%d) val from 2a err", p_nKey);
    return nRet == SNS_SUCCESS;
}

bool ISensorController::getDNMode(int& v) {
    // Always reports success, whatever the read gave.
    getParameter(kKeyDNMode, v);
    return true;
}

bool ISensorController::setDNMode(int v) {
    return setParameter(kKeyDNMode, v, true) == SNS_SUCCESS;
}

bool ISensorController::getWDRSwitch(int& v) {
    return getParameter(kKeyWdrMode, v);
}
bool ISensorController::setWDRSwitch(int& v) {
    return setParameter(kKeyWdrMode, v, true) == SNS_SUCCESS;
}
bool ISensorController::getWDRStrength(int& v) {
    return getParameter(kKeyWdrStrg, v);
}
bool ISensorController::setWDRStrength(int& v) {
    return setParameter(kKeyWdrStrg, v, true) == SNS_SUCCESS;
}
bool ISensorController::getHLCSwitch(int& v) {
    return getParameter(kKeyHlcSwitch, v);
}
bool ISensorController::setHLCSwitch(int& v) {
    return setParameter(kKeyHlcSwitch, v, true) == SNS_SUCCESS;
}
bool ISensorController::getHLCStrength(int& v) {
    return getParameter(kKeyHlcStrg, v);
}
bool ISensorController::setHLCStrength(int& v) {
    return setParameter(kKeyHlcStrg, v, true) == SNS_SUCCESS;
}
bool ISensorController::getBLCSwitch(int& v) {
    return getParameter(kKeyBlcSwitch, v);
}
bool ISensorController::setBLCSwitch(int& v) {
    return setParameter(kKeyBlcSwitch, v, true) == SNS_SUCCESS;
}
bool ISensorController::getBLCStrength(int& v) {
    return getParameter(kKeyBlcStrg, v);
}
bool ISensorController::setBLCStrength(int& v) {
    return setParameter(kKeyBlcStrg, v, true) == SNS_SUCCESS;
}
bool ISensorController::getDefogSwitch(int& v) {
    return getParameter(kKeyDefogSwitch, v);
}
bool ISensorController::setDefogSwitch(int& v) {
    return setParameter(kKeyDefogSwitch, v, true) == SNS_SUCCESS;
}
bool ISensorController::getDefogStrength(int& v) {
    return getParameter(kKeyDefogStrg, v);
}
bool ISensorController::setDefogStrength(int& v) {
    return setParameter(kKeyDefogStrg, v, true) == SNS_SUCCESS;
}
bool ISensorController::get2DSwitch(int& v) {
    return getParameter(kKey2DNrSwitch, v);
}
bool ISensorController::set2DSwitch(int& v) {
    return setParameter(kKey2DNrSwitch, v, true) == SNS_SUCCESS;
}
bool ISensorController::get2DMode(int& v) {
    return getParameter(kKey2DNrMode, v);
}
bool ISensorController::set2DMode(int& v) {
    return setParameter(kKey2DNrMode, v, true) == SNS_SUCCESS;
}
bool ISensorController::get2DAutoMaxStrength(int& v) {
    return getParameter(kKey2DNrStrgA, v);
}
bool ISensorController::set2DAutoMaxStrength(int& v) {
    return setParameter(kKey2DNrStrgA, v, true) == SNS_SUCCESS;
}
bool ISensorController::get2DManualMaxStrength(int& v) {
    return getParameter(kKey2DNrStrgM, v);
}
bool ISensorController::set2DManualMaxStrength(int& v) {
    return setParameter(kKey2DNrStrgM, v, true) == SNS_SUCCESS;
}
bool ISensorController::get3DSwitch(int& v) {
    return getParameter(kKey3DNrSwitch, v);
}
bool ISensorController::set3DSwitch(int& v) {
    return setParameter(kKey3DNrSwitch, v, true) == SNS_SUCCESS;
}
bool ISensorController::get3DMode(int& v) {
    return getParameter(kKey3DNrMode, v);
}
bool ISensorController::set3DMode(int& v) {
    return setParameter(kKey3DNrMode, v, true) == SNS_SUCCESS;
}
bool ISensorController::get3DAutoMaxStrength(int& v) {
    return getParameter(kKey3DNrStrgA, v);
}
bool ISensorController::set3DAutoMaxStrength(int& v) {
    return setParameter(kKey3DNrStrgA, v, true) == SNS_SUCCESS;
}
bool ISensorController::get3DManualMaxStrength(int& v) {
    return getParameter(kKey3DNrStrgM, v);
}
bool ISensorController::set3DManualMaxStrength(int& v) {
    return setParameter(kKey3DNrStrgM, v, true) == SNS_SUCCESS;
}
bool ISensorController::getBeaway(int& v) {
    return getParameter(kKeyBeaway, v);
}
bool ISensorController::setBeaway(int& v) {
    return setParameter(kKeyBeaway, v, true) == SNS_SUCCESS;
}
bool ISensorController::getMirrorValue(int& v) {
    return getParameter(kKeyMirror, v);
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
