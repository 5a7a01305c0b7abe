// Collects the items of a narrowed style with their choices and ranges.
#include "onvif/StyleItems.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>

#include <tinyxml.h>

#include "config/StyleXml.h"

namespace tarnix {
namespace onvif {

namespace {

// Whole-text decimal integer in int range.
bool parseInt(const char* text, int& out) {
    if (text == nullptr || *text == '\0') {
        return false;
    }
    errno = 0;
    char* end = nullptr;
    long value = std::strtol(text, &end, 10);
    if (errno != 0 || end == text || *end != '\0' || value < INT_MIN || value > INT_MAX) {
        return false;
    }
    out = static_cast<int>(value);
    return true;
}

// An item's id as the library reads it (atoi), without atoi's overflow.
bool itemId(const char* text, unsigned int& out) {
    if (text == nullptr) {
        return false;
    }
    char* end = nullptr;
    errno = 0;
    long value = std::strtol(text, &end, 10);
    if (end == text || errno != 0 || value < 0 || value > INT_MAX) {
        return false;
    }
    out = static_cast<unsigned int>(value);
    return true;
}

StyleItem readItem(const TiXmlElement* element) {
    StyleItem item;
    for (const TiXmlElement* choice = element->FirstChildElement(); choice != nullptr;
         choice = choice->NextSiblingElement()) {
        int value = 0;
        if (parseInt(choice->Attribute("index"), value)) {
            item.choices.push_back(value);
        }
    }
    int min = 0;
    int max = 0;
    if (parseInt(element->Attribute("min"), min) && parseInt(element->Attribute("max"), max) && min <= max) {
        item.hasRange = true;
        item.min = min;
        item.max = max;
    }
    return item;
}

// The style's own nesting was bounded when the library parsed it; the walk
// keeps an explicit stack all the same.
void collect(const TiXmlElement* root, std::map<unsigned int, StyleItem>& items) {
    std::vector<const TiXmlElement*> stack;
    if (root != nullptr) {
        stack.push_back(root);
    }
    // Depth-first in document order: children are pushed in reverse.
    while (!stack.empty()) {
        const TiXmlElement* element = stack.back();
        stack.pop_back();
        unsigned int id = 0;
        if (element->Attribute("id") != nullptr && itemId(element->Attribute("id"), id)) {
            items[id] = readItem(element);
            continue;
        }
        std::vector<const TiXmlElement*> children;
        for (const TiXmlElement* child = element->FirstChildElement(); child != nullptr;
             child = child->NextSiblingElement()) {
            children.push_back(child);
        }
        for (auto it = children.rbegin(); it != children.rend(); ++it) {
            stack.push_back(*it);
        }
    }
}

} // namespace

bool StyleItem::allows(int value) const {
    if (!choices.empty()) {
        return std::find(choices.begin(), choices.end(), value) != choices.end();
    }
    return hasRange && value >= min && value <= max;
}

StyleItems StyleItems::fromStyle(const std::string& styleXml) {
    StyleItems result;
    TiXmlDocument doc;
    // The style comes from the product's files: parse it the way the library
    // does, on a padded copy, so a stray UTF-8 lead byte at its end cannot
    // carry the parser past the text.
    if (LoadMem(doc, styleXml.c_str(), TIXML_ENCODING_UTF8)) {
        collect(doc.RootElement(), result.m_items);
    }
    return result;
}

const StyleItem* StyleItems::find(unsigned int id) const {
    auto it = m_items.find(id);
    return it == m_items.end() ? nullptr : &it->second;
}

} // namespace onvif
} // namespace tarnix
