// docs/keys.md is generated from the key catalogue and the sample styles:
// the committed file must be what tarnix-keydoc prints now.
#include <gtest/gtest.h>

#include <fstream>
#include <sstream>
#include <string>

#include "controller/SensorTypes.h"
#include "tools/keydoc/KeyDoc.h"

namespace {

const std::string kDevicesDir = TARNIX_DEVICES_DIR;
const std::string kKeysDoc = kDevicesDir + "/../docs/keys.md";

std::string readWhole(const std::string& p_strPath) {
    std::ifstream in(p_strPath, std::ios::binary);
    std::stringstream ss;
    ss << in.rdbuf();
    return ss.str();
}

} // namespace

TEST(KeyDoc, CommittedDocumentIsCurrent) {
    const std::string strNow = keydoc::keyDocument(kDevicesDir);
    ASSERT_EQ(strNow, readWhole(kKeysDoc))
        << "docs/keys.md is out of date (the key catalogue or a sample style changed): regenerate it with\n"
           "    cmake --build <build dir> --target keydoc\n"
           "and commit the result.";
}

TEST(KeyDoc, OneLinePerTableRowInTableOrder) {
    const std::string strDoc = keydoc::keyDocument(kDevicesDir);
    size_t nRows = 0;
    std::istringstream in(strDoc);
    std::string strLine;
    std::string strFirst;
    std::string strLast;
    while (std::getline(in, strLine)) {
        if (strLine.compare(0, 2, "| ") == 0 && strLine.compare(0, 5, "| Row") != 0) {
            strFirst = strFirst.empty() ? strLine : strFirst;
            strLast = strLine;
            ++nRows;
        }
    }
    EXPECT_EQ(static_cast<size_t>(KEYCMD_ROWS), nRows);
    EXPECT_EQ(0u, strFirst.find("| 0 | 8240 | `KEY__DDE_MANUAL_STRG` | 8240 | `doIaCmd` | ")) << strFirst;
    EXPECT_EQ(0u, strLast.find("| 165 | 773 | `KEY_WB_BG` | 773 | `doIaCmd` | `whitebalance`")) << strLast;
    // Rows whose ISP command differs from the key, rows without a handler, and
    // keys on a tab of every sample style.
    EXPECT_NE(std::string::npos, strDoc.find("| 124 | 2497 | `KEY_SENSOR_FPS` | 2464 | `doIaCmd_User` |"));
    EXPECT_NE(std::string::npos, strDoc.find("| 92 | 8000 | `KEY_SCHEME_MODE` | 0 | (stored only) |"));
    EXPECT_NE(std::string::npos, strDoc.find("| 1 | 34 | `KEY_BRIGHTNESS` | 34 | `doIaCmd` | `image` |"));
    EXPECT_NE(std::string::npos, strDoc.find("`KEY_MIXSTREAM_THERMAL_TO_VISION_SYNC_FOV` is kept as "
                                             "`KEY_MIXSTREAM_THERMAL_TO_VISION_`"));
}

TEST(KeyDoc, AMissingDevicesFolderIsAnError) {
    EXPECT_THROW(keydoc::keyDocument(kDevicesDir + "/no-such-folder"), std::runtime_error);
}
