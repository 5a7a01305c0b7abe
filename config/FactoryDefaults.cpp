// Factory values: every item of the narrowed style that carries both an "id"
// and a "value" gives one KeyVal, in document order.
#define SNS_SOURCE_FILE "SensorKeyVal.cpp"

#include "config/FactoryDefaults.h"

#include <cstdlib>
#include <string>

#include "config/DnaStyle.h"
#include "config/StyleXml.h"
#include "controller/SensorDebug.h"

namespace {

bool isValueItem(const TiXmlElement* p_pNode) {
    return p_pNode->Attribute("id") != nullptr && p_pNode->Attribute("value") != nullptr;
}

// Items style2KeyVal would collect below and including p_pNode.
u32 countValueItems(const TiXmlElement* p_pNode) {
    if (p_pNode == nullptr) {
        return 0;
    }
    u32 nCount = isValueItem(p_pNode) ? 1 : 0;
    for (const TiXmlElement* pChild = p_pNode->FirstChildElement(); pChild != nullptr;
         pChild = pChild->NextSiblingElement()) {
        nCount += countValueItems(pChild);
    }
    return nCount;
}

} // namespace

int style2KeyVal(TiXmlElement* node, KeyVal* p_pKeyVal, u32* p_pnKeyValNum, u32 capacity) {
    if (node == nullptr) {
        return 0;
    }
    if (p_pnKeyValNum == nullptr) {
        return -1;
    }
    if (isValueItem(node)) {
        if (p_pKeyVal == nullptr || *p_pnKeyValNum >= capacity) {
            // No room left: the item is dropped and the walk ends here.
            return -1;
        }
        p_pKeyVal[*p_pnKeyValNum].key = static_cast<u32>(std::atoi(node->Attribute("id")));
        p_pKeyVal[*p_pnKeyValNum].value = static_cast<u32>(std::atoi(node->Attribute("value")));
        ++*p_pnKeyValNum;
    }
    // Unlike the searches, always descend: items may nest.
    for (TiXmlElement* pChild = node->FirstChildElement(); pChild != nullptr; pChild = pChild->NextSiblingElement()) {
        if (style2KeyVal(pChild, p_pKeyVal, p_pnKeyValNum, capacity) != 0) {
            return -1;
        }
    }
    return 0;
}

int getFctData(int p_channelID, char* p_szStyle, KeyVal* p_pKeyVal, u32* p_pnKeyValNum, bool p_bShowWDRFalg,
               bool p_bShowLDCFlag) {
    return getFctData(p_channelID, static_cast<const char*>(p_szStyle), p_pKeyVal, p_pnKeyValNum, KEYCMD_CAPACITY,
                      p_bShowWDRFalg, p_bShowLDCFlag);
}

int getFctData(int p_channelID, const char* p_szStyle, KeyVal* p_pKeyVal, u32* p_pnKeyValNum, u32 capacity,
               bool p_bShowWDRFalg, bool p_bShowLDCFlag) {
    std::string strDnaStyle;
    const int nStyleRet = getDnaStyle(p_channelID, p_szStyle, strDnaStyle, p_bShowWDRFalg, p_bShowLDCFlag);
    SENSOR_ASSERT_AT(585, SNS_SUCCESS == nStyleRet,
                     "SNS_SUCCESS == getDnaStyle(p_channelID,p_szStyle, strDnaStyle,p_bShowWDRFalg,p_bShowLDCFlag)",
                     "");
    TiXmlDocument objDnaStyleDoc;
    const bool bLoaded = LoadMem(objDnaStyleDoc, strDnaStyle.c_str(), TIXML_ENCODING_UTF8);
    SENSOR_ASSERT_AT(589, bLoaded,
                     "objDnaStyleDoc.LoadMem(strDnaStyle.c_str(), TIXML_ENCODING_UTF8)", "");

    u32 nLocalCount = 0;
    if (p_pnKeyValNum == nullptr) {
        p_pnKeyValNum = &nLocalCount;
    }
    TiXmlElement* pRootNode = objDnaStyleDoc.RootElement();
    *p_pnKeyValNum = 0;
    const int nItemsRet = style2KeyVal(pRootNode, p_pKeyVal, p_pnKeyValNum, capacity);
    SENSOR_ASSERT_AT(593, SNS_SUCCESS == nItemsRet,
                     "SNS_SUCCESS == style2KeyVal(pRootNode, p_pKeyVal, p_pnKeyValNum)", "p_pnKeyValNum(%u)\n",
                     *p_pnKeyValNum);
    return SNS_SUCCESS;
}

int getFctData(int p_channelID, const char* p_szStyle, std::vector<KeyVal>& out, bool p_bShowWDRFalg,
               bool p_bShowLDCFlag) {
    std::string strDnaStyle;
    const int nStyleRet = getDnaStyle(p_channelID, p_szStyle, strDnaStyle, p_bShowWDRFalg, p_bShowLDCFlag);
    SENSOR_ASSERT_AT(585, SNS_SUCCESS == nStyleRet,
                     "SNS_SUCCESS == getDnaStyle(p_channelID,p_szStyle, strDnaStyle,p_bShowWDRFalg,p_bShowLDCFlag)",
                     "");
    TiXmlDocument objDnaStyleDoc;
    const bool bLoaded = LoadMem(objDnaStyleDoc, strDnaStyle.c_str(), TIXML_ENCODING_UTF8);
    SENSOR_ASSERT_AT(589, bLoaded,
                     "objDnaStyleDoc.LoadMem(strDnaStyle.c_str(), TIXML_ENCODING_UTF8)", "");

    // Size the array from the style itself, then fill it.
    TiXmlElement* pRootNode = objDnaStyleDoc.RootElement();
    out.assign(countValueItems(pRootNode), KeyVal{0, 0});
    u32 nCount = 0;
    const int nItemsRet = style2KeyVal(pRootNode, out.data(), &nCount, static_cast<u32>(out.size()));
    SENSOR_ASSERT_AT(593, SNS_SUCCESS == nItemsRet,
                     "SNS_SUCCESS == style2KeyVal(pRootNode, p_pKeyVal, p_pnKeyValNum)", "p_pnKeyValNum(%u)\n",
                     nCount);
    out.resize(nCount);
    return SNS_SUCCESS;
}
