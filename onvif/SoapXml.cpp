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

} // namespace

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
    for (char c : text) {
        switch (c) {
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
            out += c;
        }
    }
    return out;
}

} // namespace onvif
} // namespace tarnix
