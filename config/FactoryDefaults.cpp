// Factory values: every item of the narrowed style that carries both an "id"
// and a "value" gives one KeyVal, in document order.
#define SNS_SOURCE_FILE "SensorKeyVal.cpp"

#include "config/FactoryDefaults.h"

#include <cstdlib>
#include <limits>
#include <string>

#include "config/DnaStyle.h"
#include "config/StyleXml.h"
#include "controller/SensorDebug.h"

namespace {

// Hands every item below and including p_pNode that has "id" and "value" to
// p_fnTake, parent before child, until it refuses (returns false); false then.
// Unlike the searches, the walk always descends: items may nest.
template <typename Take>
bool walkValueItems(const TiXmlElement* p_pNode, Take& p_fnTake) {
    if (p_pNode == nullptr) {
        return true;
    }
    const char* szId = p_pNode->Attribute("id");
    const char* szValue = p_pNode->Attribute("value");
    if (szId != nullptr && szValue != nullptr &&
        !p_fnTake(KeyVal{static_cast<u32>(std::atoi(szId)), static_cast<u32>(std::atoi(szValue))})) {
        return false;
    }
    for (const TiXmlElement* pChild = p_pNode->FirstChildElement(); pChild != nullptr;
         pChild = pChild->NextSiblingElement()) {
        if (!walkValueItems(pChild, p_fnTake)) {
            return false;
        }
    }
    return true;
}

// Appends the value items of p_pNode's subtree at p_nCount onwards through
// p_fnStore(index, record), which refuses when there is no room. 0, or -1
// when a record found no room (the walk ends there).
template <typename Store>
int appendValueItems(const TiXmlElement* p_pNode, u32& p_nCount, Store p_fnStore) {
    auto take = [&](const KeyVal& p_stRecord) {
        if (p_nCount == std::numeric_limits<u32>::max() || !p_fnStore(p_nCount, p_stRecord)) {
            return false;
        }
        ++p_nCount;
        return true;
    };
    return walkValueItems(p_pNode, take) ? 0 : -1;
}

// The body of every getFctData form, reporting under the calling form's name:
// the channel's style narrowed by the ISP, parsed, and its value items stored
// from index 0 through p_fnStore; p_nCount gets their number.
template <typename Store>
void collectFactoryValues(const tarnix::diag::Site& p_stSite, int p_channelID, const char* p_szStyle,
                          bool p_bShowWDRFalg, bool p_bShowLDCFlag, u32& p_nCount, Store p_fnStore) {
    std::string strDnaStyle;
    const int nStyleRet = getDnaStyle(p_channelID, p_szStyle, strDnaStyle, p_bShowWDRFalg, p_bShowLDCFlag);
    SENSOR_ASSERT_FOR(p_stSite, 585, SNS_SUCCESS == nStyleRet,
                      "SNS_SUCCESS == getDnaStyle(p_channelID,p_szStyle, strDnaStyle,p_bShowWDRFalg,p_bShowLDCFlag)",
                      "");
    TiXmlDocument objDnaStyleDoc;
    const bool bLoaded = LoadMem(objDnaStyleDoc, strDnaStyle.c_str(), TIXML_ENCODING_UTF8);
    SENSOR_ASSERT_FOR(p_stSite, 589, bLoaded,
                      "objDnaStyleDoc.LoadMem(strDnaStyle.c_str(), TIXML_ENCODING_UTF8)", "");
    p_nCount = 0;
    const int nItemsRet = appendValueItems(objDnaStyleDoc.RootElement(), p_nCount, p_fnStore);
    SENSOR_ASSERT_FOR(p_stSite, 593, SNS_SUCCESS == nItemsRet,
                      "SNS_SUCCESS == style2KeyVal(pRootNode, p_pKeyVal, p_pnKeyValNum)", "p_pnKeyValNum(%u)\n",
                      p_nCount);
}

// Stores into a caller's array of p_nCapacity records.
struct ArrayStore {
    KeyVal* records;
    u32 capacity;
    bool operator()(u32 p_nIndex, const KeyVal& p_stRecord) const {
        if (records == nullptr || p_nIndex >= capacity) {
            return false;
        }
        records[p_nIndex] = p_stRecord;
        return true;
    }
};

// A caller's array without a stated size: it holds as many records as the
// style has items (the caller's contract, as for memcpy).
const u32 kCallersContract = std::numeric_limits<u32>::max();

} // namespace

int style2KeyVal(TiXmlElement* node, KeyVal* p_pKeyVal, u32* p_pnKeyValNum) {
    return style2KeyVal(node, p_pKeyVal, p_pnKeyValNum, kCallersContract);
}

int style2KeyVal(TiXmlElement* node, KeyVal* p_pKeyVal, u32* p_pnKeyValNum, u32 capacity) {
    if (node == nullptr) {
        return 0;
    }
    if (p_pnKeyValNum == nullptr) {
        return -1;
    }
    return appendValueItems(node, *p_pnKeyValNum, ArrayStore{p_pKeyVal, capacity});
}

int getFctData(int p_channelID, char* p_szStyle, KeyVal* p_pKeyVal, u32* p_pnKeyValNum, bool p_bShowWDRFalg,
               bool p_bShowLDCFlag) {
    u32 nLocalCount = 0;
    collectFactoryValues(SENSOR_SITE(), p_channelID, p_szStyle, p_bShowWDRFalg, p_bShowLDCFlag,
                         p_pnKeyValNum != nullptr ? *p_pnKeyValNum : nLocalCount,
                         ArrayStore{p_pKeyVal, kCallersContract});
    return SNS_SUCCESS;
}

int getFctData(int p_channelID, const char* p_szStyle, KeyVal* p_pKeyVal, u32* p_pnKeyValNum, u32 capacity,
               bool p_bShowWDRFalg, bool p_bShowLDCFlag) {
    u32 nLocalCount = 0;
    collectFactoryValues(SENSOR_SITE(), p_channelID, p_szStyle, p_bShowWDRFalg, p_bShowLDCFlag,
                         p_pnKeyValNum != nullptr ? *p_pnKeyValNum : nLocalCount, ArrayStore{p_pKeyVal, capacity});
    return SNS_SUCCESS;
}

int getFctData(int p_channelID, const char* p_szStyle, std::vector<KeyVal>& out, bool p_bShowWDRFalg,
               bool p_bShowLDCFlag) {
    out.clear();
    u32 nCount = 0;
    collectFactoryValues(SENSOR_SITE(), p_channelID, p_szStyle, p_bShowWDRFalg, p_bShowLDCFlag, nCount,
                         [&out](u32, const KeyVal& p_stRecord) {
                             out.push_back(p_stRecord);
                             return true;
                         });
    return SNS_SUCCESS;
}
