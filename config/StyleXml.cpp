// Style documents: parsing, printing, device-file load and save, and the
// element searches that every style reader shares.
#include "config/StyleXml.h"

#include <cstdlib>
#include <cstring>
#include <vector>

#include "config/StyleNesting.h"
#include "controller/KeyCatalogue.h"
#include "platform/PXFile.h"

namespace {

// Zero bytes appended to a text before parsing. The parser reads a UTF-8
// sequence whole as its lead byte announces it, even when the text ends
// inside it; the padding keeps those reads inside the buffer.
const size_t kParsePadding = 16;

// Largest style file loadXmlFile accepts.
const INT64 kMaxXmlFileSize = 64 * 1024 * 1024;

// The walk shared by the searches: an element whose "id" reads as the wanted
// id is handed to the visitor and its subtree is not entered; otherwise its
// child elements are walked in order. Matching does not end the walk, so the
// last match in document order is the one that stays. A visitor result other
// than 0 ends the walk and is passed up.
template <typename Visitor>
int walkById(TiXmlElement* p_pElement, int p_nCmdId, Visitor& p_visit) {
    if (p_pElement == nullptr) {
        return 0;
    }
    const char* szId = p_pElement->Attribute("id");
    if (szId != nullptr && std::atoi(szId) == p_nCmdId) {
        return p_visit(p_pElement);
    }
    for (TiXmlElement* pChild = p_pElement->FirstChildElement(); pChild != nullptr;
         pChild = pChild->NextSiblingElement()) {
        int nRet = walkById(pChild, p_nCmdId, p_visit);
        if (nRet != 0) {
            return nRet;
        }
    }
    return 0;
}

// The value of a detail field: from the first "=" after the first occurrence
// of the name up to the first ")" after that "=". False when there is none.
bool findDetailField(const char* p_szDetail, const char* p_szName, const char*& p_pValue, size_t& p_nLen) {
    if (p_szDetail == nullptr || p_szName == nullptr) {
        return false;
    }
    const char* pName = std::strstr(p_szDetail, p_szName);
    if (pName == nullptr) {
        return false;
    }
    const char* pEqual = std::strchr(pName + std::strlen(p_szName), '=');
    if (pEqual == nullptr) {
        return false;
    }
    const char* pClose = std::strchr(pEqual + 1, ')');
    if (pClose == nullptr) {
        return false;
    }
    p_pValue = pEqual + 1;
    p_nLen = static_cast<size_t>(pClose - p_pValue);
    return true;
}

} // namespace

bool LoadMem(TiXmlDocument& doc, const char* text, TiXmlEncoding encoding) {
    doc.Clear();
    doc.ClearError();
    if (text == nullptr) {
        doc.Parse("", nullptr, encoding); // an empty document: the parser's own error
        return false;
    }
    size_t nLen = std::strlen(text);
    if (tarnix::style::parserNestingDepth(text, STYLE_MAX_DEPTH) > STYLE_MAX_DEPTH) {
        doc.SetError(TiXmlBase::TIXML_ERROR_PARSING_ELEMENT, nullptr, nullptr, encoding);
        return false;
    }
    std::vector<char> buffer(nLen + kParsePadding, '\0');
    std::memcpy(buffer.data(), text, nLen);
    doc.Parse(buffer.data(), nullptr, encoding);
    if (doc.Error()) {
        // The parser keeps what it built before the error; a text that does
        // not parse gives an empty document instead (the error stays set).
        doc.Clear();
        return false;
    }
    return true;
}

void getXmlString(const TiXmlDocument& doc, std::string& out) {
    TiXmlPrinter printer;
    doc.Accept(&printer);
    out = printer.Str();
}

bool loadXmlFile(TiXmlDocument& doc, const char* path) {
    PXFile file;
    if (path == nullptr || !file.open(path, PXFile::modeRead)) {
        doc.Clear();
        return false;
    }
    INT64 nLen = file.getLength();
    if (nLen < 0 || nLen > kMaxXmlFileSize) {
        doc.Clear();
        return false;
    }
    std::vector<char> buffer(static_cast<size_t>(nLen) + 1, '\0');
    int nRead = nLen > 0 ? file.read(buffer.data(), static_cast<unsigned int>(nLen)) : 0;
    file.close();
    if (nRead != nLen) {
        doc.Clear();
        return false;
    }
    return LoadMem(doc, buffer.data(), TIXML_ENCODING_UTF8);
}

bool saveXmlFile(const TiXmlDocument& doc, const char* path) {
    PXFile file;
    if (path == nullptr || !file.open(path, PXFile::modeWrite | PXFile::modeTruncate)) {
        return false;
    }
    bool bRet = doc.SaveFile(file.getFileHandle());
    file.close();
    return bRet;
}

int getDetailFieldToStr(const char* detail, const char* name, char* value) {
    const char* pValue = nullptr;
    size_t nLen = 0;
    if (value == nullptr || !findDetailField(detail, name, pValue, nLen)) {
        return -1;
    }
    std::memcpy(value, pValue, nLen);
    return 0;
}

int getDetailFieldToStr(const char* detail, const char* name, char* value, size_t outSize) {
    const char* pValue = nullptr;
    size_t nLen = 0;
    if (value == nullptr || !findDetailField(detail, name, pValue, nLen)) {
        return -1;
    }
    // The buffer holds outSize bytes and was zeroed: copy what fits and
    // leave at least one zero behind.
    if (outSize == 0) {
        return 0;
    }
    std::memcpy(value, pValue, nLen < outSize - 1 ? nLen : outSize - 1);
    return 0;
}

int getDetailFieldTou32(const char* detail, const char* name, u32* value) {
    char szValue[10];
    std::memset(szValue, 0, sizeof(szValue));
    if (getDetailFieldToStr(detail, name, szValue, sizeof(szValue)) != 0) {
        return -1;
    }
    if (value != nullptr) {
        *value = static_cast<u32>(std::atoi(szValue));
    }
    return 0;
}

int getNodebyCmdId(TiXmlElement* start, int cmdId, TiXmlElement*& found) {
    auto visit = [&found](TiXmlElement* p_pElement) {
        found = p_pElement;
        return 0;
    };
    walkById(start, cmdId, visit);
    return 0;
}

int getDnaValbyCmdId(TiXmlElement* start, int cmdId, int& value) {
    auto visit = [&value](TiXmlElement* p_pElement) {
        const char* szValue = p_pElement->Attribute("value");
        if (szValue != nullptr) {
            value = std::atoi(szValue);
        }
        return 0;
    };
    walkById(start, cmdId, visit);
    return 0;
}

int DeleteNode(TiXmlElement* root, TiXmlElement* node) {
    if (root == nullptr || node == nullptr) {
        return -1;
    }
    TiXmlNode* pParent = node->Parent();
    if (pParent != nullptr && pParent->ToElement() != nullptr) {
        pParent->RemoveChild(node);
    }
    return 0;
}

int ModifyNodebyCmdId(TiXmlElement* start, int cmdId) {
    auto visit = [cmdId](TiXmlElement* p_pElement) {
        // The highlight and the backlight compensation switch swap their
        // "enable_list": each item gets the other's id.
        if (cmdId == tarnix::keys::KEY_HLC_SWITCH) {
            p_pElement->SetAttribute("enable_list", "128");
        } else if (cmdId == tarnix::keys::KEY_BLC_SWITCH) {
            p_pElement->SetAttribute("enable_list", "112");
        }
        return 0;
    };
    walkById(start, cmdId, visit);
    return 0;
}
