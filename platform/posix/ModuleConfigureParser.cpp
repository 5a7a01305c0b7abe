// Reader of the module configuration file, an XML document:
//
//   <moduleConfig>
//     <module id="1" hardwareModel="Hi3516AV200" hardwareCode="*">
//       <detail>(sensor=imx327)(lens=fixed)(max_scheme=4)(isInfrared=1)</detail>
//       <parameters>(lensId=0)</parameters>
//     </module>
//   </moduleConfig>
//
// A <module> applies when its hardwareModel and hardwareCode attributes each
// equal the machine's, are "*" or are absent. docs/platform-port.md has the
// full description.
#include "platform/ModuleConfigureParser.h"

#include <tinyxml.h>

#include <cctype>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>

#include "platform/PXFile.h"

namespace {

// Larger files are not module configurations.
const long long kMaxFileSize = 16LL * 1024 * 1024;
// Elements nested deeper than this are refused before parsing: the XML
// parser descends recursively, one stack frame chain per level.
const int kMaxDepth = 200;

bool startsWith(const std::string& p_strText, size_t p_nPos, const char* p_szPrefix) {
    return p_strText.compare(p_nPos, std::strlen(p_szPrefix), p_szPrefix) == 0;
}

bool startsWithNoCase(const std::string& p_strText, size_t p_nPos, const char* p_szPrefix) {
    size_t nLen = std::strlen(p_szPrefix);
    if (p_nPos + nLen > p_strText.size()) {
        return false;
    }
    for (size_t i = 0; i < nLen; ++i) {
        if (std::tolower(static_cast<unsigned char>(p_strText[p_nPos + i])) !=
            std::tolower(static_cast<unsigned char>(p_szPrefix[i]))) {
            return false;
        }
    }
    return true;
}

bool startsElement(unsigned char p_cNext) {
    // The parser reads every byte from 0x80 up as a letter of a UTF-8 name.
    return std::isalpha(p_cNext) || p_cNext == '_' || p_cNext >= 0x80;
}

// A quick scan of the markup that follows the parser's reading of it: element
// tags end at the first '>' outside a quoted attribute value, comments at
// "-->", CDATA sections at "]]>", end tags and any other markup at the first
// '>'. It counts open elements and reports whether they ever nest deeper
// than p_nMaxDepth. Where the scan and the parser could read the text
// differently the scan counts high, never low; text the parser would refuse
// ends the scan (the parse then fails before it can nest further).
bool nestingWithin(const std::string& p_strText, int p_nMaxDepth) {
    int nDepth = 0;
    size_t i = 0;
    const size_t n = p_strText.size();
    while (i < n) {
        if (p_strText[i] != '<') {
            ++i;
            continue;
        }
        if (startsWith(p_strText, i, "<!--")) {
            size_t nEnd = p_strText.find("-->", i + 4);
            if (nEnd == std::string::npos) {
                return true;
            }
            i = nEnd + 3;
        } else if (startsWith(p_strText, i, "<![CDATA[")) {
            size_t nEnd = p_strText.find("]]>", i + 9);
            if (nEnd == std::string::npos) {
                return true;
            }
            i = nEnd + 3;
        } else if (startsWith(p_strText, i, "</")) {
            if (nDepth > 0) {
                --nDepth;
            }
            size_t nEnd = p_strText.find('>', i + 2);
            if (nEnd == std::string::npos) {
                return true;
            }
            i = nEnd + 1;
        } else if (startsWithNoCase(p_strText, i, "<?xml")) {
            // An XML declaration may hold quoted values that the parser reads
            // past a '>'. Inside an element that could hide end tags from
            // this scan, so a declaration there must not hold quotes at all.
            size_t nEnd = p_strText.find('>', i + 5);
            if (nEnd == std::string::npos) {
                return true;
            }
            if (nDepth > 0 && p_strText.find_first_of("\"'", i) < nEnd) {
                return false;
            }
            i = nEnd + 1;
        } else if (i + 1 < n && startsElement(static_cast<unsigned char>(p_strText[i + 1]))) {
            size_t j = i + 1;
            char cQuote = 0;
            char cPrev = 0;
            while (j < n) {
                char c = p_strText[j];
                if (cQuote != 0) {
                    if (c == cQuote) {
                        cQuote = 0;
                    }
                } else if (c == '"' || c == '\'') {
                    cQuote = c;
                } else if (c == '>') {
                    break;
                }
                cPrev = c;
                ++j;
            }
            if (j >= n) {
                return true;
            }
            if (cPrev != '/') {
                ++nDepth;
                if (nDepth > p_nMaxDepth) {
                    return false;
                }
            }
            i = j + 1;
        } else {
            // Any other markup ("<!DOCTYPE ...>", "<?pi ...>", "< x>") runs
            // to the first '>'.
            size_t nEnd = p_strText.find('>', i + 1);
            if (nEnd == std::string::npos) {
                return true;
            }
            i = nEnd + 1;
        }
    }
    return true;
}

// An absent attribute and "*" match any hardware.
bool attributeMatches(const TiXmlElement* p_pElement, const char* p_szName, const std::string& p_strWanted) {
    const char* szValue = p_pElement->Attribute(p_szName);
    if (szValue == nullptr) {
        return true;
    }
    std::string strValue = szValue;
    return strValue == "*" || strValue == p_strWanted;
}

bool parseId(const char* p_szText, int& p_nId) {
    if (p_szText == nullptr) {
        p_nId = 0;
        return true;
    }
    while (std::isspace(static_cast<unsigned char>(*p_szText))) {
        ++p_szText;
    }
    if (*p_szText == '\0') {
        return false;
    }
    errno = 0;
    char* pEnd = nullptr;
    long nValue = std::strtol(p_szText, &pEnd, 10);
    while (pEnd != nullptr && std::isspace(static_cast<unsigned char>(*pEnd))) {
        ++pEnd;
    }
    if (errno != 0 || pEnd == nullptr || *pEnd != '\0' || nValue < INT_MIN || nValue > INT_MAX) {
        return false;
    }
    p_nId = static_cast<int>(nValue);
    return true;
}

std::string childText(const TiXmlElement* p_pModule, const char* p_szName) {
    const TiXmlElement* pChild = p_pModule->FirstChildElement(p_szName);
    if (pChild == nullptr) {
        return std::string();
    }
    const char* szText = pChild->GetText();
    return szText != nullptr ? std::string(szText) : std::string();
}

bool readWholeFile(const std::string& p_strPath, std::string& p_strText) {
    PXFile file;
    if (!file.open(p_strPath.c_str(), PXFile::modeRead)) {
        return false;
    }
    INT64 nLength = file.getLength();
    if (nLength < 0 || nLength > kMaxFileSize) {
        return false;
    }
    p_strText.assign(static_cast<size_t>(nLength), '\0');
    if (nLength > 0) {
        int nRead = file.read(&p_strText[0], static_cast<unsigned int>(nLength));
        if (nRead < 0) {
            return false;
        }
        p_strText.resize(static_cast<size_t>(nRead));
    }
    return true;
}

} // namespace

