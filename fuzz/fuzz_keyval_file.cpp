// Fuzzes the scheme and version files: arbitrary bytes are written as a
// scheme file and as the version stamp in the private device root, then read
// back with keyValFromFile, getFileLen, loadFromFile and getVersion, and the
// records loaded are saved and loaded once more.
//
// Input: byte 0 is the number of records to load (0-255); the rest is the
// file content.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "fuzz/fuzz_support.h"
#include "storage/SensorFile.h"

namespace {

const char* const kSchemeFile = "/mnt/mtd/code/config_file/sensor1_0.cfg";
const char* const kCopyFile = "/mnt/mtd/code/config_file/sensor1_1.cfg";
const uint8_t kUntouched = 0xA5;

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    tarnix_fuzz::TempRoot::instance();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0) {
        return 0;
    }
    tarnix_fuzz::TempRoot& root = tarnix_fuzz::TempRoot::instance();
    const u32 nCount = data[0];
    const uint8_t* pBytes = data + 1;
    const size_t nLen = size - 1;
    tarnix_fuzz::writeHostFile(root.host(kSchemeFile), pBytes, nLen);

    // The loader fills as many bytes as the file has, up to count records,
    // leaves the rest of the array alone and always reports success.
    std::vector<KeyVal> vecRecords(nCount == 0 ? 1 : nCount);
    std::memset(vecRecords.data(), kUntouched, vecRecords.size() * sizeof(KeyVal));
    std::string strName = kSchemeFile;
    FUZZ_CHECK(keyValFromFile(&strName[0], vecRecords.data(), nCount) == 0);
    const size_t nWanted = static_cast<size_t>(nCount) * sizeof(KeyVal);
    const size_t nFilled = nLen < nWanted ? nLen : nWanted;
    const uint8_t* pLoaded = reinterpret_cast<const uint8_t*>(vecRecords.data());
    FUZZ_CHECK(std::memcmp(pLoaded, pBytes, nFilled) == 0);
    for (size_t i = nFilled; i < vecRecords.size() * sizeof(KeyVal); ++i) {
        FUZZ_CHECK(pLoaded[i] == kUntouched);
    }

    // Length and raw load.
    FUZZ_CHECK(getFileLen(kSchemeFile) == static_cast<INT64>(nLen));
    std::vector<uint8_t> vecRaw(nLen + 1, 0);
    FUZZ_CHECK(loadFromFile(kSchemeFile, vecRaw.data(), static_cast<INT64>(nLen)) == static_cast<int>(nLen));
    FUZZ_CHECK(std::memcmp(vecRaw.data(), pBytes, nLen) == 0);
    FUZZ_CHECK(loadFromFile(kSchemeFile, vecRaw.data(), static_cast<INT64>(nLen) + 1) == -1);

    // Saved and loaded again, the records come back unchanged.
    std::string strCopy = kCopyFile;
    FUZZ_CHECK(keyValToFile(&strCopy[0], vecRecords.data(), nCount) == 0);
    FUZZ_CHECK(getFileLen(kCopyFile) == static_cast<INT64>(nWanted));
    std::vector<KeyVal> vecBack(vecRecords.size());
    FUZZ_CHECK(keyValFromFile(&strCopy[0], vecBack.data(), nCount) == 0);
    FUZZ_CHECK(std::memcmp(vecBack.data(), vecRecords.data(), nWanted) == 0);

    // The same bytes as the version stamp: four bytes or more read as the
    // stamp, fewer fail and leave the output alone.
    tarnix_fuzz::writeHostFile(root.host(SENSOR_VERSION_FILE), pBytes, nLen);
    u32 nVersion = 0xDEADBEEFu;
    int nRet = getVersion(&nVersion);
    if (nLen < sizeof(u32)) {
        FUZZ_CHECK(nRet == -1);
        FUZZ_CHECK(nVersion == 0xDEADBEEFu);
    } else {
        FUZZ_CHECK(nRet == 0);
        u32 nExpected = 0;
        std::memcpy(&nExpected, pBytes, sizeof(nExpected));
        FUZZ_CHECK(nVersion == nExpected);
    }
    return 0;
}
