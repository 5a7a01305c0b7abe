// The narrowed style as JSON.
#include "tools/sensorctl/serve/StyleJson.h"

#include <tinyxml.h>

#include <cerrno>
#include <climits>
#include <cstdlib>

#include "config/StyleXml.h"
#include "tools/sensorctl/KeyNames.h"

namespace sensorctl {
namespace serve {

namespace {

// A number as the library reads it (atoi: blanks, sign, leading digits),
// held to the 32-bit range.
long long libraryNumber(const char* p_szText) {
    errno = 0;
    long long value = std::strtoll(p_szText, nullptr, 10);
    if (value > INT_MAX) {
        return INT_MAX;
    }
    if (value < INT_MIN) {
        return INT_MIN;
    }
    return value;
}

// An attribute that the page reads as a number: null when absent or not a
// number at all.
nlohmann::json numberAttribute(const TiXmlElement* p_pElement, const char* p_szName) {
    const char* szText = p_pElement->Attribute(p_szName);
    if (szText == nullptr) {
        return nullptr;
    }
    char* pEnd = nullptr;
    long long value = std::strtoll(szText, &pEnd, 10);
    if (pEnd == szText) {
        return nullptr;
    }
    return value > INT_MAX ? INT_MAX : value < INT_MIN ? INT_MIN : value;
}

std::string textAttribute(const TiXmlElement* p_pElement, const char* p_szName) {
    const char* szText = p_pElement->Attribute(p_szName);
    return szText != nullptr ? szText : "";
}

nlohmann::json itemJson(const TiXmlElement* p_pItem, const std::string& p_strGroup) {
    long long id = libraryNumber(p_pItem->Attribute("id"));
    const char* szKeyName = id >= 0 ? keyName(static_cast<uint32_t>(id)) : nullptr;
    const char* szValue = p_pItem->Attribute("value");
    nlohmann::json options = nlohmann::json::array();
    for (const TiXmlElement* child = p_pItem->FirstChildElement(); child != nullptr;
         child = child->NextSiblingElement()) {
        const char* szIndex = child->Attribute("index");
        if (szIndex != nullptr) {
            options.push_back({{"index", libraryNumber(szIndex)}, {"name", textAttribute(child, "name")}});
        }
    }
    return {{"id", id},
            {"keyName", szKeyName != nullptr ? szKeyName : ""},
            {"type", textAttribute(p_pItem, "type")},
            {"name", textAttribute(p_pItem, "name")},
            {"value", szValue != nullptr ? nlohmann::json(libraryNumber(szValue)) : nlohmann::json(nullptr)},
            {"min", numberAttribute(p_pItem, "min")},
            {"max", numberAttribute(p_pItem, "max")},
            {"unit", textAttribute(p_pItem, "unit")},
            {"group", p_strGroup},
            {"options", std::move(options)}};
}

// Items below p_pElement in document order. An element with "id" is an
// item; one with "index" is a choice (read with its item); any other element
// groups what it holds under its "name".
void collectItems(const TiXmlElement* p_pElement, const std::string& p_strGroup, int p_nDepth,
                  nlohmann::json& p_objItems) {
    if (p_nDepth > STYLE_MAX_DEPTH) {
        return;
    }
    for (const TiXmlElement* child = p_pElement->FirstChildElement(); child != nullptr;
         child = child->NextSiblingElement()) {
        if (child->Attribute("id") != nullptr) {
            p_objItems.push_back(itemJson(child, p_strGroup));
            collectItems(child, p_strGroup, p_nDepth + 1, p_objItems);
        } else if (child->Attribute("index") == nullptr) {
            std::string strName = textAttribute(child, "name");
            std::string strGroup = strName.empty() ? p_strGroup
                                   : p_strGroup.empty() ? strName
                                                        : p_strGroup + " / " + strName;
            collectItems(child, strGroup, p_nDepth + 1, p_objItems);
        }
    }
}

} // namespace

bool styleToJson(const std::string& p_strXml, nlohmann::json& p_objOut) {
    TiXmlDocument doc;
    if (p_strXml.empty() || !LoadMem(doc, p_strXml.c_str(), TIXML_ENCODING_UTF8) || doc.RootElement() == nullptr) {
        p_objOut = {{"error", "the controller returned a style that is not well-formed XML"}};
        return false;
    }
    const TiXmlElement* root = doc.RootElement();
    nlohmann::json rootAttributes = nlohmann::json::object();
    for (const TiXmlAttribute* attr = root->FirstAttribute(); attr != nullptr; attr = attr->Next()) {
        rootAttributes[attr->Name()] = attr->Value();
    }
    nlohmann::json tabs = nlohmann::json::array();
    for (const TiXmlElement* tab = root->FirstChildElement(); tab != nullptr; tab = tab->NextSiblingElement()) {
        nlohmann::json items = nlohmann::json::array();
        collectItems(tab, "", 2, items);
        tabs.push_back({{"key", textAttribute(tab, "key")},
                        {"name", textAttribute(tab, "name")},
                        {"items", std::move(items)}});
    }
    p_objOut = {{"root", std::move(rootAttributes)}, {"tabs", std::move(tabs)}};
    return true;
}

} // namespace serve
} // namespace sensorctl
