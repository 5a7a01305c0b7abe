#pragma once
// Scheme files as the tests read them: 8-byte key/value records back to back.
#include <cstring>
#include <fstream>
#include <string>
#include <vector>

#include "controller/SensorTypes.h"
#include "platform/posix/HostTree.h"

namespace tarnix_test {

// The records of a scheme file at a host path (a missing file gives none).
inline std::vector<KeyVal> readKeyValFile(const std::string& p_strHostPath) {
    std::string bytes = platform::readHostFile(p_strHostPath);
    std::vector<KeyVal> records(bytes.size() / sizeof(KeyVal));
    if (!records.empty()) {
        std::memcpy(records.data(), bytes.data(), records.size() * sizeof(KeyVal));
    }
    return records;
}

// Writes records as a scheme file at a host path, replacing it.
inline void writeKeyValFile(const std::string& p_strHostPath, const std::vector<KeyVal>& p_vecRecords) {
    std::string bytes(p_vecRecords.size() * sizeof(KeyVal), '\0');
    if (!p_vecRecords.empty()) {
        std::memcpy(&bytes[0], p_vecRecords.data(), bytes.size());
    }
    std::ofstream out(p_strHostPath, std::ios::binary | std::ios::trunc);
    out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
}

// Value of a key in records, read as signed; -12345 when the key is absent.
inline long long keyValueOf(const std::vector<KeyVal>& p_vecRecords, u32 p_nKey) {
    for (const KeyVal& kv : p_vecRecords) {
        if (kv.key == p_nKey) {
            return static_cast<int32_t>(kv.value);
        }
    }
    return -12345;
}

} // namespace tarnix_test
