// Fuzzes the style merge: a base style, a style diversity document and a
// module detail text, all taken from the input, go through mergeStyle for
// channel 1; the merged document lands in the private device root.
//
// Input: style text, a zero byte, diversity text, a zero byte, detail text.
// Missing parts are empty, except a missing detail, which takes the detail of
// the sample box camera so that the sample diversity selectors can match.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

#include "config/StyleXml.h"
#include "config/sensor.h"
#include "fuzz/fuzz_support.h"
#include "storage/SensorFile.h"

namespace {

const char* const kDefaultDetail = "(sensor=imx327)(lens=vf2812)(light=dual)(usage=general)(max_scheme=4)(isInfrared=1)";

// Splits off the text up to the next zero byte (or the end).
std::string nextPart(const uint8_t*& p_pData, const uint8_t* p_pEnd, bool& p_bFound) {
    const uint8_t* pZero = static_cast<const uint8_t*>(std::memchr(p_pData, 0, static_cast<size_t>(p_pEnd - p_pData)));
    const uint8_t* pStop = pZero != nullptr ? pZero : p_pEnd;
    std::string strPart(reinterpret_cast<const char*>(p_pData), static_cast<size_t>(pStop - p_pData));
    p_bFound = pZero != nullptr;
    p_pData = pZero != nullptr ? pZero + 1 : p_pEnd;
    return strPart;
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    tarnix_fuzz::TempRoot::instance();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const uint8_t* p = data;
    const uint8_t* pEnd = data + size;
    bool bMore = false;
    std::string strStyle = nextPart(p, pEnd, bMore);
    std::string strDiversity = bMore ? nextPart(p, pEnd, bMore) : std::string();
    std::string strDetail = bMore ? std::string(reinterpret_cast<const char*>(p), static_cast<size_t>(pEnd - p))
                                  : std::string(kDefaultDetail);

    ModuleConfig stModule;
    std::memset(&stModule, 0, sizeof(stModule));
    stModule.nModuleId = 1;
    std::strncpy(stModule.szDetail, strDetail.c_str(), sizeof(stModule.szDetail) - 1);

    // The style text is a heap buffer that mergeStyle may reallocate.
    char* szStyle = static_cast<char*>(std::malloc(strStyle.size() + 1));
    FUZZ_CHECK(szStyle != nullptr);
    std::memcpy(szStyle, strStyle.c_str(), strStyle.size() + 1);
    std::string strDivCopy = strDiversity; // mergeStyle takes a non-const text

    int nRet = mergeStyle(1, &stModule, &szStyle, &strDivCopy[0]);
    FUZZ_CHECK(nRet == 0);
    FUZZ_CHECK(szStyle != nullptr);

    // The returned text is the merged file as saved.
    const std::string strFile = tarnix_fuzz::readHostFile(tarnix_fuzz::TempRoot::instance().host("/tmp/merge_style_ch1.xml"));
    FUZZ_CHECK(std::strlen(szStyle) <= strFile.size());
    FUZZ_CHECK(strFile.compare(0, std::strlen(szStyle), szStyle) == 0);
    std::free(szStyle);
    return 0;
}
