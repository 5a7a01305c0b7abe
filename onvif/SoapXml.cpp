// Bounded request parsing and namespace resolution over TinyXML.
#include "onvif/SoapXml.h"

#include <cctype>
#include <cstring>

#include <tinyxml.h>

namespace tarnix {
namespace onvif {

namespace {

bool startsElement(unsigned char c) { return c >= 127 || std::isalpha(c) != 0 || c == '_'; }

std::string prefixOf(const std::string& name) {
    size_t colon = name.find(':');
    return colon == std::string::npos ? std::string() : name.substr(0, colon);
}

bool isSpace(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }

// U+FFFD in UTF-8.
const char kReplacementCharacter[] = "\xEF\xBF\xBD";

// The character whose UTF-8 sequence starts at text[at]; length is its byte
// count, 0 when no well-formed sequence starts there (a stray continuation
// byte, a truncated or overlong sequence, a surrogate, a value above
// U+10FFFF).
unsigned long decodeUtf8(const std::string& text, size_t at, size_t& length) {
    const unsigned char lead = static_cast<unsigned char>(text[at]);
    length = 0;
    size_t count = 0;
    unsigned long code = 0;
    unsigned long least = 0;
    if (lead < 0x80) {
        length = 1;
        return lead;
    } else if (lead >= 0xC2 && lead <= 0xDF) {
        count = 2;
        code = lead & 0x1F;
        least = 0x80;
    } else if (lead >= 0xE0 && lead <= 0xEF) {
        count = 3;
        code = lead & 0x0F;
        least = 0x800;
    } else if (lead >= 0xF0 && lead <= 0xF4) {
        count = 4;
        code = lead & 0x07;
        least = 0x10000;
    } else {
        return 0;
    }
    if (text.size() - at < count) {
        return 0;
    }
    for (size_t k = 1; k < count; ++k) {
        const unsigned char next = static_cast<unsigned char>(text[at + k]);
        if ((next & 0xC0) != 0x80) {
            return 0;
        }
        code = (code << 6) | (next & 0x3F);
    }
    if (code < least || code > 0x10FFFF || (code >= 0xD800 && code <= 0xDFFF)) {
        return 0;
    }
    length = count;
    return code;
}

// The characters an XML 1.0 document may contain.
bool isXmlChar(unsigned long code) {
    return code == 0x9 || code == 0xA || code == 0xD || (code >= 0x20 && code <= 0xD7FF) ||
           (code >= 0xE000 && code <= 0xFFFD) || (code >= 0x10000 && code <= 0x10FFFF);
}

} // namespace

bool isUtf8(const std::string& text) {
    size_t length = 0;
    for (size_t i = 0; i < text.size(); i += length) {
        decodeUtf8(text, i, length);
        if (length == 0) {
            return false;
        }
    }
    return true;
}

size_t elementStartCount(const std::string& text) {
    size_t count = 0;
    for (size_t i = 0; i + 1 < text.size(); ++i) {
        if (text[i] == '<' && startsElement(static_cast<unsigned char>(text[i + 1]))) {
            ++count;
        }
    }
    return count;
}

ParseStatus parseRequest(const std::string& text, size_t maxBytes, TiXmlDocument& doc) {
    if (text.size() > maxBytes) {
        return ParseStatus::TooLarge;
    }
    if (elementStartCount(text) > kMaxRequestElements) {
        return ParseStatus::TooDeep;
    }
    // TinyXML reads up to the first zero byte; a text with one inside is not
    // a well-formed document anyway.
    if (text.find('\0') != std::string::npos) {
        return ParseStatus::Malformed;
    }
    // Nor is one that is not UTF-8. TinyXML also steps over a character of
    // text by the length its lead byte announces: a lead byte in the last
    // bytes of the text would carry it past the terminating zero and on
    // through memory that is not the request's.
    if (!isUtf8(text)) {
        return ParseStatus::Malformed;
    }
    doc.Parse(text.c_str(), nullptr, TIXML_ENCODING_UTF8);
    if (doc.Error() || doc.RootElement() == nullptr) {
        return ParseStatus::Malformed;
    }
    return ParseStatus::Ok;
}

std::string localName(const TiXmlElement* element) {
    if (element == nullptr) {
        return std::string();
    }
    std::string name = element->ValueStr();
    size_t colon = name.find(':');
    return colon == std::string::npos ? name : name.substr(colon + 1);
}

std::string namespaceOf(const TiXmlElement* element) {
    if (element == nullptr) {
        return std::string();
    }
    std::string prefix = prefixOf(element->ValueStr());
    std::string attribute = prefix.empty() ? std::string("xmlns") : "xmlns:" + prefix;
    for (const TiXmlNode* node = element; node != nullptr; node = node->Parent()) {
        const TiXmlElement* scope = node->ToElement();
        if (scope == nullptr) {
            break;
        }
        const char* value = scope->Attribute(attribute.c_str());
        if (value != nullptr) {
            return value;
        }
    }
    return std::string();
}

bool isElement(const TiXmlElement* element, const char* ns, const char* local) {
    return element != nullptr && localName(element) == local && namespaceOf(element) == ns;
}

const TiXmlElement* childElement(const TiXmlElement* parent, const char* ns, const char* local) {
    if (parent == nullptr) {
        return nullptr;
    }
    for (const TiXmlElement* child = parent->FirstChildElement(); child != nullptr;
         child = child->NextSiblingElement()) {
        if (isElement(child, ns, local)) {
            return child;
        }
    }
    return nullptr;
}

const TiXmlElement* firstChildElement(const TiXmlElement* parent) {
    return parent == nullptr ? nullptr : parent->FirstChildElement();
}

std::string elementText(const TiXmlElement* element) {
    if (element == nullptr || element->GetText() == nullptr) {
        return std::string();
    }
    std::string text = element->GetText();
    size_t begin = 0;
    size_t end = text.size();
    while (begin < end && isSpace(text[begin])) {
        ++begin;
    }
    while (end > begin && isSpace(text[end - 1])) {
        --end;
    }
    return text.substr(begin, end - begin);
}

const char* attributeByLocalName(const TiXmlElement* element, const char* local) {
    if (element == nullptr) {
        return nullptr;
    }
    for (const TiXmlAttribute* attribute = element->FirstAttribute(); attribute != nullptr;
         attribute = attribute->Next()) {
        const char* name = attribute->Name();
        const char* colon = std::strchr(name, ':');
        const char* bare = colon != nullptr ? colon + 1 : name;
        if (std::strcmp(bare, local) == 0 && std::strncmp(name, "xmlns", 5) != 0) {
            return attribute->Value();
        }
    }
    return nullptr;
}

std::string xmlEscape(const std::string& text) {
    std::string out;
    out.reserve(text.size());
    size_t i = 0;
    while (i < text.size()) {
        size_t length = 0;
        unsigned long code = decodeUtf8(text, i, length);
        if (length == 0 || !isXmlChar(code)) {
            // A byte that starts no valid sequence, or a character XML does
            // not allow: the replacement character keeps the answer
            // well-formed (echoed as it came, a lone lead byte would take the
            // markup after it into its sequence in the client's parser).
            out += kReplacementCharacter;
            i += length == 0 ? 1 : length;
            continue;
        }
        switch (text[i]) {
        case '&':
            out += "&amp;";
            break;
        case '<':
            out += "&lt;";
            break;
        case '>':
            out += "&gt;";
            break;
        case '"':
            out += "&quot;";
            break;
        case '\'':
            out += "&apos;";
            break;
        default:
            out.append(text, i, length);
        }
        i += length;
    }
    return out;
}

} // namespace onvif
} // namespace tarnix
