// Scheme cache accessors and the one apply path of every parameter change.
#define SNS_SOURCE_FILE "ISensorController.cpp"

#include <cstdio>
#include <cstring>
#include <string>

#include "controller/ISensorController.h"
#include "controller/ApplyGate.h"
#include "controller/ParamLock.h"
#include "controller/SensorDebug.h"

namespace {

// Keys with a special treatment in the apply loop.
const u32 kKeySchemeMode = 8000;
const u32 kKeySchemeStartHour = 8001;
const u32 kKeySchemeEndMin = 8004;
const u32 kKeyEmpty1 = 10;
const u32 kKeyEmpty2 = 11;
const u32 kKeyEmpty3 = 13;
const u32 kKeyMirror = 2384;
const u32 kKeyAntiShakeSwitch = 2416;
const u32 kKeyNoneColorMode = 8201;
const u32 kKeyTemperatureStripSwitch = 8217;
const u32 kKeyLightType = 224;
const u32 kKeyIrManualStrgNear = 163;
const u32 kKeyIrManualStrgFar = 167;

// Words of the value buffer a handler is given. Most commands carry one
// 32-bit value, but an unknown key reaches the ISP with its own number and
// some commands move whole records; the buffer is large enough for any record
// the ISP exchanges, so nothing is read or written past it.
const size_t kValueBufferWords = 128;

// Light type under which the intelligent twin of a light key is the live one.
const u32 kLightTypeIntelligent = 2;

// The two IR manual strengths may not add up to more than this when the
// infrared power is limited.
const u32 kIrPowerLimit = 100;

// Day/night keys: under the day/night scheme policy only scheme 0 applies them.
bool isDayNightKey(u32 p_nKey) {
    switch (p_nKey) {
    case 144: // KEY_DN_MODE
    case 145: // KEY_DTN_THR
    case 146: // KEY_NTD_THR
    case 149: // KEY_DTN_H
    case 150: // KEY_DTN_M
    case 151: // KEY_NTD_H
    case 152: // KEY_NTD_M
        return true;
    default:
        return false;
    }
}

// Plain light keys and their intelligent twins; KEY_LIGHT_TYPE selects which
// of the two is live.
struct TwinPair {
    u32 plain;
    u32 twin;
};
const TwinPair kTwinPairs[] = {
    {161, 168}, // KEY_IR_MODE / KEY_IR_MODE_INTELL
    {171, 175}, // KEY_WHITE_MODE / KEY_WHITE_MODE_INTELL
    {163, 200}, // KEY_IR_MANUAL_STRG_NEAR / KEY_IR_MANUAL_STRG_NEAR_INTELL
    {165, 201}, // KEY_IR_MANUAL_STRG_MEDIUM
    {167, 202}, // KEY_IR_MANUAL_STRG_FAR
    {172, 203}, // KEY_WHITE_MANUAL_STRG / KEY_WHITE_MANUAL_STRG_INTELL
    {173, 204}, // KEY_WHITE_MANUAL_STRG_MEDIUM
    {174, 205}, // KEY_WHITE_MANUAL_STRG_FAR
};

// Key name of a row as the traces print it. A name of 32 characters or more
// fills its field without a terminator and runs on into the handler name;
// the text is built from both bounded fields so nothing is read past the row.
std::string rowKeyName(const keycmd& p_stRow) {
    const void* pEnd = std::memchr(p_stRow.szKeyName, '\0', sizeof(p_stRow.szKeyName));
    if (pEnd != nullptr) {
        return std::string(p_stRow.szKeyName);
    }
    std::string strName(p_stRow.szKeyName, sizeof(p_stRow.szKeyName));
    strName.append(p_stRow.szFuncName, strnlen(p_stRow.szFuncName, sizeof(p_stRow.szFuncName)));
    return strName;
}

std::string rowFuncName(const keycmd& p_stRow) {
    return std::string(p_stRow.szFuncName, strnlen(p_stRow.szFuncName, sizeof(p_stRow.szFuncName)));
}

void copyText(char* p_szDest, size_t p_nSize, const char* p_szSrc) {
    std::memset(p_szDest, 0, p_nSize);
    std::strncpy(p_szDest, p_szSrc, p_nSize - 1);
}

} // namespace

