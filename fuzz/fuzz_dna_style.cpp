// Fuzzes the narrowing of a style to the ISP's dynamic parameters
// (getDnaStyle) and the factory values read from it (getFctData, all three
// forms), on arbitrary styles and an arbitrary list of dynamic parameters in
// the simulated ISP.
//
// Input layout (a short binary header, then the style text):
//   byte 0   flags: bit 0 show WDR, bit 1 show LDC, bit 2 beaway flag,
//            bit 3 fisheye-rotation flag, bit 4 the command-list query fails,
//            bit 5 every range query fails, bit 6 also read the factory
//            values into an array of one entry per dynamic command
//   byte 1   number of dynamic commands (modulo 20; the ISP lists 16 at most)
//   per command:
//            1 byte selector: below 0xF0 an index into a table of the
//            commands the styles use, else 2 more bytes (little-endian) give
//            the command id
//            2 bytes default (little-endian, signed)
//            1 byte item count (modulo 70), then 2 bytes per item (signed)
//   rest     the style text
// A header cut short by the end of the input ends the header; the style is
// then empty.
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "config/DnaStyle.h"
#include "config/FactoryDefaults.h"
#include "config/sensor.h"
#include "controller/KeyCatalogue.h"
#include "fuzz/fuzz_support.h"
#include "ispsim/ispsim.h"

using namespace tarnix::keys;

