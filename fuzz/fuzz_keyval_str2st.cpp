// Fuzzes the text form of parameter lists: keyval_str2st in both forms
// (unbounded into an array sized exactly by keyval_count, and bounded by a
// capacity taken from the input), and the round trip through keyval_st2str.
//
// Input: byte 0 selects the capacity of the bounded parse; the rest is the
// record text, as a web page would send it.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "engine/KeyValText.h"
#include "fuzz/fuzz_support.h"

namespace {

bool sameRecords(const KeyVal* a, const KeyVal* b, u32 n) {
    for (u32 i = 0; i < n; ++i) {
        if (a[i].key != b[i].key || a[i].value != b[i].value) {
            return false;
        }
    }
    return true;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0) {
        return 0;
    }
    const u32 nCapacity = data[0];
    const std::string strText(reinterpret_cast<const char*>(data + 1), size - 1);

    // Unbounded form: the array holds exactly as many records as the text
    // has, on the heap so that any write past it is caught.
    const u32 nExpected = keyval_count(strText);
    std::unique_ptr<KeyVal[]> pAll(new KeyVal[nExpected == 0 ? 1 : nExpected]);
    u32 nCount = 0xFFFFFFFFu;
    keyval_str2st(strText, pAll.get(), &nCount);
    FUZZ_CHECK(nCount == nExpected);
    // Every record comes from a "(" ... ")" pair.
    FUZZ_CHECK(nCount <= strText.size() / 2);

    // Bounded form: the same records, cut at the capacity.
    std::unique_ptr<KeyVal[]> pSome(new KeyVal[nCapacity == 0 ? 1 : nCapacity]);
    u32 nSome = 0xFFFFFFFFu;
    keyval_str2st(strText, pSome.get(), &nSome, nCapacity);
    FUZZ_CHECK(nSome == (nExpected < nCapacity ? nExpected : nCapacity));
    FUZZ_CHECK(sameRecords(pAll.get(), pSome.get(), nSome));

    // Round trip: the text of the records parses back into the same records,
    // and printing appends to what the string held.
    const std::string strPrefix = "prefix";
    std::string strOut = strPrefix;
    keyval_st2str(strOut, pAll.get(), nCount);
    FUZZ_CHECK(strOut.compare(0, strPrefix.size(), strPrefix) == 0);
    const std::string strRecords = strOut.substr(strPrefix.size());
    FUZZ_CHECK(keyval_count(strRecords) == nCount);
    std::vector<KeyVal> vecBack(nCount == 0 ? 1 : nCount);
    u32 nBack = 0;
    keyval_str2st(strRecords, vecBack.data(), &nBack);
    FUZZ_CHECK(nBack == nCount);
    FUZZ_CHECK(sameRecords(pAll.get(), vecBack.data(), nCount));

    // And prints identically a second time.
    std::string strAgain;
    keyval_st2str(strAgain, vecBack.data(), nBack);
    FUZZ_CHECK(strAgain == strRecords);
    return 0;
}