int ISensorController::setKeyValToCache(u32 p_nScheme, u32 p_nKey, u32 p_nValue, bool p_bForce) {
    if (m_ppUserKeyVal == nullptr) {
        return -1;
    }
    if (!p_bForce && p_nScheme >= m_stSysConf.nSchemeSum) {
        return -2;
    }
    // A forced write may address the factory row, but never a row past it.
    if (p_nScheme > m_stSysConf.nSchemeSum) {
        return -1;
    }
    KeyVal* pRow = m_ppUserKeyVal[p_nScheme];
    if (pRow == nullptr) {
        return -1;
    }
    for (u32 i = 0; i < m_nKeyValSum; ++i) {
        if (pRow[i].key == p_nKey) {
            pRow[i].value = p_nValue;
            return static_cast<int>(i);
        }
    }
    return -1;
}

int ISensorController::getKeyValFromCache(u32 p_nScheme, u32 p_nKey, u32& p_nValue) {
    // The factory row (index nSchemeSum) is readable.
    if (p_nScheme > m_stSysConf.nSchemeSum) {
        SENSOR_LINE(5, 0, "can not find val, invalid sheme(%d) \n", static_cast<int>(p_nScheme));
        return -1;
    }
    if (m_ppUserKeyVal == nullptr) {
        return -1;
    }
    const KeyVal* pRow = m_ppUserKeyVal[p_nScheme];
    if (pRow == nullptr) {
        return -1;
    }
    for (u32 i = 0; i < m_nKeyValSum; ++i) {
        if (pRow[i].key == p_nKey) {
            p_nValue = pRow[i].value;
            return static_cast<int>(i);
        }
    }
    return -1;
}

bool ISensorController::isKeyValSame(const KeyVal& p_stKeyVal) {
    // During a switch the ISP still holds the values of the scheme that was in
    // force before it, so that is the row to compare with.
    u32 nScheme = testFlag(FLAG_SWITCHING) ? static_cast<u32>(m_nLastScheme.load())
                                           : static_cast<u32>(m_nCurScheme.load());
    u32 nValue = 0;
    if (getKeyValFromCache(nScheme, p_stKeyVal.key, nValue) < 0) {
        return false;
    }
    return nValue == p_stKeyVal.value;
}

