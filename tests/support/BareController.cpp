#include "support/BareController.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>

namespace tarnix_test {

using Peer = ISensorControllerTestPeer;

BareController::BareController(const std::vector<KeyVal>& p_vecFactory, u32 p_nSchemeSum, int p_nChannel,
                               bool p_bBuildTable)
    : m_pCtl(new ISensorController()), m_pBlock(nullptr) {
    ISensorController& c = *m_pCtl;
    c.setChannelID(p_nChannel);
    Peer::setSchemeSum(c, p_nSchemeSum);

    const u32 nSum = static_cast<u32>(p_vecFactory.size());
    Peer::keyValSum(c) = nSum;
    // One block of (nSchemeSum + 1) rows, row i at entry i * m_nKeyValSum.
    m_pBlock = new KeyVal[(p_nSchemeSum + 1) * nSum];
    KeyVal** ppRows = new KeyVal*[p_nSchemeSum + 1];
    for (u32 s = 0; s <= p_nSchemeSum; ++s) {
        ppRows[s] = m_pBlock + s * nSum;
        if (nSum != 0) {
            std::memcpy(ppRows[s], p_vecFactory.data(), sizeof(KeyVal) * nSum);
        }
    }
    Peer::userKeyVal(c) = ppRows;
    Peer::fctKeyVal(c) = ppRows[p_nSchemeSum];
    Peer::keyValText(c) = new KeyVal[nSum];
    if (nSum != 0) {
        std::memset(Peer::keyValText(c), 0, sizeof(KeyVal) * nSum);
    }
    if (p_bBuildTable) {
        Peer::buildKeyCmdMap(c);
    }
}

BareController::~BareController() {
    release();
}

void BareController::release() {
    ISensorController& c = *m_pCtl;
    delete[] Peer::userKeyVal(c);
    Peer::userKeyVal(c) = nullptr;
    Peer::fctKeyVal(c) = nullptr;
    delete[] m_pBlock;
    m_pBlock = nullptr;
    Peer::keyValSum(c) = 0;
    delete[] Peer::keyValText(c);
    Peer::keyValText(c) = nullptr;
    delete[] Peer::keyValTmp(c);
    Peer::keyValTmp(c) = nullptr;
    delete[] Peer::keyValLpr(c);
    Peer::keyValLpr(c) = nullptr;
    std::free(Peer::keyCmdMap(c));
    Peer::keyCmdMap(c) = nullptr;
    m_pCtl.reset();
}

u32 BareController::schemeSum() {
    return Peer::sysConf(*m_pCtl).nSchemeSum;
}

u32 BareController::keyValSum() {
    return Peer::keyValSum(*m_pCtl);
}

KeyVal* BareController::row(u32 p_nScheme) {
    if (p_nScheme > schemeSum()) {
        ADD_FAILURE() << "row " << p_nScheme << " beyond the factory row";
        return nullptr;
    }
    return Peer::userKeyVal(*m_pCtl)[p_nScheme];
}

std::vector<KeyVal> BareController::rowCopy(u32 p_nScheme) {
    KeyVal* pRow = row(p_nScheme);
    if (pRow == nullptr) {
        return {};
    }
    return std::vector<KeyVal>(pRow, pRow + keyValSum());
}

bool BareController::has(u32 p_nScheme, u32 p_nKey) {
    KeyVal* pRow = row(p_nScheme);
    for (u32 i = 0; pRow != nullptr && i < keyValSum(); ++i) {
        if (pRow[i].key == p_nKey) {
            return true;
        }
    }
    return false;
}

u32 BareController::value(u32 p_nScheme, u32 p_nKey) {
    KeyVal* pRow = row(p_nScheme);
    for (u32 i = 0; pRow != nullptr && i < keyValSum(); ++i) {
        if (pRow[i].key == p_nKey) {
            return pRow[i].value;
        }
    }
    ADD_FAILURE() << "key " << p_nKey << " not in row " << p_nScheme;
    return 0xDEADBEEF;
}

void BareController::set(u32 p_nScheme, u32 p_nKey, u32 p_nValue) {
    KeyVal* pRow = row(p_nScheme);
    for (u32 i = 0; pRow != nullptr && i < keyValSum(); ++i) {
        if (pRow[i].key == p_nKey) {
            pRow[i].value = p_nValue;
            return;
        }
    }
    ADD_FAILURE() << "key " << p_nKey << " not in row " << p_nScheme;
}

void BareController::setEverywhere(u32 p_nKey, u32 p_nValue) {
    for (u32 s = 0; s <= schemeSum(); ++s) {
        set(s, p_nKey, p_nValue);
    }
}

void BareController::setCurScheme(int p_nScheme) {
    Peer::curScheme(*m_pCtl) = p_nScheme;
}
void BareController::setLastScheme(int p_nScheme) {
    Peer::lastScheme(*m_pCtl) = p_nScheme;
}
void BareController::setThermal(bool p_bOn) {
    Peer::thermal(*m_pCtl) = p_bOn;
}
void BareController::setLimitedIrPower(bool p_bOn) {
    Peer::limitedIrPower(*m_pCtl) = p_bOn;
}
void BareController::setDNScheme(bool p_bOn) {
    Peer::dnScheme(*m_pCtl) = p_bOn;
}
void BareController::setTimeScheme(bool p_bOn) {
    Peer::timeScheme(*m_pCtl) = p_bOn;
}
void BareController::setHasLens(bool p_bOn) {
    Peer::hasLens(*m_pCtl) = p_bOn;
}
void BareController::setShowWDR(bool p_bOn) {
    Peer::showWDR(*m_pCtl) = p_bOn;
}
void BareController::setFlag(u8 p_nBits, bool p_bOn) {
    Peer::setFlag(*m_pCtl, p_nBits, p_bOn);
}

std::vector<KeyVal> ordinaryFactoryList() {
    // Every key of the table served by the plain ISP handler (87 rows), the
    // momentary user keys (11) and two capture-offset keys, with distinct
    // non-zero values; KEY_LIGHT_TYPE is 0 so the plain light keys are live.
    // clang-format off
    static const u32 kKeys[] = {
        // doIaCmd
        8240, 34, 2337, 2353, 2321, 96, 16, 49, 50, 51, 52, 55, 56, 57, 65, 66, 80, 81, 82, 83, 768, 770, 771, 144,
        147, 160, 161, 162, 163, 164, 165, 166, 167, 155, 170, 171, 172, 173, 174, 2304, 2305, 2306, 2307, 2308,
        2309, 2312, 2313, 2369, 112, 113, 128, 129, 130, 2417, 2400, 2401, 176, 1536, 1537, 1538, 1584, 1571, 1552,
        1568, 2433, 2434, 2435, 2437, 2438, 2512, 2528, 2560, 8201, 8202, 8203, 8209, 8204, 8205, 8206, 8207, 8208,
        8217, 224, 2048, 2064, 772, 773,
        // doIaCmd_User
        17, 18, 1539, 1616, 1570, 1569, 1553, 1554, 2497, 8212, 8231,
        // doImageAdjust
        2432, 2436,
    };
    // clang-format on
    std::vector<KeyVal> vec;
    u32 nValue = 1;
    for (u32 nKey : kKeys) {
        vec.push_back({nKey, nKey == 224 ? 0u : nValue++});
    }
    return vec;
}

std::vector<KeyVal> typicalFactoryList() {
    // clang-format off
    return {
        {8000, 0},  {8001, 0},   {8002, 0},  {8003, 24}, {8004, 0},  // scheme mode and window
        {34, 50},   {2337, 50},  {2353, 50}, {2321, 50},             // image
        {16, 0},    {49, 40},    {65, 30},                           // exposure
        {144, 0},   {145, 30},   {146, 60},  {147, 5},               // day/night
        {149, 18},  {150, 0},    {151, 6},   {152, 0},               // day/night times
        {160, 0},   {161, 0},    {163, 50},  {165, 40},  {167, 30},  // infrared
        {170, 0},   {171, 0},    {172, 50},  {173, 40},  {174, 30},  // white light
        {224, 0},   {168, 0},    {175, 0},   {200, 50},  {203, 50},  // light type and twins
        {2368, 0},  {2369, 50},  {10, 0},                            // WDR
        {2384, 0},  {2385, 0},   {11, 0},                            // mirror and beaway
        {2416, 0},  {2417, 50},                                      // anti-shake
        {8201, 0},  {8217, 0},                                       // thermal keys
        {2432, 0},  {2436, 0},                                       // capture offset
    };
    // clang-format on
}

} // namespace tarnix_test
