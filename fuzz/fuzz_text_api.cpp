// Fuzzes the controller's text API as a web page reaches it: key lists
// through parseSensorParameter and getParameters, and record lists through
// setParameters, on one controller of channel 1 initialised once from a
// private copy of the sample box camera, with the simulated ISP behind it.
//
// Input: byte 0 selects what runs besides the key-list read:
//   bit 0: setParameters(text, cache) first, cache = bit 1
//   bit 2: getAllParameters afterwards
// The rest of the input is the text.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "controller/ISensorController.h"
#include "engine/KeyValText.h"
#include "fuzz/fuzz_support.h"
#include "ispsim/ispsim.h"

namespace {

ISensorController* g_pController = nullptr;
std::string g_strProfile;

void shutDown() {
    if (g_pController != nullptr) {
        g_pController->uinit();
        delete g_pController;
        g_pController = nullptr;
    }
}

// A text that parses as records and prints back as itself.
bool wellFormedRecords(const std::string& p_strText) {
    u32 nCount = keyval_count(p_strText);
    std::vector<KeyVal> vec(nCount == 0 ? 1 : nCount);
    u32 nParsed = 0;
    keyval_str2st(p_strText, vec.data(), &nParsed);
    std::string strBack;
    keyval_st2str(strBack, vec.data(), nParsed);
    return strBack == p_strText;
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    g_pController = tarnix_fuzz::startController("box", g_strProfile);
    // A key every style of the box camera has must read back.
    std::string strOut;
    FUZZ_CHECK(g_pController->getParameters("(34)", strOut));
    FUZZ_CHECK(strOut.compare(0, 4, "(34,") == 0);
    std::atexit(&shutDown);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0) {
        return 0;
    }
    tarnix_fuzz::beginIspRun(g_strProfile);

    const uint8_t nMode = data[0];
    const std::string strText(reinterpret_cast<const char*>(data + 1), size - 1);

    if ((nMode & 0x01) != 0) {
        g_pController->setParameters(strText, (nMode & 0x02) != 0);
    }

    // The key list: what parseSensorParameter accepts is exactly what
    // getParameters answers; a refused list leaves the output alone.
    std::vector<std::string> vecItems;
    const bool bParsed = parseSensorParameter(strText, vecItems);
    if (bParsed) {
        FUZZ_CHECK(strText.size() > 2 && strText.front() == '(' && strText.back() == ')');
        FUZZ_CHECK(strText.find(')') == strText.size() - 1);
        FUZZ_CHECK(!vecItems.empty());
    }
    std::string strOut = "unchanged";
    const bool bRead = g_pController->getParameters(strText, strOut);
    FUZZ_CHECK(bRead == bParsed);
    if (!bRead) {
        FUZZ_CHECK(strOut == "unchanged");
    } else {
        // One record at most per item, each printed as "(%d,%d)".
        FUZZ_CHECK(keyval_count(strOut) <= vecItems.size());
        FUZZ_CHECK(wellFormedRecords(strOut));
    }

    if ((nMode & 0x04) != 0) {
        std::string strAll = "";
        FUZZ_CHECK(g_pController->getAllParameters(strAll));
        FUZZ_CHECK(wellFormedRecords(strAll));
    }
    return 0;
}
