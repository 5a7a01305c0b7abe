// Writes imaging settings and options as nested XML and reads set requests.
#include "onvif/ImagingXml.h"

#include <tinyxml.h>

#include "onvif/OnvifNamespaces.h"
#include "onvif/SoapXml.h"

namespace tarnix {
namespace onvif {

namespace {

std::vector<std::string> splitPath(const std::string& path) {
    std::vector<std::string> parts;
    size_t start = 0;
    while (start <= path.size()) {
        size_t slash = path.find('/', start);
        if (slash == std::string::npos) {
            parts.push_back(path.substr(start));
            break;
        }
        parts.push_back(path.substr(start, slash - start));
        start = slash + 1;
    }
    return parts;
}

// Opens and closes the group elements around consecutive leaves.
class NestedWriter {
public:
    // Moves to the parent groups of path and returns the leaf name.
    std::string enter(const std::string& path) {
        std::vector<std::string> parts = splitPath(path);
        std::string leaf = parts.back();
        parts.pop_back();
        size_t common = 0;
        while (common < m_open.size() && common < parts.size() && m_open[common] == parts[common]) {
            ++common;
        }
        closeTo(common);
        for (size_t i = common; i < parts.size(); ++i) {
            m_xml += "<tt:" + parts[i] + ">";
            m_open.push_back(parts[i]);
        }
        return leaf;
    }
    void leaf(const std::string& name, const std::string& content) {
        m_xml += "<tt:" + name + ">" + content + "</tt:" + name + ">";
    }
    std::string finish() {
        closeTo(0);
        return m_xml;
    }

private:
    void closeTo(size_t depth) {
        while (m_open.size() > depth) {
            m_xml += "</tt:" + m_open.back() + ">";
            m_open.pop_back();
        }
    }

    std::vector<std::string> m_open;
    std::string m_xml;
};

bool collect(const TiXmlElement* element, const std::string& prefix, std::vector<RequestedField>& out,
             std::string& reason) {
    for (const TiXmlElement* child = element->FirstChildElement(); child != nullptr;
         child = child->NextSiblingElement()) {
        std::string path = prefix.empty() ? localName(child) : prefix + "/" + localName(child);
        if (namespaceOf(child) != kNsSchema) {
            reason = path + " is not an element of the ONVIF schema";
            return false;
        }
        if (child->FirstChildElement() == nullptr) {
            RequestedField field;
            field.path = path;
            field.text = elementText(child);
            out.push_back(field);
        } else if (!collect(child, path, out, reason)) {
            return false;
        }
    }
    return true;
}

} // namespace

std::string settingsXml(const std::vector<FieldValue>& values) {
    NestedWriter writer;
    for (const FieldValue& value : values) {
        std::string leaf = writer.enter(value.field->settingsPath);
        writer.leaf(leaf, value.field->conversion == Conversion::Enumeration ? value.token
                                                                             : formatNumber(value.number));
    }
    return writer.finish();
}

std::string optionsXml(const std::vector<FieldOptions>& options) {
    NestedWriter writer;
    for (const FieldOptions& option : options) {
        std::string leaf = writer.enter(option.field->optionsPath);
        switch (option.field->conversion) {
        case Conversion::Enumeration:
            for (const std::string& token : option.tokens) {
                writer.leaf(leaf, token);
            }
            break;
        case Conversion::Normalized:
            // Levels normalised to 0 .. 1 are announced as supported.
            writer.leaf(leaf, "true");
            break;
        default:
            writer.leaf(leaf, "<tt:Min>" + formatNumber(option.min) + "</tt:Min><tt:Max>" +
                                  formatNumber(option.max) + "</tt:Max>");
        }
    }
    return writer.finish();
}

bool requestedFields(const TiXmlElement* settings, std::vector<RequestedField>& out, std::string& reason) {
    out.clear();
    if (settings == nullptr) {
        return true;
    }
    return collect(settings, "", out, reason);
}

} // namespace onvif
} // namespace tarnix