int ISensorController::setParameters(KeyVal* p_pKeyval, u32 p_nCount, bool p_bCache) {
    // The callers inside the library hold the gate already; a host calling
    // the apply loop directly gets it here.
    tarnix::GateLock objGate;
    if (p_pKeyval == nullptr) {
        p_nCount = 0;
    }
    for (u32 i = 0; i < p_nCount; ++i) {
        if (p_bCache && isKeyValSame(p_pKeyval[i])) {
            continue;
        }
        const u32 nKey = p_pKeyval[i].key;
        const u32 nCurScheme = static_cast<u32>(m_nCurScheme.load());
        bool bHandled = false; // the record needs no table lookup (cache only or done)

        if (nKey == kKeySchemeMode) {
            // The scheme mode is kept by scheme 0; the other user schemes follow it.
            if (nCurScheme == 0) {
                u32 nMode = 0;
                if (p_pKeyval[i].value == 1) {
                    m_bTimeScheme = true;
                    m_bDNScheme = false;
                    nMode = 1;
                } else if (p_pKeyval[i].value == 2) {
                    m_bTimeScheme = false;
                    m_bDNScheme = true;
                    nMode = 2;
                } else {
                    m_bTimeScheme = false;
                    m_bDNScheme = false;
                }
                for (u32 s = 1; s < m_stSysConf.nSchemeSum; ++s) {
                    setKeyValToCache(s, kKeySchemeMode, nMode, true);
                }
            }
            bHandled = true;
        } else if ((nKey >= kKeySchemeStartHour && nKey <= kKeySchemeEndMin) || nKey == kKeyEmpty1 ||
                   nKey == kKeyEmpty2 || nKey == kKeyEmpty3) {
            bHandled = true;
        } else if (m_bThermal && nKey == kKeyMirror) {
            doMirror(nKey, IA_CMD_OPT_SET, &p_pKeyval[i].value);
            bHandled = true;
        } else if (m_bThermal && nKey == kKeyAntiShakeSwitch) {
            doDIS(nKey, IA_CMD_OPT_SET, &p_pKeyval[i].value);
            bHandled = true;
        } else if (m_bThermal && (nKey == kKeyNoneColorMode || nKey == kKeyTemperatureStripSwitch)) {
            notifyToVideo(static_cast<int>(nKey), static_cast<int>(p_pKeyval[i].value));
            bHandled = true;
        }

        if (!bHandled) {
            const u32 nValue = p_pKeyval[i].value;

            // Under the day/night policy the day/night keys are applied by
            // scheme 0 only, which hands them on to scheme 1.
            bool bApply = true;
            if (m_bDNScheme && isDayNightKey(nKey)) {
                if (nCurScheme == 0) {
                    setKeyValToCache(1, nKey, nValue, true);
                } else {
                    bApply = false;
                }
            }

            u32 nLightType = 0;
            getKeyValFromCache(nCurScheme, kKeyLightType, nLightType);

            // Infrared power cap: near and far strength together at most 100.
            if (m_bisLimitedIrPower && (nKey == kKeyIrManualStrgNear || nKey == kKeyIrManualStrgFar)) {
                const u32 nPartner =
                    (nKey == kKeyIrManualStrgNear) ? kKeyIrManualStrgFar : kKeyIrManualStrgNear;
                u32 nVal = static_cast<u32>(-1);
                if (getKeyValFromCache(nCurScheme, nPartner, nVal) < 0) {
                    // The partner is not cached: ask the ISP. The read uses the
                    // record's own key while the messages name the partner.
                    int nRet = doIaCmd(nKey, IA_CMD_OPT_GET, &nVal);
                    if (nRet == SNS_SUCCESS) {
                        std::puts(nKey == kKeyIrManualStrgNear
                                      ? "### KEY_IR_MANUAL_STRG_FAR doIaCmd sucess"
                                      : "### KEY_IR_MANUAL_STRG_NEAR doIaCmd sucess");
                    } else {
                        SENSOR_ASSERT_T(nRet == SNS_SUCCESS,
                                        "SNS_SUCCESS == doIaCmd(p_pKeyval[i].key, IA_CMD_OPT_GET, &nVal)",
                                        "get key(%d) val from 2a err", static_cast<int>(nVal));
                        std::puts(nKey == kKeyIrManualStrgNear ? "### KEY_IR_MANUAL_STRG_FAR doIaCmd error"
                                                               : "### KEY_IR_MANUAL_STRG_NEAR doIaCmd error");
                    }
                }
                if (nVal != static_cast<u32>(-1) && nVal + nValue > kIrPowerLimit) {
                    // The result names the first record of the list, not this one.
                    return -static_cast<int>(p_pKeyval[0].key);
                }
            }

            // Intelligent twins: only the live key of a pair is applied, always
            // through the plain key's row, and both keys keep the value.
            u32 nCmdKey = nKey;
            bool bSkip = false;
            for (const TwinPair& stPair : kTwinPairs) {
                if (nKey == stPair.plain) {
                    if (nLightType != kLightTypeIntelligent) {
                        setKeyValToCache(nCurScheme, stPair.twin, nValue, true);
                    } else {
                        bSkip = true;
                    }
                    break;
                }
                if (nKey == stPair.twin) {
                    if (nLightType == kLightTypeIntelligent) {
                        setKeyValToCache(nCurScheme, stPair.plain, nValue, true);
                        nCmdKey = stPair.plain;
                    } else {
                        bSkip = true;
                    }
                    break;
                }
            }
            if (bSkip) {
                continue;
            }

            if (bApply) {
                keycmd stKeyCmdTmp;
                std::memset(&stKeyCmdTmp, 0, sizeof(stKeyCmdTmp));
                int nIndex =
                    (m_pKeyCmdMap != nullptr) ? findFromKeyCmdMap(m_pKeyCmdMap, nCmdKey, stKeyCmdTmp) : -1;
                SENSOR_ASSERT_T(-1 != nIndex, "-1 != findFromKeyCmdMap(m_pKeyCmdMap, nKey, stKeyCmdTmp)",
                                "p_pKeyval[%u].key(%u)", i, nCmdKey);
                if (nIndex == -1) {
                    SENSOR_LINE(5, 32, "not find (%d) \n", static_cast<int>(nCmdKey));
                    // An unknown key goes to the ISP with its own number.
                    std::memset(&stKeyCmdTmp, 0, sizeof(stKeyCmdTmp));
                    stKeyCmdTmp.key = nCmdKey;
                    stKeyCmdTmp.ia_cmd = nCmdKey;
                    stKeyCmdTmp.fun = &ISensorController::doIaCmd;
                    copyText(stKeyCmdTmp.szKeyName, sizeof(stKeyCmdTmp.szKeyName), "unknow key");
                    copyText(stKeyCmdTmp.szFuncName, sizeof(stKeyCmdTmp.szFuncName),
                             "ISensorController::doIaCmd");
                }

                const std::string strName = rowKeyName(stKeyCmdTmp);
                const std::string strFunc = rowFuncName(stKeyCmdTmp);
                SENSOR_LINE(
                    5, 31, "====================== set %s (%d,%d) func:%s ia_cmd:%d =====================\n",
                    strName.c_str(), static_cast<int>(stKeyCmdTmp.key), static_cast<int>(p_pKeyval[i].value),
                    strFunc.c_str(), static_cast<int>(stKeyCmdTmp.ia_cmd));

                // A row without a handler only keeps its value in the cache.
                if (stKeyCmdTmp.fun != nullptr) {
                    // The handler may change the value; the record takes it back.
                    u32 aValue[kValueBufferWords] = {};
                    aValue[0] = p_pKeyval[i].value;
                    int nRet = (this->*stKeyCmdTmp.fun)(stKeyCmdTmp.ia_cmd, IA_CMD_OPT_SET, aValue);
                    p_pKeyval[i].value = aValue[0];
                    if (nRet != SNS_SUCCESS) {
                        if (nRet == -5 || nRet == -4 || nRet == -1) {
                            SENSOR_TRACE(TRACE_ERR, "set %s (%d,%d) func:%s ia_cmd:%d ~~~failed ia_ret=%d\n",
                                         strName.c_str(), static_cast<int>(stKeyCmdTmp.key),
                                         static_cast<int>(p_pKeyval[i].value), strFunc.c_str(),
                                         static_cast<int>(stKeyCmdTmp.ia_cmd), nRet);
                        }
                        return -static_cast<int>(stKeyCmdTmp.key);
                    }
                }
            }
        }

        // The record is handled: keep its value (as the handler left it) in
        // the current scheme, under the record's own key.
        if (p_bCache) {
            if (setKeyValToCache(nCurScheme, nKey, p_pKeyval[i].value, false) == -1) {
                SENSOR_TRACE(
                    TRACE_DBG,
                    "SET_KEY_VAL FAILED, m_nCurScheme(%d), p_pKeyval[%d].key(%d), p_pKeyval[%d].value(%d),  "
                    "maybe jixin\n",
                    static_cast<int>(nCurScheme), static_cast<int>(i), static_cast<int>(nKey),
                    static_cast<int>(i), static_cast<int>(p_pKeyval[i].value));
            }
        }
    }
    std::putchar('\n');
    return SNS_SUCCESS;
}

bool ISensorController::getParamScheme(int& p_nScheme) {
    tarnix::ParamLock objLock(*this, __LINE__);
    p_nScheme = m_nCurScheme.load();
    return true;
}

bool ISensorController::getParamMode(int& p_nMode) {
    tarnix::ParamLock objLock(*this, __LINE__);
    p_nMode = m_nMode.load();
    return true;
}
