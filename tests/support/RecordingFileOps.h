#pragma once
// A file layer that records, for every file a save puts in place, each
// content it was given: the bytes written to "<name>.tmp" before it was
// renamed to "<name>". The steps themselves run as usual.
#include <map>
#include <mutex>
#include <set>
#include <string>

#include "storage/FileOps.h"

namespace tarnix_test {

class RecordingFileOps : public tarnix::storage::FileOps {
public:
    bool open(PXFile& file, const char* path, unsigned char mode) override;
    int write(PXFile& file, char* data, unsigned int size) override;
    bool rename(const char* from, const char* to) override;
    bool remove(const char* path) override;

    // Every content put in place under the device path.
    std::set<std::string> versionsOf(const std::string& p_strPath) const;
    // Number of files put in place.
    long saves() const;

private:
    mutable std::mutex m_mutex;
    std::map<const PXFile*, std::string> m_mapOpen;   // device path of each open file
    std::map<std::string, std::string> m_mapPending;  // bytes written, by device path
    std::map<std::string, std::set<std::string>> m_mapVersions;
    long m_nSaves = 0;
};

} // namespace tarnix_test
