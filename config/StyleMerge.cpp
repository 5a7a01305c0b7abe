// Merge of a base style with the edits of its diversity document.
//
// A diversity document holds selector elements; each selector's attributes
// name detail fields of the module configuration and list the values they
// apply to. The operations inside a matching selector ("Modify", "AddAfter",
// "Delete") work on whole tabs of the style, found by their "key".
#define SNS_SOURCE_FILE "SensorKeyVal.cpp"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "config/StyleXml.h"
#include "controller/SensorDebug.h"
#include "platform/PXFileSystem.h"
#include "platform/StringHandler.h"
#include "storage/SensorFile.h"

namespace {

// Selector values and detail values agree on their first five characters,
// so one entry such as "imx33" covers a family of sensors.
const size_t kSelectorCompareLen = 5;

// Makes sure the directory of a device file exists.
void makeParentDir(const std::string& p_strFile) {
    size_t nSlash = p_strFile.rfind('/');
    if (nSlash == std::string::npos || nSlash == 0) {
        return;
    }
    std::string strDir = p_strFile.substr(0, nSlash);
    if (!pxfs::exists(strDir)) {
        pxfs::makeDirs(strDir);
    }
}

// The attribute of a selector that matches the module: it names a detail field
// whose value agrees with one of the listed values on their first five
// characters; null when no attribute matches.
const TiXmlAttribute* matchSelector(const tarnix::diag::Site& p_stSite, const TiXmlElement* p_pSelector,
                                    const char* p_szDetail) {
    for (const TiXmlAttribute* pAttr = p_pSelector->FirstAttribute(); pAttr != nullptr; pAttr = pAttr->Next()) {
        const char* szName = pAttr->Name();
        const char* szValue = pAttr->Value();
        SENSOR_TRACE_FOR(p_stSite, TRACE_DBG, "modi_attr->Name()(%s), modi_attr->Value()(%s)\n", szName, szValue);
        char nVal[10];
        std::memset(nVal, 0, sizeof(nVal));
        if (0 == getDetailFieldToStr(p_szDetail, szName, nVal, sizeof(nVal))) {
            std::vector<std::string> vecPieces;
            StringHandler::split(szValue, vecPieces, ",");
            for (const std::string& strPiece : vecPieces) {
                if (0 == std::strncmp(strPiece.c_str(), nVal, kSelectorCompareLen)) {
                    return pAttr;
                }
            }
            if (0 == std::strncmp(szValue, nVal, kSelectorCompareLen)) {
                return pAttr;
            }
        }
        SENSOR_TRACE_FOR(p_stSite, TRACE_DBG, "modi_attr->Name()(%s), modi_attr->Value()(%s) nVal(%s)\n", szName,
                         szValue, nVal);
    }
    return nullptr;
}

// Applies the operations of a matching selector to the style, in order.
void applySelectorEdits(const tarnix::diag::Site& p_stSite, TiXmlDocument& p_objStyle, TiXmlElement* p_pSelector,
                        const TiXmlAttribute* p_pMatched) {
    SENSOR_TRACE_FOR(p_stSite, TRACE_DBG, "modi_attr->Name()(%s), modi_attr->Value()(%s)\n", p_pMatched->Name(),
                     p_pMatched->Value());
    TiXmlElement* node_second = p_pSelector->FirstChildElement();
    SENSOR_ASSERT_FOR(p_stSite, 189, nullptr != node_second,
                      "NULL != (node_second = node_first->FirstChildElement())", "");
    for (; node_second != nullptr; node_second = node_second->NextSiblingElement()) {
        SENSOR_TRACE_FOR(p_stSite, TRACE_DBG, "modi_attr->Name()(%s), modi_attr->Value()(%s)\n",
                         p_pMatched->Name(), p_pMatched->Value());
        updateStyleTab(&p_objStyle, node_second->Value(), node_second->Attribute("tab_key"),
                       node_second->FirstChildElement());
        SENSOR_TRACE_FOR(p_stSite, TRACE_DBG, "modi_attr->Name()(%s), modi_attr->Value()(%s)\n",
                         p_pMatched->Name(), p_pMatched->Value());
    }
}

// Saves the merged style to "/tmp/merge_style_ch%d.xml" and reads that file
// back as the new style text.
void saveMergedStyle(const tarnix::diag::Site& p_stSite, int p_nChannelID, const TiXmlDocument& p_objStyle,
                     char** ui_style) {
    char filename[64];
    std::snprintf(filename, sizeof(filename), SENSOR_MERGE_STYLE_FMT, p_nChannelID);
    makeParentDir(filename);
    saveXmlFile(p_objStyle, filename);

    std::string strMerged;
    getXmlString(p_objStyle, strMerged);
    SENSOR_TRACE_FOR(p_stSite, TRACE_INFO, "%s\n", strMerged.c_str());
    if (ui_style == nullptr) {
        return;
    }
    INT64 file_len = getFileLen(filename);
    if (file_len < 0) {
        file_len = 0;
    }
    int nRead = -1;
    char* pBuffer = static_cast<char*>(std::realloc(*ui_style, static_cast<size_t>(file_len) + 1));
    if (pBuffer != nullptr) {
        *ui_style = pBuffer;
        std::memset(pBuffer, 0, static_cast<size_t>(file_len) + 1);
        nRead = loadFromFile(filename, pBuffer, file_len);
    }
    SENSOR_ASSERT_FOR(p_stSite, 216, nRead > 0, "loadFromFile(filename, *ui_style, file_len) > 0", "");
}

} // namespace

