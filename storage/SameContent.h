#pragma once
// Compare-before-replace: the one place where a save asks whether the file
// on storage already holds exactly the bytes it would write. A save that
// finds them writes nothing (no flash wear, no window for a power cut).
#include <cstddef>

namespace tarnix {
namespace storage {

// True when the file exists, can be read and holds exactly p_nLength bytes,
// equal to p_pData. A missing, shorter, longer, unreadable or different file
// gives false.
bool fileHoldsBytes(const char* p_szPath, const void* p_pData, size_t p_nLength);

} // namespace storage
} // namespace tarnix