namespace {

// Commands with special handling (shutters, focus limit), list items of the
// sample styles and the items that the flags remove.
const unsigned int kCommands[] = {
    KEY_MAX_SHUTTER,  KEY_FIX_SHUTTER,  KEY_MIN_SHUTTER,     KEY_MIN_SHUTTER_NIGHT, KEY_MAX_SHUTTER_NIGHT,
    KEY_AUTO_FOCUS_NEAR_LIMIT,          KEY_EXPOSE_MODE,     KEY_MAX_GAIN_NIGHT,    KEY_MAX_GAIN,
    KEY_IRIS_POSITION, KEY_WDR_MODE,    KEY_WDR_STRG,        KEY_EMPTY1,            KEY_EMPTY2,
    KEY_METER_AREA,   KEY_DN_MODE,      KEY_IR_MODE,         KEY_WB_MODE,           KEY_2D_NR_SWITCH,
    KEY_GAMMA,        KEY_IN_OUT_SIDE,  KEY_BRIGHTNESS,      KEY_LDC_SWITCH,        KEY_LDC_STRG,
    KEY_FISHEYE_ROTATE, KEY_BEAWAY};
const size_t kCommandCount = sizeof(kCommands) / sizeof(kCommands[0]);

class Reader {
public:
    Reader(const uint8_t* p_pData, size_t p_nSize) : m_pData(p_pData), m_nSize(p_nSize), m_nPos(0) {}
    bool byte(uint8_t& p_nOut) {
        if (m_nPos >= m_nSize) {
            return false;
        }
        p_nOut = m_pData[m_nPos++];
        return true;
    }
    bool word(uint16_t& p_nOut) {
        uint8_t nLo = 0;
        uint8_t nHi = 0;
        if (!byte(nLo) || !byte(nHi)) {
            return false;
        }
        p_nOut = static_cast<uint16_t>(nLo | (nHi << 8));
        return true;
    }
    std::string rest() {
        std::string strRest(reinterpret_cast<const char*>(m_pData + m_nPos), m_nSize - m_nPos);
        m_nPos = m_nSize;
        return strRest;
    }

private:
    const uint8_t* m_pData;
    size_t m_nSize;
    size_t m_nPos;
};

struct DynamicParam {
    unsigned int cmd;
    int32_t def;
    std::vector<int32_t> items;
};

// Reads the header; false when the input ended inside it.
bool readHeader(Reader& p_reader, uint8_t& p_nFlags, std::vector<DynamicParam>& p_vecParams) {
    uint8_t nCount = 0;
    if (!p_reader.byte(p_nFlags) || !p_reader.byte(nCount)) {
        return false;
    }
    nCount %= 20;
    for (uint8_t i = 0; i < nCount; ++i) {
        DynamicParam stParam;
        uint8_t nSel = 0;
        if (!p_reader.byte(nSel)) {
            return false;
        }
        if (nSel < 0xF0) {
            stParam.cmd = kCommands[nSel % kCommandCount];
        } else {
            uint16_t nCmd = 0;
            if (!p_reader.word(nCmd)) {
                return false;
            }
            stParam.cmd = nCmd;
        }
        uint16_t nDef = 0;
        uint8_t nItems = 0;
        if (!p_reader.word(nDef) || !p_reader.byte(nItems)) {
            return false;
        }
        stParam.def = static_cast<int16_t>(nDef);
        nItems %= 70;
        for (uint8_t k = 0; k < nItems; ++k) {
            uint16_t nItem = 0;
            if (!p_reader.word(nItem)) {
                return false;
            }
            stParam.items.push_back(static_cast<int16_t>(nItem));
        }
        p_vecParams.push_back(stParam);
    }
    return true;
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    tarnix_fuzz::TempRoot::instance();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Reader reader(data, size);
    uint8_t nFlags = 0;
    std::vector<DynamicParam> vecParams;
    const bool bComplete = readHeader(reader, nFlags, vecParams);
    const std::string strStyle = bComplete ? reader.rest() : std::string();

    // The ISP of channel 1 is ISP channel 0.
    ispsim::reset();
    for (const DynamicParam& stParam : vecParams) {
        ispsim::setDynamicParam(0, stParam.cmd, stParam.def, stParam.items);
    }
    if ((nFlags & 0x10) != 0) {
        ispsim::setFailure(0, 4112, 1, -1);
    }
    if ((nFlags & 0x20) != 0) {
        for (const DynamicParam& stParam : vecParams) {
            ispsim::setFailure(0, stParam.cmd, 2, -1);
        }
    }
    const bool bShowWDR = (nFlags & 0x01) != 0;
    const bool bShowLDC = (nFlags & 0x02) != 0;
    setshowBeawayFalg((nFlags & 0x04) != 0);
    setshowFisheyeRotateFlag((nFlags & 0x08) != 0);

    // getFctData narrows the style with getDnaStyle first. The vector form
    // holds every item; it sizes the array of the exported form, which then
    // gets all of them.
    std::vector<KeyVal> vecAll;
    FUZZ_CHECK(getFctData(1, strStyle.c_str(), vecAll, bShowWDR, bShowLDC) == 0);
    std::unique_ptr<KeyVal[]> pFct(new KeyVal[vecAll.empty() ? 1 : vecAll.size()]);
    std::vector<char> vecStyle(strStyle.begin(), strStyle.end());
    vecStyle.push_back('\0');
    u32 nCount = 0xFFFFFFFFu;
    FUZZ_CHECK(getFctData(1, vecStyle.data(), pFct.get(), &nCount, bShowWDR, bShowLDC) == 0);
    FUZZ_CHECK(nCount == vecAll.size());

    // A small caller array with its capacity gets a prefix of the same list.
    const bool bSmall = (nFlags & 0x40) != 0;
    const u32 nSmallCap = static_cast<u32>(vecParams.size());
    std::unique_ptr<KeyVal[]> pSmall(new KeyVal[nSmallCap == 0 ? 1 : nSmallCap]);
    u32 nSmall = 0;
    if (bSmall) {
        FUZZ_CHECK(getFctData(1, strStyle.c_str(), pSmall.get(), &nSmall, nSmallCap, bShowWDR, bShowLDC) == 0);
        FUZZ_CHECK(nSmall == (vecAll.size() < nSmallCap ? vecAll.size() : nSmallCap));
    }
    for (u32 i = 0; i < nCount; ++i) {
        FUZZ_CHECK(pFct[i].key == vecAll[i].key && pFct[i].value == vecAll[i].value);
    }
    for (u32 i = 0; i < nSmall; ++i) {
        FUZZ_CHECK(pSmall[i].key == vecAll[i].key && pSmall[i].value == vecAll[i].value);
    }
    return 0;
}
