// Measures the element nesting that TinyXML's parser reaches on a text.
//
// The scan walks the text once, keeping a count of open elements, and stops
// where the parser stops. A plain tag counter is not enough, because the
// parser does not see every "<" as markup, and what it skips can open or
// close elements for a counter. Each rule below is one such case; leaving
// any of them out makes the count differ from the parser's on real inputs:
//
//   - comments "<!-- -->", CDATA "<![CDATA[ ]]>" and other "<!...>" or "<?...>"
//     tags hide their content;
//   - a quoted attribute value hides its content, and so does the quoted
//     value of a version, encoding or standalone attribute of "<?xml ...>";
//     other quotes in a declaration are plain characters;
//   - in text and in quoted values the parser steps over whole UTF-8
//     sequences as their lead byte announces them, and over numeric entities
//     up to their ";": either can swallow a "<" or a closing quote;
//   - text at the top level, a name, "=" or value the parser does not accept,
//     a repeated attribute, a "/" not followed by ">", and an end tag that
//     does not repeat the element's name all end the parse: nothing after
//     them nests, though a counter would go on.
//
// What the parser would accept and nest deeper than the limit is refused
// before it is parsed, and what it accepts within the limit is accepted: the
// scan neither under- nor over-counts. The tests hold it to the parser's own
// tree, including the partial tree the parser leaves when it gives up.
#include "config/StyleNesting.h"

#include <algorithm>
#include <cctype>
#include <cstring>
#include <string>
#include <unordered_set>

#include <tinyxml.h>

namespace tarnix {
namespace style {

namespace {

bool isWhite(char c) { return std::isspace(static_cast<unsigned char>(c)) != 0; }

// Bytes from 127 up count as letters, as the parser treats them.
bool isNameStart(char c) {
    const unsigned char u = static_cast<unsigned char>(c);
    return u >= 127 || std::isalpha(u) != 0 || c == '_';
}

bool isNameChar(char c) {
    const unsigned char u = static_cast<unsigned char>(c);
    return u >= 127 || std::isalnum(u) != 0 || c == '_' || c == '-' || c == '.' || c == ':';
}

// Past a name at p; null when no name starts there.
const char* skipName(const char* p) {
    if (!isNameStart(*p)) {
        return nullptr;
    }
    while (isNameChar(*p)) {
        ++p;
    }
    return p;
}

bool startsWith(const char* p, const char* tag, bool noCase = false) {
    for (; *tag != '\0'; ++p, ++tag) {
        const bool same = noCase ? std::tolower(static_cast<unsigned char>(*p)) == *tag : *p == *tag;
        if (*p == '\0' || !same) {
            return false;
        }
    }
    return true;
}

class NestingScan {
public:
    NestingScan(const char* p_szText, int p_nLimit)
        : m_pEnd(p_szText + std::strlen(p_szText)), m_nLimit(p_nLimit), m_nDeepest(0) {}

    // The document: nodes separated by white space; anything else ends it.
    int run(const char* p) {
        p = skipWhite(p);
        while (p != nullptr && *p == '<') {
            p = node(p, 1);
            p = p != nullptr ? skipWhite(p) : nullptr;
        }
        return m_nDeepest;
    }

private:
    // White space and the three UTF-8 byte-order marks.
    static const char* skipWhite(const char* p) {
        for (;;) {
            const unsigned char* u = reinterpret_cast<const unsigned char*>(p);
            if (u[0] == 0xEFu && ((u[1] == 0xBBu && u[2] == 0xBFu) || (u[1] == 0xBFu && (u[2] == 0xBEu || u[2] == 0xBFu)))) {
                p += 3;
            } else if (*p != '\0' && isWhite(*p)) {
                ++p;
            } else {
                return p;
            }
        }
    }

    // Past p_szEnd, searched byte by byte from p; null when the text ends first.
    static const char* past(const char* p, const char* p_szEnd) {
        const char* pFound = std::strstr(p, p_szEnd);
        return pFound != nullptr ? pFound + std::strlen(p_szEnd) : nullptr;
    }

    // Past the character at p as the parser reads text: a numeric entity
    // runs to the next ";" when only digits (hex digits after "&#x") stand
    // before it, a UTF-8 lead byte takes its sequence. Null where the parser
    // gives up (a numeric entity it cannot read).
    const char* step(const char* p) const {
        if (p[0] == '&' && p[1] == '#' && p[2] != '\0') {
            const bool bHex = p[2] == 'x';
            if (bHex && p[3] == '\0') {
                return nullptr;
            }
            const char* pSemi = std::strchr(p + (bHex ? 3 : 2), ';');
            if (pSemi == nullptr) {
                return nullptr;
            }
            for (const char* r = pSemi - 1; *r != (bHex ? 'x' : '#'); --r) {
                if (!(bHex ? std::isxdigit(static_cast<unsigned char>(*r)) : std::isdigit(static_cast<unsigned char>(*r)))) {
                    return nullptr;
                }
            }
            return pSemi + 1;
        }
        const int nLen = TiXmlBase::utf8ByteTable[static_cast<unsigned char>(*p)];
        return nLen > 0 ? std::min(p + nLen, m_pEnd) : nullptr;
    }

