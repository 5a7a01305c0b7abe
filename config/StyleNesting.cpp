// Measures the element nesting that TinyXML's parser reaches on a text.
//
// Each function below corresponds to one step of the parser (document loop,
// node identification, element, attribute, text, comment, CDATA, declaration,
// unknown tag) and moves through the text exactly as that step does. Where
// the parser gives up, the probe stops too: nothing after that point is
// parsed, so nothing after it can nest deeper.
#include "config/StyleNesting.h"

#include <cctype>
#include <cstring>
#include <string>
#include <unordered_set>

#include <tinyxml.h>

namespace tarnix {
namespace style {

namespace {

class NestingProbe {
public:
    NestingProbe(const char* p_szText, int p_nLimit)
        : m_pEnd(p_szText + std::strlen(p_szText)), m_nLimit(p_nLimit), m_nDeepest(0) {}

    int run(const char* p) {
        parseDocument(p);
        return m_nDeepest;
    }

private:
    static bool isWhite(char c) {
        return std::isspace(static_cast<unsigned char>(c)) != 0 || c == '\n' || c == '\r';
    }
    // Bytes from 127 up count as letters, as the parser treats them.
    static bool isAlpha(char c) {
        unsigned char u = static_cast<unsigned char>(c);
        return u < 127 ? std::isalpha(u) != 0 : true;
    }
    static bool isAlphaNum(char c) {
        unsigned char u = static_cast<unsigned char>(c);
        return u < 127 ? std::isalnum(u) != 0 : true;
    }
    static bool startsWith(const char* p, const char* tag) {
        while (*p != '\0' && *tag != '\0' && *p == *tag) {
            ++p;
            ++tag;
        }
        return *tag == '\0';
    }
    static char lowerAscii(char c) { return (c >= 'A' && c <= 'Z') ? static_cast<char>(c - 'A' + 'a') : c; }
    static bool startsWithNoCase(const char* p, const char* tag) {
        while (*p != '\0' && *tag != '\0' && lowerAscii(*p) == lowerAscii(*tag)) {
            ++p;
            ++tag;
        }
        return *tag == '\0';
    }

    // White space, including the three byte-order-mark sequences.
    static const char* skipWhite(const char* p) {
        while (*p != '\0') {
            const unsigned char* u = reinterpret_cast<const unsigned char*>(p);
            if (u[0] == 0xEFu && ((u[1] == 0xBBu && u[2] == 0xBFu) || (u[1] == 0xBFu && (u[2] == 0xBEu || u[2] == 0xBFu)))) {
                p += 3;
                continue;
            }
            if (!isWhite(*p)) {
                break;
            }
            ++p;
        }
        return p;
    }

    // An entity at p ('&'): numeric entities run to the next ';' as long as
    // the characters right before it are digits; named ones have fixed texts.
    static const char* entity(const char* p) {
        if (p[1] == '#' && p[2] != '\0') {
            const char* q;
            if (p[2] == 'x') {
                if (p[3] == '\0') {
                    return nullptr;
                }
                q = std::strchr(p + 3, ';');
                if (q == nullptr) {
                    return nullptr;
                }
                for (const char* r = q - 1; *r != 'x'; --r) {
                    bool bHex = (*r >= '0' && *r <= '9') || (*r >= 'a' && *r <= 'f') || (*r >= 'A' && *r <= 'F');
                    if (!bHex) {
                        return nullptr;
                    }
                }
            } else {
                q = std::strchr(p + 2, ';');
                if (q == nullptr) {
                    return nullptr;
                }
                for (const char* r = q - 1; *r != '#'; --r) {
                    if (!(*r >= '0' && *r <= '9')) {
                        return nullptr;
                    }
                }
            }
            return q + 1;
        }
        static const char* const s_szNamed[] = {"&amp;", "&lt;", "&gt;", "&quot;", "&apos;"};
        for (const char* szName : s_szNamed) {
            size_t nLen = std::strlen(szName);
            if (std::strncmp(szName, p, nLen) == 0) {
                return p + nLen;
            }
        }
        return p + 1;
    }

    // One character of text: an entity or a whole UTF-8 sequence as its lead
    // byte announces it. A sequence cut short by the end of the text stops
    // at the end, where the parser finds nothing more either.
    const char* step(const char* p) const {
        int nLen = TiXmlBase::utf8ByteTable[static_cast<unsigned char>(*p)];
        if (nLen == 1) {
            return *p == '&' ? entity(p) : p + 1;
        }
        if (nLen == 0) {
            return nullptr;
        }
        const char* q = p;
        for (int i = 0; i < nLen && q < m_pEnd; ++i) {
            ++q;
        }
        return q;
    }

    // Text up to and past endTag; null when the text ends first or nothing
    // follows the end tag.
    const char* readText(const char* p, const char* endTag, bool trim) const {
        if (trim) {
            p = skipWhite(p);
        }
        while (*p != '\0' && !startsWith(p, endTag)) {
            if (trim && isWhite(*p)) {
                ++p;
                continue;
            }
            p = step(p);
            if (p == nullptr) {
                return nullptr;
            }
        }
        if (*p == '\0') {
            return nullptr;
        }
        p += std::strlen(endTag);
        return *p != '\0' ? p : nullptr;
    }

    static const char* readName(const char* p) {
        if (*p == '\0' || !(isAlpha(*p) || *p == '_')) {
            return nullptr;
        }
        while (*p != '\0' && (isAlphaNum(*p) || *p == '_' || *p == '-' || *p == '.' || *p == ':')) {
            ++p;
        }
        return p;
    }

