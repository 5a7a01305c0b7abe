// docs/keys.md: one line per row of the key-command table, from the key
// catalogue, with the tab of the sample styles that shows each key.
#include "tools/keydoc/KeyDoc.h"

#include <dirent.h>
#include <sys/stat.h>

#include <algorithm>
#include <cstdlib>
#include <map>
#include <set>
#include <sstream>
#include <stdexcept>
#include <vector>

#include <tinyxml.h>

#include "controller/KeyCatalogue.h"

namespace keydoc {

namespace {

struct CatalogueRow {
    const char* name;
    unsigned int key;
    unsigned int ispCmd;
    const char* handler; // nullptr for keys that are only stored
};

#define KEYDOC_ROW(name, key, cmd, handler) {#name, key, cmd, #handler},
#define KEYDOC_STORED(name, key) {#name, key, 0, nullptr},
const CatalogueRow kRows[] = {TARNIX_KEY_CATALOGUE(KEYDOC_ROW, KEYDOC_STORED)};
#undef KEYDOC_ROW
#undef KEYDOC_STORED

// Length of the table's name field.
const size_t kNameField = KEYCMD_NAME_LEN;

// Sorted names of the entries of a directory; the directories among them
// when p_bDirectories, else the files.
std::vector<std::string> entriesOf(const std::string& p_strDir, bool p_bDirectories) {
    std::vector<std::string> vecNames;
    DIR* pDir = ::opendir(p_strDir.c_str());
    if (pDir == nullptr) {
        return vecNames;
    }
    while (dirent* pEntry = ::readdir(pDir)) {
        const std::string strName = pEntry->d_name;
        struct stat st;
        if (strName[0] == '.' || ::stat((p_strDir + "/" + strName).c_str(), &st) != 0) {
            continue;
        }
        if (S_ISDIR(st.st_mode) == p_bDirectories) {
            vecNames.push_back(strName);
        }
    }
    ::closedir(pDir);
    std::sort(vecNames.begin(), vecNames.end());
    return vecNames;
}

// Every "id" below and including p_pNode goes to p_setIds.
void collectIds(const TiXmlElement* p_pNode, std::set<unsigned int>& p_setIds) {
    int nId = 0;
    if (p_pNode->QueryIntAttribute("id", &nId) == TIXML_SUCCESS) {
        p_setIds.insert(static_cast<unsigned int>(nId));
    }
    for (const TiXmlElement* pChild = p_pNode->FirstChildElement(); pChild != nullptr;
         pChild = pChild->NextSiblingElement()) {
        collectIds(pChild, p_setIds);
    }
}

// The styles that show a key on one tab: base styles, and diversity edits.
struct Shown {
    std::vector<std::string> base;
    std::vector<std::string> variants;
};
// Which tabs show which key: key -> tab -> the styles that show it there.
using TabMap = std::map<unsigned int, std::map<std::string, Shown>>;

void addTab(const TiXmlElement* p_pTab, const std::string& p_strLabel, bool p_bVariant, TabMap& p_mapTabs) {
    const char* szKey = p_pTab->Attribute("key");
    if (szKey == nullptr) {
        return;
    }
    std::set<unsigned int> setIds;
    collectIds(p_pTab, setIds);
    for (unsigned int nId : setIds) {
        Shown& stShown = p_mapTabs[nId][szKey];
        std::vector<std::string>& vecLabels = p_bVariant ? stShown.variants : stShown.base;
        if (std::find(vecLabels.begin(), vecLabels.end(), p_strLabel) == vecLabels.end()) {
            vecLabels.push_back(p_strLabel);
        }
    }
}

// A base style: the root's children are the tabs.
void addBaseStyle(const TiXmlDocument& p_objDoc, const std::string& p_strLabel, TabMap& p_mapTabs) {
    const TiXmlElement* pRoot = p_objDoc.RootElement();
    for (const TiXmlElement* pTab = pRoot != nullptr ? pRoot->FirstChildElement() : nullptr; pTab != nullptr;
         pTab = pTab->NextSiblingElement()) {
        addTab(pTab, p_strLabel, false, p_mapTabs);
    }
}

// A diversity file: selectors hold operations, whose first child is a tab.
void addDiversity(const TiXmlDocument& p_objDoc, const std::string& p_strLabel, TabMap& p_mapTabs) {
    for (const TiXmlElement* pSelector = p_objDoc.FirstChildElement(); pSelector != nullptr;
         pSelector = pSelector->NextSiblingElement()) {
        for (const TiXmlElement* pOp = pSelector->FirstChildElement(); pOp != nullptr;
             pOp = pOp->NextSiblingElement()) {
            if (const TiXmlElement* pTab = pOp->FirstChildElement()) {
                addTab(pTab, p_strLabel, true, p_mapTabs);
            }
        }
    }
}

// The style files of every sample tree. A tree's label is its folder name;
// its thermal channel's files (*_Thermal.xml) are "<tree> ch2". Returns the
// labels of the base styles.
std::vector<std::string> readStyles(const std::string& p_strDevicesDir, TabMap& p_mapTabs) {
    std::vector<std::string> vecBaseLabels;
    const std::vector<std::string> vecTrees = entriesOf(p_strDevicesDir, true);
    for (const std::string& strTree : vecTrees) {
        const std::string strConfig = p_strDevicesDir + "/" + strTree + "/hd1/moduleConfig/sensorConfig";
        for (const char* szKind : {"style", "styleDiversity"}) {
            const bool bBase = std::string(szKind) == "style";
            for (const std::string& strFile : entriesOf(strConfig + "/" + szKind, false)) {
                if (strFile.size() < 4 || strFile.compare(strFile.size() - 4, 4, ".xml") != 0) {
                    continue;
                }
                TiXmlDocument objDoc;
                const std::string strPath = strConfig + "/" + szKind + "/" + strFile;
                if (!objDoc.LoadFile(strPath.c_str(), TIXML_ENCODING_UTF8)) {
                    throw std::runtime_error("cannot parse " + strPath);
                }
                const bool bThermal = strFile.find("_Thermal") != std::string::npos;
                const std::string strLabel = strTree + (bThermal ? " ch2" : "");
                if (bBase) {
                    vecBaseLabels.push_back(strLabel);
                    addBaseStyle(objDoc, strLabel, p_mapTabs);
                } else {
                    addDiversity(objDoc, strLabel, p_mapTabs);
                }
            }
        }
    }
    if (vecBaseLabels.empty()) {
        throw std::runtime_error("no sample styles below " + p_strDevicesDir);
    }
    return vecBaseLabels;
}

std::string joined(const std::vector<std::string>& p_vecWords) {
    std::string strText;
    for (const std::string& strWord : p_vecWords) {
        strText += (strText.empty() ? "" : ", ") + strWord;
    }
    return strText;
}

// The tab cell of a key: each tab with the base styles that show the key
// there (the tab alone when every base style does); a tab that only a
// diversity edit brings in names the trees whose edit does.
std::string tabCell(unsigned int p_nKey, const TabMap& p_mapTabs, const std::vector<std::string>& p_vecBaseLabels) {
    auto it = p_mapTabs.find(p_nKey);
    if (it == p_mapTabs.end()) {
        return "-";
    }
    std::string strCell;
    for (const auto& entry : it->second) {
        std::string strTab = "`" + entry.first + "`";
        if (entry.second.base.empty()) {
            strTab += " (variants: " + joined(entry.second.variants) + ")";
        } else if (entry.second.base != p_vecBaseLabels) {
            strTab += " (" + joined(entry.second.base) + ")";
        }
        strCell += (strCell.empty() ? "" : "; ") + strTab;
    }
    return strCell;
}

} // namespace

std::string keyDocument(const std::string& p_strDevicesDir) {
    TabMap mapTabs;
    const std::vector<std::string> vecBaseLabels = readStyles(p_strDevicesDir, mapTabs);

    std::ostringstream out;
    out << "# Image keys\n\n"
           "<!-- Generated by tarnix-keydoc from controller/KeyCatalogue.h and the sample styles in devices/.\n"
           "     Do not edit: change the catalogue or the styles and run\n"
           "     cmake --build <build> --target keydoc -->\n\n"
           "Every key the host can read or change, one line per row of the key-command table in table order\n"
           "(the row index is what `findFromKeyCmdMap` returns). The ISP command is the first argument the\n"
           "handler receives; keys without a handler are only kept in the scheme cache. The last column names\n"
           "the tab of the sample styles (`devices/*/hd1/moduleConfig/sensorConfig/`) that shows the key: the\n"
           "tab alone when every sample style shows it there, else the trees whose style does (`ch2`: the\n"
           "thermal channel's style; `variants`: a tab that only a style diversity edit brings in); `-` when\n"
           "no sample style shows it.\n\n"
           "| Row | Key | Name | ISP command | Handler | Tab of the sample styles |\n"
           "|---:|---:|---|---:|---|---|\n";
    std::vector<std::string> vecLongNames;
    for (size_t nRow = 0; nRow < sizeof(kRows) / sizeof(kRows[0]); ++nRow) {
        const CatalogueRow& stRow = kRows[nRow];
        out << "| " << nRow << " | " << stRow.key << " | `" << stRow.name << "` | " << stRow.ispCmd << " | "
            << (stRow.handler != nullptr ? std::string("`") + stRow.handler + "`" : std::string("(stored only)"))
            << " | " << tabCell(stRow.key, mapTabs, vecBaseLabels) << " |\n";
        if (std::string(stRow.name).size() > kNameField) {
            vecLongNames.push_back(stRow.name);
        }
    }
    out << "\nThe table's name field keeps the first " << kNameField
        << " characters of a name, without a terminator when the name is longer; traces of these keys print "
           "the cut name followed by the handler name:\n\n";
    for (const std::string& strName : vecLongNames) {
        out << "- `" << strName << "` is kept as `" << strName.substr(0, kNameField) << "`\n";
    }
    out << "\nThe intelligent twins of the medium and far light strengths have no row: "
        << tarnix::keys::KEY_IR_MANUAL_STRG_MEDIUM_INTELL << ", " << tarnix::keys::KEY_IR_MANUAL_STRG_FAR_INTELL
        << ", " << tarnix::keys::KEY_WHITE_MANUAL_STRG_MEDIUM_INTELL << " and "
        << tarnix::keys::KEY_WHITE_MANUAL_STRG_FAR_INTELL
        << " (`KEY_IR_MANUAL_STRG_MEDIUM_INTELL`, `KEY_IR_MANUAL_STRG_FAR_INTELL`,\n"
           "`KEY_WHITE_MANUAL_STRG_MEDIUM_INTELL`, `KEY_WHITE_MANUAL_STRG_FAR_INTELL` in the code). The apply loop\n"
           "copies a value to them like to the other twins; a write finds no record and does nothing.\n";
    return out.str();
}

} // namespace keydoc
