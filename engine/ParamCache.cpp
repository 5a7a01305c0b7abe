// Scheme cache accessors and the one apply path of every parameter change.
#define SNS_SOURCE_FILE "ISensorController.cpp"

#include <unistd.h>

#include <climits>
#include <cstdio>
#include <cstring>
#include <limits>
#include <new>
#include <string>

#include "controller/ISensorController.h"
#include "controller/KeyCatalogue.h"

using namespace tarnix::keys;
#include "controller/ApplyGate.h"
#include "controller/ParamLock.h"
#include "controller/SensorDebug.h"

namespace {

// Light type under which the intelligent twin of a light key is the live one.
const u32 kLightTypeIntelligent = 2;

// The two IR manual strengths may not add up to more than this when the
// infrared power is limited.
const u32 kIrPowerLimit = 100;

// A failed record answers with its key negated. Keys come from web text and
// may exceed INT_MAX; the negation wraps in unsigned arithmetic so such a key
// gives the same two's-complement result without a signed overflow.
int negatedKey(u32 p_nKey) {
    return static_cast<int>(0u - p_nKey);
}

// Keys that are only kept in the cache: the scheme time span and the empty keys.
bool isCacheOnlyKey(u32 p_nKey) {
    switch (p_nKey) {
    case KEY_SCHEME_START_HOUR:
    case KEY_SCHEME_START_MIN:
    case KEY_SCHEME_END_HOUR:
    case KEY_SCHEME_END_MIN:
    case KEY_EMPTY1:
    case KEY_EMPTY2:
    case KEY_EMPTY3:
        return true;
    default:
        return false;
    }
}

// Day/night keys: under the day/night scheme policy only scheme 0 applies them.
bool isDayNightKey(u32 p_nKey) {
    switch (p_nKey) {
    case KEY_DN_MODE:
    case KEY_DTN_THR:
    case KEY_NTD_THR:
    case KEY_DTN_H:
    case KEY_DTN_M:
    case KEY_NTD_H:
    case KEY_NTD_M:
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
    {KEY_IR_MODE, KEY_IR_MODE_INTELL},
    {KEY_WHITE_MODE, KEY_WHITE_MODE_INTELL},
    {KEY_IR_MANUAL_STRG_NEAR, KEY_IR_MANUAL_STRG_NEAR_INTELL},
    {KEY_IR_MANUAL_STRG_MEDIUM, KEY_IR_MANUAL_STRG_MEDIUM_INTELL},
    {KEY_IR_MANUAL_STRG_FAR, KEY_IR_MANUAL_STRG_FAR_INTELL},
    {KEY_WHITE_MANUAL_STRG, KEY_WHITE_MANUAL_STRG_INTELL},
    {KEY_WHITE_MANUAL_STRG_MEDIUM, KEY_WHITE_MANUAL_STRG_MEDIUM_INTELL},
    {KEY_WHITE_MANUAL_STRG_FAR, KEY_WHITE_MANUAL_STRG_FAR_INTELL},
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

// Scheme count used when the rows of the configured one cannot be held: the
// count of a module that names none.
const u32 kFallbackSchemeSum = 4;

// Bytes of the machine's memory; a cache larger than that cannot be held
// (0 when the system does not say).
unsigned long long physicalMemoryBytes() {
    const long nPages = ::sysconf(_SC_PHYS_PAGES);
    const long nPageSize = ::sysconf(_SC_PAGE_SIZE);
    if (nPages <= 0 || nPageSize <= 0) {
        return 0;
    }
    return static_cast<unsigned long long>(nPages) * static_cast<unsigned long long>(nPageSize);
}

// Whether nSchemeSum user schemes plus the factory row of p_nKeyValSum
// records each can be held: the factory row's index must stay a valid scheme
// number (an int), and the block of rows and the row pointers must neither
// overflow the allocation size nor exceed the machine's memory.
bool schemeRowsFit(u32 p_nSchemeSum, u32 p_nKeyValSum) {
    if (p_nSchemeSum > static_cast<u32>(INT_MAX)) {
        return false;
    }
    const unsigned long long nRows = static_cast<unsigned long long>(p_nSchemeSum) + 1;
    const unsigned long long nLimit = std::numeric_limits<size_t>::max() / 2;
    if (p_nKeyValSum != 0 && nRows > nLimit / sizeof(KeyVal) / p_nKeyValSum) {
        return false;
    }
    const unsigned long long nBytes = nRows * p_nKeyValSum * sizeof(KeyVal) + nRows * sizeof(KeyVal*);
    const unsigned long long nMemory = physicalMemoryBytes();
    return nMemory == 0 || nBytes <= nMemory;
}

} // namespace

void ISensorController::allocateSchemeCache() {
    const u32 nWanted = m_stSysConf.nSchemeSum;
    // The count asked for, else the usual count, else the factory row alone;
    // a fallback is never larger than what was asked for.
    const u32 aCounts[] = {nWanted, nWanted < kFallbackSchemeSum ? nWanted : kFallbackSchemeSum, 0};
    for (u32 nSchemeSum : aCounts) {
        if (!schemeRowsFit(nSchemeSum, m_nKeyValSum)) {
            continue;
        }
        const size_t nRows = static_cast<size_t>(nSchemeSum) + 1;
        KeyVal* pBlock = new (std::nothrow) KeyVal[nRows * m_nKeyValSum];
        KeyVal** ppRows = new (std::nothrow) KeyVal*[nRows];
        if (pBlock == nullptr || ppRows == nullptr) {
            delete[] pBlock;
            delete[] ppRows;
            continue;
        }
        SENSOR_ASSERT_T(nSchemeSum == nWanted,
                        "NULL != (m_pKeyValBlock = new KeyVal[(m_stSysConf.nSchemeSum + 1) * m_nKeyValSum])",
                        "nSchemeSum(%u) m_nKeyValSum(%u): the scheme rows cannot be allocated, %u schemes used\n",
                        nWanted, m_nKeyValSum, nSchemeSum);
        m_stSysConf.nSchemeSum = nSchemeSum;
        m_pKeyValBlock = pBlock;
        m_ppUserKeyVal = ppRows;
        return;
    }
    // Not even the factory row fits: the allocation fails as any other would.
    SENSOR_ASSERT_T(false, "NULL != (m_pKeyValBlock = new KeyVal[(m_stSysConf.nSchemeSum + 1) * m_nKeyValSum])",
                    "nSchemeSum(%u) m_nKeyValSum(%u): the scheme rows cannot be allocated\n", nWanted, m_nKeyValSum);
    m_stSysConf.nSchemeSum = 0;
    m_pKeyValBlock = new KeyVal[m_nKeyValSum];
    m_ppUserKeyVal = new KeyVal*[1];
}

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
    const tarnix::diag::Site stSite = SENSOR_SITE();
    // The callers inside the library hold the gate already; a host calling
    // the apply loop directly gets it here.
    tarnix::GateLock objGate;
    if (p_pKeyval == nullptr) {
        p_nCount = 0;
    }
    for (u32 i = 0; i < p_nCount; ++i) {
        if (p_bCache && isKeyValSame(p_pKeyval[i])) {
            continue; // the ISP already holds this value
        }
        KeyVal& stRecord = p_pKeyval[i];
        const u32 nCurScheme = static_cast<u32>(m_nCurScheme.load());
        if (!applyOutsideTable(stRecord, nCurScheme)) {
            const bool bApply = copyDayNightKey(stRecord, nCurScheme);
            if (exceedsIrPowerCap(stSite, stRecord, nCurScheme)) {
                // The result names the first record of the list, not this one.
                return negatedKey(p_pKeyval[0].key);
            }
            u32 nCmdKey = stRecord.key;
            if (!selectLiveLightKey(stRecord, nCurScheme, nCmdKey)) {
                continue; // the twin that is not live: neither applied nor cached
            }
            if (bApply) {
                const keycmd stRow = keyCmdRowFor(stSite, i, nCmdKey);
                const int nRet = callKeyHandler(stSite, stRow, stRecord);
                if (nRet != SNS_SUCCESS) {
                    return nRet;
                }
            }
        }
        if (p_bCache) {
            cacheRecord(stSite, i, stRecord, nCurScheme);
        }
    }
    std::putchar('\n');
    return SNS_SUCCESS;
}

// The scheme mode is kept by scheme 0: there it sets the policy flags and the
// other user schemes follow it; the current scheme gets the record's own value
// in the cache write.
void ISensorController::applySchemeMode(u32 p_nValue, u32 p_nCurScheme) {
    if (p_nCurScheme != 0) {
        return;
    }
    u32 nMode = 0;
    if (p_nValue == 1) {
        m_bTimeScheme = true;
        m_bDNScheme = false;
        nMode = 1;
    } else if (p_nValue == 2) {
        m_bTimeScheme = false;
        m_bDNScheme = true;
        nMode = 2;
    } else {
        m_bTimeScheme = false;
        m_bDNScheme = false;
    }
    for (u32 s = 1; s < m_stSysConf.nSchemeSum; ++s) {
        setKeyValToCache(s, KEY_SCHEME_MODE, nMode, true);
    }
}

// Keys the table does not serve: the scheme keys and the empty keys (cache
// only), and on the thermal channel the keys of its own video path. True when
// the record was one of them; it then goes on to the cache write.
bool ISensorController::applyOutsideTable(KeyVal& p_stRecord, u32 p_nCurScheme) {
    const u32 nKey = p_stRecord.key;
    if (nKey == KEY_SCHEME_MODE) {
        applySchemeMode(p_stRecord.value, p_nCurScheme);
        return true;
    }
    if (isCacheOnlyKey(nKey)) {
        return true;
    }
    if (!m_bThermal) {
        return false;
    }
    if (nKey == KEY_MIRROR) {
        doMirror(nKey, IA_CMD_OPT_SET, &p_stRecord.value);
        return true;
    }
    if (nKey == KEY_ANTI_SHAKE_SWITCH) {
        doDIS(nKey, IA_CMD_OPT_SET, &p_stRecord.value);
        return true;
    }
    if (nKey == KEY_NONE_COLOR_MODE || nKey == KEY_TEMPERATURE_STRIP_SWITCH) {
        notifyToVideo(static_cast<int>(nKey), static_cast<int>(p_stRecord.value));
        return true;
    }
    return false;
}

// The day/night copy: under the day/night policy scheme 0 applies a day/night
// key and hands it on to scheme 1, any other scheme only caches it. False
// when the record is not to be applied.
bool ISensorController::copyDayNightKey(const KeyVal& p_stRecord, u32 p_nCurScheme) {
    if (!m_bDNScheme || !isDayNightKey(p_stRecord.key)) {
        return true;
    }
    if (p_nCurScheme != 0) {
        return false;
    }
    setKeyValToCache(1, p_stRecord.key, p_stRecord.value, true);
    return true;
}

// The infrared power cap: with a limited IR power, the near and far manual
// strengths together may not exceed 100. True when the record would exceed it.
bool ISensorController::exceedsIrPowerCap(const tarnix::diag::Site& p_stSite, const KeyVal& p_stRecord,
                                          u32 p_nCurScheme) {
    const u32 nKey = p_stRecord.key;
    if (!m_bisLimitedIrPower || (nKey != KEY_IR_MANUAL_STRG_NEAR && nKey != KEY_IR_MANUAL_STRG_FAR)) {
        return false;
    }
    const u32 nPartner = (nKey == KEY_IR_MANUAL_STRG_NEAR) ? KEY_IR_MANUAL_STRG_FAR : KEY_IR_MANUAL_STRG_NEAR;
    u32 nVal = static_cast<u32>(-1);
    if (getKeyValFromCache(p_nCurScheme, nPartner, nVal) < 0) {
        // The partner is not cached: ask the ISP. The read uses the record's
        // own key while the messages name the partner.
        int nRet = doIaCmd(nKey, IA_CMD_OPT_GET, &nVal);
        if (nRet == SNS_SUCCESS) {
            std::puts(nKey == KEY_IR_MANUAL_STRG_NEAR ? "### KEY_IR_MANUAL_STRG_FAR doIaCmd sucess"
                                                      : "### KEY_IR_MANUAL_STRG_NEAR doIaCmd sucess");
        } else {
            SENSOR_ASSERT_FOR(p_stSite, __LINE__, nRet == SNS_SUCCESS,
                              "SNS_SUCCESS == doIaCmd(p_pKeyval[i].key, IA_CMD_OPT_GET, &nVal)",
                              "get key(%d) val from 2a err", static_cast<int>(nVal));
            std::puts(nKey == KEY_IR_MANUAL_STRG_NEAR ? "### KEY_IR_MANUAL_STRG_FAR doIaCmd error"
                                                      : "### KEY_IR_MANUAL_STRG_NEAR doIaCmd error");
        }
    }
    return nVal != static_cast<u32>(-1) && nVal + p_stRecord.value > kIrPowerLimit;
}

// The light-type twins: only the live key of a pair is applied, always through
// the plain key's row, and both keys keep the value. False when the record is
// the pair's other key (skipped entirely); p_nCmdKey gets the row's key.
bool ISensorController::selectLiveLightKey(const KeyVal& p_stRecord, u32 p_nCurScheme, u32& p_nCmdKey) {
    u32 nLightType = 0;
    getKeyValFromCache(p_nCurScheme, KEY_LIGHT_TYPE, nLightType);
    const bool bTwinLive = (nLightType == kLightTypeIntelligent);
    p_nCmdKey = p_stRecord.key;
    for (const TwinPair& stPair : kTwinPairs) {
        if (p_stRecord.key == stPair.plain) {
            if (bTwinLive) {
                return false;
            }
            setKeyValToCache(p_nCurScheme, stPair.twin, p_stRecord.value, true);
            return true;
        }
        if (p_stRecord.key == stPair.twin) {
            if (!bTwinLive) {
                return false;
            }
            setKeyValToCache(p_nCurScheme, stPair.plain, p_stRecord.value, true);
            p_nCmdKey = stPair.plain;
            return true;
        }
    }
    return true;
}

// The row lookup with its substitute: a key without a row is reported and goes
// to the ISP through doIaCmd with its own number as the ISP command.
keycmd ISensorController::keyCmdRowFor(const tarnix::diag::Site& p_stSite, u32 p_nIndex, u32 p_nCmdKey) {
    keycmd stRow;
    std::memset(&stRow, 0, sizeof(stRow));
    int nIndex = (m_pKeyCmdMap != nullptr) ? findFromKeyCmdMap(m_pKeyCmdMap, p_nCmdKey, stRow) : -1;
    SENSOR_ASSERT_FOR(p_stSite, __LINE__, -1 != nIndex, "-1 != findFromKeyCmdMap(m_pKeyCmdMap, nKey, stKeyCmdTmp)",
                      "p_pKeyval[%u].key(%u)", p_nIndex, p_nCmdKey);
    if (nIndex == -1) {
        SENSOR_LINE(5, 32, "not find (%d) \n", static_cast<int>(p_nCmdKey));
        std::memset(&stRow, 0, sizeof(stRow));
        stRow.key = p_nCmdKey;
        stRow.ia_cmd = p_nCmdKey;
        stRow.fun = &ISensorController::doIaCmd;
        copyText(stRow.szKeyName, sizeof(stRow.szKeyName), "unknow key");
        copyText(stRow.szFuncName, sizeof(stRow.szFuncName), "ISensorController::doIaCmd");
    }
    return stRow;
}

// The handler call: the row's handler gets its ISP command, the set option and
// the record's value, which it may change in place. 0, or the negated row key.
int ISensorController::callKeyHandler(const tarnix::diag::Site& p_stSite, const keycmd& p_stRow, KeyVal& p_stRecord) {
    const std::string strName = rowKeyName(p_stRow);
    const std::string strFunc = rowFuncName(p_stRow);
    SENSOR_LINE(5, 31, "====================== set %s (%d,%d) func:%s ia_cmd:%d =====================\n",
                strName.c_str(), static_cast<int>(p_stRow.key), static_cast<int>(p_stRecord.value), strFunc.c_str(),
                static_cast<int>(p_stRow.ia_cmd));
    // A row without a handler only keeps its value in the cache.
    if (p_stRow.fun == nullptr) {
        return SNS_SUCCESS;
    }
    u32 aValue[tarnix::kValueBufferWords] = {};
    aValue[0] = p_stRecord.value;
    int nRet = (this->*p_stRow.fun)(p_stRow.ia_cmd, IA_CMD_OPT_SET, aValue);
    p_stRecord.value = aValue[0];
    if (nRet == SNS_SUCCESS) {
        return SNS_SUCCESS;
    }
    if (nRet == -5 || nRet == -4 || nRet == -1) {
        SENSOR_TRACE_FOR(p_stSite, TRACE_ERR, "set %s (%d,%d) func:%s ia_cmd:%d ~~~failed ia_ret=%d\n",
                         strName.c_str(), static_cast<int>(p_stRow.key), static_cast<int>(p_stRecord.value),
                         strFunc.c_str(), static_cast<int>(p_stRow.ia_cmd), nRet);
    }
    return negatedKey(p_stRow.key);
}

// The cache write: the record's value, as the handler left it, goes into the
// current scheme under the record's own key.
void ISensorController::cacheRecord(const tarnix::diag::Site& p_stSite, u32 p_nIndex, const KeyVal& p_stRecord,
                                    u32 p_nCurScheme) {
    if (setKeyValToCache(p_nCurScheme, p_stRecord.key, p_stRecord.value, false) == -1) {
        SENSOR_TRACE_FOR(
            p_stSite, TRACE_DBG,
            "SET_KEY_VAL FAILED, m_nCurScheme(%d), p_pKeyval[%d].key(%d), p_pKeyval[%d].value(%d),  maybe jixin\n",
            static_cast<int>(p_nCurScheme), static_cast<int>(p_nIndex), static_cast<int>(p_stRecord.key),
            static_cast<int>(p_nIndex), static_cast<int>(p_stRecord.value));
    }
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