    // An attribute; *p_pName gets its name.
    const char* parseAttribute(const char* p, std::string* p_pName = nullptr) const {
        p = skipWhite(p);
        if (*p == '\0') {
            return nullptr;
        }
        const char* pName = p;
        p = readName(p);
        if (p == nullptr || *p == '\0') {
            return nullptr;
        }
        if (p_pName != nullptr) {
            p_pName->assign(pName, static_cast<size_t>(p - pName));
        }
        p = skipWhite(p);
        if (*p != '=') {
            return nullptr;
        }
        p = skipWhite(p + 1);
        if (*p == '\0') {
            return nullptr;
        }
        if (*p == '\'') {
            return readText(p + 1, "'", false);
        }
        if (*p == '"') {
            return readText(p + 1, "\"", false);
        }
        while (*p != '\0' && !isWhite(*p) && *p != '/' && *p != '>') {
            if (*p == '\'' || *p == '"') {
                return nullptr;
            }
            ++p;
        }
        return p;
    }

    static const char* parseComment(const char* p) {
        p += 4;
        while (*p != '\0' && !startsWith(p, "-->")) {
            ++p;
        }
        return *p != '\0' ? p + 3 : p;
    }

    static const char* parseCData(const char* p) {
        p += 9;
        while (*p != '\0' && !startsWith(p, "]]>")) {
            ++p;
        }
        if (*p == '\0') {
            return nullptr;
        }
        p += 3;
        return *p != '\0' ? p : nullptr;
    }

    static const char* parseUnknown(const char* p) {
        ++p;
        while (*p != '\0' && *p != '>') {
            ++p;
        }
        return *p == '>' ? p + 1 : p;
    }

    const char* parseDeclaration(const char* p) const {
        p += 5;
        while (*p != '\0') {
            if (*p == '>') {
                return p + 1;
            }
            p = skipWhite(p);
            if (*p == '\0') {
                break;
            }
            if (startsWithNoCase(p, "version") || startsWithNoCase(p, "encoding") ||
                startsWithNoCase(p, "standalone")) {
                p = parseAttribute(p);
                if (p == nullptr) {
                    return nullptr;
                }
            } else {
                while (*p != '\0' && *p != '>' && !isWhite(*p)) {
                    ++p;
                }
            }
        }
        return nullptr;
    }

    // The node at p ('<'), which would sit at nesting p_nDepth if an element.
    const char* parseNode(const char* p, int p_nDepth) {
        if (startsWithNoCase(p, "<?xml")) {
            return parseDeclaration(p);
        }
        if (startsWith(p, "<!--")) {
            return parseComment(p);
        }
        if (startsWith(p, "<![CDATA[")) {
            return parseCData(p);
        }
        if (startsWith(p, "<!")) {
            return parseUnknown(p);
        }
        if (isAlpha(p[1]) || p[1] == '_') {
            return parseElement(p, p_nDepth);
        }
        return parseUnknown(p);
    }

    const char* parseElement(const char* p, int p_nDepth) {
        if (p_nDepth > m_nDeepest) {
            m_nDeepest = p_nDepth;
        }
        if (p_nDepth > m_nLimit) {
            return nullptr; // deep enough to refuse; stop measuring
        }
        p = skipWhite(p + 1);
        const char* pName = p;
        p = readName(p);
        if (p == nullptr || *p == '\0') {
            return nullptr;
        }
        size_t nNameLen = static_cast<size_t>(p - pName);
        std::unordered_set<std::string> setAttributes; // a repeated name is an error
        std::string strAttribute;
        while (*p != '\0') {
            p = skipWhite(p);
            if (*p == '\0') {
                return nullptr;
            }
            if (*p == '/') {
                ++p;
                return *p == '>' ? p + 1 : nullptr;
            }
            if (*p == '>') {
                p = readValue(p + 1, p_nDepth);
                if (p == nullptr || *p == '\0') {
                    return nullptr;
                }
                // The end tag must repeat the element's name.
                if (std::strncmp(p + 2, pName, nNameLen) != 0) {
                    return nullptr;
                }
                p = skipWhite(p + 2 + nNameLen);
                return *p == '>' ? p + 1 : nullptr;
            }
            p = parseAttribute(p, &strAttribute);
            if (p == nullptr || *p == '\0' || !setAttributes.insert(strAttribute).second) {
                return nullptr;
            }
        }
        return p;
    }

    // Content of the element at p_nDepth up to its end tag ("</").
    const char* readValue(const char* p, int p_nDepth) {
        p = skipWhite(p);
        while (*p != '\0') {
            if (*p != '<') {
                p = readText(p, "<", true);
                if (p == nullptr) {
                    return nullptr;
                }
                --p; // the '<' belongs to what follows
            } else {
                if (startsWith(p, "</")) {
                    return p;
                }
                p = parseNode(p, p_nDepth + 1);
                if (p == nullptr) {
                    return nullptr;
                }
            }
            p = skipWhite(p);
        }
        return nullptr;
    }

    void parseDocument(const char* p) {
        p = skipWhite(p);
        while (*p == '<') {
            p = parseNode(p, 1);
            if (p == nullptr) {
                return;
            }
            p = skipWhite(p);
        }
    }

    const char* m_pEnd;
    int m_nLimit;
    int m_nDeepest;
};

} // namespace

int parserNestingDepth(const char* text, int limit) {
    if (text == nullptr) {
        return 0;
    }
    NestingProbe probe(text, limit);
    return probe.run(text);
}

} // namespace style
} // namespace tarnix