int updateStyleTab(TiXmlDocument* doc_style, const char* op, const char* tab_key, TiXmlElement* tab) {
    TiXmlElement* pRoot = doc_style != nullptr ? doc_style->RootElement() : nullptr;
    TiXmlElement* tab_node = pRoot != nullptr ? pRoot->FirstChildElement() : nullptr;
    SENSOR_ASSERT_AT(112, nullptr != tab_node,
                     "NULL != (tab_node = doc_style->RootElement()->FirstChildElement())", "");
    if (tab_node == nullptr || op == nullptr || tab_key == nullptr) {
        return 0;
    }

    // The first tab carrying the key; tabs without a key are passed over.
    for (; tab_node != nullptr; tab_node = tab_node->NextSiblingElement()) {
        const char* szKey = tab_node->Attribute("key");
        if (szKey != nullptr && 0 == std::strcmp(szKey, tab_key)) {
            break;
        }
    }
    if (tab_node == nullptr) {
        return 0;
    }

    if (0 == std::strcmp(op, "Modify")) {
        // Replacement in place: the copy goes after the old tab, which then goes.
        if (tab != nullptr) {
            pRoot->InsertAfterChild(tab_node, *tab);
            pRoot->RemoveChild(tab_node);
        }
    } else if (0 == std::strcmp(op, "AddAfter")) {
        if (tab != nullptr) {
            pRoot->InsertAfterChild(tab_node, *tab);
        }
    } else if (0 == std::strcmp(op, "Delete")) {
        pRoot->RemoveChild(tab_node);
    }
    return 0;
}

int mergeStyle(int p_nChannelID, ModuleConfig* p_pModuleConfig, char** ui_style, char* ui_styleDiversity) {
    const tarnix::diag::Site stSite = SENSOR_SITE();
    const char* szDetail = p_pModuleConfig != nullptr ? p_pModuleConfig->szDetail : "";
    const char* szStyle = ui_style != nullptr ? *ui_style : nullptr;

    TiXmlDocument doc_style;
    TiXmlDocument doc_style_div;
    const bool bStyleLoaded = LoadMem(doc_style, szStyle, TIXML_ENCODING_UTF8);
    SENSOR_ASSERT_AT(146, bStyleLoaded, "doc_style.LoadMem(*ui_style, TIXML_ENCODING_UTF8)", "");
    const bool bDiversityLoaded = LoadMem(doc_style_div, ui_styleDiversity, TIXML_ENCODING_UTF8);
    SENSOR_ASSERT_AT(147, bDiversityLoaded, "doc_style_div.LoadMem(ui_styleDiversity, TIXML_ENCODING_UTF8)", "");

    TiXmlElement* node_first = doc_style_div.RootElement();
    SENSOR_ASSERT_AT(149, nullptr != node_first,
                     "NULL != (node_first = doc_style_div.RootElement())", "");
    for (; node_first != nullptr; node_first = node_first->NextSiblingElement()) {
        const TiXmlAttribute* pMatched = matchSelector(stSite, node_first, szDetail);
        if (pMatched != nullptr) {
            applySelectorEdits(stSite, doc_style, node_first, pMatched);
        }
    }
    saveMergedStyle(stSite, p_nChannelID, doc_style, ui_style);
    return 0;
}
