#include "support/CountingFileOps.h"

#include <cstdio>

namespace tarnix_test {

std::map<std::string, int> StorageWork::placedCount() const {
    std::map<std::string, int> mapCount;
    for (const std::string& strPath : placed) {
        ++mapCount[strPath];
    }
    return mapCount;
}

std::string StorageWork::summary() const {
    char szLine[256];
    std::snprintf(szLine, sizeof(szLine),
                  "opens %ld, writes %ld, bytes %ld, syncs %ld, renames %ld, dir syncs %ld, removes %ld", opens,
                  writes, bytes, syncs, renames, dirSyncs, removes);
    return szLine;
}

bool CountingFileOps::open(PXFile& file, const char* path, unsigned char mode) {
    const bool bOpened = FileOps::open(file, path, mode);
    if (bOpened && (mode & PXFile::modeWrite) != 0) {
        std::lock_guard<std::mutex> lock(m_mutex);
        ++m_stWork.opens;
    }
    return bOpened;
}

int CountingFileOps::write(PXFile& file, char* data, unsigned int size) {
    const int nWritten = FileOps::write(file, data, size);
    std::lock_guard<std::mutex> lock(m_mutex);
    ++m_stWork.writes;
    if (nWritten > 0) {
        m_stWork.bytes += nWritten;
    }
    return nWritten;
}

bool CountingFileOps::sync(PXFile& file) {
    const bool bSynced =
        m_bDurable ? FileOps::sync(file) : (file.isOpen() && std::fflush(file.getFileHandle()) == 0);
    std::lock_guard<std::mutex> lock(m_mutex);
    ++m_stWork.syncs;
    return bSynced;
}

bool CountingFileOps::rename(const char* from, const char* to) {
    const bool bRenamed = FileOps::rename(from, to);
    std::lock_guard<std::mutex> lock(m_mutex);
    ++m_stWork.renames;
    if (bRenamed && to != nullptr) {
        m_stWork.placed.push_back(to);
    }
    return bRenamed;
}

bool CountingFileOps::syncDir(const char* path) {
    const bool bSynced = m_bDurable ? FileOps::syncDir(path) : true;
    std::lock_guard<std::mutex> lock(m_mutex);
    ++m_stWork.dirSyncs;
    return bSynced;
}

bool CountingFileOps::remove(const char* path) {
    const bool bRemoved = FileOps::remove(path);
    std::lock_guard<std::mutex> lock(m_mutex);
    ++m_stWork.removes;
    return bRemoved;
}

StorageWork CountingFileOps::take() {
    std::lock_guard<std::mutex> lock(m_mutex);
    StorageWork stWork = m_stWork;
    m_stWork = StorageWork();
    return stWork;
}

StorageWork CountingFileOps::peek() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_stWork;
}

} // namespace tarnix_test
