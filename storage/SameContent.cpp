#include "storage/SameContent.h"

#include <cstring>
#include <vector>

#include "platform/PXFile.h"

namespace tarnix {
namespace storage {

namespace {
// Files are compared in pieces of this size.
const size_t kChunk = 4096;
} // namespace

bool fileHoldsBytes(const char* p_szPath, const void* p_pData, size_t p_nLength) {
    if (p_szPath == nullptr || (p_pData == nullptr && p_nLength > 0)) {
        return false;
    }
    PXFile file;
    if (!file.open(p_szPath, PXFile::modeRead)) {
        return false;
    }
    if (file.getLength() != static_cast<INT64>(p_nLength)) {
        return false;
    }
    const char* pData = static_cast<const char*>(p_pData);
    std::vector<char> vecChunk(kChunk);
    size_t nDone = 0;
    while (nDone < p_nLength) {
        const size_t nWant = p_nLength - nDone < kChunk ? p_nLength - nDone : kChunk;
        const int nRead = file.read(vecChunk.data(), static_cast<unsigned int>(nWant));
        if (nRead <= 0 || static_cast<size_t>(nRead) != nWant ||
            std::memcmp(vecChunk.data(), pData + nDone, nWant) != 0) {
            return false;
        }
        nDone += nWant;
    }
    // Nothing beyond the bytes compared.
    char cExtra = 0;
    return file.read(&cExtra, 1) == 0;
}

} // namespace storage
} // namespace tarnix
