#pragma once
// Helpers shared by the configuration and style tests.
#include <tinyxml.h>

#include <cstdlib>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "config/sensor.h"
#include "platform/ModuleConfigure.h"
#include "platform/ia_ioctrl.h"
#include "support/TestEnv.h"

namespace config_test {

// A hook that may answer an ISP call instead of the simulator: it returns
// true and sets the result to take the call over, false to let it through.
using IspHook = std::function<bool(int channel, unsigned int cmd, unsigned int opt, void* data, int& result)>;
void setIspHook(IspHook hook);
void clearIspHook();

// The test fixture of this folder: the common environment plus a cleared ISP hook.
class ConfigTest : public tarnix_test::TarnixTest {
protected:
    void SetUp() override {
        tarnix_test::TarnixTest::SetUp();
        makeDir("/mnt/mtd/log"); // where the error log goes
    }
    void TearDown() override {
        clearIspHook();
        tarnix_test::TarnixTest::TearDown();
    }

    void writeMachineInfo(int deviceType) const {
        writeFile("/mnt/mtd/code/factory_setting/machineinfo.ini",
                  "[machine]\nDeviceType=" + std::to_string(deviceType) + "\nHardwareModel=TEST\n");
    }
};

inline ModuleConfigure makeModule(const std::string& detail, const std::string& parameters = "", int id = 7) {
    ModuleConfigure module;
    module.setModuleId(id);
    module.setDetail(detail);
    module.setParameters(parameters);
    return module;
}

// Parses a text with stock TinyXML; the document's root element.
inline TiXmlElement* parse(TiXmlDocument& doc, const std::string& text) {
    doc.Parse(text.c_str(), nullptr, TIXML_ENCODING_UTF8);
    return doc.RootElement();
}

// First element (pre-order) whose "id" attribute is exactly the text of id.
inline TiXmlElement* findId(TiXmlElement* node, int id) {
    if (node == nullptr) {
        return nullptr;
    }
    const char* szId = node->Attribute("id");
    if (szId != nullptr && std::to_string(id) == szId) {
        return node;
    }
    for (TiXmlElement* child = node->FirstChildElement(); child != nullptr; child = child->NextSiblingElement()) {
        if (TiXmlElement* found = findId(child, id)) {
            return found;
        }
    }
    return nullptr;
}

inline int countId(TiXmlElement* node, int id) {
    if (node == nullptr) {
        return 0;
    }
    const char* szId = node->Attribute("id");
    int count = (szId != nullptr && std::to_string(id) == szId) ? 1 : 0;
    for (TiXmlElement* child = node->FirstChildElement(); child != nullptr; child = child->NextSiblingElement()) {
        count += countId(child, id);
    }
    return count;
}

// The "value" attribute of the item with the id ("" when absent).
inline std::string valueOf(TiXmlElement* root, int id) {
    TiXmlElement* item = findId(root, id);
    const char* value = item != nullptr ? item->Attribute("value") : nullptr;
    return value != nullptr ? value : "";
}

// The "index" attributes of an item's child elements, in order.
inline std::vector<std::string> choicesOf(TiXmlElement* item) {
    std::vector<std::string> out;
    if (item == nullptr) {
        return out;
    }
    for (TiXmlElement* child = item->FirstChildElement(); child != nullptr; child = child->NextSiblingElement()) {
        const char* index = child->Attribute("index");
        out.push_back(index != nullptr ? index : "<none>");
    }
    return out;
}

// The "key" attributes of the root's child elements, in order.
inline std::vector<std::string> tabKeys(TiXmlElement* root) {
    std::vector<std::string> out;
    if (root == nullptr) {
        return out;
    }
    for (TiXmlElement* tab = root->FirstChildElement(); tab != nullptr; tab = tab->NextSiblingElement()) {
        const char* key = tab->Attribute("key");
        out.push_back(key != nullptr ? key : "<none>");
    }
    return out;
}

// Deepest element nesting of a parsed tree (root element = 1).
inline int treeDepth(const TiXmlNode* node) {
    int deepest = 0;
    for (const TiXmlNode* child = node->FirstChild(); child != nullptr; child = child->NextSibling()) {
        int depth = treeDepth(child);
        if (depth > deepest) {
            deepest = depth;
        }
    }
    return (node->ToElement() != nullptr ? 1 : 0) + deepest;
}

// A heap copy of a text, as the style texts of SysConfig are held.
inline char* heapText(const std::string& text) {
    char* out = static_cast<char*>(std::malloc(text.size() + 1));
    std::memcpy(out, text.c_str(), text.size() + 1);
    return out;
}

} // namespace config_test