bool ModuleConfigureParser::parse(const std::string& file, const std::string& hardwareModel,
                                  const std::string& hardwareCode, std::vector<ModuleConfigure>& out) {
    out.clear();
    std::string strText;
    if (!readWholeFile(file, strText)) {
        return false;
    }
    // The parser reads up to the first zero byte; a file holding one is not
    // a text document.
    if (strText.find('\0') != std::string::npos) {
        return false;
    }
    if (!nestingWithin(strText, kMaxDepth)) {
        return false;
    }

    TiXmlDocument document;
    document.Parse(strText.c_str(), nullptr, TIXML_ENCODING_UTF8);
    if (document.Error()) {
        return false;
    }
    const TiXmlElement* pRoot = document.RootElement();
    if (pRoot == nullptr || std::strcmp(pRoot->Value(), "moduleConfig") != 0) {
        return false;
    }

    std::vector<ModuleConfigure> entries;
    for (const TiXmlElement* pModule = pRoot->FirstChildElement("module"); pModule != nullptr;
         pModule = pModule->NextSiblingElement("module")) {
        int nId = 0;
        if (!parseId(pModule->Attribute("id"), nId)) {
            return false;
        }
        if (!attributeMatches(pModule, "hardwareModel", hardwareModel) ||
            !attributeMatches(pModule, "hardwareCode", hardwareCode)) {
            continue;
        }
        ModuleConfigure entry;
        entry.setModuleId(nId);
        entry.setDetail(childText(pModule, "detail"));
        entry.setParameters(childText(pModule, "parameters"));
        entries.push_back(entry);
    }
    out.swap(entries);
    return true;
}
