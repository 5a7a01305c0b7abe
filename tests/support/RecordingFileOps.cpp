#include "support/RecordingFileOps.h"

namespace tarnix_test {

bool RecordingFileOps::open(PXFile& file, const char* path, unsigned char mode) {
    bool bOpened = FileOps::open(file, path, mode);
    std::lock_guard<std::mutex> lock(m_mutex);
    if (bOpened && path != nullptr) {
        m_mapOpen[&file] = path;
        m_mapPending[path].clear();
    }
    return bOpened;
}

int RecordingFileOps::write(PXFile& file, char* data, unsigned int size) {
    int nWritten = FileOps::write(file, data, size);
    std::lock_guard<std::mutex> lock(m_mutex);
    auto it = m_mapOpen.find(&file);
    if (it != m_mapOpen.end() && nWritten > 0) {
        m_mapPending[it->second].append(data, static_cast<size_t>(nWritten));
    }
    return nWritten;
}

bool RecordingFileOps::rename(const char* from, const char* to) {
    bool bRenamed = FileOps::rename(from, to);
    std::lock_guard<std::mutex> lock(m_mutex);
    if (bRenamed && from != nullptr && to != nullptr) {
        m_mapVersions[to].insert(m_mapPending[from]);
        m_mapPending.erase(from);
        ++m_nSaves;
    }
    // The file object of the save is closed by now.
    for (auto it = m_mapOpen.begin(); it != m_mapOpen.end();) {
        if (from != nullptr && it->second == from) {
            it = m_mapOpen.erase(it);
        } else {
            ++it;
        }
    }
    return bRenamed;
}

bool RecordingFileOps::remove(const char* path) {
    bool bRemoved = FileOps::remove(path);
    std::lock_guard<std::mutex> lock(m_mutex);
    if (path != nullptr) {
        m_mapPending.erase(path);
        for (auto it = m_mapOpen.begin(); it != m_mapOpen.end();) {
            it = it->second == path ? m_mapOpen.erase(it) : std::next(it);
        }
    }
    return bRemoved;
}

std::set<std::string> RecordingFileOps::versionsOf(const std::string& p_strPath) const {
    std::lock_guard<std::mutex> lock(m_mutex);
    auto it = m_mapVersions.find(p_strPath);
    return it == m_mapVersions.end() ? std::set<std::string>() : it->second;
}

long RecordingFileOps::saves() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_nSaves;
}

} // namespace tarnix_test
