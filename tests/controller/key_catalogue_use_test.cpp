// Every key id is written once, in controller/KeyCatalogue.h: the library,
// its tools, the ONVIF mapping and the porting kit refer to keys by the
// catalogue's names. No source declares a key constant of its own
// ("const int kKeyMirror = 2384;") or tests a key by its bare number
// ("case 144:", "== 8104").
#include <fstream>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "controller/KeyCatalogue.h"
#include "support/SourceTree.h"

namespace {

// Folders whose sources refer to keys (the catalogue itself excepted).
const char* const kFolders[] = {"controller", "engine", "handlers",    "scheme",      "config",
                                "storage",    "tools",  "conformance", "onvif"};

// The key ids of the catalogue and its four twins without a row.
std::set<unsigned long> catalogueIds() {
    std::set<unsigned long> ids;
#define TARNIX_TEST_ID_ROW(name, id, cmd, handler) ids.insert(id);
#define TARNIX_TEST_ID_STORED(name, id) ids.insert(id);
    TARNIX_KEY_CATALOGUE(TARNIX_TEST_ID_ROW, TARNIX_TEST_ID_STORED)
#undef TARNIX_TEST_ID_ROW
#undef TARNIX_TEST_ID_STORED
    using namespace tarnix::keys;
    for (unsigned long id : {KEY_IR_MANUAL_STRG_MEDIUM_INTELL, KEY_IR_MANUAL_STRG_FAR_INTELL,
                             KEY_WHITE_MANUAL_STRG_MEDIUM_INTELL, KEY_WHITE_MANUAL_STRG_FAR_INTELL}) {
        ids.insert(id);
    }
    return ids;
}

// The code of a source file, line by line, without comments and without the
// contents of string and character literals.
std::vector<std::string> codeLines(const std::string& p_strPath) {
    std::ifstream in(p_strPath);
    std::stringstream ss;
    ss << in.rdbuf();
    const std::string strText = ss.str();
    std::string strCode;
    enum { CODE, LINE_COMMENT, BLOCK_COMMENT, STRING, CHAR } eState = CODE;
    for (size_t i = 0; i < strText.size(); ++i) {
        const char c = strText[i];
        const char next = i + 1 < strText.size() ? strText[i + 1] : '\0';
        switch (eState) {
        case CODE:
            if (c == '/' && next == '/') {
                eState = LINE_COMMENT;
            } else if (c == '/' && next == '*') {
                eState = BLOCK_COMMENT;
                ++i;
            } else {
                strCode += c;
                eState = c == '"' ? STRING : c == '\'' ? CHAR : CODE;
            }
            break;
        case LINE_COMMENT:
            if (c == '\n') {
                strCode += c;
                eState = CODE;
            }
            break;
        case BLOCK_COMMENT:
            if (c == '\n') {
                strCode += c;
            } else if (c == '*' && next == '/') {
                eState = CODE;
                ++i;
            }
            break;
        case STRING:
        case CHAR:
            if (c == '\\') {
                ++i;
            } else if (c == (eState == STRING ? '"' : '\'')) {
                strCode += c;
                eState = CODE;
            } else if (c == '\n') {
                strCode += c;
            }
            break;
        }
    }
    std::vector<std::string> vecLines;
    std::stringstream lines(strCode);
    std::string strLine;
    while (std::getline(lines, strLine)) {
        vecLines.push_back(strLine);
    }
    return vecLines;
}

TEST(KeyCatalogueUse, NoSourceDeclaresOrComparesKeysByNumber) {
    std::vector<std::string> vecFiles;
    for (const char* szFolder : kFolders) {
        const std::vector<std::string> vecBelow = tarnix_test::sourcesBelow(szFolder);
        vecFiles.insert(vecFiles.end(), vecBelow.begin(), vecBelow.end());
    }
    ASSERT_GT(vecFiles.size(), 50u);
    const std::set<unsigned long> ids = catalogueIds();
    const std::regex reDeclaration(R"(\bkKey\w*\s*=\s*\d)");
    // "case N:", "== N", "!= N" and "N ==", "N !=". Numbers below 100 are
    // values far more often than keys, so the key ids from 100 up are checked.
    const std::regex reComparison(R"((?:\bcase\s+|[=!]=\s*)(\d+)\b|\b(\d+)\s*[=!]=)");
    for (const std::string& strFile : vecFiles) {
        if (strFile.find("/KeyCatalogue.h") != std::string::npos) {
            continue;
        }
        const std::vector<std::string> vecLines = codeLines(strFile);
        for (size_t n = 0; n < vecLines.size(); ++n) {
            const std::string& strLine = vecLines[n];
            EXPECT_FALSE(std::regex_search(strLine, reDeclaration)) << strFile << ":" << n + 1 << ": " << strLine;
            // An HTTP status is not a key.
            if (strLine.find("status") != std::string::npos) {
                continue;
            }
            for (std::sregex_iterator it(strLine.begin(), strLine.end(), reComparison), end; it != end; ++it) {
                const std::string strNumber = (*it)[1].matched ? (*it)[1].str() : (*it)[2].str();
                const unsigned long nValue = strNumber.size() <= 9 ? std::stoul(strNumber) : 0;
                EXPECT_FALSE(nValue >= 100 && ids.count(nValue) != 0)
                    << strFile << ":" << n + 1 << ": key " << nValue << " by its number: " << strLine;
            }
        }
    }
}

} // namespace