    // Text up to and past p_cEnd, read as the parser reads it; null when the
    // text ends first or nothing follows p_cEnd.
    const char* readText(const char* p, char p_cEnd) const {
        while (p != nullptr && *p != '\0' && *p != p_cEnd) {
            p = step(p);
        }
        return (p != nullptr && *p != '\0' && p[1] != '\0') ? p + 1 : nullptr;
    }

    // An attribute "name = value"; its name goes to p_pName. Null where the
    // parser rejects it.
    const char* attribute(const char* p, std::string* p_pName) const {
        const char* pName = p;
        p = skipName(p);
        if (p == nullptr) {
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
        if (*p == '"' || *p == '\'') {
            return readText(p + 1, *p);
        }
        for (; *p != '\0' && !isWhite(*p) && *p != '/' && *p != '>'; ++p) {
            if (*p == '"' || *p == '\'') {
                return nullptr;
            }
        }
        return p;
    }

    // The rest of "<?xml": only its version, encoding and standalone
    // attributes are read as attributes, anything else runs to white space.
    const char* declaration(const char* p) const {
        while (p != nullptr && *p != '\0') {
            if (*p == '>') {
                return p + 1;
            }
            p = skipWhite(p);
            if (startsWith(p, "version", true) || startsWith(p, "encoding", true) ||
                startsWith(p, "standalone", true)) {
                p = attribute(p, nullptr);
            } else {
                while (*p != '\0' && *p != '>' && !isWhite(*p)) {
                    ++p;
                }
            }
        }
        return nullptr;
    }

    // The node at p ('<'), at nesting p_nDepth if it is an element.
    const char* node(const char* p, int p_nDepth) {
        if (startsWith(p, "<?xml", true)) {
            return declaration(p + 5);
        }
        if (startsWith(p, "<!--")) {
            return past(p + 4, "-->");
        }
        if (startsWith(p, "<![CDATA[")) {
            return past(p + 9, "]]>");
        }
        if (isNameStart(p[1])) {
            return element(p, p_nDepth);
        }
        return past(p + 1, ">");
    }

    // An element: its name, its attributes, then "/>" or its content and the
    // end tag that repeats the name.
    const char* element(const char* p, int p_nDepth) {
        m_nDeepest = std::max(m_nDeepest, p_nDepth);
        if (p_nDepth > m_nLimit) {
            return nullptr; // deep enough to refuse; stop measuring
        }
        p = skipWhite(p + 1);
        const char* pName = p;
        p = skipName(p);
        if (p == nullptr) {
            return nullptr;
        }
        const size_t nNameLen = static_cast<size_t>(p - pName);
        std::unordered_set<std::string> setNames; // a repeated attribute ends the parse
        std::string strName;
        for (;;) {
            p = skipWhite(p);
            if (*p == '\0') {
                return nullptr;
            }
            if (*p == '/') {
                return p[1] == '>' ? p + 2 : nullptr;
            }
            if (*p == '>') {
                p = content(p + 1, p_nDepth);
                if (p == nullptr || std::strncmp(p + 2, pName, nNameLen) != 0) {
                    return nullptr;
                }
                p = skipWhite(p + 2 + nNameLen);
                return *p == '>' ? p + 1 : nullptr;
            }
            p = attribute(p, &strName);
            if (p == nullptr || *p == '\0' || !setNames.insert(strName).second) {
                return nullptr;
            }
        }
    }

    // The content of an element at p_nDepth, up to its end tag ("</").
    const char* content(const char* p, int p_nDepth) {
        p = skipWhite(p);
        while (p != nullptr && *p != '\0') {
            if (*p != '<') {
                p = readText(p, '<');
                p = p != nullptr ? p - 1 : nullptr; // the '<' belongs to what follows
            } else if (p[1] == '/') {
                return p;
            } else {
                p = node(p, p_nDepth + 1);
            }
            p = p != nullptr ? skipWhite(p) : nullptr;
        }
        return nullptr;
    }

    const char* m_pEnd;
    int m_nLimit;
    int m_nDeepest;
};

} // namespace

int parserNestingDepth(const char* text, int limit) {
    return text != nullptr ? NestingScan(text, limit).run(text) : 0;
}

} // namespace style
} // namespace tarnix
